// The runner: one execution of a tool with its undo state, the loading of
// the selected waves, the count of changed items and the result text.
#include "tools/tool_runner.h"

#include <cmath>
#include <new>

#include "fileio/undo_store.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/text.h"
#include "model/waveform.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"

namespace vaxel {

ToolHooks& Tools() {
    static ToolHooks hooks;
    return hooks;
}

void UseUndoStore(UndoStore* store) {
    ToolHooks& hooks = Tools();
    if (!store) {
        hooks.saveSelectedState = nullptr;
        hooks.saveCollectionState = nullptr;
        hooks.dropNewestState = nullptr;
        return;
    }
    // The step of the current run; dropStep removes it only while it is
    // still the newest, so a stale number can do no harm.
    static uint32_t step = 0;
    hooks.saveSelectedState = [store](Collection&, const std::vector<ItemId>& items, bool midi,
                                      std::u16string_view name) {
        step = store->pushItemState(items, name, midi);
        return step != 0;
    };
    hooks.saveCollectionState = [store](Collection&, std::u16string_view name) {
        step = store->pushWholeState(name);
        return step != 0;
    };
    hooks.dropNewestState = [store](Collection&) {
        if (step) store->dropStep(step);
        step = 0;
    };
}

std::u16string ResultText(int count, std::u16string_view toolName) {
    if (count <= 0) return u"No items were modified by " + std::u16string(toolName);
    const std::string n = std::to_string(count);
    std::u16string text = u"Processed " + std::u16string(n.begin(), n.end()) + u" item";
    text += count == 1 ? u" using " : u"s using ";
    return text + std::u16string(toolName);
}

bool CheckContinue(const ToolSession& session) {
    if (!session.entry()) {
        SetLastError("Select a processing function before proceeding!");
        return false;
    }
    if (session.sectionEnabled && session.sectionEnd <= session.sectionStart) {
        SetLastError("Select a valid section range!");
        return false;
    }
    return true;
}

int runSession(ToolSession& session, const ToolValues& values, std::u16string* result) {
    const ToolEntry* entry = session.entry();
    if (!entry) {
        SetLastError("Select a processing function before proceeding!");
        return -1;
    }
    const ToolSpec* spec = entry->tool;
    if (!IsToolBuilt(*entry)) {
        SetLastErrorF("The tool '%s' is not available yet", WideToUtf8(entry->name).c_str());
        return -1;
    }
    if (values.spec != spec || values.values.size() != spec->options.size()) {
        SetLastErrorF("The options given are not those of '%s'", WideToUtf8(entry->name).c_str());
        return -1;
    }
    ToolHooks& hooks = Tools();
    Collection& collection = session.collection();
    const std::u16string name = entry->name;
    const bool wave = session.kind == ToolKind::Wave;

    if (wave && hooks.stopPreview) hooks.stopPreview();
    // A tool that adds or removes whole items can't be restored from a state
    // of the selected items: it gets one of the whole collection.
    bool stateTaken = false;
    if ((wave || session.kind == ToolKind::Midi) && !spec->changesItems) {
        if (hooks.saveSelectedState)
            stateTaken =
                hooks.saveSelectedState(collection, session.items, session.kind == ToolKind::Midi, name);
    } else if (hooks.saveCollectionState) {
        stateTaken = hooks.saveCollectionState(collection, name);
    }
    auto dropState = [&] {
        if (stateTaken && hooks.dropNewestState) hooks.dropNewestState(collection);
    };
    Status().status(u"Processing", kStatusProgress);

    RememberValues(values);
    session.count = 0;
    session.treeRebuildRequested = false;
    session.selectAfter = kNoItem;
    // The section applies only to wave tools, and an empty one means none
    // (a path that did not pass the list page's check may bring one).
    if (!wave || session.sectionEnd <= session.sectionStart) session.sectionEnabled = false;

    // Sample data is read at first use; every selected wave is read now, so
    // a file that fails stops the run before anything changed.
    for (Waveform* w : session.waves()) {
        if (!ensureSamples(w)) {
            const std::u16string error = LastError();
            if (hooks.showError) hooks.showError(error);
            dropState();
            Status().status(u"", kStatusClearProgress);
            SetLastError(error);
            return -1;
        }
    }
    try {
        spec->execute(session, values);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        session.reportError();
    }

    const std::u16string text = ResultText(session.count, name);
    if (session.count == 0)
        dropState();
    else if (!wave && session.selectAfter == kNoItem)
        session.selectAfter = collection.id;
    if (hooks.refreshView) hooks.refreshView(session);
    Status().status(text, kStatusFinal);
    if (result) *result = text;
    return session.count;
}

int runTool(Collection& collection, std::u16string_view name, const ToolValues* values,
            const std::vector<ItemId>& selection, const ToolSectionRange& section, std::u16string* result) {
    ToolSession session(collection, selection);
    if (!session.chooseByName(name, false)) return -1;
    const ToolEntry& entry = *session.entry();
    if (section.enabled && !(entry.flags & kSectionCapable)) {
        SetLastErrorF("The tool '%s' does not work on a section", WideToUtf8(entry.name).c_str());
        return -1;
    }
    session.sectionEnabled = section.enabled;
    session.sectionStart = section.start;
    session.sectionEnd = section.end;
    if (section.enabled && section.end <= section.start) {
        SetLastError("Select a valid section range!");
        return -1;
    }
    // A tool that needs a section and is given none works on whole waves,
    // as the page does when its locked box meets an empty range.
    if ((entry.flags & kSectionRequired) && !section.enabled && session.kind == ToolKind::Wave) {
        session.sectionEnabled = true;
        session.sectionStart = 0;
        session.sectionEnd = 0xFFFFFFFFu;
    }
    const ToolValues& chosen = values ? *values : RememberedValues(*entry.tool);
    return runSession(session, chosen, result);
}

void discardPreview(ToolSession& session) {
    if (session.previewClone == kNoItem) return;
    if (CollectionItem* clone = session.collection().find(session.previewClone)) delete clone;
    session.previewClone = kNoItem;
}

void stepPreview(ToolSession& session, int direction) {
    discardPreview(session);
    const uint32_t n = uint32_t(session.items.size());
    if (n == 0) return;
    session.previewIndex =
        direction < 0 ? (session.previewIndex + n - 1) % n : (session.previewIndex + 1) % n;
}

Waveform* updatePreview(ToolSession& session, const ToolValues& values) {
    discardPreview(session);
    const ToolEntry* entry = session.entry();
    if (!entry || !IsToolBuilt(*entry) || values.spec != entry->tool ||
        values.values.size() != entry->tool->options.size()) {
        SetLastError("Select a processing function before proceeding!");
        return nullptr;
    }
    if (session.items.empty()) {
        SetLastError("There is no waveform to preview");
        return nullptr;
    }
    session.previewIndex %= uint32_t(session.items.size());
    CollectionItem* item = session.item(session.previewIndex);
    if (!item || item->type() != ItemType::Waveform) {
        SetLastError("There is no waveform to preview");
        return nullptr;
    }
    auto* wave = static_cast<Waveform*>(item);
    if (!ensureSamples(wave)) return nullptr;
    Collection& collection = session.collection();
    Waveform* clone = nullptr;
    try {
        clone = new Waveform(collection, *wave, true, u"<preview>");
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        return nullptr;
    }
    session.previewClone = clone->id;
    if (wave->hasSamples() && !clone->hasSamples()) {
        discardPreview(session);
        SetLastError("Out of memory");
        return nullptr;
    }

    std::vector<ItemId> real = {clone->id};
    real.swap(session.items);
    const int count = session.count;
    const bool sectionEnabled = session.sectionEnabled;
    if (session.sectionEnd <= session.sectionStart) session.sectionEnabled = false;
    session.preview = true;
    try {
        entry->tool->execute(session, values);
    } catch (const std::bad_alloc&) {
        SetLastError("Out of memory");
        session.reportError();
    }
    session.preview = false;
    session.sectionEnabled = sectionEnabled;
    session.count = count;
    real.swap(session.items);

    // Split tools make further waves from the copy; they go with it. The
    // comparison is on the first eight characters, "<preview".
    if (std::u16string_view(entry->name).find(u"Split") != std::u16string_view::npos) {
        for (Waveform* w : ItemsOf<Waveform>(collection)) {
            if (w->id == session.previewClone) continue;
            if (std::u16string_view(w->name()).substr(0, 8) == u"<preview") delete w;
        }
    }
    CollectionItem* shown = collection.find(session.previewClone);
    if (!shown) session.previewClone = kNoItem;
    return static_cast<Waveform*>(shown);
}

float LinearToDb(float x) {
    if (!(x > 1.5848933e-5f)) return -96.0f;
    if (x == 1.0f) return 0.0f;
    if (x == 2.0f) return 6.0f;
    if (x == 4.0f) return 12.0f;
    if (x == 0.5f) return -6.0f;
    if (x == 0.25f) return -12.0f;
    double v = 868.5889 * std::log(double(x));
    v += v < 0 ? -0.499 : 0.499;
    return float(std::trunc(v) * 0.01);
}

float DbToLinear(float d) {
    if (!(d > -96.0f)) return 0.0f;
    if (d == 0.0f) return 1.0f;
    if (d == 6.0f) return 2.0f;
    if (d == -6.0f) return 0.5f;
    if (d == -12.0f) return 0.25f;
    // Meant as it stands: +12 dB is a factor of 5 for the tools.
    if (d == 12.0f) return 5.0f;
    const double v = std::exp(double(d) * 0.115129255);
    if (v >= 1.0) return float(std::round(v * 1000.0) / 1000.0);
    return float(v);
}

} // namespace vaxel
