#include <gtest/gtest.h>

#include "bit_patterns.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <numeric>
#include <random>
#include <stdexcept>
#include <vector>

#include "lxbase/zorder.h"

using lxbase::tBaseXYZPoint;

namespace {

template <typename T>
using Cloud = std::vector<tBaseXYZPoint<T>>;

template <typename T>
bool SameBits(const tBaseXYZPoint<T>& a, const tBaseXYZPoint<T>& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// The properties every result must have, on any input: a permutation given
// by `order`, with the points in place as `sorted`, and no neighbour less
// than the one before it.
template <typename T>
void ExpectValidOrder(const Cloud<T>& input, const std::vector<std::size_t>& order, const Cloud<T>& sorted,
                      const char* what) {
    ASSERT_EQ(order.size(), input.size()) << what;
    std::vector<bool> seen(input.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        ASSERT_LT(order[i], input.size()) << what;
        ASSERT_FALSE(seen[order[i]]) << what << ": index " << order[i] << " twice";
        seen[order[i]] = true;
        ASSERT_TRUE(SameBits(sorted[i], input[order[i]])) << what << ": in-place and permutation differ at " << i;
        if (i > 0) {
            ASSERT_FALSE(input[order[i]] < input[order[i - 1]]) << what << ": inversion at " << i;
        }
    }
}

// Runs every form of the sort on the cloud and checks the properties; with
// `transitive`, also that the order is std::stable_sort's. Returns the order.
template <typename T>
std::vector<std::size_t> CheckSort(const Cloud<T>& input, bool transitive, const char* what) {
    const std::vector<std::size_t> order = lxbase::ZOrderPermutation(input.data(), input.size());
    Cloud<T> sorted = input;
    lxbase::SortZOrder(sorted.data(), sorted.size());
    ExpectValidOrder(input, order, sorted, what);
    EXPECT_EQ(lxbase::ZOrderPermutation(input.data(), input.size()), order) << what << ": not deterministic";
    if (transitive) {
        std::vector<std::size_t> reference(input.size());
        std::iota(reference.begin(), reference.end(), std::size_t{0});
        std::stable_sort(reference.begin(), reference.end(),
                         [&](std::size_t a, std::size_t b) { return input[a] < input[b]; });
        EXPECT_EQ(order, reference) << what << ": not the stable sort's order";
    }
    return order;
}

template <typename T>
T Pick(std::mt19937_64& random, const std::vector<T>& values) {
    return values[random() % values.size()];
}

// A cloud with duplicates: each point is repeated now and then, some of the
// copies far away in the input, so stability is seen.
template <typename T>
Cloud<T> WithDuplicates(std::mt19937_64& random, std::size_t n, const std::function<T()>& coordinate) {
    Cloud<T> cloud;
    while (cloud.size() < n) {
        if (!cloud.empty() && random() % 8 == 0) {
            cloud.push_back(cloud[random() % cloud.size()]);
        } else {
            cloud.emplace_back(coordinate(), coordinate(), coordinate());
        }
    }
    return cloud;
}

// Coordinates of one sign or both, none of them zero, infinite or NaN: on
// such points operator< is a strict weak order.
template <typename T>
std::vector<std::pair<const char*, std::function<T()>>> TransitiveSources(std::mt19937_64& random) {
    auto uniform = [&random](double lo, double hi) {
        return [&random, lo, hi]() {
            for (;;) {
                const T v = static_cast<T>(std::uniform_real_distribution<double>(lo, hi)(random));
                if (v != 0) return v;
            }
        };
    };
    return {
        {"positive", uniform(0.001, 100.0)},
        {"both signs", uniform(-50.0, 50.0)},
        {"negative", uniform(-1e6, -1e-6)},
        {"map coordinates across 2^19",
         [&random]() { return static_cast<T>(524288.0 + std::uniform_real_distribution<double>(-4, 4)(random)); }},
        {"clusters tighter than a key",
         [&random]() {
             // Three clusters, each of values a few units in the last
             // place apart.
             const T centre = static_cast<T>(Pick<double>(random, {1.0, -3.0, 1000.5}));
             T v = centre;
             for (std::uint64_t k = random() % 6; k > 0; --k) v = std::nextafter(v, T(1e30));
             return v;
         }},
        {"exponents 2^-600 to 2^600 (double), whole range (float)",
         [&random]() {
             const int range = sizeof(T) == 8 ? 600 : 120;
             const int e = static_cast<int>(random() % (2 * range + 1)) - range;
             const T v = static_cast<T>(std::ldexp(1.0 + (random() % 1024) / 1024.0, e));
             return random() % 3 == 0 ? -v : v;
         }},
        {"denormals",
         [&random]() {
             const T tiny = std::numeric_limits<T>::denorm_min();
             const T v = tiny * static_cast<T>(1 + random() % 4000);
             return random() % 2 == 0 ? -v : v;
         }},
        {"few distinct values",
         [&random]() { return static_cast<T>(Pick<double>(random, {0.5, 0.75, -2.0, 3.0, 1e-3})); }},
    };
}

template <typename T>
void CheckTransitiveClouds(std::size_t n) {
    std::mt19937_64 random(12);
    for (const auto& source : TransitiveSources<T>(random)) {
        Cloud<T> cloud = WithDuplicates<T>(random, n, source.second);
        const std::vector<std::size_t> order = CheckSort(cloud, true, source.first);
        // Sorted input, then reversed input.
        Cloud<T> sorted(cloud.size());
        for (std::size_t i = 0; i < order.size(); ++i) sorted[i] = cloud[order[i]];
        CheckSort(sorted, true, source.first);
        std::reverse(sorted.begin(), sorted.end());
        CheckSort(sorted, true, source.first);
    }
}

TEST(ZOrderSort, EqualsTheStableSortWhereOperatorLessIsTransitive) {
    CheckTransitiveClouds<double>(6000);
    CheckTransitiveClouds<float>(6000);
}

TEST(ZOrderSort, ZerosOnAnAxisOfOneValueAreHarmless) {
    // A plane z = 0 (with -0.0 too), and a line on x: only the other axes
    // decide, and operator< is transitive there.
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> coordinate(-10.0, 10.0);
    Cloud<double> plane;
    Cloud<double> line;
    for (int i = 0; i < 20000; ++i) {
        plane.emplace_back(coordinate(random), coordinate(random), random() % 2 == 0 ? 0.0 : -0.0);
        line.emplace_back(0.0, 7.5, coordinate(random));
        if (i % 5 == 0) plane.push_back(plane[random() % plane.size()]);
    }
    CheckSort(plane, true, "plane z = 0");
    CheckSort(line, true, "line on z");
    Cloud<float> planeFloat;
    for (const auto& p : plane) planeFloat.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y), p.z);
    CheckSort(planeFloat, true, "float plane z = 0");
}

// Coordinates where operator< is not transitive: zeros of both signs next
// to other values, infinities, NaNs, denormals, values of both signs.
template <typename T>
Cloud<T> AdversarialCloud(std::mt19937_64& random, std::size_t n, int zeroPercent) {
    const T inf = std::numeric_limits<T>::infinity();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    const T tiny = std::numeric_limits<T>::denorm_min();
    const std::vector<T> odd = {T(0), T(-0.0), inf, -inf, nan, tiny, -tiny, T(0.5), T(0.25), T(0.75), T(1), T(-0.5)};
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    return WithDuplicates<T>(random, n, [&]() {
        const int roll = static_cast<int>(random() % 100);
        if (roll < zeroPercent) return random() % 2 == 0 ? T(0) : T(-0.0);
        if (roll < zeroPercent + 10) return Pick(random, odd);
        return static_cast<T>(uniform(random));
    });
}

template <typename T>
void CheckAdversarialClouds() {
    std::mt19937_64 random(99);
    for (int zeroPercent : {1, 20, 60}) {
        for (std::size_t n : {2, 3, 17, 300, 9000}) {
            const Cloud<T> cloud = AdversarialCloud<T>(random, n, zeroPercent);
            const std::vector<std::size_t> order = CheckSort(cloud, false, "adversarial");
            Cloud<T> sorted(cloud.size());
            for (std::size_t i = 0; i < order.size(); ++i) sorted[i] = cloud[order[i]];
            CheckSort(sorted, false, "adversarial, sorted");
            std::reverse(sorted.begin(), sorted.end());
            CheckSort(sorted, false, "adversarial, reversed");
        }
    }
}

TEST(ZOrderSort, NoNeighbourIsLessThanTheOneBeforeOnAnyCloud) {
    CheckAdversarialClouds<double>();
    CheckAdversarialClouds<float>();
}

TEST(ZOrderSort, ScanAroundItsOriginWithPointsOnTheAxisPlanes) {
    // Most points regular, a few with a zero coordinate: the zeros are
    // merged into the keyed order.
    std::mt19937_64 random(8);
    std::uniform_real_distribution<double> coordinate(-30.0, 30.0);
    Cloud<double> cloud;
    for (int i = 0; i < 30000; ++i) {
        tBaseXYZPoint<double> p(coordinate(random), coordinate(random), coordinate(random) / 8);
        if (i % 97 == 0) p[random() % 3] = 0.0;
        if (i % 389 == 0) p[random() % 3] = -0.0;
        cloud.push_back(p);
    }
    CheckSort(cloud, false, "scan with zeros");
    // Almost all points special: a plane with a few points off it.
    for (tBaseXYZPoint<double>& p : cloud) p.z = (random() % 500 == 0) ? coordinate(random) : 0.0;
    CheckSort(cloud, false, "plane with a few points off it");
}

TEST(ZOrderSort, SmallCasesFromTheDefinition) {
    using P = tBaseXYZPoint<double>;
    // Neither is less: the input order stays.
    Cloud<double> equal = {P(0.0, 1, 2), P(-0.0, 1, 2)};
    EXPECT_EQ(lxbase::ZOrderPermutation(equal.data(), 2), (std::vector<std::size_t>{0, 1}));
    Cloud<double> pairs = {P(1, 5, 0), P(2, 0, 0), P(3, 0, 0), P(2, 1, 0), P(0, 0.5, 0), P(0.75, 0, 0),
                           P(0, 1, 0), P(1, 0, 0), P(0, 1, -1)};
    CheckSort(pairs, false, "small");
    // (2, 1, 1) < (1, 5, 1): the second coordinate differs at a higher level.
    Cloud<double> levels = {P(1, 5, 1), P(2, 1, 1), P(-1, 5, 1), P(2, 1, 1)};
    EXPECT_EQ(CheckSort(levels, true, "levels"), (std::vector<std::size_t>{2, 1, 3, 0}));
    Cloud<double> none;
    EXPECT_TRUE(lxbase::ZOrderPermutation(none.data(), 0).empty());
    lxbase::SortZOrder(none.data(), 0);
    Cloud<float> one = {tBaseXYZPoint<float>(1, 2, 3)};
    lxbase::SortZOrder(one.data(), 1);
    EXPECT_EQ(lxbase::ZOrderPermutation(one.data(), 1), std::vector<std::size_t>{0});
}

TEST(ZOrderSort, StridedFormReadsPointsInsideRecords) {
    struct Record {
        tBaseXYZPoint<double> position;
        double payload;
    };
    std::mt19937_64 random(3);
    const Cloud<double> cloud = AdversarialCloud<double>(random, 5000, 10);
    std::vector<Record> records;
    for (const auto& p : cloud) records.push_back({p, -1.0});
    EXPECT_EQ(lxbase::ZOrderPermutation(&records[0].position, records.size(), sizeof(Record)),
              lxbase::ZOrderPermutation(cloud.data(), cloud.size()));
    // The 32-bit form gives the same order into the caller's array, float too.
    std::vector<std::uint32_t> narrow(records.size() + 1, 0xDEADBEEFu);
    lxbase::ZOrderPermutation(&records[0].position, records.size(), sizeof(Record), narrow.data());
    EXPECT_EQ(std::vector<std::size_t>(narrow.begin(), narrow.end() - 1),
              lxbase::ZOrderPermutation(cloud.data(), cloud.size()));
    EXPECT_EQ(narrow.back(), 0xDEADBEEFu) << "wrote past n";
    Cloud<float> floats;
    for (const auto& p : cloud)
        floats.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z));
    lxbase::ZOrderPermutation(floats.data(), floats.size(), sizeof floats[0], narrow.data());
    EXPECT_EQ(std::vector<std::size_t>(narrow.begin(), narrow.end() - 1),
              lxbase::ZOrderPermutation(floats.data(), floats.size()));
    EXPECT_THROW(lxbase::ZOrderPermutation(&records[0].position, 3, sizeof(Record), nullptr), std::invalid_argument);
    EXPECT_THROW(lxbase::ZOrderPermutation(&records[0].position, records.size(), 16), std::invalid_argument);
    EXPECT_THROW(lxbase::ZOrderPermutation(&records[0].position, records.size(), 33), std::invalid_argument);
    EXPECT_THROW(lxbase::ZOrderPermutation(static_cast<const tBaseXYZPoint<double>*>(nullptr), 3),
                 std::invalid_argument);
}

TEST(ZOrderSort, CloudsLargerThanTheCacheSplitFirst) {
    // Beyond some tens of thousands of points the keys are split into
    // buckets before they are sorted in cache; equal keys, clusters and
    // special points then meet the splitting passes.
    CheckTransitiveClouds<double>(80000);
    std::mt19937_64 random(8);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    Cloud<double> cloud;
    for (int i = 0; i < 120000; ++i) {
        // A dense cluster that fills one bucket of the first split, inside
        // a sparse cloud, with zeros now and then.
        const double scale = i % 2 == 0 ? 1e-9 : 100.0;
        cloud.emplace_back(7 + scale * unit(random), 7 + scale * unit(random), 7 + scale * unit(random));
    }
    CheckSort(cloud, true, "dense cluster in a sparse cloud");
    for (std::size_t i = 0; i < cloud.size(); i += 97) cloud[i].y = 0.0;
    CheckSort(cloud, false, "dense cluster with zeros");
}

TEST(ZOrderSort, HeavyMillionsOfPoints) {
    // Deep radix recursion, the blocked in-place permutation, and groups of
    // equal keys at scale.
    std::mt19937_64 random(21);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Cloud<double> cloud;
    for (int i = 0; i < 2000000; ++i) {
        const double u = unit(random);
        cloud.emplace_back(512000 + 80 * u, 5405000 + 60 * unit(random), 310 + 0.01 * unit(random));
    }
    CheckSort(cloud, true, "map surface");
    for (auto& p : cloud) p = tBaseXYZPoint<double>(p.x - 512040, p.y - 5405030, (random() % 1000 == 0) ? 0.0 : p.z);
    CheckSort(cloud, false, "around the origin, with zeros");
}

}  // namespace
