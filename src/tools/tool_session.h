#pragma once
// The tool session: what one use of the tools works on (the selection, as
// item ids), which table and tool were chosen, the section, and the count
// of items a run changed. At most one exists in the desktop program; the
// command line and the batch engine make their own for each run.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/ids.h"
#include "tools/tool_table.h"

namespace vaxel {

class Collection;
class CollectionItem;
class Waveform;

// A level drawn across the preview, -1 when not shown.
struct LevelMarker {
    float level = -1.0f;
    uint32_t colour = 0;
};

class ToolSession {
  public:
    // Captures the selection and picks the table from its first item.
    ToolSession(Collection& collection, std::vector<ItemId> selection);

    Collection& collection() const { return *collection_; }

    // The selection. Items are looked up by id when used, so an id whose
    // item was deleted meanwhile is skipped.
    std::vector<ItemId> items;
    // The item at index i of items, or null when it no longer exists.
    CollectionItem* item(size_t i) const;
    // The selected waves that still exist, in selection order.
    std::vector<Waveform*> waves() const;

    // Items changed by the current run (ModifiedCount).
    int count = 0;
    void modified() { ++count; }

    // The section: frames [sectionStart, sectionEnd).
    uint32_t sectionStart = 0;
    uint32_t sectionEnd = 0;
    bool sectionEnabled = false;
    // The section of a wave, cut to its length: the whole wave when no
    // section is enabled. False when nothing of the wave is in the range.
    bool sectionOf(const Waveform& wave, uint32_t& start, uint32_t& end) const;
    // The page's section box. Ticking it with an empty range takes the whole
    // wave when one wave is selected, and one frame (end = start + 1) when
    // several are.
    void setSectionEnabled(bool on);

    ToolKind kind = ToolKind::Undecided;
    ToolEntry* table = nullptr;
    int tableLength = 0;
    // The chosen tool: its index in table and its name; -1 and empty until
    // chosen.
    int toolIndex = -1;
    std::u16string tool;
    const ToolEntry* entry() const;

    // Run at once when the options page opens.
    bool autoExecute = false;
    // Set while the run is the preview's (on a "<preview>" copy).
    bool preview = false;
    uint32_t previewIndex = 0;
    // The "<preview>" copy the preview shows, while it exists.
    ItemId previewClone = kNoItem;
    LevelMarker levelMarkers[2];
    bool hideLoopInPreview = false;
    // A loop chosen by the caller; 0 for the main loop of each wave.
    uint32_t targetLoop = 0;

    // Choosing a tool. Both ask the row's predicate again; false (with
    // LastError set) when the row is missing, not built or not available.
    // quick on a row with kRunsWithoutOptions sets autoExecute.
    bool chooseByNumber(int index, bool quick);
    bool chooseByName(std::u16string_view name, bool quick);

    // The second text of the list page ("Working on all 3 waveforms").
    std::u16string workingOnText() const;

    // Services for tools.
    // A tool that adds or removes items asks for the tree to be rebuilt,
    // and may name the item to select afterwards.
    void requestTreeRebuild(ItemId select = kNoItem);
    bool treeRebuildRequested = false;
    ItemId selectAfter = kNoItem;
    // A failure with one item: the "Error!" box with LastError; the tool
    // goes on with the next item.
    void reportError();
    // A tool that creates or deletes whole items drops the state of the
    // selected items and takes one of the whole collection named after it.
    void takeWholeCollectionState();
    // Preview services: a level marker (index 0 or 1), the section shown.
    void setLevelMarker(int index, float level, uint32_t colour);

  private:
    Collection* collection_;
};

// The last tool chosen for each kind, for as long as the program runs.
std::u16string LastToolOfKind(ToolKind kind);
void SetLastToolOfKind(ToolKind kind, std::u16string_view name);

} // namespace vaxel
