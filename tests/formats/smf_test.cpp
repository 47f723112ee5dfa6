// Standard MIDI files and RMID: what we read agrees with python3-mido on the
// jazz-soft test files and on files made by mido and by midicsv's csvmidi;
// what we write is the input byte for byte, reads back in mido and midicsv,
// and plays in FluidSynth and TiMidity++. Then the naming rules, damaged and
// hostile input, and the RMID wrapper with its messages.
#include <sndfile.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "fileio/midi_events.h"
#include "fileio/open_save.h"
#include "formats/install.h"
#include "formats/songs/smf.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/song.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

const char* const kSoundFont = "/usr/share/sounds/sf2/TimGM6mb.sf2";
const char* const kTimidityConfig = "/etc/timidity/timgm6mb.cfg";

fs::path JazzDir() {
    return test::DataDir() / "songs/midi/jazzsoft";
}
fs::path ScriptDir() {
    return fs::path(VAXEL_SOURCE_DIR) / "tests/formats/scripts";
}

std::string Name(const CollectionItem& item) {
    return WideToUtf8(item.name());
}

// ---------------------------------------------------------------- reading helpers

struct Loaded {
    std::unique_ptr<Collection> collection;
    Song* song = nullptr;
    int result = 0;
    std::string error;

    Track* track(uint32_t i) const { return song ? song->track(i) : nullptr; }
};

Loaded ReadFrom(FileObject& file, ReadRoutine reader) {
    Loaded l;
    l.collection = std::make_unique<Collection>();
    l.collection->setName(u"Coll");
    ClearLastError();
    file.Seek(0);
    l.result = reader(*l.collection, file, 0) & 0xFF;
    l.error = LastErrorUtf8();
    l.song = static_cast<Song*>(l.collection->first(ItemType::Song));
    return l;
}

Loaded ReadBytes(const Bytes& bytes, ReadRoutine reader = &ReadMid) {
    InstallFormats();
    int fd = memfd_create("smf-test", 0);
    if (!bytes.empty()) {
        EXPECT_EQ(::write(fd, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    FileObject file(fd);
    Loaded l = ReadFrom(file, reader);
    ::close(fd);
    return l;
}

Loaded ReadPath(const fs::path& path, ReadRoutine reader = &ReadMid) {
    InstallFormats();
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) {
        Loaded l;
        l.error = "cannot open " + path.string();
        return l;
    }
    return ReadFrom(file, reader);
}

Bytes Written(CollectionItem& item, WriteRoutine writer) {
    test::TempDir dir;
    FileObject file;
    EXPECT_TRUE(file.Open(dir / "out", FileObject::kCreate));
    EXPECT_EQ(writer(item, file, WriteOptions{}) & 0xFF, 1) << LastErrorUtf8();
    file.Close();
    return test::ReadFile(dir / "out");
}

// ---------------------------------------------------------------- building files

void Be32(Bytes& b, uint32_t v) {
    for (int s = 24; s >= 0; s -= 8) b.push_back(uint8_t(v >> s));
}

Bytes Chunk(const char* id, const Bytes& body, uint32_t statedLength = 0xFFFFFFFF) {
    Bytes b(id, id + 4);
    Be32(b, statedLength == 0xFFFFFFFF ? uint32_t(body.size()) : statedLength);
    b.insert(b.end(), body.begin(), body.end());
    return b;
}

Bytes Head(uint16_t format, uint16_t tracks, uint16_t division) {
    return Chunk("MThd", {uint8_t(format >> 8), uint8_t(format), uint8_t(tracks >> 8), uint8_t(tracks),
                          uint8_t(division >> 8), uint8_t(division)});
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes b;
    for (const Bytes& p : parts) b.insert(b.end(), p.begin(), p.end());
    return b;
}

Bytes Meta(uint8_t type, const std::string& text) {
    Bytes b = {0x00, 0xFF, type, uint8_t(text.size())};
    for (char c : text) b.push_back(uint8_t(c));
    return b;
}

const Bytes kNote = {0x00, 0x90, 0x3C, 0x40, 0x60, 0x80, 0x3C, 0x00};
const Bytes kEnd = {0x00, 0xFF, 0x2F, 0x00};

Bytes Le32(uint32_t v) {
    return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
}

Bytes RiffChunk(const char* id, const Bytes& body) {
    Bytes b(id, id + 4);
    Bytes n = Le32(uint32_t(body.size()));
    b.insert(b.end(), n.begin(), n.end());
    b.insert(b.end(), body.begin(), body.end());
    if (body.size() & 1) b.push_back(0);
    return b;
}

Bytes Rmid(const Bytes& chunks) {
    Bytes body = {'R', 'M', 'I', 'D'};
    body.insert(body.end(), chunks.begin(), chunks.end());
    return RiffChunk("RIFF", body);
}

// ---------------------------------------------------------------- the outside reading

struct MidoTrack {
    uint32_t events;
    std::string name;
};
struct MidoFile {
    std::string error;
    int format = -1, division = 0;
    double seconds = -1;
    std::vector<MidoTrack> tracks;
};

std::map<std::string, MidoFile> MidoRead(const std::vector<fs::path>& files) {
    test::RequireTool("/usr/bin/python3");
    std::string cmd = "/usr/bin/python3 " + test::Quote((ScriptDir() / "mido_summary.py").string());
    for (const fs::path& f : files) cmd += " " + test::Quote(f.string());
    std::string out;
    EXPECT_EQ(test::Run(cmd, &out), 0) << cmd;
    std::map<std::string, MidoFile> result;
    std::istringstream lines(out);
    std::string line;
    MidoFile* current = nullptr;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "FILE") {
            current = &result[fs::path(line.substr(5)).filename().string()];
        } else if (!current) {
            continue;
        } else if (word == "ERROR") {
            current->error = line.substr(6);
        } else if (word == "SONG") {
            std::string seconds;
            words >> current->format >> current->division >> seconds;
            if (seconds != "-") current->seconds = std::stod(seconds);
        } else if (word == "TRACK") {
            MidoTrack t;
            words >> t.events;
            std::string rest;
            std::getline(words, rest);
            t.name = rest.empty() ? "" : rest.substr(1);
            current->tracks.push_back(t);
        }
    }
    return result;
}

// Our reading of a file against mido's: format, division, per track the
// events and the name a track-name event gave, and the length to one tick.
void ExpectSameAsMido(const fs::path& path, const MidoFile& mido) {
    SCOPED_TRACE(path.filename().string());
    Loaded ours = ReadPath(path);
    ASSERT_EQ(ours.result, 1) << ours.error;
    ASSERT_NE(ours.song, nullptr);
    const Song& song = *ours.song;
    EXPECT_EQ(song.format, mido.format);
    EXPECT_EQ(song.division, mido.division);
    ASSERT_EQ(song.ids.size(), mido.tracks.size());
    for (uint32_t i = 0; i < song.ids.size(); ++i) {
        const Track* t = song.track(i);
        EXPECT_EQ(t->eventCount, mido.tracks[i].events) << "track " << i;
        if (!mido.tracks[i].name.empty()) {
            EXPECT_EQ(Name(*t), mido.tracks[i].name) << "track " << i;
        }
    }
    if (mido.seconds >= 0) {
        TempoMap map(song);
        uint32_t slowest = 0;
        for (const TempoChange& c : map.changes()) slowest = std::max(slowest, c.microsPerQuarter);
        const double tick = slowest / (song.division * 1e6);
        EXPECT_NEAR(SongLengthSeconds(song), mido.seconds, tick);
    }
}

void ExpectWrittenBackSame(const fs::path& path) {
    SCOPED_TRACE(path.filename().string());
    Loaded ours = ReadPath(path);
    ASSERT_NE(ours.song, nullptr) << ours.error;
    EXPECT_EQ(Written(*ours.song, &WriteMid), test::ReadFile(path));
}

std::vector<fs::path> MidFiles(const fs::path& dir) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir))
        if (entry.path().extension() == ".mid") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

// ---------------------------------------------------------------- outside oracles

TEST(SmfOutside, JazzSoftFilesReadAsMidoReadsThemAndWriteBackUnchanged) {
    const std::vector<fs::path> files = MidFiles(JazzDir());
    ASSERT_GE(files.size(), 25u);
    auto mido = MidoRead(files);
    // Files whose bytes we don't keep whole: junk behind the last chunk or
    // between chunks, a cut-off last byte, and a track of four bytes, which
    // is dropped as too short to hold an event.
    const std::vector<std::string> notKeptWhole = {"test-corrupt-file-extra-byte.mid",
                                                   "test-non-midi-track.mid",
                                                   "test-corrupt-file-missing-byte.mid",
                                                   "test-empty.mid",
                                                   "test-empty-file.mid",
                                                   "test-not-a-midi-file.mid"};
    int compared = 0;
    for (const fs::path& f : files) {
        const std::string name = f.filename().string();
        const bool whole = std::find(notKeptWhole.begin(), notKeptWhole.end(), name) == notKeptWhole.end();
        if (mido[name].error.empty() && name != "test-empty.mid") {
            ExpectSameAsMido(f, mido[name]);
            ++compared;
        }
        if (whole) ExpectWrittenBackSame(f);
    }
    EXPECT_GE(compared, 20);
}

TEST(SmfOutside, JazzSoftFilesThatMidoRefusesStillLoadWhatIsThere) {
    // A stray byte behind the last chunk, and an unknown chunk before the
    // track, are skipped: the song is the one of the clean file.
    Loaded extra = ReadPath(JazzDir() / "test-corrupt-file-extra-byte.mid");
    ASSERT_NE(extra.song, nullptr);
    EXPECT_EQ(extra.song->ids.size(), 1u);
    Loaded junk = ReadPath(JazzDir() / "test-non-midi-track.mid");
    ASSERT_NE(junk.song, nullptr);
    ASSERT_EQ(junk.song->ids.size(), 1u);
    EXPECT_EQ(Name(*junk.track(0)), "Non-MIDI Track Test");
    // The cut-off track keeps every event but the last, unfinished one.
    Loaded cut = ReadPath(JazzDir() / "test-corrupt-file-missing-byte.mid");
    ASSERT_NE(cut.song, nullptr);
    EXPECT_EQ(cut.track(0)->eventCount, extra.track(0)->eventCount - 1);
    // Undefined system statuses take no data bytes; the track reads to its end.
    Loaded illegal = ReadPath(JazzDir() / "test-illegal-message-all.mid");
    ASSERT_NE(illegal.song, nullptr);
    const Track& t = *illegal.track(0);
    EXPECT_EQ(CountTrackEvents(t.data(), t.dataLength()), t.eventCount);
    EXPECT_EQ(TrackEndTick(t), 8u * 96u); // the eight notes of the scale
    // Not an SMF at all, and an empty file.
    EXPECT_EQ(ReadPath(JazzDir() / "test-not-a-midi-file.mid").error, "Invalid or corrupt Midi file");
    EXPECT_EQ(ReadPath(JazzDir() / "test-empty-file.mid").error, "Invalid or corrupt Midi file");
}

TEST(SmfOutside, MidoWrittenFilesReadAsMidoReadsThem) {
    test::TempDir dir;
    ASSERT_EQ(test::Run("/usr/bin/python3 " + test::Quote((ScriptDir() / "mido_make.py").string()) + " " +
                        test::Quote(dir.path().string())),
              0);
    const std::vector<fs::path> files = MidFiles(dir.path());
    ASSERT_EQ(files.size(), 4u);
    auto mido = MidoRead(files);
    for (const fs::path& f : files) {
        ASSERT_TRUE(mido[f.filename().string()].error.empty()) << mido[f.filename().string()].error;
        ExpectSameAsMido(f, mido[f.filename().string()]);
        ExpectWrittenBackSame(f);
    }
    Loaded one = ReadPath(dir / "mido_format1.mid");
    ASSERT_NE(one.song, nullptr);
    // The tempo map of the first track, no notes: a control track, which
    // names the song; the port events spread the voices over two ports.
    EXPECT_EQ(one.track(0)->kind, Track::kControlTrack);
    EXPECT_EQ(Name(*one.song), "Tempo map");
    EXPECT_EQ(WideToUtf8(one.song->text(kInfoComments)), "A comment");
    EXPECT_EQ(one.song->portCount(), 2);
    EXPECT_EQ(Name(*one.track(1)), "Track 01");
    EXPECT_EQ(Name(*one.track(3)), "Voice 2");
    EXPECT_EQ(TrackChannels(*one.track(8)), 1u << 7);
    EXPECT_EQ(TempoMap(*one.song).firstTempo(), 600000u);

    Loaded zero = ReadPath(dir / "mido_format0.mid");
    ASSERT_NE(zero.song, nullptr);
    EXPECT_EQ(Name(*zero.song), "Solo");
    EXPECT_EQ(WideToUtf8(zero.song->text(kInfoCopyright)), "(c) nobody");
    EXPECT_EQ(zero.track(0)->startChannel, 3);

    Loaded two = ReadPath(dir / "mido_format2.mid");
    ASSERT_NE(two.song, nullptr);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(Name(*two.track(i)), "Pattern 0" + std::to_string(i + 1));
        EXPECT_EQ(two.track(i)->kind, int8_t(i + 1));
    }
}

TEST(SmfOutside, CsvmidiFilesReadAsMidoReadsThemAndMidicsvReadsOurs) {
    test::RequireTool("csvmidi");
    test::RequireTool("midicsv");
    test::TempDir dir;
    // SysEx, a key signature, SMPTE offset, pitch bend, a long delta and a
    // tempo change in a second track.
    test::WriteFile(dir / "song.csv", std::string(R"(0, 0, Header, 1, 3, 192
1, 0, Start_track
1, 0, Title_t, "From csvmidi"
1, 0, Copyright_t, "Nobody"
1, 0, Tempo, 428571
1, 0, Key_signature, -2, "major"
1, 0, SMPTE_offset, 96, 0, 0, 0, 0
1, 0, End_track
2, 0, Start_track
2, 0, Program_c, 1, 12
2, 0, System_exclusive, 5, 126, 127, 9, 1, 247
2, 0, Note_on_c, 1, 60, 90
2, 192, Note_on_c, 1, 60, 0
2, 200, Pitch_bend_c, 1, 9000
2, 100000, Note_on_c, 1, 62, 90
2, 100192, Note_off_c, 1, 62, 0
2, 100192, End_track
3, 0, Start_track
3, 0, Title_t, "Bass"
3, 96, Tempo, 300000
3, 96, Control_c, 9, 7, 100
3, 96, Note_on_c, 9, 36, 100
3, 480, Note_off_c, 9, 36, 0
3, 500, End_track
0, 0, End_of_file
)"));
    ASSERT_EQ(test::Run("csvmidi " + test::Quote((dir / "song.csv").string()) + " " +
                        test::Quote((dir / "song.mid").string())),
              0);
    auto mido = MidoRead({dir / "song.mid"});
    ASSERT_TRUE(mido["song.mid"].error.empty()) << mido["song.mid"].error;
    ExpectSameAsMido(dir / "song.mid", mido["song.mid"]);
    ExpectWrittenBackSame(dir / "song.mid");

    Loaded l = ReadPath(dir / "song.mid");
    ASSERT_NE(l.song, nullptr);
    EXPECT_EQ(Name(*l.song), "From csvmidi");
    EXPECT_EQ(Name(*l.track(2)), "Bass");
    EXPECT_EQ(TrackChannels(*l.track(2)), 1u << 9);

    // midicsv reads our file as it reads csvmidi's.
    FileObject out;
    ASSERT_TRUE(out.Open(dir / "ours.mid", FileObject::kCreate));
    ASSERT_EQ(WriteMid(*l.collection, out, WriteOptions{}), 1);
    out.Close();
    std::string theirs, ours;
    EXPECT_EQ(test::Run("midicsv " + test::Quote((dir / "song.mid").string()), &theirs), 0);
    EXPECT_EQ(test::Run("midicsv " + test::Quote((dir / "ours.mid").string()), &ours), 0);
    EXPECT_EQ(ours, theirs);
    EXPECT_NE(ours.find("Pitch_bend_c, 1, 9000"), std::string::npos);
}

// The peak of a rendered WAV, through libsndfile.
double Peak(const fs::path& wav) {
    SF_INFO info{};
    SNDFILE* f = sf_open(wav.c_str(), SFM_READ, &info);
    if (!f) return -1.0;
    std::vector<float> samples(size_t(info.frames) * info.channels);
    sf_readf_float(f, samples.data(), info.frames);
    sf_close(f);
    double peak = 0;
    for (float s : samples) peak = std::max(peak, double(std::fabs(s)));
    return peak;
}

TEST(SmfOutside, FluidSynthAndTimidityPlayWhatWeWrite) {
    test::RequireTool("fluidsynth");
    test::RequireTool("timidity");
    ASSERT_TRUE(fs::exists(kSoundFont));
    test::TempDir dir;
    // Through the command line and the save flow, as a user converts.
    const fs::path source = JazzDir() / "test-multichannel-chords-3.mid";
    for (const char* name : {"out.mid", "out.rmi"}) {
        std::string output;
        ASSERT_EQ(test::Run(test::Quote(test::CliPath().string()) + " convert " +
                                test::Quote(source.string()) + " " + test::Quote((dir / name).string()),
                            &output, true),
                  0)
            << output;
    }
    EXPECT_EQ(test::ReadFile(dir / "out.mid"), test::ReadFile(source));
    const Bytes rmi = test::ReadFile(dir / "out.rmi");
    ASSERT_GT(rmi.size(), 12u);
    EXPECT_EQ(std::memcmp(rmi.data() + 8, "RMID", 4), 0);

    ASSERT_EQ(test::Run("fluidsynth -ni -q -F " + test::Quote((dir / "fs.wav").string()) + " -r 22050 " +
                        kSoundFont + " " + test::Quote((dir / "out.mid").string()) + " 2>&1"),
              0);
    EXPECT_GT(Peak(dir / "fs.wav"), 0.01);
    // FluidSynth 2.3 doesn't read RMID; TiMidity++ plays both.
    for (const char* name : {"out.mid", "out.rmi"}) {
        const fs::path wav = dir / (std::string(name) + ".wav");
        ASSERT_EQ(test::Run(std::string("timidity -c ") + kTimidityConfig + " -Ow -o " +
                            test::Quote(wav.string()) + " " + test::Quote((dir / name).string()) +
                            " >/dev/null 2>&1"),
                  0);
        EXPECT_GT(Peak(wav), 0.01) << name;
    }
}

// ---------------------------------------------------------------- reader rules

TEST(SmfReader, NamesTracksByFormatAndTakesTextsFromTheRightTracks) {
    // Format 1, a control track with a name and text; a later track's text
    // and copyright don't replace the song's; a track under 5 bytes vanishes
    // but is counted.
    Bytes control =
        Cat({Meta(0x03, "Song title"), Meta(0x01, "First text"), Meta(0x01, "Control text"), kEnd});
    Bytes later = Cat({Meta(0x01, "Later text"), Meta(0x02, "Later copyright"), kNote, kEnd});
    Loaded l = ReadBytes(Cat({Head(1, 4, 96), Chunk("MTrk", control), Chunk("MTrk", later),
                              Chunk("MTrk", {0x00, 0xFF, 0x2F, 0x00}), Chunk("MTrk", Cat({kNote, kEnd}))}));
    ASSERT_EQ(l.result, 1) << l.error;
    ASSERT_EQ(l.song->ids.size(), 3u);
    EXPECT_EQ(Name(*l.song), "Song title");
    EXPECT_EQ(WideToUtf8(l.song->text(kInfoComments)), "First text");
    EXPECT_EQ(WideToUtf8(l.song->text(kInfoCopyright)), "Later copyright"); // still empty when it came
    EXPECT_EQ(Name(*l.track(0)), "Song title");
    EXPECT_EQ(l.track(0)->kind, Track::kControlTrack);
    EXPECT_EQ(Name(*l.track(1)), "Track 01");
    EXPECT_EQ(Name(*l.track(2)), "Track 03");

    // Format 1 whose first track holds notes: "Track 01", then "Track 02".
    l = ReadBytes(
        Cat({Head(1, 2, 96), Chunk("MTrk", Cat({kNote, kEnd})), Chunk("MTrk", Cat({kNote, kEnd}))}));
    EXPECT_EQ(Name(*l.track(0)), "Track 01");
    EXPECT_EQ(Name(*l.track(1)), "Track 02");
    EXPECT_EQ(l.track(0)->kind, 0);
    // A control track's text names the track when the comment is taken.
    l = ReadBytes(Cat({Head(1, 1, 96), Chunk("MTrk", Cat({Meta(0x01, "c"), Meta(0x01, "Tempo"), kEnd}))}));
    EXPECT_EQ(Name(*l.track(0)), "Tempo");

    // Format 0: the master track, named by the collection's name otherwise.
    l = ReadBytes(Cat({Head(0, 1, 96), Chunk("MTrk", Cat({kNote, kEnd}))}));
    EXPECT_EQ(Name(*l.track(0)), "Master Track");
    EXPECT_EQ(Name(*l.song), "Coll");
    // A text in Windows-1252.
    l = ReadBytes(Cat({Head(0, 1, 96), Chunk("MTrk", Cat({Meta(0x03, "Caf\xE9"), kNote, kEnd}))}));
    EXPECT_EQ(Name(*l.song), "Caf\xC3\xA9");
}

TEST(SmfReader, SurvivesDamagedAndHostileFiles) {
    const Bytes track = Cat({kNote, kEnd});
    // MThd after an MTrk: the early MTrk is ignored; unknown chunks are
    // skipped; bytes behind the last chunk don't matter.
    Loaded l = ReadBytes(Cat({Chunk("MTrk", track), Chunk("XFIH", {1, 2, 3}), Head(1, 1, 480),
                              Chunk("MTrk", track), Bytes{0, 1, 2, 3, 4, 5, 6}}));
    ASSERT_EQ(l.result, 1) << l.error;
    EXPECT_EQ(l.song->ids.size(), 1u);
    EXPECT_EQ(l.song->division, 480);
    // No MThd, a head cut short, an empty file.
    for (const Bytes& bad : {Chunk("MTrk", track), Bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1}, Bytes{}}) {
        l = ReadBytes(bad);
        EXPECT_EQ(l.result, 0);
        EXPECT_EQ(l.error, "Invalid or corrupt Midi file");
        EXPECT_EQ(l.collection->count(ItemType::Song), 0u);
    }
    // A track length far past the end is clipped to the file.
    l = ReadBytes(Cat({Head(0, 1, 96), Chunk("MTrk", track, 0x7FFFFFF0)}));
    ASSERT_EQ(l.result, 1);
    EXPECT_EQ(l.track(0)->bytes(), track);
    // A track length that is too short: the rest of its events read as a
    // chunk of junk and are skipped.
    l = ReadBytes(Cat({Head(0, 2, 96), Chunk("MTrk", Cat({kNote, kNote, kEnd}), 8), Chunk("MTrk", track)}));
    ASSERT_EQ(l.result, 1);
    ASSERT_GE(l.song->ids.size(), 1u);
    EXPECT_EQ(l.track(0)->eventCount, 2u);
    // Running status at the start of a track, deltas and sizes of five
    // continuation bytes, sizes past the end: the scans stop, nothing breaks.
    const Bytes hostile[] = {
        {0x00, 0x3C, 0x40, 0x00, 0x90, 0x3C, 0x40},
        {0x80, 0x80, 0x80, 0x80, 0x80, 0x90, 0x3C, 0x40},
        {0x00, 0xFF, 0x03, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F, 'a'},
        {0x00, 0xF0, 0x8F, 0xFF, 0xFF, 0x7F, 0x01},
        {0x00, 0xFF, 0x51, 0x01, 0x07, 0x00, 0xFF, 0x51, 0x03, 0x00, 0x00, 0x00},
    };
    for (const Bytes& h : hostile) {
        l = ReadBytes(Cat({Head(1, 1, 0), Chunk("MTrk", h)}));
        ASSERT_EQ(l.result, 1);
        ASSERT_EQ(l.song->ids.size(), 1u);
        const Track& t = *l.track(0);
        EXPECT_EQ(t.bytes(), h);
        EXPECT_TRUE(std::isfinite(SongLengthSeconds(*l.song)));
        l.collection->update(-1, true); // a division of 0 becomes 24
        if (l.collection->count(ItemType::Song)) {
            EXPECT_EQ(l.song->division, 24);
        }
    }
    // A 4-byte delta of FF FF FF 7F is read whole.
    l = ReadBytes(Cat({Head(0, 1, 96), Chunk("MTrk", {0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0x2F, 0x00})}));
    ASSERT_EQ(l.result, 1);
    EXPECT_EQ(TrackEndTick(*l.track(0)), 0x0FFFFFFFu);
}

TEST(SmfWriter, ResolvesTheSongAndRefusesOtherItems) {
    Collection c;
    auto* song = new Song(c, kNewSerial, u"S");
    song->format = 0;
    song->division = 0x1234;
    auto* t = new Track(c, kNewSerial);
    const Bytes events = Cat({kNote, kEnd});
    t->setEvents(events.data(), events.size());
    song->addChild(*t);
    auto* empty = new Track(c, kNewSerial);
    song->addChild(*empty);
    // A Collection writes its first Song; an empty Track is an empty MTrk.
    const Bytes expected = Cat({Head(0, 2, 0x1234), Chunk("MTrk", events), Chunk("MTrk", {})});
    EXPECT_EQ(Written(c, &WriteMid), expected);

    auto* wave = new Waveform(c, kNewSerial, u"w");
    test::TempDir dir;
    FileObject file;
    ASSERT_TRUE(file.Open(dir / "x", FileObject::kCreate));
    EXPECT_EQ(WriteMid(*wave, file, WriteOptions{}), 0);
    EXPECT_EQ(LastErrorUtf8(), "The file format can not save this item");
    EXPECT_EQ(WriteRmi(*t, file, WriteOptions{}), 0);
    EXPECT_EQ(LastErrorUtf8(), "The file format can not save this item");
}

// ---------------------------------------------------------------- RMID

TEST(Rmi, WritesDataAndInfoAndReadsThemBack) {
    Loaded src = ReadPath(JazzDir() / "test-karaoke-kar.mid");
    ASSERT_NE(src.song, nullptr);
    src.song->setText(kInfoArtist, u"Somebody");
    const Bytes rmi = Written(*src.song, &WriteRmi);
    const Bytes smf = test::ReadFile(JazzDir() / "test-karaoke-kar.mid");
    // RIFF RMID, then 'data' with the SMF as it stands.
    ASSERT_GT(rmi.size(), 20 + smf.size());
    EXPECT_EQ(std::memcmp(rmi.data(), "RIFF", 4), 0);
    EXPECT_EQ(rmi[4] | rmi[5] << 8 | rmi[6] << 16 | rmi[7] << 24, int(rmi.size() - 8));
    EXPECT_EQ(std::memcmp(rmi.data() + 8, "RMIDdata", 8), 0);
    EXPECT_EQ(Bytes(rmi.begin() + 20, rmi.begin() + 20 + smf.size()), smf);
    const std::string text(rmi.begin(), rmi.end());
    EXPECT_NE(text.find(std::string("ISFT\x14\0\0\0Vaxel Studio v12.13\0", 28)), std::string::npos);

    Loaded back = ReadBytes(rmi, &ReadRmi);
    ASSERT_EQ(back.result, 1) << back.error;
    EXPECT_EQ(Name(*back.song), "Karaoke .KAR Test");
    EXPECT_EQ(WideToUtf8(back.song->text(kInfoArtist)), "Somebody");
    EXPECT_EQ(WideToUtf8(back.song->text(kInfoComments)), "Testing Karaoke in .kar format.");
    ASSERT_EQ(back.song->ids.size(), src.song->ids.size());
    for (uint32_t i = 0; i < back.song->ids.size(); ++i) {
        EXPECT_EQ(back.track(i)->bytes(), src.track(i)->bytes());
        EXPECT_EQ(Name(*back.track(i)), Name(*src.track(i)));
    }
}

TEST(Rmi, ReadsDataWhereverItStandsAndReportsWhatIsMissing) {
    const Bytes smf = Cat({Head(0, 1, 96), Chunk("MTrk", Cat({kNote, kEnd}))});
    const Bytes disp = Cat({Le32(1), Bytes{'S', 'h', 'o', 'w', 'n', 0}});
    // 'data' behind another chunk; DISP names the song; junk behind the form.
    Bytes file = Rmid(Cat({RiffChunk("JUNK", {1, 2, 3}), RiffChunk("data", smf), RiffChunk("DISP", disp)}));
    file.insert(file.end(), {9, 9, 9});
    Loaded l = ReadBytes(file, &ReadRmi);
    ASSERT_EQ(l.result, 1) << l.error;
    EXPECT_EQ(Name(*l.song), "Shown");
    EXPECT_EQ(l.track(0)->eventCount, 3u);
    // INFO and DISP in either order behind 'data', with chunks behind them.
    const Bytes info = RiffChunk("LIST", Cat({Bytes{'I', 'N', 'F', 'O'}, RiffChunk("IART", {'M', 'e', 0})}));
    for (const Bytes& tail : {Cat({info, RiffChunk("DISP", disp), RiffChunk("JUNK", {1})}),
                              Cat({RiffChunk("DISP", disp), info, RiffChunk("JUNK", {1})})}) {
        l = ReadBytes(Rmid(Cat({RiffChunk("data", smf), tail})), &ReadRmi);
        ASSERT_EQ(l.result, 1) << l.error;
        EXPECT_EQ(Name(*l.song), "Shown");
        EXPECT_EQ(WideToUtf8(l.song->text(kInfoArtist)), "Me");
    }
    // DISP ahead of 'data' is not applied.
    l = ReadBytes(Rmid(Cat({RiffChunk("DISP", disp), RiffChunk("data", smf)})), &ReadRmi);
    EXPECT_EQ(Name(*l.song), "Coll");

    struct Case {
        Bytes bytes;
        const char* message;
    } cases[] = {
        {RiffChunk("RIFF", {'W', 'A', 'V', 'E'}), "Not a RIFF-RMID file"},
        {smf, "Not a RIFF-RMID file"},
        {Rmid({}), "No SMF data"},
        {Rmid(RiffChunk("DISP", disp)), "No SMF data"},
        {Rmid(RiffChunk("data", {'M', 'T', 'r', 'k', 0, 0, 0, 0})), "Could not parse SMF"},
    };
    for (const Case& k : cases) {
        l = ReadBytes(k.bytes, &ReadRmi);
        EXPECT_EQ(l.result, 0);
        EXPECT_EQ(l.error, k.message);
    }
}

TEST(SmfCli, InfoShowsSongAndTrackDetails) {
    std::string out;
    ASSERT_EQ(test::Run(test::Quote(test::CliPath().string()) + " info --json " +
                            test::Quote((JazzDir() / "test-karaoke-kar.mid").string()),
                        &out),
              0);
    EXPECT_NE(out.find("\"format\": 1, \"division\": 100, \"tempo\": 90, \"seconds\": 10.600005"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("\"name\": \"Lyrics\", \"port\": 0, \"events\": 29, \"channels\": []"),
              std::string::npos);
    EXPECT_NE(out.find("\"events\": 60, \"channels\": [1]"), std::string::npos);
}

} // namespace
} // namespace vaxel

namespace vaxel {
namespace {

// What the harvester of this test was handed, and the instrument it made.
// Harvesters stay registered for the process: this one acts only while its
// test runs.
std::vector<Bytes> gSysEx;
bool gCollecting = false;
void CollectSysEx(Collection& collection, const uint8_t* message, size_t length) {
    if (!gCollecting) return;
    gSysEx.emplace_back(message, message + length);
    if (length > 1 && message[0] == 0x43) new Instrument(collection, kNewSerial, u"Yamaha dump");
}

TEST(SmfReader, HandsEverySysExToTheRegisteredHarvesters) {
    RegisterSysExHarvester(&CollectSysEx);
    RegisterSysExHarvester(&CollectSysEx); // once is enough
    gSysEx.clear();
    gCollecting = true;
    const Bytes track = {0x00, 0xF0, 0x05, 0x43, 0x10, 0x4C, 0x00, 0xF7, // a Yamaha-addressed message
                         0x00, 0x90, 0x3C, 0x40, 0x10, 0x3C, 0x00,       // note on, running status off
                         0x00, 0xF0, 0x03, 0x7E, 0x7F, 0xF7,             // a universal one
                         0x00, 0xFF, 0x2F, 0x00};
    Loaded l = ReadBytes(Cat({Head(0, 1, 96), Chunk("MTrk", track)}));
    gCollecting = false;
    ASSERT_EQ(l.result, 1) << l.error;
    ASSERT_EQ(gSysEx.size(), 2u);
    EXPECT_EQ(gSysEx[0], (Bytes{0x43, 0x10, 0x4C, 0x00, 0xF7}));
    EXPECT_EQ(gSysEx[1], (Bytes{0x7E, 0x7F, 0xF7}));
    EXPECT_EQ(l.collection->count(ItemType::Instrument), 1u);
}

} // namespace
} // namespace vaxel
