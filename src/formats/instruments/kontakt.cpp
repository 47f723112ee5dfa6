// Native Instruments Kontakt instruments, multis and banks: detection of
// nki, nkm and nkb files by the generation that wrote them.
//  - Kontakt 1: a 32-bit magic number at 0, 0x5EE56EB3 for an instrument
//    and 0x5AE5D6A4 for a multi, followed by a zlib-compressed preset.
//  - Kontakt 1.5 to 4.1: 0x1290A87F (instrument) and 0x01EF85AB (multi).
//    Both generations were written in either byte order, so the numbers are
//    also accepted reversed.
//  - Kontakt 4.2 and later: the container shared by the company's other
//    products: a 64-bit length at 0 and the tag "hsin" at 12. Monoliths
//    (the samples inside) start with the text "/\ NI FC MTD". The product
//    inside is not told by the head, so these score 4 and the extension
//    picks the row.
// Each read row's param names the first version of its group: 1, 2 or 5.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

constexpr uint32_t kKontakt1 = 1, kKontakt2 = 2;

bool MagicIs(const Bytes& b, uint32_t magic) {
    uint32_t v = b.le32(0);
    uint32_t reversed = (magic >> 24) | (magic >> 8 & 0xFF00) | (magic << 8 & 0xFF0000) | (magic << 24);
    return b.has(0, 4) && (v == magic || v == reversed);
}

int DetectKontaktInstrument(const uint8_t* buffer, uint32_t param, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (param == kKontakt1) return MagicIs(b, 0x5EE56EB3) ? 6 : 0;
    return MagicIs(b, 0x1290A87F) ? 6 : 0;
}

int DetectKontaktMulti(const uint8_t* buffer, uint32_t param, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (param == kKontakt1) return MagicIs(b, 0x5AE5D6A4) ? 6 : 0;
    if (param == kKontakt2) return MagicIs(b, 0x01EF85AB) ? 6 : 0;
    return 0;
}

int DetectNiContainer(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    return b.equals(12, "hsin") || b.equals(0, "/\\ NI FC MTD") ? 4 : 0;
}

} // namespace

void InstallKontaktFormats() {
    using instruments::BindDetector;
    BindDetector(u"nkb", u"NI Kontakt v5/6/7 Bank", &DetectNiContainer);
    BindDetector(u"nki", u"NI Kontakt v1 Instrument", &DetectKontaktInstrument);
    BindDetector(u"nki", u"NI Kontakt v2/3/4 Instrument", &DetectKontaktInstrument);
    BindDetector(u"nki", u"NI Kontakt v5/6/7 Instrument", &DetectNiContainer);
    BindDetector(u"nkm", u"NI Kontakt v1 Multi", &DetectKontaktMulti);
    BindDetector(u"nkm", u"NI Kontakt v2/3/4 Multi", &DetectKontaktMulti);
    BindDetector(u"nkm", u"NI Kontakt v5/6/7 Multi", &DetectNiContainer);
}

} // namespace vaxel
