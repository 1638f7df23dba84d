#include "VtkFilters/private/RecordingImage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>

#include <vtkAlgorithm.h>
#include <vtkExtentTranslator.h>
#include <vtkFieldData.h>
#include <vtkFloatArray.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationIntegerRequestKey.h>
#include <vtkInformationObjectBaseKey.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkObjectFactory.h>
#include <vtkPointData.h>
#include <vtkSmartPointer.h>
#include <vtkStreamingDemandDrivenPipeline.h>

#include "Imaging/Vti/VtiFormat.h"
#include "Recording/Refusal.h"

namespace TZM {

namespace {

using Pipeline = vtkStreamingDemandDrivenPipeline;

constexpr double kNanosecond = 1e-9;
constexpr const char* kExpected =
    "; expected is an image with samples along x, in ns, A-scans along y and lines along z, in m";
constexpr const char* kFirstValid = "FirstValidAscan";
constexpr const char* kValidLength = "ValidAscans";

class PassedOnKey : public vtkInformationObjectBaseKey {
public:
    vtkTypeMacro(PassedOnKey, vtkInformationObjectBaseKey)
    using vtkInformationObjectBaseKey::vtkInformationObjectBaseKey;

    void CopyDefaultInformation(vtkInformation* request, vtkInformation* from, vtkInformation* to) override {
        if (request->Has(vtkDemandDrivenPipeline::REQUEST_INFORMATION())) this->ShallowCopy(from, to);
    }
};

class PassedUpKey : public vtkInformationIntegerKey {
public:
    vtkTypeMacro(PassedUpKey, vtkInformationIntegerKey)
    using vtkInformationIntegerKey::vtkInformationIntegerKey;

    void CopyDefaultInformation(vtkInformation* request, vtkInformation* from, vtkInformation* to) override {
        if (request->Has(Pipeline::REQUEST_UPDATE_EXTENT())) this->ShallowCopy(from, to);
    }
};

struct Geometry {
    explicit Geometry(vtkInformation* image) {
        if (!image->Has(Pipeline::WHOLE_EXTENT())) throw Refusal(std::string("the input has no extent") + kExpected);
        image->Get(Pipeline::WHOLE_EXTENT(), extent.data());
        if (image->Has(vtkDataObject::SPACING())) image->Get(vtkDataObject::SPACING(), spacing.data());
        if (image->Has(vtkDataObject::ORIGIN())) image->Get(vtkDataObject::ORIGIN(), origin.data());
    }
    std::int64_t Count(int axis) const { return std::int64_t{extent[2 * axis + 1]} - extent[2 * axis] + 1; }
    double First(int axis) const { return origin[axis] + extent[2 * axis] * spacing[axis]; }

    std::array<int, 6> extent{0, -1, 0, -1, 0, -1};
    std::array<double, 3> spacing{1, 1, 1}, origin{0, 0, 0};
};

bool Agree(double a, double b) { return std::abs(a - b) <= 1e-9 * std::max(std::abs(a), std::abs(b)); }

bool IsTurned(vtkInformation* image) {
    if (!image->Has(vtkDataObject::DIRECTION())) return false;
    const double* direction = image->Get(vtkDataObject::DIRECTION());
    for (int i = 0; i < 9; ++i)
        if (direction[i] != (i % 4 == 0 ? 1 : 0)) return true;
    return false;
}

vtkSmartPointer<vtkIntArray> Named(const char* name, const std::vector<BscanInfo>& ranges, int BscanInfo::*member) {
    auto array = vtkSmartPointer<vtkIntArray>::New();
    array->SetName(name);
    for (const BscanInfo& range : ranges) array->InsertNextValue(range.*member);
    return array;
}

} // namespace

vtkStandardNewMacro(RecordingObject)

    vtkInformationObjectBaseKey* RecordingKey() {
    static auto* const key = new PassedOnKey("RECORDING", "vtkTZMBlockFilter"); // the key manager frees it
    return key;
}

vtkInformationIntegerKey* SharedKey() {
    static auto* const key = new PassedUpKey("SHARED_BLOCK", "vtkTZMBlockFilter");
    return key;
}

Recording AboutOf(vtkInformation* image) {
    const Geometry geometry(image);
    const auto sizes = [&] {
        std::ostringstream text;
        text << geometry.Count(0) << " x " << geometry.Count(1) << " x " << geometry.Count(2) << " points";
        return text.str();
    };
    if (geometry.Count(0) < 1 || geometry.Count(1) < 1 || geometry.Count(2) < 1)
        throw Refusal(std::string("the input is empty") + kExpected);
    if (geometry.Count(0) < 2 || geometry.Count(1) < 2)
        throw Refusal("the input has " + sizes() + ", no more than one sample or one A-scan" + kExpected);
    if (IsTurned(image)) throw Refusal(std::string("the input is turned, as an image in a map is") + kExpected);
    for (int axis = 0; axis < 3; ++axis)
        if (!(geometry.spacing[axis] > 0 && std::isfinite(geometry.spacing[axis]) &&
              std::isfinite(geometry.origin[axis])))
            throw Refusal("the input's spacing must be above 0 and its origin finite; along axis " +
                          std::string(1, "xyz"[axis]) + " they aren't" + kExpected);
    Recording about;
    about.size = {static_cast<int>(geometry.Count(0)), static_cast<int>(geometry.Count(1)),
                  static_cast<int>(geometry.Count(2))};
    about.deltaT = geometry.spacing[0] * kNanosecond;
    about.deltaX = geometry.spacing[1];
    about.knowsDeltaX = true;
    about.lineSpacing = geometry.spacing[2];
    about.startTime = geometry.First(0) * kNanosecond;
    about.startX = geometry.First(1);
    if (auto* told = RecordingObject::SafeDownCast(image->Get(RecordingKey()))) {
        const Recording& known = told->about;
        const bool asTold = known.size == about.size && Agree(known.deltaT, about.deltaT) &&
                            Agree(known.deltaX, about.deltaX) &&
                            std::abs(known.FirstTime() - about.startTime) < known.deltaT / 2;
        if (asTold) return known;
        about.permittivity = known.permittivity;
        about.antennaOffset = known.antennaOffset;
        about.oneAntennaPair = known.oneAntennaPair;
        about.bits = known.bits;
    }
    return about;
}

void Tell(vtkInformation* image, const Recording& about, vtkInformation* source) {
    std::array<int, 6> extent{0, about.size.samples - 1, 0, about.size.ascans - 1, 0, about.size.bscans - 1};
    std::array<double, 3> spacing{about.deltaT / kNanosecond, about.deltaX, about.lineSpacing.value_or(1)};
    std::array<double, 3> first{about.FirstTime() / kNanosecond, about.startX, 0}, origin;
    const auto sourceGeometry = source ? std::optional<Geometry>(source) : std::nullopt;
    for (int axis = 0; axis < 3; ++axis) {
        const int start = sourceGeometry ? sourceGeometry->extent[2 * axis] : 0;
        extent[2 * axis] += start, extent[2 * axis + 1] += start;
        if (sourceGeometry) {
            if (axis == 2) first[2] = sourceGeometry->First(2);
            const bool sameLines = axis == 2 && about.size.bscans == sourceGeometry->Count(2);
            if (sameLines || Agree(spacing[axis], sourceGeometry->spacing[axis]))
                spacing[axis] = sourceGeometry->spacing[axis];
        }
        origin[axis] = first[axis] - start * spacing[axis];
        if (sourceGeometry && std::abs(origin[axis] - sourceGeometry->origin[axis]) < 1e-6 * spacing[axis])
            origin[axis] = sourceGeometry->origin[axis];
    }
    image->Set(Pipeline::WHOLE_EXTENT(), extent.data(), 6);
    image->Set(vtkDataObject::SPACING(), spacing.data(), 3);
    image->Set(vtkDataObject::ORIGIN(), origin.data(), 3);
    image->Set(vtkAlgorithm::CAN_PRODUCE_SUB_EXTENT(), 1);
    image->Set(vtkExtentTranslator::UPDATE_SPLIT_MODE(), int{vtkExtentTranslator::Z_SLAB_MODE});
    vtkDataObject::SetPointDataActiveScalarInfo(image, VTK_FLOAT, 1);
    const vtkNew<RecordingObject> told;
    told->about = about.About();
    image->Set(RecordingKey(), told);
}

int FirstLine(vtkInformation* image) { return image->Get(Pipeline::WHOLE_EXTENT())[4]; }

Samples SamplesOf(vtkImageData* image, vtkInformation* about, int first, int count) {
    vtkDataArray* scalars = image->GetPointData()->GetScalars();
    const std::string expected = "; expected is one float per point, the active scalars";
    if (!scalars) throw Refusal("the input's points have no active scalars" + expected);
    if (scalars->GetNumberOfComponents() != 1)
        throw Refusal("the input has scalars of " + std::to_string(scalars->GetNumberOfComponents()) + " components" +
                      expected);
    auto* floats = vtkFloatArray::SafeDownCast(scalars);
    if (!floats)
        throw Refusal(std::string("the input has scalars of type ") + scalars->GetDataTypeAsString() + expected +
                      " (vtkImageCast converts)");
    int whole[6], has[6];
    about->Get(Pipeline::WHOLE_EXTENT(), whole);
    image->GetExtent(has);
    if (!std::equal(has, has + 4, whole) || has[4] > whole[4] + first || has[5] < whole[4] + first + count - 1 ||
        floats->GetNumberOfTuples() != image->GetNumberOfPoints())
        throw Refusal("the input doesn't reach over the lines " + std::to_string(first) + " to " +
                      std::to_string(first + count - 1) + " with all of their samples");
    const std::int64_t line = std::int64_t{has[1] - has[0] + 1} * (has[3] - has[2] + 1);
    const vtkSmartPointer<vtkFloatArray> kept = floats;
    return Samples(floats->GetPointer(line * (whole[4] + first - has[4])), [kept](float*) {});
}

void Fill(vtkImageData* image, vtkInformation* about, const Recording& lines, int first,
          const std::vector<BscanInfo>& validRanges) {
    int extent[6];
    about->Get(Pipeline::WHOLE_EXTENT(), extent);
    extent[4] += first;
    extent[5] = extent[4] + lines.size.bscans - 1;
    image->SetExtent(extent);
    image->SetSpacing(about->Get(vtkDataObject::SPACING()));
    image->SetOrigin(about->Get(vtkDataObject::ORIGIN()));
    image->GetPointData()->SetScalars(ArrayOf(lines));
    for (const char* name : {kFirstValid, kValidLength}) image->GetFieldData()->RemoveArray(name);
    if (validRanges.empty()) return;
    image->GetFieldData()->AddArray(Named(kFirstValid, validRanges, &BscanInfo::firstValidIdx));
    image->GetFieldData()->AddArray(Named(kValidLength, validRanges, &BscanInfo::validLen));
}

std::vector<BscanInfo> RangesOf(vtkImageData* image, int bscans) {
    auto* first = vtkIntArray::SafeDownCast(image->GetFieldData()->GetArray(kFirstValid));
    auto* length = vtkIntArray::SafeDownCast(image->GetFieldData()->GetArray(kValidLength));
    std::vector<BscanInfo> ranges;
    if (first && length && first->GetNumberOfValues() == bscans && length->GetNumberOfValues() == bscans)
        for (int z = 0; z < bscans; ++z) ranges.push_back({first->GetValue(z), length->GetValue(z)});
    return ranges;
}

} // namespace TZM
