#pragma once
// The main window: the collection tree and the Waveform list side by side,
// the status bar, the menus. Every menu entry, accelerator and drop goes
// through dispatch().
#include <QMainWindow>
#include <QStringList>
#include <QVariant>
#include <functional>

#include "model/ids.h"
#include "model/status_line.h"

class QLabel;
class QMenu;
class QProgressBar;
class QSplitter;
class QTreeView;

namespace vaxel {
class Collection;
class CollectionItem;
} // namespace vaxel

namespace vaxel::app {

class CollectionTreeModel;
class UndoActions;
class WaveListModel;

// The status bar as the process's StatusLine.
class StatusBarLine : public StatusLine {
  public:
    StatusBarLine(QLabel* text, QProgressBar* bar) : text_(text), bar_(bar) {}
    void status(std::u16string_view text, int mode) override;
    void progress(double fraction) override;

  private:
    QLabel* text_;
    QProgressBar* bar_;
};

class MainWindow : public QMainWindow {
    Q_OBJECT
  public:
    explicit MainWindow(Collection& collection, QWidget* parent = nullptr);
    ~MainWindow() override;

    // The single entry of every command. parameter may carry the paths of
    // an open, merge or replace (a QStringList), which then need no dialog.
    bool dispatch(int command, QObject* sender = nullptr, const QVariant& parameter = {});

    // NOMSG: failures only set LastError.
    void setMessagesEnabled(bool on) { messages_ = on; }
    bool messagesEnabled() const { return messages_; }

    // Rebuilds both panes from the collection.
    void refresh();
    // The item the save commands act on: the selected tree item, or the
    // selected Waveform when the list has the focus; null for none.
    CollectionItem* selectedItem() const;

    CollectionTreeModel* treeModel() const { return treeModel_; }
    WaveListModel* waveModel() const { return waveModel_; }
    QTreeView* treeView() const { return tree_; }
    QTreeView* waveView() const { return waves_; }

    // Selects an item in its pane (a Waveform in the list, anything else in
    // the tree) and makes it the current one; false when it isn't shown.
    bool selectItem(ItemId id);

    // The context menu of a pane for its current item, as a right click
    // shows it; the caller owns it. Each entry carries its command.
    QMenu* contextMenu(QTreeView* view);

    // The open dialog; tests put their own answer here.
    std::function<QStringList(int command, const QString& title)> askOpenPaths;
    // Taken before a command changes the model, with the command's label:
    // where the undo history plugs in. Empty until it exists.
    std::function<void(const QString& label)> pushWholeState;
    // The undo history and its Edit entries.
    UndoActions* undoActions() const { return undo_; }
    // The external editors' processes; tests wait for them to end.
    int runningEditors() const { return runningEditors_; }

  signals:
    // Sent as a command arrives, before it runs.
    void commandDispatched(int command);
    // Sent when an external editor has ended and its file was read back
    // (or failed to be).
    void editorFinished(bool ok);

  protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void buildMenus();
    void rebuildRecentMenu();
    void updateSelectionTexts();
    bool editCommand(int command);
    void beginChange(const QString& label);
    void endChange(int removeMask, ItemId select);
    bool renameItem(CollectionItem& item, const QString& name);
    void runExternalEditor();
    void selectWavesOfTree();
    void showContextMenu(QTreeView* view, const QPoint& at);
    void selectTreeOfWaves();
    void showOptions();
    void showError(const QString& text);
    bool confirmLoss();
    QStringList runOpenDialog(int command, const QString& title);
    void openPaths(int command, const QStringList& paths);
    void saveItemCommand(CollectionItem* item);
    void saveCollection();
    void saveAllCommand();
    void restoreGeometryFromSettings();
    void storeGeometryInSettings();

    Collection& collection_;
    CollectionTreeModel* treeModel_;
    WaveListModel* waveModel_;
    QSplitter* splitter_;
    QTreeView* tree_;
    QTreeView* waves_;
    QLabel* statusText_;
    QProgressBar* progress_;
    QMenu* recentMenu_ = nullptr;
    QAction* saveSelected_ = nullptr;
    QAction* editName_ = nullptr;
    QAction* clone_ = nullptr;
    QAction* runEditor_ = nullptr;
    UndoActions* undo_ = nullptr;
    QAction* otherEditorKey_ = nullptr;
    int runningEditors_ = 0;
    bool syncingSelection_ = false;
    StatusBarLine statusLine_;
    StatusLine* previousStatus_ = nullptr;
    bool messages_ = true;
    bool closing_ = false;
};

} // namespace vaxel::app
