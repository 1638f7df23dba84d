#include "Files.h"

#include <dlfcn.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "Block.h"
#include "Colours.h"
#include "Formats/Formats.h"
#include "Recording/Format.h"
#include "Recording/Refusal.h"
#include "Recording/Survey.h"
#include "Run.h"
#include "Scene.h"

namespace tzmpy {

namespace py = pybind11;
namespace fs = std::filesystem;
using namespace TZM;

namespace {

/// VTK images become one of the known forms. Loaded only when one is asked for, so that nobody else needs VTK.
void LoadVti() {
    static bool loaded = false;
    if (loaded) return;
    const std::string library = TZM_VTI_LIBRARY;
    if (library.empty()) throw FormatError("this build of tzm has no VTK images");
    if (!dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL))
        throw FormatError(std::string("VTK images need a library that can't be loaded: ") + dlerror());
    loaded = true;
}

bool IsVti(const fs::path& file) { return file.extension() == ".vti" || file.extension() == ".VTI"; }

std::vector<fs::path> Paths(const std::vector<fs::path>& inputs) {
    for (const fs::path& input : inputs)
        if (IsVti(input)) LoadVti();
    return inputs;
}

void RequireBscans(int bscans, int first, int count, int step) {
    if (step < 1 || first < 0 || count < 1 || first + std::int64_t{count - 1} * step >= bscans)
        throw py::index_error("the recording has B-scans 0 to " + std::to_string(bscans - 1));
}

/// What a file says of itself, and its samples piece by piece.
class Source {
public:
    Source(const std::vector<fs::path>& inputs, const ReadOptions& options)
        : source(OpenSurvey(Paths(inputs), options)) {}

    Block About() const { return Block(source->About()); }
    Dimensions Size() const { return source->About().size; }

    /// All that is asked for: B-scans first, first + step, ...
    Block Read(int first, int count, int step) {
        Recording part = source->About();
        const int bscans = part.size.bscans;
        RequireBscans(bscans, first, count, step);
        if (first == 0 && count == bscans) return Block(ReadRecording(*source));
        part.size.bscans = count;
        part.data = AllocateSamples(part.size.Count());
        if (step == 1)
            source->Read(first, count, part.data.get());
        else
            for (int i = 0; i < count; ++i) source->Read(first + i * step, 1, part.Bscan(i));
        Keep(part, bscans, first, step);
        return Block(std::move(part));
    }

    /// Cuts what is told B-scan by B-scan.
    static void Keep(Recording& part, int bscans, int first, int step) {
        const auto pick = [&](auto& list, int of) {
            if (list.size() != static_cast<std::size_t>(of)) return;
            auto all = list;
            for (int i = 0; i < part.size.bscans; ++i)
                list[static_cast<std::size_t>(i)] = all[static_cast<std::size_t>((first + i * step) % of)];
            list.resize(static_cast<std::size_t>(part.size.bscans));
        };
        pick(part.validRanges, bscans);
        pick(part.timeZeros, bscans);
        if (const auto channels = static_cast<int>(part.channels.size()); channels > 0) {
            if (step % channels == 0)
                part.channels = {part.channels[static_cast<std::size_t>(first % channels)]};
            else if (step != 1 || first % channels != 0 || part.size.bscans % channels != 0)
                part.channels.clear();
        }
        if (part.lineSpacing) *part.lineSpacing *= step;
        std::vector<Position> positions;
        for (Position p : part.positions)
            if (const int from = p.bscan - first; from >= 0 && from % step == 0 && from / step < part.size.bscans)
                p.bscan = from / step, positions.push_back(p);
        part.positions = std::move(positions);
    }

private:
    std::unique_ptr<RecordingSource> source;
};

std::unique_ptr<Source> Open(const std::vector<fs::path>& inputs, bool keepMarks, std::optional<double> intervalUnit,
                             const std::string& component, bool resample, std::optional<double> deltaX) {
    ReadOptions options;
    options.keepMarks = keepMarks;
    options.intervalUnit = intervalUnit;
    options.component = component;
    options.resample = resample;
    options.deltaX = deltaX;
    const py::gil_scoped_release released;
    return std::make_unique<Source>(inputs, options);
}

/// B-scans first, first + step, ... of a recording.
Block Part(const Block& block, int first, int count, int step) {
    Recording part = block;
    const int bscans = block.size.bscans;
    RequireBscans(bscans, first, count, step);
    part.size.bscans = count;
    if (step == 1) { // a view
        part.data = Samples(block.data, part.Bscan(first));
    } else {
        part.data = AllocateSamples(part.size.Count());
        for (int i = 0; i < count; ++i)
            std::copy_n(block.Bscan(first + i * step), std::int64_t{part.size.samples} * part.size.ascans,
                        part.Bscan(i));
    }
    Source::Keep(part, bscans, first, step);
    Block result(std::move(part));
    result.writable = block.writable || step != 1;
    return result;
}

void Write(Block& block, const fs::path& file) {
    if (IsVti(file)) LoadVti();
    Recording written = block;
    const py::gil_scoped_release released;
    WriteRecording(written, file);
}

py::list FormatList() {
    py::list list;
    for (const Format& format : Formats())
        list.append(py::dict(py::arg("name") = format.name, py::arg("files") = format.files,
                             py::arg("extensions") = format.extensions,
                             py::arg("writes") = static_cast<bool>(format.write) || static_cast<bool>(format.sink)));
    return list;
}

template <std::size_t N>
py::list ColourList(const std::array<tzmchain::Rgb, N>& colours) {
    py::list list;
    for (const auto& [r, g, b] : colours) list.append(py::make_tuple(r, g, b));
    return list;
}

Block DemoScene(bool mesh, int lanes, int ascans) {
    if (lanes < 1 || lanes > 1000 || ascans < 2 || ascans > 100000)
        throw py::value_error("a scene has 1 to 1000 lanes of 2 to 100000 A-scans");
    tzmchain::Scene scene;
    if (mesh) scene.bars = tzmchain::kMeshBars;
    scene.lanes = lanes;
    scene.ascans = ascans;
    const py::gil_scoped_release released;
    return Block(tzmchain::Record(scene));
}

} // namespace

void BindFiles(py::module_& module) {
    RegisterInstrumentFormats();
    py::class_<Source>(module, "Source", "An opened recording, whose samples are read piece by piece.")
        .def_property_readonly(
            "shape", [](const Source& s) { return std::tuple(s.Size().bscans, s.Size().ascans, s.Size().samples); },
            "tuple of int: (bscans, ascans, samples)")
        .def(
            "about", [](const Source& s) { return py::cast(s.About()).attr("about")(); },
            "All that is known of the recording but its samples, as a dictionary.")
        .def(
            "read",
            [](Source& s, int first, std::optional<int> count, int step) {
                const std::int64_t left = std::int64_t{s.Size().bscans} - first;
                const int all = step > 0 ? static_cast<int>((left + step - 1) / step) : 0;
                const py::gil_scoped_release released;
                return s.Read(first, count.value_or(all), step);
            },
            py::arg("first") = 0, py::arg("count") = py::none(), py::arg("step") = 1,
            "Reads B-scans first, first + step, ... as a Recording.");
    module.def("open", &Open, py::arg("inputs"), py::arg("keep_marks"), py::arg("interval_unit"), py::arg("component"),
               py::arg("resample"), py::arg("delta_x"));
    module.def("part", &Part, py::arg("recording"), py::arg("first"), py::arg("count"), py::arg("step"));
    module.def("write", &Write, py::arg("recording"), py::arg("file"));
    module.def("formats", &FormatList);
    module.attr("COLOURS") =
        py::dict(py::arg("grey") = ColourList(tzmchain::kGrey), py::arg("seismic") = ColourList(tzmchain::kSeismic),
                 py::arg("heat") = ColourList(tzmchain::kHeat));
    module.def("demo_scene", &DemoScene, py::arg("mesh"), py::arg("lanes"), py::arg("ascans"));
}

} // namespace tzmpy
