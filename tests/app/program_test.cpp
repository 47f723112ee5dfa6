// The whole vaxel-studio program, started offscreen and ended by SIGTERM
// the way a logout ends it: a settings folder it can't write, and a settings
// file full of garbage, neither stop it nor bring up a box.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "support/test_support.h"

namespace vaxel {
namespace {

// Runs the program for a few seconds with its settings under config, then
// sends SIGTERM (and SIGKILL 10 s later if it hangs, say on a box nobody
// answers). Returns the exit status; output gets stdout and stderr.
int RunStudio(const std::filesystem::path& config, std::string* output) {
    const std::string command =
        "env QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME=" + test::Quote(config.string()) +
        " XDG_DATA_HOME=" + test::Quote(config.string()) + " timeout --preserve-status -k 10 -s TERM 4 " +
        test::Quote(VAXEL_STUDIO_PATH);
    return test::Run(command, output, true);
}

std::map<std::string, std::string> ReadKeyFile(const std::filesystem::path& path) {
    std::map<std::string, std::string> values;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        const size_t eq = line.find('=');
        if (eq != std::string::npos && line[0] != '#') values[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return values;
}

TEST(Program, AnUnwritableSettingsFolderDoesNotStopIt) {
    test::TempDir dir;
    // A plain file where the folder should be: no one, root included, can
    // make the settings folder under it.
    test::WriteFile(dir / "blocked", std::string("not a folder"));
    std::string output;
    EXPECT_EQ(RunStudio(dir / "blocked" / "config", &output), 0) << output;
    EXPECT_NE(output.find("the settings could not be written"), std::string::npos) << output;
}

TEST(Program, GarbageSettingsFallBackToTheDefaultsSilently) {
    test::TempDir dir;
    const auto store = dir / "ZLK-Software" / "Vaxel Studio.conf";
    std::filesystem::create_directories(store.parent_path());
    test::WriteFile(store, std::string("VersionNumber=12.13\n"
                                       "load.bConfirm=yes\n"
                                       "app.eDarkMode=999\n"
                                       "app.iPaneSplitL=left\n"
                                       "aio.nLatency=0x\n"
                                       "aio.fdbMixGain=nan\n"
                                       "features=-5\n"
                                       "app.SaveFmt=1,2\n"
                                       "app.ptLastSize=12\n"
                                       "batch.options=zz\n"
                                       "\x01\x02\xff garbage without a name\n"
                                       "app.bShowNoteNames=0\n"));
    std::string output;
    ASSERT_EQ(RunStudio(dir.path(), &output), 0) << output;
    EXPECT_EQ(output.find("could not"), std::string::npos) << output;

    // Written back at the end: defaults where the garbage was, the one good
    // value kept.
    auto values = ReadKeyFile(store);
    EXPECT_EQ(values["load.bConfirm"], "0");
    EXPECT_EQ(values["app.eDarkMode"], "0");
    EXPECT_EQ(values["aio.nLatency"], "-1");
    EXPECT_EQ(values["aio.fdbMixGain"], "0");
    EXPECT_EQ(values["features"], "0xffffffffffffffff");
    EXPECT_EQ(values["app.SaveFmt"], "65535,65535,65535,65535,65535");
    EXPECT_EQ(values["batch.options"], std::string(48, '0'));
    EXPECT_EQ(values["app.bShowNoteNames"], "0");
    EXPECT_EQ(values["VersionNumber"], "12.13");
    // The window's own size went back, not the garbage.
    EXPECT_NE(values["app.ptLastSize"], "12");
}

} // namespace
} // namespace vaxel
