// The tool pages and the undo history under Qt Test: a wave made by sox is
// opened through the dispatcher, processed through "Process items…" and
// walked back and forth with Undo and Redo; the options page is built from
// the tool's option records; the preview copy lives only while the page is
// open.
#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolBar>
#include <QTreeView>
#include <QtTest>
#include <algorithm>
#include <cmath>
#include <vector>

#include "app/collection_models.h"
#include "app/commands.h"
#include "app/main_window.h"
#include "app/tools_dialog.h"
#include "fileio/undo_store.h"
#include "fileio/wave_loader.h"
#include "formats/install.h"
#include "model/collection.h"
#include "model/settings.h"
#include "model/waveform.h"
#include "tools/tool_options.h"
#include "tools/tool_session.h"
#include "tools/tool_table.h"

using namespace vaxel;
using namespace vaxel::app;

namespace {

std::vector<float> SamplesOf(Waveform* wave) {
    if (!wave || !wave->hasSamples()) return {};
    const SampleBlock* block = wave->samples();
    return std::vector<float>(block->data, block->data + block->sampleCount());
}

Waveform* OnlyWave(Collection& collection, const QString& name = {}) {
    Waveform* found = nullptr;
    for (Waveform* w : ItemsOf<Waveform>(collection))
        if (name.isEmpty() || QString::fromUtf16(w->name()) == name) found = w;
    return found;
}

int WaveCount(Collection& collection) {
    int n = 0;
    for (Waveform* w : ItemsOf<Waveform>(collection)) n += w != nullptr;
    return n;
}

QString StatusText(MainWindow& window) {
    QString text;
    for (QLabel* label : window.statusBar()->findChildren<QLabel*>())
        if (!label->text().isEmpty()) text = label->text();
    return text;
}

QAction* CommandAction(MainWindow& window, int command) {
    for (QAction* action : window.actions())
        if (action->data().typeId() == QMetaType::Int && action->data().toInt() == command) return action;
    return nullptr;
}

ToolsDialog* OpenDialog(MainWindow& window) {
    if (!window.dispatch(kCmdProcessItems)) return nullptr;
    for (ToolsDialog* dialog : window.findChildren<ToolsDialog*>())
        if (dialog->isVisible()) return dialog;
    return nullptr;
}

void Click(QWidget* parent, const char* name) {
    auto* button = parent->findChild<QPushButton*>(QLatin1String(name));
    QVERIFY2(button, name);
    QTest::mouseClick(button, Qt::LeftButton);
}

} // namespace

class ToolsDialogTest : public QObject {
    Q_OBJECT
  private:
    QTemporaryDir dir_;
    QTemporaryDir states_;

    // A sine wave at half scale, so that Maximize amplitude has work to do.
    QString makeWave(const QString& name, int channels) {
        const QString path = dir_.filePath(name);
        QProcess sox;
        sox.start(QStringLiteral("sox"),
                  {QStringLiteral("-n"), QStringLiteral("-b"), QStringLiteral("16"), QStringLiteral("-r"),
                   QStringLiteral("22050"), QStringLiteral("-c"), QString::number(channels), path,
                   QStringLiteral("synth"), QStringLiteral("0.05"), QStringLiteral("sine"),
                   QStringLiteral("440"), QStringLiteral("vol"), QStringLiteral("0.5")});
        if (!sox.waitForFinished(20000) || sox.exitStatus() != QProcess::NormalExit || sox.exitCode() != 0)
            return {};
        return path;
    }

    // Opens the files through the dispatcher and selects every wave in the
    // list.
    bool openWaves(MainWindow& window, Collection& collection, const QStringList& paths) {
        window.askOpenPaths = [paths](int, const QString&) { return paths; };
        if (!window.dispatch(kCmdOpen)) return false;
        window.waveView()->selectAll();
        return window.waveView()->selectionModel()->selectedRows().size() == WaveCount(collection);
    }

  private slots:
    void initTestCase() {
        InstallFormats();
        GlobalSettings().app.bAsyncWaveLoad = false;
        QVERIFY(dir_.isValid() && states_.isValid());
        SetStateFolder(states_.path().toStdString());
    }

    void cleanupTestCase() { SetStateFolder({}); }

    void maximizeThenUndoAndRedo() {
        const QString path = makeWave(QStringLiteral("half.wav"), 1);
        QVERIFY2(!path.isEmpty(), "sox must be installed (./test.sh installs it)");
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QVERIFY(openWaves(window, collection, {path}));
        QAction* undo = CommandAction(window, kCmdUndo);
        QAction* redo = CommandAction(window, kCmdRedo);
        QVERIFY(undo && redo);
        QVERIFY(!undo->isEnabled() && !redo->isEnabled());
        QCOMPARE(undo->shortcut(), QKeySequence(QStringLiteral("Ctrl+Z")));
        QCOMPARE(redo->shortcut(), QKeySequence(QStringLiteral("Ctrl+Y")));

        Waveform* wave = OnlyWave(collection);
        QVERIFY(wave && ensureSamples(wave));
        const std::vector<float> before = SamplesOf(wave);
        QVERIFY(!before.empty());

        ToolsDialog* dialog = OpenDialog(window);
        QVERIFY(dialog);
        QVERIFY(dialog->selectTool(QStringLiteral("Maximize amplitude")));
        Click(dialog, "continue");
        QVERIFY(dialog->onOptionsPage());
        // The page's first Update made the preview copy beside the wave.
        QCOMPARE(WaveCount(collection), 2);
        QVERIFY(OnlyWave(collection, QStringLiteral("<preview>")));
        Click(dialog, "execute");
        QVERIFY(!dialog->isVisible());
        QCOMPARE(WaveCount(collection), 1);
        QCOMPARE(StatusText(window), QStringLiteral("Processed 1 item using Maximize amplitude"));

        wave = OnlyWave(collection);
        const std::vector<float> after = SamplesOf(wave);
        QCOMPARE(after.size(), before.size());
        float peakBefore = 0.0f, peakAfter = 0.0f;
        for (size_t i = 0; i < before.size(); ++i) {
            peakBefore = std::max(peakBefore, std::abs(before[i]));
            peakAfter = std::max(peakAfter, std::abs(after[i]));
        }
        QVERIFY(peakBefore < 0.6f);
        QVERIFY(peakAfter > 0.99f);

        QVERIFY(undo->isEnabled());
        QCOMPARE(undo->text(), QStringLiteral("Undo: Maximize amplitude"));
        QVERIFY(window.dispatch(kCmdUndo));
        QVERIFY(SamplesOf(OnlyWave(collection)) == before);
        QVERIFY(!undo->isEnabled());
        QCOMPARE(redo->text(), QStringLiteral("Redo: Maximize amplitude"));
        QVERIFY(window.dispatch(kCmdRedo));
        QVERIFY(SamplesOf(OnlyWave(collection)) == after);
        QVERIFY(!redo->isEnabled());
        // The list still shows the one wave after the walk.
        QCOMPARE(window.waveView()->model()->rowCount(), 1);
    }

    void optionsPageFollowsTheRecords() {
        const QString first = makeWave(QStringLiteral("a.wav"), 2);
        const QString second = makeWave(QStringLiteral("b.wav"), 2);
        QVERIFY2(!first.isEmpty() && !second.isEmpty(), "sox must be installed (./test.sh installs it)");
        ForgetRememberedValues();
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QVERIFY(openWaves(window, collection, {first}));

        ToolsDialog* dialog = OpenDialog(window);
        QVERIFY(dialog);
        // Continuing without a choice is refused with the program's sentence.
        dialog->toolList()->setCurrentRow(-1);
        QVERIFY(!dialog->continueToOptions());
        QCOMPARE(StatusText(window), QStringLiteral("Select a processing function before proceeding!"));
        QVERIFY(!dialog->onOptionsPage());

        QVERIFY(dialog->selectTool(QStringLiteral("Adjust volume/gain")));
        QVERIFY(dialog->continueToOptions());
        auto* gain = qobject_cast<QLineEdit*>(dialog->optionField("gain"));
        auto* meta = qobject_cast<QCheckBox*>(dialog->optionField("meta-only"));
        QVERIFY(gain && meta);
        QCOMPARE(gain->text(), QStringLiteral("-6.00"));
        QVERIFY(!meta->isChecked());
        QVERIFY(!meta->isHidden());
        QVERIFY(gain->toolTip().contains(QStringLiteral("dB")));
        // With one wave there is nothing to step to.
        QVERIFY(!dialog->previousButton()->isEnabled() && !dialog->nextButton()->isEnabled());

        // Update runs the tool on the copy alone, with the page's values.
        Waveform* original = OnlyWave(collection, QStringLiteral("a"));
        QVERIFY(original);
        const std::vector<float> samples = SamplesOf(original);
        gain->setText(QStringLiteral("-12,0"));
        dialog->updatePreviewWave();
        Waveform* preview = OnlyWave(collection, QStringLiteral("<preview>"));
        QVERIFY(preview);
        const std::vector<float> quieter = SamplesOf(preview);
        QCOMPARE(quieter.size(), samples.size());
        const float factor = float(std::pow(10.0, -12.0 / 20.0));
        for (size_t i = 0; i < samples.size(); i += 97)
            QVERIFY(std::abs(quieter[i] - samples[i] * factor) < 1e-5f);
        QVERIFY(SamplesOf(original) == samples);

        // A value out of the record's range keeps the page open and says so.
        gain->setText(QStringLiteral("200"));
        QCOMPARE(dialog->execute(), -1);
        QVERIFY(StatusText(window).contains(QStringLiteral("out of range")));
        QVERIFY(dialog->isVisible());
        dialog->reject();
        // Closing took the copy with it and changed nothing.
        QCOMPARE(WaveCount(collection), 1);
        QVERIFY(SamplesOf(OnlyWave(collection)) == samples);
        QVERIFY(!CommandAction(window, kCmdUndo)->isEnabled());

        // A section hides the meta-data row; two waves can be stepped through.
        QVERIFY(openWaves(window, collection, {first, second}));
        dialog = OpenDialog(window);
        QVERIFY(dialog);
        QVERIFY(dialog->selectTool(QStringLiteral("Adjust volume/gain")));
        auto* section = dialog->findChild<QCheckBox*>();
        QVERIFY(section);
        section->setChecked(true);
        QVERIFY(dialog->session().sectionEnabled);
        QVERIFY(dialog->continueToOptions());
        QVERIFY(dialog->optionField("meta-only")->isHidden());
        QVERIFY(dialog->previousButton()->isEnabled() && dialog->nextButton()->isEnabled());
        dialog->stepPreviewWave(1);
        QCOMPARE(dialog->session().previewIndex, 1u);
        QCOMPARE(WaveCount(collection), 3);
        dialog->reject();
        QCOMPARE(WaveCount(collection), 2);
    }

    void editCommandsAreUndoneByTheKeys() {
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QVERIFY(window.dispatch(kCmdAddInstrument));
        QCOMPARE(window.treeModel()->rowCount(), 1);
        QCOMPARE(CommandAction(window, kCmdUndo)->text(), QStringLiteral("Undo: Add new instrument"));
        QSignalSpy commands(&window, &MainWindow::commandDispatched);
        QTest::keyClick(&window, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(commands.size(), 1);
        QCOMPARE(commands.front().front().toInt(), int(kCmdUndo));
        QCOMPARE(window.treeModel()->rowCount(), 0);
        QTest::keyClick(&window, Qt::Key_Y, Qt::ControlModifier);
        QCOMPARE(window.treeModel()->rowCount(), 1);
        // Nothing left to redo: refused, and the panes stay as they are.
        QVERIFY(!CommandAction(window, kCmdRedo)->isEnabled());
        QVERIFY(!window.dispatch(kCmdRedo));
        QCOMPARE(window.treeModel()->rowCount(), 1);
    }

    void runToolEntriesChooseATool() {
        const QString path = makeWave(QStringLiteral("quick.wav"), 1);
        QVERIFY2(!path.isEmpty(), "sox must be installed (./test.sh installs it)");
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QVERIFY(openWaves(window, collection, {path}));
        Waveform* wave = OnlyWave(collection);
        QVERIFY(wave && ensureSamples(wave));
        const std::vector<float> before = SamplesOf(wave);

        auto* quick = window.findChild<QMenu*>(QStringLiteral("quickTools"));
        QVERIFY(quick);
        emit quick->aboutToShow();
        QAction* invert = nullptr;
        for (QAction* action : quick->actions()) {
            if (action->text() == QStringLiteral("Invert sign throughout selection")) invert = action;
            // A mono wave isn't offered the stereo tools.
            QVERIFY(action->text() != QStringLiteral("Swap left and right channels"));
        }
        QVERIFY(invert);
        // A tool without options runs at once, without a page.
        invert->trigger();
        QCOMPARE(StatusText(window),
                 QStringLiteral("Processed 1 item using Invert sign throughout selection"));
        const std::vector<float> after = SamplesOf(OnlyWave(collection));
        QCOMPARE(after.size(), before.size());
        for (size_t i = 0; i < before.size(); ++i) QCOMPARE(after[i], -before[i]);
        for (ToolsDialog* dialog : window.findChildren<ToolsDialog*>()) QVERIFY(!dialog->isVisible());

        // Any other opens its options page straight away.
        const int gain = FindToolIndex(ToolTable(ToolKind::Wave), u"Adjust volume/gain");
        QVERIFY(gain >= 0);
        QVERIFY(window.dispatch(kToolCommandBase + gain));
        ToolsDialog* dialog = OpenDialog(window);
        QVERIFY(dialog && dialog->onOptionsPage());
        QVERIFY(dialog->optionField("gain"));
        dialog->reject();

        // Over two waves, a tool that needs a section and is given none
        // works on whole waves (not on one frame of each): a fade in takes
        // the first half down.
        const QString other = makeWave(QStringLiteral("quick2.wav"), 1);
        QVERIFY(openWaves(window, collection, {path, other}));
        QCOMPARE(WaveCount(collection), 2);
        auto firstHalfPeak = [](const std::vector<float>& samples) {
            float peak = 0.0f;
            for (size_t i = 0; i < samples.size() / 2; ++i) peak = std::max(peak, std::abs(samples[i]));
            return peak;
        };
        const int fade = FindToolIndex(ToolTable(ToolKind::Wave), u"Fade in/out selection");
        QVERIFY(fade >= 0);
        QVERIFY(window.dispatch(kToolCommandBase + fade));
        dialog = OpenDialog(window);
        QVERIFY(dialog && dialog->onOptionsPage());
        QCOMPARE(dialog->execute(), 2);
        for (Waveform* w : ItemsOf<Waveform>(collection)) {
            const std::vector<float> faded = SamplesOf(w);
            QCOMPARE(faded.size(), before.size());
            QVERIFY(firstHalfPeak(faded) < 0.9f * firstHalfPeak(before));
        }
    }

    void toolbarAndMenuReachTheDialog() {
        Collection collection;
        MainWindow window(collection);
        window.setMessagesEnabled(false);
        QAction* process = CommandAction(window, kCmdProcessItems);
        QVERIFY(process);
        QCOMPARE(process->shortcut(), QKeySequence(QStringLiteral("Ctrl+P")));
        auto* bar = window.findChild<QToolBar*>(QStringLiteral("toolsBar"));
        QVERIFY(bar && !bar->actions().isEmpty());
        bar->actions().front()->trigger();
        ToolsDialog* dialog = OpenDialog(window); // the open one is shown again
        QVERIFY(dialog);
        QCOMPARE(window.findChildren<ToolsDialog*>().size(), 1);
        // Nothing selected: the instrument table, working on nothing.
        QVERIFY(dialog->toolList()->count() > 0);
        QVERIFY(
            dialog->toolList()->findItems(QStringLiteral("Maximize amplitude"), Qt::MatchExactly).isEmpty());
        dialog->reject();
    }
};

QTEST_MAIN(ToolsDialogTest)
#include "tools_dialog_qtest.moc"
