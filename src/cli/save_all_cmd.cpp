// vaxel save-all: every instrument, wave or song of what was opened into a
// file of its own, named by one of the Save all schemes, through the same
// flow as the desktop program's Save all.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "cli/cli.h"
#include "cli/terminal_status.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/text.h"

namespace vaxel::cli {

namespace {

namespace fs = std::filesystem;

struct SchemeName {
    const char* word;
    int scheme;
};
constexpr SchemeName kSchemes[] = {
    {"base-number", kNameBaseNumber},   {"number-base", kNameNumberBase},
    {"base-name", kNameBaseName},       {"name", kNameName},
    {"number-name", kNameNumberName},   {"source-file", kNameSourceFile},
    {"bank-program", kNameBankProgram},
};

struct KindName {
    const char* word;
    ItemType type;
};
constexpr KindName kKinds[] = {
    {"waveform", ItemType::Waveform},
    {"instrument", ItemType::Instrument},
    {"song", ItemType::Song},
    {"collection", ItemType::Collection},
};

// The kind Save all takes from a row, first match first; -1 for none.
int KindOfRow(int row) {
    const uint8_t mask = formatRow(row)->itemMask;
    if (mask & 0x80) return int(ItemType::Collection);
    for (ItemType t : {ItemType::Instrument, ItemType::Waveform, ItemType::Song})
        if (mask & (1u << int(t))) return int(t);
    return -1;
}

const char* KindWord(int type) {
    for (const KindName& k : kKinds)
        if (int(k.type) == type) return k.word;
    return "nothing";
}

void PrintUsage() {
    std::fprintf(
        stderr,
        "usage: vaxel save-all IN... -o DIR --to EXT|ROW [--kind waveform|instrument|song|collection]\n"
        "         [--naming SCHEME] [--base NAME] [--if-exists skip|overwrite|rename|stop]\n"
        "         [--coding NAME] [--channels auto|mono|stereo]\n"
        "schemes:");
    for (const SchemeName& s : kSchemes)
        std::fprintf(stderr, "\n  %-13s %s", s.word, WideToUtf8(SaveAllSchemeText(s.scheme)).c_str());
    std::fprintf(stderr, "\n");
}

// "<stem> 2.ext", "<stem> 3.ext", ...: the first name not taken.
std::u16string FreeName(const std::u16string& path) {
    fs::path p(WideToUtf8(path));
    for (int n = 2;; ++n) {
        fs::path candidate =
            p.parent_path() / (p.stem().string() + " " + std::to_string(n) + p.extension().string());
        std::error_code ec;
        if (!fs::exists(candidate, ec)) return Utf8ToWide(candidate.string());
    }
}

} // namespace

int SaveAll(const Args& args) {
    SaveRequest request;
    Args rest;
    std::string to, kind, naming = "name", base, ifExists = "skip";
    // The save options first; the words they leave are ours or inputs.
    Args own;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--to" || a == "--kind" || a == "--naming" || a == "--base" || a == "--if-exists") {
            if (i + 1 >= args.size()) {
                std::fprintf(stderr, "vaxel save-all: %s needs a value\n", a.c_str());
                return kExitUsage;
            }
            std::string& into = a == "--to"       ? to
                                : a == "--kind"   ? kind
                                : a == "--naming" ? naming
                                : a == "--base"   ? base
                                                  : ifExists;
            into = args[++i];
        } else {
            own.push_back(a);
        }
    }
    if (!ReadSaveOptions(own, request, rest, "save-all")) return kExitUsage;
    if (rest.empty() || request.output.empty() || to.empty()) {
        std::fprintf(stderr, "vaxel save-all: give the input files, -o DIR and --to EXT|ROW\n");
        PrintUsage();
        return kExitUsage;
    }
    int scheme = 0;
    for (const SchemeName& s : kSchemes)
        if (naming == s.word) scheme = s.scheme;
    if (!scheme) {
        std::fprintf(stderr, "vaxel save-all: unknown naming scheme '%s'\n", naming.c_str());
        PrintUsage();
        return kExitUsage;
    }
    CollisionAnswer standing;
    if (ifExists == "skip")
        standing = kSkipThis;
    else if (ifExists == "overwrite")
        standing = kOverwrite;
    else if (ifExists == "rename")
        standing = kRenameIt;
    else if (ifExists == "stop")
        standing = kCancelAll;
    else {
        std::fprintf(stderr, "vaxel save-all: --if-exists takes skip, overwrite, rename or stop\n");
        return kExitUsage;
    }

    const fs::path folder = Absolute(request.output);
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) {
        std::fprintf(stderr, "vaxel save-all: %s: not a folder\n", folder.string().c_str());
        return kExitFailed;
    }
    for (std::string& file : rest) file = Absolute(file);

    StatusScope status;
    Collection collection;
    for (size_t i = 0; i < rest.size(); ++i) {
        const int ok = i == 0 ? openFile(collection, rest[i], true) : mergeFile(collection, rest[i]);
        if (!ok) {
            std::fprintf(stderr, "vaxel save-all: %s: %s\n", rest[i].c_str(), LastErrorUtf8().c_str());
            return kExitFailed;
        }
    }

    // The row: a number, or the extension among the writers of the kind
    // asked for (any writer without --kind).
    uint32_t kindMask = 0xFF;
    int wanted = -1;
    if (!kind.empty()) {
        for (const KindName& k : kKinds)
            if (kind == k.word) wanted = int(k.type);
        if (wanted < 0) {
            std::fprintf(stderr, "vaxel save-all: --kind takes waveform, instrument, song or collection\n");
            return kExitUsage;
        }
        kindMask = 1u << wanted;
    }
    int row = -1;
    if (!to.empty() && to.find_first_not_of("0123456789") == std::string::npos) {
        row = std::atoi(to.c_str());
        if (!formatRow(row) || !formatRow(row)->write) {
            std::fprintf(stderr, "vaxel save-all: row %d has no writer\n", row);
            return kExitUsage;
        }
    } else {
        row = findWriteRowByExtension(Utf8ToWide(to[0] == '.' ? to.substr(1) : to), kindMask);
        if (row < 0) {
            std::fprintf(stderr, "vaxel save-all: no format writes %s%s as '.%s' files\n",
                         kind.empty() ? "anything" : kind.c_str(), kind.empty() ? "" : "s", to.c_str());
            return kExitUsage;
        }
    }
    if (wanted >= 0 && KindOfRow(row) != wanted) {
        std::fprintf(stderr, "vaxel save-all: .%s (%s) saves %ss, not %ss\n",
                     WideToUtf8(extensionOf(row)).c_str(), WideToUtf8(descriptionOf(row)).c_str(),
                     KindWord(KindOfRow(row)), kind.c_str());
        return kExitUsage;
    }

    request.format = std::to_string(row);
    WriteOptions options;
    if (!BuildWriteOptions(request, row, options, "save-all")) return kExitUsage;

    SaveAllPrompts prompts;
    int skipped = 0;
    prompts.collision = [&](const std::u16string& name, bool& same) {
        // Asked once a name: the answer is given per collision so that
        // each skip is reported.
        same = false;
        if (standing == kSkipThis) {
            std::fprintf(stderr, "vaxel save-all: '%s' exists; skipped\n", WideToUtf8(name).c_str());
            ++skipped;
        }
        return standing;
    };
    prompts.askPath = [&](const CollectionItem&, std::u16string& path) {
        path = FreeName(path);
        return true;
    };
    const int saved = saveAll(collection, folder, row, Utf8ToWide(base), scheme, options, prompts);
    if (saved < 0) {
        std::fprintf(stderr, "vaxel save-all: %s\n", LastErrorUtf8().c_str());
        return kExitFailed;
    }
    // The status line has said "Done: ..." or "Failed: ..."; a run that
    // stopped early fails.
    const int saves = KindOfRow(row);
    const int expected = saves == int(ItemType::Collection) ? 1 : int(collection.count(ItemType(saves)));
    return saved + skipped == expected ? kExitOk : kExitFailed;
}

} // namespace vaxel::cli
