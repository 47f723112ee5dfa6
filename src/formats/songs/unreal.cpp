// Unreal Engine 1 and 2 packages holding music (umx). Sound packages (uax)
// share the package format and belong to the wave family.
//
// A package is little-endian: tag 0x9E2A83C1 at 0, the
// file version (16 bits) at 4 and the licensee version at 6, package flags at
// 8, then the name count and name table offset at 12 and 16. The name table
// lists every name the package uses, among them the class of its objects:
// "Music" in a music package. Names are
// zero-terminated; from file version 64 on each is preceded by its length
// (a compact index, one byte for short names), and each is followed by 32
// bits of flags.
//
// With the tag, a version of the first two engine generations and the class
// name found in the table, the row is certain. When the table lies beyond the
// buffer (or uses a layout not walked here) the tag alone gives the weaker
// score and the extension decides. A table read to its end without the class
// means another kind of package (textures, maps), which is not claimed.
// Later engines (file version 249 and up, and the negative legacy versions of
// .uasset files) use other heads and are left alone.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

enum class NameSearch { Found, Absent, Unknown };

NameSearch FindClassName(const probe::Bytes& b, const char* className, size_t classLength) {
    uint32_t version = b.le16(4);
    uint64_t count = b.le32(12), at = b.le32(16);
    if (count > 65536) return NameSearch::Unknown;
    for (uint64_t i = 0; i < count; ++i) {
        if (at >= b.size) return NameSearch::Unknown;
        size_t length = 0; // of the text, without its terminator
        if (version >= 64) {
            uint8_t prefix = b.u8(size_t(at));
            if (prefix & 0xC0) return NameSearch::Unknown; // a longer compact index or a wide name
            if (prefix == 0) return NameSearch::Unknown;
            length = prefix - 1u;
            at += 1;
            if (!b.has(size_t(at), length + 1) || b.u8(size_t(at + length)) != 0) return NameSearch::Unknown;
        } else {
            while (at + length < b.size && b.data[at + length] != 0) ++length;
            if (at + length >= b.size) return NameSearch::Unknown;
        }
        if (length == classLength && songs::EqualsNoCase(b, size_t(at), className, classLength))
            return NameSearch::Found;
        at += length + 1 + 4; // text, terminator, flags
    }
    return NameSearch::Absent;
}

int DetectPackage(const uint8_t* buffer, size_t bytes, const char* className, size_t classLength) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 20) || b.le32(0) != 0x9E2A83C1u) return songs::kNo;
    uint32_t version = b.le16(4);
    if (version < 60 || version >= 249) return songs::kNo;
    switch (FindClassName(b, className, classLength)) {
    case NameSearch::Found: return songs::kMagic;
    case NameSearch::Absent: return songs::kNo;
    case NameSearch::Unknown: break;
    }
    return songs::kWeakMagic;
}

int DetectUmx(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return DetectPackage(buffer, bytes, "Music", 5);
}

} // namespace

void songs::InstallUnrealFormats() {
    songs::BindDetector(u"umx", u"Unreal Tournament music", &DetectUmx);
}

} // namespace vaxel
