// NAME.h5 and NAME.out: models of the finite-difference kind, and blocks of this library's own after the netCDF
// conventions: dimensions line, trace, sample.
#include <hdf5.h>
#include <hdf5_hl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "Formats/Formats.h"
#include "Formats/Sensible.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

namespace fs = std::filesystem;

constexpr double kNanosecond = 1e-9;
constexpr const char *kBlock = "amplitude", *kPositions = "positions", *kReceivers = "rxs", *kValid = "valid_traces",
                     *kTimeZeros = "time_zero_sample_per_line";
constexpr std::array<const char*, 3> kDimensions{"line", "trace", "sample"};

/// An object of the library, closed with its owner; below 0 if there is none.
class Handle {
public:
    Handle(hid_t of, herr_t (*by)(hid_t)) : id(of), close(by) {}
    Handle(Handle&& other) noexcept : id(std::exchange(other.id, -1)), close(other.close) {}
    ~Handle() {
        if (id >= 0) close(id);
    }
    operator hid_t() const { return id; }
    bool Has() const { return id >= 0; }

private:
    hid_t id;
    herr_t (*close)(hid_t);
};

/// Keeps the library from printing what it hands back as an error anyway.
class Quiet {
public:
    Quiet() {
        H5Eget_auto2(H5E_DEFAULT, &function, &data);
        H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    }
    ~Quiet() { H5Eset_auto2(H5E_DEFAULT, function, data); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    H5E_auto2_t function = nullptr;
    void* data = nullptr;
};

Handle OpenFile(const fs::path& file) { return {H5Fopen(file.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose}; }
Handle Dataset(hid_t in, const std::string& name) {
    return {H5Lexists(in, name.c_str(), H5P_DEFAULT) > 0 ? H5Dopen2(in, name.c_str(), H5P_DEFAULT) : -1, H5Dclose};
}

std::vector<hsize_t> Shape(hid_t dataset) {
    const Handle space(H5Dget_space(dataset), H5Sclose);
    const int rank = H5Sget_simple_extent_ndims(space);
    std::vector<hsize_t> shape(static_cast<std::size_t>(std::max(rank, 0)));
    if (rank > 0) H5Sget_simple_extent_dims(space, shape.data(), nullptr);
    return shape;
}

/// Whether numbers are of a usual kind: the library's conversion of others, of a damaged file, writes anywhere.
bool IsUsual(hid_t type) {
    for (const hid_t usual :
         {H5T_IEEE_F32LE, H5T_IEEE_F32BE, H5T_IEEE_F64LE, H5T_IEEE_F64BE, H5T_STD_I8LE,  H5T_STD_I8BE,  H5T_STD_U8LE,
          H5T_STD_U8BE,   H5T_STD_I16LE,  H5T_STD_I16BE,  H5T_STD_U16LE,  H5T_STD_U16BE, H5T_STD_I32LE, H5T_STD_I32BE,
          H5T_STD_U32LE,  H5T_STD_U32BE,  H5T_STD_I64LE,  H5T_STD_I64BE,  H5T_STD_U64LE, H5T_STD_U64BE})
        if (H5Tequal(type, usual) > 0) return true;
    return false;
}

/// The numbers of an attribute; none if there are none of that name.
std::vector<double> Numbers(hid_t of, const char* name) {
    if (H5Aexists(of, name) <= 0) return {};
    const Handle attribute(H5Aopen(of, name, H5P_DEFAULT), H5Aclose);
    const Handle type(H5Aget_type(attribute), H5Tclose), space(H5Aget_space(attribute), H5Sclose);
    const hssize_t count = H5Sget_simple_extent_npoints(space);
    if (count < 1 || count > 64 || !IsUsual(type)) return {};
    std::vector<double> numbers(static_cast<std::size_t>(count));
    return H5Aread(attribute, H5T_NATIVE_DOUBLE, numbers.data()) < 0 ? std::vector<double>() : numbers;
}

std::optional<double> Positive(hid_t of, const char* name) {
    const std::vector<double> numbers = Numbers(of, name);
    if (numbers.size() != 1 || !(numbers[0] > 0) || !std::isfinite(numbers[0])) return std::nullopt;
    return numbers[0];
}

std::string Text(hid_t of, const char* name) {
    if (H5Aexists(of, name) <= 0) return "";
    const Handle attribute(H5Aopen(of, name, H5P_DEFAULT), H5Aclose), type(H5Aget_type(attribute), H5Tclose);
    const std::size_t length = H5Tget_size(type);
    if (H5Tget_class(type) != H5T_STRING || H5Tis_variable_str(type) > 0 || length > 65536) return "";
    std::string text(length, '\0');
    if (H5Aread(attribute, type, text.data()) < 0) return "";
    return OneLine(text.substr(0, text.find('\0')));
}

/// Refuses sizes that the file can't hold, however well it is compressed.
void RequireJustified(const fs::path& file, hid_t dataset, const std::vector<hsize_t>& shape) {
    constexpr double kDensest = 1100; // of deflate
    const Handle properties(H5Dget_create_plist(dataset), H5Pclose), type(H5Dget_type(dataset), H5Tclose);
    if (!IsUsual(type)) throw FormatError(file.string() + " holds samples that aren't numbers of a usual kind");
    const bool packed = H5Pget_nfilters(properties) > 0;
    const hsize_t stored = std::min<hsize_t>(H5Dget_storage_size(dataset), fs::file_size(file));
    double bytes = static_cast<double>(H5Tget_size(type));
    for (const hsize_t size : shape) bytes *= static_cast<double>(size);
    if (bytes > (packed ? kDensest : 1) * static_cast<double>(stored))
        throw FormatError(file.string() + " tells " + Number(bytes, 12) + " bytes of samples, and " +
                          std::to_string(stored) + " of it are theirs");
}

/// Reads a box of a dataset as floats.
void ReadBox(const fs::path& file, hid_t dataset, const std::vector<hsize_t>& from, const std::vector<hsize_t>& count,
             float* out) {
    const int rank = static_cast<int>(count.size());
    const Handle space(H5Dget_space(dataset), H5Sclose),
        memory(H5Screate_simple(rank, count.data(), nullptr), H5Sclose);
    if (H5Sselect_hyperslab(space, H5S_SELECT_SET, from.data(), nullptr, count.data(), nullptr) < 0 ||
        H5Dread(dataset, H5T_NATIVE_FLOAT, memory, space, H5P_DEFAULT, out) < 0)
        throw FormatError("can't read the samples of " + file.string());
}

/// A block (line, trace, sample).
class BlockSource final : public RecordingSource {
public:
    BlockSource(Recording recording, Handle of, Handle set)
        : RecordingSource(Sensible(std::move(recording))), file(std::move(of)), dataset(std::move(set)) {}

    void Read(int firstBscan, int bscans, float* out) override {
        const Quiet quiet;
        ReadBox(about.file, dataset, {hsize_t(firstBscan), 0, 0},
                {hsize_t(bscans), hsize_t(about.size.ascans), hsize_t(about.size.samples)}, out);
    }

private:
    Handle file, dataset;
};

/// Receivers of a model, each (samples) or (samples, A-scans); a receiver is a channel.
class ModelSource final : public RecordingSource {
public:
    ModelSource(Recording recording, Handle of, std::vector<Handle> receivers)
        : RecordingSource(Sensible(std::move(recording))), file(std::move(of)), datasets(std::move(receivers)) {}

    void Read(int firstBscan, int bscans, float* out) override {
        const Quiet quiet;
        const int samples = about.size.samples, ascans = about.size.ascans;
        std::vector<float> rows(static_cast<std::size_t>(about.size.Count() / about.size.bscans));
        for (int i = firstBscan; i < firstBscan + bscans; ++i) {
            const Handle& dataset = datasets[static_cast<std::size_t>(i)];
            std::vector<hsize_t> box = Shape(dataset);
            ReadBox(about.file, dataset, std::vector<hsize_t>(box.size(), 0), box, rows.data());
            for (int a = 0; a < ascans; ++a)
                for (int s = 0; s < samples; ++s) *out++ = rows[std::size_t(s) * std::size_t(ascans) + std::size_t(a)];
        }
    }

private:
    Handle file;
    std::vector<Handle> datasets;
};

int Count(const fs::path& file, hsize_t size, const char* what) {
    return CheckedCount(file, static_cast<std::int64_t>(std::min<hsize_t>(size, hsize_t{1} << 40)), what);
}

/// Metres between the A-scans of a model: cells that the receiver, or the source, moves by, times the size of a cell.
std::optional<double> StepOfModel(hid_t file) {
    const std::vector<double> cell = Numbers(file, "dx_dy_dz");
    for (const char* name : {"rxsteps", "srcsteps"}) {
        const std::vector<double> steps = Numbers(file, name);
        if (steps.size() != 3 || cell.size() != 3) continue;
        const double length = std::hypot(steps[0] * cell[0], steps[1] * cell[1], steps[2] * cell[2]);
        if (length > 0 && std::isfinite(length)) return length;
    }
    return std::nullopt;
}

std::unique_ptr<RecordingSource> OpenModel(Recording recording, Handle file, const ReadOptions& options) {
    const std::string name = recording.file.string();
    const auto step = Positive(file, "dt");
    if (!step) throw FormatError(name + ": its attribute \"dt\" must be a number of seconds above 0");
    recording.deltaT = *step;
    std::vector<Handle> datasets;
    std::vector<hsize_t> shape;
    for (int rx = 1;; ++rx) {
        const std::string group = std::string(kReceivers) + "/rx" + std::to_string(rx);
        if (H5Lexists(file, group.c_str(), H5P_DEFAULT) <= 0) break;
        Handle dataset = Dataset(file, group + "/" + options.component);
        if (!dataset.Has())
            throw FormatError(name + " has no component " + options.component + " of receiver " + std::to_string(rx) +
                              "; Ex, Ey, Ez, Hx, Hy or Hz are told by --component");
        const std::vector<hsize_t> own = Shape(dataset);
        if (own.empty() || own.size() > 2 || (rx > 1 && own != shape))
            throw FormatError(name + ": receiver " + std::to_string(rx) +
                              " must hold samples, or samples by A-scans, as many as the first");
        shape = own;
        RequireJustified(recording.file, dataset, shape);
        datasets.push_back(std::move(dataset));
        recording.channels.push_back("rx" + std::to_string(rx));
    }
    if (datasets.empty()) throw FormatError(name + " holds no receiver: neither \"rxs/rx1\" nor \"" + kBlock + "\"");
    recording.size = {Count(recording.file, shape[0], "samples"),
                      shape.size() == 2 ? Count(recording.file, shape[1], "A-scans") : 1,
                      static_cast<int>(datasets.size())};
    if (const auto spacing = StepOfModel(file)) recording.deltaX = *spacing, recording.knowsDeltaX = true;
    return std::make_unique<ModelSource>(std::move(recording), std::move(file), std::move(datasets));
}

/// A table of B-scan, A-scan, easting, northing and height.
void TakePositions(hid_t file, Recording& recording) {
    const Handle table = Dataset(file, kPositions);
    const std::vector<hsize_t> shape = Shape(table);
    if (shape.size() != 2 || shape[1] != 5) return;
    RequireJustified(recording.file, table, shape);
    std::vector<double> rows(static_cast<std::size_t>(shape[0] * 5));
    if (H5Dread(table, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, rows.data()) < 0) return;
    for (std::size_t i = 0; i < rows.size(); i += 5)
        if (rows[i] >= 0 && rows[i] < recording.size.bscans && rows[i + 1] >= 0 && rows[i + 1] < recording.size.ascans)
            recording.positions.push_back(
                {static_cast<int>(rows[i]), static_cast<int>(rows[i + 1]), rows[i + 2], rows[i + 3], rows[i + 4]});
    recording.coordinates = Text(table, "coordinates");
}

/// A table of whole numbers, a row for each B-scan; empty if there is none of that shape.
std::vector<int> RowsOfLines(hid_t file, const char* name, const Recording& recording, hsize_t columns) {
    const Handle table = Dataset(file, name);
    const std::vector<hsize_t> shape = table.Has() ? Shape(table) : std::vector<hsize_t>();
    const auto lines = static_cast<hsize_t>(recording.size.bscans);
    if (shape != (columns == 1 ? std::vector<hsize_t>{lines} : std::vector<hsize_t>{lines, columns})) return {};
    RequireJustified(recording.file, table, shape);
    std::vector<int> numbers(static_cast<std::size_t>(lines * columns));
    return H5Dread(table, H5T_NATIVE_INT, H5S_ALL, H5S_ALL, H5P_DEFAULT, numbers.data()) < 0 ? std::vector<int>()
                                                                                             : numbers;
}

/// Valid ranges and times zero of the lines.
void TakeLines(hid_t file, Recording& recording) {
    const std::vector<int> valid = RowsOfLines(file, kValid, recording, 2);
    for (std::size_t i = 0; i < valid.size(); i += 2) {
        const int first = std::clamp(valid[i], 0, recording.size.ascans);
        recording.validRanges.push_back({first, std::clamp(valid[i + 1], 0, recording.size.ascans - first)});
    }
    recording.timeZeros = RowsOfLines(file, kTimeZeros, recording, 1);
    for (const int sample : recording.timeZeros)
        if (sample < 0 || sample >= recording.size.samples) return recording.timeZeros.clear();
}

std::unique_ptr<RecordingSource> OpenBlock(Recording recording, Handle file) {
    Handle dataset = Dataset(file, kBlock);
    const std::vector<hsize_t> shape = Shape(dataset);
    if (shape.size() != 3)
        throw FormatError(recording.file.string() + ": \"" + kBlock +
                          "\" must have the dimensions line, trace, sample");
    RequireJustified(recording.file, dataset, shape);
    recording.size = {Count(recording.file, shape[2], "samples"), Count(recording.file, shape[1], "A-scans"),
                      Count(recording.file, shape[0], "B-scans")};
    const auto interval = Positive(dataset, "delta_t");
    if (!interval)
        throw FormatError(recording.file.string() + ": its attribute \"delta_t\" must be a number of seconds above 0");
    recording.deltaT = *interval;
    if (const auto spacing = Positive(dataset, "delta_x")) recording.deltaX = *spacing, recording.knowsDeltaX = true;
    recording.lineSpacing = Positive(dataset, "line_spacing");
    recording.permittivity = Positive(dataset, "permittivity");
    recording.antennaOffset = Positive(dataset, "antenna_offset");
    if (const auto sample = Numbers(dataset, "time_zero_sample");
        sample.size() == 1 && sample[0] >= 0 && sample[0] < recording.size.samples)
        recording.timeZero = static_cast<int>(sample[0]);
    if (const auto bits = Positive(dataset, "bits"); bits && *bits <= 64) recording.bits = static_cast<int>(*bits);
    if (const auto start = Numbers(dataset, "start_time"); start.size() == 1 && std::isfinite(start[0]))
        recording.startTime = start[0];
    if (const auto start = Numbers(dataset, "start_x"); start.size() == 1 && std::isfinite(start[0]))
        recording.startX = start[0];
    recording.oneAntennaPair = Positive(dataset, "one_antenna_pair").has_value();
    TakeLines(file, recording);
    TakePositions(file, recording);
    for (std::size_t i = 0;; ++i) {
        const std::string channel = Text(dataset, ("channel_" + std::to_string(i)).c_str());
        if (channel.empty()) break;
        recording.channels.push_back(channel);
    }
    if (!recording.channels.empty() && recording.size.bscans % static_cast<int>(recording.channels.size()) != 0)
        recording.channels.clear();
    return std::make_unique<BlockSource>(std::move(recording), std::move(file), std::move(dataset));
}

std::unique_ptr<RecordingSource> Open(const fs::path& input, const ReadOptions& options) {
    const Quiet quiet;
    Handle file = OpenFile(input);
    if (!file.Has()) throw FormatError(input.string() + " can't be read as HDF5: it is damaged, or cut off");
    Recording recording;
    recording.format = "hdf5";
    recording.file = input;
    return H5Lexists(file, kBlock, H5P_DEFAULT) > 0 ? OpenBlock(std::move(recording), std::move(file))
                                                    : OpenModel(std::move(recording), std::move(file), options);
}

/// Writes one file; every step may fail, and then CantWrite says why.
class Writer {
public:
    explicit Writer(const fs::path& to)
        : path(to), file(Made(H5Fcreate(to.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT)), H5Fclose) {}

    hid_t File() const { return file; }

    void Require(herr_t code) const {
        if (code < 0) throw CantWrite(path);
    }

    void Number(hid_t of, const char* name, double value) const {
        Require(H5LTset_attribute_double(of, ".", name, &value, 1));
    }
    void Words(hid_t of, const char* name, const std::string& text) const {
        Require(H5LTset_attribute_string(of, ".", name, text.c_str()));
    }

    /// A dimension: its coordinates, named and with a unit.
    Handle Scale(const char* name, int count, double from, double step, const char* unit, const char* words) const {
        std::vector<double> values(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) values[static_cast<std::size_t>(i)] = from + i * step;
        const hsize_t length = static_cast<hsize_t>(count);
        const Handle space(Made(H5Screate_simple(1, &length, nullptr)), H5Sclose);
        Handle scale(Made(H5Dcreate2(file, name, H5T_IEEE_F64LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT)),
                     H5Dclose);
        Require(H5Dwrite(scale, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
        Require(H5DSset_scale(scale, name));
        Words(scale, "units", unit);
        Words(scale, "long_name", words);
        return scale;
    }

    Handle Block(const Dimensions& size, const float* data) const {
        const hsize_t shape[] = {hsize_t(size.bscans), hsize_t(size.ascans), hsize_t(size.samples)};
        const Handle space(Made(H5Screate_simple(3, shape, nullptr)), H5Sclose);
        Handle block(Made(H5Dcreate2(file, kBlock, H5T_IEEE_F32LE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT)),
                     H5Dclose);
        Require(H5Dwrite(block, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, data));
        return block;
    }

    /// A table of whole numbers, a row for each line.
    void Lines(const char* name, const std::vector<int>& numbers, int lines) const {
        const hsize_t shape[] = {hsize_t(lines), numbers.size() / static_cast<std::size_t>(lines)};
        Require(H5LTmake_dataset_int(file, name, shape[1] > 1 ? 2 : 1, shape, numbers.data()));
    }

    void Positions(const Recording& recording) const {
        std::vector<double> rows;
        for (const Position& p : recording.positions)
            for (const double number : {double(p.bscan), double(p.ascan), p.east, p.north, p.height})
                rows.push_back(number);
        const hsize_t shape[] = {recording.positions.size(), 5};
        Require(H5LTmake_dataset_double(file, kPositions, 2, shape, rows.data()));
        Require(H5LTset_attribute_string(file, kPositions, "coordinates", recording.coordinates.c_str()));
        Require(H5LTset_attribute_string(file, kPositions, "columns", "line, trace, east, north, height"));
    }

    hid_t Made(hid_t id) const {
        if (id < 0) throw CantWrite(path);
        return id;
    }

private:
    fs::path path;
    Handle file;
};

void Write(Recording& recording, const fs::path& to) {
    const Quiet quiet;
    {
        const Writer writer(to);
        const Dimensions& size = recording.size;
        writer.Words(writer.File(), "Conventions", "CF-1.8");
        const Handle block = writer.Block(size, recording.data.get());
        const bool lines = recording.lineSpacing.has_value();
        const Handle scales[] = {writer.Scale(kDimensions[0], size.bscans, 0, recording.lineSpacing.value_or(1),
                                              lines ? "m" : "1", "across the lines"),
                                 writer.Scale(kDimensions[1], size.ascans, recording.startX,
                                              recording.knowsDeltaX ? recording.deltaX : 1,
                                              recording.knowsDeltaX ? "m" : "1", "along the lines"),
                                 writer.Scale(kDimensions[2], size.samples, recording.FirstTime() / kNanosecond,
                                              recording.deltaT / kNanosecond, "ns", "time")};
        for (unsigned i = 0; i < 3; ++i) writer.Require(H5DSattach_scale(block, scales[i], i));
        writer.Words(block, "long_name", "amplitude of the radar's signal");
        writer.Words(block, "units", "1");
        writer.Number(block, "delta_t", recording.deltaT);
        if (recording.knowsDeltaX) writer.Number(block, "delta_x", recording.deltaX);
        if (lines) writer.Number(block, "line_spacing", *recording.lineSpacing);
        if (recording.permittivity) writer.Number(block, "permittivity", *recording.permittivity);
        if (recording.antennaOffset) writer.Number(block, "antenna_offset", *recording.antennaOffset);
        if (recording.timeZero) writer.Number(block, "time_zero_sample", *recording.timeZero);
        if (recording.bits) writer.Number(block, "bits", *recording.bits);
        for (std::size_t i = 0; i < recording.channels.size(); ++i)
            writer.Words(block, ("channel_" + std::to_string(i)).c_str(), recording.channels[i]);
        if (recording.FirstTime() != 0) writer.Number(block, "start_time", recording.FirstTime());
        if (recording.startX != 0) writer.Number(block, "start_x", recording.startX);
        if (recording.oneAntennaPair) writer.Number(block, "one_antenna_pair", 1);
        std::vector<int> valid;
        for (const BscanInfo& range : recording.validRanges)
            valid.insert(valid.end(), {range.firstValidIdx, range.validLen});
        if (!valid.empty()) writer.Lines(kValid, valid, size.bscans);
        if (!recording.timeZeros.empty()) writer.Lines(kTimeZeros, recording.timeZeros, size.bscans);
        if (!recording.positions.empty()) writer.Positions(recording);
        writer.Require(H5Fflush(writer.File(), H5F_SCOPE_GLOBAL));
    }
    recording.file = to;
    recording.checksum = ChecksumOf(to);
}

bool Recognises(const std::string& head) { return head.rfind("\x89HDF\r\n\x1a\n", 0) == 0; }

} // namespace

Format Hdf5Format() {
    return {"hdf5", "NAME.h5 or NAME.out", {".h5", ".out", ".hdf5", ".nc"}, Recognises, Open, Write};
}

} // namespace TZM
