// Reference values for the Python exactness tests: reads raw input records
// from a file, applies the library's per-element function to each, and
// writes the raw results.
//
//   lxbase_python_reference OPERATION INPUT OUTPUT
//
// The Python suite writes the inputs with numpy, runs this program and
// compares the package's array results with OUTPUT byte for byte.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <lxbase/lxbase.h>
#include <lxmath/lxmath.h>

namespace {

using Bytes = std::vector<unsigned char>;
using Normal = lxbase::tBaseXYZPoint<float>;
using RGB8 = lxbase::t_RGBType<unsigned char>;

struct RGBBytes {
    unsigned char r, g, b;
};
struct HSLWords {
    std::uint16_t hue, saturation, lightness;
};
// One input of the pack operations.
struct PackInput {
    unsigned char r, g, b, intensity;
    float normal[3];
};

// Applies f to every In record of input (after skip bytes of parameters,
// handed to f as well) and appends the Out results.
template <typename In, typename Out, typename F>
Bytes Map(const Bytes& input, std::size_t skip, F f) {
    Bytes output;
    const std::size_t n = (input.size() - skip) / sizeof(In);
    output.resize(n * sizeof(Out));
    for (std::size_t i = 0; i < n; ++i) {
        In value;
        std::memcpy(static_cast<void*>(&value), input.data() + skip + i * sizeof(In), sizeof(In));
        const Out result = f(value, input.data());
        std::memcpy(output.data() + i * sizeof(Out), static_cast<const void*>(&result), sizeof(Out));
    }
    return output;
}

template <typename To, typename From>
Bytes Convert(const Bytes& input) {
    return Map<From, To>(input, 0, [](const From& from, const unsigned char*) {
        To to;
        to = from;
        return to;
    });
}

lxmath::Frame FrameAt(const unsigned char* bytes) {
    lxmath::Mat4<double> m;
    std::memcpy(m.data(), bytes, 12 * sizeof(double));
    return lxmath::Frame(m);
}

Bytes MapPoints(const Bytes& input, bool back) {
    return Map<lxmath::Vec3<double>, lxmath::Vec3<double>>(
        input, 12 * sizeof(double), [back](const lxmath::Vec3<double>& p, const unsigned char* parameters) {
            const lxmath::Frame frame = FrameAt(parameters);
            return back ? frame.BackPropagatePoint(p) : frame.PropagatePoint(p);
        });
}

// Frames given as 12 doubles each, in pairs (this, other): the matrix of
// this.PropagateFrame(other) or BackPropagateFrame.
Bytes MapFrames(const Bytes& input, bool back) {
    struct Pair {
        double a[12], b[12];
    };
    struct Matrix {
        double m[12];
    };
    return Map<Pair, Matrix>(input, 0, [back](const Pair& pair, const unsigned char*) {
        const lxmath::Frame a = FrameAt(reinterpret_cast<const unsigned char*>(pair.a));
        const lxmath::Frame b = FrameAt(reinterpret_cast<const unsigned char*>(pair.b));
        const lxmath::Mat4<double> m = (back ? a.BackPropagateFrame(b) : a.PropagateFrame(b)).GetMatrix();
        Matrix result;
        std::memcpy(result.m, m.data(), sizeof result.m);
        return result;
    });
}

Bytes Pack(const Bytes& input, bool withNormals) {
    return Map<PackInput, lxbase::HNormalRGB>(input, 0, [withNormals](const PackInput& p, const unsigned char*) {
        lxbase::HNormalRGB record = withNormals
                                        ? lxbase::HNormalRGB(p.r, p.g, p.b, Normal(p.normal[0], p.normal[1], p.normal[2]))
                                        : lxbase::HNormalRGB(p.r, p.g, p.b);
        record.SetIntensity(p.intensity);
        return record;
    });
}

// The library's Z-order permutation of the points, as 64-bit indices.
template <typename T>
Bytes ZOrder(const Bytes& input) {
    std::vector<lxbase::tBaseXYZPoint<T>> points(input.size() / sizeof(lxbase::tBaseXYZPoint<T>));
    std::memcpy(static_cast<void*>(points.data()), input.data(), points.size() * sizeof points[0]);
    const std::vector<std::size_t> order = lxbase::ZOrderPermutation(points.data(), points.size());
    Bytes output(order.size() * sizeof(std::uint64_t));
    for (std::size_t i = 0; i < order.size(); ++i) {
        const std::uint64_t index = order[i];
        std::memcpy(output.data() + i * sizeof index, &index, sizeof index);
    }
    return output;
}

const std::map<std::string, std::function<Bytes(const Bytes&)>>& Operations() {
    static const std::map<std::string, std::function<Bytes(const Bytes&)>> operations = {
        {"cartesian_to_polar_f32", Convert<lxbase::tBasePolarPoint<float>, lxbase::tBaseXYZPoint<float>>},
        {"cartesian_to_polar_f64", Convert<lxbase::tBasePolarPoint<double>, lxbase::tBaseXYZPoint<double>>},
        {"polar_to_cartesian_f32", Convert<lxbase::tBaseXYZPoint<float>, lxbase::tBasePolarPoint<float>>},
        {"polar_to_cartesian_f64", Convert<lxbase::tBaseXYZPoint<double>, lxbase::tBasePolarPoint<double>>},
        {"zorder_permutation_f32", ZOrder<float>},
        {"zorder_permutation_f64", ZOrder<double>},
        {"encode_normals",
         [](const Bytes& in) {
             return Map<Normal, std::uint16_t>(in, 0, [](const Normal& n, const unsigned char*) {
                 lxbase::HNormalRGB record;
                 record.SetNormal(n);
                 return record.GetNormalCode();
             });
         }},
        {"decode_normals",
         [](const Bytes& in) {
             return Map<std::uint16_t, Normal>(in, 0, [](std::uint16_t code, const unsigned char*) {
                 lxbase::HNormalRGB record;
                 record.SetNormalCode(code);
                 return record.GetNormal();
             });
         }},
        {"colour_ramp",
         [](const Bytes& in) {
             return Map<float, RGBBytes>(in, 0, [](float v, const unsigned char*) {
                 const RGB8 c = RGB8::GetColor(v);
                 return RGBBytes{c.r, c.g, c.b};
             });
         }},
        {"rgb_to_hsl",
         [](const Bytes& in) {
             return Map<RGBBytes, HSLWords>(in, 0, [](RGBBytes c, const unsigned char*) {
                 const lxbase::HSLType h(RGB8(c.r, c.g, c.b));
                 return HSLWords{h.hue, h.saturation, h.lightness};
             });
         }},
        {"hsl_to_rgb",
         [](const Bytes& in) {
             return Map<HSLWords, RGBBytes>(in, 0, [](HSLWords w, const unsigned char*) {
                 lxbase::HSLType h;
                 h.hue = w.hue;
                 h.saturation = w.saturation;
                 h.lightness = w.lightness;
                 const RGB8 c(h);
                 return RGBBytes{c.r, c.g, c.b};
             });
         }},
        {"pack_colour", [](const Bytes& in) { return Pack(in, false); }},
        {"pack_normals", [](const Bytes& in) { return Pack(in, true); }},
        {"propagate_points", [](const Bytes& in) { return MapPoints(in, false); }},
        {"back_propagate_points", [](const Bytes& in) { return MapPoints(in, true); }},
        {"propagate_frame", [](const Bytes& in) { return MapFrames(in, false); }},
        {"back_propagate_frame", [](const Bytes& in) { return MapFrames(in, true); }},
    };
    return operations;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s OPERATION INPUT OUTPUT\n", argv[0]);
        return 2;
    }
    const auto operation = Operations().find(argv[1]);
    if (operation == Operations().end()) {
        std::fprintf(stderr, "unknown operation %s\n", argv[1]);
        return 2;
    }
    std::ifstream in(argv[2], std::ios::binary);
    const Bytes input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.eof() && in.fail()) {
        std::fprintf(stderr, "cannot read %s\n", argv[2]);
        return 1;
    }
    const Bytes output = operation->second(input);
    std::ofstream out(argv[3], std::ios::binary);
    out.write(reinterpret_cast<const char*>(output.data()), static_cast<std::streamsize>(output.size()));
    out.close();
    if (!out) {
        std::fprintf(stderr, "cannot write %s\n", argv[3]);
        return 1;
    }
    return 0;
}
