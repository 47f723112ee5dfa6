// The Edit commands of the main window: new Instruments, Layers and Regions,
// renaming, cloning, selecting; and the entry texts that follow the
// selection. The model side is in edit_ops.cpp.
#include <QAction>
#include <QItemSelectionModel>
#include <QTreeView>

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
        runEditor_->setShortcut(QKeySequence(song ? QStringLiteral("Ctrl+F") : QStringLiteral("Ctrl+E")));
    }
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
