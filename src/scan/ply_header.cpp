// The PLY header: format line, elements with their properties, end_header;
// and the buffered input the reader takes its bytes from.
#include "ply_layout.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lxscan {
namespace ply {

namespace {

constexpr std::size_t kMaxHeaderLine = 4096;
constexpr std::uint64_t kMaxHeaderLines = 100000;

struct TypeNameEntry {
    const char* name;
    Type type;
};
// Both spellings the format allows.
constexpr TypeNameEntry kTypeNames[] = {
    {"char", Type::Int8},     {"int8", Type::Int8},       {"uchar", Type::UInt8},     {"uint8", Type::UInt8},
    {"short", Type::Int16},   {"int16", Type::Int16},     {"ushort", Type::UInt16},   {"uint16", Type::UInt16},
    {"int", Type::Int32},     {"int32", Type::Int32},     {"uint", Type::UInt32},     {"uint32", Type::UInt32},
    {"float", Type::Float32}, {"float32", Type::Float32}, {"double", Type::Float64}, {"float64", Type::Float64},
};

struct FieldNameEntry {
    const char* name;
    Field field;
};
constexpr FieldNameEntry kFieldNames[] = {
    {"x", kX},         {"y", kY},           {"z", kZ},          {"red", kRed},
    {"green", kGreen}, {"blue", kBlue},     {"intensity", kIntensity}, {"scalar_intensity", kIntensity},
    {"nx", kNx},       {"ny", kNy},         {"nz", kNz},        {"normal_x", kNx},
    {"normal_y", kNy}, {"normal_z", kNz},
};

bool ParseType(const std::string& word, Type& type) {
    for (const TypeNameEntry& entry : kTypeNames) {
        if (word == entry.name) {
            type = entry.type;
            return true;
        }
    }
    return false;
}

Field FieldOf(const std::string& name) {
    for (const FieldNameEntry& entry : kFieldNames) {
        if (name == entry.name) return entry.field;
    }
    return kUnused;
}

std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    std::string word;
    while (in >> word) words.push_back(word);
    return words;
}

class HeaderParser {
public:
    HeaderParser(Input& input, const std::string& path) : input_(input), path_(path) {}

    Header Parse() {
        std::string line = NextLine();
        if (line.compare(0, 3, "\xEF\xBB\xBF") == 0) line.erase(0, 3);  // a UTF-8 byte order mark
        if (line != "ply") Fail("not a PLY file: the first line is not \"ply\"");
        bool haveFormat = false;
        for (;;) {
            line = NextLine();
            const std::vector<std::string> words = Words(line);
            if (words.empty()) continue;
            const std::string& keyword = words[0];
            if (keyword == "end_header") break;
            if (keyword == "comment" || keyword == "obj_info") continue;
            if (keyword == "format") {
                ParseFormat(words);
                haveFormat = true;
            } else if (keyword == "element") {
                ParseElement(words);
            } else if (keyword == "property") {
                ParseProperty(words);
            } else {
                Fail("unknown header keyword '" + keyword + "'");
            }
        }
        if (!haveFormat) Fail("the header has no format line");
        header_.lines = line_;
        header_.dataStart = input_.Position();
        Finish();
        return header_;
    }

private:
    [[noreturn]] void Fail(const std::string& message) const {
        throw ScanError(path_ + ":" + std::to_string(line_) + ": " + message);
    }

    // The next header line without its line end ("\n" or "\r\n").
    std::string NextLine() {
        ++line_;
        if (line_ > kMaxHeaderLines) Fail("no end_header in the first " + std::to_string(kMaxHeaderLines) + " lines");
        for (std::size_t scanned = 0;;) {
            const std::size_t available = input_.Fill(scanned + 1);
            const char* data = input_.Data();
            const void* newline = std::memchr(data + scanned, '\n', available - scanned);
            if (newline != nullptr) {
                const std::size_t length = static_cast<std::size_t>(static_cast<const char*>(newline) - data);
                std::string text(data, length);
                input_.Consume(length + 1);
                if (!text.empty() && text.back() == '\r') text.pop_back();
                return text;
            }
            if (available <= scanned) {
                if (line_ == 1 && available == 0) Fail("the file is empty");
                Fail("the header ends without end_header (at byte " + std::to_string(input_.Position() + available) +
                     ")");
            }
            scanned = available;
            if (scanned > kMaxHeaderLine) Fail("a header line longer than " + std::to_string(kMaxHeaderLine) + " bytes");
        }
    }

    void ParseFormat(const std::vector<std::string>& words) {
        if (words.size() != 3) Fail("a format line is \"format <ascii|binary_little_endian|binary_big_endian> 1.0\"");
        if (words[1] == "ascii") {
            header_.format = PlyFormat::Ascii;
        } else if (words[1] == "binary_little_endian") {
            header_.format = PlyFormat::BinaryLittleEndian;
        } else if (words[1] == "binary_big_endian") {
            header_.format = PlyFormat::BinaryBigEndian;
        } else {
            Fail("unknown PLY format '" + words[1] + "' (ascii, binary_little_endian or binary_big_endian)");
        }
        if (words[2] != "1.0") Fail("unknown PLY version '" + words[2] + "' (1.0)");
    }

    void ParseElement(const std::vector<std::string>& words) {
        if (words.size() != 3) Fail("an element line is \"element <name> <count>\"");
        Element element;
        element.name = words[1];
        element.line = line_;
        const char* begin = words[2].data();
        const char* end = begin + words[2].size();
        const auto result = std::from_chars(begin, end, element.count);
        if (result.ec != std::errc() || result.ptr != end) Fail("element count '" + words[2] + "' is not a number");
        header_.elements.push_back(element);
    }

    void ParseProperty(const std::vector<std::string>& words) {
        if (header_.elements.empty()) Fail("a property before the first element");
        Property property;
        if (words.size() == 5 && words[1] == "list") {
            property.list = true;
            if (!ParseType(words[2], property.countType)) Fail("unknown property type '" + words[2] + "'");
            if (!ParseType(words[3], property.type)) Fail("unknown property type '" + words[3] + "'");
            if (property.countType == Type::Float32 || property.countType == Type::Float64)
                Fail("a list count of type " + words[2]);
            property.name = words[4];
        } else if (words.size() == 3) {
            if (!ParseType(words[1], property.type)) Fail("unknown property type '" + words[1] + "'");
            property.name = words[2];
        } else {
            Fail("a property line is \"property <type> <name>\" or \"property list <type> <type> <name>\"");
        }
        Element& element = header_.elements.back();
        for (const Property& other : element.properties) {
            if (other.name == property.name) Fail("property '" + property.name + "' twice in element " + element.name);
        }
        if (element.name == "vertex") {
            if (property.list) Fail("a list property ('" + property.name + "') in the vertex element");
            property.field = FieldOf(property.name);
        }
        element.properties.push_back(property);
    }

    void Finish() {
        bool found = false;
        for (std::size_t i = 0; i < header_.elements.size(); ++i) {
            if (header_.elements[i].name != "vertex") continue;
            if (found) {
                line_ = header_.elements[i].line;
                Fail("a second vertex element");
            }
            found = true;
            header_.vertex = i;
        }
        if (!found) Fail("the header declares no vertex element");
        Element& vertex = header_.elements[header_.vertex];
        std::fill(std::begin(header_.propertyOf), std::end(header_.propertyOf), -1);
        std::size_t offset = 0;
        for (std::size_t i = 0; i < vertex.properties.size(); ++i) {
            Property& property = vertex.properties[i];
            property.offset = offset;
            offset += TypeSize(property.type);
            if (property.field == kUnused) continue;
            if (header_.present[property.field]) {
                line_ = vertex.line;
                Fail("the vertex element has property '" + property.name + "' under two names");
            }
            header_.present[property.field] = true;
            header_.propertyOf[property.field] = static_cast<int>(i);
        }
        line_ = vertex.line;
        for (Field axis : {kX, kY, kZ}) {
            if (!header_.present[axis]) Fail(std::string("the vertex element has no property ") + "xyz"[axis]);
        }
        // Colour and normals count only when complete.
        const bool colour = header_.present[kRed] && header_.present[kGreen] && header_.present[kBlue];
        const bool normals = header_.present[kNx] && header_.present[kNy] && header_.present[kNz];
        for (Field f : {kRed, kGreen, kBlue}) header_.present[f] = colour;
        for (Field f : {kNx, kNy, kNz}) header_.present[f] = normals;
    }

    Input& input_;
    const std::string& path_;
    std::uint64_t line_ = 0;
    Header header_;
};

}  // namespace

std::size_t TypeSize(Type type) {
    switch (type) {
        case Type::Int8: case Type::UInt8: return 1;
        case Type::Int16: case Type::UInt16: return 2;
        case Type::Int32: case Type::UInt32: case Type::Float32: return 4;
        case Type::Float64: return 8;
    }
    return 1;
}

const char* TypeName(Type type) {
    for (const TypeNameEntry& entry : kTypeNames) {
        if (entry.type == type) return entry.name;
    }
    return "?";
}

bool Element::HasLists() const {
    return std::any_of(properties.begin(), properties.end(), [](const Property& p) { return p.list; });
}

std::size_t Element::RecordSize() const {
    std::size_t size = 0;
    for (const Property& property : properties) size += TypeSize(property.type);
    return size;
}

Header ReadHeader(Input& input, const std::string& path) { return HeaderParser(input, path).Parse(); }

Input::Input(const std::string& path) : path_(path) {
    if (path == "-") {
        fd_ = STDIN_FILENO;
    } else {
        fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd_ < 0) throw ScanError(path + ": cannot open: " + std::strerror(errno));
    }
    struct stat info;
    if (fstat(fd_, &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            close(fd_);
            throw ScanError(path + ": is a directory");
        }
        regular_ = S_ISREG(info.st_mode);
        if (regular_) size_ = static_cast<std::uint64_t>(info.st_size);
    }
    if (regular_) posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
    buffer_.resize(std::size_t{4} << 20);
}

Input::~Input() {
    if (fd_ > STDIN_FILENO) close(fd_);
}

std::size_t Input::Fill(std::size_t n) {
    if (end_ - begin_ >= n || atEnd_) return end_ - begin_;
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        offset_ += begin_;
        end_ -= begin_;
        begin_ = 0;
    }
    if (buffer_.size() < n) buffer_.resize(n);
    while (end_ < n && !atEnd_) {
        const ssize_t got = read(fd_, buffer_.data() + end_, buffer_.size() - end_);
        if (got < 0) {
            if (errno == EINTR) continue;
            throw ScanError(path_ + ": byte " + std::to_string(offset_ + end_) + ": cannot read: " +
                            std::strerror(errno));
        }
        if (got == 0) atEnd_ = true;
        end_ += static_cast<std::size_t>(got);
    }
    return end_ - begin_;
}

}  // namespace ply
}  // namespace lxscan
