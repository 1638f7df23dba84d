#include "VtkFile.h"

#include "Checksum.h"
#include "Refusal.h"
#include "VtkLog.h"

#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkXMLImageDataReader.h>

#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

namespace tzmchain {

namespace {

constexpr double kNanosecond = 1e-9;

/// Keeps the first message that VTK gives while it lives, in place of printing it.
class FirstMessage {
public:
    bool Caught() const { return !text.empty(); }
    /// Without the source position and the object that VTK puts in front.
    std::string Text() const {
        const auto colon = text.find("): ");
        return colon == std::string::npos ? text : text.substr(colon + 3);
    }

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

} // namespace

vtkSmartPointer<vtkXMLImageDataReader> OpenVti(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) throw Refusal("can't read " + file.string());
    if (!EndsAsVtkFile(file)) throw Refusal(file.string() + " can't be read as a VTK image: its end is missing");
    if (!PiecesFit(file)) throw Refusal(file.string() + " can't be read as a VTK image: its extents don't fit");
    const FirstMessage message;
    const auto requireQuiet = [&] {
        if (message.Caught()) throw Refusal(file.string() + " can't be read as a VTK image: " + message.Text());
    };
    auto reader = vtkSmartPointer<vtkXMLImageDataReader>::New();
    reader->SetFileName(file.c_str());
    reader->UpdateInformation();
    requireQuiet();
    if (HoldsText(reader)) throw Refusal(file.string() + " holds text in place of numbers");
    reader->Update();
    requireQuiet();
    vtkPointData* points = reader->GetOutput()->GetPointData();
    if (!points->GetScalars() && points->GetNumberOfArrays() == 1) points->SetScalars(points->GetArray(0));
    vtkDataArray* scalars = points->GetScalars();
    if (!scalars || scalars->GetNumberOfComponents() != 1 || reader->GetOutput()->GetNumberOfPoints() < 1 ||
        scalars->GetNumberOfTuples() != reader->GetOutput()->GetNumberOfPoints())
        throw Refusal(file.string() + " doesn't hold one number for each point of an image");
    return reader;
}

Recording ReadVti(const std::filesystem::path& file) {
    const auto reader = OpenVti(file);
    vtkImageData* image = reader->GetOutput();
    vtkDataArray* scalars = image->GetPointData()->GetScalars();
    Recording recording;
    recording.file = file;
    recording.checksum = ChecksumOf(file);
    const int* dimensions = image->GetDimensions();
    recording.size = {dimensions[0], dimensions[1], dimensions[2]};

    const double *spacing = image->GetSpacing(), *origin = image->GetOrigin();
    const int* extent = image->GetExtent();
    for (int axis = 0; axis < 3; ++axis)
        if (!(spacing[axis] > 0 && std::isfinite(spacing[axis]) && std::isfinite(origin[axis])))
            throw Refusal(file.string() + ": the spacing must be above 0 and the origin finite");
    recording.deltaT = spacing[0] * kNanosecond;
    recording.deltaX = spacing[1];
    recording.lineSpacing = spacing[2];
    recording.startTime = (origin[0] + extent[0] * spacing[0]) * kNanosecond;
    recording.startX = origin[1] + extent[2] * spacing[1];

    vtkSmartPointer<vtkFloatArray> floats = vtkFloatArray::SafeDownCast(scalars);
    if (!floats) {
        floats = vtkSmartPointer<vtkFloatArray>::New();
        floats->DeepCopy(scalars);
    }
    recording.data = Samples(floats->GetPointer(0), [floats](float*) {}); // the array lives as long as the block
    return recording;
}

} // namespace tzmchain
