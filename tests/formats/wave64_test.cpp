// Wave-64: files from sndfile-convert, sox and ffmpeg decode as libsndfile
// reads them; what we write reads back in libsndfile and in our reader with
// the loop and the stamp; damaged files give the format's own words.
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "fileio/sample_coding.h"
#include "formats/audio/wav.h"
#include "formats/wav_test_support.h"
#include "model/property.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

using namespace wavtest;
namespace fs = std::filesystem;

void ExpectSame(const fs::path& path) {
    SCOPED_TRACE(path.filename().string());
    SndFile ref = ReadWithSndfile(path);
    ASSERT_TRUE(ref.ok) << ref.error;
    Loaded ours = Load(path, &ReadWave64);
    ASSERT_TRUE(ours.wave) << ours.error;
    EXPECT_EQ(ours.wave->channels, ref.channels);
    EXPECT_EQ(int64_t(ours.wave->frames), ref.frames);
    EXPECT_EQ(ours.samples, ref.samples);
}

TEST(Wave64, FilesFromThreeToolsDecodeAsLibsndfileReadsThem) {
    test::RequireTool("sox");
    test::RequireTool("sndfile-convert");
    test::RequireTool("ffmpeg");
    test::TempDir dir;
    fs::path src = dir / "src.wav";
    ASSERT_EQ(test::Run("sox -D -R -n -r 48000 -c 2 -e floating-point -b 32 " + test::Quote(src.string()) +
                        " synth 0.05 whitenoise vol 0.99"),
              0);
    const std::string in = test::Quote(src.string());
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"sf16.w64", "sndfile-convert -pcm16 " + in + " %o"},
        {"sf24.w64", "sndfile-convert -pcm24 " + in + " %o"},
        {"sf32.w64", "sndfile-convert -pcm32 " + in + " %o"},
        {"sff.w64", "sndfile-convert -float32 " + in + " %o"},
        {"sfu8.w64", "sndfile-convert -pcmu8 " + in + " %o"},
        {"sfalaw.w64", "sndfile-convert -alaw " + in + " %o"},
        {"sox16.w64", "sox " + in + " -b 16 -e signed-integer -t w64 %o"},
        {"ff24.w64", "ffmpeg -v error -y -i " + in + " -c:a pcm_s24le -f w64 %o"},
    };
    for (const auto& [name, command] : cases) {
        fs::path out = dir / name;
        std::string cmd = command;
        cmd.replace(cmd.find("%o"), 2, test::Quote(out.string()));
        ASSERT_EQ(test::Run(cmd + " 2>&1"), 0) << cmd;
        ExpectSame(out);
    }
}

TEST(Wave64, OurFilesReadBackWithLoopStampAndSamples) {
    test::TempDir dir;
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w64");
    w->channels = 2;
    w->frames = 1001; // an odd count: the data is the last chunk and isn't padded
    w->sampleRate = 96000;
    w->rootKey = 48;
    float* data = w->allocateSamples();
    std::mt19937 rng(3);
    for (size_t i = 0; i < 2002; ++i) data[i] = float(int(rng() % 65536) - 32768) / 32768.0f;
    w->addLoop(LoopInfo{1, 0, 10.0f, 900.0f, 0.0f}, nullptr, true, false);
    w->setText(kInfoCopyright, u"(c) nobody");
    for (int coding : {kPcm16, kPcm24, kFloat32, kALaw}) {
        SCOPED_TRACE(coding);
        fs::path path = dir / ("out" + std::to_string(coding) + ".w64");
        ASSERT_EQ(Save(*w, path, &WriteWave64, (1u << coding) | kMaskStereo), "");
        std::vector<uint8_t> bytes = test::ReadFile(path);
        uint64_t stated = 0;
        std::memcpy(&stated, bytes.data() + 16, 8);
        EXPECT_EQ(stated, bytes.size());
        std::string text(bytes.begin(), bytes.end());
        EXPECT_NE(text.find("Vaxel Studio v12.13"), std::string::npos);
        ExpectSame(path);
        Loaded l = Load(path, &ReadWave64);
        ASSERT_TRUE(l.wave) << l.error;
        EXPECT_EQ(l.wave->rootKey, 48);
        EXPECT_EQ(std::u16string(l.wave->text(kInfoCopyright)), u"(c) nobody");
        ASSERT_NE(l.wave->mainLoop(), nullptr);
        EXPECT_EQ(l.wave->mainLoop()->start, 10u);
        EXPECT_EQ(l.wave->mainLoop()->end, 900u);
        if (coding == kPcm16) {
            EXPECT_EQ(l.samples, std::vector<float>(data, data + 2002));
        }
    }
    EXPECT_EQ(Save(*w, dir / "x.w64", &WriteWave64, (1u << kMuLaw) | (1u << kFloat64) | kMaskStereo),
              "Unsupported subformat");
}

TEST(Wave64, DamagedFilesGiveTheFormatsWords) {
    test::TempDir dir;
    Collection c;
    auto* w = new Waveform(c, kNewSerial, u"w");
    w->frames = 100;
    std::memset(w->allocateSamples(), 0, 400);
    fs::path good = dir / "good.w64";
    ASSERT_EQ(Save(*w, good, &WriteWave64, (1u << kPcm16) | kMaskMono), "");
    const std::vector<uint8_t> bytes = test::ReadFile(good);
    EXPECT_EQ(DetectWave64(bytes.data(), 0, bytes.size(), bytes.size(), 0), 6);
    EXPECT_EQ(DetectWave64(bytes.data(), 0, 39, bytes.size(), 0), 0);

    auto load = [](std::vector<uint8_t> b) { return LoadBytes(b, &ReadWave64).error; };
    std::vector<uint8_t> notW64 = bytes;
    notW64[0] = 'R';
    EXPECT_EQ(load(notW64), "Not a Sonic Foundry/Sony Wave64 file");
    EXPECT_EQ(load({}), "Not a Sonic Foundry/Sony Wave64 file");
    // The fmt chunk's GUID spoilt: no fmt; the head alone: no fmt either.
    std::vector<uint8_t> noFmt = bytes;
    noFmt[40] = 'x';
    EXPECT_EQ(load(noFmt), "Couldn't find fmt chunk!");
    // Cut ahead of the data: no data.
    const std::string text(bytes.begin(), bytes.end());
    const size_t dataHead = text.find("data\xF3\xAC");
    ASSERT_NE(dataHead, std::string::npos);
    std::vector<uint8_t> noData(bytes.begin(), bytes.begin() + ptrdiff_t(dataHead));
    EXPECT_EQ(load(noData), "Couldn't find data chunk!");
    std::vector<uint8_t> multi = bytes;
    multi[40 + 24 + 2] = 6; // six channels
    EXPECT_EQ(load(multi), "Multi-channel is not support!");
    std::vector<uint8_t> adpcm = bytes;
    adpcm[40 + 24] = 2;
    EXPECT_EQ(load(adpcm), "Unsupported compression type");
    // A chunk length below its own head, and one far past the end: the walk
    // stops or clips without reading past the file.
    std::vector<uint8_t> tiny = bytes;
    std::memset(tiny.data() + 40 + 16, 0, 8);
    EXPECT_EQ(load(tiny), "Couldn't find fmt chunk!");
    std::vector<uint8_t> huge = bytes;
    std::memset(huge.data() + dataHead + 16, 0x7F, 8);
    Loaded l = LoadBytes(huge, &ReadWave64);
    ASSERT_TRUE(l.wave) << l.error;
    EXPECT_LE(uint64_t(l.wave->frames) * 2, bytes.size());
}

} // namespace
} // namespace vaxel
