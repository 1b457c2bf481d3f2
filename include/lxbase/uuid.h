#ifndef LXBASE_UUID_H
#define LXBASE_UUID_H

#include <string>
#include <type_traits>
#include <vector>

#include "lxbase/export.h"

namespace lxbase {

/// A 128-bit identifier: 16 bytes in the order of its text form (byte 0 holds
/// the first two hex digits), as RFC 4122 lays them out on the wire. The all-zero
/// value stands for "no identifier".
///
/// Text accepted by the string constructors and isValid: 32 hex digits (either
/// case), optionally as 8-4-4-4-12 with a dash in all four places or none, the
/// whole optionally between "{" and "}", nothing before or after. A non-empty
/// text that breaks this rule throws Boost's invalid-string exception (a
/// std::runtime_error "invalid uuid string", also catchable as boost::exception);
/// an empty text gives the zero identifier.
struct LXBASE_API UUID {
    /// All zero.
    UUID();
    /// Copies 16 bytes from `bytes`, in order; the caller guarantees them.
    /// Explicit: an implicit conversion from any pointer would be a trap.
    explicit UUID(const void* bytes);
    /// Parses `text` by the rule above (empty: zero; malformed: throws).
    UUID(const std::string& text);
    /// The rule applies to the 16-bit characters themselves; a character outside
    /// ASCII is never a hex digit, dash or brace.
    UUID(const std::u16string& text);
    /// Zero-terminated text, parsed like the string forms. These overloads keep
    /// a string literal from choosing UUID(const void*); a null pointer is taken
    /// as the empty text.
    UUID(const char* text);
    /// Zero-terminated 16-bit text, parsed like the wide string form; a null
    /// pointer is taken as the empty text.
    UUID(const char16_t* text);

    /// Copies the 16 bytes.
    UUID(const UUID& other) = default;
    /// Copies the 16 bytes.
    const UUID& operator=(const UUID& other);

    /// A random identifier of version 4 with the RFC 4122 variant, from the
    /// operating system's entropy (boost::uuids::entropy_error if there is none).
    static UUID Generate();
    /// The all-zero identifier.
    static UUID Generate_Zeros();
    /// The identifier made of the 16 bytes at `bytes`, in order (the same as
    /// UUID(const void*)).
    static UUID FromBytes(const void* bytes) { return UUID(bytes); }
    /// Whether the text rule accepts `text`; never throws.
    [[nodiscard]] static bool isValid(const std::string& text);
    /// Whether the text rule accepts the 16-bit `text`; never throws.
    [[nodiscard]] static bool isValid(const std::u16string& text);

    /// True if all 16 bytes are zero.
    bool IsZero() const;
    /// 36 characters, lower-case hex, 8-4-4-4-12, no braces.
    std::string ToString() const;
    /// ToString() as 16-bit characters.
    std::u16string ToWString() const;
    /// Exactly 16 bytes, byte 0 first.
    std::vector<unsigned char> ToBytes() const;
    /// ToString().
    operator std::string() const;
    /// ToWString().
    operator std::u16string() const;

    /// True if all 16 bytes are equal.
    bool operator==(const UUID& other) const;
    /// True if any byte differs.
    bool operator!=(const UUID& other) const;
    /// Bytes compared as unsigned numbers from byte 0 on: the order of the
    /// 128-bit big-endian number and of the ToString() texts.
    bool operator<(const UUID& other) const;
    /// `other < *this`.
    bool operator>(const UUID& other) const;

    unsigned char value[16];  ///< The 16 bytes, byte 0 first.
};

static_assert(sizeof(UUID) == 16, "UUID is a 16-byte record");
static_assert(std::is_standard_layout<UUID>::value, "UUID is a plain record");

}  // namespace lxbase

#endif
