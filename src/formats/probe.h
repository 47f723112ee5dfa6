#pragma once
// Bounds-safe looks into the first bytes of a file, for the detection
// routines. Every function answers "no" (false or 0) rather than read past
// the buffer, so a detector can test offsets without checking the length
// first. Nothing here allocates.
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vaxel::probe {

// The bytes a detector was handed.
struct Bytes {
    const uint8_t* data;
    size_t size;

    bool has(size_t offset, size_t n) const { return offset <= size && n <= size - offset; }

    // True when the bytes at offset equal text (n bytes, no terminator).
    bool equals(size_t offset, const char* text, size_t n) const {
        return has(offset, n) && std::memcmp(data + offset, text, n) == 0;
    }
    template <size_t N>
    bool equals(size_t offset, const char (&text)[N]) const {
        return equals(offset, text, N - 1);
    }

    uint8_t u8(size_t offset) const { return has(offset, 1) ? data[offset] : 0; }
    uint16_t le16(size_t offset) const {
        return has(offset, 2) ? uint16_t(data[offset] | data[offset + 1] << 8) : 0;
    }
    uint16_t be16(size_t offset) const {
        return has(offset, 2) ? uint16_t(data[offset] << 8 | data[offset + 1]) : 0;
    }
    uint32_t le32(size_t offset) const {
        return has(offset, 4) ? uint32_t(data[offset]) | uint32_t(data[offset + 1]) << 8 |
                                    uint32_t(data[offset + 2]) << 16 | uint32_t(data[offset + 3]) << 24
                              : 0;
    }
    uint32_t be32(size_t offset) const {
        return has(offset, 4) ? uint32_t(data[offset]) << 24 | uint32_t(data[offset + 1]) << 16 |
                                    uint32_t(data[offset + 2]) << 8 | uint32_t(data[offset + 3])
                              : 0;
    }
    uint64_t le64(size_t offset) const { return has(offset, 8) ? le32(offset) | uint64_t(le32(offset + 4)) << 32 : 0; }
    uint64_t be64(size_t offset) const { return has(offset, 8) ? uint64_t(be32(offset)) << 32 | be32(offset + 4) : 0; }

    // The first offset at or after from where text occurs, or size when it
    // does not (a bounded scan; detectors keep their windows small).
    size_t find(size_t from, const char* text, size_t n, size_t limit) const {
        size_t end = limit < size ? limit : size;
        if (n == 0 || n > end) return size;
        for (size_t i = from; i + n <= end; ++i)
            if (data[i] == uint8_t(text[0]) && std::memcmp(data + i, text, n) == 0) return i;
        return size;
    }
};

} // namespace vaxel::probe
