#include "support/test_support.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <random>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace vaxel::test {

TempDir::TempDir() {
    std::random_device rd;
    for (;;) {
        auto candidate = std::filesystem::temp_directory_path() / ("vaxel-test-" + std::to_string(rd()));
        if (std::filesystem::create_directory(candidate)) {
            path_ = candidate;
            return;
        }
    }
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

void WriteFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
}

std::vector<uint8_t> ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string Quote(const std::string& text) {
    std::string out = "'";
    for (char c : text) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

int Run(const std::string& command, std::string* output, bool withStderr) {
    std::string full = command + (withStderr ? " 2>&1" : " 2>/dev/null");
    FILE* pipe = ::popen(full.c_str(), "r");
    if (!pipe) return -1;
    std::array<char, 4096> buffer;
    size_t n;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        if (output) output->append(buffer.data(), n);
    int status = ::pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void RequireTool(const std::string& name) {
    ASSERT_EQ(Run("command -v " + Quote(name) + " >/dev/null"), 0)
        << "the test needs '" << name << "'; ./test.sh installs it";
}

std::filesystem::path DataDir() { return VAXEL_TEST_DATA_DIR; }
std::filesystem::path CliPath() { return VAXEL_CLI_PATH; }

} // namespace vaxel::test
