// Logic EXS24 sampler instruments: detection of the .exs file.
//
// An EXS file is a flat list of chunks, each an 84-byte head and its data:
// a signature word (its top byte the chunk type), the data length, an id,
// flags, then at 16 a four-letter tag, and a 64-byte name. The tag is
// "TBOS" or "JBOS" in little-endian files and "SOBT" or "SOBJ" in
// big-endian ones; the first chunk is the instrument head.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

int DetectExs(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    instruments::Bytes b = instruments::View(buffer, bytes);
    return b.equals(16, "TBOS") || b.equals(16, "JBOS") || b.equals(16, "SOBT") || b.equals(16, "SOBJ") ? 6 : 0;
}

} // namespace

void InstallExsFormats() { instruments::BindDetector(u"exs", u"Logic EXS24 instrument", &DetectExs); }

} // namespace vaxel
