#pragma once
// Timing of a Song's events: the tempo map (merged over all tracks for
// formats 0 and 1, one per track for format 2) and a walk over a Track that
// gives every event its absolute tick and its time in seconds. Shared by the
// song player, the MIDI tools, the song readers and `vaxel info`.
#include <cstdint>
#include <vector>

#include "model/song.h"

namespace vaxel {

constexpr uint32_t kDefaultTempo = 500000; // microseconds per quarter note: 120 BPM

struct TempoChange {
    uint64_t tick = 0;
    uint32_t microsPerQuarter = kDefaultTempo;
    double seconds = 0.0; // time of the change
};

class TempoMap {
  public:
    // Formats 0 and 1: the set-tempo events of every track of the song.
    explicit TempoMap(const Song& song);
    // One track's own events (the patterns of a format 2 song).
    TempoMap(const Song& song, const Track& track);

    // Seconds at an absolute tick. With an SMPTE division (top bit of the
    // division set) a tick is a fixed fraction of a frame and tempo events
    // don't count.
    double seconds(uint64_t tick) const;
    // The tempo at tick 0 after all changes there: the song's opening tempo.
    uint32_t firstTempo() const;
    const std::vector<TempoChange>& changes() const { return changes_; }
    bool smpte() const { return secondsPerTick_ > 0.0; }

  private:
    // Collects the set-tempo events of one track (only) or of all tracks.
    void build(const Song& song, const Track* only);
    friend class TimedEventReader;

    std::vector<TempoChange> changes_; // sorted by tick; always starts at tick 0
    uint16_t division_ = 24;
    double secondsPerTick_ = 0.0; // SMPTE only
};

struct TimedEvent : TrackEvent {
    uint64_t tick = 0;
    double seconds = 0.0;
};

// Walks one Track's events in order. The walk ends at the end of the data,
// at the first event that doesn't fit (a truncated tail), and after the
// end-of-track meta event.
class TimedEventReader {
  public:
    // The map is kept by reference and must outlive the reader.
    TimedEventReader(const Track& track, const TempoMap& map);
    TimedEventReader(const Track& track, TempoMap&& map) = delete;
    bool next(TimedEvent& event);
    uint64_t tick() const { return tick_; }

  private:
    const uint8_t* p_;
    const uint8_t* end_;
    const TempoMap& map_;
    size_t change_ = 0;
    uint64_t tick_ = 0;
    uint8_t running_ = 0;
    bool done_ = false;
};

// The tick of a Track's last event (end-of-track included).
uint64_t TrackEndTick(const Track& track);
// The length of the song: formats 0 and 1 up to the last event of any track;
// format 2 the patterns played one after the other, each on its own tempo map.
double SongLengthSeconds(const Song& song);
// Bit n set when channel n (0-15) is used by a channel message of the track.
uint16_t TrackChannels(const Track& track);

} // namespace vaxel
