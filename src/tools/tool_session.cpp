// The tool session: the selection by id, the chosen table and tool, the
// section, and the text that says what the tools are about to work on.
#include "tools/tool_session.h"

#include <algorithm>

#include "model/collection.h"
#include "model/last_error.h"
#include "model/text.h"
#include "model/waveform.h"
#include "tools/tool_runner.h"

namespace vaxel {

namespace {

std::u16string gLastTool[10];

int KindSlot(ToolKind kind) {
    return std::min(int(kind), 9);
}

} // namespace

std::u16string LastToolOfKind(ToolKind kind) {
    return gLastTool[KindSlot(kind)];
}

void SetLastToolOfKind(ToolKind kind, std::u16string_view name) {
    gLastTool[KindSlot(kind)] = name;
}

ToolSession::ToolSession(Collection& collection, std::vector<ItemId> selection)
    : items(std::move(selection)), collection_(&collection) {
    kind = KindForItemType(items.empty() ? int(ItemType::Collection) : int(TypeOf(items.front())));
    table = ToolTable(kind);
    tableLength = ToolTableLength(table);
}

CollectionItem* ToolSession::item(size_t i) const {
    return i < items.size() ? collection_->find(items[i]) : nullptr;
}

std::vector<Waveform*> ToolSession::waves() const {
    std::vector<Waveform*> out;
    for (ItemId id : items)
        if (TypeOf(id) == ItemType::Waveform)
            if (CollectionItem* item = collection_->find(id)) out.push_back(static_cast<Waveform*>(item));
    return out;
}

bool ToolSession::sectionOf(const Waveform& wave, uint32_t& start, uint32_t& end) const {
    if (!sectionEnabled) {
        start = 0;
        end = wave.frames;
        return wave.frames > 0;
    }
    start = std::min(sectionStart, wave.frames);
    end = std::min(sectionEnd, wave.frames);
    return end > start;
}

void ToolSession::setSectionEnabled(bool on) {
    sectionEnabled = on;
    if (!on || sectionEnd > sectionStart) return;
    const std::vector<Waveform*> selected = waves();
    if (items.size() == 1 && selected.size() == 1) {
        sectionStart = 0;
        sectionEnd = selected.front()->frames;
    } else if (sectionStart < 0xFFFFFFFFu) {
        sectionEnd = sectionStart + 1;
    }
}

const ToolEntry* ToolSession::entry() const {
    return table && toolIndex >= 0 && toolIndex < tableLength ? &table[toolIndex] : nullptr;
}

bool ToolSession::chooseByNumber(int index, bool quick) {
    if (!table || index < 0 || index >= tableLength) {
        SetLastErrorF("There is no tool number %d", index);
        return false;
    }
    const ToolEntry& row = table[index];
    if (!IsToolBuilt(row)) {
        SetLastErrorF("The tool '%s' is not available yet", WideToUtf8(row.name).c_str());
        return false;
    }
    if (!row.available || !row.available(*this)) {
        SetLastErrorF("The tool '%s' can't work on this selection", WideToUtf8(row.name).c_str());
        return false;
    }
    toolIndex = index;
    tool = row.name;
    autoExecute = quick && (row.flags & kRunsWithoutOptions);
    SetLastToolOfKind(kind, tool);
    return true;
}

bool ToolSession::chooseByName(std::u16string_view name, bool quick) {
    const int index = FindToolIndex(table, name);
    if (index < 0) {
        SetLastErrorF("There is no tool '%s' for %ss", WideToUtf8(name).c_str(),
                      kind == ToolKind::Wave   ? "waveform"
                      : kind == ToolKind::Midi ? "song"
                                               : "instrument");
        return false;
    }
    return chooseByNumber(index, quick);
}

std::u16string ToolSession::workingOnText() const {
    std::u16string text = u"Working on ";
    if (sectionEnabled) text += u"a section in ";
    if (items.empty()) return text + u"nothing";
    const ItemType first = TypeOf(items.front());
    if (items.size() == 1) {
        if (first == ItemType::Collection) return text + u"the whole collection";
        return text + u"one " + TypeText(first);
    }
    bool mixed = false;
    for (ItemId id : items) mixed |= TypeOf(id) != first;
    std::u16string noun;
    if (mixed && kind != ToolKind::Wave) {
        noun = u"collection item";
    } else {
        noun = int(first) < kItemTypeCount ? TypeText(first) : u"special";
        if (items.size() == collection_->count(first)) text += u"all ";
    }
    const std::string count = std::to_string(items.size());
    return text + std::u16string(count.begin(), count.end()) + u" " + noun + u"s";
}

void ToolSession::requestTreeRebuild(ItemId select) {
    treeRebuildRequested = true;
    if (select != kNoItem) selectAfter = select;
}

void ToolSession::reportError() {
    if (Tools().showError) Tools().showError(LastError());
}

void ToolSession::takeWholeCollectionState() {
    ToolHooks& hooks = Tools();
    if (preview) return;
    if (hooks.dropNewestState) hooks.dropNewestState(*collection_);
    if (hooks.saveCollectionState) hooks.saveCollectionState(*collection_, tool);
}

void ToolSession::setLevelMarker(int index, float level, uint32_t colour) {
    if (index < 0 || index > 1) return;
    levelMarkers[index] = {level, colour};
}

} // namespace vaxel
