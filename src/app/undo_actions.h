#pragma once
// The undo history of the main window: the store of its collection, the
// Edit menu's Undo and Redo entries that follow it, and the hook through
// which every command of the window takes its step before it changes the
// model.
#include <QObject>
#include <memory>

namespace vaxel {
class Collection;
class UndoStore;
} // namespace vaxel

class QAction;

namespace vaxel::app {

class MainWindow;

class UndoActions : public QObject {
    Q_OBJECT
  public:
    // Makes the store, installs it for the save and open flows and for the
    // tool runner, and binds the window's Undo and Redo entries (found by
    // their command ids among the window's actions).
    UndoActions(MainWindow& window, Collection& collection);
    ~UndoActions() override;

    UndoStore& store() { return *store_; }

    // Undo (false) or Redo (true) one step, then rebuilds the panes. False
    // with LastError, also on the status line, when there is nothing to walk
    // to or the step could not be applied.
    bool step(bool redo);

    // Sets the entries' texts ("Undo: <label>") and whether they are enabled.
    void updateActions();

  private:
    MainWindow& window_;
    std::unique_ptr<UndoStore> store_;
    QAction* undo_ = nullptr;
    QAction* redo_ = nullptr;
};

} // namespace vaxel::app
