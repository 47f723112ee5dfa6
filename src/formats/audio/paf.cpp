// Ensoniq PARIS audio file: a 2048-byte header opening with the marker
// " paf" (big-endian data) or "fap " (little-endian data), a version of 0 and
// an endianness word (0 big, 1 little) that must agree with the marker,
// then sample rate, format and channels.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectPaf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    bool big = b.equals(0, " paf"), little = b.equals(0, "fap ");
    if (!big && !little) return audio::kNo;
    if (!b.has(0, 12)) return audio::kWeakMagic;
    bool agrees = big ? b.be32(4) == 0 && b.be32(8) == 0 : b.le32(4) == 0 && b.le32(8) == 1;
    return agrees ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallPafFormats() {
    audio::BindDetector(u"paf", u"Ensoniq PARIS", &DetectPaf);
}

} // namespace vaxel
