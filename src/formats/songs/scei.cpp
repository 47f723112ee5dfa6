// PlayStation 2 sound library files: sequences (SQ) and sound set heads (HD,
// whose sample bodies are in a separate BD file).
//
// Both are little-endian chunk files whose ids are two words, creator "SCEI"
// and a type, each stored as a little-endian number, so they read reversed:
// every file starts with the version chunk "IECSsreV" (16 bytes), and the
// second chunk at offset 16 tells the kind: "IECSuqeS" (Sequ) for a sequence,
// "IECSdaeH" (Head) for a sound set.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectSq(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "IECSsreV") && b.equals(16, "IECSuqeS") ? songs::kMagic : songs::kNo;
}

int DetectHd(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "IECSsreV") && b.equals(16, "IECSdaeH") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallSceiFormats() {
    songs::BindDetector(u"sq", u"PlayStation 2 SCEI sequence", &DetectSq);
    songs::BindDetector(u"hd", u"PlayStation 2 SCEI set", &DetectHd);
}

} // namespace vaxel
