#include "zorder_sort.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "progress.h"

namespace lxscan {

namespace {

constexpr int kFixedBits = 20;
constexpr std::uint32_t kFixedMax = (std::uint32_t{1} << kFixedBits) - 1;

// Moves bit k of v to bit 3k (v below 2^21).
std::uint64_t Spread3(std::uint64_t v) {
    v = (v | v << 32) & 0x1F00000000FFFFull;
    v = (v | v << 16) & 0x1F0000FF0000FFull;
    v = (v | v << 8) & 0x100F00F00F00F00Full;
    v = (v | v << 4) & 0x10C30C30C30C30C3ull;
    v = (v | v << 2) & 0x1249249249249249ull;
    return v;
}

// operator< on the points that two indices name.
struct IndexLess {
    const ScanPoint* points;
    bool operator()(std::uint32_t a, std::uint32_t b) const { return points[a].position < points[b].position; }
};

// End of the ordered run that starts at `begin`.
std::size_t RunEnd(IndexLess less, const std::uint32_t* order, std::size_t begin, std::size_t n) {
    std::size_t end = begin + 1;
    while (end < n && !less(order[end], order[end - 1])) ++end;
    return end;
}

// Stable merge of [left, middle) and [middle, right) into out.
void Merge(IndexLess less, const std::uint32_t* left, const std::uint32_t* middle, const std::uint32_t* right,
           std::uint32_t* out) {
    const std::uint32_t* second = middle;
    while (left != middle && second != right) *out++ = less(*second, *left) ? *second++ : *left++;
    out = std::copy(left, middle, out);
    std::copy(second, right, out);
}

// Sorts keys[0, n) and moves order along, by insertion.
void InsertionSort(std::uint64_t* keys, std::uint32_t* order, std::size_t n) {
    for (std::size_t i = 1; i < n; ++i) {
        const std::uint64_t key = keys[i];
        const std::uint32_t index = order[i];
        std::size_t j = i;
        for (; j > 0 && key < keys[j - 1]; --j) {
            keys[j] = keys[j - 1];
            order[j] = order[j - 1];
        }
        keys[j] = key;
        order[j] = index;
    }
}

// Most-significant-digit radix sort in place (American flag sort) of
// keys[0, n), moving order along: 11-bit digits from `shift` down, each range
// permuted into its buckets along cycles, then every bucket by the next digit.
// It needs no second array, so no fresh memory beyond the keys.
void RadixSort(std::uint64_t* keys, std::uint32_t* order, std::size_t n, int shift) {
    constexpr int kDigitBits = 11;
    constexpr std::size_t kBuckets = std::size_t{1} << kDigitBits;
    for (;;) {
        if (n <= 64) {
            InsertionSort(keys, order, n);
            return;
        }
        std::uint32_t count[kBuckets] = {};
        for (std::size_t i = 0; i < n; ++i) ++count[(keys[i] >> shift) & (kBuckets - 1)];
        if (std::find(count, count + kBuckets, n) == count + kBuckets) break;
        if (shift == 0) return;  // all keys equal
        shift = std::max(shift - kDigitBits, 0);  // one bucket: go on with the next digit
    }
    std::uint32_t count[kBuckets] = {};
    for (std::size_t i = 0; i < n; ++i) ++count[(keys[i] >> shift) & (kBuckets - 1)];
    std::uint32_t next[kBuckets], end[kBuckets];
    std::uint32_t offset = 0;
    for (std::size_t b = 0; b < kBuckets; ++b) {
        next[b] = offset;
        offset += count[b];
        end[b] = offset;
    }
    for (std::size_t b = 0; b < kBuckets; ++b) {
        while (next[b] < end[b]) {
            std::uint64_t key = keys[next[b]];
            std::uint32_t index = order[next[b]];
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
    if (shift == 0) return;
    const int lower = std::max(shift - kDigitBits, 0);
    for (std::size_t b = 0, begin = 0; b < kBuckets; begin += count[b++])
        if (count[b] > 1) RadixSort(keys + begin, order + begin, count[b], lower);
}

// Bit 63, unused by the key, marks the points with a zero coordinate, whose
// keys tell nothing about operator<.
constexpr std::uint64_t kZeroBit = std::uint64_t{1} << 63;

// Merges the ordered ranges [0, middle) and [middle, n) in place, through a
// copy of the second one; stable, and bounded whatever the comparison says.
// keys[0, n) move along with the order; the second range's are kZeroBit.
// (A binary search for each point of the short second range would compare
// far less, but with zero coordinates operator< is not transitive, and only
// this step-by-step merge gives the order the program has always written.)
void MergeTail(IndexLess less, std::uint32_t* order, std::uint64_t* keys, std::size_t middle, std::size_t n,
               Order& scratch) {
    scratch.assign(order + middle, order + n);
    std::size_t left = middle, right = scratch.size(), out = n;
    while (right != 0) {
        --out;
        if (left != 0 && less(scratch[right - 1], order[left - 1])) {
            order[out] = order[--left];
            keys[out] = keys[left];
        } else {
            order[out] = scratch[--right];
            keys[out] = kZeroBit;
        }
    }
}

// FirstZOrderBreak for an order whose keys[i] belong to the point at
// order[i]: where two points without a zero coordinate have increasing
// keys, the key order is operator<'s order, so operator< is asked only
// where the keys cannot tell (equal keys, zero coordinates, a decrease).
std::size_t FirstKeyedBreak(const PointArray& points, const std::uint32_t* order, const std::uint64_t* keys,
                            std::size_t n) {
    const IndexLess less{points.data()};
    for (std::size_t i = 1; i < n; ++i) {
        const std::uint64_t before = keys[i - 1], key = keys[i];
        if (((before | key) & kZeroBit) == 0 && before < key) continue;
        if (less(order[i], order[i - 1])) return i;
    }
    return n;
}

bool HasZero(const lxbase::tBaseXYZPoint<double>& p) { return p.x == 0.0 || p.y == 0.0 || p.z == 0.0; }

// frexp's exponent e, with |v| < 2^e (0 for 0).
int Exponent(double v) {
    int e = 0;
    std::frexp(v, &e);
    return e;
}

// The highest binary level at which two values of one axis differ, counted
// like frexp's exponents (the level of a bit of weight 2^(k-1) is k);
// kNoLevel when they are equal. Values of both signs differ in all levels
// below the larger magnitude's exponent.
constexpr int kNoLevel = -100000;

int DifferingLevel(double low, double high) {
    if (low == high) return kNoLevel;
    if (low < 0.0 && !(high < 0.0)) return std::max(Exponent(low), Exponent(high));
    int ea = 0, eb = 0;
    const double ma = std::frexp(std::fabs(low), &ea), mb = std::frexp(std::fabs(high), &eb);
    if (ea != eb || ma == 0.0 || mb == 0.0) return std::max(ea, eb);
    // Same exponent: the first differing bit of the significands, found in
    // their bit patterns (their difference could borrow it away): the
    // exclusive-or, read with the exponent of 0.5, less 0.5.
    std::uint64_t pa, pb;
    std::memcpy(&pa, &ma, 8);
    std::memcpy(&pb, &mb, 8);
    const std::uint64_t pattern = (pa ^ pb) | 0x3FE0000000000000ull;
    double differing;
    std::memcpy(&differing, &pattern, 8);
    return ea + Exponent(differing - 0.5);
}

}  // namespace

ZOrderKey::ZOrderKey(const Box& box) {
    int level = kNoLevel;
    for (int axis = 0; axis < 3; ++axis) level = std::max(level, DifferingLevel(box.min[axis], box.max[axis]));
    if (level == kNoLevel) level = 0;  // all points alike
    // Levels run from 1024 down to -1073, so the scale from 2^-1004 (a
    // normal double) up; beyond 2^1000 it stops, where only values that
    // differ in subnormal bits would need it (they share a key, and their
    // groups fall to operator<).
    scale_ = std::ldexp(1.0, std::min(kFixedBits - level, 1000));
}

std::uint32_t ZOrderKey::Fixed(double value) const {
    // The bits at or above the top level are the same for all values of the
    // axis (they lie in one box), so only the 20 bits below it are kept:
    // fmod is exact, and the power-of-two scale too. An axis whose values
    // are all equal may overflow the scale; its bits do not matter.
    const double scaled = std::fabs(value) * scale_;
    std::uint32_t magnitude = 0;
    if (scaled < 0x1p63) magnitude = static_cast<std::uint64_t>(scaled) & kFixedMax;
    else if (std::isfinite(scaled)) magnitude = static_cast<std::uint32_t>(std::fmod(scaled, double(kFixedMax) + 1.0));
    return value < 0.0 ? kFixedMax - magnitude : magnitude;
}

std::uint64_t ZOrderKey::operator()(const lxbase::tBaseXYZPoint<double>& p) const {
    // A sign difference on x decides before anything else, then one on y,
    // then on z; -0.0 counts as non-negative.
    const std::uint64_t signs = (std::uint64_t{!(p.x < 0.0)} << 62) | (std::uint64_t{!(p.y < 0.0)} << 61) |
                                (std::uint64_t{!(p.z < 0.0)} << 60);
    return signs | Spread3(Fixed(p.x)) << 2 | Spread3(Fixed(p.y)) << 1 | Spread3(Fixed(p.z));
}

std::size_t FirstZOrderBreak(const PointArray& points, const std::uint32_t* order, std::size_t n) {
    const IndexLess less{points.data()};
    for (std::size_t i = 1; i < n; ++i)
        if (less(order[i], order[i - 1])) return i;
    return n;
}

void MergeSortZOrder(const PointArray& points, std::uint32_t* order, std::size_t n, Order& scratch) {
    if (FirstZOrderBreak(points, order, n) >= n) return;
    const IndexLess less{points.data()};
    if (scratch.size() < n) scratch.resize(n);
    std::uint32_t* from = order;
    std::uint32_t* to = scratch.data();
    for (;;) {
        std::size_t outputs = 0;
        for (std::size_t begin = 0; begin < n; ++outputs) {
            const std::size_t middle = RunEnd(less, from, begin, n);
            const std::size_t end = middle < n ? RunEnd(less, from, middle, n) : n;
            Merge(less, from + begin, from + middle, from + end, to + begin);
            begin = end;
        }
        std::swap(from, to);
        if (outputs == 1) break;
    }
    if (from != order) std::copy(from, from + n, order);
}

namespace {

// Orders points without zero coordinates that share a key. A group lies in
// a box of its own, much smaller than the whole scan's: a key of that box
// tells its points apart where the first one could not (e.g. when the scan
// straddles a power of two, whose bits all points share below it). Small
// groups, and groups that even their own key cannot split, are ordered by
// operator< alone. Each level of refinement goes 20 binary levels deeper.
void SortGroup(const PointArray& points, std::uint32_t* order, std::size_t n, Order& scratch, SortStats& stats) {
    constexpr std::size_t kSmall = 16;
    if (n > kSmall) {
        Box box;
        for (std::size_t i = 0; i < n; ++i) ExtendBox(box, points[order[i]].position, i == 0);
        const ZOrderKey key(box);
        std::vector<std::pair<std::uint64_t, std::uint32_t>> keyed(n);
        for (std::size_t i = 0; i < n; ++i) keyed[i] = {key(points[order[i]].position), order[i]};
        std::sort(keyed.begin(), keyed.end());
        if (keyed.front().first != keyed.back().first) {
            for (std::size_t i = 0; i < n; ++i) order[i] = keyed[i].second;
            for (std::size_t begin = 0; begin < n;) {
                std::size_t end = begin + 1;
                while (end < n && keyed[end].first == keyed[begin].first) ++end;
                if (end - begin > 1) SortGroup(points, order + begin, end - begin, scratch, stats);
                begin = end;
            }
            return;
        }
    }
    MergeSortZOrder(points, order, n, scratch);
    ++stats.equalKeyGroups;
    stats.largestGroup = std::max<std::uint64_t>(stats.largestGroup, n);
}

}  // namespace

Order SortZOrder(const PointArray& points, SortStats& stats, Progress* progress) {
    stats = SortStats();
    const std::size_t n = points.size();
    Box box;
    for (std::size_t i = 0; i < n; ++i) ExtendBox(box, points[i].position, i == 0);
    const ZOrderKey key(box);
    // kZeroBit puts the points with a zero coordinate last.
    BigArray<std::uint64_t> keys(n);
    Order order(n);
    for (std::size_t i = 0; i < n; ++i) {
        keys[i] = key(points[i].position) | (HasZero(points[i].position) ? kZeroBit : 0);
        order[i] = static_cast<std::uint32_t>(i);
    }
    RadixSort(keys.data(), order.data(), n, 64 - 11);
    if (progress != nullptr) progress->Update(0.5);
    const std::size_t regular =
        static_cast<std::size_t>(std::partition_point(keys.begin(), keys.end(),
                                                      [](std::uint64_t k) { return (k & kZeroBit) == 0; }) -
                                 keys.begin());
    stats.zeroPoints = n - regular;

    // Points that share a key differ only below its resolution (or not at
    // all): each such group is ordered on its own.
    Order scratch;
    for (std::size_t begin = 0; begin < regular;) {
        std::size_t end = begin + 1;
        while (end < regular && keys[end] == keys[begin]) ++end;
        if (end - begin > 1) SortGroup(points, order.data() + begin, end - begin, scratch, stats);
        begin = end;
    }
    if (progress != nullptr) progress->Update(0.85);

    // The key order is a good start for the points with a zero coordinate.
    if (regular < n) {
        MergeSortZOrder(points, order.data() + regular, n - regular, scratch);
        MergeTail(IndexLess{points.data()}, order.data(), keys.data(), regular, n, scratch);
    }
    Order().swap(scratch);
    if (progress != nullptr) progress->Update(0.95);

    // A safety net: the steps above leave no pair out of order.
    const bool broken = FirstKeyedBreak(points, order.data(), keys.data(), n) < n;
    BigArray<std::uint64_t>().swap(keys);
    if (broken) {
        stats.fullMerge = true;
        MergeSortZOrder(points, order.data(), n, scratch);
    }
    return order;
}

}  // namespace lxscan
