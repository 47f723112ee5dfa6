// AKAI MPC programs and sounds: detection of the MPC500/1000/2500 program,
// the MPC2000/2000XL program, the MPC sound file and the XML programs of
// the newer MPC line.
//  - MPC1000 .pgm: a fixed 10,756-byte file; the little-endian size at 0,
//    then the text "MPC1000 PGM 1.00" at 4.
//  - MPC2000/2000XL .pgm: the bytes 7, 4 at 0.
//  - .snd: byte 0 is 1, byte 1 the sound type (2 MPC3000, 4 MPC2000/XL),
//    then the sound's name in 16 ASCII characters padded with blanks.
//  - .xpm: an XML document whose root element is MPCVObject.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

int DetectMpc1000Program(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(4, "MPC1000 PGM 1.00") ? 6 : 0;
}

// Two bytes only: enough with the extension, never alone.
int DetectMpc2000Program(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    return b.u8(0) == 7 && b.u8(1) == 4 && b.size > 4 ? 4 : 0;
}

int DetectMpcSound(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (b.u8(0) != 1 || (b.u8(1) != 2 && b.u8(1) != 4)) return 0;
    return instruments::IsPrintableName(b, 2, 16, true) ? 4 : 0;
}

int DetectXpm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::XmlRootIs(View(buffer, bytes), "MPCVObject") ? 6 : 0;
}

} // namespace

void InstallAkaiMpcFormats() {
    using instruments::BindDetector;
    BindDetector(u"pgm", u"AKAI MPC1000 program", &DetectMpc1000Program);
    BindDetector(u"pgm", u"AKAI MPC2000 program", &DetectMpc2000Program);
    BindDetector(u"snd", u"AKAI MPC sample", &DetectMpcSound);
    BindDetector(u"xpm", u"AKAI new MPC-line instrument", &DetectXpm);
}

} // namespace vaxel
