// DCM modules, built on the "WUFF" universal file header (a RIFF-like head:
// "WUFF" at 0, the sub-format id at 4, the file length, a BCD version word and
// the sub-header length). The module's sub-format id is "DCMw".
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectDcm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "WUFF") && b.equals(4, "DCMw") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallDcmFormats() { songs::BindDetector(u"dcm", u"DCM module", &DetectDcm); }

} // namespace vaxel
