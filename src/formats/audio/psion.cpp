// Psion Series 3 sound files (A-law): the 16-byte name "ALawSoundFile**" and
// a zero, then version, sample count and repeat fields, with 8 kHz A-law data
// from offset 32.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectPsion(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "ALawSoundFile**\0", 16) ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallPsionFormats() {
    audio::BindDetector(u"psion", u"PSION A-law", &DetectPsion);
}

} // namespace vaxel
