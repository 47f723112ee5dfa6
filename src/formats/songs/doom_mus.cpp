// DMX music of Doom and Heretic (MUS): "MUS" and 0x1A at offset 0, then the
// score length and offset, channel counts and the instrument list. The other
// .mus row (MPEG audio in a Musifile) is not this format.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectDoomMus(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MUS\x1A") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallDoomMusFormats() { songs::BindDetector(u"mus", u"Doom/Heretic music", &DetectDoomMus); }

} // namespace vaxel
