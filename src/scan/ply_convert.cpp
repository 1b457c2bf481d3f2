#include "ply_convert.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include <lxscan/ply.h>

namespace lxscan {

namespace {

constexpr std::size_t kBlock = 65536;

struct Block {
    std::vector<double> xyz = std::vector<double>(3 * kBlock);
    std::vector<std::uint8_t> rgb = std::vector<std::uint8_t>(3 * kBlock);
    std::vector<std::uint8_t> intensity = std::vector<std::uint8_t>(kBlock);
    std::vector<float> normals = std::vector<float>(3 * kBlock);
    std::size_t count = 0;
    double fraction = 0;  // of the file read with this block
};

// Two blocks handed back and forth between the reading thread and the
// packing (calling) thread.
class Exchange {
public:
    // Waits for block i to be free (state Empty) or the end.
    void WaitEmpty(int i) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return !full_[i] || stop_; });
    }
    bool WaitFull(int i) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return full_[i] || stop_; });
        return full_[i];
    }
    void Set(int i, bool full) {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            full_[i] = full;
        }
        changed_.notify_all();
    }
    void Stop() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
        }
        changed_.notify_all();
    }
    bool Stopped() {
        std::lock_guard<std::mutex> lock(mutex_);
        return stop_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool full_[2] = {false, false};
    bool stop_ = false;
};

}  // namespace

void AddPlyInput(const std::string& path, const ConvertOptions& options, ScanWriter& writer, InputSummary& summary) {
    PlyReader reader(path, PlyReadOptions{options.skipInvalid});
    const bool colour = reader.HasColour(), intensity = reader.HasIntensity(), normals = reader.HasNormals();
    Block blocks[2];
    Exchange exchange;
    std::exception_ptr failure;
    // The reader fills the blocks in turn; a block of count 0 ends the input.
    std::thread reading([&] {
        try {
            for (int i = 0;; i ^= 1) {
                exchange.WaitEmpty(i);
                if (exchange.Stopped()) return;
                Block& b = blocks[i];
                b.count = reader.Read(kBlock, b.xyz.data(), b.rgb.data(), b.intensity.data(), b.normals.data());
                b.fraction = reader.Fraction();
                exchange.Set(i, true);
                if (b.count == 0) return;
            }
        } catch (...) {
            failure = std::current_exception();
            exchange.Stop();
        }
    });
    try {
        for (int i = 0;; i ^= 1) {
            if (!exchange.WaitFull(i)) break;  // stopped by a failure
            const Block& b = blocks[i];
            if (b.count == 0) break;
            writer.Add(b.count, b.xyz.data(), colour ? b.rgb.data() : nullptr, intensity ? b.intensity.data() : nullptr,
                       normals ? b.normals.data() : nullptr);
            summary.points += b.count;
            if (options.progress) options.progress("reading", b.fraction);
            exchange.Set(i, false);
        }
    } catch (...) {
        exchange.Stop();
        reading.join();
        throw;
    }
    reading.join();
    if (failure) std::rethrow_exception(failure);
    summary.kind = "ply";
    summary.skipped = reader.Skipped();
    if (summary.points == 0) throw ScanError(path + ": no points");
}

}  // namespace lxscan
