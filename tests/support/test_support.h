#pragma once
// Shared helpers of the test binaries: scratch folders, files from bytes,
// running outside tools, and a status line that records.
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "model/status_line.h"

namespace vaxel::test {

// A fresh folder under the system's temporary folder, removed on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

void WriteFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);
void WriteFile(const std::filesystem::path& path, const std::string& text);
std::vector<uint8_t> ReadFile(const std::filesystem::path& path);

// Runs a shell command; returns its exit status and puts stdout (and stderr
// when asked) into output. Tests use it to make inputs with outside tools.
int Run(const std::string& command, std::string* output = nullptr, bool withStderr = false);
// Quotes an argument for the shell.
std::string Quote(const std::string& text);
// Fails the current test (never skips) when a tool the test needs is missing.
void RequireTool(const std::string& name);

std::filesystem::path DataDir();     // tests/data
std::filesystem::path CliPath();     // the built vaxel program

class RecordingStatusLine : public StatusLine {
public:
    struct Entry {
        std::u16string text;
        int mode;
    };
    void status(std::u16string_view text, int mode) override { entries.push_back({std::u16string(text), mode}); }
    std::vector<Entry> entries;
};

} // namespace vaxel::test
