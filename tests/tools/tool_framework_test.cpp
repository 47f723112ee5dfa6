// The tool framework: the tables' order and flags, which tools a selection
// is offered, the runner's counting, undo steps and result texts, option
// values from text, and the level conversions every tool shares.
#include <gtest/gtest.h>

#include <cmath>

#include "fileio/undo_store.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/song.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"
#include "tools/tool_runner.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"

namespace vaxel {
namespace {

Waveform* MakeWave(Collection& c, const char16_t* name, uint8_t channels,
                   std::initializer_list<float> samples) {
    auto* w = new Waveform(c, kNewSerial, name);
    w->channels = channels;
    w->frames = uint32_t(samples.size() / channels);
    float* data = w->allocateSamples();
    std::copy(samples.begin(), samples.end(), data);
    return w;
}

std::vector<std::u16string> Names(ToolKind kind) {
    std::vector<std::u16string> names;
    for (const ToolEntry* e = ToolTable(kind); e->name; ++e) names.push_back(e->name);
    return names;
}

std::u16string Folded(std::u16string s) {
    for (char16_t& c : s) c = FoldCase(c);
    return s;
}

TEST(ToolTables, RowsStandInListOrderWithTheDeliberateFindVolumeSwap) {
    EXPECT_EQ(Names(ToolKind::Wave).size(), 40u);
    EXPECT_EQ(Names(ToolKind::Instrument).size(), 20u);
    EXPECT_EQ(Names(ToolKind::Midi).size(), 9u);
    EXPECT_EQ(ToolTable(ToolKind::Undecided), nullptr);
    // Each table is alphabetical (case folded) but for the wave table's
    // "Find volume", which stands ahead of "Filter waveform" on purpose.
    for (ToolKind kind : {ToolKind::Wave, ToolKind::Instrument, ToolKind::Midi}) {
        std::vector<std::u16string> names = Names(kind);
        const int find = FindToolIndex(ToolTable(kind), u"Find volume");
        if (kind == ToolKind::Wave) {
            ASSERT_EQ(find + 1, FindToolIndex(ToolTable(kind), u"Filter waveform"));
            std::swap(names[size_t(find)], names[size_t(find) + 1]);
        }
        for (size_t i = 1; i < names.size(); ++i)
            EXPECT_LT(Folded(names[i - 1]), Folded(names[i])) << WideToUtf8(names[i]);
    }
    // The plug-in row is left out until there is a plug-in host, so it is
    // neither listed nor reachable by name.
    EXPECT_EQ(FindTool(ToolKind::Wave, u"VST plug-in effects"), nullptr);
    // One name in all three tables; names are found case folded.
    for (ToolKind kind : {ToolKind::Wave, ToolKind::Instrument, ToolKind::Midi})
        EXPECT_NE(FindTool(kind, u"search AND replace text"), nullptr);
}

TEST(ToolTables, FlagsOfRowsThatTakeSectionsOrRunWithoutOptions) {
    auto flags = [](ToolKind kind, const char16_t* name) {
        const ToolEntry* e = FindTool(kind, name);
        return e ? int(e->flags) : -1;
    };
    EXPECT_EQ(flags(ToolKind::Wave, u"Adjust volume/gain"), kSectionCapable);
    EXPECT_EQ(flags(ToolKind::Wave, u"Cut away selection"), kSectionCapable | kSectionRequired);
    EXPECT_EQ(flags(ToolKind::Wave, u"Invert sign throughout selection"),
              kSectionCapable | kRunsWithoutOptions);
    EXPECT_EQ(flags(ToolKind::Wave, u"Trim waveform to selection"),
              kSectionCapable | kSectionRequired | kRunsWithoutOptions);
    EXPECT_EQ(flags(ToolKind::Wave, u"Maximize amplitude"), kRunsWithoutOptions);
    EXPECT_EQ(flags(ToolKind::Wave, u"Normalize volume"), 0);
    EXPECT_EQ(flags(ToolKind::Midi, u"Merge selected tracks"), kRunsWithoutOptions);
    EXPECT_EQ(flags(ToolKind::Instrument, u"Trim waveforms to region play sections"), kRunsWithoutOptions);
    // No section flag outside the wave table.
    for (ToolKind kind : {ToolKind::Instrument, ToolKind::Midi})
        for (const ToolEntry* e = ToolTable(kind); e->name; ++e) EXPECT_EQ(e->flags & 3, 0);
}

// A small collection: a mono wave, a stereo wave with a forward main loop
// and a section marker, a drum kit with two layers (one region plays a
// section of the stereo wave), and a song of two tracks.
struct Scene {
    Collection c;
    Waveform* mono;
    Waveform* stereo;
    Instrument* kit;
    Layer* layer1;
    Layer* layer2;
    Region* region;
    Song* song;
    Track* track1;
    Track* track2;

    Scene() {
        mono = MakeWave(c, u"mono", 1, {0.1f, -0.2f, 0.3f, 0.0f});
        stereo = MakeWave(c, u"stereo", 2, {0.1f, 0.2f, 0.3f, 0.4f, -0.5f, -0.6f, 0.0f, 0.0f});
        LoopInfo loop;
        loop.loopType = 1;
        loop.start = 1;
        loop.end = 3;
        stereo->addLoop(loop, u"loop", true, false);
        kit = new Instrument(c, kNewSerial, u"kit");
        kit->setLocation(0, 0, 0, true);
        layer1 = new Layer(c, kNewSerial);
        layer2 = new Layer(c, kNewSerial);
        kit->addChild(*layer1);
        kit->addChild(*layer2);
        region = new Region(c, kNewSerial, SerialOf(stereo->id));
        layer1->addChild(*region);
        song = new Song(c, kNewSerial, u"song");
        track1 = new Track(c, kNewSerial, u"one");
        track2 = new Track(c, kNewSerial, u"two");
        song->addChild(*track1);
        song->addChild(*track2);
    }
    ToolSession session(std::vector<ItemId> ids) { return ToolSession(c, std::move(ids)); }
};

TEST(ToolSelection, TableComesFromTheFirstItemAndWorkingTextCountsIt) {
    Scene s;
    // A collection gets the instrument tools even when it holds waves.
    EXPECT_EQ(s.session({s.c.id}).kind, ToolKind::Instrument);
    EXPECT_EQ(s.session({s.mono->id, s.region->id}).kind, ToolKind::Wave);
    EXPECT_EQ(s.session({s.track1->id}).kind, ToolKind::Midi);
    EXPECT_EQ(s.session({s.region->id}).kind, ToolKind::Instrument);
    EXPECT_EQ(s.session({s.layer1->id}).tableLength, 20);

    EXPECT_EQ(s.session({}).workingOnText(), u"Working on nothing");
    EXPECT_EQ(s.session({s.c.id}).workingOnText(), u"Working on the whole collection");
    ToolSession one = s.session({s.stereo->id});
    // Ticking the section box with an empty range: the whole wave for one
    // wave, one frame for several.
    one.setSectionEnabled(true);
    EXPECT_EQ(one.sectionEnd, 4u);
    ToolSession two = s.session({s.mono->id, s.stereo->id});
    two.sectionStart = two.sectionEnd = 3;
    two.setSectionEnabled(true);
    EXPECT_EQ(two.sectionEnd, 4u);
    EXPECT_EQ(two.workingOnText(), u"Working on a section in all 2 waveforms");
    EXPECT_EQ(one.workingOnText(), u"Working on a section in one waveform");
    EXPECT_EQ(s.session({s.mono->id, s.stereo->id}).workingOnText(), u"Working on all 2 waveforms");
    EXPECT_EQ(s.session({s.layer1->id, s.layer2->id}).workingOnText(), u"Working on all 2 layers");
    // Mixed types: "collection item" outside the wave table, the first
    // item's type in it.
    EXPECT_EQ(s.session({s.kit->id, s.layer1->id}).workingOnText(), u"Working on 2 collection items");
    EXPECT_EQ(s.session({s.mono->id, s.region->id, s.stereo->id}).workingOnText(), u"Working on 3 waveforms");
}

TEST(ToolSelection, PredicatesLookAtWhatIsSelected) {
    Scene s;
    using namespace tool_available;
    const ToolSession monoOnly = s.session({s.mono->id});
    const ToolSession stereoOnly = s.session({s.stereo->id});
    EXPECT_TRUE(HasMonoWave(monoOnly));
    EXPECT_FALSE(HasStereoWave(monoOnly));
    EXPECT_FALSE(HasLoopedWave(monoOnly));
    EXPECT_TRUE(HasLoopedWave(stereoOnly));
    // A loop is a marker of kind loop: neither a section nor a non-loop one.
    EXPECT_FALSE(HasSectionMarker(stereoOnly));
    EXPECT_FALSE(HasNonLoopMarker(stereoOnly));
    s.stereo->addSection(0, 2, u"part", true);
    EXPECT_TRUE(HasSectionMarker(stereoOnly));
    EXPECT_TRUE(HasNonLoopMarker(stereoOnly));
    // A switched-off main loop is no looped wave.
    s.stereo->mainLoop()->loopType = 0;
    EXPECT_FALSE(HasLoopedWave(stereoOnly));

    const ToolSession both = s.session({s.mono->id, s.stereo->id});
    EXPECT_TRUE(TwoOrMore(both));
    EXPECT_FALSE(ExactlyOne(both));
    SetBatchWizardOpen(true);
    EXPECT_FALSE(TwoOrMore(both));
    EXPECT_FALSE(ExactlyOne(monoOnly));
    SetBatchWizardOpen(false);
    EXPECT_TRUE(ExactlyOne(monoOnly));

    const ToolSession collection = s.session({s.c.id});
    EXPECT_TRUE(HasDrumKit(collection));
    EXPECT_TRUE(HasStereoInUse(collection));
    EXPECT_TRUE(HasSong(collection));
    EXPECT_TRUE(CollectionWithSongs(collection));
    EXPECT_FALSE(SeveralInstruments(collection));
    EXPECT_TRUE(SeveralLayers(collection));
    EXPECT_FALSE(HasPlaySection(collection));
    s.region->playSection = s.stereo->mainLoopId;
    EXPECT_TRUE(HasPlaySection(collection));
    EXPECT_TRUE(HasPlaySection(s.session({s.kit->id})));

    // Two layers are "several" only with the same parent.
    EXPECT_TRUE(SeveralLayers(s.session({s.layer1->id, s.layer2->id})));
    auto* other = new Instrument(s.c, kNewSerial, u"other");
    auto* lone = new Layer(s.c, kNewSerial);
    other->addChild(*lone);
    EXPECT_FALSE(SeveralLayers(s.session({s.layer1->id, lone->id})));
    EXPECT_TRUE(SeveralInstruments(s.session({s.kit->id, other->id})));
    EXPECT_TRUE(HasStereoInUse(s.session({s.kit->id})));
    EXPECT_FALSE(HasStereoInUse(s.session({other->id})));

    EXPECT_TRUE(MergeableTracks(s.session({s.track1->id, s.track2->id})));
    EXPECT_TRUE(MergeableTracks(s.session({s.song->id})));
    EXPECT_FALSE(MergeableTracks(s.session({s.track1->id})));
    EXPECT_TRUE(HasTrackOrSong(s.session({s.track1->id})));
    EXPECT_FALSE(HasSong(s.session({s.track1->id})));
    // An item deleted after the selection was taken is simply gone.
    ToolSession stale = s.session({s.mono->id});
    delete s.mono;
    EXPECT_FALSE(HasMonoWave(stale));
    EXPECT_TRUE(stale.waves().empty());
}

// A tool for the runner's tests: negates every sample of the selected
// waves within the section, counting the waves that held anything but
// zeros. Bound to a row of a later Part for the test's duration.
struct Negate {
    static inline bool sawSection = false;
    static void Execute(ToolSession& session, const ToolValues& values) {
        sawSection = session.sectionEnabled;
        const float factor = float(values.number("factor"));
        for (Waveform* w : session.waves()) {
            uint32_t start, end;
            if (!session.sectionOf(*w, start, end)) continue;
            float* data = w->lockSamplesForWrite();
            bool changed = false;
            for (size_t i = size_t(start) * w->channels; i < size_t(end) * w->channels; ++i) {
                changed |= data[i] != 0.0f;
                data[i] *= -factor;
            }
            if (changed) session.modified();
        }
    }
};

const ToolSpec& NegateSpec() {
    static const ToolSpec spec = {
        .description = u"Negates samples.",
        .options = {{.key = "factor",
                     .type = OptionType::Number,
                     .label = u"Factor:",
                     .defaultValue = 1.0,
                     .minimum = 0.0,
                     .maximum = 4.0,
                     .format = "%.2lf"},
                    {.key = "curve", .type = OptionType::Choice, .choices = {u"Linear", u"Exponential"}},
                    {.key = "append", .type = OptionType::Check, .defaultValue = 1.0},
                    {.key = "find", .type = OptionType::Text, .defaultText = u"old"}},
        .execute = &Negate::Execute,
    };
    return spec;
}

// A split tool for the preview's tests: two new waves from each selected
// wave, named after it, and with "delete" on the source goes.
void SplitInTwo(ToolSession& session, const ToolValues& values) {
    for (Waveform* w : session.waves()) {
        for (int part = 1; part <= 2; ++part) {
            std::u16string name = std::u16string(w->name()) + u" part " + char16_t(u'0' + part);
            new Waveform(session.collection(), *w, true, name.c_str());
        }
        if (values.check("delete")) delete w;
        session.modified();
        session.requestTreeRebuild();
    }
}

const ToolSpec& SplitSpec() {
    static const ToolSpec spec = {
        .options = {{.key = "delete", .type = OptionType::Check}},
        .execute = &SplitInTwo,
        .changesItems = true,
    };
    return spec;
}

// Binds the test tool to a row and records what the runner asks of the
// undo states; puts the row and the hooks back afterwards.
class Runner : public ::testing::Test {
  protected:
    void SetUp() override {
        ForgetRememberedValues();
        for (auto [kind, name] : kRows) {
            previous_.push_back(FindTool(kind, name)->tool);
            BindTool(kind, name, kind == ToolKind::Wave && name[0] == u'S' ? &SplitSpec() : &NegateSpec());
        }
        Tools().saveSelectedState = [this](Collection&, const std::vector<ItemId>& items, bool midi,
                                           std::u16string_view name) {
            log.push_back(u"items " + std::u16string(name) + (midi ? u" midi" : u""));
            selectedInState = items;
            return true;
        };
        Tools().saveCollectionState = [this](Collection&, std::u16string_view name) {
            log.push_back(u"whole " + std::u16string(name));
            return true;
        };
        Tools().dropNewestState = [this](Collection&) { log.push_back(u"drop"); };
        Tools().refreshView = [this](ToolSession& s) { selected = s.selectAfter; };
        previousStatus_ = SetStatusLine(&status);
    }
    void TearDown() override {
        for (size_t i = 0; i < kRows.size(); ++i) BindTool(kRows[i].first, kRows[i].second, previous_[i]);
        Tools() = ToolHooks();
        SetStatusLine(previousStatus_);
        SetStateFolder({});
    }
    static inline const std::vector<std::pair<ToolKind, const char16_t*>> kRows = {
        {ToolKind::Wave, u"Auto tune"},
        {ToolKind::Wave, u"Insert silence"},
        {ToolKind::Wave, u"Cut away selection"},
        {ToolKind::Wave, u"Split waveform at silent sections"},
        {ToolKind::Instrument, u"Transpose regions"},
        {ToolKind::Midi, u"Transpose notes"}};

    std::vector<std::u16string> log;
    std::vector<ItemId> selectedInState;
    ItemId selected = 0;
    test::RecordingStatusLine status;

  private:
    std::vector<const ToolSpec*> previous_;
    StatusLine* previousStatus_ = nullptr;
};

TEST_F(Runner, CountsChangedWavesSkipsOthersAndReportsTheResult) {
    Scene s;
    Waveform* silent = MakeWave(s.c, u"silent", 1, {0.0f, 0.0f});
    std::u16string result;
    const std::vector<ItemId> selection = {s.mono->id, s.region->id, silent->id, s.stereo->id};
    EXPECT_EQ(runTool(s.c, u"auto TUNE", nullptr, selection, {}, &result), 2);
    EXPECT_EQ(result, u"Processed 2 items using Auto tune");
    EXPECT_FLOAT_EQ(s.mono->samples()->data[1], 0.2f);
    EXPECT_FLOAT_EQ(s.stereo->samples()->data[5], 0.6f);
    EXPECT_EQ(log, std::vector<std::u16string>{u"items Auto tune"});
    EXPECT_EQ(selectedInState, selection);
    // Wave tools select nothing afterwards; the status line saw the run.
    EXPECT_EQ(selected, kNoItem);
    ASSERT_GE(status.entries.size(), 2u);
    EXPECT_EQ(status.entries.front().text, u"Processing");
    EXPECT_EQ(status.entries.back().text, u"Processed 2 items using Auto tune");
    EXPECT_EQ(status.entries.back().mode, kStatusFinal);

    log.clear();
    EXPECT_EQ(runTool(s.c, u"Auto tune", nullptr, {silent->id}, {}, &result), 0);
    EXPECT_EQ(result, u"No items were modified by Auto tune");
    // A run without effect leaves no undo step behind.
    EXPECT_EQ(log, (std::vector<std::u16string>{u"items Auto tune", u"drop"}));

    EXPECT_EQ(runTool(s.c, u"Auto tune", nullptr, {s.mono->id}, {}, &result), 1);
    EXPECT_EQ(result, u"Processed 1 item using Auto tune");
}

TEST_F(Runner, StepsInTheUndoStoreAreTakenOnlyWhenSomethingChanged) {
    test::TempDir dir;
    SetStateFolder(dir.path());
    Scene s;
    Waveform* silent = MakeWave(s.c, u"silent", 1, {0.0f, 0.0f});
    UndoStore store(s.c);
    UseUndoStore(&store);
    EXPECT_EQ(runTool(s.c, u"Auto tune", nullptr, {silent->id}), 0);
    EXPECT_EQ(store.stepCount(), 0u);
    EXPECT_EQ(runTool(s.c, u"Auto tune", nullptr, {s.mono->id, silent->id}), 1);
    ASSERT_EQ(store.stepCount(), 1u);
    EXPECT_EQ(store.kind(0), UndoKind::Items);
    EXPECT_EQ(store.label(0), u"Auto tune");
    EXPECT_FLOAT_EQ(s.mono->samples()->data[0], -0.1f);
    // An instrument tool's step holds the whole collection; without effect
    // it is gone again, state file and all.
    EXPECT_EQ(runTool(s.c, u"Transpose regions", nullptr, {s.c.id}), 0);
    EXPECT_EQ(store.stepCount(), 1u);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    // The item step brings the samples back.
    ASSERT_TRUE(store.undo());
    Waveform* mono = static_cast<Waveform*>(s.c.find(s.mono->id));
    ASSERT_NE(mono, nullptr);
    EXPECT_FLOAT_EQ(mono->lockSamples()[0], 0.1f);
    EXPECT_EQ(runTool(s.c, u"Transpose regions", nullptr, {s.c.id, mono->id}), 1);
    ASSERT_EQ(store.stepCount(), 1u); // the step Redo could reach is gone
    EXPECT_EQ(store.kind(0), UndoKind::Whole);
    EXPECT_EQ(store.label(0), u"Transpose regions");
    UseUndoStore(nullptr);
}

TEST_F(Runner, PreviewWorksOnACopyAndLeavesNothingBehind) {
    Scene s;
    const size_t items = s.c.size();
    ToolSession session(s.c, {s.mono->id, s.stereo->id});
    ASSERT_TRUE(session.chooseByName(u"Auto tune", false));
    session.previewIndex = 1;
    Waveform* shown = updatePreview(session, RememberedValues(NegateSpec()));
    ASSERT_NE(shown, nullptr);
    EXPECT_STREQ(WideToUtf8(shown->name()).c_str(), "<preview>");
    EXPECT_FLOAT_EQ(shown->samples()->data[1], -0.2f);
    EXPECT_FLOAT_EQ(s.stereo->samples()->data[1], 0.2f); // the original is untouched
    EXPECT_EQ(session.items, (std::vector<ItemId>{s.mono->id, s.stereo->id}));
    EXPECT_EQ(session.count, 0);
    EXPECT_TRUE(log.empty()); // no undo step for a preview
    stepPreview(session, 1);
    EXPECT_EQ(session.previewIndex, 0u);
    EXPECT_EQ(s.c.size(), items); // the copy went with the step
    stepPreview(session, -1);
    EXPECT_EQ(session.previewIndex, 1u);

    // A split tool's further waves go with the copy; other waves stay.
    ASSERT_TRUE(session.chooseByName(u"Split waveform at silent sections", false));
    ToolValues values = RememberedValues(SplitSpec());
    shown = updatePreview(session, values);
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(s.c.size(), items + 1);
    discardPreview(session);
    EXPECT_EQ(s.c.size(), items);
    // A tool that deletes the wave: the view goes back to the original.
    values.setNumber("delete", 1);
    EXPECT_EQ(updatePreview(session, values), nullptr);
    EXPECT_EQ(session.previewClone, kNoItem);
    EXPECT_EQ(s.c.size(), items);
    EXPECT_EQ(s.c.find(s.stereo->id), s.stereo);

    // The real run of a tool that changes items takes a whole state.
    EXPECT_EQ(runSession(session, values), 2);
    EXPECT_EQ(log, std::vector<std::u16string>{u"whole Split waveform at silent sections"});
    EXPECT_EQ(s.c.size(), items + 2);
    EXPECT_TRUE(session.treeRebuildRequested);
}

TEST_F(Runner, SectionsOnlyForWaveToolsAndNeverEmpty) {
    Scene s;
    // A row without the section flag takes none.
    EXPECT_EQ(runTool(s.c, u"Auto tune", nullptr, {s.mono->id}, {true, 1, 3}), -1);
    EXPECT_EQ(LastErrorUtf8(), "The tool 'Auto tune' does not work on a section");
    // frames [1, 3) of the mono wave only.
    EXPECT_EQ(runTool(s.c, u"Insert silence", nullptr, {s.mono->id}, {true, 1, 3}), 1);
    EXPECT_TRUE(Negate::sawSection);
    const float* d = s.mono->samples()->data;
    EXPECT_FLOAT_EQ(d[0], 0.1f);
    EXPECT_FLOAT_EQ(d[1], 0.2f);
    EXPECT_FLOAT_EQ(d[2], -0.3f);
    EXPECT_FLOAT_EQ(d[3], 0.0f);
    // A tool that needs a section and is given none works on whole waves.
    EXPECT_EQ(runTool(s.c, u"Cut away selection", nullptr, {s.mono->id}), 1);
    EXPECT_TRUE(Negate::sawSection);
    EXPECT_FLOAT_EQ(d[0], -0.1f);
    EXPECT_FLOAT_EQ(d[3], -0.0f);
    EXPECT_FLOAT_EQ(d[2], 0.3f);
    ASSERT_EQ(runTool(s.c, u"Cut away selection", nullptr, {s.mono->id}), 1);
    // An empty section is refused by runTool, and switched off silently by
    // the runner when a session brings one.
    EXPECT_EQ(runTool(s.c, u"Insert silence", nullptr, {s.mono->id}, {true, 2, 2}), -1);
    EXPECT_STREQ(LastErrorUtf8().c_str(), "Select a valid section range!");
    ToolSession session(s.c, {s.mono->id});
    ASSERT_TRUE(session.chooseByName(u"Insert silence", false));
    session.sectionEnabled = true;
    session.sectionStart = session.sectionEnd = 2;
    EXPECT_FALSE(CheckContinue(session));
    EXPECT_EQ(runSession(session, RememberedValues(NegateSpec())), 1);
    EXPECT_FALSE(Negate::sawSection);
    // Instrument tools never see a section; they take a whole state and
    // select the collection after a change.
    log.clear();
    ToolSession inst(s.c, {s.kit->id, s.mono->id});
    ASSERT_TRUE(inst.chooseByName(u"Transpose regions", false));
    inst.sectionEnabled = true;
    inst.sectionEnd = 4;
    EXPECT_EQ(runSession(inst, RememberedValues(NegateSpec())), 1);
    EXPECT_FALSE(Negate::sawSection);
    EXPECT_EQ(log, std::vector<std::u16string>{u"whole Transpose regions"});
    EXPECT_EQ(selected, s.c.id);
    // MIDI tools: a state of the selected items, marked MIDI.
    log.clear();
    EXPECT_EQ(runTool(s.c, u"Transpose notes", nullptr, {s.song->id}), 0);
    EXPECT_EQ(log, (std::vector<std::u16string>{u"items Transpose notes midi", u"drop"}));
}

TEST_F(Runner, ChoosingChecksRowsAndRemembersTheLastTool) {
    Scene s;
    ToolSession session(s.c, {s.mono->id});
    EXPECT_FALSE(CheckContinue(session));
    EXPECT_STREQ(LastErrorUtf8().c_str(), "Select a processing function before proceeding!");
    EXPECT_EQ(runSession(session, RememberedValues(NegateSpec())), -1);
    // Not available for a mono wave.
    EXPECT_FALSE(session.chooseByName(u"Swap left and right channels", true));
    EXPECT_FALSE(session.chooseByName(u"No such tool", false));
    // Quick choice runs at once only for a tool without options.
    ASSERT_TRUE(session.chooseByNumber(FindToolIndex(session.table, u"Auto tune"), true));
    EXPECT_FALSE(session.autoExecute);
    EXPECT_EQ(session.tool, u"Auto tune");
    EXPECT_EQ(LastToolOfKind(ToolKind::Wave), u"Auto tune");
    EXPECT_TRUE(CheckContinue(session));
    EXPECT_FALSE(session.chooseByNumber(session.tableLength, false));

    // A row whose tool is not built yet is refused in so many words.
    ToolEntry* row = FindTool(ToolKind::Wave, u"Time stretch");
    const ToolSpec* bound = row->tool;
    row->tool = nullptr;
    EXPECT_EQ(runTool(s.c, u"Time stretch", nullptr, {s.mono->id}), -1);
    EXPECT_EQ(LastErrorUtf8(), "The tool 'Time stretch' is not available yet");
    row->tool = bound;
}

TEST_F(Runner, OptionsComeFromTextAndAreRememberedAfterARun) {
    Scene s;
    ToolValues v = RememberedValues(NegateSpec());
    EXPECT_DOUBLE_EQ(v.number("factor"), 1.0);
    EXPECT_TRUE(v.check("append"));
    EXPECT_EQ(v.text("find"), u"old");

    EXPECT_TRUE(SetOptionFromText(v, "factor", " 0,5 "));
    EXPECT_DOUBLE_EQ(v.number("factor"), 0.5);
    EXPECT_FALSE(SetOptionFromText(v, "factor", "4,5"));
    EXPECT_EQ(LastErrorUtf8(), "Option 'factor' is out of range: 4,5 is not within 0..4");
    EXPECT_FALSE(SetOptionFromText(v, "factor", "nan"));
    EXPECT_FALSE(SetOptionFromText(v, "factor", "1,2,3"));
    EXPECT_DOUBLE_EQ(v.number("factor"), 0.5); // a failed parse keeps the value
    EXPECT_TRUE(SetOptionFromText(v, "curve", "exponential"));
    EXPECT_EQ(v.integer("curve"), 1);
    EXPECT_TRUE(SetOptionFromText(v, "curve", "0"));
    EXPECT_FALSE(SetOptionFromText(v, "curve", "2"));
    EXPECT_NE(LastErrorUtf8().find("0=Linear, 1=Exponential"), std::string::npos);
    EXPECT_TRUE(SetOptionFromText(v, "append", "off"));
    EXPECT_FALSE(SetOptionFromText(v, "append", "maybe"));
    EXPECT_TRUE(SetOptionFromText(v, "find", "Flöte"));
    EXPECT_EQ(v.text("find"), u"Flöte");
    EXPECT_FALSE(SetOptionFromText(v, "gain", "1"));
    EXPECT_EQ(LastErrorUtf8(), "Unknown option 'gain'; this tool takes: factor, curve, append, find");

    // The run keeps what it was given for the next one.
    EXPECT_EQ(runTool(s.c, u"Auto tune", &v, {s.mono->id}), 1);
    EXPECT_FLOAT_EQ(s.mono->samples()->data[0], -0.05f);
    const ToolValues& kept = RememberedValues(NegateSpec());
    EXPECT_DOUBLE_EQ(kept.number("factor"), 0.5);
    EXPECT_FALSE(kept.check("append"));
    EXPECT_EQ(runTool(s.c, u"Auto tune", nullptr, {s.mono->id}), 1);
    EXPECT_FLOAT_EQ(s.mono->samples()->data[0], 0.025f);
}

TEST(ToolLevels, DecibelConversionsKeepTheirShortcutsAndGrain) {
    EXPECT_EQ(LinearToDb(1.5848933e-5f), -96.0f);
    EXPECT_EQ(LinearToDb(0.0f), -96.0f);
    EXPECT_EQ(LinearToDb(-1.0f), -96.0f);
    EXPECT_EQ(LinearToDb(2.0f), 6.0f);
    EXPECT_EQ(LinearToDb(0.25f), -12.0f);
    EXPECT_FLOAT_EQ(LinearToDb(0.1f), -20.0f);
    // A grain of 0.01 dB, rounded away from zero.
    EXPECT_FLOAT_EQ(LinearToDb(0.7f), -3.10f);
    EXPECT_FLOAT_EQ(LinearToDb(1.7f), 4.61f);

    EXPECT_EQ(DbToLinear(-96.0f), 0.0f);
    EXPECT_EQ(DbToLinear(6.0f), 2.0f);
    EXPECT_EQ(DbToLinear(-12.0f), 0.25f);
    EXPECT_EQ(DbToLinear(12.0f), 5.0f); // as it stands, not 4
    EXPECT_FLOAT_EQ(DbToLinear(3.0f), 1.413f);
    EXPECT_FLOAT_EQ(DbToLinear(-3.0f), 0.70794576f);
    for (float d = -90.0f; d < 20.0f; d += 0.37f)
        if (std::fabs(d - 12.0f) > 0.01f) {
            EXPECT_NEAR(LinearToDb(DbToLinear(d)), d, 0.011f) << d;
        }
}

} // namespace
} // namespace vaxel

namespace vaxel {
namespace {

std::string Vaxel() {
    return test::Quote(test::CliPath().string());
}

// The loudest level (dB) that sox's stats effect reports over the file.
double SoxPeakDb(const std::string& arguments) {
    std::string out;
    EXPECT_EQ(test::Run("sox -D " + arguments + " -n stats", &out, true), 0) << out;
    const size_t at = out.find("Pk lev dB");
    if (at == std::string::npos) return 1e9;
    return std::strtod(out.c_str() + at + 9, nullptr);
}

TEST(ProcessCommand, MaximizeAmplitudeMatchesSoxNormalizing) {
    test::RequireTool("sox");
    test::TempDir dir;
    const std::string in = test::Quote((dir / "in.wav").string());
    const std::string out = test::Quote((dir / "out.wav").string());
    const std::string ref = test::Quote((dir / "ref.wav").string());
    ASSERT_EQ(test::Run("sox -n -r 44100 -c 2 -b 16 " + in + " synth 0.3 sine 440 sine 660 gain -8"), 0);
    ASSERT_EQ(test::Run("sox " + in + " -e floating-point -b 32 " + ref + " gain -n 2>/dev/null"), 0);
    std::string text;
    ASSERT_EQ(test::Run(Vaxel() + " process " + in + " -o " + out +
                            " --coding 'Float 32-bit' --tool 'maximize amplitude' 2>/dev/null",
                        &text),
              0);
    EXPECT_EQ(text, "Processed 1 item using Maximize amplitude\n");
    EXPECT_NEAR(SoxPeakDb(out), 0.0, 0.005);
    // Ours against sox's gain -n, sample by sample.
    EXPECT_LT(SoxPeakDb("-m -v 1 " + out + " -v -1 " + ref), -120.0);
}

TEST(ProcessCommand, OptionsSectionsAndRefusalsInPlainWords) {
    test::RequireTool("sox");
    test::TempDir dir;
    const std::string in = test::Quote((dir / "in.wav").string());
    const std::string out = test::Quote((dir / "out.wav").string());
    ASSERT_EQ(test::Run("sox -n -r 8000 -c 1 -e floating-point -b 32 " + in + " synth 0.5 sine 300 gain -3"),
              0);
    auto run = [&](const std::string& arguments, std::string* output) {
        output->clear();
        return test::Run(Vaxel() + " process " + in + " -o " + out + " " + arguments, output, true);
    };
    std::string text;
    // -6,0206 dB (a comma as the point) halves frames 1000 to 2999 only.
    ASSERT_EQ(run("--tool 'Adjust volume/gain' --set gain=-6,0206 --section 1000:3000", &text), 0) << text;
    EXPECT_NE(text.find("Processed 1 item using Adjust volume/gain"), std::string::npos);
    text.clear();
    ASSERT_EQ(test::Run("/usr/bin/python3 -c 'import soundfile as sf, numpy as np, sys\n"
                        "a, _ = sf.read(sys.argv[1]); b, _ = sf.read(sys.argv[2])\n"
                        "r = a.copy(); r[1000:3000] *= 0.5\n"
                        "print(len(a) == len(b), float(np.max(np.abs(b - r))) < 1e-6)' " +
                            in + " " + out,
                        &text),
              0);
    EXPECT_EQ(text, "True True\n");

    EXPECT_EQ(run("--tool 'Adjust volume/gain' --set gain=200", &text), 2);
    EXPECT_NE(text.find("Option 'gain' is out of range: 200 is not within -96..96 dB"), std::string::npos)
        << text;
    EXPECT_EQ(run("--tool 'Adjust volume/gain' --set loudness=2", &text), 2);
    EXPECT_NE(text.find("Unknown option 'loudness'; this tool takes: gain"), std::string::npos) << text;
    EXPECT_EQ(run("--tool 'Adjust volume/gain' --section 30:20", &text), 2);
    EXPECT_NE(text.find("Select a valid section range!"), std::string::npos) << text;
    EXPECT_EQ(run("--tool 'Maximize amplitude' --section 0:20", &text), 2);
    EXPECT_NE(text.find("does not work on a section"), std::string::npos) << text;
    EXPECT_EQ(run("--tool 'Make it sound better'", &text), 2);
    EXPECT_NE(text.find("there is no tool 'Make it sound better'"), std::string::npos) << text;
    // A row of the table whose tool is still to come.
    EXPECT_EQ(run("--tool 'Time stretch'", &text), 2);
    EXPECT_NE(text.find("the tool 'Time stretch' is not available yet"), std::string::npos) << text;
    // Offered only for stereo waves.
    EXPECT_EQ(run("--tool 'Swap left and right channels'", &text), 1);
    EXPECT_NE(text.find("can't work on this selection"), std::string::npos) << text;
    text.clear();
    ASSERT_EQ(test::Run(Vaxel() + " process --list", &text), 0);
    EXPECT_NE(text.find("  Maximize amplitude  [without options]\n"), std::string::npos);
    EXPECT_NE(text.find("      gain (number: -96..96 dB) default -6.00"), std::string::npos);
    EXPECT_NE(text.find("  Time stretch\n      (not available yet)\n"), std::string::npos);
    EXPECT_EQ(text.find("VST plug-in effects"), std::string::npos);
}

} // namespace
} // namespace vaxel
