// IRCAM (Berkeley/IRCAM/CARL) sound files: a 1024-byte header of magic,
// sample rate (32-bit float), channel count and packing, in the byte order of
// the machine that wrote it. The magic is 0x0001A364 to 0x0004A364 (VAX, Sun,
// MIPS, NeXT); in a little-endian file it reads 64 A3 0n 00, in a big-endian
// one 00 0n A3 64.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectIrcam(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 4)) return audio::kNo;
    uint32_t little = b.le32(0), big = b.be32(0);
    bool isLittle = (little & 0xFFFF) == 0xA364 && (little >> 16) >= 1 && (little >> 16) <= 4;
    bool isBig = (big & 0xFFFF) == 0xA364 && (big >> 16) >= 1 && (big >> 16) <= 4;
    if (!isLittle && !isBig) return audio::kNo;
    if (!b.has(8, 4)) return audio::kWeakMagic;
    uint32_t channels = isLittle ? b.le32(8) : b.be32(8);
    return channels >= 1 && channels <= 256 ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallIrcamFormats() {
    audio::BindDetector(u"sf", u"IRCAM / MTU sound", &DetectIrcam);
}

} // namespace vaxel
