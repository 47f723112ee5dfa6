// "Process items…": the list page and the options pages of the tools, their
// preview on a "<preview>" copy, and the run through the tool runner. The
// pages hold no knowledge of any tool: every row comes from the tool's
// option records.
#include "app/tools_dialog.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolBar>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/main_window.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/status_line.h"
#include "model/waveform.h"
#include "tools/tool_runner.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"

namespace vaxel::app {

namespace {

QString Text(std::u16string_view text) {
    return QString::fromUtf16(text.data(), qsizetype(text.size()));
}

QString Text(const char16_t* text) {
    return text ? QString::fromUtf16(text) : QString();
}

// The position of an index from the root, row by row, so that a tree's
// selection can be put in the order the tree shows it.
std::vector<int> PathOf(QModelIndex index) {
    std::vector<int> path;
    for (; index.isValid(); index = index.parent()) path.push_back(index.row());
    std::reverse(path.begin(), path.end());
    return path;
}

// Below "Process items…" in the Tools menu: the tools the selection is
// offered, each by its command (29001 plus its row), made afresh each time
// the menu opens. The entries carry their command in a property of their
// own, so the Tools menu's handler (which dispatches entries whose data is a
// command) leaves them to this menu.
void AddQuickToolsMenu(MainWindow& window, Collection& collection) {
    QMenu* tools = nullptr;
    QAction* process = nullptr;
    for (QMenu* menu : window.menuBar()->findChildren<QMenu*>()) {
        for (QAction* action : menu->actions())
            if (action->data().typeId() == QMetaType::Int && action->data().toInt() == kCmdProcessItems) {
                tools = menu;
                process = action;
            }
    }
    if (!tools) return;
    const QList<QAction*> entries = tools->actions();
    const qsizetype at = entries.indexOf(process);
    QAction* before = at + 1 < entries.size() ? entries[at + 1] : nullptr;
    auto* quick = new QMenu(QStringLiteral("Run tool"), tools);
    quick->setObjectName(QStringLiteral("quickTools"));
    tools->insertMenu(before, quick);
    QObject::connect(quick, &QMenu::triggered, &window, [&window](QAction* action) {
        const QVariant command = action->property("toolCommand");
        if (command.isValid()) window.dispatch(command.toInt(), action);
    });
    QObject::connect(quick, &QMenu::aboutToShow, quick, [&window, &collection, quick] {
        quick->clear();
        ToolSession session(collection, ToolSelection(window));
        for (int i = 0; i < session.tableLength && i < kToolCommandCount; ++i) {
            const ToolEntry& entry = session.table[i];
            if (!IsToolAvailable(entry, session)) continue;
            QAction* action = quick->addAction(Text(entry.name));
            action->setProperty("toolCommand", kToolCommandBase + i);
        }
        if (quick->isEmpty()) quick->addAction(QStringLiteral("(none)"))->setEnabled(false);
    });
}

} // namespace

// ---------------------------------------------------------------- set-up

void SetUpTools(MainWindow& window, Collection& collection) {
    InstallTools();
    ToolHooks& hooks = Tools();
    hooks.showError = [&window](std::u16string_view text) {
        Status().status(text, kStatusError);
        if (window.messagesEnabled()) QMessageBox::critical(&window, QStringLiteral("Error!"), Text(text));
    };
    hooks.refreshView = [&window](ToolSession& session) {
        window.refresh();
        if (session.selectAfter != kNoItem) window.selectItem(session.selectAfter);
    };
    QObject::connect(&window, &QObject::destroyed, [] {
        Tools().showError = nullptr;
        Tools().refreshView = nullptr;
    });

    AddQuickToolsMenu(window, collection);

    QToolBar* bar = window.addToolBar(QStringLiteral("Tools"));
    bar->setObjectName(QStringLiteral("toolsBar"));
    bar->setMovable(false);
    QAction* process = bar->addAction(QStringLiteral("Process items…"));
    process->setData(int(kCmdProcessItems));
    process->setToolTip(QStringLiteral("Process items… (Ctrl+P)"));
    QObject::connect(process, &QAction::triggered, &window,
                     [&window, process] { window.dispatch(kCmdProcessItems, process); });
}

bool OpenToolsDialog(MainWindow& window, Collection& collection, int toolIndex) {
    // One tool session at a time: asking again shows the open one.
    for (ToolsDialog* open : window.findChildren<ToolsDialog*>()) {
        if (!open->isVisible()) continue;
        open->raise();
        open->activateWindow();
        return true;
    }
    auto* dialog = new ToolsDialog(window, collection, ToolSelection(window));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    if (toolIndex >= 0 && !dialog->chooseQuick(toolIndex)) {
        Status().status(LastError(), kStatusError);
        delete dialog;
        return false;
    }
    dialog->open();
    if (toolIndex >= 0) dialog->continueToOptions();
    return true;
}

std::vector<ItemId> ToolSelection(const MainWindow& window) {
    QTreeView* list = window.waveView();
    QTreeView* tree = window.treeView();
    const QModelIndexList treeRows = tree->selectionModel()->selectedRows(0);
    const bool fromList = list->hasFocus() || treeRows.isEmpty();
    QModelIndexList rows = fromList ? list->selectionModel()->selectedRows(0) : treeRows;
    std::sort(rows.begin(), rows.end(),
              [](const QModelIndex& a, const QModelIndex& b) { return PathOf(a) < PathOf(b); });
    std::vector<ItemId> ids;
    for (const QModelIndex& index : rows) {
        CollectionItem* item =
            fromList ? window.waveModel()->itemAt(index) : window.treeModel()->itemAt(index);
        if (item) ids.push_back(item->id);
    }
    return ids;
}

// ---------------------------------------------------------------- dialog

ToolsDialog::ToolsDialog(MainWindow& window, Collection& collection, std::vector<ItemId> selection)
    : QDialog(&window), window_(window), collection_(collection),
      session_(std::make_unique<ToolSession>(collection, std::move(selection))) {
    setWindowTitle(QStringLiteral("Process items"));
    pages_ = new QStackedWidget(this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(pages_);
    buildListPage();
    buildOptionsPage();
    fillList();
    resize(560, 520);
}

ToolsDialog::~ToolsDialog() = default;

void ToolsDialog::buildListPage() {
    auto* page = new QWidget(pages_);
    auto* layout = new QVBoxLayout(page);
    auto* heading = new QLabel(QStringLiteral(" Select a processing function"), page);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    layout->addWidget(heading);
    workingOn_ = new QLabel(page);
    layout->addWidget(workingOn_);

    list_ = new QListWidget(page);
    layout->addWidget(list_, 1);
    connect(list_, &QListWidget::currentRowChanged, this, [this] { toolChosen(); });
    connect(list_, &QListWidget::itemDoubleClicked, this, [this] { continueToOptions(); });

    // Only for a tool that can work on a section, when the kind is wave.
    sectionRows_ = new QWidget(page);
    auto* rows = new QVBoxLayout(sectionRows_);
    rows->setContentsMargins(0, 0, 0, 0);
    auto* range = new QHBoxLayout;
    section_ = new QCheckBox(QStringLiteral("Process only a section:"), sectionRows_);
    sectionStart_ = new QLineEdit(sectionRows_);
    sectionEnd_ = new QLineEdit(sectionRows_);
    sectionStart_->setObjectName(QStringLiteral("sectionStart"));
    sectionEnd_->setObjectName(QStringLiteral("sectionEnd"));
    range->addWidget(section_);
    range->addWidget(sectionStart_);
    range->addWidget(new QLabel(QStringLiteral("to"), sectionRows_));
    range->addWidget(sectionEnd_);
    rows->addLayout(range);
    auto* note = new QLabel(QStringLiteral("Some of the algorithms can work either on the whole waveform, "
                                           "or on a selected range only."),
                            sectionRows_);
    note->setWordWrap(true);
    rows->addWidget(note);
    layout->addWidget(sectionRows_);
    connect(section_, &QCheckBox::toggled, this, [this](bool on) { sectionToggled(on); });
    for (QLineEdit* edit : {sectionStart_, sectionEnd_})
        connect(edit, &QLineEdit::editingFinished, this, [this] { readSection(); });

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* go = new QPushButton(QStringLiteral("Continue…"), page);
    go->setObjectName(QStringLiteral("continue"));
    go->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), page);
    cancel->setObjectName(QStringLiteral("cancel"));
    buttons->addWidget(go);
    buttons->addWidget(cancel);
    layout->addLayout(buttons);
    connect(go, &QPushButton::clicked, this, [this] { continueToOptions(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    pages_->addWidget(page);
}

void ToolsDialog::buildOptionsPage() {
    auto* page = new QWidget(pages_);
    auto* layout = new QVBoxLayout(page);
    toolName_ = new QLabel(page);
    QFont bold = toolName_->font();
    bold.setBold(true);
    toolName_->setFont(bold);
    layout->addWidget(toolName_);
    description_ = new QLabel(page);
    description_->setWordWrap(true);
    layout->addWidget(description_);
    form_ = new QWidget(page);
    formLayout_ = new QGridLayout(form_);
    formLayout_->setContentsMargins(0, 0, 0, 0);
    formLayout_->setColumnStretch(1, 1);
    layout->addWidget(form_);
    layout->addStretch(1);

    preview_ = new QGroupBox(QStringLiteral("Waveform preview"), page);
    auto* previewRow = new QHBoxLayout(preview_);
    previous_ = new QPushButton(QStringLiteral("<<"), preview_);
    next_ = new QPushButton(QStringLiteral(">>"), preview_);
    update_ = new QPushButton(QStringLiteral("Update"), preview_);
    restore_ = new QPushButton(QStringLiteral("Restore"), preview_);
    for (QPushButton* b : {previous_, next_, update_, restore_}) previewRow->addWidget(b);
    previewRow->addStretch(1);
    layout->addWidget(preview_);
    connect(previous_, &QPushButton::clicked, this, [this] { stepPreviewWave(-1); });
    connect(next_, &QPushButton::clicked, this, [this] { stepPreviewWave(1); });
    connect(update_, &QPushButton::clicked, this, [this] { updatePreviewWave(); });
    connect(restore_, &QPushButton::clicked, this, [this] { restorePreview(); });

    auto* buttons = new QHBoxLayout;
    auto* back = new QPushButton(QStringLiteral("< Back"), page);
    back->setObjectName(QStringLiteral("back"));
    buttons->addWidget(back);
    buttons->addStretch(1);
    auto* run = new QPushButton(QStringLiteral("Execute!"), page);
    run->setObjectName(QStringLiteral("execute"));
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), page);
    buttons->addWidget(run);
    buttons->addWidget(cancel);
    layout->addLayout(buttons);
    connect(back, &QPushButton::clicked, this, [this] { backToList(); });
    connect(run, &QPushButton::clicked, this, [this] { execute(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    pages_->addWidget(page);
}

void ToolsDialog::fillList() {
    filling_ = true;
    list_->clear();
    ToolSession& s = *session_;
    const std::u16string last = LastToolOfKind(s.kind);
    int select = -1;
    for (int i = 0; i < s.tableLength; ++i) {
        const ToolEntry& entry = s.table[i];
        if (entry.available && !entry.available(s)) continue;
        auto* row = new QListWidgetItem(Text(entry.name), list_);
        row->setData(Qt::UserRole, i);
        // A row whose tool isn't part of this build is shown, but can't be
        // chosen.
        if (!IsToolBuilt(entry)) {
            row->setFlags(row->flags() & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
            row->setToolTip(QStringLiteral("Not available in this version"));
        } else if (last == entry.name) {
            select = list_->count() - 1;
        }
    }
    filling_ = false;
    list_->setCurrentRow(select);
    toolChosen();
}

bool ToolsDialog::chooseQuick(int index) {
    ToolSession& s = *session_;
    if (!s.chooseByNumber(index, true)) return false;
    // Chosen from a menu, a tool that needs a section and is given none
    // works on whole waves, as on the command line.
    const ToolEntry* entry = s.entry();
    if ((entry->flags & kSectionRequired) && s.kind == ToolKind::Wave && !s.sectionEnabled) {
        s.sectionEnabled = true;
        s.sectionStart = 0;
        s.sectionEnd = 0xFFFFFFFFu;
    }
    // The list shows the choice, for a way back from the options page.
    filling_ = true;
    for (int row = 0; row < list_->count(); ++row)
        if (list_->item(row)->data(Qt::UserRole).toInt() == index) list_->setCurrentRow(row);
    filling_ = false;
    showSectionRows();
    return true;
}

bool ToolsDialog::selectTool(const QString& name) {
    const QList<QListWidgetItem*> rows = list_->findItems(name, Qt::MatchExactly);
    if (rows.isEmpty() || !(rows.front()->flags() & Qt::ItemIsEnabled)) return false;
    list_->setCurrentItem(rows.front());
    return session_->entry() && Text(session_->tool) == name;
}

void ToolsDialog::toolChosen() {
    if (filling_) return;
    ToolSession& s = *session_;
    QListWidgetItem* row = list_->currentItem();
    if (!row || !(row->flags() & Qt::ItemIsEnabled) ||
        !s.chooseByNumber(row->data(Qt::UserRole).toInt(), false)) {
        s.toolIndex = -1;
        s.tool.clear();
    }
    showSectionRows();
}

void ToolsDialog::showSectionRows() {
    ToolSession& s = *session_;
    const ToolEntry* entry = s.entry();
    const bool capable = entry && (entry->flags & kSectionCapable) && s.kind == ToolKind::Wave;
    const bool required = capable && (entry->flags & kSectionRequired);
    sectionRows_->setVisible(capable);
    filling_ = true;
    if (!capable) {
        s.sectionEnabled = false;
        section_->setChecked(false);
    } else if (required && !s.sectionEnabled) {
        readSection();
        s.setSectionEnabled(true);
    }
    section_->setChecked(s.sectionEnabled);
    section_->setEnabled(!required);
    sectionStart_->setText(QString::number(s.sectionStart));
    sectionEnd_->setText(QString::number(s.sectionEnd));
    filling_ = false;
    workingOn_->setText(Text(s.workingOnText()));
}

void ToolsDialog::readSection() {
    bool ok = false;
    const uint32_t start = sectionStart_->text().trimmed().toUInt(&ok);
    if (ok) session_->sectionStart = start;
    const uint32_t end = sectionEnd_->text().trimmed().toUInt(&ok);
    if (ok) session_->sectionEnd = end;
}

void ToolsDialog::sectionToggled(bool on) {
    if (filling_) return;
    readSection();
    session_->setSectionEnabled(on);
    showSectionRows();
}

bool ToolsDialog::continueToOptions() {
    ToolSession& s = *session_;
    if (s.sectionEnabled) readSection();
    if (!CheckContinue(s)) {
        message(Text(LastError()));
        return false;
    }
    const ToolEntry* entry = s.entry();
    SetLastToolOfKind(s.kind, entry->name);
    toolName_->setText(Text(entry->name));
    description_->setText(Text(entry->tool->description));
    description_->setVisible(entry->tool->description != nullptr);
    buildOptionRows();
    const bool preview = s.kind == ToolKind::Wave && !s.autoExecute;
    preview_->setVisible(preview);
    previous_->setEnabled(s.items.size() >= 2);
    next_->setEnabled(s.items.size() >= 2);
    pages_->setCurrentIndex(1);
    if (preview) updatePreviewWave();
    if (s.autoExecute) execute();
    return true;
}

void ToolsDialog::backToList() {
    discardPreview(*session_);
    showWave(kNoItem);
    clearOptionRows();
    pages_->setCurrentIndex(0);
}

bool ToolsDialog::onOptionsPage() const {
    return pages_->currentIndex() == 1;
}

// ---------------------------------------------------------------- options

void ToolsDialog::clearOptionRows() {
    for (const Row& row : rows_) {
        delete row.label;
        delete row.field;
        delete row.unit;
    }
    rows_.clear();
}

void ToolsDialog::buildOptionRows() {
    clearOptionRows();
    const ToolSpec& spec = *session_->entry()->tool;
    values_ = RememberedValues(spec);
    for (size_t i = 0; i < spec.options.size(); ++i) {
        const ToolOption& option = spec.options[i];
        const ToolValue& value = values_.values[i];
        Row row;
        row.option = int(i);
        const int line = int(i);
        QString tip = Text(option.tip);
        if (option.type == OptionType::Number || option.type == OptionType::Integer) {
            const QString range = QString::fromStdString(OptionRangeText(option));
            tip = tip.isEmpty() ? range : tip + QLatin1Char('\n') + range;
        }
        if (option.type == OptionType::Check) {
            auto* box = new QCheckBox(Text(option.label), form_);
            box->setChecked(value.number != 0.0);
            connect(box, &QCheckBox::toggled, this, [this] { updateShownRows(); });
            row.field = box;
            formLayout_->addWidget(box, line, 0, 1, 3);
        } else {
            row.label = new QLabel(Text(option.label), form_);
            formLayout_->addWidget(row.label, line, 0);
            if (option.type == OptionType::Choice) {
                auto* choices = new QComboBox(form_);
                for (const char16_t* choice : option.choices) choices->addItem(Text(choice));
                choices->setCurrentIndex(int(value.number));
                connect(choices, &QComboBox::currentIndexChanged, this, [this] { updateShownRows(); });
                row.field = choices;
            } else {
                auto* edit = new QLineEdit(form_);
                edit->setText(option.type == OptionType::Text
                                  ? Text(value.text)
                                  : QString::fromStdString(OptionValueText(option, value)));
                if (option.type != OptionType::Text) edit->setAlignment(Qt::AlignRight);
                connect(edit, &QLineEdit::editingFinished, this, [this] { updateShownRows(); });
                row.field = edit;
            }
            formLayout_->addWidget(row.field, line, 1);
            if (option.unit && *option.unit) {
                row.unit = new QLabel(Text(option.unit), form_);
                formLayout_->addWidget(row.unit, line, 2);
            }
        }
        row.field->setObjectName(QString::fromLatin1(option.key));
        if (!tip.isEmpty()) row.field->setToolTip(tip);
        rows_.push_back(row);
    }
    updateShownRows();
}

bool ToolsDialog::readValues(bool strict) {
    const ToolSpec& spec = *values_.spec;
    for (const Row& row : rows_) {
        const ToolOption& option = spec.options[size_t(row.option)];
        std::string text;
        switch (option.type) {
        case OptionType::Check:
            text = std::string(1, static_cast<QCheckBox*>(row.field)->isChecked() ? '1' : '0');
            break;
        case OptionType::Choice:
            text = std::to_string(static_cast<QComboBox*>(row.field)->currentIndex());
            break;
        default:
            text = static_cast<QLineEdit*>(row.field)->text().toStdString();
            break;
        }
        // A hidden row keeps its value without being checked.
        if (!SetOptionFromText(values_, option.key, text) && strict && !row.field->isHidden()) {
            const QString label = Text(option.label).trimmed();
            const QString error = Text(LastError());
            SetLastError((label.isEmpty() ? error : label + QLatin1Char(' ') + error).toStdString().c_str());
            row.field->setFocus();
            return false;
        }
    }
    return true;
}

void ToolsDialog::updateShownRows() {
    if (!values_.spec) return;
    readValues(false);
    for (const Row& row : rows_) {
        const ToolOption& option = values_.spec->options[size_t(row.option)];
        const bool shown = !option.shown || option.shown(*session_, values_);
        for (QWidget* w : {static_cast<QWidget*>(row.label), row.field, static_cast<QWidget*>(row.unit)})
            if (w) w->setVisible(shown);
    }
}

QWidget* ToolsDialog::optionField(const char* key) const {
    for (const Row& row : rows_)
        if (row.field->objectName() == QLatin1String(key)) return row.field;
    return nullptr;
}

// ---------------------------------------------------------------- preview

void ToolsDialog::showWave(ItemId id) {
    // The list shows the copy while it exists, and loses it once it is gone.
    window_.refresh();
    if (id == kNoItem && !session_->items.empty())
        id = session_->items[std::min<size_t>(session_->previewIndex, session_->items.size() - 1)];
    if (id != kNoItem) window_.selectItem(id);
}

void ToolsDialog::updatePreviewWave() {
    if (!readValues(true)) {
        message(Text(LastError()));
        return;
    }
    ClearLastError();
    Waveform* shown = updatePreview(*session_, values_);
    if (!shown && *LastError()) Status().status(LastError(), kStatusError);
    // Without a copy (a tool that deleted it) the original is shown again.
    showWave(shown ? shown->id : kNoItem);
}

void ToolsDialog::restorePreview() {
    discardPreview(*session_);
    showWave(kNoItem);
}

void ToolsDialog::stepPreviewWave(int direction) {
    stepPreview(*session_, direction);
    updatePreviewWave();
}

// ---------------------------------------------------------------- run

int ToolsDialog::execute() {
    if (!readValues(true)) {
        message(Text(LastError()));
        return -1;
    }
    discardPreview(*session_);
    ClearLastError();
    const int count = runSession(*session_, values_);
    if (count < 0) {
        // A wave that would not load has had its box from the runner.
        if (*LastError()) Status().status(LastError(), kStatusError);
        showWave(kNoItem);
        return -1;
    }
    accept();
    return count;
}

void ToolsDialog::message(const QString& text) {
    Status().status(text.toStdU16String(), kStatusError);
    if (window_.messagesEnabled()) QMessageBox::warning(this, QStringLiteral("Vaxel Studio"), text);
}

void ToolsDialog::done(int result) {
    // Closing takes the preview copy with it; the panes then show the items
    // the tool worked on.
    discardPreview(*session_);
    window_.refresh();
    // A run may have named the item to show (a tool that made items, or the
    // collection after an instrument tool); else the selection comes back.
    if (session_->selectAfter == kNoItem || !window_.selectItem(session_->selectAfter))
        for (size_t i = 0; i < session_->items.size(); ++i)
            if (session_->item(i) && window_.selectItem(session_->items[i])) break;
    QDialog::done(result);
}

} // namespace vaxel::app
