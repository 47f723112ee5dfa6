// MadTracker 2 modules: "MT20" at offset 0, then the user and tracker fields.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMt2(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MT20") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallMadTrackerFormats() { songs::BindDetector(u"mt2", u"MadTracker 2 module", &DetectMt2); }

} // namespace vaxel
