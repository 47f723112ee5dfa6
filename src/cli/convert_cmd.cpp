// vaxel convert and vaxel merge: open (or merge) files and save what they
// hold through the same save flow as the desktop program.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "cli/cli.h"
#include "cli/terminal_status.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "fileio/sample_coding.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel::cli {

namespace {

namespace fs = std::filesystem;

// The kinds a collection holds, as an item mask.
uint32_t KindsHeld(const Collection& c) {
    uint32_t mask = 0;
    for (ItemType t : {ItemType::Waveform, ItemType::Instrument, ItemType::Song})
        if (c.count(t)) mask |= 1u << int(t);
    return mask;
}

bool IsNumber(const std::string& s) {
    return !s.empty() && s.find_first_not_of("0123456789") == std::string::npos;
}

// Finds the writer row: an explicit row number, an explicit extension, or
// the output's extension; rows for the kinds the collection holds first.
int FindRow(const SaveRequest& request, const Collection& c, const char* command) {
    const uint32_t kinds = KindsHeld(c);
    if (IsNumber(request.format)) {
        int row = std::atoi(request.format.c_str());
        const FormatEntry* e = formatRow(row);
        if (!e || !e->write) {
            std::fprintf(stderr, "vaxel %s: row %d has no writer\n", command, row);
            return -1;
        }
        return row;
    }
    std::u16string extension = Utf8ToWide(request.format);
    if (extension.empty()) {
        std::string ext = fs::path(request.output).extension().string();
        if (ext.empty()) {
            std::fprintf(stderr, "vaxel %s: '%s' has no extension; give --format\n", command,
                         request.output.c_str());
            return -1;
        }
        extension = Utf8ToWide(ext.substr(1));
    }
    int row = findWriteRowByExtension(extension, kinds ? kinds : 0xFF);
    // A song can go to a wave format as its render.
    if (row < 0 && (kinds & (1u << int(ItemType::Song))))
        row = findWriteRowByExtension(extension, 1u << int(ItemType::Waveform));
    if (row < 0) row = findWriteRowByExtension(extension, 0xFF);
    if (row < 0) {
        std::fprintf(stderr, "vaxel %s: no format writes '.%s' files\n", command,
                     WideToUtf8(extension).c_str());
        return -1;
    }
    return row;
}

// What to save: the collection when the row holds collections; else the one
// item of the kind the row holds. Null with several (the caller saves each).
CollectionItem* ItemToSave(Collection& c, int row, int& count) {
    const FormatEntry* e = formatRow(row);
    count = 0;
    if (e->itemMask & 0x80) {
        count = 1;
        return &c;
    }
    for (ItemType t : {ItemType::Instrument, ItemType::Waveform, ItemType::Song}) {
        if (!(e->itemMask & (1u << int(t)))) continue;
        count = int(c.count(t));
        if (count == 1) return c.first(t);
        if (count > 1) return nullptr;
    }
    // A song for a wave row: rendered on the way out.
    if ((e->itemMask & 1) && c.count(ItemType::Song) == 1) {
        count = 1;
        return c.first(ItemType::Song);
    }
    return nullptr;
}

bool BuildOptions(const SaveRequest& request, int row, WriteOptions& options, const char* command) {
    const FormatEntry* e = formatRow(row);
    options.codingMask = e->codingMask;
    if (!request.coding.empty()) {
        const int sampleCoding = FindSampleCoding(Utf8ToWide(request.coding).c_str());
        if (sampleCoding < 0 || sampleCoding == kCodingDefault) {
            std::fprintf(stderr, "vaxel %s: unknown coding '%s'\n", command, request.coding.c_str());
            return false;
        }
        const int coding = DataCodingOf(sampleCoding);
        if (!(e->codingMask & (1u << coding))) {
            std::string offered;
            for (int i = 0; i < kDataCodingCount; ++i)
                if (e->codingMask & (1u << i))
                    offered += (offered.empty() ? "" : ", ") + WideToUtf8(DataCodingName(i));
            std::fprintf(stderr, "vaxel %s: .%s (%s) can't hold %s; it takes: %s\n", command,
                         WideToUtf8(extensionOf(row)).c_str(), WideToUtf8(descriptionOf(row)).c_str(),
                         request.coding.c_str(), offered.empty() ? "nothing" : offered.c_str());
            return false;
        }
        options.codingMask = (options.codingMask & ~kMaskCodings) | (1u << coding);
        if (coding == kCompressed) options.bitRate = float(BitRateOf(sampleCoding));
    }
    int channelChoice;
    if (request.channels == "auto")
        channelChoice = 0;
    else if (request.channels == "mono")
        channelChoice = 1;
    else if (request.channels == "stereo")
        channelChoice = 2;
    else {
        std::fprintf(stderr, "vaxel %s: --channels takes auto, mono or stereo\n", command);
        return false;
    }
    if (!applyChannelChoice(row, channelChoice, options)) {
        std::fprintf(stderr, "vaxel %s: .%s can't hold %s sound\n", command,
                     WideToUtf8(extensionOf(row)).c_str(), request.channels.c_str());
        return false;
    }
    return true;
}

int Save(Collection& collection, const SaveRequest& request, const char* command) {
    const int row = FindRow(request, collection, command);
    if (row < 0) return kExitUsage;
    WriteOptions options;
    if (!BuildOptions(request, row, options, command)) return kExitUsage;

    int count = 0;
    CollectionItem* item = ItemToSave(collection, row, count);
    if (item) {
        if (!saveFile(item, request.output, row, options, true)) {
            std::fprintf(stderr, "vaxel %s: %s: %s\n", command, request.output.c_str(),
                         LastErrorUtf8().c_str());
            return kExitFailed;
        }
        return kExitOk;
    }
    if (count == 0) {
        std::fprintf(stderr, "vaxel %s: %s: %s\n", command, request.output.c_str(),
                     "The file format can not save this item");
        return kExitFailed;
    }
    // Several items of the kind: one file each, named "<output> - <item>".
    fs::path output(request.output);
    fs::path folder = output.has_parent_path() ? output.parent_path() : fs::path(".");
    std::u16string base = Utf8ToWide(output.stem().string());
    SaveAllPrompts prompts; // no prompts: existing files are skipped, never overwritten
    prompts.collision = [&](const std::u16string& name, bool& same) {
        std::fprintf(stderr, "vaxel %s: '%s' exists; skipped\n", command, WideToUtf8(name).c_str());
        same = false;
        return kSkipThis;
    };
    int saved = saveAll(collection, folder, row, base, kNameBaseName, options, prompts);
    if (saved < 0) {
        std::fprintf(stderr, "vaxel %s: %s\n", command, LastErrorUtf8().c_str());
        return kExitFailed;
    }
    return saved == count ? kExitOk : kExitFailed;
}

// Reads the save options; the rest goes to positional.
bool ParseSaveOptions(const Args& args, SaveRequest& request, Args& positional, const char* command) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& into) {
            if (i + 1 >= args.size()) {
                std::fprintf(stderr, "vaxel %s: %s needs a value\n", command, a.c_str());
                return false;
            }
            into = args[++i];
            return true;
        };
        if (a == "--format") {
            if (!value(request.format)) return false;
        } else if (a == "--coding") {
            if (!value(request.coding)) return false;
        } else if (a == "--channels") {
            if (!value(request.channels)) return false;
        } else if (a == "-o" || a == "--output") {
            if (!value(request.output)) return false;
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "vaxel %s: unknown option '%s'\n", command, a.c_str());
            return false;
        } else {
            positional.push_back(a);
        }
    }
    return true;
}

} // namespace

int SaveCollection(Collection& collection, const SaveRequest& request, const char* command) {
    return Save(collection, request, command);
}

bool ReadSaveOptions(const Args& args, SaveRequest& request, Args& positional, const char* command) {
    return ParseSaveOptions(args, request, positional, command);
}

bool BuildWriteOptions(const SaveRequest& request, int row, WriteOptions& options, const char* command) {
    return BuildOptions(request, row, options, command);
}

// Opening a file makes its folder the current one, so that formats find the
// files it refers to; paths from the command line are made absolute first.
std::string Absolute(const std::string& path) {
    std::error_code ec;
    fs::path absolute = fs::absolute(path, ec);
    return ec ? path : absolute.string();
}

int Convert(const Args& args) {
    SaveRequest request;
    Args files;
    if (!ParseSaveOptions(args, request, files, "convert")) return kExitUsage;
    if (request.output.empty() && files.size() == 2) {
        request.output = files[1];
        files.pop_back();
    }
    if (files.size() != 1 || request.output.empty()) {
        std::fprintf(stderr, "vaxel convert: give one input and one output file\n");
        return kExitUsage;
    }
    request.output = Absolute(request.output);
    StatusScope status;
    Collection collection;
    if (!openFile(collection, files[0], true)) {
        std::fprintf(stderr, "vaxel convert: %s: %s\n", files[0].c_str(), LastErrorUtf8().c_str());
        return kExitFailed;
    }
    return Save(collection, request, "convert");
}

int Merge(const Args& args) {
    SaveRequest request;
    Args files;
    if (!ParseSaveOptions(args, request, files, "merge")) return kExitUsage;
    if (files.empty() || request.output.empty()) {
        std::fprintf(stderr, "vaxel merge: give the input files and -o OUTPUT\n");
        return kExitUsage;
    }
    request.output = Absolute(request.output);
    for (std::string& file : files) file = Absolute(file);
    StatusScope status;
    Collection collection;
    for (size_t i = 0; i < files.size(); ++i) {
        const int ok = i == 0 ? openFile(collection, files[i], true) : mergeFile(collection, files[i]);
        if (!ok) {
            std::fprintf(stderr, "vaxel merge: %s: %s\n", files[i].c_str(), LastErrorUtf8().c_str());
            return kExitFailed;
        }
    }
    // The merged waves come from several files: read them all before the
    // output, which may be one of the inputs, is written.
    if (!ensureSamples(&collection)) {
        std::fprintf(stderr, "vaxel merge: %s\n", LastErrorUtf8().c_str());
        return kExitFailed;
    }
    return Save(collection, request, "merge");
}

} // namespace vaxel::cli
