#ifndef LXBASE_TESTS_TEMP_DIR_H
#define LXBASE_TESTS_TEMP_DIR_H

// A fresh directory under /tmp (mkdtemp), removed with its contents when the
// test ends, and small helpers to put bytes into files and get them back.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/lxbase-test-XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    std::string Path(const std::string& name) const { return path_ + "/" + name; }

    std::string Write(const std::string& name, const std::string& bytes) const {
        const std::string path = Path(name);
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    static std::string Read(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

private:
    std::string path_;
};

#endif
