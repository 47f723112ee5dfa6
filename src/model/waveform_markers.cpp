// Waveform markers: position markers, sections and loops, the main loop,
// the naming rules of new markers, and the cleaning and order that fixUp
// gives them.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <string>

#include "model/feature_mask.h"
#include "model/waveform.h"

namespace vaxel {

namespace {

// Marker ids run from 1 to 0x7FFFFF and start again; a record read back
// from a flat image or copied by a clone keeps its old id.
std::atomic<uint32_t> gMarkerCounter{0};

std::u16string Number(unsigned n) {
    std::u16string text;
    for (char c : std::to_string(n)) text += char16_t(c);
    return text;
}

LoopRecord* FindByName(std::vector<LoopRecord>& markers, std::u16string_view name) {
    for (LoopRecord& m : markers)
        if (m.name == name) return &m;
    return nullptr;
}

// A new marker whose name is taken: the marker holding it becomes "name 1",
// the new one "name 2", and the number counts up while that is taken too.
std::u16string ResolveNameClash(std::vector<LoopRecord>& markers, std::u16string name) {
    LoopRecord* holder = FindByName(markers, name);
    if (!holder) return name;
    holder->name = name + u" 1";
    for (unsigned n = 2;; ++n) {
        std::u16string candidate = name + u" " + Number(n);
        if (!FindByName(markers, candidate)) return candidate;
    }
}

// A position in frames as whole frames and rounded hundredths; a fraction
// that rounds to a whole frame carries into it.
void SplitRounded(float value, uint32_t& whole, uint8_t& hundredths) {
    double v = std::isnan(value) ? 0.0 : double(value);
    if (v < 0) v = 0;
    if (v > 4294967295.0) v = 4294967295.0;
    double w = std::trunc(v);
    long h = std::lround((v - w) * 100.0);
    if (h >= 100) {
        if (w < 4294967295.0) w += 1;
        h = 0;
    }
    whole = uint32_t(w);
    hundredths = uint8_t(h);
}

int64_t Hundredths(uint32_t whole, uint8_t fraction) {
    return int64_t(whole) * 100 + fraction;
}

bool IsOffLoop(const LoopRecord& m) {
    return m.kind == kMarkerLoop && m.loopType == 0;
}

} // namespace

uint32_t NextMarkerId() {
    uint32_t seen = gMarkerCounter.load(std::memory_order_relaxed);
    for (;;) {
        uint32_t next = seen + 1 >= 0x800000 ? 1 : seen + 1;
        if (gMarkerCounter.compare_exchange_weak(seen, next, std::memory_order_relaxed)) return next;
    }
}

LoopRecord* Waveform::findMarker(uint32_t markerId) {
    if (markerId == 0) return nullptr;
    for (LoopRecord& m : markers)
        if (m.markerId == markerId) return &m;
    return nullptr;
}

const LoopRecord* Waveform::findMarker(uint32_t markerId) const {
    return const_cast<Waveform*>(this)->findMarker(markerId);
}

LoopRecord* Waveform::findMarkerByName(std::u16string_view name, int kind) {
    for (LoopRecord& m : markers)
        if ((kind == 3 || m.kind == kind) && m.name == name) return &m;
    return nullptr;
}

LoopRecord* Waveform::findMarkerAt(uint32_t frame, uint32_t tolerance) {
    for (LoopRecord& m : markers) {
        const int64_t low = std::max<int64_t>(0, int64_t(m.start) - tolerance);
        const int64_t end = m.kind == kMarkerPosition ? int64_t(m.start) + 1 : int64_t(m.end);
        if (int64_t(frame) >= low && int64_t(frame) < end + tolerance) return &m;
    }
    return nullptr;
}

bool Waveform::removeMarker(uint32_t markerId) {
    if (markerId == 0) return false;
    for (size_t i = 0; i < markers.size(); ++i) {
        if (markers[i].markerId != markerId) continue;
        markers.erase(markers.begin() + ptrdiff_t(i));
        if (mainLoopId == markerId) mainLoopId = 0;
        if (selectedMarkerId == markerId) selectedMarkerId = 0;
        return true;
    }
    return false;
}

uint32_t Waveform::addMarker(uint32_t frame, const char16_t* name) {
    if (markers.size() >= kMaxMarkers) return 0;
    LoopRecord m;
    m.kind = kMarkerPosition;
    m.start = frame;
    if (name) m.name = name;
    m.markerId = NextMarkerId();
    markers.push_back(std::move(m));
    return markers.back().markerId;
}

uint32_t Waveform::addAltStart(uint32_t frame) {
    for (LoopRecord& m : markers) {
        if (m.kind != kMarkerPosition || m.start != frame) continue;
        if (m.name.empty()) m.name = u"Alt Start";
        return m.markerId;
    }
    return addMarker(frame, u"Alt Start");
}

uint32_t Waveform::addSection(uint32_t start, uint32_t end, const char16_t* name, bool forceSection) {
    if (start >= frames) return 0;
    const bool section = forceSection || (end != 0 && uint64_t(end) + 2 < frames);
    if (!section && start == 0) return 0;
    std::u16string text = name && *name ? std::u16string(name) : std::u16string(section ? u"Play" : u"Start");

    for (const LoopRecord& m : markers) {
        if (IsOffLoop(m) || m.start != start) continue;
        if ((m.kind != kMarkerPosition) != section) continue;
        if (section && m.end != end) continue;
        return m.markerId;
    }
    if (markers.size() >= kMaxMarkers) return 0;
    LoopRecord m;
    m.kind = section ? kMarkerSection : kMarkerPosition;
    m.start = start;
    m.end = section ? end : 0;
    m.name = ResolveNameClash(markers, std::move(text));
    m.markerId = NextMarkerId();
    markers.push_back(std::move(m));
    return markers.back().markerId;
}

uint32_t Waveform::addLoop(const LoopInfo& loop, const char16_t* name, bool makeMain, bool checkDuplicate) {
    const bool named = name && *name;
    std::u16string text =
        named ? std::u16string(name) : std::u16string(makeMain ? u"Main Loop" : u"Alt Loop");

    LoopRecord r;
    r.kind = kMarkerLoop;
    SplitRounded(loop.start, r.start, r.startFraction);
    SplitRounded(loop.end, r.end, r.endFraction);
    r.loopType = std::min<uint8_t>(loop.loopType, 3);
    r.loopCount = loop.loopCount;
    const double cents =
        std::isnan(loop.pitch) ? 0.0 : std::clamp(double(loop.pitch) * 100.0, -1200.0, 1200.0);
    r.pitch = int16_t(std::lround(cents));

    auto overwrite = [&](LoopRecord& m, bool rename) {
        m.kind = kMarkerLoop;
        m.start = r.start;
        m.startFraction = r.startFraction;
        m.end = r.end;
        m.endFraction = r.endFraction;
        m.loopType = r.loopType;
        m.loopCount = r.loopCount;
        m.pitch = r.pitch;
        if (rename) m.name = text;
    };

    if (makeMain) {
        if (LoopRecord* main = mainLoop()) {
            overwrite(*main, true);
            return main->markerId;
        }
    }

    if (checkDuplicate) {
        for (LoopRecord& m : markers) {
            if (m.kind == kMarkerLoop && m.start == r.start && m.startFraction == r.startFraction &&
                m.end == r.end && m.endFraction == r.endFraction && m.loopType == r.loopType &&
                m.loopCount == r.loopCount && m.pitch == r.pitch) {
                if (makeMain) mainLoopId = m.markerId;
                return m.markerId;
            }
        }
        // A section over the same frames (a cue point and its length, say)
        // becomes the loop.
        const double startRounded = std::round(std::max(0.0f, loop.start));
        const double lengthRounded = std::round(double(loop.end) - double(loop.start));
        for (LoopRecord& m : markers) {
            if (m.kind == kMarkerSection && double(m.start) == startRounded &&
                double(m.end) == startRounded + lengthRounded) {
                overwrite(m, named || m.name.empty());
                if (makeMain) mainLoopId = m.markerId;
                return m.markerId;
            }
        }
    }

    bool becomesMain = makeMain;
    if (!makeMain && !mainLoop()) {
        if (r.loopType != 0 || !checkDuplicate) {
            // An alternate loop never takes the main place by accident: the
            // main place goes to an off loop over the whole wave.
            if (markers.size() + 2 > kMaxMarkers) return 0;
            LoopRecord main;
            main.kind = kMarkerLoop;
            main.end = frames;
            main.name = u"Main Loop";
            main.markerId = NextMarkerId();
            mainLoopId = main.markerId;
            markers.push_back(std::move(main));
        } else {
            becomesMain = true;
        }
    }

    if (markers.size() >= kMaxMarkers) return 0;
    r.name = ResolveNameClash(markers, std::move(text));
    r.markerId = NextMarkerId();
    markers.push_back(std::move(r));
    if (becomesMain) mainLoopId = markers.back().markerId;
    return markers.back().markerId;
}

LoopInfo Waveform::getLoop(uint32_t markerId) const {
    LoopInfo info;
    const LoopRecord* m = findMarker(markerId == kMainLoop ? mainLoopId : markerId);
    if (!m) {
        info.end = float(frames);
        return info;
    }
    info.start = float(m->start + 0.01 * m->startFraction);
    switch (m->kind) {
    case kMarkerPosition:
        info.loopType = 1;
        info.end = frames ? float(frames) : info.start;
        break;
    case kMarkerSection:
        info.loopType = 1;
        info.end = float(m->end + 0.01 * m->endFraction);
        break;
    default:
        info.loopType = m->loopType;
        info.loopCount = m->loopCount;
        info.end = float(m->end + 0.01 * m->endFraction);
        info.pitch = float(0.01 * m->pitch);
        break;
    }
    return info;
}

void Waveform::getSection(uint32_t markerId, uint32_t& start, uint32_t& end) const {
    start = 0;
    end = frames;
    const LoopRecord* m = findMarker(markerId == kMainLoop ? mainLoopId : markerId);
    if (!m) return;
    start = m->start;
    end = m->kind == kMarkerPosition ? frames : m->end;
}

const LoopRecord* Waveform::releaseLoop() const {
    const LoopRecord* main = mainLoop();
    if (!main || main->loopType == 0) return nullptr;
    for (const LoopRecord& m : markers) {
        if (m.kind != kMarkerLoop || m.name != u"Release Loop") continue;
        if (&m == main || (m.loopType == 0 && m.loopCount == 1)) return nullptr;
        return &m;
    }
    return nullptr;
}

void Waveform::cleanMarkers() {
    // Ranges the right way round and within the wave.
    for (size_t i = markers.size(); i-- > 0;) {
        LoopRecord& m = markers[i];
        if (m.kind != kMarkerSection && m.kind != kMarkerLoop) continue;
        if (m.end < m.start) {
            std::swap(m.start, m.end);
            std::swap(m.startFraction, m.endFraction);
        }
        if (m.end > frames) {
            m.end = frames;
            m.endFraction = 0;
        }
    }

    // An off loop always stays (it only names the main place); everything
    // else must start inside the wave and, with a range, not be empty.
    const bool fractions = HasFeature(kFeatureFractionalLoops);
    std::erase_if(markers, [this](const LoopRecord& m) {
        if (IsOffLoop(m)) return false;
        if (m.start >= frames) return true;
        return m.kind != kMarkerPosition && m.end <= m.start;
    });
    if (!fractions)
        for (LoopRecord& m : markers) m.startFraction = m.endFraction = 0;

    // By start, off loops first. At equal starts a position marker goes
    // before a range; ranges go by their end and then by kind. Stable, so
    // equal records keep their order.
    auto key = [](const LoopRecord& m) {
        return IsOffLoop(m) ? int64_t(-1) : Hundredths(m.start, m.startFraction);
    };
    std::stable_sort(markers.begin(), markers.end(), [&key](const LoopRecord& a, const LoopRecord& b) {
        const int64_t ka = key(a), kb = key(b);
        if (ka != kb) return ka < kb;
        if (a.kind == kMarkerPosition || b.kind == kMarkerPosition) return a.kind < b.kind;
        const int64_t ea = Hundredths(a.end, a.endFraction), eb = Hundredths(b.end, b.endFraction);
        if (ea != eb) return ea < eb;
        return a.kind < b.kind;
    });

    if (markers.size() > kMaxMarkers) markers.resize(kMaxMarkers);
}

} // namespace vaxel
