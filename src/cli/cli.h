#pragma once
// The vaxel command line: one function per subcommand.
#include <string>
#include <vector>

namespace vaxel {
class Collection;
struct WriteOptions;
} // namespace vaxel

namespace vaxel::cli {

using Args = std::vector<std::string>;

// Exit codes: 0 success, 1 a file failed, 2 the command line was wrong.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

int Formats(const Args& args);
int Detect(const Args& args);
int Info(const Args& args);
int Convert(const Args& args);
int Merge(const Args& args);
int Process(const Args& args);
int SaveAll(const Args& args);

// Where and how convert, merge and process save what they opened.
struct SaveRequest {
    std::string output;
    std::string format; // extension or row number; empty: from the output's extension
    std::string coding; // a coding name; empty: automatic
    std::string channels = "auto";
};
// Reads -o, --format, --coding and --channels; other words go to
// positional; any other option is an error (printed, false).
bool ReadSaveOptions(const Args& args, SaveRequest& request, Args& positional, const char* command);
// Saves the collection as the request says: the collection itself, or its
// one item of the kind the format holds, or each such item into its own
// file. Returns an exit code.
int SaveCollection(Collection& collection, const SaveRequest& request, const char* command);
// The write options of a request for a row: its coding and channels
// checked against what the row holds (a message and false otherwise).
bool BuildWriteOptions(const SaveRequest& request, int row, WriteOptions& options, const char* command);
// A path made absolute (opening a file changes the current folder).
std::string Absolute(const std::string& path);

// Writes text as a JSON string literal (with quotes).
std::string JsonString(const std::string& utf8);

} // namespace vaxel::cli
