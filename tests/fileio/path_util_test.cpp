// Path parts, the clean-up of foreign file names, safe file names made from
// item names, and the search for referenced sample files.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "fileio/path_util.h"
#include "model/collection.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;

TEST(PathUtilTest, FileNameAndExtensionPartsOfForeignAndLocalPaths) {
    EXPECT_EQ(FileNamePart(u"C:\\Samples\\Piano.wav"), 11u);
    EXPECT_EQ(FileNamePart(u"/home/me/kick.aif"), 9u);
    EXPECT_EQ(FileNamePart(u"C:piano"), 2u);
    EXPECT_EQ(FileNamePart(u"plain"), 0u);
    EXPECT_EQ(FileNamePart(u"folder/"), 7u);

    EXPECT_EQ(ExtensionPart(u"Piano.wav"), 5u);
    EXPECT_EQ(ExtensionPart(u"set.tar.gz"), 7u);
    EXPECT_EQ(ExtensionPart(u"noext"), 5u);
    // A point in a folder name is no extension of the file.
    EXPECT_EQ(ExtensionPart(u"/lib/v1.2/kick"), 14u);
    EXPECT_EQ(ExtensionPart(u"C:\\v1.2\\kick"), 12u);
    EXPECT_EQ(ExtensionPart(u"name.."), 6u);
    EXPECT_EQ(ExtensionPart(u"name."), 4u);
    EXPECT_EQ(ExtensionPart(u""), 0u);
}

TEST(PathUtilTest, CleanUnicodePathComposesMarksAndDropsUnusableCodePoints) {
    std::u16string path = u"/samples/Cafe\u0301 n\u0303 A\u030A.wav";
    EXPECT_TRUE(CleanUnicodePath(path));
    EXPECT_EQ(path, u"/samples/Caf\u00E9 \u00F1 \u00C5.wav");

    // A surrogate pair (U+1F600) and a lone low surrogate.
    path = u"x\uE000y\uF8FFz";
    path += {char16_t(0xD83D), char16_t(0xDE00), u'!', char16_t(0xDC00)};
    EXPECT_TRUE(CleanUnicodePath(path));
    EXPECT_EQ(path, u"xyz!");

    // Letters of Latin Extended Additional are composed too.
    path = u"W\u0308";
    EXPECT_TRUE(CleanUnicodePath(path));
    EXPECT_EQ(path, u"\u1E84");

    // No precomposed letter exists: the text stays and nothing is reported.
    for (std::u16string same : {std::u16string(u"q\u0301"), std::u16string(u"\u03B5\u0301"),
                                std::u16string(u"/plain/path.wav"), std::u16string(u"\u0301lead")}) {
        std::u16string before = same;
        EXPECT_FALSE(CleanUnicodePath(same));
        EXPECT_EQ(same, before);
    }
    // Only a plain letter takes a mark; a second mark stays on its own.
    path = u"e\u0301\u0301";
    EXPECT_TRUE(CleanUnicodePath(path));
    EXPECT_EQ(path, u"\u00E9\u0301");
}

TEST(PathUtilTest, SafeFileNameReplacesRefusedCharactersAndDropsKnownExtensions) {
    EXPECT_EQ(SafeFileName(u"a*b/c:d?e\\f\x7Fg", false), u"a_b_c_d_e_f_g");
    EXPECT_EQ(SafeFileName(u"Say \"hi\" | <x>", false), u"Say 'hi' , (x)");
    EXPECT_EQ(SafeFileName(u"tab\there\nline", false), u"tab_here_line");

    EXPECT_EQ(SafeFileName(u"Piano.wav", false), u"Piano");
    EXPECT_EQ(SafeFileName(u"Piano.WAV", false), u"Piano");
    EXPECT_EQ(SafeFileName(u"Piano.wav.wav", false), u"Piano.wav");
    EXPECT_EQ(SafeFileName(u"Strings .sf2  ", false), u"Strings");
    EXPECT_EQ(SafeFileName(u"Take.v2x", false), u"Take.v2x");

    EXPECT_EQ(SafeFileName(u"   ", false), u"Noname");
    EXPECT_EQ(SafeFileName(u"", false), u"Noname");
    EXPECT_EQ(SafeFileName(u".wav", false), u"Noname");
    EXPECT_EQ(SafeFileName(u"..", false), u"__");
    EXPECT_EQ(SafeFileName(u".", false), u"_");
    // The name ends at a NUL.
    EXPECT_EQ(SafeFileName(std::u16string_view(u"ab\0cd", 5), false), u"ab");

    // Folding maps through Windows-1252: what it cannot hold is folded, and
    // a '?' it gives is then replaced like any other.
    EXPECT_EQ(SafeFileName(u"\u0152uvre\u2019s \u03A9 \u4E2D", true), u"Ouvre's O _");
    EXPECT_EQ(SafeFileName(u"\u0152uvre", false), u"\u0152uvre");
    EXPECT_EQ(SafeFileName(u"\u201CQuote\u201D", true), u"'Quote'");
}

TEST(PathUtilTest, AnsiSafeNamesAndAppending) {
    EXPECT_EQ(SafeFileNameAnsi(u""), "noname");
    EXPECT_EQ(SafeFileNameAnsi(u"  "), "noname");
    EXPECT_EQ(SafeFileNameAnsi(u"Fl\u00F6te\u2019s.aiff"), "Fl\xF6te's");
    EXPECT_EQ(SafeFileNameAnsi(u"\u20AC/\u0416"), "E_Z");

    std::u16string path = u"/tmp/out";
    AppendFileName(path, u"Piano.wav", true, false);
    EXPECT_EQ(path, u"/tmp/out/Piano");
    path = u"/tmp/out/";
    AppendFileName(path, u"a:b", true, false);
    EXPECT_EQ(path, u"/tmp/out/a_b");
    path = u"prefix-";
    AppendFileName(path, u"", false, false);
    EXPECT_EQ(path, u"prefix-Noname");
}

// LocateFile changes the current folder; each test puts it back.
class LocateFileTest : public ::testing::Test {
protected:
    void SetUp() override { saved_ = fs::current_path(); }
    void TearDown() override { fs::current_path(saved_); }
    static void Touch(const fs::path& p) {
        fs::create_directories(p.parent_path());
        test::WriteFile(p, std::string("x"));
    }
    static std::u16string Wide(const fs::path& p) { return p.u16string(); }
    // The temporary folder may be reached through a link, so paths are
    // compared as files, not as text.
    static bool Same(const std::u16string& found, const fs::path& expected) {
        std::error_code ec;
        return fs::path(found).is_absolute() && fs::equivalent(fs::path(found), expected, ec);
    }
    static bool Same(const fs::path& found, const fs::path& expected) {
        std::error_code ec;
        return fs::equivalent(found, expected, ec);
    }

    fs::path saved_;
};

TEST_F(LocateFileTest, AnExistingPathIsKept) {
    test::TempDir dir;
    Touch(dir / "kick.wav");
    std::u16string path = Wide(dir / "kick.wav");
    EXPECT_TRUE(LocateFile(path, u"", nullptr));
    EXPECT_EQ(path, Wide(dir / "kick.wav"));
}

TEST_F(LocateFileTest, FindsTheNameInASubFolderOfTheCurrentFolderAndMovesThere) {
    test::TempDir dir;
    Touch(dir / "a" / "other.wav");
    Touch(dir / "b" / "piano.wav");
    fs::current_path(dir.path());
    std::u16string path = u"C:\\Old Disk\\Samples\\piano.wav";
    ASSERT_TRUE(LocateFile(path, u"", nullptr));
    EXPECT_TRUE(Same(path, dir / "b" / "piano.wav"));
    EXPECT_TRUE(Same(fs::current_path(), dir.path() / "b"));

    // The next reference of the same set is now found in the current folder.
    Touch(dir / "b" / "piano2.wav");
    path = u"C:\\Old Disk\\Samples\\piano2.wav";
    ASSERT_TRUE(LocateFile(path, u"", nullptr));
    EXPECT_TRUE(Same(path, dir / "b" / "piano2.wav"));
}

TEST_F(LocateFileTest, FindsTheNameBesideTheCollectionsOwnFile) {
    test::TempDir library, elsewhere;
    Touch(library / "bank.sf2");
    Touch(library / "Samples" / "strings.wav");
    fs::current_path(elsewhere.path());
    Collection collection;
    collection.setText(kInfoSourceFile, Wide(library / "bank.sf2"));

    std::u16string path = u"D:\\Audio\\strings.wav";
    ASSERT_TRUE(LocateFile(path, u"", &collection));
    EXPECT_TRUE(Same(path, library / "Samples" / "strings.wav"));
    EXPECT_TRUE(Same(fs::current_path(), library.path() / "Samples"));

    // Without the collection nothing points there.
    fs::current_path(elsewhere.path());
    path = u"D:\\Audio\\strings.wav";
    EXPECT_FALSE(LocateFile(path, u"", nullptr));
}

TEST_F(LocateFileTest, AFolderPathTakesTheSearchNameAndCaseMayDiffer) {
    test::TempDir dir;
    Touch(dir / "Drums" / "KICK.WAV");
    fs::current_path(dir.path());
    std::u16string path = u"/no/such/folder/";
    ASSERT_TRUE(LocateFile(path, u"kick.wav", nullptr));
    EXPECT_TRUE(Same(path, dir / "Drums" / "KICK.WAV"));
}

TEST_F(LocateFileTest, OnlyDirectSubFoldersAndOnlyFilesCount) {
    test::TempDir dir;
    Touch(dir / "a" / "b" / "deep.wav");
    fs::create_directories(dir / "c" / "folder.wav");
    fs::current_path(dir.path());
    std::u16string path = u"deep.wav";
    EXPECT_FALSE(LocateFile(path, u"", nullptr));
    path = u"folder.wav";
    EXPECT_FALSE(LocateFile(path, u"", nullptr));
    EXPECT_TRUE(Same(fs::current_path(), dir.path()));
}

std::u16string askedTitle;
bool AnswerWithChoice(const std::u16string& title, std::u16string& chosen) {
    askedTitle = title;
    chosen = u"/chosen/by/user.wav";
    return true;
}
bool Cancel(const std::u16string& title, std::u16string&) {
    askedTitle = title;
    return false;
}

TEST_F(LocateFileTest, TheUserIsAskedLast) {
    test::TempDir dir;
    fs::current_path(dir.path());
    std::u16string path = u"C:\\gone\\ghost.wav";
    askedTitle.clear();
    ASSERT_TRUE(LocateFile(path, u"", nullptr, AnswerWithChoice));
    EXPECT_EQ(askedTitle, u"Please locate the missing file: ghost.wav");
    EXPECT_EQ(path, u"/chosen/by/user.wav");

    path = u"C:\\gone\\ghost.wav";
    askedTitle.clear();
    EXPECT_FALSE(LocateFile(path, u"", nullptr, Cancel));
    EXPECT_EQ(askedTitle, u"Please locate the missing file: ghost.wav");
}

} // namespace
} // namespace vaxel
