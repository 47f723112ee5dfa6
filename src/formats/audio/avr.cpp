// Audio Visual Research (Atari): a 128-byte big-endian header opening with
// "2BIT", then an 8-byte name, the mono/stereo word (0 or 0xFFFF), the sample
// resolution (8 or 16 bits) and the signedness word (0 or 0xFFFF).
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

bool IsFlagWord(uint16_t w) {
    return w == 0 || w == 0xFFFF;
}

int DetectAvr(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "2BIT")) return audio::kNo;
    if (!b.has(0, 18)) return audio::kWeakMagic;
    uint16_t resolution = b.be16(14);
    bool sane = IsFlagWord(b.be16(12)) && resolution >= 8 && resolution <= 16 && IsFlagWord(b.be16(16));
    return sane ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallAvrFormats() {
    audio::BindDetector(u"avr", u"Audio Visual Research", &DetectAvr);
}

} // namespace vaxel
