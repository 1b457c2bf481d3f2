// File streams against the bare system calls, and LargeIfstream's line
// reading against std::ifstream with std::getline, on files in /tmp.
// The file size in MiB is LXBASE_FILES_BENCH_MIB (default 1024); the files
// are deleted when the program ends.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "lxbase/files.h"

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20;

std::uint64_t SizeMiB() {
    const char* text = std::getenv("LXBASE_FILES_BENCH_MIB");
    return text != nullptr && std::atoi(text) > 0 ? std::strtoull(text, nullptr, 10) : 1024;
}

// Benchmark files, made on first use and removed at exit.
class Files {
public:
    ~Files() {
        for (const std::string& path : {Written(), binary_, lines_}) {
            if (!path.empty()) std::remove(path.c_str());
        }
    }
    static std::string Written() { return "/tmp/lxbase_files_bench_written.bin"; }

    const std::string& Binary(std::uint64_t bytes) {
        if (binary_.empty()) binary_ = Make("binary.bin", bytes, std::string(kBlock, 'b'));
        return binary_;
    }
    // Lines like a scanner's point export: x y z intensity, about 35 bytes.
    const std::string& Lines(std::uint64_t bytes) {
        if (lines_.empty()) {
            std::string chunk;
            for (unsigned i = 0; chunk.size() < kBlock; ++i) {
                char line[64];
                std::snprintf(line, sizeof line, "%.4f %.4f %.4f %u\n", 12.0 + i * 0.0137,
                              -3.5 + i * 0.0071, 101.25 - i * 0.0049, i % 2048);
                chunk += line;
            }
            lines_ = Make("lines.txt", bytes, chunk);
        }
        return lines_;
    }

private:
    static std::string Make(const std::string& name, std::uint64_t bytes, const std::string& chunk) {
        const std::string path = "/tmp/lxbase_files_bench_" + name;
        lxbase::lxOutFile out(path, false);
        for (std::uint64_t done = 0; done < bytes; done += chunk.size()) out.Write(chunk.data(), chunk.size());
        if (!out.Flush()) throw std::runtime_error("cannot write " + path);
        fsync(fileno(out.GetFILE()));  // no write-back during the measurements
        return path;
    }

    std::string binary_, lines_;
};

Files files;
const std::uint64_t kBytes = SizeMiB() * kBlock;

void Finish(benchmark::State& state, std::uint64_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// Written data goes to the disk and the file is removed outside the timed
// region, so that write-back of one run does not slow down the next.
void Settle(benchmark::State& state, int descriptor) {
    state.PauseTiming();
    fsync(descriptor);
}

void Unsettle(benchmark::State& state) {
    std::remove(Files::Written().c_str());
    state.ResumeTiming();
}

void BM_lxOutFileWrite(benchmark::State& state) {
    const std::vector<char> block(kBlock, 'w');
    for (auto _ : state) {
        {
            lxbase::lxOutFile out(Files::Written(), false);
            for (std::uint64_t done = 0; done < kBytes; done += kBlock) out.Write(block.data(), kBlock);
            if (!out.Flush()) state.SkipWithError("flush failed");
            Settle(state, fileno(out.GetFILE()));
        }
        Unsettle(state);
    }
    Finish(state, kBytes);
}

void BM_PosixWrite(benchmark::State& state) {
    const std::vector<char> block(kBlock, 'w');
    for (auto _ : state) {
        const int fd = open(Files::Written().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (std::uint64_t done = 0; done < kBytes; done += kBlock) {
            if (write(fd, block.data(), kBlock) != static_cast<ssize_t>(kBlock)) state.SkipWithError("write");
        }
        Settle(state, fd);
        close(fd);
        Unsettle(state);
    }
    Finish(state, kBytes);
}

void BM_lxInFileRead(benchmark::State& state) {
    const std::string& path = files.Binary(kBytes);
    std::vector<char> block(kBlock);
    for (auto _ : state) {
        lxbase::lxInFile in(path);
        std::uint64_t total = 0;
        while (in.Read(block.data(), kBlock)) total += in.GetLastCount();
        benchmark::DoNotOptimize(total += in.GetLastCount());
    }
    Finish(state, kBytes);
}

void BM_PosixRead(benchmark::State& state) {
    const std::string& path = files.Binary(kBytes);
    std::vector<char> block(kBlock);
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY);
        std::uint64_t total = 0;
        for (ssize_t n; (n = read(fd, block.data(), kBlock)) > 0;) total += static_cast<std::uint64_t>(n);
        benchmark::DoNotOptimize(total);
        close(fd);
    }
    Finish(state, kBytes);
}

void BM_LargeIfstreamGetline(benchmark::State& state) {
    const std::string& path = files.Lines(kBytes);
    std::string line;
    for (auto _ : state) {
        lxbase::LargeIfstream in(path);
        std::uint64_t count = 0;
        for (;;) {
            in.Getline(line);
            if (in.GetState() != std::ios_base::goodbit) break;
            ++count;
        }
        benchmark::DoNotOptimize(count);
        state.counters["lines"] = static_cast<double>(count);
    }
    Finish(state, kBytes);
}

void BM_IfstreamGetline(benchmark::State& state) {
    const std::string& path = files.Lines(kBytes);
    std::string line;
    for (auto _ : state) {
        std::ifstream in(path, std::ios::binary);
        std::uint64_t count = 0;
        while (std::getline(in, line)) ++count;
        benchmark::DoNotOptimize(count);
        state.counters["lines"] = static_cast<double>(count);
    }
    Finish(state, kBytes);
}

}  // namespace

BENCHMARK(BM_lxOutFileWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PosixWrite)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_lxInFileRead)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PosixRead)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_LargeIfstreamGetline)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_IfstreamGetline)->Unit(benchmark::kMillisecond)->UseRealTime();
