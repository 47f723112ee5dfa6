// The .cda track file that an audio CD shows for each track: a RIFF file of
// form "CDDA" with a 'fmt ' chunk (version, track number, serial, start
// sector and length). Opening it opens the disc.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectCda(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "RIFF") && b.equals(8, "CDDA") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallCdaFormats() {
    audio::BindDetector(u"cda", u"Audio CD track", &DetectCda);
}

} // namespace vaxel
