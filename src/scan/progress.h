// Progress of a stage, handed to the caller's callback at most ten times a
// second while it runs, and once more (fraction 1) when it ends, so every
// stage that runs to its end reports at least once whatever its length.
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
        callback_(stage_, fraction);
    }

    // Not in the destructor: the callback may throw.
    void Finish() {
        if (callback_) callback_(stage_, 1.0);
    }

private:
    const char* stage_;
    const ProgressCallback& callback_;
    Clock::time_point last_;
};

}  // namespace lxscan

#endif
