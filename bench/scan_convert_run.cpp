// Whole-program driver for scripts/compare_open3d.sh: converts point text
// into a scan file with lxscan::Convert and prints the stage times.
//   lxscan_convert_run OUT.lxs INPUT... [--threads N] [--no-verify]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <lxscan/lxscan.h>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: lxscan_convert_run OUT.lxs INPUT... [--threads N] [--no-verify]\n");
        return 2;
    }
    lxscan::ConvertOptions options;
    std::vector<std::string> inputs;
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--threads") == 0 && i + 1 < argc) options.threads = std::atoi(argv[++i]);
        else if (std::strcmp(argv[i], "--no-verify") == 0) options.verify = false;
        else inputs.push_back(argv[i]);
    }
    try {
        const lxscan::ConvertResult r = lxscan::Convert(inputs, argv[1], options);
        std::printf("points %llu  read %.3f  sort %.3f  write %.3f  verify %.3f  total %.3f s\n",
                    static_cast<unsigned long long>(r.points), r.readSeconds, r.sortSeconds, r.writeSeconds,
                    r.verifySeconds, r.totalSeconds);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lxscan_convert_run: %s\n", error.what());
        return 1;
    }
    return 0;
}
