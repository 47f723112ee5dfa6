// The save dialogs of the main window: one item, the collection back to its
// own file, and "Save all" with its naming scheme.
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/main_window.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "fileio/wave_loader.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/text.h"

namespace vaxel::app {

namespace {

QString Text(std::u16string_view text) {
    return QString::fromUtf16(text.data(), qsizetype(text.size()));
}

int SaveGroupOf(ItemType type) {
    switch (type) {
    case ItemType::Waveform:
        return kSaveGroupWave;
    case ItemType::Region:
    case ItemType::Layer:
    case ItemType::Instrument:
        return kSaveGroupInstrument;
    case ItemType::Track:
    case ItemType::Song:
        return kSaveGroupSong;
    case ItemType::Collection:
        return kSaveGroupCollection;
    default:
        return kSaveGroupOther;
    }
}

const char16_t* DefaultExtension(int group) {
    static const char16_t* const kDefaults[] = {u"wav", u"sfz", u"mid", u"sf2", u"sfz"};
    return kDefaults[group];
}

// A save file dialog with the "Data format:" and "Channel format:" lists
// below the file name, filled for the row of the selected filter.
class SaveDialog {
  public:
    SaveDialog(QWidget* parent, const QString& title, std::vector<FilterEntry> rows,
               const CollectionItem& item, int firstRow)
        : dialog_(parent, title), rows_(std::move(rows)), item_(item) {
        dialog_.setAcceptMode(QFileDialog::AcceptSave);
        dialog_.setFileMode(QFileDialog::AnyFile);
        // The overwrite question is ours, after the extension is settled;
        // the extra lists need the dialog's own widgets.
        dialog_.setOption(QFileDialog::DontConfirmOverwrite);
        dialog_.setOption(QFileDialog::DontUseNativeDialog);
        QStringList filters;
        int selected = 0;
        for (size_t i = 0; i < rows_.size(); ++i) {
            filters << Text(rows_[i].text) + QStringLiteral(" (") + Text(rows_[i].pattern) + QLatin1Char(')');
            if (rows_[i].row == firstRow) selected = int(i);
        }
        dialog_.setNameFilters(filters);
        if (!filters.isEmpty()) dialog_.selectNameFilter(filters[selected]);
        current_ = selected;

        if (auto* grid = qobject_cast<QGridLayout*>(dialog_.layout())) {
            const int r = grid->rowCount();
            grid->addWidget(new QLabel(QStringLiteral("Data format:")), r, 0);
            grid->addWidget(&coding_, r, 1);
            grid->addWidget(new QLabel(QStringLiteral("Channel format:")), r + 1, 0);
            grid->addWidget(&channels_, r + 1, 1);
        }
        QObject::connect(&dialog_, &QFileDialog::filterSelected, [this, filters](const QString& f) {
            current_ = int(filters.indexOf(f));
            fillChoices();
        });
        fillChoices();
    }

    QFileDialog& dialog() { return dialog_; }
    int row() const {
        return current_ >= 0 && size_t(current_) < rows_.size() ? rows_[size_t(current_)].row : -1;
    }
    int codingPosition() const {
        return coding_.currentData().isValid() ? coding_.currentData().toInt() : kAutoCoding;
    }
    int channelPosition() const {
        return channels_.currentData().isValid() ? channels_.currentData().toInt() : 0;
    }

  private:
    void fillChoices() {
        coding_.clear();
        channels_.clear();
        const int r = row();
        if (r < 0) return;
        for (const SaveChoice& c : dataFormatChoices(r, item_)) coding_.addItem(Text(c.text), c.position);
        for (const SaveChoice& c : channelFormatChoices(r, item_))
            channels_.addItem(Text(c.text), c.position);
        coding_.setEnabled(coding_.count() > 1);
        channels_.setEnabled(channels_.count() > 1);
    }

    QFileDialog dialog_;
    std::vector<FilterEntry> rows_;
    const CollectionItem& item_;
    QComboBox coding_;
    QComboBox channels_;
    int current_ = 0;
};

// The options for a row from the dialog's choices; a choice the row does
// not offer (the extension picked another row) falls back to the row's own.
WriteOptions OptionsFor(int row, int coding, int channels) {
    WriteOptions options;
    if (!applyDataFormatChoice(row, coding, options)) applyDataFormatChoice(row, kAutoCoding, options);
    if (!applyChannelChoice(row, channels, options)) applyChannelChoice(row, 0, options);
    return options;
}

} // namespace

void MainWindow::saveItemCommand(CollectionItem* item) {
    if (!item) {
        showError(QStringLiteral("No item selected"));
        return;
    }
    const ItemType type = item->type();
    const uint32_t mask = 1u << int(type);
    const int group = SaveGroupOf(type);
    Settings& settings = GlobalSettings();
    int firstRow = settings.app.SaveFmt[size_t(group)];
    if (firstRow == kNoSaveRow) firstRow = findWriteRowByExtension(DefaultExtension(group), mask);

    QString title = QStringLiteral("Save %1 \"%2\"").arg(Text(TypeText(type)), Text(item->name()));
    const CollectionItem* parent = item->parent();
    if (parent && parent != &collection_) title += QStringLiteral(" of \"%1\"").arg(Text(parent->name()));
    title += QStringLiteral(" as");

    SaveDialog save(this, title, saveDialogFilters(mask), *item, firstRow);
    save.dialog().setDirectory(Text(settings.app.LastPathOutW));
    save.dialog().selectFile(Text(item->name()));
    std::u16string path;
    int row = -1;
    for (;;) {
        if (save.dialog().exec() != QDialog::Accepted || save.dialog().selectedFiles().isEmpty()) return;
        path = save.dialog().selectedFiles().front().toStdU16String();
        row = save.row();
        ResolveSaveTarget(path, row, mask);
        if (!QFileInfo::exists(Text(path))) break;
        const auto answer =
            messages_ ? QMessageBox::question(this, QStringLiteral("Vaxel Studio"),
                                              QStringLiteral("File already exists! Overwrite it?"),
                                              QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel)
                      : QMessageBox::Yes;
        if (answer == QMessageBox::Cancel) return;
        if (answer == QMessageBox::Yes) {
            // The file about to be overwritten may be the source of waves
            // not read yet.
            Status().status(u"Reading waveforms…", kStatusProgress);
            ensureSamples(&collection_);
            Status().status(u"", kStatusClearProgress);
            break;
        }
    }
    const WriteOptions options = OptionsFor(row, save.codingPosition(), save.channelPosition());
    settings.app.SaveFmt[size_t(group)] = uint16_t(row);
    settings.app.LastPathOutW = QFileInfo(Text(path)).absolutePath().toStdU16String();
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const int ok = saveFile(item, std::filesystem::path(WideToUtf8(path)), row, options, true);
    QApplication::restoreOverrideCursor();
    if (!ok) showError(Text(LastError()));
    refresh();
}

void MainWindow::saveCollection() {
    const int row = collection_.sourceFormat;
    const std::u16string path = collection_.text(kInfoSourceFile) ? collection_.text(kInfoSourceFile) : u"";
    uint32_t param = 0;
    // What the source row can hold: the collection itself, or (a wave
    // format) the one Waveform of a collection that holds nothing else.
    CollectionItem* item = nullptr;
    if (row >= 0 && !path.empty() && capsOf(row, &param)) {
        if (itemAllowed(row, int(ItemType::Collection)))
            item = &collection_;
        else if (itemAllowed(row, int(ItemType::Waveform)) && collection_.count(ItemType::Waveform) == 1 &&
                 !collection_.count(ItemType::Instrument) && !collection_.count(ItemType::Song))
            item = collection_.first(ItemType::Waveform);
    }
    if (!item) {
        saveItemCommand(&collection_);
        return;
    }
    // The source is about to be overwritten: read every wave first.
    Status().status(u"Reading waveforms…", kStatusProgress);
    QApplication::setOverrideCursor(Qt::WaitCursor);
    int ok = ensureSamples(&collection_);
    if (ok) {
        WriteOptions options;
        applyDataFormatChoice(row, kAutoCoding, options);
        applyChannelChoice(row, 0, options);
        ok = saveFile(item, std::filesystem::path(WideToUtf8(path)), row, options, true);
    }
    QApplication::restoreOverrideCursor();
    if (!ok) showError(Text(LastError()));
    refresh();
}

void MainWindow::saveAllCommand() {
    Settings& settings = GlobalSettings();
    // The naming scheme.
    QDialog naming(this);
    naming.setWindowTitle(QStringLiteral("Save all in multiple files"));
    auto* layout = new QVBoxLayout(&naming);
    QButtonGroup schemes(&naming);
    for (int id : {kNameBaseNumber, kNameNumberBase, kNameBaseName, kNameName, kNameNumberName,
                   kNameSourceFile, kNameBankProgram, kNamePrompt}) {
        auto* button = new QRadioButton(Text(SaveAllSchemeText(id)), &naming);
        schemes.addButton(button, id);
        layout->addWidget(button);
        if (id == settings.sall.iMode) button->setChecked(true);
    }
    if (!schemes.checkedButton()) schemes.button(kNameName)->setChecked(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &naming);
    connect(buttons, &QDialogButtonBox::accepted, &naming, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &naming, &QDialog::reject);
    layout->addWidget(buttons);
    if (naming.exec() != QDialog::Accepted) return;
    const int scheme = schemes.checkedId();
    settings.sall.iMode = scheme;

    // Folder, row and base name.
    SaveDialog save(this, QStringLiteral("Select directory, file format and 'base name'"),
                    saveDialogFilters(0xFF), collection_, settings.app.SaveFmt[kSaveGroupCollection]);
    save.dialog().setDirectory(Text(settings.app.LastPathOutW));
    save.dialog().selectFile(Text(collection_.name()));
    if (save.dialog().exec() != QDialog::Accepted || save.dialog().selectedFiles().isEmpty()) return;
    const QFileInfo chosen(save.dialog().selectedFiles().front());
    const int row = save.row();
    const WriteOptions options = OptionsFor(row, save.codingPosition(), save.channelPosition());
    settings.app.LastPathOutW = chosen.absolutePath().toStdU16String();

    SaveAllPrompts prompts;
    prompts.collision = [this](const std::u16string& name, bool& sameForAll) {
        if (!messages_) return kSkipThis;
        QMessageBox box(
            QMessageBox::Question, QStringLiteral("Vaxel Studio"),
            QStringLiteral("The auto-named file \"%1\" already exists!\nWhat do you want to do with it?")
                .arg(Text(name)),
            QMessageBox::NoButton, this);
        QAbstractButton* overwrite = box.addButton(QStringLiteral("Overwrite"), QMessageBox::AcceptRole);
        QAbstractButton* skip = box.addButton(QStringLiteral("Skip this"), QMessageBox::RejectRole);
        QAbstractButton* rename = box.addButton(QStringLiteral("Rename it"), QMessageBox::ActionRole);
        box.addButton(QStringLiteral("Cancel all"), QMessageBox::DestructiveRole);
        box.exec();
        const CollisionAnswer answer = box.clickedButton() == overwrite ? kOverwrite
                                       : box.clickedButton() == skip    ? kSkipThis
                                       : box.clickedButton() == rename  ? kRenameIt
                                                                        : kCancelAll;
        if (answer == kOverwrite || answer == kSkipThis) {
            QMessageBox again(
                QMessageBox::Question, QStringLiteral("Vaxel Studio"),
                QStringLiteral("Do you want to do the same thing for any additional name collisions?"),
                QMessageBox::Yes | QMessageBox::No, this);
            again.setCheckBox(new QCheckBox(QStringLiteral("Don't ask again?")));
            sameForAll = again.exec() == QMessageBox::Yes;
        }
        return answer;
    };
    prompts.askPath = [this](const CollectionItem& item, std::u16string& path) {
        const QString chosenPath = QFileDialog::getSaveFileName(
            this, QStringLiteral("Save %1 \"%2\" as").arg(Text(TypeText(item.type())), Text(item.name())),
            Text(GlobalSettings().app.LastPathOutW) + QLatin1Char('/') + Text(item.name()));
        if (chosenPath.isEmpty()) return false;
        path = chosenPath.toStdU16String();
        return true;
    };
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const int saved = saveAll(collection_, std::filesystem::path(chosen.absolutePath().toStdString()), row,
                              chosen.completeBaseName().toStdU16String(), scheme, options, prompts);
    QApplication::restoreOverrideCursor();
    if (saved < 0) showError(Text(LastError()));
    refresh();
}

} // namespace vaxel::app
