#pragma once
// Instrument, Layer, Region and SynthesisModel. An Instrument is a playable
// program with a MIDI location; it holds Layers, a Layer holds Regions, and a
// Region is a rectangle of keys and velocities that plays a Waveform or a
// SynthesisModel. Articulation exists at all three levels: every level holds
// the effective value of every parameter, and a presence mask says which
// levels set a value themselves. A write at a level is copied down to the
// levels below that did not set their own.
#include <cstdint>
#include <memory>
#include <vector>

#include "model/item.h"
#include "model/parameter_block.h"

namespace vaxel {

class Waveform;
class Layer;
class Region;
struct LoopInfo;

// One channel effect slot (properties 253 + 8n .. 260 + 8n): the type (0..8),
// five parameters and two toggles, whose meaning the type decides. The third
// byte keeps the shape of the tremolo and phaser as a whole number.
struct FxSettings {
    uint8_t type = 0;
    uint8_t toggle1 = 0;
    uint8_t toggle2 = 0;
    uint8_t shape = 0;
    float params[5] = {};
};
constexpr int kFxSlots = 4;
constexpr int kFxTypeCount = 9;
// "None", "Chorus", "Reverb", ... by type; null beyond 8.
const char16_t* FxTypeName(int type);
// The descriptor of a channel-effect property for the effect type of its slot.
const PropertyDescriptor& DescribeChannelEffect(int number, int type);
// The settings a type starts with (its defaults from the effect table).
FxSettings DefaultFxSettings(int type);

class Instrument : public InfoItem {
  public:
    static constexpr ItemType kType = ItemType::Instrument;

    // The low 7 bits of serial also give the program; kNewSerial gives 0.
    Instrument(Collection& collection, uint32_t serial, const char16_t* name, int length = -1);
    Instrument(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    // Clones the Layers (and with them their Regions).
    Instrument(Collection& collection, const Instrument& source);
    ~Instrument() override;

    // Flat image behind the info part: location (u32), the articulation block
    // (208 f32 values, four u64 mask words), then four channel effect slots of
    // type, toggle 1, toggle 2, shape (u8 each) and five f32 parameters.
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    // 0..207 articulation (a write is copied down to Layers and Regions that
    // did not set their own), 249..252 location, 253..284 channel effects.
    bool isSet(int number) const override;
    float getValue(int number) const override;
    void setValue(int number, float value) override;
    void clearValue(int number, float value) override;
    float defaultValue(int number) const override;
    const PropertyDescriptor& describe(int number) const override;

    // Bits 0-6 program, 7-13 minor bank (CC 32), 14-20 major bank (CC 0),
    // bit 21 the drum kit flag.
    uint32_t location = 0;
    uint32_t program() const { return location & 0x7F; }
    uint32_t minorBank() const { return (location >> 7) & 0x7F; }
    uint32_t majorBank() const { return (location >> 14) & 0x7F; }
    bool isDrumKit() const { return (location >> 21) & 1; }
    void setLocation(uint32_t program, uint32_t majorBank, uint32_t minorBank, bool drum);

    ParameterBlock articulation;
    FxSettings channelEffects[kFxSlots];

    Layer* layerAt(uint32_t index) const;

    // Code that edits the key or velocity range of a Region in this
    // Instrument directly (not through setValue) calls this, so that
    // addRegion does not trust what it knew about the layers.
    void regionsChanged() { ++layoutStamp_; }

  private:
    friend class Layer;
    friend class Region;
    friend Region* addRegion(Instrument&, uint32_t, uint16_t, uint16_t, int, int);
    struct RegionIndex;
    void initFields();
    void writeDown(int id, float value);

    uint32_t layoutStamp_ = 0;
    std::unique_ptr<RegionIndex> regionIndex_;
};

class Layer : public NamedItem {
  public:
    static constexpr ItemType kType = ItemType::Layer;

    Layer(Collection& collection, uint32_t serial);
    Layer(Collection& collection, const Layer& source); // clones its Regions
    ~Layer() override;

    // Flat image behind the name: the trigger block (12 u8 fields in the
    // order key low, key high, velocity low, velocity high, key fade in and
    // out, velocity fade in and out, key and velocity fade formulas, trigger
    // type, pedal mode; exclusion group u16, note exclusion u8, delay f32,
    // set mask u64), then the articulation block.
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    // 0..207 articulation and 208..222 trigger; writes are copied down to
    // the Regions that did not set their own.
    bool isSet(int number) const override;
    float getValue(int number) const override;
    void setValue(int number, float value) override;
    void clearValue(int number, float value) override;
    // The value of the level above: the Instrument's, else the table's.
    float defaultValue(int number) const override;
    const PropertyDescriptor& describe(int number) const override;

    // For ids from..to (inclusive), a parameter not set here but set in the
    // Instrument is copied through setParam.
    void inherit(int from, int to);

    Instrument* instrument() const;
    Region* regionAt(uint32_t index) const;
    // The tag of addRegion lives in the first reader word.
    int32_t tag() const { return int32_t(readerWords[0]); }

    TriggerBlock trigger;
    ParameterBlock articulation;

  private:
    void writeDown(int number, float value);
};

class Region : public NamedItem {
  public:
    static constexpr ItemType kType = ItemType::Region;

    // keyWord and velocityWord hold the low value in the low byte and the
    // high value in the high byte; a word with a byte of 255 leaves the
    // default 0..127 and its properties unmarked. waveSerial kNoWaveSerial
    // makes a region without a waveform; rootOverride -1 is none.
    Region(Collection& collection, uint32_t serial, uint32_t waveSerial = kNoWaveSerial,
           uint16_t keyWord = 0xFFFF, uint16_t velocityWord = 0xFFFF, int rootOverride = -1);
    Region(Collection& collection, const Region& source); // clones its SynthesisModel
    ~Region() override;

    // Flat image behind the name: the trigger block as for a Layer, phase
    // group u16, phase master u8, root override i8, play section u32, loop
    // section u32, then the articulation block.
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    // 0..207 articulation, 208..222 trigger, 244..248 waveform overrides.
    bool isSet(int number) const override;
    float getValue(int number) const override;
    void setValue(int number, float value) override;
    void clearValue(int number, float value) override;
    float defaultValue(int number) const override; // the Layer's value
    const PropertyDescriptor& describe(int number) const override;

    Layer* layer() const;
    // The first Waveform in ids, or null.
    Waveform* waveform() const;

    TriggerBlock trigger;
    uint16_t phaseGroup = 0;            // 247: 0 none
    uint8_t phaseMaster = 0;            // 248
    int8_t rootOverride = -1;           // 244: -1 the wave's own root key
    uint32_t playSection = 0;           // 245: markerId; 0 the whole wave
    uint32_t loopSection = 0xFFFFFFFFu; // 246: markerId; 0 no loop; all ones the wave's main loop
    ParameterBlock articulation;

    // Tells the Instrument above that this Region's rectangle changed.
    void rangeChanged();
};

class SynthesisModel : public NamedItem {
  public:
    static constexpr ItemType kType = ItemType::SynthesisModel;

    SynthesisModel(Collection& collection, uint32_t serial);
    SynthesisModel(Collection& collection, const SynthesisModel& source);
    ~SynthesisModel() override;

    // Flat image behind the name: kind u32, data length u32, the data.
    uint8_t* writeFlat(uint8_t* buffer) const override;
    const uint8_t* readFlat(const uint8_t* buffer, const uint8_t* end) override;
    size_t flatSize() const override;

    uint32_t kind = 2;
    std::vector<uint8_t> data; // the model's parameters (Part of the synthesizer)
};

// ---------------------------------------------------------------- building

// Finds or makes the Layer and adds a new Region (see the cpp). A negative
// layerTag takes the first Layer where the rectangle overlaps nothing; a tag
// of 0 or more the first such Layer with that tag. A new Layer gets the tag.
// Keeps an index of the layers' occupied cells, so that a reader adding many
// thousands of regions spends constant time on each.
Region* addRegion(Instrument& instrument, uint32_t waveId, uint16_t keyWord, uint16_t velocityWord,
                  int rootOverride, int layerTag = -1);

// The first Waveform of a Region.
Waveform* waveOf(const Region& region);
// The Region's loop: the wave's getLoop with loopSection. With a null wave
// the Region's first Waveform; with none, type 0 with an end of 2^32.
LoopInfo getLoop(const Region& region, const Waveform* wave = nullptr);
// The Region's play section as a LoopInfo (start and end) in the same way.
LoopInfo getSection(const Region& region, const Waveform* wave = nullptr);
// Type 0 sets loopSection to 0 (no loop); otherwise the wave gets the loop
// through addLoop (not as main) and loopSection its id.
void setRegionLoop(Region& region, const LoopInfo& loop, Waveform* wave = nullptr,
                   bool checkDuplicate = true);
// Gets or makes a section marker on the wave for start..end and stores it in
// playSection; a section spanning the whole wave clears it to 0.
void setRegionSection(Region& region, uint32_t start, uint32_t end, Waveform* wave = nullptr);

// ---------------------------------------------------------------- levels

// Moves articulation from the Regions of a Layer up to it where they agree
// (see the cpp). from..to is exclusive of to. Returns 1, or 0 when an
// all-or-nothing pass found a difference and moved nothing.
int moveUpIfEqual(Layer& layer, bool perParameter, int from, int to, bool keepVolumeAndTuning);
// The same pass from the Layers of an Instrument up to it.
int moveUpIfEqual(Instrument& instrument, bool perParameter, int from, int to, bool keepVolumeAndTuning);
// The like for the trigger properties 208..222 of a Layer's Regions.
int moveTriggersUp(Layer& layer, bool perParameter);
// Can Layer b's Regions join Layer a without any two overlapping?
bool canMergeLayers(const Layer& a, const Layer* b, bool sameTrigger);
// Moves b's Regions into a (each keeps its effective articulation and
// trigger values) and deletes b.
void mergeLayers(Layer& a, Layer& b);

// Alternates: Regions with a trigger type from 2 to 17. For a writer that has
// no such notion, an Instrument in which such a Region overlaps a Region of
// the same trigger type in a later Layer is replaced in the list by a private
// clone without the later Regions (and the Layers they leave empty). Returns
// the clones, which the caller deletes after the write.
std::vector<Instrument*> PrepareAlternates(std::vector<Instrument*>& list);

// Steps of the post-load pass (Collection::update).
// Step 1: cleans an Instrument's, Layer's or Region's blocks by the mask.
void CleanItemParameters(CollectionItem& item, FeatureMask features);
// Step 4: normalises the levels of every Instrument and moves articulation
// between them as the level bits of the mask demand.
void NormalizeArticulation(Collection& collection, FeatureMask features);
// Step 5, the "On Load" options of the instruments, in their places: before
// the stereo options "Move articulation parameters up" and "Move trigger
// parameters to layer"; after them "Merge layers with non-overlapping
// regions".
void RunInstrumentLoadOptionsBeforeStereo(Collection& collection);
void RunInstrumentLoadOptionsAfterStereo(Collection& collection);

} // namespace vaxel
