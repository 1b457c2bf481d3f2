// Scan files: the reader behind lxbase.read_scan, write_scan and convert.
// The records themselves are memory-mapped by the Python side; this part
// opens and checks the file, gives the header and decodes record fields.
#include <cstdint>
#include <string>
#include <vector>

#include <lxscan/lxscan.h>

#include <pybind11/stl.h>

#include "arrays.h"
#include "module.h"

namespace lxpy {
namespace {

std::string PathText(const py::handle& path) {
    return py::str(py::module_::import("os").attr("fspath")(path)).cast<std::string>();
}

py::dict HeaderDict(const lxscan::ScanHeader& h) {
    py::array_t<double> box({2, 3});
    for (int axis = 0; axis < 3; ++axis) {
        box.mutable_at(0, axis) = h.box.min[axis];
        box.mutable_at(1, axis) = h.box.max[axis];
    }
    py::dict d;
    d["id"] = h.id;
    d["date"] = h.date;
    d["registration"] = RegistrationTuple(h.registration);
    d["count"] = h.pointCount;
    d["coordinate_bytes"] = h.coordinateBytes;
    d["record_size"] = h.RecordSize();
    d["bbox"] = box;
    d["checksum"] = h.checksum;
    d["colour_from_input"] = h.ColourFromInput();
    d["has_normals"] = h.HasNormals();
    return d;
}

// Progress reports from the library's threads of work reach a Python
// callable with the GIL held; an exception it raises ends the operation.
lxscan::ProgressCallback PythonProgress(const py::object& progress) {
    if (progress.is_none()) return {};
    return [progress](const char* stage, double fraction) {
        py::gil_scoped_acquire acquire;
        progress(stage, fraction);
    };
}

template <typename T>
const T* Optional(const py::object& object, const char* name, py::ssize_t columns, py::ssize_t n,
                  py::array_t<T, py::array::c_style>& keep) {
    if (object.is_none()) return nullptr;
    keep = CheckArray<T>(object, name, columns);
    if (keep.shape(0) != n)
        throw py::value_error(std::string(name) + ": has " + std::to_string(keep.shape(0)) + " points, but xyz has " +
                              std::to_string(n));
    return keep.data();
}

void WriteScan(const py::object& path, const py::object& xyz, const py::object& rgb, const py::object& intensity,
               const py::object& normals, const py::object& registration, const py::object& id,
               const py::object& date, bool local, unsigned coordinateBytes) {
    auto points = CheckArray<double>(xyz, "xyz", 3);
    const py::ssize_t n = points.shape(0);
    py::array_t<std::uint8_t, py::array::c_style> rgbKeep, intensityKeep;
    py::array_t<float, py::array::c_style> normalsKeep;
    const std::uint8_t* colours = Optional<std::uint8_t>(rgb, "rgb", 3, n, rgbKeep);
    const std::uint8_t* intensities = Optional<std::uint8_t>(intensity, "intensity", 0, n, intensityKeep);
    const float* vectors = Optional<float>(normals, "normals", 3, n, normalsKeep);
    if (coordinateBytes != 4 && coordinateBytes != 8)
        throw py::value_error("coordinate_bytes: must be 4 or 8, got " + std::to_string(coordinateBytes));

    lxscan::ScanWriterOptions options;
    options.coordinateBytes = coordinateBytes;
    if (!registration.is_none()) options.registration = RegistrationFrom(registration, "registration");
    options.pointsInScannerSystem = local;
    if (!id.is_none()) options.id = py::module_::import("lxbase").attr("UUID")(id).cast<lxbase::UUID>();
    if (!date.is_none()) {
        py::object value = py::module_::import("lxbase").attr("Date")(date);
        if (!value.attr("is_valid").cast<bool>()) throw py::value_error("date: not-a-date-time cannot be stored");
        options.date = value.attr("iso")().cast<std::string>();
    }
    const std::string target = PathText(path);
    py::gil_scoped_release release;
    lxscan::ScanWriter writer(options);
    writer.Add(static_cast<std::size_t>(n), points.data(), colours, intensities, vectors);
    writer.Write(target);
}

py::dict ConvertFiles(const py::object& inputs, const py::object& output, const std::string& format,
                      const py::object& pose, bool floatCoordinates, bool verify, bool skipInvalid, unsigned threads,
                      const py::object& progress) {
    std::vector<std::string> paths;
    if (py::isinstance<py::str>(inputs) || py::hasattr(inputs, "__fspath__"))
        paths.push_back(PathText(inputs));
    else
        for (const py::handle& input : inputs) paths.push_back(PathText(input));
    lxscan::ConvertOptions options;
    if (!lxscan::ParseFormatName(format, options.format))
        throw py::value_error("format: expected auto, xyz, xyzrgb, xyznormal or xyzrgbnormal, got '" + format + "'");
    if (!pose.is_none()) options.pose = RegistrationFrom(pose, "pose");
    options.floatCoordinates = floatCoordinates;
    options.verify = verify;
    options.skipInvalid = skipInvalid;
    options.threads = threads;
    options.progress = PythonProgress(progress);
    const std::string target = PathText(output);
    lxscan::ConvertResult result;
    {
        py::gil_scoped_release release;
        result = lxscan::Convert(paths, target, options);
    }
    py::list summaries;
    for (const lxscan::InputSummary& input : result.inputs) {
        py::dict s;
        s["path"] = input.path;
        s["kind"] = input.kind;
        s["format"] = lxscan::FormatName(input.format);
        s["detected"] = input.detected;
        s["points"] = input.points;
        s["lines"] = input.lines;
        s["skipped"] = input.skipped;
        summaries.append(s);
    }
    py::dict d = HeaderDict(result.header);
    d["path"] = target;
    d["inputs"] = summaries;
    d["points"] = result.points;
    d["skipped"] = result.skipped;
    d["normals"] = result.normals;
    d["worst_normal_degrees"] = result.worstNormalDegrees;
    py::dict seconds;
    seconds["read"] = result.readSeconds;
    seconds["sort"] = result.sortSeconds;
    seconds["write"] = result.writeSeconds;
    seconds["verify"] = result.verifySeconds;
    seconds["total"] = result.totalSeconds;
    d["seconds"] = seconds;
    return d;
}

}  // namespace

void RegisterScan(py::module_& m, PyObject* baseError) {
    static PyObject* scanError = nullptr;
    scanError = PyErr_NewExceptionWithDoc("lxbase.ScanError", "A scan file or point input is bad or cannot be "
                                          "written; the message names the file and the line or byte.",
                                          py::make_tuple(py::handle(baseError)).ptr(), nullptr);
    if (!scanError) throw py::error_already_set();
    m.add_object("ScanError", py::handle(scanError));
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const lxscan::ScanError& x) {
            PyErr_SetString(scanError, x.what());
        }
    });

    py::class_<lxscan::ScanReader>(m, "_ScanReader")
        .def(py::init([](const py::object& path) {
                 const std::string text = PathText(path);
                 py::gil_scoped_release release;
                 return lxscan::ScanReader(text);
             }),
             py::arg("path"))
        .def_property_readonly("header", [](const lxscan::ScanReader& r) { return HeaderDict(r.Header()); })
        .def_property_readonly("record_offset", &lxscan::ScanReader::RecordOffset)
        .def_property_readonly("file_size", &lxscan::ScanReader::FileSize)
        .def(
            "verify",
            [](lxscan::ScanReader& r, const py::object& progress) {
                lxscan::VerifyResult v;
                {
                    py::gil_scoped_release release;
                    v = r.Verify(PythonProgress(progress));
                }
                py::dict d;
                d["points"] = v.points;
                d["file_size"] = v.fileSize;
                d["seconds"] = v.seconds;
                return d;
            },
            py::arg("progress") = py::none());

    // Decodes fields of the packed part (the last 8 bytes) of every record of
    // a memory-mapped record array.
    m.def("_unpack_scan_records", [](const py::array& records, const std::vector<std::string>& fields) {
        if (records.ndim() != 1 || records.itemsize() < 8 || !(records.flags() & py::array::c_style))
            throw py::value_error("records: expected a contiguous (N,) array of scan records");
        const std::size_t stride = static_cast<std::size_t>(records.itemsize());
        const unsigned char* first = static_cast<const unsigned char*>(records.data()) + stride - 8;
        return UnpackRecords(first, stride, static_cast<std::size_t>(records.shape(0)), fields);
    });

    m.def("write_scan", &WriteScan, py::arg("path"), py::arg("xyz"), py::arg("rgb") = py::none(),
          py::arg("intensity") = py::none(), py::arg("normals") = py::none(), py::arg("registration") = py::none(),
          py::arg("id") = py::none(), py::arg("date") = py::none(), py::kw_only(), py::arg("local") = false,
          py::arg("coordinate_bytes") = 8u);
    m.def("_convert", &ConvertFiles, py::arg("inputs"), py::arg("output"), py::kw_only(), py::arg("format") = "auto",
          py::arg("pose") = py::none(), py::arg("float_coordinates") = false, py::arg("verify") = true,
          py::arg("skip_invalid") = false, py::arg("threads") = 0u, py::arg("progress") = py::none());
}

}  // namespace lxpy
