#pragma once
// The status line: where long work reports progress and final results. The
// desktop program shows it in its status bar, the command line on stderr,
// and tests record it.
#include <cstdint>
#include <string_view>

namespace vaxel {

enum StatusMode : int {
    kStatusFinal = 0,    // a final text ("Done: ...", "Failed: ...")
    kStatusError = 2,    // an error text
    kStatusProgress = 3, // a progress text
    kStatusClearProgress = 4,
    kStatusPassing = 6,  // the name of an item going by
};

class StatusLine {
public:
    virtual ~StatusLine() = default;
    virtual void status(std::u16string_view text, int mode) = 0;
    // How far the work of the last progress text has come, 0 to 1. Long
    // reads and writes call it as they go; a line that shows no bar ignores it.
    virtual void progress(double fraction) { (void)fraction; }
};

// Progress of long work over a known amount: calls progress() at most once
// for every percent, so a tight loop can call step() as often as it likes.
class ProgressMeter {
public:
    explicit ProgressMeter(uint64_t total, bool enabled = true);
    void step(uint64_t done);

private:
    uint64_t total_;
    uint64_t nextReport_;
    bool enabled_;
};

// The process's status line; a silent one until somebody installs another.
StatusLine& Status();
// Installs a status line (null restores the silent one); returns the old one.
StatusLine* SetStatusLine(StatusLine* line);

} // namespace vaxel
