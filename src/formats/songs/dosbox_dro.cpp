// DOSBox raw OPL captures (DRO): "DBRAWOPL" at offset 0, then the format
// version (0.1 or 2.0 layouts) and the captured register writes.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectDro(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "DBRAWOPL") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallDosBoxDroFormats() { songs::BindDetector(u"dro", u"DOSBox Raw OP", &DetectDro); }

} // namespace vaxel
