// Waveform: construction, the shared sample block, sample access, the
// registry of decode routines, the wave's properties, fixUp and the flat
// image. Markers and loops are in waveform_markers.cpp.
#include "model/waveform.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <sys/mman.h>

#include "model/collection.h"
#include "model/feature_mask.h"
#include "model/last_error.h"
#include "model/text.h"

namespace vaxel {

// ---------------------------------------------------------------- SampleBlock

namespace {
// The header and the leading pad frame are rounded up to 16 bytes, so that
// data itself lies on 16 bytes.
constexpr size_t kBlockAlign = 16;
// Blocks of this size and more are laid on 2 MB pages where the system
// allows it: a long wave then costs one page fault per 2 MB instead of one
// per 4 KB when it is first filled, and the rounding wastes at most 1/8.
constexpr size_t kLargePage = size_t(2) << 20;
constexpr size_t kLargeBlock = size_t(16) << 20;

void* AllocateBlockMemory(size_t bytes) {
    if (bytes >= kLargeBlock) {
        const size_t rounded = (bytes + kLargePage - 1) / kLargePage * kLargePage;
        if (void* memory = std::aligned_alloc(kLargePage, rounded)) {
            ::madvise(memory, rounded, MADV_HUGEPAGE);
            return memory;
        }
    }
    return std::aligned_alloc(kBlockAlign, (bytes + kBlockAlign - 1) / kBlockAlign * kBlockAlign);
}
constexpr size_t kPadFramesBehind = 3;

size_t HeaderBytes(uint8_t channels) {
    size_t lead = sizeof(SampleBlock) + sizeof(float) * channels;
    return (lead + kBlockAlign - 1) / kBlockAlign * kBlockAlign;
}
} // namespace

SampleBlock* SampleBlock::Allocate(uint32_t frames, uint8_t channels, float sampleRate) {
    if (channels == 0) return nullptr;
    const size_t total = (size_t(frames) + 1 + kPadFramesBehind) * channels;
    if (total > (SIZE_MAX - 64) / sizeof(float)) return nullptr;
    const size_t header = HeaderBytes(channels);
    const size_t bytes = header + (size_t(frames) + kPadFramesBehind) * channels * sizeof(float);
    void* memory = AllocateBlockMemory(bytes);
    if (!memory) return nullptr;
    auto* block = new (memory) SampleBlock;
    block->refCount.store(1, std::memory_order_relaxed);
    block->data = reinterpret_cast<float*>(static_cast<uint8_t*>(memory) + header);
    block->frames = frames;
    block->channels = channels;
    block->sampleRate = sampleRate;
    std::memset(block->data - channels, 0, sizeof(float) * channels);
    std::memset(block->data + size_t(frames) * channels, 0, sizeof(float) * channels * kPadFramesBehind);
    return block;
}

void SampleBlock::release() {
    if (refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        this->~SampleBlock();
        std::free(this);
    }
}

// ---------------------------------------------------------------- decode routines

namespace {
struct DecodeRegistry {
    std::mutex mutex;
    std::vector<DecodeRoutine> byId; // index = stable id
};
DecodeRegistry& Registry() {
    static DecodeRegistry registry;
    return registry;
}
} // namespace

bool RegisterDecodeRoutine(uint16_t id, DecodeRoutine routine) {
    if (id == 0 || !routine) return false;
    DecodeRegistry& r = Registry();
    std::lock_guard lock(r.mutex);
    if (r.byId.size() <= id) r.byId.resize(size_t(id) + 1, nullptr);
    if (r.byId[id] && r.byId[id] != routine) return false;
    r.byId[id] = routine;
    return true;
}

DecodeRoutine DecodeRoutineById(uint16_t id) {
    DecodeRegistry& r = Registry();
    std::lock_guard lock(r.mutex);
    return id < r.byId.size() ? r.byId[id] : nullptr;
}

uint16_t DecodeRoutineId(DecodeRoutine routine) {
    if (!routine) return 0;
    DecodeRegistry& r = Registry();
    std::lock_guard lock(r.mutex);
    for (size_t i = 1; i < r.byId.size(); ++i)
        if (r.byId[i] == routine) return uint16_t(i);
    return 0;
}

// ---------------------------------------------------------------- hooks

namespace {
std::atomic<DeferredRead> gDeferredRead{nullptr};
std::atomic<WaveDestroyHook> gDestroyHook{nullptr};
std::atomic<ReverseLoopConversion> gReverseLoopConversion{nullptr};
} // namespace

void SetDeferredRead(DeferredRead read) {
    gDeferredRead.store(read);
}
void SetWaveDestroyHook(WaveDestroyHook hook) {
    gDestroyHook.store(hook);
}
void SetReverseLoopConversion(ReverseLoopConversion convert) {
    gReverseLoopConversion.store(convert);
}

// ---------------------------------------------------------------- Waveform

Waveform::Waveform(Collection& c, uint32_t serial, const char16_t* name, int length)
    : InfoItem(c, ItemType::Waveform, serial) {
    setName(name, length);
}

Waveform::Waveform(Collection& c, uint32_t serial, const char* ansiName, int length)
    : InfoItem(c, ItemType::Waveform, serial) {
    setNameAnsi(ansiName, length);
}

Waveform::Waveform(Collection& c, const Waveform& s, bool withSamples, const char16_t* name)
    : InfoItem(c, s), frames(s.frames), sampleRate(s.sampleRate), bitsPerSample(s.bitsPerSample),
      channels(s.channels), rootKey(s.rootKey), fineTune(s.fineTune), gain(s.gain), mainLoopId(s.mainLoopId),
      preferredCoding(s.preferredCoding), sourceOffset(s.sourceOffset), decodeRoutine(s.decodeRoutine),
      markers(s.markers), selectedMarkerId(s.selectedMarkerId), scratchRoot(s.scratchRoot),
      scratchLoop(s.scratchLoop), scratchSeen(s.scratchSeen) {
    if (name) setName(name);
    const SampleBlock* from = s.samples();
    if (withSamples && from) {
        SampleBlock* block = SampleBlock::Allocate(from->frames, from->channels, from->sampleRate);
        if (block) std::memcpy(block->data, from->data, from->sampleCount() * sizeof(float));
        samples_.store(block, std::memory_order_release);
    }
}

Waveform::~Waveform() {
    if (WaveDestroyHook hook = gDestroyHook.load()) hook(*this);
    releaseSamples();
}

float* Waveform::allocateSamples() {
    releaseSamples();
    SampleBlock* block = SampleBlock::Allocate(frames, channels, float(sampleRate));
    samples_.store(block, std::memory_order_release);
    return block ? block->data : nullptr;
}

void Waveform::releaseSamples() {
    if (SampleBlock* block = samples_.exchange(nullptr, std::memory_order_acq_rel)) block->release();
}

void Waveform::adoptSamples(SampleBlock* block) {
    if (block == samples()) return;
    releaseSamples();
    samples_.store(block, std::memory_order_release);
}

float* Waveform::lockSamples() {
    if (!hasSamples() && decodeRoutine) {
        DeferredRead read = gDeferredRead.load();
        if (!read) {
            SetLastError("Waveform reading is not installed in this program");
            return nullptr;
        }
        if (!read(*this, true)) return nullptr;
    }
    SampleBlock* block = samples();
    if (!block) {
        if (frames == 0 && channels != 0) return nullptr;
        float* data = allocateSamples();
        if (!data) return nullptr;
        block = samples();
        std::memset(data, 0, block->sampleCount() * sizeof(float));
    }
    return block->data;
}

float* Waveform::lockSamplesForWrite() {
    float* data = lockSamples();
    if (data) decodeRoutine = nullptr;
    return data;
}

void Waveform::shareSamples(const Waveform& from) {
    if (&from == this) return;
    bitsPerSample = from.bitsPerSample;
    if (SampleBlock* block = from.samples()) {
        block->addRef();
        adoptSamples(block);
        frames = block->frames;
        channels = block->channels;
        sampleRate = uint32_t(std::lround(block->sampleRate));
        decodeRoutine = nullptr;
    } else {
        // Nothing to refer to yet: take what the other wave would read, so
        // this one reads the same samples when they are first needed.
        releaseSamples();
        frames = from.frames;
        channels = from.channels;
        sampleRate = from.sampleRate;
        decodeRoutine = from.decodeRoutine;
        sourceOffset = from.sourceOffset;
        dataCodingWord = from.dataCodingWord;
        readerWide = from.readerWide;
        InfoItem::setText(kInfoSourceFile, from.sourceFile());
    }

    // Markers of the other wave replace the positions of ours of the same
    // name and kind; the rest are added.
    for (const LoopRecord& m : from.markers) {
        LoopRecord* mine = nullptr;
        for (LoopRecord& r : markers)
            if (r.kind == m.kind && r.name == m.name) {
                mine = &r;
                break;
            }
        if (mine) {
            mine->start = m.start;
            mine->end = m.end;
            mine->startFraction = m.startFraction;
            mine->endFraction = m.endFraction;
            continue;
        }
        if (markers.size() >= kMaxMarkers) continue;
        LoopRecord copy = m;
        if (findMarker(copy.markerId)) copy.markerId = NextMarkerId();
        markers.push_back(std::move(copy));
    }
}

// ---------------------------------------------------------------- properties

namespace {

bool IsWaveProperty(int number) {
    return (number >= kFirstMarkerProp && number < kFirstInfoField) ||
           (number >= kFirstWaveProp && number < kFirstRegionOverride);
}

// NaN reads as 0, so no cast below sees it.
float Finite(float v) {
    return std::isnan(v) ? 0.0f : v;
}

// Whole part by truncation, hundredths as (value - whole) * 100 + 0.5
// truncated; a value that rounds up to the next frame carries into it.
void SplitPosition(float value, uint32_t& whole, uint8_t& hundredths) {
    double v = Finite(value);
    if (v < 0) v = 0;
    if (v > 4294967295.0) v = 4294967295.0;
    double w = std::trunc(v);
    int h = int((v - w) * 100.0 + 0.5);
    if (h >= 100 && w < 4294967295.0) {
        w += 1;
        h = 0;
    }
    whole = uint32_t(w);
    hundredths = uint8_t(h > 99 ? 99 : h);
}

// Rounds half away from zero. Callers clamp first; a value that still
// can't be held (infinite, NaN, beyond 2^62) gives 0 rather than overflow.
long RoundAway(double v) {
    if (!(std::fabs(v) < 4.6e18)) return 0;
    return long(v < 0 ? std::ceil(v - 0.5) : std::floor(v + 0.5));
}

template <class T> T ClampTo(double v, double lo, double hi) {
    return T(v < lo ? lo : v > hi ? hi : v);
}

} // namespace

bool Waveform::isSet(int number) const {
    if (number >= kFirstMarkerProp && number < kFirstInfoField) {
        const LoopRecord* m = findMarker(selectedMarkerId);
        if (!m) return false;
        switch (number) {
        case 225:
        case 226:
            return true;
        case 227:
            return m->loopType != 0;
        case 228:
            return m->loopCount != 0;
        case 229:
            return m->pitch != 0;
        default:
            return false; // 223, 224
        }
    }
    switch (number) {
    case 238:
    case 239:
        return true;
    case 240:
        return fineTune != 0;
    case 241:
        return gain != 0.0f;
    case 242:
        return preferredCoding != 1;
    case 243:
        return mainLoopId != 0;
    default:
        return InfoItem::isSet(number);
    }
}

float Waveform::getValue(int number) const {
    if (number >= kFirstMarkerProp && number < kFirstInfoField) {
        const LoopRecord* m = findMarker(selectedMarkerId);
        if (!m) return 0.0f;
        switch (number) {
        case 223:
            return m->kind;
        case 225:
            return float(m->start + 0.01 * m->startFraction);
        case 226:
            return float(m->end + 0.01 * m->endFraction);
        case 227:
            return m->loopType;
        case 228:
            return m->loopCount;
        case 229:
            return float(0.01 * m->pitch);
        default:
            return 0.0f; // 224 is a text
        }
    }
    switch (number) {
    case 238:
        return float(sampleRate);
    case 239:
        return rootKey;
    case 240:
        return fineTune;
    case 241:
        return gain;
    case 242:
        return preferredCoding;
    case 243:
        return float(mainLoopId);
    default:
        return InfoItem::getValue(number);
    }
}

void Waveform::setValue(int number, float value) {
    const double v = Finite(value);
    if (number >= kFirstMarkerProp && number < kFirstInfoField) {
        LoopRecord* m = findMarker(selectedMarkerId);
        if (!m) return;
        switch (number) {
        case 223:
            m->kind = ClampTo<uint8_t>(std::trunc(v), 0, 2);
            break;
        case 225:
            SplitPosition(value, m->start, m->startFraction);
            break;
        case 226:
            SplitPosition(value, m->end, m->endFraction);
            break;
        case 227:
            m->loopType = ClampTo<uint8_t>(std::trunc(v), 0, 3);
            break;
        case 228:
            m->loopCount = ClampTo<uint8_t>(std::trunc(v), 0, 255);
            break;
        case 229:
            m->pitch = int16_t(RoundAway(ClampTo<double>(v * 100.0, -1200, 1200)));
            break;
        default:
            break;
        }
        return;
    }
    switch (number) {
    case 238: {
        sampleRate = uint32_t(RoundAway(ClampTo<double>(v, 1, 768000)));
        if (SampleBlock* block = samples()) block->sampleRate = float(sampleRate);
        break;
    }
    case 239:
        rootKey = uint8_t(RoundAway(ClampTo<double>(v, 0, 127)));
        break;
    case 240:
        fineTune = int8_t(RoundAway(ClampTo<double>(v, -100, 100)));
        break;
    case 241:
        gain = float(v < -96.0 ? -96.0 : v);
        break;
    case 242:
        preferredCoding = ClampTo<uint8_t>(std::trunc(v), 0, kCodingDefault);
        break;
    case 243:
        mainLoopId = ClampTo<uint32_t>(std::trunc(v), 0, 8388607);
        break;
    default:
        InfoItem::setValue(number, value);
        break;
    }
}

void Waveform::clearValue(int number, float value) {
    if (IsWaveProperty(number))
        setValue(number, value);
    else
        InfoItem::clearValue(number, value);
}

float Waveform::defaultValue(int number) const {
    if (IsWaveProperty(number)) return DescribeProperty(number).defaultValue;
    return InfoItem::defaultValue(number);
}

const PropertyDescriptor& Waveform::describe(int number) const {
    if (!IsWaveProperty(number)) return InfoItem::describe(number);
    if ((number == 225 || number == 226) && !HasFeature(kFeatureFractionalLoops)) {
        // The same rows, shown in whole frames.
        static const PropertyDescriptor kWhole[2] = {
            [] {
                PropertyDescriptor d = DescribeProperty(225);
                d.precision = kPrecisionInteger;
                return d;
            }(),
            [] {
                PropertyDescriptor d = DescribeProperty(226);
                d.precision = kPrecisionInteger;
                return d;
            }(),
        };
        return kWhole[number - 225];
    }
    return DescribeProperty(number);
}

void Waveform::setText(int number, const char16_t* text, int length) {
    if (number != 224) return InfoItem::setText(number, text, length);
    LoopRecord* m = findMarker(selectedMarkerId);
    if (!m) return;
    m->name.clear();
    if (!text) return;
    size_t n = length < 0 ? std::char_traits<char16_t>::length(text) : size_t(length);
    size_t stop = 0;
    while (stop < n && text[stop] != 0) ++stop;
    m->name.assign(text, stop);
}

const char16_t* Waveform::text(int number) const {
    if (number != 224) return InfoItem::text(number);
    const LoopRecord* m = findMarker(selectedMarkerId);
    return m ? m->name.c_str() : u"";
}

// ---------------------------------------------------------------- fixUp

namespace {
// Bits of the coding behind each SampleCoding (0 PCM 8 ... 20 compressed,
// 21 "Default" has none); compressed data counts as one bit.
constexpr uint8_t kSampleCodingBits[kCodingDefault + 1] = {8, 16, 24, 32, 32, 8, 8, 4, 1, 1, 1,
                                                           1, 1,  1,  1,  1,  1, 1, 1, 1, 1, 0};
} // namespace

void Waveform::fixUp() {
    InfoItem::fixUp();
    if (InfoItem::text(kInfoSourceFile)[0] == 0) {
        // The deferred read needs the path; the collection knows where it
        // was loaded from.
        std::u16string path = collection().text(kInfoSourceFile);
        if (!path.empty()) InfoItem::setText(kInfoSourceFile, path);
    }
    if (sampleRate == 0) sampleRate = 44100;
    if (rootKey > 127) rootKey = 127;
    if (fineTune < -100) fineTune = -100;
    if (fineTune > 100) fineTune = 100;
    {
        // Written only when it changes: the background loader may be reading
        // this wave, and an unchanged field must not count as a write.
        double g = std::isnan(gain) ? 0.0 : std::clamp(double(gain), -96.0, 96.0);
        g = RoundAway(g * 100.0) / 100.0;
        const float clamped = float(g);
        if (clamped != gain) gain = clamped;
    }
    if (!HasFeature(kFeatureLoopPitch))
        for (LoopRecord& m : markers)
            if (m.kind == kMarkerLoop) m.pitch = 0;
    if (!HasFeature(kFeatureReverseLoops)) {
        const LoopRecord* main = mainLoop();
        // Hook of the wave tools; a no-op until they install it.
        ReverseLoopConversion convert = gReverseLoopConversion.load();
        if (main && (main->loopType == 2 || main->loopType == 3) && convert) convert(*this);
    }
    cleanMarkers();
    if (preferredCoding == kCodingDefault)
        preferredCoding = bitsPerSample < 17 ? 1 : bitsPerSample < 25 ? 2 : 4;
    if (!HasFeature(kFeatureCompressedFormats) && preferredCoding >= 5) preferredCoding = 1;
    if (bitsPerSample == 0) {
        uint8_t bits = preferredCoding <= kCodingDefault ? kSampleCodingBits[preferredCoding] : 0;
        bitsPerSample = bits ? bits : 16;
    }
}

// ---------------------------------------------------------------- flat image

// Layout behind the info part, little-endian and packed:
//   0  frames u32, sampleRate u32, bitsPerSample u8, channels u8, rootKey u8,
//      fineTune i8, gain f32, mainLoopId u32, preferredCoding u8,
//      sourceOffset u64, decode routine number u16            (31 bytes)
//  31  bytes a sample: 4 with samples, 0 without
//  32  frames x channels floats, or nothing
//      marker count u16, then per marker: kind u8, start u32, end u32,
//      startFraction u8, endFraction u8, loopType u8 (flags in the high
//      nibble), loopCount u8, pitch i16, markerId u32, name length u8 and
//      that many UTF-16 units without terminator.

namespace {
constexpr size_t kFlatHead = 31;
constexpr size_t kMaxFlatName = 255;
static_assert(std::endian::native == std::endian::little, "flat images copy floats as they lie in memory");

uint32_t FloatBits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}
float BitsFloat(uint32_t u) {
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}
size_t FlatNameLength(const LoopRecord& m) {
    return m.name.size() < kMaxFlatName ? m.name.size() : kMaxFlatName;
}
} // namespace

size_t Waveform::flatSize() const {
    size_t size = InfoItem::flatSize() + kFlatHead + 1 + 2;
    if (hasSamples()) size += size_t(frames) * channels * sizeof(float);
    const size_t count = markers.size() < kMaxMarkers ? markers.size() : kMaxMarkers;
    for (size_t i = 0; i < count; ++i) size += 20 + 2 * FlatNameLength(markers[i]);
    return size;
}

uint8_t* Waveform::writeFlat(uint8_t* p) const {
    p = InfoItem::writeFlat(p);
    p = flat::PutU32(p, frames);
    p = flat::PutU32(p, sampleRate);
    *p++ = bitsPerSample;
    *p++ = channels;
    *p++ = rootKey;
    *p++ = uint8_t(fineTune);
    p = flat::PutU32(p, FloatBits(gain));
    p = flat::PutU32(p, mainLoopId);
    *p++ = preferredCoding;
    p = flat::PutU64(p, sourceOffset);
    // A routine nobody registered has no number: the image then holds none,
    // and a wave read back from it keeps only the samples it carries.
    p = flat::PutU16(p, DecodeRoutineId(decodeRoutine));

    const SampleBlock* block = samples();
    *p++ = block ? 4 : 0;
    if (block) {
        // The wave's own frame and channel counts give the size; should a tool
        // have changed them without a new block, the floats that the block
        // lacks are written as silence.
        const size_t want = size_t(frames) * channels;
        const size_t have = block->sampleCount() < want ? block->sampleCount() : want;
        p = flat::PutBytes(p, block->data, have * sizeof(float));
        std::memset(p, 0, (want - have) * sizeof(float));
        p += (want - have) * sizeof(float);
    }

    const size_t count = markers.size() < kMaxMarkers ? markers.size() : kMaxMarkers;
    p = flat::PutU16(p, uint16_t(count));
    for (size_t i = 0; i < count; ++i) {
        const LoopRecord& m = markers[i];
        *p++ = m.kind;
        p = flat::PutU32(p, m.start);
        p = flat::PutU32(p, m.end);
        *p++ = m.startFraction;
        *p++ = m.endFraction;
        *p++ = uint8_t((m.loopType & 0x0F) | (m.flags << 4));
        *p++ = m.loopCount;
        p = flat::PutU16(p, uint16_t(m.pitch));
        p = flat::PutU32(p, m.markerId);
        const size_t n = FlatNameLength(m);
        *p++ = uint8_t(n);
        for (size_t k = 0; k < n; ++k) p = flat::PutU16(p, m.name[k]);
    }
    return p;
}

const uint8_t* Waveform::readFlat(const uint8_t* p, const uint8_t* end) {
    p = InfoItem::readFlat(p, end);
    if (!p || size_t(end - p) < kFlatHead + 1) return nullptr;
    uint32_t gainBits;
    uint16_t routine;
    flat::GetU32(p, end, frames);
    flat::GetU32(p, end, sampleRate);
    bitsPerSample = *p++;
    channels = *p++;
    rootKey = *p++;
    fineTune = int8_t(*p++);
    flat::GetU32(p, end, gainBits);
    gain = BitsFloat(gainBits);
    flat::GetU32(p, end, mainLoopId);
    preferredCoding = *p++;
    flat::GetU64(p, end, sourceOffset);
    flat::GetU16(p, end, routine);
    decodeRoutine = DecodeRoutineById(routine);

    const uint8_t bytesPerSample = *p++;
    releaseSamples();
    if (bytesPerSample == 4) {
        if (channels == 0) return nullptr;
        const uint64_t bytes = uint64_t(frames) * channels * sizeof(float);
        if (uint64_t(end - p) < bytes) return nullptr;
        float* data = allocateSamples();
        if (!data) {
            SetLastError("Out of memory");
            return nullptr;
        }
        std::memcpy(data, p, size_t(bytes));
        p += bytes;
    } else if (bytesPerSample != 0) {
        return nullptr;
    }

    uint16_t count;
    if (!flat::GetU16(p, end, count) || size_t(end - p) / 20 < count) return nullptr;
    markers.clear();
    markers.resize(count);
    for (LoopRecord& m : markers) {
        if (size_t(end - p) < 20) return nullptr;
        uint16_t pitch;
        uint8_t typeAndFlags;
        m.kind = *p++;
        flat::GetU32(p, end, m.start);
        flat::GetU32(p, end, m.end);
        m.startFraction = *p++;
        m.endFraction = *p++;
        typeAndFlags = *p++;
        m.loopType = typeAndFlags & 0x0F;
        m.flags = typeAndFlags >> 4;
        m.loopCount = *p++;
        flat::GetU16(p, end, pitch);
        m.pitch = int16_t(pitch);
        flat::GetU32(p, end, m.markerId);
        const uint8_t n = *p++;
        if (size_t(end - p) < 2 * size_t(n)) return nullptr;
        m.name.resize(n);
        for (uint8_t k = 0; k < n; ++k) {
            uint16_t c;
            flat::GetU16(p, end, c);
            m.name[k] = char16_t(c);
        }
    }
    return p;
}

// ---------------------------------------------------------------- images

const char* imageMimeType(const uint8_t* bytes, size_t length) {
    if (!bytes || length < 8) return nullptr;
    static const uint8_t kPng[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    if (bytes[0] == 0xFF && bytes[1] == 0xD8) return "image/jpeg";
    if (std::memcmp(bytes, kPng, 8) == 0) return "image/png";
    if (std::memcmp(bytes, "GIF8", 4) == 0) return "image/gif";
    return nullptr;
}

bool isImageFileName(std::u16string_view extension) {
    if (!extension.empty() && extension.front() == u'.') extension.remove_prefix(1);
    for (const char16_t* known : {u"jpg", u"jpeg", u"png", u"gif"})
        if (EqualsIgnoreCase(extension, known)) return true;
    return false;
}

} // namespace vaxel
