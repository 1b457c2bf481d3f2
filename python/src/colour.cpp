// Colours and the packed record on numpy arrays: the colour ramp, HSL, the
// normal codes, and HNormalRGB records.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <lxbase/colours.h>
#include <lxbase/hnormal_rgb.h>

#include "arrays.h"
#include "module.h"

namespace lxpy {
namespace {

using lxbase::HNormalRGB;
using lxbase::HSLType;
using RGB8 = lxbase::t_RGBType<unsigned char>;
using Normal = lxbase::tBaseXYZPoint<float>;

static_assert(sizeof(Normal) == 3 * sizeof(float), "a normal is three contiguous floats");

// out[i] = f(in[i]) over n elements of In and Out, in parallel and without
// the GIL: In and Out are the records of one element.
template <typename In, typename Out, typename F>
void MapElements(const void* in, void* out, std::size_t n, F f) {
    const unsigned char* source = static_cast<const unsigned char*>(in);
    unsigned char* target = static_cast<unsigned char*>(out);
    py::gil_scoped_release release;
    ParallelFor(n, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            In value;
            std::memcpy(static_cast<void*>(&value), source + i * sizeof(In), sizeof(In));
            const Out result = f(value);
            std::memcpy(target + i * sizeof(Out), static_cast<const void*>(&result), sizeof(Out));
        }
    });
}

struct RGBBytes {
    unsigned char r, g, b;
};
struct HSLWords {
    std::uint16_t hue, saturation, lightness;
};

py::array_t<std::uint8_t> ColourRamp(const py::object& values, const py::object& out) {
    auto in = CheckArray<float>(values, "values", 0);
    auto result = ResultArray<std::uint8_t>(out, in.shape(0), 3, in, false);
    MapElements<float, RGBBytes>(in.data(), result.mutable_data(), static_cast<std::size_t>(in.shape(0)), [](float v) {
        const RGB8 c = RGB8::GetColor(v);
        return RGBBytes{c.r, c.g, c.b};
    });
    return result;
}

py::array_t<std::uint16_t> RgbToHsl(const py::object& rgb, const py::object& out) {
    auto in = CheckArray<std::uint8_t>(rgb, "rgb", 3);
    auto result = ResultArray<std::uint16_t>(out, in.shape(0), 3, in, false);
    MapElements<RGBBytes, HSLWords>(in.data(), result.mutable_data(), static_cast<std::size_t>(in.shape(0)),
                                    [](RGBBytes c) {
                                        const HSLType h(RGB8(c.r, c.g, c.b));
                                        return HSLWords{h.hue, h.saturation, h.lightness};
                                    });
    return result;
}

py::array_t<std::uint8_t> HslToRgb(const py::object& hsl, const py::object& out) {
    auto in = CheckArray<std::uint16_t>(hsl, "hsl", 3);
    auto result = ResultArray<std::uint8_t>(out, in.shape(0), 3, in, false);
    MapElements<HSLWords, RGBBytes>(in.data(), result.mutable_data(), static_cast<std::size_t>(in.shape(0)),
                                    [](HSLWords w) {
                                        HSLType h;
                                        h.hue = w.hue;
                                        h.saturation = w.saturation;
                                        h.lightness = w.lightness;
                                        const RGB8 c(h);
                                        return RGBBytes{c.r, c.g, c.b};
                                    });
    return result;
}

py::array_t<std::uint16_t> EncodeNormals(const py::object& normals, const py::object& out) {
    auto in = CheckArray<float>(normals, "normals", 3);
    auto result = ResultArray<std::uint16_t>(out, in.shape(0), 0, in, false);
    MapElements<Normal, std::uint16_t>(in.data(), result.mutable_data(), static_cast<std::size_t>(in.shape(0)),
                                       [](const Normal& normal) {
                                           HNormalRGB record;
                                           record.SetNormal(normal);
                                           return record.GetNormalCode();
                                       });
    return result;
}

py::array_t<float> DecodeNormals(const py::object& codes, const py::object& out) {
    auto in = CheckArray<std::uint16_t>(codes, "codes", 0);
    auto result = ResultArray<float>(out, in.shape(0), 3, in, false);
    MapElements<std::uint16_t, Normal>(in.data(), result.mutable_data(), static_cast<std::size_t>(in.shape(0)),
                                       [](std::uint16_t code) {
                                           HNormalRGB record;
                                           record.SetNormalCode(code);
                                           return record.GetNormal();
                                       });
    return result;
}

}  // namespace

// The dtype of one packed record: the code word, then the colour word's
// bytes in address order (intensity, blue, green, red).
py::dtype RecordDtype() {
    return py::dtype::from_args(py::dict(
        py::arg("names") = py::make_tuple("code_word", "intensity", "blue", "green", "red"),
        py::arg("formats") = py::make_tuple("<u4", "u1", "u1", "u1", "u1"),
        py::arg("offsets") = py::make_tuple(0, 4, 5, 6, 7), py::arg("itemsize") = 8));
}

namespace {

// (N,) records from optional colours, intensities and normals: the records
// the library's constructors make (colour-only without normals, so code 0),
// with the intensity set afterwards.
py::array Pack(const py::object& rgb, const py::object& intensity, const py::object& normals) {
    py::array_t<std::uint8_t, py::array::c_style> colours, intensities;
    py::array_t<float, py::array::c_style> vectors;
    py::ssize_t n = -1;
    const char* first = nullptr;
    auto take = [&](py::ssize_t count, const char* name) {
        if (n >= 0 && count != n)
            throw py::value_error(std::string(name) + ": has " + std::to_string(count) + " elements, but " + first +
                                  " has " + std::to_string(n));
        if (n < 0) first = name;
        n = count;
    };
    if (!rgb.is_none()) take((colours = CheckArray<std::uint8_t>(rgb, "rgb", 3)).shape(0), "rgb");
    if (!intensity.is_none())
        take((intensities = CheckArray<std::uint8_t>(intensity, "intensity", 0)).shape(0), "intensity");
    if (!normals.is_none()) take((vectors = CheckArray<float>(normals, "normals", 3)).shape(0), "normals");
    if (n < 0) throw py::value_error("pack: give at least one of rgb, intensity, normals");

    py::array out(RecordDtype(), std::vector<py::ssize_t>{n});
    // A default array_t is an empty array, not a null handle: test the arguments.
    const std::uint8_t* c = rgb.is_none() ? nullptr : colours.data();
    const std::uint8_t* in = intensity.is_none() ? nullptr : intensities.data();
    const float* v = normals.is_none() ? nullptr : vectors.data();
    HNormalRGB* target = static_cast<HNormalRGB*>(out.mutable_data());
    py::gil_scoped_release release;
    ParallelFor(static_cast<std::size_t>(n), [&](std::size_t firstIndex, std::size_t last) {
        for (std::size_t i = firstIndex; i < last; ++i) {
            const unsigned char r = c ? c[3 * i] : 0, g = c ? c[3 * i + 1] : 0, b = c ? c[3 * i + 2] : 0;
            HNormalRGB record = v ? HNormalRGB(r, g, b, Normal(v[3 * i], v[3 * i + 1], v[3 * i + 2]))
                                  : HNormalRGB(r, g, b);
            if (in) record.SetIntensity(in[i]);
            std::memcpy(static_cast<void*>(target + i), &record, sizeof record);
        }
    });
    return out;
}

}  // namespace

py::dict UnpackRecords(const void* records, std::size_t stride, std::size_t n, const std::vector<std::string>& fields) {
    const auto wanted = [&](const char* name) { return std::find(fields.begin(), fields.end(), name) != fields.end(); };
    const py::ssize_t count = static_cast<py::ssize_t>(n);
    py::dict result;
    std::uint8_t* c = nullptr;
    std::uint8_t* in = nullptr;
    std::uint16_t* code = nullptr;
    float* v = nullptr;
    if (wanted("rgb")) {
        auto a = NewArray<std::uint8_t>(count, 3);
        c = a.mutable_data();
        result["rgb"] = a;
    }
    if (wanted("intensity")) {
        auto a = NewArray<std::uint8_t>(count, 0);
        in = a.mutable_data();
        result["intensity"] = a;
    }
    if (wanted("normal_code")) {
        auto a = NewArray<std::uint16_t>(count, 0);
        code = a.mutable_data();
        result["normal_code"] = a;
    }
    if (wanted("normals")) {
        auto a = NewArray<float>(count, 3);
        v = a.mutable_data();
        result["normals"] = a;
    }
    const unsigned char* source = static_cast<const unsigned char*>(records);
    py::gil_scoped_release release;
    ParallelFor(n, [&](std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            HNormalRGB record;
            std::memcpy(static_cast<void*>(&record), source + stride * i, sizeof record);
            if (c) {
                c[3 * i] = record.Red();
                c[3 * i + 1] = record.Green();
                c[3 * i + 2] = record.Blue();
            }
            if (in) in[i] = record.Intensity();
            if (code) code[i] = record.GetNormalCode();
            if (v) {
                const Normal normal = record.GetNormal();
                std::memcpy(v + 3 * i, &normal, sizeof normal);
            }
        }
    });
    return result;
}

namespace {

// The fields of (N,) records (the record dtype, or uint64 holding the code
// word in its low half) as a dict of arrays.
py::dict Unpack(const py::object& records) {
    py::array a = py::array::ensure(records);
    if (!a) {
        PyErr_Clear();
        throw py::type_error("records: expected a numpy array of packed records");
    }
    if (!a.dtype().equal(RecordDtype()) && !a.dtype().equal(py::dtype::of<std::uint64_t>()))
        throw py::type_error("records: expected the lxbase record dtype or uint64, got " +
                             py::str(a.dtype()).cast<std::string>());
    if (a.ndim() != 1) throw py::value_error("records: expected shape (N,), got " + ShapeText(a));
    a = py::array::ensure(a, py::array::c_style);
    return UnpackRecords(a.data(), 8, static_cast<std::size_t>(a.shape(0)),
                         {"rgb", "intensity", "normal_code", "normals"});
}

}  // namespace

void RegisterColour(py::module_& m) {
    m.def("colour_ramp", &ColourRamp, py::arg("values"), py::arg("out") = py::none());
    m.def("rgb_to_hsl", &RgbToHsl, py::arg("rgb"), py::arg("out") = py::none());
    m.def("hsl_to_rgb", &HslToRgb, py::arg("hsl"), py::arg("out") = py::none());
    m.def("encode_normals", &EncodeNormals, py::arg("normals"), py::arg("out") = py::none());
    m.def("decode_normals", &DecodeNormals, py::arg("codes"), py::arg("out") = py::none());
    m.def("pack", &Pack, py::arg("rgb") = py::none(), py::arg("intensity") = py::none(),
          py::arg("normals") = py::none());
    m.def("unpack", &Unpack, py::arg("records"));
    m.attr("RECORD_DTYPE") = RecordDtype();
}

}  // namespace lxpy
