// Kurzweil K2000/K2500/K2600 files: detection of .KRZ, .K25 and .K26.
//
// All three start with the header tag "PRAM" and a big-endian offset of the
// sample data; the object blocks (programs, keymaps, samples, setups)
// follow. The tag does not tell the models apart: the K2000 row takes it
// with 6, the later models with 4, so a .K25 or .K26 file goes to its own
// row and a file without extension to the common one.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

int DetectKrz(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::View(buffer, bytes).equals(0, "PRAM") ? 6 : 0;
}

int DetectLaterKurzweil(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::View(buffer, bytes).equals(0, "PRAM") ? 4 : 0;
}

} // namespace

void InstallKurzweilFormats() {
    using instruments::BindDetector;
    BindDetector(u"K25", u"Kurzweil K2500", &DetectLaterKurzweil);
    BindDetector(u"K26", u"Kurzweil K2600", &DetectLaterKurzweil);
    BindDetector(u"KRZ", u"Kurzweil K2000 file", &DetectKrz);
}

} // namespace vaxel
