#include <lxscan/output.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "output_cleanup.h"

namespace lxscan {

namespace {

constexpr int kMaxLinks = 40;       // as the kernel allows in one path
constexpr std::size_t kNameMax = 255;
constexpr std::size_t kSuffix = 6;  // random characters of a temporary's name

std::string Directory(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string BaseName(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The file a path finally names: symbolic links are followed one by one
// (also a dangling one, whose target is then created).
std::string FollowLinks(const std::string& path) {
    std::string current = path;
    for (int hops = 0; hops <= kMaxLinks; ++hops) {
        struct stat info;
        if (lstat(current.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return current;
        std::string target(static_cast<std::size_t>(info.st_size > 0 ? info.st_size : 4096) + 1, '\0');
        const ssize_t n = readlink(current.c_str(), &target[0], target.size());
        if (n < 0 || static_cast<std::size_t>(n) >= target.size())
            throw ScanError(path + ": cannot read the symbolic link " + current);
        target.resize(static_cast<std::size_t>(n));
        current = target[0] == '/' ? target : Directory(current) + "/" + target;
    }
    throw ScanError(path + ": too many levels of symbolic links");
}

std::string Reason(int error) { return std::strerror(error); }

// A short random suffix from the system's entropy; a leftover of an earlier
// run under the same name only costs another draw.
std::string RandomSuffix() {
    static const char kAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    unsigned char bytes[kSuffix];
    std::size_t got = 0;
    while (got < kSuffix) {
        const ssize_t n = getrandom(bytes + got, kSuffix - got, 0);
        if (n < 0 && errno != EINTR) throw ScanError(std::string("no random bytes: ") + Reason(errno));
        if (n > 0) got += static_cast<std::size_t>(n);
    }
    std::string suffix(kSuffix, 'x');
    for (std::size_t i = 0; i < kSuffix; ++i) suffix[i] = kAlphabet[bytes[i] % 62];
    return suffix;
}

// ".NAME.XXXXXX", the name cut (at a character boundary) so that the whole
// fits the 255 bytes a directory entry may have.
std::string TemporaryName(const std::string& name) {
    std::size_t keep = std::min(name.size(), kNameMax - 2 - kSuffix);
    while (keep > 0 && keep < name.size() && (static_cast<unsigned char>(name[keep]) & 0xC0) == 0x80) --keep;
    return "." + name.substr(0, keep) + "." + RandomSuffix();
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path), buffer_(new char[kBufferSize]) {
    if (path == "-") {
        fd_ = STDOUT_FILENO;
        ownsFd_ = false;
        return;
    }
    if (path.empty()) throw ScanError("an output path is empty");
    const std::string target = FollowLinks(path);
    directory_ = Directory(target);
    name_ = BaseName(target);
    if (name_.empty() || name_ == "." || name_ == "..") throw ScanError(path + ": is a directory");

    struct stat info;
    const bool exists = stat(target.c_str(), &info) == 0;
    if (!exists && errno != ENOENT) throw ScanError(path + ": cannot use as output: " + Reason(errno));
    if (exists && S_ISDIR(info.st_mode)) throw ScanError(path + ": is a directory");

    if (exists && !S_ISREG(info.st_mode)) {
        // A device or FIFO: its node must stay what it is, so it is written
        // in place (opening a FIFO waits for its reader).
        fd_ = open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (fd_ < 0) throw ScanError(path + ": cannot open for writing: " + Reason(errno));
        return;
    }
    if (exists && access(target.c_str(), W_OK) != 0)
        throw ScanError(path + ": the existing file is not writable (" + Reason(errno) + "); it is left as it is");

    directoryFd_ = open(directory_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (directoryFd_ < 0) throw ScanError(path + ": cannot use the directory " + directory_ + ": " + Reason(errno));
    InstallSignalCleanup();
    // A replaced file's mode is kept; a new file gets 0666 less the umask.
    const mode_t createMode = exists ? S_IRUSR | S_IWUSR : 0666;
    for (int attempt = 0; attempt < 100 && fd_ < 0; ++attempt) {
        temporaryName_ = TemporaryName(name_);
        // Registered before it exists, so that no signal can leave it behind.
        slot_ = detail::RegisterTemporary(directoryFd_, temporaryName_);
        fd_ = openat(directoryFd_, temporaryName_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                     createMode);
        const int error = errno;
        if (fd_ >= 0) break;
        detail::ReleaseTemporary(slot_);
        slot_ = -1;
        if (error != EEXIST) {
            close(directoryFd_);
            throw ScanError(path + ": cannot create a file in " + directory_ + ": " + Reason(error));
        }
    }
    if (fd_ < 0) {
        close(directoryFd_);
        throw ScanError(path + ": cannot find a free temporary name in " + directory_);
    }
    temporary_ = true;
    if (exists) {
        mode_ = info.st_mode & 07777;
        if (geteuid() == 0 && fchown(fd_, info.st_uid, info.st_gid) != 0) { /* keeps root's ownership */ }
        if (fchmod(fd_, static_cast<mode_t>(mode_)) != 0) {
            const int error = errno;
            Discard();
            throw ScanError(path + ": cannot give the new file the mode of the old: " + Reason(error));
        }
    }
}

OutputFile::~OutputFile() {
    if (!committed_) Discard();
}

void OutputFile::Discard() noexcept {
    if (fd_ >= 0 && ownsFd_) close(fd_);
    fd_ = -1;
    if (temporary_) {
        unlinkat(directoryFd_, temporaryName_.c_str(), 0);
        detail::ReleaseTemporary(slot_);
        slot_ = -1;
        temporary_ = false;
    }
    if (directoryFd_ >= 0) close(directoryFd_);
    directoryFd_ = -1;
}

void OutputFile::Fail(const std::string& what, int error) const {
    throw ScanError(path_ + ": " + what + ": " + Reason(error));
}

void OutputFile::WriteAll(const char* bytes, std::size_t count) {
    if (fd_ < 0) throw ScanError(path_ + ": write after the output was finished");
    while (count > 0) {
        const ssize_t n = write(fd_, bytes, std::min<std::size_t>(count, std::size_t{1} << 30));
        if (n < 0) {
            if (errno == EINTR) continue;
            Fail("cannot write at byte " + std::to_string(written_), errno);
        }
        if (n == 0) Fail("cannot write at byte " + std::to_string(written_), EIO);
        bytes += n;
        count -= static_cast<std::size_t>(n);
        written_ += static_cast<std::uint64_t>(n);
    }
}

void OutputFile::Flush() {
    const std::size_t n = used_;
    used_ = 0;
    WriteAll(buffer_.get(), n);
}

void OutputFile::Write(const void* bytes, std::size_t count) {
    const char* p = static_cast<const char*>(bytes);
    if (count >= kBufferSize) {
        Flush();
        WriteAll(p, count);
        return;
    }
    std::memcpy(Reserve(count), p, count);
    used_ += count;
}

void OutputFile::WriteAt(std::uint64_t position, const void* bytes, std::size_t count) {
    if (!temporary_) throw ScanError(path_ + ": cannot rewrite bytes of an output that is not a regular file");
    Flush();
    if (position + count > written_)
        throw ScanError(path_ + ": rewrite beyond the bytes written (byte " + std::to_string(position) + ")");
    const char* p = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t n = pwrite(fd_, p, count, static_cast<off_t>(position));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) Fail("cannot write at byte " + std::to_string(position), n < 0 ? errno : EIO);
        p += n;
        position += static_cast<std::uint64_t>(n);
        count -= static_cast<std::size_t>(n);
    }
}

void OutputFile::Commit() {
    if (committed_) return;
    Flush();
    if (!temporary_) {
        // A device or pipe: the bytes are delivered; standard output stays open
        // but its failure (a full disk behind it) must still show.
        if (ownsFd_ && close(fd_) != 0) {
            fd_ = -1;
            Fail("cannot finish writing", errno);
        }
        fd_ = -1;
        committed_ = true;
        return;
    }
    if (fsync(fd_) != 0) Fail("cannot flush to disk", errno);
    const int closed = close(fd_);
    fd_ = -1;
    if (closed != 0) Fail("cannot finish writing", errno);
    if (renameat(directoryFd_, temporaryName_.c_str(), directoryFd_, name_.c_str()) != 0)
        Fail("cannot rename " + temporaryName_ + " to " + name_ + " in " + directory_, errno);
    temporary_ = false;
    detail::ReleaseTemporary(slot_);
    slot_ = -1;
    // The new directory entry reaches the disk too (best effort: some file
    // systems cannot sync a directory).
    const int sync = openat(directoryFd_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (sync >= 0) {
        fsync(sync);
        close(sync);
    }
    close(directoryFd_);
    directoryFd_ = -1;
    committed_ = true;
}

FileIdentity IdentifyFile(const std::string& path, Stream stream) {
    FileIdentity identity;
    struct stat info;
    bool found;
    if (path == "-") {
        found = fstat(stream == Stream::Input ? STDIN_FILENO : STDOUT_FILENO, &info) == 0;
    } else {
        found = stat(path.c_str(), &info) == 0;
        if (!found) {
            // Missing: the same name in the same directory is the same file.
            const std::string target = FollowLinks(path);
            identity.name = BaseName(target);
            found = stat(Directory(target).c_str(), &info) == 0;
            if (!found) identity.name = target;
        }
    }
    if (found) {
        identity.device = static_cast<std::uint64_t>(info.st_dev);
        identity.inode = static_cast<std::uint64_t>(info.st_ino);
        identity.characterDevice = identity.name.empty() && S_ISCHR(info.st_mode);
    }
    return identity;
}

void CheckDistinctFiles(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs) {
    std::vector<FileIdentity> in, out;
    for (const std::string& path : inputs) in.push_back(IdentifyFile(path, Stream::Input));
    for (const std::string& path : outputs) out.push_back(IdentifyFile(path, Stream::Output));
    const auto same = [](const FileIdentity& a, const FileIdentity& b) {
        return a.device == b.device && a.inode == b.inode && a.name == b.name &&
               !(a.characterDevice && b.characterDevice);
    };
    for (std::size_t i = 0; i < out.size(); ++i) {
        for (std::size_t j = 0; j < in.size(); ++j) {
            if (same(out[i], in[j]))
                throw ScanError(outputs[i] + ": is the input " + inputs[j] + "; refusing to overwrite it");
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (same(out[i], out[j]))
                throw ScanError(outputs[i] + ": the same file as the output " + outputs[j] +
                                "; give each output its own file");
        }
    }
}

}  // namespace lxscan
