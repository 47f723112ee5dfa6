// The command line of vaxel-studio: switches, batch jobs and paths.
#include <gtest/gtest.h>

#include "app/command_line.h"

namespace vaxel::app {
namespace {

using Tokens = std::vector<std::string>;

TEST(CommandLine, PathsOpenAndMergeInOrderAndProgramNamesArePassedOver) {
    const CommandLine line = ParseCommandLine({"a.wav", "C:\\tools\\vaxel.exe", "/home/u/b.sf2", "c d.mid"});
    EXPECT_FALSE(line.batch);
    EXPECT_FALSE(line.noMessages);
    EXPECT_EQ(line.paths, (Tokens{"a.wav", "/home/u/b.sf2", "c d.mid"}));
}

TEST(CommandLine, SwitchesIgnoreCaseAndBatchTakesTheRest) {
    CommandLine line = ParseCommandLine({"/NOMSG", "/BATCH", "job.txt", "-nomsg", "x.wav"});
    EXPECT_TRUE(line.noMessages);
    EXPECT_TRUE(line.batch);
    EXPECT_EQ(line.batchJob, (Tokens{"job.txt", "-nomsg", "x.wav"}));
    EXPECT_TRUE(line.paths.empty());

    line = ParseCommandLine({"-batch", "job"});
    EXPECT_TRUE(line.batch);
    EXPECT_FALSE(line.noMessages);
    EXPECT_EQ(line.batchJob, Tokens{"job"});

    // Switches after paths still count; unknown dash switches are dropped.
    line = ParseCommandLine({"a.wav", "-NoMsg", "-verbose", "b.wav"});
    EXPECT_TRUE(line.noMessages);
    EXPECT_EQ(line.paths, (Tokens{"a.wav", "b.wav"}));
}

TEST(CommandLine, AbsolutePathsAreNotSwitches) {
    // Only the exact switch names make a '/' token a switch.
    const CommandLine line = ParseCommandLine({"/batch.wav", "/nomsg/x.wav", "/tmp/y.aif", ""});
    EXPECT_FALSE(line.batch);
    EXPECT_FALSE(line.noMessages);
    EXPECT_EQ(line.paths, (Tokens{"/batch.wav", "/nomsg/x.wav", "/tmp/y.aif"}));
}

} // namespace
} // namespace vaxel::app
