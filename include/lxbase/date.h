#ifndef LXBASE_DATE_H
#define LXBASE_DATE_H

#include <cstdint>
#include <string>

#include "lxbase/export.h"

namespace boost {
namespace posix_time {
class ptime;
}  // namespace posix_time
}  // namespace boost

namespace lxbase {

/// A wall-clock point in time at microsecond resolution (years 1400 to 9999),
/// or one of the special values not-a-date-time ("no date"), +infinity and
/// -infinity. It carries no time zone. The value is a heap-held
/// boost::posix_time::ptime that every Date owns alone and copies deeply.
struct LXBASE_API Date {
    /// The current local time.
    Date();
    /// A deep copy: the new object owns a time value of its own.
    Date(const Date& other);
    /// Text in Boost's compact ISO form (20240115T102030[.fraction], or a
    /// special-value word); failing that, a date and a time of day separated by
    /// a blank (2024-01-15 10:20:30). What the second reading throws
    /// (boost::gregorian::bad_year, bad_month, bad_day_of_month,
    /// boost::bad_lexical_cast, std::out_of_range, utf8::invalid_utf16...)
    /// reaches the caller.
    Date(const std::u16string& text);
    /// The same reading of UTF-8 text.
    Date(const std::string& text);
    /// A file time: 100-ns intervals since 1601-01-01 00:00:00 as its low and
    /// high 32-bit halves. Microseconds are truncated; a time past
    /// 9999-12-31 23:59:59.999999 throws boost::gregorian::bad_year.
    Date(std::uint32_t low, std::uint32_t high);
    /// Frees the time value.
    ~Date();
    /// Copies the time value into this object's own (self-assignment is safe).
    Date& operator=(const Date& other);

    /// The current local time, read through its ISO text.
    static Date Now();
    /// not-a-date-time.
    static Date NoDate();

    /// False only for not-a-date-time.
    bool IsValid() const;
    /// YYYYMMDDThhmmss (no fraction), or "not-a-date-time", "+infinity",
    /// "-infinity".
    std::u16string ToISOString() const;
    /// The short date of the LC_TIME locale that the environment names (the
    /// "C" locale if it names none that exists), a blank, and the time as
    /// 24-hour hh:mm:ss. Special values give the words of ToISOString.
    std::u16string ToLocalString() const;
    /// ToISOString() as UTF-8.
    std::string ToISOStringUTF8() const;
    /// ToLocalString() as UTF-8.
    std::string ToLocalStringUTF8() const;

    /// Order of Boost's tick count: -infinity, real times, not-a-date-time,
    /// +infinity. Two not-a-date-time values are equal.
    /// @{
    bool operator==(const Date& other) const;
    bool operator!=(const Date& other) const;
    bool operator<(const Date& other) const;
    bool operator<=(const Date& other) const;
    bool operator>(const Date& other) const;
    bool operator>=(const Date& other) const;
    /// @}

private:
    /// Adopts a heap-held time; the new object frees it.
    explicit Date(boost::posix_time::ptime* time);

    boost::posix_time::ptime* value_;
};

}  // namespace lxbase

#endif
