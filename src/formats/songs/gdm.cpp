// General DigiMusic modules (GDM, written by the BWSB converter 2GDM).
// "GDM" and 0xFE at 0, the song name and musician, CR LF 0x1A, then "GMFS"
// (the format's second id) at 0x47. Both ids together are the magic; the first
// alone is a weaker signature.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectGdm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "GDM\xFE")) return songs::kNo;
    return b.equals(0x47, "GMFS") ? songs::kMagic : songs::kWeakMagic;
}

} // namespace

void songs::InstallGdmFormats() {
    songs::BindDetector(u"gdm", u"Bells, Whistles, Sound Boards module", &DetectGdm);
}

} // namespace vaxel
