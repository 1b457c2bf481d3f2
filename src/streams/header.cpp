#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "lxbase/exceptions.h"
#include "lxbase/header.h"

namespace lxbase {

namespace {

constexpr std::uint32_t kPrefixSize = 16;

void PutLE(char* out, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
}

std::uint64_t GetLE(const char* in, int bytes) {
    std::uint64_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(in[i]);
    return value;
}

// Reads the bytes of a field, little-endian, over its current value. A
// read straight into the field replaces only the bytes the stream
// delivers, so those it did not deliver keep the field's old value.
template <class Field>
void ReadLE(IInFileStream* stream, Field& field) {
    constexpr int bytes = sizeof(Field);
    char raw[bytes];
    PutLE(raw, field, bytes);
    stream->Read(raw, bytes);
    field = static_cast<Field>(GetLE(raw, bytes));
}

struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
};

}  // namespace

// The buffer is zeroed too, so that a type whose ReadData expects more bytes
// than a short record delivered reads zeros rather than indeterminate bytes.
IOHeader::IOHeader() : identifier_(0), dataSize_(0), readVersion_(0), buffer_{} {}
IOHeader::~IOHeader() = default;

std::uint32_t IOHeader::Read(IInFileStream* stream) {
    identifier_ = 0;
    ReadLE(stream, identifier_);
    if (stream->GetLastCount() == 0) return 0;
    if (identifier_ != HeaderGUID()) {
        stream->SeekBackward(stream->GetLastCount());
        return 0;
    }
    ReadLE(stream, readVersion_);
    ReadLE(stream, dataSize_);

    // The data block alone decides: up to _BUFSIZE bytes use the object's
    // buffer. A larger one takes a zeroed heap block (calloc maps large blocks
    // lazily, so a truncated record with a huge length costs no memory).
    char* block = buffer_;
    std::unique_ptr<char, FreeDeleter> temporary;
    if (dataSize_ > static_cast<std::uint32_t>(_BUFSIZE)) {
        temporary.reset(static_cast<char*>(std::calloc(dataSize_, 1)));
        if (!temporary) throw LXOutOfMemoryException("Cannot read stream: memory cannot be allocated");
        block = temporary.get();
    }
    stream->Read(block, dataSize_);
    const std::uint64_t got = stream->GetLastCount();
    if (got < dataSize_ && !temporary)
        std::memset(block + got, 0, static_cast<std::size_t>(dataSize_ - got));
    ReadData(block);
    return dataSize_ + kPrefixSize;
}

std::uint32_t IOHeader::Write(IOutFileStream* stream) { return Write(stream, CurrentVersion()); }

std::uint32_t IOHeader::Write(IOutFileStream* stream, std::uint32_t version) {
    if (version > CurrentVersion()) throw LXHeaderOperationException("Unsupported Header version");
    readVersion_ = version;
    dataSize_ = DataSizeForVersion(version);
    identifier_ = HeaderGUID();
    const std::uint32_t total = dataSize_ + kPrefixSize;

    // The whole record decides here: up to _BUFSIZE bytes including the prefix
    // are built in the object's buffer. The block is sized from the 64-bit sum
    // so that a data size beyond the format's limit cannot overrun it.
    const std::uint64_t blockSize = static_cast<std::uint64_t>(dataSize_) + kPrefixSize;
    char* block = buffer_;
    std::unique_ptr<char[]> temporary;
    if (blockSize > static_cast<std::uint64_t>(_BUFSIZE)) {
        temporary.reset(new (std::nothrow) char[static_cast<std::size_t>(blockSize)]);
        if (!temporary) throw LXOutOfMemoryException("Cannot write to stream: memory cannot be allocated");
        block = temporary.get();
    }
    PutLE(block, identifier_, 8);
    PutLE(block + 8, readVersion_, 4);
    PutLE(block + 12, dataSize_, 4);
    WriteData(block + kPrefixSize, version);
    stream->Write(block, total);
    return total;
}

std::uint64_t IOHeader::GetGUID() const { return HeaderGUID(); }
std::uint32_t IOHeader::GetReadVersion() const { return readVersion_; }
bool IOHeader::IsValid() const { return identifier_ == HeaderGUID(); }
std::uint32_t IOHeader::BaseSize() const { return kPrefixSize; }
std::uint32_t IOHeader::HeaderSize() const { return DataSizeForVersion(CurrentVersion()) + kPrefixSize; }
std::uint32_t IOHeader::DataSize() const { return DataSizeForVersion(CurrentVersion()); }

}  // namespace lxbase
