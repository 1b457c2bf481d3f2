// The parsed header of a PLY file (ply_header.cpp) and the input bytes
// behind it (ply_input.cpp), shared by the reader's parts.
#ifndef LXSCAN_SRC_PLY_LAYOUT_H
#define LXSCAN_SRC_PLY_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <lxscan/ply.h>

namespace lxscan {
namespace ply {

enum class Type : std::uint8_t { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

std::size_t TypeSize(Type type);
const char* TypeName(Type type);

// The vertex properties the reader uses.
enum Field : int { kX, kY, kZ, kRed, kGreen, kBlue, kIntensity, kNx, kNy, kNz, kFieldCount, kUnused = -1 };

struct Property {
    std::string name;
    Type type = Type::UInt8;
    bool list = false;
    Type countType = Type::UInt8;  // of a list
    int field = kUnused;           // in the vertex element
    std::size_t offset = 0;        // in a binary record of scalars
};

struct Element {
    std::string name;
    std::uint64_t count = 0;
    std::vector<Property> properties;
    std::uint64_t line = 0;  // of its "element" line
    bool HasLists() const;
    std::size_t RecordSize() const;  // binary, scalars only
};

// Buffered reading of a file (or "-", standard input) from its start, with
// the byte position of every byte for messages.
class Input {
public:
    explicit Input(const std::string& path);
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    ~Input();

    // Makes at least n bytes available at Data() (fewer only at the end of
    // the file); returns how many are.
    std::size_t Fill(std::size_t n);
    const char* Data() const { return buffer_.data() + begin_; }
    std::size_t Available() const { return end_ - begin_; }
    void Consume(std::size_t n) { begin_ += n; }
    // File position of Data()[0].
    std::uint64_t Position() const { return offset_ + begin_; }
    // Size of a regular file; 0 for a pipe or device.
    std::uint64_t FileSize() const { return size_; }
    bool Regular() const { return regular_; }

private:
    std::string path_;
    int fd_ = -1;
    bool regular_ = false;
    bool atEnd_ = false;
    std::uint64_t size_ = 0;
    std::vector<char> buffer_;
    std::size_t begin_ = 0, end_ = 0;
    std::uint64_t offset_ = 0;  // file position of buffer_[0]
};

struct Header {
    PlyFormat format = PlyFormat::Ascii;
    std::vector<Element> elements;
    std::size_t vertex = 0;          // index of the vertex element
    std::uint64_t lines = 0;         // header lines, end_header included
    std::uint64_t dataStart = 0;     // byte position of the first element
    bool present[kFieldCount] = {};  // which fields the vertex element has
    int propertyOf[kFieldCount];     // their property index
};

// Reads and checks the header; leaves the input at the first data byte.
Header ReadHeader(Input& input, const std::string& path);

}  // namespace ply
}  // namespace lxscan

#endif
