// Z-order sorting: a Morton key and a radix sort, then operator< only where
// the key cannot tell.
//
// The points fall into two classes:
//   - regular points: every coordinate finite, and non-zero on each axis
//     whose values are not all equal. On them operator< is the order of the
//     Morton bit string (zorder_key.h), a strict weak order, and a key sort
//     is exact wherever keys differ. Points that share a key are keyed again
//     within their own, smaller box until they are told apart.
//   - special points: a zero on an axis with other values too, an infinity
//     or a NaN. A zero takes part in operator<'s levels as if it were 0.5
//     but is ordered as 0, so no key can follow operator< there (the
//     relation is not even transitive). They are sorted by operator< itself
//     (from their key order, which is close) and merged into the regular
//     ones; scans hold few of them.
// An axis whose values are all equal never decides operator<, so it is left
// out of the keys and its zeros are harmless: points on the plane z = 0 are
// regular points of a two-axis key.

#include "lxbase/zorder.h"

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "zorder.h"
#include "zorder_key.h"
#include "zorder_merge.h"

namespace lxbase {
namespace zorder {
namespace {

// The points as the sort reads them: n points `stride` bytes apart, each
// three coordinates of type T (widened to double exactly).
template <typename T>
class Cloud {
public:
    Cloud(const void* first, std::size_t n, std::size_t stride)
        : base_(static_cast<const char*>(first)), n_(n), stride_(stride) {}

    std::size_t Size() const { return n_; }

    const T* At(std::size_t i) const { return reinterpret_cast<const T*>(base_ + i * stride_); }

    void Get(std::size_t i, double v[3]) const {
        const T* p = At(i);
        v[0] = p[0];
        v[1] = p[1];
        v[2] = p[2];
    }

    bool Less(std::size_t a, std::size_t b) const {
        const T* p = At(a);
        const T* q = At(b);
        return zorder::Less(p[0], p[1], p[2], q[0], q[1], q[2]);
    }

    bool Same(std::size_t a, std::size_t b) const {
        const T* p = At(a);
        const T* q = At(b);
        return p[0] == q[0] && p[1] == q[1] && p[2] == q[2];
    }

private:
    const char* base_;
    std::size_t n_;
    std::size_t stride_;
};

// operator< on the points that two indices name.
template <typename T>
struct IndexLess {
    const Cloud<T>* cloud;
    template <typename Index>
    bool operator()(Index a, Index b) const {
        return cloud->Less(a, b);
    }
};

constexpr int kDigitBits = 11;
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;
constexpr int kTopShift = 64 - kDigitBits;
constexpr std::size_t kRadixLeaf = 64;

// Sorts (keys, order)[0, n) by key, equal keys by index, by insertion.
template <typename Index>
void InsertionSortKeys(std::uint64_t* keys, Index* order, std::size_t n) {
    for (std::size_t i = 1; i < n; ++i) {
        const std::uint64_t key = keys[i];
        const Index index = order[i];
        std::size_t j = i;
        for (; j > 0 && (key < keys[j - 1] || (key == keys[j - 1] && index < order[j - 1])); --j) {
            keys[j] = keys[j - 1];
            order[j] = order[j - 1];
        }
        keys[j] = key;
        order[j] = index;
    }
}

// Most-significant-digit radix sort in place (American flag sort) of
// keys[0, n), moving order along; equal keys end up in index order. 11-bit
// digits from `shift` down: each range is permuted into its buckets along
// cycles, then every bucket by the next digit. It needs no second array.
template <typename Index>
void RadixSort(std::uint64_t* keys, Index* order, std::size_t n, int shift) {
    Index count[kBuckets];
    for (;;) {
        if (n <= kRadixLeaf) {
            InsertionSortKeys(keys, order, n);
            return;
        }
        std::fill(count, count + kBuckets, Index{0});
        for (std::size_t i = 0; i < n; ++i) ++count[(keys[i] >> shift) & (kBuckets - 1)];
        if (count[(keys[0] >> shift) & (kBuckets - 1)] != n) break;
        if (shift == 0) {  // all keys equal
            std::sort(order, order + n);
            return;
        }
        shift = std::max(shift - kDigitBits, 0);  // one bucket: go on with the next digit
    }
    Index next[kBuckets];
    Index end[kBuckets];
    Index offset = 0;
    for (std::size_t b = 0; b < kBuckets; ++b) {
        next[b] = offset;
        offset += count[b];
        end[b] = offset;
    }
    for (std::size_t b = 0; b < kBuckets; ++b) {
        while (next[b] < end[b]) {
            std::uint64_t key = keys[next[b]];
            Index index = order[next[b]];
            for (std::size_t d = (key >> shift) & (kBuckets - 1); d != b; d = (key >> shift) & (kBuckets - 1)) {
                // Bucket d's cursor will be back: its next lines are fetched
                // now, which no hardware prefetcher does for 2048 streams.
                __builtin_prefetch(keys + next[d] + 16, 1);
                __builtin_prefetch(order + next[d] + 32, 1);
                std::swap(key, keys[next[d]]);
                std::swap(index, order[next[d]]);
                ++next[d];
            }
            keys[next[b]] = key;
            order[next[b]] = index;
            ++next[b];
        }
    }
    const int lower = std::max(shift - kDigitBits, 0);
    std::size_t begin = 0;
    for (std::size_t b = 0; b < kBuckets; begin += count[b++]) {
        if (count[b] > 1) RadixSort(keys + begin, order + begin, count[b], lower);
    }
}

// Groups of regular points that share a key up to this size are ordered by
// operator< directly; beyond this depth of keying within keys, too.
constexpr std::size_t kSmallGroup = 16;
constexpr int kMaxDepth = 48;

template <typename T, typename Index>
class Sorter {
public:
    explicit Sorter(const Cloud<T>& cloud) : cloud_(cloud), less_{&cloud} {}

    // The Z-order of the cloud into order[0, n).
    void Run(Index* order) {
        const std::size_t n = cloud_.Size();
        for (std::size_t i = 0; i < n && i < 2; ++i) order[i] = static_cast<Index>(i);
        if (n < 2) return;

        // Pass one: axes with a single value, and the ranges to key in.
        double first[3];
        cloud_.Get(0, first);
        bool constant[3] = {first[0] == first[0], first[1] == first[1], first[2] == first[2]};
        KeyBox regularBox;  // finite non-zero values
        KeyBox specialBox;  // finite values
        double v[3];
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(i, v);
            for (int a = 0; a < 3; ++a) {
                constant[a] = constant[a] && v[a] == first[a];
                if (std::fabs(v[a]) <= DBL_MAX) {
                    specialBox.Add(a, v[a]);
                    if (v[a] != 0) regularBox.Add(a, v[a]);
                }
            }
        }

        // Pass two: keys, regular points to the front and special points to
        // the back of the arrays.
        std::unique_ptr<std::uint64_t[]> keys(new std::uint64_t[n]);
        const MortonKey regularKey(regularBox);
        const MortonKey specialKey(specialBox);
        std::size_t regular = 0;
        std::size_t special = n;
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(i, v);
            bool isSpecial = false;
            for (int a = 0; a < 3; ++a) {
                isSpecial = isSpecial || (!constant[a] && !(v[a] != 0 && std::fabs(v[a]) <= DBL_MAX));
            }
            if (!isSpecial) {
                keys[regular] = regularKey(v);
                order[regular++] = static_cast<Index>(i);
            } else {
                keys[--special] = specialKey(v);
                order[special] = static_cast<Index>(i);
            }
        }
        RadixSort(keys.get(), order, regular, kTopShift);
        RadixSort(keys.get() + regular, order + regular, n - regular, kTopShift);
        RefineRuns(keys.get(), order, regular, 0);
        keys.reset();

        NaturalMergeSort(order + regular, n - regular, less_, scratch_);
        MergeAdjacent(order, regular, n, less_, scratch_);
    }

private:
    // Orders each run of equal keys in (keys, order)[0, n).
    void RefineRuns(std::uint64_t* keys, Index* order, std::size_t n, int depth) {
        for (std::size_t begin = 0; begin < n;) {
            std::size_t end = begin + 1;
            while (end < n && keys[end] == keys[begin]) ++end;
            if (end - begin > 1) Refine(keys + begin, order + begin, end - begin, depth);
            begin = end;
        }
    }

    // Orders n regular points that share a key and are in index order. A key
    // of their own box goes deeper than the one they share: their bits above
    // its top are all equal, and every round splits the group.
    void Refine(std::uint64_t* keys, Index* order, std::size_t n, int depth) {
        std::size_t same = 1;
        while (same < n && cloud_.Same(order[same], order[0])) ++same;
        if (same == n) return;
        if (n <= kSmallGroup) {
            InsertionSortBy(order, n, less_);
            return;
        }
        if (depth >= kMaxDepth) {
            NaturalMergeSort(order, n, less_, scratch_);
            return;
        }
        KeyBox box;
        double v[3];
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(order[i], v);
            box.Add(v);
        }
        const MortonKey key(box);
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(order[i], v);
            keys[i] = key(v);
        }
        RadixSort(keys, order, n, kTopShift);
        RefineRuns(keys, order, n, depth + 1);
    }

    const Cloud<T>& cloud_;
    IndexLess<T> less_;
    std::vector<Index> scratch_;
};

template <typename T, typename Index>
void ZOrder(const Cloud<T>& cloud, Index* order) {
    Sorter<T, Index>(cloud).Run(order);
}

template <typename T>
Cloud<T> CheckedCloud(const void* first, std::size_t n, std::size_t stride) {
    if (n != 0 && first == nullptr) throw std::invalid_argument("ZOrderPermutation: no points");
    if (stride < 3 * sizeof(T) || stride % sizeof(T) != 0)
        throw std::invalid_argument("ZOrderPermutation: stride smaller than a point or not a multiple of its coordinates");
    return Cloud<T>(first, n, stride);
}

template <typename T>
void Permutation32(const void* first, std::size_t n, std::size_t stride, std::uint32_t* order) {
    const Cloud<T> cloud = CheckedCloud<T>(first, n, stride);
    // The 32-bit sort's counters reach n, so n itself must fit.
    if (n >= UINT32_MAX)
        throw std::length_error("ZOrderPermutation: more points than 32-bit indices can name");
    if (n != 0 && order == nullptr) throw std::invalid_argument("ZOrderPermutation: no room for the order");
    ZOrder(cloud, order);
}

template <typename T>
std::vector<std::size_t> Permutation(const void* first, std::size_t n, std::size_t stride) {
    const Cloud<T> cloud = CheckedCloud<T>(first, n, stride);
    if (n >= UINT32_MAX) {
        std::vector<std::size_t> order(n);
        ZOrder(cloud, order.data());
        return order;
    }
    std::unique_ptr<std::uint32_t[]> order(new std::uint32_t[n]);
    ZOrder(cloud, order.get());
    return std::vector<std::size_t>(order.get(), order.get() + n);
}

// Moves points[order[i]] to points[i] for every i, in place. With each
// point's destination at hand, a first pass moves every point into its
// block of positions (blocks the size of a cache, cursors fetched ahead as
// in the radix sort), a second one into its place within the block.
template <typename P, typename Index>
void Permute(P* points, const Index* order, std::size_t n) {
    std::unique_ptr<Index[]> dest(new Index[n]);
    for (std::size_t i = 0; i < n; ++i) dest[order[i]] = static_cast<Index>(i);
    int shift = 12;
    while ((n >> shift) > 1024) ++shift;
    const std::size_t blocks = (n + (std::size_t{1} << shift) - 1) >> shift;
    if (blocks > 1) {
        std::vector<std::size_t> next(blocks);
        std::vector<std::size_t> end(blocks);
        for (std::size_t b = 0; b < blocks; ++b) {
            next[b] = b << shift;
            end[b] = std::min(n, (b + 1) << shift);
        }
        for (std::size_t b = 0; b < blocks; ++b) {
            while (next[b] < end[b]) {
                P point = points[next[b]];
                Index to = dest[next[b]];
                for (std::size_t d = to >> shift; d != b; d = to >> shift) {
                    __builtin_prefetch(points + next[d] + 8, 1);
                    __builtin_prefetch(dest.get() + next[d] + 32, 1);
                    std::swap(point, points[next[d]]);
                    std::swap(to, dest[next[d]]);
                    ++next[d];
                }
                points[next[b]] = point;
                dest[next[b]] = to;
                ++next[b];
            }
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        while (dest[i] != i) {
            const std::size_t j = dest[i];
            std::swap(points[i], points[j]);
            std::swap(dest[i], dest[j]);
        }
    }
}

template <typename T>
void SortInPlace(tBaseXYZPoint<T>* points, std::size_t n) {
    if (n < 2) return;
    if (points == nullptr) throw std::invalid_argument("SortZOrder: no points");
    const Cloud<T> cloud(points, n, sizeof(tBaseXYZPoint<T>));
    if (n >= UINT32_MAX) {
        std::unique_ptr<std::size_t[]> order(new std::size_t[n]);
        ZOrder(cloud, order.get());
        Permute(points, order.get(), n);
        return;
    }
    std::unique_ptr<std::uint32_t[]> order(new std::uint32_t[n]);
    ZOrder(cloud, order.get());
    Permute(points, order.get(), n);
}

}  // namespace
}  // namespace zorder

void SortZOrder(tBaseXYZPoint<double>* points, std::size_t n) { zorder::SortInPlace(points, n); }

void SortZOrder(tBaseXYZPoint<float>* points, std::size_t n) { zorder::SortInPlace(points, n); }

std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<double>* points, std::size_t n) {
    return zorder::Permutation<double>(points, n, sizeof *points);
}

std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<float>* points, std::size_t n) {
    return zorder::Permutation<float>(points, n, sizeof *points);
}

std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<double>* first, std::size_t n,
                                           std::size_t strideBytes) {
    return zorder::Permutation<double>(first, n, strideBytes);
}

std::vector<std::size_t> ZOrderPermutation(const tBaseXYZPoint<float>* first, std::size_t n,
                                           std::size_t strideBytes) {
    return zorder::Permutation<float>(first, n, strideBytes);
}

void ZOrderPermutation(const tBaseXYZPoint<double>* first, std::size_t n, std::size_t strideBytes,
                       std::uint32_t* order) {
    zorder::Permutation32<double>(first, n, strideBytes, order);
}

void ZOrderPermutation(const tBaseXYZPoint<float>* first, std::size_t n, std::size_t strideBytes,
                       std::uint32_t* order) {
    zorder::Permutation32<float>(first, n, strideBytes, order);
}

}  // namespace lxbase
