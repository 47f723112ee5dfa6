#pragma once
// Waveform: one sampled sound. This holds the fields that the collection and
// the file layer rely on; decoding, markers and the sample block live here too
// as they come in.
#include <cstdint>
#include <string>
#include <vector>

#include "model/item.h"

namespace vaxel {

struct LoopRecord {
    uint8_t kind = 0; // 0 position marker, 1 section, 2 loop
    uint8_t startFraction = 0;
    uint8_t endFraction = 0;
    uint32_t start = 0;
    uint32_t end = 0;
    std::u16string name;
    uint8_t loopType = 0; // 0 off, 1 forward, 2 reverse, 3 alternating
    uint8_t loopCount = 0;
    int16_t pitch = 0;
    uint32_t markerId = 0;
};

class Waveform : public InfoItem {
public:
    static constexpr ItemType kType = ItemType::Waveform;

    Waveform(Collection& collection, uint32_t serial, const char16_t* name, int length = -1);
    Waveform(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    Waveform(Collection& collection, const Waveform& source);

    const LoopRecord* findMarker(uint32_t markerId) const;

    uint32_t frames = 0;
    uint32_t sampleRate = 22050;
    uint8_t bitsPerSample = 0;
    uint8_t channels = 1;
    uint8_t rootKey = 60;
    int8_t fineTune = 0;
    float gain = 0.0f;
    uint32_t mainLoopId = 0;
    uint8_t preferredCoding = 21;
    uint64_t sourceOffset = 0;
    std::vector<LoopRecord> markers;
    uint32_t selectedMarkerId = 0;

    // Scratch values of RegionConsensus: the root key and loop that the
    // regions using this wave agree on (-1 and -100 mean "varies").
    int scratchRoot = 0;
    int64_t scratchLoop = 0;
    bool scratchSeen = false;
};

} // namespace vaxel
