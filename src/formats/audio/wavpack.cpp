// WavPack: a run of blocks, each with a 32-byte header (WavPack 4 and 5 file
// format): "wvpk", the block size (little-endian, counting from offset 8),
// the stream version (0x402 to 0x410), track and index numbers, total and
// block sample counts, flags and CRC.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectWavPack(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "wvpk")) return audio::kNo;
    if (!b.has(8, 2)) return audio::kWeakMagic;
    uint32_t blockSize = b.le32(4);
    uint16_t version = b.le16(8);
    bool plausible = blockSize >= 24 && blockSize < (1u << 24) && version >= 0x402 && version <= 0x410;
    return plausible ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallWavPackFormats() {
    audio::BindDetector(u"wv", u"WavPack lossless", &DetectWavPack);
}

} // namespace vaxel
