// PlayStation sound banks: detection of the .vab file.
//
// A VAB bank (the .vh head of a split bank has the same start) begins with
// the 32-bit little-endian magic 'VABp', stored as the bytes "pBAV", then
// the format version, the bank id and the file size; the program, tone and
// VAG offset tables and the VAG data follow.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

int DetectVab(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::View(buffer, bytes).equals(0, "pBAV") ? 6 : 0;
}

} // namespace

void InstallVabFormats() { instruments::BindDetector(u"vab", u"PlayStation bank", &DetectVab); }

} // namespace vaxel
