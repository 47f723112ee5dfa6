// Sony/Sonic Foundry Wave-64: the tree of RIFF WAVE with 16-byte GUIDs in
// place of the chunk ids and 64-bit lengths.
//
// Head: the 'riff' GUID, the file's length (8 bytes, head included), the
// 'wave' GUID. Each chunk: GUID (16), length (8) counting these 24 bytes,
// body, padding to a multiple of eight. The chunk GUIDs of the wave family
// are the four id characters followed by F3 AC D3 11 8C D1 00 C0 4F 8E DB 8A;
// 'riff' and 'list' end in the older 91 CF 11 A5 D6 28 DB 04 C1 00 00 tail.
// A 'list' body holds a form type and RIFF chunks, as the RIFF 'LIST' does.
// The writer puts every chunk ahead of 'data' and doesn't pad the data at the
// end of the file, as libsndfile does: its reader takes the data of a
// Wave-64 file to run to the end of the file.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "fileio/sample_coding.h"
#include "formats/audio/wav.h"
#include "formats/audio/wav_internal.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

using namespace wav;

using Guid = uint8_t[16];
constexpr Guid kRiff = {'r',  'i',  'f',  'f',  0x2E, 0x91, 0xCF, 0x11,
                        0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr Guid kList = {'l',  'i',  's',  't',  0x2F, 0x91, 0xCF, 0x11,
                        0xA5, 0xD6, 0x28, 0xDB, 0x04, 0xC1, 0x00, 0x00};
constexpr uint8_t kWaveTail[12] = {0xF3, 0xAC, 0xD3, 0x11, 0x8C, 0xD1, 0x00, 0xC0, 0x4F, 0x8E, 0xDB, 0x8A};

// The codings of the "Wave-64" row, for callers that pass no mask.
constexpr uint32_t kW64RowMask = 0x300375;

bool IsWaveGuid(const uint8_t* g, const char* id) {
    return std::memcmp(g, id, 4) == 0 && std::memcmp(g + 4, kWaveTail, 12) == 0;
}

void AppendWaveGuid(std::vector<uint8_t>& out, const char* id) {
    out.insert(out.end(), id, id + 4);
    out.insert(out.end(), std::begin(kWaveTail), std::end(kWaveTail));
}

void AppendChunk64(std::vector<uint8_t>& out, const uint8_t* guid, const std::vector<uint8_t>& body) {
    out.insert(out.end(), guid, guid + 16);
    Append64(out, 24 + body.size());
    out.insert(out.end(), body.begin(), body.end());
    out.resize(out.size() + (8 - body.size() % 8) % 8, 0);
}

std::vector<uint8_t> WaveGuid(const char* id) {
    std::vector<uint8_t> g;
    AppendWaveGuid(g, id);
    return g;
}

bool Fail(const char* text) {
    SetLastError(text);
    return false;
}

bool Walk(FileObject& file, Waveform& wave, Format& format, Layout& layout, uint64_t& fmtOffset,
          uint32_t& fmtLength, uint64_t& dataOffset, uint64_t& dataLength, Smpl& smpl) {
    uint8_t head[40];
    if (file.ReadAt(0, head, 40) != 40 || std::memcmp(head, kRiff, 16) != 0 || !IsWaveGuid(head + 24, "wave"))
        return Fail("Not a Sonic Foundry/Sony Wave64 file");
    const uint64_t fileSize = file.Size();
    uint64_t end = Le64(head + 16);
    if (end < 40 || end > fileSize) end = fileSize;
    bool haveFormat = false, haveData = false;
    for (uint64_t at = 40; end - at >= 24;) {
        uint8_t h[24];
        if (file.ReadAt(at, h, 24) != 24) break;
        uint64_t size = Le64(h + 16);
        if (size < 24) break; // no chunk is shorter than its head
        const uint64_t body = at + 24;
        const uint64_t length = std::min(size - 24, end - body);
        auto read = [&](std::vector<uint8_t>& bytes, uint64_t limit) {
            bytes.resize(size_t(std::min(length, limit)));
            return file.ReadAt(body, bytes.data(), bytes.size()) == bytes.size();
        };
        std::vector<uint8_t> bytes;
        if (IsWaveGuid(h, "fmt ") && !haveFormat) {
            if (!read(bytes, 64)) return Fail("Reading from file failed");
            if (!ParseFormat(bytes.data(), bytes.size(), format)) return false;
            if (format.tag != kTagPcm && format.tag != kTagFloat && format.tag != kTagALaw &&
                format.tag != kTagMuLaw)
                return Fail("Unsupported compression type");
            if (format.channels > 2) return Fail("Multi-channel is not support!");
            if (!LayoutOf(format, layout)) return false;
            haveFormat = true;
            fmtOffset = body;
            fmtLength = uint32_t(bytes.size());
        } else if (IsWaveGuid(h, "data") && !haveData) {
            haveData = true;
            dataOffset = body;
            dataLength = length;
        } else if (IsWaveGuid(h, "smpl") && !smpl.present && length <= (1u << 20)) {
            if (read(bytes, length) && ParseSmpl(bytes.data(), bytes.size(), smpl))
                ApplySmplTuning(wave, smpl);
        } else if (std::memcmp(h, kList, 16) == 0 && length >= 4 && length <= (16u << 20)) {
            if (read(bytes, length) && Le32(bytes.data()) == FourCC("INFO")) {
                MemChunkReader info(bytes.data() + 4, bytes.size() - 4, false, true);
                ReadInfoChunks(info, wave);
            }
        }
        uint64_t step = size + (8 - size % 8) % 8;
        if (step < size || end - at < step) break;
        at += step;
    }
    if (!haveFormat) return Fail("Couldn't find fmt chunk!");
    if (!haveData) return Fail("Couldn't find data chunk!");
    return true;
}

} // namespace

int DetectWave64(const uint8_t* buffer, uint32_t, size_t bytes, uint64_t, int) {
    if (bytes < 40) return 0;
    return std::memcmp(buffer, kRiff, 16) == 0 && IsWaveGuid(buffer + 24, "wave") ? 6 : 0;
}

int ReadWave64(Collection& collection, FileObject& file, uint32_t) {
    uint32_t serial = collection.find(MakeId(ItemType::Waveform, 1)) ? kNewSerial : 1;
    auto* wave = new Waveform(collection, serial, collection.name());
    Format format;
    Layout layout;
    uint64_t fmtOffset = 0, dataOffset = 0, dataLength = 0;
    uint32_t fmtLength = 0;
    Smpl smpl;
    if (!Walk(file, *wave, format, layout, fmtOffset, fmtLength, dataOffset, dataLength, smpl)) {
        delete wave;
        return 0;
    }
    uint64_t frames = dataLength / layout.frameBytes;
    if (frames > 0xFFFFFFFFu) {
        SetLastError("The wave has more than 4294967295 frames");
        delete wave;
        return 0;
    }
    wave->frames = uint32_t(frames);
    ApplyFormat(*wave, format, layout, fmtOffset, fmtLength, true);
    wave->sourceOffset = dataOffset;
    ApplySmplLoops(*wave, smpl, {});
    return 1;
}

int WriteWave64(CollectionItem& item, FileObject& file, const WriteOptions& options) {
    PreparedWave prepared;
    if (!PrepareForWrite(item, options, kW64RowMask, prepared)) return 0;
    const Waveform& source = static_cast<Waveform&>(item); // its texts, not the copy's
    Waveform& wave = *prepared.wave;
    const int coding = prepared.coding;
    const uint64_t dataBytes = uint64_t(wave.frames) * wave.channels * EncodedWidth(coding);

    std::vector<uint8_t> ahead;
    AppendChunk64(ahead, WaveGuid("fmt ").data(), BuildFormat(coding, wave.channels, wave.sampleRate, false));
    if (coding != kPcm8 && coding != kPcm16 && coding != kPcm24 && coding != kPcm32) {
        std::vector<uint8_t> fact;
        Append64(fact, wave.frames);
        AppendChunk64(ahead, WaveGuid("fact").data(), fact);
    }
    std::vector<uint32_t> loops = LoopsForSmpl(wave, nullptr);
    std::vector<uint32_t> cueIds;
    for (size_t i = 0; i < loops.size(); ++i) cueIds.push_back(uint32_t(i + 1));
    AppendChunk64(ahead, WaveGuid("smpl").data(), BuildSmpl(wave, loops, cueIds));
    MemChunkWriter info(false, true, 256);
    if (!AddInfoChunks(info, source, true)) {
        SetLastError("Out of memory");
        return 0;
    }
    std::vector<uint8_t> list;
    Append32(list, FourCC("INFO"));
    list.insert(list.end(), info.bytes().begin(), info.bytes().end());
    AppendChunk64(ahead, kList, list);

    const uint64_t total = 40 + ahead.size() + 24 + dataBytes;
    std::vector<uint8_t> head(kRiff, kRiff + 16);
    Append64(head, total);
    AppendWaveGuid(head, "wave");
    head.insert(head.end(), ahead.begin(), ahead.end());
    AppendWaveGuid(head, "data");
    Append64(head, 24 + dataBytes);
    if (!file.Write(head.data(), head.size())) {
        SetLastError("Writing to file failed");
        return 0;
    }
    return WriteSamples(file, wave, coding, dataBytes, 1, 0) ? 1 : 0;
}

} // namespace vaxel
