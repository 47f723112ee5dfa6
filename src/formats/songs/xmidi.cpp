// Extended MIDI (XMIDI) of the Miles Sound System.
//
// Big-endian IFF: usually a "FORM" "XDIR" (an INFO chunk with the sequence
// count) followed by a "CAT " "XMID" that holds one "FORM" "XMID" per sequence
// (TIMB, RBRN, EVNT chunks). Files with a single sequence often leave out the
// XDIR form and start with the "CAT " directly, and some start with the inner
// "FORM" "XMID" itself. Each of the three heads is a unique pair of IFF ids at
// offsets 0 and 8.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectXmi(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (b.equals(0, "FORM") && (b.equals(8, "XDIR") || b.equals(8, "XMID"))) return songs::kMagic;
    if (b.equals(0, "CAT ") && b.equals(8, "XMID")) return songs::kMagic;
    return songs::kNo;
}

} // namespace

void songs::InstallXmidiFormats() { songs::BindDetector(u"xmi", u"MSS extended MIDI", &DetectXmi); }

} // namespace vaxel
