// The safe output file: what stands at the output path before, during and
// after a write, for every kind of path; and the same-file refusal.
#include <lxscan/output.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "scan_errors.h"
#include "temp_dir.h"

namespace {

using lxscan::OutputFile;
using lxscan::ScanError;


void WriteWhole(const std::string& path, const std::string& bytes) {
    OutputFile out(path);
    out.Write(bytes.data(), bytes.size());
    out.Commit();
}

std::vector<std::string> Entries(const std::string& directory) {
    std::vector<std::string> names;
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) return names;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

mode_t ModeOf(const std::string& path) {
    struct stat info;
    return lstat(path.c_str(), &info) == 0 ? info.st_mode : 0;
}

TEST(OutputFile, RegularFilesAppearWholeKeepTheirModeAndSurviveFailure) {
    TempDir dir;
    const std::string path = dir.Path("scan.out");
    // New file: created whole, the umask applied to 0666.
    const mode_t mask = umask(022);
    WriteWhole(path, "first");
    EXPECT_EQ(TempDir::Read(path), "first");
    EXPECT_EQ(ModeOf(path) & 07777, 0644u);
    // A 600 file stays 600 when replaced.
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    WriteWhole(path, "second, longer");
    EXPECT_EQ(TempDir::Read(path), "second, longer");
    EXPECT_EQ(ModeOf(path) & 07777, 0600u);
    umask(mask);
    // While writing the old file is intact; without Commit it stays so and
    // the temporary disappears.
    {
        OutputFile out(path);
        const std::string big(3 * OutputFile::kBufferSize + 5, 'x');
        out.Write(big.data(), big.size());
        EXPECT_EQ(TempDir::Read(path), "second, longer");
        EXPECT_EQ(Entries(dir.Path("")).size(), 2u);  // the target and the temporary
        EXPECT_EQ(out.Position(), big.size());
    }
    EXPECT_EQ(TempDir::Read(path), "second, longer");
    EXPECT_EQ(Entries(dir.Path("")), std::vector<std::string>{"scan.out"});
    // Rewriting bytes already written (a header filled in at the end).
    {
        OutputFile out(path);
        out.Write("header....body", 14);
        out.WriteAt(6, "done", 4);
        EXPECT_NE(ErrorOf([&] { out.WriteAt(12, "xyz", 3); }).find("beyond the bytes written"), std::string::npos);
        out.Commit();
    }
    EXPECT_EQ(TempDir::Read(path), "headerdonebody");
    // A name of 254 bytes still gets a temporary beside it.
    const std::string longName = dir.Path(std::string(254, 'n'));
    WriteWhole(longName, "long");
    EXPECT_EQ(TempDir::Read(longName), "long");
}

TEST(OutputFile, SpecialFilesAreWrittenInPlaceAndLinksFollowed) {
    TempDir dir;
    // A device stays a device (as root a rename would have replaced it).
    WriteWhole("/dev/null", "gone");
    EXPECT_TRUE(S_ISCHR(ModeOf("/dev/null")));
    // A FIFO stays a FIFO and its reader gets the bytes.
    const std::string fifo = dir.Path("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = TempDir::Read(fifo); });
    WriteWhole(fifo, "through the pipe");
    reader.join();
    EXPECT_EQ(received, "through the pipe");
    EXPECT_TRUE(S_ISFIFO(ModeOf(fifo)));
    // A link (to a link) is followed: the target is written, the links stay.
    const std::string target = dir.Write("target", "old");
    ASSERT_EQ(symlink("target", dir.Path("link1").c_str()), 0);
    ASSERT_EQ(symlink(dir.Path("link1").c_str(), dir.Path("link2").c_str()), 0);
    WriteWhole(dir.Path("link2"), "new");
    EXPECT_EQ(TempDir::Read(target), "new");
    EXPECT_TRUE(S_ISLNK(ModeOf(dir.Path("link1"))) && S_ISLNK(ModeOf(dir.Path("link2"))));
    // A dangling link creates its target.
    ASSERT_EQ(symlink("created", dir.Path("dangling").c_str()), 0);
    WriteWhole(dir.Path("dangling"), "made");
    EXPECT_EQ(TempDir::Read(dir.Path("created")), "made");
    EXPECT_TRUE(S_ISLNK(ModeOf(dir.Path("dangling"))));
    // A full device fails with the reason and the byte.
    const std::string error = ErrorOf([] {
        OutputFile out("/dev/full");
        const std::string bytes(OutputFile::kBufferSize + 1, 'f');
        out.Write(bytes.data(), bytes.size());
        out.Commit();
    });
    EXPECT_EQ(error, "/dev/full: cannot write at byte 0: " + std::string(std::strerror(ENOSPC)));
}

TEST(OutputFile, PlantedLinksAndBadDirectoriesCannotRedirectOrDestroy) {
    TempDir dir;
    const std::string victim = dir.Write("victim", "precious");
    const std::string path = dir.Path("out");
    // Links planted at the names an older writer used; the real temporary is
    // created exclusively under a random name, so they redirect nothing.
    for (const std::string& name : {"out.partial-" + std::to_string(getpid()), std::string(".out.tmp"), std::string(".out")})
        ASSERT_EQ(symlink(victim.c_str(), dir.Path(name).c_str()), 0);
    WriteWhole(path, "result");
    EXPECT_EQ(TempDir::Read(victim), "precious");
    EXPECT_EQ(TempDir::Read(path), "result");
    // Random names: two writers at once use two temporaries.
    {
        OutputFile a(path), b(path);
        a.Write("a", 1);
        b.Write("b", 1);
        a.Commit();
        b.Commit();
    }
    EXPECT_EQ(TempDir::Read(path), "b");
    EXPECT_EQ(Entries(dir.Path("")).size(), 5u);  // victim, out and the three links
    // A directory, a missing directory, a read-only directory.
    EXPECT_EQ(ErrorOf([&] { OutputFile out(dir.Path("")); }), dir.Path("") + ": is a directory");
    EXPECT_NE(ErrorOf([&] { OutputFile out(dir.Path("missing/out")); })
                  .find(dir.Path("missing/out") + ": cannot use the directory " + dir.Path("missing")),
              std::string::npos);
    ASSERT_EQ(mkdir(dir.Path("ro").c_str(), 0500), 0);
    const std::string readOnly = dir.Path("ro/out");
    if (access(dir.Path("ro").c_str(), W_OK) == 0) {
        std::printf("read-only directory not checked: root writes into it anyway\n");
    } else {
        EXPECT_NE(ErrorOf([&] { OutputFile out(readOnly); }).find("Permission denied"), std::string::npos);
    }
}

TEST(OutputFile, SameFileUnderAnySpellingIsRefused) {
    TempDir dir;
    const std::string a = dir.Write("a.txt", "input");
    ASSERT_EQ(link(a.c_str(), dir.Path("hard").c_str()), 0);
    ASSERT_EQ(symlink("a.txt", dir.Path("soft").c_str()), 0);
    using lxscan::CheckDistinctFiles;
    const std::string dotted = dir.Path("") + "./a.txt";
    EXPECT_EQ(ErrorOf([&] { CheckDistinctFiles({a}, {dotted}); }),
              dotted + ": is the input " + a + "; refusing to overwrite it");
    EXPECT_NE(ErrorOf([&] { CheckDistinctFiles({a}, {dir.Path("hard")}); }), "");
    EXPECT_NE(ErrorOf([&] { CheckDistinctFiles({dir.Path("soft")}, {a}); }), "");
    // Two outputs that do not exist yet, spelled differently.
    EXPECT_EQ(ErrorOf([&] { CheckDistinctFiles({a}, {dir.Path("x"), dir.Path("./x")}); }),
              dir.Path("./x") + ": the same file as the output " + dir.Path("x") + "; give each output its own file");
    EXPECT_EQ(ErrorOf([&] { CheckDistinctFiles({a}, {dir.Path("x"), dir.Path("y"), "/dev/null", "/dev/null"}); }),
              "");
    EXPECT_EQ(TempDir::Read(a), "input");
}

// A child writes and stops itself with a signal; nothing may stay behind.
TEST(OutputFile, SignalsRemoveTheTemporaryAndLeftoversDoNotTrip) {
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
        TempDir dir;
        const std::string path = dir.Path("out");
        if (signal == SIGHUP) dir.Write("out", "before");
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            OutputFile out(path);
            out.Write("partial", 7);
            raise(signal);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal;
        const std::vector<std::string> left = Entries(dir.Path(""));
        if (signal == SIGKILL) {
            ASSERT_EQ(left.size(), 1u);  // the leftover temporary
            EXPECT_EQ(left[0].compare(0, 5, ".out."), 0) << left[0];
            WriteWhole(path, "after");   // the next run is not tripped by it
            EXPECT_EQ(TempDir::Read(path), "after");
        } else if (signal == SIGHUP) {
            EXPECT_EQ(left, std::vector<std::string>{"out"});
            EXPECT_EQ(TempDir::Read(path), "before");
        } else {
            EXPECT_TRUE(left.empty()) << signal << " " << (left.empty() ? "" : left[0]);
        }
    }
}

}  // namespace
