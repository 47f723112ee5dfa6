#pragma once
// The vaxel command line: one function per subcommand.
#include <string>
#include <vector>

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

// Writes text as a JSON string literal (with quotes).
std::string JsonString(const std::string& utf8);

} // namespace vaxel::cli
