// MED and OctaMED modules, big-endian (Amiga).
//
// The MMD formats start with "MMD0" to "MMD3" (the digit is the layout
// version) followed by the module length. The older MED 2 to 4 song files
// start with "MED" and the version byte 2, 3 or 4.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMed(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "MMD") && b.u8(3) >= '0' && b.u8(3) <= '3') return songs::kMagic;
    if (b.equals(0, "MED") && b.u8(3) >= 2 && b.u8(3) <= 4) return songs::kMagic;
    return songs::kNo;
}

} // namespace

void songs::InstallOctaMedFormats() { songs::BindDetector(u"med", u"OctaMED module", &DetectMed); }

} // namespace vaxel
