// Farandole Composer modules and its two linear module formats.
//
// FAR: "FAR" and 0xFE at 0, the 40-byte song name, then CR LF 0x1A so that
// the name shows when the file is typed.
// F2R (linear layout) and F3R (blocked linear layout): the 3-character file
// magic "F2R" or "F3R" at 0, then a 3-character composer magic at 3, which is
// "FAR" for everything Farandole writes. With the composer magic the pair is
// unique; with another composer id it is a weaker signature. In an F3R file the
// "HEAD" section always follows the 32-byte song name, at offset 38.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectFar(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "FAR\xFE") ? songs::kMagic : songs::kNo;
}

bool IsUpperId(const probe::Bytes& b, size_t at, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        uint8_t c = b.u8(at + i);
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) return false;
    }
    return true;
}

int DetectLinear(const probe::Bytes& b, const char* magic) {
    if (!b.equals(0, magic, 3)) return songs::kNo;
    if (b.equals(3, "FAR")) return songs::kMagic;
    return IsUpperId(b, 3, 3) ? songs::kWeakMagic : songs::kNo;
}

int DetectF2r(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return DetectLinear(probe::Bytes{buffer, bytes}, "F2R");
}

int DetectF3r(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    int score = DetectLinear(b, "F3R");
    if (score == songs::kWeakMagic && b.equals(38, "HEAD")) return songs::kMagic;
    return score;
}

} // namespace

void songs::InstallFarandoleFormats() {
    songs::BindDetector(u"far", u"Farandole module", &DetectFar);
    songs::BindDetector(u"f2r", u"Farandole linear module", &DetectF2r);
    songs::BindDetector(u"f3r", u"Farandole blocked linear module", &DetectF3r);
}

} // namespace vaxel
