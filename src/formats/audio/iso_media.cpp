// The ISO base media family (ISO/IEC 14496-12) and QuickTime: 3GPP, 3GPP2,
// iTunes MPEG-4 audio and ring-tones, QuickTime movies and plain MP4.
//
// A file is a run of boxes (32-bit big-endian size, four-character type).
// The first box is normally 'ftyp': major brand at 8, minor version at 12,
// compatible brands from 16 to the box's end. The brand says which row the
// file belongs to: 3g2* for 3GPP2, 3gp*/3gs*/3ge*... for 3GPP, M4A/M4B/M4P
// for iTunes audio, 'qt  ' for QuickTime, anything else for MP4. A generic
// major brand (isom, mp41, ...) is narrowed by the compatible brands. Each
// row scores its own kind in full and any other kind of this family a little
// lower, so the extension decides among files one reader takes alike.
// Old QuickTime files have no 'ftyp' and open with 'moov', 'mdat', 'wide',
// 'free' or 'skip'. Image brands (HEIF, AVIF, JPEG 2000) are not claimed.
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"

namespace vaxel {
namespace {

enum class Kind { None, ThreeGpp2, ThreeGpp, ITunesAudio, QuickTime, Mp4 };

bool BrandIs(const probe::Bytes& b, size_t at, const char* brand) {
    return b.equals(at, brand, 4);
}

Kind KindOfBrand(const probe::Bytes& b, size_t at) {
    if (b.equals(at, "3g2", 3)) return Kind::ThreeGpp2;
    if (b.equals(at, "3g", 2)) return Kind::ThreeGpp;
    if (BrandIs(b, at, "M4A ") || BrandIs(b, at, "M4B ") || BrandIs(b, at, "M4P ") ||
        BrandIs(b, at, "F4A ") || BrandIs(b, at, "F4B "))
        return Kind::ITunesAudio;
    if (BrandIs(b, at, "qt  ")) return Kind::QuickTime;
    static const char* const kImages[] = {"mif1", "msf1", "heic", "heix", "hevc", "avif",
                                          "avis", "jp2 ", "jpx ", "jpm ", "crx "};
    for (const char* image : kImages)
        if (BrandIs(b, at, image)) return Kind::None;
    return Kind::Mp4;
}

bool IsGenericBrand(const probe::Bytes& b, size_t at) {
    static const char* const kGeneric[] = {"isom", "iso2", "iso3", "iso4", "iso5", "iso6", "mp41", "mp42"};
    for (const char* brand : kGeneric)
        if (BrandIs(b, at, brand)) return true;
    return false;
}

Kind Classify(const probe::Bytes& b) {
    if (!b.has(0, 12)) return Kind::None;
    uint32_t size = b.be32(0);
    if (b.equals(4, "ftyp")) {
        if (size < 16 || size > 4096) return Kind::None;
        Kind kind = KindOfBrand(b, 8);
        if (kind == Kind::None || !IsGenericBrand(b, 8)) return kind;
        for (size_t at = 16; at + 4 <= size && b.has(at, 4); at += 4) {
            Kind compatible = KindOfBrand(b, at);
            if (compatible != Kind::Mp4 && compatible != Kind::None) return compatible;
        }
        return Kind::Mp4;
    }
    // A QuickTime file without 'ftyp': a known first atom of sane size (0
    // runs to the end of the file, 1 has a 64-bit size behind the type).
    static const char* const kAtoms[] = {"moov", "mdat", "wide", "free", "skip", "pnot"};
    for (const char* atom : kAtoms)
        if (b.equals(4, atom, 4) && (size == 0 || size == 1 || size >= 8)) return Kind::QuickTime;
    return Kind::None;
}

int Score(const uint8_t* buffer, size_t bytes, Kind own) {
    Kind kind = Classify(probe::Bytes{buffer, bytes});
    if (kind == Kind::None) return audio::kNo;
    return kind == own ? audio::kMagic : audio::kWeakMagic;
}

int Detect3g2(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return Score(buffer, bytes, Kind::ThreeGpp2);
}
int Detect3gp(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return Score(buffer, bytes, Kind::ThreeGpp);
}
int DetectM4a(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return Score(buffer, bytes, Kind::ITunesAudio);
}
// Ring-tones carry the iTunes audio brand too: only the extension names them.
int DetectM4r(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return Score(buffer, bytes, Kind::None);
}
int DetectMov(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return Score(buffer, bytes, Kind::QuickTime);
}
int DetectMp4(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return Score(buffer, bytes, Kind::Mp4);
}

} // namespace

void InstallIsoMediaFormats() {
    audio::BindDetector(u"3g2", u"3GPP project 2", &Detect3g2);
    audio::BindDetector(u"3gp", u"3GPP", &Detect3gp);
    audio::BindDetector(u"m4a", u"iTunes MPEG-4 audio", &DetectM4a);
    audio::BindDetector(u"m4r", u"iPhone ring-tone", &DetectM4r);
    audio::BindDetector(u"mov", u"Apple QuickTime movie", &DetectMov);
    audio::BindDetector(u"mp4", u"MPEG-4 base media", &DetectMp4);
}

} // namespace vaxel
