// Creative Music Files (CMF, Sound Blaster FM songs): "CTMF" at offset 0, the
// version word, then offsets of the instrument block and the MIDI-like music
// block.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectCmf(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "CTMF") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallCreativeMusicFormats() { songs::BindDetector(u"cmf", u"Creative Labs music", &DetectCmf); }

} // namespace vaxel
