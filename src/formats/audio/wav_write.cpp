// The RIFF WAVE writer (RF64 above the RIFF size limit).
//
// Layout written: 'RIFF' (or 'RF64' and a 28-byte 'ds64'), 'WAVE', 'fmt ',
// 'fact' (not for PCM), 'data', then 'LIST' 'INFO' with the program's stamp,
// 'cue ' and 'LIST' 'adtl' for the markers, sections and loops, and 'smpl'
// with the root key, tuning, the main loop and its release loop. Writers of
// formats that embed a wave ask, through the row parameter, for 'smpl' ahead
// of 'data' and nothing behind it (kWavParamSmplFirst, kWavParamCwdt).
//
// The chunks around 'data' are built in memory; the samples are encoded in
// pieces straight into the file, so a wave of several gigabytes needs no
// second copy of itself.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "fileio/sample_coding.h"
#include "formats/audio/wav.h"
#include "formats/audio/wav_internal.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

using namespace wav;

// The codings of the "Microsoft wave" row, for callers that pass no mask.
constexpr uint32_t kWavRowMask = 0x327F75;
constexpr uint64_t kRiffLimit = 0xFFFFFFFFu;
uint64_t gRf64Limit = kRiffLimit;

void AppendChunk(std::vector<uint8_t>& out, uint32_t id, const std::vector<uint8_t>& body) {
    Append32(out, id);
    Append32(out, uint32_t(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    if (body.size() & 1) out.push_back(0);
}

// The cue records, labels and region lengths of the wave's markers, and the
// cue id that each loop of 'smpl' gets.
struct CueTable {
    std::vector<uint8_t> cue, adtl;
    std::vector<uint32_t> smplCueIds;
};

CueTable BuildCues(const Waveform& wave, const std::vector<uint32_t>& smplLoops, uint32_t skipped) {
    CueTable t;
    std::vector<uint8_t> records;
    uint32_t count = 0;
    t.smplCueIds.assign(smplLoops.size(), 0);
    for (const LoopRecord& m : wave.markers) {
        if (skipped && m.markerId == skipped) continue;
        uint32_t id = ++count;
        for (size_t i = 0; i < smplLoops.size(); ++i)
            if (smplLoops[i] == m.markerId) t.smplCueIds[i] = id;
        uint32_t position = m.start + (m.startFraction >= 50 ? 1 : 0);
        Append32(records, id);
        Append32(records, position);
        Append32(records, FourCC("data"));
        Append32(records, 0); // chunk start
        Append32(records, 0); // block start
        Append32(records, position);
        if (!m.name.empty()) {
            std::string name = WideToAnsi(m.name);
            if (name.size() > 255) name.resize(255);
            std::vector<uint8_t> labl;
            Append32(labl, id);
            labl.insert(labl.end(), name.begin(), name.end());
            labl.push_back(0);
            AppendChunk(t.adtl, FourCC("labl"), labl);
        }
        if (m.kind != kMarkerPosition) {
            uint32_t end = m.end + (m.endFraction >= 50 ? 1 : 0);
            std::vector<uint8_t> ltxt;
            Append32(ltxt, id);
            Append32(ltxt, end > position ? end - position : 0);
            Append32(ltxt, FourCC("rgn "));
            Append32(ltxt, 0); // country, language
            Append32(ltxt, 0); // dialect, code page
            AppendChunk(t.adtl, FourCC("ltxt"), ltxt);
        }
    }
    if (count) {
        Append32(t.cue, count);
        t.cue.insert(t.cue.end(), records.begin(), records.end());
    }
    if (!t.adtl.empty()) {
        std::vector<uint8_t> list;
        Append32(list, FourCC("adtl"));
        list.insert(list.end(), t.adtl.begin(), t.adtl.end());
        t.adtl.swap(list);
    }
    return t;
}

bool WriteAll(FileObject& file, const std::vector<uint8_t>& bytes) {
    if (bytes.empty() || file.Write(bytes.data(), bytes.size())) return true;
    SetLastError("Writing to file failed");
    return false;
}

} // namespace

void SetRf64LimitForTesting(uint64_t bytes) {
    gRf64Limit = bytes ? bytes : kRiffLimit;
}

namespace wav {

PreparedWave::~PreparedWave() {
    if (temporary) delete wave;
}

bool PrepareForWrite(CollectionItem& item, const WriteOptions& options, uint32_t rowMask, PreparedWave& out) {
    if (item.type() != ItemType::Waveform) {
        SetLastError("The file format can not save this item");
        return false;
    }
    const uint32_t mask = options.codingMask ? options.codingMask : rowMask;
    float bitRate = options.bitRate;
    out.coding = ChooseCoding(static_cast<Waveform&>(item), mask, &bitRate);
    if (!TagOfCoding(out.coding)) {
        SetLastError("Unsupported subformat");
        return false;
    }
    ClearLastError();
    out.wave = PrepareWave(item, mask, 0, out.temporary);
    if (!out.wave) {
        if (!LastError()[0]) SetLastError("The file format can not save this item");
        return false;
    }
    if (out.wave->frames && !out.wave->lockSamples()) {
        SetLastError("Could not lock wave data");
        return false;
    }
    return true;
}

// Encodes the samples in pieces and writes them, with the pad byte of an odd
// length. Shared with the Wave-64 writer, which pads to eight.
bool WriteSamples(FileObject& file, const Waveform& wave, int coding, uint64_t dataBytes, uint64_t padTo,
                  uint8_t padValue) {
    const SampleBlock* block = wave.samples();
    const int width = EncodedWidth(coding);
    const uint32_t flags = coding == kPcm8 ? kCodingUnsigned : 0;
    const size_t total = size_t(wave.frames) * wave.channels;
    if (total && (!block || block->sampleCount() < total)) {
        SetLastError("Could not lock wave data");
        return false;
    }
    const size_t piece = 1u << 16;
    std::vector<uint8_t> buffer;
    try {
        buffer.resize(piece * width);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return false;
    }
    ProgressMeter progress(total, total > 250000u * wave.channels);
    for (size_t done = 0; done < total;) {
        size_t n = std::min(piece, total - done);
        progress.step(done);
        EncodeFromFloat(block->data + done, n, coding, flags, buffer.data());
        if (!file.Write(buffer.data(), n * width)) {
            SetLastError("Writing to file failed");
            return false;
        }
        done += n;
    }
    uint64_t pad = (padTo - dataBytes % padTo) % padTo;
    if (pad) {
        uint8_t bytes[8];
        std::memset(bytes, padValue, sizeof bytes);
        if (!file.Write(bytes, size_t(pad))) {
            SetLastError("Writing to file failed");
            return false;
        }
    }
    return true;
}

} // namespace wav

int WriteWav(CollectionItem& item, FileObject& file, const WriteOptions& options) {
    PreparedWave prepared;
    if (!PrepareForWrite(item, options, kWavRowMask, prepared)) return 0;
    const Waveform& source = static_cast<Waveform&>(item); // its texts, not the copy's
    Waveform& wave = *prepared.wave;
    const int coding = prepared.coding;
    const uint16_t tag = TagOfCoding(coding);
    const uint32_t param = options.param;
    const int channels = wave.channels;
    const uint64_t dataBytes = uint64_t(wave.frames) * channels * EncodedWidth(coding);

    // Chunks ahead of 'data' and behind it.
    std::vector<uint8_t> ahead, behind;
    AppendChunk(ahead, FourCC("fmt "),
                BuildFormat(coding, channels, wave.sampleRate, param == kWavParamExtensible));
    if (tag != kTagPcm) {
        std::vector<uint8_t> fact;
        Append32(fact, wave.frames);
        AppendChunk(ahead, FourCC("fact"), fact);
    }
    if (param == kWavParamCwdt) {
        AppendChunk(ahead, FourCC("smpl"), BuildSmplCwdt(wave));
    } else {
        uint32_t skipped = 0;
        std::vector<uint32_t> loops = LoopsForSmpl(wave, &skipped);
        CueTable cues = BuildCues(wave, loops, skipped);
        std::vector<uint8_t> smpl = BuildSmpl(wave, loops, cues.smplCueIds);
        if (param == kWavParamSmplFirst) {
            AppendChunk(ahead, FourCC("smpl"), smpl);
        } else {
            MemChunkWriter info(false, true, 256, FourCC("LIST"), FourCC("INFO"));
            if (!AddInfoChunks(info, source, true)) {
                SetLastError("Out of memory");
                return 0;
            }
            std::vector<uint8_t> list;
            info.MoveTo(list);
            behind.insert(behind.end(), list.begin(), list.end());
            if (list.size() & 1) behind.push_back(0);
            if (!cues.cue.empty()) AppendChunk(behind, FourCC("cue "), cues.cue);
            if (!cues.adtl.empty()) AppendChunk(behind, FourCC("LIST"), cues.adtl);
            AppendChunk(behind, FourCC("smpl"), smpl);
        }
    }

    // Everything behind the RIFF head's eight bytes.
    const uint64_t pad = dataBytes & 1;
    uint64_t riffSize = 4 + ahead.size() + 8 + dataBytes + pad + behind.size();
    const bool rf64 = riffSize > gRf64Limit || dataBytes > kRiffLimit;
    std::vector<uint8_t> head;
    if (rf64) {
        // The ds64 sizes are the true ones; the 32-bit fields say "see ds64".
        riffSize += 8 + 28;
        Append32(head, FourCC("RF64"));
        Append32(head, 0xFFFFFFFFu);
        Append32(head, FourCC("WAVE"));
        Append32(head, FourCC("ds64"));
        Append32(head, 28);
        Append64(head, riffSize);
        Append64(head, dataBytes);
        Append64(head, wave.frames);
        Append32(head, 0); // no table
    } else {
        Append32(head, FourCC("RIFF"));
        Append32(head, uint32_t(riffSize));
        Append32(head, FourCC("WAVE"));
    }
    head.insert(head.end(), ahead.begin(), ahead.end());
    Append32(head, FourCC("data"));
    Append32(head, rf64 ? 0xFFFFFFFFu : uint32_t(dataBytes));
    if (!WriteAll(file, head)) return 0;
    if (!WriteSamples(file, wave, coding, dataBytes, pad ? 2 : 1, tag == kTagPcm ? 128 : 0)) return 0;
    if (!WriteAll(file, behind)) return 0;
    return 1;
}

} // namespace vaxel
