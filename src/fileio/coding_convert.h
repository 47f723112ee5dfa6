#pragma once
// The conversion kernels behind the sample codings, shared by the generic
// decoder and encoder and by the buffer forms of sample_coding.h. Internal to
// the file layer.
//
// Both directions run over a stream of samples in pieces: a caller may cut a
// long stream anywhere on an even sample count and carry the state from one
// piece to the next (the running sum of the delta forms). An even count keeps
// the packed forms on whole bytes: two 12-bit samples take 3 bytes, two
// 20-bit samples 5.
#include <cstddef>
#include <cstdint>

namespace vaxel::coding {

// What runs on between the pieces of one stream.
struct StreamState {
    uint32_t deltaSum = 0; // decoding: the running sum of the delta forms
    int32_t deltaLast = 0; // encoding: the previous signed value
};

// Bytes that count samples of a coding take in a file: (bits x count + 7) / 8.
uint64_t StreamBytes(int dataCoding, uint64_t count);

// Reverses the bytes of each unit of width 2, 3, 4 or 8 bytes in place.
void SwapUnits(uint8_t* data, size_t units, int width);

// Decodes count samples of a coding the generic decoder takes (0 to 9, 15,
// 16). raw holds StreamBytes(count) bytes and, unless the coding is a 32-bit
// one (5, 6), must not overlap out. Multi-byte units must already be in
// little-endian order (the caller swaps), except for the packed forms (1, 3),
// which read their own byte-swapped layout when flags say so. Codings outside
// that set give zeros.
void DecodeRun(const uint8_t* raw, size_t count, int dataCoding, uint32_t flags, float* out,
               StreamState& state);

// Converts count samples of a 32-bit coding (5 or 6) that lie in data as
// little-endian units into floats in the same place.
void DecodeInPlace32(void* data, size_t count, int dataCoding, uint32_t flags);

// Encodes count samples into EncodedWidth(dataCoding) x count bytes,
// little-endian (the caller swaps). The unsigned flag counts only for plain
// PCM. A coding without a fixed width writes nothing.
void EncodeRun(const float* in, size_t count, int dataCoding, uint32_t flags, uint8_t* out,
               StreamState& state);

} // namespace vaxel::coding
