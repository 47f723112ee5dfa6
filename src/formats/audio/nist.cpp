// NIST SPHERE: a text header that opens with "NIST_1A\n" and the header's
// length in bytes on the second line (conventionally "   1024\n"), then
// "name -type value" lines up to "end_head".
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectNist(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.equals(0, "NIST_1A\n")) return audio::kNo;
    // The length line: seven characters, blanks then digits, and a line feed.
    if (!b.has(8, 8) || b.u8(15) != '\n') return audio::kWeakMagic;
    int digits = 0;
    for (size_t i = 8; i < 15; ++i) {
        uint8_t c = b.u8(i);
        if (c >= '0' && c <= '9')
            ++digits;
        else if (c != ' ' || digits)
            return audio::kWeakMagic;
    }
    return digits ? audio::kMagic : audio::kWeakMagic;
}

} // namespace

void InstallNistFormats() {
    audio::BindDetector(u"nist", u"NIST Sphere", &DetectNist);
}

} // namespace vaxel
