// The options dialog; see options_dialog.h. One table of texts and flags
// drives the first page, the feature mask's own texts and presets the second.
#include "app/options_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTabWidget>
#include <QVBoxLayout>

#include "model/feature_mask.h"

namespace vaxel::app {

namespace {

#define VX_FLAG(text, member)                                                                                \
    OptionFlag {                                                                                             \
        text, [](Settings& s) -> bool& { return s.member; }                                                  \
    }

const OptionFlag kFlags[] = {
    VX_FLAG("General: Auditioning of the selected item (using the Vaxel software synthesizer)", aio.bEnable),
    VX_FLAG("General: Auto-audition waveforms (play for 1 s when selecting a waveform)",
            aio.bPlayWaveOnClick),
    VX_FLAG("General: Auto-audition collection (play for 1 s when selecting an instrument)",
            aio.bPlayCollOnClick),
    VX_FLAG("General: Auto-select waveforms when you click on a collection item", app.bAutoSelWaveforms),
    VX_FLAG("General: Auto-select collection items when you click on a waveform", app.bAutoSelCollItems),
    VX_FLAG("General: Check for updates when the program is started (requires internet)",
            app.bCheckForUpdates),
    VX_FLAG("General: Confirm before losing loaded data (e.g. when loading a new file, or exiting)",
            load.bConfirm),
    VX_FLAG("General: Display instrument hi-bank (MIDI CC0) + program numbers in the collection tree",
            app.bDispBankPrgs),
    VX_FLAG("General: Display instrument lo-bank numbers (MIDI CC20) in addition to the hi-bank",
            app.bDispLoBank),
    VX_FLAG("General: Display note names rather than MIDI key numbers", app.bShowNoteNames),
    VX_FLAG("General: Display the note name C3 rather than C4 for middle C", app.bMidIsNamedC3),
    VX_FLAG("General: Ensure that every waveform and instrument name is unique", load.bEnsureUniqueNames),
    VX_FLAG("General: Propagate down delta of edited articulation parameters to lower levels",
            app.bPropagateDownDelta),
    VX_FLAG("General: Remember the program state between sessions (saves the contents on exit)",
            app.bPersistentState),
    VX_FLAG("On Load: Load waveform data in the background after opening a file", app.bAsyncWaveLoad),
    VX_FLAG("On Load: Merge dual mono waveform pairs into single interleaved stereo waveforms",
            load.bAutoMergeStereo),
    VX_FLAG("On Load: Split stereo waveforms into dual mono waveform pairs", load.bAutoSplitStereo),
    VX_FLAG("On Load: Remove duplicate waveforms when merging files", load.bAutoRemoveDupWaves),
    VX_FLAG("On Load: Merge layers with non-overlapping regions", load.bAutoCompactLayers),
    VX_FLAG("On Load: Move articulation parameters up if they are all equal on lower levels",
            load.bAutoMoveArticulation),
    VX_FLAG("On Load: Move trigger parameters to layer if are all equal on region level",
            load.bAutoMoveTriggerParams),
    VX_FLAG("On Load: Append 32 wavesamples after loop-end points (if shorter than that)",
            load.bAutoAppend32),
    VX_FLAG("On Load: Convert alternating/reverse loops into equivalent forward loops", load.bAutoBid2Fwd),
    VX_FLAG("On Load: Sort instruments by bank & program number", load.bAutoSortColl),
    VX_FLAG("On Load: Sort waveforms by name", load.bAutoSortWaves),
    VX_FLAG("On Load: SD2 files: Ask about data format when opening Sound Designer II files without header",
            fmt.sd2.bReadAsk),
    VX_FLAG("On Load: VOX files: Ask about data format when opening Dialogic VOX files", fmt.vox.bReadAsk),
    VX_FLAG("On Save: AAC files: Write APE tags", fmt.aac.bWriteAPE),
    VX_FLAG("On Save: AAC files: Allow mid-side stereo mode", fmt.aac.bWriteMS),
    VX_FLAG("On Save: AAC files: Write ID3 v2 tags", fmt.aac.bWriteID3),
    VX_FLAG("On Save: MP2 files: Write ID3 v2 tags", fmt.mp2.bWriteID3),
    VX_FLAG("On Save: MP2 files: Allow joint stereo mode", fmt.mp2.bWriteJS),
    VX_FLAG("On Save: MP3 files: Write ID3 v2 tags", fmt.mp3.bWriteID3),
    VX_FLAG("On Save: MP3 files: Write APE tags", fmt.mp3.bWriteAPE),
    VX_FLAG("On Save: MP3 files: Allow joint stereo mode", fmt.mp3.bWriteJS),
    VX_FLAG(
        "On Save: WAV files: Don't save default loop if its type is \"Off\" and there's no alternate loop",
        fmt.wav.bNoLoopOff),
};
#undef VX_FLAG

constexpr int kBitRole = Qt::UserRole;

// The presets' combo ends with an entry for masks that match none.
constexpr char kCustom[] = "(custom)";

} // namespace

const OptionFlag* OptionFlags(int& count) {
    count = int(std::size(kFlags));
    return kFlags;
}

OptionsDialog::OptionsDialog(Settings& settings, QWidget* parent)
    : QDialog(parent), settings_(settings), flags_(new QListWidget), features_(new QListWidget),
      presets_(new QComboBox), waveEditor_(new QLineEdit), midiEditor_(new QLineEdit),
      colours_(new QComboBox), updateAddress_(new QLineEdit) {
    setWindowTitle(QStringLiteral("Options - Vaxel Studio"));
    auto* tabs = new QTabWidget;

    Settings& s = settings_;
    for (const OptionFlag& flag : kFlags) {
        auto* entry = new QListWidgetItem(QString::fromUtf8(flag.text), flags_);
        entry->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        entry->setCheckState(flag.value(s) ? Qt::Checked : Qt::Unchecked);
    }
    tabs->addTab(flags_, QStringLiteral("Options"));

    // The feature mask: a check per bit with a text, and the presets.
    auto* featurePage = new QWidget;
    auto* featureLayout = new QVBoxLayout(featurePage);
    for (int i = 0; i < FeaturePresetCount(); ++i)
        presets_->addItem(QString::fromUtf16(FeaturePresetAt(i).text));
    presets_->addItem(QString::fromLatin1(kCustom));
    auto* presetRow = new QFormLayout;
    presetRow->addRow(QStringLiteral("Preset:"), presets_);
    featureLayout->addLayout(presetRow);
    featureLayout->addWidget(features_);
    listed_ = 0;
    for (int bit = 0; bit < kFeatureBitLimit; ++bit) {
        const char16_t* text = FeatureBitText(bit);
        if (!text) continue;
        listed_ |= uint64_t(1) << bit;
        auto* entry = new QListWidgetItem(QString::fromUtf16(text), features_);
        entry->setData(kBitRole, bit);
        entry->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        entry->setCheckState(HasFeature(s.features, bit) ? Qt::Checked : Qt::Unchecked);
    }
    unlisted_ = s.features & ~listed_;
    showPresetOf(s.features);
    connect(presets_, &QComboBox::activated, this, [this](int index) { applyPreset(index); });
    connect(features_, &QListWidget::itemChanged, this, [this] {
        if (!settingChecks_) showPresetOf(checkedMask());
    });
    tabs->addTab(featurePage, QStringLiteral("Features"));

    // The external editors (a command line each, the file's path goes
    // behind it), the colours and the update address.
    auto* editors = new QWidget;
    auto* form = new QFormLayout(editors);
    waveEditor_->setText(QString::fromStdU16String(s.app.wszWave));
    midiEditor_->setText(QString::fromStdU16String(s.app.wszMidi));
    waveEditor_->setPlaceholderText(QStringLiteral("e.g. audacity"));
    midiEditor_->setPlaceholderText(QStringLiteral("e.g. rosegarden"));
    form->addRow(QStringLiteral("Waveform editor:"), waveEditor_);
    form->addRow(QStringLiteral("MIDI editor:"), midiEditor_);
    auto* note =
        new QLabel(QStringLiteral("The file to edit is given behind the command, or in place of %1."));
    note->setWordWrap(true);
    form->addRow(note);
    // app.eDarkMode and the update address take effect at the next start.
    colours_->addItems({QStringLiteral("Auto"), QStringLiteral("Light"), QStringLiteral("Dark")});
    colours_->setCurrentIndex(s.app.eDarkMode < 3 ? s.app.eDarkMode : 0);
    form->addRow(QStringLiteral("Colours (from the next start):"), colours_);
    updateAddress_->setText(QString::fromStdString(s.app.szUpdateAddress));
    updateAddress_->setPlaceholderText(QStringLiteral("none: the program never checks for updates"));
    form->addRow(QStringLiteral("Update check address:"), updateAddress_);
    tabs->addTab(editors, QStringLiteral("Program"));

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs);
    layout->addWidget(buttons);
    resize(720, 520);
}

uint64_t OptionsDialog::checkedMask() const {
    uint64_t mask = unlisted_;
    for (int row = 0; row < features_->count(); ++row) {
        const QListWidgetItem* entry = features_->item(row);
        if (entry->checkState() == Qt::Checked) mask |= uint64_t(1) << entry->data(kBitRole).toInt();
    }
    return mask;
}

void OptionsDialog::showPresetOf(uint64_t mask) {
    // The bits without a check (unused ones) don't tell presets apart.
    int preset = presets_->count() - 1;
    for (int i = 0; i < FeaturePresetCount(); ++i) {
        if ((FeaturePresetAt(i).mask & listed_) == (mask & listed_)) {
            preset = i;
            break;
        }
    }
    presets_->setCurrentIndex(preset);
}

void OptionsDialog::applyPreset(int index) {
    if (index < 0 || index >= FeaturePresetCount()) return;
    const uint64_t mask = FeaturePresetAt(index).mask;
    settingChecks_ = true;
    for (int row = 0; row < features_->count(); ++row) {
        QListWidgetItem* entry = features_->item(row);
        entry->setCheckState(HasFeature(mask, entry->data(kBitRole).toInt()) ? Qt::Checked : Qt::Unchecked);
    }
    settingChecks_ = false;
    unlisted_ = mask & ~listed_;
    showPresetOf(checkedMask());
}

void OptionsDialog::accept() {
    for (int row = 0; row < flags_->count(); ++row)
        kFlags[row].value(settings_) = flags_->item(row)->checkState() == Qt::Checked;
    const uint64_t mask = checkedMask();
    featuresChanged_ = mask != settings_.features;
    settings_.features = mask;
    settings_.app.wszWave = waveEditor_->text().trimmed().toStdU16String();
    settings_.app.wszMidi = midiEditor_->text().trimmed().toStdU16String();
    settings_.app.eDarkMode = uint8_t(colours_->currentIndex());
    settings_.app.szUpdateAddress = updateAddress_->text().trimmed().toStdString();
    QDialog::accept();
}

} // namespace vaxel::app
