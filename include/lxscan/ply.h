// PLY point files: reading the vertices of ascii, binary little-endian and
// binary big-endian files, and writing binary little-endian ones.
//
// The reader takes x y z (any numeric type; float or double in practice),
// red green blue, intensity (or scalar_intensity) and nx ny nz from the
// vertex element, in any property order, and skips every other property and
// every other element (also list properties such as faces). Every error names
// the file and the header line, data line (ascii) or byte (binary).
#ifndef LXSCAN_PLY_H
#define LXSCAN_PLY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <lxscan/export.h>
#include <lxscan/types.h>

namespace lxscan {

class OutputFile;
class ScanReader;

// Whether the first bytes of a file are those of a PLY file ("ply" and a line
// end).
LXSCAN_API bool LooksLikePly(std::string_view firstBytes);

enum class PlyFormat { Ascii, BinaryLittleEndian, BinaryBigEndian };

struct PlyReadOptions {
    // Vertices with a NaN or infinite coordinate are left out and counted
    // (Skipped()) instead of refused.
    bool skipInvalid = false;
};

class LXSCAN_API PlyReader {
public:
    // Opens the file and reads its header; throws ScanError naming the file
    // and the header line for a header that cannot be used, and the byte
    // where the data ends when the file is shorter than the header says.
    explicit PlyReader(const std::string& path, PlyReadOptions options = {});
    PlyReader(PlyReader&&) noexcept;
    PlyReader& operator=(PlyReader&&) noexcept;
    ~PlyReader();

    const std::string& Path() const;
    PlyFormat Format() const;
    // Vertices the header announces.
    std::uint64_t Count() const;
    // At most as many vertices as the rest of the file can hold (the count,
    // when the size is unknown): what a caller may reserve room for.
    std::uint64_t CountBound() const;
    bool HasColour() const;
    bool HasIntensity() const;
    bool HasNormals() const;
    // Whether x y z are all stored as float (4 bytes).
    bool FloatCoordinates() const;

    // Decodes up to maxCount of the next vertices into the arrays given (null
    // skips a field; a field the file lacks is left untouched): xyz 3 doubles
    // a vertex, rgb 3 bytes, intensity 1 byte, normals 3 floats. Returns how
    // many vertices were stored, 0 after the last. Throws ScanError naming
    // the file and the line or byte of a malformed or missing vertex, or of a
    // NaN or infinite coordinate unless skipInvalid.
    std::size_t Read(std::size_t maxCount, double* xyz, std::uint8_t* rgb = nullptr,
                     std::uint8_t* intensity = nullptr, float* normals = nullptr);
    // Vertices read so far (including the skipped ones), and those skipped.
    std::uint64_t Consumed() const;
    std::uint64_t Skipped() const;
    // Fraction of the vertices read, 0..1.
    double Fraction() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// What a binary PLY export holds per vertex.
struct PlyWriteLayout {
    bool doubleCoordinates = true;  // x y z as double (else float)
    bool colour = true;             // red green blue uchar
    bool intensity = true;          // intensity uchar
    bool normals = false;           // nx ny nz float
};

// Writes a binary little-endian PLY: the header for count vertices, then
// blocks of vertices through Add, then Finish. The fields given in the
// layout must be passed to every Add.
class LXSCAN_API PlyWriter {
public:
    PlyWriter(OutputFile& out, std::uint64_t count, const PlyWriteLayout& layout,
              const std::string& comment = "written by lxscan");
    // n vertices: xyz 3n doubles (as float they must lie in float's range:
    // larger values become infinities), rgb 3n, intensity n, normals 3n.
    void Add(std::size_t n, const double* xyz, const std::uint8_t* rgb, const std::uint8_t* intensity,
             const float* normals);
    // Checks that count vertices were added; throws ScanError otherwise.
    void Finish();
    std::size_t RecordSize() const { return recordSize_; }

private:
    OutputFile& out_;
    std::uint64_t count_;
    std::uint64_t added_ = 0;
    PlyWriteLayout layout_;
    std::size_t recordSize_;
};

// Writes the points of a scan file as binary little-endian PLY, in the
// file's order: x y z as the scan stores them (double or float), red green
// blue and intensity uchar, and nx ny nz float (the decoded normal) when the
// scan has normals. Written through an OutputFile; refuses the scan itself
// as the output. Throws ScanError.
LXSCAN_API void ExportPly(ScanReader& scan, const std::string& path, const ProgressCallback& progress = {});

}  // namespace lxscan

#endif
