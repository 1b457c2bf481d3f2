#ifndef LXBASE_SRC_FILE_OPS_H
#define LXBASE_SRC_FILE_OPS_H

// Operations on a binary-mode FILE shared by lxInFile and lxOutFile. Callers
// check that their object is open before handing the handle in.

#include <cstdint>
#include <cstdio>
#include <string>

namespace lxbase {
namespace fileops {

// fopen of a UTF-8 name; refuses directories. Null on failure.
std::FILE* Open(const std::string& name, const char* mode);
// The UTF-8 form of a wide name; false when it is not valid UTF-16.
bool NarrowName(const std::u16string& name, std::string& narrow);
void Close(std::FILE* file);

// fread of count bytes. False on a read error or when the end of the file
// was met; lastCount receives the number of bytes read.
bool Read(std::FILE* file, char* destination, std::uint64_t count, std::uint64_t& lastCount);

bool SeekForward(std::FILE* file, std::uint64_t count);
bool SeekBackward(std::FILE* file, std::uint64_t count);
bool SeekAbsolute(std::FILE* file, std::uint64_t position);
bool SeekEnd(std::FILE* file, std::uint64_t offset);
// All bits set when ftello fails.
std::uint64_t Tell(std::FILE* file);

constexpr std::uint64_t kBadPosition = ~std::uint64_t{0};

// The size of the file behind an open stream: remember the position through
// the stream's own (virtual) Tell, seek to the end, tell, seek back. The
// results of the two seeks are not examined.
template <class Stream>
std::uint64_t FileSize(const Stream& stream, std::FILE* file) {
    const std::uint64_t position = stream.Tell();
    SeekEnd(file, 0);
    const std::uint64_t size = stream.Tell();
    SeekAbsolute(file, position);
    return size;
}

}  // namespace fileops
}  // namespace lxbase

#endif
