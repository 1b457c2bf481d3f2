#ifndef LXBASE_SRC_GEOMETRY_ZORDER_MERGE_H
#define LXBASE_SRC_GEOMETRY_ZORDER_MERGE_H

// Ordering index arrays by a comparison that need not be transitive.
//
// Every routine here is stable, bounded whatever the comparison answers,
// and leaves no pair of neighbours with less(order[i], order[i - 1]) (an
// asymmetric comparison is enough for that). Where the comparison is a
// strict weak order they give exactly what std::stable_sort gives.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace lxbase {
namespace zorder {

// Stable insertion sort, for small ranges.
template <typename Index, typename Less>
void InsertionSortBy(Index* order, std::size_t n, Less less) {
    for (std::size_t i = 1; i < n; ++i) {
        const Index item = order[i];
        std::size_t j = i;
        for (; j > 0 && less(item, order[j - 1]); --j) order[j] = order[j - 1];
        order[j] = item;
    }
}

// End of the ordered run that starts at `begin`.
template <typename Index, typename Less>
std::size_t RunEnd(const Index* order, std::size_t begin, std::size_t n, Less less) {
    std::size_t end = begin + 1;
    while (end < n && !less(order[end], order[end - 1])) ++end;
    return end;
}

// Stable merge of [left, middle) and [middle, right) into out.
template <typename Index, typename Less>
void MergeInto(const Index* left, const Index* middle, const Index* right, Index* out, Less less) {
    const Index* second = middle;
    while (left != middle && second != right) *out++ = less(*second, *left) ? *second++ : *left++;
    out = std::copy(left, middle, out);
    std::copy(second, right, out);
}

// Stable natural merge sort of order[0, n): one pass of n - 1 comparisons
// on ordered input. scratch grows to n entries if the input is not in order.
template <typename Index, typename Less>
void NaturalMergeSort(Index* order, std::size_t n, Less less, std::vector<Index>& scratch) {
    if (n < 2 || RunEnd(order, 0, n, less) == n) return;
    if (scratch.size() < n) scratch.resize(n);
    Index* from = order;
    Index* to = scratch.data();
    for (;;) {
        std::size_t runs = 0;
        for (std::size_t begin = 0; begin < n; ++runs) {
            const std::size_t middle = RunEnd(from, begin, n, less);
            const std::size_t end = middle < n ? RunEnd(from, middle, n, less) : n;
            MergeInto(from + begin, from + middle, from + end, to + begin, less);
            begin = end;
        }
        std::swap(from, to);
        if (runs == 1) break;
    }
    if (from != order) std::copy(from, from + n, order);
}

// For an item that follows the ordered range order[0, end): the position
// k at which it goes, with less(item, order[k]) (or k == end) and
// !less(item, order[k - 1]) (or k == 0). Searched from the end with
// growing steps, then by halving; any such crossing keeps the neighbours
// in order, and for a strict weak order it is the one a stable merge picks.
template <typename Index, typename Less>
std::size_t CrossingBefore(const Index* order, std::size_t end, Index item, Less less) {
    std::size_t hi = end;  // less(item, order[hi]), or hi == end
    std::size_t lo = 0;    // !less(item, order[lo - 1]), or lo == 0
    for (std::size_t step = 1; hi >= step; step *= 2) {
        const std::size_t probe = hi - step;
        if (!less(item, order[probe])) {
            lo = probe + 1;
            break;
        }
        hi = probe;
    }
    while (lo < hi) {
        const std::size_t mid = lo + (hi - lo) / 2;
        if (less(item, order[mid])) {
            hi = mid;
        } else {
            lo = mid + 1;
        }
    }
    return hi;
}

// For an item that precedes the ordered range order[begin, end): the
// position k with less(order[k - 1], item) (or k == begin) and
// !less(order[k], item) (or k == end), searched from the front.
template <typename Index, typename Less>
std::size_t CrossingAfter(const Index* order, std::size_t begin, std::size_t end, Index item, Less less) {
    std::size_t lo = begin;  // less(order[lo - 1], item), or lo == begin
    std::size_t hi = end;    // !less(order[hi], item), or hi == end
    for (std::size_t step = 1; end - lo >= step; step *= 2) {
        const std::size_t probe = lo + step - 1;
        if (!less(order[probe], item)) {
            hi = probe;
            break;
        }
        lo = probe + 1;
    }
    while (lo < hi) {
        const std::size_t mid = lo + (hi - lo) / 2;
        if (less(order[mid], item)) {
            lo = mid + 1;
        } else {
            hi = mid;
        }
    }
    return lo;
}

// Stable merge of the ordered ranges order[0, middle) and order[middle, n)
// in place, through a copy of the shorter one. Each item of the shorter
// range is placed by a search in the longer one, so a few items merge into
// many with few comparisons.
template <typename Index, typename Less>
void MergeAdjacent(Index* order, std::size_t middle, std::size_t n, Less less, std::vector<Index>& scratch) {
    if (middle == 0 || middle == n || !less(order[middle], order[middle - 1])) return;
    if (n - middle <= middle) {
        scratch.assign(order + middle, order + n);
        std::size_t leftEnd = middle;
        std::size_t out = n;
        for (std::size_t j = scratch.size(); j-- > 0;) {
            const std::size_t k = CrossingBefore(order, leftEnd, scratch[j], less);
            out -= leftEnd - k;
            std::memmove(order + out, order + k, (leftEnd - k) * sizeof(Index));
            leftEnd = k;
            order[--out] = scratch[j];
        }
    } else {
        scratch.assign(order, order + middle);
        std::size_t rightBegin = middle;
        std::size_t out = 0;
        for (const Index item : scratch) {
            const std::size_t k = CrossingAfter(order, rightBegin, n, item, less);
            std::memmove(order + out, order + rightBegin, (k - rightBegin) * sizeof(Index));
            out += k - rightBegin;
            rightBegin = k;
            order[out++] = item;
        }
    }
}

}  // namespace zorder
}  // namespace lxbase

#endif
