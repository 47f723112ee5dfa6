#pragma once
// RIFF WAVE, RF64 and Wave-64: the readers and writers of one Waveform, for
// the format table and for the instrument formats that embed or refer to
// WAV files (DLS, SFZ and the sampler formats whose waves are WAV).
#include <cstddef>
#include <cstdint>

namespace vaxel {

class Collection;
class CollectionItem;
class FileObject;
class Waveform;
struct WriteOptions;

// Values of WriteOptions::param for WriteWav.
constexpr uint32_t kWavParamPlain = 0;
// WAVE_FORMAT_EXTENSIBLE 'fmt ' (40 bytes) instead of the plain one.
constexpr uint32_t kWavParamExtensible = 0xFFFE;
// 'smpl' before 'data', and nothing behind 'data' (for formats that embed a
// wave and read it with a simple parser).
constexpr uint32_t kWavParamSmplFirst = 0xFFFFFFFF;
// The 88-byte 'smpl' with the program's own 'CWDT' sampler data, which stores
// exclusive loop ends; placed as kWavParamSmplFirst.
constexpr uint32_t kWavParamCwdt = 0x54445743; // "CWDT" as a little-endian word

// Format table routines. The reader creates one Waveform (serial 1, named
// after the collection) and leaves its samples in the file.
int ReadWav(Collection& collection, FileObject& file, uint32_t param);
int WriteWav(CollectionItem& item, FileObject& file, const WriteOptions& options);
int ReadWave64(Collection& collection, FileObject& file, uint32_t param);
int WriteWave64(CollectionItem& item, FileObject& file, const WriteOptions& options);
int DetectWave64(const uint8_t* buffer, uint32_t param, size_t bufferBytes, uint64_t fileSize, int row);

// The decode routine of the waves the generic decoder can't take: PCM in a
// container wider than its valid bits, and more than two channels (the first
// two are kept). Registered as decode_id::kWav and decode_id::kWave64.
int WaveDecode(Waveform& wave, FileObject& file, bool showProgress);

// A file of more than this many bytes behind its 8-byte head is written as
// RF64. The default is the RIFF limit, 0xFFFFFFFF; tests lower it to get
// RF64 files of a few kilobytes. 0 restores the default.
void SetRf64LimitForTesting(uint64_t bytes);

} // namespace vaxel
