// Waveform: construction, the shared sample block, sample access and the
// registry of decode routines.
#include "model/waveform.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "model/collection.h"
#include "model/last_error.h"

namespace vaxel {

// ---------------------------------------------------------------- SampleBlock

namespace {
// The header and the leading pad frame are rounded up to 16 bytes, so that
// data itself lies on 16 bytes.
constexpr size_t kBlockAlign = 16;
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
    void* memory = std::aligned_alloc(kBlockAlign, (bytes + kBlockAlign - 1) / kBlockAlign * kBlockAlign);
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

// ---------------------------------------------------------------- Waveform

namespace {
std::atomic<DeferredRead> gDeferredRead{nullptr};
}

void SetDeferredRead(DeferredRead read) {
    gDeferredRead.store(read);
}

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
      markers(s.markers), selectedMarkerId(s.selectedMarkerId) {
    if (name) setName(name);
    if (withSamples && s.samples_) {
        const SampleBlock& from = *s.samples_;
        samples_ = SampleBlock::Allocate(from.frames, from.channels, from.sampleRate);
        if (samples_) std::memcpy(samples_->data, from.data, from.sampleCount() * sizeof(float));
    }
}

Waveform::~Waveform() {
    releaseSamples();
}

float* Waveform::allocateSamples() {
    releaseSamples();
    samples_ = SampleBlock::Allocate(frames, channels, float(sampleRate));
    return samples_ ? samples_->data : nullptr;
}

void Waveform::releaseSamples() {
    if (samples_) samples_->release();
    samples_ = nullptr;
}

void Waveform::adoptSamples(SampleBlock* block) {
    if (block == samples_) return;
    releaseSamples();
    samples_ = block;
}

float* Waveform::lockSamples() {
    if (!samples_ && decodeRoutine) {
        DeferredRead read = gDeferredRead.load();
        if (!read) {
            SetLastError("Waveform reading is not installed in this program");
            return nullptr;
        }
        if (!read(*this, true)) return nullptr;
    }
    if (!samples_) {
        if (frames == 0 && channels != 0) return nullptr;
        float* data = allocateSamples();
        if (!data) return nullptr;
        std::memset(data, 0, samples_->sampleCount() * sizeof(float));
    }
    return samples_->data;
}

float* Waveform::lockSamplesForWrite() {
    float* data = lockSamples();
    if (data) decodeRoutine = nullptr;
    return data;
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

} // namespace vaxel
