// ID3v2 tags (id3.org: ID3v2.2, ID3v2.3.0, ID3v2.4.0 structure and frames).
//
// Head of 10 bytes: "ID3", major and minor version, flags, and the tag size
// in four bytes of seven bits ("syncsafe"), not counting the head or the
// v2.4 footer. Flags: 0x80 unsynchronisation (a 0x00 stuffed behind every
// 0xFF that could look like a sync), 0x40 extended header (2.3, 2.4; in 2.2
// compression, which no one implemented), 0x10 footer (2.4).
// Frames: 2.2 has a 3-byte id and 3-byte size; 2.3 a 4-byte id, 4-byte size
// and two flag bytes; 2.4 the same with a syncsafe size and per-frame
// unsynchronisation and data-length fields. Text starts with an encoding
// byte: 0 ISO-8859-1, 1 UTF-16 with byte order mark, 2 UTF-16BE, 3 UTF-8.
#include "formats/audio/id3.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "model/item.h"
#include "model/property.h"
#include "model/text.h"

namespace vaxel {
namespace {

uint32_t Syncsafe(const uint8_t* p) {
    return uint32_t(p[0] & 0x7F) << 21 | uint32_t(p[1] & 0x7F) << 14 | uint32_t(p[2] & 0x7F) << 7 |
           (p[3] & 0x7F);
}
uint32_t Be32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

// Removes the 0x00 behind each 0xFF.
std::vector<uint8_t> Resync(const uint8_t* p, size_t n) {
    std::vector<uint8_t> out;
    out.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        out.push_back(p[i]);
        if (p[i] == 0xFF && i + 1 < n && p[i + 1] == 0) ++i;
    }
    return out;
}

// Decodes one string of the encoding from [p, p + n) up to its terminator;
// used tells how many bytes it took, terminator included.
std::u16string DecodeText(uint8_t encoding, const uint8_t* p, size_t n, size_t* used) {
    std::u16string text;
    size_t i = 0;
    if (encoding == 1 || encoding == 2) {
        bool bigEndian = encoding == 2;
        if (encoding == 1 && n >= 2) {
            if (p[0] == 0xFE && p[1] == 0xFF) {
                bigEndian = true;
                i = 2;
            } else if (p[0] == 0xFF && p[1] == 0xFE) {
                i = 2;
            }
        }
        for (; i + 1 < n; i += 2) {
            char16_t c = bigEndian ? char16_t(p[i] << 8 | p[i + 1]) : char16_t(p[i] | p[i + 1] << 8);
            if (c == 0) {
                i += 2;
                break;
            }
            // A second byte order mark inside the text says nothing.
            if (c != 0xFEFF) text.push_back(c);
        }
        if (used) *used = std::min(i, n);
        return text;
    }
    size_t end = 0;
    while (end < n && p[end] != 0) ++end;
    if (used) *used = std::min(end + 1, n);
    if (encoding == 3) return Utf8ToWide(std::string_view(reinterpret_cast<const char*>(p), end));
    text.reserve(end);
    for (size_t k = 0; k < end; ++k) text.push_back(char16_t(p[k])); // ISO-8859-1
    return text;
}

// Trailing blanks and line ends are noise in a tag.
void TrimRight(std::u16string& text) {
    while (!text.empty() && (text.back() == u' ' || text.back() == u'\r' || text.back() == u'\n'))
        text.pop_back();
}

struct Reader {
    InfoItem& item;
    int set = 0;
    bool haveComment = false, commentHasDescription = false;
    int pictureType = -1;

    void Text(int field, const uint8_t* p, size_t n) {
        if (n < 2) return;
        std::u16string text = DecodeText(p[0], p + 1, n - 1, nullptr);
        TrimRight(text);
        if (text.empty()) return;
        item.setText(field, text);
        ++set;
    }

    // Encoding, language (3), description, text. The first comment without a
    // description wins over one with.
    void Comment(const uint8_t* p, size_t n) {
        if (n < 5 || (haveComment && !commentHasDescription)) return;
        size_t used = 0;
        std::u16string description = DecodeText(p[0], p + 4, n - 4, &used);
        std::u16string text = DecodeText(p[0], p + 4 + used, n - 4 - used, nullptr);
        TrimRight(text);
        if (text.empty()) return;
        item.setText(kInfoComments, text);
        if (!haveComment) ++set;
        haveComment = true;
        commentHasDescription = !description.empty();
    }

    // v2.3/2.4 APIC: encoding, MIME type (Latin-1, terminated), picture type,
    // description, data. v2.2 PIC: encoding, 3-byte format, type,
    // description, data. The front cover (type 3) wins over others.
    void Picture(const uint8_t* p, size_t n, bool v22) {
        if (n < 4 || pictureType == 3) return;
        size_t at = 1;
        if (v22) {
            at += 3;
        } else {
            while (at < n && p[at] != 0) ++at;
            ++at;
        }
        if (at >= n) return;
        int type = p[at++];
        size_t used = 0;
        DecodeText(p[0], p + at, n - at, &used);
        at += used;
        if (at >= n || (pictureType >= 0 && type != 3)) return;
        item.setImage(p + at, n - at);
        if (pictureType < 0) ++set;
        pictureType = type;
    }

    void Frame(const char* id, const uint8_t* p, size_t n, bool v22) {
        auto is = [&](const char* a, const char* b) {
            return std::memcmp(id, v22 ? a : b, v22 ? 3 : 4) == 0;
        };
        if (is("TT2", "TIT2"))
            Text(kInfoName, p, n);
        else if (is("TP1", "TPE1"))
            Text(kInfoArtist, p, n);
        else if (is("TCR", "TCOP"))
            Text(kInfoCopyright, p, n);
        else if (is("TEN", "TENC"))
            Text(kInfoEngineer, p, n);
        else if (is("TAL", "TALB"))
            Text(kInfoProduct, p, n);
        else if (is("COM", "COMM"))
            Comment(p, n);
        else if (is("PIC", "APIC"))
            Picture(p, n, v22);
    }
};

} // namespace

size_t Id3v2Size(const uint8_t* data, size_t size) {
    if (size < 10 || std::memcmp(data, "ID3", 3) != 0 || data[3] == 0xFF || data[4] == 0xFF) return 0;
    if ((data[6] | data[7] | data[8] | data[9]) & 0x80) return 0;
    return 10 + size_t(Syncsafe(data + 6)) + ((data[5] & 0x10) ? 10 : 0);
}

int ReadId3v2(const uint8_t* data, size_t size, InfoItem& item) {
    if (Id3v2Size(data, size) == 0) return 0;
    const int major = data[3];
    const uint8_t flags = data[5];
    if (major < 2 || major > 4) return 0;
    if (major == 2 && (flags & 0x40)) return 0; // v2.2 compression: never defined
    size_t bodySize = std::min<size_t>(Syncsafe(data + 6), size - 10);
    std::vector<uint8_t> resynced;
    const uint8_t* body = data + 10;
    // Up to 2.3 the whole tag is unsynchronised; 2.4 marks each frame.
    if ((flags & 0x80) && major < 4) {
        resynced = Resync(body, bodySize);
        body = resynced.data();
        bodySize = resynced.size();
    }
    size_t at = 0;
    if (major >= 3 && (flags & 0x40) && bodySize >= 4) {
        size_t extended = major == 3 ? size_t(Be32(body)) + 4 : size_t(Syncsafe(body));
        at = std::min(extended, bodySize);
    }
    Reader reader{item};
    const bool v22 = major == 2;
    const size_t head = v22 ? 6 : 10;
    while (at + head <= bodySize) {
        const uint8_t* h = body + at;
        if (h[0] == 0) break; // padding
        char id[4] = {char(h[0]), char(h[1]), char(h[2]), v22 ? '\0' : char(h[3])};
        for (int i = 0; i < (v22 ? 3 : 4); ++i)
            if (!((id[i] >= 'A' && id[i] <= 'Z') || (id[i] >= '0' && id[i] <= '9'))) return reader.set;
        size_t frameSize = v22          ? size_t(h[3]) << 16 | size_t(h[4]) << 8 | h[5]
                           : major == 4 ? Syncsafe(h + 4)
                                        : Be32(h + 4);
        if (frameSize > bodySize - at - head) break;
        const uint8_t* p = h + head;
        size_t n = frameSize;
        at += head + frameSize;
        std::vector<uint8_t> frameData;
        if (major == 3) {
            uint8_t format = h[9];
            if (format & 0xC0) continue; // compressed or encrypted
            if (format & 0x20) {         // group id
                if (n < 1) continue;
                ++p;
                --n;
            }
        } else if (major == 4) {
            uint8_t format = h[9];
            if (format & 0x0C) continue; // compressed or encrypted
            if (format & 0x40) {         // group id
                if (n < 1) continue;
                ++p;
                --n;
            }
            if (format & 0x01) { // data length indicator
                if (n < 4) continue;
                p += 4;
                n -= 4;
            }
            if ((format & 0x02) || (flags & 0x80)) {
                frameData = Resync(p, n);
                p = frameData.data();
                n = frameData.size();
            }
        }
        reader.Frame(id, p, n, v22);
    }
    return reader.set;
}

} // namespace vaxel
