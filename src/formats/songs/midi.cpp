// Standard MIDI files and their RIFF wrapper.
//
// An SMF is a run of big-endian chunks without padding: "MThd" (6 bytes:
// format, track count, division) and then "MTrk" chunks of events. The reader
// accepts "MThd" anywhere before the first track, but detection asks for it at
// offset 0: a unique magic, the table's top score.
//
// An RMID file is a little-endian RIFF form of type "RMID" whose "data" chunk
// holds a whole SMF (a "LIST" "DLS " collection may follow). "RIFF" at 0 and
// "RMID" at 8 decide; a RIFF of any other form type (WAVE, DLS, sfbk, ...)
// belongs to its own family and gets 0 here.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

int DetectMid(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "MThd") ? songs::kMagic : songs::kNo;
}

int DetectRmi(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return b.equals(0, "RIFF") && b.equals(8, "RMID") ? songs::kMagic : songs::kNo;
}

} // namespace

void songs::InstallMidiFormats() {
    songs::BindDetector(u"mid", u"Standard MIDI file (SMF)", &DetectMid);
    songs::BindDetector(u"rmi", u"RIFF-MIDI (DLS optional)", &DetectRmi);
}

} // namespace vaxel
