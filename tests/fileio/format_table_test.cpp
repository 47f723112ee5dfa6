// The format table's queries and the detection scoring.
#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/waveform.h"
#include "model/text.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

// Detectors for a small table of our own, so the scoring rule is checked
// exactly whatever detectors the real table has.
int Always2(const uint8_t*, uint32_t, size_t, uint64_t, int) { return 2; }
int Never(const uint8_t*, uint32_t, size_t, uint64_t, int) { return 0; }
int MagicMThd(const uint8_t* b, uint32_t, size_t n, uint64_t, int) {
    return n >= 4 && b[0] == 'M' && b[1] == 'T' && b[2] == 'h' && b[3] == 'd' ? 6 : 0;
}
int Weak(const uint8_t*, uint32_t param, size_t, uint64_t, int) { return int(param); }
int StrongB(const uint8_t* b, uint32_t, size_t n, uint64_t, int) { return n && b[0] == 'B' ? 9 : 0; }

FormatEntry Row(const char16_t* ext, int (*detect)(const uint8_t*, uint32_t, size_t, uint64_t, int),
                uint32_t param = 0) {
    return FormatEntry{ext, nullptr, nullptr, detect, u"test", 0x01, 0, param, nullptr};
}

int Detect(const std::vector<FormatEntry>& rows, const char16_t* name, const std::string& bytes,
           int* confidence = nullptr, int* score = nullptr) {
    int c = -2;
    int r = detectInRows(rows.data(), int(rows.size()), name, reinterpret_cast<const uint8_t*>(bytes.data()),
                         bytes.size(), bytes.size(), &c, score);
    if (confidence) *confidence = c;
    return r;
}

TEST(DetectionScoring, MagicBeatsAWrongExtensionAndRowZeroCatchesTheRest) {
    std::vector<FormatEntry> rows = {Row(u"*", Always2), Row(u"mid", MagicMThd), Row(u"wav", Never)};
    int confidence, score;
    // "x.wav" holding a MIDI file: magic 6 beats the 3 of the extension alone.
    EXPECT_EQ(Detect(rows, u"/music/x.wav", "MThd\0\0\0\6", &confidence, &score), 1);
    EXPECT_EQ(score, 6);
    EXPECT_EQ(confidence, 66);
    // Magic and extension: 9 shows as 100%.
    EXPECT_EQ(Detect(rows, u"song.MID", "MThd", &confidence, &score), 1);
    EXPECT_EQ(score, 9);
    EXPECT_EQ(confidence, 100);
    // An extension match with a detector saying no loses to row 0 (3 < 4).
    EXPECT_EQ(Detect(rows, u"a.wav", "junk", &confidence, &score), 0);
    EXPECT_EQ(score, 4);
    EXPECT_EQ(confidence, 0);
    // An unknown extension with no magic: row 0, confidence 0.
    EXPECT_EQ(Detect(rows, u"a.qqq", "junk", &confidence), 0);
    EXPECT_EQ(confidence, 0);
}

TEST(DetectionScoring, TiesGoToTheLowerRowAndScoresAbove9ExceedAHundred) {
    std::vector<FormatEntry> rows = {Row(u"*", Always2), Row(u"raw", Weak, 2), Row(u"raw", Weak, 2),
                                     Row(u"big", StrongB)};
    int confidence, score;
    EXPECT_EQ(Detect(rows, u"a.raw", "x", &confidence, &score), 1);
    EXPECT_EQ(score, 5);
    EXPECT_EQ(confidence, 55);
    EXPECT_EQ(Detect(rows, u"a.big", "B", &confidence, &score), 3);
    EXPECT_EQ(score, 12);
    EXPECT_EQ(confidence, 133);
}

TEST(DetectionScoring, NoExtensionMatchesOnlyTheStarAndEmptyFilesFail) {
    std::vector<FormatEntry> rows = {Row(u"*", Always2), Row(u"NOEXT", Weak, 1)};
    int score;
    // No point in the name: the whole path is matched, and "NOEXT" is not
    // "/tmp/NOEXT".
    EXPECT_EQ(Detect(rows, u"/tmp/NOEXT", "x", nullptr, &score), 0);
    EXPECT_EQ(score, 4);
    // A point in a folder name is no extension.
    EXPECT_EQ(Detect(rows, u"/tmp/a.b/NOEXT", "x", nullptr, &score), 0);
    EXPECT_EQ(score, 4);
    int confidence;
    EXPECT_EQ(detectInRows(rows.data(), 2, u"x.wav", nullptr, 0, 0, &confidence), -1);
    // Without a "*" row, a best score below 3 is no result.
    std::vector<FormatEntry> noStar = {Row(u"wav", Weak, 2)};
    EXPECT_EQ(Detect(noStar, u"a.aif", "x"), -1);
    EXPECT_EQ(Detect(noStar, u"a.wav", "x"), 0);
}

TEST(ExtensionPatterns, QuestionMarkStarAndCase) {
    EXPECT_TRUE(matchExtension(u"wav", u"WAV"));
    EXPECT_TRUE(matchExtension(u"KSF", u"ksf"));
    EXPECT_FALSE(matchExtension(u"wav", u"wave"));
    EXPECT_FALSE(matchExtension(u"wave", u"wav"));
    EXPECT_TRUE(matchExtension(u"*", u""));
    EXPECT_TRUE(matchExtension(u"g72*", u"g726-4"));
    EXPECT_TRUE(matchExtension(u"s?", u"s3"));
    // '?' takes the file's character as it stands, even its end.
    EXPECT_TRUE(matchExtension(u"s?", u"s"));
    EXPECT_FALSE(matchExtension(u"s?", u"s34"));
    EXPECT_TRUE(matchExtension(u"gi!", u"GI!"));
}

TEST(FormatTable, CountsAndRowQueries) {
    InstallFormats();
    EXPECT_EQ(formatCount, 559);
    EXPECT_EQ(extensionOf(495), u"wav");
    EXPECT_EQ(descriptionOf(495), u"Microsoft wave");
    EXPECT_EQ(extensionOf(-1), u"");
    EXPECT_EQ(extensionOf(559), u"");
    EXPECT_EQ(descriptionOf(559), u"<none>");
    EXPECT_EQ(formatRow(559), nullptr);
    // Counts are of routines that really exist; they grow as formats land.
    int readers = 0, writers = 0;
    for (int row = 0; row < formatCount; ++row) {
        readers += formatRow(row)->read != nullptr;
        writers += formatRow(row)->write != nullptr;
    }
    EXPECT_EQ(readerCount(), readers);
    EXPECT_EQ(writerCount(), writers);
    EXPECT_LE(readerCount(), 427);
    EXPECT_LE(writerCount(), 268);
    // Binding refuses a row that does not exist, a reader on a write-only row
    // and a second binding.
    FormatRoutines r;
    r.detect = Always2;
    EXPECT_FALSE(bindFormat(u"wav", u"No such format", r));
    EXPECT_FALSE(bindFormat(u"aac", u"MPEG 2 AAC - Low Complexity", r));
    EXPECT_EQ(findFormatRow(u"aac", u"MPEG 2 AAC - Low Complexity"), 9);
    EXPECT_EQ(findFormatRow(u"AAC", u"MPEG 2 AAC - Low Complexity"), -1);
}

TEST(FormatTable, CapsOfAReadRowAnswersForItsWriters) {
    uint32_t param = 99;
    EXPECT_EQ(capsOf(8, &param), capsOf(9));
    EXPECT_EQ(capsOf(9, &param), 0x320000u);
    EXPECT_EQ(param, 0u);
    EXPECT_EQ(capsOf(3, &param), 0x120000u);
    EXPECT_EQ(param, 0x1408u);
    EXPECT_EQ(capsOf(558, &param), 0u); // zip: no writer in its run
    EXPECT_EQ(capsOf(-5, &param), 0u);
    EXPECT_EQ(param, 0u);
}

TEST(FormatTable, KnownExtensionsIgnoreCaseButNotTheStar) {
    EXPECT_TRUE(isKnownExtension(u"WAV"));
    EXPECT_TRUE(isKnownExtension(u"pcg"));
    EXPECT_FALSE(isKnownExtension(u"*"));
    EXPECT_FALSE(isKnownExtension(u"docx"));
    EXPECT_FALSE(isKnownExtension(u""));
}

TEST(FormatTable, DialogFiltersFollowTheRoutines) {
    InstallFormats();
    auto open = openDialogFilters();
    ASSERT_EQ(int(open.size()), readerCount() - (formatRow(0)->read ? 1 : 0));
    for (const FilterEntry& f : open) {
        EXPECT_NE(f.row, 0);
        EXPECT_NE(formatRow(f.row)->read, nullptr);
        std::u16string ext = formatRow(f.row)->extension;
        EXPECT_EQ(f.pattern, u"*." + ext);
        EXPECT_NE(f.text.find(u" - "), std::u16string::npos);
    }
    for (const FilterEntry& f : saveDialogFilters(0xFF)) EXPECT_NE(formatRow(f.row)->write, nullptr);
}

TEST(FormatTable, ChannelsForSaveFollowTheRowsChannelBits) {
    Collection c;
    auto* mono = new Waveform(c, kNewSerial, u"m");
    auto* stereo = new Waveform(c, kNewSerial, u"s");
    stereo->channels = 2;
    EXPECT_EQ(channelsForSave(495, *mono), 1);   // wav holds both
    EXPECT_EQ(channelsForSave(495, *stereo), 2);
    EXPECT_EQ(channelsForSave(66, *stereo), 1);  // DLS level 1 holds mono only
    EXPECT_EQ(channelsForSave(321, *stereo), 2); // stereo kept as two mono waves
    auto* inst = new Instrument(c, kNewSerial, u"i");
    for (Waveform* w : {mono, stereo}) {
        auto* layer = new Layer(c, kNewSerial);
        inst->addChild(*layer);
        auto* region = new Region(c, kNewSerial, SerialOf(w->id));
        layer->addChild(*region);
    }
    EXPECT_EQ(channelsForSave(495, *inst), 0);   // the waves differ
    EXPECT_EQ(channelsForSave(66, *inst), 1);    // both end up mono
    EXPECT_EQ(channelsForSave(495, c), 0);
    EXPECT_EQ(channelsForSave(600, *mono), 0);
}

TEST(DetectFormat, ZeroSizeAndUnreadableFiles) {
    InstallFormats();
    test::TempDir dir;
    test::WriteFile(dir / "empty.wav", std::string());
    FileObject file;
    ASSERT_TRUE(file.Open(dir / "empty.wav", FileObject::kRead));
    int confidence = 7;
    EXPECT_EQ(detectFormat(dir / "empty.wav", file, &confidence), -1);
    EXPECT_EQ(confidence, 0);
    EXPECT_EQ(std::u16string(LastError()), u"File is of zero size");

    std::u16string name;
    EXPECT_FALSE(describeFile(dir / "missing.wav", name, confidence));
    EXPECT_EQ(name, u"");
    EXPECT_EQ(confidence, 0);
    EXPECT_FALSE(isSupportedFile(dir / "missing.wav"));

    // Any other file lands somewhere, at worst on row 0, and detection does
    // not move the file's position.
    test::WriteFile(dir / "note.qqq", std::string("just some words"));
    ASSERT_TRUE(file.Open(dir / "note.qqq", FileObject::kRead));
    ASSERT_TRUE(file.Seek(5));
    EXPECT_EQ(detectFormat(dir / "note.qqq", file, &confidence), 0);
    EXPECT_EQ(confidence, 0);
    EXPECT_EQ(file.Tell(), 5u);
    EXPECT_TRUE(isSupportedFile(dir / "note.qqq"));
    EXPECT_TRUE(describeFile(dir / "note.qqq", name, confidence));
    EXPECT_EQ(name, u"Unrecognized");
}

} // namespace
} // namespace vaxel
