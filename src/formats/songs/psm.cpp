// Protracker Studio / Epic MegaGames MASI modules (PSM), in two layouts.
//
// The old layout (Protracker Studio 16) starts with "PSM" and 0xFE. The newer
// one is a little-endian chunk file: "PSM " at 0, the file length, and "FILE"
// at 8 as the first chunk id.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectPsm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "PSM\xFE")) return songs::kMagic;
    if (b.equals(0, "PSM ") && b.equals(8, "FILE")) return songs::kMagic;
    return songs::kNo;
}

} // namespace

void songs::InstallPsmFormats() { songs::BindDetector(u"psm", u"Protracker Studio module", &DetectPsm); }

} // namespace vaxel
