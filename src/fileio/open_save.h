#pragma once
// The road between a file on disk and the Collection, both ways: open,
// merge, replace waves, save one item, save all. The dialogs around these
// live with the programs; what the flows must ask or tell goes through
// FlowHooks, so the command line, the desktop program and the tests each
// answer in their own way.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "fileio/format_table.h"

namespace vaxel {

class Collection;
class CollectionItem;

// What later parts of the program provide to the flows. Every hook may be
// left empty: the step it stands for is then skipped, or (where the step is
// needed to go on, as rendering a song into a wave) fails with the words of
// that step.
struct FlowHooks {
    // Rendering (synthesizer): a Song, or the synthesis models of an item,
    // into Waveforms. renderSong returns the new wave, or null.
    std::function<CollectionItem*(CollectionItem& song)> renderSong;
    std::function<bool(CollectionItem& item)> renderSynthModels;
    // Undo states: a temporary state taken before a save changes the model,
    // restored afterwards.
    std::function<bool(Collection&)> takeTemporaryState;
    std::function<void(Collection&)> restoreTemporaryState;
    std::function<void()> dropUndoHistory;
    // Wave tools used by the flows.
    std::function<bool(CollectionItem& item)> splitStereoToDualMono;
    std::function<void(Collection&)> removeDuplicateWaves;
    // Synthesizer and view.
    std::function<void()> resetSynthScope;
    std::function<void()> stopPlayback;
    std::function<void()> stopSynthSound;
    std::function<void(Collection&)> refreshView;
    // The recent files list.
    std::function<void(const std::filesystem::path&)> addRecent;
    std::function<void(const std::filesystem::path&)> removeRecent;
    std::function<void(const std::filesystem::path&)> noteRecentError;
    // A message box with the text of a failure.
    std::function<void(const std::u16string& text)> showError;
};
FlowHooks& Flows();

// Process-wide flags: up while a reader runs, and while a save runs.
bool IsLoading();
bool IsSaving();

// Replaces the contents of the collection with the file's items. force lets
// a file of confidence 0 reach row 0, the generic raw import.
int openFile(Collection& collection, const std::filesystem::path& path, bool force);
// Adds the file's items to the collection.
int mergeFile(Collection& collection, const std::filesystem::path& path);
// For each wave of the file, the first wave here of the same name takes its
// samples. replaced receives the count.
int replaceWaves(Collection& collection, const std::filesystem::path& path, int* replaced = nullptr);

// Writes one item (resolved to what the row can hold) to path. The data goes
// to a temporary file beside the target, which replaces the target only when
// the write succeeded: a failed save leaves no partial file and the earlier
// file as it was.
int saveItem(CollectionItem* item, int row, const std::filesystem::path& path, WriteOptions options,
             bool force);
// The guarded save around saveItem, with the status texts.
int saveFile(CollectionItem* item, const std::filesystem::path& path, int row, WriteOptions options,
             bool showStatus);

enum FileCommand : int { kCommandOpen = 101, kCommandMerge = 103, kCommandReplace = 151 };
int openCommand(Collection& collection, const std::filesystem::path& path, int command, bool silent);

// The path and row a save dialog's answer stands for: a path without an
// extension gets the row's; an extension that another writer row for the
// item kind has picks that row; an unknown one gets the row's appended.
void ResolveSaveTarget(std::u16string& path, int& row, uint32_t itemMask);

// "Save all": the naming schemes, by their ids.
enum SaveAllScheme : int {
    kNameBaseNumber = 211,  // foo - <number>.bar
    kNameNumberBase = 212,  // <number> - foo.bar
    kNameBaseName = 213,    // foo - <name>.bar
    kNameName = 214,        // <name>.bar
    kNameNumberName = 215,  // <number> - <name>.bar
    kNameSourceFile = 216,  // <source-file-name>.bar
    kNamePrompt = 217,      // a file name asked for each item
    kNameBankProgram = 218, // <hibank>-<lobank>-<prg> - <name>.bar
};
const char16_t* SaveAllSchemeText(int scheme);

// The file name (without folder) of the number-th item (from 1) of a Save
// all under a scheme other than kNamePrompt.
std::u16string SaveAllFileName(int scheme, std::u16string_view baseName, int number,
                               const CollectionItem& item, int row);

// What to do with an auto-named file that exists already.
enum CollisionAnswer : int { kOverwrite = 0, kSkipThis = 1, kRenameIt = 2, kCancelAll = 3 };
struct SaveAllPrompts {
    // Asked when a name exists; sameForAll set keeps the answer for the
    // collisions that follow.
    std::function<CollisionAnswer(const std::u16string& fileName, bool& sameForAll)> collision;
    // The save dialog for one file (kNamePrompt, or "Rename it"); false on cancel.
    std::function<bool(const CollectionItem& item, std::u16string& path)> askPath;
};
// Saves every item of the kind the row holds into folder; returns the
// number of files written, -1 when nothing could start (LastError says why).
int saveAll(Collection& collection, const std::filesystem::path& folder, int row,
            std::u16string_view baseName, int scheme, const WriteOptions& options,
            const SaveAllPrompts& prompts);

} // namespace vaxel
