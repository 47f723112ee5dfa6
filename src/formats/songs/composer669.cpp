// Composer 669 and UNIS 669 modules.
//
// The magic is only two letters: "if" (Composer 669) or "JN" (UNIS 669). The
// fixed head behind it is checked field by field: song message (108 bytes),
// sample count (<= 64) at 0x6E, pattern count (<= 128) at 0x6F, loop order
// (< 128) at 0x70, 128 orders at 0x71 (a used pattern or 0xFE/0xFF), 128 tempos
// at 0xF1 (<= 15) and 128 pattern break rows at 0x171 (< 64). Together they
// make a weaker signature; the short magic keeps it below a unique one.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int Detect669(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "if") && !b.equals(0, "JN")) return songs::kNo;
    if (!b.has(0, 0x1F1)) return songs::kNo;
    uint8_t samples = b.u8(0x6E), patterns = b.u8(0x6F), loop = b.u8(0x70);
    if (samples > 64 || patterns > 128 || loop >= 128) return songs::kNo;
    for (size_t i = 0; i < 128; ++i) {
        uint8_t order = b.u8(0x71 + i);
        if (order < 0xFE && order >= patterns) return songs::kNo;
        if (b.u8(0xF1 + i) > 15 || b.u8(0x171 + i) >= 64) return songs::kNo;
    }
    return songs::kWeakMagic;
}

} // namespace

void songs::InstallComposer669Formats() { songs::BindDetector(u"669", u"669 module", &Detect669); }

} // namespace vaxel
