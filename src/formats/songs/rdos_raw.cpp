// Rdos raw OPL captures (RAW, written by the RAC capture tool): "RAWADATA" at
// offset 0, the initial clock word, then register and value pairs. The other
// .raw row (headerless PCM) has no magic, so this one wins by it.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectRdosRaw(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "RAWADATA") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallRdosRawFormats() { songs::BindDetector(u"raw", u"Rdos Raw OPL capture", &DetectRdosRaw); }

} // namespace vaxel
