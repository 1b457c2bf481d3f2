// Identity and time: UUID, Date and the component names.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <lxbase/components.h>
#include <lxbase/date.h>
#include <lxbase/text.h>
#include <lxbase/uuid.h>

#include "module.h"

namespace lxpy {
namespace {

using lxbase::Date;
using lxbase::UUID;

PyObject* parseErrorType = nullptr;

// Runs make(); any exception it raises (Boost's parse and range errors, a
// UTF-16 error) becomes lxbase.ParseError, a ValueError, naming what.
template <typename F>
auto Parse(const char* what, const std::string& text, F make) -> decltype(make()) {
    try {
        return make();
    } catch (const std::exception& x) {
        PyErr_SetString(parseErrorType, (std::string(what) + " '" + text + "': " + x.what()).c_str());
        throw py::error_already_set();
    }
}

UUID UuidFrom(const py::object& value) {
    if (value.is_none()) return UUID();
    if (py::isinstance<py::str>(value)) {
        const std::string text = value.cast<std::string>();
        return Parse("not a UUID", text, [&] { return UUID(text); });
    }
    if (py::isinstance<py::bytes>(value) || py::isinstance<py::bytearray>(value)) {
        const std::string bytes = value.cast<std::string>();
        if (bytes.size() != 16)
            throw py::value_error("UUID: expected 16 bytes, got " + std::to_string(bytes.size()));
        return UUID(static_cast<const void*>(bytes.data()));
    }
    throw py::type_error("UUID: expected str, 16 bytes or None, got " + py::str(py::type::of(value)).cast<std::string>());
}

void RegisterUuid(py::module_& m) {
    py::class_<UUID>(m, "UUID")
        .def(py::init(&UuidFrom), py::arg("value") = py::none())
        .def_static("generate", &UUID::Generate)
        .def_static("zeros", &UUID::Generate_Zeros)
        .def_static("is_valid", [](const std::string& text) { return UUID::isValid(text); }, py::arg("text"))
        .def_property_readonly("is_zero", &UUID::IsZero)
        .def_property_readonly("bytes",
                               [](const UUID& id) {
                                   const std::vector<unsigned char> b = id.ToBytes();
                                   return py::bytes(reinterpret_cast<const char*>(b.data()), b.size());
                               })
        .def("__str__", &UUID::ToString)
        .def("__repr__", [](const UUID& id) { return "lxbase.UUID('" + id.ToString() + "')"; })
        .def("__hash__", [](const UUID& id) { return py::hash(py::bytes(reinterpret_cast<const char*>(id.value), 16)); })
        .def("__eq__", [](const UUID& a, const UUID& b) { return a == b; }, py::is_operator())
        .def("__ne__", [](const UUID& a, const UUID& b) { return a != b; }, py::is_operator())
        .def("__lt__", [](const UUID& a, const UUID& b) { return a < b; }, py::is_operator())
        .def("__gt__", [](const UUID& a, const UUID& b) { return a > b; }, py::is_operator())
        .def("__le__", [](const UUID& a, const UUID& b) { return !(b < a); }, py::is_operator())
        .def("__ge__", [](const UUID& a, const UUID& b) { return !(a < b); }, py::is_operator());
}

std::u16string Wide(const std::string& text) { return lxbase::Decode_UTF8(text); }
std::string Narrow(const std::u16string& text) { return lxbase::Encode_UTF8(text); }

Date DateFromText(const std::string& text) {
    return Parse("not a date", text, [&] { return Date(Wide(text)); });
}

// The microseconds of a real time: the largest fraction f with
// date(seconds.f) <= value, found by bisection with the library's ordering
// (the text forms keep whole seconds only).
int Microseconds(const Date& value, const std::string& seconds) {
    char fraction[8];
    int low = 0, high = 999999;
    while (low < high) {
        const int middle = (low + high + 1) / 2;
        std::snprintf(fraction, sizeof fraction, ".%06d", middle);
        if (Date(Wide(seconds + fraction)) <= value)
            low = middle;
        else
            high = middle - 1;
    }
    return low;
}

py::object ToDatetime(const Date& value) {
    if (!value.IsValid()) return py::none();
    const std::string iso = Narrow(value.ToISOString());
    if (iso.size() != 15) throw py::value_error("Date " + iso + " has no datetime.datetime form");
    auto field = [&](std::size_t at, std::size_t length) { return std::stoi(iso.substr(at, length)); };
    return py::module_::import("datetime")
        .attr("datetime")(field(0, 4), field(4, 2), field(6, 2), field(9, 2), field(11, 2), field(13, 2),
                          Microseconds(value, iso));
}

Date FromDatetime(const py::handle& moment) {
    if (!moment.attr("tzinfo").is_none() && !moment.attr("utcoffset")().is_none())
        throw py::value_error("Date: the datetime has a time zone; a Date is a naive wall-clock time");
    const std::string text = moment.attr("strftime")("%Y%m%dT%H%M%S.%f").cast<std::string>();
    // strftime writes years below 1000 with fewer digits; such years lie
    // outside the calendar of Date anyway.
    return Parse("not a date", text, [&] { return Date(Wide(text)); });
}

Date DateFrom(const py::object& value) {
    if (value.is_none()) return Date();
    if (py::isinstance<py::str>(value)) return DateFromText(value.cast<std::string>());
    if (py::isinstance(value, py::module_::import("datetime").attr("datetime"))) return FromDatetime(value);
    throw py::type_error("Date: expected str, datetime.datetime or None, got " +
                         py::str(py::type::of(value)).cast<std::string>());
}

// Text that reads back as the same value: the ISO text, with the
// microseconds when there are any.
std::string ExactText(const Date& value) {
    std::string iso = Narrow(value.ToISOString());
    if (iso.size() == 15) {
        const int micro = Microseconds(value, iso);
        if (micro) {
            char fraction[8];
            std::snprintf(fraction, sizeof fraction, ".%06d", micro);
            iso += fraction;
        }
    }
    return iso;
}

void RegisterDate(py::module_& m) {
    py::class_<Date>(m, "Date")
        .def(py::init(&DateFrom), py::arg("value") = py::none())
        .def_static("now", &Date::Now)
        .def_static("no_date", &Date::NoDate)
        .def_static("from_datetime", [](const py::object& moment) { return DateFrom(moment); }, py::arg("moment"))
        .def_property_readonly("is_valid", &Date::IsValid)
        .def("iso", [](const Date& d) { return Narrow(d.ToISOString()); })
        .def("local_string", [](const Date& d) { return Narrow(d.ToLocalString()); })
        .def("to_datetime", &ToDatetime)
        .def("__str__", [](const Date& d) { return Narrow(d.ToISOString()); })
        .def("__repr__", [](const Date& d) { return "lxbase.Date('" + ExactText(d) + "')"; })
        .def("__hash__", [](const Date& d) { return py::hash(py::str(ExactText(d))); })
        .def("__eq__", [](const Date& a, const Date& b) { return a == b; }, py::is_operator())
        .def("__ne__", [](const Date& a, const Date& b) { return a != b; }, py::is_operator())
        .def("__lt__", [](const Date& a, const Date& b) { return a < b; }, py::is_operator())
        .def("__le__", [](const Date& a, const Date& b) { return a <= b; }, py::is_operator())
        .def("__gt__", [](const Date& a, const Date& b) { return a > b; }, py::is_operator())
        .def("__ge__", [](const Date& a, const Date& b) { return a >= b; }, py::is_operator());
}

}  // namespace

void RegisterIdentity(py::module_& m, PyObject* parseError) {
    parseErrorType = parseError;
    RegisterUuid(m);
    RegisterDate(m);
    m.def(
        "component_name",
        [](const py::int_& component) {
            const long long value = component.cast<long long>();
            if (value < INT32_MIN || value > INT32_MAX)
                throw py::value_error("component: " + std::to_string(value) + " is outside the 32-bit range");
            return lxbase::ComponentToString(static_cast<lxbase::ComponentType>(value));
        },
        py::arg("component"));
    m.def(
        "component_from_name", [](const std::string& name) { return static_cast<int>(lxbase::StringToComponent(name)); },
        py::arg("name"));
}

}  // namespace lxpy
