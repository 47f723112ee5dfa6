#include "model/status_line.h"

#include <atomic>

namespace vaxel {

namespace {
class SilentStatusLine final : public StatusLine {
public:
    void status(std::u16string_view, int) override {}
};
SilentStatusLine gSilent;
std::atomic<StatusLine*> gCurrent{&gSilent};
} // namespace

StatusLine& Status() { return *gCurrent.load(std::memory_order_acquire); }

StatusLine* SetStatusLine(StatusLine* line) {
    StatusLine* old = gCurrent.exchange(line ? line : &gSilent, std::memory_order_acq_rel);
    return old == &gSilent ? nullptr : old;
}

ProgressMeter::ProgressMeter(uint64_t total, bool enabled)
    : total_(total), nextReport_(0), enabled_(enabled && total > 0) {}

void ProgressMeter::step(uint64_t done) {
    if (!enabled_ || done < nextReport_) return;
    Status().progress(done >= total_ ? 1.0 : double(done) / double(total_));
    nextReport_ = done + (total_ + 99) / 100;
}

} // namespace vaxel
