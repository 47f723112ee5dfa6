#pragma once
// The command line of vaxel-studio: switches and the paths to open. Plain
// C++ so that the start-up rules are tested without a window.
#include <string>
#include <vector>

namespace vaxel::app {

struct CommandLine {
    bool batch = false;                // BATCH was given
    std::vector<std::string> batchJob; // the tokens after BATCH
    bool noMessages = false;           // NOMSG: no message boxes this run
    std::vector<std::string> paths;    // the first opens, the others merge
};

// Reads the tokens left to right (without the program name). A token that
// starts with '-' is a switch, compared without regard to case: BATCH ends
// the scan and the rest is the batch job, NOMSG turns message boxes off,
// other switches are ignored. A token that contains ".exe" is passed over.
//
// On Linux an absolute path starts with '/', so a '/' token is a switch only
// when it is exactly "/BATCH" or "/NOMSG" (any case); every other one is a
// path.
CommandLine ParseCommandLine(const std::vector<std::string>& tokens);

} // namespace vaxel::app
