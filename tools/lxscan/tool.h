// The lxscan command-line tool: its options and the commands behind them.
#ifndef LXSCAN_TOOL_H
#define LXSCAN_TOOL_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <lxscan/lxscan.h>

namespace tool {

// A command line that parses but makes no sense (exit status 2).
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Options {
    unsigned threads = 0;  // 0: all cores
    bool quiet = false;

    // demo
    std::uint64_t points = 1000000;
    bool colours = false;
    // demo, convert
    std::string output = "scan.lxs";
    std::string pose;  // YAW,X,Y,Z; empty: none
    std::string format = "auto";
    bool floatCoordinates = false;
    bool skipInvalid = false;
    bool noVerify = false;
    std::vector<std::string> inputs;
    // info, verify, export
    std::string file;
    bool json = false;
    bool ply = false, xyz = false, png = false;
    std::string exportPath;
    unsigned pngSize = 1024;
};

// "YAW,X,Y,Z": turned YAW degrees about the vertical axis, origin at X,Y,Z.
// Throws UsageError.
lxbase::RegistrationInformation ParsePose(const std::string& text);

// Progress on standard error, only on a terminal, only for stages that take
// over a second: a bar rewritten in place.
class ProgressBar {
public:
    explicit ProgressBar(bool enabled);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { Finish(); }

    void Update(const char* stage, double fraction);
    // Clears the bar (before a message or at the end).
    void Finish();
    lxscan::ProgressCallback Callback() {
        if (!enabled_) return {};
        return [this](const char* stage, double fraction) { Update(stage, fraction); };
    }

private:
    using Clock = std::chrono::steady_clock;
    bool enabled_;
    std::string stage_;
    Clock::time_point stageStart_;
    Clock::time_point lastDrawn_;
    bool drawn_ = false;
};

int RunDemo(const Options& options);
int RunConvert(const Options& options);
int RunInfo(const Options& options);
int RunVerify(const Options& options);
int RunExport(const Options& options);

// Printing a scan's header and statistics, as text or JSON (report.cpp).
struct ScanStatistics {
    std::uint64_t withNormals = 0;
    std::uint64_t intensitySum = 0;
    unsigned intensityMin = 255, intensityMax = 0;
    double centroid[3] = {0, 0, 0};
};
ScanStatistics Gather(lxscan::ScanReader& scan, const lxscan::ProgressCallback& progress);
void PrintInfoText(lxscan::ScanReader& scan, const ScanStatistics& stats);
void PrintInfoJson(lxscan::ScanReader& scan, const ScanStatistics& stats);
void PrintHeaderSummary(const lxscan::ScanHeader& header);
// A string as a JSON string literal (bytes that are not UTF-8 become U+FFFD).
std::string JsonString(const std::string& text);

}  // namespace tool

#endif
