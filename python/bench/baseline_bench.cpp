// The C++ side of scripts/bench_python.py: the library's array calls that
// the Python package wraps, on 10 M elements, called from C++ directly.
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include <lxbase/lxbase.h>
#include <lxbase/zorder.h>
#include <lxmath/lxmath.h>

namespace {

constexpr std::size_t kCount = 10000000;

const std::vector<double>& Points() {
    static const std::vector<double> points = [] {
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> uniform(-50, 50);
        std::vector<double> p(3 * kCount);
        for (double& v : p) v = uniform(random);
        return p;
    }();
    return points;
}

// state.range(0): 1 writes every call's results into a new array (as a
// Python call without out= does), 0 reuses one array (as out= does).
void EncodeNormals(benchmark::State& state) {
    std::mt19937_64 random(2);
    std::normal_distribution<float> normal;
    std::vector<lxbase::tBaseXYZPoint<float>> normals(kCount);
    for (auto& n : normals) n = lxbase::tBaseXYZPoint<float>(normal(random), normal(random), normal(random));
    std::vector<std::uint16_t> codes(kCount);
    for (auto _ : state) {
        if (state.range(0)) codes = std::vector<std::uint16_t>(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            lxbase::HNormalRGB record;
            record.SetNormal(normals[i]);
            codes[i] = record.GetNormalCode();
        }
        benchmark::DoNotOptimize(codes.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

void PropagatePoints(benchmark::State& state) {
    const std::vector<double>& in = Points();
    std::vector<double> out(in.size());
    const lxmath::Frame frame(lxbase::RegistrationInformation(
        lxbase::Orientation(lxbase::XYZ(0.6, 0.8, 0), lxbase::XYZ(-0.8, 0.6, 0), lxbase::XYZ(0, 0, 1)),
        lxbase::XYZ(512000, 5405000, 310)));
    for (auto _ : state) {
        if (state.range(0)) out = std::vector<double>(in.size());
#ifdef LXBASE_HAS_PROPAGATE_POINTS
        frame.PropagatePoints(in.data(), out.data(), kCount);
#else
        for (std::size_t i = 0; i < kCount; ++i) {
            const lxmath::Vec3<double> q =
                frame.PropagatePoint(lxmath::Vec3<double>(in[3 * i], in[3 * i + 1], in[3 * i + 2]));
            out[3 * i] = q[0];
            out[3 * i + 1] = q[1];
            out[3 * i + 2] = q[2];
        }
#endif
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

void ZOrderPermutation(benchmark::State& state) {
    const auto* points = reinterpret_cast<const lxbase::tBaseXYZPoint<double>*>(Points().data());
    for (auto _ : state) {
        std::vector<std::size_t> order = lxbase::ZOrderPermutation(points, kCount);
        benchmark::DoNotOptimize(order.data());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}

}  // namespace

BENCHMARK(EncodeNormals)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(PropagatePoints)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(ZOrderPermutation)->Unit(benchmark::kMillisecond)->Iterations(1);
