// RIFF WAVE and RF64: files made by sox, sndfile-convert and ffmpeg must
// decode to exactly the floats libsndfile reads from them; loops and cues
// that libsndfile writes come out as our loops and markers; what we write
// reads back in libsndfile with the same samples, root key and loops; and
// read-write-read round trips keep everything, checked by one checker.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <sndfile.h>

#include <gtest/gtest.h>

#include "fileio/file_object.h"
#include "fileio/sample_coding.h"
#include "formats/audio/wav.h"
#include "formats/wav_test_support.h"
#include "model/last_error.h"
#include "model/property.h"
#include "model/settings.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

using namespace wavtest;
namespace fs = std::filesystem;

constexpr uint32_t kMono = kMaskMono, kStereo = kMaskStereo;

// A float stereo source with peaks at full scale, made by sox.
fs::path MakeSource(const test::TempDir& dir, int channels = 2, const char* name = "src.wav") {
    test::RequireTool("sox");
    fs::path src = dir / name;
    std::string cmd = "sox -D -R -n -r 44100 -c " + std::to_string(channels) + " -e floating-point -b 32 " +
                      test::Quote(src.string()) + " synth 0.05 whitenoise vol 0.999 2>&1";
    EXPECT_EQ(test::Run(cmd), 0) << cmd;
    return src;
}

// Our read of a file against libsndfile's: same channels (ours at most two),
// rate, frames, and exactly the same floats.
void ExpectSameAsSndfile(const fs::path& path, ReadRoutine reader = &ReadWav) {
    SCOPED_TRACE(path.filename().string());
    SndFile ref = ReadWithSndfile(path);
    ASSERT_TRUE(ref.ok) << ref.error;
    Loaded ours = Load(path, reader);
    ASSERT_TRUE(ours.wave) << ours.error;
    ASSERT_TRUE(ours.error.empty()) << ours.error;
    EXPECT_EQ(ours.wave->channels, std::min(ref.channels, 2));
    EXPECT_EQ(int(ours.wave->sampleRate), ref.rate);
    EXPECT_EQ(int64_t(ours.wave->frames), ref.frames);
    std::vector<float> expected = FirstChannels(ref.samples, ref.channels, 2);
    ASSERT_EQ(ours.samples.size(), expected.size());
    size_t differ = 0;
    for (size_t i = 0; i < expected.size(); ++i) differ += ours.samples[i] != expected[i];
    EXPECT_EQ(differ, 0u) << "first sample " << ours.samples[0] << " vs " << expected[0];
}

Waveform* MakeWave(Collection& c, int channels, uint32_t frames, uint32_t rate = 44100) {
    auto* w = new Waveform(c, kNewSerial, u"made");
    w->channels = uint8_t(channels);
    w->frames = frames;
    w->sampleRate = rate;
    float* data = w->allocateSamples();
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    for (size_t i = 0; i < size_t(frames) * channels; ++i) data[i] = noise(rng);
    if (frames > 2) {
        data[0] = 1.0f;
        data[1] = -1.0f;
    }
    return w;
}

// ---------------------------------------------------------------- decoding

TEST(WavDecode, EveryCodingFromSoxSndfileAndFfmpegEqualsLibsndfile) {
    test::TempDir dir;
    fs::path src = MakeSource(dir);
    test::RequireTool("sndfile-convert");
    test::RequireTool("ffmpeg");
    const std::string in = test::Quote(src.string());
    struct Case {
        const char* name;
        std::string command; // %o is the output
    };
    const std::vector<Case> cases = {
        {"sox_u8.wav", "sox " + in + " -b 8 -e unsigned-integer %o"},
        {"sox_s16.wav", "sox " + in + " -b 16 -e signed-integer %o"},
        {"sox_s24.wav", "sox " + in + " -b 24 -e signed-integer %o"},
        {"sox_s32.wav", "sox " + in + " -b 32 -e signed-integer %o"},
        {"sox_f64.wav", "sox " + in + " -b 64 -e floating-point %o"},
        {"sox_alaw.wav", "sox " + in + " -e a-law %o"},
        {"sox_ulaw.wav", "sox " + in + " -e mu-law %o"},
        {"sf_u8.wav", "sndfile-convert -pcmu8 " + in + " %o"},
        {"sf_s16.wav", "sndfile-convert -pcm16 " + in + " %o"},
        {"sf_s24.wav", "sndfile-convert -pcm24 " + in + " %o"},
        {"sf_s32.wav", "sndfile-convert -pcm32 " + in + " %o"},
        {"sf_f32.wav", "sndfile-convert -float32 " + in + " %o"},
        {"sf_f64.wav", "sndfile-convert -float64 " + in + " %o"},
        {"sf_alaw.wav", "sndfile-convert -alaw " + in + " %o"},
        {"sf_ulaw.wav", "sndfile-convert -ulaw " + in + " %o"},
        {"ff_u8.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_u8 %o"},
        {"ff_s16.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_s16le %o"},
        {"ff_s24.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_s24le %o"},
        {"ff_s32.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_s32le %o"},
        {"ff_f32.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_f32le %o"},
        {"ff_f64.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_f64le %o"},
        {"ff_alaw.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_alaw %o"},
        {"ff_ulaw.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_mulaw %o"},
        {"ff_rf64.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_s16le -rf64 always %o"},
        {"ff_bwf.wav", "ffmpeg -v error -y -i " + in + " -c:a pcm_s24le -write_bext 1 %o"},
        {"sf_rf64.rf64", "sndfile-convert -pcm24 " + in + " %o"},
        {"sox_6ch.wav", "sox -D -R -n -r 48000 -c 6 -b 24 %o synth 0.02 whitenoise vol 0.9"},
        {"sox_3ch_u8.wav", "sox -D -R -n -r 8000 -c 3 -b 8 -e unsigned-integer %o synth 0.02 whitenoise"},
        {"ff_6ch_f32.wav",
         "ffmpeg -v error -y -f lavfi -i anoisesrc=d=0.02:c=white,aformat=channel_layouts=5.1 "
         "-c:a pcm_f32le %o"},
    };
    for (const Case& c : cases) {
        fs::path out = dir / c.name;
        std::string cmd = c.command;
        cmd.replace(cmd.find("%o"), 2, test::Quote(out.string()));
        ASSERT_EQ(test::Run(cmd + " 2>&1"), 0) << cmd;
        ExpectSameAsSndfile(out);
    }
}

TEST(WavDecode, ChannelsAndContainerKeepWhatTheyShould) {
    test::TempDir dir;
    // Three channels read as two, through the WAV decoder.
    test::RequireTool("sox");
    fs::path three = dir / "three.wav";
    ASSERT_EQ(
        test::Run("sox -D -R -n -r 22050 -c 3 -b 16 " + test::Quote(three.string()) + " synth 0.01 sine 300"),
        0);
    Loaded l = Load(three, &ReadWav);
    ASSERT_TRUE(l.wave) << l.error;
    EXPECT_EQ(l.wave->channels, 2);
    EXPECT_EQ(DecodeRoutineId(l.wave->decodeRoutine), 2);

    // 20 valid bits in a 32-bit Extensible container: the bits below the
    // valid ones are cleared, whatever the writer left there.
    std::vector<uint8_t> fmt = FmtBody(0xFFFE, 1, 8000, 32, 4);
    Put16(fmt, 22);
    Put16(fmt, 20);
    Put32(fmt, 4);
    const uint8_t guid[16] = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    fmt.insert(fmt.end(), guid, guid + 16);
    std::vector<uint8_t> data;
    Put32(data, 0x40000FFFu); // 0.5 plus noise in the 12 low bits
    Put32(data, 0x80000000u); // -1.0
    Loaded wide = LoadBytes(Riff({Chunk("fmt ", fmt), Chunk("data", data)}), &ReadWav);
    ASSERT_TRUE(wide.wave) << wide.error;
    EXPECT_EQ(wide.wave->bitsPerSample, 24); // shown as the coding it saves as
    ASSERT_EQ(wide.samples.size(), 2u) << wide.error;
    EXPECT_EQ(wide.samples[0], 0.5f);
    EXPECT_EQ(wide.samples[1], -1.0f);
}

// ---------------------------------------------------------------- real files

TEST(WavRealFiles, DecodeAsLibsndfileDoesAndKeepTheirMetadata) {
    const fs::path d = test::DataDir();
    for (const char* name : {"audio/wav/cpython_pluck-pcm24-ext.wav", "audio/wav/taglib_float64.wav",
                             "audio/wav/taglib_alaw.wav", "audio/wav/tinytag_32bit_extensible.wav",
                             "audio/wav/tinytag_8bit_lavf.wav", "audio/wav/flac_24bit-WaveFmtPCM.wav",
                             "audio/wav/flac_BWF-WaveFmtEx.wav", "audio/wav/goaudio_bwf_logic.wav",
                             "audio/wav/taglib_duplicate_tags.wav", "audio/wav/tinytag_wav_with_image.wav",
                             "audio/rf64/taglib_rf64.wav", "instruments/sfz/sfizz/root_key_38.wav"})
        ExpectSameAsSndfile(d / name);

    Loaded root = Load(d / "instruments/sfz/sfizz/root_key_38.wav", &ReadWav);
    ASSERT_TRUE(root.wave) << root.error;
    EXPECT_EQ(root.wave->rootKey, 38);

    // Logic's Broadcast wave: bext ahead of fmt, and an ID3 chunk.
    Loaded bwf = Load(d / "audio/wav/goaudio_bwf_logic.wav", &ReadWav);
    ASSERT_TRUE(bwf.wave) << bwf.error;
    EXPECT_EQ(bwf.wave->bitsPerSample, 24);

    Loaded image = Load(d / "audio/wav/tinytag_wav_with_image.wav", &ReadWav);
    ASSERT_TRUE(image.wave) << image.error;
    ASSERT_TRUE(image.wave->hasImage());
    EXPECT_NE(imageMimeType(image.wave->image().data(), image.wave->image().size()), nullptr);

    // GSM and MPEG inside WAV: the codecs are not in the program.
    Loaded gsm = Load(d / "audio/wav/tinytag_gsm610.wav", &ReadWav);
    EXPECT_EQ(gsm.wave, nullptr);
    EXPECT_EQ(gsm.error, "Unsupported compression type");
    EXPECT_EQ(gsm.collection->count(ItemType::Waveform), 0u);
    Loaded mp3 = Load(d / "audio/wav/tinytag_mpeglayer3_in_wav.wav", &ReadWav);
    EXPECT_EQ(mp3.error, "Unsupported compression type");

    // A file never closed: RIFF length 8, data length 0, samples behind.
    // Like libsndfile, the data runs to the end of the file.
    ExpectSameAsSndfile(d / "audio/wav/taglib_zero_size_chunk.wav");
    Loaded zero = Load(d / "audio/wav/taglib_zero_size_chunk.wav", &ReadWav);
    ASSERT_TRUE(zero.wave) << zero.error;
    EXPECT_EQ(zero.wave->frames, 245u);
}

// ---------------------------------------------------------------- loops

TEST(WavLoops, LibsndfileInstrumentAndCuesBecomeLoopsAndMarkers) {
    test::TempDir dir;
    fs::path path = dir / "inst.wav";
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr) << sf_strerror(nullptr);
    SF_INSTRUMENT inst{};
    inst.basenote = 62;
    inst.velocity_hi = 127;
    inst.key_hi = 127;
    inst.loop_count = 2;
    inst.loops[0] = {SF_LOOP_FORWARD, 100, 900, 0};
    inst.loops[1] = {SF_LOOP_ALTERNATING, 1000, 1800, 3};
    ASSERT_EQ(sf_command(f, SFC_SET_INSTRUMENT, &inst, sizeof inst), SF_TRUE);
    SF_CUES_VAR(2) cues{};
    cues.cue_count = 2;
    cues.cue_points[0] = {1, 50, 0x61746164, 0, 0, 50, "first"};
    cues.cue_points[1] = {2, 1500, 0x61746164, 0, 0, 1500, "second"};
    ASSERT_EQ(sf_command(f, SFC_SET_CUE, &cues, sizeof cues), SF_TRUE);
    std::vector<short> samples(2000, 1000);
    ASSERT_EQ(sf_writef_short(f, samples.data(), 2000), 2000);
    sf_close(f);

    SndFile ref = ReadWithSndfile(path);
    ASSERT_TRUE(ref.hasInstrument);
    ASSERT_EQ(ref.loops.size(), 2u);
    Loaded l = Load(path, &ReadWav);
    ASSERT_TRUE(l.wave) << l.error;
    EXPECT_EQ(l.wave->rootKey, 62);
    const LoopRecord* main = l.wave->mainLoop();
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(main->loopType, 1);
    EXPECT_EQ(main->start, 100u);
    EXPECT_EQ(main->end, ref.loops[0].end); // both read the exclusive end
    std::vector<const LoopRecord*> loops, positions;
    for (const LoopRecord& m : l.wave->markers) (m.kind == kMarkerLoop ? loops : positions).push_back(&m);
    ASSERT_EQ(loops.size(), 2u);
    EXPECT_EQ(loops[1]->loopType, 3);
    EXPECT_EQ(loops[1]->loopCount, 3);
    EXPECT_EQ(loops[1]->start, 1000u);
    EXPECT_EQ(loops[1]->end, ref.loops[1].end);
    // libsndfile numbers its smpl loops' cue ids from 0 and its cue points
    // from 1, so cue point 1 carries the id of the second loop and is taken
    // as that loop's point; cue point 2 is a marker of its own.
    ASSERT_EQ(ref.cuePositions.size(), 2u);
    ASSERT_EQ(positions.size(), 1u);
    EXPECT_EQ(positions[0]->start, ref.cuePositions[1]);
    EXPECT_EQ(positions[0]->start, 1500u);
}

// The checker run on every load of the round trips.
void CheckLooped(const Waveform& w, const std::vector<float>& expected) {
    EXPECT_EQ(w.channels, 2);
    EXPECT_EQ(w.frames, 4000u);
    EXPECT_EQ(w.sampleRate, 32000u);
    EXPECT_EQ(int(w.rootKey) * 100 - w.fineTune, 67 * 100 - 30); // the same pitch, however expressed
    EXPECT_EQ(std::u16string(w.text(kInfoArtist)), u"Somebody");
    const LoopRecord* main = w.mainLoop();
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(main->start, 1000u);
    EXPECT_EQ(main->end, 3000u);
    EXPECT_EQ(main->endFraction, 50);
    EXPECT_EQ(main->loopType, 1);
    EXPECT_TRUE(main->flags & kLoopHasRelease);
    int loops = 0, sections = 0, positions = 0;
    for (const LoopRecord& m : w.markers) {
        if (m.kind == kMarkerLoop) {
            ++loops;
            if (m.markerId != main->markerId) {
                EXPECT_EQ(m.name, u"Release Loop");
                EXPECT_EQ(m.start, 3100u);
                EXPECT_EQ(m.end, 3900u);
                EXPECT_EQ(m.loopType, 2);
            }
        } else if (m.kind == kMarkerSection) {
            ++sections;
            EXPECT_EQ(m.name, u"Verse");
            EXPECT_EQ(m.start, 10u);
            EXPECT_EQ(m.end, 500u);
        } else {
            ++positions;
            EXPECT_TRUE(m.name == u"Hit" || m.name.empty());
            EXPECT_TRUE(m.start == 2500 || m.start == 600);
        }
    }
    EXPECT_EQ(loops, 2);
    EXPECT_EQ(sections, 1);
    EXPECT_EQ(positions, 2);
    Waveform& mutableWave = const_cast<Waveform&>(w);
    const float* data = mutableWave.lockSamples();
    ASSERT_NE(data, nullptr) << LastErrorUtf8();
    ASSERT_EQ(expected.size(), size_t(w.frames) * w.channels);
    EXPECT_EQ(std::memcmp(data, expected.data(), expected.size() * sizeof(float)), 0);
}

TEST(WavRoundTrip, ReadWriteReadKeepsTuningLoopsMarkersAndSamples) {
    test::TempDir dir;
    Collection c;
    Waveform* w = MakeWave(c, 2, 4000, 32000);
    w->rootKey = 67;
    w->fineTune = 30;
    w->setText(kInfoArtist, u"Somebody");
    LoopInfo main{1, 0, 1000.0f, 3000.5f, 0.0f};
    uint32_t mainId = w->addLoop(main, nullptr, true, false);
    w->findMarker(mainId)->flags |= kLoopHasRelease;
    w->addLoop(LoopInfo{2, 0, 3100.0f, 3900.0f, 0.0f}, u"Release Loop", false, false);
    w->addSection(10, 500, u"Verse", true);
    w->addMarker(2500, u"Hit");
    w->addMarker(600, nullptr);
    // 16-bit values, so the 16-bit file holds them exactly.
    float* data = w->lockSamplesForWrite();
    for (size_t i = 0; i < 8000; ++i) data[i] = std::round(data[i] * 32767.0f) / 32768.0f;
    std::vector<float> expected(data, data + 8000);

    const uint32_t mask = (1u << kPcm16) | kMono | kStereo;
    fs::path first = dir / "first.wav", second = dir / "second.wav";
    ASSERT_EQ(Save(*w, first, &WriteWav, mask), "");
    Loaded a = Load(first, &ReadWav);
    ASSERT_TRUE(a.wave) << a.error;
    CheckLooped(*a.wave, expected);
    a.wave->setText(kInfoSourceFile, first.u16string());
    ASSERT_EQ(Save(*a.wave, second, &WriteWav, mask), "");
    const std::vector<uint8_t> bytes = test::ReadFile(second);
    EXPECT_NE(std::string(bytes.begin(), bytes.end()).find(std::string("ISFT\x14\0\0\0Vaxel Studio v12.13", 27)),
              std::string::npos);
    Loaded b = Load(second, &ReadWav);
    ASSERT_TRUE(b.wave) << b.error;
    CheckLooped(*b.wave, expected);

    // libsndfile sees the same samples, root key and main loop.
    SndFile ref = ReadWithSndfile(second);
    ASSERT_TRUE(ref.ok) << ref.error;
    EXPECT_EQ(ref.samples, expected);
    ASSERT_TRUE(ref.hasInstrument);
    EXPECT_EQ(ref.baseNote, 66); // 67 - 30 cents is stored as 66 + 70 cents
    ASSERT_GE(ref.loops.size(), 1u);
    EXPECT_EQ(ref.loops[0].mode, SF_LOOP_FORWARD);
    EXPECT_EQ(ref.loops[0].start, 1000u);
    EXPECT_EQ(ref.loops[0].end, b.wave->mainLoop()->end);
}

TEST(WavWrite, EveryCodingReadsBackInLibsndfileAsWeReadIt) {
    test::TempDir dir;
    Collection c;
    Waveform* stereo = MakeWave(c, 2, 3001);
    Waveform* mono = MakeWave(c, 1, 1001);
    struct Case {
        int coding;
        int sfSubtype;
        float tolerance;
    };
    for (Case k : {Case{kPcm8, SF_FORMAT_PCM_U8, 1.0f / 64}, Case{kPcm16, SF_FORMAT_PCM_16, 1.0f / 16384},
                   Case{kPcm24, SF_FORMAT_PCM_24, 1e-6f}, Case{kPcm32, SF_FORMAT_PCM_32, 1e-7f},
                   Case{kFloat32, SF_FORMAT_FLOAT, 0.0f}, Case{kALaw, SF_FORMAT_ALAW, 0.07f},
                   Case{kMuLaw, SF_FORMAT_ULAW, 0.07f}}) {
        for (Waveform* w : {stereo, mono}) {
            SCOPED_TRACE(testing::Message() << "coding " << k.coding << " channels " << int(w->channels));
            fs::path path =
                dir / ("w" + std::to_string(k.coding) + "_" + std::to_string(w->channels) + ".wav");
            ASSERT_EQ(Save(*w, path, &WriteWav, (1u << k.coding) | kMono | kStereo), "");
            SndFile ref = ReadWithSndfile(path);
            ASSERT_TRUE(ref.ok) << ref.error;
            EXPECT_EQ(ref.format & SF_FORMAT_SUBMASK, k.sfSubtype);
            EXPECT_EQ(ref.channels, w->channels);
            Loaded ours = Load(path, &ReadWav);
            ASSERT_TRUE(ours.wave) << ours.error;
            EXPECT_EQ(ours.samples, ref.samples);
            const float* original = w->samples()->data;
            float worst = 0;
            for (size_t i = 0; i < ref.samples.size(); ++i)
                worst = std::max(worst, std::fabs(ref.samples[i] - original[i]));
            EXPECT_LE(worst, k.tolerance);
            // An odd 8-bit data length gets its pad byte and the RIFF size
            // still matches the file.
            std::vector<uint8_t> bytes = test::ReadFile(path);
            EXPECT_EQ(bytes.size() % 2, 0u);
            EXPECT_EQ(uint64_t(bytes[4] | bytes[5] << 8 | bytes[6] << 16 | uint32_t(bytes[7]) << 24) + 8,
                      bytes.size());
        }
    }
    fs::path f64 = dir / "f64.wav";
    EXPECT_EQ(Save(*stereo, f64, &WriteWav, (1u << kFloat64) | kStereo), "Unsupported subformat");
}

TEST(WavWrite, Rf64ExtensibleAndTheEmbeddingOrders) {
    test::TempDir dir;
    Collection c;
    Waveform* w = MakeWave(c, 2, 2000);
    w->addLoop(LoopInfo{1, 0, 100.0f, 1900.25f, 0.0f}, nullptr, true, false);
    const uint32_t mask = (1u << kPcm24) | kStereo;

    // RF64 above the limit: 'RF64', all-ones sizes, and libsndfile agrees.
    SetRf64LimitForTesting(4096);
    fs::path rf = dir / "big.wav";
    std::string saved = Save(*w, rf, &WriteWav, mask);
    SetRf64LimitForTesting(0);
    ASSERT_EQ(saved, "");
    std::vector<uint8_t> bytes = test::ReadFile(rf);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RF64");
    EXPECT_EQ(std::string(bytes.begin() + 12, bytes.begin() + 16), "ds64");
    EXPECT_EQ(bytes[4] & bytes[5] & bytes[6] & bytes[7], 0xFF);
    ExpectSameAsSndfile(rf);
    Loaded back = Load(rf, &ReadWav);
    ASSERT_TRUE(back.wave);
    EXPECT_EQ(back.wave->frames, 2000u);

    // Extensible: tag 0xFFFE, 40-byte fmt; libsndfile reads it the same.
    fs::path ext = dir / "ext.wav";
    ASSERT_EQ(Save(*w, ext, &WriteWav, mask, kWavParamExtensible), "");
    bytes = test::ReadFile(ext);
    EXPECT_EQ(bytes[16], 40);
    EXPECT_EQ(bytes[20] | bytes[21] << 8, 0xFFFE);
    ExpectSameAsSndfile(ext);

    // -1: smpl ahead of data and nothing behind it.
    fs::path first = dir / "first.wav";
    ASSERT_EQ(Save(*w, first, &WriteWav, mask, kWavParamSmplFirst), "");
    bytes = test::ReadFile(first);
    std::string text(bytes.begin(), bytes.end());
    ASSERT_NE(text.find("smpl"), std::string::npos);
    EXPECT_LT(text.find("smpl"), text.find("data"));
    EXPECT_EQ(text.find("LIST"), std::string::npos);
    size_t data = text.find("data");
    EXPECT_EQ(data + 8 + 2000 * 6, bytes.size());

    // CWDT: exclusive loop ends, read back to the hundredth.
    fs::path cwdt = dir / "cwdt.wav";
    ASSERT_EQ(Save(*w, cwdt, &WriteWav, mask, kWavParamCwdt), "");
    bytes = test::ReadFile(cwdt);
    text.assign(bytes.begin(), bytes.end());
    ASSERT_NE(text.find("CWDT"), std::string::npos);
    EXPECT_EQ(bytes[text.find("smpl") + 4], 88);
    Loaded l = Load(cwdt, &ReadWav);
    ASSERT_TRUE(l.wave) << l.error;
    ASSERT_NE(l.wave->mainLoop(), nullptr);
    EXPECT_EQ(l.wave->mainLoop()->start, 100u);
    EXPECT_EQ(l.wave->mainLoop()->end, 1900u);
    EXPECT_EQ(l.wave->mainLoop()->endFraction, 25);
}

TEST(WavWrite, ALoneOffLoopIsLeftOutUnderTheSetting) {
    test::TempDir dir;
    Collection c;
    Waveform* w = MakeWave(c, 1, 500);
    w->addLoop(LoopInfo{0, 0, 0.0f, 500.0f, 0.0f}, nullptr, true, false);
    const uint32_t mask = (1u << kPcm16) | kMono;
    bool saved = GlobalSettings().fmt.wav.bNoLoopOff;
    GlobalSettings().fmt.wav.bNoLoopOff = true;
    fs::path path = dir / "off.wav";
    ASSERT_EQ(Save(*w, path, &WriteWav, mask), "");
    Loaded l = Load(path, &ReadWav);
    ASSERT_TRUE(l.wave);
    EXPECT_TRUE(l.wave->markers.empty());
    GlobalSettings().fmt.wav.bNoLoopOff = false;
    ASSERT_EQ(Save(*w, path, &WriteWav, mask), "");
    l = Load(path, &ReadWav);
    ASSERT_TRUE(l.wave);
    ASSERT_NE(l.wave->mainLoop(), nullptr);
    EXPECT_EQ(l.wave->mainLoop()->loopType, 0);
    GlobalSettings().fmt.wav.bNoLoopOff = saved;
    EXPECT_EQ(Save(c, path, &WriteWav, mask), "The file format can not save this item");
}

// ---------------------------------------------------------------- chunks

std::vector<uint8_t> Pcm16(int frames, int channels = 1) {
    std::vector<uint8_t> data;
    for (int i = 0; i < frames * channels; ++i) Put16(data, uint16_t(i * 64));
    return data;
}

std::vector<uint8_t> Smpl(uint32_t unity, uint32_t fraction, std::vector<std::array<uint32_t, 6>> loops,
                          std::vector<uint8_t> sampler = {}, uint32_t manufacturer = 0,
                          uint32_t product = 0) {
    std::vector<uint8_t> b;
    for (uint32_t v : {manufacturer, product, 22675u, unity, fraction, 0u, 0u, uint32_t(loops.size()),
                       uint32_t(sampler.size())})
        Put32(b, v);
    for (auto& l : loops)
        for (uint32_t v : l) Put32(b, v);
    b.insert(b.end(), sampler.begin(), sampler.end());
    return b;
}

TEST(WavChunks, SmplTuningFractionsAndReleaseLoop) {
    auto fmt = Chunk("fmt ", FmtBody(1, 1, 44100, 16, 2));
    // Unity note 60 in the top byte (a big-endian writer), a loop end with
    // half a frame, and a second loop named "Release Loop".
    std::vector<uint8_t> adtl{'a', 'd', 't', 'l'};
    std::vector<uint8_t> labl;
    Put32(labl, 7);
    for (char ch : std::string("Release Loop")) labl.push_back(uint8_t(ch));
    labl.push_back(0);
    auto l = Chunk("labl", labl);
    adtl.insert(adtl.end(), l.begin(), l.end());
    auto file = Riff({fmt, Chunk("data", Pcm16(1000)),
                      Chunk("smpl", Smpl(0x3C000000u, 0x80000000u,
                                         {{{3, 0, 10, 99, 0x80000000u, 0}}, {{7, 2, 200, 299, 0, 0}}})),
                      Chunk("LIST", adtl)});
    Loaded x = LoadBytes(file, &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->rootKey, 60);
    EXPECT_EQ(x.wave->fineTune, -50);
    const LoopRecord* main = x.wave->mainLoop();
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(main->end, 100u);
    EXPECT_EQ(main->endFraction, 50);
    EXPECT_TRUE(main->flags & kLoopHasRelease);
    ASSERT_NE(x.wave->releaseLoop(), nullptr);
    EXPECT_EQ(x.wave->releaseLoop()->loopType, 2);

    // The 18-byte block of manufacturer 71, product 94: root key 64 - 2,
    // one-shot main loop, a "Play" section.
    std::vector<uint8_t> block(18, 0);
    block[2] = 64;
    block[3] = 2;
    block[4] = uint8_t(-7);
    block[6] = 3;
    block[10] = 20;
    block[14] = 200;
    file = Riff({fmt, Chunk("data", Pcm16(1000)),
                 Chunk("smpl", Smpl(60, 0, {{{0, 0, 10, 99, 0, 0}}}, block, 0x01000047u, 94))});
    x = LoadBytes(file, &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->rootKey, 62);
    EXPECT_EQ(x.wave->fineTune, -7);
    ASSERT_NE(x.wave->mainLoop(), nullptr);
    EXPECT_TRUE(x.wave->mainLoop()->flags & kLoopOneShot);
    ASSERT_NE(x.wave->findMarkerByName(u"Play", kMarkerSection), nullptr);
}

TEST(WavChunks, CuesLabelsFactInstAndTheFirstFmt) {
    // cue: a marker with a label, one without, a region with ltxt, a record
    // of another chunk (ignored) and the "Loop Start"/"Loop End" pair.
    std::vector<uint8_t> cue;
    Put32(cue, 5);
    auto record = [&](uint32_t id, uint32_t pos, const char* chunk) {
        Put32(cue, id);
        Put32(cue, pos);
        cue.insert(cue.end(), chunk, chunk + 4);
        Put32(cue, 0);
        Put32(cue, 0);
        Put32(cue, pos);
    };
    record(1, 100, "data");
    record(2, 200, "data");
    record(3, 300, "data");
    record(4, 400, "slnt");
    record(5, 50, "data");
    std::vector<uint8_t> adtl{'a', 'd', 't', 'l'};
    auto add = [&](const char* id, std::vector<uint8_t> body) {
        auto c = Chunk(id, body);
        adtl.insert(adtl.end(), c.begin(), c.end());
    };
    auto label = [&](uint32_t id, const std::string& text) {
        std::vector<uint8_t> b;
        Put32(b, id);
        b.insert(b.end(), text.begin(), text.end());
        b.push_back(0);
        add("labl", b);
    };
    label(1, "Attack");
    label(3, "Region");
    label(5, "Loop Start");
    std::vector<uint8_t> ltxt;
    Put32(ltxt, 3);
    Put32(ltxt, 250);
    for (int i = 0; i < 12; ++i) ltxt.push_back(0);
    add("ltxt", ltxt);
    add("labl", {1, 2}); // too short: dropped alone
    std::vector<uint8_t> fact;
    Put32(fact, 0); // a fact of 0 leaves the count to the bytes
    auto file = Riff({Chunk("fmt ", FmtBody(1, 1, 8000, 16, 2)), Chunk("fmt ", FmtBody(1, 2, 11025, 8, 2)),
                      Chunk("fact", fact), Chunk("inst", {65, uint8_t(-12), uint8_t(-6), 0, 127, 1, 127}),
                      Chunk("data", Pcm16(1000)), Chunk("cue ", cue), Chunk("LIST", adtl)});
    Loaded x = LoadBytes(file, &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->channels, 1);
    EXPECT_EQ(x.wave->sampleRate, 8000u);
    EXPECT_EQ(x.wave->frames, 1000u);
    EXPECT_EQ(x.wave->rootKey, 65);
    EXPECT_EQ(x.wave->fineTune, -12);
    EXPECT_EQ(x.wave->gain, -6.0f);
    const LoopRecord* attack = x.wave->findMarkerByName(u"Attack", kMarkerPosition);
    ASSERT_NE(attack, nullptr);
    EXPECT_EQ(attack->start, 100u);
    const LoopRecord* region = x.wave->findMarkerByName(u"Region", kMarkerSection);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(region->end, 550u);
    bool unnamed = false;
    for (const LoopRecord& m : x.wave->markers) {
        EXPECT_NE(m.start, 400u);
        unnamed |= m.kind == kMarkerPosition && m.start == 200 && m.name.empty();
    }
    EXPECT_TRUE(unnamed);
    EXPECT_EQ(x.wave->mainLoop(), nullptr); // "Loop Start" without "Loop End"

    // A fact smaller than the bytes stands; a larger one is cut to them.
    std::vector<uint8_t> small;
    Put32(small, 10);
    x = LoadBytes(Riff({Chunk("fmt ", FmtBody(3, 1, 8000, 32, 4)), Chunk("fact", small),
                        Chunk("data", std::vector<uint8_t>(400, 0))}),
                  &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->frames, 10u);
    std::vector<uint8_t> large;
    Put32(large, 1000000);
    x = LoadBytes(Riff({Chunk("fmt ", FmtBody(3, 1, 8000, 32, 4)), Chunk("fact", large),
                        Chunk("data", std::vector<uint8_t>(400, 0))}),
                  &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->frames, 100u);
}

TEST(WavChunks, BextAndInfoTextsGoToTheInfoFields) {
    std::vector<uint8_t> bext(602, 0);
    std::memcpy(bext.data(), "Take 3", 6);
    std::memcpy(bext.data() + 256, "Field recorder", 14);
    std::memcpy(bext.data() + 320, "2024-05-01", 10);
    std::memcpy(bext.data() + 330, "12:30:00", 8);
    std::vector<uint8_t> info{'I', 'N', 'F', 'O'};
    auto inam = Chunk("INAM", {'T', 'u', 'n', 'e', 0});
    info.insert(info.end(), inam.begin(), inam.end());
    Loaded x = LoadBytes(Riff({Chunk("bext", bext), Chunk("fmt ", FmtBody(1, 1, 8000, 8, 1)),
                               Chunk("data", std::vector<uint8_t>(9, 128)), Chunk("LIST", info)}),
                         &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(std::u16string(x.wave->text(kInfoComments)), u"Take 3\n2024-05-01 12:30:00");
    EXPECT_EQ(std::u16string(x.wave->text(kInfoEngineer)), u"Field recorder");
    EXPECT_EQ(std::u16string(x.wave->name()), u"Tune");
    ASSERT_EQ(x.samples.size(), 9u);
    EXPECT_EQ(x.samples[0], 0.0f);
}

TEST(WavChunks, WsmpMesaAndAtem) {
    // wsmp: unity note 70 with 150 cents (normalized to 71 + 50), a gain of
    // 655360 (1 dB), one loop of type 1 (one-shot).
    std::vector<uint8_t> wsmp;
    Put32(wsmp, 20);
    Put16(wsmp, 70);
    Put16(wsmp, 150);
    Put32(wsmp, 655360);
    Put32(wsmp, 0);
    Put32(wsmp, 1);
    for (uint32_t v : {16u, 1u, 5u, 50u}) Put32(wsmp, v);
    auto fmt = Chunk("fmt ", FmtBody(1, 1, 8000, 16, 2));
    Loaded x = LoadBytes(Riff({fmt, Chunk("wsmp", wsmp), Chunk("data", Pcm16(100))}), &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->rootKey, 71);
    EXPECT_EQ(x.wave->fineTune, 50);
    EXPECT_NEAR(x.wave->gain, 1.0f, 1e-4f);
    ASSERT_NE(x.wave->mainLoop(), nullptr);
    EXPECT_EQ(x.wave->mainLoop()->start, 5u);
    EXPECT_EQ(x.wave->mainLoop()->end, 55u);
    EXPECT_TRUE(x.wave->mainLoop()->flags & kLoopOneShot);

    // mesa: the root key at 2 and the coded name at 3 ("PIANO 1").
    std::vector<uint8_t> mesa(141, 10);
    mesa[2] = 48;
    const uint8_t name[] = {26, 19, 11, 24, 25, 10, 1};
    std::copy(std::begin(name), std::end(name), mesa.begin() + 3);
    // atem: chunks behind a RIFF length that stops short still count.
    std::vector<uint8_t> file = Riff({fmt, Chunk("data", Pcm16(100)), Chunk("atem", {})});
    std::vector<uint8_t> behind = Chunk("mesa", mesa);
    file.insert(file.end(), behind.begin(), behind.end());
    x = LoadBytes(file, &ReadWav);
    ASSERT_TRUE(x.wave) << x.error;
    EXPECT_EQ(x.wave->rootKey, 48);
    EXPECT_EQ(std::u16string(x.wave->name()), u"PIANO 1");
}

// ---------------------------------------------------------------- bad input

TEST(WavBadInput, EveryDamageGivesItsMessageAndNoWave) {
    auto fmt = Chunk("fmt ", FmtBody(1, 1, 8000, 16, 2));
    auto data = Chunk("data", Pcm16(100));
    struct Case {
        const char* what;
        std::vector<uint8_t> bytes;
        const char* message;
    };
    std::vector<uint8_t> badGuid = FmtBody(0xFFFE, 1, 8000, 16, 2);
    Put16(badGuid, 22);
    Put16(badGuid, 16);
    Put32(badGuid, 4);
    for (int i = 0; i < 16; ++i) badGuid.push_back(uint8_t(i + 1));
    std::vector<uint8_t> msadpcm = FmtBody(2, 1, 8000, 3, 256);
    std::vector<Case> cases = {
        {"empty", {}, "Not a RIFF-WAVE file"},
        {"other form", Riff({fmt, data}, "FORM"), "Not a RIFF-WAVE file"},
        {"no data", Riff({fmt}), "No wave data found!"},
        {"no fmt", Riff({data}), "The 'data' chunk comes before the 'fmt ' chunk"},
        {"data before fmt", Riff({data, fmt}), "The 'data' chunk comes before the 'fmt ' chunk"},
        {"zero channels", Riff({Chunk("fmt ", FmtBody(1, 0, 8000, 16, 2)), data}),
         "The 'fmt ' chunk gives no channels"},
        {"zero rate", Riff({Chunk("fmt ", FmtBody(1, 1, 0, 16, 2)), data}),
         "The 'fmt ' chunk gives a sample rate of 0"},
        {"short fmt", Riff({Chunk("fmt ", {1, 0, 1}), data}), "Reading from file failed"},
        {"tag 0", Riff({Chunk("fmt ", FmtBody(0, 1, 8000, 16, 2)), data}), "Unsupported compression type"},
        {"float 24", Riff({Chunk("fmt ", FmtBody(3, 1, 8000, 24, 3)), data}),
         "Unsupported bits/sample for IEEE floating point samples"},
        {"ms adpcm 3 bits", Riff({Chunk("fmt ", msadpcm), data}), "Unsupported or invalid MS ADPCM file"},
        {"stereo dialogic", Riff({Chunk("fmt ", FmtBody(23, 2, 8000, 4, 1)), data}),
         "Can only handle mono Dialogic ADPCM format"},
        {"g726 7 bits", Riff({Chunk("fmt ", FmtBody(100, 1, 8000, 7, 1)), data}),
         "Invalid no bits/sample for CCITT G.721/.723/.726 ADPCM encoding"},
        {"foreign guid", Riff({Chunk("fmt ", badGuid), data}), "Unsupported 'Extensible' subformat GUID"},
        {"pcm 40 bits", Riff({Chunk("fmt ", FmtBody(1, 1, 8000, 40, 5)), data}),
         "Unsupported bits/sample for PCM samples"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Loaded l = LoadBytes(c.bytes, &ReadWav);
        EXPECT_EQ(l.wave, nullptr);
        EXPECT_EQ(l.error, c.message);
        if (l.collection) {
            EXPECT_EQ(l.collection->count(ItemType::Waveform), 0u);
        }
    }
}

TEST(WavBadInput, TruncatedFilesAndLyingSizesReadWhatIsThere) {
    auto file = Riff({Chunk("fmt ", FmtBody(1, 2, 8000, 16, 4)), Chunk("data", Pcm16(1000, 2))});
    // Cut inside the data: the frames are what the bytes hold.
    std::vector<uint8_t> cut(file.begin(), file.begin() + 44 + 401);
    Loaded l = LoadBytes(cut, &ReadWav);
    ASSERT_TRUE(l.wave) << l.error;
    EXPECT_EQ(l.wave->frames, 100u);
    EXPECT_EQ(l.samples.size(), 200u);
    // A data length far past the end, and a RIFF length of 0 (a stream).
    std::vector<uint8_t> lying = file;
    lying[40] = lying[41] = lying[42] = 0x7F;
    lying[4] = lying[5] = lying[6] = lying[7] = 0;
    l = LoadBytes(lying, &ReadWav);
    ASSERT_TRUE(l.wave) << l.error;
    EXPECT_EQ(l.wave->frames, 1000u);
    // A cue whose records don't all fit is dropped; a chunk behind the data
    // cut short ends the walk quietly.
    std::vector<uint8_t> cue;
    Put32(cue, 1000);
    Put32(cue, 1);
    auto withCue = Riff({Chunk("fmt ", FmtBody(1, 1, 8000, 16, 2)), Chunk("data", Pcm16(10)),
                         Chunk("cue ", cue), Chunk("smpl", std::vector<uint8_t>(20, 0))});
    withCue.resize(withCue.size() - 10);
    l = LoadBytes(withCue, &ReadWav);
    ASSERT_TRUE(l.wave) << l.error;
    EXPECT_TRUE(l.wave->markers.empty());
    EXPECT_EQ(l.wave->frames, 10u);
}

} // namespace
} // namespace vaxel
