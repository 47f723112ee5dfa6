// ESPS sampled-data feature files (Entropic Signal Processing System). The
// header is long and algorithmic, but its fixed preamble carries the magic
// number 27162 (0x6A1A) as a 32-bit word at offset 16, in the byte order of
// the machine that wrote the file. A short, mostly-zero word: a weaker sign.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

constexpr uint32_t kEspsMagic = 27162;

int DetectEsps(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(16, 4)) return audio::kNo;
    return b.be32(16) == kEspsMagic || b.le32(16) == kEspsMagic ? audio::kWeakMagic : audio::kNo;
}

} // namespace

void InstallEspsFormats() {
    audio::BindDetector(u"esps", u"ESPS", &DetectEsps);
}

} // namespace vaxel
