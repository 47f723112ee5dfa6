#pragma once
// The options dialog: the flags of the settings record as one check list,
// the feature mask as a second with its presets, and the external editors.
// It works on its own copy: OK writes the values back, Cancel drops them.
#include <QDialog>

#include "model/settings.h"

class QComboBox;
class QLineEdit;
class QListWidget;

namespace vaxel::app {

// One entry of the check list: the text shown and the flag it stands for.
struct OptionFlag {
    const char* text;
    bool& (*value)(Settings&);
};
// Every entry, in list order.
const OptionFlag* OptionFlags(int& count);

class OptionsDialog : public QDialog {
    Q_OBJECT
  public:
    OptionsDialog(Settings& settings, QWidget* parent = nullptr);

    // OK: every value goes back into the settings given.
    void accept() override;
    // Whether the last OK changed the feature mask.
    bool featuresChanged() const { return featuresChanged_; }

    QListWidget* flagList() const { return flags_; }
    QListWidget* featureList() const { return features_; }
    QComboBox* presetBox() const { return presets_; }
    QLineEdit* waveEditor() const { return waveEditor_; }
    QLineEdit* midiEditor() const { return midiEditor_; }
    QComboBox* colourBox() const { return colours_; }
    QLineEdit* updateAddress() const { return updateAddress_; }

    // The mask the feature checks stand for.
    uint64_t checkedMask() const;

  private:
    void showPresetOf(uint64_t mask);
    void applyPreset(int index);

    Settings& settings_;
    uint64_t listed_ = 0;   // the bits the list shows
    uint64_t unlisted_ = 0; // the others keep their values, or take a preset's
    QListWidget* flags_;
    QListWidget* features_;
    QComboBox* presets_;
    QLineEdit* waveEditor_;
    QLineEdit* midiEditor_;
    QComboBox* colours_;
    QLineEdit* updateAddress_;
    bool featuresChanged_ = false;
    bool settingChecks_ = false;
};

} // namespace vaxel::app
