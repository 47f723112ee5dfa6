#pragma once
// Helpers of the desktop tests: wave files made by sox at run time.
#include <filesystem>
#include <string>

#include "support/test_support.h"

namespace vaxel::test {

// A short sine wave written by sox: rate, channels and seconds as given.
inline std::filesystem::path MakeWave(const TempDir& dir, const std::string& name, int rate = 44100,
                                      int channels = 2, double seconds = 0.25) {
    RequireTool("sox");
    const std::filesystem::path path = dir / name;
    const std::string command = "sox -n -b 16 -r " + std::to_string(rate) + " -c " +
                                std::to_string(channels) + " " + Quote(path.string()) + " synth " +
                                std::to_string(seconds) + " sine 440";
    if (Run(command) != 0) return {};
    return path;
}

} // namespace vaxel::test
