#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <string>
#include <utility>

#include "../identity/utf8_api.h"
#include "file_ops.h"

#include "lxbase/exceptions.h"
#include "lxbase/files.h"
#include "lxbase/text.h"

namespace lxbase {

// ----------------------------------------------------------- shared FILE steps

namespace fileops {
namespace {

static_assert(sizeof(off_t) == sizeof(std::int64_t), "64-bit file offsets are required");
static_assert(sizeof(std::size_t) >= sizeof(std::uint64_t), "byte counts must fit size_t");

constexpr std::uint64_t kMaxOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());

}  // namespace

std::FILE* Open(const std::string& name, const char* mode) {
    // A name with a zero inside would silently open a shorter name.
    if (name.find('\0') != std::string::npos) {
        errno = EINVAL;
        return nullptr;
    }
    std::FILE* file = std::fopen(name.c_str(), mode);
    if (file == nullptr) return nullptr;
    // fopen("rb") of a directory succeeds here, but every read would fail.
    struct stat status;
    if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
        std::fclose(file);
        errno = EISDIR;
        return nullptr;
    }
    return file;
}

bool NarrowName(const std::u16string& name, std::string& narrow) {
    try {
        narrow = Encode_UTF8(name);
        return true;
    } catch (const utf8::exception&) {
        return false;
    }
}

void Close(std::FILE* file) { std::fclose(file); }

bool Read(std::FILE* file, char* destination, std::uint64_t count, std::uint64_t& lastCount) {
    lastCount = std::fread(destination, 1, static_cast<std::size_t>(count), file);
    if (std::ferror(file) != 0) return false;
    // The end-of-file indicator is set only by a read that tried to go past
    // the end, so reading exactly the remaining bytes still succeeds.
    return std::feof(file) == 0;
}

// Relative moves are made absolute here, with the target checked against the
// range of off_t, so the C library is never asked for an offset that would
// overflow its own arithmetic.
bool SeekForward(std::FILE* file, std::uint64_t count) {
    const std::uint64_t position = Tell(file);
    if (position == kBadPosition || count > kMaxOffset - position) return false;
    return SeekAbsolute(file, position + count);
}

bool SeekBackward(std::FILE* file, std::uint64_t count) {
    const std::uint64_t position = Tell(file);
    if (position == kBadPosition || count > position) return false;
    return SeekAbsolute(file, position - count);
}

bool SeekAbsolute(std::FILE* file, std::uint64_t position) {
    if (position > kMaxOffset) return false;
    return fseeko(file, static_cast<off_t>(position), SEEK_SET) == 0;
}

bool SeekEnd(std::FILE* file, std::uint64_t offset) {
    if (offset <= kMaxOffset) {
        // A target beyond the range of off_t fails without moving, as every
        // failed seek of the C library does.
        const std::uint64_t position = Tell(file);
        if (fseeko(file, 0, SEEK_END) != 0) return false;
        if (SeekForward(file, offset)) return true;
        SeekAbsolute(file, position);
        return false;
    }
    // Two's complement reading of the 64 bits without an out-of-range
    // conversion: above INT64_MAX, ~offset is the magnitude minus one.
    const off_t displacement = -static_cast<off_t>(~offset) - 1;
    return fseeko(file, displacement, SEEK_END) == 0;
}

std::uint64_t Tell(std::FILE* file) {
    const off_t position = ftello(file);
    return position < 0 ? kBadPosition : static_cast<std::uint64_t>(position);
}

}  // namespace fileops

namespace {

std::string WritingMessage(std::uint64_t written, std::uint64_t count, int error) {
    return "written " + std::to_string(written) + "/" + std::to_string(count) + " error " +
           std::to_string(error);
}

}  // namespace

// -------------------------------------------------------------------- lxInFile

lxInFile::lxInFile() = default;

lxInFile::lxInFile(const std::string& name) {
    if (!lxInFile::Open(name)) throw LXFileNotOpenException("Cannot open file");
}

lxInFile::lxInFile(const std::u16string& name) {
    // An invalid name makes the conversion throw, and that exception passes.
    const std::string narrow = ConvertString(name);
    if (!lxInFile::Open(narrow)) throw LXFileNotOpenException("Cannot open file: " + narrow);
}

lxInFile::lxInFile(lxInFile&& other) noexcept
    : IInFileStream(other),
      handle_(std::exchange(other.handle_, nullptr)),
      open_(std::exchange(other.open_, false)),
      lastCount_(std::exchange(other.lastCount_, 0)),
      buffer_(std::move(other.buffer_)) {}

lxInFile& lxInFile::operator=(lxInFile&& other) noexcept {
    if (this != &other) {
        Close();
        handle_ = std::exchange(other.handle_, nullptr);
        open_ = std::exchange(other.open_, false);
        lastCount_ = std::exchange(other.lastCount_, 0);
        buffer_ = std::move(other.buffer_);
    }
    return *this;
}

lxInFile::~lxInFile() { lxInFile::Close(); }

bool lxInFile::Open(const std::u16string& name) {
    Close();
    std::string narrow;
    return fileops::NarrowName(name, narrow) && lxInFile::Open(narrow);
}

bool lxInFile::Open(const std::string& name) {
    Close();
    handle_ = fileops::Open(name, "rb");
    open_ = handle_ != nullptr;
    return open_;
}

void lxInFile::Close() {
    if (!open_) return;
    lastCount_ = 0;
    fileops::Close(handle_);
    handle_ = nullptr;
    open_ = false;
    buffer_.reset();
}

bool lxInFile::UseBuffer(std::size_t size) {
    if (!open_) return false;
    std::unique_ptr<char[]> buffer(new char[size]);
    if (std::setvbuf(handle_, buffer.get(), _IOFBF, size) != 0) return false;
    buffer_ = std::move(buffer);
    return true;
}

bool lxInFile::Read(char* destination, std::uint64_t count) {
    if (!open_) return false;
    return fileops::Read(handle_, destination, count, lastCount_);
}

bool lxInFile::SeekForward(std::uint64_t count) {
    return open_ && fileops::SeekForward(handle_, count);
}

bool lxInFile::SeekBackward(std::uint64_t count) {
    return open_ && fileops::SeekBackward(handle_, count);
}

bool lxInFile::SeekAbsolute(std::uint64_t position) {
    return open_ && fileops::SeekAbsolute(handle_, position);
}

bool lxInFile::SeekEnd(std::uint64_t offset) { return open_ && fileops::SeekEnd(handle_, offset); }

std::uint64_t lxInFile::GetLastCount() const { return lastCount_; }

std::uint64_t lxInFile::Tell() const {
    return open_ ? fileops::Tell(handle_) : fileops::kBadPosition;
}

std::uint64_t lxInFile::GetFileSize() { return open_ ? fileops::FileSize(*this, handle_) : 0; }


// ------------------------------------------------------------------- lxOutFile

lxOutFile::lxOutFile() = default;

lxOutFile::lxOutFile(const std::string& name, bool update) {
    if (!Open(name, update)) throw LXFileNotOpenException("Cannot open file: " + name);
}

lxOutFile::lxOutFile(const std::u16string& name, bool update) {
    if (!Open(name, update)) throw LXFileNotOpenException("Cannot open file");
}

lxOutFile::lxOutFile(lxOutFile&& other) noexcept
    : IOutFileStream(other),
      handle_(std::exchange(other.handle_, nullptr)),
      open_(std::exchange(other.open_, false)),
      lastCount_(std::exchange(other.lastCount_, 0)),
      writeOnly_(std::exchange(other.writeOnly_, true)) {}

lxOutFile& lxOutFile::operator=(lxOutFile&& other) noexcept {
    if (this != &other) {
        Close();
        handle_ = std::exchange(other.handle_, nullptr);
        open_ = std::exchange(other.open_, false);
        lastCount_ = std::exchange(other.lastCount_, 0);
        writeOnly_ = std::exchange(other.writeOnly_, true);
    }
    return *this;
}

lxOutFile::~lxOutFile() { Close(); }

bool lxOutFile::Open(const std::string& name, bool update) {
    Close();
    writeOnly_ = !update;
    handle_ = fileops::Open(name, update ? "r+b" : "wb");
    open_ = handle_ != nullptr;
    return open_;
}

bool lxOutFile::Open(const std::u16string& name, bool update) {
    Close();
    writeOnly_ = !update;
    std::string narrow;
    return fileops::NarrowName(name, narrow) && Open(narrow, update);
}

void lxOutFile::Close() {
    if (!open_) return;
    fileops::Close(handle_);
    handle_ = nullptr;
    open_ = false;
    writeOnly_ = true;
    lastCount_ = 0;
}

void lxOutFile::Write(const char* source, std::uint64_t count) {
    if (count == 0) return;
    if (!open_) throw LXWritingException(WritingMessage(0, count, 0));
    // A seek to the current position empties the FILE buffer, so that the C
    // library hands a large block to the kernel in one call instead of first
    // topping up its buffer and splitting the block in two. Its result does
    // not matter: a failed flush leaves the error indicator set for the test
    // below.
    constexpr std::uint64_t kLargeWrite = std::uint64_t{1} << 16;
    if (count >= kLargeWrite) fseeko(handle_, 0, SEEK_CUR);
    const std::uint64_t written = std::fwrite(source, 1, static_cast<std::size_t>(count), handle_);
    // The error indicator is sticky: once set, every later Write throws too.
    const int error = std::ferror(handle_);
    if (error != 0 || written < count) {
        throw LXWritingException(WritingMessage(written, count, error));
    }
}

bool lxOutFile::Read(char* destination, std::uint64_t count) {
    if (writeOnly_ || !open_) return false;
    return fileops::Read(handle_, destination, count, lastCount_);
}

std::uint64_t lxOutFile::GetLastCount() const { return lastCount_; }

bool lxOutFile::SeekAbsolute(std::uint64_t position) {
    return open_ && fileops::SeekAbsolute(handle_, position);
}

bool lxOutFile::SeekForward(std::uint64_t count) {
    return open_ && fileops::SeekForward(handle_, count);
}

bool lxOutFile::SeekBackward(std::uint64_t count) {
    return open_ && fileops::SeekBackward(handle_, count);
}

bool lxOutFile::SeekEnd(std::uint64_t offset) { return open_ && fileops::SeekEnd(handle_, offset); }

std::uint64_t lxOutFile::Tell() const {
    return open_ ? fileops::Tell(handle_) : fileops::kBadPosition;
}

std::uint64_t lxOutFile::GetFileSize() { return open_ ? fileops::FileSize(*this, handle_) : 0; }

bool lxOutFile::Flush() const { return open_ && std::fflush(handle_) == 0; }

bool lxOutFile::TruncateToCurrentPosition() {
    if (!open_) return false;
    const int descriptor = fileno(handle_);
    // The file ends where the descriptor stands. Flushing first puts pending
    // writes into the file and, after reads, moves the descriptor back to the
    // FILE's position (a seek inside the read buffer leaves it elsewhere).
    if (descriptor < 0 || std::fflush(handle_) != 0) return false;
    const off_t end = lseek(descriptor, 0, SEEK_CUR);
    return end >= 0 && ftruncate(descriptor, end) == 0;
}


}  // namespace lxbase
