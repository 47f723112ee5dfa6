// Creative Labs SoundBlaster voice: "Creative Voice File" and 0x1A, then the
// header size, version and its check word (~version + 0x1234), and typed
// data blocks from the header size on.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectVoc(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "Creative Voice File\x1A") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallVocFormats() {
    audio::BindDetector(u"voc", u"SoundBlaster voice", &DetectVoc);
}

} // namespace vaxel
