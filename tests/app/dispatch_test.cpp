// What the main window's commands do to the collection: open, merge, the
// failure of an open, clear, and saving the collection back to its file.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include <QApplication>
#include <QItemSelectionModel>
#include <QMenu>
#include <QStringList>
#include <QTreeView>

#include "app/app_test_support.h"
#include "app/collection_models.h"
#include "app/commands.h"
#include "app/main_window.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel::app {
namespace {

QStringList Paths(std::initializer_list<std::filesystem::path> paths) {
    QStringList list;
    for (const auto& p : paths) list << QString::fromStdString(p.string());
    return list;
}

bool InRecent(const std::filesystem::path& path) {
    for (const std::u16string& entry : GlobalSettings().app.LastFilesW)
        if (WideToUtf8(entry) == path.string()) return true;
    return false;
}

class DispatchTest : public ::testing::Test {
  protected:
    void SetUp() override {
        InstallFormats();
        GlobalSettings() = Settings{};
        GlobalSettings().app.bAsyncWaveLoad = false;
        window_.setMessagesEnabled(false); // no box may wait for a click here
    }
    // An open makes the file's folder the current one; the folder goes.
    void TearDown() override { std::filesystem::current_path(std::filesystem::temp_directory_path()); }
    test::TempDir dir_;
    Collection collection_;
    MainWindow window_{collection_};
};

TEST_F(DispatchTest, OpenReplacesMergeAddsAndClearEmpties) {
    const auto a = test::MakeWave(dir_, "alpha.wav", 44100, 2);
    const auto b = test::MakeWave(dir_, "beta.wav", 22050, 1);
    ASSERT_FALSE(a.empty());
    ASSERT_FALSE(b.empty());

    ASSERT_TRUE(window_.dispatch(kCmdOpen, nullptr, Paths({a})));
    ASSERT_EQ(collection_.count(ItemType::Waveform), 1u);
    EXPECT_EQ(WideToUtf8(collection_.name()), "alpha");
    EXPECT_EQ(window_.waveModel()->rowCount(), 1);
    EXPECT_TRUE(InRecent(a));

    window_.dispatch(kCmdMerge, nullptr, Paths({b}));
    EXPECT_EQ(collection_.count(ItemType::Waveform), 2u);
    EXPECT_EQ(window_.waveModel()->rowCount(), 2);
    EXPECT_EQ(GlobalSettings().app.LastFilesW.front(), Utf8ToWide(b.string()));

    // An open of several paths opens the first and merges the others.
    window_.dispatch(kCmdOpen, nullptr, Paths({b, a, a}));
    EXPECT_EQ(WideToUtf8(collection_.name()), "beta");
    EXPECT_GE(collection_.count(ItemType::Waveform), 2u);

    window_.dispatch(kCmdClearAll);
    EXPECT_EQ(collection_.count(ItemType::Waveform), 0u);
    EXPECT_EQ(window_.waveModel()->rowCount(), 0);
}

// The wave passes of the Tools menu change the collection, rebuild the
// list and can be undone.
TEST_F(DispatchTest, WavePassesSplitJoinAndPruneWaves) {
    const auto a = test::MakeWave(dir_, "alpha.wav", 44100, 2);
    ASSERT_FALSE(a.empty());
    ASSERT_TRUE(window_.dispatch(kCmdOpen, nullptr, Paths({a})));
    ASSERT_EQ(window_.waveModel()->rowCount(), 1);

    window_.dispatch(kCmdStereoToDualMono);
    ASSERT_EQ(window_.waveModel()->rowCount(), 2);
    for (Waveform* w : ItemsOf<Waveform>(collection_)) EXPECT_EQ(w->channels, 1);
    window_.dispatch(kCmdDualMonoToStereo);
    ASSERT_EQ(window_.waveModel()->rowCount(), 1);
    EXPECT_EQ(static_cast<Waveform*>(collection_.first(ItemType::Waveform))->channels, 2);

    // The same file merged again is a duplicate; nothing uses either wave.
    window_.dispatch(kCmdMerge, nullptr, Paths({a}));
    ASSERT_EQ(window_.waveModel()->rowCount(), 2);
    window_.dispatch(kCmdDeleteDuplicateWaves);
    EXPECT_EQ(window_.waveModel()->rowCount(), 1);
    window_.dispatch(kCmdDeleteUnusedWaves);
    EXPECT_EQ(window_.waveModel()->rowCount(), 0);
    window_.dispatch(kCmdUndo);
    EXPECT_EQ(window_.waveModel()->rowCount(), 1);
}

TEST_F(DispatchTest, AFailedOpenEmptiesTheCollectionAndLeavesTheRecentList) {
    const auto a = test::MakeWave(dir_, "alpha.wav");
    ASSERT_FALSE(a.empty());
    window_.dispatch(kCmdOpen, nullptr, Paths({a}));
    ASSERT_EQ(collection_.count(ItemType::Waveform), 1u);

    const auto empty = dir_ / "empty.wav";
    test::WriteFile(empty, std::string());
    AddRecentFile(GlobalSettings(), Utf8ToWide(empty.string()));
    window_.dispatch(kCmdOpen, nullptr, Paths({empty}));
    EXPECT_EQ(std::string(LastErrorUtf8()), "File is of zero size");
    EXPECT_FALSE(InRecent(empty));
    EXPECT_TRUE(InRecent(a));
    EXPECT_EQ(window_.waveModel()->rowCount(), int(collection_.count(ItemType::Waveform)));
}

TEST_F(DispatchTest, SaveCollectionWritesBackToTheSourceFile) {
    const auto a = test::MakeWave(dir_, "alpha.wav", 48000, 2, 0.5);
    ASSERT_FALSE(a.empty());
    window_.dispatch(kCmdOpen, nullptr, Paths({a}));
    ASSERT_EQ(collection_.count(ItemType::Waveform), 1u);
    // An old time stamp tells whether the file was written anew.
    const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(48);
    std::filesystem::last_write_time(a, old);

    window_.dispatch(kCmdSaveCollection);
    ASSERT_TRUE(std::filesystem::exists(a)) << LastErrorUtf8();
    EXPECT_GT(std::filesystem::last_write_time(a), old) << LastErrorUtf8();

    Collection reread;
    ASSERT_TRUE(openFile(reread, a, true)) << LastErrorUtf8();
    auto* back = static_cast<Waveform*>(reread.first(ItemType::Waveform));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->frames, 24000u);
    EXPECT_EQ(back->channels, 2);
    EXPECT_EQ(back->sampleRate, 48000u);
}

TEST_F(DispatchTest, EditCommandsBuildAnInstrumentAroundTheSelection) {
    QStringList labels;
    window_.pushWholeState = [&](const QString& label) { labels << label; };

    // Nothing selected: a layer has nowhere to go, and nothing changes.
    window_.dispatch(kCmdAddLayer);
    EXPECT_EQ(collection_.count(ItemType::Layer), 0u);

    window_.dispatch(kCmdAddInstrument);
    ASSERT_EQ(collection_.count(ItemType::Instrument), 1u);
    auto* instrument = static_cast<Instrument*>(collection_.first(ItemType::Instrument));
    // The new item is the selection the next command works on.
    EXPECT_EQ(window_.selectedItem(), instrument);
    window_.dispatch(kCmdAddLayer);
    ASSERT_EQ(instrument->ids.size(), 1u);
    Layer* layer = instrument->layerAt(0);
    EXPECT_EQ(window_.selectedItem(), layer);
    window_.dispatch(kCmdAddRegion);
    window_.dispatch(kCmdAddRegion);
    ASSERT_EQ(layer->ids.size(), 2u);
    EXPECT_EQ(window_.selectedItem()->id, layer->ids[1]);
    EXPECT_EQ(window_.treeModel()->rowCount(window_.treeModel()->indexOf(layer->id)), 2);

    // A clone of the selected layer goes behind it, regions and all.
    ASSERT_TRUE(window_.selectItem(layer->id));
    window_.dispatch(kCmdClone);
    ASSERT_EQ(instrument->ids.size(), 2u);
    EXPECT_EQ(collection_.count(ItemType::Region), 4u);
    EXPECT_EQ(window_.selectedItem()->id, instrument->ids[1]);

    EXPECT_EQ(labels, (QStringList{QStringLiteral("Add new layer"), QStringLiteral("Add new instrument"),
                                   QStringLiteral("Add new layer"), QStringLiteral("Add new region"),
                                   QStringLiteral("Add new region"), QStringLiteral("Clone")}));

    // Select all and deselect all over the tree's shown rows.
    window_.dispatch(kCmdAddInstrument);
    window_.dispatch(kCmdSelectAll);
    const QModelIndexList selected = window_.treeView()->selectionModel()->selectedRows();
    EXPECT_GE(selected.size(), 2);
    window_.dispatch(kCmdDeselectAll);
    EXPECT_TRUE(window_.treeView()->selectionModel()->selectedRows().isEmpty());

    // A name edited in the tree reaches the item, kept unique among the
    // instruments; an empty one is refused.
    CollectionTreeModel* tree = window_.treeModel();
    const QModelIndex first = tree->indexOf(instrument->id);
    const QString other = tree->data(tree->index(1, 0)).toString();
    EXPECT_TRUE(tree->setData(first, QStringLiteral("Piano")));
    EXPECT_EQ(WideToUtf8(instrument->name()), "Piano");
    EXPECT_TRUE(tree->setData(tree->index(1, 0), QStringLiteral("piano")));
    EXPECT_NE(tree->data(tree->index(1, 0)).toString().toLower(), QStringLiteral("piano"));
    EXPECT_FALSE(tree->setData(first, QStringLiteral("  ")));
    EXPECT_EQ(WideToUtf8(instrument->name()), "Piano");
    EXPECT_EQ(labels.count(QStringLiteral("Rename")), 2);
}

TEST_F(DispatchTest, ContextMenusOfferTheCommandsOfTheItem) {
    auto entries = [](QMenu* menu) {
        std::map<QString, int> out;
        for (QAction* action : menu->actions())
            if (!action->isSeparator()) out[action->text()] = action->data().toInt();
        delete menu;
        return out;
    };
    // An empty tree: a new instrument, or open a file.
    EXPECT_EQ(entries(window_.contextMenu(window_.treeView())),
              (std::map<QString, int>{{QStringLiteral("Add new instrument"), kCmdAddInstrument},
                                      {QStringLiteral("Open new"), kCmdOpen}}));

    window_.dispatch(kCmdAddInstrument);
    window_.dispatch(kCmdAddRegion); // the instrument gets a layer for it
    ASSERT_EQ(collection_.count(ItemType::Region), 1u);
    auto menu = entries(window_.contextMenu(window_.treeView()));
    EXPECT_EQ(menu[QStringLiteral("Clone region")], kCmdClone);
    EXPECT_EQ(menu[QStringLiteral("Rename region")], kCmdEditName);
    EXPECT_EQ(menu[QStringLiteral("Save selected region as")], kCmdSaveSelected);
    EXPECT_EQ(menu[QStringLiteral("Add new layer")], kCmdAddLayer);
    EXPECT_EQ(menu[QStringLiteral("Run editor app")], kCmdRunEditor);
    window_.dispatch(menu[QStringLiteral("Clone region")]);
    EXPECT_EQ(collection_.count(ItemType::Region), 2u);

    auto* wave = new Waveform(collection_, kNewSerial, u"W");
    wave->frames = 4;
    wave->channels = 1;
    window_.refresh();
    ASSERT_TRUE(window_.selectItem(wave->id));
    menu = entries(window_.contextMenu(window_.waveView()));
    EXPECT_EQ(menu[QStringLiteral("Clone waveform")], kCmdClone);
    EXPECT_EQ(menu[QStringLiteral("Rename waveform")], kCmdEditName);
    EXPECT_EQ(menu.count(QStringLiteral("Add new layer")), 0u);
}

TEST_F(DispatchTest, SelectionsFollowEachOtherAsTheOptionsSay) {
    // Three waves; an instrument whose two regions play the first two.
    std::vector<Waveform*> waves;
    for (const char16_t* name : {u"A", u"B", u"C"}) {
        auto* wave = new Waveform(collection_, kNewSerial, name);
        wave->frames = 10;
        wave->channels = 1;
        wave->sampleRate = 8000;
        waves.push_back(wave);
    }
    auto* instrument = new Instrument(collection_, kNewSerial, u"Keys");
    auto* layer = new Layer(collection_, kNewSerial);
    ASSERT_TRUE(instrument->addChild(*layer));
    for (int i = 0; i < 2; ++i) {
        auto* region = new Region(collection_, kNewSerial);
        region->ids.push_back(waves[size_t(i)]->id);
        ASSERT_TRUE(layer->addChild(*region));
    }
    window_.refresh();
    auto selectedWaves = [&] {
        std::vector<std::u16string> names;
        for (const QModelIndex& index : window_.waveView()->selectionModel()->selectedRows())
            names.push_back(window_.waveModel()->itemAt(index)->name());
        std::sort(names.begin(), names.end());
        return names;
    };

    // On by default: an instrument selects the waves its regions play.
    ASSERT_TRUE(window_.selectItem(instrument->id));
    EXPECT_EQ(selectedWaves(), (std::vector<std::u16string>{u"A", u"B"}));
    ASSERT_TRUE(window_.selectItem(layer->ids[1]));
    EXPECT_EQ(selectedWaves(), (std::vector<std::u16string>{u"B"}));

    // Off by default: a wave selects the regions that play it.
    window_.waveView()->clearSelection();
    ASSERT_TRUE(window_.selectItem(waves[0]->id));
    EXPECT_EQ(window_.treeView()->selectionModel()->selectedRows().size(), 1); // the region from before
    GlobalSettings().app.bAutoSelCollItems = true;
    auto selectedRegion = [&]() -> ItemId {
        const QModelIndexList rows = window_.treeView()->selectionModel()->selectedRows();
        return rows.size() == 1 ? window_.treeModel()->itemAt(rows.front())->id : kNoItem;
    };
    ASSERT_TRUE(window_.selectItem(waves[1]->id));
    EXPECT_EQ(selectedRegion(), layer->ids[1]);
    ASSERT_TRUE(window_.selectItem(waves[0]->id));
    EXPECT_EQ(selectedRegion(), layer->ids[0]);
    ASSERT_TRUE(window_.selectItem(waves[2]->id)); // played by nothing
    EXPECT_TRUE(window_.treeView()->selectionModel()->selectedRows().isEmpty());

    GlobalSettings().app.bAutoSelWaveforms = false;
    window_.waveView()->clearSelection();
    ASSERT_TRUE(window_.selectItem(instrument->id));
    EXPECT_TRUE(selectedWaves().empty());
}

} // namespace
} // namespace vaxel::app

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
