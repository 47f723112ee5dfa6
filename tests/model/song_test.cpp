// Songs and tracks: event counting, ports, fix-up, clones, destruction order,
// flat buffers, and the timing of events through the tempo map.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "fileio/midi_events.h"
#include "model/collection.h"
#include "model/song.h"

namespace vaxel {
namespace {

using Bytes = std::vector<uint8_t>;

Track* AddTrack(Song& song, const Bytes& events, uint8_t port = 0) {
    auto* t = new Track(song.collection(), kNewSerial, u"t");
    t->setEvents(events.data(), events.size());
    t->port = port;
    song.addChild(*t);
    return t;
}

uint32_t Count(const Bytes& b) {
    Collection c;
    Track t(c, kNewSerial);
    t.setEvents(b.data(), b.size());
    return t.eventCount;
}

TEST(TrackEvents, CountsEveryKindOfEventAndStopsAtATruncatedTail) {
    // The second note by running status.
    EXPECT_EQ(Count({0x00, 0x90, 0x3C, 0x40, 0x60, 0x3C, 0x00}), 2u);
    // Program change and channel pressure take one byte, the rest two.
    EXPECT_EQ(Count({0x00, 0xC0, 0x05, 0x00, 0xD3, 0x10, 0x00, 0xE0, 0x00, 0x40, 0x00, 0xFF, 0x2F, 0x00}),
              4u);
    // SysEx and meta events carry a variable-length size; a meta event does
    // not cancel running status.
    EXPECT_EQ(Count({0x00, 0x91, 0x40, 0x7F, 0x00, 0xF0, 0x03, 0x7E, 0x09, 0xF7, 0x00, 0xFF, 0x01, 0x02, 'h',
                     'i', 0x10, 0x40, 0x00}),
              4u);
    // System common messages: F2 takes two bytes, F3 one, F6 none.
    EXPECT_EQ(Count({0x00, 0xF2, 0x01, 0x02, 0x00, 0xF3, 0x01, 0x00, 0xF6, 0x00, 0xFF, 0x2F, 0x00}), 4u);
    // A meta event whose size runs past the end, a note cut short, a lone
    // trailing delta: none of them counts.
    EXPECT_EQ(Count({0x00, 0xFF, 0x2F, 0x00, 0x00, 0xFF, 0x01, 0x7F, 'x'}), 1u);
    EXPECT_EQ(Count({0x00, 0x90, 0x3C, 0x40, 0x00, 0x90, 0x3C}), 1u);
    EXPECT_EQ(Count({0x00, 0x90, 0x3C, 0x40, 0x00}), 1u);
    // Running status at the start of a track has nothing to continue.
    EXPECT_EQ(Count({0x00, 0x3C, 0x40, 0x00, 0x90, 0x3C, 0x40}), 0u);
    // A delta of four bytes is read whole; a fifth continuation byte is not
    // part of it and is read as the status (here an undefined one, no data).
    EXPECT_EQ(Count({0xFF, 0xFF, 0xFF, 0x7F, 0x90, 0x3C, 0x40}), 1u);
    EXPECT_EQ(Count({0xFF, 0xFF, 0xFF, 0xFF, 0xF4, 0x00, 0xFF, 0x2F, 0x00}), 2u);
    EXPECT_EQ(Count({}), 0u);
}

TEST(SongModel, DefaultsPortsFixUpAndEmptiness) {
    Collection c;
    c.setText(kInfoSourceFile, u"/music/a.mid");
    auto* song = new Song(c, kNewSerial, u"Tune");
    EXPECT_EQ(song->format, 1);
    EXPECT_EQ(song->division, 24);
    EXPECT_EQ(song->portCount(), 1);
    AddTrack(*song, {0x00, 0x90, 0x3C, 0x40}, 0);
    AddTrack(*song, {0x00, 0xFF, 0x2F, 0x00}, 2); // meta events only
    auto* empty = AddTrack(*song, {});
    EXPECT_EQ(song->portCount(), 3);
    EXPECT_EQ(song->eventCount(), 2u);
    EXPECT_EQ(empty->eventCount, 0u);

    song->division = 0;
    song->fixUp();
    EXPECT_EQ(song->division, 24);
    EXPECT_EQ(std::u16string(song->text(kInfoSourceFile)), u"/music/a.mid");

    // The empty Track goes, the one with only meta events stays.
    c.update(-1, true);
    EXPECT_EQ(c.count(ItemType::Track), 2u);
    ASSERT_EQ(song->ids.size(), 2u);
    EXPECT_EQ(song->track(1)->port, 2);
}

TEST(SongModel, ClonesOwnTheirTracksAndDestructionUnhooks) {
    Collection c;
    auto* song = new Song(c, kNewSerial, "Ansi \xE9");
    EXPECT_EQ(std::u16string(song->name()), u"Ansi \u00E9");
    song->division = 480;
    song->format = 0;
    AddTrack(*song, {0x00, 0x90, 0x3C, 0x40}, 1);
    AddTrack(*song, {0x00, 0xC0, 0x01});

    auto* copy = new Song(c, *song);
    EXPECT_EQ(copy->division, 480);
    EXPECT_EQ(copy->format, 0);
    ASSERT_EQ(copy->ids.size(), 2u);
    for (uint32_t i = 0; i < 2; ++i) {
        Track* t = copy->track(i);
        ASSERT_NE(t, nullptr);
        EXPECT_NE(t, song->track(i));
        EXPECT_EQ(t->parentId, copy->id);
        EXPECT_EQ(t->bytes(), song->track(i)->bytes());
        EXPECT_EQ(t->eventCount, song->track(i)->eventCount);
    }
    EXPECT_EQ(copy->track(0)->port, 1);
    EXPECT_EQ(c.count(ItemType::Track), 4u);

    // A Track's destructor takes it out of its Song's list.
    delete copy->track(0);
    EXPECT_EQ(copy->ids.size(), 1u);
    // A Song's destructor takes its Tracks with it.
    delete song;
    EXPECT_EQ(c.count(ItemType::Track), 1u);
    delete copy;
    EXPECT_EQ(c.count(ItemType::Track), 0u);
    EXPECT_EQ(c.count(ItemType::Song), 0u);
}

TEST(SongModel, FlatBuffersRoundTripAndRefuseCutImages) {
    Collection c;
    auto* song = new Song(c, kNewSerial, u"Flat");
    song->division = 96;
    song->format = 2;
    const Bytes events = {0x00, 0x90, 0x3C, 0x40, 0x60, 0x3C, 0x00, 0x00, 0xFF, 0x2F, 0x00};
    Track* track = AddTrack(*song, events, 3);
    track->kind = Track::kControlTrack;
    track->startChannel = 9;
    track->reserved = 0x12;

    Bytes songImage(song->flatSize()), trackImage(track->flatSize());
    EXPECT_EQ(song->writeFlat(songImage.data()), songImage.data() + songImage.size());
    EXPECT_EQ(track->writeFlat(trackImage.data()), trackImage.data() + trackImage.size());
    // The Song's word: format low, division high.
    EXPECT_EQ(songImage[songImage.size() - 4], 2);
    EXPECT_EQ(songImage[songImage.size() - 2], 96);
    // The Track's 8-byte word holds the data length in its upper half.
    const size_t word = trackImage.size() - events.size() - 12;
    EXPECT_EQ(trackImage[word], 3);
    EXPECT_EQ(trackImage[word + 1], 0x12);
    EXPECT_EQ(trackImage[word + 4], events.size());
    EXPECT_EQ(trackImage[word + 8], 3); // event count

    Collection d;
    auto* songBack = dynamic_cast<Song*>(d.create(song->id));
    auto* trackBack = dynamic_cast<Track*>(d.create(track->id));
    ASSERT_TRUE(songBack && trackBack);
    EXPECT_EQ(songBack->readFlat(songImage.data(), songImage.data() + songImage.size()),
              songImage.data() + songImage.size());
    // The count is made again from the bytes, not taken from the image.
    trackImage[word + 8] = 99;
    EXPECT_EQ(trackBack->readFlat(trackImage.data(), trackImage.data() + trackImage.size()),
              trackImage.data() + trackImage.size());
    EXPECT_EQ(songBack->division, 96);
    EXPECT_EQ(songBack->format, 2);
    EXPECT_EQ(std::u16string(songBack->name()), u"Flat");
    EXPECT_EQ(trackBack->bytes(), events);
    EXPECT_EQ(trackBack->eventCount, 3u);
    EXPECT_EQ(trackBack->port, 3);
    EXPECT_EQ(trackBack->reserved, 0x12);
    EXPECT_EQ(trackBack->kind, Track::kControlTrack);
    EXPECT_EQ(trackBack->startChannel, 9);

    // Every cut of the image is refused, never read past its end.
    for (size_t n = 0; n < trackImage.size(); ++n) {
        Bytes cut(trackImage.begin(), trackImage.begin() + n);
        Collection e;
        auto* t = dynamic_cast<Track*>(e.create(track->id));
        EXPECT_EQ(t->readFlat(cut.data(), cut.data() + cut.size()), nullptr) << n;
    }
    Bytes cut(songImage.begin(), songImage.end() - 1);
    Collection e;
    EXPECT_EQ(e.create(song->id)->readFlat(cut.data(), cut.data() + cut.size()), nullptr);
}

TEST(SongTiming, TempoMapMergesTracksAndTimesEvents) {
    Collection c;
    auto* song = new Song(c, kNewSerial, u"T");
    song->division = 96;
    // Track 1: 120 BPM at 0, 60 BPM at tick 192, end at 192.
    AddTrack(*song, {0x00, 0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20, 0x81, 0x40, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40,
                     0x00, 0xFF, 0x2F, 0x00});
    // Track 2: a note at 96 and one at 288, end at 384.
    AddTrack(*song, {0x60, 0x90, 0x3C, 0x40, 0x81, 0x40, 0x3C, 0x00, 0x60, 0xFF, 0x2F, 0x00});
    TempoMap map(*song);
    EXPECT_EQ(map.firstTempo(), 500000u);
    ASSERT_EQ(map.changes().size(), 2u);
    EXPECT_DOUBLE_EQ(map.seconds(192), 1.0);
    EXPECT_DOUBLE_EQ(map.seconds(288), 2.0);

    TimedEventReader reader(*song->track(1), map);
    TimedEvent e;
    std::vector<double> times;
    while (reader.next(e)) times.push_back(e.seconds);
    EXPECT_EQ(times, (std::vector<double>{0.5, 2.0, 3.0}));
    EXPECT_EQ(TrackEndTick(*song->track(1)), 384u);
    EXPECT_DOUBLE_EQ(SongLengthSeconds(*song), 3.0);
    EXPECT_EQ(TrackChannels(*song->track(1)), 1u);

    // Format 2 plays its patterns one after the other, each on its own map.
    song->format = 2;
    EXPECT_DOUBLE_EQ(SongLengthSeconds(*song), 1.0 + 2.0);

    // SMPTE: 25 frames of 40 ticks, one tick a millisecond, tempo ignored.
    song->format = 1;
    song->division = 0xE728;
    EXPECT_DOUBLE_EQ(SongLengthSeconds(*song), 0.384);
}

} // namespace
} // namespace vaxel
