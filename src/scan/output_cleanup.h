// The signal-safe registry of live temporary files (output_cleanup.cpp).
#ifndef LXSCAN_SRC_OUTPUT_CLEANUP_H
#define LXSCAN_SRC_OUTPUT_CLEANUP_H

#include <string>

namespace lxscan {
namespace detail {

// Registers a temporary file (its directory's descriptor and its name there)
// for removal by SIGINT, SIGTERM and SIGHUP; returns the slot, -1 when the
// table is full.
int RegisterTemporary(int directory, const std::string& name);
// Forgets a slot (after the rename or the removal of its file).
void ReleaseTemporary(int slot);

}  // namespace detail
}  // namespace lxscan

#endif
