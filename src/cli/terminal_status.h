#pragma once
// The status line of the command line: on a terminal, progress texts share
// one line on stderr with a bar that fills as the work goes; elsewhere only
// final and error texts are written, one a line, so logs stay readable.
#include <string>

#include "model/status_line.h"

namespace vaxel::cli {

class TerminalStatus final : public StatusLine {
  public:
    // quiet: nothing but errors.
    explicit TerminalStatus(bool quiet = false);
    ~TerminalStatus() override;
    void status(std::u16string_view text, int mode) override;
    void progress(double fraction) override;

  private:
    void drawProgress();
    void clearLine();

    bool terminal_;
    bool quiet_;
    bool lineDirty_ = false;
    std::string text_;
    double fraction_ = -1.0;
    int lastPercent_ = -1;
};

// Installs a TerminalStatus for the life of the guard.
class StatusScope {
  public:
    explicit StatusScope(bool quiet = false);
    ~StatusScope();
    StatusScope(const StatusScope&) = delete;
    StatusScope& operator=(const StatusScope&) = delete;

  private:
    TerminalStatus line_;
    StatusLine* previous_;
};

} // namespace vaxel::cli
