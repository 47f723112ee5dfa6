// Sun/NeXT/DEC audio (.au, .snd): a header of six 32-bit words (magic, data
// offset, data size, encoding, sample rate, channels) and an annotation.
//
// Magic ".snd" in big-endian files, "dns." in little-endian ones, and the DEC
// variants ".sd\0" and "\0ds.". For full confidence the header must be sane
// too: a data offset of at least 24, an encoding of 1 to 27 and 1 to 256
// channels, read in the file's byte order.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectAu(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    bool big = b.equals(0, ".snd") || b.equals(0, ".sd\0", 4);
    bool little = b.equals(0, "dns.") || b.equals(0, "\0ds.", 4);
    if (!big && !little) return audio::kNo;
    if (!b.has(0, 24)) return audio::kWeakMagic;
    auto word = [&](size_t at) { return big ? b.be32(at) : b.le32(at); };
    uint32_t offset = word(4), encoding = word(12), channels = word(20);
    bool sane = offset >= 24 && encoding >= 1 && encoding <= 27 && channels >= 1 && channels <= 256;
    return sane ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallAuFormats() {
    audio::BindDetector(u"au", u"Sun/NeXT/DEC audio", &DetectAu);
}

} // namespace vaxel
