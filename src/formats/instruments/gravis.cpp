// Gravis UltraSound patches: detection of the GF1 .pat file.
//
// A patch starts with a 12-byte header text, "GF1PATCH110" (or the older
// "GF1PATCH100") and a NUL, followed by the 10-byte manufacturer id
// "ID#000002" and a NUL; the description, instrument, layer and wave
// headers follow.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

int DetectGravisPatch(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    instruments::Bytes b = instruments::View(buffer, bytes);
    if (!b.equals(0, "GF1PATCH110\0", 12) && !b.equals(0, "GF1PATCH100\0", 12)) return 0;
    return b.equals(12, "ID#000002\0", 10) ? 6 : 4;
}

} // namespace

void InstallGravisFormats() {
    instruments::BindDetector(u"pat", u"Gravis Ultrasound patch", &DetectGravisPatch);
}

} // namespace vaxel
