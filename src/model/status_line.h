#pragma once
// The status line: where long work reports progress and final results. The
// desktop program shows it in its status bar, the command line on stderr,
// and tests record it.
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
};

// The process's status line; a silent one until somebody installs another.
StatusLine& Status();
// Installs a status line (null restores the silent one); returns the old one.
StatusLine* SetStatusLine(StatusLine* line);

} // namespace vaxel
