// Progress of a long stage, handed to the caller's callback at most ten
// times a second, and at the end of a stage that reported anything.
#ifndef LXSCAN_SRC_PROGRESS_H
#define LXSCAN_SRC_PROGRESS_H

#include "scan_internal.h"

namespace lxscan {

class Progress {
public:
    Progress(const char* stage, const ProgressCallback& callback)
        : stage_(stage), callback_(callback), last_(Clock::now()) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Cheap enough to call every few thousand points.
    void Update(double fraction) {
        if (!callback_) return;
        const Clock::time_point now = Clock::now();
        if (now - last_ < std::chrono::milliseconds(100)) return;
        last_ = now;
        shown_ = true;
        callback_(stage_, fraction);
    }

    // Not in the destructor: the callback may throw.
    void Finish() {
        if (shown_) callback_(stage_, 1.0);
        shown_ = false;
    }

private:
    const char* stage_;
    const ProgressCallback& callback_;
    Clock::time_point last_;
    bool shown_ = false;
};

}  // namespace lxscan

#endif
