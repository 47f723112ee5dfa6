// PlayStation sequences (SEQ and the multi-song SEP). The id 'SEQp' is stored
// as a little-endian word, so the file starts with "pQES"; the version,
// resolution, tempo and rhythm fields behind it are big-endian. Some tools
// write the id in reading order, "SEQp"; both are accepted.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectPsxSeq(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "pQES") || b.equals(0, "SEQp") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallPlayStationSeqFormats() { songs::BindDetector(u"seq", u"PlayStation music", &DetectPsxSeq); }

} // namespace vaxel
