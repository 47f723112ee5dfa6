#pragma once
// Item ids: the top 4 bits name the item type, the low 28 bits a serial.
#include <cstdint>

namespace vaxel {

using ItemId = uint32_t;

enum class ItemType : uint8_t {
    Waveform = 0,
    SynthesisModel = 1,
    Region = 2,
    Layer = 3,
    Instrument = 4,
    Track = 5,
    Song = 6,
    Collection = 7,
};

constexpr int kItemTypeCount = 8;
constexpr ItemId kNoItem = 0xFFFFFFFFu;
constexpr uint32_t kSerialMask = 0x0FFFFFFFu;
// A serial of all ones asks the constructor for the next free serial.
constexpr uint32_t kNewSerial = 0x0FFFFFFFu;
// Given to a Region constructor as its waveform: the region has none.
constexpr uint32_t kNoWaveSerial = 0x0FFFFFFEu;
constexpr ItemId kCollectionId = 0x70000000u;

constexpr ItemType TypeOf(ItemId id) { return ItemType(id >> 28); }
constexpr uint32_t SerialOf(ItemId id) { return id & kSerialMask; }
constexpr ItemId MakeId(ItemType type, uint32_t serial) {
    return (uint32_t(type) << 28) | (serial & kSerialMask);
}

// The text of a type, as used in automatic names ("waveform", "layer", ...).
const char16_t* TypeText(ItemType type);

} // namespace vaxel
