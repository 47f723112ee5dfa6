// Single instruments and samples saved by trackers: detection of Fast
// Tracker 2 .xi, Impulse Tracker .iti and .its and ScreamTracker 3 .s3i.
//  - xi: the text "Extended Instrument: " at 0.
//  - iti: "IMPI" at 0 (the instrument record of an IT module, its samples
//    behind it); its: "IMPS" at 0 (a sample record and its data).
//  - s3i: the 80-byte instrument record of an S3M module: the type byte at
//    0 (1 a sample, 2 to 7 AdLib melodic and drum instruments) and the tag
//    "SCRS" (sample) or "SCRI" (AdLib) at 76.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

int DetectXi(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "Extended Instrument: ") ? 6 : 0;
}

int DetectIti(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "IMPI") ? 6 : 0;
}

int DetectIts(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return View(buffer, bytes).equals(0, "IMPS") ? 6 : 0;
}

int DetectS3i(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (b.size < 80 || b.u8(0) > 7) return 0;
    return b.equals(76, "SCRS") || b.equals(76, "SCRI") ? 6 : 0;
}

} // namespace

void InstallTrackerInstrumentFormats() {
    using instruments::BindDetector;
    BindDetector(u"iti", u"Impulse Tracker instrument", &DetectIti);
    BindDetector(u"its", u"Impulse Tracker sample", &DetectIts);
    BindDetector(u"s3i", u"ScreamTracker v3 sample", &DetectS3i);
    BindDetector(u"xi", u"Fast Tracker 2 instrument", &DetectXi);
}

} // namespace vaxel
