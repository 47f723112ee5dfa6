// vaxel info: opens a file and shows what was read: the collection tree and,
// for every wave, its properties, loops, markers and info texts.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "cli/cli.h"
#include "cli/terminal_status.h"
#include "fileio/format_table.h"
#include "fileio/midi_events.h"
#include "fileio/open_save.h"
#include "fileio/sample_coding.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/song.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel::cli {

namespace {

const char* const kLoopTypes[] = {"off", "forward", "reverse", "alternating"};
const char* const kNoteNames[] = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
const char* const kInfoLabels[] = {"Name",     "Artist",  "Comments", "Copyright",
                                   "Engineer", "Product", "Source"};

std::string Utf8(const char16_t* text) {
    return WideToUtf8(text ? std::u16string_view(text) : u"");
}

std::string NoteName(int key) {
    return std::string(kNoteNames[key % 12]) + std::to_string(key / 12 - 1);
}

std::string CodingText(uint32_t word) {
    const int coding = CodingOfWord(word);
    if (coding < 0) return "unknown";
    std::string text = Utf8(DataCodingName(coding));
    if (word & kCodingUnsigned) text += ", unsigned";
    if (word & kCodingSwapped) text += ", big-endian";
    if (word & kCodingSplitStereo) text += ", split channels";
    return text;
}

// A position with its hundredths, as "1234" or "1234.50".
std::string Position(uint32_t frame, uint8_t fraction) {
    char buffer[32];
    if (fraction)
        std::snprintf(buffer, sizeof buffer, "%u.%02u", frame, unsigned(fraction));
    else
        std::snprintf(buffer, sizeof buffer, "%u", frame);
    return buffer;
}

std::string Number(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g", value);
    return buffer;
}

// ---------------------------------------------------------------- songs

// The MIDI channels of a track, 1-16, as "1, 2, 10".
std::string ChannelList(uint16_t mask) {
    std::string s;
    for (int ch = 0; ch < 16; ++ch)
        if (mask & (1u << ch)) s += (s.empty() ? "" : ", ") + std::to_string(ch + 1);
    return s;
}

std::string DivisionText(uint16_t division) {
    if (!(division & 0x8000)) return std::to_string(division) + " ticks per quarter";
    return std::to_string(-int(int8_t(uint8_t(division >> 8)))) + " fps, " + std::to_string(division & 0xFF) +
           " ticks per frame";
}

double FirstTempoBpm(const Song& song) {
    return 60e6 / TempoMap(song).firstTempo();
}

// ---------------------------------------------------------------- instruments

// The root key a Region plays at: its override, else its wave's, else 60.
int RegionRoot(const Region& r) {
    if (r.rootOverride >= 0) return r.rootOverride;
    const Waveform* w = r.waveform();
    return w ? w->rootKey : 60;
}

void PrintInstrumentPart(const CollectionItem& item, const std::string& indent) {
    if (item.type() == ItemType::Instrument) {
        const auto& inst = static_cast<const Instrument&>(item);
        std::printf("%sBank: %u (CC 0), %u (CC 32), program: %u%s\n", indent.c_str(), inst.majorBank(),
                    inst.minorBank(), inst.program(), inst.isDrumKit() ? ", drum kit" : "");
        return;
    }
    const TriggerBlock* t = nullptr;
    if (item.type() == ItemType::Layer) t = &static_cast<const Layer&>(item).trigger;
    if (item.type() == ItemType::Region) t = &static_cast<const Region&>(item).trigger;
    if (!t) return;
    std::printf("%sKeys: %u-%u (%s-%s), velocities: %u-%u", indent.c_str(), unsigned(t->keyLow),
                unsigned(t->keyHigh), NoteName(t->keyLow).c_str(), NoteName(t->keyHigh).c_str(),
                unsigned(t->velocityLow), unsigned(t->velocityHigh));
    if (item.type() == ItemType::Region) {
        const auto& r = static_cast<const Region&>(item);
        const int root = RegionRoot(r);
        std::printf(", root key: %d (%s)%s", root, NoteName(root).c_str(),
                    r.rootOverride >= 0 ? " (override)" : "");
        const LoopInfo loop = getLoop(r);
        if (loop.loopType && r.waveform())
            std::printf(", loop: %s %s to %s", kLoopTypes[loop.loopType & 3], Number(loop.start).c_str(),
                        Number(loop.end).c_str());
        else
            std::printf(", no loop");
    }
    std::printf("\n");
}

std::string InstrumentPartJson(const CollectionItem& item) {
    std::string s;
    if (item.type() == ItemType::Instrument) {
        const auto& inst = static_cast<const Instrument&>(item);
        s += ", \"bank\": " + std::to_string(inst.majorBank());
        s += ", \"bankLsb\": " + std::to_string(inst.minorBank());
        s += ", \"program\": " + std::to_string(inst.program());
        s += std::string(", \"drum\": ") + (inst.isDrumKit() ? "true" : "false");
        return s;
    }
    const TriggerBlock* t = nullptr;
    if (item.type() == ItemType::Layer) t = &static_cast<const Layer&>(item).trigger;
    if (item.type() == ItemType::Region) t = &static_cast<const Region&>(item).trigger;
    if (!t) return s;
    s += ", \"keyLow\": " + std::to_string(t->keyLow) + ", \"keyHigh\": " + std::to_string(t->keyHigh);
    s += ", \"velocityLow\": " + std::to_string(t->velocityLow);
    s += ", \"velocityHigh\": " + std::to_string(t->velocityHigh);
    if (item.type() == ItemType::Region) {
        const auto& r = static_cast<const Region&>(item);
        s += ", \"rootKey\": " + std::to_string(RegionRoot(r));
        s += ", \"rootOverride\": " + std::to_string(r.rootOverride);
        const LoopInfo loop = getLoop(r);
        if (loop.loopType && r.waveform())
            s += ", \"loop\": {\"loopType\": \"" + std::string(kLoopTypes[loop.loopType & 3]) +
                 "\", \"start\": " + Number(loop.start) + ", \"end\": " + Number(loop.end) + "}";
        else
            s += ", \"loop\": null";
    }
    return s;
}

// ---------------------------------------------------------------- text

void PrintWaveText(const Waveform& w, const std::string& indent) {
    const double seconds = w.sampleRate ? double(w.frames) / w.sampleRate : 0.0;
    std::printf("%sRate: %u Hz, channels: %u, frames: %u (%.3f s)\n", indent.c_str(), w.sampleRate,
                unsigned(w.channels), w.frames, seconds);
    std::printf("%sCoding: %s, %u bits; saves as: %s\n", indent.c_str(), CodingText(w.dataCodingWord).c_str(),
                unsigned(w.bitsPerSample), Utf8(SampleCodingName(w.preferredCoding)).c_str());
    std::printf("%sRoot key: %u (%s), fine tune: %d cents, gain: %s dB\n", indent.c_str(),
                unsigned(w.rootKey), NoteName(w.rootKey).c_str(), int(w.fineTune), Number(w.gain).c_str());
    if (const SampleBlock* block = w.samples()) {
        // Shown when the samples were read (--decode).
        float peak = 0.0f;
        const size_t n = size_t(w.frames) * block->channels;
        for (size_t i = 0; i < n; ++i) peak = std::max(peak, std::fabs(block->data[i]));
        if (peak > 0.0f)
            std::printf("%sPeak: %.2f dB\n", indent.c_str(), 20.0 * std::log10(double(peak)));
        else
            std::printf("%sPeak: silent\n", indent.c_str());
    }
    for (const LoopRecord& m : w.markers) {
        const std::string name = WideToUtf8(m.name);
        if (m.kind == kMarkerLoop) {
            std::printf("%sLoop \"%s\"%s: %s, %s to %s", indent.c_str(), name.c_str(),
                        m.markerId == w.mainLoopId ? " (main)" : "", kLoopTypes[m.loopType & 3],
                        Position(m.start, m.startFraction).c_str(), Position(m.end, m.endFraction).c_str());
            if (m.loopCount) std::printf(", %u times", unsigned(m.loopCount));
            if (m.pitch) std::printf(", pitch %+d cents", int(m.pitch));
            if (m.flags & kLoopHasRelease) std::printf(", release loop follows");
            if (m.flags & kLoopOneShot) std::printf(", one-shot");
            if (m.flags & kLoopHold) std::printf(", hold");
            std::printf("\n");
        } else if (m.kind == kMarkerSection) {
            std::printf("%sSection \"%s\": %s to %s\n", indent.c_str(), name.c_str(),
                        Position(m.start, m.startFraction).c_str(), Position(m.end, m.endFraction).c_str());
        } else {
            std::printf("%sMarker \"%s\": %s\n", indent.c_str(), name.c_str(),
                        Position(m.start, m.startFraction).c_str());
        }
    }
}

void PrintInfoTexts(const InfoItem& item, const std::string& indent) {
    for (int f = kInfoArtist; f < kInfoSourceFile; ++f) {
        const char16_t* text = item.text(f);
        if (text && *text)
            std::printf("%s%s: %s\n", indent.c_str(), kInfoLabels[f - kInfoName], Utf8(text).c_str());
    }
    if (item.hasImage()) {
        const char* mime = imageMimeType(item.image().data(), item.image().size());
        std::printf("%sImage: %zu bytes%s%s\n", indent.c_str(), item.image().size(), mime ? ", " : "",
                    mime ? mime : "");
    }
}

void PrintItemText(const Collection& c, const CollectionItem& item, int depth) {
    const std::string indent(size_t(depth) * 2, ' ');
    std::printf("%s%s %u \"%s\"\n", indent.c_str(), Utf8(TypeText(item.type())).c_str(), SerialOf(item.id),
                Utf8(item.name()).c_str());
    const std::string inner = indent + "  ";
    if (item.type() == ItemType::Waveform) PrintWaveText(static_cast<const Waveform&>(item), inner);
    if (item.type() == ItemType::Song) {
        const auto& song = static_cast<const Song&>(item);
        std::printf("%sFormat: %u, division: %s, tempo: %s BPM, length: %.3f s\n", inner.c_str(),
                    unsigned(song.format), DivisionText(song.division).c_str(),
                    Number(FirstTempoBpm(song)).c_str(), SongLengthSeconds(song));
    }
    if (item.type() == ItemType::Track) {
        const auto& track = static_cast<const Track&>(item);
        std::printf("%sPort: %u, events: %u, channels: %s\n", inner.c_str(), unsigned(track.port),
                    track.eventCount,
                    TrackChannels(track) ? ChannelList(TrackChannels(track)).c_str() : "none");
    }
    PrintInstrumentPart(item, inner);
    if (auto* info = dynamic_cast<const InfoItem*>(&item)) PrintInfoTexts(*info, inner);
    if (item.type() == ItemType::Region) return; // its wave is listed at the top level
    for (ItemId child : item.ids)
        if (const CollectionItem* it = c.find(child)) PrintItemText(c, *it, depth + 1);
}

// ---------------------------------------------------------------- JSON

std::string Json(const char16_t* text) {
    return JsonString(Utf8(text));
}

std::string WaveJson(const Waveform& w) {
    std::string s;
    s += "\"sampleRate\": " + std::to_string(w.sampleRate);
    s += ", \"channels\": " + std::to_string(w.channels);
    s += ", \"frames\": " + std::to_string(w.frames);
    s += ", \"bitsPerSample\": " + std::to_string(w.bitsPerSample);
    s += ", \"coding\": " + JsonString(CodingText(w.dataCodingWord));
    s += ", \"preferredCoding\": " + Json(SampleCodingName(w.preferredCoding));
    s += ", \"rootKey\": " + std::to_string(w.rootKey);
    s += ", \"fineTune\": " + std::to_string(w.fineTune);
    s += ", \"gain\": " + Number(w.gain);
    s += ", \"markers\": [";
    bool first = true;
    for (const LoopRecord& m : w.markers) {
        s += first ? "" : ", ";
        first = false;
        static const char* const kKinds[] = {"marker", "section", "loop"};
        s += "{\"kind\": \"" + std::string(kKinds[m.kind < 3 ? m.kind : 0]) + "\"";
        s += ", \"name\": " + JsonString(WideToUtf8(m.name));
        s += ", \"start\": " + Number(m.start + 0.01 * m.startFraction);
        if (m.kind != kMarkerPosition) s += ", \"end\": " + Number(m.end + 0.01 * m.endFraction);
        if (m.kind == kMarkerLoop) {
            s += ", \"loopType\": \"" + std::string(kLoopTypes[m.loopType & 3]) + "\"";
            s += ", \"loopCount\": " + std::to_string(m.loopCount);
            s += ", \"pitch\": " + std::to_string(m.pitch);
            s += std::string(", \"main\": ") + (m.markerId == w.mainLoopId ? "true" : "false");
            s += ", \"flags\": " + std::to_string(m.flags);
        }
        s += "}";
    }
    s += "]";
    return s;
}

std::string ItemJson(const Collection& c, const CollectionItem& item) {
    std::string s = "{\"type\": " + Json(TypeText(item.type()));
    s += ", \"id\": " + std::to_string(SerialOf(item.id));
    s += ", \"name\": " + Json(item.name());
    if (item.type() == ItemType::Waveform) s += ", " + WaveJson(static_cast<const Waveform&>(item));
    if (item.type() == ItemType::Song) {
        const auto& song = static_cast<const Song&>(item);
        s += ", \"format\": " + std::to_string(song.format);
        s += ", \"division\": " + std::to_string(song.division);
        s += ", \"tempo\": " + Number(FirstTempoBpm(song));
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.6f", SongLengthSeconds(song));
        s += std::string(", \"seconds\": ") + seconds;
    }
    if (item.type() == ItemType::Track) {
        const auto& track = static_cast<const Track&>(item);
        s += ", \"port\": " + std::to_string(track.port);
        s += ", \"events\": " + std::to_string(track.eventCount);
        s += ", \"channels\": [";
        const uint16_t mask = TrackChannels(track);
        bool firstChannel = true;
        for (int ch = 0; ch < 16; ++ch) {
            if (!(mask & (1u << ch))) continue;
            s += (firstChannel ? "" : ", ") + std::to_string(ch + 1);
            firstChannel = false;
        }
        s += "]";
    }
    s += InstrumentPartJson(item);
    if (auto* info = dynamic_cast<const InfoItem*>(&item)) {
        s += ", \"info\": {";
        bool first = true;
        for (int f = kInfoArtist; f < kInfoSourceFile; ++f) {
            const char16_t* text = info->text(f);
            if (!text || !*text) continue;
            s += first ? "" : ", ";
            first = false;
            s += JsonString(kInfoLabels[f - kInfoName]) + ": " + Json(text);
        }
        s += "}";
        if (info->hasImage()) s += ", \"imageBytes\": " + std::to_string(info->image().size());
    }
    if (item.type() == ItemType::Region) {
        if (const Waveform* w = static_cast<const Region&>(item).waveform())
            s += ", \"waveform\": " + std::to_string(SerialOf(w->id));
    } else if (!item.ids.empty()) {
        s += ", \"children\": [";
        bool first = true;
        for (ItemId child : item.ids) {
            const CollectionItem* it = c.find(child);
            if (!it) continue;
            s += first ? "" : ", ";
            first = false;
            s += ItemJson(c, *it);
        }
        s += "]";
    }
    return s + "}";
}

template <class F> void ForTopLevel(const Collection& c, F&& f) {
    for (ItemType t : {ItemType::Instrument, ItemType::Song, ItemType::Waveform})
        for (CollectionItem* item = c.first(t); item; item = c.next(item, t))
            if (item->parentId == kNoItem || !c.find(item->parentId)) f(*item);
}

} // namespace

int Info(const Args& args) {
    bool json = false, decode = false;
    Args files;
    for (const std::string& a : args) {
        if (a == "--json")
            json = true;
        else if (a == "--decode")
            decode = true;
        else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "vaxel info: unknown option '%s'\n", a.c_str());
            return kExitUsage;
        } else
            files.push_back(a);
    }
    if (files.empty()) {
        std::fprintf(stderr, "vaxel info: no file given\n");
        return kExitUsage;
    }
    StatusScope status;
    int exitCode = kExitOk;
    bool firstJson = true;
    if (json) std::printf("[");
    for (const std::string& name : files) {
        Collection collection;
        if (!openFile(collection, name, true)) {
            std::fprintf(stderr, "vaxel: %s: %s\n", name.c_str(), LastErrorUtf8().c_str());
            exitCode = kExitFailed;
            continue;
        }
        // Every wave's samples read and decoded: a check that they all
        // decode, and their peaks.
        if (decode && !ensureSamples(&collection)) {
            std::fprintf(stderr, "vaxel: %s: %s\n", name.c_str(), LastErrorUtf8().c_str());
            exitCode = kExitFailed;
            continue;
        }
        const int row = collection.sourceFormat;
        if (json) {
            std::printf("%s\n{\"file\": %s, \"row\": %d, \"extension\": %s, \"format\": %s, \"name\": %s, "
                        "\"items\": [",
                        firstJson ? "" : ",", JsonString(name).c_str(), row,
                        JsonString(WideToUtf8(extensionOf(row))).c_str(),
                        JsonString(WideToUtf8(descriptionOf(row))).c_str(), Json(collection.name()).c_str());
            firstJson = false;
            bool first = true;
            ForTopLevel(collection, [&](const CollectionItem& item) {
                std::printf("%s%s", first ? "" : ", ", ItemJson(collection, item).c_str());
                first = false;
            });
            std::printf("]}");
        } else {
            std::printf("%s: %s (%s, row %d)\n", name.c_str(), WideToUtf8(descriptionOf(row)).c_str(),
                        WideToUtf8(extensionOf(row)).c_str(), row);
            std::printf("collection \"%s\"\n", Utf8(collection.name()).c_str());
            PrintInfoTexts(collection, "  ");
            ForTopLevel(collection, [&](const CollectionItem& item) { PrintItemText(collection, item, 1); });
        }
    }
    if (json) std::printf("%s]\n", firstJson ? "" : "\n");
    return exitCode;
}

} // namespace vaxel::cli
