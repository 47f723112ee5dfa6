// The open, merge and save flows over real files: what a user sees when a
// file can't be read or written, that a failed save never harms the file
// that was there, and that the collection ends up as it should.
#include "fileio/open_save.h"

#include <gtest/gtest.h>

#include <cmath>

#include "fileio/format_table.h"
#include "fileio/wave_loader.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;

class Flows : public ::testing::Test {
  protected:
    // Opening a file changes the current folder to the file's, which is a
    // temporary one here: go back afterwards.
    void TearDown() override { std::filesystem::current_path(startFolder); }
    void SetUp() override {
        startFolder = std::filesystem::current_path();
        InstallFormats();
        wavRow = findWriteRowByExtension(u"wav", 1);
        ASSERT_GE(wavRow, 0);
    }

    // A mono 16-bit tone made by sox, so the reader meets a file we didn't write.
    fs::path Tone(const std::string& name, double seconds = 0.1) {
        test::RequireTool("sox");
        fs::path path = dir / name;
        EXPECT_EQ(test::Run("sox -n -r 8000 -b 16 -c 1 " + test::Quote(path.string()) + " synth " +
                            std::to_string(seconds) + " sine 440"),
                  0);
        return path;
    }

    Waveform* OnlyWave(Collection& c) {
        EXPECT_EQ(c.count(ItemType::Waveform), 1u);
        return static_cast<Waveform*>(c.first(ItemType::Waveform));
    }

    // Files other than the given ones in the folder: a save must leave no
    // temporary file behind.
    std::vector<std::string> Leftovers() {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir.path()))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path startFolder;
    test::TempDir dir;
    int wavRow = -1;
};

TEST_F(Flows, OpenFailuresSayWhyAndLeaveAnEmptyCollection) {
    Collection c;
    EXPECT_EQ(openFile(c, dir / "missing.wav", true), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Could not open file");

    test::WriteFile(dir / "empty.wav", std::string());
    EXPECT_EQ(openFile(c, dir / "empty.wav", true), 0);
    EXPECT_EQ(std::u16string(LastError()), u"File is of zero size");

    // Unrecognisable bytes reach row 0 only when forced, as the batch asks.
    test::WriteFile(dir / "noise.qqq", std::string("\x01\x02\x03\x04 not a sound file at all", 28));
    EXPECT_EQ(openFile(c, dir / "noise.qqq", false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Not detected as any supported file type");

    // A good open first, then a broken file: the earlier contents are gone
    // and the reader's own words stand.
    ASSERT_EQ(openFile(c, Tone("good.wav"), true), 1) << LastErrorUtf8();
    EXPECT_EQ(c.count(ItemType::Waveform), 1u);
    std::vector<uint8_t> broken = test::ReadFile(dir / "good.wav");
    broken.resize(12); // the RIFF head and nothing else
    test::WriteFile(dir / "broken.wav", broken);
    EXPECT_EQ(openFile(c, dir / "broken.wav", true), 0);
    EXPECT_EQ(c.count(ItemType::Waveform), 0u);
    EXPECT_EQ(std::u16string(c.name()), u"Empty collection");
    EXPECT_NE(std::u16string(LastError()), u"");
}

TEST_F(Flows, OpenRecordsTheSourceAndLeavesSamplesOnDisk) {
    Collection c;
    const fs::path path = Tone("tone.wav", 1.0);
    ASSERT_EQ(openFile(c, path, true), 1) << LastErrorUtf8();
    EXPECT_EQ(WideToUtf8(c.text(kInfoSourceFile)), fs::absolute(path).string());
    EXPECT_EQ(extensionOf(c.sourceFormat), u"wav");
    EXPECT_EQ(std::u16string(c.name()), u"tone");
    Waveform* w = OnlyWave(c);
    ASSERT_TRUE(w);
    EXPECT_EQ(w->frames, 8000u);
    EXPECT_FALSE(w->hasSamples()); // read at first use, not at open
    ASSERT_TRUE(w->lockSamples()) << LastErrorUtf8();
    std::string text;
    ASSERT_EQ(
        test::Run("/usr/bin/python3 -c 'import soundfile,sys; print(repr(float(soundfile.read(sys.argv[1], "
                  "dtype=\"float32\")[0][10])))' " +
                      test::Quote(path.string()),
                  &text),
        0);
    EXPECT_EQ(w->samples()->data[10], std::stof(text));
}

TEST_F(Flows, SaveRefusalsUseTheirWords) {
    Collection c;
    WriteOptions options;
    EXPECT_EQ(saveItem(nullptr, wavRow, dir / "x.wav", options, false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"No item selected");

    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 10;
    ASSERT_TRUE(w->lockSamplesForWrite());
    EXPECT_EQ(saveItem(w, -1, dir / "x.wav", options, false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Invalid export format selected");
    EXPECT_EQ(saveItem(w, formatCount, dir / "x.wav", options, false), 0);
    // Row 0 reads anything and writes nothing.
    EXPECT_EQ(saveItem(w, 0, dir / "x.wav", options, false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Invalid export format selected");

    // An instrument with nothing in it.
    auto* inst = new Instrument(c, kNewSerial, u"empty");
    EXPECT_EQ(saveItem(inst, wavRow, dir / "x.wav", options, false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Empty item - nothing to save");
    EXPECT_EQ(Leftovers(), std::vector<std::string>{});

    // A folder that doesn't exist can't take the file.
    EXPECT_EQ(saveItem(w, wavRow, dir / "no" / "such" / "x.wav", options, false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"Could not create file");
}

TEST_F(Flows, AFailedSaveLeavesTheEarlierFileAsItWas) {
    const fs::path target = Tone("target.wav");
    const std::vector<uint8_t> before = test::ReadFile(target);

    // A wave whose samples can't be read (its source vanished) fails in the
    // middle of the save.
    Collection c;
    ASSERT_EQ(openFile(c, Tone("source.wav"), true), 1);
    fs::remove(dir / "source.wav");
    Waveform* w = OnlyWave(c);
    ASSERT_TRUE(w);
    EXPECT_EQ(saveFile(w, target, wavRow, WriteOptions{}, true), 0);
    EXPECT_EQ(test::ReadFile(target), before);
    EXPECT_EQ(Leftovers(), std::vector<std::string>{"target.wav"});

    // A writer that refuses the item: a layer goes out as an instrument,
    // which a wave format can't hold.
    auto* good = new Waveform(c, kNewSerial, u"good");
    good->frames = 100;
    ASSERT_TRUE(good->lockSamplesForWrite());
    auto* inst = new Instrument(c, kNewSerial, u"inst");
    auto* layer = new Layer(c, kNewSerial);
    inst->addChild(*layer);
    auto* region = new Region(c, kNewSerial, SerialOf(good->id));
    layer->addChild(*region);
    EXPECT_EQ(saveFile(layer, target, wavRow, WriteOptions{}, false), 0);
    EXPECT_EQ(std::u16string(LastError()), u"The file format can not save this item");
    EXPECT_EQ(test::ReadFile(target), before);
    EXPECT_EQ(Leftovers(), std::vector<std::string>{"target.wav"});
    // The temporary instrument made for the save is gone again.
    EXPECT_EQ(c.count(ItemType::Instrument), 1u);
}

TEST_F(Flows, OverwritingTheSourceFileKeepsItsSamples) {
    const fs::path path = Tone("self.wav", 0.5);
    Collection c;
    ASSERT_EQ(openFile(c, path, true), 1);
    Waveform* w = OnlyWave(c);
    ASSERT_TRUE(w && !w->hasSamples());
    w->addLoop(LoopInfo{1, 0, 100.0f, 2000.0f, 0.0f}, nullptr, true, false);

    test::RecordingStatusLine status;
    StatusLine* old = SetStatusLine(&status);
    ASSERT_EQ(saveFile(w, path, wavRow, WriteOptions{}, true), 1) << LastErrorUtf8();
    SetStatusLine(old);
    ASSERT_FALSE(status.entries.empty());
    EXPECT_EQ(status.entries.back().text.substr(0, 16), u"Saved: self.wav ");
    EXPECT_EQ(status.entries.back().mode, kStatusFinal);

    Collection again;
    ASSERT_EQ(openFile(again, path, true), 1);
    Waveform* back = OnlyWave(again);
    ASSERT_TRUE(back && back->lockSamples() && w->lockSamples());
    ASSERT_EQ(back->frames, w->frames);
    for (uint32_t i = 0; i < back->frames; ++i)
        ASSERT_EQ(back->samples()->data[i], w->samples()->data[i]) << i;
    const LoopRecord* loop = back->mainLoop();
    ASSERT_TRUE(loop);
    EXPECT_EQ(loop->start, 100u);
    EXPECT_EQ(loop->end, 2000u);
    // The file keeps the mode of the file it replaced.
    EXPECT_EQ(Leftovers(), std::vector<std::string>{"self.wav"});
}

TEST_F(Flows, MergeAndReplaceWaves) {
    Collection c;
    ASSERT_EQ(openFile(c, Tone("a.wav"), true), 1);
    ASSERT_EQ(mergeFile(c, Tone("b.wav", 0.2)), 1);
    ASSERT_EQ(c.count(ItemType::Waveform), 2u);
    EXPECT_EQ(mergeFile(c, dir / "missing.wav"), 0);
    EXPECT_EQ(c.count(ItemType::Waveform), 2u); // a failed merge adds nothing

    // A wave named "a" in another file gives its samples to our "a".
    test::RequireTool("sox");
    fs::create_directory(dir / "other");
    ASSERT_EQ(test::Run("sox -n -r 8000 -b 16 -c 1 " + test::Quote((dir / "other" / "a.wav").string()) +
                        " synth 0.3 square 100"),
              0);
    int replaced = -1;
    ASSERT_EQ(replaceWaves(c, dir / "other" / "a.wav", &replaced), 1);
    EXPECT_EQ(replaced, 1);
    for (Waveform* w : ItemsOf<Waveform>(c))
        if (std::u16string(w->name()) == u"a") {
            EXPECT_EQ(w->frames, 2400u);
            EXPECT_TRUE(w->hasSamples());
            EXPECT_EQ(w->decodeRoutine, nullptr); // the shared block is the only copy now
        }
}

TEST_F(Flows, SaveTargetsFollowTheExtension) {
    std::u16string path = u"/tmp/out";
    int row = wavRow;
    ResolveSaveTarget(path, row, 1);
    EXPECT_EQ(path, u"/tmp/out.wav");
    EXPECT_EQ(row, wavRow);

    const int w64Row = findWriteRowByExtension(u"w64", 1);
    ASSERT_GE(w64Row, 0);
    path = u"/tmp/out.W64";
    row = wavRow;
    ResolveSaveTarget(path, row, 1);
    EXPECT_EQ(path, u"/tmp/out.W64");
    EXPECT_EQ(row, w64Row);

    path = u"/tmp/take.1";
    row = wavRow;
    ResolveSaveTarget(path, row, 1);
    EXPECT_EQ(path, u"/tmp/take.1.wav");
    EXPECT_EQ(row, wavRow);
}

TEST_F(Flows, SaveAllNamesFilesAndHandlesCollisions) {
    Collection c;
    for (const char16_t* name : {u"Kick", u"Snare: tight", u"Hat"}) {
        auto* w = new Waveform(c, kNewSerial, name);
        w->frames = 10;
        ASSERT_TRUE(w->lockSamplesForWrite());
    }
    const Waveform& first = *static_cast<Waveform*>(c.first(ItemType::Waveform));
    EXPECT_EQ(SaveAllFileName(kNameBaseNumber, u"kit", 3, first, wavRow), u"kit - 3.wav");
    EXPECT_EQ(SaveAllFileName(kNameNumberBase, u"kit", 3, first, wavRow), u"3 - kit.wav");
    EXPECT_EQ(SaveAllFileName(kNameBaseName, u"kit", 3, first, wavRow), u"kit - Kick.wav");
    EXPECT_EQ(SaveAllFileName(kNameNumberName, u"kit", 12, first, wavRow), u"12 - Kick.wav");

    test::WriteFile(dir / "2 - Snare_ tight.wav", std::string("keep me"));
    int asked = 0;
    SaveAllPrompts prompts;
    prompts.collision = [&](const std::u16string& name, bool& same) {
        ++asked;
        EXPECT_EQ(name, u"2 - Snare_ tight.wav");
        same = true;
        return kSkipThis;
    };
    EXPECT_EQ(saveAll(c, dir.path(), wavRow, u"", kNameNumberName, WriteOptions{}, prompts), 2);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(Leftovers(), (std::vector<std::string>{"1 - Kick.wav", "2 - Snare_ tight.wav", "3 - Hat.wav"}));
    EXPECT_EQ(test::ReadFile(dir / "2 - Snare_ tight.wav").size(), 7u);

    // Cancel all stops at the first collision.
    prompts.collision = [&](const std::u16string&, bool&) { return kCancelAll; };
    EXPECT_EQ(saveAll(c, dir.path(), wavRow, u"", kNameNumberName, WriteOptions{}, prompts), 0);

    // An empty collection has nothing to save.
    Collection none;
    EXPECT_EQ(saveAll(none, dir.path(), wavRow, u"", kNameName, WriteOptions{}, prompts), -1);
    EXPECT_EQ(std::u16string(LastError()), u"No waveforms to save!");
}

} // namespace
} // namespace vaxel
