// Tempo maps and the timed walk over SMF track bodies.
#include "fileio/midi_events.h"

#include <algorithm>

#include "model/collection.h"

namespace vaxel {

namespace {

struct RawChange {
    uint64_t tick;
    uint32_t order; // track, then position in it: equal ticks keep file order
    uint32_t tempo;
};

// Frames per second of an SMPTE division's high byte (-24, -25, -29, -30);
// 29 is drop-frame, 29.97 frames per second.
double SmpteFps(uint16_t division) {
    const int fps = -int(int8_t(uint8_t(division >> 8)));
    return fps == 29 ? 29.97 : double(fps);
}

void CollectTempos(const Track& track, uint32_t order, std::vector<RawChange>& out) {
    const uint8_t* p = track.data();
    const uint8_t* end = p + track.dataLength();
    uint8_t running = 0;
    uint64_t tick = 0;
    TrackEvent e;
    while (p < end && NextTrackEvent(p, end, running, e)) {
        tick += e.delta;
        if (e.status != 0xFF) continue;
        if (e.metaType == 0x2F) break;
        if (e.metaType == 0x51 && e.length >= 3) {
            const uint32_t tempo = uint32_t(e.data[0]) << 16 | uint32_t(e.data[1]) << 8 | e.data[2];
            // A tempo of 0 would stop time; players ignore it and so do we.
            if (tempo) out.push_back({tick, order, tempo});
        }
    }
}

} // namespace

TempoMap::TempoMap(const Song& song) : division_(song.division) {
    build(song, nullptr);
}

TempoMap::TempoMap(const Song& song, const Track& track) : division_(song.division) {
    build(song, &track);
}

void TempoMap::build(const Song& song, const Track* only) {
    std::vector<RawChange> raw;
    if (only) {
        CollectTempos(*only, 0, raw);
    } else {
        uint32_t order = 0;
        for (uint32_t i = 0; i < song.ids.size(); ++i)
            if (const Track* t = song.track(i)) CollectTempos(*t, order++, raw);
        // Equal ticks keep the order of the tracks: the last change wins.
        std::stable_sort(raw.begin(), raw.end(),
                         [](const RawChange& a, const RawChange& b) { return a.tick < b.tick; });
    }
    changes_.push_back({0, kDefaultTempo, 0.0});
    for (const RawChange& r : raw) {
        if (r.tick == changes_.back().tick)
            changes_.back().microsPerQuarter = r.tempo;
        else
            changes_.push_back({r.tick, r.tempo, 0.0});
    }
    if (division_ & 0x8000) {
        const double ticksPerFrame = double(division_ & 0xFF);
        secondsPerTick_ = ticksPerFrame > 0 ? 1.0 / (SmpteFps(division_) * ticksPerFrame) : 0.0;
        if (secondsPerTick_ <= 0.0 || secondsPerTick_ != secondsPerTick_)
            secondsPerTick_ = 1.0 / (25.0 * 40.0);
        return;
    }
    const double quarter = division_ ? double(division_) : 24.0;
    for (size_t i = 1; i < changes_.size(); ++i) {
        const TempoChange& prev = changes_[i - 1];
        changes_[i].seconds =
            prev.seconds + double(changes_[i].tick - prev.tick) * prev.microsPerQuarter / (quarter * 1e6);
    }
}

double TempoMap::seconds(uint64_t tick) const {
    if (secondsPerTick_ > 0.0) return double(tick) * secondsPerTick_;
    auto it = std::upper_bound(changes_.begin(), changes_.end(), tick,
                               [](uint64_t t, const TempoChange& c) { return t < c.tick; });
    const TempoChange& c = *(it - 1); // changes_ starts at tick 0
    const double quarter = division_ ? double(division_) : 24.0;
    return c.seconds + double(tick - c.tick) * c.microsPerQuarter / (quarter * 1e6);
}

uint32_t TempoMap::firstTempo() const {
    return changes_.front().microsPerQuarter;
}

// ---------------------------------------------------------------- walk

TimedEventReader::TimedEventReader(const Track& track, const TempoMap& map)
    : p_(track.data()), end_(track.data() + track.dataLength()), map_(map) {}

bool TimedEventReader::next(TimedEvent& e) {
    if (done_ || p_ >= end_ || !NextTrackEvent(p_, end_, running_, e)) {
        done_ = true;
        return false;
    }
    tick_ += e.delta;
    e.tick = tick_;
    if (map_.secondsPerTick_ > 0.0) {
        e.seconds = double(tick_) * map_.secondsPerTick_;
    } else {
        // Ticks only grow, so the change in force is found by walking on.
        const auto& changes = map_.changes_;
        while (change_ + 1 < changes.size() && changes[change_ + 1].tick <= tick_) ++change_;
        const TempoChange& c = changes[change_];
        const double quarter = map_.division_ ? double(map_.division_) : 24.0;
        e.seconds = c.seconds + double(tick_ - c.tick) * c.microsPerQuarter / (quarter * 1e6);
    }
    if (e.status == 0xFF && e.metaType == 0x2F) done_ = true;
    return true;
}

uint64_t TrackEndTick(const Track& track) {
    const uint8_t* p = track.data();
    const uint8_t* end = p + track.dataLength();
    uint8_t running = 0;
    uint64_t tick = 0;
    TrackEvent e;
    while (p < end && NextTrackEvent(p, end, running, e)) {
        tick += e.delta;
        if (e.status == 0xFF && e.metaType == 0x2F) break;
    }
    return tick;
}

double SongLengthSeconds(const Song& song) {
    if (song.format == 2) {
        double total = 0.0;
        for (uint32_t i = 0; i < song.ids.size(); ++i)
            if (const Track* t = song.track(i)) total += TempoMap(song, *t).seconds(TrackEndTick(*t));
        return total;
    }
    uint64_t last = 0;
    for (uint32_t i = 0; i < song.ids.size(); ++i)
        if (const Track* t = song.track(i)) last = std::max(last, TrackEndTick(*t));
    return TempoMap(song).seconds(last);
}

uint16_t TrackChannels(const Track& track) {
    const uint8_t* p = track.data();
    const uint8_t* end = p + track.dataLength();
    uint8_t running = 0;
    uint16_t mask = 0;
    TrackEvent e;
    while (p < end && NextTrackEvent(p, end, running, e)) {
        if (e.status < 0xF0) mask |= uint16_t(1u << (e.status & 0x0F));
        if (e.status == 0xFF && e.metaType == 0x2F) break;
    }
    return mask;
}

} // namespace vaxel
