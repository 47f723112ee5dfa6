// FM instrument files for AdLib and Sound Blaster cards: detection of the
// AdLib instrument bank (.bnk) and single instrument (.ins), the Creative FM
// bank (.ibk) and the Creative FM instrument (.sbi).
//  - bnk: a two-byte version (1.0), then the signature "ADLIB-" at 2, then
//    the record counts and offsets of the name and instrument tables.
//  - ibk: "IBK" and 0x1A, then 128 16-byte instruments and their names.
//  - sbi: "SBI" and 0x1A, a 32-byte name and the 16 register bytes.
//  - ins (AdLib's single instrument, 1987): no signature. A zero word, the
//    modulator's and the carrier's 13 parameters as 16-bit words, and in the
//    later 80-byte form two wave-select words and 22 reserved bytes; the
//    early form is 54 bytes. Every parameter fits in six bits and every wave
//    select in two, which with the exact size makes a plausibility test.
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

int DetectAdLibInstrument(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    constexpr uint64_t kEarly = 54, kLater = 80;
    constexpr size_t kParameters = 26, kFirstParameter = 2, kWaveSelects = 54;
    instruments::Bytes b = View(buffer, bytes);
    if ((fileSize != kEarly && fileSize != kLater) || b.size != fileSize || b.le16(0) != 0) return 0;
    for (size_t i = 0; i < kParameters; ++i)
        if (b.le16(kFirstParameter + 2 * i) > 63) return 0;
    if (fileSize == kLater && (b.le16(kWaveSelects) > 3 || b.le16(kWaveSelects + 2) > 3)) return 0;
    return 2;
}

} // namespace

void InstallAdLibFormats() {
    using instruments::BindDetector;
    BindDetector(u"bnk", u"AdLib bank", &DetectAdLibBank);
    BindDetector(u"ibk", u"Creative FM bank", &DetectCreativeBank);
    BindDetector(u"ins", u"Ad Lib instrument", &DetectAdLibInstrument);
    BindDetector(u"sbi", u"Creative FM instrument", &DetectCreativeInstrument);
}

} // namespace vaxel
