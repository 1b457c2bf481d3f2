// Progress of a long stage on standard error: silent for the first second,
// then a percentage, rewritten in place on a terminal and one line a second
// otherwise.
#ifndef SCAN_ROUNDTRIP_PROGRESS_H
#define SCAN_ROUNDTRIP_PROGRESS_H

#include <cstdio>

#include <unistd.h>

#include "scan_types.h"

namespace scan {

class Progress {
public:
    Progress(const char* stage, bool enabled)
        : stage_(stage), enabled_(enabled), start_(Clock::now()), lastShown_(start_),
          terminal_(isatty(STDERR_FILENO) == 1) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { Finish(); }

    // Cheap enough to call every few thousand points.
    void Update(double fraction) {
        if (!enabled_) return;
        const Clock::time_point now = Clock::now();
        if (now - start_ < std::chrono::seconds(1)) return;
        const auto interval = terminal_ ? std::chrono::milliseconds(200) : std::chrono::milliseconds(1000);
        if (shown_ && now - lastShown_ < interval) return;
        lastShown_ = now;
        shown_ = true;
        std::fprintf(stderr, terminal_ ? "\r%s: %5.1f%%" : "%s: %5.1f%%\n", stage_, 100.0 * fraction);
        std::fflush(stderr);
    }

    void Finish() {
        if (!shown_) return;
        std::fprintf(stderr, terminal_ ? "\r%s: done (%.1f s)\n" : "%s: done (%.1f s)\n", stage_,
                     SecondsSince(start_));
        shown_ = false;
    }

private:
    const char* stage_;
    bool enabled_;
    Clock::time_point start_;
    Clock::time_point lastShown_;
    bool terminal_;
    bool shown_ = false;
};

}  // namespace scan

#endif
