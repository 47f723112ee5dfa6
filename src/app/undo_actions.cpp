// The main window's undo history: see undo_actions.h.
#include "app/undo_actions.h"

#include <QAction>

#include "app/commands.h"
#include "app/main_window.h"
#include "fileio/undo_store.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "tools/tool_runner.h"

namespace vaxel::app {

namespace {

QString Text(const std::u16string& text) {
    return QString::fromUtf16(text.data(), qsizetype(text.size()));
}

} // namespace

UndoActions::UndoActions(MainWindow& window, Collection& collection)
    : QObject(&window), window_(window), store_(std::make_unique<UndoStore>(collection)) {
    for (QAction* action : window.actions()) {
        if (action->data().typeId() != QMetaType::Int) continue;
        if (action->data().toInt() == kCmdUndo) undo_ = action;
        if (action->data().toInt() == kCmdRedo) redo_ = action;
    }
    UndoStore::Install(store_.get());
    UseUndoStore(store_.get());
    store_->changed = [this] { updateActions(); };
    // A step that can't be written costs the undo of that edit, not the
    // edit itself: the command goes on and the status line says why.
    window.pushWholeState = [this](const QString& label) {
        if (!store_->pushWholeState(label.toStdU16String()))
            Status().status(u"Undo state not saved: " + std::u16string(LastError()), kStatusError);
    };
    updateActions();
}

UndoActions::~UndoActions() {
    // Another window may have installed its own store meanwhile (tests).
    if (UndoStore::Installed() == store_.get()) {
        UndoStore::Install(nullptr);
        UseUndoStore(nullptr);
    }
    store_->changed = nullptr;
}

bool UndoActions::step(bool redo) {
    ClearLastError();
    const bool ok = redo ? store_->redo() : store_->undo();
    if (!ok && *LastError()) Status().status(LastError(), kStatusError);
    window_.refresh();
    updateActions();
    return ok;
}

void UndoActions::updateActions() {
    if (undo_) {
        const std::u16string text = store_->undoText();
        undo_->setText(text.empty() ? QStringLiteral("Undo") : Text(text));
        undo_->setEnabled(store_->canUndo());
    }
    if (redo_) {
        const std::u16string text = store_->redoText();
        redo_->setText(text.empty() ? QStringLiteral("Redo") : Text(text));
        redo_->setEnabled(store_->canRedo());
    }
}

} // namespace vaxel::app
