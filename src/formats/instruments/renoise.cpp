// Renoise instruments: detection of .xrni.
//
// An instrument is a ZIP archive holding "Instrument.xml" (root element
// RenoiseInstrument) and its samples under SampleData/; some tools write
// the XML document alone. The XML entry is normally the first one; an
// archive where it was not found within the buffer still scores 4, so the
// extension wins over the plain ZIP row.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

bool IsInstrumentEntry(const char* name, size_t length) {
    static const char kName[] = "Instrument.xml";
    return length == sizeof kName - 1 && instruments::EndsWithIgnoreCase(name, length, kName);
}

int DetectXrni(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (instruments::XmlRootIs(b, "RenoiseInstrument")) return 6;
    if (!instruments::IsZip(b)) return 0;
    return instruments::ZipHasEntry(b, &IsInstrumentEntry) ? 6 : 4;
}

} // namespace

void InstallRenoiseFormats() { instruments::BindDetector(u"xrni", u"Renoise instrument", &DetectXrni); }

} // namespace vaxel
