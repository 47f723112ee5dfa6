// The wave tools that change or measure level and tone: Adjust volume/gain,
// Normalize volume, Find volume, Maximize amplitude, Remove DC offset, the
// fades, Filter waveform, the three-term Mix, smoothing and the statistics.
// Each is an options record and an execute function over the session; the
// work itself is in wave_ops.cpp.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "model/collection.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"
#include "tools/tool_runner.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"
#include "tools/wave_ops.h"
#include "tools/wave_tools.h"

namespace vaxel {

namespace {

constexpr int kVolumeProperty = 241; // the wave's volume adjustment in dB

ToolOption Check(const char* key, const char16_t* label, bool on) {
    ToolOption o;
    o.key = key;
    o.type = OptionType::Check;
    o.label = label;
    o.defaultValue = on ? 1.0 : 0.0;
    return o;
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

ToolOption Number(const char* key, const char16_t* label, const char16_t* unit, double preset,
                  const char* format, double lo = 1.0, double hi = 0.0) {
    ToolOption o;
    o.key = key;
    o.type = OptionType::Number;
    o.label = label;
    o.unit = unit;
    o.defaultValue = preset;
    o.format = format;
    o.minimum = lo;
    o.maximum = hi;
    return o;
}

ToolOption Text(const char* key, const char16_t* label, const char16_t* preset = u"") {
    ToolOption o;
    o.key = key;
    o.type = OptionType::Text;
    o.label = label;
    o.defaultText = preset;
    return o;
}

Waveform* WaveByName(const ToolSession& session, std::u16string_view name, Waveform* fallback) {
    if (name.empty()) return fallback;
    for (Waveform* w : ItemsOf<Waveform>(session.collection()))
        if (name == w->name()) return w;
    return nullptr;
}

// ------------------------------------------------------ Adjust volume/gain

void ExecuteAdjustVolume(ToolSession& session, const ToolValues& values) {
    const double db = values.number("gain");
    if (db == 0.0) return;
    const bool metaOnly = values.check("meta-only") && !session.sectionEnabled;
    for (Waveform* wave : session.waves()) {
        if (metaOnly) {
            wave->setValue(kVolumeProperty, float(wave->getValue(kVolumeProperty) + db));
            session.modified();
            continue;
        }
        FrameRange range;
        if (!session.sectionOf(*wave, range.start, range.end)) continue;
        const OpResult r = ApplyGain(*wave, session.sectionEnabled ? &range : nullptr, db);
        if (r == kOpFailed)
            session.reportError();
        else if (r == kOpChanged)
            session.modified();
    }
}

const ToolSpec& AdjustVolumeTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(Number("gain", u"Adjust the volume by:", u"dB", -6.0, "%.2lf", -96.0, 96.0));
        ToolOption meta =
            Check("meta-only",
                  u"Modify only the Volume meta data (instead of modifying the actual wavesamples)", false);
        meta.shown = [](const ToolSession& session, const ToolValues&) { return !session.sectionEnabled; };
        s.options.push_back(meta);
        s.execute = ExecuteAdjustVolume;
        return s;
    }();
    return spec;
}

// -------------------------------------------------------- Normalize volume

int WaveCount(const ToolSession& session) {
    return int(session.waves().size());
}

bool AnyMultiChannel(const ToolSession& session) {
    for (Waveform* w : session.waves())
        if (w->channels > 1) return true;
    return false;
}

// Measures and levels the two channels of a stereo wave each on its own:
// split, gain, join.
bool NormalizeChannelsApart(Waveform& wave, double offset, bool curve, bool& changed) {
    Waveform* right = nullptr;
    if (ToMono(wave, 3, &right) == kOpFailed) return false;
    bool ok = true;
    const float gainLeft = float(offset + LoudnessOfWave(wave, curve, &ok));
    if (ok) {
        const float gainRight = float(offset + LoudnessOfWave(*right, curve, &ok));
        if (ok) {
            const OpResult l = ApplyGain(wave, nullptr, gainLeft);
            const OpResult r = ApplyGain(*right, nullptr, gainRight);
            ok = l != kOpFailed && r != kOpFailed;
            changed = l == kOpChanged || r == kOpChanged;
        }
    }
    // Joined again even after a failure, so the wave keeps both channels.
    const bool joined = ToStereo(wave, 3, right, true) != kOpFailed;
    delete right;
    return ok && joined;
}

void ExecuteNormalize(ToolSession& session, const ToolValues& values) {
    const bool modifyAudio = values.integer("mode") == 1;
    const double target = std::max(0.0, values.number("peak"));
    const bool curve = values.check("equal-loudness");
    const std::vector<Waveform*> waves = session.waves();
    const bool single = values.check("single-recording") && waves.size() >= 2;
    const bool apart = values.check("separate-channels") && !single && modifyAudio;
    const double offset = target - 83.0;

    double gain = 0.0;
    if (single) {
        std::vector<CollectionItem*> list(waves.begin(), waves.end());
        bool ok = true;
        gain = offset + LoudnessOfList(list, curve, &ok);
        if (!ok) {
            session.reportError();
            return;
        }
    }
    for (Waveform* wave : waves) {
        if (!single) {
            bool ok = true;
            gain = offset + LoudnessOfWave(*wave, curve, &ok);
            if (!ok) {
                session.reportError();
                continue;
            }
        }
        // Splitting and joining makes two channels: a wave of more than two
        // is levelled as a whole rather than lose the others.
        if (apart && wave->channels == 2) {
            bool changed = false;
            if (!NormalizeChannelsApart(*wave, offset, curve, changed)) session.reportError();
            if (changed) session.modified();
        } else if (modifyAudio) {
            const OpResult r = ApplyGain(*wave, nullptr, gain);
            if (r == kOpFailed) {
                session.reportError();
                continue;
            }
            const bool hadVolume = wave->gain != 0.0f;
            wave->setValue(kVolumeProperty, 0.0f);
            if (r == kOpChanged || hadVolume) session.modified();
        } else {
            const float before = wave->gain;
            wave->setValue(kVolumeProperty, float(gain));
            if (wave->gain != before) session.modified();
        }
    }
}

const ToolSpec& NormalizeTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description = u"Normalize the volume - make waves \"equally loud\" - using a heurtistic algorithm.";
        s.options.push_back(Choice("mode", u"",
                                   {u"Set the volume adjustment parameter",
                                    u"Modify the actual audio data, then zero the volume parameter"},
                                   0));
        // Negative input is accepted and taken as 0.
        s.options.push_back(Number("peak", u"Desired peak volume:", u"dB SPL", 89.0, "%.2lf"));
        s.options.push_back(Check(
            "equal-loudness",
            u"Use equal-loudness curve to correct for ears varying sensitivity at different frequencies.",
            true));
        ToolOption single =
            Check("single-recording", u"Treat all selected waves as a single recording", false);
        single.shown = [](const ToolSession& session, const ToolValues&) { return WaveCount(session) >= 2; };
        s.options.push_back(single);
        ToolOption apart = Check("separate-channels", u"Normalize l/r stereo channels separately.", false);
        apart.shown = [](const ToolSession& session, const ToolValues& v) {
            return v.integer("mode") == 1 && !v.check("single-recording") &&
                   (WaveCount(session) > 1 || AnyMultiChannel(session));
        };
        s.options.push_back(apart);
        s.execute = ExecuteNormalize;
        return s;
    }();
    return spec;
}

// ------------------------------------------------------------- Find volume

enum VolumeMeasure { kMeasurePeak, kMeasureReplayGain, kMeasureRms, kMeasureRmsAroundPeak };

bool MeasureVolume(Waveform& wave, int measure, float& db) {
    if (measure == kMeasureReplayGain) {
        bool ok = true;
        db = LoudnessOfWave(wave, true, &ok);
        return ok;
    }
    db = LinearToDb(0.0f);
    if (wave.frames == 0 || wave.channels == 0) return true;
    ClearLastError();
    if (!wave.lockSamples()) {
        if (!*LastError()) SetLastError("Out of memory");
        return false;
    }
    const SampleBlock* block = wave.samples();
    if (!block) return true;
    const float* data = block->data;
    const size_t count = block->sampleCount();
    const uint32_t frames = block->frames;
    const size_t ch = block->channels;
    auto rmsOfHead = [&](size_t n) {
        // The floats are counted from the head of the block, whatever range
        // the measure speaks of: that is how these measures are defined.
        n = std::min(n, count);
        if (n == 0) return LinearToDb(0.0f);
        double sum = 0.0;
        for (size_t i = 0; i < n; ++i) sum += double(data[i]) * data[i];
        return LinearToDb(float(std::sqrt(sum / double(n))));
    };
    switch (measure) {
    case kMeasurePeak: {
        float peak = 0.0f;
        for (size_t i = 0; i < count; ++i) peak = std::max(peak, std::fabs(data[i]));
        db = LinearToDb(peak);
        break;
    }
    case kMeasureRms:
        // The first `frames` floats: on stereo data the first half of the
        // block, both channels alike.
        db = rmsOfHead(frames);
        break;
    default: {
        float peak = -1.0f;
        uint32_t p = 0;
        for (uint32_t i = 0; i < frames; ++i)
            for (size_t c = 0; c < ch; ++c)
                if (std::fabs(data[i * ch + c]) > peak) {
                    peak = std::fabs(data[i * ch + c]);
                    p = i;
                }
        const uint32_t h = std::min(uint32_t(wave.sampleRate / 4), frames / 6);
        const uint32_t e = std::min(frames, p + h);
        const uint32_t s = p - h; // wraps when the peak lies within h of the start
        db = s > e ? LinearToDb(0.0f) : rmsOfHead(e - s);
        break;
    }
    }
    return true;
}

void ExecuteFindVolume(ToolSession& session, const ToolValues& values) {
    const int measure = std::clamp(values.integer("measure"), 0, 3);
    const bool appendName = values.check("append-name");
    const bool subtract = values.check("subtract");
    const bool normalize = values.check("normalize");
    for (Waveform* wave : session.waves()) {
        float db = 0.0f;
        if (!MeasureVolume(*wave, measure, db)) {
            session.reportError();
            continue;
        }
        char number[48];
        std::snprintf(number, sizeof number, "%.1f", double(db));
        Status().status(std::u16string(wave->name()) + u": " + Utf8ToWide(number) + u" dB", kStatusPassing);
        bool changed = false;
        if (appendName) {
            wave->setName((std::u16string(wave->name()) + u" " + Utf8ToWide(number) + u" dB").c_str());
            changed = true;
        }
        if (subtract) {
            wave->setValue(kVolumeProperty, wave->getValue(kVolumeProperty) - db);
            changed = true;
        }
        if (normalize) {
            const OpResult r = ApplyGain(*wave, nullptr, -double(db));
            if (r == kOpFailed) session.reportError();
            changed = changed || r == kOpChanged;
        }
        if (changed) session.modified();
    }
}

const ToolSpec& FindVolumeTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(Choice("measure", u"Volume measure:",
                                   {u"Peak amplitude value", u"ReplayGain algorithm",
                                    u"RMS of the entire waveform", u"RMS around the peak value"},
                                   0));
        s.options.push_back(Check("append-name", u"Append volume to waveform name", true));
        s.options.push_back(Check("subtract", u"Subtract from the wave volume adjustment", false));
        s.options.push_back(Check("normalize", u"Normalize wave volume (Warning! May clip!)", false));
        s.execute = ExecuteFindVolume;
        return s;
    }();
    return spec;
}

// ------------------------------------------- Maximize amplitude, DC offset

void ExecuteMaximize(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) {
        const OpResult r = MaximizeWave(*wave, 1);
        if (r == kOpFailed)
            session.reportError();
        else if (r == kOpChanged)
            session.modified();
    }
}

void ExecuteRemoveDc(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) {
        const OpResult r = RemoveDcOffset(*wave);
        if (r == kOpFailed)
            session.reportError();
        else if (r == kOpChanged)
            session.modified();
    }
}

const ToolSpec& MaximizeTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description =
            u"Maximizes the wavform amplitude (expanding the supremum or infimum value to the extreme "
            u"of the wavesample range, while maintaining a fixed zero point).";
        s.execute = ExecuteMaximize;
        return s;
    }();
    return spec;
}

const ToolSpec& RemoveDcTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description = u"Remove DC offset by subtracting the mean value of all the wavesamples.";
        s.execute = ExecuteRemoveDc;
        return s;
    }();
    return spec;
}

// -------------------------------------------------- fades and smoothing

void ExecuteFade(ToolSession& session, const ToolValues& values) {
    const int mode = std::clamp(values.integer("fade-direction"), 0, 1) * 2 +
                     std::clamp(values.integer("fade-curve"), 0, 1);
    for (Waveform* wave : session.waves()) {
        FrameRange range;
        if (!session.sectionOf(*wave, range.start, range.end)) continue;
        const OpResult r = FadeRange(*wave, range, mode);
        if (r == kOpFailed)
            session.reportError();
        else if (r == kOpChanged)
            session.modified();
    }
}

const ToolSpec& FadeTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(Choice("fade-direction", u"Fade direction:", {u"Fade in", u"Fade out"}, 0));
        s.options.push_back(Choice("fade-curve", u"Fade curve:", {u"Linear", u"Exponential"}, 1));
        s.execute = ExecuteFade;
        return s;
    }();
    return spec;
}

void ExecuteSmooth(ToolSession& session, const ToolValues& values) {
    const int filter = std::clamp(values.integer("smoothing-filter"), 0, 3);
    for (Waveform* wave : session.waves()) {
        FrameRange range;
        if (!session.sectionOf(*wave, range.start, range.end)) continue;
        const OpResult r = SmoothRange(*wave, range, filter);
        if (r == kOpFailed)
            session.reportError();
        else if (r == kOpChanged)
            session.modified();
    }
}

const ToolSpec& SmoothTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(Choice("smoothing-filter", u"Smoothing filter:",
                                   {u"3 point triangular", u"2 point left-right two towers",
                                    u"2 point rightsided block", u"2 point leftsided block"},
                                   0));
        s.execute = ExecuteSmooth;
        return s;
    }();
    return spec;
}

// --------------------------------------------------------- Filter waveform

void ExecuteFilter(ToolSession& session, const ToolValues& values) {
    const int type = std::clamp(values.integer("filter-type"), 0, kFilterTypeCount - 1);
    const double cutoff = values.number("cutoff");
    if (type == kFilterPassThru) return;
    for (Waveform* wave : session.waves()) {
        if (wave->channels != 1 && wave->channels != 2) continue;
        bool empty;
        float* data = WritableSamples(*wave, empty);
        if (!data) {
            if (!empty) session.reportError();
            continue;
        }
        const SampleBlock* block = wave->samples();
        FilterRange(data, block->frames, block->channels, type, cutoff / double(wave->sampleRate));
        session.modified();
    }
}

const ToolSpec& FilterTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(
            Choice("filter-type", u"Filter type:",
                   std::vector<const char16_t*>(kFilterTypeNames, kFilterTypeNames + kFilterTypeCount),
                   kFilterLowPass12));
        s.options.push_back(Number("cutoff", u"Cutoff freq:", u"Hz", 8000.0, "%.1lf", 0.0, 768000.0));
        s.execute = ExecuteFilter;
        return s;
    }();
    return spec;
}

// ----------------------------------------------------------------- Mix

void ExecuteMix(ToolSession& session, const ToolValues& values) {
    const std::vector<Waveform*> waves = session.waves();
    if (waves.empty()) return;
    Waveform* target = waves.front();
    Waveform* w1 = WaveByName(session, values.text("w1"), target);
    Waveform* w2 = WaveByName(session, values.text("w2"), target);
    const OpResult r = MixWaves(*target, w1, w2, values.number("a"), values.number("b"), values.number("c"));
    if (r == kOpFailed)
        session.reportError();
    else if (r == kOpChanged)
        session.modified();
}

const ToolSpec& MixTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(Number("a", u"a =", u"", 1.0, "%lf"));
        s.options.push_back(Number("b", u"b =", u"", 0.0, "%lf"));
        s.options.push_back(Number("c", u"c =", u"", 0.0, "%lf"));
        // The waves by name; empty is the selected wave.
        s.options.push_back(Text("w1", u"w1 ="));
        s.options.push_back(Text("w2", u"w2 ="));
        s.execute = ExecuteMix;
        return s;
    }();
    return spec;
}

// ------------------------------------------------------------- Statistics

std::vector<StatisticsRow> StatisticsRowsOf(const ToolSession& session);

void ExecuteStatistics(ToolSession& session, const ToolValues&) {
    // The page shows the figures when it opens (StatisticsRows); a run
    // changes nothing. Where there is no page (the command line, a batch
    // job) the rows go to the status line, so the run still tells them.
    if (session.preview) return;
    for (const StatisticsRow& row : StatisticsRowsOf(session))
        Status().status(std::u16string(row.label) + u" " + Utf8ToWide(row.value), kStatusPassing);
}

const ToolSpec& StatisticsTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.execute = ExecuteStatistics;
        return s;
    }();
    return spec;
}

std::string Format(const char* format, double a, double b = 0.0) {
    char text[96];
    std::snprintf(text, sizeof text, format, a, b);
    return text;
}

} // namespace

WaveStatistics ComputeWaveStatistics(const std::vector<Waveform*>& waves) {
    WaveStatistics st;
    double squares = 0.0;
    float sum = 0.0f;
    for (Waveform* wave : waves) {
        if (!wave) continue;
        st.seconds += wave->sampleRate ? double(wave->frames) / wave->sampleRate : 0.0;
        if (wave->frames == 0 || wave->channels == 0) continue;
        ClearLastError();
        if (!wave->lockSamples()) {
            if (!*LastError()) SetLastError("Out of memory");
            st.readFailed = true;
            continue;
        }
        const SampleBlock* block = wave->samples();
        if (!block) continue;
        const size_t ch = block->channels;
        st.samples += block->sampleCount();
        for (size_t c = 0; c < ch; ++c) {
            float previous = 0.0f;
            const float* p = block->data + c;
            for (uint32_t i = 0; i < block->frames; ++i, p += ch) {
                const float x = *p;
                st.minimum = std::min(st.minimum, x);
                st.maximum = std::max(st.maximum, x);
                squares += double(x) * x;
                sum += x;
                st.maxDelta = std::max(st.maxDelta, std::fabs(x - previous));
                if (i > 0 && x * previous < 0.0f) ++st.zeroCrossings;
                previous = x;
            }
        }
    }
    st.peak = std::max(-double(st.minimum), double(st.maximum));
    if (st.samples) {
        st.rms = std::sqrt(squares / double(st.samples));
        st.mean = sum / float(st.samples);
    }
    return st;
}

std::vector<StatisticsRow> StatisticsRows(const WaveStatistics& st) {
    std::vector<StatisticsRow> rows;
    char text[96];
    std::snprintf(text, sizeof text, "%d / %.2f s", int(st.samples), st.seconds);
    rows.push_back({u"Wavesamples:", text});
    rows.push_back({u"Max level:", st.peak == 0.0
                                       ? std::string("-")
                                       : Format("%.3f / %.2f dB", st.peak, LinearToDb(float(st.peak)))});
    rows.push_back({u"RMS:", Format("%.3f / %.2f dB", st.rms, LinearToDb(float(st.rms)))});
    rows.push_back({u"Min..Max value:", Format("%f..%f", st.minimum, st.maximum)});
    rows.push_back({u"Mean value:", Format("%.3f", st.mean)});
    rows.push_back({u"Maximum delta:", Format("%f", st.maxDelta)});
    std::snprintf(text, sizeof text, "%d", int(st.zeroCrossings));
    rows.push_back({u"Zero crossings:", text});
    return rows;
}

namespace {
std::vector<StatisticsRow> StatisticsRowsOf(const ToolSession& session) {
    return StatisticsRows(ComputeWaveStatistics(session.waves()));
}
} // namespace

void BindWaveLevelTools() {
    BindTool(ToolKind::Wave, u"Adjust volume/gain", &AdjustVolumeTool());
    BindTool(ToolKind::Wave, u"Normalize volume", &NormalizeTool());
    BindTool(ToolKind::Wave, u"Find volume", &FindVolumeTool());
    BindTool(ToolKind::Wave, u"Maximize amplitude", &MaximizeTool());
    BindTool(ToolKind::Wave, u"Remove DC offset", &RemoveDcTool());
    BindTool(ToolKind::Wave, u"Fade in/out selection", &FadeTool());
    BindTool(ToolKind::Wave, u"Smooth within the selection", &SmoothTool());
    BindTool(ToolKind::Wave, u"Filter waveform", &FilterTool());
    BindTool(ToolKind::Wave, u"Mix out = a * wave1 + b * wave2 + c", &MixTool());
    BindTool(ToolKind::Wave, u"Statistics for the waveform", &StatisticsTool());
}

void InstallWaveTools() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    BindWaveLevelTools();
    BindWaveLayoutTools();
    BindWaveTextTools();
}

} // namespace vaxel
