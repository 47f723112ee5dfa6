// What the WAV and Wave-64 readers and writers share: the 'fmt ' record
// (WAVEFORMATEX and WAVE_FORMAT_EXTENSIBLE), the decoder for the sample
// layouts the generic decoder can't take, and the 'smpl' chunk both ways.
//
// 'fmt ': tag (2), channels (2), rate (4), bytes a second (4), block align
// (2), bits (2); Extensible adds extension size (2), valid bits (2), channel
// mask (4) and the 16-byte subformat GUID whose first two bytes are the tag.
// 'smpl': manufacturer, product, period (ns), unity note, pitch fraction,
// SMPTE format and offset, loop count, sampler data size (4 bytes each);
// loops of 24 bytes (cue id, type, start, last frame, fraction, play count);
// then the sampler data.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/sample_coding.h"
#include "formats/audio/wav.h"
#include "formats/audio/wav_internal.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/waveform.h"

namespace vaxel::wav {
namespace {

// The bytes 2..15 of every KSDATAFORMAT_SUBTYPE GUID of the wave family.
constexpr uint8_t kGuidTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                   0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

bool Fail(const char* text) {
    SetLastError(text);
    return false;
}

// The tags of Part-3.3 style codecs that share one message for bad bits.
bool IsCcittTag(uint16_t tag) {
    static constexpr uint16_t kTags[] = {20,  64,  66,  69,  89,    100,   133,
                                         139, 147, 291, 320, 16963, 41221, 41223};
    return std::find(std::begin(kTags), std::end(kTags), tag) != std::end(kTags);
}

// A loop end of the file (the last frame, or exclusive with CWDT) plus a
// 2^-32 fraction, as the model's exclusive end in frames and hundredths.
void ExclusiveEnd(uint32_t stored, uint32_t fraction, bool exclusive, uint32_t& frame, uint8_t& hundredths) {
    uint64_t end = uint64_t(stored) + (exclusive ? 0 : 1);
    uint64_t h = (uint64_t(fraction) * 100 + 0x80000000u) >> 32;
    if (h >= 100) {
        ++end;
        h = 0;
    }
    frame = uint32_t(std::min<uint64_t>(end, 0xFFFFFFFFu));
    hundredths = uint8_t(h);
}

uint8_t LoopTypeOfSmpl(uint32_t type) {
    switch (type) {
    case 0:
        return 1; // forward
    case 1:
        return 3; // alternating
    case 2:
        return 2; // backward
    case 255:
        return 0; // switched off
    default:
        return 1;
    }
}

uint32_t SmplTypeOfLoop(uint8_t loopType) {
    switch (loopType) {
    case 0:
        return 255;
    case 2:
        return 2;
    case 3:
        return 1;
    default:
        return 0;
    }
}

// Adds a loop and then sets its positions exactly: LoopInfo carries floats,
// which can't hold every frame number of a long wave.
uint32_t AddExactLoop(Waveform& wave, uint8_t loopType, uint8_t loopCount, uint32_t start,
                      uint8_t startHundredths, uint32_t end, uint8_t endHundredths, const char16_t* name,
                      bool makeMain) {
    LoopInfo info;
    info.loopType = loopType;
    info.loopCount = loopCount;
    info.start = float(PositionOf(start, startHundredths));
    info.end = float(PositionOf(end, endHundredths));
    uint32_t id = wave.addLoop(info, name, makeMain, false);
    if (LoopRecord* record = wave.findMarker(id)) {
        record->start = start;
        record->startFraction = startHundredths;
        record->end = end;
        record->endFraction = endHundredths;
    }
    return id;
}

} // namespace

void Append16(std::vector<uint8_t>& out, uint16_t v) {
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}
void Append32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
}
void Append64(std::vector<uint8_t>& out, uint64_t v) {
    for (int i = 0; i < 8; ++i) out.push_back(uint8_t(v >> (8 * i)));
}

bool ParseFormat(const uint8_t* body, size_t n, Format& f) {
    f = Format{};
    if (n < 14) return Fail("Reading from file failed");
    f.tag = Le16(body);
    f.channels = Le16(body + 2);
    f.sampleRate = Le32(body + 4);
    f.bytesPerSecond = Le32(body + 8);
    f.blockAlign = Le16(body + 12);
    f.shortRecord = n < 16;
    f.bits = f.shortRecord ? 16 : Le16(body + 14);
    f.validBits = f.bits;
    if (f.tag == kTagExtensible) {
        if (n < 40) return Fail("Reading from file failed");
        f.extensible = true;
        f.validBits = Le16(body + 18);
        if (std::memcmp(body + 26, kGuidTail, sizeof kGuidTail) != 0)
            return Fail("Unsupported 'Extensible' subformat GUID");
        f.tag = Le16(body + 24);
    }
    return true;
}

bool LayoutOf(const Format& f, Layout& l) {
    l = Layout{};
    switch (f.tag) {
    case kTagPcm: {
        // The container is the bits field rounded up to bytes; Extensible
        // may declare fewer valid bits, left-justified in the container.
        int container = (f.bits + 7) / 8;
        if (f.bits == 0 || container > 4) return Fail("Unsupported bits/sample for PCM samples");
        int valid = f.extensible && f.validBits != 0 ? std::min<int>(f.validBits, container * 8) : f.bits;
        l.width = uint32_t(container);
        l.coding = container == 1 ? kPcm8 : container == 2 ? kPcm16 : container == 3 ? kPcm24 : kPcm32;
        l.flags = container == 1 ? kCodingUnsigned : 0;
        l.shownBits = valid;
        bool wide = (valid + 7) / 8 != container;
        l.maskBits = wide ? uint32_t(container * 8 - valid) : 0;
        l.generic = !wide;
        break;
    }
    case kTagFloat:
        if (f.bits != 32 && f.bits != 64)
            return Fail("Unsupported bits/sample for IEEE floating point samples");
        l.width = f.bits / 8;
        l.coding = f.bits == 32 ? kFloat32 : kFloat64;
        l.shownBits = f.bits;
        l.generic = true;
        break;
    case kTagALaw:
    case kTagALawAlt:
    case kTagMuLaw:
    case kTagMuLawAlt:
        l.width = 1;
        l.coding = f.tag == kTagALaw || f.tag == kTagALawAlt ? kALaw : kMuLaw;
        l.shownBits = 8;
        l.generic = true;
        break;
    // Known codecs: their own words where bits or channels are wrong; the
    // codec itself is not part of this program yet.
    case kTagMsAdpcm:
        if (f.bits != 4) return Fail("Unsupported or invalid MS ADPCM file");
        return Fail("Unsupported compression type");
    case kTagImaAdpcm:
        if (f.bits < 2 || f.bits > 4) return Fail("Unsupported or invalid IMA ADPCM file");
        return Fail("Unsupported compression type");
    case kTagDialogic:
        if (f.bits != 4) return Fail("Unsupported or invalid Dialogic ADPCM file");
        if (f.channels != 1) return Fail("Can only handle mono Dialogic ADPCM format");
        return Fail("Unsupported compression type");
    case kTagYamaha:
        if (f.bits != 4) return Fail("Unsupported bits/sample for Yamaha ADPCM format");
        if (f.channels > 2) return Fail("> 2ch Yamaha ADPCM not supported");
        return Fail("Unsupported compression type");
    case kTagGsm:
    case kTagGsmAlt:
    case kTagGsmAlt2:
        if (f.channels != 1) return Fail("Can only handle (the standard!) mono GSM");
        return Fail("Unsupported compression type");
    case kTagRockwell:
    case kTagRockwellAlt:
        if (f.bits < 2 || f.bits > 4) return Fail("Unsupported or invalid Rockwell ADPCM file");
        if (f.channels != 1) return Fail("Can only handle mono Rockwell ADPCM format");
        return Fail("Unsupported compression type");
    default:
        if (IsCcittTag(f.tag) && (f.bits < 2 || f.bits > 5))
            return Fail("Invalid no bits/sample for CCITT G.721/.723/.726 ADPCM encoding");
        return Fail("Unsupported compression type");
    }
    if (f.channels == 0) return Fail("The 'fmt ' chunk gives no channels");
    if (f.sampleRate == 0) return Fail("The 'fmt ' chunk gives a sample rate of 0");
    l.frameBytes = l.width * f.channels;
    if (f.channels > 2) l.generic = false;
    return true;
}

void ApplyFormat(Waveform& wave, const Format& f, const Layout& l, uint64_t fmtOffset, uint32_t fmtLength,
                 bool wave64) {
    wave.channels = uint8_t(std::min<int>(f.channels, 2));
    wave.sampleRate = f.sampleRate;
    if (f.tag == kTagPcm)
        SetPcmBits(wave, l.shownBits, l.flags);
    else
        SetSampleFormat(wave, l.coding, l.flags);
    if (!l.generic) wave.decodeRoutine = wave64 ? &Wave64Decode : &WaveDecode;
    // Where the decoder finds the 'fmt ' body again: 48 bits of offset and
    // the body's length, in the two reader words that flat images keep.
    wave.readerWords[0] = uint32_t(fmtOffset);
    wave.readerWords[1] = uint32_t(fmtOffset >> 32 & 0xFFFF) | std::min<uint32_t>(fmtLength, 0xFFFF) << 16;
}

} // namespace vaxel::wav

namespace vaxel {

int WaveDecode(Waveform& wave, FileObject& file, bool) {
    using namespace wav;
    uint64_t fmtOffset = wave.readerWords[0] | uint64_t(wave.readerWords[1] & 0xFFFF) << 32;
    uint8_t body[64];
    size_t n = std::min<size_t>(wave.readerWords[1] >> 16, sizeof body);
    Format format;
    Layout layout;
    if (file.ReadAt(fmtOffset, body, n) != n) {
        SetLastError("Reading from file failed");
        return 0;
    }
    if (!ParseFormat(body, n, format) || !LayoutOf(format, layout)) return 0;
    if (wave.channels == 0 || wave.channels > format.channels) {
        SetLastError("No channels");
        return 0;
    }
    if (wave.frames == 0) {
        SetLastError("Zero length");
        return 0;
    }
    float* out = wave.allocateSamples();
    if (!out) {
        SetLastError("Out of memory");
        return 0;
    }
    const uint32_t keep = wave.channels, width = layout.width, frameBytes = layout.frameBytes;
    // Work in pieces of about a megabyte: read whole frames, keep the first
    // channels, clear the bits below the valid ones, convert.
    const uint32_t piece = std::max<uint32_t>(1, (1u << 20) / frameBytes);
    std::vector<uint8_t> raw, kept;
    try {
        raw.resize(size_t(piece) * frameBytes);
        kept.resize(size_t(piece) * keep * width);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return 0;
    }
    if (!file.Seek(wave.sourceOffset)) {
        SetLastError("Reading from file failed");
        return 0;
    }
    for (uint32_t done = 0; done < wave.frames;) {
        uint32_t count = std::min(piece, wave.frames - done);
        if (!file.Read(raw.data(), size_t(count) * frameBytes)) {
            SetLastError("Reading from file failed");
            return 0;
        }
        uint8_t* to = kept.data();
        for (uint32_t i = 0; i < count; ++i) {
            const uint8_t* from = raw.data() + size_t(i) * frameBytes;
            std::memcpy(to, from, size_t(keep) * width);
            if (layout.maskBits)
                for (uint32_t c = 0; c < keep; ++c) {
                    // Little-endian: the low bits are in the first bytes.
                    uint8_t* s = to + c * width;
                    uint32_t bits = layout.maskBits;
                    for (uint32_t b = 0; bits > 0 && b < width; ++b) {
                        uint32_t clear = std::min<uint32_t>(bits, 8);
                        s[b] &= uint8_t(0xFF << clear);
                        bits -= clear;
                    }
                }
            to += size_t(keep) * width;
        }
        DecodeToFloat(kept.data(), size_t(count) * keep, layout.coding, layout.flags,
                      out + size_t(done) * keep);
        done += count;
    }
    return 1;
}

namespace wav {

int Wave64Decode(Waveform& wave, FileObject& file, bool showProgress) {
    return WaveDecode(wave, file, showProgress);
}

bool ParseSmpl(const uint8_t* body, size_t n, Smpl& s) {
    s = Smpl{};
    if (n < 36) return false;
    s.present = true;
    s.manufacturer = Le32(body);
    s.product = Le32(body + 4);
    s.unityNote = Le32(body + 12);
    s.pitchFraction = Le32(body + 16);
    uint32_t declared = Le32(body + 28);
    uint32_t samplerBytes = Le32(body + 32);
    size_t fit = (n - 36) / 24;
    // Real samplers store a handful of loops; the bound keeps a hostile
    // count from turning into minutes of marker naming.
    constexpr size_t kMaxLoops = 256;
    size_t count = std::min<size_t>(declared, fit);
    for (size_t i = 0; i < std::min(count, kMaxLoops); ++i) {
        const uint8_t* p = body + 36 + 24 * i;
        s.loops.push_back({Le32(p), Le32(p + 4), Le32(p + 8), Le32(p + 12), Le32(p + 16), Le32(p + 20)});
    }
    size_t at = 36 + 24 * count;
    const uint8_t* data = body + at;
    size_t left = n - at;
    if (left >= 28 && std::memcmp(data, "CWDT", 4) == 0) {
        s.cwdt = true;
        s.cwdtStartOffset = int8_t(data[4]);
    } else if ((s.manufacturer & 0xFFFFFF) == 71 && s.product == 94 && samplerBytes == 18 && left >= 18) {
        // The 18-byte block of this sampler; a block that starts with 'loop'
        // is followed, six bytes on, by the real one.
        if (std::memcmp(data, "loop", 4) == 0) {
            if (left < 18 + 6 + 18) return true;
            data += 18 + 6;
        }
        if (data[0] <= 2 && data[1] == 0) {
            s.hasBlock18 = true;
            std::memcpy(s.block18, data, 18);
        }
    }
    return true;
}

void ApplySmplTuning(Waveform& wave, const Smpl& s) {
    uint32_t root = s.unityNote & 0xFF;
    if (root < 128) {
        // A big-endian writer leaves the note in the top byte.
        if (root == 0) {
            uint32_t swapped = __builtin_bswap32(s.unityNote);
            if (swapped >= 1 && swapped <= 127) root = swapped;
        }
        wave.rootKey = uint8_t(root);
    }
    double cents = std::round(double(s.pitchFraction) * 2.3283064365386963e-8);
    wave.fineTune = int8_t(-std::min(cents, 100.0));
}

void ApplySmplLoops(Waveform& wave, const Smpl& s, const std::vector<std::u16string>& names) {
    uint32_t firstId = 0;
    for (size_t i = 0; i < s.loops.size(); ++i) {
        const SmplLoop& loop = s.loops[i];
        uint32_t end;
        uint8_t endHundredths;
        ExclusiveEnd(loop.end, loop.fraction, s.cwdt, end, endHundredths);
        uint32_t start = loop.start;
        uint8_t startHundredths = 0;
        if (s.cwdt && i == 0 && s.cwdtStartOffset != 0) {
            int offset = s.cwdtStartOffset;
            if (offset < 0 && start > 0) {
                --start;
                offset += 100;
            }
            startHundredths = uint8_t(std::clamp(offset, 0, 99));
        }
        const std::u16string* name = i < names.size() && !names[i].empty() ? &names[i] : nullptr;
        uint32_t id =
            AddExactLoop(wave, LoopTypeOfSmpl(loop.type), uint8_t(std::min<uint32_t>(loop.playCount, 255)),
                         start, startHundredths, end, endHundredths, name ? name->c_str() : nullptr, i == 0);
        if (i == 0) firstId = id;
        if (i == 1 && name && *name == u"Release Loop" && !s.hasBlock18)
            if (LoopRecord* first = wave.findMarker(firstId)) first->flags |= kLoopHasRelease;
    }
    if (!s.hasBlock18) return;
    const uint8_t* b = s.block18;
    wave.rootKey = uint8_t(std::clamp(int(b[2]) - int(b[3]), 0, 127));
    wave.fineTune = int8_t(std::clamp<int>(int8_t(b[4]), -100, 100));
    if (LoopRecord* main = wave.mainLoop()) switch (b[6]) {
        case 0:
            main->loopType = 0;
            break;
        case 1:
            main->loopType = 0;
            main->flags |= kLoopHold;
            break;
        case 2:
            main->loopType = 1;
            break;
        case 3:
            main->loopType = 1;
            main->flags |= kLoopOneShot;
            break;
        default:
            break;
        }
    uint32_t playStart = Le32(b + 10), playEnd = Le32(b + 14);
    if (playEnd > playStart && playEnd < wave.frames)
        wave.addSection(playStart, playEnd, u"Play", true);
    else if (playEnd >= wave.frames && playStart != 0)
        wave.addMarker(playStart, u"Start");
}

std::vector<uint32_t> LoopsForSmpl(const Waveform& wave, uint32_t* skipped) {
    std::vector<uint32_t> ids;
    if (skipped) *skipped = 0;
    const LoopRecord* lone = nullptr;
    int loops = 0;
    for (const LoopRecord& m : wave.markers)
        if (m.kind == kMarkerLoop) {
            ++loops;
            lone = &m;
        }
    if (GlobalSettings().fmt.wav.bNoLoopOff && loops == 1 &&
        (lone->loopType == 0 || lone->markerId != wave.mainLoopId)) {
        if (skipped) *skipped = lone->markerId;
        return ids;
    }
    const LoopRecord* main = wave.mainLoop();
    if (!main || main->kind != kMarkerLoop) return ids;
    ids.push_back(main->markerId);
    if (main->flags & kLoopHasRelease)
        for (const LoopRecord& m : wave.markers)
            if (m.kind == kMarkerLoop && m.markerId != main->markerId && m.name == u"Release Loop") {
                ids.push_back(m.markerId);
                break;
            }
    return ids;
}

namespace {

void AppendSmplHead(std::vector<uint8_t>& out, const Waveform& wave, uint32_t loops, uint32_t samplerBytes) {
    int note = wave.rootKey, tune = wave.fineTune;
    if (tune > 0) {
        if (note > 0) {
            --note;
            tune -= 100;
        } else {
            tune = 0;
        }
    }
    double fraction = -tune * 42949672.96 + 0.5;
    uint32_t rate = wave.sampleRate ? wave.sampleRate : 44100;
    Append32(out, 0); // manufacturer
    Append32(out, 0); // product
    Append32(out, uint32_t(std::lround(1e9 / rate)));
    Append32(out, uint32_t(note));
    Append32(out, fraction >= 4294967295.0 ? 0xFFFFFFFFu : uint32_t(fraction));
    Append32(out, 0); // SMPTE format
    Append32(out, 0); // SMPTE offset
    Append32(out, loops);
    Append32(out, samplerBytes);
}

} // namespace

std::vector<uint8_t> BuildSmpl(const Waveform& wave, const std::vector<uint32_t>& loopIds,
                               const std::vector<uint32_t>& cueIds) {
    std::vector<uint8_t> out;
    AppendSmplHead(out, wave, uint32_t(loopIds.size()), 0);
    for (size_t i = 0; i < loopIds.size(); ++i) {
        const LoopRecord* m = wave.findMarker(loopIds[i]);
        double start = PositionOf(m->start, m->startFraction);
        // A record not yet cleaned may end ahead of its start: no length.
        double length = std::max(0.0, PositionOf(m->end, m->endFraction) - start);
        int64_t s = int64_t(start + 0.5);
        int64_t e = int64_t(length + 0.5) + s - 1;
        double fraction = length - double(e - s + 1);
        if (fraction < 0) {
            fraction += 1.0;
            --e;
        }
        uint64_t f = uint64_t(fraction * 4294967296.0);
        Append32(out, i < cueIds.size() ? cueIds[i] : uint32_t(i));
        Append32(out, SmplTypeOfLoop(m->loopType));
        Append32(out, uint32_t(s));
        Append32(out, uint32_t(std::max<int64_t>(e, 0)));
        Append32(out, uint32_t(std::min<uint64_t>(f, 0xFFFFFFFFu)));
        Append32(out, m->loopCount);
    }
    return out;
}

std::vector<uint8_t> BuildSmplCwdt(const Waveform& wave) {
    std::vector<uint8_t> out;
    AppendSmplHead(out, wave, 1, 28);
    const LoopRecord* m = wave.mainLoop();
    bool off = !m || m->kind != kMarkerLoop || m->loopType == 0;
    uint32_t start = m ? m->start : 0, end = m ? m->end : wave.frames;
    uint8_t startHundredths = m ? m->startFraction : 0, endHundredths = m ? m->endFraction : 0;
    Append32(out, 1); // cue id
    Append32(out, off ? 255 : SmplTypeOfLoop(m->loopType));
    Append32(out, start);
    Append32(out, end); // exclusive: CWDT says so
    Append32(out, uint32_t(uint64_t(endHundredths) * 4294967296ull / 100));
    Append32(out, m ? m->loopCount : 0);
    out.insert(out.end(), {'C', 'W', 'D', 'T'});
    out.push_back(uint8_t(int8_t(std::min<int>(startHundredths, 50))));
    Append16(out, 55835);
    out.push_back(8);
    Append32(out, off ? 2 : (m->flags & kLoopOneShot ? 1 : 0));
    Append32(out, 0);
    Append32(out, wave.frames);
    Append32(out, 0);
    Append32(out, wave.rootKey);
    return out;
}

uint16_t TagOfCoding(int coding) {
    switch (coding) {
    case kPcm8:
    case kPcm16:
    case kPcm24:
    case kPcm32:
        return kTagPcm;
    case kFloat32:
        return kTagFloat;
    case kMuLaw:
        return kTagMuLaw;
    case kALaw:
        return kTagALaw;
    default:
        return 0;
    }
}

std::vector<uint8_t> BuildFormat(int coding, int channels, uint32_t sampleRate, bool extensible) {
    std::vector<uint8_t> out;
    uint16_t tag = TagOfCoding(coding);
    if (!tag) return out;
    int width = EncodedWidth(coding);
    uint16_t blockAlign = uint16_t(width * channels);
    Append16(out, extensible ? uint16_t(kTagExtensible) : tag);
    Append16(out, uint16_t(channels));
    Append32(out, sampleRate);
    Append32(out, sampleRate * blockAlign);
    Append16(out, blockAlign);
    Append16(out, uint16_t(width * 8));
    if (extensible) {
        Append16(out, 22);
        Append16(out, uint16_t(width * 8));   // valid bits
        Append32(out, channels == 1 ? 4 : 3); // front centre, or front left and right
        Append16(out, tag);
        out.insert(out.end(), std::begin(kGuidTail), std::end(kGuidTail));
    } else if (tag == kTagMuLaw || tag == kTagALaw) {
        Append16(out, 0); // no extension
    }
    return out;
}

} // namespace wav
} // namespace vaxel
