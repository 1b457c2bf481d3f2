#include "output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace lxscan {

AtomicOutput::AtomicOutput(const std::string& path)
    : path_(path), temporary_(path + ".partial-" + std::to_string(getpid())) {
    errno = 0;
    if (!file_.Open(temporary_, false)) {
        const int saved = errno;
        throw ScanError(path_ + ": cannot create: " + std::strerror(saved != 0 ? saved : EACCES));
    }
}

AtomicOutput::~AtomicOutput() {
    if (committed_) return;
    file_.Close();
    std::remove(temporary_.c_str());
}

void AtomicOutput::Fail(const std::string& what) const {
    throw ScanError(path_ + ": " + what);
}

// The library reports a failed write as LXWritingException; errno tells why.
template <class Operation>
void AtomicOutput::Guarded(Operation operation) {
    errno = 0;
    try {
        operation();
    } catch (const lxbase::LXWritingException& error) {
        const int saved = errno;
        Fail(std::string("cannot write at byte ") + std::to_string(file_.Tell()) + ": " +
             (saved != 0 ? std::strerror(saved) : error.what()));
    }
}

void AtomicOutput::Write(const void* bytes, std::uint64_t count) {
    Guarded([&] { file_.Write(static_cast<const char*>(bytes), count); });
}

void AtomicOutput::WriteHeader(lxbase::IOHeader& header) {
    Guarded([&] { header.Write(&file_); });
}

void AtomicOutput::SeekTo(std::uint64_t position) {
    if (!file_.SeekAbsolute(position)) Fail("cannot seek to byte " + std::to_string(position));
}

void AtomicOutput::SeekToEnd() {
    if (!file_.SeekEnd(0)) Fail("cannot seek to the end");
}

void AtomicOutput::Commit() {
    errno = 0;
    if (!file_.Flush()) Fail(std::string("cannot write: ") + std::strerror(errno));
    file_.Close();
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
        Fail("cannot rename " + temporary_ + " to it: " + std::strerror(errno));
    committed_ = true;
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
