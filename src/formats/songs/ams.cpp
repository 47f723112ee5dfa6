// The two module formats that share the extension .ams.
//
// Extreme Tracker: "Extreme" at offset 0. Velvet Studio: "AMShdr" and 0x1A at
// offset 0. Each row answers only for its own magic, so the right row wins
// whatever the file is called.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectExtremeTracker(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "Extreme") ? songs::kMagic : songs::kNo;
}

int DetectVelvetStudio(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "AMShdr\x1A") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallAmsFormats() {
    songs::BindDetector(u"ams", u"Extreme Tracker module", &DetectExtremeTracker);
    songs::BindDetector(u"ams", u"Velvet Studio module", &DetectVelvetStudio);
}

} // namespace vaxel
