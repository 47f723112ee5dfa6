// E-mu Emulator III family banks: detection of .e3b/.eb3 (Emulator III),
// .e3x (Emulator IIIX) and .esi (ESI-32 and later).
//
// A bank starts with a 16-byte signature, blank padded and NUL ended:
// "EMULATOR THREE " on the Emulator III, "EMULATOR 3X    " on the IIIX and
// most ESI banks, "EMU SI-32 v3   " on some ESI banks; the bank name
// follows at 16. The IIIX signature is shared, so the ESI row takes it
// with 4 and leaves it to the extension.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

enum class EmuBank { None, Three, ThreeX, Si32 };

EmuBank LookAtBank(const Bytes& b) {
    if (b.equals(0, "EMULATOR THREE")) return EmuBank::Three;
    if (b.equals(0, "EMULATOR 3X")) return EmuBank::ThreeX;
    if (b.equals(0, "EMU SI-32")) return EmuBank::Si32;
    return EmuBank::None;
}

int DetectEmulatorThree(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    EmuBank bank = LookAtBank(View(buffer, bytes));
    return bank == EmuBank::Three ? 6 : bank == EmuBank::None ? 0 : 2;
}

int DetectEmulatorThreeX(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    EmuBank bank = LookAtBank(View(buffer, bytes));
    return bank == EmuBank::ThreeX ? 6 : bank == EmuBank::None ? 0 : 2;
}

int DetectEsi(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    switch (LookAtBank(View(buffer, bytes))) {
    case EmuBank::Si32: return 6;
    case EmuBank::ThreeX: return 4;
    case EmuBank::Three: return 2;
    case EmuBank::None: break;
    }
    return 0;
}

} // namespace

void InstallEmuFormats() {
    using instruments::BindDetector;
    BindDetector(u"e3b", u"E-mu Emulator III bank file", &DetectEmulatorThree);
    BindDetector(u"e3x", u"E-mu Emulator IIIX bank file", &DetectEmulatorThreeX);
    BindDetector(u"eb3", u"E-mu Emulator III bank file", &DetectEmulatorThree);
    BindDetector(u"esi", u"E-mu ESI-32 bank file", &DetectEsi);
}

} // namespace vaxel
