// The vaxel program as a user runs it: exit codes, messages, and output
// that other programs can read.
#include <gtest/gtest.h>

#include "support/test_support.h"

namespace vaxel {
namespace {

using test::Quote;

std::string Vaxel() { return Quote(test::CliPath().string()); }

TEST(Cli, FormatsListsEveryRowAndItsCounts) {
    std::string out;
    ASSERT_EQ(test::Run(Vaxel() + " formats", &out), 0);
    // 559 rows plus the summary line.
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 560);
    EXPECT_NE(out.find("495  wav"), std::string::npos);
    EXPECT_NE(out.find("Microsoft wave"), std::string::npos);
    EXPECT_NE(out.find("559 formats: "), std::string::npos);
}

TEST(Cli, FormatsJsonIsValidForAnOutsideParser) {
    test::TempDir dir;
    ASSERT_EQ(test::Run(Vaxel() + " formats --json > " + Quote((dir / "f.json").string())), 0);
    std::string out;
    // Parsed by Python's json module, not by us.
    ASSERT_EQ(test::Run("/usr/bin/python3 -c 'import json,sys; rows=json.load(open(sys.argv[1])); "
                  "print(len(rows), rows[0][\"extension\"], rows[246][\"description\"], rows[495][\"codingMask\"])' " +
                      Quote((dir / "f.json").string()),
                  &out),
              0);
    EXPECT_EQ(out, "559 * Standard MIDI file (SMF) 3309429\n");
}

TEST(Cli, DetectReportsFailuresInTheirWordsAndGoesOn) {
    test::TempDir dir;
    test::WriteFile(dir / "empty.wav", std::string());
    test::WriteFile(dir / "text.qqq", std::string("hello"));
    std::string out;
    int status = test::Run(Vaxel() + " detect " + Quote((dir / "empty.wav").string()) + " " +
                         Quote((dir / "nope.wav").string()) + " " + Quote((dir / "text.qqq").string()),
                     &out, true);
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("empty.wav: File is of zero size"), std::string::npos) << out;
    EXPECT_NE(out.find("nope.wav: Could not open file"), std::string::npos) << out;
    EXPECT_NE(out.find("text.qqq: 0 * Unrecognized (0%)"), std::string::npos) << out;

    out.clear();
    EXPECT_EQ(test::Run(Vaxel() + " detect " + Quote((dir / "text.qqq").string()), &out), 0);
    // A folder is not a file.
    EXPECT_EQ(test::Run(Vaxel() + " detect " + Quote(dir.path().string()), &out, true), 1);
}

TEST(Cli, UsageVersionAndWrongCommands) {
    std::string out;
    EXPECT_EQ(test::Run(Vaxel() + " --version", &out), 0);
    EXPECT_EQ(out.rfind("vaxel 12.13", 0), 0u) << out;
    out.clear();
    EXPECT_EQ(test::Run(Vaxel() + " --help", &out), 0);
    EXPECT_NE(out.find("detect"), std::string::npos);
    EXPECT_EQ(test::Run(Vaxel(), &out), 2);
    out.clear();
    EXPECT_EQ(test::Run(Vaxel() + " frobnicate", &out, true), 2);
    EXPECT_NE(out.find("unknown command 'frobnicate'"), std::string::npos);
    EXPECT_EQ(test::Run(Vaxel() + " detect", &out), 2);
    EXPECT_EQ(test::Run(Vaxel() + " formats --bogus", &out), 2);
}

} // namespace
} // namespace vaxel
