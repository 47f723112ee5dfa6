// Synthesizer voice dumps: detection of Yamaha DX7, DX7II, DX21/DX27/DX100
// and DX11/TX81Z voice banks saved as MIDI system exclusive messages, raw
// DX7 32-voice banks, and Roland D-50 and MT-32 dumps.
//
// A dump file is a run of messages F0 ... F7.
//  - Yamaha bulk dumps: F0 43 0n ff hh ll <data> ss F7 with format ff and
//    a 14-bit byte count hh:ll. DX7: format 9, 4096 bytes (32 packed
//    voices) or format 0, 155 bytes (one voice). DX21/27/100 and TX81Z:
//    format 4, 4096 bytes (32 voices) or format 3, 93 bytes (one voice).
//    The DX7II adds format 6, 1120 bytes (the voice supplement). Universal
//    bulk dumps (format 7E) carry a ten-letter header: "LM  8976AE" and
//    "LM  8976PM" come from the TX81Z and DX11, "LM  8973.." from the DX7II.
//  - Roland: F0 41 dev model 12 (data set) with model 14 for the D-50 and
//    16 for the MT-32.
// A raw DX7 bank is the 4096 packed voice bytes alone: 7-bit data whose
// voices (128 bytes each) end in a 10-character name.
#include "formats/instruments/detect_helpers.h"
#include "formats/instruments/instruments_formats.h"

namespace vaxel {

namespace {

using instruments::Bytes;
using instruments::View;

constexpr uint8_t kSysEx = 0xF0, kEndOfSysEx = 0xF7;
constexpr uint8_t kYamaha = 0x43, kRoland = 0x41;

struct SysExLook {
    bool dx7Voices = false;      // DX7 voice data
    bool dx7iiSupplement = false;
    bool fourOperatorVoices = false;
    bool tx81zExtras = false;
    bool d50 = false;
    bool mt32 = false;
};

void LookAtYamaha(const Bytes& b, size_t at, SysExLook& look) {
    if ((b.u8(at + 2) & 0xF0) != 0x00) return; // not a bulk dump
    const uint8_t format = b.u8(at + 3);
    const unsigned count = unsigned(b.u8(at + 4)) << 7 | b.u8(at + 5);
    if ((format == 9 && count == 4096) || (format == 0 && count == 155)) look.dx7Voices = true;
    if ((format == 4 && count == 4096) || (format == 3 && count == 93)) look.fourOperatorVoices = true;
    if (format == 6 && count == 1120) look.dx7iiSupplement = true;
    if (format == 0x7E) {
        if (b.equals(at + 6, "LM  8976")) look.tx81zExtras = true;
        if (b.equals(at + 6, "LM  8973")) look.dx7iiSupplement = true;
    }
}

SysExLook LookAtSysEx(const Bytes& b) {
    SysExLook look;
    if (b.u8(0) != kSysEx) return look;
    size_t p = 0;
    for (int messages = 0; messages < 512 && p < b.size; ++messages) {
        if (b.u8(p) == kSysEx) {
            if (b.u8(p + 1) == kYamaha) {
                LookAtYamaha(b, p, look);
            } else if (b.u8(p + 1) == kRoland && b.u8(p + 4) == 0x12) {
                if (b.u8(p + 3) == 0x14) look.d50 = true;
                if (b.u8(p + 3) == 0x16) look.mt32 = true;
            }
        }
        // On to the next message behind this one's end.
        size_t end = p + 1;
        while (end < b.size && b.u8(end) != kEndOfSysEx) ++end;
        p = end + 1;
        while (p < b.size && b.u8(p) != kSysEx) ++p;
    }
    return look;
}

int DetectDx7(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    SysExLook look = LookAtSysEx(View(buffer, bytes));
    if (!look.dx7Voices) return 0;
    return look.dx7iiSupplement ? 4 : 6;
}

int DetectDx7ii(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    SysExLook look = LookAtSysEx(View(buffer, bytes));
    if (look.dx7iiSupplement) return look.dx7Voices ? 6 : 4;
    return look.dx7Voices ? 2 : 0;
}

int DetectDx100(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    SysExLook look = LookAtSysEx(View(buffer, bytes));
    if (!look.fourOperatorVoices) return 0;
    return look.tx81zExtras ? 4 : 6;
}

int DetectTx81z(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    SysExLook look = LookAtSysEx(View(buffer, bytes));
    if (look.tx81zExtras) return look.fourOperatorVoices ? 6 : 4;
    return look.fourOperatorVoices ? 2 : 0;
}

int DetectD50(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return LookAtSysEx(View(buffer, bytes)).d50 ? 6 : 0;
}

int DetectMt32(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    return LookAtSysEx(View(buffer, bytes)).mt32 ? 6 : 0;
}

int DetectRawDx7Bank(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t fileSize, int) {
    constexpr size_t kVoices = 32, kVoiceBytes = 128, kNameAt = 118, kNameBytes = 10;
    Bytes b = View(buffer, bytes);
    if (fileSize != kVoices * kVoiceBytes || b.size != fileSize) return 0;
    for (size_t i = 0; i < b.size; ++i)
        if (b.u8(i) & 0x80) return 0;
    for (size_t v = 0; v < kVoices; ++v)
        if (!instruments::IsPrintableName(b, v * kVoiceBytes + kNameAt, kNameBytes, false)) return 0;
    return 2;
}

} // namespace

void InstallSynthSysExFormats() {
    using instruments::BindDetector;
    BindDetector(u"bn4", u"Yamaha DX100/DX21/DX27 voice SysEx", &DetectDx100);
    BindDetector(u"bnk", u"Yamaha DX100/DX21/DX27 voice SysEx", &DetectDx100);
    BindDetector(u"bnk", u"Yamaha DX11/TX81z voice SysEx", &DetectTx81z);
    BindDetector(u"dx7", u"Yamaha DX7 voice SysEx", &DetectDx7);
    BindDetector(u"dx7", u"Raw Yamaha DX7 32-voice", &DetectRawDx7Bank);
    BindDetector(u"syx", u"Yamaha DX100/DX21/DX27 voice SysEx", &DetectDx100);
    BindDetector(u"syx", u"Yamaha DX11/TX81z voice SysEx", &DetectTx81z);
    BindDetector(u"syx", u"Yamaha DX7 voice SysEx", &DetectDx7);
    BindDetector(u"syx", u"Yamaha DX7II/DX200 voice SysEx", &DetectDx7ii);
    BindDetector(u"syx", u"Roland D-50 patch SysEx", &DetectD50);
    BindDetector(u"syx", u"Roland MT-32 SysEx", &DetectMt32);
}

} // namespace vaxel
