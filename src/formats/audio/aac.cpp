// MPEG-2/4 AAC in its raw transport forms: ADTS (a run of frames, each with a
// 56-bit header, ISO/IEC 13818-7 section 6.2) and ADIF (one header, "ADIF"
// at offset 0). Either may follow ID3v2 tags.
//
// ADTS header bits relied on: 12 sync bits, ID, layer 00 (which tells it from
// MPEG audio, where layer 00 is reserved), protection, profile, sampling
// frequency index (0..12), private bit, channel configuration, two bits, the
// copyright bits, and the 13-bit frame length that includes the header. The
// next frame must start at that length with the same ID, profile, rate and
// channel configuration.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

struct AdtsHeader {
    uint32_t fixed = 0; // the bits every frame of a stream shares
    size_t length = 0;
};

bool AdtsAt(const probe::Bytes& b, size_t at, AdtsHeader& h) {
    if (!b.has(at, 7)) return false;
    uint32_t w = b.be32(at);
    if ((w & 0xFFF60000) != 0xFFF00000) return false; // sync, layer 00
    if ((w >> 10 & 15) > 12) return false;            // sampling frequency index
    size_t length = (size_t(b.u8(at + 3) & 3) << 11) | (size_t(b.u8(at + 4)) << 3) | (b.u8(at + 5) >> 5);
    size_t headerBytes = (w & 0x10000) ? 7 : 9; // protection absent: no CRC
    if (length <= headerBytes) return false;
    // ID, profile, sampling frequency index and channel configuration.
    h.fixed = w & 0xFFFFFDC0;
    h.length = length;
    return true;
}

int DetectAac(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    audio::AudioStart start = audio::SkipId3v2(b);
    if (start.hidden) return audio::kWeakMagic;
    size_t at = start.offset;
    if (b.equals(at, "ADIF")) return audio::kMagic;
    AdtsHeader first, next;
    if (!AdtsAt(b, at, first)) return audio::kNo;
    size_t second = at + first.length;
    if (second >= fileSize || !b.has(second, 7)) return audio::kWeakMagic;
    if (AdtsAt(b, second, next) && next.fixed == first.fixed) return audio::kMagic;
    return b.equals(second, "TAG") || b.equals(second, "APETAGEX") ? audio::kWeakMagic : audio::kPlausible;
}

} // namespace

void InstallAacFormats() {
    audio::BindDetector(u"aac", u"MPEG 2/4 AAC", &DetectAac);
}

} // namespace vaxel
