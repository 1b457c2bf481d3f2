// Encoding and decoding HNormalRGB normals: the threshold-search encoder used
// by SetNormal against the step-by-step atanf encoder, and the table lookup.
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "lxbase/hnormal_rgb.h"
#include "normal_code.h"

namespace {

using lxbase::XYZf;

constexpr std::size_t kNormals = 10000000;

const std::vector<XYZf>& UnitVectors() {
    static const std::vector<XYZf> normals = [] {
        std::vector<XYZf> result;
        result.reserve(kNormals);
        std::mt19937 random(2024);
        std::normal_distribution<double> gauss;
        while (result.size() < kNormals) {
            const double x = gauss(random), y = gauss(random), z = gauss(random);
            const double length = std::sqrt(x * x + y * y + z * z);
            if (length == 0) continue;
            result.emplace_back(static_cast<float>(x / length), static_cast<float>(y / length),
                                static_cast<float>(z / length));
        }
        return result;
    }();
    return normals;
}

void SetItems(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kNormals));
}

void BM_SetNormal(benchmark::State& state) {
    const std::vector<XYZf>& normals = UnitVectors();
    std::vector<lxbase::HNormalRGB> records(kNormals);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kNormals; ++i) records[i].SetNormal(normals[i]);
        benchmark::ClobberMemory();
    }
    SetItems(state);
}
BENCHMARK(BM_SetNormal)->Unit(benchmark::kMillisecond);

void BM_SetNormalStepwiseAtanf(benchmark::State& state) {
    const std::vector<XYZf>& normals = UnitVectors();
    std::vector<lxbase::HNormalRGB> records(kNormals);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kNormals; ++i)
            records[i].SetNormalCode(lxbase::detail::EncodeNormalStepwise(normals[i]));
        benchmark::ClobberMemory();
    }
    SetItems(state);
}
BENCHMARK(BM_SetNormalStepwiseAtanf)->Unit(benchmark::kMillisecond);

void BM_GetNormal(benchmark::State& state) {
    const std::vector<XYZf>& normals = UnitVectors();
    std::vector<lxbase::HNormalRGB> records(kNormals);
    for (std::size_t i = 0; i < kNormals; ++i) records[i].SetNormal(normals[i]);
    for (auto _ : state) {
        float sum = 0;
        for (const lxbase::HNormalRGB& record : records) {
            const XYZf n = record.GetNormal();
            sum += n.x + n.y + n.z;
        }
        benchmark::DoNotOptimize(sum);
    }
    SetItems(state);
}
BENCHMARK(BM_GetNormal)->Unit(benchmark::kMillisecond);

}  // namespace
