// The settings record and its key file. Each value is one line,
// "name=value", under the names the program uses everywhere; the order is
// the order of loading. How a value is written:
//   flags       0 or 1
//   numbers     decimal (0x... is read as well)
//   floats      decimal, exact to the last bit
//   texts       UTF-8 with \\, \n, \r and \t escaped
//   app.LastFilesW   the paths, escaped, joined by tabs
//   lists of words   decimal numbers joined by commas
//   byte records     hexadecimal digits, two a byte
// A value that is missing, malformed or out of its type's range keeps its
// default without a message, as does a file that can't be read at all.
#include "model/settings.h"

#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <unordered_map>

#include "model/feature_mask.h"
#include "model/text.h"

namespace vaxel {

Settings& GlobalSettings() {
    static Settings settings;
    return settings;
}

namespace {

enum class Kind {
    Flag,
    U8,
    I32,
    U32,
    F32,
    U64,
    Text,
    Wide,
    WideList,
    Words,    // std::vector<uint16_t>
    SaveRows, // std::array<uint16_t, 5>
    Pair,     // int32_t[2]
    Bytes24,
    Bytes50,
};

struct Entry {
    const char* name;
    Kind kind;
    void* (*field)(Settings&); // where the value lives in the record
};

#define VX_SETTING(name, kind, member)                                                                       \
    Entry {                                                                                                  \
        name, Kind::kind, [](Settings& s) -> void* { return &s.member; }                                     \
    }

// Every value, in the order of loading.
const Entry kEntries[] = {
    VX_SETTING("VersionNumber", Text, VersionNumber),
    VX_SETTING("app.LastFilesW", WideList, app.LastFilesW),
    VX_SETTING("app.LastPathInW", Wide, app.LastPathInW),
    VX_SETTING("app.LastPathOutW", Wide, app.LastPathOutW),
    VX_SETTING("app.SaveFmt", SaveRows, app.SaveFmt),
    VX_SETTING("app.ptLastPos", Pair, app.ptLastPos),
    VX_SETTING("app.ptLastSize", Pair, app.ptLastSize),
    VX_SETTING("app.iPaneSplitL", I32, app.iPaneSplitL),
    VX_SETTING("app.awColWidths", Words, app.awColWidths),
    VX_SETTING("app.bCheckForUpdates", Flag, app.bCheckForUpdates),
    VX_SETTING("app.bDispBankPrgs", Flag, app.bDispBankPrgs),
    VX_SETTING("app.bDispLoBank", Flag, app.bDispLoBank),
    VX_SETTING("app.bAutoSelWaveforms", Flag, app.bAutoSelWaveforms),
    VX_SETTING("app.bAutoSelCollItems", Flag, app.bAutoSelCollItems),
    VX_SETTING("app.bPropagateDownDelta", Flag, app.bPropagateDownDelta),
    VX_SETTING("app.bPersistentState", Flag, app.bPersistentState),
    VX_SETTING("app.bShowNoteNames", Flag, app.bShowNoteNames),
    VX_SETTING("app.bMidIsNamedC3", Flag, app.bMidIsNamedC3),
    VX_SETTING("app.bAsyncWaveLoad", Flag, app.bAsyncWaveLoad),
    VX_SETTING("app.eDarkMode", U8, app.eDarkMode),
    VX_SETTING("load.bConfirm", Flag, load.bConfirm),
    VX_SETTING("load.bAutoSplitStereo", Flag, load.bAutoSplitStereo),
    VX_SETTING("load.bAutoMergeStereo", Flag, load.bAutoMergeStereo),
    VX_SETTING("load.bAutoCompactLayers", Flag, load.bAutoCompactLayers),
    VX_SETTING("load.bAutoRemoveDupWaves", Flag, load.bAutoRemoveDupWaves),
    VX_SETTING("load.bAutoMoveArticulation", Flag, load.bAutoMoveArticulation),
    VX_SETTING("load.bAutoMoveTriggerParams", Flag, load.bAutoMoveTriggerParams),
    VX_SETTING("load.bAutoAppend32", Flag, load.bAutoAppend32),
    VX_SETTING("load.bAutoBid2Fwd", Flag, load.bAutoBid2Fwd),
    VX_SETTING("load.bAutoSortColl", Flag, load.bAutoSortColl),
    VX_SETTING("load.bAutoSortWaves", Flag, load.bAutoSortWaves),
    VX_SETTING("load.bEnsureUniqueNames", Flag, load.bEnsureUniqueNames),
    VX_SETTING("aio.szAudioOutDev", Text, aio.szAudioOutDev),
    VX_SETTING("aio.bAudioOutExclusive", Flag, aio.bAudioOutExclusive),
    VX_SETTING("aio.cAudioOutFormat", U8, aio.cAudioOutFormat),
    VX_SETTING("aio.cAudioOutChannels", U8, aio.cAudioOutChannels),
    VX_SETTING("aio.szAudioOutSampleRate", Text, aio.szAudioOutSampleRate),
    VX_SETTING("aio.szAudioInDev", Text, aio.szAudioInDev),
    VX_SETTING("aio.bAudioInExclusive", Flag, aio.bAudioInExclusive),
    VX_SETTING("aio.cAudioInFormat", U8, aio.cAudioInFormat),
    VX_SETTING("aio.cAudioInChannels", U8, aio.cAudioInChannels),
    VX_SETTING("aio.bAudioInAGC", Flag, aio.bAudioInAGC),
    VX_SETTING("aio.bAudioInMono", Flag, aio.bAudioInMono),
    VX_SETTING("aio.szAudioInSampleRate", Text, aio.szAudioInSampleRate),
    VX_SETTING("aio.bMidiInEnable", Flag, aio.bMidiInEnable),
    VX_SETTING("aio.szMidiInDev", Text, aio.szMidiInDev),
    VX_SETTING("aio.nLatency", I32, aio.nLatency),
    VX_SETTING("aio.fdbMixGain", F32, aio.fdbMixGain),
    VX_SETTING("aio.fdbWaveGain", F32, aio.fdbWaveGain),
    VX_SETTING("aio.bEnable", Flag, aio.bEnable),
    VX_SETTING("aio.bVKeyboard", Flag, aio.bVKeyboard),
    VX_SETTING("aio.bPlayWaveOnClick", Flag, aio.bPlayWaveOnClick),
    VX_SETTING("aio.bPlayCollOnClick", Flag, aio.bPlayCollOnClick),
    VX_SETTING("aio.acVKlo", Text, aio.acVKlo),
    VX_SETTING("aio.acVKhi", Text, aio.acVKhi),
    VX_SETTING("aio.bMidiRecAudition", Flag, aio.bMidiRecAudition),
    VX_SETTING("aio.bMidiRecMetronome", Flag, aio.bMidiRecMetronome),
    VX_SETTING("viz.bWaveDispFill", Flag, viz.bWaveDispFill),
    VX_SETTING("viz.bWaveDispSplit", Flag, viz.bWaveDispSplit),
    VX_SETTING("viz.bTrackInEditor", Flag, viz.bTrackInEditor),
    VX_SETTING("viz.bSpectrum", Flag, viz.bSpectrum),
    VX_SETTING("viz.bChannels", Flag, viz.bChannels),
    VX_SETTING("sds.szOutDev", Text, sds.szOutDev),
    VX_SETTING("sds.szInDev", Text, sds.szInDev),
    VX_SETTING("sds.iOutChannel", I32, sds.iOutChannel),
    VX_SETTING("sds.iInChannel", I32, sds.iInChannel),
    VX_SETTING("sds.iOutBits", I32, sds.iOutBits),
    VX_SETTING("cds.iCDDev", I32, cds.iCDDev),
    VX_SETTING("cds.bReplaceColl", Flag, cds.bReplaceColl),
    VX_SETTING("app.wszWave", Wide, app.wszWave),
    VX_SETTING("app.wszMidi", Wide, app.wszMidi),
    VX_SETTING("app.szVSTPaths", Text, app.szVSTPaths),
    VX_SETTING("app.szUpdateAddress", Text, app.szUpdateAddress),
    VX_SETTING("features", U64, features),
    VX_SETTING("stat.iOpen", I32, stat.iOpen),
    VX_SETTING("stat.iSave", I32, stat.iSave),
    VX_SETTING("sall.iMode", I32, sall.iMode),
    VX_SETTING("sy2wt.dwSampleRate", U32, sy2wt.dwSampleRate),
    VX_SETTING("sy2wt.dwmsMaxLength", U32, sy2wt.dwmsMaxLength),
    VX_SETTING("sy2wt.dwmsMinLength", U32, sy2wt.dwmsMinLength),
    VX_SETTING("sy2wt.iNumWaves", I32, sy2wt.iNumWaves),
    VX_SETTING("mid2wav.dwSampleRate", U32, mid2wav.dwSampleRate),
    VX_SETTING("mid2wav.bEffects", Flag, mid2wav.bEffects),
    VX_SETTING("mid2wav.bDeleteSrc", Flag, mid2wav.bDeleteSrc),
    VX_SETTING("mid2wav.bNormalizePeak", Flag, mid2wav.bNormalizePeak),
    VX_SETTING("mid2wav.bDeleteSilence", Flag, mid2wav.bDeleteSilence),
    VX_SETTING("mid2wav.wszGMBank", Wide, mid2wav.wszGMBank),
    VX_SETTING("mid2wav.iMaxPolyphony", I32, mid2wav.iMaxPolyphony),
    VX_SETTING("fmt.aac.bWriteAPE", Flag, fmt.aac.bWriteAPE),
    VX_SETTING("fmt.aac.bWriteID3", Flag, fmt.aac.bWriteID3),
    VX_SETTING("fmt.aac.bWriteMS", Flag, fmt.aac.bWriteMS),
    VX_SETTING("fmt.mp2.bWriteID3", Flag, fmt.mp2.bWriteID3),
    VX_SETTING("fmt.mp2.bWriteJS", Flag, fmt.mp2.bWriteJS),
    VX_SETTING("fmt.mp3.bWriteAPE", Flag, fmt.mp3.bWriteAPE),
    VX_SETTING("fmt.mp3.bWriteID3", Flag, fmt.mp3.bWriteID3),
    VX_SETTING("fmt.mp3.bWriteJS", Flag, fmt.mp3.bWriteJS),
    VX_SETTING("fmt.sd2.bReadAsk", Flag, fmt.sd2.bReadAsk),
    VX_SETTING("fmt.sd2.dwSampleRate", U32, fmt.sd2.dwSampleRate),
    VX_SETTING("fmt.sd2.iBits", I32, fmt.sd2.iBits),
    VX_SETTING("fmt.sd2.iChannels", I32, fmt.sd2.iChannels),
    VX_SETTING("fmt.vox.bReadAsk", Flag, fmt.vox.bReadAsk),
    VX_SETTING("fmt.vox.dwDataFormat", U32, fmt.vox.dwDataFormat),
    VX_SETTING("fmt.wav.bNoLoopOff", Flag, fmt.wav.bNoLoopOff),
    VX_SETTING("batch.options", Bytes24, batch.options),
    VX_SETTING("batch.SaveFmts", Bytes50, batch.SaveFmts),
};
#undef VX_SETTING

template <class T> T& At(Settings& s, const Entry& e) {
    return *static_cast<T*>(e.field(s));
}
template <class T> const T& At(const Settings& s, const Entry& e) {
    return *static_cast<const T*>(e.field(const_cast<Settings&>(s)));
}

// ---------------------------------------------------------------- texts

std::string Escape(std::string_view text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += c;
        }
    }
    return out;
}

bool Unescape(std::string_view text, std::string& out) {
    out.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i >= text.size()) return false;
        switch (text[i]) {
        case '\\':
            out += '\\';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        case 't':
            out += '\t';
            break;
        default:
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------- numbers

bool ParseInt(std::string_view text, long long lo, long long hi, long long& value) {
    std::string s(text);
    if (s.empty()) return false;
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(s.c_str(), &end, 0);
    if (errno || *end || v < lo || v > hi) return false;
    value = v;
    return true;
}

bool ParseU64(std::string_view text, uint64_t& value) {
    std::string s(text);
    if (s.empty() || s[0] == '-') return false;
    errno = 0;
    char* end = nullptr;
    const unsigned long long v = std::strtoull(s.c_str(), &end, 0);
    if (errno || *end) return false;
    value = v;
    return true;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (;;) {
        size_t at = text.find(separator, start);
        parts.push_back(
            text.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start));
        if (at == std::string_view::npos) break;
        start = at + 1;
    }
    return parts;
}

bool ParseHexBytes(std::string_view text, uint8_t* out, size_t size) {
    if (text.size() != size * 2) return false;
    for (size_t i = 0; i < size; ++i) {
        auto nibble = [](char c) -> int {
            if (c >= '0' && c <= '9') return c - '0';
            if (c >= 'a' && c <= 'f') return c - 'a' + 10;
            if (c >= 'A' && c <= 'F') return c - 'A' + 10;
            return -1;
        };
        const int hi = nibble(text[2 * i]), lo = nibble(text[2 * i + 1]);
        if (hi < 0 || lo < 0) return false;
        out[i] = uint8_t(hi << 4 | lo);
    }
    return true;
}

std::string HexBytes(const uint8_t* data, size_t size) {
    static const char kDigits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < size; ++i) {
        out += kDigits[data[i] >> 4];
        out += kDigits[data[i] & 15];
    }
    return out;
}

// ---------------------------------------------------------------- one value

// Stores the text into the field when it is a valid value of the kind;
// else leaves the field as it was.
void ReadValue(Settings& s, const Entry& e, std::string_view text) {
    long long n;
    switch (e.kind) {
    case Kind::Flag:
        if (text == "0" || text == "1") At<bool>(s, e) = text == "1";
        break;
    case Kind::U8:
        if (ParseInt(text, 0, 255, n)) At<uint8_t>(s, e) = uint8_t(n);
        break;
    case Kind::I32:
        if (ParseInt(text, INT32_MIN, INT32_MAX, n)) At<int32_t>(s, e) = int32_t(n);
        break;
    case Kind::U32:
        if (ParseInt(text, 0, UINT32_MAX, n)) At<uint32_t>(s, e) = uint32_t(n);
        break;
    case Kind::F32: {
        std::string t(text);
        char* end = nullptr;
        const float v = std::strtof(t.c_str(), &end);
        if (!t.empty() && !*end && std::isfinite(v)) At<float>(s, e) = v;
        break;
    }
    case Kind::U64: {
        uint64_t v;
        if (ParseU64(text, v)) At<uint64_t>(s, e) = v;
        break;
    }
    case Kind::Text: {
        std::string v;
        if (Unescape(text, v)) At<std::string>(s, e) = v;
        break;
    }
    case Kind::Wide: {
        std::string v;
        if (Unescape(text, v)) At<std::u16string>(s, e) = Utf8ToWide(v);
        break;
    }
    case Kind::WideList: {
        std::vector<std::u16string> list;
        if (!text.empty())
            for (std::string_view part : Split(text, '\t')) {
                std::string v;
                if (!Unescape(part, v)) return;
                if (!v.empty()) list.push_back(Utf8ToWide(v));
            }
        At<std::vector<std::u16string>>(s, e) = std::move(list);
        break;
    }
    case Kind::Words: {
        std::vector<uint16_t> words;
        if (!text.empty())
            for (std::string_view part : Split(text, ',')) {
                if (!ParseInt(part, 0, 65535, n)) return;
                words.push_back(uint16_t(n));
            }
        At<std::vector<uint16_t>>(s, e) = std::move(words);
        break;
    }
    case Kind::SaveRows: {
        auto parts = Split(text, ',');
        std::array<uint16_t, 5> rows{};
        if (parts.size() != rows.size()) return;
        for (size_t i = 0; i < rows.size(); ++i) {
            if (!ParseInt(parts[i], 0, 65535, n)) return;
            rows[i] = uint16_t(n);
        }
        At<std::array<uint16_t, 5>>(s, e) = rows;
        break;
    }
    case Kind::Pair: {
        auto parts = Split(text, ',');
        long long a, b;
        if (parts.size() != 2 || !ParseInt(parts[0], INT32_MIN, INT32_MAX, a) ||
            !ParseInt(parts[1], INT32_MIN, INT32_MAX, b))
            return;
        int32_t* pair = &At<int32_t>(s, e);
        pair[0] = int32_t(a);
        pair[1] = int32_t(b);
        break;
    }
    case Kind::Bytes24: {
        std::array<uint8_t, 24> bytes;
        if (ParseHexBytes(text, bytes.data(), bytes.size())) At<std::array<uint8_t, 24>>(s, e) = bytes;
        break;
    }
    case Kind::Bytes50: {
        std::array<uint8_t, 50> bytes;
        if (ParseHexBytes(text, bytes.data(), bytes.size())) At<std::array<uint8_t, 50>>(s, e) = bytes;
        break;
    }
    }
}

std::string WriteValue(const Settings& s, const Entry& e) {
    char buffer[64];
    switch (e.kind) {
    case Kind::Flag:
        return At<bool>(s, e) ? "1" : "0";
    case Kind::U8:
        return std::to_string(At<uint8_t>(s, e));
    case Kind::I32:
        return std::to_string(At<int32_t>(s, e));
    case Kind::U32:
        return std::to_string(At<uint32_t>(s, e));
    case Kind::F32:
        std::snprintf(buffer, sizeof buffer, "%.9g", double(At<float>(s, e)));
        return buffer;
    case Kind::U64:
        std::snprintf(buffer, sizeof buffer, "0x%016" PRIx64, At<uint64_t>(s, e));
        return buffer;
    case Kind::Text:
        return Escape(At<std::string>(s, e));
    case Kind::Wide:
        return Escape(WideToUtf8(At<std::u16string>(s, e)));
    case Kind::WideList: {
        std::string out;
        for (const std::u16string& path : At<std::vector<std::u16string>>(s, e)) {
            if (!out.empty()) out += '\t';
            out += Escape(WideToUtf8(path));
        }
        return out;
    }
    case Kind::Words: {
        std::string out;
        for (uint16_t w : At<std::vector<uint16_t>>(s, e))
            out += (out.empty() ? "" : ",") + std::to_string(w);
        return out;
    }
    case Kind::SaveRows: {
        std::string out;
        for (uint16_t w : At<std::array<uint16_t, 5>>(s, e))
            out += (out.empty() ? "" : ",") + std::to_string(w);
        return out;
    }
    case Kind::Pair: {
        const int32_t* pair = &At<int32_t>(s, e);
        return std::to_string(pair[0]) + "," + std::to_string(pair[1]);
    }
    case Kind::Bytes24:
        return HexBytes(At<std::array<uint8_t, 24>>(s, e).data(), 24);
    case Kind::Bytes50:
        return HexBytes(At<std::array<uint8_t, 50>>(s, e).data(), 50);
    }
    return {};
}

constexpr size_t kMaxRecentFiles = 16;

} // namespace

std::filesystem::path SettingsPath() {
    std::filesystem::path base;
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config && *config) {
        base = config;
    } else {
        const char* home = std::getenv("HOME");
        base = std::filesystem::path(home && *home ? home : ".") / ".config";
    }
    return base / "ZLK-Software" / "Vaxel Studio.conf";
}

bool loadSettings(Settings& settings, const std::filesystem::path& given) {
    const std::filesystem::path path = given.empty() ? SettingsPath() : given;
    std::unordered_map<std::string_view, const Entry*> byName;
    for (const Entry& e : kEntries) byName.emplace(e.name, &e);

    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (in && std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        auto it = byName.find(std::string_view(line).substr(0, eq));
        if (it != byName.end()) ReadValue(settings, *it->second, std::string_view(line).substr(eq + 1));
    }
    SetFeatureMask(settings.features);
    return settings.VersionNumber.empty() || settings.VersionNumber == "0";
}

bool saveSettings(const Settings& settings, const std::filesystem::path& given) {
    const std::filesystem::path path = given.empty() ? SettingsPath() : given;
    std::error_code ec;
    std::filesystem::create_directories(path.parent_path(), ec);

    Settings current = settings;
    current.VersionNumber = kSettingsVersion;
    std::string text = "# Vaxel Studio settings: one name=value a line; written at exit.\n";
    for (const Entry& e : kEntries) text += std::string(e.name) + "=" + WriteValue(current, e) + "\n";

    std::string temp = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
    const int fd = mkstemp(temp.data());
    if (fd < 0) return false;
    bool ok = true;
    for (size_t done = 0; ok && done < text.size();) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n <= 0)
            ok = errno == EINTR;
        else
            done += size_t(n);
    }
    ok = ok && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (ok && std::rename(temp.c_str(), path.c_str()) == 0) return true;
    ::unlink(temp.c_str());
    return false;
}

void AddRecentFile(Settings& settings, std::u16string_view path) {
    if (path.empty()) return;
    RemoveRecentFile(settings, path);
    auto& list = settings.app.LastFilesW;
    list.insert(list.begin(), std::u16string(path));
    if (list.size() > kMaxRecentFiles) list.resize(kMaxRecentFiles);
}

void RemoveRecentFile(Settings& settings, std::u16string_view path) {
    auto& list = settings.app.LastFilesW;
    std::erase_if(list, [&](const std::u16string& entry) { return entry == path; });
}

} // namespace vaxel
