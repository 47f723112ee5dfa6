#pragma once
// Song and Track: a MIDI-like sequence whose tracks keep their events as the
// byte string of a Standard MIDI file track body. Every song reader produces
// that string and every song writer and player consumes it, so there is no
// other event model in the program.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/item.h"

namespace vaxel {

class Song : public InfoItem {
  public:
    static constexpr ItemType kType = ItemType::Song;

    Song(Collection& collection, uint32_t serial, const char16_t* name, int length = -1);
    Song(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    // Clones the Tracks too; their parentId is this song.
    Song(Collection& collection, const Song& source);
    // Deletes the Tracks, last to first.
    ~Song() override;

    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;
    void fixUp() override;

    // 1 plus the highest port of the Tracks; 1 with no Tracks.
    int portCount() const;
    // The sum of the Tracks' event counts.
    uint64_t eventCount() const;
    // The Track at position index of ids, or null.
    class Track* track(uint32_t index) const;

    uint16_t format = 1;    // 0 one track, 1 parallel tracks, 2 independent patterns
    uint16_t division = 24; // as stored in MThd: ticks per quarter, or SMPTE when the top bit is set
};

class Track : public NamedItem {
  public:
    static constexpr ItemType kType = ItemType::Track;

    Track(Collection& collection, uint32_t serial, const char16_t* name = nullptr, int length = -1);
    Track(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    Track(Collection& collection, const Track& source);
    // Removes the id from the parent Song's list.
    ~Track() override;

    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    // Replaces the events by a copy of length bytes and counts them. Null or
    // 0 leaves an empty Track (eventCount 0). False, with an empty Track,
    // when the copy can not be made.
    bool setEvents(const uint8_t* bytes, size_t length);
    // The same with a block the Track takes over instead of copying.
    void setEvents(std::vector<uint8_t>&& bytes);
    const uint8_t* data() const { return data_.data(); }
    uint32_t dataLength() const { return uint32_t(data_.size()); }
    const std::vector<uint8_t>& bytes() const { return data_; }

    uint8_t port = 0;        // output port
    uint8_t reserved = 0xFF; // kept and copied
    // Format 2: the pattern number; kControlTrack for a format 1 track that
    // holds the tempo map and no notes; 0 otherwise.
    int8_t kind = 0;
    uint8_t startChannel = 0;
    uint32_t eventCount = 0; // recomputed by every setEvents

    static constexpr int8_t kControlTrack = -2;

  private:
    std::vector<uint8_t> data_;
};

// One event of an SMF track body, as the shared scanner delivers it.
struct TrackEvent {
    uint32_t delta = 0;             // ticks since the previous event
    uint8_t status = 0;             // the status in force (running status applied), channel bits kept
    uint8_t metaType = 0;           // for status 0xFF
    bool runningStatus = false;     // the status byte was not in the data
    const uint8_t* data = nullptr;  // the event's data behind status (and meta type and size)
    uint32_t length = 0;            // bytes at data
    const uint8_t* start = nullptr; // the event's first byte (its delta)
    const uint8_t* end = nullptr;   // one past its last byte
};

// Reads the event at p and moves p behind it. running is the running status
// (0 at the start of a track); only channel statuses (below 0xF0) set it.
// False, with p left where it was, when the event does not fit before end or
// a data byte comes with no running status: the scan of the track ends there.
// Deltas and sizes are variable-length numbers of at most four bytes: a fifth
// byte is never taken as part of the number.
bool NextTrackEvent(const uint8_t*& p, const uint8_t* end, uint8_t& running, TrackEvent& event);

// The number of events in an SMF track body: complete events only, so a
// truncated event at the end ends the count.
uint32_t CountTrackEvents(const uint8_t* bytes, size_t length);

} // namespace vaxel
