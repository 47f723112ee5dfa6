// Poly Tracker modules (PTM): a 28-byte song name, 0x1A at 28, the version
// word, and "PTMF" at offset 44 (the same place as the S3M id).
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectPtm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(44, "PTMF") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallPolyTrackerFormats() { songs::BindDetector(u"ptm", u"Poly Tracker module", &DetectPtm); }

} // namespace vaxel
