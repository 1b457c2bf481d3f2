#include "lxbase/date.h"

#include <cstdint>
#include <limits>

#include "boost_date_api.h"
#include "date_local.h"

#include "lxbase/text.h"

namespace lxbase {

namespace {

using boost::posix_time::ptime;

// Boost's compact ISO form first; if that reading fails in any way, the
// delimited form, whose failure is the caller's to see.
ptime ReadText(const std::string& text) {
    try {
        return boost::posix_time::from_iso_string(text);
    } catch (...) {
    }
    return boost::posix_time::time_from_string(text);
}

// Days from 1601-01-01 to the last day of Boost's calendar, 9999-12-31.
std::uint64_t LastFileTimeDay() {
    static const std::uint64_t days = static_cast<std::uint64_t>(
        (boost::gregorian::date(9999, 12, 31) - boost::gregorian::date(1601, 1, 1)).days());
    return days;
}

// A count of 100-ns intervals since 1601-01-01 00:00:00, without any zone
// conversion: whole days onto the date, the rest of the day as hours, minutes
// and seconds, the leftover 100-ns units divided by 10 (truncated) into
// microseconds.
ptime FromFileTime(std::uint64_t count) {
    const std::uint64_t seconds = count / 10000000u;
    const auto microseconds = static_cast<std::uint32_t>(count % 10000000u) / 10u;
    const std::uint64_t days = seconds / 86400u;
    auto rest = static_cast<std::uint32_t>(seconds % 86400u);
    const std::uint32_t hours = rest / 3600u;
    rest %= 3600u;
    const std::uint32_t minutes = rest / 60u;
    const std::uint32_t secs = rest % 60u;
    // The calendar ends with 9999; a later day is an out-of-range year, as it
    // is when such a year is read from text.
    if (days > LastFileTimeDay()) boost::throw_exception(boost::gregorian::bad_year());
    const boost::gregorian::date day =
        boost::gregorian::date(1601, 1, 1) + boost::gregorian::date_duration(static_cast<long>(days));
    return ptime(day, boost::posix_time::time_duration(hours, minutes, secs, microseconds));
}

// Boost's signed 64-bit tick count: -infinity is the lowest count, then real
// times in order, not-a-date-time one below the highest, +infinity the highest.
// ptime's own operators treat not-a-date-time as unordered instead. Real times
// count from 1400-01-01, an offset that keeps their order; the difference is
// pure tick arithmetic, so it also holds for a time that the delimited reader
// carried past either end of the calendar (e.g. "9999-12-31 24:00:00"), whose
// date() would throw bad_year.
std::int64_t TickCount(const ptime& time) {
    if (time.is_neg_infinity()) return std::numeric_limits<std::int64_t>::min();
    if (time.is_not_a_date_time()) return std::numeric_limits<std::int64_t>::max() - 1;
    if (time.is_pos_infinity()) return std::numeric_limits<std::int64_t>::max();
    static const ptime origin(boost::posix_time::min_date_time);
    return (time - origin).ticks();
}

}  // namespace

Date::Date() : value_(new ptime(boost::posix_time::microsec_clock::local_time())) {}

Date::Date(const Date& other) : value_(new ptime(*other.value_)) {}

// Text that is not valid UTF-16 throws from the conversion, as it would from
// either reading.
Date::Date(const std::u16string& text) : Date(Encode_UTF8(text)) {}

Date::Date(const std::string& text) : value_(new ptime(ReadText(text))) {}

Date::Date(std::uint32_t low, std::uint32_t high)
    : value_(new ptime(FromFileTime((static_cast<std::uint64_t>(high) << 32) | low))) {}

Date::Date(ptime* time) : value_(time) {}

Date::~Date() { delete value_; }

// Each object keeps its own time; assigning the value in place keeps that and
// is safe for self-assignment.
Date& Date::operator=(const Date& other) {
    *value_ = *other.value_;
    return *this;
}

Date Date::Now() {
    const ptime now = boost::posix_time::microsec_clock::local_time();
    return Date(boost::posix_time::to_iso_string(now));
}

Date Date::NoDate() { return Date(new ptime(boost::posix_time::not_a_date_time)); }

bool Date::IsValid() const { return !value_->is_not_a_date_time(); }

std::u16string Date::ToISOString() const { return Decode_UTF8(ToISOStringUTF8()); }

std::string Date::ToISOStringUTF8() const {
    std::string text = boost::posix_time::to_iso_string(*value_);
    const std::string::size_type dot = text.rfind('.');
    if (dot != std::string::npos) text.erase(dot);
    return text;
}

std::u16string Date::ToLocalString() const {
    if (value_->is_special()) return ToISOString();
    return FormatLocalDateTime(*value_);
}

std::string Date::ToLocalStringUTF8() const { return Encode_UTF8(ToLocalString()); }

bool Date::operator==(const Date& other) const { return TickCount(*value_) == TickCount(*other.value_); }
bool Date::operator!=(const Date& other) const { return !(*this == other); }
bool Date::operator<(const Date& other) const { return TickCount(*value_) < TickCount(*other.value_); }
bool Date::operator<=(const Date& other) const { return !(other < *this); }
bool Date::operator>(const Date& other) const { return other < *this; }
bool Date::operator>=(const Date& other) const { return !(*this < other); }

}  // namespace lxbase
