// The ZIP archive pseudo-format: a container that is never loaded as items
// (its read hands the path to the desktop's "open" action).
//
// Detection looks at the first little-endian 32-bit word only: a local file
// header (PK 3 4), an end-of-central-directory record of an empty archive
// (PK 5 6) or the marker of a spanned archive (PK 7 8). Formats built on ZIP
// (packed instrument libraries and the like) have their own rows before this
// one and win with their extension.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectZip(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!b.has(0, 4)) return songs::kNo;
    uint32_t word = b.le32(0);
    return word == 0x04034B50 || word == 0x06054B50 || word == 0x08074B50 ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallZipFormats() { songs::BindDetector(u"zip", u"ZIP archive", &DetectZip); }

} // namespace vaxel
