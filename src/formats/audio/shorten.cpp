// Shorten: "ajkg" and a version byte (1 to 3) open the stream; what follows
// is bit-packed and is left to the reader.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectShorten(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "ajkg")) return audio::kNo;
    uint8_t version = b.u8(4);
    return b.has(4, 1) && version >= 1 && version <= 3 ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallShortenFormats() {
    audio::BindDetector(u"shn", u"Shorten lossless", &DetectShorten);
}

} // namespace vaxel
