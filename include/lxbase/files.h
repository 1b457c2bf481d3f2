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

/// The open FILE of lxInFile and lxOutFile with the fields that go with it:
/// the open flag, the count of the latest Read and the buffer the FILE may
/// have been given. Move-only: the source of a move is left closed, so the
/// file is closed exactly once, by Close or the destructor. Every operation on
/// a closed handle reports its failure value (false, all bits set for Tell).
/// Internal to the library: its functions are not exported.
class FileHandle {
public:
    FileHandle() = default;
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle();

    /// Closes an open file first. A name holding a zero or naming a directory
    /// is refused; a wide name that is not valid UTF-16 cannot be opened.
    bool Open(const std::string& name, const char* mode);
    bool Open(const std::u16string& name, const char* mode);
    /// Closes the file, frees the buffer, sets the last count to 0.
    void Close();
    /// Gives the FILE a buffer of size bytes; only right after opening.
    /// Throws std::bad_alloc.
    bool UseBuffer(std::size_t size);

    bool Read(char* destination, std::uint64_t count);
    bool SeekForward(std::uint64_t count);
    bool SeekBackward(std::uint64_t count);
    bool SeekAbsolute(std::uint64_t position);
    bool SeekEnd(std::uint64_t offset);
    std::uint64_t Tell() const;

    /// GetFileSize of the stream over this handle: the position is taken and
    /// the size read through the stream's own (virtual) Tell; the results of
    /// the two seeks are not examined. 0 when closed.
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

/// Reads a file as a byte stream through a binary-mode FILE with 64-bit
/// positions. Move-only: a moved-from object is closed. Every operation on a
/// closed object reports its failure value (false, last count 0, all bits set
/// for Tell, 0 for GetFileSize) and never touches the handle.
class LXBASE_API lxInFile : public IInFileStream {
public:
    /// A closed object, last count 0.
    lxInFile();
    /// Opens `name` for reading ("rb"). Throws
    /// LXFileNotOpenException("Cannot open file") without the name.
    explicit lxInFile(const std::string& name);
    /// Opens the UTF-8 form of `name` for reading. Throws
    /// LXFileNotOpenException("Cannot open file: " + UTF-8 name); a name that
    /// is not valid UTF-16 lets utf8::invalid_utf16 through instead.
    explicit lxInFile(const std::u16string& name);
    lxInFile(const lxInFile&) = delete;
    lxInFile& operator=(const lxInFile&) = delete;
    /// Takes over the open file; `other` is left closed.
    lxInFile(lxInFile&& other) noexcept;
    /// Closes this file, then takes over `other`'s; `other` is left closed.
    lxInFile& operator=(lxInFile&& other) noexcept;

    /// Reads up to `count` bytes. False on a read error, or when the read
    /// tried to go past the end of the file (a read of exactly the remaining
    /// bytes is true, the next one false with last count 0); GetLastCount()
    /// tells how many bytes arrived.
    bool Read(char* destination, std::uint64_t count) override;
    /// Seeks `count` bytes forward; false if the seek failed.
    bool SeekForward(std::uint64_t count) override;
    /// Seeks `count` bytes backward; false, without moving, past the start.
    bool SeekBackward(std::uint64_t count) override;
    /// Seeks to byte `position`; false if the seek failed.
    bool SeekAbsolute(std::uint64_t position) override;
    /// The bytes delivered by the latest Read; 0 after Close.
    std::uint64_t GetLastCount() const override;
    /// The position; all bits set when it cannot be told or the file is closed.
    std::uint64_t Tell() const override;
    /// Close().
    ~lxInFile() override;

    /// Opens the UTF-8 form of `name` for reading; false if it cannot be
    /// opened or is not valid UTF-16. Never throws. A file that is still open
    /// is closed first; a directory is refused (reading it could only fail).
    [[nodiscard]] virtual bool Open(const std::u16string& name);
    /// Opens `name` for reading; false on failure, like the wide form.
    [[nodiscard]] virtual bool Open(const std::string& name);
    /// Closes an open file and sets the last count to 0; nothing otherwise.
    virtual void Close();

    /// Seeks to the end of the file displaced by `offset`, read as a signed
    /// 64-bit number (SeekEnd(0) moves to the end); false if the seek failed.
    bool SeekEnd(std::uint64_t offset);
    /// The file's length in bytes; the position is kept. 0 when closed.
    std::uint64_t GetFileSize();
    /// True between a successful open and Close.
    bool IsOpen() const { return file_.IsOpen(); }
    /// The FILE handle; null when the object is closed.
    std::FILE* GetFILE() const { return file_.Get(); }

protected:
    /// Gives the open FILE a buffer of size bytes instead of its default one;
    /// only right after opening, before any read. The buffer belongs to this
    /// object and goes with the handle: it is freed after the FILE is closed.
    /// Throws std::bad_alloc.
    bool UseBuffer(std::size_t size);

private:
    detail::FileHandle file_;
};

/// Creates (update false: mode "wb") or updates (update true: mode "r+b") a
/// file. Move-only like lxInFile. Its Read and GetLastCount are its own: an
/// lxOutFile is not an input stream.
class LXBASE_API lxOutFile : public IOutFileStream {
public:
    /// A named form of the update flag. The overloads taking it behave
    /// exactly like the bool ones.
    enum class OpenMode : bool {
        Create = false,  ///< The flag false: mode "wb", create or truncate, write only.
        Update = true    ///< The flag true: mode "r+b", an existing file, read and write.
    };

    /// A closed object, last count 0.
    lxOutFile();
    /// Opens `name` in the mode that `update` picks. Throws
    /// LXFileNotOpenException("Cannot open file: " + name).
    lxOutFile(const std::string& name, bool update);
    /// Opens the UTF-8 form of `name` in the mode that `update` picks. Throws
    /// LXFileNotOpenException("Cannot open file") without the name.
    lxOutFile(const std::u16string& name, bool update);
    /// lxOutFile(name, mode == OpenMode::Update).
    lxOutFile(const std::string& name, OpenMode mode) : lxOutFile(name, IsUpdate(mode)) {}
    /// lxOutFile(name, mode == OpenMode::Update).
    lxOutFile(const std::u16string& name, OpenMode mode) : lxOutFile(name, IsUpdate(mode)) {}
    lxOutFile(const lxOutFile&) = delete;
    lxOutFile& operator=(const lxOutFile&) = delete;
    /// Takes over the open file; `other` is left closed.
    lxOutFile(lxOutFile&& other) noexcept;
    /// Closes this file, then takes over `other`'s; `other` is left closed.
    lxOutFile& operator=(lxOutFile&& other) noexcept;

    /// Writes every byte or throws LXWritingException("written N/M error E"),
    /// E being the file's error indicator, which stays set: every later Write
    /// throws too. A count of 0 does nothing; on a closed object Write throws.
    void Write(const char* source, std::uint64_t count) override;
    /// Seeks to byte `position`; false if the seek failed.
    bool SeekAbsolute(std::uint64_t position) override;
    /// Seeks `count` bytes forward; false if the seek failed.
    bool SeekForward(std::uint64_t count) override;
    /// Seeks `count` bytes backward; false, without moving, past the start.
    bool SeekBackward(std::uint64_t count) override;
    /// The position; all bits set when it cannot be told or the file is closed.
    std::uint64_t Tell() const override;
    /// Close().
    ~lxOutFile() override;

    /// Opens `name` in the mode that `update` picks; false on failure (with
    /// update true, also when the file does not exist). Never throws; a file
    /// that is still open is closed first.
    [[nodiscard]] bool Open(const std::string& name, bool update);
    /// Opens the UTF-8 form of `name` like the narrow form; false also when
    /// the name is not valid UTF-16.
    [[nodiscard]] bool Open(const std::u16string& name, bool update);
    /// Open(name, mode == OpenMode::Update).
    [[nodiscard]] bool Open(const std::string& name, OpenMode mode) { return Open(name, IsUpdate(mode)); }
    /// Open(name, mode == OpenMode::Update).
    [[nodiscard]] bool Open(const std::u16string& name, OpenMode mode) {
        return Open(name, IsUpdate(mode));
    }
    /// Closes an open file; the object is then write-only with last count 0.
    void Close();

    /// Reads like lxInFile::Read; false at once (last count unchanged) unless
    /// the file was opened with update true.
    bool Read(char* destination, std::uint64_t count);
    /// The bytes delivered by the latest Read; Write does not change it.
    std::uint64_t GetLastCount() const;
    /// Seeks to the end displaced by `offset` read as a signed number, like
    /// lxInFile::SeekEnd.
    bool SeekEnd(std::uint64_t offset);
    /// The file's length including everything written so far; the position
    /// is kept. 0 when closed.
    std::uint64_t GetFileSize();
    /// Hands the FILE buffer to the file; false if that failed or the file
    /// is closed.
    [[nodiscard]] bool Flush() const;
    /// Flushes, then cuts the file at the current position; false if the
    /// flush or the truncation failed or the file is closed.
    [[nodiscard]] bool TruncateToCurrentPosition();
    /// True between a successful open and Close.
    bool IsOpen() const { return file_.IsOpen(); }
    /// The FILE handle; null when the object is closed.
    std::FILE* GetFILE() const { return file_.Get(); }

private:
    static bool IsUpdate(OpenMode mode) { return mode == OpenMode::Update; }

    detail::FileHandle file_;
    bool writeOnly_ = true;
};

/// A text input file: an lxInFile with a text stream over the same FILE. Both
/// views share the one position, so Read, the seeks, Tell, Getline and Ignore
/// mix freely. The text stream's state bits are sticky until Close and Open
/// (the byte-level seeks do not clear them); once the stream is not good,
/// Getline and Ignore read nothing and leave the string unchanged.
class LXBASE_API LargeIfstream : public lxInFile {
public:
    /// Opens `name` like lxInFile's narrow constructor (same exception);
    /// throws std::bad_alloc when the text stream cannot be made.
    explicit LargeIfstream(const std::string& name);
    /// Opens `name` like lxInFile's wide constructor (same exceptions);
    /// throws std::bad_alloc when the text stream cannot be made.
    explicit LargeIfstream(const std::u16string& name);
    /// Takes over the file and its text stream; `other` is left closed.
    LargeIfstream(LargeIfstream&& other) noexcept;
    /// Closes this file, then takes over `other`'s; `other` is left closed.
    LargeIfstream& operator=(LargeIfstream&& other) noexcept;
    /// Close().
    ~LargeIfstream() override;

    /// lxInFile::Open, then a fresh text stream with good state; false if
    /// either fails.
    [[nodiscard]] bool Open(const std::u16string& name) override;
    /// lxInFile::Open, then a fresh text stream with good state; false if
    /// either fails.
    [[nodiscard]] bool Open(const std::string& name) override;
    /// Ends the text stream, then closes the file.
    void Close() override;

    /// std::getline semantics: reads up to the next line feed, which is
    /// consumed and not stored.
    void Getline(std::string& line);
    /// std::getline semantics: reads up to the next `delimiter`, which is
    /// consumed and not stored.
    void Getline(std::string& line, char delimiter);
    /// std::istream::getline semantics: at most count - 1 characters and a
    /// terminating zero; failbit when the line does not fit.
    void Getline(char* destination, std::int64_t count);
    /// Skips count characters or up to and including the delimiter (any byte).
    void Ignore(std::uint64_t count, char delimiter);
    /// Makes the text stream throw std::ios_base::failure for these bits
    /// (at once if one is set already). Nothing happens on a closed object.
    void Exceptions(std::ios_base::iostate mask);
    /// The text stream's state; badbit when the object is closed.
    std::ios_base::iostate GetState() const;

private:
    struct TextStream;
    /// Gives the FILE a larger buffer and creates the text stream; on an
    /// allocation failure closes the file and returns false.
    bool AttachTextStream();
    TextStream* ActiveText() const { return IsOpen() ? text_.get() : nullptr; }

    std::unique_ptr<TextStream> text_;
};

}  // namespace lxbase

#endif
