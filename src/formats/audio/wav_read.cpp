// The RIFF WAVE reader (also RF64 and the SDSS variant). One Waveform per
// file; the samples stay in the file and are decoded at first use.
//
// The chunks are walked in file order. Metadata chunks are read whole (up to
// kMetaLimit bytes; a larger one is skipped); 'data' is only located. Cue
// points, labels and 'smpl' loops are held until the walk ends, when the
// frame count is known, because 'LIST' 'adtl' usually follows them.
//   ds64 (RF64): RIFF size, data size, sample count (64 bits each), table.
//   bext: description (256), originator (32), its reference (32), date (10),
//         time (8), then fields this reader doesn't use.
//   inst: unshifted note, fine tune (cents), gain (dB), key and velocity range.
//   wsmp: size, unity note, fine tune, gain in 1/655360 dB, options, loops.
//   mesa: a sampler's 141-byte record: root key at 2, a 12-byte coded name at 3.
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/units.h"
#include "formats/audio/id3.h"
#include "formats/audio/wav.h"
#include "formats/audio/wav_internal.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/property.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

using namespace wav;

// Metadata chunks bigger than this are skipped rather than read (a cover
// picture in an ID3 chunk is the largest that anyone stores).
constexpr uint64_t kMetaLimit = 64u << 20;
// Cue points and labels taken from one file. Each new marker's name is
// checked against all others, so these bounds keep a hostile file from
// costing minutes; real files stay far below them.
constexpr uint32_t kMaxCues = 1024;
constexpr size_t kMaxLabels = 4096;

struct CueRecord {
    uint32_t id, position, chunkId, sampleOffset;
};

// The wsmp rule shared with DLS: one loop at most.
struct WsmpLoop {
    bool present = false;
    uint32_t type = 0, start = 0, length = 0;
};

struct WalkState {
    Format format;
    bool haveFormat = false;
    uint64_t fmtOffset = 0;
    uint32_t fmtLength = 0;
    bool haveData = false;
    uint64_t dataOffset = 0, dataLength = 0;
    uint32_t factFrames = 0;
    bool haveDs64 = false;
    uint64_t ds64Data = 0;
    Smpl smpl;
    WsmpLoop wsmp;
    std::vector<CueRecord> cues;
    std::map<uint32_t, std::u16string> labels;
    std::map<uint32_t, uint32_t> lengths; // ltxt sample lengths by cue id
};

std::u16string AnsiField(const uint8_t* p, size_t n) {
    size_t end = 0;
    while (end < n && p[end] != 0) ++end;
    std::u16string text = AnsiToWide(std::string_view(reinterpret_cast<const char*>(p), end));
    while (!text.empty() && text.back() == u' ') text.pop_back();
    return text;
}

void SetIfEmpty(Waveform& wave, int field, const std::u16string& text) {
    if (!text.empty() && wave.text(field)[0] == 0) wave.setText(field, text);
}

// bext: the description goes to the comments, the originator to the
// engineer, and the origination date and time follow the description on a
// line of their own.
void ReadBext(Waveform& wave, const uint8_t* p, size_t n) {
    if (n < 338) return;
    std::u16string description = AnsiField(p, 256);
    std::u16string date = AnsiField(p + 320, 10), time = AnsiField(p + 330, 8);
    if (!date.empty()) {
        if (!description.empty()) description += u"\n";
        description += date;
        if (!time.empty()) description += u" " + time;
    }
    SetIfEmpty(wave, kInfoComments, description);
    SetIfEmpty(wave, kInfoEngineer, AnsiField(p + 256, 32));
}

void ReadInst(Waveform& wave, const uint8_t* p, size_t n) {
    if (n < 7) return;
    if (wave.rootKey == 60 && wave.fineTune == 0) {
        wave.rootKey = uint8_t(std::min<int>(p[0], 127));
        wave.fineTune = int8_t(std::clamp<int>(int8_t(p[1]), -100, 100));
    }
    wave.gain = float(int8_t(p[2]));
}

void ReadWsmp(Waveform& wave, WalkState& st, const uint8_t* p, size_t n) {
    if (n < 20) return;
    uint32_t size = Le32(p);
    int key = Le16(p + 4), cents = int16_t(Le16(p + 6));
    NormalizePitch(key, cents);
    wave.rootKey = uint8_t(std::clamp(key, 0, 127));
    wave.fineTune = int8_t(std::clamp(cents, -100, 100));
    wave.gain = float(int32_t(Le32(p + 8)) * 1.5258789e-6);
    uint32_t loops = Le32(p + 16);
    if (loops != 0 && size <= n && n - size >= 16) {
        const uint8_t* l = p + size;
        st.wsmp = {true, Le32(l + 4), Le32(l + 8), Le32(l + 12)};
    }
}

// mesa: the name's characters are a code of their own: 0-9 the digits, 10 a
// blank, 11-36 the letters; the few punctuation marks above are taken as
// '#', '+', '-', '.', anything else as a blank.
void ReadMesa(Waveform& wave, const uint8_t* p, size_t n) {
    if (n < 16) return;
    if (p[2] < 128) wave.rootKey = p[2];
    static const char kMarks[] = "#+-.";
    std::u16string name;
    for (int i = 0; i < 12; ++i) {
        uint8_t c = p[3 + i];
        if (c <= 9)
            name.push_back(char16_t('0' + c));
        else if (c >= 11 && c <= 36)
            name.push_back(char16_t('A' + c - 11));
        else if (c >= 37 && c < 37 + 4)
            name.push_back(char16_t(kMarks[c - 37]));
        else
            name.push_back(u' ');
    }
    while (!name.empty() && name.back() == u' ') name.pop_back();
    if (!name.empty()) wave.setName(name.c_str(), int(name.size()));
}

void ReadCue(WalkState& st, const uint8_t* p, size_t n) {
    if (n < 4) return;
    uint32_t count = Le32(p);
    // A cue whose records can't all be read is dropped.
    if (uint64_t(count) * 24 > n - 4) return;
    st.cues.clear();
    for (uint32_t i = 0; i < std::min(count, kMaxCues); ++i) {
        const uint8_t* r = p + 4 + 24 * size_t(i);
        st.cues.push_back({Le32(r), Le32(r + 4), Le32(r + 8), Le32(r + 20)});
    }
}

void ReadAdtl(WalkState& st, const uint8_t* p, size_t n) {
    MemChunkReader list(p, n, false, true);
    while (list.NextChunk() && st.labels.size() < kMaxLabels && st.lengths.size() < kMaxLabels) {
        uint32_t size = list.chunkSize();
        const uint8_t* b = list.body();
        if (size < 4) continue; // a bad entry is dropped alone
        if (list.chunkId() == FourCC("labl"))
            st.labels[Le32(b)] = AnsiField(b + 4, size - 4);
        else if (list.chunkId() == FourCC("ltxt") && size >= 8)
            st.lengths[Le32(b)] = Le32(b + 4);
    }
}

// Reads the current chunk whole; nullopt when it can't be read.
std::optional<std::vector<uint8_t>> ReadBody(ChunkReader& walker, uint64_t limit) {
    uint64_t n = std::min(walker.remaining(), limit);
    std::vector<uint8_t> body(size_t(n), 0);
    if (n && !walker.Read(body.data(), n)) return std::nullopt;
    return body;
}

// The frame count of the 'data' bytes and 'fact', by our rules for
// the codings this reader accepts.
uint64_t FrameCount(const WalkState& st, const Layout& layout) {
    uint64_t fit = st.dataLength / layout.frameBytes;
    if (st.factFrames != 0) return std::min<uint64_t>(st.factFrames, fit);
    return fit;
}

// Cue points: markers and sections of their own, and the "Loop Range",
// "Loop Start" and "Loop End" labels some editors use for a loop.
void ApplyCues(Waveform& wave, const WalkState& st) {
    std::vector<uint32_t> loopCues;
    for (const SmplLoop& l : st.smpl.loops) loopCues.push_back(l.cueId);
    std::optional<uint32_t> pairStart, pairEnd;
    for (const CueRecord& cue : st.cues) {
        if (cue.chunkId != 0 && cue.chunkId != FourCC("data")) continue;
        if (std::find(loopCues.begin(), loopCues.end(), cue.id) != loopCues.end()) continue;
        uint32_t position = std::max(cue.position, cue.sampleOffset);
        auto label = st.labels.find(cue.id);
        std::u16string name = label != st.labels.end() ? label->second : std::u16string();
        auto length = st.lengths.find(cue.id);
        uint32_t span = length != st.lengths.end() ? length->second : 0;
        if (name.rfind(u"Loop ", 0) == 0) {
            std::u16string_view rest = std::u16string_view(name).substr(5);
            if (rest == u"Range" && span != 0) {
                if (!wave.mainLoop()) {
                    LoopInfo loop{1, 0, float(position), float(uint64_t(position) + span), 0.0f};
                    uint32_t id = wave.addLoop(loop, nullptr, true, false);
                    if (LoopRecord* r = wave.findMarker(id)) {
                        r->start = position;
                        r->end = uint32_t(std::min<uint64_t>(uint64_t(position) + span, 0xFFFFFFFFu));
                    }
                }
                continue;
            }
            if (rest == u"Start") {
                pairStart = position;
                continue;
            }
            if (rest == u"End") {
                pairEnd = position;
                continue;
            }
        }
        if (span != 0)
            wave.addSection(position, uint32_t(std::min<uint64_t>(uint64_t(position) + span, 0xFFFFFFFFu)),
                            name.c_str(), true);
        else
            wave.addMarker(position, name.c_str());
    }
    if (pairStart && pairEnd && *pairStart < *pairEnd) {
        LoopInfo loop{1, 0, float(*pairStart), float(*pairEnd), 0.0f};
        uint32_t id = wave.addLoop(loop, nullptr, !wave.mainLoop(), false);
        if (LoopRecord* r = wave.findMarker(id)) {
            r->start = *pairStart;
            r->end = *pairEnd;
        }
    }
}

// The walk. Returns false with LastError set.
bool Walk(FileObject& file, Waveform& wave, WalkState& st) {
    uint8_t head[12];
    if (file.ReadAt(0, head, 12) != 12) return SetLastError("Not a RIFF-WAVE file"), false;
    uint32_t form = Le32(head);
    if ((form != FourCC("RIFF") && form != FourCC("RF64") && form != FourCC("SDSS")) ||
        Le32(head + 8) != FourCC("WAVE"))
        return SetLastError("Not a RIFF-WAVE file"), false;
    const bool rf64 = form == FourCC("RF64");
    const uint32_t riffLength = Le32(head + 4);
    ChunkReader walker(file, false, true, true);
    // A writer that streams, or that was never closed, leaves 0, all ones or
    // a length too short for any wave; the file's own size counts then
    // (RF64's ds64 gives the true size).
    const bool unclosed = riffLength < 4 + 24 + 8 || riffLength == 0xFFFFFFFFu;
    if (unclosed) walker.SetEnd(~uint64_t(0));

    while (walker.NextChunk()) {
        const uint32_t id = walker.chunkId();
        const uint64_t chunkPos = walker.pos();
        // A chunk behind the data that can't be read ends the walk quietly.
        auto body = [&](uint64_t limit) -> std::optional<std::vector<uint8_t>> {
            auto b = ReadBody(walker, limit);
            if (!b && !st.haveData) SetLastError("Reading from file failed");
            return b;
        };
        if (id != FourCC("data") && id != FourCC("ds64") && id != FourCC("atem") &&
            walker.remaining() > kMetaLimit)
            continue;
        if (id == FourCC("fmt ")) {
            if (st.haveFormat) continue; // only the first counts
            auto b = body(64);
            if (!b) return false;
            if (!ParseFormat(b->data(), b->size(), st.format)) return false;
            st.haveFormat = true;
            st.fmtOffset = chunkPos;
            st.fmtLength = uint32_t(b->size());
        } else if (id == FourCC("ds64")) {
            auto b = body(28);
            if (!b) return false;
            if (rf64 && b->size() >= 28) {
                st.haveDs64 = true;
                st.ds64Data = Le64(b->data() + 8);
                uint64_t riffSize = Le64(b->data());
                if (riffSize != 0) walker.SetEnd(riffSize);
            }
        } else if (id == FourCC("data")) {
            if (st.haveData) continue;
            if (!st.haveFormat) return SetLastError("The 'data' chunk comes before the 'fmt ' chunk"), false;
            uint8_t raw[4];
            uint32_t stored = file.ReadAt(chunkPos - 4, raw, 4) == 4 ? Le32(raw) : 0;
            if (stored == 0xFFFFFFFFu)
                walker.SetChunkSize(st.haveDs64 ? st.ds64Data : ~uint64_t(0));
            else if (stored == 0 && unclosed)
                walker.SetChunkSize(~uint64_t(0)); // streamed: the data runs to the end
            st.haveData = true;
            st.dataOffset = chunkPos;
            st.dataLength = walker.remaining();
        } else if (id == FourCC("fact")) {
            auto b = body(4);
            if (!b) {
                if (st.haveData) break;
                return false;
            }
            if (b->size() >= 4) st.factFrames = Le32(b->data());
        } else if (id == FourCC("atem")) {
            walker.SetEnd(~uint64_t(0));
        } else {
            static constexpr uint32_t kMeta[] = {FourCC("smpl"), FourCC("cue "), FourCC("LIST"),
                                                 FourCC("inst"), FourCC("wsmp"), FourCC("mesa"),
                                                 FourCC("ID3 "), FourCC("id3 "), FourCC("bext")};
            if (std::find(std::begin(kMeta), std::end(kMeta), id) == std::end(kMeta)) continue;
            if (id == FourCC("smpl") && st.smpl.present) continue;
            auto b = body(kMetaLimit);
            if (!b) {
                if (st.haveData) break;
                return false;
            }
            const uint8_t* p = b->data();
            size_t n = b->size();
            if (id == FourCC("smpl")) {
                if (ParseSmpl(p, n, st.smpl)) ApplySmplTuning(wave, st.smpl);
            } else if (id == FourCC("cue ")) {
                ReadCue(st, p, n);
            } else if (id == FourCC("LIST") && n >= 4) {
                if (Le32(p) == FourCC("INFO")) {
                    MemChunkReader info(p + 4, n - 4, false, true);
                    ReadInfoChunks(info, wave);
                } else if (Le32(p) == FourCC("adtl")) {
                    ReadAdtl(st, p + 4, n - 4);
                }
            } else if (id == FourCC("inst")) {
                ReadInst(wave, p, n);
            } else if (id == FourCC("wsmp")) {
                ReadWsmp(wave, st, p, n);
            } else if (id == FourCC("mesa")) {
                ReadMesa(wave, p, n);
            } else if (id == FourCC("ID3 ") || id == FourCC("id3 ")) {
                ReadId3v2(p, n, wave);
            } else if (id == FourCC("bext")) {
                ReadBext(wave, p, n);
            }
        }
    }
    if (!st.haveFormat || !st.haveData) return SetLastError("No wave data found!"), false;
    return true;
}

} // namespace

int ReadWav(Collection& collection, FileObject& file, uint32_t) {
    uint32_t serial = collection.find(MakeId(ItemType::Waveform, 1)) ? kNewSerial : 1;
    auto* wave = new Waveform(collection, serial, collection.name());
    WalkState st;
    Layout layout;
    bool ok = Walk(file, *wave, st) && LayoutOf(st.format, layout);
    if (ok) {
        uint64_t frames = FrameCount(st, layout);
        if (frames > 0xFFFFFFFFu) {
            SetLastError("The wave has more than 4294967295 frames");
            ok = false;
        } else {
            wave->frames = uint32_t(frames);
        }
    }
    if (!ok) {
        delete wave;
        return 0;
    }
    ApplyFormat(*wave, st.format, layout, st.fmtOffset, st.fmtLength, false);
    wave->sourceOffset = st.dataOffset;

    std::vector<std::u16string> names;
    for (const SmplLoop& loop : st.smpl.loops) {
        auto label = st.labels.find(loop.cueId);
        names.push_back(label != st.labels.end() ? label->second : std::u16string());
    }
    ApplySmplLoops(*wave, st.smpl, names);
    if (st.smpl.loops.empty() && st.wsmp.present) {
        LoopInfo loop{1, 0, float(st.wsmp.start), float(uint64_t(st.wsmp.start) + st.wsmp.length), 0.0f};
        uint32_t id = wave->addLoop(loop, nullptr, true, false);
        if (LoopRecord* r = wave->findMarker(id)) {
            r->start = st.wsmp.start;
            r->end = uint32_t(std::min<uint64_t>(uint64_t(st.wsmp.start) + st.wsmp.length, 0xFFFFFFFFu));
            if (st.wsmp.type == 1) r->flags |= kLoopOneShot;
        }
    }
    ApplyCues(*wave, st);
    return 1;
}

} // namespace vaxel
