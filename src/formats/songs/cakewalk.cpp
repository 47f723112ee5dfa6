// Cakewalk work files (WRK): "CAKEWALK" at offset 0, 0x1A, the version, then
// records of type byte, length and data.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectWrk(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "CAKEWALK") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallCakewalkFormats() { songs::BindDetector(u"wrk", u"CakeWalk work", &DetectWrk); }

} // namespace vaxel
