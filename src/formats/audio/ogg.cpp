// Ogg Vorbis and Ogg Opus.
//
// An Ogg file is a run of pages (RFC 3533): "OggS", stream structure version
// 0, header type (bit 1 marks the first page of a logical stream), granule,
// serial, sequence, CRC, the segment count at offset 26 and the segment table;
// the page body follows. The first page of each logical stream holds the
// codec's identification packet: 0x01 "vorbis" (the Vorbis I
// documentation, section 4.2.1) or "OpusHead" (RFC 7845 section 5.1). A multiplexed file
// opens with all its first pages in a row, so these are walked while their
// begin-of-stream bit is set.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

struct OggCodecs {
    bool ogg = false;
    bool vorbis = false;
    bool opus = false;
};

OggCodecs ScanFirstPages(const probe::Bytes& b) {
    OggCodecs found;
    size_t page = 0;
    for (int pages = 0; pages < 16; ++pages) {
        if (!b.equals(page, "OggS") || b.u8(page + 4) != 0 || !b.has(page, 27)) break;
        found.ogg = true;
        if (!(b.u8(page + 5) & 0x02)) break; // past the begin-of-stream pages
        size_t segments = b.u8(page + 26);
        size_t body = page + 27 + segments;
        if (b.equals(body, "\x01vorbis")) found.vorbis = true;
        if (b.equals(body, "OpusHead")) found.opus = true;
        size_t bodyBytes = 0;
        for (size_t i = 0; i < segments; ++i) bodyBytes += b.u8(page + 27 + i);
        page = body + bodyBytes;
    }
    return found;
}

// Another codec in Ogg (FLAC, Speex, Theora alone) is still an Ogg file, but
// not one this row reads.
int DetectOggVorbis(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    OggCodecs c = ScanFirstPages(probe::Bytes{buffer, bytes});
    if (c.vorbis) return audio::kMagic;
    return c.ogg ? audio::kPlausible : audio::kNo;
}

int DetectOpus(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    OggCodecs c = ScanFirstPages(probe::Bytes{buffer, bytes});
    return c.opus ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallOggFormats() {
    audio::BindDetector(u"ogg", u"Ogg Vorbis", &DetectOggVorbis);
    audio::BindDetector(u"opus", u"Opus", &DetectOpus);
}

} // namespace vaxel
