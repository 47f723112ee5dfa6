// The wave tools on channel layout, frame order, loops and markers: stereo
// to mono and back, swap, invert, reverse, Enable/disable loops and the two
// conversions between loop and section markers.
#include <algorithm>
#include <cmath>

#include "model/collection.h"
#include "model/last_error.h"
#include "model/waveform.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"
#include "tools/wave_ops.h"
#include "tools/wave_tools.h"

namespace vaxel {

namespace {

void Count(ToolSession& session, OpResult r) {
    if (r == kOpFailed)
        session.reportError();
    else if (r == kOpChanged)
        session.modified();
}

ToolOption Choice(const char* key, const char16_t* label, std::vector<const char16_t*> rows, int preset) {
    ToolOption o;
    o.key = key;
    o.type = OptionType::Choice;
    o.label = label;
    o.choices = std::move(rows);
    o.defaultValue = preset;
    return o;
}

// -------------------------------------------------- stereo to mono

// The rows of the drop-down and the ToMono mode each stands for.
constexpr int kMonoModes[] = {0, 4, 1, 2, 3};

// Negates the right channel when the two channels are closer to opposite
// than to equal, so that averaging does not cancel them.
OpResult FixPhaseInversion(Waveform& wave) {
    if (wave.channels != 2 || wave.frames == 0) return kOpUnchanged;
    ClearLastError();
    if (!wave.lockSamples()) {
        if (!*LastError()) SetLastError("Out of memory");
        return kOpFailed;
    }
    const SampleBlock* block = wave.samples();
    if (!block || block->channels != 2) return kOpUnchanged;
    float apart = 0.0f, together = 0.0f;
    const float* p = block->data;
    for (uint32_t i = 0; i < block->frames; ++i, p += 2) {
        apart += std::fabs(p[0] - p[1]);
        together += std::fabs(p[0] + p[1]);
    }
    if (!(together < apart)) return kOpUnchanged;
    bool empty;
    float* q = WritableSamples(wave, empty);
    if (!q) return empty ? kOpUnchanged : kOpFailed;
    for (uint32_t i = 0; i < wave.samples()->frames; ++i) q[2 * i + 1] = -q[2 * i + 1];
    return kOpChanged;
}

void ExecuteToMono(ToolSession& session, const ToolValues& values) {
    const int row = std::clamp(values.integer("algorithm"), 0, 4);
    const int mode = kMonoModes[row];
    const bool fixPhase = mode == 0 && values.check("fix-phase");
    // Splitting adds waves, which a preview could not take back: the page
    // offers no preview for it.
    if (mode == 3 && session.preview) return;
    bool splitAny = false;
    for (Waveform* wave : session.waves()) {
        if (wave->channels != 2) continue;
        if (mode == 3 && !splitAny) {
            // A wave is added: a state of the selected items could not take
            // it away again.
            session.takeWholeCollectionState();
            splitAny = true;
        }
        if (fixPhase && FixPhaseInversion(*wave) == kOpFailed) {
            session.reportError();
            continue;
        }
        Count(session, ToMono(*wave, mode));
    }
    if (splitAny) session.requestTreeRebuild();
}

const ToolSpec& ToMonoTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        // The label reads "stereo" on this tool too; that is its text.
        s.options.push_back(
            Choice("algorithm", u"Convert to stereo:",
                   {u"Average of the stereo channels", u"Only convert if left/right chs are identical",
                    u"Keep left channel only", u"Keep right channel only", u"Split into two mono waveforms"},
                   0));
        ToolOption fix;
        fix.key = "fix-phase";
        fix.type = OptionType::Check;
        fix.label = u"Auto-detect and fix phase inversion";
        fix.shown = [](const ToolSession&, const ToolValues& v) { return v.integer("algorithm") == 0; };
        s.options.push_back(fix);
        s.execute = ExecuteToMono;
        return s;
    }();
    return spec;
}

// -------------------------------------------------- mono to stereo

constexpr int kStereoModes[] = {0, 3, 4};

int MonoWaveCount(const Collection& c) {
    int n = 0;
    for (Waveform* w : ItemsOf<Waveform>(c))
        if (w->channels == 1) ++n;
    return n;
}

void ExecuteToStereo(ToolSession& session, const ToolValues& values) {
    int mode = kStereoModes[std::clamp(values.integer("algorithm"), 0, 2)];
    if (session.collection().count(ItemType::Waveform) <= 1) mode = 0;
    const std::u16string& secondName = values.text("second");
    for (Waveform* wave : session.waves()) {
        if (wave->channels != 1) continue;
        Waveform* second = nullptr;
        if (mode >= 3) {
            // The second wave by name; an empty name is the selected wave
            // itself, as the drop-down is preset.
            second = wave;
            if (!secondName.empty()) {
                second = nullptr;
                for (Waveform* w : ItemsOf<Waveform>(session.collection()))
                    if (w->channels == 1 && secondName == w->name()) {
                        second = w;
                        break;
                    }
            }
        }
        Count(session, ToStereo(*wave, mode, second, true));
    }
}

const ToolSpec& ToStereoTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(
            Choice("algorithm", u"Convert to stereo:",
                   {u"Duplicate the mono channel", u"Use the current waveform as the Left channel",
                    u"Use the current waveform as the Right channel"},
                   0));
        ToolOption second;
        second.key = "second";
        second.type = OptionType::Text;
        second.label = u"Second channel wave:";
        second.shown = [](const ToolSession& session, const ToolValues& v) {
            return v.integer("algorithm") != 0 && MonoWaveCount(session.collection()) > 0;
        };
        s.options.push_back(second);
        s.execute = ExecuteToStereo;
        return s;
    }();
    return spec;
}

// ------------------------------------------- swap, invert, reverse

void ExecuteSwap(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) Count(session, SwapChannels(*wave));
}

template <OpResult (*Op)(Waveform&, const FrameRange*)>
void ExecuteOnSection(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) {
        FrameRange range;
        if (!session.sectionOf(*wave, range.start, range.end)) continue;
        Count(session, Op(*wave, session.sectionEnabled ? &range : nullptr));
    }
}

ToolSpec Plain(void (*execute)(ToolSession&, const ToolValues&)) {
    ToolSpec s;
    s.execute = execute;
    return s;
}

const ToolSpec& SwapTool() {
    static const ToolSpec spec = Plain(ExecuteSwap);
    return spec;
}

const ToolSpec& InvertTool() {
    static const ToolSpec spec = Plain(ExecuteOnSection<InvertRange>);
    return spec;
}

const ToolSpec& ReverseTool() {
    static const ToolSpec spec = Plain(ExecuteOnSection<ReverseRange>);
    return spec;
}

// ------------------------------------------------------ loops

enum LoopChange { kDisableLoops = 0, kEnableAlways = 1, kEnableIfUnlooped = 3 };
constexpr int kLoopModes[] = {kDisableLoops, kEnableIfUnlooped, kEnableAlways};

bool MainLoopEnabled(const Waveform& wave) {
    const LoopRecord* loop = wave.mainLoop();
    return loop && loop->kind == kMarkerLoop && loop->loopType != 0;
}

void ExecuteLoops(ToolSession& session, const ToolValues& values) {
    const int mode = kLoopModes[std::clamp(values.integer("change"), 0, 2)];
    for (Waveform* wave : session.waves()) {
        if (mode == kDisableLoops) {
            LoopRecord* loop = wave->mainLoop();
            if (!loop || loop->loopType == 0) continue;
            loop->loopType = 0;
            session.modified();
            continue;
        }
        if (mode == kEnableIfUnlooped && MainLoopEnabled(*wave)) continue;
        LoopInfo whole;
        whole.loopType = 1;
        whole.start = 0.0f;
        whole.end = float(wave->frames);
        if (wave->addLoop(whole, nullptr, true, false) != 0) session.modified();
    }
}

const ToolSpec& LoopsTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(
            Choice("change", u"Change loops by:",
                   {u"Disable all loops", u"Enable loop over the whole waveform if not already looped",
                    u"Enable loop over the whole waveform regardless of previous state"},
                   1));
        s.execute = ExecuteLoops;
        return s;
    }();
    return spec;
}

void ExecuteLoopsToSections(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) {
        bool changed = false;
        for (LoopRecord& m : wave->markers)
            if (m.kind == kMarkerLoop) {
                m.kind = kMarkerSection;
                changed = true;
            }
        if (!changed) continue;
        wave->mainLoopId = 0;
        session.modified();
    }
}

const ToolSpec& LoopsToSectionsTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description = u"Converts loop markers to section markers.";
        s.execute = ExecuteLoopsToSections;
        return s;
    }();
    return spec;
}

void ExecuteSectionsToLoops(ToolSession& session, const ToolValues& values) {
    const std::u16string& first = values.text("marker");
    const std::u16string& endName = values.text("end-marker");
    if (first.empty()) return;
    for (Waveform* wave : session.waves()) {
        LoopRecord* record = wave->findMarkerByName(first, kMarkerPosition);
        if (!record) record = wave->findMarkerByName(first, kMarkerSection);
        if (!record) continue;
        const uint32_t id = record->markerId;
        uint32_t endId = 0, endFrame = 0;
        uint8_t endFraction = 0;
        if (record->kind == kMarkerPosition) {
            // The loop ends at a later marker of the second name.
            for (const LoopRecord& m : wave->markers)
                if (m.kind == kMarkerPosition && m.name == endName && m.start > record->start) {
                    endId = m.markerId;
                    endFrame = m.start;
                    endFraction = m.startFraction;
                    break;
                }
            if (!endId) continue;
        }
        record->kind = kMarkerLoop;
        if (record->loopType == 0) record->loopType = 1;
        if (endId) {
            record->end = endFrame;
            record->endFraction = endFraction;
            wave->removeMarker(endId); // record is not to be used after this
        }
        if (!MainLoopEnabled(*wave)) wave->mainLoopId = id;
        session.modified();
    }
}

const ToolSpec& SectionsToLoopsTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description = u"Converts section markers to loop markers.";
        ToolOption marker;
        marker.key = "marker";
        marker.type = OptionType::Text;
        marker.label = u"Select the name of the marker that is to be converted to a loop point";
        s.options.push_back(marker);
        ToolOption end;
        end.key = "end-marker";
        end.type = OptionType::Text;
        end.label =
            u"Select a second marker name to denote the loop end point, when the first marker has no length";
        end.shown = [](const ToolSession& session, const ToolValues& v) {
            // Only when the first name is a plain marker of the first wave.
            const std::vector<Waveform*> waves = session.waves();
            if (waves.empty()) return false;
            for (const LoopRecord& m : waves.front()->markers)
                if (m.kind == kMarkerPosition && m.name == v.text("marker")) return true;
            return false;
        };
        s.options.push_back(end);
        s.execute = ExecuteSectionsToLoops;
        return s;
    }();
    return spec;
}

} // namespace

void BindWaveLayoutTools() {
    BindTool(ToolKind::Wave, u"Convert from stereo to mono", &ToMonoTool());
    BindTool(ToolKind::Wave, u"Convert from mono to stereo", &ToStereoTool());
    BindTool(ToolKind::Wave, u"Swap left and right channels", &SwapTool());
    BindTool(ToolKind::Wave, u"Invert sign throughout selection", &InvertTool());
    BindTool(ToolKind::Wave, u"Reverse audio within selection", &ReverseTool());
    BindTool(ToolKind::Wave, u"Enable/disable loops", &LoopsTool());
    BindTool(ToolKind::Wave, u"Convert loop markers to sections", &LoopsToSectionsTool());
    BindTool(ToolKind::Wave, u"Convert section markers to loops", &SectionsToLoopsTool());
}

} // namespace vaxel
