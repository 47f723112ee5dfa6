#pragma once
// What the WAV and Wave-64 readers and writers share: the 'fmt ' record, the
// 'smpl' chunk both ways, and the little-endian byte helpers. Private to the
// files of the WAV family.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vaxel {

class FileObject;
class Waveform;

namespace wav {

// Format tags with a decoder today or a message of their own.
enum FormatTag : uint16_t {
    kTagPcm = 1,
    kTagMsAdpcm = 2,
    kTagFloat = 3,
    kTagALaw = 6,
    kTagMuLaw = 7,
    kTagImaAdpcm = 17,
    kTagDialogic = 23,
    kTagYamaha = 32,
    kTagGsm = 49,
    kTagRockwell = 59,
    kTagMpeg = 80,
    kTagMpegLayer3 = 85,
    kTagMuLawAlt = 369,
    kTagALawAlt = 370,
    kTagRockwellAlt = 768,
    kTagGsmAlt = 771,
    kTagGsmAlt2 = 4096,
    kTagExtensible = 0xFFFE,
};

// The 'fmt ' record after the Extensible tag has been resolved.
struct Format {
    uint16_t tag = 0;      // the effective tag (from the GUID for Extensible)
    uint16_t channels = 0; // as stored
    uint32_t sampleRate = 0;
    uint32_t bytesPerSecond = 0;
    uint16_t blockAlign = 0;
    uint16_t bits = 0;      // the bits field (16 when the record is short)
    uint16_t validBits = 0; // Extensible's valid bits, else bits
    bool extensible = false;
    bool shortRecord = false; // fewer than 16 bytes: no bits field
};

// Reads a 'fmt ' body of n bytes. False with LastError set on a record that
// can't be read ("Reading from file failed") or an Extensible GUID of
// another family.
bool ParseFormat(const uint8_t* body, size_t n, Format& format);

// How the samples of a PCM, float or G.711 format lie: the coding of one
// sample, its width in the file, the flags of the coding word, and whether
// the generic decoder can take the data as it stands. False with LastError
// set for tags without a decoder (with the tag's own message where the
// format is known but its bits or channels are not) and for impossible
// shapes (no channels, no rate, zero or over-wide samples).
struct Layout {
    int coding = 0;          // DataCoding of a sample (of the container for wide PCM)
    uint32_t flags = 0;      // kCodingUnsigned for 8-bit PCM
    uint32_t width = 0;      // bytes of one sample's container
    uint32_t frameBytes = 0; // width x stored channels
    uint32_t maskBits = 0;   // low bits of the container to clear (wide PCM)
    int shownBits = 0;       // the bits the wave shows
    bool generic = false;    // GenericDecode can take it
};
bool LayoutOf(const Format& format, Layout& layout);

// Sets channels, rate and the decoder of a wave from a checked format:
// SetSampleFormat/SetPcmBits for what the generic decoder takes, else the
// WAV decoder with at most two channels. fmtOffset is the file offset of the
// 'fmt ' body, kept for the decoder in readerWords[0..1].
void ApplyFormat(Waveform& wave, const Format& format, const Layout& layout, uint64_t fmtOffset,
                 uint32_t fmtLength, bool wave64);
// WaveDecode under the Wave-64 routine number.
int Wave64Decode(Waveform& wave, FileObject& file, bool showProgress);

// The loops of a 'smpl' chunk, held until the walk ends (names come from
// 'labl' chunks that may follow).
struct SmplLoop {
    uint32_t cueId = 0;
    uint32_t type = 0;
    uint32_t start = 0;
    uint32_t end = 0;      // last frame of the loop, or exclusive with CWDT
    uint32_t fraction = 0; // of a frame behind end, in 2^-32
    uint32_t playCount = 0;
};
struct Smpl {
    bool present = false;
    uint32_t manufacturer = 0;
    uint32_t product = 0;
    uint32_t unityNote = 0;
    uint32_t pitchFraction = 0;
    std::vector<SmplLoop> loops;
    bool cwdt = false;          // the program's own sampler data: exclusive ends
    int8_t cwdtStartOffset = 0; // hundredths of a frame added to the loop start
    bool hasBlock18 = false;    // the 18-byte sampler block was found and used
    uint8_t block18[18] = {};
};
// Parses a 'smpl' body; false when it is shorter than its 36-byte head.
bool ParseSmpl(const uint8_t* body, size_t n, Smpl& smpl);
// Root key and fine tune of the head (root key 0 tries the swapped word).
void ApplySmplTuning(Waveform& wave, const Smpl& smpl);
// Adds the loops to the wave (the first becomes the main loop); names[i] is
// the name of loop i, or empty. Applies the release-loop rule and the 18-byte
// sampler block. Call once frames is known.
void ApplySmplLoops(Waveform& wave, const Smpl& smpl, const std::vector<std::u16string>& names);

// The loops that a writer puts into 'smpl': the main loop first, then the
// "Release Loop" when the main loop has one. With the setting
// fmt.wav.bNoLoopOff, a lone loop that is off (or not the main loop) is left
// out altogether (skipped is then set to its marker id).
std::vector<uint32_t> LoopsForSmpl(const Waveform& wave, uint32_t* skipped);
// A 'smpl' body for the wave (36 bytes, 24 a loop), with each loop's cue id
// from cueIds (same order as loopIds).
std::vector<uint8_t> BuildSmpl(const Waveform& wave, const std::vector<uint32_t>& loopIds,
                               const std::vector<uint32_t>& cueIds);
// The 88-byte 'smpl' with 'CWDT' sampler data (one loop, exclusive end).
std::vector<uint8_t> BuildSmplCwdt(const Waveform& wave);

// Little-endian access, bounds left to the caller.
inline uint16_t Le16(const uint8_t* p) {
    return uint16_t(p[0] | p[1] << 8);
}
inline uint32_t Le32(const uint8_t* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
inline uint64_t Le64(const uint8_t* p) {
    return Le32(p) | uint64_t(Le32(p + 4)) << 32;
}
inline void Put16(uint8_t* p, uint16_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
}
inline void Put32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}
inline void Put64(uint8_t* p, uint64_t v) {
    for (int i = 0; i < 8; ++i) p[i] = uint8_t(v >> (8 * i));
}
void Append16(std::vector<uint8_t>& out, uint16_t v);
void Append32(std::vector<uint8_t>& out, uint32_t v);
void Append64(std::vector<uint8_t>& out, uint64_t v);

// The 'fmt ' body a writer puts out for a coding (0, 2, 4, 5 PCM, 6 float,
// 8 mu-law, 9 A-law), plain or Extensible; empty for any other coding.
std::vector<uint8_t> BuildFormat(int coding, int channels, uint32_t sampleRate, bool extensible);
// The format tag of a coding that BuildFormat takes, else 0.
uint16_t TagOfCoding(int coding);

// The wave a writer writes from, in the coding it chose: the item itself, or
// a converted copy (channels) that goes away with this object.
struct PreparedWave {
    Waveform* wave = nullptr;
    bool temporary = false;
    int coding = -1;
    PreparedWave() = default;
    PreparedWave(const PreparedWave&) = delete;
    PreparedWave& operator=(const PreparedWave&) = delete;
    ~PreparedWave();
};
// Chooses the coding under the options' mask (rowMask when it is 0), refuses
// one BuildFormat can't write with "Unsupported subformat", prepares the wave
// and reads its samples. False with LastError set.
bool PrepareForWrite(CollectionItem& item, const WriteOptions& options, uint32_t rowMask, PreparedWave& out);

// Encodes the wave's samples (present already) in pieces into the file and
// pads the data to a multiple of padTo bytes with padValue.
bool WriteSamples(FileObject& file, const Waveform& wave, int coding, uint64_t dataBytes, uint64_t padTo,
                  uint8_t padValue);

// A float sample position as frames and hundredths, from a marker record.
inline double PositionOf(uint32_t frame, uint8_t hundredths) {
    return double(frame) + 0.01 * hundredths;
}

} // namespace wav
} // namespace vaxel
