// Detection of wave files: real files from other projects, files made at run
// time by sox and ffmpeg, heads patched by hand where the detection table
// names a field (the WAV variants), and the scoring between rows that share a
// reader or an extension.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "formats/audio/audio_formats.h"
#include "formats/install.h"
#include "model/text.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;
using Data = std::vector<uint8_t>;

// "ext - description (confidence%)", or "none".
std::string Describe(int row, int confidence) {
    if (row < 0) return "none";
    return WideToUtf8(extensionOf(row)) + " - " + WideToUtf8(descriptionOf(row)) + " (" +
           std::to_string(confidence) + "%)";
}

std::string DetectPath(const fs::path& path) {
    InstallFormats();
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) return "cannot open " + path.string();
    int confidence = -1;
    int row = detectFormat(path, file, &confidence);
    return Describe(row, confidence);
}

// Detection of bytes under a file name, as if they were the file's head.
std::string DetectBytes(const std::string& name, const Data& bytes, uint64_t fileSize = 0) {
    InstallFormats();
    int confidence = -1;
    int row = detectFormatInBuffer(Utf8ToWide(name), bytes.data(), bytes.size(),
                                   fileSize ? fileSize : bytes.size(), &confidence);
    return Describe(row, confidence);
}

bool IsAudioRow(int row) {
    for (int r : AudioDetectorRows())
        if (r == row) return true;
    return false;
}

// The highest answer any audio row gives for these bytes.
int BestAudioScore(const Data& bytes, uint64_t fileSize) {
    InstallFormats();
    int best = -1;
    for (int row : AudioDetectorRows()) {
        const FormatEntry* e = formatRow(row);
        best = std::max(best, e->detect(bytes.data(), e->param, bytes.size(), fileSize, row));
    }
    return best;
}

Data Head(const Data& d, size_t n) {
    return Data(d.begin(), d.begin() + std::min(n, d.size()));
}

fs::path AudioData(const std::string& relative) {
    return test::DataDir() / "audio" / relative;
}

// Makes `name` in dir by running a command on the reference input in.wav;
// "%s" in the command stands for the output path.
fs::path Make(const test::TempDir& dir, const std::string& name, const std::string& command) {
    fs::path out = dir / name;
    std::string text = command;
    text.replace(text.find("%s"), 2, test::Quote(out.string()));
    std::string log;
    EXPECT_EQ(test::Run("cd " + test::Quote(dir.path().string()) + " && " + text, &log, true), 0)
        << text << "\n"
        << log;
    EXPECT_TRUE(fs::exists(out)) << text;
    return out;
}

// One second of a 440 Hz tone, 16-bit mono at 22,050 Hz: long enough for
// several frames of every compressed format.
void MakeReferenceWave(const test::TempDir& dir) {
    test::RequireTool("sox");
    ASSERT_EQ(test::Run("sox -q -n -r 22050 -c 1 -b 16 " + test::Quote((dir / "in.wav").string()) +
                        " synth 1 sine 440 vol 0.5"),
              0);
}

std::string Renamed(const fs::path& from, const test::TempDir& dir, const std::string& name) {
    fs::path to = dir / name;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing);
    return DetectPath(to);
}

TEST(AudioDetection, EveryAudioRowHasItsDetector) {
    InstallFormats();
    // The rows of the wave group that have a documented layout or no header
    // at all; those whose layout is not documented have no detector yet, and
    // the instrument, bank and song rows belong to other families.
    const std::vector<std::pair<std::u16string, std::u16string>> expected = {
        {u"3g2", u"3GPP project 2"},
        {u"3gp", u"3GPP"},
        {u"aac", u"MPEG 2/4 AAC"},
        {u"ads", u"PlayStation 2 sound"},
        {u"afc", u"Compressed AIFF"},
        {u"aif", u"Audio interchange"},
        {u"aiff", u"Audio interchange"},
        {u"aifc", u"Compressed AIFF"},
        {u"alaw", u"G.711 A-law"},
        {u"alw", u"G.711 A-law"},
        {u"amr", u"MIME AMR file storage"},
        {u"ape", u"Monkey Audio lossless"},
        {u"asf", u"ActiveMovie streaming"},
        {u"au", u"Sun/NeXT/DEC audio"},
        {u"avi", u"Audio video interleave"},
        {u"avr", u"Audio Visual Research"},
        {u"bwf", u"Broadcast wave"},
        {u"c01", u"Typhoon wave"},
        {u"caf", u"Apple CoreAudio"},
        {u"caff", u"Apple CoreAudio"},
        {u"cda", u"Audio CD track"},
        {u"cdr", u"Audio CD raw data"},
        {u"cod", u"3GPP AMR if-format 2'"},
        {u"dvd-16-44", u"LPCM 16-bit 44kHz stereo"},
        {u"dvd-16-48", u"LPCM 16-bit 48kHz stereo"},
        {u"dvd-16-96", u"LPCM 16-bit 96kHz stereo"},
        {u"dvd-16-192", u"LPCM 16-bit 192kHz stereo"},
        {u"dvd-24-44", u"LPCM 24-bit 44kHz stereo"},
        {u"dvd-24-48", u"LPCM 24-bit 48kHz stereo"},
        {u"dvd-24-96", u"LPCM 24-bit 96kHz stereo"},
        {u"dvd-24-192", u"LPCM 24-bit 192kHz stereo"},
        {u"dwd", u"DiamondWare digitized"},
        {u"esps", u"ESPS"},
        {u"f32", u"Floating point (32-bit)"},
        {u"f64", u"Floating point (64-bit)"},
        {u"flac", u"Free lossless audio codec"},
        {u"g721", u"G.721 ADPCM"},
        {u"g721-4", u"G.721 4-bit ADPCM"},
        {u"g722", u"G.726 ADPCM"},
        {u"g722-6", u"G.726 48 kbit/s ADPCM"},
        {u"g722-7", u"G.726 56 kbit/s ADPCM"},
        {u"g722-8", u"G.726 64 kbit/ ADPCM"},
        {u"g723", u"G.723 ADPCM"},
        {u"g723-3", u"G.723 3-bit ADPCM"},
        {u"g723-5", u"G.723 5-bit ADPCM"},
        {u"g726", u"G.726 ADPCM"},
        {u"g726-2", u"G.726 2-bit ADPCM"},
        {u"g726-3", u"G.726 3-bit ADPCM"},
        {u"g726-4", u"G.726 4-bit ADPCM"},
        {u"g726-5", u"G.726 5-bit ADPCM"},
        {u"gsm", u"Raw GSM 06.10"},
        {u"gsm", u"Raw GSM 06.10 'byte aligned'"},
        {u"gsm", u"USR GSM without header"},
        {u"gsm", u"USR GSM with header"},
        {u"hcom", u"Sound Tools HCOM"},
        {u"iff", u"Interchange file format"},
        {u"inrs", u"INRS-Telecommunications"},
        {u"m4a", u"iTunes MPEG-4 audio"},
        {u"m4r", u"iPhone ring-tone"},
        {u"mat", u"Matlab binary vars"},
        {u"maud", u"MAUD sample"},
        {u"mka", u"Matriska audio"},
        {u"mkv", u"Matriska video"},
        {u"mov", u"Apple QuickTime movie"},
        {u"mp1", u"MPEG layer I"},
        {u"mp2", u"MPEG layer II"},
        {u"mp3", u"MPEG layer III"},
        {u"mp4", u"MPEG-4 base media"},
        {u"mpa", u"MPEG audio"},
        {u"mpg", u"MPEG audio"},
        {u"mpeg", u"MPEG system stream"},
        {u"mpg", u"MPEG system stream"},
        {u"mus", u"Musifile MPEG layer II"},
        {u"nist", u"NIST Sphere"},
        {u"ogg", u"Ogg Vorbis"},
        {u"opus", u"Opus"},
        {u"paf", u"Ensoniq PARIS"},
        {u"pcm", u"OKI MSM6376 PCM"},
        {u"psion", u"PSION A-law"},
        {u"raw", u"Signed 8-bit PCM"},
        {u"rif", u"Rockwell ADPCM (HotFax/Quicklink)"},
        {u"rockwell", u"Rockwell ADPCM"},
        {u"rockwell-2", u"Rockwell 2-bit ADPCM"},
        {u"rockwell-3", u"Rockwell 3-bit ADPCM"},
        {u"rockwell-4", u"Rockwell 4-bit ADPCM"},
        {u"sam", u"Signed 8-bit PCM"},
        {u"sb", u"Signed bytes (8-bit)"},
        {u"sd2", u"Sound Designer II data"},
        {u"sd2", u"Sound Designer II flat"},
        {u"sds", u"MIDI SDS"},
        {u"sdw", u"Signed dwords (32-bit)"},
        {u"sf", u"IRCAM / MTU sound"},
        {u"shn", u"Shorten lossless"},
        {u"smp", u"Samplevision"},
        {u"snd", u"Unsigned 8-bit PCM"},
        {u"sndr", u"Sounder"},
        {u"sndt", u"Sndtool"},
        {u"ss2", u"PlayStation 2 sound"},
        {u"svx", u"Interchange file format"},
        {u"sw", u"Signed words (16-bit) - Little Endian"},
        {u"txt", u"Ascii text audio"},
        {u"u255law", u"Exponential mu-law"},
        {u"uasset", u"Unreal Engine asset"},
        {u"uax", u"Unreal Tournament"},
        {u"ub", u"Unsigned bytes (8-bit)"},
        {u"udw", u"Unsigned dwords (32-bit)"},
        {u"ulaw", u"G.711 mu-law"},
        {u"ulw", u"G.711 mu-law"},
        {u"uw", u"Unsigned words (16-bit) - Little Endian"},
        {u"v8", u"Covox 8-bit"},
        {u"vag", u"PlayStation sound"},
        {u"voc", u"SoundBlaster voice"},
        {u"vox", u"Dialogic 4-bit ADPCM"},
        {u"vox-6k", u"Dialogic 4-bit ADPCM (6000 Hz)"},
        {u"vox-8k", u"Dialogic 4-bit ADPCM (8000 Hz)"},
        {u"w64", u"Wave-64"},
        {u"wav", u"Microsoft wave"},
        {u"wav", u"Broadcast wave"},
        {u"wma", u"Windows Media audio"},
        {u"wmv", u"Windows Media video"},
        {u"wv", u"WavPack lossless"},
        {u"yadpcm", u"Raw Yamaha 4-bit ADPCM"},
    };
    std::set<int> want;
    for (const auto& [extension, description] : expected) {
        int row = findFormatRow(extension.c_str(), description.c_str());
        ASSERT_GE(row, 0) << WideToUtf8(extension) << " " << WideToUtf8(description);
        want.insert(row);
        EXPECT_NE(formatRow(row)->detect, nullptr) << WideToUtf8(extension) << " " << WideToUtf8(description);
    }
    std::set<int> bound(AudioDetectorRows().begin(), AudioDetectorRows().end());
    EXPECT_EQ(bound, want);
    EXPECT_EQ(bound.size(), AudioDetectorRows().size()) << "a row was bound twice";
}

struct RealFile {
    const char* path;    // under tests/data/audio
    const char* named;   // detected under its own name
    const char* unnamed; // detected with the extension taken away
};

TEST(AudioDetection, RealFilesAreNamedByTheirContent) {
    const RealFile files[] = {
        {"wav/tinytag_8bit_lavf.wav", "wav - Microsoft wave (100%)", "wav - Microsoft wave (66%)"},
        // bext is the sixth chunk here, beyond the four the rule looks at.
        {"wav/flac_BWF-WaveFmtEx.wav", "wav - Microsoft wave (100%)", "wav - Microsoft wave (66%)"},
        // MPEG frames inside a WAV stay a WAV, with or without its name.
        {"wav/tinytag_mpeglayer3_in_wav.wav", "wav - Microsoft wave (100%)", "wav - Microsoft wave (66%)"},
        {"rf64/taglib_rf64.wav", "wav - Microsoft wave (100%)", "wav - Microsoft wave (66%)"},
        {"aiff/cpython_sndhdr.aiff", "aiff - Audio interchange (100%)", "aif - Audio interchange (66%)"},
        {"aiff/taglib_alaw.aifc", "aifc - Compressed AIFF (100%)", "afc - Compressed AIFF (66%)"},
        // An AIFF-C under the .aif name: the AIFF row reads both forms.
        {"aiff/goaudio_sowt_inst_mark.aif", "aif - Audio interchange (77%)", "afc - Compressed AIFF (66%)"},
        {"iff/cpython_sndhdr.8svx", "iff - Interchange file format (66%)",
         "iff - Interchange file format (66%)"},
        {"au/cpython_sndhdr.au", "au - Sun/NeXT/DEC audio (100%)", "au - Sun/NeXT/DEC audio (66%)"},
        {"au/cpython_pluck-pcm8.au", "au - Sun/NeXT/DEC audio (100%)", "au - Sun/NeXT/DEC audio (66%)"},
        {"voc/cpython_sndhdr.voc", "voc - SoundBlaster voice (100%)", "voc - SoundBlaster voice (66%)"},
        {"other/cpython_sndhdr.hcom", "hcom - Sound Tools HCOM (100%)", "hcom - Sound Tools HCOM (66%)"},
        {"other/cpython_sndhdr.sndt", "sndt - Sndtool (100%)", "sndt - Sndtool (66%)"},
        {"flac/openmpt_test_riff_smpl_xtra.flac", "flac - Free lossless audio codec (100%)",
         "flac - Free lossless audio codec (66%)"},
        {"flac/tinytag_id3v2_before_flac.flac", "flac - Free lossless audio codec (100%)",
         "flac - Free lossless audio codec (66%)"},
        // A damaged STREAMINFO leaves only the short magic.
        {"flac/tinytag_invalid_streaminfo.flac", "flac - Free lossless audio codec (77%)",
         "* - Unrecognized (0%)"},
        {"mpeg/iso11172-4/l1-fl4.mp1", "mp1 - MPEG layer I (100%)", "mp1 - MPEG layer I (66%)"},
        {"mpeg/iso11172-4/l2-fl13.mp2", "mp2 - MPEG layer II (100%)", "mp2 - MPEG layer II (66%)"},
        {"mpeg/iso11172-4/l3-he_free.mp3", "mp3 - MPEG layer III (100%)", "mp3 - MPEG layer III (66%)"},
        {"mpeg/iso13818-4/M2L3_compl24.mp3", "mp3 - MPEG layer III (100%)", "mp3 - MPEG layer III (66%)"},
        {"mpeg/tagged/tinytag_mpeg25_8khz_vbr.mp3", "mp3 - MPEG layer III (100%)",
         "mp3 - MPEG layer III (66%)"},
        {"mpeg/tagged/tinytag_mpeg1_id3v2.mp2", "mp2 - MPEG layer II (100%)", "mp2 - MPEG layer II (66%)"},
        // One frame behind the tag, and the file ends: nothing confirms it.
        {"mpeg/nonstandard/l3-id3v2.mp3", "mp3 - MPEG layer III (77%)", "* - Unrecognized (0%)"},
        // A tag and nothing else: judged by the tag alone.
        {"mpeg/tagged/taglib_extended_header.mp3", "mp3 - MPEG layer III (77%)", "* - Unrecognized (0%)"},
        {"opus/tinytag_silence.opus", "opus - Opus (100%)", "opus - Opus (66%)"},
        {"vorbis/taglib_test.ogg", "ogg - Ogg Vorbis (100%)", "ogg - Ogg Vorbis (66%)"},
        {"vorbis/taglib_multiplex.ogg", "ogg - Ogg Vorbis (100%)", "ogg - Ogg Vorbis (66%)"},
        {"ape/taglib_mac-390-hdr.ape", "ape - Monkey Audio lossless (100%)",
         "ape - Monkey Audio lossless (66%)"},
        {"ape/taglib_mac-399-id3v2.ape", "ape - Monkey Audio lossless (100%)",
         "ape - Monkey Audio lossless (66%)"},
        {"wavpack/taglib_non_standard_rate.wv", "wv - WavPack lossless (100%)",
         "wv - WavPack lossless (66%)"},
        {"shorten/taglib_2sec-silence.shn", "shn - Shorten lossless (100%)", "shn - Shorten lossless (66%)"},
    };
    test::TempDir dir;
    for (const RealFile& f : files) {
        SCOPED_TRACE(f.path);
        EXPECT_EQ(DetectPath(AudioData(f.path)), f.named);
        EXPECT_EQ(Renamed(AudioData(f.path), dir, "noextension"), f.unnamed);
    }
}

TEST(AudioDetection, ShortHeadsAreSafeAndNeverCertain) {
    InstallFormats();
    // Formats whose whole signature fits in eight bytes may claim them.
    const std::set<std::string> completeIn8 = {"shorten/taglib_2sec-silence.shn"};
    for (const auto& entry : fs::recursive_directory_iterator(test::DataDir() / "audio")) {
        if (!entry.is_regular_file()) continue;
        std::string relative = fs::relative(entry.path(), test::DataDir() / "audio").string();
        SCOPED_TRACE(relative);
        Data whole = test::ReadFile(entry.path());
        for (size_t n = 0; n <= 64 && n <= whole.size(); ++n) {
            Data head = Head(whole, n);
            // As a short file, and as the first bytes of a longer one.
            int shortScore = BestAudioScore(head, std::max<size_t>(n, 1));
            int longScore = BestAudioScore(head, whole.size());
            if (n <= 8 && !completeIn8.count(relative)) {
                EXPECT_LT(shortScore, 6) << n << " bytes";
                EXPECT_LT(longScore, 6) << n << " bytes";
            }
        }
    }
}

TEST(AudioDetection, SoxFilesAreNamedByTheirHeaders) {
    test::TempDir dir;
    MakeReferenceWave(dir);
    struct Case {
        const char* name;
        const char* command;
        const char* expected;
    };
    const Case cases[] = {
        {"a.wav", "sox -q in.wav %s", "wav - Microsoft wave (100%)"},
        {"a.aiff", "sox -q in.wav %s", "aiff - Audio interchange (100%)"},
        {"a.aifc", "sox -q in.wav -t aifc %s", "aifc - Compressed AIFF (100%)"},
        {"a.iff", "sox -q in.wav -t 8svx %s", "iff - Interchange file format (100%)"},
        {"a.svx", "sox -q in.wav -t 8svx %s", "svx - Interchange file format (100%)"},
        {"a.maud", "sox -q in.wav -t maud %s", "maud - MAUD sample (100%)"},
        {"a.au", "sox -q in.wav %s", "au - Sun/NeXT/DEC audio (100%)"},
        {"a.voc", "sox -q in.wav %s", "voc - SoundBlaster voice (100%)"},
        {"a.avr", "sox -q in.wav %s", "avr - Audio Visual Research (100%)"},
        {"a.nist", "sox -q in.wav -t sph %s", "nist - NIST Sphere (100%)"},
        {"a.sf", "sox -q in.wav -t ircam %s", "sf - IRCAM / MTU sound (100%)"},
        {"a.paf", "sox -q in.wav -t paf %s", "paf - Ensoniq PARIS (100%)"},
        {"b.paf", "sox -q in.wav -t fap %s", "paf - Ensoniq PARIS (100%)"},
        {"a.sds", "sox -q in.wav -t sds %s", "sds - MIDI SDS (100%)"},
        {"a.sndt", "sox -q in.wav -t sndt %s", "sndt - Sndtool (100%)"},
        {"a.sndr", "sox -q in.wav -t sndr %s", "sndr - Sounder (55%)"},
        {"a.smp", "sox -q in.wav -t smp %s", "smp - Samplevision (100%)"},
        {"a.psion", "sox -q in.wav -t wve %s", "psion - PSION A-law (100%)"},
        {"a.mat", "sox -q in.wav -t mat5 %s", "mat - Matlab binary vars (100%)"},
        {"b.mat", "sox -q in.wav -t mat4 %s", "mat - Matlab binary vars (55%)"},
        {"a.w64", "sox -q in.wav -t w64 %s", "w64 - Wave-64 (100%)"},
        {"a.caf", "sox -q in.wav -t caf %s", "caf - Apple CoreAudio (100%)"},
        {"a.wv", "sox -q in.wav -t wv %s", "wv - WavPack lossless (100%)"},
        {"a.flac", "sox -q in.wav %s", "flac - Free lossless audio codec (100%)"},
        {"a.ogg", "sox -q in.wav -t vorbis %s", "ogg - Ogg Vorbis (100%)"},
        {"a.amr", "sox -q in.wav -r 8000 -t amr-nb %s", "amr - MIME AMR file storage (100%)"},
        {"a.txt", "sox -q in.wav -t dat %s", "txt - Ascii text audio (55%)"},
        {"a.gsm", "sox -q in.wav -r 8000 -t gsm %s", "gsm - Raw GSM 06.10 (77%)"},
        {"a.alaw", "sox -q in.wav -t al %s", "alaw - G.711 A-law (55%)"},
        {"a.ulw", "sox -q in.wav -t ul %s", "ulw - G.711 mu-law (55%)"},
        {"a.vox", "sox -q in.wav -t vox %s", "vox - Dialogic 4-bit ADPCM (55%)"},
        {"a.sw", "sox -q in.wav -t s16 %s", "sw - Signed words (16-bit) - Little Endian (55%)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        fs::path made = Make(dir, c.name, c.command);
        EXPECT_EQ(DetectPath(made), c.expected);
    }
    // The same files without their names: only a magic number can speak.
    EXPECT_EQ(Renamed(dir / "a.sds", dir, "sds"), "sds - MIDI SDS (66%)");
    EXPECT_EQ(Renamed(dir / "a.smp", dir, "smp"), "smp - Samplevision (66%)");
    EXPECT_EQ(Renamed(dir / "a.w64", dir, "w64"), "w64 - Wave-64 (66%)");
    EXPECT_EQ(Renamed(dir / "a.sw", dir, "sw"), "* - Unrecognized (0%)");
    EXPECT_EQ(Renamed(dir / "a.txt", dir, "txt"), "* - Unrecognized (0%)");
    EXPECT_EQ(Renamed(dir / "b.mat", dir, "mat"), "* - Unrecognized (0%)");
}

TEST(AudioDetection, FfmpegFilesAreNamedByTheirHeaders) {
    test::TempDir dir;
    MakeReferenceWave(dir);
    test::RequireTool("ffmpeg");
    struct Case {
        const char* name;
        const char* command;
        const char* expected;
        const char* unnamed;
    };
    const std::string ff = "ffmpeg -hide_banner -loglevel error -y ";
    const std::string video = "-f lavfi -i testsrc=d=1:s=32x32:r=10 ";
    const Case cases[] = {
        {"a.mp2", "-i in.wav -c:a mp2 %s", "mp2 - MPEG layer II (100%)", "mp2 - MPEG layer II (66%)"},
        {"a.mp3", "-i in.wav -c:a libmp3lame %s", "mp3 - MPEG layer III (100%)",
         "mp3 - MPEG layer III (66%)"},
        {"a.aac", "-i in.wav -c:a aac %s", "aac - MPEG 2/4 AAC (100%)", "aac - MPEG 2/4 AAC (66%)"},
        {"a.opus", "-i in.wav -c:a libopus %s", "opus - Opus (100%)", "opus - Opus (66%)"},
        {"a.mpeg", "-i in.wav -c:a mp2 -f mpeg %s", "mpeg - MPEG system stream (100%)",
         "mpeg - MPEG system stream (66%)"},
        {"a.mpg", "-i in.wav -c:a mp2 -f vob %s", "mpg - MPEG system stream (100%)",
         "mpeg - MPEG system stream (66%)"},
        {"a.m4a", "-i in.wav -c:a aac %s", "m4a - iTunes MPEG-4 audio (100%)",
         "m4a - iTunes MPEG-4 audio (66%)"},
        {"a.mp4", "-i in.wav -c:a aac %s", "mp4 - MPEG-4 base media (100%)", "mp4 - MPEG-4 base media (66%)"},
        {"a.3gp", "-i in.wav -ar 8000 -c:a aac %s", "3gp - 3GPP (100%)", "3gp - 3GPP (66%)"},
        {"a.3g2", "-i in.wav -ar 8000 -c:a aac %s", "3g2 - 3GPP project 2 (100%)",
         "3g2 - 3GPP project 2 (66%)"},
        {"a.mov", "-i in.wav -c:a aac %s", "mov - Apple QuickTime movie (100%)",
         "mov - Apple QuickTime movie (66%)"},
        {"a.wma", "-i in.wav -c:a wmav2 %s", "wma - Windows Media audio (100%)",
         "wma - Windows Media audio (66%)"},
        {"a.wmv", "-i in.wav -c:a wmav2 -c:v wmv2 %s", "wmv - Windows Media video (100%)",
         "wmv - Windows Media video (66%)"},
        {"a.avi", "-i in.wav -c:a pcm_s16le %s", "avi - Audio video interleave (100%)",
         "avi - Audio video interleave (66%)"},
        {"a.mka", "-i in.wav -c:a libvorbis %s", "mka - Matriska audio (100%)", "mka - Matriska audio (66%)"},
        {"a.mkv", "-i in.wav -c:a libvorbis %s", "mkv - Matriska video (100%)", "mkv - Matriska video (66%)"},
        {"a.caf", "-i in.wav %s", "caf - Apple CoreAudio (100%)", "caf - Apple CoreAudio (66%)"},
        {"a.wv", "-i in.wav %s", "wv - WavPack lossless (100%)", "wv - WavPack lossless (66%)"},
        {"a.flac", "-i in.wav %s", "flac - Free lossless audio codec (100%)",
         "flac - Free lossless audio codec (66%)"},
        {"a.gsm", "-i in.wav -ar 8000 -c:a libgsm -f gsm %s", "gsm - Raw GSM 06.10 (77%)",
         "* - Unrecognized (0%)"},
        {"a.au", "-i in.wav %s", "au - Sun/NeXT/DEC audio (100%)", "au - Sun/NeXT/DEC audio (66%)"},
        {"a.w64", "-i in.wav %s", "w64 - Wave-64 (100%)", "w64 - Wave-64 (66%)"},
        {"rf64.wav", "-i in.wav -rf64 always %s", "wav - Microsoft wave (100%)",
         "wav - Microsoft wave (66%)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string inputs = std::string(c.name) == "a.wmv" || std::string(c.name) == "a.mkv" ? video : "";
        fs::path made = Make(dir, c.name, ff + inputs + c.command);
        EXPECT_EQ(DetectPath(made), c.expected);
        EXPECT_EQ(Renamed(made, dir, "unnamed"), c.unnamed);
    }
}

TEST(AudioDetection, RowsSharingAReaderLetTheExtensionDecide) {
    test::TempDir dir;
    MakeReferenceWave(dir);
    test::RequireTool("ffmpeg");
    const std::string ff = "ffmpeg -hide_banner -loglevel error -y -i in.wav ";
    fs::path aiff = Make(dir, "a.aiff", "sox -q in.wav %s");
    fs::path mp2 = Make(dir, "a.mp2", ff + "-c:a mp2 %s");
    fs::path mp3 = Make(dir, "a.mp3", ff + "-c:a libmp3lame %s");
    fs::path m4a = Make(dir, "a.m4a", ff + "-c:a aac %s");
    fs::path opus = Make(dir, "a.opus", ff + "-c:a libopus %s");
    fs::path mp3InWav = Make(dir, "mp3.wav", ff + "-c:a libmp3lame -f wav %s");

    EXPECT_EQ(Renamed(aiff, dir, "x.aifc"), "aifc - Compressed AIFF (77%)");
    EXPECT_EQ(Renamed(aiff, dir, "x.c01"), "c01 - Typhoon wave (77%)");
    // Any layer under an "MPEG audio" name; Musifile takes layer II only.
    EXPECT_EQ(Renamed(mp3, dir, "x.mpa"), "mpa - MPEG audio (77%)");
    EXPECT_EQ(Renamed(mp3, dir, "x.mpg"), "mpg - MPEG audio (77%)");
    EXPECT_EQ(Renamed(mp2, dir, "x.mus"), "mus - Musifile MPEG layer II (77%)");
    EXPECT_EQ(Renamed(mp3, dir, "x.mus"), "mp3 - MPEG layer III (66%)");
    // A confirmed stream of another layer beats a wrong layer extension.
    EXPECT_EQ(Renamed(mp2, dir, "x.mp3"), "mp2 - MPEG layer II (66%)");
    // The ISO media rows: the brand names the kind, the extension a sibling.
    EXPECT_EQ(Renamed(m4a, dir, "x.mp4"), "mp4 - MPEG-4 base media (77%)");
    EXPECT_EQ(Renamed(m4a, dir, "x.m4r"), "m4r - iPhone ring-tone (77%)");
    EXPECT_EQ(Renamed(m4a, dir, "x.3gp"), "3gp - 3GPP (77%)");
    // Opus named .ogg is still Opus: the Vorbis row cannot read it.
    EXPECT_EQ(Renamed(opus, dir, "x.ogg"), "opus - Opus (66%)");
    // A WAV of MPEG frames keeps its own row under an MPEG name.
    EXPECT_EQ(Renamed(mp3InWav, dir, "x.mp3"), "wav - Microsoft wave (66%)");
    // Raw rows: the extension names the coding; nothing else claims them.
    EXPECT_EQ(Renamed(aiff, dir, "x.sw"), "aif - Audio interchange (66%)");
}

// Frame streams are confirmed by the frame that follows: a broken second
// frame leaves the first one merely plausible.
TEST(AudioDetection, FrameStreamsNeedTheirSecondFrame) {
    test::TempDir dir;
    MakeReferenceWave(dir);
    test::RequireTool("ffmpeg");
    const std::string ff = "ffmpeg -hide_banner -loglevel error -y -i in.wav ";
    Data aac = test::ReadFile(Make(dir, "a.aac", ff + "-c:a aac %s"));
    Data mp2 = test::ReadFile(Make(dir, "a.mp2", ff + "-c:a mp2 %s"));
    ASSERT_GT(aac.size(), 7u);
    ASSERT_GT(mp2.size(), 4u);
    // ADTS: the 13-bit frame length at bits 30..42 of the header.
    size_t aacFrame = size_t(aac[3] & 3) << 11 | size_t(aac[4]) << 3 | aac[5] >> 5;
    // Layer II at 22,050 Hz (MPEG-2): 144 * kbit/s * 1000 / rate, plus padding.
    static const int kMpeg2Layer2Rates[] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    size_t mp2Frame = 144 * kMpeg2Layer2Rates[mp2[2] >> 4] * 1000 / 22050 + (mp2[2] >> 1 & 1);
    ASSERT_LT(aacFrame + 7, aac.size());
    ASSERT_LT(mp2Frame + 4, mp2.size());
    EXPECT_EQ(DetectBytes("x.aac", aac), "aac - MPEG 2/4 AAC (100%)");
    EXPECT_EQ(DetectBytes("x.mp2", mp2), "mp2 - MPEG layer II (100%)");
    aac[aacFrame] = 0;
    mp2[mp2Frame] = 0;
    EXPECT_EQ(DetectBytes("x.aac", aac), "aac - MPEG 2/4 AAC (55%)");
    EXPECT_EQ(DetectBytes("x.mp2", mp2), "mp2 - MPEG layer II (55%)");
    EXPECT_EQ(DetectBytes("x", aac), "* - Unrecognized (0%)");
    // Cut after the first frame: the stream cannot be followed, a weaker sign.
    EXPECT_EQ(DetectBytes("x.mp2", Head(mp2, mp2Frame), mp2.size()), "mp2 - MPEG layer II (77%)");
}

// Patches a copy of a file made by sox, for the WAV variants the detection
// table names by their fields.
TEST(AudioDetection, WaveVariantsFollowTheDetectionTable) {
    test::TempDir dir;
    MakeReferenceWave(dir);
    test::RequireTool("ffmpeg");
    Data wav = test::ReadFile(dir / "in.wav");
    ASSERT_GT(wav.size(), 44u);
    ASSERT_EQ(std::string(wav.begin() + 12, wav.begin() + 16), "fmt ");

    // Broadcast wave: ffmpeg writes 'bext' right behind the head.
    fs::path bwf = Make(dir, "b.wav", "ffmpeg -hide_banner -loglevel error -y -i in.wav -write_bext 1 %s");
    EXPECT_EQ(DetectPath(bwf), "wav - Microsoft wave (100%)");
    EXPECT_EQ(Renamed(bwf, dir, "b.bwf"), "bwf - Broadcast wave (100%)");
    EXPECT_EQ(Renamed(bwf, dir, "bwf"), "bwf - Broadcast wave (66%)");
    // Without 'bext' the Broadcast rows only find the head plausible.
    EXPECT_EQ(DetectBytes("plain.bwf", wav), "wav - Microsoft wave (66%)");

    // Format tag 768 at offset 20: the Rockwell row, which comes first.
    Data rockwell = wav;
    rockwell[20] = 0x00;
    rockwell[21] = 0x03;
    EXPECT_EQ(DetectBytes("rockwell", rockwell), "rif - Rockwell ADPCM (HotFax/Quicklink) (66%)");
    EXPECT_EQ(DetectBytes("rockwell.rif", rockwell), "rif - Rockwell ADPCM (HotFax/Quicklink) (100%)");
    EXPECT_EQ(DetectBytes("rockwell.wav", rockwell), "wav - Microsoft wave (100%)");

    // The SDSS head is a weaker sign of the WAV reader's variant.
    Data sdss = wav;
    std::memcpy(sdss.data(), "SDSS", 4);
    EXPECT_EQ(DetectBytes("s.wav", sdss), "wav - Microsoft wave (77%)");
    EXPECT_EQ(DetectBytes("s", sdss), "* - Unrecognized (0%)");
}

TEST(AudioDetection, AnId3TagLongerThanTheBufferIsJudgedAlone) {
    test::TempDir dir;
    MakeReferenceWave(dir);
    test::RequireTool("ffmpeg");
    fs::path mp3 = Make(dir, "a.mp3", "ffmpeg -hide_banner -loglevel error -y -i in.wav -c:a libmp3lame %s");
    // An ID3v2.4 tag of 40,000 bytes (a padded cover picture, say) in front.
    constexpr uint32_t kTagBody = 40000;
    Data tagged = {'I',
                   'D',
                   '3',
                   4,
                   0,
                   0,
                   uint8_t(kTagBody >> 21 & 0x7F),
                   uint8_t(kTagBody >> 14 & 0x7F),
                   uint8_t(kTagBody >> 7 & 0x7F),
                   uint8_t(kTagBody & 0x7F)};
    tagged.resize(10 + kTagBody, 0);
    std::memcpy(tagged.data() + 10, "TIT2", 4);
    Data audio = test::ReadFile(mp3);
    tagged.insert(tagged.end(), audio.begin(), audio.end());
    test::WriteFile(dir / "big.mp3", tagged);

    EXPECT_EQ(DetectPath(dir / "big.mp3"), "mp3 - MPEG layer III (77%)");
    EXPECT_EQ(Renamed(dir / "big.mp3", dir, "big.mp2"), "mp2 - MPEG layer II (77%)");
    EXPECT_EQ(Renamed(dir / "big.mp3", dir, "big.flac"), "flac - Free lossless audio codec (77%)");
    EXPECT_EQ(Renamed(dir / "big.mp3", dir, "big"), "* - Unrecognized (0%)");
    // A smaller tag is skipped by its size and the stream behind it counts.
    Data small(tagged.begin(), tagged.begin() + 10);
    small[6] = small[7] = small[8] = 0;
    small[9] = 100;
    small.resize(110, 0);
    small.insert(small.end(), audio.begin(), audio.end());
    EXPECT_EQ(DetectBytes("small", small), "mp3 - MPEG layer III (66%)");
}

TEST(AudioDetection, OtherRiffAndIffFormsAreLeftToTheirFamilies) {
    InstallFormats();
    // A head of the given form, with a length and an empty first chunk.
    auto head = [](const std::string& magic, const std::string& length, const char* form) {
        std::string text = magic + length + form + std::string("LIST\x04\0\0\0INFO", 12);
        text.resize(108, '\0');
        return Data(text.begin(), text.end());
    };
    auto riff = [&](const char* form) { return head("RIFF", std::string("\x64\0\0\0", 4), form); };
    auto iff = [&](const char* form) { return head("FORM", std::string("\0\0\0\x64", 4), form); };
    for (const Data& d : {riff("sfbk"), riff("DLS "), riff("RMID"), riff("WAVX"), iff("SMUS"), iff("ILBM")}) {
        SCOPED_TRACE(std::string(d.begin() + 8, d.begin() + 12));
        // Only the headerless rows' "anything is plausible" answer remains,
        // and no audio row names the file.
        EXPECT_LE(BestAudioScore(d, d.size()), 2);
        int confidence = 0;
        EXPECT_FALSE(IsAudioRow(detectFormatInBuffer(u"x", d.data(), d.size(), d.size(), &confidence)));
    }
    EXPECT_EQ(DetectBytes("x.wav", riff("AVI ")), "avi - Audio video interleave (66%)");
    EXPECT_EQ(DetectBytes("x", riff("CDDA")), "cda - Audio CD track (66%)");
}

TEST(AudioDetection, PlausibilityRowsNeedTheirExtension) {
    InstallFormats();
    // Text: numbers (with comments) are audio; prose is not.
    const std::string numbers = "; Sample Rate 8000\n; Channels 2\n 0 0.25 -0.25\n 1.25e-4 0.5 0.5\n";
    const std::string prose = "These numbers are 1 2 3\nand so on\n";
    EXPECT_EQ(DetectBytes("x.txt", Data(numbers.begin(), numbers.end())), "txt - Ascii text audio (55%)");
    EXPECT_EQ(DetectBytes("x", Data(numbers.begin(), numbers.end())), "* - Unrecognized (0%)");
    EXPECT_NE(DetectBytes("x.txt", Data(prose.begin(), prose.end())), "txt - Ascii text audio (55%)");

    // Raw GSM: every 33-byte frame opens with the 0xD nibble.
    Data gsm(33 * 20, 0x55);
    for (size_t i = 0; i < gsm.size(); i += 33) gsm[i] = 0xD3;
    EXPECT_EQ(DetectBytes("x.gsm", gsm), "gsm - Raw GSM 06.10 (77%)");
    gsm[33 * 7] = 0x13;
    EXPECT_EQ(DetectBytes("x.gsm", gsm), "gsm - Raw GSM 06.10 (55%)");
    EXPECT_EQ(DetectBytes("x", gsm), "* - Unrecognized (0%)");

    // Arbitrary bytes are claimed by no audio row beyond plausibility.
    uint32_t state = 12345;
    for (int round = 0; round < 200; ++round) {
        Data noise(size_t(round) * 37 % 4096 + 1);
        for (uint8_t& byte : noise) {
            state = state * 1664525u + 1013904223u;
            byte = uint8_t(state >> 24);
        }
        EXPECT_LE(BestAudioScore(noise, noise.size()), 2) << "round " << round;
    }
}

} // namespace
} // namespace vaxel
