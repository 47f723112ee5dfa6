// Nokring ring-tone texts: the ring tone text transfer language used for Nokia
// phones, one line of three colon-separated parts,
//   name:d=4,o=5,b=125:8e6,8d#6,8e6,8d#6,...
// a title, the defaults (duration, octave, beat as key=value pairs, and the
// loop and style keys l and s of the extended form) and the
// comma-separated notes (duration digits, a note letter or p for a pause,
// # for sharp, a dot, octave digits). It has no magic; detection checks the
// three parts for their character sets in the first kilobyte, which is a
// plausibility test only (the other .txt rows are text as well).
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

bool IsDefaultsChar(uint8_t c) {
    return (c >= '0' && c <= '9') || c == '=' || c == ',' || c == ' ' || c == 'd' || c == 'o' || c == 'b' ||
           c == 'D' || c == 'O' || c == 'B' || c == 'l' || c == 's' || c == 'L' || c == 'S';
}

bool IsNoteLetter(uint8_t c) {
    return (c >= 'a' && c <= 'h') || (c >= 'A' && c <= 'H') || c == 'p' || c == 'P';
}

bool IsNotesChar(uint8_t c) {
    return IsNoteLetter(c) || (c >= '0' && c <= '9') || c == '#' || c == '.' || c == ',' || c == '_' || c == ' ' ||
           c == '\r' || c == '\n' || c == '\t';
}

int DetectNokring(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    size_t end = bytes < 1024 ? bytes : 1024;
    size_t at = 0;
    if (b.u8(0) == 0xEF && b.u8(1) == 0xBB && b.u8(2) == 0xBF) at = 3;
    // The title: printable, at most 64 characters, up to the first colon.
    size_t titleStart = at;
    while (at < end && b.data[at] != ':') {
        if (b.data[at] < 0x20 || b.data[at] == 0x7F || at - titleStart >= 64) return songs::kNo;
        ++at;
    }
    if (at >= end) return songs::kNo;
    // The defaults: key=value pairs up to the second colon.
    size_t defaultsStart = ++at;
    bool hasPair = false;
    while (at < end && b.data[at] != ':') {
        if (!IsDefaultsChar(b.data[at]) || at - defaultsStart >= 32) return songs::kNo;
        if (b.data[at] == '=') hasPair = true;
        ++at;
    }
    if (at >= end || !hasPair) return songs::kNo;
    // The notes, to the end of the window.
    size_t notes = 0;
    for (++at; at < end; ++at) {
        if (!IsNotesChar(b.data[at])) return songs::kNo;
        if (IsNoteLetter(b.data[at])) ++notes;
    }
    return notes > 0 ? songs::kPlausible : songs::kNo;
}

} // namespace

void songs::InstallNokringFormats() { songs::BindDetector(u"txt", u"Nokring ring-tone", &DetectNokring); }

} // namespace vaxel
