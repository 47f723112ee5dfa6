// The main window: panes, status bar, menus and the command dispatcher.
#include "app/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QSplitter>
#include <QStatusBar>
#include <QTimer>
#include <QTreeView>
#include <QUrl>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/options_dialog.h"
#include "app/tools_dialog.h"
#include "app/undo_actions.h"
#include "app/update_check.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "model/collection.h"
#include "model/feature_mask.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/text.h"
#include "tools/tool_table.h"
#include "tools/wave_passes.h"

namespace vaxel::app {

namespace {

QString Text(std::u16string_view text) {
    return QString::fromUtf16(text.data(), qsizetype(text.size()));
}

std::filesystem::path PathOf(const QString& path) {
    return std::filesystem::path(path.toStdString());
}

// A menu text of the command table: the text, a tab, and the accelerator in
// the table's notation ("c-" Ctrl, "s-" Shift, "a-" Alt), as "Save
// collection\ts-F4". The action shows the text and gets the key sequence.
QAction* AddCommand(QMenu* menu, const QString& spec, int command) {
    const qsizetype tab = spec.indexOf(u'\t');
    auto* action = menu->addAction(tab < 0 ? spec : spec.left(tab));
    action->setData(command);
    if (tab >= 0) {
        QString keys = spec.mid(tab + 1);
        QString sequence;
        for (;;) {
            if (keys.startsWith(QLatin1String("c-"))) {
                sequence += QLatin1String("Ctrl+");
            } else if (keys.startsWith(QLatin1String("s-"))) {
                sequence += QLatin1String("Shift+");
            } else if (keys.startsWith(QLatin1String("a-"))) {
                sequence += QLatin1String("Alt+");
            } else {
                break;
            }
            keys = keys.mid(2);
        }
        action->setShortcut(QKeySequence(sequence + keys));
        // Keys work with the menus closed and whichever pane has the focus.
        action->setShortcutContext(Qt::WindowShortcut);
    }
    return action;
}

} // namespace

// ---------------------------------------------------------------- status

void StatusBarLine::status(std::u16string_view text, int mode) {
    switch (mode) {
    case kStatusClearProgress:
        bar_->hide();
        return;
    case kStatusProgress:
        bar_->setValue(0);
        bar_->show();
        break;
    case kStatusFinal:
        bar_->hide();
        break;
    default:
        break;
    }
    text_->setStyleSheet(mode == kStatusError ? QStringLiteral("color: #c62828;") : QString());
    text_->setText(Text(text));
    // Long reads run on this thread: paint now, the event loop is not
    // running until they end.
    text_->repaint();
}

void StatusBarLine::progress(double fraction) {
    const int value = int(fraction * 100.0 + 0.5);
    if (value == bar_->value()) return;
    bar_->setValue(std::clamp(value, 0, 100));
    if (bar_->isVisible()) bar_->repaint();
}

// ---------------------------------------------------------------- window

MainWindow::MainWindow(Collection& collection, QWidget* parent)
    : QMainWindow(parent), collection_(collection), treeModel_(new CollectionTreeModel(collection, this)),
      waveModel_(new WaveListModel(collection, this)), splitter_(new QSplitter(Qt::Horizontal, this)),
      tree_(new QTreeView(splitter_)), waves_(new QTreeView(splitter_)), statusText_(new QLabel(this)),
      progress_(new QProgressBar(this)), statusLine_(statusText_, progress_) {
    setWindowTitle(QStringLiteral("Vaxel Studio"));
    setAcceptDrops(true);

    tree_->setModel(treeModel_);
    tree_->setUniformRowHeights(true);
    tree_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    waves_->setModel(waveModel_);
    waves_->setRootIsDecorated(false);
    waves_->setUniformRowHeights(true);
    waves_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    waves_->header()->setStretchLastSection(false);
    waves_->header()->setSectionResizeMode(WaveListModel::kName, QHeaderView::Stretch);
    splitter_->setChildrenCollapsible(false);
    setCentralWidget(splitter_);

    progress_->setRange(0, 100);
    progress_->setMaximumWidth(200);
    progress_->hide();
    statusBar()->addWidget(statusText_, 1);
    statusBar()->addPermanentWidget(progress_);
    previousStatus_ = SetStatusLine(&statusLine_);

    // Names are edited in place: F2 (the command) or a click on the
    // selected item.
    const auto triggers = QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked;
    tree_->setEditTriggers(triggers);
    waves_->setEditTriggers(triggers);
    treeModel_->rename = [this](CollectionItem& item, const QString& name) { return renameItem(item, name); };
    waveModel_->rename = treeModel_->rename;

    buildMenus();
    undo_ = new UndoActions(*this, collection_);
    SetUpTools(*this, collection_);
    connect(tree_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { updateSelectionTexts(); });
    connect(waves_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { updateSelectionTexts(); });
    for (QTreeView* view : {tree_, waves_}) {
        view->setContextMenuPolicy(Qt::CustomContextMenu);
        connect(view, &QWidget::customContextMenuRequested, this,
                [this, view](const QPoint& at) { showContextMenu(view, at); });
    }
    // The two panes' selections follow each other as the options say.
    connect(tree_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { selectWavesOfTree(); });
    connect(waves_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { selectTreeOfWaves(); });

    // What the flows ask of the window.
    FlowHooks& flows = Flows();
    flows.showError = [this](const std::u16string& text) { showError(Text(text)); };
    flows.addRecent = [this](const std::filesystem::path& path) {
        AddRecentFile(GlobalSettings(), Utf8ToWide(path.string()));
        rebuildRecentMenu();
    };
    flows.removeRecent = [this](const std::filesystem::path& path) {
        RemoveRecentFile(GlobalSettings(), Utf8ToWide(path.string()));
        rebuildRecentMenu();
    };
    flows.refreshView = [this](Collection&) { refresh(); };
    // update() may delete items in the middle of a command: the panes
    // rebuild once the command is over.
    Collection::hooks().rebuildView = [this](Collection&) {
        QTimer::singleShot(0, this, [this] { refresh(); });
    };

    restoreGeometryFromSettings();
    refresh();
}

MainWindow::~MainWindow() {
    FlowHooks& flows = Flows();
    flows.showError = nullptr;
    flows.addRecent = nullptr;
    flows.removeRecent = nullptr;
    flows.refreshView = nullptr;
    Collection::hooks().rebuildView = nullptr;
    SetStatusLine(previousStatus_);
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    AddCommand(file, QStringLiteral("Open file…\tF3"), kCmdOpen);
    AddCommand(file, QStringLiteral("Merge files…\ts-F3"), kCmdMerge);
    saveSelected_ = AddCommand(file, QStringLiteral("Save…"), kCmdSaveSelected);
    AddCommand(file, QStringLiteral("Save collection\ts-F4"), kCmdSaveCollection);
    AddCommand(file, QStringLiteral("Save collection as…"), kCmdSaveCollectionAs);
    AddCommand(file, QStringLiteral("Save all in multiple files…\tc-F4"), kCmdSaveAll);
    AddCommand(file, QStringLiteral("Clear all"), kCmdClearAll);
    file->addSeparator();
    recentMenu_ = file->addMenu(QStringLiteral("Recent files"));
    file->addSeparator();
    AddCommand(file, QStringLiteral("Exit\ta-X"), kCmdExit);

    // Undo, the clipboard and the articulation entries join this menu with
    // the parts of the program that do them.
    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    AddCommand(edit, QStringLiteral("Undo\tc-Z"), kCmdUndo);
    AddCommand(edit, QStringLiteral("Redo\tc-Y"), kCmdRedo);
    edit->addSeparator();
    AddCommand(edit, QStringLiteral("Add new instrument"), kCmdAddInstrument);
    AddCommand(edit, QStringLiteral("Add new layer"), kCmdAddLayer);
    AddCommand(edit, QStringLiteral("Add new region"), kCmdAddRegion);
    edit->addSeparator();
    editName_ = AddCommand(edit, QStringLiteral("Edit item name\tF2"), kCmdEditName);
    clone_ = AddCommand(edit, QStringLiteral("Clone item\ta-C"), kCmdClone);
    edit->addSeparator();
    AddCommand(edit, QStringLiteral("Select all\tc-A"), kCmdSelectAll);
    AddCommand(edit, QStringLiteral("Deselect all\tc-D"), kCmdDeselectAll);
    edit->addSeparator();
    runEditor_ = AddCommand(edit, QStringLiteral("Run waveform editor\tc-E"), kCmdRunEditor);
    // Both editor keys work whatever the menu entry says: the entry holds
    // the key of the selection's editor, this action the other one.
    otherEditorKey_ = new QAction(this);
    otherEditorKey_->setShortcut(QKeySequence(QStringLiteral("Ctrl+F")));
    otherEditorKey_->setShortcutContext(Qt::WindowShortcut);
    connect(otherEditorKey_, &QAction::triggered, this, [this] { dispatch(kCmdRunEditor, otherEditorKey_); });
    addAction(otherEditorKey_);

    QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
    AddCommand(tools, QStringLiteral("Process items…\tc-P"), kCmdProcessItems);
    tools->addSeparator();
    AddCommand(tools, QStringLiteral("Dual mono -> Interleaved stereo"), kCmdDualMonoToStereo);
    AddCommand(tools, QStringLiteral("Interleaved stereo -> Dual mono"), kCmdStereoToDualMono);
    AddCommand(tools, QStringLiteral("Delete unused waveforms"), kCmdDeleteUnusedWaves);
    AddCommand(tools, QStringLiteral("Delete duplicate waveforms"), kCmdDeleteDuplicateWaves);
    AddCommand(tools, QStringLiteral("Replace waveforms…"), kCmdReplaceWaves);
    tools->addSeparator();
    AddCommand(tools, QStringLiteral("Options…"), kCmdOptions);

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->addAction(QStringLiteral("About Vaxel Studio…"), this, [this] {
        QMessageBox::about(
            this, QStringLiteral("About Vaxel Studio"),
            QStringLiteral("Vaxel Studio v%1\n\nA workstation and universal converter for sampled "
                           "sound.\n\n%2 file formats: %3 with a reader, %4 with a writer.")
                .arg(QString::fromLatin1(kSettingsVersion))
                .arg(formatCount)
                .arg(readerCount())
                .arg(writerCount()));
    });

    // The update check is there only when an address to ask is configured.
    if (!GlobalSettings().app.szUpdateAddress.empty())
        AddCommand(help, QStringLiteral("Check for Updates"), kCmdCheckForUpdates);

    for (QMenu* menu : {file, edit, tools, help}) {
        connect(menu, &QMenu::triggered, this, [this](QAction* action) {
            // The recent entries carry a path, the commands their number.
            if (action->data().typeId() == QMetaType::Int) dispatch(action->data().toInt(), action);
        });
        // Shortcuts of a menu's actions work only when the window holds them.
        addActions(menu->actions());
    }
    rebuildRecentMenu();
    updateSelectionTexts();
}

void MainWindow::rebuildRecentMenu() {
    if (!recentMenu_) return;
    recentMenu_->clear();
    for (const std::u16string& entry : GlobalSettings().app.LastFilesW) {
        const QString path = Text(entry);
        QAction* action = recentMenu_->addAction(QFileInfo(path).fileName());
        action->setData(path);
        action->setToolTip(path);
        connect(action, &QAction::triggered, this,
                [this, path, action] { dispatch(kCmdOpen, action, QStringList{path}); });
    }
    recentMenu_->setEnabled(!recentMenu_->isEmpty());
}

CollectionItem* MainWindow::selectedItem() const {
    CollectionItem* wave = waveModel_->itemAt(waves_->currentIndex());
    CollectionItem* item = treeModel_->itemAt(tree_->currentIndex());
    if (wave && (waves_->hasFocus() || !item)) return wave;
    return item;
}

void MainWindow::refresh() {
    treeModel_->rebuild();
    waveModel_->rebuild();
    // A small collection opens with its first level shown.
    if (treeModel_->rowCount() <= 20) tree_->expandToDepth(0);
    QString title = QStringLiteral("Vaxel Studio");
    if (collection_.size() > 1)
        title = QString::fromUtf16(collection_.name()) + QStringLiteral(" - ") + title;
    setWindowTitle(title);
    updateSelectionTexts();
}

void MainWindow::showError(const QString& text) {
    if (!messages_ || text.isEmpty()) return;
    QMessageBox::critical(this, QStringLiteral("Error!"), text);
}

bool MainWindow::confirmLoss() {
    if (!GlobalSettings().load.bConfirm || collection_.size() <= 1 || !messages_) return true;
    return QMessageBox::question(this, QStringLiteral("Vaxel Studio"),
                                 QStringLiteral("The loaded data will be lost. Go on?")) == QMessageBox::Yes;
}

bool MainWindow::dispatch(int command, QObject* sender, const QVariant& parameter) {
    (void)sender;
    emit commandDispatched(command);
    switch (command) {
    case kCmdOpen:
    case kCmdMerge:
    case kCmdReplaceWaves: {
        QStringList paths = parameter.toStringList();
        if (paths.isEmpty()) {
            const QString title = command == kCmdOpen ? QStringLiteral("Open new file - Vaxel Studio")
                                  : command == kCmdMerge
                                      ? QStringLiteral("Open files to merge with - Vaxel Studio")
                                      : QStringLiteral("Select waves to replace current "
                                                       "waves of the same name");
            paths = askOpenPaths ? askOpenPaths(command, title) : runOpenDialog(command, title);
        }
        if (paths.isEmpty()) return true;
        if (command == kCmdOpen && !confirmLoss()) return true;
        openPaths(command, paths);
        return true;
    }
    case kCmdSaveSelected:
        saveItemCommand(selectedItem());
        return true;
    case kCmdSaveAll:
        saveAllCommand();
        return true;
    case kCmdSaveCollection:
        saveCollection();
        return true;
    case kCmdSaveCollectionAs:
        saveItemCommand(&collection_);
        return true;
    case kCmdClearAll:
        if (!confirmLoss()) return true;
        beginChange(QStringLiteral("Clear all"));
        collection_.clear();
        refresh();
        return true;
    case kCmdExit:
        close();
        return true;
    case kCmdAddInstrument:
    case kCmdAddLayer:
    case kCmdAddRegion:
    case kCmdEditName:
    case kCmdClone:
    case kCmdSelectAll:
    case kCmdDeselectAll:
        return editCommand(command);
    case kCmdRunEditor:
        runExternalEditor();
        return true;
    case kCmdOptions:
        showOptions();
        return true;
    case kCmdUndo:
    case kCmdRedo:
        return undo_->step(command == kCmdRedo);
    case kCmdProcessItems:
        return OpenToolsDialog(*this, collection_);
    case kCmdDualMonoToStereo:
    case kCmdStereoToDualMono:
    case kCmdDeleteUnusedWaves:
    case kCmdDeleteDuplicateWaves: {
        // Each pass takes its own undo step (and drops it when nothing
        // changed); the views are rebuilt since waves come and go.
        ClearLastError();
        const int changed = command == kCmdDualMonoToStereo    ? dualMonoToStereo(collection_)
                            : command == kCmdStereoToDualMono  ? stereoToDualMono(collection_)
                            : command == kCmdDeleteUnusedWaves ? deleteUnusedWaveforms(collection_)
                                                               : deleteDuplicateWaveforms(collection_);
        if (changed < 0) showError(QString::fromUtf16(LastError()));
        if (changed != 0) {
            collection_.update(0, false);
            refresh();
        }
        return true;
    }
    case kCmdCheckForUpdates:
        CheckForUpdates(this, true, messages_);
        return true;
    default:
        // A tool of the selection's table by its row: 29001 plus the index.
        if (command >= kToolCommandBase && command < kToolCommandBase + kToolCommandCount)
            return OpenToolsDialog(*this, collection_, command - kToolCommandBase);
        return false;
    }
}

void MainWindow::showOptions() {
    OptionsDialog dialog(GlobalSettings(), this);
    if (dialog.exec() != QDialog::Accepted || !dialog.featuresChanged()) return;
    // A changed mask takes what it cleared out of the model at once.
    SetFeatureMask(GlobalSettings().features);
    collection_.update(0, false);
    refresh();
}

QStringList MainWindow::runOpenDialog(int command, const QString& title) {
    // All readable files first, then each row by itself.
    QStringList filters;
    QStringList all;
    for (const FilterEntry& f : openDialogFilters()) {
        const QString pattern = Text(f.pattern);
        filters << Text(f.text) + QStringLiteral(" (") + pattern + QLatin1Char(')');
        if (!all.contains(pattern)) all << pattern;
    }
    filters.prepend(QStringLiteral("All supported files (") + all.join(u' ') + QLatin1Char(')'));
    filters << QStringLiteral("All files (*)");
    const QString folder = Text(GlobalSettings().app.LastPathInW);
    QStringList paths;
    if (command == kCmdOpen) {
        const QString path =
            QFileDialog::getOpenFileName(this, title, folder, filters.join(QStringLiteral(";;")));
        if (!path.isEmpty()) paths << path;
    } else {
        paths = QFileDialog::getOpenFileNames(this, title, folder, filters.join(QStringLiteral(";;")));
    }
    if (!paths.isEmpty())
        GlobalSettings().app.LastPathInW = QFileInfo(paths.front()).absolutePath().toStdU16String();
    return paths;
}

void MainWindow::openPaths(int command, const QStringList& paths) {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    for (qsizetype i = 0; i < paths.size(); ++i) {
        // An open of several files opens the first and merges the rest.
        const int step = (command == kCmdOpen && i > 0) ? kCmdMerge : command;
        // An open makes the file's folder the current one: a relative path
        // is resolved before it.
        openCommand(collection_, PathOf(QFileInfo(paths[i]).absoluteFilePath()), step, false);
    }
    QApplication::restoreOverrideCursor();
    refresh();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!closing_ && !confirmLoss()) {
        event->ignore();
        return;
    }
    closing_ = true;
    storeGeometryInSettings();
    event->accept();
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls()) {
        if (!url.isLocalFile()) continue;
        const QString path = url.toLocalFile();
        if (isSupportedFile(PathOf(path))) paths << path;
    }
    if (paths.isEmpty()) return;
    event->acceptProposedAction();
    dispatch(kCmdOpen, this, QStringList{paths.front()});
    if (paths.size() > 1) dispatch(kCmdMerge, this, paths.mid(1));
}

void MainWindow::restoreGeometryFromSettings() {
    const AppSettings& app = GlobalSettings().app;
    if (app.ptLastSize[0] > 0 && app.ptLastSize[1] > 0)
        resize(app.ptLastSize[0], app.ptLastSize[1]);
    else
        resize(900, 600);
    if (app.ptLastPos[0] >= 0 && app.ptLastPos[1] >= 0) move(app.ptLastPos[0], app.ptLastPos[1]);
    const int left = std::max(50, app.iPaneSplitL);
    splitter_->setSizes({left, std::max(100, width() - left)});
}

void MainWindow::storeGeometryInSettings() {
    AppSettings& app = GlobalSettings().app;
    app.ptLastPos[0] = pos().x();
    app.ptLastPos[1] = pos().y();
    app.ptLastSize[0] = width();
    app.ptLastSize[1] = height();
    const QList<int> sizes = splitter_->sizes();
    if (!sizes.isEmpty() && sizes.front() > 0) app.iPaneSplitL = sizes.front();
}

} // namespace vaxel::app
