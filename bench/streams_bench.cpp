// Memory streams and the versioned header against the plain containers and
// copies they stand in for.
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

#include "keep_heap.h"
#include "lxbase/header.h"
#include "lxbase/streams.h"

namespace {

constexpr std::size_t kRecords = 1 << 16;  // 1 MiB of 16-byte records, a typical block
constexpr std::size_t kBlock = 1 << 20;
constexpr std::size_t kBlocks = 64;

void BM_OutMemoryStreamSmallWrites(benchmark::State& state) {
    const char record[16] = "0123456789abcde";
    for (auto _ : state) {
        lxbase::OutMemoryStream out;
        lxbase::IOutFileStream& stream = out;  // through the interface, as clients do
        for (std::size_t i = 0; i < kRecords; ++i) stream.Write(record, sizeof record);
        benchmark::DoNotOptimize(out.GetBuffer());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kRecords * 16));
}
BENCHMARK(BM_OutMemoryStreamSmallWrites)->Unit(benchmark::kMillisecond);

void BM_OutMemoryStreamSmallWritesDirect(benchmark::State& state) {
    const char record[16] = "0123456789abcde";
    for (auto _ : state) {
        lxbase::OutMemoryStream out;
        for (std::size_t i = 0; i < kRecords; ++i) out.Write(record, sizeof record);
        benchmark::DoNotOptimize(out.GetBuffer());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kRecords * 16));
}
BENCHMARK(BM_OutMemoryStreamSmallWritesDirect)->Unit(benchmark::kMillisecond);

void BM_VectorAppendSmallWrites(benchmark::State& state) {
    const char record[16] = "0123456789abcde";
    for (auto _ : state) {
        std::vector<char> out;
        out.reserve(1024);
        for (std::size_t i = 0; i < kRecords; ++i) out.insert(out.end(), record, record + sizeof record);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kRecords * 16));
}
BENCHMARK(BM_VectorAppendSmallWrites)->Unit(benchmark::kMillisecond);

void BM_InMemoryStreamLargeReads(benchmark::State& state) {
    std::vector<char> source(kBlock * kBlocks, 'x');
    std::vector<char> target(kBlock);
    for (auto _ : state) {
        lxbase::InMemoryStream in(source.data(), source.size());
        lxbase::IInFileStream& stream = in;
        for (std::size_t i = 0; i < kBlocks; ++i) {
            stream.Read(target.data(), kBlock);
            benchmark::DoNotOptimize(target.data());
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBlock * kBlocks));
}
BENCHMARK(BM_InMemoryStreamLargeReads)->Unit(benchmark::kMillisecond);

void BM_MemcpyLargeReads(benchmark::State& state) {
    std::vector<char> source(kBlock * kBlocks, 'x');
    std::vector<char> target(kBlock);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kBlocks; ++i) {
            std::memcpy(target.data(), source.data() + i * kBlock, kBlock);
            benchmark::DoNotOptimize(target.data());
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBlock * kBlocks));
}
BENCHMARK(BM_MemcpyLargeReads)->Unit(benchmark::kMillisecond);

struct BenchHeader : lxbase::IOHeader {
    double values[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    std::uint64_t HeaderGUID() const override { return 0xBE4C4BE4C4BE4C4BULL; }
    std::uint32_t CurrentVersion() const override { return 1; }
    std::uint32_t DataSizeForVersion(std::uint32_t) const override { return sizeof values; }
    void WriteData(char* data, std::uint32_t) const override { std::memcpy(data, values, sizeof values); }
    void ReadData(const char* data) override { std::memcpy(values, data, sizeof values); }
};

void BM_HeaderRoundTrip(benchmark::State& state) {
    BenchHeader written, read;
    lxbase::OutMemoryStream out;
    for (auto _ : state) {
        out.SeekAbsolute(0);
        written.Write(&out);
        lxbase::InMemoryStream in(out.GetBuffer(), out.BufferSize());
        benchmark::DoNotOptimize(read.Read(&in));
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_HeaderRoundTrip);

}  // namespace
