// Digital Sound Interface Kit modules (DSM): a little-endian RIFF form of type
// "DSMF" with SONG, INST and PATT chunks. "RIFF" at 0 and "DSMF" at 8 decide;
// other RIFF forms are left to their own families.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectDsm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "RIFF") && b.equals(8, "DSMF") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallDsikFormats() { songs::BindDetector(u"dsm", u"Digital Sound Module", &DetectDsm); }

} // namespace vaxel
