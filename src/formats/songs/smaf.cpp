// Yamaha SMAF ring-tone songs (MMF): a big-endian chunk file whose outer chunk
// is "MMMD" at offset 0 (length behind it), holding a "CNTI" contents chunk
// and score and audio track chunks.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMmf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MMMD") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallSmafFormats() { songs::BindDetector(u"mmf", u"Synthetic music mobile", &DetectMmf); }

} // namespace vaxel
