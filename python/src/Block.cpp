#include "Block.h"

#include <pybind11/stl.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "Json.h"
#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

using FloatArray = py::array_t<float, py::array::c_style>;

/// Memory of an array, which stays as long as the samples are used. Whoever lets go of them last may be any thread.
Samples SamplesOf(const py::array& array) {
    PyObject* const owner = array.inc_ref().ptr();
    return Samples(static_cast<float*>(const_cast<void*>(array.data())), [owner](float*) {
        if (!Py_IsInitialized()) return;
        const py::gil_scoped_acquire gil;
        Py_DECREF(owner);
    });
}

std::string ShapeText(const py::array& array) { return py::str(array.attr("shape")).cast<std::string>(); }

} // namespace

Input InputOf(const py::object& block) {
    static const auto numpy = new py::object(py::module_::import("numpy")); // lives as long as the process
    py::array array = py::isinstance<py::array>(block) ? py::reinterpret_borrow<py::array>(block)
                                                       : py::array(numpy->attr("asarray")(block));
    if (std::string("biuf").find(array.dtype().kind()) == std::string::npos)
        throw py::value_error("a block holds real numbers, not " + py::str(array.dtype()).cast<std::string>());
    if (array.ndim() < 1 || array.ndim() > 3)
        throw py::value_error(
            "a block has the axes (bscans, ascans, samples), of which the first may be missing, not " +
            std::to_string(array.ndim()) + " axes");
    if (array.size() == 0) throw py::value_error("the block is empty: shape " + ShapeText(array));
    int sizes[3] = {1, 1, 1};
    for (py::ssize_t i = 0; i < array.ndim(); ++i) {
        if (array.shape(i) > std::numeric_limits<int>::max())
            throw py::value_error("the block is too large: shape " + ShapeText(array));
        sizes[3 - array.ndim() + i] = static_cast<int>(array.shape(i));
    }
    const bool asIs = py::isinstance<FloatArray>(array) && reinterpret_cast<std::uintptr_t>(array.data()) % 4 == 0;
    if (!asIs) {
        static const auto need = new py::tuple(py::make_tuple("C", "A"));
        array = numpy->attr("require")(array, numpy->attr("float32"), *need);
    }
    return {py::reinterpret_borrow<py::array_t<float>>(array), {sizes[2], sizes[1], sizes[0]}, SamplesOf(array)};
}

py::array_t<float> ArrayOf(const Recording& recording, int dimensions) {
    const Dimensions& size = recording.size;
    const py::ssize_t shape[3] = {size.bscans, size.ascans, size.samples};
    py::capsule keeper(new Samples(recording.data), [](void* samples) { delete static_cast<Samples*>(samples); });
    return py::array_t<float>(std::vector<py::ssize_t>(shape + 3 - dimensions, shape + 3), recording.data.get(),
                              keeper);
}

namespace {

// How each kind of field looks in Python. Plain numbers, texts and lists of them look like themselves.

template <class T>
py::object Shown(const T& value) {
    return py::cast(value);
}

py::object Shown(const std::filesystem::path& path) { return py::cast(path.string()); }

py::object Shown(const std::vector<BscanInfo>& ranges) {
    py::list list;
    for (const BscanInfo& range : ranges) list.append(py::make_tuple(range.firstValidIdx, range.validLen));
    return std::move(list);
}

py::object Shown(const std::vector<Position>& positions) {
    py::array_t<double> array({static_cast<py::ssize_t>(positions.size()), py::ssize_t{5}});
    auto rows = array.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < rows.shape(0); ++i) {
        const Position& p = positions[static_cast<std::size_t>(i)];
        const double values[] = {double(p.bscan), double(p.ascan), p.east, p.north, p.height};
        for (int k = 0; k < 5; ++k) rows(i, k) = values[k];
    }
    return std::move(array);
}

using Flat = std::tuple<double, double, double, double, double, double, double>;
py::object Shown(const std::optional<Placement>& placement) {
    if (!placement) return py::none();
    const Placement& p = *placement;
    return py::cast(Flat{p.east, p.north, p.height, p.along[0], p.along[1], p.across[0], p.across[1]});
}

template <class T>
void Take(const py::handle& value, T& field) {
    field = value.cast<T>();
}

void Take(const py::handle& value, std::filesystem::path& field) { field = py::str(value).cast<std::string>(); }

void Take(const py::handle& value, std::vector<BscanInfo>& field) {
    std::vector<BscanInfo> ranges;
    for (const auto& [first, count] : value.cast<std::vector<std::pair<int, int>>>()) ranges.push_back({first, count});
    field = std::move(ranges);
}

void Take(const py::handle& value, std::vector<Position>& field) {
    std::vector<Position> positions;
    for (const auto& row : value.cast<std::vector<std::tuple<double, double, double, double, double>>>()) {
        const auto& [bscan, ascan, east, north, height] = row;
        positions.push_back({static_cast<int>(bscan), static_cast<int>(ascan), east, north, height});
    }
    field = std::move(positions);
}

void Take(const py::handle& value, std::optional<Placement>& field) {
    if (value.is_none()) return field.reset();
    const auto [east, north, height, a0, a1, c0, c1] = value.cast<Flat>();
    field = Placement{east, north, height, {a0, a1}, {c0, c1}};
}

void RequirePositive(double value, const char* what) {
    const auto narrow = static_cast<float>(value); // which is what the algorithms take
    if (!(narrow > 0) || !std::isfinite(narrow)) throw py::value_error(std::string(what) + " must be above 0");
}

/// What must hold of a recording; ValueError.
void RequireSane(const Block& block) {
    RequirePositive(block.deltaT, "delta_t");
    RequirePositive(block.deltaX, "delta_x");
    if (block.lineSpacing) RequirePositive(*block.lineSpacing, "line_spacing");
    if (block.permittivity) RequirePositive(*block.permittivity, "permittivity");
    const auto bscans = static_cast<std::size_t>(block.size.bscans);
    if (!block.channels.empty() && bscans % block.channels.size() != 0)
        throw py::value_error("the number of channels must divide that of the B-scans");
    if (!block.timeZeros.empty() && block.timeZeros.size() != bscans)
        throw py::value_error("time_zeros holds one sample for each B-scan, or is empty");
    if (!block.validRanges.empty() && block.validRanges.size() != bscans)
        throw py::value_error("valid_ascans holds one pair (first, count) for each B-scan, or is empty");
    for (const BscanInfo& range : block.validRanges)
        if (range.firstValidIdx < 0 || range.validLen < 0 || range.firstValidIdx > block.size.ascans - range.validLen)
            throw py::value_error("valid_ascans must lie within the A-scans");
}

/// Calls visit(name, field, meaning) for all that is known of a recording.
template <class Visitor>
void ForEachField(Visitor&& visit) {
    visit("delta_t", &Recording::deltaT, "float: s between samples");
    visit("delta_x", &Recording::deltaX, "float: m between A-scans");
    visit("knows_delta_x", &Recording::knowsDeltaX, "bool: whether delta_x was told; else A-scans came over time");
    visit("start_time", &Recording::startTime, "float: s, of the first sample that was recorded");
    visit("first_sample", &Recording::firstSample, "int: samples that were recorded ahead of the first one here");
    visit("start_x", &Recording::startX, "float: m, of the first A-scan");
    visit("line_spacing", &Recording::lineSpacing, "float or None: m between B-scans");
    visit("time_zero", &Recording::timeZero, "int or None: sample at which a wave of no path length arrives");
    visit("time_zeros", &Recording::timeZeros, "list of int: the same of each B-scan; empty where it is one for all");
    visit("datum", &Recording::datum,
          "float or None: m, elevation of what arrives at time zero, where it is one for all");
    visit("permittivity", &Recording::permittivity, "float or None: relative, of the ground");
    visit("antenna_offset", &Recording::antennaOffset, "float or None: m from transmitter to receiver");
    visit("one_antenna_pair", &Recording::oneAntennaPair, "bool: all channels were recorded by the same antennas");
    visit("channels", &Recording::channels, "list of str: names; B-scan i belongs to channel i % len(channels)");
    visit("valid_ascans", &Recording::validRanges,
          "list of (int, int): first and number of the A-scans of each B-scan that hold data; empty: all");
    visit("positions", &Recording::positions,
          "array of shape (n, 5): B-scan, A-scan, east, north (m, or degrees), height (m)");
    visit("coordinates", &Recording::coordinates, "str: system of the positions, such as \"EPSG:32632\"");
    visit("placement", &Recording::placement,
          "tuple or None: east, north, height (m) of the first A-scan, then two unit vectors (east, north): along the "
          "scan, and from B-scan to B-scan");
    visit("backwards", &Recording::backwards, "bool: the file tells that its last A-scan lies ahead of the first one");
    visit("bits", &Recording::bits, "int or None: width of a sample of the digitiser");
    visit("file", &Recording::file, "str: the file that held the samples");
    visit("format", &Recording::format, "str: its form");
    visit("checksum", &Recording::checksum, "str: SHA-256 of that file");
    visit("notes", &Recording::notes, "list of str: what a user should know of how it was read");
}

std::string KindOf(const std::string& meaning) { return meaning.substr(0, meaning.find(':')); }

/// Sets a field by its name; nothing changes if that fails.
void Set(Block& block, const std::string& wanted, const py::handle& value) {
    bool known = false;
    ForEachField([&](const char* name, auto field, const char* meaning) {
        if (wanted != name) return;
        known = true;
        Block changed = block;
        try {
            Take(value, changed.*field);
        } catch (const py::cast_error&) {
            throw py::type_error(wanted + " is " + KindOf(meaning) + ", not " + py::repr(value).cast<std::string>());
        }
        if (wanted == "delta_x") changed.knowsDeltaX = true;
        RequireSane(changed);
        block = std::move(changed);
    });
    if (!known) throw py::type_error("Recording has no attribute '" + wanted + "'");
}

void SetAll(Block& block, const py::dict& fields) {
    for (const auto& [name, value] : fields)
        if (!value.is_none()) Set(block, name.cast<std::string>(), value);
}

Block Make(const py::object& array, const py::kwargs& fields) {
    const Input input = InputOf(array);
    if (input.array.ndim() < 2)
        throw py::value_error("a recording has the axes (bscans, ascans, samples), or (ascans, samples)");
    Block block;
    block.size = input.size;
    block.data = input.samples;
    block.writable = input.array.writeable();
    block.array = input.array.ndim() == 3 ? py::object(input.array) : input.array.attr("__getitem__")(py::none());
    SetAll(block, fields);
    return block;
}

py::object Data(Block& block) {
    if (!block.data) return py::none();
    if (!block.array) {
        block.array = ArrayOf(block);
        if (!block.writable) block.array.attr("setflags")(py::arg("write") = false);
    }
    return block.array;
}

py::dict About(const Block& block) {
    py::dict about;
    ForEachField([&](const char* name, auto field, const char*) { about[name] = Shown(block.*field); });
    return about;
}

} // namespace

Block AboutOf(const std::tuple<int, int, int>& shape, const py::dict& fields) {
    const auto [bscans, ascans, samples] = shape;
    if (bscans < 1 || ascans < 1 || samples < 1) throw py::value_error("a block has at least one element");
    Block block;
    block.size = {samples, ascans, bscans};
    SetAll(block, fields);
    if (fields.contains("knows_delta_x")) block.knowsDeltaX = fields["knows_delta_x"].cast<bool>();
    return block;
}

void BindRecording(py::module_& module) {
    py::class_<Block> recording(module, "Recording");
    recording.def(py::init(&Make), py::arg("data"));
    recording.def_property_readonly("data", &Data, "numpy.ndarray: the samples, of shape (bscans, ascans, samples)");
    recording.def_property_readonly(
        "shape", [](const Block& b) { return std::tuple(b.size.bscans, b.size.ascans, b.size.samples); },
        "tuple of int: (bscans, ascans, samples)");
    recording.def_property_readonly(
        "first_time", [](const Block& b) { return b.FirstTime(); }, "float: s, of the first sample here");
    recording.def_property_readonly(
        "recipe",
        [](const Block& b) { return b.recipe.empty() ? py::none() : FromJson(ParseJson(b.recipe, "recipe")); },
        "dict or None: how an image came about");
    recording.def_property_readonly(
        "report", [](const Block& b) { return b.report; }, "list of str: what the run that gave an image told");
    recording.def("about", &About, "All that is known of the recording but its samples, as a dictionary.");
    ForEachField([&](const char* name, auto field, const char* meaning) {
        recording.def_property(
            name, [field](const Block& block) { return Shown(block.*field); },
            [name](Block& block, const py::object& value) { Set(block, name, value); }, meaning);
    });
    module.def("about_of", &AboutOf, py::arg("shape"), py::arg("about"));
    py::list fields;
    ForEachField([&](const char* name, auto, const char* meaning) { fields.append(py::make_tuple(name, meaning)); });
    module.attr("RECORDING_FIELDS") = py::tuple(fields);
}

} // namespace tzmpy
