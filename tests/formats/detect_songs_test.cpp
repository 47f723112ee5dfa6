// Detection of the song, sequence, tracker module and ZIP rows: real files
// from other projects' test suites, files made here with mido, Python's
// zipfile and sox, heads built from the published layouts for the formats no
// test suite provides, and damaged or truncated input.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "fileio/file_object.h"
#include "fileio/format_table.h"
#include "formats/install.h"
#include "model/text.h"
#include "support/test_support.h"

namespace vaxel {
namespace {

namespace fs = std::filesystem;

struct Result {
    std::string extension;
    std::string description;
    int confidence = -1;
};

std::ostream& operator<<(std::ostream& os, const Result& r) {
    return os << r.extension << " \"" << r.description << "\" " << r.confidence << "%";
}

Result Describe(int row, int confidence) {
    return {WideToUtf8(extensionOf(row)), WideToUtf8(descriptionOf(row)), confidence};
}

Result DetectPath(const fs::path& path) {
    InstallFormats();
    FileObject file;
    EXPECT_TRUE(file.Open(path, FileObject::kRead)) << path;
    int confidence = -1;
    int row = detectFormat(path, file, &confidence);
    return Describe(row, confidence);
}

Result DetectBytes(const std::string& name, const std::vector<uint8_t>& bytes, uint64_t fileSize = 0) {
    InstallFormats();
    int confidence = -1;
    int row = detectFormatInBuffer(Utf8ToWide(name), bytes.data(), bytes.size(),
                                   fileSize ? fileSize : bytes.size(), &confidence);
    return Describe(row, confidence);
}

std::vector<uint8_t> Bytes(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

void Put(std::vector<uint8_t>& v, size_t at, const std::string& text) {
    if (v.size() < at + text.size()) v.resize(at + text.size());
    std::memcpy(v.data() + at, text.data(), text.size());
}

void PutLe16(std::vector<uint8_t>& v, size_t at, unsigned value) {
    Put(v, at, std::string{char(value & 0xFF), char(value >> 8 & 0xFF)});
}

void PutLe32(std::vector<uint8_t>& v, size_t at, uint32_t value) {
    PutLe16(v, at, value & 0xFFFF);
    PutLe16(v, at + 2, value >> 16);
}

// The rows this group binds.
const std::pair<const char16_t*, const char16_t*> kBound[] = {
    {u"mid", u"Standard MIDI file (SMF)"},
    {u"rmi", u"RIFF-MIDI (DLS optional)"},
    {u"xmi", u"MSS extended MIDI"},
    {u"zip", u"ZIP archive"},
    {u"mod", u"Tracker module"},
    {u"xm", u"Fast Tracker 2 module"},
    {u"it", u"Impulse Tracker module"},
    {u"s3m", u"ScreamTracker v3 module"},
    {u"stm", u"ScreamTracker v2 module"},
    {u"669", u"669 module"},
    {u"ams", u"Extreme Tracker module"},
    {u"ams", u"Velvet Studio module"},
    {u"dmf", u"XTracker module"},
    {u"dsm", u"Digital Sound Module"},
    {u"dtm", u"DigiTrekker module"},
    {u"dcm", u"DCM module"},
    {u"far", u"Farandole module"},
    {u"f2r", u"Farandole linear module"},
    {u"f3r", u"Farandole blocked linear module"},
    {u"fnk", u"FunkTracker module"},
    {u"gdm", u"Bells, Whistles, Sound Boards module"},
    {u"mdl", u"Digitrakker module"},
    {u"med", u"OctaMED module"},
    {u"mt2", u"MadTracker 2 module"},
    {u"mtm", u"MultiTracker module"},
    {u"okt", u"Oktalyzer module"},
    {u"plm", u"DisorderTracker2 module"},
    {u"psm", u"Protracker Studio module"},
    {u"ptm", u"Poly Tracker module"},
    {u"ult", u"UltraTracker module"},
    {u"uni", u"MikMod Unimod"},
    {u"umx", u"Unreal Tournament music"},
    {u"cmf", u"Creative Labs music"},
    {u"rol", u"AdLib Visual Composer song"},
    {u"imf", u"id Software Music Format (560Hz)"},
    {u"wlf", u"iD music (700Hz)"},
    {u"dro", u"DOSBox Raw OP"},
    {u"raw", u"Rdos Raw OPL capture"},
    {u"mus", u"Doom/Heretic music"},
    {u"mmf", u"Synthetic music mobile"},
    {u"mld", u"i-Melody"},
    {u"seq", u"PlayStation music"},
    {u"sq", u"PlayStation 2 SCEI sequence"},
    {u"hd", u"PlayStation 2 SCEI set"},
    {u"wrk", u"CakeWalk work"},
    {u"kdt", u"Konami KDT1 song"},
    {u"emy", u"EMelody ring-tone"},
    {u"imy", u"iMelody ring-tone format"},
    {u"txt", u"Nokring ring-tone"},
};

// Whether a result is one of those rows (other groups' rows may still take
// the look-alikes below; they only must not land here).
bool IsSongsRow(const Result& r) {
    for (const auto& [ext, desc] : kBound)
        if (r.description == WideToUtf8(desc) && r.extension == WideToUtf8(ext)) return true;
    return false;
}

// A real file, where it should land, and the first offset behind the bytes
// its detection needs (a shorter head must not be taken for it).
struct RealFile {
    const char* path;
    const char* extension;
    const char* description;
    int confidence;
    size_t magicEnd;
};

const RealFile kRealFiles[] = {
    {"tracker/669/play_669_low_freq.669", "669", "669 module", 77, 0x1F1},
    {"tracker/far/far_effect1.far", "far", "Farandole module", 100, 4},
    {"tracker/it/libxmp_test.it", "it", "Impulse Tracker module", 100, 4},
    {"tracker/it/openmpt_test.mptm", "it", "Impulse Tracker module", 66, 4},
    {"tracker/mdl/period.mdl", "mdl", "Digitrakker module", 100, 4},
    {"tracker/med/finetune.med", "med", "OctaMED module", 100, 4},
    {"tracker/med/med3_compat_tempo.med", "med", "OctaMED module", 100, 4},
    {"tracker/med/med_synth.med", "med", "OctaMED module", 100, 4},
    {"tracker/mod/ode2ptk_mk.mod", "mod", "Tracker module", 100, 1084},
    {"tracker/mod/2chn.mod", "mod", "Tracker module", 100, 1084},
    {"tracker/mod/tdz3_3chn.mod", "mod", "Tracker module", 100, 1084},
    {"tracker/mod/taglib_test.mod", "mod", "Tracker module", 100, 1084},
    {"tracker/mod/octalyser_cd61.mod", "mod", "Tracker module", 100, 1084},
    {"tracker/mod/chiptracker_kris.mod", "mod", "Tracker module", 77, 956},
    {"tracker/mod/soundtracker15.mod", "mod", "Tracker module", 55, 600},
    {"tracker/mtm/pattern_jump_mtm_break.mtm", "mtm", "MultiTracker module", 100, 4},
    {"tracker/okt/okt_small.okt", "okt", "Oktalyzer module", 100, 8},
    {"tracker/psm/masi_new_psm.psm", "psm", "Protracker Studio module", 100, 12},
    {"tracker/psm/masi16_invalid.psm", "psm", "Protracker Studio module", 100, 4},
    {"tracker/ptm/pattern_loop_ptm.ptm", "ptm", "Poly Tracker module", 100, 48},
    {"tracker/s3m/schism_saved.s3m", "s3m", "ScreamTracker v3 module", 100, 48},
    // Its instrument slots are all empty: no SCRS/SCRI, so "SCRM" alone.
    {"tracker/s3m/taglib_test.s3m", "s3m", "ScreamTracker v3 module", 77, 48},
    {"tracker/stm/bad_note_toneporta.stm", "stm", "ScreamTracker v2 module", 100, 31},
    {"tracker/ult/ult_v000.ult", "ult", "UltraTracker module", 100, 14},
    {"tracker/xm/milkytracker_saved.xm", "xm", "Fast Tracker 2 module", 100, 17},
    {"tracker/other/small.gdm", "gdm", "Bells, Whistles, Sound Boards module", 100, 4},
    {"songs/midi/jazzsoft/test-2-tracks-type-0.mid", "mid", "Standard MIDI file (SMF)", 100, 4},
    {"songs/midi/jazzsoft/test-2-tracks-type-1.mid", "mid", "Standard MIDI file (SMF)", 100, 4},
    {"songs/midi/jazzsoft/test-2-tracks-type-2.mid", "mid", "Standard MIDI file (SMF)", 100, 4},
    {"songs/midi/jazzsoft/test-empty.mid", "mid", "Standard MIDI file (SMF)", 100, 4},
    {"songs/midi/jazzsoft/test-non-midi-track.mid", "mid", "Standard MIDI file (SMF)", 100, 4},
    {"songs/xmi/hsd_header.xmi", "xmi", "MSS extended MIDI", 100, 12},
    {"songs/xmi/hsd_header_no_xdir.xmi", "xmi", "MSS extended MIDI", 100, 12},
};

TEST(DetectSongs, RealFilesLandOnTheirRows) {
    for (const RealFile& f : kRealFiles) {
        Result r = DetectPath(test::DataDir() / f.path);
        EXPECT_EQ(r.extension, f.extension) << f.path << ": " << r;
        EXPECT_EQ(r.description, f.description) << f.path << ": " << r;
        EXPECT_EQ(r.confidence, f.confidence) << f.path << ": " << r;
    }
}

// Files of other formats, broken files and look-alikes: none may be taken for
// one of this group's rows, whatever their extension says.
TEST(DetectSongs, LookAlikesAndBrokenFilesAreNotClaimed) {
    const char* kPaths[] = {
        "songs/midi/jazzsoft/test-not-a-midi-file.mid", // 15 bytes of text
        "tracker/xm/taglib_stripped.xm",                // the XM head zeroed
        "tracker/imf/finefx_imf.imf",                   // Imago Orpheus, not id Software
        "tracker/other/dtm_2015.dtm",                   // Atari Digital Tracker, not DigiTrekker
        "tracker/mod/flt4_startrekker_am.mod.nt",       // StarTrekker companion data
        "tracker/other/dsmi_pan.amf",
        "tracker/other/dbm_smpl_setpan.dbm",
        "tracker/other/gal4_smpl_setpan.j2b",
        "tracker/other/rtm_misc.rtm",
        "tracker/other/liq_smpl_setpan.liq",
        "tracker/other/xmf_double_toneporta.xmf",
        "songs/syx/jazzsoft_id-request.syx",            // SysEx belongs to the instrument rows
    };
    for (const char* path : kPaths) {
        Result r = DetectPath(test::DataDir() / path);
        EXPECT_FALSE(IsSongsRow(r)) << path << ": " << r;
    }
}

TEST(DetectSongs, UniqueMagicSurvivesAWrongOrMissingExtension) {
    for (const RealFile& f : kRealFiles) {
        if (f.confidence != 100) continue;
        std::vector<uint8_t> bytes = test::ReadFile(test::DataDir() / f.path);
        if (bytes.size() > 32768) bytes.resize(32768);
        uint64_t size = fs::file_size(test::DataDir() / f.path);
        for (const char* name : {"renamed.wav", "NOEXT"}) {
            Result r = DetectBytes(name, bytes, size);
            EXPECT_EQ(r.description, f.description) << f.path << " as " << name << ": " << r;
            EXPECT_EQ(r.confidence, 66) << f.path << " as " << name << ": " << r;
        }
    }
    // The weaker signatures alone lose to row 0 without their extension.
    for (const char* path : {"tracker/669/play_669_low_freq.669", "tracker/mod/soundtracker15.mod"}) {
        Result r = DetectBytes("NOEXT", test::ReadFile(test::DataDir() / path));
        EXPECT_FALSE(IsSongsRow(r)) << path << ": " << r;
    }
}

// Every prefix of every real file: no crash, no read beyond the buffer (the
// sanitizer build checks that), and a head that ends before the bytes the
// detection needs is not taken for the format.
TEST(DetectSongs, TruncatedHeadsAreSafeAndNotClaimed) {
    for (const RealFile& f : kRealFiles) {
        std::vector<uint8_t> bytes = test::ReadFile(test::DataDir() / f.path);
        size_t limit = std::min<size_t>(bytes.size(), 1200);
        for (size_t n = 0; n <= limit; n += (n < 64 ? 1 : 7)) {
            std::vector<uint8_t> head(bytes.begin(), bytes.begin() + n);
            Result r = DetectBytes("head.bin", head, n);
            if (n < f.magicEnd) {
                EXPECT_NE(r.description, f.description) << f.path << " cut to " << n << ": " << r;
            }
            // The same head of a file that claims to be longer.
            DetectBytes("head.bin", head, bytes.size());
        }
    }
}

// A SysEx dump, random bytes and text named .mod: the tag-less MOD test must
// not take them.
TEST(DetectSongs, ModPlausibilityDoesNotStealArbitraryFiles) {
    std::vector<uint8_t> noise(4096);
    uint32_t state = 12345;
    for (uint8_t& byte : noise) {
        state = state * 1664525u + 1013904223u;
        byte = uint8_t(state >> 24);
    }
    std::string text;
    while (text.size() < 4096) text += "The quick brown fox jumps over the lazy dog.\r\n";
    std::vector<uint8_t> zeros(4096, 0);
    for (const auto& bytes : {noise, Bytes(text), zeros}) {
        Result r = DetectBytes("song.mod", bytes);
        EXPECT_NE(r.description, "Tracker module") << r;
    }
    // Modules of other kinds named .mod stay what they are.
    for (const char* path : {"tracker/s3m/schism_saved.s3m", "tracker/mtm/pattern_jump_mtm_break.mtm",
                             "tracker/other/rtm_misc.rtm", "tracker/other/dbm_smpl_setpan.dbm"}) {
        Result r = DetectBytes("song.mod", test::ReadFile(test::DataDir() / path));
        EXPECT_NE(r.description, "Tracker module") << path << ": " << r;
    }
    // A tag-less module whose orders use more patterns than the file holds.
    std::vector<uint8_t> st = test::ReadFile(test::DataDir() / "tracker/mod/soundtracker15.mod");
    st[472] = 5;
    EXPECT_NE(DetectBytes("song.mod", st).description, "Tracker module");
}

// SMF formats 0, 1 and 2 written by mido (with running status), an RMID
// wrapped around one by hand from the RIFF layout, and a WAVE from sox that
// the RIFF-based song rows must leave alone.
TEST(DetectSongs, MidoFilesAndTheirRiffWrapper) {
    test::RequireTool("/usr/bin/python3");
    test::RequireTool("sox");
    test::TempDir dir;
    ASSERT_EQ(test::Run("/usr/bin/python3 -c 'import mido'"), 0) << "python3-mido is needed; ./test.sh installs it";
    test::WriteFile(dir / "make.py", std::string(R"PY(
import struct, sys, mido
out = sys.argv[1]
def song(kind, tracks):
    f = mido.MidiFile(type=kind, ticks_per_beat=96)
    for t in range(tracks):
        track = mido.MidiTrack()
        f.tracks.append(track)
        track.append(mido.MetaMessage('track_name', name='Part %d' % t, time=0))
        for n in range(8):
            track.append(mido.Message('note_on', channel=t, note=60 + n, velocity=90, time=24))
            track.append(mido.Message('note_on', channel=t, note=60 + n, velocity=0, time=24))
    return f
song(0, 1).save(out + '/format0.mid')
song(1, 3).save(out + '/format1.mid')
song(2, 2).save(out + '/format2.mid')
smf = open(out + '/format1.mid', 'rb').read()
data = b'data' + struct.pack('<I', len(smf)) + smf + (b'\0' if len(smf) % 2 else b'')
open(out + '/song.rmi', 'wb').write(b'RIFF' + struct.pack('<I', 4 + len(data)) + b'RMID' + data)
open(out + '/rmid-named.mid', 'wb').write(b'RIFF' + struct.pack('<I', 4 + len(data)) + b'RMID' + data)
open(out + '/smf-named.wav', 'wb').write(smf)
)PY"));
    std::string output;
    ASSERT_EQ(test::Run("/usr/bin/python3 " + test::Quote((dir / "make.py").string()) + " " +
                            test::Quote(dir.path().string()),
                        &output, true),
              0)
        << output;
    for (const char* name : {"format0.mid", "format1.mid", "format2.mid"}) {
        Result r = DetectPath(dir / name);
        EXPECT_EQ(r.description, "Standard MIDI file (SMF)") << name << ": " << r;
        EXPECT_EQ(r.confidence, 100) << name;
    }
    Result rmi = DetectPath(dir / "song.rmi");
    EXPECT_EQ(rmi.description, "RIFF-MIDI (DLS optional)") << rmi;
    EXPECT_EQ(rmi.confidence, 100);
    // The wrapper's magic beats the .mid extension, and a bare SMF called
    // .wav is still a MIDI file.
    Result wrapped = DetectPath(dir / "rmid-named.mid");
    EXPECT_EQ(wrapped.description, "RIFF-MIDI (DLS optional)") << wrapped;
    EXPECT_EQ(wrapped.confidence, 66);
    Result smf = DetectPath(dir / "smf-named.wav");
    EXPECT_EQ(smf.description, "Standard MIDI file (SMF)") << smf;
    EXPECT_EQ(smf.confidence, 66);

    ASSERT_EQ(test::Run("sox -n -r 8000 -c 1 -b 16 -t wav " + test::Quote((dir / "tone.rmi").string()) +
                        " synth 0.1 sine 440 2>&1"),
              0);
    std::vector<uint8_t> wave = test::ReadFile(dir / "tone.rmi");
    test::WriteFile(dir / "tone.wav", wave);
    for (const char* name : {"tone.rmi", "tone.wav"}) {
        Result r = DetectPath(dir / name);
        EXPECT_NE(r.description, "RIFF-MIDI (DLS optional)") << name << ": " << r;
        EXPECT_NE(r.description, "Digital Sound Module") << name << ": " << r;
    }
}

// Archives from Python's zipfile: one with a stored and a deflated member,
// and an empty one (only the end-of-central-directory record).
TEST(DetectSongs, ZipArchivesFromPython) {
    test::RequireTool("/usr/bin/python3");
    test::TempDir dir;
    std::string script = "import zipfile, sys\n"
                         "d = sys.argv[1]\n"
                         "with zipfile.ZipFile(d + '/a.zip', 'w') as z:\n"
                         "    z.writestr('song.mid', b'MThd' * 64, zipfile.ZIP_DEFLATED)\n"
                         "    z.writestr('notes.txt', 'hello', zipfile.ZIP_STORED)\n"
                         "zipfile.ZipFile(d + '/empty.zip', 'w').close()\n";
    test::WriteFile(dir / "make.py", script);
    ASSERT_EQ(test::Run("/usr/bin/python3 " + test::Quote((dir / "make.py").string()) + " " +
                        test::Quote(dir.path().string())),
              0);
    for (const char* name : {"a.zip", "empty.zip"}) {
        Result r = DetectPath(dir / name);
        EXPECT_EQ(r.description, "ZIP archive") << name << ": " << r;
        EXPECT_EQ(r.confidence, 100) << name;
    }
    std::vector<uint8_t> zip = test::ReadFile(dir / "a.zip");
    EXPECT_EQ(DetectBytes("archive", zip).confidence, 66);
    // A head cut inside the first word is nothing.
    EXPECT_FALSE(IsSongsRow(DetectBytes("archive", std::vector<uint8_t>(zip.begin(), zip.begin() + 3))));
}

// Formats no test suite provides a file of: heads built from their published
// layouts. Rows sharing an extension (ams, mus, raw, txt, svq) must part by
// content.
struct BuiltHead {
    const char* name;
    std::vector<uint8_t> bytes;
    const char* description;
    int confidence;
};

std::vector<uint8_t> UnrealPackage(unsigned version, const char* className) {
    std::vector<uint8_t> v(64, 0);
    PutLe32(v, 0, 0x9E2A83C1u);
    PutLe16(v, 4, version);
    PutLe32(v, 12, 3);  // names
    PutLe32(v, 16, 64); // name table offset
    size_t at = 64;
    for (const char* name : {"None", className, "Engine"}) {
        std::string text(name);
        if (version >= 64) Put(v, at++, std::string(1, char(text.size() + 1)));
        Put(v, at, text + std::string(5, '\0')); // terminator and flags
        at += text.size() + 5;
    }
    return v;
}

std::vector<uint8_t> IdMusic() {
    // Type 1: data length, then register/value/delay records.
    std::vector<uint8_t> v;
    const uint8_t regs[] = {0x00, 0x20, 0x40, 0x60, 0x80, 0xE0, 0x23, 0x43, 0x63, 0x83, 0xE3,
                            0xC0, 0xA0, 0xB0, 0xBD, 0xA0, 0xB0, 0x01, 0x08, 0xB0};
    PutLe16(v, 0, sizeof regs * 4);
    for (size_t i = 0; i < sizeof regs; ++i)
        Put(v, 2 + i * 4, std::string{char(regs[i]), char(0x21 + i), char(i % 3), 0});
    return v;
}

std::vector<uint8_t> Rol(bool signature) {
    std::vector<uint8_t> v(260, 0);
    PutLe16(v, 2, 4);
    if (signature) Put(v, 4, std::string("\\roll\\default") + '\0');
    PutLe16(v, 44, 4);
    PutLe16(v, 46, 4);
    v[53] = 1;
    Put(v, 182, std::string(signature ? "Tempo" : "Speed") + '\0');
    return v;
}

std::vector<uint8_t> Scei(const char* second) {
    std::vector<uint8_t> v(64, 0);
    Put(v, 0, "IECSsreV");
    PutLe32(v, 8, 16);
    Put(v, 16, second);
    return v;
}

std::vector<uint8_t> DigiTrekker() {
    std::vector<uint8_t> v;
    Put(v, 0, "VERS");
    PutLe32(v, 4, 4);
    PutLe32(v, 8, 0x300);
    Put(v, 12, "SONG");
    PutLe32(v, 16, 8);
    Put(v, 20, std::string(8, '\0'));
    return v;
}

TEST(DetectSongs, HeadsBuiltFromPublishedLayouts) {
    std::vector<uint8_t> filler(64, 0x11);
    auto head = [&](const std::string& start) {
        std::vector<uint8_t> v = filler;
        Put(v, 0, start);
        return v;
    };
    std::vector<uint8_t> mld = head("melo");
    Put(mld, 4, std::string("\0\0\1\0", 4));
    std::vector<uint8_t> f3r = head("F3RXYZ");
    Put(f3r, 38, "HEAD");
    const BuiltHead kHeads[] = {
        {"a.ams", head("Extreme"), "Extreme Tracker module", 100},
        {"a.ams", head("AMShdr\x1A"), "Velvet Studio module", 100},
        {"a.dmf", head("DDMF"), "XTracker module", 100},
        {"a.dsm", head(std::string("RIFF\x40\0\0\0DSMF", 12)), "Digital Sound Module", 100},
        {"a.dcm", head("WUFFDCMw"), "DCM module", 100},
        {"a.f2r", head("F2RFAR"), "Farandole linear module", 100},
        {"a.f2r", head("F2RXYZ"), "Farandole linear module", 77},
        {"a.f3r", f3r, "Farandole blocked linear module", 100},
        {"a.fnk", head("Funk"), "FunkTracker module", 77},
        {"a.mt2", head("MT20"), "MadTracker 2 module", 100},
        {"a.plm", head("PLM\x1A"), "DisorderTracker2 module", 100},
        {"a.uni", head("UN06"), "MikMod Unimod", 100},
        {"a.it", head("ziRCONia"), "Impulse Tracker module", 77},
        {"a.dtm", DigiTrekker(), "DigiTrekker module", 55},
        {"a.umx", UnrealPackage(69, "Music"), "Unreal Tournament music", 100},
        {"a.umx", UnrealPackage(61, "Music"), "Unreal Tournament music", 100},
        {"x.bin", UnrealPackage(128, "Music"), "Unreal Tournament music", 66},
        {"a.cmf", head("CTMF"), "Creative Labs music", 100},
        {"a.rol", Rol(true), "AdLib Visual Composer song", 100},
        {"a.rol", Rol(false), "AdLib Visual Composer song", 55},
        {"a.mus", head("MUS\x1A"), "Doom/Heretic music", 100},
        {"a.imf", IdMusic(), "id Software Music Format (560Hz)", 55},
        {"a.wlf", IdMusic(), "iD music (700Hz)", 55},
        {"a.dro", head("DBRAWOPL"), "DOSBox Raw OP", 100},
        {"a.raw", head("RAWADATA"), "Rdos Raw OPL capture", 100},
        {"a.mmf", head("MMMD"), "Synthetic music mobile", 100},
        {"a.mld", mld, "i-Melody", 100},
        {"a.seq", head("pQES"), "PlayStation music", 100},
        {"a.sq", Scei("IECSuqeS"), "PlayStation 2 SCEI sequence", 100},
        {"a.hd", Scei("IECSdaeH"), "PlayStation 2 SCEI set", 100},
        {"a.sq", Scei("IECSdaeH"), "PlayStation 2 SCEI set", 66}, // the second chunk decides
        {"a.wrk", head("CAKEWALK\x1A"), "CakeWalk work", 100},
        {"a.kdt", head("KDT1"), "Konami KDT1 song", 100},
        {"a.emy", Bytes("BEGIN:EMELODY\r\nVERSION:1.0\r\nMELODY:+f+a+fa(b)\r\nEND:EMELODY\r\n"),
         "EMelody ring-tone", 100},
        {"a.imy", Bytes("\xEF\xBB\xBF\r\nbegin:imelody\r\nVERSION:1.2\r\nBEAT:120\r\nMELODY:c5d5\r\nEND:IMELODY\r\n"),
         "iMelody ring-tone format", 100},
        {"a.txt", Bytes("Axel F:d=4,o=5,b=125:8g,8a#.,16g,16p,16g,8c6,8g,8f,8g,8d.6,16g,16p,16g,8d#6\r\n"),
         "Nokring ring-tone", 55},
    };
    for (const BuiltHead& h : kHeads) {
        Result r = DetectBytes(h.name, h.bytes);
        EXPECT_EQ(r.description, h.description) << h.name << ": " << r;
        EXPECT_EQ(r.confidence, h.confidence) << h.name << " (" << h.description << "): " << r;
    }
}

TEST(DetectSongs, NearMissesOfBuiltHeadsAreRefused) {
    const std::pair<const char*, std::vector<uint8_t>> kMisses[] = {
        // A text that happens to open with the MFi word.
        {"a.mld", Bytes("melody of the night, a text file\n")},
        // Texts that are not ring-tones.
        {"a.txt", Bytes("Dear diary: today: I went out.\n")},
        {"a.txt", Bytes("name:d=4,o=5,b=125:this is no melody\n")},
        {"a.emy", Bytes("BEGIN:VCARD\r\nEND:VCARD\r\n")},
        // Unreal packages of other kinds, and a later engine's .uasset head.
        {"a.umx", UnrealPackage(69, "Texture")},
        {"a.umx", UnrealPackage(69, "Sound")},
        {"a.umx", [] {
             std::vector<uint8_t> v = UnrealPackage(69, "Music");
             PutLe32(v, 4, 0xFFFFFFF9u);
             return v;
         }()},
        // A PS2 head of another kind, an ROL of another version, an IMF with a
        // register no OPL2 has, and a DigiTrekker chunk walk without SONG.
        {"a.sq", Scei("IECSgnoS")},
        {"a.rol", [] {
             std::vector<uint8_t> v = Rol(true);
             PutLe16(v, 2, 5);
             return v;
         }()},
        {"a.imf", [] {
             std::vector<uint8_t> v = IdMusic();
             v[2 + 5 * 4] = 0x36;
             return v;
         }()},
        {"a.dtm", [] {
             std::vector<uint8_t> v = DigiTrekker();
             Put(v, 12, "SNGX");
             return v;
         }()},
    };
    for (const auto& [name, bytes] : kMisses) {
        Result r = DetectBytes(name, bytes);
        EXPECT_FALSE(IsSongsRow(r)) << name << ": " << r;
    }
}

// Every row of the group: bound ones carry only a detector (readers and
// writers come later), the rows without a documented layout carry nothing.
TEST(DetectSongs, RowsAreBoundAsDetectorsOnly) {
    InstallFormats();
    for (const auto& [ext, desc] : kBound) {
        int row = findFormatRow(ext, desc);
        ASSERT_GE(row, 0) << WideToUtf8(desc);
        const FormatEntry* e = formatRow(row);
        EXPECT_NE(e->detect, nullptr) << WideToUtf8(desc);
        // The SMF rows have their reader (and writers) already.
        if (std::u16string_view(ext) == u"mid" || std::u16string_view(ext) == u"rmi") {
            EXPECT_NE(e->read, nullptr) << WideToUtf8(desc);
            continue;
        }
        EXPECT_EQ(e->read, nullptr) << WideToUtf8(desc);
        EXPECT_EQ(e->write, nullptr) << WideToUtf8(desc);
    }
    // No published layout found yet: no routine at all.
    const std::pair<const char16_t*, const char16_t*> kUnbound[] = {
        {u"svq", u"Roland Sequencer v0"},      {u"svq", u"Roland Sequencer v1"},
        {u"svq", u"Roland Sequencer v2"},      {u"svq", u"Roland Sequencer v3"},
        {u"svq", u"Roland Sequencer v4"},      {u"svq", u"Roland Sequencer 'STcf'"},
        {u"svq", u"Roland Sequencer 'RSVQ'"},  {u"smd", u"J-Phone / SmdEd song"},
        {u"mls", u"Miles Sound System"},       {u"emd", u"ABT extended module"},
    };
    for (const auto& [ext, desc] : kUnbound) {
        int row = findFormatRow(ext, desc);
        ASSERT_GE(row, 0) << WideToUtf8(desc);
        const FormatEntry* e = formatRow(row);
        EXPECT_EQ(e->detect, nullptr) << WideToUtf8(desc);
        EXPECT_EQ(e->read, nullptr) << WideToUtf8(desc);
        EXPECT_EQ(e->write, nullptr) << WideToUtf8(desc);
    }
}

} // namespace
} // namespace vaxel
