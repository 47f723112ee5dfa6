// SFZ instruments: detection of the plain-text sfz format.
//
// An SFZ file has no magic number: it is a list of headers (<control>,
// <global>, <master>, <group>, <region>) and opcodes. Nearly every real file
// names its first region early, so "<region>" within the first 1,024 bytes
// scores 4. Any other file scores 2: an sfz holding only #include lines or a
// long <control> block is still found by its extension.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

constexpr size_t kRegionWindow = 1024;

int DetectSfz(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    instruments::Bytes b = instruments::View(buffer, bytes);
    return b.find(0, "<region>", 8, kRegionWindow) < b.size ? 4 : 2;
}

} // namespace

void InstallSfzFormats() { instruments::BindDetector(u"sfz", u"SFZ instrument", &DetectSfz); }

} // namespace vaxel
