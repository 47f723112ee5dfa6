#pragma once
// The three tool tables (waves, instruments, MIDI): every tool's name, its
// availability test over the selection, its flags and, once its family has
// bound it, its ToolSpec. The Tools menu issues command 29001 plus a row's
// index, so the order of the rows is part of the interface.
#include <cstdint>
#include <string_view>

#include "tools/tool_options.h"

namespace vaxel {

class ToolSession;

// What a table works on. The numbers are the ones the undo states and the
// navigation compare against.
enum class ToolKind : uint8_t { Wave = 0, Instrument = 4, Midi = 6, Undecided = 9 };

enum ToolFlags : uint8_t {
    kSectionCapable = 1,
    kSectionRequired = 2,
    kRunsWithoutOptions = 4,
};

constexpr int kToolCommandBase = 29001;

// One row of a tool table.
struct ToolEntry {
    // The list text, the undo state's name and the name in the result text;
    // null ends a table.
    const char16_t* name = nullptr;
    // The tool; null while the tool is not built yet (the row is listed as
    // unavailable and a run says so).
    const ToolSpec* tool = nullptr;
    // False keeps the row out of the list; asked again when a tool is chosen
    // by number or by name.
    bool (*available)(const ToolSession& session) = nullptr;
    uint8_t flags = 0;
};

// The table of a kind (Undecided has none: null). Ends with a row whose
// name is null.
ToolEntry* ToolTable(ToolKind kind);
// Rows before the closing row.
int ToolTableLength(const ToolEntry* table);
// The row of that name (exact comparison after case folding), or null.
ToolEntry* FindTool(ToolKind kind, std::u16string_view name);
int FindToolIndex(const ToolEntry* table, std::u16string_view name);

// Binds a tool to its row. A name that stands in several tables (Search and
// replace text) is bound once for each kind. False if the row is missing.
bool BindTool(ToolKind kind, std::u16string_view name, const ToolSpec* tool);

// Binds every tool family that exists; idempotent. The command line, the
// desktop program and the batch engine call it once at start.
void InstallTools();
// Each family binds its rows from its own install function, which
// InstallTools calls.
void InstallWaveTools();

// A row is offered when its tool is built and its predicate agrees.
bool IsToolBuilt(const ToolEntry& entry);
bool IsToolAvailable(const ToolEntry& entry, const ToolSession& session);

// The kind whose table a selection gets, from its first item: a waveform the
// wave table; a track or song the MIDI table; anything else (a collection
// too) the instrument table. An empty selection gives the instrument table.
ToolKind KindForItemType(int itemType);

// Whether the batch wizard is open; "two or more" and "exactly one" are
// false while it is.
void SetBatchWizardOpen(bool open);
bool IsBatchWizardOpen();

// The availability predicates of the tables, each over session.items.
namespace tool_available {
bool Always(const ToolSession&);
bool HasLoopedWave(const ToolSession&);
bool HasSectionMarker(const ToolSession&);
bool HasNonLoopMarker(const ToolSession&);
bool HasMonoWave(const ToolSession&);
bool HasStereoWave(const ToolSession&);
bool TwoOrMore(const ToolSession&);
bool ExactlyOne(const ToolSession&);
bool HasCollectionOrInstrument(const ToolSession&);
bool HasInstrumentLevel(const ToolSession&);
bool HasRegionLevel(const ToolSession&);
bool SeveralInstruments(const ToolSession&);
bool SeveralLayers(const ToolSession&);
bool HasSong(const ToolSession&);
bool HasTrackOrSong(const ToolSession&);
bool MergeableTracks(const ToolSession&);
bool CollectionWithSongs(const ToolSession&);
bool HasDrumKit(const ToolSession&);
bool HasStereoInUse(const ToolSession&);
bool HasPlaySection(const ToolSession&);
} // namespace tool_available

} // namespace vaxel
