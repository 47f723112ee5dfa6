// vaxel process: opens a file, runs one tool over every wave, instrument or
// song it holds, and saves the result through the same flows as convert.
// The tool's options come from its record: --set NAME=VALUE for each one
// that differs from the default, checked against the record's range.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/cli.h"
#include "cli/terminal_status.h"
#include "fileio/open_save.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/text.h"
#include "tools/tool_runner.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"

namespace vaxel::cli {

namespace {

constexpr ToolKind kKinds[] = {ToolKind::Wave, ToolKind::Instrument, ToolKind::Midi};

const char* KindTitle(ToolKind kind) {
    switch (kind) {
    case ToolKind::Wave:
        return "Wave tools";
    case ToolKind::Instrument:
        return "Instrument tools";
    case ToolKind::Midi:
        return "MIDI tools";
    default:
        return "";
    }
}

// The items of a file a kind's tools work on.
ItemType ItemTypeOfKind(ToolKind kind) {
    switch (kind) {
    case ToolKind::Wave:
        return ItemType::Waveform;
    case ToolKind::Midi:
        return ItemType::Song;
    default:
        return ItemType::Instrument;
    }
}

const char* ItemNoun(ToolKind kind) {
    switch (kind) {
    case ToolKind::Wave:
        return "waveforms";
    case ToolKind::Midi:
        return "songs";
    default:
        return "instruments";
    }
}

std::string FlagsText(uint8_t flags) {
    std::string out;
    if (flags & kSectionRequired)
        out = "section required";
    else if (flags & kSectionCapable)
        out = "section";
    if (flags & kRunsWithoutOptions) out += out.empty() ? "without options" : ", without options";
    return out;
}

const char* TypeName(OptionType type) {
    switch (type) {
    case OptionType::Check:
        return "check";
    case OptionType::Choice:
        return "choice";
    case OptionType::Number:
        return "number";
    case OptionType::Integer:
        return "integer";
    case OptionType::Text:
        return "text";
    }
    return "";
}

int List() {
    for (ToolKind kind : kKinds) {
        const ToolEntry* table = ToolTable(kind);
        std::printf("%s:\n", KindTitle(kind));
        for (int i = 0; table[i].name; ++i) {
            const ToolEntry& e = table[i];
            const std::string flags = FlagsText(e.flags);
            std::printf("  %s%s%s%s\n", WideToUtf8(e.name).c_str(), flags.empty() ? "" : "  [", flags.c_str(),
                        flags.empty() ? "" : "]");
            if (!IsToolBuilt(e)) {
                std::printf("      (not available yet)\n");
                continue;
            }
            const ToolValues defaults = ToolValues::Defaults(*e.tool);
            for (size_t k = 0; k < e.tool->options.size(); ++k) {
                const ToolOption& o = e.tool->options[k];
                if (!o.key) continue;
                std::printf("      %s (%s: %s) default %s", o.key, TypeName(o.type),
                            OptionRangeText(o).c_str(), OptionValueText(o, defaults.values[k]).c_str());
                if (o.label && *o.label) std::printf("  \"%s\"", WideToUtf8(o.label).c_str());
                std::printf("\n");
            }
        }
        std::printf("\n");
    }
    return kExitOk;
}

bool ParseFrame(const std::string& text, uint32_t& frame) {
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long long v = std::strtoull(text.c_str(), nullptr, 10);
    if (v > 0xFFFFFFFFull) return false;
    frame = uint32_t(v);
    return true;
}

// Passes everything to the terminal but the final text, which process
// prints on stdout itself.
class RunStatus final : public StatusLine {
  public:
    explicit RunStatus(StatusLine& inner) : inner_(inner) {}
    void status(std::u16string_view text, int mode) override {
        if (mode == kStatusPassing) passing.emplace_back(text);
        if (mode != kStatusFinal) inner_.status(text, mode);
    }
    // What went by: the tools that only measure put their figures here.
    std::vector<std::u16string> passing;
    void progress(double fraction) override { inner_.progress(fraction); }

  private:
    StatusLine& inner_;
};

} // namespace

int Process(const Args& args) {
    InstallTools();
    std::string toolName;
    std::vector<std::string> settings;
    std::string sectionText;
    bool list = false;
    Args rest;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& into) {
            if (i + 1 >= args.size()) {
                std::fprintf(stderr, "vaxel process: %s needs a value\n", a.c_str());
                return false;
            }
            into = args[++i];
            return true;
        };
        std::string v;
        if (a == "--list") {
            list = true;
        } else if (a == "--tool") {
            if (!value(toolName)) return kExitUsage;
        } else if (a == "--set") {
            if (!value(v)) return kExitUsage;
            settings.push_back(v);
        } else if (a == "--section") {
            if (!value(sectionText)) return kExitUsage;
        } else {
            rest.push_back(a);
        }
    }
    if (list) return List();

    SaveRequest request;
    Args files;
    if (!ReadSaveOptions(rest, request, files, "process")) return kExitUsage;
    if (request.output.empty() && files.size() == 2) {
        request.output = files[1];
        files.pop_back();
    }
    if (files.size() != 1 || request.output.empty() || toolName.empty()) {
        std::fprintf(stderr, "vaxel process: give one input, -o OUTPUT and --tool NAME "
                             "(vaxel process --list shows the tools)\n");
        return kExitUsage;
    }

    // The tables that hold the tool: one, or all three for a tool that
    // stands in each (Search and replace text).
    const std::u16string name = Utf8ToWide(toolName);
    std::vector<ToolEntry*> rows;
    std::vector<ToolKind> rowKinds;
    for (ToolKind kind : kKinds)
        if (ToolEntry* e = FindTool(kind, name)) {
            rows.push_back(e);
            rowKinds.push_back(kind);
        }
    if (rows.empty()) {
        std::fprintf(stderr, "vaxel process: there is no tool '%s' (vaxel process --list shows the tools)\n",
                     toolName.c_str());
        return kExitUsage;
    }
    if (!IsToolBuilt(*rows.front())) {
        std::fprintf(stderr, "vaxel process: the tool '%s' is not available yet\n",
                     WideToUtf8(rows.front()->name).c_str());
        return kExitUsage;
    }

    // The options: the values the record starts with, then each --set.
    std::vector<ToolValues> values;
    for (ToolEntry* e : rows) {
        values.push_back(RememberedValues(*e->tool));
        for (const std::string& s : settings) {
            const size_t eq = s.find('=');
            if (eq == std::string::npos || eq == 0) {
                std::fprintf(stderr, "vaxel process: --set takes NAME=VALUE, not '%s'\n", s.c_str());
                return kExitUsage;
            }
            if (!SetOptionFromText(values.back(), s.substr(0, eq), s.substr(eq + 1))) {
                std::fprintf(stderr, "vaxel process: %s: %s\n", WideToUtf8(e->name).c_str(),
                             LastErrorUtf8().c_str());
                return kExitUsage;
            }
        }
    }

    ToolSectionRange section;
    if (!sectionText.empty()) {
        const size_t colon = sectionText.find(':');
        if (colon == std::string::npos || !ParseFrame(sectionText.substr(0, colon), section.start) ||
            !ParseFrame(sectionText.substr(colon + 1), section.end)) {
            std::fprintf(stderr, "vaxel process: --section takes START:END in frames, not '%s'\n",
                         sectionText.c_str());
            return kExitUsage;
        }
        if (section.end <= section.start) {
            std::fprintf(stderr, "vaxel process: Select a valid section range!\n");
            return kExitUsage;
        }
        if (!(rows.front()->flags & kSectionCapable)) {
            std::fprintf(stderr, "vaxel process: the tool '%s' does not work on a section\n",
                         WideToUtf8(rows.front()->name).c_str());
            return kExitUsage;
        }
        section.enabled = true;
    }

    request.output = Absolute(request.output);
    StatusScope status;
    Collection collection;
    if (!openFile(collection, files[0], true)) {
        std::fprintf(stderr, "vaxel process: %s: %s\n", files[0].c_str(), LastErrorUtf8().c_str());
        return kExitFailed;
    }

    int errors = 0;
    Tools().showError = [&](std::u16string_view text) {
        ++errors;
        std::fprintf(stderr, "vaxel process: Error! %s\n", WideToUtf8(text).c_str());
    };
    bool ran = false;
    for (size_t r = 0; r < rows.size(); ++r) {
        std::vector<ItemId> selection;
        const ItemType type = ItemTypeOfKind(rowKinds[r]);
        for (CollectionItem* item = collection.first(type); item; item = collection.next(item, type))
            selection.push_back(item->id);
        if (selection.empty()) continue;
        ran = true;
        RunStatus runStatus(Status());
        StatusLine* previous = SetStatusLine(&runStatus);
        std::u16string result;
        const int count = runTool(collection, name, &values[r], selection, section, &result);
        SetStatusLine(previous);
        if (count < 0) {
            Tools().showError = nullptr;
            std::fprintf(stderr, "vaxel process: %s: %s\n", files[0].c_str(), LastErrorUtf8().c_str());
            return kExitFailed;
        }
        // The measuring tools' figures are their result on the command line.
        if (name == u"Statistics for the waveform" || name == u"Find volume")
            for (const std::u16string& line : runStatus.passing)
                std::printf("%s\n", WideToUtf8(line).c_str());
        std::printf("%s\n", WideToUtf8(result).c_str());
    }
    Tools().showError = nullptr;
    if (!ran) {
        std::fprintf(stderr, "vaxel process: %s holds no %s for '%s'\n", files[0].c_str(),
                     rows.size() == 1 ? ItemNoun(rowKinds.front()) : "items", toolName.c_str());
        return kExitFailed;
    }
    const int saved = SaveCollection(collection, request, "process");
    return saved == kExitOk && errors ? kExitFailed : saved;
}

} // namespace vaxel::cli
