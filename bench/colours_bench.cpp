#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "lxbase/colours.h"

using namespace lxbase;

namespace {

constexpr std::size_t kCount = 10'000'000;

// Scalars mostly in 0..1 with some outside the ramp on either side.
const std::vector<float>& Scalars() {
    static const std::vector<float> values = [] {
        std::mt19937 random(7);
        std::uniform_real_distribution<float> distribution(-0.1f, 1.1f);
        std::vector<float> v(kCount);
        for (float& x : v) x = distribution(random);
        return v;
    }();
    return values;
}

const std::vector<t_RGBType<unsigned char>>& Colours() {
    static const std::vector<t_RGBType<unsigned char>> values = [] {
        std::mt19937 random(11);
        std::vector<t_RGBType<unsigned char>> v(kCount);
        for (auto& c : v) {
            const std::uint32_t bits = random();
            c = t_RGBType<unsigned char>(bits & 0xFF, bits >> 8 & 0xFF, bits >> 16 & 0xFF);
        }
        return v;
    }();
    return values;
}

const std::vector<HSLType>& HslColours() {
    static const std::vector<HSLType> values = [] {
        std::vector<HSLType> v;
        v.reserve(kCount);
        for (const auto& c : Colours()) v.emplace_back(c);
        return v;
    }();
    return values;
}

template <typename T>
void BM_GetColor(benchmark::State& state) {
    const std::vector<float>& input = Scalars();
    std::vector<t_RGBType<T>> output(kCount);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) output[i] = t_RGBType<T>::GetColor(input[i]);
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}
BENCHMARK_TEMPLATE(BM_GetColor, unsigned char)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_GetColor, char)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_GetColor, float)->Unit(benchmark::kMillisecond);

void BM_RgbToHsl(benchmark::State& state) {
    const auto& input = Colours();
    std::vector<HSLType> output(kCount);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) output[i] = HSLType(input[i]);
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}
BENCHMARK(BM_RgbToHsl)->Unit(benchmark::kMillisecond);

template <typename T>
void BM_HslToRgb(benchmark::State& state) {
    const auto& input = HslColours();
    std::vector<t_RGBType<T>> output(kCount);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) output[i] = t_RGBType<T>(input[i]);
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kCount));
}
BENCHMARK_TEMPLATE(BM_HslToRgb, unsigned char)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_HslToRgb, float)->Unit(benchmark::kMillisecond);

}  // namespace
