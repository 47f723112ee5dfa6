// Audio video interleave: a RIFF file of form "AVI " (the reader takes its
// audio stream).
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectAvi(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "RIFF") && b.equals(8, "AVI ") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallAviFormats() {
    audio::BindDetector(u"avi", u"Audio video interleave", &DetectAvi);
}

} // namespace vaxel
