// LargeIfstream over an arbitrary file, driven by the input: the first bytes
// pick a mix of Getline/Ignore/Read/seeks, the rest is the file. After every
// step Tell() must equal the bytes consumed by a simple model of the file.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ios>
#include <string>
#include <vector>

#include "../tests/temp_dir.h"
#include "lxbase/files.h"

namespace {

// One file for the whole run, in a directory removed when the fuzzer exits.
std::string TempPath() {
    static const TempDir dir;
    static const std::string path = dir.Path("input");
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::size_t steps = size < 16 ? size : 16;
    const std::uint8_t* program = bytes;
    const std::string content(reinterpret_cast<const char*>(bytes + steps), size - steps);
    {
        std::FILE* f = std::fopen(TempPath().c_str(), "wb");
        if (!f) std::abort();
        if (!content.empty()) std::fwrite(content.data(), 1, content.size(), f);
        std::fclose(f);
    }

    lxbase::LargeIfstream in(TempPath());
    std::uint64_t position = 0;  // the model: where the next byte comes from
    bool textFailed = false;     // the text stream's sticky state
    for (std::size_t i = 0; i < steps; ++i) {
        const unsigned op = program[i] % 6;
        const unsigned arg = program[i] / 6;  // 0..42
        const char delimiter = static_cast<char>(arg * 6);
        switch (op) {
        case 0: {
            std::string line = "keep";
            in.Getline(line, delimiter);
            if (textFailed) {
                if (line != "keep") std::abort();
                break;
            }
            const std::size_t end = content.find(delimiter, position);
            if (end == std::string::npos) {
                if (line != content.substr(std::min<std::uint64_t>(position, content.size()))) std::abort();
                position = std::max<std::uint64_t>(position, content.size());  // a seek may have gone past the end
                textFailed = true;  // eof, and fail when nothing was extracted
            } else {
                if (line != content.substr(position, end - position)) std::abort();
                position = end + 1;
            }
            break;
        }
        case 1: {
            in.Ignore(arg, delimiter);
            if (textFailed) break;
            std::uint64_t n = 0;
            while (n < arg && position < content.size()) {
                ++n;
                if (content[position++] == delimiter) break;
            }
            if (n < arg && position >= content.size() &&
                (n == 0 || content[position - 1] != delimiter))
                textFailed = true;
            break;
        }
        case 2: {
            std::vector<char> buffer(arg + 1);
            const bool ok = in.Read(buffer.data(), arg);
            const std::uint64_t left = position < content.size() ? content.size() - position : 0;
            const std::uint64_t n = arg < left ? arg : left;
            if (in.GetLastCount() != n || std::memcmp(buffer.data(), content.data() + position, n) != 0)
                std::abort();
            // Asking for exactly what is left may or may not meet the end-of-file
            // flag of an earlier read; short or full reads are clear-cut.
            if ((arg < left && !ok) || (arg > left && ok)) std::abort();
            position += n;
            break;
        }
        case 3:
            if (in.SeekAbsolute(arg)) position = arg;
            break;
        case 4:
            if (in.SeekBackward(arg % 8)) position -= arg % 8;
            break;
        default:
            if (in.SeekForward(arg % 8)) position += arg % 8;
            break;
        }
        if (in.Tell() != position) std::abort();
    }
    (void)(in.GetState() & std::ios_base::badbit);
    return 0;
}
