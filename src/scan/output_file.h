// An output file that appears under its name only when complete: written
// under a temporary name beside the target and renamed by Commit.
#ifndef LXSCAN_SRC_OUTPUT_FILE_H
#define LXSCAN_SRC_OUTPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "scan_internal.h"

namespace lxscan {

class AtomicOutput {
public:
    // Creates the temporary file; throws ScanError naming the target.
    explicit AtomicOutput(const std::string& path);
    AtomicOutput(const AtomicOutput&) = delete;
    AtomicOutput& operator=(const AtomicOutput&) = delete;
    // Without Commit the temporary file is removed.
    ~AtomicOutput();

    // Writes all bytes or throws ScanError (disk full, I/O error).
    void Write(const void* bytes, std::uint64_t count);
    // Writes a header block (IOHeader::Write) at the current position.
    void WriteHeader(lxbase::IOHeader& header);
    // Moves to a byte already written, or back to the end.
    void SeekTo(std::uint64_t position);
    void SeekToEnd();
    // For writers that take a standard I/O handle.
    std::FILE* Stdio() const { return file_.GetFILE(); }
    const std::string& Path() const { return path_; }

    // Flushes, closes and renames the file to its name; throws ScanError.
    void Commit();

private:
    [[noreturn]] void Fail(const std::string& what) const;
    template <class Operation>
    void Guarded(Operation operation);

    std::string path_;
    std::string temporary_;
    lxbase::lxOutFile file_;
    bool committed_ = false;
};

// Collects small writes into large ones.
class BufferedOutput {
public:
    explicit BufferedOutput(AtomicOutput& out, std::size_t capacity = 1 << 20)
        : out_(out), buffer_(capacity) {}
    // What is not flushed is dropped: call Flush before committing.
    ~BufferedOutput() = default;

    // Room for at least n more bytes (n at most the capacity); write them
    // and then call Advance(n).
    char* Reserve(std::size_t n) {
        if (buffer_.size() - used_ < n) Flush();
        return buffer_.data() + used_;
    }
    void Advance(std::size_t n) { used_ += n; }
    void Append(const void* bytes, std::size_t n);
    void Flush();

private:
    AtomicOutput& out_;
    std::vector<char> buffer_;
    std::size_t used_ = 0;
};

}  // namespace lxscan

#endif
