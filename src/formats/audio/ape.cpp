// Monkey's Audio (APE), possibly behind ID3v2 tags.
//
// Bytes relied on: "MAC " (or "MACF" for float data) and a 16-bit version.
// From version 3.98 on a descriptor follows: its own length (at least 52)
// and the header's length (at least 24). Older files have the header right
// there: compression level (a multiple of 1000 up to 5000), format flags,
// channels and sample rate.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectApe(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    audio::AudioStart start = audio::SkipId3v2(b);
    if (start.hidden) return audio::kWeakMagic;
    size_t at = start.offset;
    if (!b.equals(at, "MAC ") && !b.equals(at, "MACF")) return audio::kNo;
    if (!b.has(at, 16)) return audio::kWeakMagic;
    uint16_t version = b.le16(at + 4);
    bool plausible;
    if (version >= 3980) {
        plausible = b.le32(at + 8) >= 52 && b.le32(at + 12) >= 24;
    } else {
        uint16_t level = b.le16(at + 6), channels = b.le16(at + 10);
        plausible = version >= 1000 && level % 1000 == 0 && level >= 1000 && level <= 5000 && channels >= 1 &&
                    channels <= 32 && b.le32(at + 12) != 0;
    }
    return plausible ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallApeFormats() {
    audio::BindDetector(u"ape", u"Monkey Audio lossless", &DetectApe);
}

} // namespace vaxel
