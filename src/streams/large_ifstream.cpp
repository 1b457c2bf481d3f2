#include <cstdio>
#include <cstring>
#include <exception>
#include <ios>
#include <istream>
#include <limits>
#include <memory>
#include <new>
#include <streambuf>
#include <string>
#include <utility>

#include "lxbase/files.h"

#ifndef __GLIBC__
#error "LargeIfstream reads through the FILE buffer pointers of the GNU C library"
#endif

namespace lxbase {

namespace {

// Makes the FILE buffer hold at least one unread byte, reading more when it
// is empty; false at the end of the file (or on a read error). getc refills
// the buffer, and stepping its pointer back leaves that byte unread.
bool Refill(std::FILE* file) {
    if (file->_IO_read_ptr < file->_IO_read_end) return true;
    if (getc_unlocked(file) == EOF) return false;
    --file->_IO_read_ptr;
    return true;
}

// A stream buffer whose get area is a window on the FILE's own read buffer
// (glibc's _IO_read_ptr.._IO_read_end), so the text stream never reads ahead
// of the FILE. Characters the text stream consumes are handed back to the
// FILE by Commit, which runs when each text operation ends: between
// operations the FILE alone holds the position, and byte reads, seeks and
// Tell need no coordination.
class FileWindowBuf : public std::streambuf {
public:
    explicit FileWindowBuf(std::FILE* file) : file_(file) {}

    std::FILE* File() const { return file_; }

    void Commit() {
        if (gptr() != nullptr) file_->_IO_read_ptr = gptr();
        setg(nullptr, nullptr, nullptr);
    }

protected:
    int_type underflow() override {
        Commit();
        if (!Refill(file_)) return traits_type::eof();
        setg(file_->_IO_read_ptr, file_->_IO_read_ptr, file_->_IO_read_end);
        return traits_type::to_int_type(*gptr());
    }

private:
    std::FILE* file_;
};

// The extraction of std::getline done on the FILE buffer itself, a memchr
// per buffer load instead of a pass through the stream layers per line.
// Returns eofbit when the input ended before a delimiter; extracted tells
// whether any character (the delimiter included) was taken.
std::ios_base::iostate ReadLine(std::FILE* file, std::string& line, char delimiter, bool& extracted) {
    line.clear();
    while (Refill(file)) {
        char* const begin = file->_IO_read_ptr;
        char* const end = file->_IO_read_end;
        const auto available = static_cast<std::size_t>(end - begin);
        char* const found = static_cast<char*>(std::memchr(begin, delimiter, available));
        line.append(begin, found != nullptr ? static_cast<std::size_t>(found - begin) : available);
        extracted = true;
        if (found != nullptr) {
            file->_IO_read_ptr = found + 1;
            return std::ios_base::goodbit;
        }
        file->_IO_read_ptr = end;
    }
    return std::ios_base::eofbit;
}

// What std::getline does when extraction throws: set badbit, and let the
// exception go on only if badbit is in the stream's exception mask.
void SetBadAfter(std::istream& stream, const std::exception_ptr& error) {
    try {
        stream.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
        std::rethrow_exception(error);
    }
}

}  // namespace

struct LargeIfstream::TextStream {
    explicit TextStream(std::FILE* file) : window(file), stream(&window) {}

    FileWindowBuf window;
    std::istream stream;
};

namespace {

// Runs one text operation and hands what it consumed back to the FILE,
// however it ends (the stream throws std::ios_base::failure when asked to).
template <class Text, class Operation>
void RunText(Text* text, Operation operation) {
    if (text == nullptr) return;
    struct CommitOnExit {
        FileWindowBuf& window;
        ~CommitOnExit() { window.Commit(); }
    } commit{text->window};
    operation(text->stream);
}

}  // namespace

LargeIfstream::LargeIfstream(const std::string& name) : lxInFile(name) {
    if (!AttachTextStream()) throw std::bad_alloc();
}

LargeIfstream::LargeIfstream(const std::u16string& name) : lxInFile(name) {
    if (!AttachTextStream()) throw std::bad_alloc();
}

LargeIfstream::LargeIfstream(LargeIfstream&& other) noexcept
    : lxInFile(std::move(other)), text_(std::move(other.text_)) {}

LargeIfstream& LargeIfstream::operator=(LargeIfstream&& other) noexcept {
    if (this != &other) {
        // Closes this object through the virtual Close: text stream first.
        lxInFile::operator=(std::move(other));
        text_ = std::move(other.text_);
    }
    return *this;
}

LargeIfstream::~LargeIfstream() { LargeIfstream::Close(); }

bool LargeIfstream::Open(const std::u16string& name) {
    return lxInFile::Open(name) && AttachTextStream();
}

bool LargeIfstream::Open(const std::string& name) {
    return lxInFile::Open(name) && AttachTextStream();
}

bool LargeIfstream::AttachTextStream() {
    // Line scanning costs a read call per buffer load: a buffer larger than
    // the FILE's default (one disk block) saves most of them.
    constexpr std::size_t kBufferSize = std::size_t{1} << 16;
    try {
        UseBuffer(kBufferSize);
        text_ = std::make_unique<TextStream>(GetFILE());
        return true;
    } catch (const std::bad_alloc&) {
        Close();
        return false;
    }
}

void LargeIfstream::Close() {
    // The text stream goes before the FILE it looks into.
    text_.reset();
    lxInFile::Close();
}

namespace {

// std::getline on the text stream, with the same results, state bits and
// exceptions, but extracting straight from the FILE buffer.
template <class Text>
void GetlineFromFile(Text& text, std::string& line, char delimiter) {
    std::istream& stream = text.stream;
    // The sentry's rule: a stream that is not good extracts nothing.
    if (!stream.good()) {
        stream.setstate(std::ios_base::failbit);
        return;
    }
    bool extracted = false;
    std::ios_base::iostate state = std::ios_base::goodbit;
    try {
        state = ReadLine(text.window.File(), line, delimiter, extracted);
    } catch (...) {
        SetBadAfter(stream, std::current_exception());
    }
    if (!extracted) state |= std::ios_base::failbit;
    if (state != std::ios_base::goodbit) stream.setstate(state);
}

}  // namespace

// The text stream of a closed object (or of one whose file was moved away
// through an lxInFile) is never used.
void LargeIfstream::Getline(std::string& line) {
    if (TextStream* text = ActiveText()) GetlineFromFile(*text, line, text->stream.widen('\n'));
}

void LargeIfstream::Getline(std::string& line, char delimiter) {
    if (TextStream* text = ActiveText()) GetlineFromFile(*text, line, delimiter);
}

void LargeIfstream::Getline(char* destination, std::int64_t count) {
    RunText(ActiveText(), [destination, count](std::istream& stream) {
        stream.getline(destination, static_cast<std::streamsize>(count));
    });
}

void LargeIfstream::Ignore(std::uint64_t count, char delimiter) {
    // The largest streamsize means "no limit" to ignore, which is what any
    // larger count amounts to. The delimiter goes through to_int_type: a
    // byte of 0xFF passed as a plain char would equal eof() and match nothing.
    constexpr std::uint64_t kUnlimited = std::numeric_limits<std::streamsize>::max();
    const auto limit = static_cast<std::streamsize>(count < kUnlimited ? count : kUnlimited);
    const auto delimiterValue = std::char_traits<char>::to_int_type(delimiter);
    RunText(ActiveText(), [limit, delimiterValue](std::istream& stream) {
        stream.ignore(limit, delimiterValue);
    });
}

void LargeIfstream::Exceptions(std::ios_base::iostate mask) {
    if (TextStream* text = ActiveText()) text->stream.exceptions(mask);
}

std::ios_base::iostate LargeIfstream::GetState() const {
    const TextStream* text = ActiveText();
    return text != nullptr ? text->stream.rdstate() : std::ios_base::badbit;
}

}  // namespace lxbase
