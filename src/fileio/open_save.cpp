// Open, merge, replace and save: the flows between files and the Collection.
#include "fileio/open_save.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <system_error>

#include "fileio/file_object.h"
#include "fileio/path_util.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel {

namespace fs = std::filesystem;

namespace {

std::atomic<int> gLoading{0};
std::atomic<int> gSaving{0};

// Raises a process-wide flag for the life of the guard.
class FlagUp {
  public:
    explicit FlagUp(std::atomic<int>& flag) : flag_(flag) { flag_.fetch_add(1); }
    ~FlagUp() { flag_.fetch_sub(1); }
    FlagUp(const FlagUp&) = delete;
    FlagUp& operator=(const FlagUp&) = delete;

  private:
    std::atomic<int>& flag_;
};

std::u16string PathText(const fs::path& path) {
    return Utf8ToWide(path.string());
}
std::u16string FileNameText(const fs::path& path) {
    return Utf8ToWide(path.filename().string());
}

void ShowStatus(std::u16string_view text, int mode) {
    Status().status(text, mode);
}

} // namespace

FlowHooks& Flows() {
    static FlowHooks hooks;
    return hooks;
}

bool IsLoading() {
    return gLoading.load() > 0;
}
bool IsSaving() {
    return gSaving.load() > 0;
}

// ---------------------------------------------------------------- open

int openFile(Collection& collection, const fs::path& given, bool force) {
    // Formats that refer to other files find them relative to this one. The
    // path is made absolute first: it may be relative to the old folder.
    std::error_code ec;
    const fs::path path = fs::absolute(given, ec);
    if (!ec) fs::current_path(path.parent_path(), ec);

    FileObject file;
    if (!file.Open(path, FileObject::kRead)) {
        if (Flows().noteRecentError) Flows().noteRecentError(path);
        SetLastError(u"Could not open file");
        return 0;
    }
    if (file.Size() == 0) {
        SetLastError(u"File is of zero size");
        return 0;
    }
    int confidence = 0;
    const int row = detectFormat(path, file, &confidence);
    if (row < 0) {
        SetLastError(u"Not a supported import file type");
        return 0;
    }
    if (!force && confidence == 0) {
        SetLastError(u"Not detected as any supported file type");
        return 0;
    }
    const FormatEntry* entry = formatRow(row);
    if (!entry || !entry->read) {
        SetLastError(u"Not a supported import file type");
        return 0;
    }

    collection.clear();
    collection.setText(kInfoSourceFile, PathText(path));
    collection.sourceFormat = row;
    collection.setName(Utf8ToWide(path.stem().string()).c_str());

    int result;
    {
        FlagUp loading(gLoading);
        file.Seek(0);
        result = entry->read(collection, file, entry->param) & 0xFF;
    }
    file.Close();

    if (!result) {
        // Keep the reader's words; the collection must not keep half a file.
        std::u16string words = LastError();
        collection.clear();
        collection.setName(u"Empty collection");
        SetLastError(words);
        return 0;
    }
    collection.update(-1, true);
    return 1;
}

int mergeFile(Collection& collection, const fs::path& path) {
    Collection temporary;
    if (!openFile(temporary, path, true)) return 0;
    const bool onlyWaves = temporary.count(ItemType::Instrument) == 0 && temporary.count(ItemType::Song) == 0;
    collection.merge(temporary);
    if (Flows().refreshView) Flows().refreshView(collection);
    if (GlobalSettings().load.bAutoRemoveDupWaves && !onlyWaves && Flows().removeDuplicateWaves)
        Flows().removeDuplicateWaves(collection);
    return 1;
}

int replaceWaves(Collection& collection, const fs::path& path, int* replaced) {
    int count = 0;
    Collection temporary;
    if (!openFile(temporary, path, true)) {
        if (replaced) *replaced = 0;
        return 0;
    }
    for (Waveform* from : ItemsOf<Waveform>(temporary)) {
        for (Waveform* here : ItemsOf<Waveform>(collection)) {
            if (std::u16string_view(here->name()) != from->name()) continue;
            // The samples must be present to be shared; the temporary
            // collection and its file go away at the end of this call.
            if (!from->lockSamples()) return 0;
            here->shareSamples(*from);
            ++count;
            break;
        }
    }
    if (replaced) *replaced = count;
    return 1;
}

int openCommand(Collection& collection, const fs::path& path, int command, bool silent) {
    FlowHooks& hooks = Flows();
    if (hooks.resetSynthScope) hooks.resetSynthScope();
    if (command == kCommandOpen) {
        if (hooks.stopPlayback) hooks.stopPlayback();
        if (hooks.dropUndoHistory) hooks.dropUndoHistory();
    }
    std::error_code ec;
    if (fs::is_directory(path, ec)) return 0;

    ShowStatus(u"Reading: " + FileNameText(path), kStatusProgress);
    BackgroundLoader::Stop();

    int result;
    int replaced = 0;
    if (command == kCommandReplace)
        result = replaceWaves(collection, path, &replaced);
    else if (command == kCommandMerge)
        result = mergeFile(collection, path);
    else
        result = openFile(collection, path, true);
    if (hooks.refreshView) hooks.refreshView(collection);

    if (result) {
        if (!silent) {
            std::u16string text = command == kCommandMerge ? u"Merged: " : u"Opened: ";
            text += FileNameText(path);
            if (command == kCommandReplace)
                text += u" (" + Utf8ToWide(std::to_string(replaced)) + u" waveforms replaced)";
            ShowStatus(text, kStatusFinal);
            ShowStatus(u"", kStatusClearProgress);
            if (hooks.addRecent) hooks.addRecent(path);
        }
        if (GlobalSettings().app.bAsyncWaveLoad) BackgroundLoader::QueueCollection(collection);
    } else {
        if (!silent && hooks.showError) hooks.showError(LastError());
        if (hooks.removeRecent) hooks.removeRecent(path);
    }
    return result;
}

// ---------------------------------------------------------------- save

namespace {

bool HoldsSynthesisModel(Collection& c, CollectionItem& item) {
    switch (item.type()) {
    case ItemType::SynthesisModel:
        return true;
    case ItemType::Region:
        for (ItemId id : item.ids)
            if (TypeOf(id) == ItemType::SynthesisModel && c.find(id)) return true;
        return false;
    case ItemType::Layer:
    case ItemType::Instrument:
        for (ItemId id : item.ids)
            if (CollectionItem* child = c.find(id); child && HoldsSynthesisModel(c, *child)) return true;
        return false;
    case ItemType::Collection:
        return c.count(ItemType::SynthesisModel) > 0;
    default:
        return false;
    }
}

bool HasStereoWave(Collection& c, CollectionItem& item) {
    switch (item.type()) {
    case ItemType::Waveform:
        return static_cast<Waveform&>(item).channels > 1;
    case ItemType::Region:
        if (Waveform* w = static_cast<Region&>(item).waveform()) return w->channels > 1;
        return false;
    case ItemType::Layer:
    case ItemType::Instrument:
        for (ItemId id : item.ids)
            if (CollectionItem* child = c.find(id); child && HasStereoWave(c, *child)) return true;
        return false;
    case ItemType::Collection:
        for (Waveform* w : ItemsOf<Waveform>(c))
            if (w->channels > 1) return true;
        return false;
    default:
        return false;
    }
}

// A playable Instrument around a Region, Layer or SynthesisModel, with the
// fields of the Instrument above it; the caller deletes it.
Instrument* TemporaryInstrument(Collection& c, CollectionItem& item) {
    Instrument* owner = nullptr;
    for (CollectionItem* up = item.parent(); up; up = up->parent())
        if (up->type() == ItemType::Instrument) {
            owner = static_cast<Instrument*>(up);
            break;
        }
    auto* instrument = new Instrument(c, kNewSerial, owner ? owner->name() : item.name());
    if (owner) instrument->location = owner->location;
    if (item.type() == ItemType::SynthesisModel) {
        instrument->setName(item.name());
        auto* layer = new Layer(c, kNewSerial);
        instrument->addChild(*layer);
        auto* region = new Region(c, kNewSerial);
        layer->addChild(*region);
        auto* model = new SynthesisModel(c, static_cast<SynthesisModel&>(item));
        region->addChild(*model);
    } else if (item.type() == ItemType::Region) {
        Layer* sourceLayer = item.parent() && item.parent()->type() == ItemType::Layer
                                 ? static_cast<Layer*>(item.parent())
                                 : nullptr;
        Layer* layer = new Layer(c, kNewSerial);
        if (sourceLayer && sourceLayer->hasName()) layer->setName(sourceLayer->name());
        instrument->addChild(*layer);
        auto* region = new Region(c, static_cast<Region&>(item));
        layer->addChild(*region);
    } else {
        auto* layer = new Layer(c, static_cast<Layer&>(item));
        instrument->addChild(*layer);
    }
    return instrument;
}

// A Song around one Track, with the tempo map of a format 1 song.
Song* TemporarySong(Collection& c, Track& track) {
    auto* song = new Song(c, kNewSerial, track.name());
    auto* owner = track.parent() && track.parent()->type() == ItemType::Song
                      ? static_cast<Song*>(track.parent())
                      : nullptr;
    if (owner) {
        song->format = owner->format;
        song->division = owner->division;
        if (owner->ids.size() > 1) {
            if (auto* first = dynamic_cast<Track*>(c.find(owner->ids[0])); first && first != &track) {
                auto* tempo = new Track(c, *first);
                song->addChild(*tempo);
            }
        }
    }
    auto* copy = new Track(c, track);
    copy->port = 0;
    song->addChild(*copy);
    return song;
}

bool IsFull(Collection& c, CollectionItem& item, uint32_t codingMask, int row, bool rendered) {
    if (rendered) return true;
    const bool songsCount = (codingMask & (1u << 19)) ||
                            (item.type() == ItemType::Collection && itemAllowed(row, int(ItemType::Song)));
    if (item.type() == ItemType::Collection) {
        if (c.count(ItemType::Waveform) > 0) return true;
        return songsCount && c.count(ItemType::Song) > 0;
    }
    if (item.type() == ItemType::Waveform) return true;
    return !item.ids.empty();
}

// Writes to a temporary file in the target's folder and renames it over the
// target on success, so that the target is never half written.
class AtomicTarget {
  public:
    explicit AtomicTarget(const fs::path& target) : target_(target) {}
    ~AtomicTarget() { discard(); }
    AtomicTarget(const AtomicTarget&) = delete;
    AtomicTarget& operator=(const AtomicTarget&) = delete;

    bool open(FileObject& file) {
        fs::path folder = target_.parent_path();
        if (folder.empty()) folder = ".";
        std::string pattern = (folder / ("." + target_.filename().string() + ".vaxel-XXXXXX")).string();
        int fd = mkstemp(pattern.data());
        if (fd < 0) return false;
        // mkstemp makes the file private; give it the mode a new file gets,
        // or the mode of the file it replaces.
        struct stat old {};
        mode_t mode;
        if (stat(target_.c_str(), &old) == 0) {
            mode = old.st_mode & 07777;
        } else {
            mode_t mask = umask(0);
            umask(mask);
            mode = 0666 & ~mask;
        }
        fchmod(fd, mode);
        ::close(fd);
        temp_ = pattern;
        return file.Open(temp_, FileObject::kCreate);
    }
    bool commit(FileObject& file) {
        bool ok = file.Flush();
        file.Close();
        if (ok && std::rename(temp_.c_str(), target_.c_str()) == 0) {
            temp_.clear();
            return true;
        }
        return false;
    }
    void discard() {
        if (!temp_.empty()) ::unlink(temp_.c_str());
        temp_.clear();
    }

  private:
    fs::path target_;
    fs::path temp_;
};

} // namespace

int saveItem(CollectionItem* item, int row, const fs::path& path, WriteOptions options, bool force) {
    if (!item) {
        SetLastError(u"No item selected");
        return 0;
    }
    const FormatEntry* entry = formatRow(row);
    if (!entry || !entry->write) {
        SetLastError(u"Invalid export format selected");
        return 0;
    }
    options.param = entry->param;
    if (options.codingMask == 0) options.codingMask = entry->codingMask;

    Collection& c = item->collection();
    FlowHooks& hooks = Flows();
    const ItemType itemType = item->type();

    // What is really written.
    CollectionItem* target = item;
    CollectionItem* temporary = nullptr;
    bool render = false;
    switch (itemType) {
    case ItemType::SynthesisModel:
    case ItemType::Region:
    case ItemType::Layer:
        target = temporary = TemporaryInstrument(c, *item);
        break;
    case ItemType::Track:
        target = temporary = TemporarySong(c, static_cast<Track&>(*item));
        render = !(entry->codingMask & (1u << 19));
        break;
    case ItemType::Song:
        render = !(entry->codingMask & (1u << 19));
        break;
    default:
        break;
    }
    const bool hasSynth = HoldsSynthesisModel(c, *target);

    // Throw out the empty items below the item's level. A temporary item
    // stands in the collection too and survives: it is never empty.
    c.update((1 << int(itemType)) - 1, false);

    if (itemType != ItemType::Waveform && hooks.stopSynthSound) hooks.stopSynthSound();

    FlagUp saving(gSaving);
    int result = 0;
    bool stateTaken = false;
    bool rendered = false;
    auto restore = [&] {
        if (stateTaken && hooks.restoreTemporaryState) hooks.restoreTemporaryState(c);
        stateTaken = false;
    };
    auto finish = [&](int value) {
        restore();
        if (temporary) delete temporary;
        return value;
    };

    if (!ensureSamples(target)) return finish(0);

    if (render) {
        CollectionItem* wave = hooks.renderSong ? hooks.renderSong(*target) : nullptr;
        if (!wave) {
            SetLastError(u"Save aborted!");
            return finish(0);
        }
        if (temporary) delete temporary;
        target = temporary = wave;
        rendered = true;
    }

    if (hasSynth) {
        stateTaken = hooks.takeTemporaryState && hooks.takeTemporaryState(c);
        if (!hooks.renderSynthModels || !hooks.renderSynthModels(*target)) {
            SetLastError(u"Failed to render synth to wave");
            return finish(0);
        }
        rendered = true;
    }

    if (!force && !IsFull(c, *target, options.codingMask, row, rendered)) {
        SetLastError(u"Empty item - nothing to save");
        return finish(0);
    }

    const ItemType savedType = target->type();
    if ((savedType == ItemType::Instrument || savedType == ItemType::Collection) &&
        (options.codingMask & kMaskDualMono) && !(options.codingMask & kMaskStereo) &&
        HasStereoWave(c, *target)) {
        if (!stateTaken) stateTaken = hooks.takeTemporaryState && hooks.takeTemporaryState(c);
        if (!hooks.splitStereoToDualMono || !hooks.splitStereoToDualMono(*target)) {
            SetLastError(u"The file format can not save this item");
            return finish(0);
        }
    }

    ShowStatus(u"Writing: " + FileNameText(path), kStatusProgress);

    FileObject file;
    AtomicTarget atomic(path);
    if (!atomic.open(file)) {
        SetLastError(u"Could not create file");
        return finish(0);
    }
    result = entry->write(*target, file, options) & 0xFF;
    if (result && !atomic.commit(file)) {
        SetLastError(u"Writing to file failed");
        result = 0;
    }
    if (!result) {
        file.Close();
        atomic.discard();
    }
    return finish(result);
}

int saveFile(CollectionItem* item, const fs::path& path, int row, WriteOptions options, bool showStatus) {
    if (!item) return 1;
    if (showStatus) ShowStatus(u"Saving\u2026", kStatusProgress);
    // A save goes to a temporary file that replaces the target only when it
    // is complete, so a failed overwrite leaves the old file in place and
    // there is no backup name to restore from.
    if (!saveItem(item, row, path, options, false)) {
        if (showStatus) ShowStatus(u"Failed to Save.", kStatusError);
        if (Flows().addRecent) Flows().addRecent(path);
        return 0;
    }
    if (showStatus && item->type() == ItemType::Collection) {
        auto& c = static_cast<Collection&>(*item);
        c.setText(kInfoSourceFile, PathText(fs::absolute(path)));
        c.sourceFormat = row;
    }
    if (showStatus) {
        std::error_code ec;
        const uint64_t size = fs::file_size(path, ec);
        std::string amount;
        if (size < 1024)
            amount = std::to_string(size) + " Bytes";
        else if (size < 1024 * 1024)
            amount = std::to_string((size + 512) / 1024) + " KB";
        else
            amount = std::to_string(((size + 512) / 1024 + 512) / 1024) + " MB";
        ShowStatus(u"Saved: " + FileNameText(path) + u" (" + Utf8ToWide(amount) + u")", kStatusFinal);
    }
    if (Flows().addRecent) Flows().addRecent(path);
    return 1;
}

void ResolveSaveTarget(std::u16string& path, int& row, uint32_t itemMask) {
    const size_t namePart = FileNamePart(path);
    const size_t dot = ExtensionPart(std::u16string_view(path).substr(namePart));
    const std::u16string rowExtension = extensionOf(row);
    if (namePart + dot >= path.size()) {
        path += u'.';
        path += rowExtension;
        return;
    }
    std::u16string_view extension = std::u16string_view(path).substr(namePart + dot + 1);
    const int found = findWriteRowByExtension(extension, itemMask);
    if (found >= 0) {
        if (!matchExtension(rowExtension, extension)) row = found;
        return;
    }
    path += u'.';
    path += rowExtension;
}

// ---------------------------------------------------------------- save all

const char16_t* SaveAllSchemeText(int scheme) {
    switch (scheme) {
    case kNameBaseNumber:
        return u"Save as:  foo - <number>.bar";
    case kNameNumberBase:
        return u"Save as:  <number> - foo.bar";
    case kNameBaseName:
        return u"Save as:  foo - <name>.bar";
    case kNameName:
        return u"Save as:  <name>.bar";
    case kNameNumberName:
        return u"Save as:  <number> - <name>.bar";
    case kNameSourceFile:
        return u"Save as:  <source-file-name>.bar";
    case kNameBankProgram:
        return u"Save as:  <hibank>-<lobank>-<prg> - <name>.bar";
    case kNamePrompt:
        return u"Prompt for a file name for each file";
    default:
        return u"";
    }
}

std::u16string SaveAllFileName(int scheme, std::u16string_view baseName, int number,
                               const CollectionItem& item, int row) {
    const std::u16string numberText = Utf8ToWide(std::to_string(number));
    const std::u16string_view name = item.name();
    std::u16string stem;
    switch (scheme) {
    case kNameBaseNumber:
        stem = std::u16string(baseName) + u" - " + numberText;
        break;
    case kNameNumberBase:
        stem = numberText + u" - " + std::u16string(baseName);
        break;
    case kNameBaseName:
        stem = std::u16string(baseName) + u" - " + std::u16string(name);
        break;
    case kNameName:
        stem = std::u16string(name);
        break;
    case kNameNumberName:
        stem = numberText + u" - " + std::u16string(name);
        break;
    case kNameSourceFile: {
        std::u16string source = item.sourceFile();
        std::u16string_view file = std::u16string_view(source).substr(FileNamePart(source));
        file = file.substr(0, ExtensionPart(file));
        stem = file.empty() ? std::u16string(name) : std::u16string(file);
        break;
    }
    case kNameBankProgram: {
        uint32_t high = 0, low = 0, program = 0;
        if (item.type() == ItemType::Instrument) {
            const auto& instrument = static_cast<const Instrument&>(item);
            high = instrument.majorBank();
            low = instrument.minorBank();
            program = instrument.program();
        }
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%03u-%03u-%03u - ", high, low, program);
        stem = Utf8ToWide(buffer) + std::u16string(name);
        break;
    }
    default:
        stem = std::u16string(name);
        break;
    }
    std::u16string file;
    AppendFileName(file, stem, false, false);
    file += u'.';
    file += extensionOf(row);
    return file;
}

int saveAll(Collection& collection, const fs::path& folder, int row, std::u16string_view baseName, int scheme,
            const WriteOptions& options, const SaveAllPrompts& prompts) {
    const FormatEntry* entry = formatRow(row);
    if (!entry || !entry->write) {
        SetLastError(u"Invalid export format selected");
        return -1;
    }
    const uint8_t mask = entry->itemMask;
    if (mask & 0x80) {
        std::u16string file;
        AppendFileName(file, baseName.empty() ? std::u16string_view(collection.name()) : baseName, false,
                       false);
        file += u'.';
        file += extensionOf(row);
        if (!saveFile(&collection, folder / fs::path(WideToUtf8(file)), row, options, false)) return -1;
        ShowStatus(u"Saved 1 collection!", kStatusFinal);
        return 1;
    }

    ItemType kind;
    if (mask & (1 << int(ItemType::Instrument))) {
        kind = ItemType::Instrument;
        if (!collection.count(kind)) return SetLastError(u"No instruments to save!"), -1;
    } else if (mask & (1 << int(ItemType::Waveform))) {
        kind = ItemType::Waveform;
        if (!collection.count(kind)) return SetLastError(u"No waveforms to save!"), -1;
    } else if (mask & (1 << int(ItemType::Song))) {
        kind = ItemType::Song;
        if (!collection.count(kind)) return SetLastError(u"No songs to save!"), -1;
    } else {
        SetLastError(u"Can't 'Save all\u2026' with this file format!");
        return -1;
    }

    int saved = 0;
    int number = 0;
    bool standing = false;
    CollisionAnswer standingAnswer = kOverwrite;
    bool cancelled = false;
    for (CollectionItem* item = collection.first(kind); item; item = collection.next(item, kind)) {
        ++number;
        std::u16string path;
        if (scheme == kNamePrompt) {
            if (!prompts.askPath || !prompts.askPath(*item, path)) {
                cancelled = true;
                break;
            }
        } else {
            // The name is safe already; a second pass would take its
            // extension for part of the name and drop it.
            path = Utf8ToWide((folder / "").string()) + SaveAllFileName(scheme, baseName, number, *item, row);
            std::error_code ec;
            if (fs::exists(fs::path(WideToUtf8(path)), ec)) {
                CollisionAnswer answer = kSkipThis;
                if (standing) {
                    answer = standingAnswer;
                } else if (prompts.collision) {
                    bool same = false;
                    answer = prompts.collision(path.substr(FileNamePart(path)), same);
                    if (same) standing = true, standingAnswer = answer;
                }
                if (answer == kCancelAll) {
                    cancelled = true;
                    break;
                }
                if (answer == kSkipThis) continue;
                if (answer == kRenameIt && (!prompts.askPath || !prompts.askPath(*item, path))) continue;
            }
        }
        ShowStatus(item->name(), kStatusPassing);
        if (!saveFile(item, fs::path(WideToUtf8(path)), row, options, false)) {
            if (Flows().showError) Flows().showError(LastError());
            cancelled = true;
            break;
        }
        ++saved;
    }
    const std::u16string count = Utf8ToWide(std::to_string(saved));
    if (cancelled)
        ShowStatus(u"Failed: Cancelled after " + count + u" files.", kStatusFinal);
    else
        ShowStatus(u"Done: Saved " + count + u" files.", kStatusFinal);
    return saved;
}

} // namespace vaxel
