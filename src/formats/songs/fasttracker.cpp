// Fast Tracker 2 extended modules (XM).
//
// Little-endian. The file opens with the 17 characters "Extended Module: ",
// the 20-byte song name, 0x1A, the tracker name and the version word at 58.
// A few writers vary the case of the text, so it is compared case-blind; it
// is long enough to stay a unique magic either way.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectXm(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return songs::EqualsNoCase(b, 0, "Extended Module: ", 17) ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallFastTrackerFormats() { songs::BindDetector(u"xm", u"Fast Tracker 2 module", &DetectXm); }

} // namespace vaxel
