// The collection: ids, names, ownership, merge, adopt and the post-load pass.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

class CollectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetItemCountersForTesting();
        GlobalSettings() = Settings{};
    }
};

std::u16string Name(const CollectionItem* item) { return item->name(); }

Region* AddRegion(Collection& c, Instrument& inst, Waveform* wave) {
    auto* layer = new Layer(c, kNewSerial);
    inst.addChild(*layer);
    auto* region = new Region(c, kNewSerial, wave ? SerialOf(wave->id) : kNoWaveSerial);
    layer->addChild(*region);
    return region;
}

TEST_F(CollectionTest, NewCollectionHoldsOnlyItself) {
    Collection c;
    EXPECT_EQ(c.size(), 1u);
    EXPECT_EQ(c.id, kCollectionId);
    EXPECT_EQ(c.find(kCollectionId), &c);
    EXPECT_EQ(Name(&c), u"New collection");
    EXPECT_EQ(std::u16string(c.text(kInfoSourceFile)), u"");
    EXPECT_EQ(c.sourceFormat, -1);
    EXPECT_EQ(c.count(ItemType::Collection), 1u);
    EXPECT_EQ(c.first(ItemType::Waveform), nullptr);
}

TEST_F(CollectionTest, IdsComeFromProcessWideCountersAndSkipTakenOnes) {
    Collection a, b;
    auto* w1 = new Waveform(a, kNewSerial, u"one");
    auto* w2 = new Waveform(b, kNewSerial, u"two");
    // The counter is per type for the whole process, not per collection.
    EXPECT_EQ(w1->id, MakeId(ItemType::Waveform, 1));
    EXPECT_EQ(w2->id, MakeId(ItemType::Waveform, 2));
    // An explicit serial is used as it stands and moves the counter there.
    auto* w9 = new Waveform(a, 9, u"nine");
    EXPECT_EQ(w9->id, MakeId(ItemType::Waveform, 9));
    auto* w10 = new Waveform(a, kNewSerial, u"ten");
    EXPECT_EQ(SerialOf(w10->id), 10u);
    // A taken id is skipped.
    new Waveform(a, 12, u"twelve");
    new Waveform(a, 11, u"eleven"); // counter now at 11, 12 is taken
    auto* next = new Waveform(a, kNewSerial, u"next");
    EXPECT_EQ(SerialOf(next->id), 13u);
    // Other types count on their own.
    auto* inst = new Instrument(a, kNewSerial, u"inst");
    EXPECT_EQ(inst->id, MakeId(ItemType::Instrument, 1));
    EXPECT_EQ(a.count(ItemType::Waveform), 6u);
}

TEST_F(CollectionTest, MapHashIsFnv1aOverTheIdBytes) {
    // Reference values computed outside this code (64-bit FNV-1a of the four
    // bytes, least significant first).
    ItemIdHash h;
    EXPECT_EQ(h(0x70000000u), size_t(0x4d25867f9dce2f25ull));
    EXPECT_EQ(h(0x00000001u), size_t(0xad2aca7747985764ull));
    EXPECT_EQ(h(0x4000002Au), size_t(0x8d9aedc835304c3full));
}

TEST_F(CollectionTest, IterationFollowsCreationOrderAndTypedLookupRebuildsTheId) {
    Collection c;
    auto* w1 = new Waveform(c, kNewSerial, u"a");
    auto* inst = new Instrument(c, kNewSerial, u"i");
    auto* w2 = new Waveform(c, kNewSerial, u"b");
    auto* w3 = new Waveform(c, kNewSerial, u"c");
    std::vector<Waveform*> seen;
    for (Waveform* w : ItemsOf<Waveform>(c)) seen.push_back(w);
    EXPECT_EQ(seen, (std::vector<Waveform*>{w1, w2, w3}));
    // A list entry whose top bits lie is still found as the wanted type.
    EXPECT_EQ(c.find(ItemType::Instrument, SerialOf(inst->id) | 0x30000000u), inst);
    // Untyped lookup makes no type check: serial 1 without type bits is the
    // first Waveform, not the Instrument.
    EXPECT_EQ(c.find(SerialOf(inst->id)), w1);
    delete w2;
    EXPECT_EQ(c.find(MakeId(ItemType::Waveform, SerialOf(w3->id) - 1)), nullptr);
    seen.clear();
    for (Waveform* w : ItemsOf<Waveform>(c)) seen.push_back(w);
    EXPECT_EQ(seen, (std::vector<Waveform*>{w1, w3}));
}

TEST_F(CollectionTest, TextsAreTrimmedAndNamesLoseControlCharacters) {
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"  \t Piano\x01Low  \n");
    EXPECT_EQ(Name(w), u"Piano Low");
    w->setText(kInfoArtist, u"  Someone\0ignored", 17);
    EXPECT_EQ(std::u16string(w->text(kInfoArtist)), u"Someone");
    w->setText(kInfoComments, u"line1\x01", -1);
    EXPECT_EQ(std::u16string(w->text(kInfoComments)), u"line1"); // trailing control chars go
    // The cached 8-bit copies follow a new text.
    w->setText(kInfoCopyright, u"caf\u00e9 \u20ac \u2019");
    EXPECT_STREQ(w->textUtf8(kInfoCopyright), "caf\xc3\xa9 \xe2\x82\xac \xe2\x80\x99");
    EXPECT_STREQ(w->textAnsi(kInfoCopyright), "caf\xe9 E '");
    w->setTextAnsi(kInfoCopyright, "\x80uro");
    EXPECT_EQ(std::u16string(w->text(kInfoCopyright)), u"\u20acuro");
    EXPECT_STREQ(w->textUtf8(kInfoCopyright), "\xe2\x82\xac" "uro");
    // Numbers that are not info fields mean nothing.
    EXPECT_STREQ(reinterpret_cast<const char*>(w->text(229)), "");
}

TEST_F(CollectionTest, EmptyNamesBecomeAutomaticNamesOnlyInTheNameField) {
    Collection c;
    c.setName(u"Bank");
    auto* w = new Waveform(c, kNewSerial, u"\x01\x02   \x1f");
    EXPECT_EQ(Name(w), u"Bank"); // the only wave: no number
    w->setText(kInfoArtist, u" \x01 ");
    EXPECT_EQ(std::u16string(w->text(kInfoArtist)), u"");
    // The second wave counts as 0, which is how the running number works.
    auto* w2 = new Waveform(c, kNewSerial, u"");
    auto* w3 = new Waveform(c, kNewSerial, u"");
    EXPECT_EQ(Name(w2), u"Bank 0");
    EXPECT_EQ(Name(w3), u"Bank 1");
    auto* song = new Song(c, kNewSerial, u"  ");
    EXPECT_EQ(Name(song), u"song");
}

TEST_F(CollectionTest, AutomaticInstrumentNamesUseEnglishOrdinals) {
    Collection c;
    c.setName(u"Kit");
    std::vector<Instrument*> all;
    for (int i = 0; i < 114; ++i) all.push_back(new Instrument(c, kNewSerial, u""));
    EXPECT_EQ(Name(all[0]), u"Kit");
    // Instrument k (k >= 1) gets the running number k - 1.
    EXPECT_EQ(Name(all[1]), u"Kit: 0th instrument");
    EXPECT_EQ(Name(all[2]), u"Kit: 1st instrument");
    EXPECT_EQ(Name(all[3]), u"Kit: 2nd instrument");
    EXPECT_EQ(Name(all[4]), u"Kit: 3rd instrument");
    EXPECT_EQ(Name(all[12]), u"Kit: 11th instrument");
    EXPECT_EQ(Name(all[13]), u"Kit: 12th instrument");
    EXPECT_EQ(Name(all[14]), u"Kit: 13th instrument");
    EXPECT_EQ(Name(all[22]), u"Kit: 21st instrument");
    EXPECT_EQ(Name(all[23]), u"Kit: 22nd instrument");
    EXPECT_EQ(Name(all[24]), u"Kit: 23rd instrument");
    EXPECT_EQ(Name(all[112]), u"Kit: 111st instrument");
    EXPECT_EQ(Name(all[113]), u"Kit: 112nd instrument");
}

TEST_F(CollectionTest, MakeNameUniqueCountsUpButKeepsNoteNames) {
    Collection c;
    auto rename = [&](const char16_t* existing, const char16_t* added) {
        Collection local;
        new Waveform(local, kNewSerial, existing);
        auto* w = new Waveform(local, kNewSerial, added);
        EXPECT_TRUE(local.makeNameUnique(*w));
        return std::u16string(w->name());
    };
    EXPECT_EQ(rename(u"Bass C2", u"Bass C2"), u"Bass C2 1");
    EXPECT_EQ(rename(u"Bass 2", u"Bass 2"), u"Bass 3");
    EXPECT_EQ(rename(u"Drum 9", u"Drum 9"), u"Drum 10");
    EXPECT_EQ(rename(u"Piano F#3", u"Piano F#3"), u"Piano F#3 1");
    EXPECT_EQ(rename(u"PIANO", u"piano"), u"piano 1"); // case is ignored
    EXPECT_EQ(rename(u"7", u"7"), u"8");

    // It keeps counting while the new name clashes too.
    new Waveform(c, kNewSerial, u"Pad");
    new Waveform(c, kNewSerial, u"Pad 1");
    new Waveform(c, kNewSerial, u"Pad 2");
    auto* w = new Waveform(c, kNewSerial, u"Pad");
    EXPECT_TRUE(c.makeNameUnique(*w));
    EXPECT_EQ(Name(w), u"Pad 3");
    EXPECT_FALSE(c.makeNameUnique(*w));
    // A name used by another type is no clash.
    auto* inst = new Instrument(c, kNewSerial, u"Pad");
    EXPECT_FALSE(c.makeNameUnique(*inst));
}

// The batch pass of update must name every item exactly as one
// makeNameUnique call per item, in node order, would.
TEST_F(CollectionTest, MakeNamesUniqueAgreesWithTheOneByOneRule) {
    const char16_t* pool[] = {u"Pad", u"pad 1", u"Pad 2", u"Bass C2", u"Bass C2 1", u"7", u"8", u"PAD", u"x"};
    uint32_t seed = 12345;
    for (int round = 0; round < 50; ++round) {
        Collection one, batch;
        for (int i = 0; i < 30; ++i) {
            seed = seed * 1103515245u + 12345u;
            const char16_t* name = pool[(seed >> 16) % 9];
            new Waveform(one, kNewSerial, name);
            new Waveform(batch, kNewSerial, name);
        }
        for (Waveform* w : ItemsOf<Waveform>(one)) one.makeNameUnique(*w);
        batch.makeNamesUnique(ItemType::Waveform);
        std::vector<std::u16string> a, b;
        for (Waveform* w : ItemsOf<Waveform>(one)) a.push_back(w->name());
        for (Waveform* w : ItemsOf<Waveform>(batch)) b.push_back(w->name());
        ASSERT_EQ(a, b) << "round " << round;
    }
}

TEST_F(CollectionTest, FixUpMovesClashingLocationsToTheNextMajorBank) {
    Collection c;
    auto* a = new Instrument(c, kNewSerial, u"a");
    auto* b = new Instrument(c, kNewSerial, u"b");
    auto* d1 = new Instrument(c, kNewSerial, u"d1");
    auto* d2 = new Instrument(c, kNewSerial, u"d2");
    a->setLocation(0, 0, 0, false);
    b->setLocation(0, 0, 0, false);
    d1->setLocation(0, 0, 0, true);
    d2->setLocation(0, 0, 0, true);
    c.fixUp();
    EXPECT_EQ(a->location, 0u);
    EXPECT_EQ(b->majorBank(), 1u);
    EXPECT_EQ(b->program(), 0u);
    EXPECT_FALSE(b->isDrumKit());
    // The drum flag keeps its place: drum kits do not clash with melodic ones.
    EXPECT_EQ(d1->location, 0x200000u);
    EXPECT_TRUE(d2->isDrumKit());
    EXPECT_EQ(d2->majorBank(), 1u);
    // Past major bank 127 the program goes up.
    auto* e = new Instrument(c, kNewSerial, u"e");
    auto* f = new Instrument(c, kNewSerial, u"f");
    e->setLocation(5, 127, 0, false);
    f->setLocation(5, 127, 0, false);
    c.fixUp();
    EXPECT_EQ(f->program(), 6u);
    EXPECT_EQ(f->majorBank(), 0u);
}

TEST_F(CollectionTest, DeletingAnInstrumentTakesItsTreeButNotItsWaves) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"w");
    wave->frames = 10;
    auto* inst = new Instrument(c, kNewSerial, u"i");
    Region* r1 = AddRegion(c, *inst, wave);
    Region* r2 = AddRegion(c, *inst, wave);
    auto* model = new SynthesisModel(c, kNewSerial);
    model->parentId = r2->id;
    r2->ids.push_back(model->id);
    ItemId layer1 = r1->parentId;
    EXPECT_EQ(c.count(ItemType::Layer), 2u);

    // A Region leaves its Layer's list when deleted; the Layer stays.
    delete r1;
    auto* l1 = c.find(layer1);
    ASSERT_NE(l1, nullptr);
    EXPECT_TRUE(l1->ids.empty());

    ItemId modelId = model->id;
    delete inst;
    EXPECT_EQ(c.count(ItemType::Instrument), 0u);
    EXPECT_EQ(c.count(ItemType::Layer), 0u);
    EXPECT_EQ(c.count(ItemType::Region), 0u);
    EXPECT_EQ(c.find(modelId), nullptr);
    EXPECT_EQ(c.count(ItemType::Waveform), 1u);
    EXPECT_EQ(c.find(wave->id), wave);
}

TEST_F(CollectionTest, DamagedChildListsNeverReachOtherKindsOfItem) {
    // Lists read back from a flat image may hold anything. Children are
    // followed only as their own type: a Layer deletes Regions, never the
    // collection, a wave or another Layer.
    auto c = std::make_unique<Collection>();
    auto* wave = new Waveform(*c, kNewSerial, u"w");
    auto* inst = new Instrument(*c, kNewSerial, u"i");
    auto* layer = new Layer(*c, kNewSerial);
    inst->addChild(*layer);
    auto* other = new Layer(*c, kNewSerial);
    layer->ids.push_back(kCollectionId);
    layer->ids.push_back(wave->id);
    layer->ids.push_back(other->id);
    layer->ids.push_back(layer->id);
    auto* song = new Song(*c, kNewSerial, u"s");
    song->ids.push_back(song->id);
    delete inst;
    delete song;
    EXPECT_EQ(c->find(kCollectionId), c.get());
    EXPECT_EQ(c->find(wave->id), wave);
    EXPECT_EQ(c->find(other->id), other);
    EXPECT_EQ(c->count(ItemType::Layer), 1u);
}

TEST_F(CollectionTest, ClonesCopyWhatTheSourceOwnsAndShareWaves) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"w");
    auto* inst = new Instrument(c, kNewSerial, u"Grand");
    inst->setLocation(3, 1, 2, false);
    inst->setText(kInfoArtist, u"me");
    Region* r = AddRegion(c, *inst, wave);
    r->trigger.keyLow = 10;
    auto* model = new SynthesisModel(c, kNewSerial);
    model->parentId = r->id;
    r->ids.push_back(model->id);

    Collection other;
    auto* copy = new Instrument(other, *inst);
    EXPECT_NE(copy->id, inst->id);
    EXPECT_EQ(copy->location, inst->location);
    EXPECT_EQ(std::u16string(copy->text(kInfoArtist)), u"me");
    ASSERT_EQ(copy->ids.size(), 1u);
    auto* layer = other.find(copy->ids[0]);
    ASSERT_NE(layer, nullptr);
    EXPECT_EQ(layer->parentId, copy->id);
    ASSERT_EQ(layer->ids.size(), 1u);
    auto* region = dynamic_cast<Region*>(other.find(layer->ids[0]));
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(region->trigger.keyLow, 10);
    EXPECT_EQ(region->ids[0], wave->id); // the wave is shared by id
    EXPECT_NE(region->ids[1], model->id); // the model is a copy
    EXPECT_NE(other.find(region->ids[1]), nullptr);
    EXPECT_EQ(other.count(ItemType::SynthesisModel), 1u);
}

TEST_F(CollectionTest, ClearLeavesAnEmptyNamedCollection) {
    Collection c;
    c.setName(u"Loaded");
    c.setText(kInfoSourceFile, u"/tmp/x.sf2");
    c.sourceFormat = 395;
    auto* song = new Song(c, kNewSerial, u"s");
    auto* t = new Track(c, kNewSerial);
    song->addChild(*t);
    new Waveform(c, kNewSerial, u"w");
    new Layer(c, kNewSerial); // owned by nobody
    c.clear();
    EXPECT_EQ(c.size(), 1u);
    EXPECT_EQ(Name(&c), u"New collection");
    EXPECT_EQ(std::u16string(c.text(kInfoSourceFile)), u"");
    EXPECT_EQ(c.sourceFormat, -1);
    for (int t2 = 0; t2 < 7; ++t2) EXPECT_EQ(c.count(ItemType(t2)), 0u);
}

TEST_F(CollectionTest, MergeRenumbersEverythingAndKeepsRelationsIntact) {
    Collection target;
    auto* existing = new Instrument(target, kNewSerial, u"Piano");
    existing->setLocation(0, 0, 0, false);
    new Waveform(target, kNewSerial, u"Tone");

    Collection source;
    auto* song = new Song(source, kNewSerial, u"Tune");
    for (int i = 0; i < 3; ++i) {
        auto* track = new Track(source, kNewSerial);
        track->eventCount = 1;
        song->addChild(*track);
    }
    auto* wave = new Waveform(source, kNewSerial, u"Tone");
    auto* inst = new Instrument(source, kNewSerial, u"piano");
    inst->setLocation(0, 0, 0, false);
    auto* drum = new Instrument(source, kNewSerial, u"Kit");
    drum->setLocation(0, 0, 0, true);
    Region* region = AddRegion(source, *inst, wave);
    ItemId oldSong = song->id, oldWave = wave->id;

    target.merge(source);

    EXPECT_EQ(source.size(), 1u);
    EXPECT_EQ(source.find(kCollectionId), &source);
    EXPECT_EQ(&song->collection(), &target);
    EXPECT_NE(song->id, oldSong); // renumbered although nothing clashed
    EXPECT_EQ(target.find(song->id), song);
    ASSERT_EQ(song->ids.size(), 3u);
    for (ItemId t : song->ids) {
        auto* track = target.find(t);
        ASSERT_NE(track, nullptr);
        EXPECT_EQ(track->parentId, song->id);
    }
    EXPECT_NE(wave->id, oldWave);
    EXPECT_EQ(region->waveform(), wave);
    EXPECT_EQ(target.find(region->parentId)->parentId, inst->id);
    // The clashing melodic instrument moved; the drum kit had no clash.
    EXPECT_NE(inst->location, existing->location);
    EXPECT_EQ(drum->location, 0x200000u);
    // Unique names apply to the moved waves and instruments.
    EXPECT_EQ(Name(wave), u"Tone 1");
    EXPECT_EQ(Name(inst), u"piano 1");
    EXPECT_EQ(target.count(ItemType::Track), 3u);
    EXPECT_EQ(target.count(ItemType::Instrument), 3u);
}

TEST_F(CollectionTest, AdoptTakesTheWholeContents) {
    Collection target, other;
    new Waveform(target, kNewSerial, u"old");
    other.setName(u"Other");
    other.sourceFormat = 246;
    other.readerWords[0] = 77;
    auto* w = new Waveform(other, kNewSerial, u"w");
    ItemId wid = w->id;
    target.adopt(other);
    EXPECT_EQ(target.find(wid), w);
    EXPECT_EQ(&w->collection(), &target);
    EXPECT_EQ(target.count(ItemType::Waveform), 1u);
    EXPECT_EQ(Name(&target), u"Other");
    EXPECT_EQ(target.sourceFormat, 246);
    EXPECT_EQ(target.readerWords[0], 77u);
    EXPECT_EQ(target.find(kCollectionId), &target);
    EXPECT_EQ(other.size(), 1u);
    EXPECT_EQ(other.find(kCollectionId), &other);
    EXPECT_EQ(target.first(ItemType::Waveform), w);
}

TEST_F(CollectionTest, UpdateRemovesEmptyItemsBottomUp) {
    Collection c;
    test::RecordingStatusLine status;
    SetStatusLine(&status);
    auto* empty = new Waveform(c, kNewSerial, u"silent"); // no frames
    auto* good = new Waveform(c, kNewSerial, u"good");
    good->frames = 100;
    auto* inst = new Instrument(c, kNewSerial, u"i");
    AddRegion(c, *inst, empty);
    auto* inst2 = new Instrument(c, kNewSerial, u"j");
    AddRegion(c, *inst2, good);
    auto* song = new Song(c, kNewSerial, u"s");
    auto* silentTrack = new Track(c, kNewSerial);
    song->addChild(*silentTrack);

    c.update(-1, true);
    SetStatusLine(nullptr);

    // The empty wave went, so its region, layer and instrument went too.
    EXPECT_EQ(c.count(ItemType::Waveform), 1u);
    EXPECT_EQ(c.count(ItemType::Instrument), 1u);
    EXPECT_EQ(c.first(ItemType::Instrument), inst2);
    EXPECT_EQ(c.count(ItemType::Region), 1u);
    EXPECT_EQ(c.count(ItemType::Track), 0u);
    EXPECT_EQ(c.count(ItemType::Song), 0u);
    ASSERT_FALSE(status.entries.empty());
    EXPECT_EQ(status.entries.front().text, u"Fixing up items");
    EXPECT_EQ(status.entries.back().mode, kStatusClearProgress);
}

TEST_F(CollectionTest, AnEmptiedLayerLivesUntilAnUpdateThatRemovesLayers) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"w");
    wave->frames = 8;
    auto* inst = new Instrument(c, kNewSerial, u"i");
    Region* r = AddRegion(c, *inst, wave);
    AddRegion(c, *inst, wave);
    delete r;
    EXPECT_EQ(c.count(ItemType::Layer), 2u);
    c.update(1 << int(ItemType::Region), false);
    EXPECT_EQ(c.count(ItemType::Layer), 2u);
    c.update(1 << int(ItemType::Layer), false);
    EXPECT_EQ(c.count(ItemType::Layer), 1u);
    EXPECT_EQ(inst->ids.size(), 1u);
}

TEST_F(CollectionTest, UpdateDropsRegionOverridesThatAddNothing) {
    Collection c;
    auto* wave = new Waveform(c, kNewSerial, u"w");
    wave->frames = 1000;
    wave->rootKey = 64;
    LoopRecord whole{};
    whole.kind = 1;
    whole.start = 0;
    whole.end = 1000;
    whole.markerId = 5;
    LoopRecord loop{};
    loop.kind = 2;
    loop.start = 100;
    loop.end = 900;
    loop.loopType = 1;
    loop.markerId = 6;
    wave->markers = {whole, loop};
    wave->mainLoopId = 6;
    auto* inst = new Instrument(c, kNewSerial, u"i");
    Region* r = AddRegion(c, *inst, wave);
    r->rootOverride = 64;
    r->playSection = 5;
    r->loopSection = 6;
    Region* keep = AddRegion(c, *inst, wave);
    keep->rootOverride = 60;
    keep->loopSection = 0; // "no loop" means something while the wave loops
    c.update(0, true);
    EXPECT_EQ(r->rootOverride, -1);
    EXPECT_EQ(r->playSection, 0u);
    EXPECT_EQ(r->loopSection, 0xFFFFFFFFu);
    EXPECT_EQ(keep->rootOverride, 60);
    EXPECT_EQ(keep->loopSection, 0u);
    // Once the wave has no loop, "no loop" adds nothing either.
    wave->mainLoopId = 0;
    c.update(0, true);
    EXPECT_EQ(keep->loopSection, 0xFFFFFFFFu);
}

TEST_F(CollectionTest, UpdateAppliesUniqueNamesWhenTheOptionIsOn) {
    Collection c;
    auto* a = new Waveform(c, kNewSerial, u"Kick");
    auto* b = new Waveform(c, kNewSerial, u"Kick");
    a->frames = b->frames = 4;
    GlobalSettings().load.bEnsureUniqueNames = false;
    c.update(-1, true);
    EXPECT_EQ(Name(b), u"Kick");
    GlobalSettings().load.bEnsureUniqueNames = true;
    c.update(-1, true);
    // Each wave in turn is renamed while another has its name, so the first
    // of the two moves.
    EXPECT_EQ(Name(a), u"Kick 1");
    EXPECT_EQ(Name(b), u"Kick");
}

TEST_F(CollectionTest, CreateMakesEmptyItemsForReadingBack) {
    Collection c;
    auto* region = dynamic_cast<Region*>(c.create(MakeId(ItemType::Region, 40)));
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(region->id, MakeId(ItemType::Region, 40));
    EXPECT_EQ(region->trigger.keyLow, 0);
    EXPECT_EQ(region->trigger.keyHigh, 127);
    EXPECT_EQ(region->waveform(), nullptr);
    EXPECT_TRUE(region->ids.empty());
    EXPECT_NE(dynamic_cast<Song*>(c.create(MakeId(ItemType::Song, 1))), nullptr);
    EXPECT_EQ(c.create(MakeId(ItemType::Collection, 3)), nullptr);
    EXPECT_EQ(c.create(0x90000001u), nullptr);
}

} // namespace
} // namespace vaxel
