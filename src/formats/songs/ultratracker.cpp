// UltraTracker modules (ULT): "MAS_UTrack_V00" at offset 0, then one digit of
// the format version ('1' to '4' in released files) and the 32-byte title.
// The fourteen characters alone are unique, so the digit is not checked.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectUlt(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MAS_UTrack_V00") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallUltraTrackerFormats() { songs::BindDetector(u"ult", u"UltraTracker module", &DetectUlt); }

} // namespace vaxel
