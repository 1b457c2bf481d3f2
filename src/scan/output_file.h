// The module's writers' view of an OutputFile (<lxscan/output.h>): whole
// blocks, header blocks, rewriting a header at the start, and a standard I/O
// handle for writers that need one.
#ifndef LXSCAN_SRC_OUTPUT_FILE_H
#define LXSCAN_SRC_OUTPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <lxscan/output.h>

#include "scan_internal.h"

namespace lxscan {

class AtomicOutput {
public:
    // Opens the output (see OutputFile); throws ScanError naming the target.
    explicit AtomicOutput(const std::string& path);
    AtomicOutput(const AtomicOutput&) = delete;
    AtomicOutput& operator=(const AtomicOutput&) = delete;
    // Without Commit a temporary file is removed and the target stays.
    ~AtomicOutput();

    // Writes all bytes or throws ScanError (disk full, I/O error).
    void Write(const void* bytes, std::uint64_t count);
    // Writes a header block (IOHeader::Write) at the current position.
    void WriteHeader(lxbase::IOHeader& header);
    // Moves to a byte already written (only when Seekable()); what follows
    // overwrites the bytes from there on.
    void SeekTo(std::uint64_t position);
    // Whether written bytes can be rewritten: false for a device, a FIFO or
    // standard output, which are written straight to.
    bool Seekable() const { return file_.Seekable(); }
    // For writers that take a standard I/O handle; what they write goes
    // through the output file.
    std::FILE* Stdio();
    const std::string& Path() const { return file_.Path(); }

    // Finishes the file (see OutputFile::Commit); throws ScanError.
    void Commit();

private:
    static ssize_t StdioWrite(void* cookie, const char* bytes, std::size_t count);

    OutputFile file_;
    bool rewriting_ = false;    // after SeekTo: writes go to rewriteAt_
    std::uint64_t rewriteAt_ = 0;
    std::FILE* stdio_ = nullptr;
    std::string stdioError_;
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
