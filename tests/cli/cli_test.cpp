// The vaxel program as a user runs it: exit codes, messages, and output
// that other programs can read.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace vaxel {
namespace {

using test::Quote;

std::string Vaxel() {
    return Quote(test::CliPath().string());
}

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
                        "print(len(rows), rows[0][\"extension\"], rows[246][\"description\"], "
                        "rows[495][\"codingMask\"])' " +
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

namespace vaxel {
namespace {

std::string VaxelProgram() {
    return test::Quote(test::CliPath().string());
}

TEST(CliConvert, ChangesTheCodingAndKeepsTheLoops) {
    test::TempDir dir;
    const std::string in = (dir / "in.wav").string(), out = (dir / "out.wav").string();
    // A 16-bit stereo WAV with a sampler loop (100..1099, inclusive in the
    // file) and a labelled cue point, its bytes laid out by Python.
    test::WriteFile(dir / "make.py", std::string(R"(
import math, struct, sys
frames = 5512
data = b"".join(struct.pack("<hh", int(8000 * math.sin(i / 7)), int(-8000 * math.sin(i / 7))) for i in range(frames))
fmt = struct.pack("<HHIIHH", 1, 2, 11025, 11025 * 4, 4, 16)
smpl = struct.pack("<9I", 0, 0, 90703, 57, 0, 0, 0, 1, 0) + struct.pack("<6I", 1, 0, 100, 1099, 0, 0)
cue = struct.pack("<I", 1) + struct.pack("<II4sIII", 7, 3000, b"data", 0, 0, 3000)
labl = b"labl" + struct.pack("<I", 10) + struct.pack("<I", 7) + b"Hit" + bytes(3)
adtl = b"adtl" + labl
def chunk(i, b): return i + struct.pack("<I", len(b)) + b + bytes(len(b) % 2)
body = b"WAVE" + chunk(b"fmt ", fmt) + chunk(b"data", data) + chunk(b"smpl", smpl) + chunk(b"cue ", cue) + chunk(b"LIST", adtl)
open(sys.argv[1], "wb").write(b"RIFF" + struct.pack("<I", len(body)) + body)
)"));
    ASSERT_EQ(
        test::Run("/usr/bin/python3 " + test::Quote((dir / "make.py").string()) + " " + test::Quote(in)), 0);
    std::string text;
    ASSERT_EQ(test::Run(VaxelProgram() + " convert " + test::Quote(in) + " " + test::Quote(out) +
                            " --coding \"PCM 24-bit\"",
                        &text, true),
              0)
        << text;
    // libsndfile sees a 24-bit file with the same frames and the loop.
    text.clear();
    ASSERT_EQ(test::Run("/usr/bin/python3 -c 'import soundfile,sys; i=soundfile.info(sys.argv[1]); "
                        "print(i.subtype, i.frames, i.channels, i.samplerate)' " +
                            test::Quote(out),
                        &text),
              0);
    EXPECT_EQ(text, "PCM_24 5512 2 11025\n");

    // vaxel info --json, read by an outside parser: coding, root key, the
    // loop (end exclusive in the model) and the marker with its label.
    ASSERT_EQ(test::Run(VaxelProgram() + " info --json " + test::Quote(out) + " > " +
                        test::Quote((dir / "i.json").string())),
              0);
    text.clear();
    ASSERT_EQ(
        test::Run(
            "/usr/bin/python3 -c 'import json,sys; f=json.load(open(sys.argv[1]))[0]; "
            "w=f[\"items\"][0]; print(f[\"extension\"], w[\"type\"], w[\"frames\"], w[\"coding\"], "
            "w[\"sampleRate\"], w[\"rootKey\"]); "
            "[print(m[\"kind\"], m[\"name\"], m[\"start\"], m.get(\"end\")) for m in w[\"markers\"]]' " +
                test::Quote((dir / "i.json").string()),
            &text),
        0);
    EXPECT_EQ(text, "wav waveform 5512 PCM 24-bit 11025 57\n"
                    "loop Main Loop 100 1100\n"
                    "marker Hit 3000 None\n");
}

TEST(CliConvert, RefusesWhatTheTargetCannotHoldWithoutWritingIt) {
    test::RequireTool("sox");
    test::TempDir dir;
    const std::string in = (dir / "in.wav").string();
    ASSERT_EQ(test::Run("sox -n -r 8000 -b 16 -c 1 " + test::Quote(in) + " synth 0.1 sine 300"), 0);
    std::string text;
    EXPECT_EQ(test::Run(VaxelProgram() + " convert " + test::Quote(in) + " " +
                            test::Quote((dir / "o.wav").string()) + " --coding \"PCM 13-bit\"",
                        &text, true),
              2);
    EXPECT_NE(text.find("unknown coding 'PCM 13-bit'"), std::string::npos) << text;
    EXPECT_EQ(test::Run(VaxelProgram() + " convert " + test::Quote(in) + " " +
                            test::Quote((dir / "o.qqqz").string()),
                        &text, true),
              2);
    EXPECT_NE(text.find("no format writes '.qqqz' files"), std::string::npos) << text;
    EXPECT_EQ(test::Run(VaxelProgram() + " convert " + test::Quote((dir / "missing.wav").string()) + " " +
                            test::Quote((dir / "o.wav").string()),
                        &text, true),
              1);
    EXPECT_NE(text.find("Could not open file"), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(dir / "o.wav"));
    EXPECT_FALSE(std::filesystem::exists(dir / "o.qqqz"));
}

TEST(CliMerge, PutsTheWavesOfSeveralFilesIntoOneSave) {
    test::RequireTool("sox");
    test::TempDir dir;
    for (const char* name : {"a", "b"})
        ASSERT_EQ(test::Run("sox -n -r 8000 -b 16 -c 1 " +
                            test::Quote((dir / (std::string(name) + ".wav")).string()) +
                            " synth 0.1 sine 300"),
                  0);
    // A wave format holds one wave: two come out as two files named after them.
    std::string text;
    ASSERT_EQ(test::Run(VaxelProgram() + " merge " + test::Quote((dir / "a.wav").string()) + " " +
                            test::Quote((dir / "b.wav").string()) + " -o " +
                            test::Quote((dir / "both.wav").string()),
                        &text, true),
              0)
        << text;
    EXPECT_TRUE(std::filesystem::exists(dir / "both - a.wav"));
    EXPECT_TRUE(std::filesystem::exists(dir / "both - b.wav"));
}

// Save all turns a bank into its waves: one WAV a sample the bank holds in
// the file (its ROM samples aren't), named by the scheme, with the
// sample's frames, root key and loop as the bank's shdr records give them
// (read here by a few lines of Python) and as libsndfile reads the WAVs.
TEST(CliSaveAll, TurnsABankIntoItsWavesByTheNamingScheme) {
    test::RequireTool("sndfile-info");
    test::TempDir dir;
    const std::string bank = (test::DataDir() / "instruments/sf2/VintageDreamsWaves-v2.sf2").string();
    std::string text;
    ASSERT_EQ(test::Run(Vaxel() + " save-all " + Quote(bank) +
                            " --kind waveform --to wav --naming number-name -o " + Quote(dir.path().string()),
                        &text, true),
              0)
        << text;
    EXPECT_NE(text.find("Done: Saved 123 files."), std::string::npos) << text;

    test::WriteFile(dir / "shdr.py", std::string(R"(
import struct, sys
d = open(sys.argv[1], 'rb').read()
at = d.find(b'shdr')
n = struct.unpack('<I', d[at + 4:at + 8])[0] // 46
kept = 0
for i in range(n - 1):
    r = d[at + 8 + 46 * i:at + 8 + 46 * (i + 1)]
    name, start, end, ls, le, rate, key, corr, link, kind = struct.unpack('<20sIIIIIBbHH', r)
    if kind & 0x8000 or end <= start: continue
    kept += 1
    if name.split(b'\0')[0] == sys.argv[2].encode():
        print(end - start, key, ls - start, le - start - 1, rate)
print(kept)
)"));
    text.clear();
    ASSERT_EQ(
        test::Run("/usr/bin/python3 " + Quote((dir / "shdr.py").string()) + " " + Quote(bank) + " Sine_a2",
                  &text),
        0);
    int frames = 0, key = 0, loopStart = 0, loopEnd = 0, rate = 0, kept = 0;
    ASSERT_EQ(
        std::sscanf(text.c_str(), "%d %d %d %d %d %d", &frames, &key, &loopStart, &loopEnd, &rate, &kept), 6)
        << text;
    EXPECT_EQ(kept, 123);

    const std::string wave = (dir / "105 - Sine_a2.wav").string();
    text.clear();
    ASSERT_EQ(test::Run("sndfile-info " + Quote(wave), &text), 0) << text;
    auto number = [&](const char* label) {
        // The loop's numbers stand in the smpl part, behind "Loop Count".
        size_t from = std::strncmp(label, "Start", 5) == 0 || std::strncmp(label, "End", 3) == 0
                          ? text.find("Loop Count")
                          : 0;
        size_t at = from == std::string::npos ? from : text.find(label, from);
        return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + std::strlen(label));
    };
    EXPECT_EQ(number("Frames      : "), frames);
    EXPECT_EQ(number("Sample Rate : "), rate);
    EXPECT_EQ(number("Midi Note    : "), key);
    EXPECT_EQ(number("Start :"), loopStart);
    EXPECT_EQ(number("End :"), loopEnd);

    // Again: every name exists; skipped and said so, nothing overwritten.
    text.clear();
    EXPECT_EQ(test::Run(Vaxel() + " save-all " + Quote(bank) + " --to wav --naming number-name -o " +
                            Quote(dir.path().string()),
                        &text, true),
              0);
    EXPECT_NE(text.find("'105 - Sine_a2.wav' exists; skipped"), std::string::npos) << text;
    // Renaming picks free names beside them.
    EXPECT_EQ(test::Run(Vaxel() + " save-all " + Quote(bank) +
                        " --to wav --naming number-name --if-exists rename -o " + Quote(dir.path().string()) +
                        " > /dev/null 2>&1"),
              0);
    EXPECT_TRUE(std::filesystem::exists(dir / "105 - Sine_a2 2.wav"));

    // A format that can't hold the kind asked for is refused before anything is written.
    text.clear();
    EXPECT_EQ(test::Run(Vaxel() + " save-all " + Quote(bank) + " --kind instrument --to wav -o " +
                            Quote(dir.path().string()),
                        &text, true),
              2);
    EXPECT_NE(text.find("no format writes instruments as '.wav' files"), std::string::npos) << text;
}

// info --decode reads every sample: the peak of a wave sox made, as sox's
// own stats give it.
TEST(CliInfo, DecodeReadsEverySampleAndShowsThePeak) {
    test::RequireTool("sox");
    test::TempDir dir;
    const std::string wav = (dir / "tone.wav").string();
    ASSERT_EQ(test::Run("sox -n -r 8000 -b 16 " + Quote(wav) + " synth 0.5 sine 100 vol 0.3"), 0);
    std::string stats;
    ASSERT_EQ(test::Run("sox " + Quote(wav) + " -n stats 2>&1 | grep 'Pk lev dB'", &stats), 0);
    double soxPeak = 0;
    ASSERT_EQ(std::sscanf(stats.c_str(), "Pk lev dB %lf", &soxPeak), 1) << stats;
    std::string text;
    ASSERT_EQ(test::Run(Vaxel() + " info --decode " + Quote(wav), &text), 0) << text;
    size_t at = text.find("Peak: ");
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_NEAR(std::atof(text.c_str() + at + 6), soxPeak, 0.01);
    text.clear();
    EXPECT_EQ(test::Run(Vaxel() + " info " + Quote(wav), &text), 0);
    EXPECT_EQ(text.find("Peak:"), std::string::npos) << "deferred samples are not read without --decode";

    // The measuring tools print their figures on the command line too.
    text.clear();
    ASSERT_EQ(test::Run(Vaxel() + " process " + Quote(wav) + " -o " + Quote((dir / "same.wav").string()) +
                            " --tool \"Statistics for the waveform\"",
                        &text),
              0)
        << text;
    at = text.find("Max level: ");
    ASSERT_NE(at, std::string::npos) << text;
    at = text.find(" / ", at);
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_NEAR(std::atof(text.c_str() + at + 3), soxPeak, 0.01) << text;
}

} // namespace
} // namespace vaxel
