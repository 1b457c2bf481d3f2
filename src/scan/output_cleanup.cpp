// The registry of live temporaries that the signal handlers remove.
//
// A fixed table, so that the handler needs no allocation and no lock: a slot
// goes Free -> Filling (one writer won the compare-exchange) -> Live; the
// handler removes the Live ones with unlinkat, which is async-signal-safe,
// relative to a descriptor of the temporary's directory (so a later chdir or
// a relative path changes nothing).
#include "output_cleanup.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <unistd.h>

#include <lxscan/output.h>

namespace lxscan {
namespace detail {

namespace {

enum SlotState : int { kFree = 0, kFilling = 1, kLive = 2 };

struct Slot {
    std::atomic<int> state{kFree};
    int directory = -1;
    char name[256] = {};
};

constexpr int kSlots = 64;
Slot gSlots[kSlots];
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs lock-free slots");

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void RemoveTemporariesAndExit(int signal) {
    for (Slot& slot : gSlots) {
        if (slot.state.load() == kLive) unlinkat(slot.directory, slot.name, 0);
    }
    // The action is the default again (SA_RESETHAND): the signal ends the
    // process as it would have without us, with the same status.
    raise(signal);
}

}  // namespace

int RegisterTemporary(int directory, const std::string& name) {
    if (name.size() >= sizeof gSlots[0].name) return -1;
    for (int i = 0; i < kSlots; ++i) {
        int expected = kFree;
        if (!gSlots[i].state.compare_exchange_strong(expected, kFilling)) continue;
        gSlots[i].directory = directory;
        std::memcpy(gSlots[i].name, name.c_str(), name.size() + 1);
        gSlots[i].state.store(kLive);
        return i;
    }
    return -1;  // more live outputs than slots: only the destructor cleans up
}

void ReleaseTemporary(int slot) {
    if (slot >= 0 && slot < kSlots) gSlots[slot].state.store(kFree);
}

}  // namespace detail

void InstallSignalCleanup() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (int signal : detail::kSignals) {
            struct sigaction current;
            if (sigaction(signal, nullptr, &current) != 0) continue;
            // A signal the program ignores (nohup) or handles itself stays so.
            if ((current.sa_flags & SA_SIGINFO) != 0 || current.sa_handler != SIG_DFL) continue;
            struct sigaction action;
            std::memset(&action, 0, sizeof action);
            action.sa_handler = detail::RemoveTemporariesAndExit;
            sigemptyset(&action.sa_mask);
            action.sa_flags = SA_RESETHAND;
            sigaction(signal, &action, nullptr);
        }
    });
}

}  // namespace lxscan
