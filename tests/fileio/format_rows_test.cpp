// The data of the format table: item masks, coding masks and params checked
// for the slips that hand entry makes, across rows and against the rows'
// own descriptions.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "fileio/format_rows.h"

namespace vaxel {
namespace {

constexpr int kRows = int(sizeof kFormatRowData / sizeof kFormatRowData[0]);
constexpr uint32_t kMono = 1u << 20, kStereo = 1u << 21, kSplit = 1u << 22;
constexpr uint32_t kCompressed = 1u << 17, kText = 1u << 18, kMidi = 1u << 19;
constexpr uint32_t kCodings = (1u << 20) - 1;
constexpr uint32_t kSwapFlag = 0x2000000, kUnsignedFlag = 0x1000000;

// Extensions and descriptions are plain ASCII.
std::string Ascii(const char16_t* s) {
    std::string out;
    for (; *s; ++s) out += char(*s);
    return out;
}
std::string Ext(int row) {
    return Ascii(kFormatRowData[row].extension);
}
std::string Desc(int row) {
    return Ascii(kFormatRowData[row].description);
}
bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Rows by extension, exact case, as the save flow groups a read row with its
// writers.
std::map<std::string, std::vector<int>> RowsByExtension() {
    std::map<std::string, std::vector<int>> groups;
    for (int row = 0; row < kRows; ++row) groups[Ext(row)].push_back(row);
    return groups;
}

TEST(FormatRows, CountsAndOrder) {
    ASSERT_EQ(kRows, 559);
    int readers = 0, writers = 0;
    for (const FormatRowData& d : kFormatRowData) {
        readers += d.reads;
        writers += d.writes;
    }
    EXPECT_EQ(readers, 427);
    EXPECT_EQ(writers, 268);
    // Only row 0 is the catch-all, and it reads.
    EXPECT_EQ(Ext(0), "*");
    EXPECT_TRUE(kFormatRowData[0].reads);
    // The table is sorted by the extension's first character, case ignored;
    // within a letter, variants stand beside the row they belong to ("dvd-24-192"
    // before "dewf", "wa!" after "wav"), so only the first character is ordered.
    for (int row = 1; row < kRows; ++row) {
        EXPECT_NE(Ext(row), "*") << row;
        EXPECT_LE(std::tolower(Ext(row - 1)[0]), std::tolower(Ext(row)[0])) << row;
    }
}

TEST(FormatRows, TellingRowsAreExact) {
    struct Telling {
        int row;
        const char* ext;
        uint8_t item;
        uint32_t coding, param;
    };
    const Telling telling[] = {
        {0, "*", 0x01, 0, 0},
        {3, "3gp", 0x01, 0x120000, 0x1408},
        {9, "aac", 0x01, 0x320000, 0},
        {15, "aif", 0x01, 0x300035, 0},
        {49, "cmf", 0xC0, 0, 0},
        {66, "dls", 0x91, 0x100005, 1},
        {68, "dls", 0x91, 0x502375, 3},
        {224, "KRZ", 0xD1, 0x300004, 0},
        {246, "mid", 0x60, 0x80000, 0},
        {258, "mp3", 0x01, 0x320000, 0},
        {321, "PCG", 0x90, 0x500005, 0x3B},
        {395, "sf2", 0x91, 0x500014, 0},
        {397, "sf3", 0x91, 0x520014, 3},
        {451, "txt", 0xF3, 0x40000, 0},
        {495, "wav", 0x01, 0x327F75, 0},
        {558, "zip", 0x00, 0, 0},
    };
    for (const Telling& t : telling) {
        const FormatRowData& d = kFormatRowData[t.row];
        EXPECT_EQ(Ext(t.row), t.ext) << t.row;
        EXPECT_EQ(d.itemMask, t.item) << t.row;
        EXPECT_EQ(d.codingMask, t.coding) << t.row;
        EXPECT_EQ(d.param, t.param) << t.row;
    }
}

TEST(FormatRows, ItemMasksComeFromTheKnownSet) {
    const std::set<int> allowed = {0x01, 0x10, 0x11, 0x40, 0x60, 0x80, 0x90, 0x91, 0xC0, 0xD1, 0xF3};
    for (int row = 0; row < kRows; ++row) {
        const FormatRowData& d = kFormatRowData[row];
        if (row == 558) {
            EXPECT_EQ(d.itemMask, 0) << "the ZIP archive is offered to no item filter";
            continue;
        }
        EXPECT_TRUE(allowed.count(d.itemMask)) << row << " " << Desc(row) << " has " << int(d.itemMask);
        // Only the text description takes synthesis models.
        if (d.itemMask & 0x02) {
            EXPECT_EQ(Desc(row), "Ascii text parameter descriptions");
        }
    }
}

TEST(FormatRows, CodingMasksFitTheirRows) {
    for (int row = 0; row < kRows; ++row) {
        const FormatRowData& d = kFormatRowData[row];
        const uint32_t c = d.codingMask;
        SCOPED_TRACE(std::to_string(row) + " " + Ext(row) + " " + Desc(row));
        if (!d.writes) {
            EXPECT_EQ(c, 0u) << "a row without a writer takes no codings";
            continue;
        }
        EXPECT_NE(c & kCodings, 0u) << "a writer takes at least one coding";
        EXPECT_EQ(c >> 23, 0u) << "only bits 0 to 22 have a meaning";
        const bool eventsOrText = (c & kCodings & ~(kMidi | kText)) == 0;
        if (!eventsOrText) {
            EXPECT_NE(c & (kMono | kStereo | kSplit), 0u) << "sample data needs a channel form";
        }
        // Stereo as two mono waves is the alternative to holding stereo.
        if (c & kSplit) {
            EXPECT_TRUE(c & kMono);
            EXPECT_FALSE(c & kStereo);
        }
        // Events mean songs, and a wave-only format stores neither events
        // nor lines of parameters.
        if (c & kMidi) {
            EXPECT_TRUE(d.itemMask & 0x40);
        }
        if (d.itemMask == 0x01) {
            EXPECT_EQ(c & kMidi, 0u);
        }
        if ((d.itemMask & 0x40) && !(d.itemMask & 0x80)) {
            EXPECT_TRUE(c & kMidi) << "a song writer takes events";
        }
        // Lossless coders keep PCM.
        if (Has(Desc(row), "ossless")) {
            EXPECT_EQ(c & kCompressed, 0u);
        }
    }
}

TEST(FormatRows, RowsOfOneExtensionAgree) {
    // Extensions that hold unrelated formats, or a bank and a single
    // instrument side by side.
    const std::set<std::string> mixedItems = {"404", "ini", "ins", "mus", "raw", "rmi", "txt"};
    // Extensions whose writers differ in what their variants store.
    const std::set<std::string> mixedCodings = {"dls", "ins", "pgm", "rmi", "snd",
                                                "sw",  "txt", "voc", "w01", "wma"};
    // Extensions whose rows are separate routines, and the Korg sample,
    // keymap and script rows, where the M3 Xpanded stamps the M3's number.
    const std::set<std::string> sharedParams = {"ins", "txt", "KSF", "KMP", "KSC"};
    for (const auto& [ext, rows] : RowsByExtension()) {
        SCOPED_TRACE(ext);
        std::set<int> items;
        std::set<uint32_t> codings, params;
        int writers = 0;
        for (int row : rows) {
            items.insert(kFormatRowData[row].itemMask);
            if (!kFormatRowData[row].writes) continue;
            ++writers;
            codings.insert(kFormatRowData[row].codingMask);
            params.insert(kFormatRowData[row].param);
        }
        if (!mixedItems.count(ext)) {
            EXPECT_EQ(items.size(), 1u);
        }
        if (!mixedCodings.count(ext) && writers) {
            EXPECT_EQ(codings.size(), 1u);
        }
        // One routine serving several rows can only tell them by the param.
        if (!sharedParams.count(ext)) {
            EXPECT_EQ(int(params.size()), writers);
        }
    }
}

// The G.72x streams: the param is the bit rate in kbit/s, with the swap flag
// for big-endian packing; the read row of an extension reads what its
// little-endian writer writes.
TEST(FormatRows, G72xRowsFollowTheirBitRate) {
    int checked = 0;
    for (const auto& [ext, rows] : RowsByExtension()) {
        if (ext.rfind("g72", 0) != 0) continue;
        SCOPED_TRACE(ext);
        uint32_t readParam = 0, leParam = ~0u, beParam = ~0u, coding = 0;
        for (int row : rows) {
            const FormatRowData& d = kFormatRowData[row];
            if (d.reads) readParam = d.param;
            if (!d.writes) continue;
            coding = d.codingMask;
            if (Has(Desc(row), "Big Endian")) {
                beParam = d.param;
            } else {
                leParam = d.param;
            }
        }
        ASSERT_NE(leParam, ~0u);
        EXPECT_EQ(readParam, leParam);
        if (beParam != ~0u) {
            EXPECT_EQ(beParam, leParam | kSwapFlag);
        }
        EXPECT_EQ(coding & ~kCodings, kMono) << "mono streams";
        const int kbps = int(leParam);
        int bits = kbps / 8; // 8 kHz: one code word a sample
        if (ext.rfind("g722", 0) == 0) {
            bits = 4; // 16 kHz in 8-bit words, whatever the rate
            EXPECT_TRUE(kbps == 48 || kbps == 56 || kbps == 64);
        }
        EXPECT_EQ(coding & kCodings, 1u << (9 + bits)) << "ADPCM " << bits << "-bit";
        // "g726-3": the suffix is the bit count; "g722-6": the kbit/s over 8.
        const size_t dash = ext.find('-');
        if (dash != std::string::npos) {
            const int n = std::stoi(ext.substr(dash + 1));
            EXPECT_EQ(ext.rfind("g722", 0) == 0 ? kbps / 8 : bits, n);
        }
        ++checked;
    }
    EXPECT_EQ(checked, 14);
}

TEST(FormatRows, KorgModelsAndBankLayouts) {
    // The model byte of each machine, from the PCG read rows.
    std::map<std::string, uint32_t> model;
    for (int row = 0; row < kRows; ++row) {
        if (Ext(row) != "PCG" || kFormatRowData[row].writes) continue;
        const std::string d = Desc(row); // "Korg Triton LE bank"
        model[d.substr(5, d.size() - 5 - 5)] = kFormatRowData[row].param;
    }
    ASSERT_EQ(model.size(), 7u);
    EXPECT_EQ(model["Trinity"], 0x3Bu);
    std::set<uint32_t> distinct;
    for (const auto& [name, byte] : model) distinct.insert(byte);
    EXPECT_EQ(distinct.size(), model.size());

    int checked = 0;
    for (int row = 0; row < kRows; ++row) {
        const std::string e = Ext(row), d = Desc(row);
        if (!kFormatRowData[row].writes || (e != "PCG" && e != "KSF" && e != "KMP" && e != "KSC")) continue;
        SCOPED_TRACE(d);
        const uint32_t p = kFormatRowData[row].param;
        // The machine's name is the longest model name the description holds.
        std::string name;
        for (const auto& [m, byte] : model)
            if (Has(d, "Korg " + m + " ") && m.size() > name.size()) name = m;
        ASSERT_FALSE(name.empty());
        EXPECT_EQ(p & 0xFF, model[name]);
        EXPECT_EQ(kFormatRowData[row].codingMask, 0x500005u);
        if (e != "PCG") {
            EXPECT_EQ(p, model[name]);
        } else {
            // "Bank C..E": the first bank written, counted from A.
            const size_t at = d.find("Bank ");
            const uint32_t first = at == std::string::npos ? 0 : uint32_t(d[at + 5] - 'A');
            EXPECT_EQ((p >> 8) & 0xF, first);
            EXPECT_EQ((p >> 12) & 1, Has(d, "Xpanded") ? 1u : 0u);
            EXPECT_EQ(p >> 13, 0u);
        }
        ++checked;
    }
    EXPECT_EQ(checked, 14 + 3 * 5);
}

TEST(FormatRows, VariantParamsMatchTheirDescriptions) {
    for (int row = 0; row < kRows; ++row) {
        const FormatRowData& d = kFormatRowData[row];
        const std::string e = Ext(row), desc = Desc(row);
        SCOPED_TRACE(std::to_string(row) + " " + e + " " + desc);
        // DVD LPCM: bits << 24 | rate, as the extension names them.
        if (e.rfind("dvd-", 0) == 0) {
            const int bits = std::stoi(e.substr(4, 2));
            const int khz = std::stoi(e.substr(7));
            EXPECT_EQ(int(d.param >> 24), bits);
            EXPECT_EQ(int(d.param & 0xFFFFFF) / 1000, khz);
        }
        // Dialogic rows at a fixed rate carry it.
        if (Has(desc, "Dialogic") && Has(desc, " Hz)")) {
            EXPECT_EQ(d.param, Has(desc, "6000") ? 6000u : 8000u);
        }
        // Raw PCM: the flags of the coding word, as the name says.
        if (Has(desc, "words (16-bit)") || Has(desc, "bytes (8-bit)") || Has(desc, "dwords (32-bit)")) {
            EXPECT_EQ(d.param & ~(kSwapFlag | kUnsignedFlag), 0u);
            EXPECT_EQ((d.param & kUnsignedFlag) != 0, Has(desc, "Unsigned"));
            EXPECT_EQ((d.param & kSwapFlag) != 0, Has(desc, "Big Endian") || Has(desc, "Bit Endian"));
        }
        // DLS levels, also where a song embeds the bank.
        if (e == "dls" && d.writes) {
            const uint32_t level = Has(desc, "2++") ? 4 : Has(desc, "2+") ? 3 : Has(desc, "level 2") ? 2 : 1;
            EXPECT_EQ(d.param, level);
        }
        if (e == "rmi" && d.writes) {
            EXPECT_EQ(d.param, Has(desc, "level 2") ? 2u : Has(desc, "level 1") ? 1u : 0u);
        }
        // AKAI S-series files say the machine.
        if (Has(desc, "AKAI S1000")) {
            EXPECT_EQ(d.param, 1u);
        }
        if (Has(desc, "AKAI S3000")) {
            EXPECT_EQ(d.param, 3u);
        }
        // SFZ: bit 0 sub-folder, bit 1 version 2.
        if (e == "sfz" && d.writes) {
            EXPECT_EQ(d.param, (Has(desc, "sub-folder") ? 1u : 0u) | (Has(desc, "v2") ? 2u : 0u));
        }
        // GigaStudio: bit 1 version 3, bit 0 compressed.
        if (e == "gig" && d.writes) {
            EXPECT_EQ(d.param, (Has(desc, "v3") ? 2u : 0u) | (Has(desc, "Compressed") ? 1u : 0u));
        }
    }
}

TEST(FormatRows, YamahaWorkstationFilesByKind) {
    // "Yamaha Motif ES voices": the generation is shared by the files of one
    // machine, the kind is the last word.
    const std::map<std::string, uint32_t> kinds = {{"all", 0},  {"voices", 1},  {"waves", 2},
                                                   {"data", 3}, {"library", 4}, {"user", 5}};
    std::map<std::string, std::set<uint32_t>> generations;
    for (int row = 0; row < kRows; ++row) {
        const std::string d = Desc(row);
        const bool workstation = Has(d, "Yamaha Motif") || Has(d, "Yamaha MOXF") ||
                                 Has(d, "Yamaha Montage") || Has(d, "Yamaha MODX");
        if (!workstation) continue;
        SCOPED_TRACE(d);
        const size_t blank = d.rfind(' ');
        const std::string machine = d.substr(0, blank), kind = d.substr(blank + 1);
        ASSERT_TRUE(kinds.count(kind));
        const FormatRowData& r = kFormatRowData[row];
        EXPECT_EQ(r.param & 0xF, kinds.at(kind));
        generations[machine].insert(r.param >> 4);
        EXPECT_EQ(r.itemMask, kind == "all" ? 0xC0 : 0x91);
        if (r.writes) {
            EXPECT_EQ(r.codingMask, 0x300004u);
        }
    }
    EXPECT_EQ(generations.size(), 8u);
    std::set<uint32_t> all;
    for (const auto& [machine, g] : generations) {
        EXPECT_EQ(g.size(), 1u) << machine;
        all.insert(*g.begin());
    }
    EXPECT_EQ(all.size(), generations.size());
}

} // namespace
} // namespace vaxel
