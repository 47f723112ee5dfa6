// Two small PC formats of the early nineties for 8-bit unsigned sound.
//
// Sndtool: "SOUND" and 0x1A, then (little-endian) the sample count, loop
// start and loop end as 32-bit words, the sample rate as a 16-bit word at
// offset 20, and a name from offset 28.
//
// Sounder: an 8-byte header of 16-bit little-endian words with no magic: 0,
// the sample rate, a volume and a shift count. Only plausible by its values.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectSndtool(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "SOUND\x1A")) return audio::kNo;
    return b.has(20, 2) && b.le16(20) != 0 ? audio::kMagic : audio::kWeakMagic;
}

int DetectSounder(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 8)) return audio::kNo;
    uint16_t rate = b.le16(2);
    bool plausible = b.le16(0) == 0 && rate >= 2000 && rate <= 48000 && b.le16(4) <= 256 && b.le16(6) <= 16;
    return plausible ? audio::kPlausible : audio::kNo;
}

} // namespace

void InstallSoundToolFormats() {
    audio::BindDetector(u"sndr", u"Sounder", &DetectSounder);
    audio::BindDetector(u"sndt", u"Sndtool", &DetectSndtool);
}

} // namespace vaxel
