// Korg workstation files: detection of KSF samples, KMP keymaps, KSC
// scripts and PCG banks.
//  - KSF and KMP are big-endian chunk files whose first chunk is "SMP1"
//    (sample) or "MSP1" (keymap).
//  - KSC is text; its first line is exactly "#KORG Script Version 1.0".
//  - PCG banks start with "KORG" and the machine's model number in byte 4:
//    Trinity 0x3B, Triton 0x50 (also the Triton Extreme), Triton LE 0x63,
//    M3 0x75, M50 0x7A, OASYS 0x70, Kronos 0x68 (each read row carries its
//    model byte as param). A "KORG" head with another model is left to the
//    extension.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

int DetectKsf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "SMP1") ? 6 : 0;
}

int DetectKmp(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "MSP1") ? 6 : 0;
}

int DetectKsc(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    static const char kFirstLine[] = "#KORG Script Version 1.0";
    constexpr size_t n = sizeof kFirstLine - 1;
    Bytes b = View(buffer, bytes);
    if (!b.equals(0, kFirstLine)) return 0;
    // The line must end right there: a blank behind the text fails.
    return b.size == n || b.u8(n) == '\r' || b.u8(n) == '\n' ? 6 : 0;
}

// The row's param is the model byte its bank carries.
int DetectPcg(const uint8_t* buffer, uint32_t param, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (!b.equals(0, "KORG") || !b.has(4, 1)) return 0;
    return b.u8(4) == (param & 0xFF) ? 6 : 2;
}

} // namespace

void InstallKorgFormats() {
    using instruments::BindDetector;
    BindDetector(u"KMP", u"Korg keymap", &DetectKmp);
    BindDetector(u"KSC", u"Korg script", &DetectKsc);
    BindDetector(u"KSF", u"Korg sample", &DetectKsf);
    BindDetector(u"PCG", u"Korg Trinity bank", &DetectPcg);
    BindDetector(u"PCG", u"Korg Triton bank", &DetectPcg);
    BindDetector(u"PCG", u"Korg Triton LE bank", &DetectPcg);
    BindDetector(u"PCG", u"Korg M3 bank", &DetectPcg);
    BindDetector(u"PCG", u"Korg M50 bank", &DetectPcg);
    BindDetector(u"PCG", u"Korg Oasys bank", &DetectPcg);
    BindDetector(u"PCG", u"Korg Kronos bank", &DetectPcg);
}

} // namespace vaxel
