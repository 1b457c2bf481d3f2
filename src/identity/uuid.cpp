#include "lxbase/uuid.h"

#include <cstring>
#include <iterator>

#include "boost_uuid_api.h"

#include "lxbase/text.h"

namespace lxbase {

namespace {

static_assert(sizeof(boost::uuids::uuid) == sizeof(UUID::value), "both hold 16 bytes");

// Presents 16-bit characters to Boost's string generator as narrow ones. ASCII
// characters pass unchanged; every other character becomes '\0', which is no
// hex digit, dash or brace, so it fails wherever it stands, just as the
// character itself would. Nothing outside ASCII is narrowed, so e.g. U+0130 or
// U+FF10 can never pass for an ASCII digit.
class AsciiView {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    explicit AsciiView(const char16_t* position) : position_(position) {}

    char operator*() const {
        const char16_t c = *position_;
        return c < 0x80 ? static_cast<char>(c) : '\0';
    }
    AsciiView& operator++() {
        ++position_;
        return *this;
    }
    AsciiView operator++(int) {
        AsciiView before = *this;
        ++position_;
        return before;
    }
    bool operator==(const AsciiView& other) const { return position_ == other.position_; }
    bool operator!=(const AsciiView& other) const { return position_ != other.position_; }

private:
    const char16_t* position_;
};

UUID FromBoost(const boost::uuids::uuid& id) { return UUID(id.data); }

UUID Parse(const char* begin, const char* end) {
    return FromBoost(boost::uuids::string_generator()(begin, end));
}

UUID Parse(const char16_t* begin, const char16_t* end) {
    return FromBoost(boost::uuids::string_generator()(AsciiView(begin), AsciiView(end)));
}

// The empty text is the zero identifier; anything else must follow the rule.
template <typename Char>
UUID ParseOrZero(const Char* begin, const Char* end) {
    return begin == end ? UUID() : Parse(begin, end);
}

template <typename Char>
bool Accepts(const Char* begin, const Char* end) {
    try {
        Parse(begin, end);
        return true;
    } catch (...) {
        return false;
    }
}

template <typename Char>
const Char* TextEnd(const Char* text) {
    return text + std::char_traits<Char>::length(text);
}

}  // namespace

UUID::UUID() : value{} {}

UUID::UUID(const void* bytes) { std::memcpy(value, bytes, sizeof value); }

UUID::UUID(const std::string& text)
    : UUID(ParseOrZero(text.data(), text.data() + text.size())) {}

UUID::UUID(const std::u16string& text)
    : UUID(ParseOrZero(text.data(), text.data() + text.size())) {}

UUID::UUID(const char* text) : UUID(text ? ParseOrZero(text, TextEnd(text)) : UUID()) {}

UUID::UUID(const char16_t* text) : UUID(text ? ParseOrZero(text, TextEnd(text)) : UUID()) {}

const UUID& UUID::operator=(const UUID& other) {
    std::memcpy(value, other.value, sizeof value);
    return *this;
}

UUID UUID::Generate() {
    // A fresh generator per call: nothing about the entropy source is kept
    // between calls. Boost sets the version (byte 6) and variant (byte 8) bits.
    boost::uuids::random_generator generator;
    return FromBoost(generator());
}

UUID UUID::Generate_Zeros() { return UUID(); }

bool UUID::isValid(const std::string& text) {
    return Accepts(text.data(), text.data() + text.size());
}

bool UUID::isValid(const std::u16string& text) {
    return Accepts(text.data(), text.data() + text.size());
}

bool UUID::IsZero() const {
    for (unsigned char byte : value) {
        if (byte != 0) return false;
    }
    return true;
}

std::string UUID::ToString() const {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(36);
    for (int i = 0; i < 16; ++i) {
        text += digits[value[i] >> 4];
        text += digits[value[i] & 0x0F];
        if (i == 3 || i == 5 || i == 7 || i == 9) text += '-';
    }
    return text;
}

std::u16string UUID::ToWString() const { return Decode_UTF8(ToString()); }

std::vector<unsigned char> UUID::ToBytes() const {
    return std::vector<unsigned char>(std::begin(value), std::end(value));
}

UUID::operator std::string() const { return ToString(); }
UUID::operator std::u16string() const { return ToWString(); }

bool UUID::operator==(const UUID& other) const {
    return std::memcmp(value, other.value, sizeof value) == 0;
}
bool UUID::operator!=(const UUID& other) const { return !(*this == other); }
// memcmp compares as unsigned char, the order the identifier defines.
bool UUID::operator<(const UUID& other) const {
    return std::memcmp(value, other.value, sizeof value) < 0;
}
bool UUID::operator>(const UUID& other) const { return other < *this; }

}  // namespace lxbase
