// Reading point text files in parallel (internal): the text is read in
// large windows, each window is split into blocks at line ends, the blocks
// are parsed and packed on their own threads, and the points are handed on
// in input order, so results and the line numbers of errors do not depend
// on the number of threads.
#ifndef LXSCAN_SRC_TEXT_READER_H
#define LXSCAN_SRC_TEXT_READER_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <lxscan/convert.h>

#include "writer_internal.h"

namespace lxscan {

struct TextReadOptions {
    TextFormat format = TextFormat::Auto;
    bool skipInvalid = false;  // skip lines with NaN or infinite values, counted
    unsigned threads = 1;
    std::size_t windowBytes = std::size_t{16} << 20;  // text parsed at a time
    ProgressCallback progress;
};

// Lines of this many bytes or more are refused.
constexpr std::size_t kMaxLine = 4096;

// Parses the file and appends its points to the writer; fills in the
// summary (format, lines, points, skipped). Throws ScanError naming the
// file and the line.
void ReadPointText(const std::string& path, const TextReadOptions& options, ScanWriter::Impl& writer,
                   InputSummary& summary);

}  // namespace lxscan

#endif
