// lxscan: scan files from the command line.
//
//   lxscan demo [-o scan.lxs]
//   lxscan convert INPUT... -o OUT.lxs
//   lxscan info FILE [--json]
//   lxscan verify FILE
//   lxscan export FILE (--ply|--xyz|--png) OUT
//
// Exit status: 0 success, 1 bad input or a failed check, 2 a wrong command
// line.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include <CLI/CLI.hpp>

#include "tool.h"

namespace {

constexpr int kBadInput = 1;
constexpr int kBadCommandLine = 2;

void AddSharedOptions(CLI::App& app, tool::Options& o) {
    app.add_option("--threads", o.threads, "threads for parsing text input (default: all cores)")
        ->check(CLI::Range(1u, 1024u));
    app.add_flag("-q,--quiet", o.quiet, "no progress and no report; errors only");
}

void AddConvertOptions(CLI::App& command, tool::Options& o) {
    command.add_option("--pose", o.pose,
                       "registration in the parent system: turned YAW degrees about the vertical axis, origin at "
                       "X,Y,Z")
        ->type_name("YAW,X,Y,Z");
    command.add_flag("--float", o.floatCoordinates, "store coordinates as 32-bit floats (20-byte records)");
    command.add_flag("--no-verify", o.noVerify, "do not read the file back and compare it");
}

// The command line's own errors go to standard error with exit status 2;
// --help prints and exits 0.
int CommandLineExit(CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        app.exit(error);
        return 0;
    }
    std::fprintf(stderr, "lxscan: %s\n", error.what());
    std::fprintf(stderr, "Run with --help for more information.\n");
    return kBadCommandLine;
}

// Standard output must have reached its file (a full disk behind "> file"
// shows only when the buffer is written).
int FinishStandardOutput(int status) {
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "lxscan: cannot write to standard output: %s\n", std::strerror(errno));
        return status == 0 ? kBadInput : status;
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    // A closed pipe is reported as a write error, not a silent death.
    std::signal(SIGPIPE, SIG_IGN);

    tool::Options o;
    CLI::App app{"lxscan: convert point files into Z-ordered scan files, check and export them"};
    app.require_subcommand(1);
    app.fallthrough();
    AddSharedOptions(app, o);

    CLI::App* demo = app.add_subcommand("demo", "write and verify the synthetic scan of a furnished room");
    demo->add_option("-o,--output", o.output, "scan file to write")->capture_default_str();
    demo->add_option("--points", o.points, "points of the synthetic scan")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{4000000000}))
        ->capture_default_str();
    demo->add_flag("--colours", o.colours, "surface colours instead of colours by height");
    AddConvertOptions(*demo, o);

    CLI::App* convert = app.add_subcommand("convert", "convert point text or PLY files into one scan file");
    convert->add_option("inputs", o.inputs, "point files (text or PLY, told from the content); several merge")
        ->required();
    convert->add_option("-o,--output", o.output, "scan file to write")->required();
    convert->add_option("--format", o.format, "columns of text input")
        ->check(CLI::IsMember({"auto", "xyz", "xyzrgb", "xyznormal", "xyzrgbnormal"}))
        ->capture_default_str();
    convert->add_flag("--skip-invalid", o.skipInvalid, "skip points with NaN or infinite coordinates (counted)");
    AddConvertOptions(*convert, o);

    CLI::App* info = app.add_subcommand("info", "print the header and statistics of a scan file");
    info->add_option("file", o.file, "scan file")->required();
    info->add_flag("--json", o.json, "print as JSON");

    CLI::App* verify = app.add_subcommand("verify", "check a scan file: length, checksum, normal codes, order, box");
    verify->add_option("file", o.file, "scan file")->required();

    CLI::App* exporter = app.add_subcommand("export", "write the points of a scan file as PLY, text or a PNG top view");
    exporter->add_option("file", o.file, "scan file")->required();
    CLI::Option* ply = exporter->add_flag("--ply", o.ply, "binary little-endian PLY");
    CLI::Option* xyz = exporter->add_flag("--xyz", o.xyz, "point text: x y z r g b [nx ny nz]");
    CLI::Option* png = exporter->add_flag("--png", o.png, "top view, coloured by height");
    ply->excludes(xyz)->excludes(png);
    xyz->excludes(png);
    exporter->add_option("output", o.exportPath, "file to write (\"-\": standard output)")->required();
    exporter->add_option("--png-size", o.pngSize, "pixels along the longer side of the top view")
        ->check(CLI::Range(1u, 16384u))
        ->capture_default_str();

    for (CLI::App* command : {demo, convert, info, verify, exporter}) AddSharedOptions(*command, o);

    try {
        app.parse(argc, argv);
        if (exporter->parsed() && !o.ply && !o.xyz && !o.png)
            throw CLI::RequiredError("export needs one of --ply, --xyz, --png");
    } catch (const CLI::ParseError& error) {
        return CommandLineExit(app, error);
    }

    int status = 0;
    try {
        if (demo->parsed()) status = tool::RunDemo(o);
        if (convert->parsed()) status = tool::RunConvert(o);
        if (info->parsed()) status = tool::RunInfo(o);
        if (verify->parsed()) status = tool::RunVerify(o);
        if (exporter->parsed()) status = tool::RunExport(o);
    } catch (const tool::UsageError& error) {
        std::fprintf(stderr, "lxscan: %s\nRun with --help for more information.\n", error.what());
        return kBadCommandLine;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "lxscan: %s\n", error.what());
        status = kBadInput;
    }
    return FinishStandardOutput(status);
}
