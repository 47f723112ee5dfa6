// The format table at run time: the rows with their bound routines, the
// queries the dialogs and the save flow ask, and detection.
#include "fileio/format_table.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <mutex>

#include "fileio/file_object.h"
#include "fileio/format_rows.h"
#include "fileio/generic_import.h"
#include "fileio/sample_coding.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {

namespace {

constexpr size_t kDetectBytes = 32768;

// Row 0 takes any file: it answers 2 for everything and its pattern matches
// every extension, so it scores 4 and another row wins only with 5 or more.
int DetectUnrecognized(const uint8_t*, uint32_t, size_t, uint64_t, int) {
    return 2;
}

FormatEntry* Table() {
    static FormatEntry table[formatCount];
    static std::once_flag once;
    std::call_once(once, [] {
        for (int i = 0; i < formatCount; ++i) {
            const FormatRowData& d = kFormatRowData[i];
            table[i] = FormatEntry{d.extension, nullptr,      nullptr, nullptr, d.description,
                                   d.itemMask,  d.codingMask, d.param, nullptr};
        }
        table[0].detect = DetectUnrecognized;
        table[0].read = ReadUnrecognized;
    });
    return table;
}

bool ValidRow(int row) {
    return row >= 0 && row < formatCount;
}

char16_t Lower(char16_t c) {
    return FoldCase(c);
}

bool SameExtensionIgnoreCase(std::u16string_view a, std::u16string_view b) {
    return EqualsIgnoreCase(a, b);
}

} // namespace

const FormatEntry* formatRow(int row) {
    return ValidRow(row) ? &Table()[row] : nullptr;
}

int findFormatRow(const char16_t* extension, const char16_t* description) {
    if (!extension || !description) return -1;
    const FormatEntry* table = Table();
    for (int i = 0; i < formatCount; ++i)
        if (std::u16string_view(table[i].extension) == extension &&
            std::u16string_view(table[i].description) == description)
            return i;
    return -1;
}

bool bindFormat(const char16_t* extension, const char16_t* description, const FormatRoutines& r) {
    int row = findFormatRow(extension, description);
    auto complain = [&](const char* why) {
        std::fprintf(stderr, "vaxel: format binding %s/%s: %s\n",
                     WideToUtf8(extension ? extension : u"").c_str(),
                     WideToUtf8(description ? description : u"").c_str(), why);
        return false;
    };
    if (row < 0) return complain("no such row");
    const FormatRowData& d = kFormatRowData[row];
    FormatEntry& e = Table()[row];
    if ((r.read || r.detect) && !d.reads) return complain("the row does not read");
    if (r.write && !d.writes) return complain("the row does not write");
    if ((r.read && e.read) || (r.write && e.write) || (r.detect && e.detect) || (r.bitRateAt && e.bitRateAt))
        return complain("bound twice");
    if (r.read) e.read = r.read;
    if (r.write) e.write = r.write;
    if (r.detect) e.detect = r.detect;
    if (r.bitRateAt) e.bitRateAt = r.bitRateAt;
    return true;
}

int readerCount() {
    const FormatEntry* t = Table();
    return int(std::count_if(t, t + formatCount, [](const FormatEntry& e) { return e.read != nullptr; }));
}

int writerCount() {
    const FormatEntry* t = Table();
    return int(std::count_if(t, t + formatCount, [](const FormatEntry& e) { return e.write != nullptr; }));
}

std::u16string extensionOf(int row) {
    return ValidRow(row) ? std::u16string(Table()[row].extension) : u"";
}

std::u16string descriptionOf(int row) {
    return ValidRow(row) ? std::u16string(Table()[row].description) : u"<none>";
}

uint32_t capsOf(int row, uint32_t* param) {
    if (param) *param = 0;
    if (!ValidRow(row)) return 0;
    // What a row can hold is table data; whether its writer is built yet does
    // not change it, so the row data's writer flag decides here.
    const FormatEntry* t = Table();
    std::u16string_view ext = t[row].extension;
    for (int i = row; i < formatCount && std::u16string_view(t[i].extension) == ext; ++i) {
        if (kFormatRowData[i].writes) {
            if (param) *param = t[i].param;
            return t[i].codingMask;
        }
    }
    return 0;
}

bool itemAllowed(int row, int itemType) {
    if (!ValidRow(row) || itemType < 0 || itemType > 7) return false;
    const FormatEntry& e = Table()[row];
    return e.write && (e.itemMask & (1u << itemType));
}

namespace {
bool NextRow(int& row, RowInfo* info, bool writers) {
    if (row < 0) row = 0;
    const FormatEntry* t = Table();
    for (; row < formatCount; ++row) {
        const FormatEntry& e = t[row];
        if (writers ? e.write == nullptr : e.read == nullptr) continue;
        if (info) {
            info->extension = e.extension;
            info->description = e.description;
            info->itemMask = e.itemMask;
            info->codingMask = writers ? e.codingMask : 0;
        }
        return true;
    }
    return false;
}
} // namespace

bool nextReadRow(int& row, RowInfo* info) {
    return NextRow(row, info, false);
}
bool nextWriteRow(int& row, RowInfo* info) {
    return NextRow(row, info, true);
}

int findWriteRowByExtension(std::u16string_view extension, uint32_t itemMask) {
    if (!extension.empty() && extension.front() == u'.') extension.remove_prefix(1);
    const FormatEntry* t = Table();
    for (int i = 0; i < formatCount; ++i)
        if (t[i].write && (t[i].itemMask & itemMask) && SameExtensionIgnoreCase(t[i].extension, extension))
            return i;
    return -1;
}

bool isKnownExtension(std::u16string_view extension) {
    if (extension.empty() || extension == u"*") return false;
    const FormatEntry* t = Table();
    for (int i = 1; i < formatCount; ++i)
        if (SameExtensionIgnoreCase(t[i].extension, extension)) return true;
    return false;
}

namespace {
// Every Waveform that an item would save: its own, its regions', or all of a
// collection's.
void CollectWaves(const CollectionItem& item, std::vector<const Waveform*>& out) {
    const Collection& c = item.collection();
    switch (item.type()) {
    case ItemType::Waveform:
        out.push_back(static_cast<const Waveform*>(&item));
        break;
    case ItemType::Region:
        if (const Waveform* w = static_cast<const Region&>(item).waveform()) out.push_back(w);
        break;
    case ItemType::Layer:
    case ItemType::Instrument: {
        ItemType child = item.type() == ItemType::Instrument ? ItemType::Layer : ItemType::Region;
        for (ItemId id : item.ids)
            if (const CollectionItem* sub = c.find(child, id)) CollectWaves(*sub, out);
        break;
    }
    case ItemType::Collection:
        for (const Waveform* w : ItemsOf<Waveform>(c)) out.push_back(w);
        break;
    default:
        break;
    }
}
} // namespace

int channelsForSave(int row, const CollectionItem& item) {
    const FormatEntry* e = formatRow(row);
    if (!e) return 0;
    // A song goes out as its stereo render.
    if (item.type() == ItemType::Song || item.type() == ItemType::Track) return ChannelsFor(2, e->codingMask);
    std::vector<const Waveform*> waves;
    CollectWaves(item, waves);
    int result = 0;
    for (const Waveform* w : waves) {
        int n = ChannelsFor(*w, e->codingMask);
        if (result && n != result) return 0;
        result = n;
    }
    return result;
}

int codingForSave(int row, const CollectionItem& item, std::u16string* label) {
    const FormatEntry* e = formatRow(row);
    int result = -1;
    float rate = 0.0f;
    if (e) {
        std::vector<const Waveform*> waves;
        CollectWaves(item, waves);
        for (const Waveform* w : waves) {
            float wanted = 0.0f;
            int coding = ChooseCoding(*w, e->codingMask, &wanted, e->bitRateAt, e->param);
            if (result >= 0 && coding != result) {
                result = kMixedCoding;
                break;
            }
            result = coding;
            rate = wanted;
        }
    }
    if (result < 0) result = kMixedCoding;
    if (label) {
        if (result == kMixedCoding) {
            *label = u"Mixed";
        } else if (result == kCompressed) {
            *label = u"Compressed";
            if (rate > 0.0f && e && e->bitRateAt) {
                char16_t text[kBitRateLabelCapacity + 1] = {};
                for (int i = 0;; ++i) {
                    int listed = e->bitRateAt(i, e->param, nullptr);
                    if (listed <= 0) break;
                    if (listed == int(rate + 0.5f)) {
                        e->bitRateAt(i, e->param, text);
                        *label = text;
                        break;
                    }
                }
            }
        } else {
            *label = DataCodingName(result);
        }
    }
    return result;
}

std::vector<SaveChoice> dataFormatChoices(int row, const CollectionItem& item) {
    std::vector<SaveChoice> out;
    const FormatEntry* e = formatRow(row);
    if (!e) return out;
    std::u16string automatic;
    codingForSave(row, item, &automatic);
    out.push_back({kAutoCoding, u"Auto <" + automatic + u">"});
    for (int coding = 0; coding < kDataCodingCount; ++coding) {
        if (!(e->codingMask & (1u << coding)) || !*DataCodingName(coding)) continue;
        if (coding == kCompressed && e->bitRateAt) {
            for (int i = 0;; ++i) {
                char16_t text[kBitRateLabelCapacity + 1] = {};
                if (e->bitRateAt(i, e->param, text) <= 0) break;
                out.push_back({kFirstBitRateChoice + i, text});
            }
            continue;
        }
        out.push_back({coding, DataCodingName(coding)});
    }
    return out;
}

bool applyDataFormatChoice(int row, int position, WriteOptions& options) {
    const FormatEntry* e = formatRow(row);
    if (!e) return false;
    uint32_t codings;
    float rate = options.bitRate;
    if (position == kAutoCoding) {
        codings = e->codingMask & kMaskCodings;
    } else if (position >= 0 && position < kAutoCoding) {
        if (!(e->codingMask & (1u << position))) return false;
        codings = 1u << position;
    } else {
        const int listed = e->bitRateAt && position > kAutoCoding
                               ? e->bitRateAt(position - kFirstBitRateChoice, e->param, nullptr)
                               : 0;
        if (listed <= 0) return false;
        codings = 1u << kCompressed;
        rate = float(listed);
    }
    if (options.codingMask == 0) options.codingMask = e->codingMask;
    options.codingMask = (options.codingMask & ~kMaskCodings) | codings;
    options.bitRate = rate;
    return true;
}

std::vector<SaveChoice> channelFormatChoices(int row, const CollectionItem& item) {
    std::vector<SaveChoice> out;
    const FormatEntry* e = formatRow(row);
    if (!e) return out;
    if (!(e->codingMask & (kMaskMono | kMaskStereo | kMaskDualMono))) {
        out.push_back({0, u"N/A"});
        return out;
    }
    const int channels = channelsForSave(row, item);
    out.push_back({0, channels == 1 ? u"Auto <Mono>" : channels == 2 ? u"Auto <Stereo>" : u"Auto <Mixed>"});
    if (e->codingMask & kMaskMono) out.push_back({1, u"Mono"});
    if (e->codingMask & kMaskStereo) out.push_back({2, u"Stereo"});
    return out;
}

bool applyChannelChoice(int row, int position, WriteOptions& options) {
    const FormatEntry* e = formatRow(row);
    if (!e) return false;
    const uint32_t channelBits = kMaskMono | kMaskStereo | kMaskDualMono;
    uint32_t wanted;
    switch (position) {
    case 0:
        wanted = e->codingMask & channelBits;
        break;
    case 1:
        wanted = kMaskMono;
        break;
    case 2:
        wanted = kMaskStereo;
        break;
    default:
        return false;
    }
    if (position && !(e->codingMask & wanted)) return false;
    if (options.codingMask == 0) options.codingMask = e->codingMask;
    options.codingMask = (options.codingMask & ~channelBits) | wanted;
    return true;
}

bool matchExtension(std::u16string_view pattern, std::u16string_view extension) {
    size_t f = 0;
    for (size_t p = 0; p < pattern.size(); ++p) {
        char16_t pc = Lower(pattern[p]);
        if (pc == u'*') return true;
        if (pc == u'?') {
            // Takes the file's character as it stands, even its end.
            if (f < extension.size()) ++f;
            continue;
        }
        if (f >= extension.size() || Lower(extension[f]) != pc) return false;
        ++f;
    }
    return f == extension.size();
}

int detectInRows(const FormatEntry* rows, int count, std::u16string_view fileName, const uint8_t* buffer,
                 size_t bytes, uint64_t fileSize, int* confidence, int* bestScore) {
    if (confidence) *confidence = 0;
    if (bestScore) *bestScore = -1;
    if (fileSize == 0) return -1;
    // The extension is what follows the last point of the file name; with no
    // point the patterns are matched against the whole path, where only "*"
    // can match.
    std::u16string_view extension = fileName;
    size_t slash = fileName.find_last_of(u"/\\");
    size_t dot = fileName.find_last_of(u'.');
    if (dot != std::u16string_view::npos && (slash == std::u16string_view::npos || dot > slash))
        extension = fileName.substr(dot + 1);

    int best = -1, bestRow = -1;
    for (int row = 0; row < count; ++row) {
        const FormatEntry& e = rows[row];
        // Every row with a detector is asked. A detector can stand before its
        // reader does; every row with a reader has one.
        if (!e.detect) continue;
        const bool anyExtension = std::u16string_view(e.extension) == u"*";
        int score = e.detect(buffer, e.param, bytes, fileSize, row);
        if (matchExtension(e.extension, extension)) score += anyExtension ? 2 : 3;
        if (score > best) {
            best = score;
            bestRow = row;
        }
    }
    if (bestScore) *bestScore = best;
    if (bestRow < 0) return -1;
    const bool anyExtension = std::u16string_view(rows[bestRow].extension) == u"*";
    if (best < 3 && !anyExtension) return -1;
    // A score of 9 (a magic number and the extension) shows as 100%.
    if (confidence) *confidence = anyExtension || best < 3 ? 0 : best * 100 / 9;
    return bestRow;
}

int detectFormatInBuffer(std::u16string_view fileName, const uint8_t* buffer, size_t bytes, uint64_t fileSize,
                         int* confidence, int* bestScore) {
    return detectInRows(Table(), formatCount, fileName, buffer, bytes, fileSize, confidence, bestScore);
}

int detectFormat(const std::filesystem::path& path, FileObject& file, int* confidence) {
    if (confidence) *confidence = 0;
    uint64_t size = file.Size();
    if (size == 0) {
        SetLastError(u"File is of zero size");
        return -1;
    }
    uint8_t buffer[kDetectBytes];
    size_t want = size < kDetectBytes ? size_t(size) : kDetectBytes;
    size_t got = file.ReadAt(0, buffer, want);
    if (got != want) {
        SetLastError(u"Reading from file failed");
        return -1;
    }
    return detectFormatInBuffer(path.u16string(), buffer, got, size, confidence);
}

namespace {
// The desktop's own name of a file type, from the shared MIME database:
// globs2 maps "*.ext" to a type, and the type's own file carries its comment.
std::u16string PlatformTypeName(std::u16string_view extension) {
    if (extension.empty()) return {};
    std::string ext = WideToUtf8(extension);
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    std::ifstream globs("/usr/share/mime/globs2");
    std::string line, type;
    const std::string wanted = "*." + ext;
    while (std::getline(globs, line)) {
        // weight:type:glob[:flags]
        size_t a = line.find(':');
        size_t b = a == std::string::npos ? a : line.find(':', a + 1);
        if (b == std::string::npos) continue;
        size_t c = line.find(':', b + 1);
        std::string glob = line.substr(b + 1, c == std::string::npos ? std::string::npos : c - b - 1);
        if (glob == wanted) {
            type = line.substr(a + 1, b - a - 1);
            break;
        }
    }
    if (type.empty() || type.find("..") != std::string::npos) return {};
    std::ifstream xml("/usr/share/mime/" + type + ".xml");
    while (std::getline(xml, line)) {
        size_t open = line.find("<comment>");
        if (open == std::string::npos) continue;
        size_t close = line.find("</comment>", open);
        if (close == std::string::npos) continue;
        std::string text = line.substr(open + 9, close - open - 9);
        if (text.size() > 80) text.resize(80);
        return Utf8ToWide(text);
    }
    return {};
}
} // namespace

bool describeFile(const std::filesystem::path& path, std::u16string& name, int& confidence) {
    name.clear();
    confidence = 0;
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) return false;
    int row = detectFormat(path, file, &confidence);
    name = row < 0 ? std::u16string(u"Unknown file type") : descriptionOf(row);
    if (row <= 0 || confidence == 0) {
        std::u16string ext = path.extension().u16string();
        if (!ext.empty()) ext.erase(0, 1);
        std::u16string platform = PlatformTypeName(ext);
        if (!platform.empty()) name = platform;
    }
    return true;
}

bool isSupportedFile(const std::filesystem::path& path) {
    FileObject file;
    if (!file.Open(path, FileObject::kRead)) return false;
    int confidence;
    return detectFormat(path, file, &confidence) >= 0;
}

namespace {
FilterEntry MakeFilter(int row) {
    const FormatEntry& e = Table()[row];
    std::u16string ext = e.extension;
    std::u16string lower = ext;
    for (char16_t& c : lower) c = Lower(c);
    return FilterEntry{row, lower + u" - " + e.description, u"*." + ext};
}
} // namespace

std::vector<FilterEntry> openDialogFilters() {
    std::vector<FilterEntry> out;
    const FormatEntry* t = Table();
    for (int row = 1; row < formatCount; ++row)
        if (t[row].read) out.push_back(MakeFilter(row));
    return out;
}

std::vector<FilterEntry> saveDialogFilters(uint32_t itemMask) {
    std::vector<FilterEntry> out;
    const FormatEntry* t = Table();
    auto add = [&](uint32_t mask) {
        for (int row = 0; row < formatCount; ++row)
            if (t[row].write && (t[row].itemMask & mask)) out.push_back(MakeFilter(row));
    };
    add(itemMask);
    // A song can be rendered, so the wave rows follow its own.
    if (itemMask == 0x40) add(0x01);
    return out;
}

} // namespace vaxel
