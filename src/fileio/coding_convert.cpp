// The conversion kernels of the sample codings (see coding_convert.h).
//
// Every kernel is one flat loop with the choices made outside it: the
// unsigned variant of a PCM width is the signed one with the top bit of the
// stored value inverted (offset binary minus half the range is exactly that),
// so it costs an XOR with a mask that is 0 for signed data, not a branch.
// Byte-swapped data is put in order by a separate pass over the piece, which
// stays in the cache. All scales are powers of two, so the floats are exact
// for every width up to 24 bits.
#include "fileio/coding_convert.h"

#include <array>
#include <bit>
#include <cstring>

#include "fileio/sample_coding.h"

namespace vaxel::coding {
namespace {

// ---------------------------------------------------------------- G.711

// ITU-T G.711 mu-law expansion: the byte is stored inverted; 3 bits of
// segment, 4 of mantissa; the magnitude is ((mantissa << 3) + 0x84) << segment
// less the bias 0x84, giving the 14-bit range at the top of 16 bits.
constexpr int16_t MuLawToLinear(uint8_t byte) {
    const int u = ~byte & 0xFF;
    const int segment = (u >> 4) & 7;
    const int magnitude = (((u & 0x0F) << 3) + 0x84) << segment;
    return int16_t((u & 0x80) ? 0x84 - magnitude : magnitude - 0x84);
}

// ITU-T G.711 A-law expansion: even bits are inverted (XOR 0x55); segment 0
// is linear, each further segment doubles the step; the sign bit set means
// positive. The 13-bit result stands at the top of 16 bits.
constexpr int16_t ALawToLinear(uint8_t byte) {
    const int a = byte ^ 0x55;
    const int segment = (a >> 4) & 7;
    int magnitude = (a & 0x0F) << 4;
    magnitude += segment == 0 ? 8 : 0x108;
    if (segment > 1) magnitude <<= segment - 1;
    return int16_t((a & 0x80) ? magnitude : -magnitude);
}

template <int16_t (*Expand)(uint8_t)> constexpr std::array<float, 256> MakeTable() {
    std::array<float, 256> table{};
    for (int i = 0; i < 256; ++i) table[size_t(i)] = float(Expand(uint8_t(i))) * 0x1p-15f;
    return table;
}
constexpr std::array<float, 256> kMuLawTable = MakeTable<MuLawToLinear>();
constexpr std::array<float, 256> kALawTable = MakeTable<ALawToLinear>();

// G.711 A-law compression of a 16-bit value: the top 13 bits are kept, a
// negative value is folded to its ones' complement, the segment is the
// position of the highest set bit above bit 4, and the four bits below it are
// the mantissa. Even bits are inverted, and the sign bit is set for positive
// values.
uint8_t LinearToALaw(int s) {
    int m = s >> 3;
    uint8_t mask = 0xD5;
    if (m < 0) {
        mask = 0x55;
        m = ~m;
    }
    int segment = 0;
    while (segment < 8 && m > (0x20 << segment) - 1) ++segment;
    if (segment == 8) return uint8_t(0x7F ^ mask);
    const int mantissa = segment < 2 ? (m >> 1) & 0x0F : (m >> segment) & 0x0F;
    return uint8_t(((segment << 4) | mantissa) ^ mask);
}

// The program's own mu-law compression: the segments of G.711 over the
// plain 16-bit magnitude, with no bias added. Files written by it decode with
// the standard table; values fall at most one step lower than with the bias.
uint8_t LinearToMuLaw(int s) {
    int mask = 0xFF;
    int m = s;
    if (s < 0) {
        mask = 0x7F;
        m = ~s;
    }
    int segment;
    if (m <= 255)
        segment = 0;
    else if (m <= 511)
        segment = 1;
    else if (m <= 1023)
        segment = 2;
    else if (m <= 2047)
        segment = 3;
    else if (m <= 4095)
        segment = 4;
    else if (m < 8192)
        segment = 5;
    else if (m < 16384)
        segment = 6;
    else
        segment = 7;
    return uint8_t((((m >> (segment + 3)) & 15) + (segment << 4)) ^ mask);
}

// ---------------------------------------------------------------- decoding

constexpr bool kLittleHost = std::endian::native == std::endian::little;

void Decode8(const uint8_t* __restrict raw, size_t n, uint8_t flip, float* __restrict out) {
    for (size_t i = 0; i < n; ++i) out[i] = float(int8_t(raw[i] ^ flip)) * 0x1p-7f;
}

void Decode16(const uint8_t* __restrict raw, size_t n, uint16_t flip, float* __restrict out) {
    for (size_t i = 0; i < n; ++i) {
        uint16_t v;
        if constexpr (kLittleHost)
            std::memcpy(&v, raw + 2 * i, 2);
        else
            v = uint16_t(raw[2 * i] | raw[2 * i + 1] << 8);
        out[i] = float(int16_t(v ^ flip)) * 0x1p-15f;
    }
}

// The three bytes go to the top of a 32-bit word, which then is an exact
// float: the same as sign-extending to 32 bits and scaling by 2^-23.
void Decode24(const uint8_t* __restrict raw, size_t n, uint32_t flip, float* __restrict out) {
    size_t i = 0;
    if constexpr (kLittleHost) {
        // One unaligned 4-byte load a sample; the byte above the sample is
        // shifted out. The last sample is left to the loop below, which
        // never reads past the data.
        for (; i + 1 < n; ++i) {
            uint32_t v;
            std::memcpy(&v, raw + 3 * i, 4);
            out[i] = float(int32_t((v << 8) ^ flip)) * 0x1p-31f;
        }
    }
    for (; i < n; ++i) {
        const uint8_t* p = raw + 3 * i;
        uint32_t v = uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24;
        out[i] = float(int32_t(v ^ flip)) * 0x1p-31f;
    }
}

void Decode64(const uint8_t* __restrict raw, size_t n, float* __restrict out) {
    for (size_t i = 0; i < n; ++i) {
        uint64_t bits = 0;
        if constexpr (kLittleHost)
            std::memcpy(&bits, raw + 8 * i, 8);
        else
            for (int b = 7; b >= 0; --b) bits = bits << 8 | raw[8 * i + size_t(b)];
        out[i] = float(std::bit_cast<double>(bits));
    }
}

void DecodeTable(const uint8_t* __restrict raw, size_t n, const float* __restrict table,
                 float* __restrict out) {
    for (size_t i = 0; i < n; ++i) out[i] = table[raw[i]];
}

void DecodeDelta8(const uint8_t* raw, size_t n, uint8_t flip, float* out, StreamState& state) {
    uint8_t sum = uint8_t(state.deltaSum);
    for (size_t i = 0; i < n; ++i) {
        sum = uint8_t(sum + raw[i]);
        out[i] = float(int8_t(sum ^ flip)) * 0x1p-7f;
    }
    state.deltaSum = sum;
}

void DecodeDelta16(const uint8_t* raw, size_t n, uint16_t flip, float* out, StreamState& state) {
    uint16_t sum = uint16_t(state.deltaSum);
    for (size_t i = 0; i < n; ++i) {
        sum = uint16_t(sum + (raw[2 * i] | raw[2 * i + 1] << 8));
        out[i] = float(int16_t(sum ^ flip)) * 0x1p-15f;
    }
    state.deltaSum = sum;
}

// Two samples in three bytes b0 b1 b2, each put at the top of a 16-bit word.
// Little-endian layout: b0 and the low nibble of b1 make the first sample
// (b0 the low byte), b2 and the high nibble of b1 the second (b2 the high
// byte). Byte-swapped layout: b0 and the high nibble of b1 (b0 high), then
// the low nibble of b1 and b2 (b2 low). An odd last sample has two bytes.
void Decode12(const uint8_t* raw, size_t n, uint32_t flags, float* out) {
    const uint16_t flip = (flags & kCodingUnsigned) ? 0x8000 : 0;
    const bool swapped = flags & kCodingSwapped;
    for (size_t i = 0; i < n; i += 2) {
        const uint8_t* p = raw + i / 2 * 3;
        const unsigned b0 = p[0], b1 = p[1];
        uint16_t first = swapped ? uint16_t(b0 << 8 | (b1 & 0xF0)) : uint16_t(b0 << 4 | (b1 & 0x0F) << 12);
        out[i] = float(int16_t(first ^ flip)) * 0x1p-15f;
        if (i + 1 < n) {
            const unsigned b2 = p[2];
            uint16_t second =
                swapped ? uint16_t((b1 & 0x0F) << 12 | b2 << 4) : uint16_t(b2 << 8 | (b1 & 0xF0));
            out[i + 1] = float(int16_t(second ^ flip)) * 0x1p-15f;
        }
    }
}

// A bit stream of 20-bit samples. Little-endian: each byte goes above the
// bits held and a sample is the low 20 bits. Byte-swapped: each byte goes
// below and a sample is the top 20 bits. The sample is put at the top of 32
// bits.
void Decode20(const uint8_t* raw, size_t n, uint32_t flags, float* out) {
    const uint32_t flip = (flags & kCodingUnsigned) ? 0x80000000u : 0;
    const bool swapped = flags & kCodingSwapped;
    uint64_t held = 0;
    int bits = 0;
    size_t at = 0;
    for (size_t i = 0; i < n; ++i) {
        uint32_t sample;
        if (swapped) {
            while (bits < 20) {
                held = held << 8 | raw[at++];
                bits += 8;
            }
            sample = uint32_t(held >> (bits - 20)) & 0xFFFFF;
            bits -= 20;
            held &= (uint64_t(1) << bits) - 1;
        } else {
            while (bits < 20) {
                held |= uint64_t(raw[at++]) << bits;
                bits += 8;
            }
            sample = uint32_t(held) & 0xFFFFF;
            held >>= 20;
            bits -= 20;
        }
        out[i] = float(int32_t((sample << 12) ^ flip)) * 0x1p-31f;
    }
}

// ---------------------------------------------------------------- encoding

// The unsigned (offset binary) value of a sample at a width whose half range
// is half: truncate(x * half + half + offset), clamped to the range. An
// offset of one half rounds (8 and 16 bits); 0 truncates (24 and 32 bits).
// A NaN gives the minimum, as the clamp below zero would.
inline uint32_t OffsetValue(float x, double half, double offset) {
    double v = double(x) * half + (half + offset);
    v = v > 0.0 ? v : 0.0;
    const double top = 2.0 * half - 1.0;
    v = v < top ? v : top;
    return uint32_t(int64_t(v));
}

void Encode8(const float* __restrict in, size_t n, uint8_t flip, uint8_t* __restrict out) {
    for (size_t i = 0; i < n; ++i) out[i] = uint8_t(OffsetValue(in[i], 128.0, 0.5) ^ 0x80 ^ flip);
}

void Encode16(const float* __restrict in, size_t n, uint16_t flip, uint8_t* __restrict out) {
    for (size_t i = 0; i < n; ++i) {
        const uint16_t v = uint16_t(OffsetValue(in[i], 32768.0, 0.5) ^ 0x8000 ^ flip);
        out[2 * i] = uint8_t(v);
        out[2 * i + 1] = uint8_t(v >> 8);
    }
}

void Encode24(const float* __restrict in, size_t n, uint32_t flip, uint8_t* __restrict out) {
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = OffsetValue(in[i], 8388608.0, 0.0) ^ 0x800000 ^ flip;
        out[3 * i] = uint8_t(v);
        out[3 * i + 1] = uint8_t(v >> 8);
        out[3 * i + 2] = uint8_t(v >> 16);
    }
}

void Encode32(const float* __restrict in, size_t n, uint32_t flip, uint8_t* __restrict out) {
    for (size_t i = 0; i < n; ++i) {
        const uint32_t v = OffsetValue(in[i], 2147483648.0, 0.0) ^ 0x80000000u ^ flip;
        for (int b = 0; b < 4; ++b) out[4 * i + size_t(b)] = uint8_t(v >> (8 * b));
    }
}

inline int Signed16(float x) {
    return int(OffsetValue(x, 32768.0, 0.5)) - 32768;
}

} // namespace

// ---------------------------------------------------------------- interface

uint64_t StreamBytes(int dataCoding, uint64_t count) {
    return (uint64_t(DataCodingBits(dataCoding)) * count + 7) / 8;
}

void SwapUnits(uint8_t* data, size_t units, int width) {
    switch (width) {
    case 2:
        for (size_t i = 0; i < units; ++i) {
            uint16_t v;
            std::memcpy(&v, data + 2 * i, 2);
            v = uint16_t(v << 8 | v >> 8);
            std::memcpy(data + 2 * i, &v, 2);
        }
        break;
    case 3:
        for (size_t i = 0; i < units; ++i) {
            uint8_t t = data[3 * i];
            data[3 * i] = data[3 * i + 2];
            data[3 * i + 2] = t;
        }
        break;
    case 4:
        for (size_t i = 0; i < units; ++i) {
            uint32_t v;
            std::memcpy(&v, data + 4 * i, 4);
            v = __builtin_bswap32(v);
            std::memcpy(data + 4 * i, &v, 4);
        }
        break;
    case 8:
        for (size_t i = 0; i < units; ++i) {
            uint64_t v;
            std::memcpy(&v, data + 8 * i, 8);
            v = __builtin_bswap64(v);
            std::memcpy(data + 8 * i, &v, 8);
        }
        break;
    default:
        break;
    }
}

void DecodeInPlace32(void* data, size_t count, int dataCoding, uint32_t flags) {
    auto* p = static_cast<uint8_t*>(data);
    if (dataCoding == kFloat32) {
        if constexpr (!kLittleHost) SwapUnits(p, count, 4);
        return;
    }
    const uint32_t flip = (flags & kCodingUnsigned) ? 0x80000000u : 0;
    // Read and write through the one pointer at the same index, so that the
    // compiler sees no overlap between iterations.
    for (size_t i = 0; i < count; ++i) {
        uint32_t v;
        std::memcpy(&v, p + 4 * i, 4);
        if constexpr (!kLittleHost) v = __builtin_bswap32(v);
        const float f = float(int32_t(v ^ flip)) * 0x1p-31f;
        std::memcpy(p + 4 * i, &f, 4);
    }
}

void DecodeRun(const uint8_t* raw, size_t count, int dataCoding, uint32_t flags, float* out,
               StreamState& state) {
    if (count == 0) return; // the pointers may be null then
    const bool isUnsigned = flags & kCodingUnsigned;
    switch (dataCoding) {
    case kPcm8:
        Decode8(raw, count, isUnsigned ? 0x80 : 0, out);
        break;
    case kPcm12:
        Decode12(raw, count, flags, out);
        break;
    case kPcm16:
        Decode16(raw, count, isUnsigned ? 0x8000 : 0, out);
        break;
    case kPcm20:
        Decode20(raw, count, flags, out);
        break;
    case kPcm24:
        Decode24(raw, count, isUnsigned ? 0x80000000u : 0, out);
        break;
    case kPcm32:
    case kFloat32:
        if (static_cast<const void*>(raw) != static_cast<const void*>(out)) std::memcpy(out, raw, count * 4);
        DecodeInPlace32(out, count, dataCoding, flags);
        break;
    case kFloat64:
        Decode64(raw, count, out);
        break;
    case kMuLaw:
        DecodeTable(raw, count, kMuLawTable.data(), out);
        break;
    case kALaw:
        DecodeTable(raw, count, kALawTable.data(), out);
        break;
    case kDelta8:
        DecodeDelta8(raw, count, isUnsigned ? 0x80 : 0, out, state);
        break;
    case kDelta16:
        DecodeDelta16(raw, count, isUnsigned ? 0x8000 : 0, out, state);
        break;
    default:
        std::memset(out, 0, count * sizeof(float));
        break;
    }
}

void EncodeRun(const float* in, size_t count, int dataCoding, uint32_t flags, uint8_t* out,
               StreamState& state) {
    if (count == 0) return;
    const bool isUnsigned = flags & kCodingUnsigned;
    switch (dataCoding) {
    case kPcm8:
        Encode8(in, count, isUnsigned ? 0x80 : 0, out);
        break;
    case kPcm16:
        Encode16(in, count, isUnsigned ? 0x8000 : 0, out);
        break;
    case kPcm24:
        Encode24(in, count, isUnsigned ? 0x800000 : 0, out);
        break;
    case kPcm32:
        Encode32(in, count, isUnsigned ? 0x80000000u : 0, out);
        break;
    case kFloat32:
        if constexpr (kLittleHost)
            std::memcpy(out, in, count * 4);
        else
            for (size_t i = 0; i < count; ++i) {
                const uint32_t v = std::bit_cast<uint32_t>(in[i]);
                for (int b = 0; b < 4; ++b) out[4 * i + size_t(b)] = uint8_t(v >> (8 * b));
            }
        break;
    case kFloat64:
        for (size_t i = 0; i < count; ++i) {
            const uint64_t v = std::bit_cast<uint64_t>(double(in[i]));
            for (int b = 0; b < 8; ++b) out[8 * i + size_t(b)] = uint8_t(v >> (8 * b));
        }
        break;
    case kMuLaw:
        for (size_t i = 0; i < count; ++i) out[i] = LinearToMuLaw(Signed16(in[i]));
        break;
    case kALaw:
        for (size_t i = 0; i < count; ++i) out[i] = LinearToALaw(Signed16(in[i]));
        break;
    case kDelta8: {
        // The differences of the signed 8-bit values, wrapped to 8 bits.
        int32_t last = state.deltaLast;
        for (size_t i = 0; i < count; ++i) {
            const int32_t v = int32_t(OffsetValue(in[i], 128.0, 0.5)) - 128;
            out[i] = uint8_t(v - last);
            last = v;
        }
        state.deltaLast = last;
        break;
    }
    case kDelta16: {
        int32_t last = state.deltaLast;
        for (size_t i = 0; i < count; ++i) {
            const int32_t v = Signed16(in[i]);
            const uint16_t d = uint16_t(v - last);
            out[2 * i] = uint8_t(d);
            out[2 * i + 1] = uint8_t(d >> 8);
            last = v;
        }
        state.deltaLast = last;
        break;
    }
    default:
        break;
    }
}

} // namespace vaxel::coding
