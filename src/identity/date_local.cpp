#include "date_local.h"

#include <ctime>
#include <iterator>
#include <locale.h>
#include <new>
#include <string>
#include <wchar.h>

#include "utf8_api.h"

#include "lxbase/text.h"

namespace lxbase {

namespace {

// The LC_TIME rules of the locale that the environment names (LC_ALL, LC_TIME,
// LANG), or of "C" when that locale does not exist. A locale object of its own
// leaves the process locale and other threads untouched.
class TimeLocale {
public:
    TimeLocale() : handle_(newlocale(LC_TIME_MASK, "", locale_t{})) {
        if (handle_ == locale_t{}) handle_ = newlocale(LC_TIME_MASK, "C", locale_t{});
        if (handle_ == locale_t{}) throw std::bad_alloc();
    }
    ~TimeLocale() { freelocale(handle_); }
    TimeLocale(const TimeLocale&) = delete;
    TimeLocale& operator=(const TimeLocale&) = delete;

    locale_t Get() const { return handle_; }

private:
    locale_t handle_;
};

// The calendar fields of the time as the C library formats them: the
// wall-clock fields of the value itself, with no time-zone shift, for every
// year the value can hold (a year before 1601 included).
std::tm CalendarFields(const boost::posix_time::ptime& time) {
    const boost::gregorian::date day = time.date();
    const boost::gregorian::date::ymd_type ymd = day.year_month_day();
    const boost::posix_time::time_duration clock = time.time_of_day();
    std::tm fields{};
    fields.tm_year = static_cast<int>(ymd.year) - 1900;
    fields.tm_mon = static_cast<int>(ymd.month) - 1;
    fields.tm_mday = static_cast<int>(ymd.day);
    fields.tm_hour = static_cast<int>(clock.hours());
    fields.tm_min = static_cast<int>(clock.minutes());
    fields.tm_sec = static_cast<int>(clock.seconds());
    fields.tm_wday = static_cast<int>(day.day_of_week());
    fields.tm_yday = static_cast<int>(day.day_of_year()) - 1;
    return fields;
}

// wcsftime_l reports 0 both for an empty result and for a full buffer, so a
// larger buffer is tried a few times before the (then empty) result stands.
std::wstring FormatPart(const wchar_t* picture, const std::tm& fields, locale_t locale) {
    std::wstring buffer(100, L'\0');
    for (;;) {
        const std::size_t length = wcsftime_l(&buffer[0], buffer.size(), picture, &fields, locale);
        if (length > 0 || buffer.size() >= 6400) {
            buffer.resize(length);
            return buffer;
        }
        buffer.resize(buffer.size() * 4);
    }
}

// wchar_t holds UTF-32 here; the wide strings of the library hold UTF-16.
std::u16string ToUtf16(const std::wstring& text) {
    std::string narrow;
    utf8::utf32to8(text.begin(), text.end(), std::back_inserter(narrow));
    return Decode_UTF8(narrow);
}

}  // namespace

std::u16string FormatLocalDateTime(const boost::posix_time::ptime& time) {
    const TimeLocale locale;
    const std::tm fields = CalendarFields(time);
    // The time is always 24-hour hh:mm:ss with colons, whatever the locale's
    // own time format says.
    return ToUtf16(FormatPart(L"%x", fields, locale.Get()) + L" " +
                   FormatPart(L"%H:%M:%S", fields, locale.Get()));
}

}  // namespace lxbase
