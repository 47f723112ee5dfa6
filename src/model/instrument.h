#pragma once
// Instrument, Layer, Region and SynthesisModel. An Instrument holds Layers,
// a Layer holds Regions, and a Region plays a Waveform or a SynthesisModel.
#include <cstdint>

#include "model/item.h"

namespace vaxel {

class Instrument : public InfoItem {
public:
    static constexpr ItemType kType = ItemType::Instrument;

    // The low 7 bits of serial also give the program; kNewSerial gives 0.
    Instrument(Collection& collection, uint32_t serial, const char16_t* name, int length = -1);
    Instrument(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    // Clones the Layers (and with them their Regions).
    Instrument(Collection& collection, const Instrument& source);
    ~Instrument() override;

    // Bits 0-6 program, 7-13 minor bank (CC 32), 14-20 major bank (CC 0),
    // bit 21 the drum kit flag.
    uint32_t location = 0;
    uint32_t program() const { return location & 0x7F; }
    uint32_t minorBank() const { return (location >> 7) & 0x7F; }
    uint32_t majorBank() const { return (location >> 14) & 0x7F; }
    bool isDrumKit() const { return (location >> 21) & 1; }
    void setLocation(uint32_t program, uint32_t majorBank, uint32_t minorBank, bool drum);
};

class Layer : public NamedItem {
public:
    static constexpr ItemType kType = ItemType::Layer;

    Layer(Collection& collection, uint32_t serial);
    Layer(Collection& collection, const Layer& source); // clones its Regions
    ~Layer() override;
};

class Region : public NamedItem {
public:
    static constexpr ItemType kType = ItemType::Region;

    // waveSerial kNoWaveSerial makes a region without a waveform.
    Region(Collection& collection, uint32_t serial, uint32_t waveSerial = kNoWaveSerial);
    Region(Collection& collection, const Region& source); // clones its SynthesisModel
    ~Region() override;

    uint8_t keyLow = 0, keyHigh = 127;
    uint8_t velocityLow = 0, velocityHigh = 127;
    int8_t rootOverride = -1;       // -1: the wave's own root key
    uint32_t playSection = 0;       // markerId; 0 the whole wave
    uint32_t loopSection = 0xFFFFFFFFu; // markerId; 0 no loop; all ones the wave's main loop
    uint16_t phaseGroup = 0;
    uint8_t phaseMaster = 0;

    // The first Waveform in ids, or null.
    class Waveform* waveform() const;
};

class SynthesisModel : public NamedItem {
public:
    static constexpr ItemType kType = ItemType::SynthesisModel;

    SynthesisModel(Collection& collection, uint32_t serial);
    SynthesisModel(Collection& collection, const SynthesisModel& source);
    ~SynthesisModel() override;

    uint32_t kind = 0;
};

} // namespace vaxel
