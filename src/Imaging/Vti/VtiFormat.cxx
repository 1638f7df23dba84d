#include "Imaging/Vti/VtiFormat.h"

#include <vtkErrorCode.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkXMLImageDataReader.h>
#include <vtkXMLImageDataWriter.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <iterator>
#include <locale>
#include <optional>
#include <sstream>
#include <utility>

#include "Imaging/Vti/VtkLog.h"
#include "Recording/Format.h"
#include "Recording/Refusal.h"
#include "Recording/private/BscanFile.h"
#include "Recording/private/Checksum.h"
#include "Recording/private/Text.h"

namespace TZM {

namespace {

constexpr double kNanosecond = 1e-9;

/// Keeps the first message that VTK gives while it lives, in place of printing it.
class FirstMessage {
public:
    bool Caught() const { return !text.empty(); }
    std::string Text() const { return VtkLog::WithoutPlace(text); }

private:
    std::string text;
    VtkLog log{[this](const std::string& line) {
        if (text.empty()) text = line;
    }};
};

/// Whether the closing tag stands at the end of the file. VTK reads a file that was cut off in its data without a word.
bool EndsAsVtkFile(const std::filesystem::path& file) {
    constexpr std::streamoff kTail = 64;
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    const std::streamoff length = in.tellg();
    in.seekg(std::max<std::streamoff>(length - kTail, 0));
    const std::string tail{std::istreambuf_iterator<char>(in), {}};
    return tail.find("</VTKFile>") != std::string::npos;
}

/// The six numbers of an attribute of a tag, such as Extent="0 9 0 9 0 0"; nothing if there are others or none.
std::optional<std::array<int, 6>> ExtentOf(const std::string& tag, const std::string& attribute) {
    const auto at = tag.find(" " + attribute + "=\"");
    if (at == std::string::npos) return std::nullopt;
    std::istringstream text(tag.substr(at + attribute.size() + 3, tag.find('"', at + attribute.size() + 3)));
    std::array<int, 6> extent;
    for (int& bound : extent)
        if (!(text >> bound)) return std::nullopt;
    return extent;
}

/// Whether the whole extent isn't empty and every piece lies within it: VTK 9.1 writes anywhere else for those that
/// don't.
bool PiecesFit(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::optional<std::array<int, 6>> whole;
    const auto points = [](const std::array<int, 6>& extent) {
        double count = 1;
        for (int i = 0; i < 6; i += 2) count *= double{1} + extent[i + 1] - extent[i];
        return count;
    };
    double held = 0;
    for (std::string tag; std::getline(in, tag, '>');) {
        tag.erase(0, std::min(tag.rfind('<'), tag.size()));
        if (tag.rfind("<AppendedData", 0) == 0) break;
        if (tag.rfind("<ImageData", 0) == 0) {
            whole = ExtentOf(tag, "WholeExtent");
            if (!whole) return false;
            for (int i = 0; i < 6; i += 2)
                if ((*whole)[i] > (*whole)[i + 1]) return false;
        }
        if (tag.rfind("<Piece", 0) == 0) {
            const auto piece = ExtentOf(tag, "Extent");
            if (!whole || !piece) return false;
            for (int i = 0; i < 6; i += 2)
                if ((*piece)[i] < (*whole)[i] || (*piece)[i + 1] > (*whole)[i + 1] || (*piece)[i] > (*piece)[i + 1])
                    return false;
            held += points(*piece);
        }
    }
    return whole && held >= points(*whole);
}

/// Whether the points have an array of text, which VTK 9.1 can't read from every encoding without a crash.
bool HoldsText(vtkXMLImageDataReader* reader) {
    vtkInformationVector* arrays = reader->GetOutputInformation(0)->Get(vtkDataObject::POINT_DATA_VECTOR());
    for (int i = 0; arrays && i < arrays->GetNumberOfInformationObjects(); ++i)
        if (arrays->GetInformationObject(i)->Get(vtkDataObject::FIELD_ARRAY_TYPE()) == VTK_STRING) return true;
    return false;
}

void RequireQuiet(const FirstMessage& message, const std::filesystem::path& file) {
    if (message.Caught()) throw FormatError(file.string() + " can't be read as a VTK image: " + message.Text());
}

/// Reads what the file says of itself, without its numbers.
vtkSmartPointer<vtkXMLImageDataReader> OpenHeader(const std::filesystem::path& file, const FirstMessage& message) {
    if (!EndsAsVtkFile(file)) throw FormatError(file.string() + " can't be read as a VTK image: its end is missing");
    if (!PiecesFit(file)) throw FormatError(file.string() + " can't be read as a VTK image: its extents don't fit");
    auto reader = vtkSmartPointer<vtkXMLImageDataReader>::New();
    reader->SetFileName(file.c_str());
    reader->UpdateInformation();
    RequireQuiet(message, file);
    if (HoldsText(reader)) throw FormatError(file.string() + " holds text in place of numbers");
    return reader;
}

/// Reads the numbers.
void ReadScalars(vtkXMLImageDataReader* reader, const std::filesystem::path& file, const FirstMessage& message) {
    reader->Update();
    RequireQuiet(message, file);
    vtkPointData* points = reader->GetOutput()->GetPointData();
    if (!points->GetScalars() && points->GetNumberOfArrays() == 1) points->SetScalars(points->GetArray(0));
    vtkDataArray* scalars = points->GetScalars();
    if (!scalars || scalars->GetNumberOfComponents() != 1 || reader->GetOutput()->GetNumberOfPoints() < 1 ||
        scalars->GetNumberOfTuples() != reader->GetOutput()->GetNumberOfPoints())
        throw FormatError(file.string() + " doesn't hold one number for each point of an image");
}

/// An array over samples, which it keeps alive.
class SampleArray : public vtkFloatArray {
public:
    static SampleArray* New();
    vtkTypeMacro(SampleArray, vtkFloatArray)

    void Hold(const Samples& samples, std::int64_t count) {
        held = samples;
        this->SetName("amplitude");
        this->SetArray(samples.get(), count, 1); // 1: VTK doesn't free it
    }

private:
    Samples held;
};

vtkStandardNewMacro(SampleArray)

    class VtiSource final : public RecordingSource {
public:
    static std::unique_ptr<RecordingSource> Open(const std::filesystem::path& file, const ReadOptions&) {
        const FirstMessage message;
        return std::make_unique<VtiSource>(file, OpenHeader(file, message));
    }

    VtiSource(const std::filesystem::path& file, vtkSmartPointer<vtkXMLImageDataReader> opened)
        : RecordingSource({}), reader(std::move(opened)) {
        vtkInformation* info = reader->GetOutputInformation(0);
        int extent[6];
        double spacing[3], origin[3];
        info->Get(vtkStreamingDemandDrivenPipeline::WHOLE_EXTENT(), extent);
        info->Get(vtkDataObject::SPACING(), spacing);
        info->Get(vtkDataObject::ORIGIN(), origin);
        for (int axis = 0; axis < 3; ++axis)
            if (!(spacing[axis] > 0 && std::isfinite(spacing[axis]) && std::isfinite(origin[axis])))
                throw FormatError(file.string() + ": the spacing must be above 0 and the origin finite");
        about.format = "vti";
        about.file = file;
        about.size = {extent[1] - extent[0] + 1, extent[3] - extent[2] + 1, extent[5] - extent[4] + 1};
        about.deltaT = spacing[0] * kNanosecond;
        about.deltaX = spacing[1];
        about.knowsDeltaX = true;
        about.lineSpacing = spacing[2];
        about.startTime = (origin[0] + extent[0] * spacing[0]) * kNanosecond;
        about.startX = origin[1] + extent[2] * spacing[1];
    }

    void Read(int firstBscan, int bscans, float* out) override {
        const FirstMessage message;
        ReadScalars(reader, about.file, message); // once: the reader keeps them
        vtkDataArray* scalars = reader->GetOutput()->GetPointData()->GetScalars();
        const std::int64_t bscan = std::int64_t{about.size.samples} * about.size.ascans;
        if (const auto* floats = vtkFloatArray::SafeDownCast(scalars)) {
            std::copy_n(const_cast<vtkFloatArray*>(floats)->GetPointer(firstBscan * bscan), bscans * bscan, out);
        } else {
            for (std::int64_t i = 0; i < bscans * bscan; ++i)
                out[i] = static_cast<float>(scalars->GetTuple1(firstBscan * bscan + i));
        }
        if (firstBscan + bscans == about.size.bscans) reader->GetOutput()->ReleaseData();
    }

private:
    vtkSmartPointer<vtkXMLImageDataReader> reader;
};

void WriteRecordingAsVti(Recording& recording, const std::filesystem::path& file) {
    WriteVti(ImageOf(recording), file);
    recording.file = file;
    recording.checksum = ChecksumOf(file);
}

/// Where an image lies: origin, spacing and direction of the axes, nine numbers in rows.
struct Geometry {
    explicit Geometry(const Recording& recording) {
        spacing = {recording.deltaT / kNanosecond, recording.deltaX, recording.lineSpacing.value_or(1)};
        origin = {recording.startTime / kNanosecond + recording.firstSample * spacing[0], recording.startX, 0};
        direction = {1, 0, 0, 0, 1, 0, 0, 0, 1};
        if (recording.placement) Place(recording);
    }

    std::array<double, 3> origin, spacing;
    std::array<double, 9> direction;

private:
    /// Into the map: samples run down, in metres of depth where the permittivity is known, else in ns.
    void Place(const Recording& recording) {
        constexpr double kLight = 299792458;
        const Placement& place = *recording.placement;
        if (recording.permittivity) spacing[0] = recording.deltaT * kLight / 2 / std::sqrt(*recording.permittivity);
        origin = {place.east, place.north, place.height - recording.FirstTime() / recording.deltaT * spacing[0]};
        direction = {0, place.along[0], place.across[0], 0, place.along[1], place.across[1], -1, 0, 0};
    }
};

/// Writes the one kind of file that ImageOf and WriteVti write together, as its samples come.
class VtiSink final : public RecordingSink {
public:
    explicit VtiSink(std::filesystem::path to) : file(std::move(to)) {}

    void Begin(const Recording& about) override {
        const Geometry geometry(about);
        std::ostringstream head;
        head.imbue(std::locale::classic());
        head.precision(17);
        const auto list = [&](const char* name, const auto& numbers) {
            const char* space = "";
            head << " " << name << "=\"";
            for (const auto number : numbers) head << std::exchange(space, " ") << number;
            head << "\"";
        };
        const std::array<int, 6> extent{0, about.size.samples - 1, 0, about.size.ascans - 1, 0, about.size.bscans - 1};
        head << "<?xml version=\"1.0\"?>\n<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" "
                "header_type=\"UInt64\">\n  <ImageData";
        list("WholeExtent", extent);
        list("Origin", geometry.origin);
        list("Spacing", geometry.spacing);
        list("Direction", geometry.direction);
        head << ">\n  <Piece";
        list("Extent", extent);
        head << ">\n    <PointData Scalars=\"amplitude\">\n      <DataArray type=\"Float32\" Name=\"amplitude\" "
                "format=\"appended\" offset=\"0\"/>\n    </PointData>\n    <CellData>\n    </CellData>\n  </Piece>\n  "
                "</ImageData>\n  <AppendedData encoding=\"raw\">\n   _";
        const std::uint64_t bytes = static_cast<std::uint64_t>(about.size.Count()) * sizeof(float);
        const std::string text = head.str() + std::string(reinterpret_cast<const char*>(&bytes), sizeof bytes);
        out.emplace(file);
        out->Begin(text.data(), text.size(), about.size);
    }
    void Write(int firstBscan, int bscans, const float* samples) override { out->Write(firstBscan, bscans, samples); }
    void Read(int firstBscan, int bscans, float* samples) override { out->Read(firstBscan, bscans, samples); }
    void End() override {
        const std::string tail = "\n  </AppendedData>\n</VTKFile>\n";
        out->End(tail.data(), tail.size());
    }

private:
    const std::filesystem::path file;
    std::optional<BscanFile> out;
};

/// The library is loaded: its form is known from then on.
const bool registered = (RegisterVtiFormat(), true);

} // namespace

void RegisterVtiFormat() {
    RegisterFormat({"vti",
                    "NAME.vti (a VTK image)",
                    {".vti"},
                    [](const std::string& head) {
                        return head.find("<VTKFile") != std::string::npos &&
                               head.find("ImageData") != std::string::npos;
                    },
                    VtiSource::Open,
                    WriteRecordingAsVti,
                    [](const std::filesystem::path& file) { return std::make_unique<VtiSink>(file); }});
}

vtkSmartPointer<vtkXMLImageDataReader> OpenVti(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) throw FormatError("can't read " + file.string());
    const FirstMessage message;
    auto reader = OpenHeader(file, message);
    ReadScalars(reader, file, message);
    return reader;
}

vtkSmartPointer<vtkFloatArray> ArrayOf(const Recording& recording) {
    const auto samples = vtkSmartPointer<SampleArray>::New();
    samples->Hold(recording.data, recording.size.Count());
    return samples;
}

vtkSmartPointer<vtkImageData> ImageOf(const Recording& recording) {
    const auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(recording.size.samples, recording.size.ascans, recording.size.bscans);
    const Geometry geometry(recording);
    image->SetSpacing(geometry.spacing.data());
    image->SetOrigin(geometry.origin.data());
    image->SetDirectionMatrix(geometry.direction.data());
    image->GetPointData()->SetScalars(ArrayOf(recording));
    return image;
}

void WriteVti(vtkImageData* image, const std::filesystem::path& file) {
    const FirstMessage message;
    const vtkNew<vtkXMLImageDataWriter> writer;
    writer->SetFileName(file.c_str());
    writer->SetInputData(image);
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone();
    writer->SetHeaderTypeToUInt64();
    errno = 0;
    if (writer->Write() != 0 && writer->GetErrorCode() == 0 && !message.Caught()) return;
    if (writer->GetErrorCode() == vtkErrorCode::OutOfDiskSpaceError) errno = ENOSPC;
    throw CantWrite(file);
}

} // namespace TZM
