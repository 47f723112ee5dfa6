// "Run waveform editor" and "Run MIDI editor": the selected Waveform (or
// Song) is written to a temporary .wav (.mid), the editor from the settings
// runs on it, and the file is read back when the editor exits.
//
// How an edited file comes back: the editor saves over the temporary file.
// When its process ends, the file is opened into a private collection; a
// Waveform takes the new samples through shareSamples (frames, channels
// and rate with them, and markers of the same name moved), a Song gets the
// Tracks of the file in place of its own. The item is found again by its
// id, so one deleted in the meantime is not touched. The window stays usable
// while the editor runs; the temporary folder goes with the process object.
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTreeView>
#include <filesystem>
#include <memory>

#include "app/collection_models.h"
#include "app/main_window.h"
#include "fileio/format_table.h"
#include "fileio/open_save.h"
#include "model/collection.h"
#include "model/last_error.h"
#include "model/settings.h"
#include "model/song.h"
#include "model/text.h"
#include "model/waveform.h"

namespace vaxel::app {

namespace {

constexpr char16_t kEditorFailed[] = u"Failed: Running external editor failed.";

// A file name from an item name: no folder separators, no leading dot.
QString FileNameOf(const CollectionItem& item, const QString& extension) {
    QString name = QString::fromUtf16(item.name()).trimmed();
    for (QChar& c : name)
        if (c == u'/' || c == u'\\' || c.unicode() < 32) c = u'_';
    while (name.startsWith(u'.')) name.remove(0, 1);
    if (name.isEmpty()) name = QStringLiteral("edit");
    return name.left(120) + extension;
}

// Reads the edited file back into the item; false with LastError set.
bool ReadBack(Collection& collection, ItemId id, const std::filesystem::path& path) {
    CollectionItem* item = collection.find(id);
    if (!item) {
        SetLastError("The edited item is no longer in the collection.");
        return false;
    }
    Collection edited;
    // openFile makes the file's folder the current one; the temporary
    // folder is about to go, so the old one comes back.
    std::error_code ec;
    const std::filesystem::path folder = std::filesystem::current_path(ec);
    const int read = openFile(edited, path, true);
    if (!folder.empty()) std::filesystem::current_path(folder, ec);
    if (!read) return false;

    if (item->type() == ItemType::Waveform) {
        auto* from = static_cast<Waveform*>(edited.first(ItemType::Waveform));
        if (!from) {
            SetLastError("The edited file holds no waveform.");
            return false;
        }
        // The samples must be in memory to be shared: the file goes soon.
        if (!from->lockSamples()) return false;
        static_cast<Waveform*>(item)->shareSamples(*from);
        return true;
    }
    auto* song = static_cast<Song*>(item);
    auto* from = static_cast<Song*>(edited.first(ItemType::Song));
    if (!from) {
        SetLastError("The edited file holds no song.");
        return false;
    }
    while (!song->ids.empty()) {
        CollectionItem* track = collection.find(song->ids[song->ids.size() - 1]);
        if (track)
            delete track; // unhooks itself from the song
        else
            song->ids.erase(song->ids.size() - 1);
    }
    for (uint32_t i = 0; i < from->ids.size(); ++i) {
        auto* track = dynamic_cast<Track*>(edited.find(from->ids[i]));
        if (!track) continue;
        auto* copy = new Track(collection, *track);
        if (!song->addChild(*copy)) {
            delete copy;
            SetLastError("Out of memory");
            return false;
        }
    }
    song->format = from->format;
    song->division = from->division;
    return true;
}

} // namespace

void MainWindow::runExternalEditor() {
    ClearLastError();
    CollectionItem* item = selectedItem();
    // A Region stands for its wave, a Track for its song.
    if (item && item->type() == ItemType::Region)
        item = collection_.find(item->ids.empty() ? kNoItem : item->ids[0]);
    if (item && item->type() == ItemType::Track) item = item->parent();
    // An item of the tree that has no file of its own: the current wave.
    if (!item || (item->type() != ItemType::Waveform && item->type() != ItemType::Song))
        item = waveModel_->itemAt(waves_->currentIndex());
    if (!item || (item->type() != ItemType::Waveform && item->type() != ItemType::Song)) {
        showError(QStringLiteral("Select a waveform or a song to edit."));
        return;
    }
    const bool midi = item->type() == ItemType::Song;
    const QString command =
        QString::fromStdU16String(midi ? GlobalSettings().app.wszMidi : GlobalSettings().app.wszWave)
            .trimmed();
    if (command.isEmpty()) {
        showError(midi
                      ? QStringLiteral("No MIDI editor is set up yet. Enter its command in Tools > Options…, "
                                       "on the page \"Editors\".")
                      : QStringLiteral("No waveform editor is set up yet. Enter its command in Tools > "
                                       "Options…, on the page \"Editors\"."));
        return;
    }
    QStringList arguments = QProcess::splitCommand(command);
    const QString program = arguments.isEmpty() ? QString() : arguments.takeFirst();

    auto fail = [this](const QString& why) {
        Status().status(kEditorFailed, kStatusFinal);
        showError(why);
        emit editorFinished(false);
    };
    auto folder = std::make_shared<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/vaxel-edit-XXXXXX"));
    if (!folder->isValid())
        return fail(QStringLiteral("Can't create a temporary folder: ") + folder->errorString());
    const QString file =
        folder->filePath(FileNameOf(*item, midi ? QStringLiteral(".mid") : QStringLiteral(".wav")));
    const std::filesystem::path path(file.toStdString());

    const int row = findWriteRowByExtension(midi ? u"mid" : u"wav", 1u << int(item->type()));
    WriteOptions options;
    if (const FormatEntry* entry = row >= 0 ? formatRow(row) : nullptr)
        options.codingMask = entry->codingMask;
    if (row < 0 || !saveItem(item, row, path, options, true)) return fail(QString::fromUtf16(LastError()));

    bool placed = false;
    for (QString& argument : arguments) {
        if (argument.contains(QStringLiteral("%1"))) {
            argument.replace(QStringLiteral("%1"), file);
            placed = true;
        }
    }
    if (!placed) arguments << file;

    const ItemId id = item->id;
    const QString name = QString::fromUtf16(item->name());
    auto* process = new QProcess(this);
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    ++runningEditors_;
    connect(process, &QProcess::errorOccurred, this,
            [this, process, program, fail](QProcess::ProcessError error) {
                if (error != QProcess::FailedToStart) return;
                --runningEditors_;
                process->deleteLater();
                fail(QStringLiteral("The editor \"%1\" could not be started: %2")
                         .arg(program, process->errorString()));
            });
    connect(process, &QProcess::finished, this,
            [this, process, folder, path, id, name, fail](int code, QProcess::ExitStatus status) {
                --runningEditors_;
                process->deleteLater();
                if (status != QProcess::NormalExit || code != 0)
                    return fail(QStringLiteral("The editor ended with an error (exit code %1); the item is "
                                               "left as it was.")
                                    .arg(code));
                beginChange(QStringLiteral("External editor"));
                if (!ReadBack(collection_, id, path)) return fail(QString::fromUtf16(LastError()));
                collection_.update(0, false);
                refresh();
                selectItem(id);
                Status().status(u"Done: Edited waveform \"" + name.toStdU16String() +
                                    u"\" in external editor.",
                                kStatusFinal);
                emit editorFinished(true);
            });
    Status().status(u"Running external editor", kStatusProgress);
    process->start(program, arguments);
}

} // namespace vaxel::app
