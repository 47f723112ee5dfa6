// Text conversions: UTF-16 <-> Windows-1252 and UTF-8.
#include "model/text.h"

#include "model/text_fold.h"

namespace vaxel {

namespace {
// Windows-1252 0x80..0x9F. The five holes of the code page map to
// themselves, as the system's own conversion does.
const char16_t kCp1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

size_t Limit(size_t limit) { return limit ? limit : kDefaultTextLimit; }
} // namespace

char16_t AnsiCharToWide(unsigned char c) {
    return c >= 0x80 && c <= 0x9F ? kCp1252High[c - 0x80] : char16_t(c);
}

// Code points up to 255 are kept as they are; the rest fold to plain ASCII
// (so U+2019 becomes an apostrophe and U+20AC an 'E').
char WideCharToAnsi(char16_t c) { return c <= 255 ? char(c) : FoldToAscii(c); }

bool AnsiToWide(char16_t* dest, size_t capacity, const char* source, size_t limit) {
    if (!dest || capacity == 0) return false;
    size_t n = 0, max = Limit(limit);
    bool fitted = true;
    for (size_t i = 0; source && i < max && source[i]; ++i) {
        if (n + 1 >= capacity) {
            fitted = false;
            break;
        }
        dest[n++] = AnsiCharToWide(static_cast<unsigned char>(source[i]));
    }
    dest[n] = 0;
    return fitted;
}

bool WideToAnsi(char* dest, size_t capacity, const char16_t* source, size_t limit) {
    if (!dest || capacity == 0) return false;
    size_t n = 0, max = Limit(limit);
    bool fitted = true;
    for (size_t i = 0; source && i < max && source[i]; ++i) {
        if (n + 1 >= capacity) {
            fitted = false;
            break;
        }
        dest[n++] = WideCharToAnsi(source[i]);
    }
    dest[n] = 0;
    return fitted;
}

namespace {
// Decodes one UTF-8 sequence at s[i] (i < n). Returns the code point and
// advances i; returns -1 at a truncated sequence, which ends the text. A lead
// byte that fits no pattern is taken as a single character.
long DecodeUtf8(const unsigned char* s, size_t n, size_t& i) {
    unsigned char c = s[i];
    int extra;
    long cp;
    if (c < 0x80) {
        ++i;
        return c;
    } else if ((c & 0xE0) == 0xC0) {
        extra = 1;
        cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        extra = 2;
        cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        extra = 3;
        cp = c & 0x07;
    } else {
        ++i;
        return c;
    }
    for (int k = 1; k <= extra; ++k) {
        if (i + k >= n || s[i + k] == 0) return -1;
        if ((s[i + k] & 0xC0) != 0x80) {
            // Not a continuation: take the lead byte alone.
            ++i;
            return c;
        }
        cp = (cp << 6) | (s[i + k] & 0x3F);
    }
    i += size_t(extra) + 1;
    return cp;
}
} // namespace

bool Utf8ToWide(char16_t* dest, size_t capacity, const char* source, size_t limit) {
    if (!dest || capacity == 0) return false;
    size_t n = 0, max = Limit(limit);
    size_t len = 0;
    while (source && len < max && source[len]) ++len;
    auto* s = reinterpret_cast<const unsigned char*>(source);
    bool fitted = true;
    for (size_t i = 0; i < len;) {
        long cp = DecodeUtf8(s, len, i);
        if (cp < 0) break;
        size_t units = cp > 0xFFFF ? 2 : 1;
        if (n + units >= capacity) {
            fitted = false;
            break;
        }
        if (cp > 0xFFFF) {
            cp -= 0x10000;
            dest[n++] = char16_t(0xD800 + (cp >> 10));
            dest[n++] = char16_t(0xDC00 + (cp & 0x3FF));
        } else {
            dest[n++] = char16_t(cp);
        }
    }
    dest[n] = 0;
    return fitted;
}

namespace {
// Appends the UTF-8 form of the code point at src[i] to out (at most 4
// bytes); returns the units consumed.
size_t EncodeUtf8(const char16_t* src, size_t len, size_t i, char out[4], size_t& outLen) {
    uint32_t cp = src[i];
    size_t used = 1;
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < len && src[i + 1] >= 0xDC00 && src[i + 1] <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (src[i + 1] - 0xDC00);
        used = 2;
    }
    if (cp < 0x80) {
        out[0] = char(cp);
        outLen = 1;
    } else if (cp < 0x800) {
        out[0] = char(0xC0 | (cp >> 6));
        out[1] = char(0x80 | (cp & 0x3F));
        outLen = 2;
    } else if (cp < 0x10000) {
        out[0] = char(0xE0 | (cp >> 12));
        out[1] = char(0x80 | ((cp >> 6) & 0x3F));
        out[2] = char(0x80 | (cp & 0x3F));
        outLen = 3;
    } else {
        out[0] = char(0xF0 | (cp >> 18));
        out[1] = char(0x80 | ((cp >> 12) & 0x3F));
        out[2] = char(0x80 | ((cp >> 6) & 0x3F));
        out[3] = char(0x80 | (cp & 0x3F));
        outLen = 4;
    }
    return used;
}
} // namespace

bool WideToUtf8(char* dest, size_t capacity, const char16_t* source, size_t limit) {
    if (!dest || capacity == 0) return false;
    size_t n = 0, max = Limit(limit), len = 0;
    while (source && len < max && source[len]) ++len;
    bool fitted = true;
    for (size_t i = 0; i < len;) {
        char bytes[4];
        size_t count;
        size_t used = EncodeUtf8(source, len, i, bytes, count);
        if (n + count >= capacity) {
            fitted = false;
            break;
        }
        for (size_t k = 0; k < count; ++k) dest[n++] = bytes[k];
        i += used;
    }
    dest[n] = 0;
    return fitted;
}

bool AsciiCopy(char* dest, size_t capacity, const char* source, size_t limit) {
    if (!dest || capacity == 0) return false;
    size_t n = 0, max = Limit(limit);
    bool fitted = true;
    for (size_t i = 0; source && i < max && source[i]; ++i) {
        if (n + 1 >= capacity) {
            fitted = false;
            break;
        }
        dest[n++] = source[i];
    }
    dest[n] = 0;
    return fitted;
}

std::u16string AnsiToWide(std::string_view source) {
    std::u16string out;
    out.reserve(source.size());
    for (char c : source) {
        if (!c) break;
        out += AnsiCharToWide(static_cast<unsigned char>(c));
    }
    return out;
}

std::string WideToAnsi(std::u16string_view source) {
    std::string out;
    out.reserve(source.size());
    for (char16_t c : source) {
        if (!c) break;
        out += WideCharToAnsi(c);
    }
    return out;
}

std::u16string Utf8ToWide(std::string_view source) {
    std::u16string out;
    size_t len = source.find('\0');
    if (len == std::string_view::npos) len = source.size();
    auto* s = reinterpret_cast<const unsigned char*>(source.data());
    for (size_t i = 0; i < len;) {
        long cp = DecodeUtf8(s, len, i);
        if (cp < 0) break;
        if (cp > 0xFFFF) {
            cp -= 0x10000;
            out += char16_t(0xD800 + (cp >> 10));
            out += char16_t(0xDC00 + (cp & 0x3FF));
        } else {
            out += char16_t(cp);
        }
    }
    return out;
}

std::string WideToUtf8(std::u16string_view source) {
    std::string out;
    size_t len = source.find(u'\0');
    if (len == std::u16string_view::npos) len = source.size();
    for (size_t i = 0; i < len;) {
        char bytes[4];
        size_t count;
        i += EncodeUtf8(source.data(), len, i, bytes, count);
        out.append(bytes, count);
    }
    return out;
}

char16_t FoldCase(char16_t c) {
    if (c >= u'A' && c <= u'Z') return char16_t(c + 32);
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return char16_t(c + 32);
    return c;
}

bool EqualsIgnoreCase(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (FoldCase(a[i]) != FoldCase(b[i])) return false;
    return true;
}

} // namespace vaxel
