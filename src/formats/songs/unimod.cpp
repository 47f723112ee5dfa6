// MikMod's internal module format (UNI). Current files start with "UN05" or
// "UN06" (the digits are the layout version); the older layout starts with
// "APUN" and a version byte of 1 to 6.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectUni(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "UN05") || b.equals(0, "UN06")) return songs::kMagic;
    if (b.equals(0, "APUN") && b.u8(4) >= 1 && b.u8(4) <= 6) return songs::kMagic;
    return songs::kNo;
}

} // namespace

void songs::InstallUniModFormats() { songs::BindDetector(u"uni", u"MikMod Unimod", &DetectUni); }

} // namespace vaxel
