#include "text_reader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "ascii_input.h"
#include "progress.h"

namespace lxscan {

namespace {

// The shortest point line, "0 0 0\n": no file holds more points than its
// size divided by this, whatever else it holds.
constexpr std::uint64_t kShortestLine = 6;
constexpr std::uint64_t kUnknownSize = std::numeric_limits<std::uint64_t>::max();

std::string LineTooLong() {
    return "line longer than " + std::to_string(kMaxLine - 1) + " bytes; not a text point file?";
}

// What one block of lines gave.
struct BlockResult {
    BigArray<ScanPoint> points;
    PackStats stats;
    std::uint64_t lines = 0;
    std::uint64_t skipped = 0;
    std::uint64_t errorLine = 0;  // of the block, from 1; 0: none
    std::string error;
};

struct BlockJob {
    const char* begin;
    const char* end;
    TextFormat format;
    bool checkNormals;  // the layout was detected: every normal must be one
    std::uint64_t detectedAt;
    bool skipInvalid;
};

// Refuses a "normal" far from unit length: the layout was guessed from the
// first line, and a colour that only looked like a normal there shows here.
void CheckUnitNormal(const LocalRecord& record, const BlockJob& job) {
    const double* n = record.normal.ToArray();
    const double squared = (n[0] * n[0] + n[1] * n[1]) + n[2] * n[2];
    if (std::fabs(squared - 1.0) <= kUnitTolerance) return;
    char text[160];
    std::snprintf(text, sizeof text, "nx ny nz (%g %g %g) is not a unit normal (length %g)", n[0], n[1], n[2],
                  std::sqrt(squared));
    throw ScanError(std::string(text) + "; the layout " + FormatColumns(job.format) + " was detected from line " +
                    std::to_string(job.detectedAt) + " (use --format to name the layout)");
}

void ParseBlock(const BlockJob& job, Packer packer, BlockResult& out) {
    out.points.clear();
    out.stats = PackStats();
    out.lines = out.skipped = out.errorLine = 0;
    // About 40 bytes a line: reserved once, so the block rarely grows.
    out.points.reserve(static_cast<std::size_t>((job.end - job.begin) / 24 + 16));
    LocalRecord record;
    ScanPoint point;
    for (const char* p = job.begin; p != job.end;) {
        const char* stop = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(job.end - p)));
        if (stop == nullptr) stop = job.end;
        const std::string_view line(p, static_cast<std::size_t>(stop - p));
        p = stop == job.end ? stop : stop + 1;
        ++out.lines;
        try {
            if (line.size() >= kMaxLine) throw ScanError(LineTooLong());
            if (IsSkippedLine(line)) continue;
            if (!ParseLine(line, job.format, record, job.skipInvalid)) {
                ++out.skipped;
                continue;
            }
            if (job.checkNormals && record.hasNormal) CheckUnitNormal(record, job);
            packer.Pack(record, point, out.stats);
        } catch (const ScanError& error) {
            out.errorLine = out.lines;
            out.error = error.what();
            return;
        }
        out.points.push_back(point);
    }
}

// Splits [begin, end) into up to n blocks that end at line ends.
std::vector<std::pair<const char*, const char*>> SplitAtLines(const char* begin, const char* end, unsigned n) {
    std::vector<std::pair<const char*, const char*>> blocks;
    const std::size_t step = static_cast<std::size_t>(end - begin) / n + 1;
    for (const char* p = begin; p != end;) {
        const char* cut = static_cast<std::size_t>(end - p) > step ? p + step : end;
        if (cut != end) {
            const char* feed = static_cast<const char*>(std::memchr(cut, '\n', static_cast<std::size_t>(end - cut)));
            cut = feed == nullptr ? end : feed + 1;
        }
        blocks.emplace_back(p, cut);
        p = cut;
    }
    return blocks;
}

class TextFile {
public:
    TextFile(const std::string& path, std::size_t window)
        : path_(path), file_(OpenText(path)), size_(file_.GetFileSize()), buffer_(new char[window]),
          window_(window) {}

    std::uint64_t Size() const { return size_; }
    std::uint64_t Consumed() const { return consumed_; }

    // The next run of whole lines (the last one may lack its line feed at
    // the end of the file); empty at the end. firstLine: number of the
    // run's first line, for messages.
    std::string_view Next(std::uint64_t firstLine) {
        std::memmove(buffer_.get(), buffer_.get() + taken_, held_ - taken_);
        held_ -= taken_;
        taken_ = 0;
        while (!atEnd_ && held_ < window_) {
            if (!file_.Read(buffer_.get() + held_, window_ - held_)) {
                if (std::ferror(file_.GetFILE()) != 0)
                    throw ScanError(path_ + ": read error after line " + std::to_string(firstLine - 1) + ": " +
                                    std::strerror(errno));
                atEnd_ = true;
            }
            held_ += static_cast<std::size_t>(file_.GetLastCount());
        }
        const char* data = buffer_.get();
        std::size_t start = 0;
        if (first_) {
            first_ = false;
            if (held_ >= 3 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0) start = 3;  // UTF-8 byte order mark
        }
        std::size_t cut = held_;
        if (!atEnd_) {
            const void* feed = memrchr(data + start, '\n', held_ - start);
            if (feed == nullptr)
                throw ScanError(path_ + ":" + std::to_string(firstLine) + ": " + LineTooLong());
            cut = static_cast<std::size_t>(static_cast<const char*>(feed) - data) + 1;
        }
        taken_ = cut;
        consumed_ += cut;
        return std::string_view(data + start, cut - start);
    }

private:
    static lxbase::LargeIfstream OpenText(const std::string& path) {
        errno = 0;
        try {
            return lxbase::LargeIfstream(path);
        } catch (const lxbase::LXFileNotOpenException&) {
            const int saved = errno;
            throw ScanError(path + ": cannot open: " + OpenFailureReason(path, saved));
        }
    }

    std::string path_;
    lxbase::LargeIfstream file_;
    std::uint64_t size_;  // all bits set for a pipe
    std::unique_ptr<char[]> buffer_;
    std::size_t window_;
    std::size_t held_ = 0;   // bytes in the buffer
    std::size_t taken_ = 0;  // of them handed out
    std::uint64_t consumed_ = 0;
    bool atEnd_ = false;
    bool first_ = true;
};

// The first data line of a run and its number, for detecting the layout.
bool FirstDataLine(std::string_view text, std::uint64_t firstLine, std::string_view& line, std::uint64_t& number) {
    for (std::size_t at = 0; at < text.size(); ++firstLine) {
        std::size_t stop = text.find('\n', at);
        if (stop == std::string_view::npos) stop = text.size();
        line = text.substr(at, stop - at);
        at = stop + 1;
        if (line.size() >= kMaxLine || !IsSkippedLine(line)) {
            number = firstLine;
            return true;
        }
    }
    return false;
}

// Room for the points still to come, estimated from the bytes per point so
// far and never more than the rest of the file can hold.
void ReserveForRest(ScanWriter::Impl& writer, const TextFile& file, std::uint64_t points, std::uint64_t needed) {
    if (writer.points.capacity() >= writer.points.size() + needed) return;
    if (file.Size() == kUnknownSize || file.Consumed() == 0 || file.Consumed() > file.Size()) return;
    const std::uint64_t rest = file.Size() - file.Consumed();
    const double perByte = static_cast<double>(points) / static_cast<double>(file.Consumed());
    const std::uint64_t expected =
        std::min<std::uint64_t>(static_cast<std::uint64_t>(perByte * 1.02 * static_cast<double>(rest)) + 4096,
                                rest / kShortestLine + 1);
    writer.Reserve(writer.points.size() + needed + expected);
}

}  // namespace

void ReadPointText(const std::string& path, const TextReadOptions& options, ScanWriter::Impl& writer,
                   InputSummary& summary) {
    TextFile file(path, std::max(options.windowBytes, kMaxLine + 1));
    const unsigned threads = std::max(1u, options.threads);
    BlockJob job{nullptr, nullptr, options.format, false, 0, options.skipInvalid};
    std::vector<BlockResult> results(threads);
    std::uint64_t line = 1;  // number of the next line
    std::uint64_t points = 0;
    Progress shown("reading", options.progress);
    for (std::string_view text = file.Next(line); !text.empty(); text = file.Next(line)) {
        if (job.format == TextFormat::Auto) {
            std::string_view first;
            if (FirstDataLine(text, line, first, job.detectedAt)) {
                try {
                    if (first.size() >= kMaxLine) throw ScanError(LineTooLong());
                    job.format = DetectFormat(first);
                } catch (const ScanError& error) {
                    throw ScanError(path + ":" + std::to_string(job.detectedAt) + ": " + error.what());
                }
                job.checkNormals = FormatHasNormal(job.format);
                summary.detected = true;
            }
        }
        if (job.format == TextFormat::Auto) {  // blank lines and comments only, so far
            line += static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
            continue;
        }
        const auto blocks = SplitAtLines(text.data(), text.data() + text.size(), threads);
        std::vector<BlockJob> jobs(blocks.size(), job);
        std::vector<std::thread> workers;
        for (std::size_t b = 0; b < blocks.size(); ++b) {
            jobs[b].begin = blocks[b].first;
            jobs[b].end = blocks[b].second;
            if (b > 0) workers.emplace_back(ParseBlock, std::cref(jobs[b]), writer.MakePacker(), std::ref(results[b]));
        }
        ParseBlock(jobs[0], writer.MakePacker(), results[0]);
        for (std::thread& worker : workers) worker.join();
        // In input order: the first fault of the file is the one reported.
        std::uint64_t found = 0, lines = line;
        for (std::size_t b = 0; b < blocks.size(); ++b) {
            const BlockResult& result = results[b];
            if (result.errorLine != 0)
                throw ScanError(path + ":" + std::to_string(lines + result.errorLine - 1) + ": " + result.error);
            found += result.points.size();
            lines += result.lines;
        }
        ReserveForRest(writer, file, points + found, found);
        for (std::size_t b = 0; b < blocks.size(); ++b) {
            const BlockResult& result = results[b];
            writer.Append(result.points.data(), result.points.size(), result.stats, FormatHasColour(job.format));
            summary.skipped += result.skipped;
        }
        points += found;
        line = lines;
        if (file.Size() != kUnknownSize && file.Size() != 0)
            shown.Update(std::min(1.0, static_cast<double>(file.Consumed()) / static_cast<double>(file.Size())));
    }
    shown.Finish();
    summary.kind = "text";
    summary.format = job.format;
    summary.points = points;
    summary.lines = line - 1;
    if (points == 0) throw ScanError(path + ": no points" + (summary.skipped != 0 ? " (all invalid)" : ""));
}

}  // namespace lxscan
