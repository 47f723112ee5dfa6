// Disorder Tracker 2 modules (PLM): "PLM" and 0x1A at offset 0.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectPlm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "PLM\x1A") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallDisorderTrackerFormats() {
    songs::BindDetector(u"plm", u"DisorderTracker2 module", &DetectPlm);
}

} // namespace vaxel
