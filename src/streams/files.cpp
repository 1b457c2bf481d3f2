#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <string>
#include <utility>

#include "../identity/utf8_api.h"

#include "lxbase/exceptions.h"
#include "lxbase/files.h"
#include "lxbase/text.h"

namespace lxbase {

// ------------------------------------------------------------------ FileHandle

namespace detail {
namespace {

static_assert(sizeof(off_t) == sizeof(std::int64_t), "64-bit file offsets are required");
static_assert(sizeof(std::size_t) >= sizeof(std::uint64_t), "byte counts must fit size_t");

constexpr std::uint64_t kMaxOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
constexpr std::uint64_t kBadPosition = ~std::uint64_t{0};

// fopen of a UTF-8 name; refuses directories. Null on failure.
std::FILE* OpenFile(const std::string& name, const char* mode) {
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

}  // namespace

FileHandle::FileHandle(FileHandle&& other) noexcept
    : file_(std::exchange(other.file_, nullptr)),
      open_(std::exchange(other.open_, false)),
      lastCount_(std::exchange(other.lastCount_, 0)),
      buffer_(std::move(other.buffer_)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    if (this != &other) {
        Close();
        file_ = std::exchange(other.file_, nullptr);
        open_ = std::exchange(other.open_, false);
        lastCount_ = std::exchange(other.lastCount_, 0);
        buffer_ = std::move(other.buffer_);
    }
    return *this;
}

FileHandle::~FileHandle() { Close(); }

bool FileHandle::Open(const std::string& name, const char* mode) {
    Close();
    file_ = OpenFile(name, mode);
    open_ = file_ != nullptr;
    return open_;
}

bool FileHandle::Open(const std::u16string& name, const char* mode) {
    Close();
    std::string narrow;
    try {
        narrow = Encode_UTF8(name);
    } catch (const utf8::exception&) {
        return false;
    }
    return Open(narrow, mode);
}

void FileHandle::Close() {
    if (!open_) return;
    lastCount_ = 0;
    std::fclose(file_);
    file_ = nullptr;
    open_ = false;
    // The FILE may still have used the buffer while closing.
    buffer_.reset();
}

bool FileHandle::UseBuffer(std::size_t size) {
    if (!open_) return false;
    std::unique_ptr<char[]> buffer(new char[size]);
    if (std::setvbuf(file_, buffer.get(), _IOFBF, size) != 0) return false;
    buffer_ = std::move(buffer);
    return true;
}

bool FileHandle::Read(char* destination, std::uint64_t count) {
    if (!open_) return false;
    lastCount_ = std::fread(destination, 1, static_cast<std::size_t>(count), file_);
    if (std::ferror(file_) != 0) return false;
    // The end-of-file indicator is set only by a read that tried to go past
    // the end, so reading exactly the remaining bytes still succeeds.
    return std::feof(file_) == 0;
}

// Relative moves are made absolute here, with the target checked against the
// range of off_t, so the C library is never asked for an offset that would
// overflow its own arithmetic.
bool FileHandle::SeekForward(std::uint64_t count) {
    const std::uint64_t position = Tell();
    if (position == kBadPosition || count > kMaxOffset - position) return false;
    return SeekAbsolute(position + count);
}

bool FileHandle::SeekBackward(std::uint64_t count) {
    const std::uint64_t position = Tell();
    if (position == kBadPosition || count > position) return false;
    return SeekAbsolute(position - count);
}

bool FileHandle::SeekAbsolute(std::uint64_t position) {
    if (!open_ || position > kMaxOffset) return false;
    return fseeko(file_, static_cast<off_t>(position), SEEK_SET) == 0;
}

bool FileHandle::SeekEnd(std::uint64_t offset) {
    if (!open_) return false;
    if (offset <= kMaxOffset) {
        // A target beyond the range of off_t fails without moving, as every
        // failed seek of the C library does.
        const std::uint64_t position = Tell();
        if (fseeko(file_, 0, SEEK_END) != 0) return false;
        if (SeekForward(offset)) return true;
        SeekAbsolute(position);
        return false;
    }
    // Two's complement reading of the 64 bits without an out-of-range
    // conversion: above INT64_MAX, ~offset is the magnitude minus one.
    const off_t displacement = -static_cast<off_t>(~offset) - 1;
    return fseeko(file_, displacement, SEEK_END) == 0;
}

std::uint64_t FileHandle::Tell() const {
    if (!open_) return kBadPosition;
    const off_t position = ftello(file_);
    return position < 0 ? kBadPosition : static_cast<std::uint64_t>(position);
}

}  // namespace detail

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

lxInFile::lxInFile(lxInFile&& other) noexcept : IInFileStream(other), file_(std::move(other.file_)) {}

lxInFile& lxInFile::operator=(lxInFile&& other) noexcept {
    if (this != &other) {
        // The virtual Close lets a derived stream let go of the FILE first.
        Close();
        file_ = std::move(other.file_);
    }
    return *this;
}

lxInFile::~lxInFile() { lxInFile::Close(); }

// Both opens close through the virtual Close first, for the same reason.
bool lxInFile::Open(const std::u16string& name) {
    Close();
    return file_.Open(name, "rb");
}

bool lxInFile::Open(const std::string& name) {
    Close();
    return file_.Open(name, "rb");
}

void lxInFile::Close() { file_.Close(); }

bool lxInFile::UseBuffer(std::size_t size) { return file_.UseBuffer(size); }

bool lxInFile::Read(char* destination, std::uint64_t count) { return file_.Read(destination, count); }
bool lxInFile::SeekForward(std::uint64_t count) { return file_.SeekForward(count); }
bool lxInFile::SeekBackward(std::uint64_t count) { return file_.SeekBackward(count); }
bool lxInFile::SeekAbsolute(std::uint64_t position) { return file_.SeekAbsolute(position); }
bool lxInFile::SeekEnd(std::uint64_t offset) { return file_.SeekEnd(offset); }
std::uint64_t lxInFile::GetLastCount() const { return file_.LastCount(); }
std::uint64_t lxInFile::Tell() const { return file_.Tell(); }
std::uint64_t lxInFile::GetFileSize() { return file_.SizeSeenBy(*this); }

// ------------------------------------------------------------------- lxOutFile

lxOutFile::lxOutFile() = default;

lxOutFile::lxOutFile(const std::string& name, bool update) {
    if (!Open(name, update)) throw LXFileNotOpenException("Cannot open file: " + name);
}

lxOutFile::lxOutFile(const std::u16string& name, bool update) {
    if (!Open(name, update)) throw LXFileNotOpenException("Cannot open file");
}

lxOutFile::lxOutFile(lxOutFile&& other) noexcept
    : IOutFileStream(other), file_(std::move(other.file_)), writeOnly_(std::exchange(other.writeOnly_, true)) {}

lxOutFile& lxOutFile::operator=(lxOutFile&& other) noexcept {
    if (this != &other) {
        file_ = std::move(other.file_);
        writeOnly_ = std::exchange(other.writeOnly_, true);
    }
    return *this;
}

lxOutFile::~lxOutFile() { Close(); }

bool lxOutFile::Open(const std::string& name, bool update) {
    writeOnly_ = !update;
    return file_.Open(name, update ? "r+b" : "wb");
}

bool lxOutFile::Open(const std::u16string& name, bool update) {
    writeOnly_ = !update;
    return file_.Open(name, update ? "r+b" : "wb");
}

void lxOutFile::Close() {
    if (!file_.IsOpen()) return;
    file_.Close();
    writeOnly_ = true;
}

void lxOutFile::Write(const char* source, std::uint64_t count) {
    if (count == 0) return;
    std::FILE* const handle = file_.Get();
    if (!file_.IsOpen()) throw LXWritingException(WritingMessage(0, count, 0));
    // A seek to the current position empties the FILE buffer, so that the C
    // library hands a large block to the kernel in one call instead of first
    // topping up its buffer and splitting the block in two. Its result does
    // not matter: a failed flush leaves the error indicator set for the test
    // below.
    constexpr std::uint64_t kLargeWrite = std::uint64_t{1} << 16;
    if (count >= kLargeWrite) fseeko(handle, 0, SEEK_CUR);
    const std::uint64_t written = std::fwrite(source, 1, static_cast<std::size_t>(count), handle);
    // The error indicator is sticky: once set, every later Write throws too.
    const int error = std::ferror(handle);
    if (error != 0 || written < count) {
        throw LXWritingException(WritingMessage(written, count, error));
    }
}

bool lxOutFile::Read(char* destination, std::uint64_t count) {
    return !writeOnly_ && file_.Read(destination, count);
}

std::uint64_t lxOutFile::GetLastCount() const { return file_.LastCount(); }
bool lxOutFile::SeekAbsolute(std::uint64_t position) { return file_.SeekAbsolute(position); }
bool lxOutFile::SeekForward(std::uint64_t count) { return file_.SeekForward(count); }
bool lxOutFile::SeekBackward(std::uint64_t count) { return file_.SeekBackward(count); }
bool lxOutFile::SeekEnd(std::uint64_t offset) { return file_.SeekEnd(offset); }
std::uint64_t lxOutFile::Tell() const { return file_.Tell(); }
std::uint64_t lxOutFile::GetFileSize() { return file_.SizeSeenBy(*this); }

bool lxOutFile::Flush() const { return file_.IsOpen() && std::fflush(file_.Get()) == 0; }

bool lxOutFile::TruncateToCurrentPosition() {
    if (!file_.IsOpen()) return false;
    std::FILE* const handle = file_.Get();
    const int descriptor = fileno(handle);
    // The file ends where the descriptor stands. Flushing first puts pending
    // writes into the file and, after reads, moves the descriptor back to the
    // FILE's position (a seek inside the read buffer leaves it elsewhere).
    if (descriptor < 0 || std::fflush(handle) != 0) return false;
    const off_t end = lseek(descriptor, 0, SEEK_CUR);
    return end >= 0 && ftruncate(descriptor, end) == 0;
}

}  // namespace lxbase
