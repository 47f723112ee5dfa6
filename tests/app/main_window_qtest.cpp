// The main window under Qt Test: a WAV opened through the dispatcher shows
// in the models, a built instrument shows as a tree, the accelerators reach
// their commands, and a drop opens the first file and merges the rest.
#include <QAbstractItemModelTester>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMimeData>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>
#include <QtTest>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/main_window.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/instrument.h"
#include "model/settings.h"
#include "model/song.h"

using namespace vaxel;
using namespace vaxel::app;

// The window with its drop handler in reach: a synthetic drop sent through
// QApplication needs a drag in progress, which the offscreen platform lacks.
class DropWindow : public MainWindow {
  public:
    using MainWindow::dropEvent;
    using MainWindow::MainWindow;
};

class MainWindowTest : public QObject {
    Q_OBJECT
  private:
    QTemporaryDir dir_;

    // A sine wave made by sox; the test fails when sox is missing.
    QString makeWave(const QString& name, int rate, int channels) {
        const QString path = dir_.filePath(name);
        QProcess sox;
        sox.start(QStringLiteral("sox"),
                  {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"), QStringLiteral("-r"),
                   QString::number(rate), QStringLiteral("-c"), QString::number(channels), path,
                   QStringLiteral("synth"), QStringLiteral("0.1"), QStringLiteral("sine"),
                   QStringLiteral("440")});
        if (!sox.waitForFinished(20000) || sox.exitStatus() != QProcess::NormalExit || sox.exitCode() != 0)
            return {};
        return path;
    }

    // Closes whatever modal dialog a command opened, once it is up.
    static void closeModalSoon() {
        QTimer::singleShot(200, [] {
            if (QWidget* modal = QApplication::activeModalWidget()) modal->close();
        });
    }

  private slots:
    void initTestCase() {
        InstallFormats();
        GlobalSettings().app.bAsyncWaveLoad = false;
        QVERIFY(dir_.isValid());
    }

    void openWaveThroughTheDispatcher() {
        const QString path = makeWave(QStringLiteral("tone.wav"), 32000, 2);
        QVERIFY2(!path.isEmpty(), "sox must be installed (./test.sh installs it)");
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QAbstractItemModelTester listTester(window.waveModel(),
                                            QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester treeTester(window.treeModel(),
                                            QAbstractItemModelTester::FailureReportingMode::QtTest);

        // The open dialog's answer comes from here.
        int askedCommand = 0;
        QString askedTitle;
        window.askOpenPaths = [&](int command, const QString& title) {
            askedCommand = command;
            askedTitle = title;
            return QStringList{path};
        };
        QVERIFY(window.dispatch(kCmdOpen));
        QCOMPARE(askedCommand, int(kCmdOpen));
        QCOMPARE(askedTitle, QStringLiteral("Open new file - Vaxel Studio"));
        WaveListModel* waves = window.waveModel();
        QCOMPARE(waves->rowCount(), 1);
        QCOMPARE(waves->data(waves->index(0, WaveListModel::kRate)).toString(), QStringLiteral("32000"));
        QCOMPARE(waves->data(waves->index(0, WaveListModel::kChannels)).toString(), QStringLiteral("stereo"));
        QCOMPARE(waves->data(waves->index(0, WaveListModel::kLength)).toString(), QStringLiteral("0.100 s"));
        // A bare wave file has no instruments or songs.
        QCOMPARE(window.treeModel()->rowCount(), 0);
        QVERIFY(window.windowTitle().startsWith(QStringLiteral("tone")));
    }

    void treeShowsInstrumentsLayersAndRegions() {
        Collection collection;
        MainWindow window(collection);
        QAbstractItemModelTester tester(window.treeModel(),
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        // Two instruments, the second with two layers of 3 and 2 regions.
        auto* first = collection.create(MakeId(ItemType::Instrument, kNewSerial));
        auto* second = collection.create(MakeId(ItemType::Instrument, kNewSerial));
        QVERIFY(first && second);
        second->setName(u"Strings");
        for (int regions : {3, 2}) {
            auto* layer = collection.create(MakeId(ItemType::Layer, kNewSerial));
            QVERIFY(layer && second->addChild(*layer));
            for (int i = 0; i < regions; ++i) {
                auto* region = collection.create(MakeId(ItemType::Region, kNewSerial));
                QVERIFY(region && layer->addChild(*region));
            }
        }
        window.refresh();
        CollectionTreeModel* tree = window.treeModel();
        QCOMPARE(tree->rowCount(), 2);
        const QModelIndex strings = tree->index(1, 0);
        QCOMPARE(tree->data(strings).toString(), QStringLiteral("Strings"));
        QCOMPARE(tree->rowCount(strings), 2);
        const QModelIndex layer2 = tree->index(1, 0, strings);
        QCOMPARE(tree->rowCount(layer2), 2);
        const QModelIndex region = tree->index(1, 0, layer2);
        QVERIFY(region.isValid());
        QCOMPARE(tree->parent(region), layer2);
        QCOMPARE(tree->parent(layer2), strings);
        QCOMPARE(tree->itemAt(region)->type(), ItemType::Region);
        QVERIFY(!tree->index(2, 0, layer2).isValid());

        // Deleting an item behind the model's back shows nothing stale.
        delete tree->itemAt(region);
        QVERIFY(tree->data(region).isNull());
        window.refresh();
        QCOMPARE(tree->rowCount(tree->index(1, 0, tree->index(1, 0))), 1);
    }

    void hundredThousandWavesListAtOnce() {
        Collection collection;
        for (int i = 0; i < 100000; ++i) QVERIFY(collection.create(MakeId(ItemType::Waveform, kNewSerial)));
        MainWindow window(collection);
        window.show();
        QElapsedTimer timer;
        timer.start();
        window.refresh();
        window.waveView()->scrollToBottom();
        QApplication::processEvents();
        const qint64 ms = timer.elapsed();
        qInfo("100000 waves: rebuilt and scrolled to the end in %lld ms", ms);
        QCOMPARE(window.waveModel()->rowCount(), 100000);
        const QModelIndex last = window.waveModel()->index(99999, WaveListModel::kName);
        QCOMPARE(window.waveModel()->itemAt(last)->id, collection.first(ItemType::Waveform)->id + 99999);
    }

    void acceleratorsReachTheirCommands() {
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QList<int> asked;
        window.askOpenPaths = [&](int command, const QString&) {
            asked << command;
            return QStringList{};
        };
        QSignalSpy dispatched(&window, &MainWindow::commandDispatched);
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));

        QTest::keyClick(&window, Qt::Key_F3);
        QTest::keyClick(&window, Qt::Key_F3, Qt::ShiftModifier);
        closeModalSoon(); // the naming dialog of Save all
        QTest::keyClick(&window, Qt::Key_F4, Qt::ControlModifier);
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        closeModalSoon(); // an empty collection has no source: the save dialog
        QTest::keyClick(&window, Qt::Key_F4, Qt::ShiftModifier);
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QCOMPARE(asked, (QList<int>{kCmdOpen, kCmdMerge}));
        QTest::keyClick(&window, Qt::Key_X, Qt::AltModifier);
        QList<int> commands;
        for (const QList<QVariant>& args : dispatched) commands << args.front().toInt();
        QCOMPARE(commands, (QList<int>{kCmdOpen, kCmdMerge, kCmdSaveAll, kCmdSaveCollection, kCmdExit}));
        QVERIFY(!window.isVisible());
    }

    void editAcceleratorsReachTheirCommands() {
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QSignalSpy dispatched(&window, &MainWindow::commandDispatched);
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        window.dispatch(kCmdAddInstrument);
        auto* instrument = collection.first(ItemType::Instrument);
        QVERIFY(instrument);

        // F2 opens the name in place; Return stores it.
        QTest::keyClick(&window, Qt::Key_F2);
        auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
        QVERIFY(editor);
        QVERIFY(window.treeView()->isAncestorOf(editor));
        QTest::keyClicks(editor, QStringLiteral("Lead"));
        QTest::keyClick(editor, Qt::Key_Return);
        // The delegate stores the text once the key's event is over.
        QTRY_COMPARE(QString::fromUtf16(instrument->name()), QStringLiteral("Lead"));

        QTest::keyClick(window.treeView(), Qt::Key_C, Qt::AltModifier);
        QCOMPARE(collection.count(ItemType::Instrument), 2u);
        QTest::keyClick(window.treeView(), Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(window.treeView()->selectionModel()->selectedRows().size(), 2);
        QTest::keyClick(window.treeView(), Qt::Key_D, Qt::ControlModifier);
        QVERIFY(window.treeView()->selectionModel()->selectedRows().isEmpty());
        QTest::keyClick(window.treeView(), Qt::Key_E, Qt::ControlModifier);
        // On a song the entry is the MIDI editor's, on Ctrl+F; both keys
        // still reach the command.
        auto* song = new Song(collection, kNewSerial, u"Tune");
        window.refresh();
        QVERIFY(window.selectItem(song->id));
        QAction* entry = nullptr;
        for (QAction* action : window.actions())
            if (action->data().toInt() == kCmdRunEditor) entry = action;
        QVERIFY(entry);
        QCOMPARE(entry->text(), QStringLiteral("Run MIDI editor"));
        QCOMPARE(entry->shortcut(), QKeySequence(QStringLiteral("Ctrl+F")));
        QTest::keyClick(window.treeView(), Qt::Key_F, Qt::ControlModifier);
        QTest::keyClick(window.treeView(), Qt::Key_E, Qt::ControlModifier);
        QList<int> commands;
        for (const QList<QVariant>& args : dispatched) commands << args.front().toInt();
        QCOMPARE(commands, (QList<int>{kCmdAddInstrument, kCmdEditName, kCmdClone, kCmdSelectAll,
                                       kCmdDeselectAll, kCmdRunEditor, kCmdRunEditor, kCmdRunEditor}));
    }

    void dropOpensTheFirstAndMergesTheRest() {
        const QString a = makeWave(QStringLiteral("drop-a.wav"), 44100, 1);
        const QString b = makeWave(QStringLiteral("drop-b.wav"), 22050, 2);
        const QString c = makeWave(QStringLiteral("drop-c.wav"), 8000, 1);
        QVERIFY(!a.isEmpty() && !b.isEmpty() && !c.isEmpty());
        Collection collection;
        DropWindow window(collection);
        window.setMessagesEnabled(false);
        // Something loaded before: the drop's open replaces it.
        window.dispatch(kCmdOpen, nullptr, QStringList{c});
        QCOMPARE(window.waveModel()->rowCount(), 1);

        QSignalSpy dispatched(&window, &MainWindow::commandDispatched);
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(a), QUrl::fromLocalFile(b)});
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        window.dropEvent(&drop);
        QVERIFY(drop.isAccepted());

        QCOMPARE(dispatched.count(), 2);
        QCOMPARE(dispatched.at(0).front().toInt(), int(kCmdOpen));
        QCOMPARE(dispatched.at(1).front().toInt(), int(kCmdMerge));
        QCOMPARE(QString::fromUtf16(collection.name()), QStringLiteral("drop-a"));
        QCOMPARE(window.waveModel()->rowCount(), 2);
        QStringList rates;
        for (int row = 0; row < 2; ++row)
            rates
                << window.waveModel()->data(window.waveModel()->index(row, WaveListModel::kRate)).toString();
        rates.sort();
        QCOMPARE(rates, (QStringList{QStringLiteral("22050"), QStringLiteral("44100")}));
    }
};

QTEST_MAIN(MainWindowTest)
#include "main_window_qtest.moc"
