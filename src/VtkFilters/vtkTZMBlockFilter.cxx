#include "VtkFilters/vtkTZMBlockFilter.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <vtkExtentTranslator.h>
#include <vtkFieldData.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationIntegerKey.h>
#include <vtkInformationVector.h>
#include <vtkIntArray.h>
#include <vtkMultiProcessController.h>
#include <vtkNew.h>
#include <vtkStreamingDemandDrivenPipeline.h>
#include <vtkVersionMacros.h>

#include "Framework/Cancelled.h"
#include "VtkFilters/private/RecordingImage.h"
#include "VtkFilters/private/SlabRun.h"

using TZM::Recording, TZM::Slab;
using Pipeline = vtkStreamingDemandDrivenPipeline;

namespace {

/// Every process gets the texts of all, in the order of their ranks.
std::vector<std::string> Exchanged(vtkMultiProcessController* controller, const std::string& mine) {
    const int count = controller->GetNumberOfProcesses();
    const vtkIdType length = static_cast<vtkIdType>(mine.size());
    std::vector<vtkIdType> lengths(static_cast<std::size_t>(count)), offsets(lengths.size());
    controller->AllGather(&length, lengths.data(), 1);
    vtkIdType all = 0;
    for (std::size_t i = 0; i < lengths.size(); ++i) offsets[i] = all, all += lengths[i];
    std::string joined(static_cast<std::size_t>(all) + 1, '\0'); // never empty
    controller->AllGatherV(mine.data(), joined.data(), length, lengths.data(), offsets.data());
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < lengths.size(); ++i)
        texts.push_back(joined.substr(static_cast<std::size_t>(offsets[i]), static_cast<std::size_t>(lengths[i])));
    return texts;
}

/// Fills A-scans up with zeros: a detection has left fewer samples than the image was told to have.
Recording Lengthened(const Recording& lines, int samples) {
    Recording longer = lines;
    longer.size.samples = samples;
    longer.data = TZM::AllocateSamples(longer.size.Count());
    const std::int64_t ascans = std::int64_t{lines.size.ascans} * lines.size.bscans;
    for (std::int64_t i = 0; i < ascans; ++i) {
        float* const to = longer.data.get() + i * samples;
        std::copy_n(lines.data.get() + i * lines.size.samples, lines.size.samples, to);
        std::fill(to + lines.size.samples, to + samples, 0.f);
    }
    return longer;
}

} // namespace

/// What a request is about.
struct vtkTZMBlockFilter::Request {
    Request(vtkTZMBlockFilter* filter, Recording ofInput)
        : about(std::move(ofInput)), steps(filter->PrepareSteps(about)), run(steps, about, filter->CropsToData()) {}

    /// Lines of the image that an extent holds.
    Slab Wanted(vtkInformation* outInfo, const int extent[6]) const {
        if (extent[0] > extent[1] || extent[2] > extent[3] || extent[4] > extent[5]) return {};
        const int first = TZM::FirstLine(outInfo);
        return {std::max(0, extent[4] - first), std::min(run.Image().size.bscans, extent[5] - first + 1)};
    }

    Recording about; ///< of the input
    const std::vector<TZM::Step>& steps;
    TZM::SlabRun run;
};

vtkTZMBlockFilter::vtkTZMBlockFilter() { this->SetController(vtkMultiProcessController::GetGlobalController()); }

vtkTZMBlockFilter::~vtkTZMBlockFilter() { this->SetController(nullptr); }

vtkCxxSetObjectMacro(vtkTZMBlockFilter, Controller, vtkMultiProcessController);

void vtkTZMBlockFilter::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
    os << indent << "NumberOfThreads: " << this->NumberOfThreads << "\n";
    os << indent << "Controller: " << this->Controller << "\n";
}

void vtkTZMBlockFilter::SetNumberOfThreads(int threads) {
    constexpr int kMost = 1024;
    threads = std::clamp(threads, 0, kMost);
    if (threads == this->NumberOfThreads) return;
    this->NumberOfThreads = threads;
    this->Modified();
}

void vtkTZMBlockFilter::ReadConfig() {}

vtkInformationObjectBaseKey* vtkTZMBlockFilter::RECORDING() { return TZM::RecordingKey(); }

int vtkTZMBlockFilter::FillInputPortInformation(int, vtkInformation* info) {
    info->Set(vtkAlgorithm::INPUT_REQUIRED_DATA_TYPE(), "vtkImageData");
    return 1;
}

/// Whether each process works on a part of the block now, and all of them on all of it: a filter further down says so,
/// or the block is asked for in pieces, one for each process. None of these may be empty, since its process wouldn't be
/// asked to work.
bool vtkTZMBlockFilter::SharesBlock(vtkInformation* outInfo) const {
    const int processes = this->Controller ? this->Controller->GetNumberOfProcesses() : 1;
    if (processes < 2) return false;
    if (outInfo->Has(TZM::SharedKey()) && outInfo->Get(TZM::SharedKey())) return true;
    int whole[6], extent[6];
    outInfo->Get(Pipeline::WHOLE_EXTENT(), whole);
    outInfo->Get(Pipeline::UPDATE_EXTENT(), extent);
    return outInfo->Get(Pipeline::UPDATE_NUMBER_OF_PIECES()) == processes &&
           outInfo->Get(Pipeline::UPDATE_PIECE_NUMBER()) == this->Controller->GetLocalProcessId() &&
           whole[5] - whole[4] >= processes && extent[4] == whole[4] && extent[5] == whole[5];
}

/// Runs an action of a request; what it throws goes to the error event, and the output is empty.
template <class Action>
int vtkTZMBlockFilter::Reported(vtkImageData* output, const Action& action) {
    int done = 0;
    try {
        action();
        return 1;
    } catch (const TZM::Exception::Cancelled&) {
        done = 1;
    } catch (const std::bad_alloc&) {
        vtkErrorMacro("there isn't enough memory for the work");
    } catch (const std::exception& error) {
        vtkErrorMacro(<< error.what());
    }
    if (output) output->Initialize();
    return done;
}

int vtkTZMBlockFilter::RequestInformation(vtkInformation*, vtkInformationVector** inputVector,
                                          vtkInformationVector* outputVector) {
    return this->Reported(nullptr, [&] {
        vtkInformation* inInfo = inputVector[0]->GetInformationObject(0);
        const Request request(this, TZM::AboutOf(inInfo));
        TZM::Tell(outputVector->GetInformationObject(0), request.run.Image(), inInfo);
    });
}

int vtkTZMBlockFilter::RequestUpdateExtent(vtkInformation*, vtkInformationVector** inputVector,
                                           vtkInformationVector* outputVector) {
    return this->Reported(nullptr, [&] {
        vtkInformation* inInfo = inputVector[0]->GetInformationObject(0);
        vtkInformation* outInfo = outputVector->GetInformationObject(0);
        const Request request(this, TZM::AboutOf(inInfo));
        // The executive cuts the piece out of this extent not before the data are made.
        int extent[6], piece[6];
        outInfo->Get(Pipeline::UPDATE_EXTENT(), extent);
        const int pieces = std::max(1, outInfo->Get(Pipeline::UPDATE_NUMBER_OF_PIECES()));
        std::copy_n(extent, 6, piece);
        if (pieces > 1 && !vtkNew<vtkExtentTranslator>()->PieceToExtentThreadSafe(
                              outInfo->Get(Pipeline::UPDATE_PIECE_NUMBER()), pieces,
                              outInfo->Get(Pipeline::UPDATE_NUMBER_OF_GHOST_LEVELS()), extent, piece,
                              vtkExtentTranslator::Z_SLAB_MODE, 0))
            piece[5] = piece[4] - 1;
        this->Shares = this->SharesBlock(outInfo);
        const Slab needed = request.run.Needed(request.Wanted(outInfo, piece), !this->Shares);
        inInfo->Get(Pipeline::WHOLE_EXTENT(), extent);
        extent[5] = extent[4] + needed.end - 1;
        extent[4] += needed.begin;
        if (needed.IsEmpty()) std::fill_n(extent, 6, 0), extent[1] = extent[3] = extent[5] = -1;
        inInfo->Set(Pipeline::UPDATE_EXTENT(), extent, 6);
        // The extent is what is needed: it isn't to be cut once more.
        inInfo->Set(Pipeline::UPDATE_NUMBER_OF_PIECES(), 1);
        inInfo->Set(Pipeline::UPDATE_PIECE_NUMBER(), 0);
        inInfo->Set(Pipeline::UPDATE_NUMBER_OF_GHOST_LEVELS(), 0);
        inInfo->Set(TZM::SharedKey(), this->Shares ? 1 : 0);
    });
}

int vtkTZMBlockFilter::RequestData(vtkInformation*, vtkInformationVector** inputVector,
                                   vtkInformationVector* outputVector) {
    this->InInfo = inputVector[0]->GetInformationObject(0);
    this->OutInfo = outputVector->GetInformationObject(0);
    vtkImageData* input = vtkImageData::GetData(this->InInfo);
    vtkImageData* output = vtkImageData::GetData(this->OutInfo);
    return this->RunAlgorithm(input, output);
}

int vtkTZMBlockFilter::RunAlgorithm(vtkImageData* input, vtkImageData* output) {
    return this->Reported(output, [&] {
        Recording about = TZM::AboutOf(this->InInfo);
        about.validRanges = TZM::RangesOf(input, about.size.bscans);
        TZM::ImageProps props = about.Props();
        const bool rangesAreOurs = this->BscanInfoFirstValidIdx->GetNumberOfValues() == about.size.bscans &&
                                   this->BscanInfoValidLen->GetNumberOfValues() == about.size.bscans;
        this->AlgoSetupImgPropsBscanInfo(&props);
        if (rangesAreOurs) about.validRanges = props.bscanInfo;

        Request request(this, about);
        TZM::SlabRun& run = request.run;
        const Recording image = run.Image();
        const Slab wanted = request.Wanted(this->OutInfo, this->OutInfo->Get(Pipeline::UPDATE_EXTENT()));
        TZM::Exchange exchange;
        if (this->Shares) exchange = [this](const std::string& mine) { return Exchanged(this->Controller, mine); };
        const Slab needed = run.Needed(wanted, !exchange);
        Recording part = TZM::PartOf(request.about, needed);
        try {
            if (!needed.IsEmpty()) part.data = TZM::SamplesOf(input, this->InInfo, needed.begin, needed.Count());
        } catch (const std::exception& error) {
            run.TellFailure(error.what(), exchange);
            throw;
        }
        const TZM::Setting setting(request.about, this->NumberOfThreads, this->Documents());
        output->Initialize(); // its memory, if nobody else holds it, serves once more
        double told = -1;
        Recording lines = run.Run(std::move(part), wanted, exchange, [this, &told](double share) {
            constexpr double kStep = 1. / 64; // a loop over A-scans asks more often than anybody listens
            if (share >= told + kStep || share >= 1) this->UpdateProgress(told = share);
#if VTK_MAJOR_VERSION > 9 || (VTK_MAJOR_VERSION == 9 && VTK_MINOR_VERSION >= 3)
            return !this->CheckAbort();
#else
            return !this->GetAbortExecute();
#endif
        });
        if (wanted.IsEmpty()) return output->Initialize();
        if (lines.size.samples < image.size.samples) lines = Lengthened(lines, image.size.samples);
        output->GetFieldData()->PassData(input->GetFieldData());
        TZM::Fill(output, this->OutInfo, lines, wanted.begin, image.validRanges);
    });
}
