// Flat buffers: what writeFlat writes, readFlat reads back, and a damaged
// image is refused instead of read past its end.
#include <gtest/gtest.h>

#include <vector>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/waveform.h"

namespace vaxel {
namespace {

std::vector<uint8_t> Flatten(const CollectionItem& item) {
    std::vector<uint8_t> buffer(item.flatSize() + 16, 0xCD);
    uint8_t* end = item.writeFlat(buffer.data());
    EXPECT_EQ(size_t(end - buffer.data()), item.flatSize());
    buffer.resize(item.flatSize());
    return buffer;
}

TEST(FlatBuffer, InfoItemLayoutAndRoundTrip) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"Hi");
    w->parentId = 0x12345678;
    w->dataCodingWord = 4;
    w->readerWords[0] = 0xAABBCCDD;
    w->readerWords[1] = 7;
    w->readerWords[2] = 99; // not carried
    w->ids.push_back(0x00000005);
    w->setText(kInfoArtist, u"Me");
    const uint8_t image[] = {1, 2, 3};
    w->setImage(image, 3);

    std::vector<uint8_t> b = Flatten(*w);
    // Base part: id, parent, coding word, two reader words, count, ids.
    ASSERT_GE(b.size(), 28u);
    EXPECT_EQ(b[4], 0x78);
    EXPECT_EQ(b[7], 0x12);
    EXPECT_EQ(b[12], 0xDD);
    EXPECT_EQ(b[20], 1);
    EXPECT_EQ(b[24], 5);
    // Then field 230: number, byte length with terminator, UTF-16 text.
    EXPECT_EQ(b[28], 230);
    EXPECT_EQ(b[30], 6);
    EXPECT_EQ(b[34], 'H');
    EXPECT_EQ(b[36], 'i');
    // Info part: base 28 + name (6 + 6) + artist (6 + 6) + image (6 + 3) + end
    // mark 2; then the wave's own 34 bytes (no samples, no markers).
    EXPECT_EQ(b.size(), 28u + 12 + 12 + 9 + 2 + 34);
    EXPECT_EQ(b[28 + 12 + 12 + 9 + 1], 0xFF);

    Collection d;
    auto* back = dynamic_cast<Waveform*>(d.create(w->id));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->readFlat(b.data(), b.data() + b.size()), b.data() + b.size());
    EXPECT_EQ(std::u16string(back->name()), u"Hi");
    EXPECT_EQ(std::u16string(back->text(kInfoArtist)), u"Me");
    EXPECT_EQ(back->image(), std::vector<uint8_t>(image, image + 3));
    EXPECT_EQ(back->parentId, 0x12345678u);
    EXPECT_EQ(back->readerWords[0], 0xAABBCCDDu);
    EXPECT_EQ(back->readerWords[2], 0u);
    ASSERT_EQ(back->ids.size(), 1u);
    EXPECT_EQ(back->ids[0], 5u);
}

TEST(FlatBuffer, NamedItemsAndTheCollection) {
    Collection c;
    auto* layer = new Layer(c, kNewSerial);
    std::vector<uint8_t> unnamed = Flatten(*layer);
    // "unnamed" and its terminator, then the trigger and articulation blocks.
    EXPECT_EQ(unnamed.size(), 24u + 16 + kTriggerBlockFlatSize + kParameterBlockFlatSize);
    layer->setName(u"Velocity 1   ");
    EXPECT_EQ(std::u16string(layer->name()), u"Velocity 1");
    std::vector<uint8_t> named = Flatten(*layer);
    Collection d;
    CollectionItem* back = d.create(layer->id);
    ASSERT_NE(back->readFlat(named.data(), named.data() + named.size()), nullptr);
    EXPECT_EQ(std::u16string(back->name()), u"Velocity 1");

    c.sourceFormat = 395;
    c.setName(u"Bank");
    std::vector<uint8_t> coll = Flatten(c);
    Collection e;
    ASSERT_NE(e.readFlat(coll.data(), coll.data() + coll.size()), nullptr);
    EXPECT_EQ(e.sourceFormat, 395);
    EXPECT_EQ(std::u16string(e.name()), u"Bank");
}

TEST(FlatBuffer, EveryTruncationIsRefused) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"Name");
    w->setText(kInfoComments, u"A comment");
    for (int i = 0; i < 20; ++i) w->ids.push_back(uint32_t(i));
    std::vector<uint8_t> b = Flatten(*w);
    Collection d;
    auto* back = d.create(w->id);
    for (size_t cut = 0; cut < b.size(); ++cut) {
        std::vector<uint8_t> part(b.begin(), b.begin() + long(cut));
        EXPECT_EQ(back->readFlat(part.data(), part.data() + part.size()), nullptr) << "cut at " << cut;
    }
    // A count of ids far beyond the buffer is refused before any allocation.
    std::vector<uint8_t> lie = b;
    lie[20] = lie[21] = lie[22] = 0xFF;
    lie[23] = 0x3F;
    EXPECT_EQ(back->readFlat(lie.data(), lie.data() + lie.size()), nullptr);
}

} // namespace
} // namespace vaxel
