// Undo states: a collection of every item kind through a state file and
// back, damaged and foreign files, the walk of Undo and Redo over each kind
// of step, the bounded history, the temporary state of a save and "Last
// session".
#include "fileio/undo_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "fileio/open_save.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/param_table.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;

// Every item's flat image, in the order a state file holds them, the
// collection's last: two collections with equal lists hold the same things.
std::vector<std::pair<ItemId, std::vector<uint8_t>>> Images(const Collection& c) {
    std::vector<std::pair<ItemId, std::vector<uint8_t>>> out;
    auto take = [&](const CollectionItem& item) {
        std::vector<uint8_t> bytes(item.flatSize());
        item.writeFlat(bytes.data());
        out.emplace_back(item.id, std::move(bytes));
    };
    for (int t = 0; t < 7; ++t)
        for (CollectionItem* item = c.first(ItemType(t)); item; item = c.next(item, ItemType(t))) take(*item);
    take(c);
    return out;
}

std::vector<std::string> StateFiles(const fs::path& folder) {
    std::vector<std::string> names;
    if (!fs::exists(folder)) return names;
    for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

class UndoStates : public ::testing::Test {
  protected:
    void SetUp() override {
        startFolder = fs::current_path();
        InstallFormats();
        SetStateFolder(states.path());
        ResetUndoNumbersForTesting();
    }
    void TearDown() override {
        SetStateFolder({});
        fs::current_path(startFolder);
        GlobalSettings().app.bPersistentState = false;
    }

    // A collection of every kind: a wave read from a file made by sox whose
    // samples stay on disk, a wave whose samples live only in memory, an
    // instrument with two layers of regions and articulation on each level,
    // and a song with two tracks.
    void Build(Collection& c) {
        test::RequireTool("sox");
        const fs::path tone = files.path() / "tone.wav";
        ASSERT_EQ(
            test::Run("sox -n -r 8000 -b 16 -c 1 " + test::Quote(tone.string()) + " synth 0.05 sine 440"), 0);
        ASSERT_EQ(openFile(c, tone, true), 1) << LastErrorUtf8();
        deferred = static_cast<Waveform*>(c.first(ItemType::Waveform));
        ASSERT_TRUE(deferred);
        ASSERT_FALSE(deferred->hasSamples());

        edited = new Waveform(c, kNewSerial, u"edited");
        edited->frames = 100;
        edited->channels = 2;
        edited->sampleRate = 44100;
        float* data = edited->allocateSamples();
        ASSERT_TRUE(data);
        for (int i = 0; i < 200; ++i) data[i] = float(i) / 256.0f - 0.3f;
        edited->rootKey = 57;
        edited->gain = -3.5f;
        LoopInfo loop;
        loop.loopType = 1;
        loop.start = 10;
        loop.end = 90;
        edited->addLoop(loop, u"sustain", true, false);
        edited->addMarker(42, u"hit");

        auto* inst = new Instrument(c, kNewSerial, u"keys");
        inst->setLocation(5, 1, 0, false);
        inst->setValue(kParamVolume, -6.0f);
        Region* low = addRegion(*inst, deferred->id, 0x3B00, 0xFFFF, 60);
        Region* high = addRegion(*inst, edited->id, 0x7F3C, 0xFFFF, -1);
        Region* soft = addRegion(*inst, edited->id, 0x7F3C, 0x3F00, -1, 7);
        ASSERT_TRUE(low && high && soft);
        low->setValue(kParamCutoff, 1200.0f);
        soft->layer()->setValue(kParamPan, 0.25f);
        inst->setText(kInfoComments, u"made for the state test");

        auto* song = new Song(c, kNewSerial, u"tune");
        song->division = 96;
        for (int i = 0; i < 2; ++i) {
            auto* track = new Track(c, kNewSerial, i ? u"melody" : u"tempo");
            const uint8_t events[] = {
                0x00, 0x90, uint8_t(60 + i), 0x40, 0x60, 0x80, uint8_t(60 + i), 0x00, 0x00, 0xFF, 0x2F, 0x00};
            track->setEvents(events, sizeof events);
            track->port = uint8_t(i);
            song->addChild(*track);
        }
        c.setName(u"state test");
    }

    fs::path startFolder;
    test::TempDir states;
    test::TempDir files;
    Waveform* deferred = nullptr;
    Waveform* edited = nullptr;
};

TEST_F(UndoStates, AStateFileCarriesEveryItemAndTheDeferredWavesReadTheirFileAgain) {
    Collection c;
    Build(c);
    const auto before = Images(c);
    const ItemId lastWave = edited->id;
    ASSERT_EQ(saveState(c, u"round trip"), 1) << LastErrorUtf8();
    EXPECT_EQ(StateFiles(states.path()), std::vector<std::string>{"round trip.vxs"});

    // The state file layout: magic, version hash, count with the collection.
    const std::vector<uint8_t> file = test::ReadFile(states.path() / "round trip.vxs");
    ASSERT_GT(file.size(), 12u);
    EXPECT_EQ(std::memcmp(file.data(), "VxSt", 4), 0);
    uint32_t hash, count;
    std::memcpy(&hash, &file[4], 4);
    std::memcpy(&count, &file[8], 4);
    EXPECT_EQ(hash, StateVersionHash());
    EXPECT_EQ(count, c.size());
    uint32_t firstId;
    std::memcpy(&firstId, &file[12], 4);
    EXPECT_EQ(TypeOf(firstId), ItemType::Waveform);

    // New items move the id counters on; the load puts them back to the
    // last id of each type it read.
    for (int i = 0; i < 3; ++i) new Waveform(c, kNewSerial, u"later");
    Collection other;
    test::RecordingStatusLine status;
    StatusLine* old = SetStatusLine(&status);
    ASSERT_EQ(loadState(other, u"round trip"), 1) << LastErrorUtf8();
    SetStatusLine(old);
    ASSERT_FALSE(status.entries.empty());
    EXPECT_EQ(status.entries.back().text, u"Loaded state");

    EXPECT_EQ(Images(other), before);
    EXPECT_EQ(other.nextFreeId(ItemType::Waveform), MakeId(ItemType::Waveform, SerialOf(lastWave) + 1));

    // Structure, through the model rather than bytes.
    auto* wave = static_cast<Waveform*>(other.find(deferred->id));
    auto* memory = static_cast<Waveform*>(other.find(edited->id));
    ASSERT_TRUE(wave && memory);
    EXPECT_FALSE(wave->hasSamples());
    ASSERT_TRUE(memory->hasSamples());
    EXPECT_EQ(std::memcmp(memory->samples()->data, edited->samples()->data, 200 * sizeof(float)), 0);
    ASSERT_TRUE(memory->mainLoop());
    EXPECT_EQ(memory->mainLoop()->start, 10u);
    EXPECT_EQ(std::u16string(memory->mainLoop()->name), u"sustain");
    auto* inst = static_cast<Instrument*>(other.first(ItemType::Instrument));
    ASSERT_TRUE(inst);
    EXPECT_EQ(inst->getValue(kParamVolume), -6.0f);
    EXPECT_EQ(inst->program(), 5u);
    EXPECT_EQ(inst->ids.size(), 2u);
    Layer* second = inst->layerAt(1);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->getValue(kParamPan), 0.25f);
    ASSERT_TRUE(inst->layerAt(0) && inst->layerAt(0)->regionAt(0));
    Region* low = inst->layerAt(0)->regionAt(0);
    EXPECT_EQ(low->waveform(), wave);
    EXPECT_EQ(low->getValue(kParamCutoff), 1200.0f);
    auto* song = static_cast<Song*>(other.first(ItemType::Song));
    ASSERT_TRUE(song && song->track(1));
    EXPECT_EQ(song->division, 96);
    EXPECT_EQ(std::u16string(song->track(1)->name()), u"melody");
    EXPECT_EQ(song->track(1)->eventCount, 3u);
    EXPECT_EQ(std::u16string(other.name()), u"state test");

    // The wave that was left on disk reads its file again, to the same floats.
    ASSERT_TRUE(deferred->lockSamples()) << LastErrorUtf8();
    ASSERT_TRUE(wave->lockSamples()) << LastErrorUtf8();
    ASSERT_EQ(wave->frames, deferred->frames);
    EXPECT_EQ(std::memcmp(wave->samples()->data, deferred->samples()->data, wave->frames * sizeof(float)), 0);
}

TEST_F(UndoStates, DamagedAndForeignStatesAreRefusedWithTheCollectionUntouched) {
    Collection source;
    Build(source);
    std::vector<uint8_t> good;
    ASSERT_TRUE(WriteStateImage(source, good));

    Collection target;
    new Waveform(target, kNewSerial, u"keep me");
    const auto kept = Images(target);
    auto refused = [&](const std::vector<uint8_t>& bytes, const char* what) {
        SCOPED_TRACE(what);
        ClearLastError();
        EXPECT_EQ(ReadStateImage(target, bytes.data(), bytes.size()), 0);
        EXPECT_EQ(std::u16string(LastError()), u"Wrong state version");
        EXPECT_EQ(Images(target), kept);
        EXPECT_EQ(RestoreStateInPlace(target, bytes.data(), bytes.size()), 0);
        EXPECT_EQ(Images(target), kept);
    };

    // Another build: the hash differs. Another file: the magic differs.
    auto foreign = good;
    foreign[4] ^= 1;
    refused(foreign, "hash");
    auto riff = good;
    std::memcpy(riff.data(), "RIFF", 4);
    refused(riff, "magic");
    // Counts that promise more or fewer images than there are.
    auto more = good;
    more[8] += 1;
    refused(more, "count too high");
    auto fewer = good;
    fewer[8] -= 1;
    refused(fewer, "count too low");
    auto trailing = good;
    trailing.push_back(0);
    refused(trailing, "trailing byte");
    // Two images with one id.
    auto twice = good;
    const size_t second = 12 + source.first(ItemType::Waveform)->flatSize();
    std::memcpy(&twice[second], &twice[12], 4);
    refused(twice, "duplicate id");
    // Every cut of the file, a byte at a time through the head and the
    // smaller images, then in strides through the samples.
    for (size_t cut = 0; cut < good.size(); cut += cut < 4096 ? 1 : 61) {
        std::vector<uint8_t> part(good.begin(), good.begin() + ptrdiff_t(cut));
        EXPECT_EQ(ReadStateImage(target, part.data(), part.size()), 0) << "cut at " << cut;
    }
    EXPECT_EQ(Images(target), kept);

    // Through the files: a foreign state fails with the same words, an empty
    // one quietly, a missing one is not there.
    test::WriteFile(states.path() / "old.vxs", foreign);
    EXPECT_TRUE(stateExists(u"old"));
    EXPECT_EQ(loadState(target, u"old"), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Wrong state version");
    test::WriteFile(states.path() / "empty.vxs", std::string());
    EXPECT_EQ(loadState(target, u"empty"), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Could not open file");
    EXPECT_FALSE(stateExists(u"missing"));
    EXPECT_EQ(Images(target), kept);
}

TEST_F(UndoStates, WholeStepsWalkBackAndForthAndANewStepCutsTheRedoBranch) {
    Collection c;
    Build(c);
    UndoStore store(c);
    int changes = 0;
    store.changed = [&] { ++changes; };
    const auto original = Images(c);

    EXPECT_EQ(store.undoText(), u"");
    EXPECT_FALSE(store.undo());
    ASSERT_NE(store.pushWholeState(u"Rename"), 0u) << LastErrorUtf8();
    c.first(ItemType::Waveform)->setName(u"renamed");
    const auto renamed = Images(c);
    ASSERT_NE(store.pushWholeState(), 0u);
    delete c.first(ItemType::Instrument);
    const auto deleted = Images(c);
    EXPECT_EQ(store.undoText(), u"Undo: Edit all");
    EXPECT_EQ(StateFiles(states.path()), (std::vector<std::string>{"Undo state 1.vxs", "Undo state 2.vxs"}));
    EXPECT_EQ(changes, 2);

    ASSERT_TRUE(store.undo()) << LastErrorUtf8();
    EXPECT_EQ(Images(c), renamed);
    EXPECT_EQ(store.undoText(), u"Undo: Rename");
    EXPECT_EQ(store.redoText(), u"Redo: Edit all");
    ASSERT_TRUE(store.undo());
    EXPECT_EQ(Images(c), original);
    EXPECT_FALSE(store.canUndo());
    ASSERT_TRUE(store.redo()) << LastErrorUtf8();
    EXPECT_EQ(Images(c), renamed);
    ASSERT_TRUE(store.redo());
    EXPECT_EQ(Images(c), deleted);
    EXPECT_FALSE(store.redo());
    // One file per step, whatever the walk made.
    EXPECT_EQ(StateFiles(states.path()).size(), 2u);

    // Back one step, then a new edit: the step that Redo could reach goes,
    // and its file with it.
    ASSERT_TRUE(store.undo());
    ASSERT_NE(store.pushWholeState(u"Other"), 0u);
    EXPECT_FALSE(store.canRedo());
    EXPECT_EQ(store.stepCount(), 2u);
    EXPECT_EQ(StateFiles(states.path()).size(), 2u);
    EXPECT_EQ(store.label(1), u"Other");

    store.clear();
    EXPECT_EQ(store.stepCount(), 0u);
    EXPECT_TRUE(StateFiles(states.path()).empty());
}

TEST_F(UndoStates, TheHistoryKeepsItsBoundAndDeletesTheOldestFiles) {
    Collection c;
    new Waveform(c, kNewSerial, u"w");
    {
        UndoStore store(c);
        store.setMaxSteps(3);
        for (int i = 0; i < 5; ++i) {
            ASSERT_NE(store.pushWholeState(), 0u);
            c.first(ItemType::Waveform)->setName(std::u16string(1, char16_t(u'a' + i)).c_str());
        }
        EXPECT_EQ(store.stepCount(), 3u);
        EXPECT_EQ(StateFiles(states.path()),
                  (std::vector<std::string>{"Undo state 3.vxs", "Undo state 4.vxs", "Undo state 5.vxs"}));
        // Three steps back reach the name before the third edit, no further.
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(store.undo());
        EXPECT_FALSE(store.undo());
        EXPECT_EQ(std::u16string(c.first(ItemType::Waveform)->name()), u"b");
    }
    // The store's end takes its files along.
    EXPECT_TRUE(StateFiles(states.path()).empty());

    // A numbered file that is already there (another instance's) is passed
    // over and left alone.
    ResetUndoNumbersForTesting();
    test::WriteFile(states.path() / "Undo state 1.vxs", std::string("not ours"));
    {
        UndoStore store(c);
        ASSERT_NE(store.pushWholeState(), 0u);
        EXPECT_EQ(store.stateFile(0).filename().string(), "Undo state 2.vxs");
    }
    EXPECT_EQ(StateFiles(states.path()), std::vector<std::string>{"Undo state 1.vxs"});
    const std::vector<uint8_t> theirs = test::ReadFile(states.path() / "Undo state 1.vxs");
    EXPECT_EQ(std::string(theirs.begin(), theirs.end()), "not ours");

    // A folder that can't be made: the push fails with a sentence, adds no
    // step and leaves nothing behind.
    test::WriteFile(files.path() / "plain file", std::string("x"));
    SetStateFolder(files.path() / "plain file" / "states");
    UndoStore store(c);
    ClearLastError();
    EXPECT_EQ(store.pushWholeState(u"Rename"), 0u);
    EXPECT_NE(std::u16string(LastError()), u"");
    EXPECT_EQ(store.stepCount(), 0u);
    EXPECT_EQ(store.undoText(), u"");
}

TEST_F(UndoStates, ItemAndMarkerStepsRestoreWhatTheyHold) {
    Collection c;
    Build(c);
    UndoStore store(c);

    // An item step over the edited wave: samples and fields come back, and
    // Redo returns the edit.
    const auto original = Images(c);
    const ItemId id = edited->id;
    const uint32_t step = store.pushItemState({id, kNoItem, id}, u"Normalize");
    ASSERT_NE(step, 0u);
    EXPECT_EQ(store.kind(0), UndoKind::Items);
    edited->lockSamplesForWrite()[5] = 0.75f;
    edited->gain = 2.0f;
    const auto changed = Images(c);
    ASSERT_TRUE(store.undo());
    EXPECT_EQ(Images(c), original);
    EXPECT_EQ(c.find(id), edited); // put back in place
    ASSERT_TRUE(store.redo());
    EXPECT_EQ(Images(c), changed);

    // A step over an item that is deleted afterwards makes it again, under
    // its parent.
    Region* region = static_cast<Instrument*>(c.first(ItemType::Instrument))->layerAt(0)->regionAt(0);
    ASSERT_TRUE(region);
    const ItemId regionId = region->id, layerId = region->parentId;
    ASSERT_NE(store.pushItemState({regionId}, u"Delete"), 0u);
    delete region;
    EXPECT_FALSE(c.find(regionId));
    ASSERT_TRUE(store.undo());
    ASSERT_TRUE(c.find(regionId));
    const IdList& siblings = c.find(layerId)->ids;
    EXPECT_TRUE(std::find(siblings.begin(), siblings.end(), regionId) != siblings.end());
    // Redo deletes it again, as the edit did.
    ASSERT_TRUE(store.redo());
    EXPECT_FALSE(c.find(regionId));

    // A tool run without effect drops its step; an older step can't be dropped.
    const size_t steps = store.stepCount();
    const uint32_t idle = store.pushItemState({id}, u"Reverse");
    EXPECT_FALSE(store.dropStep(step));
    EXPECT_TRUE(store.dropStep(idle));
    EXPECT_EQ(store.stepCount(), steps);
    EXPECT_EQ(store.undoText(), u"Undo: Delete");

    // A marker step.
    const auto markers = edited->markers;
    const uint32_t mainLoop = edited->mainLoopId;
    ASSERT_NE(store.pushMarkerState(*edited), 0u);
    EXPECT_EQ(store.undoText(), u"Undo: Edit markers");
    edited->removeMarker(mainLoop);
    edited->addMarker(7, u"new");
    ASSERT_TRUE(store.undo());
    ASSERT_EQ(edited->markers.size(), markers.size());
    for (size_t i = 0; i < markers.size(); ++i) {
        EXPECT_EQ(edited->markers[i].name, markers[i].name);
        EXPECT_EQ(edited->markers[i].start, markers[i].start);
        EXPECT_EQ(edited->markers[i].markerId, markers[i].markerId);
        EXPECT_EQ(edited->markers[i].loopType, markers[i].loopType);
    }
    EXPECT_EQ(edited->mainLoopId, mainLoop);
    ASSERT_TRUE(store.redo());
    EXPECT_TRUE(edited->findMarkerByName(u"new", 3));
    EXPECT_FALSE(edited->findMarker(mainLoop));
    // None of these kinds leave files.
    EXPECT_TRUE(StateFiles(states.path()).empty());
}

TEST_F(UndoStates, TheTemporaryStateOfASaveRestoresInPlace) {
    Collection c;
    Build(c);
    UndoStore store(c);
    UndoStore::Install(&store);
    const auto original = Images(c);
    Instrument* inst = static_cast<Instrument*>(c.first(ItemType::Instrument));

    // What a save does to the model for a writer: edits and new items.
    ASSERT_TRUE(Flows().takeTemporaryState(c));
    ASSERT_EQ(StateFiles(states.path()).size(), 1u);
    EXPECT_EQ(StateFiles(states.path())[0].rfind("Saved state ", 0), 0u);
    inst->setValue(kParamVolume, -20.0f);
    auto* split = new Waveform(c, kNewSerial, u"split R");
    split->frames = 10;
    split->allocateSamples();
    inst->layerAt(0)->regionAt(0)->ids.push_back(split->id);
    Flows().restoreTemporaryState(c);

    EXPECT_EQ(Images(c), original);
    // The pointers the save flow holds are still good.
    EXPECT_EQ(c.first(ItemType::Instrument), inst);
    EXPECT_EQ(inst->getValue(kParamVolume), -6.0f);
    EXPECT_TRUE(StateFiles(states.path()).empty());
    EXPECT_FALSE(store.holdsTemporaryState());

    // The flows of another collection are not the store's to bracket.
    Collection other;
    EXPECT_FALSE(Flows().takeTemporaryState(other));
    // An open drops the history.
    ASSERT_NE(store.pushWholeState(), 0u);
    Flows().dropUndoHistory();
    EXPECT_EQ(store.stepCount(), 0u);
    UndoStore::Install(nullptr);
    EXPECT_FALSE(Flows().takeTemporaryState);
}

TEST_F(UndoStates, LastSessionCarriesTheCollectionWhenTheOptionAsks) {
    Collection c;
    Build(c);
    const auto before = Images(c);
    // Without the option nothing is written or read.
    EXPECT_TRUE(saveLastSession(c));
    EXPECT_TRUE(StateFiles(states.path()).empty());

    GlobalSettings().app.bPersistentState = true;
    ASSERT_TRUE(saveLastSession(c)) << LastErrorUtf8();
    EXPECT_EQ(StateFiles(states.path()), std::vector<std::string>{"Last session.vxs"});
    Collection next;
    ASSERT_TRUE(loadLastSession(next)) << LastErrorUtf8();
    EXPECT_EQ(Images(next), before);

    // A session of an older build is refused, and the program starts empty.
    std::vector<uint8_t> bytes = test::ReadFile(states.path() / "Last session.vxs");
    bytes[5] ^= 0x40;
    test::WriteFile(states.path() / "Last session.vxs", bytes);
    Collection third;
    new Waveform(third, kNewSerial, u"leftover");
    EXPECT_FALSE(loadLastSession(third));
    EXPECT_EQ(std::u16string(LastError()), u"Wrong state version");
    EXPECT_EQ(third.size(), 1u);
}

} // namespace
} // namespace vaxel
