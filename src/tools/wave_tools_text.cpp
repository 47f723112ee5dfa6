// The wave tools on names and texts: Parse root key from waveform name,
// Set waveform names from root keys or from file names, and Search and
// replace text, which stands in all three tool tables.
#include <algorithm>
#include <filesystem>

#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/waveform.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"
#include "tools/wave_tools.h"

namespace vaxel {

namespace {

// Octave number of key 60: 4, or 3 when middle C is named C3.
int MiddleOctave() {
    return GlobalSettings().app.bMidIsNamedC3 ? 3 : 4;
}

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

// A note name at position i: letter, optional '#' or 'b', optional sign,
// one or two digits. What follows does not matter. -1 when none fits.
int NoteAt(std::u16string_view name, size_t i) {
    static const int kPitch[8] = {9, 11, 0, 2, 4, 5, 7, 11}; // A..H
    char16_t letter = name[i];
    if (letter >= u'a' && letter <= u'h') letter = char16_t(letter - u'a' + u'A');
    if (letter < u'A' || letter > u'H') return -1;
    int key = kPitch[letter - u'A'];
    size_t p = i + 1;
    if (p < name.size() && name[p] == u'#') {
        ++key;
        ++p;
    } else if (p < name.size() && name[p] == u'b') {
        --key;
        ++p;
    }
    int sign = 1;
    if (p < name.size() && (name[p] == u'-' || name[p] == u'+')) {
        sign = name[p] == u'-' ? -1 : 1;
        ++p;
    }
    if (p >= name.size() || !IsDigit(name[p])) return -1;
    int octave = name[p++] - u'0';
    if (p < name.size() && IsDigit(name[p])) octave = octave * 10 + (name[p] - u'0');
    key += 12 * (sign * octave + 5 - MiddleOctave());
    return key >= 0 && key <= 127 ? key : -1;
}

} // namespace

int ParseRootKeyFromName(std::u16string_view name) {
    // Note pass, from the second-to-last character to the first.
    for (size_t i = name.size() >= 2 ? name.size() - 1 : 0; i-- > 0;)
        if (int key = NoteAt(name, i); key >= 0) return key;
    // Number pass, runs of digits from the end.
    size_t end = name.size();
    while (end > 0) {
        if (!IsDigit(name[end - 1])) {
            --end;
            continue;
        }
        size_t start = end;
        while (start > 0 && IsDigit(name[start - 1])) --start;
        const size_t length = end - start;
        const bool separated = start == 0 || name[start - 1] == u' ' || name[start - 1] == u'_';
        if (length == 2 || ((length == 1 || length == 3) && separated)) {
            int value = 0;
            for (size_t i = start; i < end; ++i) value = value * 10 + (name[i] - u'0');
            if (value < 128) return value;
        }
        end = start;
    }
    return -1;
}

std::u16string KeyNameForWave(int key) {
    static const char16_t* const kNames[12] = {u"C",  u"C#", u"D",  u"D#", u"E",  u"F",
                                               u"F#", u"G",  u"G#", u"A",  u"A#", u"B"};
    key = std::clamp(key, 0, 127);
    const int octave = key / 12 - 5 + MiddleOctave();
    std::u16string text = kNames[key % 12];
    if (octave < 0) text += u'-';
    text += char16_t(u'0' + std::abs(octave));
    return text;
}

namespace {

ToolOption TextOption(const char* key, const char16_t* label, const char16_t* preset = u"") {
    ToolOption o;
    o.key = key;
    o.type = OptionType::Text;
    o.label = label;
    o.defaultText = preset;
    return o;
}

ToolOption CheckOption(const char* key, const char16_t* label, bool on) {
    ToolOption o;
    o.key = key;
    o.type = OptionType::Check;
    o.label = label;
    o.defaultValue = on;
    return o;
}

// ------------------------------------------- Parse root key from name

void ExecuteParseRootKey(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) {
        const int key = ParseRootKeyFromName(wave->name());
        if (key < 0) continue;
        wave->rootKey = uint8_t(key);
        session.modified();
    }
}

const ToolSpec& ParseRootKeyTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description =
            u"Try to parse note names (e.g. C#3) or MIDI key numbers (e.g. 60) from the waveform name and "
            u"set the root key to it (if succefully parsed).";
        s.execute = ExecuteParseRootKey;
        return s;
    }();
    return spec;
}

// ------------------------------------------ names from root keys

constexpr size_t kPatternLength = 128;

void ExecuteNamesFromKeys(ToolSession& session, const ToolValues& values) {
    const int pattern = std::clamp(values.integer("pattern"), 0, 2);
    const std::u16string before = values.text("before").substr(0, kPatternLength);
    const std::u16string after = values.text("after").substr(0, kPatternLength);
    for (Waveform* wave : session.waves()) {
        const std::u16string key = KeyNameForWave(wave->rootKey);
        const std::u16string old = wave->name();
        std::u16string name = pattern == 0   ? key + u" " + old
                              : pattern == 1 ? old + u" " + key
                                             : before + key + after;
        if (name == old) continue;
        wave->setName(name.c_str());
        session.modified();
    }
}

const ToolSpec& NamesFromKeysTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        ToolOption pattern;
        pattern.key = "pattern";
        pattern.type = OptionType::Choice;
        pattern.label = u"Pattern:";
        pattern.choices = {u"Prepending the root keys to existing names",
                           u"Appending the root keys to existing names",
                           u"Constructing new names after pattern"};
        s.options.push_back(pattern);
        auto constructing = [](const ToolSession&, const ToolValues& v) { return v.integer("pattern") == 2; };
        ToolOption before = TextOption("before", u"", u"foo - ");
        before.shown = constructing;
        ToolOption after = TextOption("after", u"<root>", u" - bar");
        after.shown = constructing;
        s.options.push_back(before);
        s.options.push_back(after);
        s.execute = ExecuteNamesFromKeys;
        return s;
    }();
    return spec;
}

// ------------------------------------------ names from file names

void ExecuteNamesFromFiles(ToolSession& session, const ToolValues&) {
    for (Waveform* wave : session.waves()) {
        const std::u16string source = wave->sourceFile();
        if (source.empty()) continue;
        const std::u16string stem = std::filesystem::path(source).stem().u16string();
        if (stem.empty() || stem == wave->name()) continue;
        wave->setName(stem.c_str());
        session.modified();
    }
}

const ToolSpec& NamesFromFilesTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.description =
            u"The waveform names are often taken from names stored inside the files.\nUse this function "
            u"to replace the internal names with the source file names.";
        s.execute = ExecuteNamesFromFiles;
        return s;
    }();
    return spec;
}

// ----------------------------------------------- Search and replace

constexpr size_t kSearchLength = 150;
// The text meta data of an item: every info text but the name and the
// source path.
constexpr int kMetaFields[] = {kInfoArtist, kInfoComments, kInfoCopyright, kInfoEngineer, kInfoProduct};

// Plain, case-sensitive, left to right; what was inserted is not searched
// again. True when something was replaced.
bool ReplaceAll(std::u16string& text, const std::u16string& search, const std::u16string& replacement) {
    bool any = false;
    for (size_t at = text.find(search); at != std::u16string::npos; at = text.find(search, at)) {
        text.replace(at, search.size(), replacement);
        at += replacement.size();
        any = true;
    }
    return any;
}

// The waves, instruments and songs the selection stands for: a selected
// collection gives all of its own.
std::vector<InfoItem*> TextItems(const ToolSession& session) {
    std::vector<InfoItem*> out;
    auto add = [&](CollectionItem* item) {
        if (!item) return;
        const ItemType t = item->type();
        if ((t == ItemType::Waveform || t == ItemType::Instrument || t == ItemType::Song) &&
            std::find(out.begin(), out.end(), item) == out.end())
            out.push_back(static_cast<InfoItem*>(item));
    };
    for (size_t i = 0; i < session.items.size(); ++i) {
        CollectionItem* item = session.item(i);
        if (!item) continue;
        if (item->type() == ItemType::Collection) {
            for (CollectionItem* n = session.collection().firstNode(); n; n = Collection::nextNode(n)) add(n);
        } else {
            add(item);
        }
    }
    return out;
}

bool SelectionHolds(const ToolSession& session, ItemType type) {
    for (InfoItem* item : TextItems(session))
        if (item->type() == type) return true;
    return false;
}

void ExecuteSearchReplace(ToolSession& session, const ToolValues& values) {
    const std::u16string search = values.text("search").substr(0, kSearchLength);
    const std::u16string replacement = values.text("replace").substr(0, kSearchLength);
    if (search.empty()) {
        SetLastError("You haven't supplied any search string.");
        session.reportError();
        return;
    }
    for (InfoItem* item : TextItems(session)) {
        const ItemType t = item->type();
        const char* names = t == ItemType::Waveform     ? "wave-names"
                            : t == ItemType::Instrument ? "instrument-names"
                                                        : "song-names";
        const char* meta = t == ItemType::Waveform     ? "wave-text"
                           : t == ItemType::Instrument ? "instrument-text"
                                                       : "song-text";
        bool changed = false;
        if (values.check(names)) {
            std::u16string name = item->name();
            if (ReplaceAll(name, search, replacement)) {
                item->setName(name.empty() ? u"unnamed" : name.c_str());
                changed = true;
            }
        }
        if (values.check(meta)) {
            for (int field : kMetaFields) {
                const char16_t* old = item->text(field);
                std::u16string text = old ? old : u"";
                if (ReplaceAll(text, search, replacement)) {
                    item->setText(field, text);
                    changed = true;
                }
            }
        }
        if (t == ItemType::Waveform && values.check("marker-names")) {
            for (LoopRecord& m : static_cast<Waveform*>(item)->markers)
                changed = ReplaceAll(m.name, search, replacement) || changed;
        }
        if (changed) session.modified();
    }
}

const ToolSpec& SearchReplaceTool() {
    static const ToolSpec spec = [] {
        ToolSpec s;
        s.options.push_back(TextOption("search", u"Search for this text:"));
        s.options.push_back(TextOption("replace", u"And replace it with:"));
        struct Box {
            const char* key;
            const char16_t* label;
            ItemType type;
            bool on;
        };
        static const Box kBoxes[] = {
            {"instrument-names", u"Replace in instrument names", ItemType::Instrument, true},
            {"wave-names", u"Replace in waveform names", ItemType::Waveform, true},
            {"song-names", u"Replace in song names", ItemType::Song, true},
            {"instrument-text", u"Replace in instrument text meta data", ItemType::Instrument, false},
            {"wave-text", u"Replace in waveform text meta data", ItemType::Waveform, false},
            {"song-text", u"Replace in song text meta data", ItemType::Song, false},
            {"marker-names", u"Replace in waveform marker names", ItemType::Waveform, false},
        };
        for (const Box& box : kBoxes) {
            ToolOption o = CheckOption(box.key, box.label, box.on);
            switch (box.type) {
            case ItemType::Instrument:
                o.shown = [](const ToolSession& session, const ToolValues&) {
                    return SelectionHolds(session, ItemType::Instrument);
                };
                break;
            case ItemType::Song:
                o.shown = [](const ToolSession& session, const ToolValues&) {
                    return SelectionHolds(session, ItemType::Song);
                };
                break;
            default:
                o.shown = [](const ToolSession& session, const ToolValues&) {
                    return SelectionHolds(session, ItemType::Waveform);
                };
                break;
            }
            s.options.push_back(o);
        }
        s.execute = ExecuteSearchReplace;
        return s;
    }();
    return spec;
}

} // namespace

void BindWaveTextTools() {
    BindTool(ToolKind::Wave, u"Parse root key from waveform name", &ParseRootKeyTool());
    BindTool(ToolKind::Wave, u"Set waveform names from root keys", &NamesFromKeysTool());
    BindTool(ToolKind::Wave, u"Set waveform names from file names", &NamesFromFilesTool());
    // The same page in all three tables.
    for (ToolKind kind : {ToolKind::Wave, ToolKind::Instrument, ToolKind::Midi})
        BindTool(kind, u"Search and replace text", &SearchReplaceTool());
}

} // namespace vaxel
