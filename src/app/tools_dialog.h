#pragma once
// "Process items…": the tool pages of the desktop program. The list page
// offers the tools of the selection's table that its predicates allow; the
// options page is built from the chosen tool's option records, previews a
// wave tool on a "<preview>" copy and runs the tool through the runner, which
// takes the undo step and puts the result text on the status line.
#include <QDialog>
#include <memory>
#include <vector>

#include "model/ids.h"
#include "tools/tool_options.h"

class QCheckBox;
class QGroupBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;

namespace vaxel {
class Collection;
class ToolSession;
} // namespace vaxel

namespace vaxel::app {

class MainWindow;

// Once for the window: installs the tools, binds the runner's window hooks
// (error box, refresh and selection after a run), adds the Tools menu's
// "Run tool" entries and the toolbar entry.
void SetUpTools(MainWindow& window, Collection& collection);

// The numbers after 29000 that choose a tool by its row (no table is as
// long).
constexpr int kToolCommandCount = 100;

// "Process items…" (toolIndex -1): shows the list page for the selection, or
// the dialog already open. With a row of the selection's table the tool is
// chosen at once, as the Tools menu does: one that runs without options runs
// straight away, any other opens its options page. False (with the reason on
// the status line) when the row can't be chosen.
bool OpenToolsDialog(MainWindow& window, Collection& collection, int toolIndex = -1);

// The selection the tools work on: the selected Waveforms when the list has
// the focus or the tree has no selection, else the selected tree items, in
// the order they are shown.
std::vector<ItemId> ToolSelection(const MainWindow& window);

class ToolsDialog : public QDialog {
    Q_OBJECT
  public:
    ToolsDialog(MainWindow& window, Collection& collection, std::vector<ItemId> selection);
    ~ToolsDialog() override;

    ToolSession& session() { return *session_; }

    // The list page's rows: the names of the tools offered.
    QListWidget* toolList() const { return list_; }
    // Chooses the tool of that row as the Tools menu does (quick); false
    // with LastError when the selection isn't offered it.
    bool chooseQuick(int index);
    // Picks a tool of the list by name; false when it isn't offered.
    bool selectTool(const QString& name);
    // "Continue…": checks the choice and the section, then shows the options
    // page. False (with the message shown) when the check fails.
    bool continueToOptions();
    // "Execute!": reads the page, runs the tool and closes the dialog on a
    // run that started. Returns the count of items changed, -1 on failure.
    int execute();
    // The preview buttons.
    void updatePreviewWave();
    void restorePreview();
    void stepPreviewWave(int direction);

    // The options page's field of an option (its key is the object name).
    QWidget* optionField(const char* key) const;
    bool onOptionsPage() const;
    QPushButton* previousButton() const { return previous_; }
    QPushButton* nextButton() const { return next_; }

  protected:
    void done(int result) override;

  private:
    struct Row {
        int option = 0;
        QLabel* label = nullptr;
        QWidget* field = nullptr;
        QLabel* unit = nullptr;
    };

    void buildListPage();
    void buildOptionsPage();
    void fillList();
    void toolChosen();
    void showSectionRows();
    void readSection();
    void sectionToggled(bool on);
    void buildOptionRows();
    void clearOptionRows();
    // Copies the fields into values_. strict: a field that is not accepted
    // fails with LastError; otherwise it keeps the value it had.
    bool readValues(bool strict);
    void updateShownRows();
    void showWave(ItemId id);
    void message(const QString& text);
    void backToList();

    MainWindow& window_;
    Collection& collection_;
    std::unique_ptr<ToolSession> session_;
    ToolValues values_;
    std::vector<Row> rows_;

    QStackedWidget* pages_ = nullptr;
    // list page
    QLabel* workingOn_ = nullptr;
    QListWidget* list_ = nullptr;
    QWidget* sectionRows_ = nullptr;
    QCheckBox* section_ = nullptr;
    QLineEdit* sectionStart_ = nullptr;
    QLineEdit* sectionEnd_ = nullptr;
    // options page
    QLabel* toolName_ = nullptr;
    QLabel* description_ = nullptr;
    QWidget* form_ = nullptr;
    QGridLayout* formLayout_ = nullptr;
    QGroupBox* preview_ = nullptr;
    QPushButton* previous_ = nullptr;
    QPushButton* next_ = nullptr;
    QPushButton* update_ = nullptr;
    QPushButton* restore_ = nullptr;
    bool filling_ = false;
};

} // namespace vaxel::app
