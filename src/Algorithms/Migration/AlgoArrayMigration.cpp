#include "Algorithms/Migration/AlgoArrayMigration.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <set>

#include "Algorithms/Migration/ArrayStack.h"
#include "Algorithms/Migration/MigrationBlocks.h"
#include "Algorithms/Migration/RmsSpeed.h"
#include "Framework/Channels.h"
#include "Framework/private/BscanLayout.h"
#include "Framework/private/JsonKeys.h"
#include "Framework/private/ParallelFor.h"

namespace TZM {

const float AlgoArrayMigration::defaultLineSpacing = 0.05f;
const float AlgoArrayMigration::defaultApertureAngle = 60.0f;
const int AlgoArrayMigration::defaultApertureBaseWidth = 10;
const int AlgoArrayMigration::defaultApertureBaseLines = 2;
const float AlgoArrayMigration::defaultAntennaOffsetMono = 0.03f;
const float AlgoArrayMigration::defaultAntennaOffsetBi = 0.03f;

AlgoParamArrayMigration::AlgoParamArrayMigration()
    : AlgoParamArrayMigration(true, 1, defaultTimeZero, defaultPermittivity, "",
                              AlgoArrayMigration::defaultLineSpacing) {}

AlgoParamArrayMigration::AlgoParamArrayMigration(bool logging, int level, int timeZeroSamples, float groundPermittivity,
                                                 const std::string& layers, float spacing)
    : AlgoParamMigrationBase(logging, level, timeZeroSamples, groundPermittivity, layers),
      lineSpacing(spacing, &prmListener), lines(0, &prmListener),
      apertureAngle(AlgoArrayMigration::defaultApertureAngle, &prmListener),
      apertureBaseWidth(AlgoArrayMigration::defaultApertureBaseWidth, &prmListener),
      apertureBaseLines(AlgoArrayMigration::defaultApertureBaseLines, &prmListener),
      antennaOffsetMono(AlgoArrayMigration::defaultAntennaOffsetMono, &prmListener),
      antennaOffsetBi(AlgoArrayMigration::defaultAntennaOffsetBi, &prmListener), bistaticAcross(true, &prmListener),
      antiAlias(true, &prmListener), wavelet(Wavelet::Raw, &prmListener) {}

AlgoArrayMigration::AlgoArrayMigration(const std::string& name) : Algo(name) {}

namespace {

using P = AlgoParamArrayMigration;

void ReadOverlays(P& params, const Json::Value& layers) { params.overlays = WriteJson(layers); }

void ReadWavelet(P& params, const Json::Value& word) {
    if (word.asString() == "raw") params.wavelet = P::Wavelet::Raw;
    if (word.asString() == "corrected") params.wavelet = P::Wavelet::Corrected;
}

const std::vector<JsonSection<P>>& Sections() {
    static const std::vector<JsonSection<P>> sections{{{"Global"},
                                                       {
                                                           Integral("TimeZero", &P::timeZero),
                                                           Real("Permittivity", &P::permittivity),
                                                           Array("Overlays", &ReadOverlays),
                                                       }},
                                                      {{kOwnSection},
                                                       {
                                                           Real("LineSpacing", &P::lineSpacing),
                                                           Integer("Lines", &P::lines, 0, 9999),
                                                           Real("ApertureAngle", &P::apertureAngle, 0., 85.),
                                                           Integer("ApertureBaseWidth", &P::apertureBaseWidth, 0, 100),
                                                           Integer("ApertureBaseLines", &P::apertureBaseLines, 0, 100),
                                                           Real("AntennaOffsetMono", &P::antennaOffsetMono),
                                                           Real("AntennaOffsetBi", &P::antennaOffsetBi),
                                                           Boolean("BistaticAcross", &P::bistaticAcross),
                                                           Boolean("AntiAlias", &P::antiAlias),
                                                           Keyword("Wavelet", &ReadWavelet),
                                                       }}};
    return sections;
}

} // namespace

void AlgoArrayMigration::ParseParamsFromJsonConfig() {
    ReadDocument("AlgoArrayMigration::ParseParamsFromJsonConfig",
                 [&](const Json::Value& root) { ReadSections(root, name, Sections(), params); });
}

std::vector<JsonKeyInfo> AlgoArrayMigration::DescribeKeys() const { return TZM::DescribeKeys(name, Sections(), P()); }

ImageProps AlgoArrayMigration::GetAdjustedImageDimensions(const ImageProps& props) const {
    ImageProps image = MigratedProps(props, params.timeZero);
    if (params.lines > 0) image = ImageProps(image.samplesPerAscan, image.ascansPerBscan, params.lines);
    return image;
}

namespace {

/// Radius of the aperture at a depth of 1; 0: no limit.
double Opening(float degrees) {
    constexpr double most = 85.;
    return degrees > 0.f ? std::tan(std::min(double(degrees), most) * M_PI / 180.) / 2. : 0.;
}

/// Whole multiples of a unit between lines of the input and of the image, of which only the size counts.
class LineDistances {
public:
    LineDistances(int inputLines, int imageLines, double spacing) : inputs(inputLines) {
        if (imageLines > 1) { // image line k lies at k (inputs - 1) / (imageLines - 1) input lines
            const std::int64_t common = std::gcd(inputs - 1, imageLines - 1);
            inputStep = (imageLines - 1) / std::max<std::int64_t>(common, 1);
            imageStep = (inputs - 1) / std::max<std::int64_t>(common, 1);
        } else { // in the middle
            inputStep = 2;
            start = inputs - 1;
        }
        unit = spacing / double(inputStep);
    }

    double Metres(std::int64_t distance) const { return double(distance) * unit; }

    /// All distances up to `farthest` metres, ascending.
    std::set<std::int64_t> UpTo(double farthest, int imageLines) const {
        std::set<std::int64_t> distances;
        for (int k = 0; k < imageLines; ++k)
            for (int z = 0; z < inputs; ++z)
                if (const std::int64_t d = std::abs(Place(k) - z * inputStep); Metres(d) <= farthest)
                    distances.insert(d);
        return distances;
    }

    /// Calls body(z) for the input lines at a distance from an image line, one or two.
    template <class Body>
    void ForEach(int imageLine, std::int64_t distance, const Body& body) const {
        for (const std::int64_t place : {Place(imageLine) - distance, Place(imageLine) + distance}) {
            if (place >= 0 && place % inputStep == 0 && place / inputStep < inputs)
                body(static_cast<int>(place / inputStep));
            if (distance == 0) break;
        }
    }

private:
    std::int64_t Place(int imageLine) const { return start + imageLine * imageStep; }

    std::int64_t inputs, inputStep = 1, imageStep = 0, start = 0;
    double unit; ///< m
};

/// The valid A-scans of a block in depth rows, B-scan by B-scan.
class DepthRows {
public:
    /// \param differences half the difference of the samples around each one in place of it
    DepthRows(const BlockView& src, const ImageProps& props, bool differences)
        : rows(src.dim1, src.dim0, src.dim2), counts(static_cast<std::size_t>(src.dim2)) {
        ParallelFor(src.dim2, [&](int z) {
            const BscanInfo valid = ValidRange(props, z);
            counts[std::size_t(z)] = valid.validLen;
            if (valid.validLen == 0) return;
            IPP::Array2D<float> line = rows.Slice(z);
            if (valid.validLen < src.dim1) line.Zero();
            IPP::Array2D<float> ascans(src.Row(valid.firstValidIdx, z).data, src.dim0, valid.validLen);
            IPP::Array2D<float> columns(line.data + valid.firstValidIdx, line.dim0, line.dim1);
            ToDepthRows(ascans, columns);
            if (differences) Differences(line);
        });
    }

    bool IsEmpty(int z) const { return counts[std::size_t(z)] == 0; }
    const float* Line(int z) const { return rows.Slice(z).data; }

private:
    static void Differences(const IPP::Array2D<float>& line) {
        std::vector<float> before(std::size_t(line.dim0), 0.f), here(before.size());
        for (int s = 0; s < line.dim1; ++s) {
            float* const row = line.data + std::size_t(s) * before.size();
            std::copy_n(row, line.dim0, here.data());
            for (int x = 0; x < line.dim0; ++x)
                row[x] = 0.5f * ((s + 1 < line.dim1 ? row[x + line.dim0] : 0.f) - before[std::size_t(x)]);
            before.swap(here);
        }
    }

    IPP::Array3D<float> rows;
    std::vector<int> counts; ///< valid A-scans
};

/// Curves of one kind of channel at one distance.
struct Pass {
    bool bistatic;
    std::int64_t distance;
};

/// Passes whose curves are held at a time.
constexpr std::size_t kCurves = 24;

} // namespace

int AlgoArrayMigration::LinesBeside(double duration) const {
    if (!(params.lineSpacing > 0.f)) return 0;
    std::vector<Overlay> layers;
    ParseActiveOverlays(params.overlays, layers);
    double permittivity = std::max(params.permittivity.value, 1.f);
    for (const Overlay& layer : layers) permittivity = std::min(permittivity, std::max<double>(layer.Permittivity, 1.));
    const double record = 0.5 * 3e8 / std::sqrt(permittivity) * duration; // m
    const double opening = Opening(params.apertureAngle),
                 radius = record * (opening > 0. ? opening / std::hypot(opening, 1.) : 1.);
    const double lines = std::ceil(radius / params.lineSpacing) + 1;
    constexpr double most = 1 << 30;
    return static_cast<int>(std::min(std::max<double>(lines, params.apertureBaseLines), most));
}

void AlgoArrayMigration::Execute(const float* in, const ImageProps& inProps, float* out,
                                 const ImageProps& outProps) const {
    ExecutePart(in, inProps, {0, inProps.bscanCount}, out, outProps);
}

void AlgoArrayMigration::ExecutePart(const float* in, const ImageProps& inProps, const BlockPart& part, float* out,
                                     const ImageProps&) const {
    RunExecute([&] {
        const int timeZero = params.timeZero;
        RequirePermittivity(params.permittivity);
        if (!(globalSettings.delta_t > 0.f && globalSettings.delta_x > 0.f && params.lineSpacing > 0.f))
            throw Exception::CalcError(-9, "TZM::Exception::valueSmallerEqualZero");
        if (timeZero < 0 || params.lines < 0 || params.apertureBaseWidth < 0 || params.apertureBaseLines < 0)
            throw Exception::CalcError(-8, "TZM::Exception::valueSmallerZero");
        const auto src = InputView(in, inProps);
        constexpr int lengthTooSmall = -6;
        if (src.dim0 <= timeZero || src.size < 1) throw IPP::Exception(lengthTooSmall, "IPP::Exception::ippsZero_32f");
        const auto dst = OutputView(out, GetAdjustedImageDimensions(inProps));
        ParallelFor(dst.dim2, [&](int k) { dst.Slice(k).Zero(); });

        std::vector<Overlay> layers;
        ParseActiveOverlays(params.overlays, layers);
        IPP::Array<float> speed(dst.dim0);
        RmsSpeed(layers, params.permittivity, globalSettings.delta_t, speed);
        speed.MulC(0.5f);

        const bool corrected = params.wavelet == P::Wavelet::Corrected;
        const double spacing = params.lineSpacing;
        const ArrayStackSettings settings{dst.dim0,
                                          src.dim1 - 1,
                                          globalSettings.delta_t,
                                          globalSettings.delta_x,
                                          spacing,
                                          Opening(params.apertureAngle),
                                          params.apertureBaseWidth,
                                          (params.apertureBaseLines + 1e-6) * spacing,
                                          params.antiAlias,
                                          corrected};
        const AntennaOffset mono{params.antennaOffsetMono, 0.}, bi = params.bistaticAcross
                                                                         ? AntennaOffset{0., params.antennaOffsetBi}
                                                                         : AntennaOffset{params.antennaOffsetBi, 0.};

        const bool arrays = part.blockBscans % 5 == 0 || part.blockBscans % 7 == 0;
        const int channels = arrays ? GetChannelCount(part.blockBscans) : 1;
        const auto isBistatic = [&](int z) { return IsBistatic(part.firstBscan + z, channels); };
        const LineDistances distances(src.dim2, dst.dim2, spacing);
        const double farthest = (LinesBeside(double(src.dim0) * globalSettings.delta_t) + 1) * spacing;
        std::vector<Pass> passes;
        for (const std::int64_t distance : distances.UpTo(farthest, dst.dim2)) {
            passes.push_back({false, distance});
            if (channels > 1) passes.push_back({true, distance});
        }

        const DepthRows records(src, inProps, corrected);
        const ArrayRows rows(src.dim0, src.dim1, timeZero);
        std::vector<ArrayCurves> curves(std::min(kCurves, passes.size()));
        for (std::size_t first = 0; first < passes.size(); first += kCurves) {
            const int count = static_cast<int>(std::min(kCurves, passes.size() - first));
            ParallelFor(count, [&](int c) {
                const Pass& pass = passes[first + std::size_t(c)];
                curves[std::size_t(c)].Make(settings, rows, speed, pass.bistatic ? bi : mono,
                                            distances.Metres(pass.distance));
            });
            const auto addTo = [&](int k, ArrayStack& stack) {
                for (int c = 0; c < count; ++c) {
                    const Pass& pass = passes[first + std::size_t(c)];
                    const float* lines[2] = {nullptr, nullptr};
                    int found = 0;
                    distances.ForEach(k, pass.distance, [&](int z) {
                        if (isBistatic(z) == pass.bistatic && !records.IsEmpty(z)) lines[found++] = records.Line(z);
                    });
                    if (found > 0 && !curves[std::size_t(c)].IsEmpty())
                        stack.Add(curves[std::size_t(c)], lines[0], lines[1], dst.Slice(k).data);
                }
            };
            ParallelFor(
                dst.dim2, [&] { return ArrayStack(rows); }, addTo);
        }
        ParallelFor(
            dst.dim2, [&] { return IPP::Array2D<float>(dst.dim1, dst.dim0); },
            [&](int k, IPP::Array2D<float>& depthRows) {
                auto line = dst.Slice(k);
                std::copy_n(line.data, line.size, depthRows.data);
                FromDepthRows(depthRows, line);
            });
    });
}

} // namespace TZM
