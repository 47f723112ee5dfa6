// The options dialog, the message box of a failed open, and the external
// editor round trip, under Qt Test offscreen.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QProcess>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>
#include <QtTest>
#include <fstream>
#include <functional>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/main_window.h"
#include "app/options_dialog.h"
#include "app/update_check.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/feature_mask.h"
#include "model/settings.h"
#include "model/waveform.h"

using namespace vaxel;
using namespace vaxel::app;

namespace {

// The lines of the key file a settings record is written as.
QStringList KeyLines(const Settings& settings, const QString& path) {
    if (!saveSettings(settings, path.toStdString())) return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readAll()).split(u'\n');
}

// The answers still waiting; each test's end stops them, so that none
// answers a box of the next test.
QList<QPointer<QTimer>> g_answers;

// Calls answer with the next modal widget that comes up (within a few
// seconds); the command that opens it runs meanwhile.
void AnswerModal(std::function<void(QWidget*)> answer) {
    auto* timer = new QTimer;
    g_answers << timer;
    auto tries = std::make_shared<int>(0);
    QObject::connect(timer, &QTimer::timeout, [timer, tries, answer] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal && ++*tries < 100) return;
        timer->stop();
        timer->deleteLater();
        if (modal) answer(modal);
    });
    timer->start(50);
}

} // namespace

class DialogsTest : public QObject {
    Q_OBJECT
  private:
    QTemporaryDir dir_;

    QString makeWave(const QString& name, int rate) {
        const QString path = dir_.filePath(name);
        QProcess sox;
        sox.start(QStringLiteral("sox"),
                  {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"), QStringLiteral("-r"),
                   QString::number(rate), QStringLiteral("-c"), QStringLiteral("1"), path,
                   QStringLiteral("synth"), QStringLiteral("0.5"), QStringLiteral("sine"),
                   QStringLiteral("440")});
        if (!sox.waitForFinished(20000) || sox.exitStatus() != QProcess::NormalExit || sox.exitCode() != 0)
            return {};
        return path;
    }

    QString script(const QString& name, const QString& body) {
        const QString path = dir_.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) return {};
        file.write(("#!/bin/sh\n" + body + "\n").toUtf8());
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }

  private slots:
    void initTestCase() {
        InstallFormats();
        QVERIFY(dir_.isValid());
    }

    void cleanup() {
        for (const QPointer<QTimer>& timer : std::as_const(g_answers)) delete timer.data();
        g_answers.clear();
    }

    void init() {
        GlobalSettings() = Settings{};
        GlobalSettings().app.bAsyncWaveLoad = false;
        SetFeatureMask(kAllFeatures);
    }

    // Every entry of the check list is bound to a value of its own: ticking
    // it and OK changes exactly one line of the key file; Cancel none.
    void everyCheckChangesItsOwnValue() {
        int count = 0;
        OptionFlags(count);
        QCOMPARE(count, 36);
        const QStringList before = KeyLines(Settings{}, dir_.filePath(QStringLiteral("before.conf")));
        QVERIFY(!before.isEmpty());
        QSet<QString> changedKeys;
        for (int row = 0; row < count; ++row) {
            Settings settings;
            OptionsDialog dialog(settings);
            QListWidgetItem* entry = dialog.flagList()->item(row);
            entry->setCheckState(entry->checkState() == Qt::Checked ? Qt::Unchecked : Qt::Checked);
            dialog.accept();
            QVERIFY(!dialog.featuresChanged());
            const QStringList after = KeyLines(settings, dir_.filePath(QStringLiteral("after.conf")));
            QCOMPARE(after.size(), before.size());
            QStringList changed;
            for (qsizetype i = 0; i < after.size(); ++i)
                if (after[i] != before[i]) changed << after[i].section(u'=', 0, 0);
            QVERIFY2(changed.size() == 1,
                     qPrintable(entry->text() + QStringLiteral(": ") + changed.join(u' ')));
            changedKeys.insert(changed.front());
        }
        QCOMPARE(changedKeys.size(), count);

        // A named one, and Cancel.
        Settings settings;
        OptionsDialog dialog(settings);
        const auto found = dialog.flagList()->findItems(
            QStringLiteral(
                "General: Confirm before losing loaded data (e.g. when loading a new file, or exiting)"),
            Qt::MatchExactly);
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.front()->checkState(), Qt::Unchecked);
        found.front()->setCheckState(Qt::Checked);
        dialog.reject();
        QVERIFY(!settings.load.bConfirm);
        OptionsDialog again(settings);
        again.flagList()
            ->findItems(found.front()->text(), Qt::MatchExactly)
            .front()
            ->setCheckState(Qt::Checked);
        again.waveEditor()->setText(QStringLiteral(" audacity "));
        again.colourBox()->setCurrentIndex(2);
        again.updateAddress()->setText(QStringLiteral("https://updates.example.org/"));
        again.accept();
        QVERIFY(settings.load.bConfirm);
        QVERIFY(settings.app.wszWave == u"audacity");
        QCOMPARE(int(settings.app.eDarkMode), 2);
        QCOMPARE(settings.app.szUpdateAddress, std::string("https://updates.example.org/"));
    }

    void featurePresetsAndChecksFollowEachOther() {
        Settings settings;
        OptionsDialog dialog(settings);
        QComboBox* presets = dialog.presetBox();
        QCOMPARE(presets->currentIndex(), 0); // all bits on: the first preset
        int sf2 = -1;
        for (int i = 0; i < FeaturePresetCount(); ++i)
            if (QString::fromUtf16(FeaturePresetAt(i).text).startsWith(QStringLiteral("SoundFont 2.0 ")))
                sf2 = i;
        QVERIFY(sf2 > 0);
        presets->setCurrentIndex(sf2);
        emit presets->activated(sf2);
        const FeatureMask mask = FeaturePresetAt(sf2).mask;
        QCOMPARE(dialog.checkedMask(), mask);
        QListWidget* list = dialog.featureList();
        QCOMPARE(list->count(), 44);
        for (int row = 0; row < list->count(); ++row) {
            const int bit = list->item(row)->data(Qt::UserRole).toInt();
            QCOMPARE(list->item(row)->checkState() == Qt::Checked, HasFeature(mask, bit));
        }
        // A check away from the preset shows no preset; back, it shows again.
        QListWidgetItem* first = list->item(0);
        const Qt::CheckState was = first->checkState();
        first->setCheckState(was == Qt::Checked ? Qt::Unchecked : Qt::Checked);
        QCOMPARE(presets->currentIndex(), presets->count() - 1);
        first->setCheckState(was);
        QCOMPARE(presets->currentIndex(), sf2);
        dialog.accept();
        QVERIFY(dialog.featuresChanged());
        QCOMPARE(settings.features, mask);
    }

    // OK on a changed mask through the window: stored, and in force.
    void optionsCommandAppliesTheFeatureMask() {
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        window.dispatch(kCmdAddInstrument);
        QVERIFY(collection.first(ItemType::Instrument));
        int seen = 0;
        AnswerModal([&](QWidget* modal) {
            auto* dialog = qobject_cast<OptionsDialog*>(modal);
            if (!dialog) {
                modal->close();
                return;
            }
            ++seen;
            QListWidget* list = dialog->featureList();
            for (int row = 0; row < list->count(); ++row)
                if (list->item(row)->data(Qt::UserRole).toInt() == kFeatureLowPass)
                    list->item(row)->setCheckState(Qt::Unchecked);
            dialog->accept();
        });
        window.dispatch(kCmdOptions);
        QCOMPARE(seen, 1);
        QVERIFY(!HasFeature(GlobalSettings().features, kFeatureLowPass));
        QVERIFY(!HasFeature(kFeatureLowPass));
        QVERIFY(HasFeature(kFeatureEq));
        SetFeatureMask(kAllFeatures);
    }

    void aFailedOpenShowsLastErrorUnlessNoMsg() {
        const QString wave = makeWave(QStringLiteral("good.wav"), 22050);
        QVERIFY2(!wave.isEmpty(), "sox must be installed (./test.sh installs it)");
        const QString empty = dir_.filePath(QStringLiteral("empty.wav"));
        QFile(empty).open(QIODevice::WriteOnly);

        Collection collection;
        MainWindow window(collection);
        window.show();
        QString title, text;
        AnswerModal([&](QWidget* modal) {
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                title = box->windowTitle();
                text = box->text();
            }
            modal->close();
        });
        window.dispatch(kCmdOpen, nullptr, QStringList{empty});
        QCOMPARE(title, QStringLiteral("Error!"));
        QCOMPARE(text, QStringLiteral("File is of zero size"));

        // With NOMSG the same failure asks nothing.
        window.setMessagesEnabled(false);
        bool boxed = false;
        AnswerModal([&](QWidget* modal) {
            boxed = true;
            modal->close();
        });
        window.dispatch(kCmdOpen, nullptr, QStringList{empty});
        QTest::qWait(300);
        QVERIFY(!boxed);

        // The window goes on working.
        window.dispatch(kCmdOpen, nullptr, QStringList{wave});
        QCOMPARE(window.waveModel()->rowCount(), 1);
        QVERIFY(window.isVisible());
    }

    void externalEditorChangesComeBack() {
        const QString wave = makeWave(QStringLiteral("edit-me.wav"), 44100);
        QVERIFY(!wave.isEmpty());
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        window.dispatch(kCmdOpen, nullptr, QStringList{wave});
        auto* original = static_cast<Waveform*>(collection.first(ItemType::Waveform));
        QVERIFY(original);
        QCOMPARE(original->frames, 22050u);
        QVERIFY(window.selectItem(original->id));
        QSignalSpy finished(&window, &MainWindow::editorFinished);

        // No editor set up: nothing runs.
        window.dispatch(kCmdRunEditor);
        QCOMPARE(window.runningEditors(), 0);
        QCOMPARE(finished.count(), 0);

        // An editor that fails leaves the wave alone.
        GlobalSettings().app.wszWave = u"false";
        window.dispatch(kCmdRunEditor);
        QVERIFY(finished.wait(20000));
        QCOMPARE(finished.last().front().toBool(), false);
        QCOMPARE(original->sampleRate, 44100u);

        // An "editor" that resamples to 8 kHz and takes the first half,
        // saving over the file it was given.
        const QString editor = script(QStringLiteral("resample.sh"),
                                      QStringLiteral("sox \"$1\" -r 8000 \"$1.new.wav\" trim 0 0.25 && "
                                                     "mv \"$1.new.wav\" \"$1\""));
        QVERIFY(!editor.isEmpty());
        GlobalSettings().app.wszWave = editor.toStdU16String();
        window.dispatch(kCmdRunEditor);
        QVERIFY(finished.wait(20000));
        QCOMPARE(finished.last().front().toBool(), true);
        QCOMPARE(collection.find(original->id), original);
        QCOMPARE(original->sampleRate, 8000u);
        QCOMPARE(original->frames, 2000u);
        QVERIFY(original->lockSamples());
        QCOMPARE(window.waveModel()->data(window.waveModel()->index(0, WaveListModel::kRate)).toString(),
                 QStringLiteral("8000"));
        auto* status = window.statusBar()->findChild<QLabel*>();
        QVERIFY(status);
        QCOMPARE(status->text(), QStringLiteral("Done: Edited waveform \"edit-me\" in external editor."));
    }

    // The update check against a local server: what it asks, and what it
    // makes of the answers. Without an address it asks nothing.
    void updateCheckAsksOnlyAConfiguredAddress() {
        QCOMPARE(ParseVersion(QStringLiteral("12.13.0.8")), 12130008LL);
        QCOMPARE(ParseVersion(QStringLiteral("1.2.3.4\r\n")), 1020304LL);
        QCOMPARE(ParseVersion(QStringLiteral("v12.13.0.8")), -1LL);
        QCOMPARE(ParseVersion(QStringLiteral("12.13.0")), -1LL);
        QCOMPARE(ParseVersion(QStringLiteral("1234567.1.1.1.1")), -1LL);

        QWidget parent;
        CheckForUpdates(&parent, true, true);
        QVERIFY(parent.findChildren<QNetworkAccessManager*>().isEmpty());

        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QByteArray request, reply;
        connect(&server, &QTcpServer::newConnection, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [&, socket] {
                request += socket->readAll();
                if (!request.contains("\r\n\r\n")) return;
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
                              QByteArray::number(reply.size()) + "\r\nConnection: close\r\n\r\n" + reply);
                socket->disconnectFromHost();
            });
        });
        GlobalSettings().app.szUpdateAddress =
            "http://127.0.0.1:" + std::to_string(server.serverPort()) + "/updates";

        auto ask = [&](const QByteArray& answer) {
            request.clear();
            reply = answer;
            QString text;
            AnswerModal([&](QWidget* modal) {
                if (auto* box = qobject_cast<QMessageBox*>(modal)) text = box->text();
                modal->close();
            });
            CheckForUpdates(&parent, true, true);
            if (!QTest::qWaitFor([&] { return !text.isEmpty(); }, 10000)) return QStringLiteral("(no box)");
            return text;
        };
        QCOMPARE(ask("12.13.0.8\n"), QStringLiteral("\nYou're good - no newer version was found."));
        QVERIFY(request.startsWith("GET /updates/ver/Vaxel%20Studio.txt HTTP/1.1\r\n"));
        QVERIFY(request.contains("User-Agent: ZLK 1.0\r\n"));
        const QString newer = ask("12.14.0.1");
        QVERIFY2(newer.startsWith(QStringLiteral("A newer version is available!")), qPrintable(newer));
        QVERIFY(newer.contains(QStringLiteral("Latest version is:   \tv12.14.0.1 release")));
        QCOMPARE(ask("<html>Not found</html>"), QStringLiteral("Failed - could not connect to server!"));
    }
};

QTEST_MAIN(DialogsTest)
#include "dialogs_qtest.moc"
