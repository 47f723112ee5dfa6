// SoundFont banks: reading of sf2 and sbk, detection of sf2, sf3 (compressed samples), sf2pack,
// sbk (version 1) and sfArk archives.
//
// A bank is a little-endian RIFF form "sfbk" ("sfpk" for the packed
// variant) whose first list is LIST INFO with the ifil chunk first, so the
// major version word of ifil sits at offset 32:
//   0 "RIFF", 4 size, 8 form, 12 "LIST", 16 size, 20 "INFO", 24 "ifil",
//   28 size (4), 32 major (u16), 34 minor (u16).
// The version tells the rows apart: 1 is the old sbk, 2 a plain bank, 3 a
// bank with Ogg Vorbis or FLAC samples. A form of the right type with another
// version still scores 2, so the extension can pick it.
//
// sfArk is a compressed archive of a version 2 bank. Its head may follow
// other bytes (a self-extractor), so the signature is searched: the text
// "sfArk" stands 26 bytes into the head, the compression method byte follows
// it (0..8) and then a 16-bit file type that is 0 for a SoundFont.
#include <cstdio>
#include <cstdlib>

#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"
#include "formats/instruments/sf2.h"
#include "model/decode_ids.h"
#include "model/waveform.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

int SoundFontForm(const Bytes& b, const char* form, uint16_t major) {
    if (!instruments::IsRiffForm(b, form)) return 0;
    return b.le16(32) == major ? 6 : 2;
}

int DetectSf2(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return SoundFontForm(View(buffer, bytes), "sfbk", 2);
}

int DetectSf3(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return SoundFontForm(View(buffer, bytes), "sfbk", 3);
}

int DetectSbk(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return SoundFontForm(View(buffer, bytes), "sfbk", 1);
}

int DetectSf2Pack(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return SoundFontForm(View(buffer, bytes), "sfpk", 2);
}

constexpr size_t kSfArkSignatureAt = 26; // within the archive head
constexpr size_t kSfArkSearchWindow = 131072;
constexpr uint64_t kSfArkMinimumFile = 42; // the head up to the file name

int DetectSfArk(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    Bytes b = View(buffer, bytes);
    if (fileSize < kSfArkMinimumFile) return 0;
    int score = 0;
    size_t at = kSfArkSignatureAt;
    while ((at = b.find(at, "sfArk", 5, kSfArkSearchWindow)) < b.size) {
        // The method byte and the file type word behind the signature.
        if (b.has(at + 5, 3) && b.u8(at + 5) <= 8 && b.le16(at + 6) == 0) return 6;
        score = 2;
        ++at;
    }
    return score;
}

// A row with its reader, writer and detector in one bind; a refused bind is
// a programming error.
void BindReader(const char16_t* extension, const char16_t* description, ReadRoutine read,
                DetectRoutine detect, WriteRoutine write = nullptr) {
    if (!bindFormat(extension, description, {read, write, detect, nullptr})) {
        std::fprintf(stderr, "vaxel: SoundFont formats: cannot bind a row\n");
        std::abort();
    }
}

} // namespace

void InstallSoundFontFormats() {
    using instruments::BindDetector;
    RegisterDecodeRoutine(decode_id::kSf2Sm24, &Sf2Decode24);
    BindReader(u"sbk", u"SoundFont v1", &ReadSbk, &DetectSbk);
    BindReader(u"sf2", u"SoundFont v2 bank", &ReadSf2, &DetectSf2, &WriteSf2);
    BindDetector(u"sf2pack", u"MIDI Converter Studio", &DetectSf2Pack);
    BindDetector(u"sf3", u"Compressed SoundFont", &DetectSf3);
    BindDetector(u"sfark", u"Melody Machine SF", &DetectSfArk);
}

} // namespace vaxel
