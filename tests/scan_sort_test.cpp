// The scan module's Z-order sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "scan_errors.h"
#include "temp_dir.h"

#include "zorder_sort.h"

namespace lxscan {
namespace {

// Points with zero, negative, tiny, huge, repeated and nearly equal
// coordinates (below the key's resolution).
PointArray AwkwardPoints(std::size_t n, unsigned seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> uniform(-8.0, 8.0);
    PointArray points;
    for (std::size_t i = 0; i < n; ++i) {
        double c[3];
        for (double& v : c) {
            switch (random() % 8) {
                case 0: v = 0.0; break;
                case 1: v = std::ldexp(uniform(random), -40); break;
                case 2: v = 7.0 + std::ldexp(static_cast<double>(random() % 4), -30); break;
                default: v = uniform(random);
            }
        }
        ScanPoint p;
        p.position = lxbase::tBaseXYZPoint<double>(c[0], c[1], c[2]);
        p.attributes.colourWord = static_cast<std::uint32_t>(i);
        points.push_back(p);
        if (random() % 10 == 0) points.push_back(p);
    }
    return points;
}

TEST(Sorting, KeyOrderAgreesWithOperatorLessForPointsWithoutZeros) {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> uniform(-100.0, 100.0);
    Box box;  // b strays up to 200 from the origin
    for (int axis = 0; axis < 3; ++axis) box.min[axis] = -200, box.max[axis] = 200;
    const ZOrderKey key(box);
    for (int i = 0; i < 200000; ++i) {
        lxbase::tBaseXYZPoint<double> a(uniform(random), uniform(random), uniform(random));
        lxbase::tBaseXYZPoint<double> b = a;
        const std::size_t axis = random() % 3;
        b[axis] += std::ldexp(uniform(random), -static_cast<int>(random() % 12));
        if (random() % 4 == 0) b[random() % 3] *= -1.0;  // sign differences decide first
        if (key(a) == key(b)) continue;
        ASSERT_EQ(key(a) < key(b), a < b) << i;
    }
}

TEST(Sorting, OrderMatchesAStableSortByOperatorLess) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const PointArray points = AwkwardPoints(3000, seed);
        SortStats stats;
        const Order order = SortZOrder(points, stats, nullptr);
        ASSERT_EQ(order.size(), points.size());
        EXPECT_GT(stats.zeroPoints, 0u);
        EXPECT_GT(stats.equalKeyGroups, 0u);
        EXPECT_FALSE(stats.fullMerge) << "the key and the zero-point merge leave nothing to repair";
        EXPECT_EQ(FirstZOrderBreak(points, order.data(), order.size()), order.size());
        std::vector<bool> seen(points.size());
        for (std::uint32_t i : order) seen.at(i) = true;
        EXPECT_EQ(std::count(seen.begin(), seen.end(), true), static_cast<long>(points.size()));

        // Without zero coordinates operator< is a strict weak order, and the
        // positions must come out as the plain sort puts them.
        PointArray nonZero;
        for (const ScanPoint& p : points)
            if (p.position.x != 0 && p.position.y != 0 && p.position.z != 0) nonZero.push_back(p);
        const Order fast = SortZOrder(nonZero, stats, nullptr);
        EXPECT_FALSE(stats.fullMerge);
        PointArray reference = nonZero;
        std::stable_sort(reference.begin(), reference.end(),
                         [](const ScanPoint& a, const ScanPoint& b) { return a.position < b.position; });
        for (std::size_t i = 0; i < reference.size(); ++i)
            ASSERT_TRUE(nonZero[fast[i]].position == reference[i].position) << i;
    }
}

TEST(Sorting, DenseScansFarFromTheOriginAreKeyedWithinTheirGroups) {
    // Map coordinates, points centimetres apart, x straddling 2^19: one key
    // for the whole scan resolves only 1 m, leaving two groups of 10000.
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> metres(0.0, 0.5);
    PointArray points;
    for (int i = 0; i < 20000; ++i) {
        ScanPoint p;
        p.position = lxbase::tBaseXYZPoint<double>(524287.75 + metres(random), 5401000.0 + metres(random),
                                                   300.0 + metres(random));
        points.push_back(p);
    }
    SortStats stats;
    const Order order = SortZOrder(points, stats, nullptr);
    EXPECT_LE(stats.largestGroup, 16u);
    EXPECT_FALSE(stats.fullMerge);
    PointArray reference = points;
    std::stable_sort(reference.begin(), reference.end(),
                     [](const ScanPoint& a, const ScanPoint& b) { return a.position < b.position; });
    for (std::size_t i = 0; i < reference.size(); ++i) ASSERT_TRUE(points[order[i]].position == reference[i].position);
}

TEST(Sorting, KeyKeepsTheTopBitsOfHugeAndTinyCoordinates) {
    for (double scale : {0x1p1019, 0x1p-1060}) {
        PointArray points;
        std::mt19937_64 random(5);
        std::uniform_real_distribution<double> unit(1.0, 15.0);
        for (int i = 0; i < 3000; ++i) {
            ScanPoint p;
            p.position = lxbase::tBaseXYZPoint<double>(unit(random) * scale, unit(random) * scale, unit(random) * scale);
            points.push_back(p);
        }
        SortStats stats;
        const Order order = SortZOrder(points, stats, nullptr);
        EXPECT_FALSE(stats.fullMerge) << scale;
        EXPECT_EQ(FirstZOrderBreak(points, order.data(), order.size()), order.size()) << scale;
    }
}

}  // namespace
}  // namespace lxscan
