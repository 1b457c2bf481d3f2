// Z-order sorting of 5 M points against std::sort with a lexicographic
// (x, y, z) comparison of the same points, on three clouds: uniform in
// [-50, 50]^3, a surface in map coordinates, and the plane z = 0.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "lxbase/zorder.h"

namespace {

using Point = lxbase::tBaseXYZPoint<double>;

constexpr std::size_t kPoints = 5000000;

enum Shape { kUniform, kMap, kPlane };

const std::vector<Point>& Cloud(int shape) {
    static std::vector<Point> clouds[3];
    std::vector<Point>& cloud = clouds[shape];
    if (cloud.empty()) {
        std::mt19937_64 random(42);
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        cloud.resize(kPoints);
        for (Point& p : cloud) {
            const double u = unit(random);
            const double v = unit(random);
            const double w = unit(random);
            switch (shape) {
                case kUniform: p = Point(100 * u - 50, 100 * v - 50, 100 * w - 50); break;
                case kMap: p = Point(512000 + 80 * u, 5405000 + 60 * v, 310 + 0.5 * w); break;
                default: p = Point(100 * u - 50, 100 * v - 50, 0.0); break;
            }
        }
    }
    return cloud;
}

template <typename Sort>
void Run(benchmark::State& state, Sort sort) {
    const std::vector<Point>& source = Cloud(static_cast<int>(state.range(0)));
    std::vector<Point> points;
    for (auto _ : state) {
        state.PauseTiming();
        points = source;
        state.ResumeTiming();
        sort(points);
        benchmark::DoNotOptimize(points.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kPoints));
}

void BM_SortZOrder(benchmark::State& state) {
    Run(state, [](std::vector<Point>& points) { lxbase::SortZOrder(points.data(), points.size()); });
}

void BM_ZOrderPermutation(benchmark::State& state) {
    Run(state, [](std::vector<Point>& points) {
        benchmark::DoNotOptimize(lxbase::ZOrderPermutation(points.data(), points.size()).data());
    });
}

void BM_SortLexicographic(benchmark::State& state) {
    Run(state, [](std::vector<Point>& points) {
        std::sort(points.begin(), points.end(), [](const Point& a, const Point& b) {
            if (a.x != b.x) return a.x < b.x;
            if (a.y != b.y) return a.y < b.y;
            return a.z < b.z;
        });
    });
}

void Shapes(benchmark::internal::Benchmark* b) {
    b->ArgName("cloud")->Arg(kUniform)->Arg(kMap)->Arg(kPlane)->Unit(benchmark::kMillisecond);
}

}  // namespace

// Argument 0: uniform in [-50, 50]^3; 1: map-coordinate surface; 2: plane z = 0.
BENCHMARK(BM_SortZOrder)->Apply(Shapes);
BENCHMARK(BM_ZOrderPermutation)->Apply(Shapes);
BENCHMARK(BM_SortLexicographic)->Apply(Shapes);
