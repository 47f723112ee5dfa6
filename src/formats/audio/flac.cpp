// FLAC, the free lossless audio codec: native streams, possibly behind ID3v2
// tags, and FLAC in an Ogg container.
//
// Bytes relied on (the published FLAC format): "fLaC" at the start of the
// stream, then the first metadata block header, which must be STREAMINFO
// (type 0, 34 bytes), whose minimum and maximum block sizes are at least 16
// and in order. In Ogg, the first packet of the first page starts with 0x7F
// "FLAC".
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectFlac(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "OggS") && b.u8(4) == 0) {
        size_t packet = 27 + size_t(b.u8(26));
        return b.equals(packet, "\x7F"
                                "FLAC")
                   ? audio::kWeakMagic
                   : audio::kNo;
    }
    audio::AudioStart start = audio::SkipId3v2(b);
    if (start.hidden) return audio::kWeakMagic;
    size_t at = start.offset;
    if (!b.equals(at, "fLaC")) return audio::kNo;
    if (!b.has(at + 4, 8)) return audio::kWeakMagic;
    // Block header: last-block flag and type 0, then a 24-bit length of 34.
    bool streamInfo = (b.u8(at + 4) & 0x7F) == 0 && (b.be32(at + 4) & 0xFFFFFF) == 34;
    uint16_t minBlock = b.be16(at + 8), maxBlock = b.be16(at + 10);
    return streamInfo && minBlock >= 16 && maxBlock >= minBlock ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallFlacFormats() {
    audio::BindDetector(u"flac", u"Free lossless audio codec", &DetectFlac);
}

} // namespace vaxel
