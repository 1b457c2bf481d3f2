// An outside program on liblxscan: a few points written as a scan file, read
// back and verified.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <lxscan/lxscan.h>

int main() {
    const std::string path = "consumer_scan.lxs";
    const double xyz[] = {1.0, -2.0, 0.5, 3.0, 4.0, -5.0, -0.25, 0.75, 2.0};
    const std::uint8_t rgb[] = {255, 0, 0, 0, 255, 0, 0, 0, 255};
    lxscan::ScanWriterOptions options;
    options.pointsInScannerSystem = false;
    lxscan::ScanWriter writer(options);
    writer.Add(3, xyz, rgb);
    writer.Write(path);

    lxscan::ScanReader reader(path);
    double back[9] = {};
    reader.Read(0, 3, back);
    const lxscan::VerifyResult verified = reader.Verify();
    std::remove(path.c_str());
    double sum = 0;
    for (double v : back) sum += v;
    // The Z-order moves the points, not their coordinates.
    if (reader.Count() != 3 || verified.points != 3 || sum != 4.0) {
        std::fprintf(stderr, "scan round trip failed\n");
        return EXIT_FAILURE;
    }
    std::puts("lxscan consumer: ok");
    return EXIT_SUCCESS;
}
