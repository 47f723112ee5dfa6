// The settings store: first run, every kind of value through a save and a
// load, garbage that falls back to defaults, and a folder that can't be
// written.
#include "model/settings.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "model/feature_mask.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

std::string ReadText(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

TEST(Settings, FirstRunTakesTheDefaultsAndWritesTheVersion) {
    test::TempDir dir;
    const auto path = dir / "Vaxel Studio.conf";
    Settings s;
    EXPECT_TRUE(loadSettings(s, path));
    EXPECT_EQ(s.app.iPaneSplitL, 221);
    EXPECT_TRUE(s.fmt.wav.bNoLoopOff);
    EXPECT_EQ(s.sall.iMode, 214);
    ASSERT_TRUE(saveSettings(s, path));
    const std::string text = ReadText(path);
    EXPECT_NE(text.find("\nVersionNumber=12.13\n"), std::string::npos);
    EXPECT_NE(text.find("\nfmt.vox.dwDataFormat=134225920\n"), std::string::npos);
    EXPECT_NE(text.find("\naio.acVKlo=ZSXDCVGBHNJM,L.\n"), std::string::npos);
    Settings again;
    EXPECT_FALSE(loadSettings(again, path));
    EXPECT_EQ(again.VersionNumber, "12.13");
}

TEST(Settings, EveryKindOfValueComesBack) {
    test::TempDir dir;
    const auto path = dir / "s.conf";
    Settings s;
    s.app.LastFilesW = {u"/music/with\ttab and \\ back\\slash.wav", u"/m\u00fcsik/\u65e5\u672c.sf2",
                        u"/a\nb.mid"};
    s.app.LastPathInW = u"/home/u/Samples";
    s.app.SaveFmt = {495, 402, 246, 0, kNoSaveRow};
    s.app.ptLastPos[0] = -20;
    s.app.ptLastPos[1] = 40;
    s.app.awColWidths = {120, 80, 65535};
    s.app.bCheckForUpdates = false;
    s.app.eDarkMode = 2;
    s.aio.fdbMixGain = -6.0205999f;
    s.aio.nLatency = 256;
    s.aio.szMidiInDev = "<none>";
    s.fmt.vox.dwDataFormat = 0xFFFFFFFFu;
    s.features = 0x00003FFF0000F00Full;
    s.batch.options[0] = 0xAB;
    s.batch.options[23] = 0x01;
    s.batch.SaveFmts[49] = 0xFF;
    ASSERT_TRUE(saveSettings(s, path));

    Settings back;
    loadSettings(back, path);
    SetFeatureMask(kAllFeatures);
    EXPECT_EQ(back.app.LastFilesW, s.app.LastFilesW);
    EXPECT_EQ(back.app.LastPathInW, s.app.LastPathInW);
    EXPECT_EQ(back.app.SaveFmt, s.app.SaveFmt);
    EXPECT_EQ(back.app.ptLastPos[0], -20);
    EXPECT_EQ(back.app.ptLastPos[1], 40);
    EXPECT_EQ(back.app.awColWidths, s.app.awColWidths);
    EXPECT_FALSE(back.app.bCheckForUpdates);
    EXPECT_EQ(back.app.eDarkMode, 2);
    EXPECT_EQ(back.aio.fdbMixGain, s.aio.fdbMixGain); // exact to the bit
    EXPECT_EQ(back.aio.nLatency, 256);
    EXPECT_EQ(back.aio.szMidiInDev, "<none>");
    EXPECT_EQ(back.fmt.vox.dwDataFormat, 0xFFFFFFFFu);
    EXPECT_EQ(back.features, s.features);
    EXPECT_EQ(back.batch.options, s.batch.options);
    EXPECT_EQ(back.batch.SaveFmts, s.batch.SaveFmts);
    // Everything else is the default still.
    EXPECT_EQ(back.app.iPaneSplitL, 221);
    EXPECT_EQ(back.mid2wav.wszGMBank, Settings().mid2wav.wszGMBank);
}

TEST(Settings, GarbageFallsBackToTheDefaultsSilently) {
    test::TempDir dir;
    const auto path = dir / "s.conf";
    test::WriteFile(path, std::string("app.iPaneSplitL=abc\n"
                                      "aio.cAudioOutFormat=300\n"
                                      "app.bDispLoBank=2\n"
                                      "app.SaveFmt=1,2\n"
                                      "app.ptLastPos=5\n"
                                      "app.awColWidths=1,x,3\n"
                                      "batch.options=zz\n"
                                      "aio.fdbMixGain=inf\n"
                                      "aio.acVKlo=bad\\q escape\n"
                                      "no equals sign here\n"
                                      "unknown.value=7\n"
                                      "\xff\xfe binary junk \x01\x02\n"
                                      "app.bShowNoteNames=0\r\n"));
    Settings s;
    loadSettings(s, path);
    const Settings d;
    EXPECT_EQ(s.app.iPaneSplitL, d.app.iPaneSplitL);
    EXPECT_EQ(s.aio.cAudioOutFormat, d.aio.cAudioOutFormat);
    EXPECT_EQ(s.app.bDispLoBank, d.app.bDispLoBank);
    EXPECT_EQ(s.app.SaveFmt, d.app.SaveFmt);
    EXPECT_EQ(s.app.ptLastPos[0], d.app.ptLastPos[0]);
    EXPECT_EQ(s.app.awColWidths, d.app.awColWidths);
    EXPECT_EQ(s.batch.options, d.batch.options);
    EXPECT_EQ(s.aio.fdbMixGain, d.aio.fdbMixGain);
    EXPECT_EQ(s.aio.acVKlo, d.aio.acVKlo);
    // A good value among the bad ones still counts, with a Windows line end.
    EXPECT_FALSE(s.app.bShowNoteNames);
}

TEST(Settings, AFolderThatCantBeWrittenDoesNotStopTheProgram) {
    test::TempDir dir;
    test::WriteFile(dir / "file", std::string("x"));
    Settings s;
    // The "folder" is a file: nothing can be made under it.
    EXPECT_FALSE(saveSettings(s, dir / "file" / "sub" / "s.conf"));
    EXPECT_TRUE(loadSettings(s, dir / "file" / "sub" / "s.conf"));
    // Nothing half-written is left beside the store.
    ASSERT_TRUE(saveSettings(s, dir / "ok.conf"));
    int files = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) files += e.is_regular_file();
    EXPECT_EQ(files, 2);
}

TEST(Settings, TheStoreFollowsXdgConfigHome) {
    const char* old = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = old ? old : "";
    setenv("XDG_CONFIG_HOME", "/tmp/cfg", 1);
    EXPECT_EQ(SettingsPath(), std::filesystem::path("/tmp/cfg/ZLK-Software/Vaxel Studio.conf"));
    setenv("XDG_CONFIG_HOME", "", 1);
    EXPECT_EQ(SettingsPath().filename(), "Vaxel Studio.conf");
    EXPECT_EQ(SettingsPath().parent_path().parent_path().filename(), ".config");
    if (old)
        setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    else
        unsetenv("XDG_CONFIG_HOME");
}

TEST(Settings, RecentFilesKeepTheNewestFirstOnce) {
    Settings s;
    AddRecentFile(s, u"/a.wav");
    AddRecentFile(s, u"/b.wav");
    AddRecentFile(s, u"/a.wav");
    EXPECT_EQ(s.app.LastFilesW, (std::vector<std::u16string>{u"/a.wav", u"/b.wav"}));
    RemoveRecentFile(s, u"/b.wav");
    EXPECT_EQ(s.app.LastFilesW, (std::vector<std::u16string>{u"/a.wav"}));
    for (int i = 0; i < 40; ++i)
        AddRecentFile(s, u"/" + std::u16string(1, char16_t(u'a' + i % 26)) + u"x" + char16_t(u'0' + i / 26));
    EXPECT_EQ(s.app.LastFilesW.size(), 16u);
    EXPECT_EQ(s.app.LastFilesW.front(), u"/nx1");
}

} // namespace
} // namespace vaxel
