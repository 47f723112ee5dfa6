// Text ring-tones of the eMelody and iMelody kinds (Ericsson, then the IrDA
// iMelody object). Both are vCard-like lines: "BEGIN:EMELODY" or
// "BEGIN:IMELODY", VERSION, NAME, MELODY, ..., "END:...". The BEGIN line is
// the magic; a UTF-8 byte order mark or blank lines before it are allowed and
// the text is compared case-blind.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

size_t SkipLeadIn(const probe::Bytes& b) {
    size_t at = 0;
    if (b.u8(0) == 0xEF && b.u8(1) == 0xBB && b.u8(2) == 0xBF) at = 3;
    for (int i = 0; i < 64 && b.has(at, 1); ++i) {
        uint8_t c = b.data[at];
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') break;
        ++at;
    }
    return at;
}

int DetectEmy(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return songs::EqualsNoCase(b, SkipLeadIn(b), "BEGIN:EMELODY", 13) ? songs::kMagic : songs::kNo;
}

int DetectImy(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return songs::EqualsNoCase(b, SkipLeadIn(b), "BEGIN:IMELODY", 13) ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallMelodyTextFormats() {
    songs::BindDetector(u"emy", u"EMelody ring-tone", &DetectEmy);
    songs::BindDetector(u"imy", u"iMelody ring-tone format", &DetectImy);
}

} // namespace vaxel
