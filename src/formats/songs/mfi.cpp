// i-mode Melody Format (MFi, .mld) ring-tones: "melo" at offset 0 followed by
// the big-endian length of the rest of the file. "melo" is an ordinary word
// that may open a text, so the length's top byte must be 0 (a ring-tone is far
// below 16 MB, while a text continues with letters).
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMld(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "melo") && b.has(4, 4) && b.u8(4) == 0 ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallMfiFormats() { songs::BindDetector(u"mld", u"i-Melody", &DetectMld); }

} // namespace vaxel
