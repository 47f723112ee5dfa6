// Detection of instrument, program and bank files: real banks from other
// projects, files made at run time by outside tools (libgig's Korg
// converter and DLS dumper, mido, zip, sox, with file(1) as a second
// opinion on hand-built heads), and the scoring rules of the sampler
// formats.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fileio/chunk.h"
#include "fileio/file_object.h"
#include "fileio/format_rows.h"
#include "fileio/format_table.h"
#include "formats/install.h"
#include "model/text.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;
using Data = std::vector<uint8_t>;

// "ext - description (confidence%)", or "none" when nothing was found.
std::string Describe(int row, int confidence) {
    if (row < 0) return "none";
    return WideToUtf8(extensionOf(row)) + " - " + WideToUtf8(descriptionOf(row)) + " (" +
           std::to_string(confidence) + "%)";
}

std::string DetectFile(const fs::path& path) {
    InstallFormats();
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) return "cannot open " + path.string();
    int confidence = -1;
    int row = detectFormat(path, file, &confidence);
    return Describe(row, confidence);
}

std::string DetectData(const std::string& name, const Data& bytes, uint64_t fileSize = 0) {
    InstallFormats();
    int confidence = -1;
    std::u16string wide = Utf8ToWide(name);
    int row = detectFormatInBuffer(wide, bytes.data(), bytes.size(), fileSize ? fileSize : bytes.size(),
                                   &confidence);
    return Describe(row, confidence);
}

// What one row's detector answers on its own.
int RowScore(const char16_t* extension, const char16_t* description, const Data& bytes, uint64_t fileSize = 0) {
    InstallFormats();
    int row = findFormatRow(extension, description);
    const FormatEntry* e = formatRow(row);
    if (!e || !e->detect) return -1;
    return e->detect(bytes.data(), e->param, bytes.size(), fileSize ? fileSize : bytes.size(), row);
}

void Put(Data& d, size_t at, const std::string& text) {
    if (d.size() < at + text.size()) d.resize(at + text.size());
    std::memcpy(d.data() + at, text.data(), text.size());
}
void PutLe16(Data& d, size_t at, uint32_t v) { Put(d, at, std::string{char(v), char(v >> 8)}); }
void PutLe32(Data& d, size_t at, uint32_t v) {
    Put(d, at, std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)});
}
Data Text(const std::string& text) { return Data(text.begin(), text.end()); }

// A chunk identifier as the chunk writers take it: the four bytes as stored.
uint32_t Id(const char* text) {
    return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 |
           uint32_t(uint8_t(text[3])) << 24;
}

Data ReadAll(const fs::path& path) { return test::ReadFile(path); }

// The rows this group binds, and the rows of the same extensions that are
// deliberately left without a detector (no public layout, or a raw format
// chosen by its extension alone).
const char16_t* const kBound[][2] = {
    {u"akai", u"AKAI S-series disk image"}, {u"akm", u"AKAI S5000/S6000 multi"},
    {u"akm", u"AKAI Z4/Z8 multi"}, {u"akp", u"AKAI S5000/S6000 program"}, {u"akp", u"AKAI Z4/Z8 program"},
    {u"bn4", u"Yamaha DX100/DX21/DX27 voice SysEx"}, {u"bnk", u"AdLib bank"},
    {u"bnk", u"Yamaha DX100/DX21/DX27 voice SysEx"}, {u"bnk", u"Yamaha DX11/TX81z voice SysEx"},
    {u"dlp", u"DirectMusic Producer"}, {u"dls", u"DownLoadable Sounds"}, {u"dmg", u"ChkSys AKAI S-series"},
    {u"dslibrary", u"Decent Sampler Library"}, {u"dspreset", u"Decent Sampler Preset"},
    {u"dx7", u"Yamaha DX7 voice SysEx"}, {u"dx7", u"Raw Yamaha DX7 32-voice"},
    {u"e3b", u"E-mu Emulator III bank file"}, {u"e3x", u"E-mu Emulator IIIX bank file"},
    {u"eb3", u"E-mu Emulator III bank file"}, {u"esi", u"E-mu ESI-32 bank file"},
    {u"exs", u"Logic EXS24 instrument"}, {u"gig", u"GigaStudio/GigaSampler"},
    {u"gi!", u"GigaStudio/GSImport split"}, {u"ibk", u"Creative FM bank"}, {u"ins", u"Ad Lib instrument"},
    {u"iti", u"Impulse Tracker instrument"}, {u"its", u"Impulse Tracker sample"}, {u"K25", u"Kurzweil K2500"},
    {u"K26", u"Kurzweil K2600"}, {u"KMP", u"Korg keymap"}, {u"KRZ", u"Kurzweil K2000 file"},
    {u"KSC", u"Korg script"}, {u"KSF", u"Korg sample"}, {u"mss", u"MSS DLS 1 + XMI"},
    {u"nkb", u"NI Kontakt v5/6/7 Bank"}, {u"nki", u"NI Kontakt v1 Instrument"},
    {u"nki", u"NI Kontakt v2/3/4 Instrument"}, {u"nki", u"NI Kontakt v5/6/7 Instrument"},
    {u"nkm", u"NI Kontakt v1 Multi"}, {u"nkm", u"NI Kontakt v2/3/4 Multi"}, {u"nkm", u"NI Kontakt v5/6/7 Multi"},
    {u"p", u"AKAI S1000 program"}, {u"p", u"AKAI S3000 program"}, {u"p1", u"AKAI S1000 program"},
    {u"p3", u"AKAI S3000 program"}, {u"pat", u"Gravis Ultrasound patch"}, {u"PCG", u"Korg Trinity bank"},
    {u"PCG", u"Korg Triton bank"}, {u"PCG", u"Korg Triton LE bank"}, {u"PCG", u"Korg M3 bank"},
    {u"PCG", u"Korg M50 bank"}, {u"PCG", u"Korg Oasys bank"}, {u"PCG", u"Korg Kronos bank"},
    {u"pgm", u"AKAI MPC1000 program"}, {u"pgm", u"AKAI MPC2000 program"}, {u"s", u"AKAI S900/S950 sample"},
    {u"s", u"AKAI S1000 sample"}, {u"s", u"AKAI S3000 sample"}, {u"s1", u"AKAI S1000 sample"},
    {u"s3", u"AKAI S3000 sample"}, {u"s9", u"AKAI S900/S950 sample"}, {u"s3i", u"ScreamTracker v3 sample"},
    {u"sbi", u"Creative FM instrument"}, {u"sbk", u"SoundFont v1"}, {u"sf2", u"SoundFont v2 bank"},
    {u"sf2pack", u"MIDI Converter Studio"}, {u"sf3", u"Compressed SoundFont"}, {u"sfark", u"Melody Machine SF"},
    {u"sfz", u"SFZ instrument"}, {u"snd", u"AKAI MPC sample"},
    {u"syx", u"Yamaha DX100/DX21/DX27 voice SysEx"}, {u"syx", u"Yamaha DX11/TX81z voice SysEx"},
    {u"syx", u"Yamaha DX7 voice SysEx"}, {u"syx", u"Yamaha DX7II/DX200 voice SysEx"},
    {u"syx", u"Roland D-50 patch SysEx"}, {u"syx", u"Roland MT-32 SysEx"}, {u"txbank", u"Cwitec TX16Wx bank"},
    {u"txprog", u"Cwitec TX16Wx program"}, {u"vab", u"PlayStation bank"}, {u"w01", u"Yamaha TX16W wave"}, {u"X0A", u"Yamaha Motif XS all"},
    {u"X0V", u"Yamaha Motif XS voices"}, {u"X0W", u"Yamaha Motif XS waves"}, {u"X3A", u"Yamaha Motif XF all"},
    {u"X3V", u"Yamaha Motif XF voices"}, {u"X3W", u"Yamaha Motif XF waves"}, {u"X6A", u"Yamaha MOXF all"},
    {u"X6V", u"Yamaha MOXF voices"}, {u"X6W", u"Yamaha MOXF waves"}, {u"X7A", u"Yamaha Montage all"},
    {u"X7L", u"Yamaha Montage library"}, {u"X7U", u"Yamaha Montage user"}, {u"X8A", u"Yamaha MODX all"},
    {u"X8L", u"Yamaha MODX library"}, {u"X8U", u"Yamaha MODX user"}, {u"xi", u"Fast Tracker 2 instrument"},
    {u"xpm", u"AKAI new MPC-line instrument"}, {u"xrni", u"Renoise instrument"},
    {u"Y2A", u"Yamaha Montage M all"}, {u"Y2L", u"Yamaha Montage M library"}, {u"Y2U", u"Yamaha Montage M user"},
};
const char16_t* const kLeftWithoutDetector[][2] = {
    {u"ins", u"Ensoniq EPS intrument"},    {u"ins", u"Sample Cell II Mac"},
    {u"ins", u"Sample Cell II PC"},        {u"KMP", u"Korg PA-series keymaps"},
    {u"nkb", u"NI Kontakt v1 Bank"},
    {u"nkb", u"NI Kontakt v2/3/4 Bank"},   {u"p", u"AKAI S900/S950 program"},
    {u"pgm", u"AKAI MPC3000 program"},     {u"snd", u"Unsigned 8-bit PCM"},
    {u"w01", u"Yamaha SY99 wave"},
};

TEST(InstrumentDetection, EveryRowOfTheFamiliesIsBoundOrDeliberatelyLeft) {
    InstallFormats();
    auto listed = [](const auto& list, int row) {
        for (const auto& entry : list)
            if (findFormatRow(entry[0], entry[1]) == row) return true;
        return false;
    };
    for (const auto& entry : kBound) {
        int row = findFormatRow(entry[0], entry[1]);
        ASSERT_GE(row, 0) << WideToUtf8(entry[0]) << " - " << WideToUtf8(entry[1]);
        EXPECT_NE(formatRow(row)->detect, nullptr) << Describe(row, 0);
    }
    // A family bound by halves: another read row of a bound extension that
    // has no detector and is not on the list of rows left on purpose.
    for (int row = 1; row < formatCount; ++row) {
        if (!kFormatRowData[row].reads || formatRow(row)->detect || listed(kLeftWithoutDetector, row)) continue;
        for (const auto& entry : kBound)
            EXPECT_NE(std::u16string_view(entry[0]), kFormatRowData[row].extension)
                << "half-bound family: " << Describe(row, 0);
    }
    for (const auto& entry : kLeftWithoutDetector) {
        int row = findFormatRow(entry[0], entry[1]);
        ASSERT_GE(row, 0) << WideToUtf8(entry[1]);
        EXPECT_TRUE(kFormatRowData[row].reads) << WideToUtf8(entry[1]);
    }
}

// ---------------------------------------------------------------------------
// SoundFont

const fs::path kSf2 = test::DataDir() / "instruments/sf2/VintageDreamsWaves-v2.sf2";
const fs::path kSf3 = test::DataDir() / "instruments/sf2/VintageDreamsWaves-v2.sf3";

TEST(InstrumentDetection, SoundFontBanksFromFluidSynth) {
    EXPECT_EQ(DetectFile(kSf2), "sf2 - SoundFont v2 bank (100%)");
    EXPECT_EQ(DetectFile(kSf3), "sf3 - Compressed SoundFont (100%)");

    // By magic alone, under a wrong name or none; a version 3 bank named
    // .sf2 still goes to the compressed row (6 beats 2 + 3).
    Data sf2 = ReadAll(kSf2), sf3 = ReadAll(kSf3);
    Data head2(sf2.begin(), sf2.begin() + 32768), head3(sf3.begin(), sf3.begin() + 32768);
    EXPECT_EQ(DetectData("bank", head2, sf2.size()), "sf2 - SoundFont v2 bank (66%)");
    EXPECT_EQ(DetectData("bank.wav", head2, sf2.size()), "sf2 - SoundFont v2 bank (66%)");
    EXPECT_EQ(DetectData("bank.sf2", head3, sf3.size()), "sf3 - Compressed SoundFont (66%)");
    EXPECT_EQ(DetectData("bank.sf3", head2, sf2.size()), "sf2 - SoundFont v2 bank (66%)");

    // The same form with the version word changed: a v1 bank, a bank of an
    // unknown version (left to the extension) and the packed form.
    Data v1 = head2;
    PutLe16(v1, 32, 1);
    EXPECT_EQ(DetectData("old", v1), "sbk - SoundFont v1 (66%)");
    Data v7 = head2;
    PutLe16(v7, 32, 7);
    EXPECT_EQ(DetectData("odd.sf2", v7), "sf2 - SoundFont v2 bank (55%)");
    Data packed = head2;
    Put(packed, 8, "sfpk");
    EXPECT_EQ(DetectData("pack.sf2pack", packed), "sf2pack - MIDI Converter Studio (100%)");
    EXPECT_EQ(RowScore(u"sf2", u"SoundFont v2 bank", packed), 0);

    // A cut head never claims the bank.
    Data cut(sf2.begin(), sf2.begin() + 33);
    EXPECT_EQ(RowScore(u"sf2", u"SoundFont v2 bank", cut, sf2.size()), 2);
    EXPECT_EQ(DetectData("bank.sf2", Data(sf2.begin(), sf2.begin() + 8), sf2.size()), "* - Unrecognized (0%)");
}

TEST(InstrumentDetection, SfArkHeads) {
    // The signature 26 bytes into the head, the method byte and a zero file
    // type behind it; a self-extractor may put bytes in front.
    Data ark(64, 0);
    Put(ark, 20 + 26, "sfArk");
    ark[20 + 31] = 2;
    EXPECT_EQ(RowScore(u"sfark", u"Melody Machine SF", ark), 6);
    EXPECT_EQ(DetectData("piano.sfark", ark), "sfark - Melody Machine SF (100%)");
    ark[20 + 31] = 9; // no such method
    EXPECT_EQ(RowScore(u"sfark", u"Melody Machine SF", ark), 2);
    ark[20 + 31] = 0;
    ark[20 + 32] = 1; // not a SoundFont inside
    EXPECT_EQ(RowScore(u"sfark", u"Melody Machine SF", ark), 2);
    Data early(64, 0);
    Put(early, 10, "sfArk"); // before its place in any head
    EXPECT_EQ(RowScore(u"sfark", u"Melody Machine SF", early), 0);
    Data tiny(41, 0);
    Put(tiny, 26, "sfArk");
    EXPECT_EQ(RowScore(u"sfark", u"Melody Machine SF", tiny), 0);
}

// ---------------------------------------------------------------------------
// DLS, GigaStudio and Korg

// A Korg sample (SMP1 and SMD1 chunks, big-endian, not aligned).
Data KorgSample(const std::string& name, int frames) {
    MemChunkWriter file(true, false);
    Data smp1(32, 0);
    Put(smp1, 0, name);
    smp1[28] = uint8_t((frames - 1) >> 24), smp1[29] = uint8_t((frames - 1) >> 16);
    smp1[30] = uint8_t((frames - 1) >> 8), smp1[31] = uint8_t(frames - 1);
    file.AddChunk(FourCC("SMP1"), smp1.data(), uint32_t(smp1.size()));
    Data smd1 = {0, 0, 0xAC, 0x44, 0, 0, 1, 16, 0, 0, uint8_t(frames >> 8), uint8_t(frames)};
    for (int i = 0; i < frames; ++i) smd1.push_back(uint8_t(i * 7)), smd1.push_back(uint8_t(i));
    file.AddChunk(FourCC("SMD1"), smd1.data(), uint32_t(smd1.size()));
    return file.bytes();
}

// A Korg keymap naming one sample over the whole keyboard.
Data KorgKeymap(const std::string& name, const std::string& sampleFile) {
    MemChunkWriter file(true, false);
    Data msp1(18, 0);
    Put(msp1, 0, name);
    msp1[16] = 1;
    file.AddChunk(FourCC("MSP1"), msp1.data(), uint32_t(msp1.size()));
    Data rlp1 = {60, 127, 0, 0, 0, 0};
    Put(rlp1, 6, sampleFile);
    file.AddChunk(FourCC("RLP1"), rlp1.data(), uint32_t(rlp1.size()));
    return file.bytes();
}

TEST(InstrumentDetection, KorgFilesAndTheGigaStudioFileLibgigMakesOfThem) {
    ASSERT_NO_FATAL_FAILURE(test::RequireTool("korgdump"));
    ASSERT_NO_FATAL_FAILURE(test::RequireTool("korg2gig"));
    test::TempDir dir;
    fs::create_directories(dir / "PIANO");
    test::WriteFile(dir / "PIANO/PIANO C4.KSF", KorgSample("PIANO C4", 3000));
    test::WriteFile(dir / "PIANO.KMP", KorgKeymap("PIANO", "PIANO C4.KSF"));

    // libgig's reader takes both as Korg files.
    std::string dump;
    ASSERT_EQ(test::Run("korgdump " + test::Quote((dir / "PIANO.KMP").string()), &dump, true), 0) << dump;
    EXPECT_NE(dump.find("Instrument 'PIANO'"), std::string::npos) << dump;
    EXPECT_EQ(DetectFile(dir / "PIANO.KMP"), "KMP - Korg keymap (100%)");
    EXPECT_EQ(DetectFile(dir / "PIANO/PIANO C4.KSF"), "KSF - Korg sample (100%)");

    std::string log;
    ASSERT_EQ(test::Run("cd " + test::Quote(dir.path().string()) + " && korg2gig -f PIANO.KMP piano.gig", &log, true),
              0)
        << log;
    EXPECT_EQ(DetectFile(dir / "piano.gig"), "gig - GigaStudio/GigaSampler (100%)");
    Data gig = ReadAll(dir / "piano.gig");
    EXPECT_EQ(DetectData("piano", gig), "gig - GigaStudio/GigaSampler (66%)");
    EXPECT_EQ(DetectData("piano.gi!", gig), "gi! - GigaStudio/GSImport split (100%)");
    // Named .dls it is still a gig: its own chunks outweigh the extension.
    EXPECT_EQ(DetectData("piano.dls", gig), "gig - GigaStudio/GigaSampler (66%)");
    EXPECT_EQ(RowScore(u"dls", u"DownLoadable Sounds", gig), 2);
    EXPECT_EQ(RowScore(u"dlp", u"DirectMusic Producer", gig), 0);
    // Only the form head in the buffer: the gig may still follow.
    Data head(gig.begin(), gig.begin() + 12);
    EXPECT_EQ(RowScore(u"gig", u"GigaStudio/GigaSampler", head, gig.size()), 4);
}

// A DLS level 1 collection: one instrument, one region, one 16-bit wave.
Data DlsCollection(const char* form) {
    auto list = [](const char* type) { return MemChunkWriter(false, true, 0, Id("LIST"), Id(type)); };
    MemChunkWriter riff(false, true, 0, Id("RIFF"), Id(form));
    Data colh(4, 0), insh(12, 0), rgnh(12, 0), wsmp(20, 0), wlnk(12, 0), ptbl(12, 0), fmt(16, 0), data(400, 0);
    PutLe32(colh, 0, 1);
    PutLe32(insh, 0, 1);
    PutLe16(rgnh, 2, 127), PutLe16(rgnh, 6, 127);
    PutLe32(wsmp, 0, 20), PutLe16(wsmp, 4, 60);
    PutLe32(wlnk, 4, 1); // channel 1 (left), table index 0
    PutLe32(ptbl, 0, 8), PutLe32(ptbl, 4, 1);
    PutLe16(fmt, 0, 1), PutLe16(fmt, 2, 1), PutLe32(fmt, 4, 22050), PutLe32(fmt, 8, 44100);
    PutLe16(fmt, 12, 2), PutLe16(fmt, 14, 16);
    riff.AddChunk(FourCC("colh"), colh.data(), 4);
    MemChunkWriter lins = list("lins"), ins = list("ins "), lrgn = list("lrgn"), rgn = list("rgn "),
                   info = list("INFO"), wvpl = list("wvpl"), wave = list("wave");
    ins.AddChunk(FourCC("insh"), insh.data(), 12);
    rgn.AddChunk(FourCC("rgnh"), rgnh.data(), 12);
    rgn.AddChunk(FourCC("wsmp"), wsmp.data(), 20);
    rgn.AddChunk(FourCC("wlnk"), wlnk.data(), 12);
    lrgn.AddChild(rgn);
    ins.AddChild(lrgn);
    info.AddChunk(FourCC("INAM"), "Test organ\0", 11);
    ins.AddChild(info);
    lins.AddChild(ins);
    riff.AddChild(lins);
    riff.AddChunk(FourCC("ptbl"), ptbl.data(), 12);
    wave.AddChunk(FourCC("fmt "), fmt.data(), 16);
    wave.AddChunk(FourCC("data"), data.data(), uint32_t(data.size()));
    wvpl.AddChild(wave);
    riff.AddChild(wvpl);
    size_t n = 0;
    const uint8_t* p = riff.Finish(&n);
    return Data(p, p + n);
}

TEST(InstrumentDetection, DownloadableSoundsCollections) {
    ASSERT_NO_FATAL_FAILURE(test::RequireTool("dlsdump"));
    test::TempDir dir;
    Data dls = DlsCollection("DLS ");
    test::WriteFile(dir / "organ.dls", dls);
    std::string dump;
    ASSERT_EQ(test::Run("dlsdump " + test::Quote((dir / "organ.dls").string()), &dump, true), 0) << dump;
    EXPECT_NE(dump.find("Test organ"), std::string::npos) << dump;

    EXPECT_EQ(DetectFile(dir / "organ.dls"), "dls - DownLoadable Sounds (100%)");
    EXPECT_EQ(DetectData("organ", dls), "dls - DownLoadable Sounds (66%)");
    EXPECT_EQ(DetectData("organ.dlp", dls), "dlp - DirectMusic Producer (77%)");
    // Seen whole without GigaStudio chunks: only plausibly a gig.
    EXPECT_EQ(DetectData("organ.gig", dls), "dls - DownLoadable Sounds (66%)");
    EXPECT_EQ(RowScore(u"gig", u"GigaStudio/GigaSampler", dls), 2);
    // Miles' compressed form is read as a collection.
    EXPECT_EQ(DetectData("organ", DlsCollection("MLS ")), "dls - DownLoadable Sounds (66%)");

    // An XMIDI song with the collection behind it, and the other way round.
    Data song = {'F', 'O', 'R', 'M', 0, 0, 0, 14, 'X', 'D', 'I', 'R', 'I', 'N', 'F', 'O', 0, 0, 0, 2, 1, 0,
                 'C', 'A', 'T', ' ', 0, 0, 0, 4, 'X', 'M', 'I', 'D'};
    Data mss = song;
    mss.insert(mss.end(), dls.begin(), dls.end());
    EXPECT_EQ(DetectData("tune.mss", mss), "mss - MSS DLS 1 + XMI (100%)");
    EXPECT_EQ(DetectData("tune", mss), "mss - MSS DLS 1 + XMI (66%)");
    Data reversed = dls;
    reversed.insert(reversed.end(), song.begin(), song.end());
    EXPECT_EQ(RowScore(u"mss", u"MSS DLS 1 + XMI", reversed), 6);
    EXPECT_EQ(RowScore(u"mss", u"MSS DLS 1 + XMI", song), 0);
    EXPECT_EQ(RowScore(u"mss", u"MSS DLS 1 + XMI", song, song.size() + 100000), 2);
}

TEST(InstrumentDetection, RiffDetectorsLeaveOtherFormsAlone) {
    ASSERT_NO_FATAL_FAILURE(test::RequireTool("sox"));
    test::TempDir dir;
    ASSERT_EQ(test::Run("sox -n -r 22050 -c 1 -b 16 " + test::Quote((dir / "tone.wav").string()) +
                        " synth 0.2 sine 440"),
              0);
    Data wave = ReadAll(dir / "tone.wav");
    Data rmid = wave, avi = wave;
    Put(rmid, 8, "RMID");
    Put(avi, 8, "AVI ");
    const char16_t* const riffRows[][2] = {
        {u"sf2", u"SoundFont v2 bank"}, {u"sf3", u"Compressed SoundFont"}, {u"sbk", u"SoundFont v1"},
        {u"sf2pack", u"MIDI Converter Studio"}, {u"dls", u"DownLoadable Sounds"}, {u"dlp", u"DirectMusic Producer"},
        {u"gig", u"GigaStudio/GigaSampler"}, {u"gi!", u"GigaStudio/GSImport split"}, {u"mss", u"MSS DLS 1 + XMI"},
        {u"akp", u"AKAI S5000/S6000 program"}, {u"akm", u"AKAI S5000/S6000 multi"},
    };
    for (const Data* form : {&wave, &rmid, &avi}) {
        for (const auto& r : riffRows) EXPECT_EQ(RowScore(r[0], r[1], *form), 0) << WideToUtf8(r[0]);
        // Nothing of this group takes the form more than plausibly.
        for (const auto& r : kBound) EXPECT_LT(RowScore(r[0], r[1], *form), 4) << WideToUtf8(r[0]);
    }
}

// ---------------------------------------------------------------------------
// Tracker and FM instruments, with file(1) confirming the hand-built heads

struct Head {
    const char* name;      // file name to save as
    Data bytes;
    const char* fileSays;  // what file(1) names it
    const char* expected;  // our answer with the extension
};

std::vector<Head> TrackerAndFmHeads() {
    std::vector<Head> heads;
    Data xi(400, 0);
    Put(xi, 0, "Extended Instrument: Bass");
    xi[42] = 0x1A;
    Put(xi, 43, "FastTracker v2.00   ");
    heads.push_back({"bass.xi", xi, "Fast Tracker II Instrument", "xi - Fast Tracker 2 instrument (100%)"});
    Data iti(600, 0);
    Put(iti, 0, "IMPI");
    Put(iti, 4, "PIANO.ITI");
    PutLe16(iti, 28, 0x214);
    heads.push_back({"piano.iti", iti, "Impulse Tracker Instrument", "iti - Impulse Tracker instrument (100%)"});
    Data its(200, 0);
    Put(its, 0, "IMPS");
    its[18] = 0x03; // sample present, 16 bit
    heads.push_back({"kick.its", its, "Impulse Tracker Sample", "its - Impulse Tracker sample (100%)"});
    Data s3i(180, 0);
    s3i[0] = 1;
    Put(s3i, 1, "SNARE.SMP");
    Put(s3i, 76, "SCRS");
    heads.push_back({"snare.s3i", s3i, "Scream Tracker Sample", "s3i - ScreamTracker v3 sample (100%)"});
    Data pat(400, 0);
    Put(pat, 0, std::string("GF1PATCH110\0ID#000002\0", 22));
    heads.push_back({"acpiano.pat", pat, "GUS patch", "pat - Gravis Ultrasound patch (100%)"});
    Data sbi(52, 0);
    Put(sbi, 0, "SBI\x1A" "Flute");
    heads.push_back({"flute.sbi", sbi, "SoundBlaster instrument", "sbi - Creative FM instrument (100%)"});
    Data ibk(3204, 0);
    Put(ibk, 0, "IBK\x1A");
    heads.push_back({"melodic.ibk", ibk, "IBK instrument", "ibk - Creative FM bank (100%)"});
    Data bnk(28, 0);
    bnk[0] = 1;
    Put(bnk, 2, "ADLIB-");
    heads.push_back({"standard.bnk", bnk, "AdLib instrument", "bnk - AdLib bank (100%)"});
    return heads;
}

TEST(InstrumentDetection, AdLibInstrumentsByTheirShape) {
    // No signature: a zero word, 26 six-bit parameters, in the later form
    // two wave selects and reserved bytes.
    Data later(80, 0), early(54, 0);
    for (size_t i = 0; i < 26; ++i) PutLe16(later, 2 + 2 * i, uint32_t(i * 2)), PutLe16(early, 2 + 2 * i, 15);
    PutLe16(later, 54, 3);
    EXPECT_EQ(DetectData("organ.ins", later), "ins - Ad Lib instrument (55%)");
    EXPECT_EQ(DetectData("organ.ins", early), "ins - Ad Lib instrument (55%)");
    EXPECT_EQ(DetectData("organ", later), "* - Unrecognized (0%)");
    PutLe16(later, 56, 4); // no such wave
    EXPECT_EQ(RowScore(u"ins", u"Ad Lib instrument", later), 0);
    PutLe16(early, 20, 64); // beyond six bits
    EXPECT_EQ(RowScore(u"ins", u"Ad Lib instrument", early), 0);
    EXPECT_EQ(RowScore(u"ins", u"Ad Lib instrument", Data(81, 0)), 0);
}

TEST(InstrumentDetection, TrackerAndFmInstrumentsAgreeWithFile) {
    ASSERT_NO_FATAL_FAILURE(test::RequireTool("file"));
    test::TempDir dir;
    for (const Head& h : TrackerAndFmHeads()) {
        test::WriteFile(dir / h.name, h.bytes);
        std::string says;
        ASSERT_EQ(test::Run("file -b " + test::Quote((dir / h.name).string()), &says), 0);
        EXPECT_NE(says.find(h.fileSays), std::string::npos) << h.name << ": file(1) says " << says;
        EXPECT_EQ(DetectFile(dir / h.name), h.expected) << h.name;
        // The magic alone finds it under another name.
        std::string expected = h.expected;
        expected.replace(expected.find("(100%)"), 6, "(66%)");
        EXPECT_EQ(DetectData("renamed.dat", h.bytes), expected) << h.name;
    }
}

// ---------------------------------------------------------------------------
// Synthesizer SysEx dumps written by mido

const char kSysExScript[] = R"(
import sys, mido
out = sys.argv[1]
def bulk(fmt, data, manufacturer=0x43, sub=0x00):
    n = len(data)
    return mido.Message('sysex', data=[manufacturer, sub, fmt, n >> 7, n & 0x7F] + data + [(-sum(data)) & 0x7F])
def voices(count, size, name_at):
    data = []
    for v in range(count):
        voice = [(v + i) % 100 for i in range(size)]
        voice[name_at:name_at + 10] = list(b'VOICE %-4d' % v)
        data += voice
    return data
dx7 = voices(32, 128, 118)
mido.write_syx_file(out + '/dx7.syx', [bulk(9, dx7)])
open(out + '/raw.dx7', 'wb').write(bytes(dx7))
mido.write_syx_file(out + '/one.syx', [bulk(0, voices(1, 155, 145))])
mido.write_syx_file(out + '/dx7ii.syx', [bulk(6, [0] * 1120), bulk(9, dx7)])
mido.write_syx_file(out + '/dx21.syx', [bulk(4, voices(32, 128, 57))])
aced = list(b'LM  8976AE') + [0] * 23
mido.write_syx_file(out + '/tx81z.syx', [bulk(0x7E, aced), bulk(4, voices(32, 128, 57))])
d50 = mido.Message('sysex', data=[0x41, 0x00, 0x14, 0x12, 0x00, 0x00, 0x00] + [0x20] * 64 + [0])
mido.write_syx_file(out + '/d50.syx', [d50])
mt32 = mido.Message('sysex', data=[0x41, 0x10, 0x16, 0x12, 0x08, 0x00, 0x00] + [0x41] * 14 + [0])
mido.write_syx_file(out + '/mt32.syx', [mt32])
)";

TEST(InstrumentDetection, SynthSysExDumps) {
    ASSERT_NO_FATAL_FAILURE(test::RequireTool("/usr/bin/python3"));
    test::TempDir dir;
    test::WriteFile(dir / "make.py", std::string(kSysExScript));
    std::string log;
    ASSERT_EQ(test::Run("/usr/bin/python3 " + test::Quote((dir / "make.py").string()) + " " +
                            test::Quote(dir.path().string()),
                        &log, true),
              0)
        << log;
    EXPECT_EQ(DetectFile(dir / "dx7.syx"), "syx - Yamaha DX7 voice SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "one.syx"), "syx - Yamaha DX7 voice SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "dx7ii.syx"), "syx - Yamaha DX7II/DX200 voice SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "dx21.syx"), "syx - Yamaha DX100/DX21/DX27 voice SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "tx81z.syx"), "syx - Yamaha DX11/TX81z voice SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "d50.syx"), "syx - Roland D-50 patch SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "mt32.syx"), "syx - Roland MT-32 SysEx (100%)");
    EXPECT_EQ(DetectFile(dir / "raw.dx7"), "dx7 - Raw Yamaha DX7 32-voice (55%)");

    Data dx7 = ReadAll(dir / "dx7.syx"), tx81z = ReadAll(dir / "tx81z.syx");
    EXPECT_EQ(DetectData("bank.dx7", dx7), "dx7 - Yamaha DX7 voice SysEx (100%)");
    EXPECT_EQ(DetectData("bank.bnk", tx81z), "bnk - Yamaha DX11/TX81z voice SysEx (100%)");
    EXPECT_EQ(DetectData("bank.bn4", ReadAll(dir / "dx21.syx")), "bn4 - Yamaha DX100/DX21/DX27 voice SysEx (100%)");
    // Without an extension the first row of the same dump wins the tie.
    EXPECT_EQ(DetectData("bank", tx81z), "bnk - Yamaha DX11/TX81z voice SysEx (66%)");

    // A universal identity request is no voice dump.
    Data request = ReadAll(fs::path(VAXEL_SOURCE_DIR) / "tests/data/songs/syx/jazzsoft_id-request.syx");
    if (request.empty()) request = {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7};
    for (const auto& r : kBound) {
        if (std::u16string_view(r[0]) != u"syx") continue;
        EXPECT_EQ(RowScore(r[0], r[1], request), 0) << WideToUtf8(r[1]);
    }
    // A raw bank needs all 4096 bytes.
    Data raw = ReadAll(dir / "raw.dx7");
    EXPECT_EQ(RowScore(u"dx7", u"Raw Yamaha DX7 32-voice", Data(raw.begin(), raw.end() - 1)), 0);
}

// ---------------------------------------------------------------------------
// AKAI

Data S1000Sample(bool s3000Head) {
    Data d(s3000Head ? 192 + 200 : 150 + 200, 0);
    d[0] = 3, d[1] = 1, d[2] = 60;
    for (int i = 0; i < 12; ++i) d[3 + i] = uint8_t(i < 5 ? 11 + i : 10); // "ABCDE" and blanks
    PutLe32(d, 26, 100);
    for (size_t i = s3000Head ? 192 : 150; i < d.size(); ++i) d[i] = uint8_t(i);
    return d;
}

TEST(InstrumentDetection, AkaiSeriesSamplesAndPrograms) {
    // The 42 bytes behind a 150-byte head tell the models apart.
    Data s1000 = S1000Sample(false), s3000 = S1000Sample(true);
    EXPECT_EQ(DetectData("kick.s", s1000), "s - AKAI S1000 sample (77%)");
    EXPECT_EQ(DetectData("kick.s", s3000), "s - AKAI S3000 sample (77%)");
    EXPECT_EQ(DetectData("kick.s3", s1000), "s3 - AKAI S3000 sample (55%)");
    EXPECT_EQ(DetectData("kick.s1", s3000), "s1 - AKAI S1000 sample (55%)");
    Data shortHead(s1000.begin(), s1000.begin() + 160);
    EXPECT_EQ(RowScore(u"s", u"AKAI S1000 sample", shortHead), 4);
    EXPECT_EQ(RowScore(u"s", u"AKAI S3000 sample", shortHead), 2);
    Data marked = s3000;
    marked[134] = 1;
    EXPECT_EQ(RowScore(u"s", u"AKAI S3000 sample", marked), 2);
    Data badName = s1000;
    badName[7] = 41; // beyond the sampler's character set
    EXPECT_EQ(RowScore(u"s", u"AKAI S1000 sample", badName), 0);
    EXPECT_EQ(RowScore(u"s", u"AKAI S1000 sample", Data(s1000.begin(), s1000.begin() + 149)), 0);

    // Programs: the first keygroup's block type at 150 or 192.
    Data program(400, 0);
    program[0] = 1;
    program[150] = 2;
    EXPECT_EQ(DetectData("piano.p", program), "p - AKAI S1000 program (77%)");
    program[150] = 0, program[192] = 2;
    EXPECT_EQ(DetectData("piano.p", program), "p - AKAI S3000 program (77%)");
    EXPECT_EQ(RowScore(u"p3", u"AKAI S3000 program", Data(program.begin(), program.begin() + 112)), 0);
    EXPECT_EQ(RowScore(u"p1", u"AKAI S1000 program", Data(program.begin(), program.begin() + 72)), 2);

    // S900: a 60-byte head with a replay mode letter.
    Data s900(60 + 300, 0);
    Put(s900, 0, "SNARE     ");
    PutLe32(s900, 16, 200), PutLe16(s900, 20, 30000), s900[26] = 'O';
    PutLe32(s900, 28, 199), PutLe32(s900, 36, 0);
    EXPECT_EQ(DetectData("snare.s9", s900), "s9 - AKAI S900/S950 sample (77%)");
    Put(s900, 12, "xx");
    EXPECT_EQ(RowScore(u"s9", u"AKAI S900/S950 sample", s900), 2);
    for (char mode : {'L', 'A'}) {
        s900[26] = uint8_t(mode);
        EXPECT_EQ(RowScore(u"s9", u"AKAI S900/S950 sample", s900), 2) << mode;
    }
    s900[26] = 'X';
    EXPECT_EQ(RowScore(u"s9", u"AKAI S900/S950 sample", s900), 0);
    s900[26] = 'L';
    PutLe32(s900, 32, 250); // start behind the end
    EXPECT_EQ(RowScore(u"s9", u"AKAI S900/S950 sample", s900), 0);

    // Newer programs and multis are RIFF forms; disk images only plausible.
    Data akp = {'R', 'I', 'F', 'F', 4, 0, 0, 0, 'A', 'P', 'R', 'G'};
    EXPECT_EQ(DetectData("lead.akp", akp), "akp - AKAI S5000/S6000 program (100%)");
    Put(akp, 8, "AMLT");
    EXPECT_EQ(DetectData("set.akm", akp), "akm - AKAI S5000/S6000 multi (100%)");
    Data image(4096, 0);
    EXPECT_EQ(DetectData("disk.akai", image), "akai - AKAI S-series disk image (55%)");
    image[24 * 3 + 5] = 200;
    EXPECT_EQ(RowScore(u"akai", u"AKAI S-series disk image", image), 0);
    Data chksys(32768, 0);
    EXPECT_EQ(RowScore(u"dmg", u"ChkSys AKAI S-series", chksys, 0xCE000), 2);
    EXPECT_EQ(RowScore(u"dmg", u"ChkSys AKAI S-series", chksys, 0xCE000 - 1), 0);
    EXPECT_EQ(RowScore(u"dmg", u"ChkSys AKAI S-series", chksys, 0x200001), 0);
}

// ---------------------------------------------------------------------------
// Text, XML and ZIP based formats

TEST(InstrumentDetection, SfzFilesFromSfizzAndTheRegionWindow) {
    const fs::path dir = test::DataDir() / "instruments/sfz";
    EXPECT_EQ(DetectFile(dir / "basic_hierarchy.sfz"), "sfz - SFZ instrument (77%)");
    EXPECT_EQ(DetectFile(dir / "kick.sfz"), "sfz - SFZ instrument (77%)");
    EXPECT_EQ(DetectFile(dir / "multiple_includes.sfz"), "sfz - SFZ instrument (55%)");
    std::string late(1016, ' ');
    EXPECT_EQ(RowScore(u"sfz", u"SFZ instrument", Text(late + "<region>")), 4);
    EXPECT_EQ(RowScore(u"sfz", u"SFZ instrument", Text(late + " <region>")), 2);
    EXPECT_EQ(DetectData("notes.txt", Text("<region> sample=a.wav")), "* - Unrecognized (0%)");
}

TEST(InstrumentDetection, KorgScriptsAndBanks) {
    EXPECT_EQ(DetectData("user.KSC", Text("#KORG Script Version 1.0\r\nPIANO.KMP\r\n")), "KSC - Korg script (100%)");
    EXPECT_EQ(RowScore(u"KSC", u"Korg script", Text("#KORG Script Version 1.0 \r\n")), 0);
    EXPECT_EQ(RowScore(u"KSC", u"Korg script", Text("#KORG Script Version 1.0")), 6);
    const std::pair<uint8_t, const char*> models[] = {
        {0x3B, "PCG - Korg Trinity bank (66%)"}, {0x50, "PCG - Korg Triton bank (66%)"},
        {0x63, "PCG - Korg Triton LE bank (66%)"}, {0x75, "PCG - Korg M3 bank (66%)"},
        {0x68, "PCG - Korg Kronos bank (66%)"},
    };
    for (const auto& [model, expected] : models) {
        Data pcg = {'K', 'O', 'R', 'G', model, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 'P', 'C', 'G', '1'};
        EXPECT_EQ(DetectData("bank", pcg), expected);
    }
    Data karma = {'K', 'O', 'R', 'G', 0x5D, 0, 0, 0};
    EXPECT_EQ(DetectData("karma.PCG", karma), "PCG - Korg Trinity bank (55%)");
    EXPECT_EQ(DetectData("karma", karma), "* - Unrecognized (0%)");
}

TEST(InstrumentDetection, XmlPresetsAndZippedInstruments) {
    const std::string prolog = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- made by hand -->\n";
    EXPECT_EQ(DetectData("piano.dspreset", Text(prolog + "<DecentSampler minVersion=\"1.0.0\">")),
              "dspreset - Decent Sampler Preset (100%)");
    EXPECT_EQ(DetectData("piano", Text(prolog + "<DecentSampler>")), "dspreset - Decent Sampler Preset (66%)");
    EXPECT_EQ(RowScore(u"dspreset", u"Decent Sampler Preset", Text(prolog + "<DecentSamplerX>")), 0);
    EXPECT_EQ(RowScore(u"dspreset", u"Decent Sampler Preset", Text("<!-- unterminated <DecentSampler>")), 0);
    EXPECT_EQ(DetectData("a.txprog", Text(prolog + "<tx:program xmlns:tx=\"http://www.tx16wx.com/3.0/program\">")),
              "txprog - Cwitec TX16Wx program (100%)");
    EXPECT_EQ(DetectData("a.txbank", Text(prolog + "<tx:bank xmlns:tx=\"http://www.tx16wx.com/3.0/bank\">")),
              "txbank - Cwitec TX16Wx bank (100%)");
    EXPECT_EQ(DetectData("kit.xpm", Text(prolog + "<MPCVObject>\n  <Version>")),
              "xpm - AKAI new MPC-line instrument (100%)");

    ASSERT_NO_FATAL_FAILURE(test::RequireTool("zip"));
    test::TempDir dir;
    fs::create_directories(dir / "lib/Samples");
    test::WriteFile(dir / "lib/Instrument.xml", prolog + "<RenoiseInstrument doc_version=\"34\">");
    test::WriteFile(dir / "lib/Piano.dspreset", prolog + "<DecentSampler>");
    test::WriteFile(dir / "lib/Samples/a.wav", Data(40000, 1));
    const std::string lib = test::Quote((dir / "lib").string());
    ASSERT_EQ(test::Run("cd " + lib + " && zip -q -X ../bell.xrni Instrument.xml Samples/a.wav"), 0);
    ASSERT_EQ(test::Run("cd " + lib + " && zip -q -X ../keys.dslibrary Piano.dspreset Samples/a.wav"), 0);
    ASSERT_EQ(test::Run("cd " + lib + " && zip -q -X -0 ../late.dslibrary Samples/a.wav Piano.dspreset"), 0);
    EXPECT_EQ(DetectFile(dir / "bell.xrni"), "xrni - Renoise instrument (100%)");
    EXPECT_EQ(DetectFile(dir / "keys.dslibrary"), "dslibrary - Decent Sampler Library (100%)");
    EXPECT_EQ(RowScore(u"xrni", u"Renoise instrument", ReadAll(dir / "keys.dslibrary")), 4);
    // The preset behind 40 KB of stored samples is out of sight: the
    // extension still names the library.
    EXPECT_EQ(DetectFile(dir / "late.dslibrary"), "dslibrary - Decent Sampler Library (77%)");
}

// ---------------------------------------------------------------------------
// Other samplers' magic numbers, and where a shared one lands

TEST(InstrumentDetection, MagicNumbersOfOtherSamplers) {
    // A head: these bytes at 0, the text at offset, zeros to size.
    auto head = [](std::initializer_list<uint8_t> start, size_t offset, const std::string& text, size_t size) {
        Data d(start);
        Put(d, offset, text);
        d.resize(std::max(size, d.size()));
        return d;
    };
    const std::string e3x("EMULATOR 3X    \0", 16), e3("EMULATOR THREE \0", 16), esi("EMU SI-32 v3   \0", 16);
    const Data container = head({0x40, 0, 0, 0, 0, 0, 0, 0, 1}, 12, "hsin", 64);
    const struct {
        const char* name;
        Data bytes;
        const char* expected;
    } cases[] = {
        {"strings.exs", head({1, 1}, 16, "TBOS", 84), "exs - Logic EXS24 instrument (100%)"},
        {"strings", head({0, 0, 1, 1}, 16, "SOBT", 84), "exs - Logic EXS24 instrument (66%)"},
        // One tag for three Kurzweil models: the extension picks the later ones.
        {"bank", head({}, 0, "PRAM", 64), "KRZ - Kurzweil K2000 file (66%)"},
        {"bank.K25", head({}, 0, "PRAM", 64), "K25 - Kurzweil K2500 (77%)"},
        {"strings", head({}, 0, e3x, 512), "e3x - E-mu Emulator IIIX bank file (66%)"},
        {"strings.esi", head({}, 0, e3x, 512), "esi - E-mu ESI-32 bank file (77%)"},
        {"strings", head({}, 0, e3, 512), "e3b - E-mu Emulator III bank file (66%)"},
        {"strings.eb3", head({}, 0, e3, 512), "eb3 - E-mu Emulator III bank file (100%)"},
        {"strings", head({}, 0, esi, 512), "esi - E-mu ESI-32 bank file (66%)"},
        // Kontakt: each generation's number in both byte orders; the shared
        // container of the later ones only by extension.
        {"a.nki", head({0xB3, 0x6E, 0xE5, 0x5E}, 0, "", 64), "nki - NI Kontakt v1 Instrument (100%)"},
        {"a.nki", head({0x5E, 0xE5, 0x6E, 0xB3}, 0, "", 64), "nki - NI Kontakt v1 Instrument (100%)"},
        {"a", head({0x7F, 0xA8, 0x90, 0x12}, 0, "", 64), "nki - NI Kontakt v2/3/4 Instrument (66%)"},
        {"a", head({0xA4, 0xD6, 0xE5, 0x5A}, 0, "", 64), "nkm - NI Kontakt v1 Multi (66%)"},
        {"a.nkm", head({0xAB, 0x85, 0xEF, 0x01}, 0, "", 64), "nkm - NI Kontakt v2/3/4 Multi (100%)"},
        {"a.nki", container, "nki - NI Kontakt v5/6/7 Instrument (77%)"},
        {"a.nkm", container, "nkm - NI Kontakt v5/6/7 Multi (77%)"},
        {"a", container, "* - Unrecognized (0%)"},
        {"library.X7L", head({}, 0, "YAMAHA-YSFC", 128), "X7L - Yamaha Montage library (77%)"},
        {"all.X0A", head({}, 0, "YAMAHA-YSFC", 128), "X0A - Yamaha Motif XS all (77%)"},
        {"wave.w01", head({}, 0, "LM8953", 64), "w01 - Yamaha TX16W wave (100%)"},
        {"sounds.vh", head({}, 0, "pBAV\x07", 2048), "vab - PlayStation bank (66%)"},
        {"kit", head({0x04, 0x2A}, 4, "MPC1000 PGM 1.00", 10756), "pgm - AKAI MPC1000 program (66%)"},
        {"kit.pgm", head({7, 4, 3, 0}, 0, "", 64), "pgm - AKAI MPC2000 program (77%)"},
        {"kit", head({7, 4, 3, 0}, 0, "", 64), "* - Unrecognized (0%)"},
        {"kick.snd", head({1, 4}, 2, "KICK 1          ", 142), "snd - AKAI MPC sample (77%)"},
    };
    for (const auto& c : cases) EXPECT_EQ(DetectData(c.name, c.bytes), c.expected) << c.name;
    // A control code in the sound's name.
    EXPECT_EQ(RowScore(u"snd", u"AKAI MPC sample", head({1, 4}, 2, "KI\aK 1          ", 142)), 0);
}

// ---------------------------------------------------------------------------
// Robustness: every cut of every head, through every detector of the table

TEST(InstrumentDetection, CutHeadsAreSafeAndNeverClaimedWhole) {
    InstallFormats();
    std::vector<Data> heads;
    for (const Head& h : TrackerAndFmHeads()) heads.push_back(h.bytes);
    Data sf2 = ReadAll(kSf2);
    heads.emplace_back(sf2.begin(), sf2.begin() + 512);
    heads.push_back(DlsCollection("DLS "));
    heads.push_back(KorgSample("CUT", 10));
    heads.push_back(S1000Sample(true));
    for (const Data& head : heads) {
        for (size_t n = 0; n <= head.size(); ++n) {
            // A copy of exactly n bytes, so a read past it is a read past the buffer.
            std::unique_ptr<uint8_t[]> cut(new uint8_t[n ? n : 1]);
            if (n) std::memcpy(cut.get(), head.data(), n);
            for (int row = 0; row < formatCount; ++row) {
                const FormatEntry* e = formatRow(row);
                if (!e->detect) continue;
                int score = e->detect(cut.get(), e->param, n, n, row);
                EXPECT_GE(score, 0);
                EXPECT_LE(score, 6);
            }
        }
    }
    // Eight bytes hold none of these signatures whole.
    for (const Data& head : {heads[0], heads[3], heads[4], heads[8], heads[9], heads[11]}) {
        Data eight(head.begin(), head.begin() + 8);
        for (const auto& r : kBound) EXPECT_LT(RowScore(r[0], r[1], eight, head.size()), 6) << WideToUtf8(r[1]);
    }
}

} // namespace
} // namespace vaxel
