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

} // namespace vaxel
