// Arrays of millions of elements. Elements added without a value are left
// uninitialised instead of being zeroed: they are overwritten anyway, and
// zeroing would touch every page of fresh memory once more. (Huge pages were
// tried for these arrays too; where the kernel compacts memory to make them,
// first touch got slower, not faster.)
#ifndef LXSCAN_SRC_BIG_ARRAY_H
#define LXSCAN_SRC_BIG_ARRAY_H

#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace lxscan {

template <class T>
class BigAllocator : public std::allocator<T> {
public:
    using value_type = T;
    template <class U>
    struct rebind {
        using other = BigAllocator<U>;
    };

    BigAllocator() = default;
    template <class U>
    BigAllocator(const BigAllocator<U>&) noexcept {}

    // Default-insertion default-initialises: no zeroing of plain numbers.
    template <class U>
    void construct(U* p) noexcept(std::is_nothrow_default_constructible<U>::value) {
        ::new (static_cast<void*>(p)) U;
    }
    template <class U, class... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};

template <class T>
using BigArray = std::vector<T, BigAllocator<T>>;

}  // namespace lxscan

#endif
