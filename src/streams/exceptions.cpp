#include "lxbase/exceptions.h"

namespace lxbase {

LXException::LXException(const std::string& message) : message_(message) {}
LXException::~LXException() = default;
const char* LXException::what() const noexcept { return message_.c_str(); }

LXHeaderOperationException::LXHeaderOperationException(const std::string& message)
    : LXException(message) {}
LXOutOfMemoryException::LXOutOfMemoryException(const std::string& message)
    : LXException(message) {}
LXWritingException::LXWritingException(const std::string& message) : LXException(message) {}
LXFileNotOpenException::LXFileNotOpenException(const std::string& message)
    : LXException(message) {}

}  // namespace lxbase
