#ifndef LXBASE_EXCEPTIONS_H
#define LXBASE_EXCEPTIONS_H

#include <exception>
#include <string>

#include "lxbase/export.h"

namespace lxbase {

// Root of the library's exception family. The library itself only throws the
// four derived types; what() is exactly the message given at construction.
struct LXBASE_API LXException : std::exception {
    explicit LXException(const std::string& message);
    LXException(const LXException&) = default;
    LXException& operator=(const LXException&) = default;
    ~LXException() override;
    const char* what() const noexcept override;

private:
    std::string message_;
};

// IOHeader::Write asked for a version newer than the type's current one.
struct LXBASE_API LXHeaderOperationException : LXException {
    explicit LXHeaderOperationException(const std::string& message);
};

// IOHeader could not allocate the scratch block of a large record.
struct LXBASE_API LXOutOfMemoryException : LXException {
    explicit LXOutOfMemoryException(const std::string& message);
};

// lxOutFile::Write wrote fewer bytes than asked or the file's error flag is set.
struct LXBASE_API LXWritingException : LXException {
    explicit LXWritingException(const std::string& message);
};

// A naming file constructor could not open its file.
struct LXBASE_API LXFileNotOpenException : LXException {
    explicit LXFileNotOpenException(const std::string& message);
};

}  // namespace lxbase

#endif
