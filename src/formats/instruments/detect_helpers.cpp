// Shared looks for the instrument-format detectors (see detect_helpers.h).
#include "formats/instruments/detect_helpers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/text.h"

namespace vaxel::instruments {

void BindDetector(const char16_t* extension, const char16_t* description, DetectRoutine detect) {
    BindDetectorOrDie("instrument", extension, description, detect);
}

bool IsRiffForm(const Bytes& b, const char* form) {
    return b.equals(0, "RIFF") && b.equals(8, form, 4);
}

namespace {

bool IsBlank(uint8_t c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The offset just behind the first occurrence of text at or after from, or 0
// when it does not occur before end.
size_t After(const Bytes& b, size_t from, const char* text, size_t end) {
    size_t n = std::strlen(text);
    size_t at = b.find(from, text, n, end);
    return at >= b.size ? 0 : at + n;
}

} // namespace

bool XmlRootIs(const Bytes& b, const char* name, size_t window) {
    size_t end = window < b.size ? window : b.size;
    size_t p = b.equals(0, "\xEF\xBB\xBF") ? 3 : 0;
    while (p < end) {
        uint8_t c = b.u8(p);
        if (IsBlank(c)) {
            ++p;
        } else if (b.equals(p, "<?")) {
            p = After(b, p + 2, "?>", end);
        } else if (b.equals(p, "<!--")) {
            p = After(b, p + 4, "-->", end);
        } else if (b.equals(p, "<!")) {
            p = After(b, p + 2, ">", end);
        } else if (c == '<') {
            size_t n = std::strlen(name);
            if (!b.equals(p + 1, name, n) || p + 1 + n >= end) return false;
            uint8_t next = b.u8(p + 1 + n);
            return IsBlank(next) || next == '>' || next == '/';
        } else {
            return false;
        }
        if (p == 0) return false; // an unterminated declaration or comment
    }
    return false;
}

bool IsZip(const Bytes& b) {
    return b.equals(0, "PK\x03\x04");
}

bool ZipHasEntry(const Bytes& b, bool (*match)(const char* name, size_t length)) {
    size_t p = 0;
    for (int entries = 0; entries < 256 && b.equals(p, "PK\x03\x04"); ++entries) {
        uint16_t flags = b.le16(p + 6);
        uint32_t packed = b.le32(p + 18);
        size_t nameLength = b.le16(p + 26);
        size_t extraLength = b.le16(p + 28);
        if (!b.has(p + 30, nameLength)) return false;
        if (match(reinterpret_cast<const char*>(b.data + p + 30), nameLength)) return true;
        if (flags & 0x08) return false; // sizes follow the data: the next head is not known
        size_t next = p + 30 + nameLength + extraLength;
        if (packed > b.size || next > b.size - packed) return false;
        p = next + packed;
    }
    return false;
}

bool EndsWithIgnoreCase(const char* name, size_t length, const char* suffix) {
    size_t n = std::strlen(suffix);
    if (n > length) return false;
    for (size_t i = 0; i < n; ++i) {
        char a = name[length - n + i], c = suffix[i];
        if (a >= 'A' && a <= 'Z') a = char(a - 'A' + 'a');
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
        if (a != c) return false;
    }
    return true;
}

bool IsPrintableName(const Bytes& b, size_t offset, size_t n, bool allowPadding) {
    if (!b.has(offset, n)) return false;
    bool padding = false;
    for (size_t i = 0; i < n; ++i) {
        uint8_t c = b.u8(offset + i);
        if (padding) {
            if (c != 0) return false;
        } else if (c == 0 && allowPadding) {
            padding = true;
        } else if (c < 0x20 || c > 0x7E) {
            return false;
        }
    }
    return true;
}

} // namespace vaxel::instruments
