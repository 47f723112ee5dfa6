// Apple Core Audio Format: "caff", file version 1 and flags 0 (16-bit
// big-endian each), then the first chunk, which must be the audio
// description 'desc'.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectCaf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "caff")) return audio::kNo;
    return b.be16(4) == 1 && b.equals(8, "desc") ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallCafFormats() {
    audio::BindDetector(u"caf", u"Apple CoreAudio", &DetectCaf);
    audio::BindDetector(u"caff", u"Apple CoreAudio", &DetectCaf);
}

} // namespace vaxel
