// RIFF WAVE and its relatives: Microsoft wave (RIFF or RF64 of form WAVE, and
// the SDSS variant the reader also takes), Broadcast wave (a WAVE with a
// 'bext' chunk near the head), the Rockwell ADPCM wave of HotFax/Quicklink
// (format tag 768), and Sony/Sonic Foundry Wave-64.
//
// Bytes relied on: "RIFF"/"RF64"/"SDSS" at 0 and "WAVE" at 8; the chunks
// behind offset 12 (id, little-endian 32-bit length, body padded to even);
// the format tag at offset 20, where it falls when 'fmt ' is the first chunk;
// for Wave-64 the 16-byte 'riff' GUID at 0 and the 'wave' GUID at 24. Other
// RIFF forms (sfbk, DLS, RMID, AVI, CDDA) are never claimed here.
#include "formats/audio/wav.h"
#include "fileio/format_table.h"
#include "formats/audio/audio_detect.h"
#include "formats/audio/audio_formats.h"
#include "formats/audio/wav_internal.h"
#include "model/decode_ids.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

bool IsWave(const probe::Bytes& b) {
    return audio::IsRiffForm(b, "WAVE");
}

// A 'bext' chunk among the first four chunks behind the 12-byte head.
bool HasBextNearHead(const probe::Bytes& b) {
    uint64_t at = 12;
    for (int chunk = 0; chunk < 4 && b.has(size_t(at), 8); ++chunk) {
        if (b.equals(size_t(at), "bext")) return true;
        uint32_t length = b.le32(size_t(at) + 4);
        at += 8 + uint64_t(length) + (length & 1);
        if (at > b.size) break;
    }
    return false;
}

int DetectWav(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (IsWave(b)) return audio::kMagic;
    if (b.equals(0, "SDSS") && b.equals(8, "WAVE")) return audio::kWeakMagic;
    return audio::kNo;
}

int DetectBroadcastWav(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    if (!IsWave(b)) return audio::kNo;
    return HasBextNearHead(b) ? audio::kMagic : audio::kPlausible;
}

int DetectRockwellWav(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    probe::Bytes b{buffer, bytes};
    return IsWave(b) && b.has(20, 2) && b.le16(20) == 768 ? audio::kMagic : audio::kNo;
}

} // namespace

void InstallWavFormats() {
    RegisterDecodeRoutine(decode_id::kWav, &WaveDecode);
    RegisterDecodeRoutine(decode_id::kWave64, &wav::Wave64Decode);
    audio::BindRoutines(u"bwf", u"Broadcast wave", {&ReadWav, nullptr, &DetectBroadcastWav, nullptr});
    // The Rockwell ADPCM codec is not part of the program yet: detection only.
    audio::BindDetector(u"rif", u"Rockwell ADPCM (HotFax/Quicklink)", &DetectRockwellWav);
    audio::BindRoutines(u"w64", u"Wave-64", {&ReadWave64, &WriteWave64, &DetectWave64, nullptr});
    audio::BindRoutines(u"wav", u"Microsoft wave", {&ReadWav, &WriteWav, &DetectWav, nullptr});
    audio::BindRoutines(u"wav", u"Broadcast wave", {&ReadWav, nullptr, &DetectBroadcastWav, nullptr});
}

} // namespace vaxel
