// Instruments, Layers, Regions and SynthesisModels: construction, clones and
// destruction, the property interface with its inheritance between the three
// levels, flat images, addRegion with its index of occupied cells, and the
// level passes of the post-load update.
#include "model/instrument.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "model/collection.h"
#include "model/settings.h"
#include "model/status_line.h"
#include "model/waveform.h"

namespace vaxel {

// ---------------------------------------------------------------- channel effects

namespace {

struct FxRow {
    const char16_t* label;
    float defaultValue, minimum, maximum;
    uint8_t precision;
    const char16_t* hint;
};

// Parameters 1 to 5, toggle 1 and toggle 2 of each effect type. Rates keep
// hundredths, times and ratios thousandths; counts and shapes are whole.
const FxRow kFxRows[kFxTypeCount][7] = {
    {},
    {{u"Rate", 0.3f, 0.01f, 32, 2, u""},
     {u"Depth", 0.008f, 0, 0.02f, 8, u""},
     {u"Voice count", 5, 1, 8, 0, u""},
     {u"Feedback", 0, 0, 1, 1, u""},
     {},
     {u"Octave doubling mode", 0, 0, 1, 0, u""},
     {u"Flanger mode", 0, 0, 1, 0, u""}},
    {{u"Room size", 0.5f, 0, 1, 1, u""},
     {u"Dampening", 0.5f, 0, 1, 1, u""},
     {u"Gate attack rt", 0.1f, 0, 1, 1, u""},
     {u"Gate hold time", 0.2f, 0, 10, 1, u""},
     {u"Gate decay rt", 0.1f, 0, 10, 1, u"0 = Off"},
     {u"Gate reverb", 0, 0, 1, 0, u""},
     {}},
    {{u"Delay tap 1/L", 0.8f, 0.001f, 4, 1, u""},
     {u"Delay tap 2/R", 0.8f, 0.001f, 4, 1, u""},
     {u"Feedback", 0.5f, 0, 1, 1, u""},
     {u"Tap panning", 1, -1, 1, 1, u""},
     {u"Filter cutoff", 0, 0, 24000, 2, u"0 = Off"},
     {u"Stereo delay", 0, 0, 1, 0, u""},
     {u"Use LPF instead of than HPF", 0, 0, 1, 0, u""}},
    {{u"Shape", 0, 0, 7, 0, u"0=Sine, 1=Triangle, 4=Saw"},
     {u"Rate", 5, 0.01f, 12, 2, u""},
     {},
     {},
     {},
     {},
     {}},
    {{u"Threshold", -24, -48, 0, 2, u"Note: not a send effect - but sends are the control signal"},
     {u"Ratio", 4, 1, 16, 2, u""},
     {u"Attack time", 0.025f, 0.001f, 0.5f, 1, u""},
     {u"Release time", 0.125f, 0.01f, 2, 1, u""},
     {u"Gain", 0, -48, 48, 2, u"The default behaviour is the apply the gain before the input."},
     {u"Apply gain to output", 0, 0, 1, 0, u""},
     {}},
    {{u"Overdrive", 24, 0, 48, 2, u""}, {}, {}, {}, {}, {u"Soft clip", 0, 0, 1, 0, u""}, {}},
    {{u"Shape", 1, 0, 7, 0, u"0=Sine, 1=Triangle, 3=S&H, 6=Saw+, 7=Saw-"},
     {u"Rate", 0.5f, 0.01f, 12, 2, u""},
     {u"Depth", 0.5f, 0, 1, 1, u""},
     {u"Delay", 0.0005f, 0, 0.001f, 8, u""},
     {u"Feedback", 0.75f, 0.01f, 0.97f, 1, u""},
     {u"Stereo mode", 0, 0, 1, 0, u""},
     {}},
    {{u"Attack", 0.5f, -1, 1, 1, u"-100..100"},
     {u"Decay", 0, -1, 1, 1, u"-100..100"},
     {u"Focus freq", 0, 0, 20000, 2, u"0=Off"},
     {},
     {},
     {},
     {}},
};

const char16_t* const kFxNames[kFxTypeCount] = {u"None",       u"Chorus",  u"Reverb",
                                                u"Delay",      u"Tremolo", u"Compressor",
                                                u"Distortion", u"Phaser",  u"Transients"};

struct FxDescriptors {
    PropertyDescriptor rows[kFxSlots][kFxTypeCount][8];
    FxDescriptors() {
        for (int slot = 0; slot < kFxSlots; ++slot)
            for (int type = 0; type < kFxTypeCount; ++type) {
                const uint16_t base = uint16_t(kFirstChannelEffect + 8 * slot);
                rows[slot][type][0] = {
                    base,
                    0,
                    kUnitIndex,
                    0,
                    0,
                    0,
                    0,
                    8,
                    u"Channel FX type",
                    u"None | Chorus | Reverb | Delay | Tremolo | Compressor | Distortion | "
                    u"Phaser | Transients"};
                for (int i = 0; i < 7; ++i) {
                    const FxRow& r = kFxRows[type][i];
                    if (!r.label) continue;
                    rows[slot][type][i + 1] = {
                        uint16_t(base + 1 + i), r.precision, 0,         0,       0,
                        r.defaultValue,         r.minimum,   r.maximum, r.label, r.hint};
                }
            }
    }
};

const FxDescriptors& FxTable() {
    static const FxDescriptors table;
    return table;
}

long RoundAway(double v) {
    return long(v < 0 ? std::ceil(v - 0.5) : std::floor(v + 0.5));
}

double Clamp(double v, double lo, double hi) {
    return v < lo ? lo : v > hi ? hi : v;
}

} // namespace

const char16_t* FxTypeName(int type) {
    return type >= 0 && type < kFxTypeCount ? kFxNames[type] : nullptr;
}

const PropertyDescriptor& DescribeChannelEffect(int number, int type) {
    const int n = number - kFirstChannelEffect;
    if (n < 0 || n >= 8 * kFxSlots || type < 0 || type >= kFxTypeCount) return EmptyDescriptor();
    const PropertyDescriptor& row = FxTable().rows[n / 8][type][n % 8];
    return row.number == 0xFFFF ? EmptyDescriptor() : row;
}

FxSettings DefaultFxSettings(int type) {
    FxSettings fx;
    if (type <= 0 || type >= kFxTypeCount) return fx;
    fx.type = uint8_t(type);
    for (int i = 0; i < 5; ++i) fx.params[i] = kFxRows[type][i].label ? kFxRows[type][i].defaultValue : 0.0f;
    if (type == 4 || type == 7) fx.shape = uint8_t(fx.params[0]);
    return fx;
}

// ---------------------------------------------------------------- helpers

namespace {

bool IsArticulation(int number) {
    return number >= 0 && number < kParamCount;
}
bool IsTrigger(int number) {
    return number >= kFirstTrigger && number < kFirstTrigger + kTriggerCount;
}
bool IsRange(int number) {
    return number >= 209 && number <= 212;
}

// Typed child access: entries are followed as the child type, whatever their
// top bits say.
template <class T> T* Child(const CollectionItem& parent, ItemId id) {
    return static_cast<T*>(parent.collection().find(T::kType, id));
}

} // namespace

// ---------------------------------------------------------------- Instrument

void Instrument::initFields() {
    initBlock(articulation);
    // A new Instrument has slot 1 set to Reverb and slot 2 to Chorus.
    channelEffects[0] = DefaultFxSettings(2);
    channelEffects[1] = DefaultFxSettings(1);
}

Instrument::Instrument(Collection& c, uint32_t serial, const char16_t* name, int length)
    : InfoItem(c, ItemType::Instrument, serial) {
    location = serial == kNewSerial ? 0 : (serial & 0x7F);
    initFields();
    setName(name, length);
}

Instrument::Instrument(Collection& c, uint32_t serial, const char* ansiName, int length)
    : InfoItem(c, ItemType::Instrument, serial) {
    location = serial == kNewSerial ? 0 : (serial & 0x7F);
    initFields();
    setNameAnsi(ansiName, length);
}

Instrument::Instrument(Collection& c, const Instrument& s)
    : InfoItem(c, s), location(s.location), articulation(s.articulation) {
    std::copy(std::begin(s.channelEffects), std::end(s.channelEffects), std::begin(channelEffects));
    ids.clear();
    for (ItemId layerId : s.ids) {
        Layer* layer = Child<Layer>(s, layerId);
        if (!layer) continue;
        auto* copy = new Layer(c, *layer);
        addChild(*copy);
    }
}

Instrument::~Instrument() {
    deleteChildren(ItemType::Layer);
}

void Instrument::setLocation(uint32_t program, uint32_t majorBank, uint32_t minorBank, bool drum) {
    location =
        (program & 0x7F) | ((minorBank & 0x7F) << 7) | ((majorBank & 0x7F) << 14) | (drum ? 0x200000 : 0);
}

Layer* Instrument::layerAt(uint32_t index) const {
    return index < ids.size() ? Child<Layer>(*this, ids[index]) : nullptr;
}

void Instrument::writeDown(int id, float value) {
    for (ItemId layerId : ids) {
        Layer* layer = Child<Layer>(*this, layerId);
        if (!layer || layer->articulation.isSet(id)) continue;
        layer->articulation.values[id] = value;
        for (ItemId regionId : layer->ids) {
            Region* region = Child<Region>(*layer, regionId);
            if (region && !region->articulation.isSet(id)) region->articulation.values[id] = value;
        }
    }
}

bool Instrument::isSet(int number) const {
    if (IsArticulation(number)) return articulation.isSet(number);
    if (number >= kFirstLocation && number < kFirstChannelEffect) return true;
    if (number >= kFirstChannelEffect && number < kFirstChannelEffect + 8 * kFxSlots)
        return channelEffects[(number - kFirstChannelEffect) / 8].type != 0;
    return InfoItem::isSet(number);
}

float Instrument::getValue(int number) const {
    if (IsArticulation(number)) return articulation.values[number];
    switch (number) {
    case 249:
        return float(isDrumKit());
    case 250:
        return float(majorBank());
    case 251:
        return float(minorBank());
    case 252:
        return float(program());
    default:
        break;
    }
    if (number >= kFirstChannelEffect && number < kFirstChannelEffect + 8 * kFxSlots) {
        const FxSettings& fx = channelEffects[(number - kFirstChannelEffect) / 8];
        const int i = (number - kFirstChannelEffect) % 8;
        if (i == 0) return fx.type;
        if (i <= 5) return fx.params[i - 1];
        return i == 6 ? fx.toggle1 : fx.toggle2;
    }
    return InfoItem::getValue(number);
}

void Instrument::setValue(int number, float value) {
    if (IsArticulation(number)) {
        if (IsReservedParam(number)) return;
        setParam(articulation, number, value);
        writeDown(number, articulation.values[number]);
        return;
    }
    const double v = std::isnan(value) ? 0.0 : double(value);
    if (number >= kFirstLocation && number < kFirstChannelEffect) {
        const uint32_t n = uint32_t(RoundAway(Clamp(v, 0, number == 249 ? 1 : 127)));
        switch (number) {
        case 249:
            setLocation(program(), majorBank(), minorBank(), n != 0);
            break;
        case 250:
            setLocation(program(), n, minorBank(), isDrumKit());
            break;
        case 251:
            setLocation(program(), majorBank(), n, isDrumKit());
            break;
        default:
            setLocation(n, majorBank(), minorBank(), isDrumKit());
            break;
        }
        return;
    }
    if (number >= kFirstChannelEffect && number < kFirstChannelEffect + 8 * kFxSlots) {
        FxSettings& fx = channelEffects[(number - kFirstChannelEffect) / 8];
        const int i = (number - kFirstChannelEffect) % 8;
        if (i == 0) {
            const int type = int(RoundAway(Clamp(v, 0, kFxTypeCount - 1)));
            if (type != fx.type) fx = DefaultFxSettings(type);
            return;
        }
        const PropertyDescriptor& row = DescribeChannelEffect(number, fx.type);
        if (row.number == 0xFFFF) return;
        double stored = Clamp(RoundToClass(float(v), row.precision), row.minimum, row.maximum);
        if (row.precision == 0) stored = double(RoundAway(stored));
        if (i <= 5) {
            fx.params[i - 1] = float(stored);
            if (i == 1 && (fx.type == 4 || fx.type == 7)) fx.shape = uint8_t(stored);
        } else {
            (i == 6 ? fx.toggle1 : fx.toggle2) = uint8_t(stored);
        }
        return;
    }
    InfoItem::setValue(number, value);
}

void Instrument::clearValue(int number, float value) {
    if (IsArticulation(number)) {
        if (IsReservedParam(number)) return;
        articulation.values[number] = limitParam(number, value);
        articulation.unmark(number);
        writeDown(number, articulation.values[number]);
        return;
    }
    if (number >= kFirstLocation && number < kFirstChannelEffect + 8 * kFxSlots)
        return setValue(number, value);
    InfoItem::clearValue(number, value);
}

float Instrument::defaultValue(int number) const {
    if (IsArticulation(number)) return ParamRow(number).defaultValue;
    if (number >= kFirstLocation && number < kFirstChannelEffect) return 0.0f;
    if (number >= kFirstChannelEffect && number < kFirstChannelEffect + 8 * kFxSlots)
        return describe(number).defaultValue;
    return InfoItem::defaultValue(number);
}

const PropertyDescriptor& Instrument::describe(int number) const {
    if (IsArticulation(number)) return ParamRow(number);
    if (number >= kFirstLocation && number < kFirstChannelEffect) {
        static const PropertyDescriptor kLocation[4] = {
            {249, 0, kUnitIndex, 0, 0, 0, 0, 1, u"Drum kit", u"The instrument is a drum kit"},
            {250, 0, kUnitNone, 0, 0, 0, 0, 127, u"Bank (CC 0)", u"Major bank"},
            {251, 0, kUnitNone, 0, 0, 0, 0, 127, u"Bank (CC 32)", u"Minor bank"},
            {252, 0, kUnitNone, 0, 0, 0, 0, 127, u"Program", u""},
        };
        return kLocation[number - kFirstLocation];
    }
    if (number >= kFirstChannelEffect && number < kFirstChannelEffect + 8 * kFxSlots)
        return DescribeChannelEffect(number, channelEffects[(number - kFirstChannelEffect) / 8].type);
    return InfoItem::describe(number);
}

namespace {
constexpr size_t kFxFlatSize = 4 + 5 * 4;

uint8_t* PutFloat(uint8_t* p, float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    return flat::PutU32(p, bits);
}
float GetFloat(const uint8_t*& p, const uint8_t* end) {
    uint32_t bits = 0;
    flat::GetU32(p, end, bits);
    float v;
    std::memcpy(&v, &bits, 4);
    return v;
}
} // namespace

uint8_t* Instrument::writeFlat(uint8_t* p) const {
    p = InfoItem::writeFlat(p);
    p = flat::PutU32(p, location);
    p = WriteBlockFlat(p, articulation);
    for (const FxSettings& fx : channelEffects) {
        const uint8_t head[4] = {fx.type, fx.toggle1, fx.toggle2, fx.shape};
        p = flat::PutBytes(p, head, 4);
        for (float v : fx.params) p = PutFloat(p, v);
    }
    return p;
}

const uint8_t* Instrument::readFlat(const uint8_t* p, const uint8_t* end) {
    p = InfoItem::readFlat(p, end);
    if (!p || !flat::GetU32(p, end, location)) return nullptr;
    location &= 0x3FFFFF;
    p = ReadBlockFlat(p, end, articulation);
    if (!p || size_t(end - p) < kFxSlots * kFxFlatSize) return nullptr;
    for (FxSettings& fx : channelEffects) {
        fx.type = p[0] < kFxTypeCount ? p[0] : 0;
        fx.toggle1 = p[1] ? 1 : 0;
        fx.toggle2 = p[2] ? 1 : 0;
        fx.shape = p[3] & 7;
        p += 4;
        for (int i = 0; i < 5; ++i) {
            const float v = GetFloat(p, end);
            const PropertyDescriptor& row = DescribeChannelEffect(kFirstChannelEffect + 1 + i, fx.type);
            fx.params[i] =
                row.number == 0xFFFF || std::isnan(v) ? 0.0f : float(Clamp(v, row.minimum, row.maximum));
        }
    }
    ++layoutStamp_;
    return p;
}

size_t Instrument::flatSize() const {
    return InfoItem::flatSize() + 4 + kParameterBlockFlatSize + kFxSlots * kFxFlatSize;
}

// ---------------------------------------------------------------- Layer

Layer::Layer(Collection& c, uint32_t serial) : NamedItem(c, ItemType::Layer, serial) {
    initBlock(articulation);
}

Layer::Layer(Collection& c, const Layer& s)
    : NamedItem(c, s), trigger(s.trigger), articulation(s.articulation) {
    ids.clear();
    for (ItemId regionId : s.ids) {
        Region* region = Child<Region>(s, regionId);
        if (!region) continue;
        auto* copy = new Region(c, *region);
        addChild(*copy);
    }
}

Layer::~Layer() {
    if (Instrument* owner = instrument()) owner->regionsChanged();
    unhookFromParent();
    deleteChildren(ItemType::Region);
}

Instrument* Layer::instrument() const {
    return parentId == kNoItem ? nullptr
                               : static_cast<Instrument*>(collection().find(ItemType::Instrument, parentId));
}

Region* Layer::regionAt(uint32_t index) const {
    return index < ids.size() ? Child<Region>(*this, ids[index]) : nullptr;
}

void Layer::writeDown(int number, float value) {
    for (ItemId regionId : ids) {
        Region* region = Child<Region>(*this, regionId);
        if (!region) continue;
        if (IsArticulation(number)) {
            if (!region->articulation.isSet(number)) region->articulation.values[number] = value;
        } else if (!region->trigger.isSet(number)) {
            region->trigger.storeTrigger(number, value);
            if (IsRange(number)) region->rangeChanged();
        }
    }
}

bool Layer::isSet(int number) const {
    if (IsArticulation(number)) return articulation.isSet(number);
    if (IsTrigger(number)) return trigger.isSet(number);
    return NamedItem::isSet(number);
}

float Layer::getValue(int number) const {
    if (IsArticulation(number)) return articulation.values[number];
    if (IsTrigger(number)) return trigger.getTrigger(number);
    return NamedItem::getValue(number);
}

void Layer::setValue(int number, float value) {
    if (IsArticulation(number)) {
        if (IsReservedParam(number)) return;
        setParam(articulation, number, value);
        writeDown(number, articulation.values[number]);
    } else if (IsTrigger(number)) {
        trigger.setTrigger(number, value);
        writeDown(number, trigger.getTrigger(number));
    } else {
        NamedItem::setValue(number, value);
    }
}

void Layer::clearValue(int number, float value) {
    if (IsArticulation(number)) {
        if (IsReservedParam(number)) return;
        articulation.values[number] = limitParam(number, value);
        articulation.unmark(number);
        writeDown(number, articulation.values[number]);
    } else if (IsTrigger(number)) {
        trigger.storeTrigger(number, value);
        trigger.setMask &= ~(uint64_t(1) << (number - kFirstTrigger));
        writeDown(number, trigger.getTrigger(number));
    } else {
        NamedItem::clearValue(number, value);
    }
}

float Layer::defaultValue(int number) const {
    if (IsArticulation(number)) {
        if (const Instrument* owner = instrument()) return owner->articulation.values[number];
        return ParamRow(number).defaultValue;
    }
    if (IsTrigger(number)) return DescribeTrigger(number).defaultValue;
    return NamedItem::defaultValue(number);
}

const PropertyDescriptor& Layer::describe(int number) const {
    if (IsArticulation(number)) return ParamRow(number);
    if (IsTrigger(number)) return DescribeTrigger(number);
    return NamedItem::describe(number);
}

void Layer::inherit(int from, int to) {
    const Instrument* owner = instrument();
    if (!owner) return;
    for (int id = std::max(from, 0); id <= to && id < kParamCount; ++id)
        if (!articulation.isSet(id) && owner->articulation.isSet(id))
            setParam(articulation, id, owner->articulation.values[id]);
}

uint8_t* Layer::writeFlat(uint8_t* p) const {
    p = NamedItem::writeFlat(p);
    p = WriteTriggerFlat(p, trigger);
    return WriteBlockFlat(p, articulation);
}

const uint8_t* Layer::readFlat(const uint8_t* p, const uint8_t* end) {
    p = NamedItem::readFlat(p, end);
    if (!p || !(p = ReadTriggerFlat(p, end, trigger))) return nullptr;
    return ReadBlockFlat(p, end, articulation);
}

size_t Layer::flatSize() const {
    return NamedItem::flatSize() + kTriggerBlockFlatSize + kParameterBlockFlatSize;
}

// ---------------------------------------------------------------- Region

namespace {
// A key or velocity word: low value in the low byte, high in the high byte.
// A byte of 255 leaves the default; a given pair is marked as set.
void ApplyRangeWord(TriggerBlock& t, uint16_t word, int lowNumber) {
    const int low = word & 0xFF, high = word >> 8;
    if (low == 255 || high == 255) return;
    t.setTrigger(lowNumber, float(std::min(low, high)));
    t.setTrigger(lowNumber + 1, float(std::max(low, high)));
}
} // namespace

Region::Region(Collection& c, uint32_t serial, uint32_t waveSerial, uint16_t keyWord, uint16_t velocityWord,
               int root)
    : NamedItem(c, ItemType::Region, serial) {
    initBlock(articulation);
    if (SerialOf(waveSerial) != kNoWaveSerial) ids.push_back(MakeId(ItemType::Waveform, waveSerial));
    ApplyRangeWord(trigger, keyWord, 209);
    ApplyRangeWord(trigger, velocityWord, 211);
    rootOverride = root < 0 ? int8_t(-1) : int8_t(std::min(root, 127));
}

Region::Region(Collection& c, const Region& s)
    : NamedItem(c, s), trigger(s.trigger), phaseGroup(s.phaseGroup), phaseMaster(s.phaseMaster),
      rootOverride(s.rootOverride), playSection(s.playSection), loopSection(s.loopSection),
      articulation(s.articulation) {
    // The Waveform is shared by id; a SynthesisModel belongs to the region
    // and is cloned with it.
    for (ItemId& entry : ids) {
        if (TypeOf(entry) != ItemType::SynthesisModel) continue;
        auto* model = dynamic_cast<SynthesisModel*>(s.collection().find(entry));
        if (!model) continue;
        auto* copy = new SynthesisModel(c, *model);
        copy->parentId = id;
        entry = copy->id;
    }
}

Region::~Region() {
    rangeChanged();
    unhookFromParent();
    for (uint32_t i = 0; i < ids.size(); ++i) {
        if (TypeOf(ids[i]) != ItemType::SynthesisModel) continue;
        if (CollectionItem* model = collection().find(ids[i])) {
            // The model's destructor would look for us as its parent.
            model->parentId = kNoItem;
            delete model;
        }
        break;
    }
}

Layer* Region::layer() const {
    return parentId == kNoItem ? nullptr : static_cast<Layer*>(collection().find(ItemType::Layer, parentId));
}

void Region::rangeChanged() {
    if (Layer* l = layer())
        if (Instrument* owner = l->instrument()) owner->regionsChanged();
}

Waveform* Region::waveform() const {
    for (ItemId entry : ids)
        if (TypeOf(entry) == ItemType::Waveform) return dynamic_cast<Waveform*>(collection().find(entry));
    return nullptr;
}

bool Region::isSet(int number) const {
    if (IsArticulation(number)) return articulation.isSet(number);
    if (IsTrigger(number)) return trigger.isSet(number);
    switch (number) {
    case 244:
        return rootOverride >= 0;
    case 245:
        return playSection != 0;
    case 246:
        return loopSection != 0xFFFFFFFFu;
    case 247:
        return phaseGroup != 0;
    case 248:
        return phaseMaster != 0;
    default:
        return NamedItem::isSet(number);
    }
}

float Region::getValue(int number) const {
    if (IsArticulation(number)) return articulation.values[number];
    if (IsTrigger(number)) return trigger.getTrigger(number);
    switch (number) {
    case 244:
        return rootOverride;
    case 245:
        return float(playSection);
    case 246:
        return float(loopSection);
    case 247:
        return phaseGroup;
    case 248:
        return phaseMaster;
    default:
        return NamedItem::getValue(number);
    }
}

void Region::setValue(int number, float value) {
    if (IsArticulation(number)) {
        if (!IsReservedParam(number)) setParam(articulation, number, value);
        return;
    }
    if (IsTrigger(number)) {
        trigger.setTrigger(number, value);
        if (IsRange(number)) rangeChanged();
        return;
    }
    const double v = std::isnan(value) ? 0.0 : double(value);
    switch (number) {
    case 244:
        rootOverride = int8_t(RoundAway(Clamp(v, 0, 127)));
        break;
    case 245:
        playSection = uint32_t(Clamp(std::trunc(v), 0, 4294967295.0));
        break;
    case 246:
        loopSection = uint32_t(Clamp(std::trunc(v), 0, 4294967295.0));
        break;
    case 247:
        phaseGroup = uint16_t(RoundAway(Clamp(v, 0, 65535)));
        break;
    case 248:
        phaseMaster = v >= 0.5 ? 1 : 0;
        break;
    default:
        NamedItem::setValue(number, value);
        break;
    }
}

void Region::clearValue(int number, float value) {
    if (IsArticulation(number)) {
        if (IsReservedParam(number)) return;
        articulation.values[number] = limitParam(number, value);
        articulation.unmark(number);
        return;
    }
    if (IsTrigger(number)) {
        trigger.storeTrigger(number, value);
        trigger.setMask &= ~(uint64_t(1) << (number - kFirstTrigger));
        if (IsRange(number)) rangeChanged();
        return;
    }
    if (number == 244) {
        rootOverride = value < 0 || std::isnan(value) ? int8_t(-1) : int8_t(RoundAway(Clamp(value, 0, 127)));
        return;
    }
    if (number >= 245 && number <= 248) return setValue(number, value);
    NamedItem::clearValue(number, value);
}

float Region::defaultValue(int number) const {
    const Layer* l = layer();
    if (IsArticulation(number)) return l ? l->articulation.values[number] : ParamRow(number).defaultValue;
    if (IsTrigger(number)) return l ? l->trigger.getTrigger(number) : DescribeTrigger(number).defaultValue;
    if (number >= kFirstRegionOverride && number < kFirstLocation) return describe(number).defaultValue;
    return NamedItem::defaultValue(number);
}

const PropertyDescriptor& Region::describe(int number) const {
    if (IsArticulation(number)) return ParamRow(number);
    if (IsTrigger(number)) return DescribeTrigger(number);
    static const PropertyDescriptor kOverrides[5] = {
        {244, 0, kUnitNone, 0, 0, -1, 0, 127, u"Root key", u"Used instead of the waveform's root key"},
        {245, 0, kUnitNone, 0, 0, 0, 0, 4294967295.0f, u"Play section", u"0 = the whole waveform"},
        {246, 0, kUnitNone, 0, 0, 4294967295.0f, 0, 4294967295.0f, u"Loop", u"0 = no loop"},
        {247, 0, kUnitNone, 0, 0, 0, 0, 65535, u"Phase group", u"0 = none"},
        {248, 0, kUnitIndex, 0, 0, 0, 0, 1, u"Phase master", u""},
    };
    if (number >= kFirstRegionOverride && number < kFirstLocation)
        return kOverrides[number - kFirstRegionOverride];
    return NamedItem::describe(number);
}

uint8_t* Region::writeFlat(uint8_t* p) const {
    p = NamedItem::writeFlat(p);
    p = WriteTriggerFlat(p, trigger);
    p = flat::PutU16(p, phaseGroup);
    *p++ = phaseMaster;
    *p++ = uint8_t(rootOverride);
    p = flat::PutU32(p, playSection);
    p = flat::PutU32(p, loopSection);
    return WriteBlockFlat(p, articulation);
}

const uint8_t* Region::readFlat(const uint8_t* p, const uint8_t* end) {
    p = NamedItem::readFlat(p, end);
    if (!p || !(p = ReadTriggerFlat(p, end, trigger))) return nullptr;
    if (size_t(end - p) < 12) return nullptr;
    flat::GetU16(p, end, phaseGroup);
    phaseMaster = *p++ ? 1 : 0;
    rootOverride = int8_t(*p++);
    if (rootOverride < -1) rootOverride = -1;
    flat::GetU32(p, end, playSection);
    flat::GetU32(p, end, loopSection);
    rangeChanged();
    return ReadBlockFlat(p, end, articulation);
}

size_t Region::flatSize() const {
    return NamedItem::flatSize() + kTriggerBlockFlatSize + 12 + kParameterBlockFlatSize;
}

// ---------------------------------------------------------------- SynthesisModel

SynthesisModel::SynthesisModel(Collection& c, uint32_t serial)
    : NamedItem(c, ItemType::SynthesisModel, serial) {}
SynthesisModel::SynthesisModel(Collection& c, const SynthesisModel& s)
    : NamedItem(c, s), kind(s.kind), data(s.data) {}
SynthesisModel::~SynthesisModel() {
    unhookFromParent();
}

uint8_t* SynthesisModel::writeFlat(uint8_t* p) const {
    p = NamedItem::writeFlat(p);
    p = flat::PutU32(p, kind);
    p = flat::PutU32(p, uint32_t(data.size()));
    return flat::PutBytes(p, data.data(), data.size());
}

const uint8_t* SynthesisModel::readFlat(const uint8_t* p, const uint8_t* end) {
    p = NamedItem::readFlat(p, end);
    uint32_t length = 0;
    if (!p || !flat::GetU32(p, end, kind) || !flat::GetU32(p, end, length) || size_t(end - p) < length)
        return nullptr;
    data.assign(p, p + length);
    return p + length;
}

size_t SynthesisModel::flatSize() const {
    return NamedItem::flatSize() + 8 + data.size();
}

// ---------------------------------------------------------------- addRegion

namespace {
// The velocity cells low..high of one key row, as two 64-bit words.
void VelocityMask(int low, int high, uint64_t& m0, uint64_t& m1) {
    auto bits = [](int lo, int hi) -> uint64_t { // lo..hi within 0..63
        if (lo > hi) return 0;
        const uint64_t upper = hi == 63 ? ~uint64_t(0) : (uint64_t(1) << (hi + 1)) - 1;
        return upper & ~((uint64_t(1) << lo) - 1);
    };
    m0 = bits(std::max(low, 0), std::min(high, 63));
    m1 = bits(std::max(low, 64) - 64, std::min(high, 127) - 64);
}
} // namespace

// What addRegion knows about the Layers of one Instrument: for each Layer the
// cells (key x velocity) its Regions cover, as 128 rows of two 64-bit words,
// and for each key row the first Layer whose row still has a free cell. A
// search for room starts at the largest of those over the new rectangle's
// keys, so full Layers are never looked at again. A Layer whose every cell is
// taken drops its bitmap.
//
// The index is trusted while the Instrument's layout stamp, its Layer count
// and last Layer are what they were; a Layer is checked by its Region count
// and last Region when it is looked at. Deleting a Region or a Layer, or
// changing a range through the property interface, raises the stamp; anything
// else raises it through regionsChanged(). A stale index is rebuilt, which
// costs one pass over the Regions.
struct Instrument::RegionIndex {
    struct LayerCells {
        ItemId layerId = kNoItem;
        uint32_t regionCount = 0;
        ItemId lastRegion = kNoItem;
        bool full = false;
        std::unique_ptr<uint64_t[]> rows; // 256 words; null when full

        bool rowFull(int key) const {
            return full || (rows[2 * key] == ~uint64_t(0) && rows[2 * key + 1] == ~uint64_t(0));
        }
    };
    std::vector<LayerCells> layers;
    uint32_t firstOpen[128] = {};
    uint32_t stamp = 0;
    ItemId lastLayer = kNoItem;

    static bool Overlaps(const LayerCells& cells, const TriggerBlock& r) {
        if (cells.full) return true;
        uint64_t m0, m1;
        VelocityMask(r.velocityLow, r.velocityHigh, m0, m1);
        for (int k = r.keyLow; k <= r.keyHigh; ++k)
            if ((cells.rows[2 * k] & m0) | (cells.rows[2 * k + 1] & m1)) return true;
        return false;
    }

    static void Occupy(LayerCells& cells, const TriggerBlock& r) {
        if (cells.full) return;
        uint64_t m0, m1;
        VelocityMask(r.velocityLow, r.velocityHigh, m0, m1);
        for (int k = r.keyLow; k <= r.keyHigh && k < 128; ++k) {
            cells.rows[2 * k] |= m0;
            cells.rows[2 * k + 1] |= m1;
        }
        for (int w = 0; w < 256; ++w)
            if (cells.rows[w] != ~uint64_t(0)) return;
        cells.full = true;
        cells.rows.reset();
    }

    void advance(int keyLow, int keyHigh) {
        for (int k = keyLow; k <= keyHigh && k < 128; ++k)
            while (firstOpen[k] < layers.size() && layers[firstOpen[k]].rowFull(k)) ++firstOpen[k];
    }

    void addLayer(const Layer& layer) {
        LayerCells cells;
        cells.layerId = layer.id;
        cells.rows.reset(new uint64_t[256]());
        for (ItemId regionId : layer.ids)
            if (const Region* region = Child<Region>(layer, regionId)) Occupy(cells, region->trigger);
        cells.regionCount = layer.ids.size();
        cells.lastRegion = layer.ids.empty() ? kNoItem : layer.ids[layer.ids.size() - 1];
        layers.push_back(std::move(cells));
    }

    void rebuild(const Instrument& instrument) {
        layers.clear();
        std::fill(std::begin(firstOpen), std::end(firstOpen), 0u);
        for (ItemId layerId : instrument.ids) {
            const Layer* layer = Child<Layer>(instrument, layerId);
            if (!layer) {
                // A dangling entry keeps its place, as a Layer nothing fits in.
                LayerCells gone;
                gone.layerId = kNoItem;
                gone.full = true;
                layers.push_back(std::move(gone));
                continue;
            }
            addLayer(*layer);
        }
        advance(0, 127);
        stamp = instrument.layoutStamp_;
        lastLayer = instrument.ids.empty() ? kNoItem : instrument.ids[instrument.ids.size() - 1];
    }

    bool current(const Instrument& instrument) const {
        return stamp == instrument.layoutStamp_ && layers.size() == instrument.ids.size() &&
               lastLayer == (instrument.ids.empty() ? kNoItem : instrument.ids[instrument.ids.size() - 1]);
    }

    static bool LayerCurrent(const LayerCells& cells, const Layer& layer) {
        return cells.layerId == layer.id && cells.regionCount == layer.ids.size() &&
               cells.lastRegion == (layer.ids.empty() ? kNoItem : layer.ids[layer.ids.size() - 1]);
    }
};

Region* addRegion(Instrument& instrument, uint32_t waveId, uint16_t keyWord, uint16_t velocityWord,
                  int rootOverride, int layerTag) {
    Collection& c = instrument.collection();
    auto* region = new Region(c, kNewSerial, waveId, keyWord, velocityWord, rootOverride);
    if (!region) return nullptr;

    if (!instrument.regionIndex_) instrument.regionIndex_.reset(new Instrument::RegionIndex);
    Instrument::RegionIndex& index = *instrument.regionIndex_;
    if (!index.current(instrument)) index.rebuild(instrument);

    const TriggerBlock& r = region->trigger;
    Layer* target = nullptr;
    size_t slot = 0;
    for (int attempt = 0; attempt < 2 && !target; ++attempt) {
        uint32_t start = 0;
        for (int k = r.keyLow; k <= r.keyHigh; ++k) start = std::max(start, index.firstOpen[k]);
        bool stale = false;
        for (size_t i = start; i < index.layers.size(); ++i) {
            auto& cells = index.layers[i];
            if (cells.full) continue;
            Layer* layer = Child<Layer>(instrument, instrument.ids[uint32_t(i)]);
            if (!layer || !Instrument::RegionIndex::LayerCurrent(cells, *layer)) {
                stale = true;
                break;
            }
            if (layerTag >= 0 && layer->tag() != layerTag) continue;
            if (Instrument::RegionIndex::Overlaps(cells, r)) continue;
            target = layer;
            slot = i;
            break;
        }
        if (!stale) break;
        index.rebuild(instrument);
    }

    if (!target) {
        target = new Layer(c, kNewSerial);
        target->readerWords[0] = uint32_t(layerTag);
        // The new Layer takes the Instrument's articulation as its effective
        // values, with nothing set of its own.
        std::memcpy(target->articulation.values, instrument.articulation.values,
                    sizeof target->articulation.values);
        instrument.addChild(*target);
        index.addLayer(*target);
        index.lastLayer = target->id;
        slot = index.layers.size() - 1;
    }
    // The Region starts from its Layer's effective values.
    std::memcpy(region->articulation.values, target->articulation.values, sizeof region->articulation.values);
    for (int number = kFirstTrigger; number < kFirstTrigger + kTriggerCount; ++number)
        if (!region->trigger.isSet(number))
            region->trigger.storeTrigger(number, target->trigger.getTrigger(number));
    target->addChild(*region);

    auto& cells = index.layers[slot];
    Instrument::RegionIndex::Occupy(cells, region->trigger);
    cells.regionCount = target->ids.size();
    cells.lastRegion = region->id;
    index.advance(region->trigger.keyLow, region->trigger.keyHigh);
    return region;
}

// ---------------------------------------------------------------- loops and sections

Waveform* waveOf(const Region& region) {
    return region.waveform();
}

LoopInfo getLoop(const Region& region, const Waveform* wave) {
    if (!wave) wave = region.waveform();
    if (!wave) {
        LoopInfo none;
        none.end = 4294967296.0f;
        return none;
    }
    return wave->getLoop(region.loopSection);
}

LoopInfo getSection(const Region& region, const Waveform* wave) {
    if (!wave) wave = region.waveform();
    LoopInfo info;
    if (!wave) {
        info.end = 4294967296.0f;
        return info;
    }
    uint32_t start = 0, end = wave->frames;
    if (region.playSection) wave->getSection(region.playSection, start, end);
    info.start = float(start);
    info.end = float(end);
    return info;
}

void setRegionLoop(Region& region, const LoopInfo& loop, Waveform* wave, bool checkDuplicate) {
    if (loop.loopType == 0) {
        region.loopSection = 0;
        return;
    }
    if (!wave) wave = region.waveform();
    if (!wave) return;
    const uint32_t id = wave->addLoop(loop, nullptr, false, checkDuplicate);
    if (id) region.loopSection = id;
}

void setRegionSection(Region& region, uint32_t start, uint32_t end, Waveform* wave) {
    if (!wave) wave = region.waveform();
    if (!wave) return;
    if (end > wave->frames) end = wave->frames;
    if (start == 0 && end >= wave->frames) {
        region.playSection = 0;
        return;
    }
    region.playSection = wave->addSection(start, end, nullptr, false);
}

// ---------------------------------------------------------------- level passes

namespace {

template <class Lower> std::vector<Lower*> Children(const CollectionItem& parent) {
    std::vector<Lower*> out;
    out.reserve(parent.ids.size());
    for (ItemId id : parent.ids)
        if (Lower* item = Child<Lower>(parent, id)) out.push_back(item);
    return out;
}

// The pass of moveUpIfEqual over one upper block and the blocks below it.
int MoveUp(ParameterBlock& upper, const std::vector<ParameterBlock*>& lower, bool perParameter, int from,
           int to, bool keepVolumeAndTuning) {
    from = std::max(from, 0);
    to = std::min(to, kParamCount);
    bool anySet = false;
    for (const ParameterBlock* b : lower) anySet = anySet || b->anySet(from, to);
    if (lower.empty() || !anySet) return 1;

    // Every lower block takes the upper values it does not hold itself.
    for (ParameterBlock* b : lower)
        for (int id = from; id < to; ++id)
            if (!b->isSet(id)) b->values[id] = upper.values[id];

    auto kept = [&](int id) { return keepVolumeAndTuning && (id == kParamTuning || id == kParamVolume); };
    auto allEqual = [&](int id) {
        for (const ParameterBlock* b : lower)
            if (b->values[id] != lower[0]->values[id]) return false;
        return true;
    };
    auto moveOne = [&](int id) {
        if (upper.values[id] != lower[0]->values[id] || !upper.isSet(id)) {
            if (upper.values[id] != lower[0]->values[id]) setParam(upper, id, lower[0]->values[id]);
        }
        for (ParameterBlock* b : lower) {
            b->values[id] = upper.values[id];
            b->unmark(id);
        }
    };

    if (!perParameter) {
        for (int id = from; id < to; ++id)
            if (!kept(id) && !IsReservedParam(id) && !allEqual(id)) return 0;
        for (int id = from; id < to; ++id)
            if (!kept(id) && !IsReservedParam(id)) moveOne(id);
        if (from == 0 && to == kParamCount && !keepVolumeAndTuning)
            for (ParameterBlock* b : lower) *b = upper, b->clearMask();
        return 1;
    }
    for (int id = from; id < to; ++id)
        if (!kept(id) && !IsReservedParam(id) && allEqual(id)) moveOne(id);
    return 1;
}

} // namespace

int moveUpIfEqual(Layer& layer, bool perParameter, int from, int to, bool keepVolumeAndTuning) {
    std::vector<ParameterBlock*> blocks;
    for (Region* r : Children<Region>(layer)) blocks.push_back(&r->articulation);
    return MoveUp(layer.articulation, blocks, perParameter, from, to, keepVolumeAndTuning);
}

int moveUpIfEqual(Instrument& instrument, bool perParameter, int from, int to, bool keepVolumeAndTuning) {
    std::vector<Layer*> layers = Children<Layer>(instrument);
    std::vector<ParameterBlock*> blocks;
    for (Layer* l : layers) blocks.push_back(&l->articulation);
    // The Regions below hold the same effective values as their Layers for
    // what they do not set; moving a value between Instrument and Layer
    // changes no effective value, so they need nothing.
    return MoveUp(instrument.articulation, blocks, perParameter, from, to, keepVolumeAndTuning);
}

int moveTriggersUp(Layer& layer, bool perParameter) {
    std::vector<Region*> regions = Children<Region>(layer);
    bool anySet = false;
    for (const Region* r : regions) anySet = anySet || r->trigger.setMask;
    if (regions.empty() || !anySet) return 1;
    auto allEqual = [&](int number) {
        for (const Region* r : regions)
            if (r->trigger.getTrigger(number) != regions[0]->trigger.getTrigger(number)) return false;
        return true;
    };
    if (!perParameter)
        for (int n = kFirstTrigger; n < kFirstTrigger + kTriggerCount; ++n)
            if (!allEqual(n)) return 0;
    for (int n = kFirstTrigger; n < kFirstTrigger + kTriggerCount; ++n) {
        if (!allEqual(n)) continue;
        const float value = regions[0]->trigger.getTrigger(n);
        if (layer.trigger.getTrigger(n) != value) layer.trigger.setTrigger(n, value);
        for (Region* r : regions) r->trigger.setMask &= ~(uint64_t(1) << (n - kFirstTrigger));
    }
    return 1;
}

namespace {
// The key x velocity cells a Layer's Regions cover. Two rectangles of whole
// keys and velocities overlap exactly when they share a cell.
struct Cells {
    uint64_t rows[256] = {};
    void add(const TriggerBlock& r) {
        uint64_t m0, m1;
        VelocityMask(r.velocityLow, r.velocityHigh, m0, m1);
        for (int k = r.keyLow; k <= r.keyHigh && k < 128; ++k) {
            rows[2 * k] |= m0;
            rows[2 * k + 1] |= m1;
        }
    }
    void add(const Layer& layer) {
        for (ItemId id : layer.ids)
            if (const Region* r = Child<Region>(layer, id)) add(r->trigger);
    }
    void add(const Cells& other) {
        for (int w = 0; w < 256; ++w) rows[w] |= other.rows[w];
    }
    bool overlaps(const Cells& other) const {
        for (int w = 0; w < 256; ++w)
            if (rows[w] & other.rows[w]) return true;
        return false;
    }
};

bool SameTrigger(const Layer& a, const Layer& b) {
    return a.trigger.triggerType == b.trigger.triggerType && a.trigger.pedalMode == b.trigger.pedalMode;
}
} // namespace

bool canMergeLayers(const Layer& a, const Layer* b, bool sameTrigger) {
    if (!b || &a == b) return false;
    if (sameTrigger && !SameTrigger(a, *b)) return false;
    if (b->ids.empty()) return true;
    auto mine = std::make_unique<Cells>(), theirs = std::make_unique<Cells>();
    mine->add(a);
    theirs->add(*b);
    return !mine->overlaps(*theirs);
}

void mergeLayers(Layer& a, Layer& b) {
    if (&a == &b) return;
    for (Region* region : Children<Region>(b)) {
        // Keep the effective values: what differs between the two Layers and
        // the Region does not hold itself becomes its own.
        for (int id = 0; id < kParamCount; ++id)
            if (!region->articulation.isSet(id) &&
                a.articulation.values[id] != region->articulation.values[id])
                setParam(region->articulation, id, region->articulation.values[id]);
        for (int n = kFirstTrigger; n < kFirstTrigger + kTriggerCount; ++n)
            if (!region->trigger.isSet(n) && a.trigger.getTrigger(n) != region->trigger.getTrigger(n))
                region->trigger.setTrigger(n, region->trigger.getTrigger(n));
        a.addChild(*region);
    }
    b.ids.clear();
    if (Instrument* owner = a.instrument()) owner->regionsChanged();
    delete &b;
}

// ---------------------------------------------------------------- alternates

namespace {
bool IsAlternate(const Region& r) {
    return r.trigger.triggerType >= 2 && r.trigger.triggerType <= 17;
}

// The (layer, region) positions of the Regions that a later Layer holds as
// alternates of an earlier Region.
std::vector<std::pair<uint32_t, uint32_t>> LaterAlternates(const Instrument& inst) {
    std::vector<std::pair<uint32_t, uint32_t>> out;
    std::vector<Layer*> layers = Children<Layer>(inst);
    for (size_t i = 0; i < layers.size(); ++i)
        for (const Region* a : Children<Region>(*layers[i])) {
            if (!IsAlternate(*a)) continue;
            for (size_t j = i + 1; j < layers.size(); ++j)
                for (uint32_t k = 0; k < layers[j]->ids.size(); ++k) {
                    const Region* b = layers[j]->regionAt(k);
                    if (b && b->trigger.triggerType == a->trigger.triggerType &&
                        b->trigger.overlaps(a->trigger))
                        out.emplace_back(uint32_t(j), k);
                }
        }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}
} // namespace

std::vector<Instrument*> PrepareAlternates(std::vector<Instrument*>& list) {
    std::vector<Instrument*> clones;
    for (Instrument*& inst : list) {
        if (!inst) continue;
        const auto doomed = LaterAlternates(*inst);
        if (doomed.empty()) continue;
        auto* clone = new Instrument(inst->collection(), *inst);
        // Clones keep the order of Layers and Regions, so the positions hold;
        // deleting from the back keeps the earlier positions valid.
        for (auto it = doomed.rbegin(); it != doomed.rend(); ++it)
            if (Layer* layer = clone->layerAt(it->first))
                if (Region* region = layer->regionAt(it->second)) delete region;
        for (uint32_t i = clone->ids.size(); i-- > 0;)
            if (Layer* layer = clone->layerAt(i); layer && layer->ids.empty()) delete layer;
        clones.push_back(clone);
        inst = clone;
    }
    return clones;
}

// ---------------------------------------------------------------- update steps

void CleanItemParameters(CollectionItem& item, FeatureMask features) {
    switch (item.type()) {
    case ItemType::Instrument:
        cleanBlock(static_cast<Instrument&>(item).articulation, features);
        break;
    case ItemType::Layer: {
        auto& layer = static_cast<Layer&>(item);
        cleanBlock(layer.articulation, features);
        cleanTrigger(layer.trigger, features);
        break;
    }
    case ItemType::Region: {
        auto& region = static_cast<Region&>(item);
        cleanBlock(region.articulation, features);
        cleanTrigger(region.trigger, features);
        if (!HasFeature(features, kFeaturePlaySection)) region.playSection = 0;
        break;
    }
    default:
        break;
    }
}

namespace {

// Top-down: a value that equals the level above is no longer held, and what
// a level does not hold is the value of the level above.
void NormalizeBlock(ParameterBlock& block, const float* above) {
    for (int id = 0; id < kParamCount; ++id) {
        if (block.isSet(id) && block.values[id] == above[id]) block.unmark(id);
        if (!block.isSet(id)) block.values[id] = above[id];
    }
}

void NormalizeTrigger(TriggerBlock& t, const TriggerBlock& above) {
    for (int n = kFirstTrigger; n < kFirstTrigger + kTriggerCount; ++n) {
        if (t.isSet(n) && t.getTrigger(n) == above.getTrigger(n))
            t.setMask &= ~(uint64_t(1) << (n - kFirstTrigger));
        if (!t.isSet(n)) t.storeTrigger(n, above.getTrigger(n));
    }
}

// Without a Region level, the Regions of a Layer are folded into it: the
// values they all agree on go to the Layer, which otherwise takes the
// Instrument's; the Regions keep only their own tuning and volume.
void FoldRegions(Instrument& instrument, Layer& layer) {
    std::vector<Region*> regions = Children<Region>(layer);
    bool anySet = false;
    for (const Region* r : regions) anySet = anySet || r->articulation.anySet();
    if (!anySet) return;
    ParameterBlock folded;
    std::memcpy(folded.values, instrument.articulation.values, sizeof folded.values);
    folded.clearMask();
    for (int id = 0; id < kParamCount; ++id) {
        if (IsReservedParam(id)) continue;
        const float first = regions[0]->articulation.values[id];
        bool common = true;
        for (const Region* r : regions) common = common && r->articulation.values[id] == first;
        if (common && first != folded.values[id]) setParam(folded, id, first);
    }
    layer.articulation = folded;
    for (Region* r : regions) {
        const float tuning = r->articulation.values[kParamTuning],
                    volume = r->articulation.values[kParamVolume];
        r->articulation = folded;
        r->articulation.clearMask();
        if (tuning != folded.values[kParamTuning]) setParam(r->articulation, kParamTuning, tuning);
        if (volume != folded.values[kParamVolume]) setParam(r->articulation, kParamVolume, volume);
    }
}

} // namespace

void NormalizeArticulation(Collection& collection, FeatureMask features) {
    static const TriggerBlock kDefaultTrigger;
    for (Instrument* inst : ItemsOf<Instrument>(collection)) {
        NormalizeBlock(inst->articulation, ParamDefaults());
        for (Layer* layer : Children<Layer>(*inst)) {
            NormalizeBlock(layer->articulation, inst->articulation.values);
            NormalizeTrigger(layer->trigger, kDefaultTrigger);
            for (Region* region : Children<Region>(*layer)) {
                NormalizeBlock(region->articulation, layer->articulation.values);
                NormalizeTrigger(region->trigger, layer->trigger);
            }
        }

        const bool instrumentLevel = HasFeature(features, kFeatureInstrumentLevel);
        const bool layerLevel = HasFeature(features, kFeatureLayerLevel);
        const bool regionLevel = HasFeature(features, kFeatureRegionLevel);

        if (!instrumentLevel && (layerLevel || regionLevel) && inst->articulation.anySet()) {
            for (Layer* layer : Children<Layer>(*inst))
                for (int id = 0; id < kParamCount; ++id)
                    if (inst->articulation.isSet(id) && !layer->articulation.isSet(id))
                        setParam(layer->articulation, id, inst->articulation.values[id]);
            initBlock(inst->articulation);
        }
        if (!regionLevel)
            for (Layer* layer : Children<Layer>(*inst)) FoldRegions(*inst, *layer);
        if (layerLevel && instrumentLevel) moveUpIfEqual(*inst, true, 0, kParamCount, false);
        if (!layerLevel) {
            for (Layer* layer : Children<Layer>(*inst)) {
                if (!layer->articulation.anySet()) continue;
                for (Region* region : Children<Region>(*layer))
                    for (int id = 0; id < kParamCount; ++id)
                        if (layer->articulation.isSet(id) && !region->articulation.isSet(id))
                            setParam(region->articulation, id, layer->articulation.values[id]);
                layer->articulation = inst->articulation;
                layer->articulation.clearMask();
            }
        }
    }
}

void RunInstrumentLoadOptionsBeforeStereo(Collection& collection) {
    const LoadSettings& load = GlobalSettings().load;
    if (!load.bAutoMoveArticulation && !load.bAutoMoveTriggerParams) return;
    // Layers are reached through their Instruments: one walk of the
    // collection instead of one per item type.
    for (Instrument* inst : ItemsOf<Instrument>(collection)) {
        std::vector<Layer*> layers = Children<Layer>(*inst);
        if (load.bAutoMoveArticulation) {
            for (Layer* layer : layers) moveUpIfEqual(*layer, true, 0, kParamCount, false);
            moveUpIfEqual(*inst, true, 0, kParamCount, false);
        }
        if (load.bAutoMoveTriggerParams)
            for (Layer* layer : layers) moveTriggersUp(*layer, true);
    }
}

void RunInstrumentLoadOptionsAfterStereo(Collection& collection) {
    if (!GlobalSettings().load.bAutoCompactLayers) return;
    for (Instrument* inst : ItemsOf<Instrument>(collection)) {
        // Each later Layer joins the first earlier one it fits into; the
        // cells of every Layer are gathered once.
        std::vector<Layer*> layers = Children<Layer>(*inst);
        std::vector<std::unique_ptr<Cells>> cells;
        for (Layer* layer : layers) {
            cells.push_back(std::make_unique<Cells>());
            cells.back()->add(*layer);
        }
        for (size_t i = 1; i < layers.size(); ++i) {
            for (size_t j = 0; j < i; ++j) {
                if (!layers[j] || !SameTrigger(*layers[j], *layers[i])) continue;
                if (!layers[i]->ids.empty() && cells[j]->overlaps(*cells[i])) continue;
                cells[j]->add(*cells[i]);
                mergeLayers(*layers[j], *layers[i]);
                layers[i] = nullptr;
                break;
            }
        }
    }
}

} // namespace vaxel
