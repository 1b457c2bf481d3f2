#ifndef LXBASE_EXCEPTIONS_H
#define LXBASE_EXCEPTIONS_H

#include <exception>
#include <string>

#include "lxbase/export.h"

namespace lxbase {

/// Root of the library's exception family. The library itself only throws the
/// four derived types; what() is exactly the message given at construction.
struct LXBASE_API LXException : std::exception {
    /// An exception whose what() is `message`.
    explicit LXException(const std::string& message);
    /// Copies the message.
    LXException(const LXException&) = default;
    /// Copies the message.
    LXException& operator=(const LXException&) = default;
    /// Frees the message.
    ~LXException() override;
    /// The message given at construction, as a zero-terminated narrow string.
    const char* what() const noexcept override;

private:
    std::string message_;
};

/// IOHeader::Write asked for a version newer than the type's current one.
struct LXBASE_API LXHeaderOperationException : LXException {
    /// The library's message is "Unsupported Header version".
    explicit LXHeaderOperationException(const std::string& message);
};

/// IOHeader could not allocate the scratch block of a large record.
struct LXBASE_API LXOutOfMemoryException : LXException {
    /// The library's messages are "Cannot write to stream: memory cannot be
    /// allocated" and "Cannot read stream: memory cannot be allocated".
    explicit LXOutOfMemoryException(const std::string& message);
};

/// lxOutFile::Write wrote fewer bytes than asked or the file's error flag is set.
struct LXBASE_API LXWritingException : LXException {
    /// The library's message is "written N/M error E": N bytes written of M,
    /// E the file's error indicator as a signed decimal number.
    explicit LXWritingException(const std::string& message);
};

/// A naming file constructor could not open its file.
struct LXBASE_API LXFileNotOpenException : LXException {
    /// The library's message is "Cannot open file", for some constructors
    /// followed by ": " and the file name (see lxInFile and lxOutFile).
    explicit LXFileNotOpenException(const std::string& message);
};

}  // namespace lxbase

#endif
