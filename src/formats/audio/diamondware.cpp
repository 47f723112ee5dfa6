// DiamondWare digitized sound: the text "DiamondWare Digitized\n", a zero and
// an end-of-file byte (0x1A) open a 56-byte header of version, sound id,
// rate, channels and lengths.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectDwd(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "DiamondWare Digitized\n") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallDiamondWareFormats() {
    audio::BindDetector(u"dwd", u"DiamondWare digitized", &DetectDwd);
}

} // namespace vaxel
