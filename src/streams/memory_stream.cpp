#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <functional>
#include <limits>
#include <stdexcept>

#include "lxbase/streams.h"

namespace lxbase {

IInFileStream::~IInFileStream() = default;
IOutFileStream::~IOutFileStream() = default;

// ---------------------------------------------------------------- InMemoryStream

InMemoryStream::InMemoryStream(const char* data, std::uint64_t size)
    : size_(size), data_(reinterpret_cast<const unsigned char*>(data)) {}

InMemoryStream::InMemoryStream(const unsigned char* data, std::uint64_t size)
    : size_(size), data_(data) {}

InMemoryStream::~InMemoryStream() = default;

bool InMemoryStream::Read(char* destination, std::uint64_t count) {
    const std::uint64_t remaining = position_ < size_ ? size_ - position_ : 0;
    const std::uint64_t n = std::min(count, remaining);
    lastCount_ = n;
    if (n != 0) std::memcpy(destination, data_ + position_, static_cast<std::size_t>(n));
    position_ += n;
    return true;
}

// Seeks move the position unconditionally (wrapping modulo 2^64 backwards) and
// report whether the new position lies inside the block.
bool InMemoryStream::SeekForward(std::uint64_t count) {
    position_ += count;
    return position_ < size_;
}

bool InMemoryStream::SeekBackward(std::uint64_t count) {
    position_ -= count;
    return position_ < size_;
}

bool InMemoryStream::SeekAbsolute(std::uint64_t position) {
    position_ = position;
    return position_ < size_;
}

std::uint64_t InMemoryStream::GetLastCount() const { return lastCount_; }
std::uint64_t InMemoryStream::Tell() const { return position_; }

// --------------------------------------------------------------- OutMemoryStream

namespace {
constexpr std::uint64_t kReservedBytes = 1024;
// The largest size a byte vector can have on this platform.
constexpr std::uint64_t kMaxBufferSize =
    static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max());
}  // namespace

OutMemoryStream::OutMemoryStream() { Reallocate(kReservedBytes); }

OutMemoryStream::OutMemoryStream(const OutMemoryStream& other) : position_(other.position_) {
    if (other.size_ != 0) {
        Reallocate(other.size_);
        std::memcpy(data_.get(), other.data_.get(), static_cast<std::size_t>(other.size_));
        size_ = other.size_;
    }
}

OutMemoryStream::OutMemoryStream(OutMemoryStream&& other) noexcept
    : position_(other.position_),
      data_(std::move(other.data_)),
      size_(other.size_),
      capacity_(other.capacity_) {
    other.size_ = 0;
    other.capacity_ = 0;
}

OutMemoryStream& OutMemoryStream::operator=(const OutMemoryStream& other) {
    if (this == &other) return *this;
    if (other.size_ > capacity_) {
        // Like a vector's assign: storage for exactly the source's bytes.
        size_ = 0;
        Reallocate(other.size_);
    }
    if (other.size_ != 0)
        std::memcpy(data_.get(), other.data_.get(), static_cast<std::size_t>(other.size_));
    size_ = other.size_;
    position_ = other.position_;
    return *this;
}

OutMemoryStream& OutMemoryStream::operator=(OutMemoryStream&& other) noexcept {
    position_ = other.position_;
    if (this != &other) {
        data_ = std::move(other.data_);
        size_ = other.size_;
        capacity_ = other.capacity_;
        other.size_ = 0;
        other.capacity_ = 0;
    }
    return *this;
}

OutMemoryStream::~OutMemoryStream() = default;

void OutMemoryStream::FreeBuffer::operator()(unsigned char* p) const noexcept { std::free(p); }

// Gives the buffer `capacity` bytes (more than it has), keeping its contents.
void OutMemoryStream::Reallocate(std::uint64_t capacity) {
    void* grown = std::realloc(data_.get(), static_cast<std::size_t>(capacity));
    if (grown == nullptr) throw std::bad_alloc();
    data_.release();
    data_.reset(static_cast<unsigned char*>(grown));
    capacity_ = capacity;
}

// Makes room for `size` bytes: the capacity grows to the larger of one and a
// half times itself and what is needed.
void OutMemoryStream::Reserve(std::uint64_t size) {
    if (size > kMaxBufferSize) throw std::length_error("OutMemoryStream: buffer too large");
    if (size > capacity_) Reallocate(std::max(capacity_ + capacity_ / 2, size));
}

// Grows the buffer to `size` bytes; the new bytes are zero.
void OutMemoryStream::Resize(std::uint64_t size) {
    if (size <= size_) return;
    Reserve(size);
    std::memset(data_.get() + size_, 0, static_cast<std::size_t>(size - size_));
    size_ = size;
}

// Every write that needs growth, zero filling or that overflows.
void OutMemoryStream::WriteGrowing(const char* source, std::uint64_t count) {
    if (count > std::numeric_limits<std::uint64_t>::max() - position_)
        throw std::length_error("OutMemoryStream: buffer too large");
    const std::uint64_t end = position_ + count;
    if (end > size_) {
        // Only the gap between the old end and the position needs zeroing; the
        // rest is overwritten at once.
        // The source may lie inside our own buffer: follow it if it moves.
        const unsigned char* old = data_.get();
        const auto* src = reinterpret_cast<const unsigned char*>(source);
        const bool inside = old != nullptr && std::less_equal<const unsigned char*>()(old, src) &&
                            std::less<const unsigned char*>()(src, old + size_);
        const std::size_t offset = inside ? static_cast<std::size_t>(src - old) : 0;
        Reserve(end);
        if (inside) source = reinterpret_cast<const char*>(data_.get() + offset);
        if (position_ > size_)
            std::memset(data_.get() + size_, 0, static_cast<std::size_t>(position_ - size_));
        size_ = end;
    }
    if (count != 0) std::memmove(data_.get() + position_, source, static_cast<std::size_t>(count));
    position_ = end;
}

bool OutMemoryStream::SeekAbsolute(std::uint64_t position) {
    position_ = position;
    Resize(position);
    return true;
}

bool OutMemoryStream::SeekForward(std::uint64_t count) { return SeekAbsolute(position_ + count); }

bool OutMemoryStream::SeekBackward(std::uint64_t count) {
    if (count > position_) return false;
    position_ -= count;
    return true;
}

std::uint64_t OutMemoryStream::Tell() const { return position_; }
char* OutMemoryStream::GetBuffer() { return reinterpret_cast<char*>(data_.get()); }
std::uint64_t OutMemoryStream::BufferSize() const { return size_; }
std::uint64_t OutMemoryStream::Capacity() const { return capacity_; }

}  // namespace lxbase
