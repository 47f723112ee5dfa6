// vaxel: the command-line face of Vaxel Studio. Subcommands detect, inspect,
// convert, process, render and batch work on files without a window.
#include <cstdio>
#include <cstring>
#include <string>

#include "cli/cli.h"
#include "formats/install.h"
#include "tools/tool_table.h"
#include "vaxel_version.h"

namespace {

const char kUsage[] =
    "Usage: vaxel <command> [options] [files]\n"
    "\n"
    "Commands:\n"
    "  formats [--json]          list the rows of the format table\n"
    "  detect [--json] FILE...   name the format of each file with a confidence\n"
    "  info [--json] [--decode] FILE...\n"
    "                            show what a file holds: items, rates, codings,\n"
    "                            loops, markers and info texts; --decode reads\n"
    "                            every sample and shows each wave's peak\n"
    "  convert IN OUT [--format EXT|ROW] [--coding NAME] [--channels auto|mono|stereo]\n"
    "                            convert a file; OUT's extension picks the format\n"
    "  merge A B... -o OUT [--format ...] [--coding ...] [--channels ...]\n"
    "                            merge files into one collection and save it\n"
    "  process IN -o OUT --tool NAME [--set OPTION=VALUE]... [--section START:END]\n"
    "                            run a tool over every wave, instrument or song\n"
    "                            of a file and save the result\n"
    "  process --list            list the tools with their options\n"
    "  save-all IN... -o DIR --to EXT|ROW [--kind waveform|instrument|song]\n"
    "           [--naming SCHEME] [--base NAME] [--if-exists skip|overwrite|rename|stop]\n"
    "                            save every item of the kind into a file of its own;\n"
    "                            schemes: base-number, number-base, base-name, name,\n"
    "                            number-name, source-file, bank-program\n"
    "\n"
    "Codings: \"PCM 8-bit\", \"PCM 16-bit\", \"PCM 24-bit\", \"PCM 32-bit\", \"Float 32-bit\",\n"
    "  \"Mu-law 8-bit\", \"A-law 8-bit\", ... as far as the output format holds them.\n"
    "\n"
    "Options:\n"
    "  -h, --help                show this help\n"
    "  -V, --version             show the version\n";

} // namespace

int main(int argc, char** argv) {
    using namespace vaxel::cli;
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    std::string command = argv[1];
    if (command == "-h" || command == "--help" || command == "help") {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    if (command == "-V" || command == "--version") {
        std::printf("vaxel %s (%s)\n", VAXEL_VERSION_TEXT, VAXEL_PROGRAM_STAMP);
        return kExitOk;
    }
    Args args(argv + 2, argv + argc);
    for (const std::string& a : args) {
        if (a == "-h" || a == "--help") {
            std::fputs(kUsage, stdout);
            return kExitOk;
        }
    }
    vaxel::InstallFormats();
    // The tools bind their rows and the passes the flows call (the On Load
    // options among them).
    vaxel::InstallTools();
    if (command == "formats") return Formats(args);
    if (command == "detect") return Detect(args);
    if (command == "info") return Info(args);
    if (command == "convert") return Convert(args);
    if (command == "merge") return Merge(args);
    if (command == "process") return Process(args);
    if (command == "save-all") return SaveAll(args);
    std::fprintf(stderr, "vaxel: unknown command '%s'\n\n%s", command.c_str(), kUsage);
    return kExitUsage;
}
