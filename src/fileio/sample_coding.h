#pragma once
// Sample codings: how samples lie in a file, the one generic decoder (raw
// data to float) and encoder (float to raw data), and the choice of a coding
// and channel count for a save. No dithering anywhere: a float sample is
// scaled, truncated and clamped.
#include <cstddef>
#include <cstdint>

namespace vaxel {

class CollectionItem;
class FileObject;
class Waveform;

// How samples are stored in a file (bit n of a DataCodingWord).
enum DataCoding : int {
    kPcm8 = 0,
    kPcm12 = 1, // packed, two samples in three bytes
    kPcm16 = 2,
    kPcm20 = 3, // packed bit stream
    kPcm24 = 4,
    kPcm32 = 5,
    kFloat32 = 6,
    kFloat64 = 7,
    kMuLaw = 8,
    kALaw = 9,
    kGsm = 10,
    kAdpcm2 = 11,
    kAdpcm3 = 12,
    kAdpcm4 = 13,
    kAdpcm5 = 14,
    kDelta8 = 15,
    kDelta16 = 16,
    kCompressed = 17,
    kAsciiText = 18,
    kMidi = 19,
    kDataCodingCount = 20,
};

// Flag bits of a DataCodingWord beside the coding bits.
constexpr uint32_t kCodingSplitStereo = 0x800000; // left block, then right block
constexpr uint32_t kCodingUnsigned = 0x1000000;   // offset binary
constexpr uint32_t kCodingSwapped = 0x2000000;    // big-endian

// "PCM 16-bit" ...; "" outside 0..19.
const char16_t* DataCodingName(int coding);
int DataCodingBits(int coding);
// The coding of a word: its lowest set bit among bits 0..19, or -1.
int CodingOfWord(uint32_t dataCodingWord);

// The user's numbering of codings (a wave's preferredCoding).
constexpr int kSampleCodingCount = 22; // 0..21, 21 "Default"
const char16_t* SampleCodingName(int sampleCoding);
// The DataCoding of a SampleCoding (20 for "Default"), and the bit rate in
// kbit/s of a compressed one (0 otherwise).
int DataCodingOf(int sampleCoding);
int BitRateOf(int sampleCoding);
// The SampleCoding that records a DataCoding, or -1 for those without one.
int SampleCodingOfData(int dataCoding);
// The compressed SampleCoding (8..20) for a bit rate in kbit/s.
int SampleCodingForBitRate(float kbps);
// The SampleCoding whose name equals the text (case ignored), or -1. Also
// takes the DataCoding names, so "PCM 12-bit" finds nothing but "PCM 24-bit"
// does.
int FindSampleCoding(const char16_t* name);

// Installs the generic decoder as the wave's decode routine, records the
// coding and the word, sets bitsPerSample; returns the bits.
int SetSampleFormat(Waveform& wave, int dataCoding, uint32_t flags);
// The coding for any bit depth: up to 8 bits 8-bit, to 16 16-bit, to 24
// 24-bit, else 32-bit; then as SetSampleFormat.
int SetPcmBits(Waveform& wave, int bitsPerSample, uint32_t flags);

// The decode routine of every plain coding. The file stands at the first
// sample. Split stereo reads the second half at the wave's second-channel
// offset (readerWide) when it is non-zero.
int GenericDecode(Waveform& wave, FileObject& file, bool showProgress);
// Writes the samples of a Waveform item in a coding; channelsWanted 0 keeps
// the wave's, 1 mono, 2 stereo; flags as in the word.
int GenericEncode(FileObject& file, CollectionItem& item, int dataCoding, int channelsWanted, uint32_t flags);

// Buffer forms of the two conversions, for writers that build their data in
// memory and for readers of formats that interleave their own framing.
// samples holds frames x channels floats.
void DecodeToFloat(const uint8_t* raw, size_t sampleCount, int dataCoding, uint32_t flags, float* out);
// Bytes one sample of the coding takes in an encoded buffer (0 for the
// packed and compressed forms, which have no fixed width).
int EncodedWidth(int dataCoding);
// Converts sampleCount floats into width x sampleCount bytes (no split).
void EncodeFromFloat(const float* samples, size_t sampleCount, int dataCoding, uint32_t flags, uint8_t* out);

// Picks the coding for a save; rate is the wanted compressed bit rate in
// kbit/s on entry and the chosen one on return. rateList gives the format's
// selectable rates (the row's bitRateAt), or is null.
using BitRateList = int (*)(int index, uint32_t param, char16_t* label);
int ChooseCoding(const Waveform& wave, uint32_t codingMask, float* rate, BitRateList rateList = nullptr,
                 uint32_t rateParam = 0);

// The channels a save writes for a wave under a coding mask: a mono wave
// stays mono if the format holds mono, else goes to stereo; a stereo wave
// stays stereo if the format holds stereo, else goes to mono. A format that
// keeps stereo as two mono waves (bit 22) counts as holding stereo.
int ChannelsFor(const Waveform& wave, uint32_t mask);
int ChannelsFor(int channels, uint32_t mask);

// The wave to write from: the wave itself when its channels and rate suit
// the mask and the wanted rate (0 keeps it), else a converted temporary copy
// that the caller deletes (isTemporary). Null when the item isn't a Waveform,
// its samples can't be read or the conversion fails.
Waveform* PrepareWave(CollectionItem& item, uint32_t mask, uint32_t sampleRate, bool& isTemporary);

// The resampler PrepareWave uses for a change of rate: converts the wave's
// samples to the rate at a quality (PrepareWave asks for 8) and sets its
// sampleRate; false with LastError set on failure. The tools install it;
// without one, a change of rate fails with a message saying so.
using ResampleHook = bool (*)(Waveform& wave, uint32_t sampleRate, int quality);
void SetResampleHook(ResampleHook hook);

} // namespace vaxel
