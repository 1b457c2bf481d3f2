#ifndef LXBASE_STREAMS_H
#define LXBASE_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "lxbase/export.h"

namespace lxbase {

// Abstract input byte stream. Positions and counts are byte numbers from the
// start of the stream. Read's bool result is not a count: how many bytes
// arrived is asked with GetLastCount().
class LXBASE_API IInFileStream {
public:
    IInFileStream() = default;
    IInFileStream(const IInFileStream&) = default;
    IInFileStream& operator=(const IInFileStream&) = default;

    virtual bool Read(char* destination, std::uint64_t count) = 0;
    virtual bool SeekForward(std::uint64_t count) = 0;
    virtual bool SeekBackward(std::uint64_t count) = 0;
    virtual bool SeekAbsolute(std::uint64_t position) = 0;
    virtual std::uint64_t GetLastCount() const = 0;
    virtual std::uint64_t Tell() const = 0;
    virtual ~IInFileStream();
};

// Abstract output byte stream. Write either writes every byte or throws.
// Note the seek order differs from IInFileStream's (absolute first here).
class LXBASE_API IOutFileStream {
public:
    IOutFileStream() = default;
    IOutFileStream(const IOutFileStream&) = default;
    IOutFileStream& operator=(const IOutFileStream&) = default;

    virtual void Write(const char* source, std::uint64_t count) = 0;
    virtual bool SeekAbsolute(std::uint64_t position) = 0;
    virtual bool SeekForward(std::uint64_t count) = 0;
    virtual bool SeekBackward(std::uint64_t count) = 0;
    virtual std::uint64_t Tell() const = 0;
    virtual ~IOutFileStream();
};

// Reads a caller-owned block in place. The block must outlive the stream.
// Read always returns true; a seek reports whether its target lies inside the
// block but moves the position in any case.
class LXBASE_API InMemoryStream : public IInFileStream {
public:
    InMemoryStream(const char* data, std::uint64_t size);
    InMemoryStream(const unsigned char* data, std::uint64_t size);
    // An empty block given as a null pointer, without an ambiguous overload.
    InMemoryStream(std::nullptr_t, std::uint64_t size)
        : InMemoryStream(static_cast<const unsigned char*>(nullptr), size) {}
    InMemoryStream(const InMemoryStream&) = delete;
    InMemoryStream& operator=(const InMemoryStream&) = delete;

    bool Read(char* destination, std::uint64_t count) override;
    bool SeekForward(std::uint64_t count) override;
    bool SeekBackward(std::uint64_t count) override;
    bool SeekAbsolute(std::uint64_t position) override;
    std::uint64_t GetLastCount() const override;
    std::uint64_t Tell() const override;
    ~InMemoryStream() override;

private:
    std::uint64_t position_ = 0;
    std::uint64_t size_;
    std::uint64_t lastCount_ = 0;
    const unsigned char* data_;
};

// Writes into a growable buffer of its own. 1024 bytes are reserved at
// construction; when the buffer runs out its capacity grows to the larger of
// one and a half times the old capacity and the size needed.
class LXBASE_API OutMemoryStream : public IOutFileStream {
public:
    OutMemoryStream();
    OutMemoryStream(const OutMemoryStream& other);
    OutMemoryStream(OutMemoryStream&& other) noexcept;
    OutMemoryStream& operator=(const OutMemoryStream& other);
    OutMemoryStream& operator=(OutMemoryStream&& other) noexcept;

    // Inline fast path for the common append that fits the capacity, so that
    // small records written through a known OutMemoryStream cost a copy only.
    void Write(const char* source, std::uint64_t count) override {
        const std::uint64_t position = position_;
        const std::uint64_t size = size_;
        if (position <= size && count <= capacity_ - position) {
            // Fields are updated before the copy: bytes written through a
            // char pointer could alias them and force reloads otherwise.
            unsigned char* destination = data_.get() + position;
            position_ = position + count;
            size_ = position + count > size ? position + count : size;
            // memmove: the source may be a part of this very buffer.
            if (count != 0) std::memmove(destination, source, static_cast<std::size_t>(count));
            return;
        }
        WriteGrowing(source, count);
    }
    bool SeekAbsolute(std::uint64_t position) override;
    bool SeekForward(std::uint64_t count) override;
    bool SeekBackward(std::uint64_t count) override;
    std::uint64_t Tell() const override;
    ~OutMemoryStream() override;

    // First byte of the buffer; null when the buffer has no storage (a
    // moved-from stream, or a copy of an empty one).
    char* GetBuffer();
    // High-water mark of writes and forward seeks (not the capacity, and not
    // the position after a backward seek).
    std::uint64_t BufferSize() const;
    // Bytes allocated for the buffer.
    std::uint64_t Capacity() const;

private:
    void WriteGrowing(const char* source, std::uint64_t count);
    void Reserve(std::uint64_t size);
    void Resize(std::uint64_t size);
    void Reallocate(std::uint64_t capacity);

    struct FreeBuffer {
        void operator()(unsigned char* p) const noexcept;
    };

    std::uint64_t position_ = 0;
    // malloc'd, so that growth can use realloc, which often extends the block
    // in place (or remaps its pages) instead of copying every byte again.
    std::unique_ptr<unsigned char, FreeBuffer> data_;
    std::uint64_t size_ = 0;
    std::uint64_t capacity_ = 0;
};

}  // namespace lxbase

#endif
