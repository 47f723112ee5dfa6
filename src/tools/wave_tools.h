#pragma once
// The wave tools: each is a ToolSpec (options record and execute function)
// bound to its row of the wave table by InstallWaveTools. What the options
// page needs beyond the record (the statistics rows) is here too.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vaxel {

class Waveform;

// The figures of "Statistics for the waveform" over several waves, scanned
// by wave, then channel, then frame.
struct WaveStatistics {
    uint64_t samples = 0; // frames x channels, summed
    double seconds = 0.0; // durations, summed
    double peak = 0.0;    // the larger of -min and max
    double rms = 0.0;
    float minimum = 1.0f;  // starts at +1 as in MaximizeWave
    float maximum = -1.0f; // starts at -1
    float mean = 0.0f;     // single-precision sum over the count
    float maxDelta = 0.0f; // neighbours of a channel; the first frame against 0
    uint64_t zeroCrossings = 0;
    bool readFailed = false; // a wave's samples could not be read (LastError)
};
WaveStatistics ComputeWaveStatistics(const std::vector<Waveform*>& waves);

// The seven read-only rows of the page: label and value text.
struct StatisticsRow {
    const char16_t* label;
    std::string value;
};
std::vector<StatisticsRow> StatisticsRows(const WaveStatistics& stats);

// The root key that "Parse root key from waveform name" reads from a name:
// a note name ("C#3", the octave after the middle-C setting) or a key number;
// -1 when neither pass hits.
int ParseRootKeyFromName(std::u16string_view name);

// The note name of a key for names ("C#4", or "C#3" when middle C is C3).
std::u16string KeyNameForWave(int key);

// The families' binders, called from InstallWaveTools.
void BindWaveLevelTools();
void BindWaveLayoutTools();
void BindWaveTextTools();

} // namespace vaxel
