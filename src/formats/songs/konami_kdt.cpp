// Konami's KDT1 sequences (PlayStation games): "KDT1" at offset 0, then
// little-endian words for the data size, the time base and the track count,
// followed by the table of track sizes.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectKdt(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "KDT1") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallKonamiKdtFormats() { songs::BindDetector(u"kdt", u"Konami KDT1 song", &DetectKdt); }

} // namespace vaxel
