#include "Algorithms/Preparation/AlgoTimeZeroDetection.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "Framework/private/BlockParts.h"
#include "Framework/private/BlockStreams.h"
#include "Framework/private/ExecuteFrame.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const int AlgoTimeZeroDetection::defADBitResolution = 16;
const int AlgoTimeZeroDetection::defNegADCThreshold = -4000;
const int AlgoTimeZeroDetection::defTimeZeroIndex = 24;

AlgoTimeZeroDetection::AlgoTimeZeroDetection(const std::string& name) : Algo(name) {}

AlgoTimeZeroDetection::InternalAlgoParams::InternalAlgoParams(const AlgoTimeZeroDetection* owner,
                                                              const std::string& config)
    : AlgoJsonParamsBase(owner, config) {
    Parse();
}

namespace {

/// What the document may say.
struct Keys {
    bool useTX1RX2 = false;
    bool useTX3RX2 = false;
    int adBitResolution = AlgoTimeZeroDetection::defADBitResolution;
    int tx1rx1 = -3, tx2rx2 = -3, tx3rx3 = -3;
    int tx1tx2 = -2, tx2tx3 = -2; ///< of the direction in which the bistatic channel was recorded
    int defaultTimeZeroIndex = AlgoTimeZeroDetection::defTimeZeroIndex;
    bool detailedLogging = false;
    int negAdcThreshold = AlgoTimeZeroDetection::defNegADCThreshold;
};

const std::vector<JsonSection<Keys>>& Options() {
    static const std::vector<JsonSection<Keys>> sections{
        {{"Global", "BistaticOptions"},
         {
             Boolean("UseTX1RX2", &Keys::useTX1RX2),
             Boolean("UseTX3RX2", &Keys::useTX3RX2),
         }},
        {{"Global"}, {Integer("ADBitResolution", &Keys::adBitResolution, 14, 32)}}};
    return sections;
}

/// Of the two directions of a bistatic channel only the chosen one is read.
std::vector<JsonSection<Keys>> Offsets(bool useTX1RX2, bool useTX3RX2) {
    return {{{kOwnSection, "ChannelOffsets"},
             {
                 Integer("TX1RX1", &Keys::tx1rx1),
                 Integer(useTX1RX2 ? "TX1RX2" : "TX2RX1", &Keys::tx1tx2),
                 Integer("TX2RX2", &Keys::tx2rx2),
                 Integer(useTX3RX2 ? "TX3RX2" : "TX2RX3", &Keys::tx2tx3),
                 Integer("TX3RX3", &Keys::tx3rx3),
                 Integer("DefaultTimeZeroIndex", &Keys::defaultTimeZeroIndex),
             }},
            {{kOwnSection},
             {
                 Boolean("DetailedLogging", &Keys::detailedLogging),
                 Integer("NegADCThreshold", &Keys::negAdcThreshold),
             }}};
}

} // namespace

void AlgoTimeZeroDetection::InternalAlgoParams::Parse() {
    Keys keys;
    ReadDocument("AlgoTimeZeroDetection::InternalAlgoParams::Parse", [&](const Json::Value& root) {
        ReadSections(root, algo->name, Options(), keys);
        ReadSections(root, algo->name, Offsets(keys.useTX1RX2, keys.useTX3RX2), keys);
    });
    channelOffsets = {keys.tx1rx1, keys.tx1tx2, keys.tx2rx2, keys.tx2tx3, keys.tx3rx3};
    detailedLogging = keys.detailedLogging;
    adBitResolution = keys.adBitResolution;
    negAdcThreshold = keys.negAdcThreshold;
    defaultTimeZeroIndex = keys.defaultTimeZeroIndex;
}

std::vector<JsonKeyInfo> AlgoTimeZeroDetection::DescribeKeys() const {
    std::vector<JsonKeyInfo> infos = TZM::DescribeKeys(name, Options(), Keys());
    for (const JsonKeyInfo& info : TZM::DescribeKeys(name, Offsets(false, false), Keys())) {
        infos.push_back(info);
        if (info.key != "TX2RX1" && info.key != "TX2RX3") continue;
        infos.push_back(info);
        infos.back().key = info.key == "TX2RX1" ? "TX1RX2" : "TX3RX2";
    }
    return infos;
}

void AlgoTimeZeroDetection::RefreshInternalAlgoParams() const { internalAlgoParams.Rebuild(this, jsonConfig); }

namespace {

constexpr int kSearchStart = 2;
constexpr int kSearchEnd = 98; // behind the last sample that is looked at

/// Rounded centroid of the first run of at least two samples below the threshold, 0 if there is none.
int Arrival(const IPP::Array<float>& ascan, float threshold) {
    const float* s = ascan.data;
    const int last = std::min(ascan.size, kSearchEnd) - 1;
    int start = kSearchStart;
    while (start < last && !(s[start] < threshold && s[start + 1] < threshold)) ++start;
    if (start >= last) return 0;
    float weights = 0.f, moments = 0.f;
    for (int k = start; k <= last && !(s[k] >= threshold); ++k) { // a NaN doesn't end the run, but spoils it
        const float w = std::sqrt(std::abs(s[k]));
        weights += w;
        moments += static_cast<float>(k) * w;
    }
    if (!std::isfinite(weights)) return 0;
    return static_cast<int>(moments / weights + 0.5f);
}

/// Median of the arrivals in the valid A-scans; nothing if too many have none.
std::optional<int> DetectedIndex(const IPP::Array2D<float>& bscan, const BscanInfo& valid, float threshold) {
    IPP::Array<int> arrivals(valid.validLen);
    int missing = 0;
    for (int j = 0; j < valid.validLen; ++j) {
        arrivals[j] = Arrival(bscan.Row(valid.firstValidIdx + j), threshold);
        if (arrivals[j] == 0) ++missing;
    }
    return missing < valid.validLen / 3 ? std::optional(arrivals.Median()) : std::nullopt;
}

/// Refuses a shift that leaves nothing of the A-scan.
int Shift(int rawIndex, int offset, int samples) {
    const std::int64_t shift = std::max<std::int64_t>(0, std::int64_t{rawIndex} + offset);
    IPP::Require(shift < samples, "Index exceeds IPP::Array2D bounds");
    return static_cast<int>(shift);
}

// The samples that come from the head of the next A-scan are overwritten.
void MoveUp(const IPP::Array2D<float>& from, int shift, const IPP::Array2D<float>& to, const BlockStreams& streams) {
    const int moved = from.size - shift;
    streams.Copy(from.SubArray(shift, moved), to.SubArray(0, moved));
    if (shift == 0) return;
    for (int y = 0; y < to.dim1; ++y) to.Row(y).SubArray(to.dim0 - shift, shift).Zero();
}

const BlockFindings::Table& Shifts() {
    static const BlockFindings::Table table{
        "AlgoTimeZeroDetection", {{"Shift", BlockFindings::Kind::Integer}, {"Found", BlockFindings::Kind::Flag}}};
    return table;
}

int ShiftOf(const BlockFindings& found, int bscan) { return static_cast<int>(found.Row(bscan)[0]); }

int LargestShift(const BlockFindings& all) {
    int largest = 0;
    for (int i = 0; i < all.BlockBscans(); ++i) largest = std::max(largest, ShiftOf(all, i));
    return largest;
}

bool HasData(const ImageProps& props, int bscan) { return ValidRange(props, bscan).validLen > 0; }

} // namespace

/// The shifts of the B-scans of a part.
BlockFindings AlgoTimeZeroDetection::ShiftsIn(const IPP::Array3D<float>& src, const ImageProps& partProps,
                                              const BlockPart& part, int channels) const {
    const InternalAlgoParams& tuning = *internalAlgoParams.Get();
    const std::int64_t magnitude =
        std::min(std::int64_t{1} << (tuning.adBitResolution - 1), std::abs(std::int64_t{tuning.negAdcThreshold}));
    const float threshold = -static_cast<float>(std::max<std::int64_t>(1, magnitude));

    IPP::Array<int> raw(src.dim2), shift(src.dim2);
    raw.Zero();
    shift.Zero();
    std::vector<char> found(static_cast<std::size_t>(src.dim2)); // in the data, of a monostatic B-scan
    const auto offset = [&](int i) {
        return tuning.channelOffsets[static_cast<std::size_t>((part.firstBscan + i) % 5)];
    };
    ParallelFor(src.dim2, [&](int i) {
        if (IsBistatic(i, channels) || !HasData(partProps, i)) return;
        const auto index = DetectedIndex(src.Slice(i), ValidRange(partProps, i), threshold);
        found[static_cast<std::size_t>(i)] = index.has_value();
        raw[i] = index.value_or(tuning.defaultTimeZeroIndex);
        shift[i] = Shift(raw[i], offset(i), src.dim0);
    });
    for (int i = 0; i < src.dim2; ++i) {
        if (!IsBistatic(i, channels) || !HasData(partProps, i)) continue;
        const auto at = static_cast<std::size_t>(i);
        found[at] = found[at - 1] && found[at + 1];
        if (raw[i - 1] > 0 && raw[i + 1] > 0) raw[i] = static_cast<int>((std::int64_t{raw[i - 1]} + raw[i + 1]) / 2);
        shift[i] = Shift(raw[i], offset(i), src.dim0);
    }
    BlockFindings findings(Shifts(), part.blockBscans);
    for (int i = 0; i < src.dim2; ++i)
        findings.Put(part.firstBscan + i, {double(shift[i]), double(found[static_cast<std::size_t>(i)])});
    return findings;
}

/// Moves the B-scans of a part up by their shifts.
void AlgoTimeZeroDetection::MoveBscans(const IPP::Array3D<float>& src, const ImageProps& partProps,
                                       const BlockPart& part, const BlockFindings& all,
                                       const IPP::Array3D<float>& dst) const {
    const int largest = LargestShift(all);
    for (int i = 0; i < all.BlockBscans(); ++i)
        IPP::Require(ShiftOf(all, i) >= 0 && ShiftOf(all, i) < src.dim0, "Index exceeds IPP::Array2D bounds");
    const BlockStreams streams(dst);
    ParallelFor(dst.dim2, [&](int i) {
        if (largest > 0 && !HasData(partProps, i)) return dst.Slice(i).Zero();
        MoveUp(src.Slice(i), ShiftOf(all, part.firstBscan + i), dst.Slice(i), streams);
    });
    if (largest > 0) newOutProps.samplesPerAscan = src.dim0 - largest;

    if (part.firstBscan > 0 || !params.enableLogging || !internalAlgoParams.Get()->detailedLogging) return;
    std::string line = "TimeZeroDetection: detected time zero indices (incl. offset): ";
    for (int i = 0; i < all.BlockBscans(); ++i)
        line += "ch" + std::to_string(i + 1) + " -> " + std::to_string(ShiftOf(all, i)) + "; ";
    LogFromRegion(line + "\n");
}

void AlgoTimeZeroDetection::Execute(const float* in, const ImageProps& inProps, float* out,
                                    const ImageProps& outProps) const {
    if (&inProps == &newOutProps) return Execute(in, ImageProps(inProps), out, outProps); // it is about to be replaced
    newOutProps = outProps;
    RunExecute([&] {
        RefreshInternalAlgoParams();
        const int channels = GetChannelCount(inProps.bscanCount);
        const auto src = InputView(in, inProps);
        const auto dst = OutputView(out, inProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f"); // as a copy of the whole block would
        const BlockPart whole = WholeBlock(inProps);
        MoveBscans(src, inProps, whole, ShiftsIn(src, inProps, whole, channels), dst);
    });
}

const BlockFindings::Table& AlgoTimeZeroDetection::FindingsTable() const { return Shifts(); }

BlockFindings AlgoTimeZeroDetection::Look(const float* in, const ImageProps& partProps, const BlockPart& part) const {
    BlockFindings found;
    RunExecute([&] {
        RefreshInternalAlgoParams();
        const int channels = ChannelsOfPart(part, partProps);
        const auto src = InputView(in, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        found = ShiftsIn(src, partProps, part, channels);
    });
    return found;
}

void AlgoTimeZeroDetection::Work(const float* in, const ImageProps& partProps, const BlockPart& part,
                                 const BlockFindings& all, float* out, const ImageProps& outProps) const {
    if (&partProps == &newOutProps) return Work(in, ImageProps(partProps), part, all, out, outProps);
    newOutProps = outProps;
    RunExecute([&] {
        RefreshInternalAlgoParams();
        ChannelsOfPart(part, partProps);
        all.RequireAll(Shifts(), part.blockBscans);
        const auto src = InputView(in, partProps);
        const auto dst = OutputView(out, partProps);
        RefuseEmpty(src, "IPP::Exception::ippsCopy_32f");
        MoveBscans(src, partProps, part, all, dst);
    });
}

int AlgoTimeZeroDetection::UsableSamples(const BlockFindings& all, int samples) const {
    all.RequireAll(Shifts(), all.BlockBscans());
    return std::max(0, samples - LargestShift(all));
}

} // namespace TZM
