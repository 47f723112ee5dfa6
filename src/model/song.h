#pragma once
// Song and Track: a MIDI-like sequence whose tracks keep their events as the
// byte string of a Standard MIDI file track body.
#include <cstdint>
#include <vector>

#include "model/item.h"

namespace vaxel {

class Song : public InfoItem {
public:
    static constexpr ItemType kType = ItemType::Song;

    Song(Collection& collection, uint32_t serial, const char16_t* name, int length = -1);
    Song(Collection& collection, uint32_t serial, const char* ansiName, int length = -1);
    Song(Collection& collection, const Song& source); // clones its Tracks
    ~Song() override;

    uint16_t format = 1;
    uint16_t division = 24;
};

class Track : public NamedItem {
public:
    static constexpr ItemType kType = ItemType::Track;

    Track(Collection& collection, uint32_t serial, const char16_t* name = nullptr, int length = -1);
    Track(Collection& collection, const Track& source);
    ~Track() override;

    uint8_t port = 0;
    uint8_t reserved = 0xFF;
    uint32_t eventCount = 0;
    std::vector<uint8_t> data;
};

} // namespace vaxel
