// FunkTracker modules: the word "Funk" at offset 0. Four plain letters can also
// open a text, so it counts as a weaker signature; the extension settles it.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectFnk(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "Funk") ? songs::kWeakMagic : songs::kNo;
}

} // namespace

void songs::InstallFunkTrackerFormats() { songs::BindDetector(u"fnk", u"FunkTracker module", &DetectFnk); }

} // namespace vaxel
