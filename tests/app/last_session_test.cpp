// "Last session" through the whole vaxel-studio program: with
// app.bPersistentState on, the collection of one run is there at the start
// of the next, and a state of another build is refused, leaving the program
// empty.
#include <gtest/gtest.h>

#include <algorithm>

#include "app_test_support.h"

namespace vaxel {
namespace {

// Runs the program offscreen with its settings and states under home for a
// few seconds, then ends it with SIGTERM as a logout would.
int RunStudio(const std::filesystem::path& home, const std::string& arguments, std::string* output) {
    const std::string command =
        "env QT_QPA_PLATFORM=offscreen XDG_CONFIG_HOME=" + test::Quote(home.string()) +
        " XDG_DATA_HOME=" + test::Quote(home.string()) + " timeout --preserve-status -k 10 -s TERM 3 " +
        test::Quote(VAXEL_STUDIO_PATH) + " " + arguments;
    return test::Run(command, output, true);
}

// Whether the state file holds the name in the UTF-16 of the flat images.
bool StateHoldsName(const std::filesystem::path& state, const std::string& name) {
    std::vector<uint8_t> wide;
    for (char c : name) {
        wide.push_back(uint8_t(c));
        wide.push_back(0);
    }
    const std::vector<uint8_t> bytes = test::ReadFile(state);
    return std::search(bytes.begin(), bytes.end(), wide.begin(), wide.end()) != bytes.end();
}

TEST(LastSession, CarriesTheCollectionToTheNextRunAndRefusesAnotherBuild) {
    test::TempDir dir;
    const auto wave = test::MakeWave(dir, "carried.wav", 22050, 1, 0.05);
    ASSERT_FALSE(wave.empty());
    const auto home = dir / "home";
    const auto conf = home / "ZLK-Software" / "Vaxel Studio.conf";
    std::filesystem::create_directories(conf.parent_path());
    test::WriteFile(conf, std::string("app.bPersistentState=1\n"));
    const auto state = home / "vaxel-studio" / "Last session.vxs";

    std::string output;
    ASSERT_EQ(RunStudio(home, test::Quote(wave.string()), &output), 0) << output;
    ASSERT_TRUE(std::filesystem::exists(state)) << output;
    EXPECT_TRUE(StateHoldsName(state, "carried"));

    // No file given: the wave comes back from the state and is saved again.
    ASSERT_EQ(RunStudio(home, "", &output), 0) << output;
    EXPECT_TRUE(StateHoldsName(state, "carried")) << output;

    // The hash at offset 4 of another build: refused, and the run ends with
    // an empty collection saved in its place.
    std::vector<uint8_t> bytes = test::ReadFile(state);
    ASSERT_GT(bytes.size(), 12u);
    bytes[4] ^= 0xFF;
    test::WriteFile(state, bytes);
    ASSERT_EQ(RunStudio(home, "", &output), 0) << output;
    EXPECT_NE(output.find("Wrong state version"), std::string::npos) << output;
    EXPECT_FALSE(StateHoldsName(state, "carried"));
}

} // namespace
} // namespace vaxel
