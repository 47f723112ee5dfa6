#pragma once
// What the song and module family files share for detection: the shape of a
// detect routine, a binding helper that fails loudly, the score scale and a
// few byte tests. Kept free of the format table's header so that the many
// small family files compile quickly.
#include <cstddef>
#include <cstdint>

#include "formats/detect_bind.h"
#include "formats/probe.h"

namespace vaxel::songs {

// Binds fn as the detect routine of the row with this extension and
// description (exact text). A refused bind is a programming error: it prints
// the row and aborts.
void BindDetector(const char16_t* extension, const char16_t* description, DetectFn fn);

using namespace detect; // the score scale

// The n bytes at offset equal text with ASCII letters compared case-blind.
inline bool EqualsNoCase(const probe::Bytes& b, size_t offset, const char* text, size_t n) {
    if (!b.has(offset, n)) return false;
    for (size_t i = 0; i < n; ++i) {
        uint8_t x = b.data[offset + i], y = uint8_t(text[i]);
        if (x >= 'a' && x <= 'z') x = uint8_t(x - 32);
        if (y >= 'a' && y <= 'z') y = uint8_t(y - 32);
        if (x != y) return false;
    }
    return true;
}

// A name field: every byte is 0 or a printable character (Latin-1 allowed).
inline bool IsNameField(const probe::Bytes& b, size_t offset, size_t n) {
    if (!b.has(offset, n)) return false;
    for (size_t i = 0; i < n; ++i) {
        uint8_t c = b.data[offset + i];
        if (c != 0 && (c < 0x20 || c == 0x7F)) return false;
    }
    return true;
}

} // namespace vaxel::songs
