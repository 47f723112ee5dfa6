// Amiga-style tracker modules (Sound/Noise/ProTracker and their PC and Atari
// descendants).
//
// A MOD has no magic at offset 0: it starts with a 20-byte song name. The
// 31-sample forms carry a 4-byte tag at offset 1080, behind the sample
// records (20 + 31 x 30 bytes), the song length (950), the restart byte (951)
// and the 128-byte order table (952). The tag names the writer and the
// channel count: "M.K.", "M!K!", "M&K!", "N.T.", "FLT4"/"FLT8",
// "EXO4"/"EXO8", "nCHN", "nnCH"/"nnCN", "TDZn", "FAnn", "CD61"/"CD81",
// "OKTA"/"OCTA", "FEST", "LARD", "NSMS". A known tag with a sane song length
// is the format's magic.
//
// ChipTracker writes its tag "KRIS" at offset 952 instead, in place of the
// order table's start: a weaker signature.
//
// The old 15-sample form has no tag at all (head of 600 bytes: name, 15
// sample records, song length at 470, restart at 471, orders at 472). Only a
// plausibility test is possible: every name field printable, every sample's
// finetune and volume in range, a song length of 1..128, orders below 64, and
// a file long enough for the patterns the orders use. It never claims more
// than a plausibility score, so it wins only with the .mod extension.
#include "formats/songs/song_detect.h"
#include "formats/songs/songs_formats.h"

namespace vaxel {
namespace {

bool IsDigit(uint8_t c) { return c >= '0' && c <= '9'; }

bool IsKnownTag(const probe::Bytes& b, size_t at) {
    static const char kTags[][5] = {"M.K.", "M!K!", "M&K!", "N.T.", "FLT4", "FLT8", "EXO4", "EXO8", "FA04",
                                    "FA06", "FA08", "CD61", "CD81", "OKTA", "OCTA", "FEST", "LARD", "NSMS"};
    if (!b.has(at, 4)) return false;
    for (const char* tag : kTags)
        if (b.equals(at, tag, 4)) return true;
    const uint8_t* t = b.data + at;
    // "2CHN" .. "9CHN"
    if (t[0] >= '1' && t[0] <= '9' && t[1] == 'C' && t[2] == 'H' && t[3] == 'N') return true;
    // "10CH" .. "32CH", and TakeTracker's "nnCN"
    if (IsDigit(t[0]) && IsDigit(t[1]) && t[2] == 'C' && (t[3] == 'H' || t[3] == 'N')) {
        int channels = (t[0] - '0') * 10 + (t[1] - '0');
        return channels >= 10 && channels <= 32;
    }
    // TakeTracker "TDZ1" .. "TDZ9"
    return t[0] == 'T' && t[1] == 'D' && t[2] == 'Z' && t[3] >= '1' && t[3] <= '9';
}

// The 15-sample Soundtracker layout, tested field by field.
bool IsPlausibleSoundtracker(const probe::Bytes& b, uint64_t fileSize) {
    constexpr size_t kHead = 600, kPattern = 64 * 4 * 4;
    if (!b.has(0, kHead)) return false;
    if (!songs::IsNameField(b, 0, 20)) return false;
    for (size_t i = 0; i < 15; ++i) {
        size_t at = 20 + i * 30;
        if (!songs::IsNameField(b, at, 22)) return false;
        // Finetune and volume; lengths can take any 16-bit value (some
        // trackers allow 128 KB samples), so they are not tested.
        if (b.u8(at + 24) > 0x0F || b.u8(at + 25) > 64) return false;
    }
    uint8_t songLength = b.u8(470);
    if (songLength == 0 || songLength > 128) return false;
    uint8_t highest = 0;
    for (size_t i = 0; i < 128; ++i) {
        uint8_t order = b.u8(472 + i);
        if (order >= 64) return false;
        if (order > highest) highest = order;
    }
    return fileSize >= kHead + uint64_t(highest + 1) * kPattern;
}

int DetectMod(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    probe::Bytes b{buffer, bytes};
    if (IsKnownTag(b, 1080) && b.u8(950) <= 128) return songs::kMagic;
    if (b.equals(952, "KRIS")) return songs::kWeakMagic;
    return IsPlausibleSoundtracker(b, fileSize) ? songs::kPlausible : songs::kNo;
}

} // namespace

void songs::InstallModFormats() { songs::BindDetector(u"mod", u"Tracker module", &DetectMod); }

} // namespace vaxel
