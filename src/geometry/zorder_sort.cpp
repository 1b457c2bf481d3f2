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
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <sys/mman.h>

#include "zorder.h"
#include "zorder_key.h"
#include "zorder_merge.h"

namespace lxbase {
namespace zorder {
namespace {

// An uninitialised array of n trivially copyable T for the sort's working
// memory. Large ones are aligned to 2 MiB and asked to be backed by huge
// pages: the sort reads and writes them at random, and with small pages
// nearly every access would miss the address translation cache.
template <typename T>
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::size_t n) { Allocate(n); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { std::free(data_); }

    void Allocate(std::size_t n) {
        std::free(data_);
        data_ = nullptr;
        size_ = 0;
        if (n == 0) return;
        if (n > SIZE_MAX / sizeof(T)) throw std::bad_alloc();
        const std::size_t bytes = n * sizeof(T);
        constexpr std::size_t kHuge = std::size_t{1} << 21;
        if (bytes >= 2 * kHuge) {
            const std::size_t rounded = (bytes + kHuge - 1) & ~(kHuge - 1);
            data_ = static_cast<T*>(std::aligned_alloc(kHuge, rounded));
            if (data_ != nullptr) madvise(data_, rounded, MADV_HUGEPAGE);  // a hint; refusal is harmless
        } else {
            data_ = static_cast<T*>(std::malloc(bytes));
        }
        if (data_ == nullptr) throw std::bad_alloc();
        size_ = n;
    }
    void Release() { Allocate(0); }

    T* get() const { return data_; }
    std::size_t size() const { return size_; }
    T& operator[](std::size_t i) const { return data_[i]; }

private:
    T* data_ = nullptr;
    std::size_t size_ = 0;
};

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

// Keys are sorted by most-significant-digit radix passes. A range of keys
// is split on the highest bit in which its keys differ, with up to
// kDigitBits bits a pass; ranges of up to kCacheRange keys are copied into
// a buffer that stays in cache and finished there.
constexpr int kDigitBits = 11;
constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;
constexpr int kWideDigitBits = 18;
constexpr std::size_t kCacheRange = std::size_t{1} << 15;
constexpr std::size_t kInsertionRange = 16;
// Counts within a cached range fit 16 bits, which keeps the recursion's
// stack frames small.
static_assert(kCacheRange <= UINT16_MAX, "cached ranges are counted in 16 bits");

// Groups of regular points that share a key up to this size are ordered by
// operator< directly; beyond this depth of keying within keys, too.
constexpr std::size_t kSmallGroup = 16;
constexpr int kMaxDepth = 48;

// Digit position and width for keys whose differing bits are `mask` (not 0):
// the digit starts at the highest differing bit and takes `wanted` differing
// bits, reaching over bits that never differ (such as those of an axis of
// small extent) up to maxBits wide.
inline void ChooseDigit(std::uint64_t mask, int wanted, int maxBits, int& shift, int& bits) {
    const int top = 63 - __builtin_clzll(mask);
    bits = std::min(wanted, top + 1);
    while (bits < maxBits && bits <= top && __builtin_popcountll(mask >> (top + 1 - bits)) < wanted) ++bits;
    shift = top + 1 - bits;
}

// About log2(n) - less, within [4, most]: the differing bits a digit takes
// to leave about 2^less keys in a bucket.
inline int DigitFor(std::size_t n, int less, int most) {
    const int log2 = 63 - __builtin_clzll(static_cast<std::uint64_t>(n) | 1);
    return std::max(4, std::min(most, log2 - less));
}

// A key and the index of its point, as they are sorted in cache.
template <typename Index>
struct Entry {
    std::uint64_t key;
    Index index;
};

// Stable insertion sort of entries by key; equal keys keep their order.
template <typename Index>
void InsertionSortEntries(Entry<Index>* entries, std::size_t n) {
    for (std::size_t i = 1; i < n; ++i) {
        const Entry<Index> e = entries[i];
        std::size_t j = i;
        for (; j > 0 && e.key < entries[j - 1].key; --j) entries[j] = entries[j - 1];
        entries[j] = e;
    }
}

// Stable radix sort of entries[0, n) by key, most significant digit first,
// through the same-sized buffer `other`. One counting pass on the highest
// differing digit puts the keys into buckets; the few large buckets are
// sorted on their own, and one insertion pass then orders the many small
// ones, whose keys can only be out of order within their bucket.
template <typename Index>
void RadixSortEntries(Entry<Index>* entries, Entry<Index>* other, std::size_t n) {
    std::uint64_t mask = 0;
    for (std::size_t i = 1; i < n; ++i) mask |= entries[i].key ^ entries[0].key;
    if (mask == 0) return;
    if (n <= kInsertionRange) {
        InsertionSortEntries(entries, n);
        return;
    }
    int shift = 0;
    int bits = 0;
    ChooseDigit(mask, DigitFor(n, 1, kDigitBits), kDigitBits, shift, bits);
    const std::size_t buckets = std::size_t{1} << bits;
    const std::uint64_t digit = buckets - 1;
    std::uint16_t count[kBuckets + 1];
    std::fill(count, count + buckets + 1, std::uint16_t{0});
    for (std::size_t i = 0; i < n; ++i) ++count[((entries[i].key >> shift) & digit) + 1];
    for (std::size_t b = 1; b <= buckets; ++b) count[b] = static_cast<std::uint16_t>(count[b] + count[b - 1]);
    std::uint16_t next[kBuckets];
    std::copy(count, count + buckets, next);
    for (std::size_t i = 0; i < n; ++i) other[next[(entries[i].key >> shift) & digit]++] = entries[i];
    for (std::size_t b = 0; b < buckets; ++b) {
        const std::size_t size = static_cast<std::size_t>(count[b + 1] - count[b]);
        if (size > kInsertionRange) RadixSortEntries(other + count[b], entries + count[b], size);
    }
    InsertionSortEntries(other, n);
    std::copy(other, other + n, entries);
}

template <typename T, typename Index>
class Sorter {
public:
    explicit Sorter(const Cloud<T>& cloud) : cloud_(cloud), less_{&cloud} {}

    // The Z-order of the cloud into order[0, n).
    void Run(Index* order) {
        const std::size_t n = cloud_.Size();
        for (std::size_t i = 0; i < n && i < 2; ++i) order[i] = static_cast<Index>(i);
        if (n < 2) return;

        // Pass one: axes with a single value, and the range of the regular
        // points' values to key in.
        double first[3];
        cloud_.Get(0, first);
        bool differs[3] = {false, false, false};
        double low[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
        double high[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        double v[3];
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(i, v);
#pragma GCC unroll 3
            for (int a = 0; a < 3; ++a) {
                // Selections, not branches: signs and zeros come at random.
                differs[a] = differs[a] | !(v[a] == first[a]);
                const bool ordinary = (std::fabs(v[a]) <= DBL_MAX) & (v[a] != 0);
                low[a] = std::min(low[a], ordinary ? v[a] : HUGE_VAL);
                high[a] = std::max(high[a], ordinary ? v[a] : -HUGE_VAL);
            }
        }
        KeyBox regularBox;  // finite non-zero values
        for (int a = 0; a < 3; ++a) {
            if (low[a] <= high[a]) {
                regularBox.Add(a, low[a]);
                regularBox.Add(a, high[a]);
            }
        }

        // Pass two: every regular point's key, stored by point index; the
        // regular points to the front of order and the special ones to the
        // back, each in index order.
        keys_.Allocate(n);
        const MortonKey regularKey(regularBox);
        std::size_t regular = 0;
        switch (regularKey.Axes()) {
            case 3: regular = KeyPoints<3>(regularKey, differs, order); break;
            case 2: regular = KeyPoints<2>(regularKey, differs, order); break;
            case 1: regular = KeyPoints<1>(regularKey, differs, order); break;
            default: regular = KeyPoints<0>(regularKey, differs, order); break;
        }
        KeySpecialPoints(order + regular, n - regular);
        SortRegular(order, regular);
        SortRange(order + regular, n - regular, 0, false);
        keys_.Release();
        spread_.Release();
        std::vector<Entry<Index>>().swap(entries_);

        NaturalMergeSort(order + regular, n - regular, less_, scratch_);
        MergeAdjacent(order, regular, n, less_, scratch_);
    }

private:
    // Stores every point's key by point index, and puts the regular points
    // at the front of order and the special ones behind them, both in index
    // order; returns the number of regular points. kAxes is the regular
    // key's number of axes, so that its steps unroll.
    template <int kAxes>
    std::size_t KeyPoints(const MortonKey& regularKey, const bool differs[3], Index* order) {
        const std::size_t n = cloud_.Size();
        std::size_t regular = 0;
        std::size_t special = n;
        const auto isSpecial = [differs](const double v[3]) {
            bool any = false;
#pragma GCC unroll 3
            for (int a = 0; a < 3; ++a) {
                const bool ordinary = (v[a] != 0) & (std::fabs(v[a]) <= DBL_MAX);
                any = any | (differs[a] & !ordinary);
            }
            return any;
        };
        const auto keyOne = [&](std::size_t i, const double v[3]) {
            if (!isSpecial(v)) {
                keys_[i] = regularKey.Key<kAxes>(v);
                order[regular++] = static_cast<Index>(i);
            } else {
                order[--special] = static_cast<Index>(i);
            }
        };
        double v[3];
        double w[3];
        std::size_t i = 0;
        if constexpr (kAxes >= 2) {
            // Two regular points at a time, keyed side by side.
            for (; i + 1 < n; i += 2) {
                cloud_.Get(i, v);
                cloud_.Get(i + 1, w);
                const bool specialV = isSpecial(v);
                const bool specialW = isSpecial(w);
                if (specialV || specialW) {
                    keyOne(i, v);
                    keyOne(i + 1, w);
                    continue;
                }
                regularKey.KeyPair<kAxes>(v, w, keys_[i], keys_[i + 1]);
                order[regular++] = static_cast<Index>(i);
                order[regular++] = static_cast<Index>(i + 1);
            }
        }
        for (; i < n; ++i) {
            cloud_.Get(i, v);
            keyOne(i, v);
        }
        std::reverse(order + regular, order + n);
        return regular;
    }

    // Keys the special points, order[0, n), within the box of their own
    // finite values: a close start for sorting them by operator<.
    void KeySpecialPoints(const Index* order, std::size_t n) {
        KeyBox box;
        double v[3];
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(order[i], v);
            for (int a = 0; a < 3; ++a) {
                if (std::fabs(v[a]) <= DBL_MAX) box.Add(a, v[a]);
            }
        }
        const MortonKey key(box);
        for (std::size_t i = 0; i < n; ++i) {
            cloud_.Get(order[i], v);
            keys_[order[i]] = key(v);
        }
    }

    // Sorts the regular points, order[0, regular) in index order, like
    // SortRange, but with the first split made in place.
    void SortRegular(Index* order, std::size_t regular) {
        if (regular <= kCacheRange) {
            SortRange(order, regular, 0, true);
            return;
        }
        const std::uint64_t first = keys_[order[0]];
        std::uint64_t mask = 0;
        for (std::size_t i = 1; i < regular; ++i) mask |= keys_[order[i]] ^ first;
        if (mask == 0) {
            Refine(order, regular, 0);
            return;
        }
        SplitRegular(order, regular, mask);
    }

    // Sorts order[0, n) (in index order where keys are equal) by the keys of
    // its points, stably. With `refine`, every run of equal keys is then
    // ordered within itself (Refine).
    void SortRange(Index* order, std::size_t n, int depth, bool refine) {
        if (n < 2) return;
        if (n <= kCacheRange) {
            if (SortInCache(order, n) && refine) RefineRuns(order, n, depth);
            return;
        }
        const std::uint64_t first = keys_[order[0]];
        std::uint64_t mask = 0;
        for (std::size_t i = 1; i < n; ++i) mask |= keys_[order[i]] ^ first;
        if (mask == 0) {
            if (refine) Refine(order, n, depth);
            return;
        }
        SplitByDigit(order, n, mask, depth, refine);
    }

    // One stable counting pass on the highest differing digit through the
    // spread buffer, then each bucket on its own.
    void SplitByDigit(Index* order, std::size_t n, std::uint64_t mask, int depth, bool refine) {
        if (spread_.size() < n) spread_.Allocate(n);
        Index* out = spread_.get();
        const auto visit = [order, n](auto&& f) {
            for (std::size_t i = 0; i < n; ++i) f(order[i]);
        };
        const std::vector<std::size_t> count = Split(visit, n, mask, out);
        std::copy(out, out + n, order);
        SortBuckets(order, count, depth, refine);
    }

    // The first split of the regular points, straight into order: they are
    // every index but the special ones (listed in ascending order behind
    // them), so they are visited by counting, and order needs no copy.
    void SplitRegular(Index* order, std::size_t regular, std::uint64_t mask) {
        const std::size_t n = cloud_.Size();
        const Index* specials = order + regular;
        const std::size_t specialCount = n - regular;
        const auto visit = [n, specials, specialCount](auto&& f) {
            std::size_t s = 0;
            for (std::size_t i = 0; i < n; ++i) {
                if (s < specialCount && specials[s] == i) {
                    ++s;
                    continue;
                }
                f(static_cast<Index>(i));
            }
        };
        const std::vector<std::size_t> count = Split(visit, regular, mask, order);
        SortBuckets(order, count, 0, true);
    }

    // One stable counting pass over the n indices that visit(f) hands to f,
    // into out, on the highest differing digit; returns the buckets' bounds.
    template <typename Visit>
    std::vector<std::size_t> Split(const Visit& visit, std::size_t n, std::uint64_t mask, Index* out) {
        int shift = 0;
        int bits = 0;
        // About a thousand keys a bucket, so that most fit the cache at
        // once. Only the buckets of differing bits fill: their write streams
        // stay few enough for the cache however wide the digit.
        ChooseDigit(mask, DigitFor(n, 10, kWideDigitBits - 4), kWideDigitBits, shift, bits);
        const std::size_t buckets = std::size_t{1} << bits;
        const std::uint64_t digit = buckets - 1;
        const std::uint64_t* keys = keys_.get();
        std::vector<std::size_t> count(buckets + 1);
        visit([&](Index index) { ++count[((keys[index] >> shift) & digit) + 1]; });
        for (std::size_t b = 1; b <= buckets; ++b) count[b] += count[b - 1];
        std::vector<std::size_t> next(count.begin(), count.end() - 1);
        visit([&](Index index) { out[next[(keys[index] >> shift) & digit]++] = index; });
        return count;
    }

    void SortBuckets(Index* order, const std::vector<std::size_t>& count, int depth, bool refine) {
        for (std::size_t b = 0; b + 1 < count.size(); ++b) {
            SortRange(order + count[b], count[b + 1] - count[b], depth, refine);
        }
    }

    // Sorts a range that fits in cache: its keys are gathered next to their
    // indices, sorted there and the indices written back. Returns whether
    // any two keys are equal.
    bool SortInCache(Index* order, std::size_t n) {
        if (entries_.size() < 2 * n) entries_.resize(std::max(2 * n, std::min(2 * kCacheRange, 4 * n)));
        Entry<Index>* entries = entries_.data();
        for (std::size_t i = 0; i < n; ++i) {
            // The keys lie anywhere in memory; fetch ahead of the loads.
            if (i + 16 < n) __builtin_prefetch(&keys_[order[i + 16]]);
            entries[i] = {keys_[order[i]], order[i]};
        }
        RadixSortEntries(entries, entries + n, n);
        bool equal = false;
        order[0] = entries[0].index;
        for (std::size_t i = 1; i < n; ++i) {
            order[i] = entries[i].index;
            equal = equal | (entries[i].key == entries[i - 1].key);
        }
        return equal;
    }

    // Orders each run of equal keys in order[0, n).
    void RefineRuns(Index* order, std::size_t n, int depth) {
        for (std::size_t begin = 0; begin < n;) {
            const std::uint64_t key = keys_[order[begin]];
            std::size_t end = begin + 1;
            while (end < n && keys_[order[end]] == key) ++end;
            if (end - begin > 1) Refine(order + begin, end - begin, depth);
            begin = end;
        }
    }

    // Orders n regular points that share a key and are in index order. A key
    // of their own box goes deeper than the one they share: their bits above
    // its top are all equal, and every round splits the group. The new keys
    // replace the old ones of these points only, so the runs still to be
    // refined keep theirs.
    void Refine(Index* order, std::size_t n, int depth) {
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
            keys_[order[i]] = key(v);
        }
        SortRange(order, n, depth + 1, true);
    }

    const Cloud<T>& cloud_;
    IndexLess<T> less_;
    Buffer<std::uint64_t> keys_;  // by point index
    Buffer<Index> spread_;        // counting passes over large ranges after the first
    std::vector<Entry<Index>> entries_;      // ranges sorted in cache
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
    Buffer<std::uint32_t> order(n);
    ZOrder(cloud, order.get());
    return std::vector<std::size_t>(order.get(), order.get() + n);
}

// Copies points[order[i]] to out[i - first] for i in [first, last); the
// points lie anywhere, so each is fetched a few loads ahead.
template <typename P, typename Index>
void Gather(const P* points, const Index* order, std::size_t first, std::size_t last, P* out) {
    constexpr std::size_t kAhead = 16;
    for (std::size_t i = first; i < last; ++i) {
        if (i + kAhead < last) __builtin_prefetch(points + order[i + kAhead]);
        out[i - first] = points[order[i]];
    }
}

// Moves points[order[i]] to points[i] for every i, in place, through a
// buffer of half the points (order is used up):
//   1. the first half of the result is gathered into the buffer;
//   2. the points of the second half that still lie in the first half move
//      to places of the second half whose points went to the buffer (there
//      are exactly as many of those), and order follows them;
//   3. the buffer becomes the first half;
//   4. the second half, now all from the second half, is gathered through
//      the buffer.
template <typename P, typename Index>
void Permute(P* points, Index* order, std::size_t n) {
    const std::size_t half = n / 2;
    Buffer<P> buffer(n - half);
    Gather(points, order, 0, half, buffer.get());
    std::size_t freed = 0;  // scans order[0, half) for places in the second half
    for (std::size_t i = half; i < n; ++i) {
        if (order[i] >= half) continue;
        while (order[freed] < half) ++freed;
        const Index place = order[freed++];
        points[place] = points[order[i]];
        order[i] = place;
    }
    std::copy(buffer.get(), buffer.get() + half, points);
    Gather(points, order, half, n, buffer.get());
    std::copy(buffer.get(), buffer.get() + (n - half), points + half);
}

template <typename T>
void SortInPlace(tBaseXYZPoint<T>* points, std::size_t n) {
    if (n < 2) return;
    if (points == nullptr) throw std::invalid_argument("SortZOrder: no points");
    const Cloud<T> cloud(points, n, sizeof(tBaseXYZPoint<T>));
    if (n >= UINT32_MAX) {
        Buffer<std::size_t> order(n);
        ZOrder(cloud, order.get());
        Permute(points, order.get(), n);
        return;
    }
    Buffer<std::uint32_t> order(n);
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
