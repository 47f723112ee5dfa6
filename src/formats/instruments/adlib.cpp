// FM instrument files for AdLib and Sound Blaster cards: detection of the
// AdLib instrument bank (.bnk), the Creative FM bank (.ibk) and the Creative
// FM instrument (.sbi).
//  - bnk: a two-byte version (1.0), then the signature "ADLIB-" at 2, then
//    the record counts and offsets of the name and instrument tables.
//  - ibk: "IBK" and 0x1A, then 128 16-byte instruments and their names.
//  - sbi: "SBI" and 0x1A, a 32-byte name and the 16 register bytes.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::View;

int DetectAdLibBank(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(2, "ADLIB-") ? 6 : 0;
}

int DetectCreativeBank(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "IBK\x1A") ? 6 : 0;
}

int DetectCreativeInstrument(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "SBI\x1A") ? 6 : 0;
}

} // namespace

void InstallAdLibFormats() {
    using instruments::BindDetector;
    BindDetector(u"bnk", u"AdLib bank", &DetectAdLibBank);
    BindDetector(u"ibk", u"Creative FM bank", &DetectCreativeBank);
    BindDetector(u"sbi", u"Creative FM instrument", &DetectCreativeInstrument);
}

} // namespace vaxel
