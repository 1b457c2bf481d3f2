#include "output_file.h"

#include <cstring>

namespace lxscan {

AtomicOutput::AtomicOutput(const std::string& path) : file_(path) {}

AtomicOutput::~AtomicOutput() {
    if (stdio_ != nullptr) std::fclose(stdio_);
}

void AtomicOutput::Write(const void* bytes, std::uint64_t count) {
    if (rewriting_) {
        file_.WriteAt(rewriteAt_, bytes, static_cast<std::size_t>(count));
        rewriteAt_ += count;
    } else {
        file_.Write(bytes, static_cast<std::size_t>(count));
    }
}

void AtomicOutput::WriteHeader(lxbase::IOHeader& header) {
    lxbase::OutMemoryStream block;
    header.Write(&block);
    Write(block.GetBuffer(), block.BufferSize());
}

void AtomicOutput::SeekTo(std::uint64_t position) {
    if (!file_.Seekable())
        throw ScanError(Path() + ": cannot go back to byte " + std::to_string(position) +
                        " of an output that is not a regular file");
    rewriting_ = true;
    rewriteAt_ = position;
}

ssize_t AtomicOutput::StdioWrite(void* cookie, const char* bytes, std::size_t count) {
    AtomicOutput& out = *static_cast<AtomicOutput*>(cookie);
    try {
        out.Write(bytes, count);
    } catch (const ScanError& error) {
        if (out.stdioError_.empty()) out.stdioError_ = error.what();
        return -1;
    }
    return static_cast<ssize_t>(count);
}

std::FILE* AtomicOutput::Stdio() {
    if (stdio_ == nullptr) {
        cookie_io_functions_t functions;
        std::memset(&functions, 0, sizeof functions);
        functions.write = &AtomicOutput::StdioWrite;
        stdio_ = fopencookie(this, "w", functions);
        if (stdio_ == nullptr) throw ScanError(Path() + ": cannot make a standard I/O handle");
    }
    return stdio_;
}

void AtomicOutput::Commit() {
    if (stdio_ != nullptr) {
        const int closed = std::fclose(stdio_);
        stdio_ = nullptr;
        if (!stdioError_.empty()) throw ScanError(stdioError_);
        if (closed != 0) throw ScanError(Path() + ": cannot write");
    }
    file_.Commit();
}

void BufferedOutput::Append(const void* bytes, std::size_t n) {
    if (n > buffer_.size()) {
        Flush();
        out_.Write(bytes, n);
        return;
    }
    std::memcpy(Reserve(n), bytes, n);
    Advance(n);
}

void BufferedOutput::Flush() {
    if (used_ != 0) out_.Write(buffer_.data(), used_);
    used_ = 0;
}

}  // namespace lxscan
