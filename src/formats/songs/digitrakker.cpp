// Digitrakker modules (MDL): "DMDL" at 0, a version byte, then blocks with
// 2-character ids ("IN", "ME", "PA", "TR", "II", "IS", "SA").
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMdl(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "DMDL") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallDigitrakkerFormats() { songs::BindDetector(u"mdl", u"Digitrakker module", &DetectMdl); }

} // namespace vaxel
