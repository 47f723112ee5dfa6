// The big-endian IFF audio forms: AIFF and AIFF-C ("Audio interchange",
// "Compressed AIFF"), the Typhoon wave that the same reader takes, Amiga
// 8SVX/16SV ("Interchange file format") and MAUD.
//
// Bytes relied on: "FORM" at 0 and the form type at 8. One reader serves
// AIFF and AIFF-C, so each of those rows takes the other form with less
// confidence and the extension settles which row names the file. Other IFF
// forms (SMUS, ILBM, ...) are not claimed.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

bool IsForm(const probe::Bytes& b, const char* type) {
    return b.equals(0, "FORM") && b.equals(8, type, 4);
}

int DetectAiff(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (IsForm(b, "AIFF")) return audio::kMagic;
    return IsForm(b, "AIFC") ? audio::kWeakMagic : audio::kNo;
}

int DetectAifc(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (IsForm(b, "AIFC")) return audio::kMagic;
    return IsForm(b, "AIFF") ? audio::kWeakMagic : audio::kNo;
}

// A Typhoon wave is read by the AIFF reader over the AIFF body it holds. No
// mark of Typhoon's own is documented, so the row looks for an AIFF form near
// the head and wins only with its extension.
int DetectTyphoonWave(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    constexpr size_t kWindow = 1024;
    for (size_t at = b.find(0, "FORM", 4, kWindow); at < b.size; at = b.find(at + 1, "FORM", 4, kWindow))
        if (b.equals(at + 8, "AIFF") || b.equals(at + 8, "AIFC")) return audio::kWeakMagic;
    return audio::kNo;
}

int Detect8svx(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return IsForm(b, "8SVX") || IsForm(b, "16SV") ? audio::kMagic : audio::kNo;
}

int DetectMaud(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return IsForm(b, "MAUD") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallAiffFormats() {
    audio::BindDetector(u"afc", u"Compressed AIFF", &DetectAifc);
    audio::BindDetector(u"aif", u"Audio interchange", &DetectAiff);
    audio::BindDetector(u"aiff", u"Audio interchange", &DetectAiff);
    audio::BindDetector(u"aifc", u"Compressed AIFF", &DetectAifc);
    audio::BindDetector(u"c01", u"Typhoon wave", &DetectTyphoonWave);
    audio::BindDetector(u"iff", u"Interchange file format", &Detect8svx);
    audio::BindDetector(u"svx", u"Interchange file format", &Detect8svx);
    audio::BindDetector(u"maud", u"MAUD sample", &DetectMaud);
}

} // namespace vaxel
