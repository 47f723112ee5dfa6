#pragma once
// Undo states: state files that hold a whole Collection in flat form, and the
// history of steps behind the Undo and Redo commands.
//
// A state file (extension ".vxs", in StateFolder()) is little-endian:
//   0  magic "VxSt"
//   4  u32 hash of the version text and the flat layouts (StateVersionHash)
//   8  u32 number of images n, the collection's own included
//  12  n flat images as writeFlat gives them: every Waveform, then every
//      SynthesisModel, Region, Layer, Instrument, Track and Song (each type in
//      node order), and last the Collection itself.
// A wave that holds samples carries them; one without keeps its source offset
// and decode routine number, so it reads its file again after a restore. The
// routine numbers are stable, but the layouts are not, so a file is only
// taken by a build with the same hash.
//
// This lives in the file layer rather than the model because a state needs
// files, the background loader (which must be still while images are taken
// or replaced) and the save flow's hooks.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "model/ids.h"

namespace vaxel {

class Collection;
class Waveform;

// ---------------------------------------------------------------- state files

// The folder of the state files: the one given to SetStateFolder, else
// $XDG_DATA_HOME/vaxel-studio, else ~/.local/share/vaxel-studio. Created by
// the first save.
std::filesystem::path StateFolder();
// Points the state files elsewhere (tests, portable set-ups); an empty path
// returns to the default.
void SetStateFolder(const std::filesystem::path& folder);
// The file of a state: its name (a '/' becomes '_') with ".vxs".
std::filesystem::path StatePath(std::u16string_view name);

// The u32 at offset 4 of every state file this build writes.
uint32_t StateVersionHash();

// Writes the collection as the state name, atomically (a temporary file in
// the folder renamed over any old one). Returns non-zero on success, 0 with
// LastError otherwise.
int saveState(Collection& collection, std::u16string_view name);
// Replaces the collection with the state. A file that is not a state of this
// build, or whose images do not read back whole, fails with "Wrong state
// version" before anything is touched; an empty or unreadable file fails
// quietly (LastError "Could not open file"). On success the ids are those of
// the state, the view is told to rebuild and "Loaded state" goes to the
// StatusLine.
int loadState(Collection& collection, std::u16string_view name);
bool stateExists(std::u16string_view name);
bool deleteState(std::u16string_view name);

// The same two ways for a state held in memory (the file's bytes); used by
// the file functions above and by the fuzzer.
bool WriteStateImage(Collection& collection, std::vector<uint8_t>& bytes);
int ReadStateImage(Collection& collection, const uint8_t* bytes, size_t size);

// Puts the state back into the collection without replacing items that are
// still there: an item whose id and type are in the state reads its image in
// place, a missing one is made, and one the state does not hold is deleted.
// Pointers to surviving items stay valid, which the save flow relies on.
// Fails like loadState, before anything is touched.
int RestoreStateInPlace(Collection& collection, const uint8_t* bytes, size_t size);

// "Last session": with app.bPersistentState set, saveLastSession writes the
// collection as that state (at exit), and loadLastSession loads it when it
// exists (at start). A state that fails to load leaves the collection empty
// and returns false with LastError; without the option or the file both do
// nothing and return true.
bool saveLastSession(Collection& collection);
bool loadLastSession(Collection& collection);
constexpr const char16_t* kLastSessionName = u"Last session";

// ---------------------------------------------------------------- history

enum class UndoKind : uint8_t {
    Whole,   // a state file of the whole collection
    Items,   // flat images of some items, in memory
    Markers, // the marker list of one wave, in memory
};

class UndoStore {
  public:
    explicit UndoStore(Collection& collection);
    // Deletes the files of every step and of a temporary state still held.
    ~UndoStore();
    UndoStore(const UndoStore&) = delete;
    UndoStore& operator=(const UndoStore&) = delete;

    // Each push is taken before an edit changes the model. It drops the steps
    // that Redo could still reach, and the oldest step once there are more
    // than maxSteps(). Each returns a step number for dropStep, 0 on failure
    // (LastError says why; no step is added).

    // A whole-state step, file "Undo state %d"; an empty label reads "Edit all".
    uint32_t pushWholeState(std::u16string_view label = {});
    // A step of the listed items only (a wave or MIDI tool, a parameter
    // edit). Undo puts back each listed item's image, deletes a listed item
    // that did not exist when the step was taken, and remakes one that has
    // gone since. midi marks a step taken by a MIDI tool.
    uint32_t pushItemState(const std::vector<ItemId>& ids, std::u16string_view label, bool midi = false);
    // A step of one wave's markers, main loop and selected marker, labelled
    // "Edit markers" unless given another label.
    uint32_t pushMarkerState(const Waveform& wave, std::u16string_view label = {});
    // Removes step (from a push) if it is still the newest one, as a tool run
    // that changed nothing does. Returns whether it was removed.
    bool dropStep(uint32_t step);

    bool canUndo() const { return position_ > 0; }
    bool canRedo() const { return position_ < steps_.size(); }
    // Walks one step back or forth. The state the step replaces is taken
    // first, so the walk the other way returns to it. False with LastError
    // when there is nothing to walk to or the step cannot be applied.
    bool undo();
    bool redo();
    // "Undo: <label>" and "Redo: <label>"; empty when there is no such step.
    std::u16string undoText() const;
    std::u16string redoText() const;

    // Drops every step and deletes their files (an open replaces the model).
    void clear();
    size_t stepCount() const { return steps_.size(); }
    // How many steps Undo can walk back.
    size_t position() const { return position_; }
    size_t maxSteps() const { return maxSteps_; }
    void setMaxSteps(size_t count);
    // The kind and label of the i-th step from the oldest.
    UndoKind kind(size_t index) const;
    std::u16string label(size_t index) const;
    // The state file of a whole step, empty for the other kinds.
    std::filesystem::path stateFile(size_t index) const;

    // The temporary state of a save: "Saved state %02d:%02d.%02d" by the
    // clock. restoreTemporaryState puts it back in place (see
    // RestoreStateInPlace) and deletes its file; without a taken state it
    // does nothing and returns false.
    bool takeTemporaryState();
    bool restoreTemporaryState();
    bool holdsTemporaryState() const { return !temporaryName_.empty(); }

    // Called after every change of the history, for the menu texts.
    std::function<void()> changed;

    // Makes this store the one the save and open flows use: FlowHooks get
    // take/restoreTemporaryState and dropUndoHistory. Null removes them.
    static void Install(UndoStore* store);
    static UndoStore* Installed();

    struct Step;

  private:
    uint32_t append(std::unique_ptr<Step> step);
    void dropRedoSteps();
    void trim();
    void notify();
    // Swaps the model's current state with the state the step holds.
    bool swap(Step& step);

    Collection& collection_;
    std::vector<std::unique_ptr<Step>> steps_;
    size_t position_ = 0;
    size_t maxSteps_ = 32;
    uint32_t nextStepNumber_ = 1;
    std::u16string temporaryName_;
};

// The running number of "Undo state %d" names, from 1 for the process;
// exposed so tests can start from a known point.
void ResetUndoNumbersForTesting();

} // namespace vaxel
