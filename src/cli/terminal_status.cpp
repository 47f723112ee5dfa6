#include "cli/terminal_status.h"

#include <unistd.h>

#include <cstdio>

#include "model/text.h"

namespace vaxel::cli {

TerminalStatus::TerminalStatus(bool quiet) : terminal_(isatty(STDERR_FILENO) == 1), quiet_(quiet) {}

TerminalStatus::~TerminalStatus() {
    clearLine();
}

void TerminalStatus::clearLine() {
    if (lineDirty_) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        lineDirty_ = false;
    }
}

void TerminalStatus::drawProgress() {
    if (!terminal_ || quiet_) return;
    std::string line = "\r\033[K" + text_;
    if (fraction_ >= 0.0) {
        constexpr int kWidth = 30;
        const int filled = int(fraction_ * kWidth + 0.5);
        line += " [";
        line.append(size_t(filled), '#');
        line.append(size_t(kWidth - filled), '.');
        line += "] " + std::to_string(int(fraction_ * 100.0 + 0.5)) + "%";
    }
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    lineDirty_ = true;
}

void TerminalStatus::status(std::u16string_view text, int mode) {
    switch (mode) {
    case kStatusProgress:
        text_ = WideToUtf8(text);
        fraction_ = -1.0;
        lastPercent_ = -1;
        drawProgress();
        break;
    case kStatusClearProgress:
        text_.clear();
        fraction_ = -1.0;
        clearLine();
        break;
    case kStatusError:
        clearLine();
        std::fprintf(stderr, "%s\n", WideToUtf8(text).c_str());
        break;
    case kStatusFinal:
        clearLine();
        if (!quiet_ && !text.empty()) std::fprintf(stderr, "%s\n", WideToUtf8(text).c_str());
        break;
    default:
        break; // passing item names: too fast to read on a terminal
    }
}

void TerminalStatus::progress(double fraction) {
    if (!terminal_ || quiet_ || text_.empty()) return;
    const int percent = int(fraction * 100.0 + 0.5);
    if (percent == lastPercent_) return;
    lastPercent_ = percent;
    fraction_ = fraction < 0.0 ? 0.0 : fraction > 1.0 ? 1.0 : fraction;
    drawProgress();
}

StatusScope::StatusScope(bool quiet) : line_(quiet), previous_(SetStatusLine(&line_)) {}
StatusScope::~StatusScope() {
    SetStatusLine(previous_);
}

} // namespace vaxel::cli
