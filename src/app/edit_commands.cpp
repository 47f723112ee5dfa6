// The Edit commands of the main window: new Instruments, Layers and Regions,
// renaming, cloning, selecting; and the entry texts that follow the
// selection. The model side is in edit_ops.cpp.
#include <QAction>
#include <QItemSelectionModel>
#include <QMenu>
#include <QTreeView>
#include <unordered_set>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/edit_ops.h"
#include "app/main_window.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/settings.h"

namespace vaxel::app {

namespace {

QString KindText(const CollectionItem* item) {
    return QString::fromUtf16(TypeText(item->type())).toLower();
}

} // namespace

void MainWindow::updateSelectionTexts() {
    const CollectionItem* item = selectedItem();
    if (saveSelected_)
        saveSelected_->setText(item ? QStringLiteral("Save selected %1 as…").arg(KindText(item))
                                    : QStringLiteral("Save…"));
    if (editName_)
        editName_->setText(item ? QStringLiteral("Edit %1 name").arg(KindText(item))
                                : QStringLiteral("Edit item name"));
    if (clone_)
        clone_->setText(item ? QStringLiteral("Clone selected %1").arg(KindText(item))
                             : QStringLiteral("Clone item"));
    if (runEditor_) {
        const bool song = item && (item->type() == ItemType::Song || item->type() == ItemType::Track);
        runEditor_->setText(song ? QStringLiteral("Run MIDI editor") : QStringLiteral("Run waveform editor"));
        const QKeySequence wave(QStringLiteral("Ctrl+E")), midi(QStringLiteral("Ctrl+F"));
        // Never the same key on both actions: Qt would take it for neither.
        if (otherEditorKey_) otherEditorKey_->setShortcut(QKeySequence());
        runEditor_->setShortcut(song ? midi : wave);
        if (otherEditorKey_) otherEditorKey_->setShortcut(song ? wave : midi);
    }
}

QMenu* MainWindow::contextMenu(QTreeView* view) {
    auto* menu = new QMenu(this);
    auto add = [menu](const QString& text, int command) { menu->addAction(text)->setData(command); };
    const bool list = view == waves_;
    CollectionItem* item =
        list ? waveModel_->itemAt(view->currentIndex()) : treeModel_->itemAt(view->currentIndex());
    if (item) {
        const QString kind = KindText(item);
        add(QStringLiteral("Save selected %1 as").arg(kind), kCmdSaveSelected);
        const ItemType type = item->type();
        if (type == ItemType::Waveform || type == ItemType::Region || type == ItemType::Song ||
            type == ItemType::Track)
            add(QStringLiteral("Run editor app"), kCmdRunEditor);
        menu->addSeparator();
    }
    if (list) {
        if (item) {
            add(QStringLiteral("Rename waveform"), kCmdEditName);
            add(QStringLiteral("Clone waveform"), kCmdClone);
        }
    } else {
        add(QStringLiteral("Add new instrument"), kCmdAddInstrument);
        if (item && item->type() != ItemType::Song && item->type() != ItemType::Track &&
            item->type() != ItemType::SynthesisModel) {
            add(QStringLiteral("Add new layer"), kCmdAddLayer);
            add(QStringLiteral("Add new region"), kCmdAddRegion);
        }
        if (item) {
            add(QStringLiteral("Rename %1").arg(KindText(item)), kCmdEditName);
            add(QStringLiteral("Clone %1").arg(KindText(item)), kCmdClone);
        }
    }
    menu->addSeparator();
    add(QStringLiteral("Open new"), kCmdOpen);
    return menu;
}

void MainWindow::showContextMenu(QTreeView* view, const QPoint& at) {
    QMenu* menu = contextMenu(view);
    QAction* chosen = menu->exec(view->viewport()->mapToGlobal(at));
    const int command = chosen ? chosen->data().toInt() : 0;
    delete menu;
    if (command) dispatch(command, view);
}

void MainWindow::beginChange(const QString& label) {
    ClearLastError();
    if (pushWholeState) pushWholeState(label);
}

void MainWindow::endChange(int removeMask, ItemId select) {
    collection_.update(removeMask, false);
    refresh();
    if (select != kNoItem) selectItem(select);
}

bool MainWindow::selectItem(ItemId id) {
    CollectionItem* item = collection_.find(id);
    if (!item) return false;
    QTreeView* view = item->type() == ItemType::Waveform ? waves_ : tree_;
    QModelIndex index;
    if (view == waves_) {
        for (int row = 0, rows = waveModel_->rowCount(); row < rows && !index.isValid(); ++row) {
            const QModelIndex at = waveModel_->index(row, WaveListModel::kName);
            if (waveModel_->itemAt(at) == item) index = at;
        }
    } else {
        index = treeModel_->indexOf(id);
    }
    if (!index.isValid()) return false;
    for (QModelIndex up = index.parent(); up.isValid(); up = up.parent()) view->expand(up);
    view->selectionModel()->setCurrentIndex(index,
                                            QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    view->scrollTo(index);
    view->setFocus();
    updateSelectionTexts();
    return true;
}

namespace {

// The Waveforms an item plays: a Region's own, and those of the Regions
// below a Layer or Instrument.
void CollectWaves(const Collection& collection, const CollectionItem* item, std::unordered_set<ItemId>& waves,
                  int depth = 0) {
    if (!item || depth > 3) return;
    for (ItemId id : item->ids) {
        if (TypeOf(id) == ItemType::Waveform)
            waves.insert(id);
        else if (item->type() != ItemType::Region && item->type() != ItemType::Song)
            CollectWaves(collection, collection.find(id), waves, depth + 1);
    }
}

} // namespace

void MainWindow::selectWavesOfTree() {
    if (syncingSelection_ || !GlobalSettings().app.bAutoSelWaveforms) return;
    std::unordered_set<ItemId> ids;
    for (const QModelIndex& index : tree_->selectionModel()->selectedRows())
        CollectWaves(collection_, treeModel_->itemAt(index), ids);
    if (ids.empty()) return;
    QItemSelection selection;
    QModelIndex first;
    for (ItemId id : ids) {
        const QModelIndex index = waveModel_->indexOf(id);
        if (!index.isValid()) continue;
        selection.select(index, index);
        if (!first.isValid() || index.row() < first.row()) first = index;
    }
    syncingSelection_ = true;
    waves_->selectionModel()->select(selection,
                                     QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (first.isValid()) waves_->scrollTo(first);
    syncingSelection_ = false;
}

void MainWindow::selectTreeOfWaves() {
    if (syncingSelection_ || !GlobalSettings().app.bAutoSelCollItems) return;
    std::unordered_set<ItemId> waves;
    for (const QModelIndex& index : waves_->selectionModel()->selectedRows())
        if (const CollectionItem* wave = waveModel_->itemAt(index)) waves.insert(wave->id);
    if (waves.empty()) return;
    // The items that refer to a selected wave: the Regions that play it.
    QItemSelection selection;
    QModelIndex first;
    for (CollectionItem* region = collection_.first(ItemType::Region); region;
         region = collection_.next(region, ItemType::Region)) {
        bool plays = false;
        for (ItemId id : region->ids) plays = plays || waves.count(id);
        if (!plays) continue;
        const QModelIndex index = treeModel_->indexOf(region->id);
        if (!index.isValid()) continue;
        selection.select(index, index);
        if (!first.isValid()) first = index;
    }
    syncingSelection_ = true;
    tree_->selectionModel()->select(selection,
                                    QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (first.isValid()) tree_->scrollTo(first);
    syncingSelection_ = false;
}

bool MainWindow::renameItem(CollectionItem& item, const QString& name) {
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty() || trimmed == QString::fromUtf16(item.name())) return false;
    beginChange(QStringLiteral("Rename"));
    const std::u16string text = trimmed.toStdU16String();
    item.setName(text.c_str(), int(text.size()));
    const ItemType type = item.type();
    if ((type == ItemType::Instrument || type == ItemType::Waveform) &&
        GlobalSettings().load.bEnsureUniqueNames)
        collection_.makeNameUnique(item);
    updateSelectionTexts();
    return true;
}

bool MainWindow::editCommand(int command) {
    CollectionItem* item = selectedItem();
    CollectionItem* created = nullptr;
    switch (command) {
    case kCmdAddInstrument:
        beginChange(QStringLiteral("Add new instrument"));
        created = AddInstrument(collection_);
        break;
    case kCmdAddLayer:
        beginChange(QStringLiteral("Add new layer"));
        created = AddLayer(collection_, treeModel_->itemAt(tree_->currentIndex()));
        break;
    case kCmdAddRegion: {
        beginChange(QStringLiteral("Add new region"));
        // The Waveform selected in the list is what the new Region plays.
        created = AddRegion(collection_, treeModel_->itemAt(tree_->currentIndex()),
                            waveModel_->itemAt(waves_->currentIndex()));
        break;
    }
    case kCmdClone:
        beginChange(QStringLiteral("Clone"));
        created = CloneItem(collection_, item);
        break;
    case kCmdEditName: {
        QTreeView* view = item && item->type() == ItemType::Waveform ? waves_ : tree_;
        const QModelIndex index = view->currentIndex();
        if (!item || !index.isValid()) return true;
        view->setFocus();
        view->edit(view == waves_ ? index.siblingAtColumn(WaveListModel::kName) : index);
        return true;
    }
    case kCmdSelectAll:
        (waves_->hasFocus() ? waves_ : tree_)->selectAll();
        return true;
    case kCmdDeselectAll:
        tree_->clearSelection();
        waves_->clearSelection();
        return true;
    default:
        return false;
    }
    if (!created) {
        showError(QString::fromUtf16(LastError()));
        return true;
    }
    // Adding and cloning leave nothing empty that wasn't before.
    endChange(0, created->id);
    return true;
}

} // namespace vaxel::app
