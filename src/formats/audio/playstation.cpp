// PlayStation sound: VAG files of PS-ADPCM ("VAGp", then big-endian version,
// reserved word, data size and sample rate at 16, a name at 32), and the
// PlayStation 2 stream files (ads, ss2) whose "SShd" header chunk (at 0,
// 0x18 bytes of format, rate, channels, interleave) is followed by the "SSbd"
// body chunk at offset 0x20.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectVag(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "VAGp")) return audio::kNo;
    if (!b.has(16, 4)) return audio::kWeakMagic;
    uint32_t rate = b.be32(16);
    return rate >= 1000 && rate <= 192000 ? audio::kMagic : audio::kWeakMagic;
}

int DetectPs2Stream(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "SShd")) return audio::kNo;
    return b.equals(0x20, "SSbd") ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallPlayStationFormats() {
    audio::BindDetector(u"ads", u"PlayStation 2 sound", &DetectPs2Stream);
    audio::BindDetector(u"ss2", u"PlayStation 2 sound", &DetectPs2Stream);
    audio::BindDetector(u"vag", u"PlayStation sound", &DetectVag);
}

} // namespace vaxel
