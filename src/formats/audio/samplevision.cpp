// Turtle Beach SampleVision: a text header "SOUND SAMPLE DATA " with a
// version ("2.1 "), a comment and a name, then 16-bit samples and a trailer
// of loops and markers.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectSampleVision(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "SOUND SAMPLE DATA ") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallSampleVisionFormats() {
    audio::BindDetector(u"smp", u"Samplevision", &DetectSampleVision);
}

} // namespace vaxel
