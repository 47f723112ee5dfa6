// MultiTracker modules (MTM): "MTM" at 0 and the version byte (0x10 for 1.0)
// at 3. The three letters with a version byte below 0x20 make the magic.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMtm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MTM") && b.has(3, 1) && b.u8(3) < 0x20 ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallMultiTrackerFormats() { songs::BindDetector(u"mtm", u"MultiTracker module", &DetectMtm); }

} // namespace vaxel
