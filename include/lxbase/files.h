#ifndef LXBASE_FILES_H
#define LXBASE_FILES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ios>
#include <memory>
#include <string>

#include "lxbase/export.h"
#include "lxbase/streams.h"

namespace lxbase {

namespace detail {

// The open FILE of lxInFile and lxOutFile with the fields that go with it:
// the open flag, the count of the latest Read and the buffer the FILE may
// have been given. Move-only: the source of a move is left closed, so the
// file is closed exactly once, by Close or the destructor. Every operation on
// a closed handle reports its failure value (false, all bits set for Tell).
// Internal to the library: its functions are not exported.
class FileHandle {
public:
    FileHandle() = default;
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle();

    // Closes an open file first. A name holding a zero or naming a directory
    // is refused; a wide name that is not valid UTF-16 cannot be opened.
    bool Open(const std::string& name, const char* mode);
    bool Open(const std::u16string& name, const char* mode);
    // Closes the file, frees the buffer, sets the last count to 0.
    void Close();
    // Gives the FILE a buffer of size bytes; only right after opening.
    // Throws std::bad_alloc.
    bool UseBuffer(std::size_t size);

    bool Read(char* destination, std::uint64_t count);
    bool SeekForward(std::uint64_t count);
    bool SeekBackward(std::uint64_t count);
    bool SeekAbsolute(std::uint64_t position);
    bool SeekEnd(std::uint64_t offset);
    std::uint64_t Tell() const;

    // GetFileSize of the stream over this handle: the position is taken and
    // the size read through the stream's own (virtual) Tell; the results of
    // the two seeks are not examined. 0 when closed.
    template <class Stream>
    std::uint64_t SizeSeenBy(const Stream& stream) {
        if (!open_) return 0;
        const std::uint64_t position = stream.Tell();
        SeekEnd(0);
        const std::uint64_t size = stream.Tell();
        SeekAbsolute(position);
        return size;
    }

    bool IsOpen() const { return open_; }
    std::FILE* Get() const { return file_; }
    std::uint64_t LastCount() const { return lastCount_; }

private:
    std::FILE* file_ = nullptr;
    bool open_ = false;
    std::uint64_t lastCount_ = 0;
    std::unique_ptr<char[]> buffer_;
};

}  // namespace detail

// Reads a file as a byte stream through a binary-mode FILE with 64-bit
// positions. Move-only: a moved-from object is closed. Every operation on a
// closed object reports its failure value (false, last count 0, all bits set
// for Tell, 0 for GetFileSize) and never touches the handle.
class LXBASE_API lxInFile : public IInFileStream {
public:
    lxInFile();
    // Throws LXFileNotOpenException("Cannot open file").
    explicit lxInFile(const std::string& name);
    // Throws LXFileNotOpenException("Cannot open file: " + UTF-8 name); a name
    // that is not valid UTF-16 lets utf8-cpp's exception through instead.
    explicit lxInFile(const std::u16string& name);
    lxInFile(const lxInFile&) = delete;
    lxInFile& operator=(const lxInFile&) = delete;
    lxInFile(lxInFile&& other) noexcept;
    lxInFile& operator=(lxInFile&& other) noexcept;

    // False on a read error, or when the read tried to go past the end of the
    // file; GetLastCount() tells how many bytes arrived.
    bool Read(char* destination, std::uint64_t count) override;
    bool SeekForward(std::uint64_t count) override;
    bool SeekBackward(std::uint64_t count) override;
    bool SeekAbsolute(std::uint64_t position) override;
    std::uint64_t GetLastCount() const override;
    // All bits set when the position cannot be told.
    std::uint64_t Tell() const override;
    ~lxInFile() override;

    // Open never throws. A file that is still open is closed first; a
    // directory is refused (reading it could only fail).
    [[nodiscard]] virtual bool Open(const std::u16string& name);
    [[nodiscard]] virtual bool Open(const std::string& name);
    virtual void Close();

    // Seeks to the end displaced by offset, read as a signed number.
    bool SeekEnd(std::uint64_t offset);
    std::uint64_t GetFileSize();
    bool IsOpen() const { return file_.IsOpen(); }
    std::FILE* GetFILE() const { return file_.Get(); }

protected:
    // Gives the open FILE a buffer of size bytes instead of its default one;
    // only right after opening, before any read. The buffer belongs to this
    // object and goes with the handle: it is freed after the FILE is closed.
    // Throws std::bad_alloc.
    bool UseBuffer(std::size_t size);

private:
    detail::FileHandle file_;
};

// Creates (update false: mode "wb") or updates (update true: mode "r+b") a
// file. Move-only like lxInFile. Its Read and GetLastCount are its own: an
// lxOutFile is not an input stream.
class LXBASE_API lxOutFile : public IOutFileStream {
public:
    // A named form of the update flag: Create is false ("wb"), Update is true
    // ("r+b"). The overloads taking it behave exactly like the bool ones.
    enum class OpenMode : bool { Create = false, Update = true };

    lxOutFile();
    // Throws LXFileNotOpenException("Cannot open file: " + name).
    lxOutFile(const std::string& name, bool update);
    // Throws LXFileNotOpenException("Cannot open file").
    lxOutFile(const std::u16string& name, bool update);
    lxOutFile(const std::string& name, OpenMode mode) : lxOutFile(name, IsUpdate(mode)) {}
    lxOutFile(const std::u16string& name, OpenMode mode) : lxOutFile(name, IsUpdate(mode)) {}
    lxOutFile(const lxOutFile&) = delete;
    lxOutFile& operator=(const lxOutFile&) = delete;
    lxOutFile(lxOutFile&& other) noexcept;
    lxOutFile& operator=(lxOutFile&& other) noexcept;

    // Writes every byte or throws LXWritingException("written N/M error E"),
    // E being the file's error indicator, which stays set: every later Write
    // throws too. A count of 0 does nothing.
    void Write(const char* source, std::uint64_t count) override;
    bool SeekAbsolute(std::uint64_t position) override;
    bool SeekForward(std::uint64_t count) override;
    bool SeekBackward(std::uint64_t count) override;
    std::uint64_t Tell() const override;
    ~lxOutFile() override;

    // Open never throws; a file that is still open is closed first.
    [[nodiscard]] bool Open(const std::string& name, bool update);
    [[nodiscard]] bool Open(const std::u16string& name, bool update);
    [[nodiscard]] bool Open(const std::string& name, OpenMode mode) { return Open(name, IsUpdate(mode)); }
    [[nodiscard]] bool Open(const std::u16string& name, OpenMode mode) {
        return Open(name, IsUpdate(mode));
    }
    void Close();

    // False at once (last count unchanged) unless opened with update true.
    bool Read(char* destination, std::uint64_t count);
    std::uint64_t GetLastCount() const;
    bool SeekEnd(std::uint64_t offset);
    std::uint64_t GetFileSize();
    [[nodiscard]] bool Flush() const;
    // Cuts the file at the position of its descriptor; the FILE buffer is not
    // flushed first (SeekAbsolute or Flush before calling this).
    [[nodiscard]] bool TruncateToCurrentPosition();
    bool IsOpen() const { return file_.IsOpen(); }
    std::FILE* GetFILE() const { return file_.Get(); }

private:
    static bool IsUpdate(OpenMode mode) { return mode == OpenMode::Update; }

    detail::FileHandle file_;
    bool writeOnly_ = true;
};

// A text input file: an lxInFile with a text stream over the same FILE. Both
// views share the one position, so Read, the seeks, Tell, Getline and Ignore
// mix freely. The text stream's state bits are sticky until Close and Open
// (the byte-level seeks do not clear them); once the stream is not good,
// Getline and Ignore read nothing and leave the string unchanged.
class LXBASE_API LargeIfstream : public lxInFile {
public:
    explicit LargeIfstream(const std::string& name);
    explicit LargeIfstream(const std::u16string& name);
    LargeIfstream(const LargeIfstream&) = delete;
    LargeIfstream& operator=(const LargeIfstream&) = delete;
    LargeIfstream(LargeIfstream&& other) noexcept;
    LargeIfstream& operator=(LargeIfstream&& other) noexcept;
    ~LargeIfstream() override;

    [[nodiscard]] bool Open(const std::u16string& name) override;
    [[nodiscard]] bool Open(const std::string& name) override;
    void Close() override;

    // std::getline semantics: up to the next line feed (or delimiter), which
    // is consumed and not stored.
    void Getline(std::string& line);
    void Getline(std::string& line, char delimiter);
    // std::istream::getline semantics: at most count - 1 characters and a
    // terminating zero; failbit when the line does not fit.
    void Getline(char* destination, std::int64_t count);
    // Skips count characters or up to and including the delimiter (any byte).
    void Ignore(std::uint64_t count, char delimiter);
    // Makes the text stream throw std::ios_base::failure for these bits
    // (at once if one is set already). Nothing happens on a closed object.
    void Exceptions(std::ios_base::iostate mask);
    // The text stream's state; badbit when the object is closed.
    std::ios_base::iostate GetState() const;

private:
    struct TextStream;
    // Gives the FILE a larger buffer and creates the text stream; on an
    // allocation failure closes the file and returns false.
    bool AttachTextStream();
    TextStream* ActiveText() const { return IsOpen() ? text_.get() : nullptr; }

    std::unique_ptr<TextStream> text_;
};

}  // namespace lxbase

#endif
