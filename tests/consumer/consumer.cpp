// Uses lxbase like a separately built client: only the two umbrella headers,
// and the third-party exceptions that the interface lets through are caught by
// their own types.
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <cxxabi.h>

#include <boost/date_time/gregorian/greg_date.hpp>
#include <boost/exception/exception.hpp>
#include <boost/lexical_cast/bad_lexical_cast.hpp>
#include <utf8.h>

#include <lxbase/lxbase.h>
#include <lxmath/lxmath.h>

static_assert(LXBASE_VERSION == LXBASE_VERSION_MAJOR * 10000 + LXBASE_VERSION_MINOR * 100 +
                                    LXBASE_VERSION_PATCH,
              "one version number");
static_assert(LXBASE_VERSION_MAJOR >= 1, "the package's major version");

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "consumer: %s\n", what);
        ++failures;
    }
}

// The exception in flight was thrown with exactly the type information this
// program uses for Thrown: the library exports it, so the dynamic linker gives
// the program and the library one copy. (A static build has one copy anyway.)
template <typename Thrown>
bool ThrownAsOwnType() {
    return abi::__cxa_current_exception_type() == &typeid(Thrown);
}

// Runs action, which must throw Caught (thrown as Thrown); reports whether it did.
template <typename Caught, typename Thrown, typename Action>
void ExpectThrow(Action action, const char* what) {
    try {
        action();
        Check(false, what);
    } catch (const Caught&) {
        Check(ThrownAsOwnType<Thrown>(), what);
    } catch (...) {
        Check(false, what);
    }
}

}  // namespace

int main() {
    lxbase::OutMemoryStream out;
    out.Write("lxbase", 6);
    lxbase::InMemoryStream in(out.GetBuffer(), out.BufferSize());
    char back[6] = {};
    in.Read(back, sizeof back);
    Check(in.GetLastCount() == 6 && std::memcmp(back, "lxbase", 6) == 0, "memory streams");

    try {
        throw lxbase::LXWritingException("written 1/2 error 0");
    } catch (const lxbase::LXException& e) {
        Check(std::strcmp(e.what(), "written 1/2 error 0") == 0, "LXException message");
    }

    // utf8-cpp's exceptions, each caught as itself, and one as the base.
    ExpectThrow<utf8::invalid_utf8, utf8::invalid_utf8>(
        [] { (void)lxbase::ConvertString(std::string("\xFF")); }, "utf8::invalid_utf8");
    ExpectThrow<utf8::not_enough_room, utf8::not_enough_room>(
        [] { (void)lxbase::ConvertString(std::string("\xC3")); }, "utf8::not_enough_room");
    ExpectThrow<utf8::invalid_code_point, utf8::invalid_code_point>(
        [] { (void)lxbase::Decode_UTF8(std::string("\xED\xA0\x80")); }, "utf8::invalid_code_point");
    ExpectThrow<utf8::invalid_utf16, utf8::invalid_utf16>(
        [] { (void)lxbase::ConvertString(std::u16string(1, u'\xD800')); }, "utf8::invalid_utf16");
    ExpectThrow<utf8::exception, utf8::invalid_utf16>(
        [] { (void)lxbase::Encode_UTF8(std::u16string(1, u'\xDC00')); }, "utf8::exception");

    // Boost's, thrown inside boost::wrapexcept and caught as the wrapped type
    // or a base. (boost::uuids::entropy_error, which Generate lets through,
    // cannot be provoked from here; the exported_symbols test requires its
    // type information.)
    using boost::wrapexcept;
    ExpectThrow<boost::gregorian::bad_day_of_month, wrapexcept<boost::gregorian::bad_day_of_month>>(
        [] { lxbase::Date date(u"2024-02-30 00:00:00"); }, "boost::gregorian::bad_day_of_month");
    ExpectThrow<boost::gregorian::bad_year, wrapexcept<boost::gregorian::bad_year>>(
        [] { lxbase::Date date(u"1399-12-31 00:00:00"); }, "boost::gregorian::bad_year");
    ExpectThrow<boost::gregorian::bad_month, wrapexcept<boost::gregorian::bad_month>>(
        [] { lxbase::Date date(u"2024-13-01 00:00:00"); }, "boost::gregorian::bad_month");
    ExpectThrow<std::out_of_range, wrapexcept<boost::gregorian::bad_month>>(
        [] { lxbase::Date date(u"2024-00-01 00:00:00"); }, "bad_month as std::out_of_range");
    ExpectThrow<boost::bad_lexical_cast, wrapexcept<boost::bad_lexical_cast>>(
        [] { lxbase::Date date(u"2024-01-x 00:00:00"); }, "boost::bad_lexical_cast");
    ExpectThrow<std::runtime_error, wrapexcept<std::runtime_error>>(
        [] { lxbase::UUID id(std::string("not a uuid")); }, "invalid uuid string");
    ExpectThrow<boost::exception, wrapexcept<std::runtime_error>>(
        [] { lxbase::UUID id(std::u16string(u"{0f8fad5b-d9cb-469f-a165-70867728950e")); },
        "invalid uuid string as boost::exception");

    if (failures == 0) std::puts("consumer ok");
    return failures == 0 ? 0 : 1;
}
