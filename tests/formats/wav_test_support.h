#pragma once
// Helpers of the WAV family tests: loading through our readers, reading the
// same file through libsndfile, and building RIFF files by hand.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "fileio/format_table.h"
#include "model/collection.h"
#include "model/waveform.h"

namespace vaxel::wavtest {

// One file read through one of our readers, with the samples decoded.
struct Loaded {
    std::unique_ptr<Collection> collection;
    Waveform* wave = nullptr;
    std::string error; // LastError when the read or the decode failed
    std::vector<float> samples;
};
Loaded Load(const std::filesystem::path& path, ReadRoutine reader);
// The same over bytes in memory (no decoding unless asked).
Loaded LoadBytes(const std::vector<uint8_t>& bytes, ReadRoutine reader, bool decode = true);

// What libsndfile reads from a file.
struct SndFile {
    bool ok = false;
    std::string error;
    int channels = 0, rate = 0, format = 0;
    int64_t frames = 0;
    std::vector<float> samples; // interleaved, all channels
    bool hasInstrument = false;
    int baseNote = 0, detune = 0, loopCount = 0;
    struct Loop {
        int mode;
        uint32_t start, end, count;
    };
    std::vector<Loop> loops;
    std::vector<uint32_t> cuePositions;
};
SndFile ReadWithSndfile(const std::filesystem::path& path);

// Keeps the first `keep` channels of interleaved samples.
std::vector<float> FirstChannels(const std::vector<float>& samples, int channels, int keep);

// Writes a wave through a writer routine to path; "" on success, else the
// error text.
std::string Save(CollectionItem& item, const std::filesystem::path& path, WriteRoutine writer,
                 uint32_t codingMask, uint32_t param = 0);

// RIFF building.
std::vector<uint8_t> Chunk(const char* id, const std::vector<uint8_t>& body);
std::vector<uint8_t> Riff(const std::vector<std::vector<uint8_t>>& chunks, const char* form = "RIFF");
std::vector<uint8_t> FmtBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits,
                             uint16_t blockAlign);
void Put16(std::vector<uint8_t>& out, uint16_t v);
void Put32(std::vector<uint8_t>& out, uint32_t v);

} // namespace vaxel::wavtest
