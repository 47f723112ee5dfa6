// Decent Sampler presets and libraries: detection of .dspreset and
// .dslibrary.
//  - A preset is an XML document whose root element is DecentSampler.
//  - A library is a ZIP archive of presets and their samples. An entry
//    named *.dspreset among the local headers in the buffer gives 6; any
//    other ZIP archive gives 4, so the extension wins over the plain ZIP
//    row while a library with its samples stored first is still found.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

int DetectDecentPreset(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return instruments::XmlRootIs(View(buffer, bytes), "DecentSampler") ? 6 : 0;
}

bool IsPresetEntry(const char* name, size_t length) {
    return instruments::EndsWithIgnoreCase(name, length, ".dspreset");
}

int DetectDecentLibrary(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    Bytes b = View(buffer, bytes);
    if (!instruments::IsZip(b)) return 0;
    return instruments::ZipHasEntry(b, &IsPresetEntry) ? 6 : 4;
}

} // namespace

void InstallDecentSamplerFormats() {
    using instruments::BindDetector;
    BindDetector(u"dslibrary", u"Decent Sampler Library", &DetectDecentLibrary);
    BindDetector(u"dspreset", u"Decent Sampler Preset", &DetectDecentPreset);
}

} // namespace vaxel
