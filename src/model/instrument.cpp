// Instruments, Layers, Regions and SynthesisModels: construction, clones and
// destruction, and who owns what.
#include "model/instrument.h"

#include "model/collection.h"
#include "model/waveform.h"

namespace vaxel {

// ---------------------------------------------------------------- Instrument

Instrument::Instrument(Collection& c, uint32_t serial, const char16_t* name, int length)
    : InfoItem(c, ItemType::Instrument, serial) {
    location = serial == kNewSerial ? 0 : (serial & 0x7F);
    setName(name, length);
}

Instrument::Instrument(Collection& c, uint32_t serial, const char* ansiName, int length)
    : InfoItem(c, ItemType::Instrument, serial) {
    location = serial == kNewSerial ? 0 : (serial & 0x7F);
    setNameAnsi(ansiName, length);
}

Instrument::Instrument(Collection& c, const Instrument& s) : InfoItem(c, s), location(s.location) {
    ids.clear();
    for (ItemId layerId : s.ids) {
        auto* layer = dynamic_cast<Layer*>(s.collection().find(ItemType::Layer, layerId));
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

// ---------------------------------------------------------------- Layer

Layer::Layer(Collection& c, uint32_t serial) : NamedItem(c, ItemType::Layer, serial) {}

Layer::Layer(Collection& c, const Layer& s) : NamedItem(c, s) {
    ids.clear();
    for (ItemId regionId : s.ids) {
        auto* region = dynamic_cast<Region*>(s.collection().find(ItemType::Region, regionId));
        if (!region) continue;
        auto* copy = new Region(c, *region);
        addChild(*copy);
    }
}

Layer::~Layer() {
    unhookFromParent();
    deleteChildren(ItemType::Region);
}

// ---------------------------------------------------------------- Region

Region::Region(Collection& c, uint32_t serial, uint32_t waveSerial) : NamedItem(c, ItemType::Region, serial) {
    if (waveSerial != kNoWaveSerial) ids.push_back(MakeId(ItemType::Waveform, waveSerial));
}

Region::Region(Collection& c, const Region& s)
    : NamedItem(c, s), keyLow(s.keyLow), keyHigh(s.keyHigh), velocityLow(s.velocityLow),
      velocityHigh(s.velocityHigh), rootOverride(s.rootOverride), playSection(s.playSection),
      loopSection(s.loopSection), phaseGroup(s.phaseGroup), phaseMaster(s.phaseMaster) {
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

Waveform* Region::waveform() const {
    for (ItemId entry : ids)
        if (TypeOf(entry) == ItemType::Waveform) return dynamic_cast<Waveform*>(collection().find(entry));
    return nullptr;
}

// ---------------------------------------------------------------- SynthesisModel

SynthesisModel::SynthesisModel(Collection& c, uint32_t serial)
    : NamedItem(c, ItemType::SynthesisModel, serial) {}
SynthesisModel::SynthesisModel(Collection& c, const SynthesisModel& s) : NamedItem(c, s), kind(s.kind) {}
SynthesisModel::~SynthesisModel() {
    unhookFromParent();
}

} // namespace vaxel
