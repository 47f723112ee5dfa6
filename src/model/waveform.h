#pragma once
// Waveform: one sampled sound. Samples live in memory in one form only,
// interleaved 32-bit floats at full scale 1.0, in a shared SampleBlock. A
// reader does not decode: it records where the samples lie and which routine
// decodes them, and the wave is decoded at first use.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "model/item.h"

namespace vaxel {

class FileObject;
class Waveform;

// One allocation: a header, one frame of zeros ahead of data, frames x
// channels floats, three frames of zeros behind, so that a four-point
// interpolator may run off both ends without a test. Aligned to 16 bytes.
struct SampleBlock {
    std::atomic<uint32_t> refCount;
    float* data;
    uint32_t frames;
    uint8_t channels;
    float sampleRate;

    // Allocates with refCount 1 and the pad frames cleared (the samples are
    // not); null when the memory can't be had or the size overflows.
    static SampleBlock* Allocate(uint32_t frames, uint8_t channels, float sampleRate);
    void addRef() { refCount.fetch_add(1, std::memory_order_relaxed); }
    // Drops one reference and frees the block with the last.
    void release();
    size_t sampleCount() const { return size_t(frames) * channels; }
};

// Decodes a wave's samples from its source: allocates through
// allocateSamples() and fills the block. Returns non-zero on success and puts
// a sentence in LastError otherwise. The file stands at sourceOffset (a
// pseudo-source, a path starting with '<', gets a closed file).
using DecodeRoutine = int (*)(Waveform& wave, FileObject& file, bool showProgress);

// Decode routines are known by a stable number in flat buffers and state
// files, so that an image written by another run of the program stays valid.
// Each family registers its routines under fixed numbers (decode_ids.h) at
// start-up. Registering a number twice with another routine is refused.
bool RegisterDecodeRoutine(uint16_t id, DecodeRoutine routine);
DecodeRoutine DecodeRoutineById(uint16_t id);    // null for 0 or an unknown id
uint16_t DecodeRoutineId(DecodeRoutine routine); // 0 for null or unregistered

// Flags of a loop record, beside its type. Formats that know a release
// section, a one-shot playback or a hold (sustain without looping) set them;
// every reader and writer keeps them.
enum LoopFlags : uint8_t {
    kLoopHasRelease = 1, // the wave's "Release Loop" belongs to this loop
    kLoopOneShot = 2,    // the sound plays to its end, whatever the key does
    kLoopHold = 4,       // the sound holds while the key is down, with no loop
};

struct LoopRecord {
    uint8_t kind = 0;          // 0 position marker, 1 section, 2 loop
    uint8_t startFraction = 0; // hundredths of a frame behind start
    uint8_t endFraction = 0;
    uint32_t start = 0;
    uint32_t end = 0; // first frame behind the range; unused for a marker
    std::u16string name;
    uint8_t loopType = 0;  // 0 off, 1 forward, 2 reverse, 3 alternating
    uint8_t loopCount = 0; // 0 loops without end
    int16_t pitch = 0;     // cents, -1200..1200
    uint32_t markerId = 0;
    uint8_t flags = 0; // LoopFlags
};

enum MarkerKind : uint8_t { kMarkerPosition = 0, kMarkerSection = 1, kMarkerLoop = 2 };

// The value form of a loop across interfaces: positions with fractions,
// pitch in semitones.
struct LoopInfo {
    uint8_t loopType = 0;
    uint8_t loopCount = 0;
    float start = 0.0f;
    float end = 0.0f;
    float pitch = 0.0f;
};

// markerId 0xFFFFFFFF in getLoop means the main loop.
constexpr uint32_t kMainLoop = 0xFFFFFFFFu;
constexpr size_t kMaxMarkers = 65535;
// SampleCoding 21: no preference, the save decides.
constexpr uint8_t kCodingDefault = 21;

class Waveform : public InfoItem {
  public:
    static constexpr ItemType kType = ItemType::Waveform;

    Waveform(Collection& collection, uint32_t serial, const char16_t* name, int length = -1);
    Waveform(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    // Clone: every field behind the base, the decode routine and the source
    // offset included, so the clone can read its samples itself; the block is
    // copied only withSamples. Markers keep their ids. A null name takes the
    // source's name.
    Waveform(Collection& collection, const Waveform& source, bool withSamples = false,
             const char16_t* name = nullptr);
    ~Waveform() override;

    // Flat image: the wave's fields, the decode routine by its stable number,
    // the floats when present, and the markers (loop flags ride in the high
    // nibble of the loop type byte).
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;
    void fixUp() override;

    // Properties 223-229 (the selected marker) and 238-243 (the wave); other
    // numbers go to the base.
    bool isSet(int number) const override;
    float getValue(int number) const override;
    void setValue(int number, float value) override;
    void clearValue(int number, float value) override;
    float defaultValue(int number) const override;
    const PropertyDescriptor& describe(int number) const override;
    // Number 224 is the selected marker's name.
    using InfoItem::setText;
    void setText(int number, const char16_t* text, int length = -1) override;
    const char16_t* text(int number) const override;

    // Sample access. lockSamples runs the deferred read when there is no block
    // yet; without a decode routine it gives zeros; null for a wave of no
    // frames, or when the read or the allocation fails.
    float* lockSamples();
    // The same, and cuts the wave from its source: the block becomes the
    // only copy.
    float* lockSamplesForWrite();
    // A new block for frames, channels and sampleRate; content undefined.
    float* allocateSamples();
    void releaseSamples();
    // Refers to the block of another wave (see the cpp for the marker merge).
    void shareSamples(const Waveform& from);
    SampleBlock* samples() const { return samples_.load(std::memory_order_acquire); }
    bool hasSamples() const { return samples() != nullptr; }
    // Takes a block the caller already made (one reference moves in).
    void adoptSamples(SampleBlock* block);

    // Markers.
    uint32_t addLoop(const LoopInfo& loop, const char16_t* name, bool makeMain, bool checkDuplicate);
    uint32_t addSection(uint32_t start, uint32_t end, const char16_t* name, bool forceSection);
    uint32_t addAltStart(uint32_t frame);
    uint32_t addMarker(uint32_t frame, const char16_t* name);
    LoopRecord* findMarker(uint32_t markerId);
    const LoopRecord* findMarker(uint32_t markerId) const;
    // kind 3 matches all kinds.
    LoopRecord* findMarkerByName(std::u16string_view name, int kind);
    LoopRecord* findMarkerAt(uint32_t frame, uint32_t tolerance);
    bool removeMarker(uint32_t markerId);
    LoopInfo getLoop(uint32_t markerId) const;
    void getSection(uint32_t markerId, uint32_t& start, uint32_t& end) const;
    LoopRecord* mainLoop() { return findMarker(mainLoopId); }
    const LoopRecord* mainLoop() const { return findMarker(mainLoopId); }
    const LoopRecord* releaseLoop() const;
    // Sorts, cuts and drops markers as the post-load pass does.
    void cleanMarkers();

    uint32_t frames = 0;
    uint32_t sampleRate = 22050;
    uint8_t bitsPerSample = 0;
    uint8_t channels = 1;
    uint8_t rootKey = 60;
    int8_t fineTune = 0;
    float gain = 0.0f; // dB
    uint32_t mainLoopId = 0;
    uint8_t preferredCoding = kCodingDefault;
    uint64_t sourceOffset = 0;
    DecodeRoutine decodeRoutine = nullptr;
    std::vector<LoopRecord> markers;
    uint32_t selectedMarkerId = 0;

    // Scratch values of RegionConsensus: the root key and loop that the
    // regions using this wave agree on (-1 and -100 mean "varies").
    int scratchRoot = 0;
    int64_t scratchLoop = 0;
    bool scratchSeen = false;

  private:
    // Atomic, because the background loader publishes a block that the user
    // interface thread may look for at the same time.
    std::atomic<SampleBlock*> samples_{nullptr};
};

// The next marker id of the process: 1 to 0x7FFFFF, then round again.
uint32_t NextMarkerId();

// Images: "image/jpeg", "image/png", "image/gif" by the first bytes, or null.
const char* imageMimeType(const uint8_t* bytes, size_t length);
bool isImageFileName(std::u16string_view extension);

// The deferred read (readSamples, fileio/wave_loader.h) needs the file layer,
// which stands above the model; lockSamples reaches it through this hook,
// which the file layer installs (InstallWaveLoader).
using DeferredRead = bool (*)(Waveform& wave, bool silent);
void SetDeferredRead(DeferredRead read);

// Called at the start of every Waveform's destruction, while the wave is
// still whole; the background loader uses it to drop the wave from its queue
// (and to wait if it is reading that very wave).
using WaveDestroyHook = void (*)(Waveform& wave);
void SetWaveDestroyHook(WaveDestroyHook hook);

// Turns a reverse or alternating main loop into a forward one, for fixUp when
// the feature mask drops those loop types. The wave tools provide it; until
// they are installed, fixUp leaves such loops as they are.
using ReverseLoopConversion = void (*)(Waveform& wave);
void SetReverseLoopConversion(ReverseLoopConversion convert);

} // namespace vaxel
