// Geometry benchmarks: Z-order sorting against a lexicographic sort, frame
// propagation against Eigen's Isometry3d, and the polar/Cartesian conversions.
#include <benchmark/benchmark.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "lxbase/points.h"
#include "lxmath/frame.h"

namespace {

using Point = lxbase::tBaseXYZPoint<double>;
using Polar = lxbase::tBasePolarPoint<double>;

constexpr std::size_t kSortPoints = 1000000;
constexpr std::size_t kStreamPoints = 10000000;

std::vector<Point> RandomPoints(std::size_t n, double extent) {
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> coordinate(-extent, extent);
    std::vector<Point> points(n);
    for (Point& p : points) p = Point(coordinate(rng), coordinate(rng), coordinate(rng));
    return points;
}

template <typename Less>
void SortPoints(benchmark::State& state, Less less) {
    const std::vector<Point> source = RandomPoints(kSortPoints, 1000.0);
    std::vector<Point> points;
    for (auto _ : state) {
        state.PauseTiming();
        points = source;
        state.ResumeTiming();
        std::sort(points.begin(), points.end(), less);
        benchmark::DoNotOptimize(points.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kSortPoints));
}

void BM_SortZOrder(benchmark::State& state) {
    SortPoints(state, [](const Point& a, const Point& b) { return a < b; });
}

void BM_SortLexicographic(benchmark::State& state) {
    SortPoints(state, [](const Point& a, const Point& b) {
        if (a.x != b.x) return a.x < b.x;
        if (a.y != b.y) return a.y < b.y;
        return a.z < b.z;
    });
}

// A rigid pose: turned about a tilted axis, then moved.
lxmath::Frame Pose() {
    lxmath::Frame frame;
    frame.SetOrigin(lxmath::Vec3<double>(12.5, -3.25, 1.75));
    frame.Rotate(lxmath::Vec3<double>(0, 0, 0), lxmath::Vec3<double>(0.48, 0.6, 0.64), 0.83);
    return frame;
}

// Points as interleaved x y z doubles.
std::vector<double> Coordinates(std::size_t n) {
    const std::vector<Point> points = RandomPoints(n, 100.0);
    std::vector<double> xyz(3 * n);
    for (std::size_t i = 0; i < n; ++i) {
        xyz[3 * i] = points[i].x;
        xyz[3 * i + 1] = points[i].y;
        xyz[3 * i + 2] = points[i].z;
    }
    return xyz;
}

// The per-point mapping in a loop over n points (state.range(0)), mapped again each iteration.
void BM_FramePropagatePoint(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const lxmath::Frame frame = Pose();
    const std::vector<double> in = Coordinates(n);
    std::vector<double> out(3 * n);
    for (auto _ : state) {
        for (std::size_t i = 0; i < n; ++i) {
            const lxmath::Vec3<double> q =
                frame.PropagatePoint(lxmath::Vec3<double>(in[3 * i], in[3 * i + 1], in[3 * i + 2]));
            out[3 * i] = q[0];
            out[3 * i + 1] = q[1];
            out[3 * i + 2] = q[2];
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}

// An array form over n points (state.range(0)).
template <void (lxmath::Frame::*Map)(const double*, double*, std::size_t) const>
void BM_FrameArray(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const lxmath::Frame frame = Pose();
    const std::vector<double> in = Coordinates(n);
    std::vector<double> out(3 * n);
    for (auto _ : state) {
        (frame.*Map)(in.data(), out.data(), n);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}
void BM_FramePropagatePoints(benchmark::State& state) { BM_FrameArray<&lxmath::Frame::PropagatePoints>(state); }
void BM_FrameBackPropagatePoints(benchmark::State& state) {
    BM_FrameArray<&lxmath::Frame::BackPropagatePoints>(state);
}

// The same points through Eigen's Isometry3d, one Vector3d at a time.
void BM_EigenIsometryPoint(benchmark::State& state) {
    const std::size_t n = static_cast<std::size_t>(state.range(0));
    const lxmath::Frame frame = Pose();
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 4; ++c) pose.matrix()(r, c) = frame(r, c);
    }
    const std::vector<double> xyz = Coordinates(n);
    std::vector<Eigen::Vector3d> in(n), out(n);
    for (std::size_t i = 0; i < n; ++i) in[i] = Eigen::Vector3d(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]);
    for (auto _ : state) {
        for (std::size_t i = 0; i < n; ++i) out[i] = pose * in[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * n));
}

template <typename Target>
void BM_CartesianToPolar(benchmark::State& state) {
    const std::vector<Point> in = RandomPoints(kStreamPoints, 100.0);
    std::vector<lxbase::tBasePolarPoint<Target>> out(kStreamPoints);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kStreamPoints; ++i) out[i] = in[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kStreamPoints));
}

template <typename Target>
void BM_PolarToCartesian(benchmark::State& state) {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<Polar> in(kStreamPoints);
    for (Polar& p : in) p = Polar(100 * unit(rng), (2 * unit(rng) - 1) * M_PI, unit(rng) * M_PI);
    std::vector<lxbase::tBaseXYZPoint<Target>> out(kStreamPoints);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kStreamPoints; ++i) out[i] = in[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kStreamPoints));
}

}  // namespace

BENCHMARK(BM_SortZOrder)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortLexicographic)->Unit(benchmark::kMillisecond);
// 100 k points stay in the caches (arithmetic decides); 10 M do not (memory decides).
BENCHMARK(BM_FramePropagatePoint)->Arg(1000)->Arg(20000)->Arg(100000)->Arg(kStreamPoints)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FramePropagatePoints)->Arg(1000)->Arg(20000)->Arg(100000)->Arg(kStreamPoints)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FrameBackPropagatePoints)->Arg(1000)->Arg(20000)->Arg(100000)->Arg(kStreamPoints)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EigenIsometryPoint)->Arg(1000)->Arg(20000)->Arg(100000)->Arg(kStreamPoints)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(BM_CartesianToPolar, double)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_CartesianToPolar, float)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_PolarToCartesian, double)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_PolarToCartesian, float)->Unit(benchmark::kMillisecond);
