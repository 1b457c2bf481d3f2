// Output files that never destroy what stands at their path by accident.
//
// A regular file (or a missing one) is written under a temporary name in its
// directory and renamed over the target only when complete; the temporary is
// created exclusively (no planted link can redirect it), gets the mode of the
// file it replaces, is flushed to disk before the rename, and is removed when
// the writer fails, is destroyed without Commit, or the process is stopped by
// SIGINT, SIGTERM or SIGHUP. A device, a FIFO or "-" (standard output) is
// written straight to. A symbolic link is followed: its target is written and
// the link stays.
#ifndef LXSCAN_OUTPUT_H
#define LXSCAN_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <lxscan/export.h>
#include <lxscan/types.h>

namespace lxscan {

class LXSCAN_API OutputFile {
public:
    // Opens the output; "-" is standard output. Throws ScanError naming the
    // path: a directory, a missing or read-only directory, a dangling chain
    // of links.
    explicit OutputFile(const std::string& path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    // Without Commit a temporary is removed; the target stays as it was.
    ~OutputFile();

    // Appends bytes (buffered). Throws ScanError naming the path and the byte
    // position where writing failed (disk full, I/O error, closed pipe).
    void Write(const void* bytes, std::size_t count);
    // Room for n more bytes in the buffer (n at most kBufferSize); fill them,
    // then call Advance(n).
    char* Reserve(std::size_t n) {
        if (kBufferSize - used_ < n) Flush();
        return buffer_.get() + used_;
    }
    void Advance(std::size_t n) { used_ += n; }

    // Whether bytes already written can be rewritten (true for a temporary).
    bool Seekable() const { return temporary_; }
    // Overwrites bytes at a position already written; only when Seekable().
    void WriteAt(std::uint64_t position, const void* bytes, std::size_t count);
    // Bytes written so far.
    std::uint64_t Position() const { return written_ + used_; }

    // Writes out the buffer and finishes the output: a temporary is synced,
    // given its mode and renamed over the target. Throws ScanError.
    void Commit();

    // The path as given, for messages.
    const std::string& Path() const { return path_; }

    static constexpr std::size_t kBufferSize = std::size_t{1} << 20;

private:
    void Flush();
    void WriteAll(const char* bytes, std::size_t count);
    [[noreturn]] void Fail(const std::string& what, int error) const;
    void Discard() noexcept;

    std::string path_;            // as given
    std::string directory_;       // of the written target (links resolved)
    std::string name_;            // the target's name in directory_
    std::string temporaryName_;   // in directory_, while temporary_
    int fd_ = -1;
    int directoryFd_ = -1;
    bool temporary_ = false;
    bool ownsFd_ = true;          // false for standard output
    bool committed_ = false;
    int slot_ = -1;               // in the signal cleanup registry
    std::uint32_t mode_ = 0;      // for the temporary, when it replaces a file
    std::uint64_t written_ = 0;
    std::unique_ptr<char[]> buffer_;
    std::size_t used_ = 0;
};

// Identity of a file for comparing paths: the device and inode of what the
// path names after following links; for a missing file, its directory's and
// its own name. "-" names standard input or output as `stream` says.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::string name;          // set for a missing file
    bool characterDevice = false;
};

enum class Stream { Input, Output };
LXSCAN_API FileIdentity IdentifyFile(const std::string& path, Stream stream);

// Refuses (ScanError naming both paths) an output that is one of the inputs
// or another output, compared by device and inode, not by spelling.
// Terminals and other character devices may repeat (/dev/null twice destroys
// nothing).
LXSCAN_API void CheckDistinctFiles(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs);

// Installs the SIGINT, SIGTERM and SIGHUP handlers that remove live
// temporaries, for signals whose action is still the default. Called by the
// first OutputFile that makes a temporary; idempotent.
LXSCAN_API void InstallSignalCleanup();

}  // namespace lxscan

#endif
