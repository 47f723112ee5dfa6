#pragma once
// The runner: takes the undo state, loads the selected waves, runs the
// chosen tool once, counts what changed and composes the result text
// ("Processed 3 items using Maximize amplitude"). runTool does the same for
// a tool named by the command line or a batch job, with no window.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "model/ids.h"
#include "tools/tool_options.h"

namespace vaxel {

class Collection;
class ToolSession;
class UndoStore;

// What the runner needs from the undo states and the window. Each may be
// left empty: the step is then skipped.
struct ToolHooks {
    // Step 2 of a run: a state of the selected items (midi for the MIDI
    // kind), or of the whole collection, named after the tool.
    std::function<bool(Collection&, const std::vector<ItemId>& items, bool midi, std::u16string_view name)>
        saveSelectedState;
    std::function<bool(Collection&, std::u16string_view name)> saveCollectionState;
    // Drops the newest state (a run that changed nothing leaves no trace).
    std::function<void(Collection&)> dropNewestState;
    // Stops the preview player before a run.
    std::function<void()> stopPreview;
    // The "Error!" box with a text.
    std::function<void(std::u16string_view text)> showError;
    // After a run: rebuild the tree when asked, select an item, refresh.
    std::function<void(ToolSession&)> refreshView;
};
ToolHooks& Tools();

// Sets the three undo hooks to take their steps in store, which must be the
// store of the collection the tools work on: an item step for a wave or
// MIDI tool, a whole step for an instrument tool, each labelled with the
// tool's name; a run that changed nothing removes its step again. Null
// empties the hooks.
void UseUndoStore(UndoStore* store);

// The result text of a run ("Processed 1 item using X", "No items were
// modified by X").
std::u16string ResultText(int count, std::u16string_view toolName);

// The list page's "Continue…" check: a tool is chosen ("Select a processing
// function before proceeding!") and an enabled section is not empty
// ("Select a valid section range!"). False with LastError set.
bool CheckContinue(const ToolSession& session);

// Runs the session's chosen tool once with values (which are remembered
// for the tool). Returns the number of items changed, or -1 when the run
// could not start (no tool, tool not built, invalid section, a wave that
// would not load): LastError then says why. The result text goes to the
// status line and into *result when given.
int runSession(ToolSession& session, const ToolValues& values, std::u16string* result = nullptr);

// The preview of a wave tool. updatePreview ("Update") discards an earlier
// copy, makes a full copy named "<preview>" of the wave at previewIndex,
// runs the tool on the copy alone with session.preview set (no undo step,
// no count kept) and returns it; null when the tool deleted it (the view
// then shows the original again) or when the wave is not there or does not
// load (LastError says why). After a tool whose name holds "Split", every
// other wave whose name starts with "<preview" is deleted, since split tools
// make further waves from the copy.
class Waveform;
Waveform* updatePreview(ToolSession& session, const ToolValues& values);
// Deletes the preview copy ("Restore", every other preview button, closing).
void discardPreview(ToolSession& session);
// "<<" (-1) and ">>" (+1): steps previewIndex with wrap-around.
void stepPreview(ToolSession& session, int direction);

// A section given to runTool: frames [start, end).
struct ToolSectionRange {
    bool enabled = false;
    uint32_t start = 0;
    uint32_t end = 0;
};

// Runs the tool of that name (case folded) over the selection: the table is
// the one of the selection's first item, and the row's predicate is asked as
// when a tool is chosen by name: a tool the selection is not offered (Swap
// left and right channels on mono waves) fails with LastError "The tool '…'
// can't work on this selection". values null runs with the remembered
// values. Returns as runSession.
int runTool(Collection& collection, std::u16string_view name, const ToolValues* values,
            const std::vector<ItemId>& selection, const ToolSectionRange& section = {},
            std::u16string* result = nullptr);

// Level conversions of all tools, with a grain of 0.01 dB and the
// shortcuts the tools rely on.
float LinearToDb(float x);
float DbToLinear(float d);

} // namespace vaxel
