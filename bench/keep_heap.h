// Included by benchmarks whose operations return large fresh buffers.
// Freed memory stays in the process: otherwise glibc hands large blocks back
// to the kernel, every fresh buffer faults its pages in again, and the
// figures measure the kernel's page-fault path rather than the code.
#ifndef LXBASE_BENCH_KEEP_HEAP_H
#define LXBASE_BENCH_KEEP_HEAP_H

#include <malloc.h>

namespace {

const bool kHeapKept = [] {
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    return true;
}();

}  // namespace

#endif
