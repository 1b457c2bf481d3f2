#include "ply_convert.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include <lxscan/ply.h>

#include "pipeline.h"
#include "writer_internal.h"

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
    // Room for all vertices at once: no growth, no copies of the points.
    Internals(writer).Reserve(writer.Count() + reader.CountBound());
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
    // Each block is packed in two halves at once, one on a thread of its own,
    // each by its own Packer (which keeps the last normal it coded), and
    // appended in order.
    ScanWriter::Impl& impl = Internals(writer);
    const bool twoPackers = options.threads != 1;
    Packer packers[2] = {impl.MakePacker(), impl.MakePacker()};
    BigArray<ScanPoint> batch(kBlock);
    const auto pack = [&](const Block& b, int k, std::size_t from, std::size_t to, PackStats& stats) {
        for (std::size_t i = from; i < to; ++i) {
            const LocalRecord record = ToRecord(&b.xyz[3 * i], colour ? &b.rgb[3 * i] : nullptr,
                                                intensity ? b.intensity[i] : 0, normals ? &b.normals[3 * i] : nullptr);
            try {
                packers[k].Pack(record, batch[i], stats);
            } catch (const ScanError& error) {
                throw ScanError(path + ": vertex " + std::to_string(summary.points + i) + ": " + error.what());
            }
        }
    };
    try {
        for (int i = 0;; i ^= 1) {
            if (!exchange.WaitFull(i)) break;  // stopped by a failure
            const Block& b = blocks[i];
            if (b.count == 0) break;
            const std::size_t half = twoPackers ? b.count / 2 : b.count;
            PackStats stats[2];
            std::exception_ptr second;
            std::thread other([&] {
                try {
                    pack(b, 1, half, b.count, stats[1]);
                } catch (...) {
                    second = std::current_exception();
                }
            });
            try {
                pack(b, 0, 0, half, stats[0]);
            } catch (...) {
                other.join();
                throw;
            }
            other.join();
            if (second) std::rethrow_exception(second);
            impl.Append(batch.data(), half, stats[0], colour);
            impl.Append(batch.data() + half, b.count - half, stats[1], colour);
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
