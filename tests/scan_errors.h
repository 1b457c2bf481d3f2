#ifndef LXBASE_TESTS_SCAN_ERRORS_H
#define LXBASE_TESTS_SCAN_ERRORS_H

// The message of the ScanError an action throws; empty when it throws none.
#include <functional>
#include <string>

#include <lxscan/types.h>

inline std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const lxscan::ScanError& error) {
        return error.what();
    }
    return "";
}

#endif
