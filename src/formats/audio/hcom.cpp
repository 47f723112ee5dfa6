// Sound Tools HCOM (Macintosh, Huffman-compressed): a MacBinary header whose
// file type at offset 65 is "FSSD", and the data fork behind it at offset 128
// opening with "HCOM".
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

int DetectHcom(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(65, "FSSD") && b.equals(128, "HCOM") ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallHcomFormats() {
    audio::BindDetector(u"hcom", u"Sound Tools HCOM", &DetectHcom);
}

} // namespace vaxel
