#include "Views.h"

#include "Framework/private/ParallelFor.h"
#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tzmchain {

using namespace TZM;

namespace {

constexpr double kNanosecond = 1e-9;
constexpr int kSlices = 12, kSlicesPerRow = 4;

/// Two-way time in ns, from time zero on where it is known.
Axis TimeAxis(const Recording& recording) {
    const double origin = recording.timeZero ? -*recording.timeZero * recording.deltaT : recording.FirstTime();
    return {recording.timeZero ? "two-way time after time zero (ns)" : "two-way time (ns)", "ns", origin / kNanosecond,
            recording.deltaT / kNanosecond};
}

Axis ScanAxis(const Recording& recording) { return {"distance (m)", "m", recording.startX, recording.deltaX}; }

/// Metres of depth per ns of two-way time.
double DepthPerNanosecond(double permittivity) { return 0.3 / std::sqrt(permittivity) / 2; }

} // namespace

Axis LineAxis(const Recording& recording) {
    return recording.lineSpacing ? Axis{"across (m)", "m", 0, *recording.lineSpacing} : Axis{"B-scan", "", 1, 1};
}

std::vector<std::string> ChannelNames(const Recording& recording) {
    if (!recording.channels.empty()) return recording.channels;
    const int bscans = recording.size.bscans, channels = bscans < 2 ? 0 : bscans % 5 == 0 ? 5 : bscans % 7 == 0 ? 7 : 0;
    std::vector<std::string> names;
    for (int i = 1; i <= channels; ++i) names.push_back("channel " + std::to_string(i));
    return names;
}

std::vector<double> InputTimeZeros(const Recording& recording, const std::vector<int>& shifts) {
    std::vector<int> samples = shifts.empty() ? recording.timeZeros : shifts;
    if (samples.empty() && recording.timeZero) samples = {*recording.timeZero};
    std::vector<double> times;
    for (const int sample : samples) times.push_back(sample * recording.deltaT / kNanosecond);
    return times;
}

Panel BscanPanel(const Recording& recording, int bscan, const std::string& title) {
    Panel panel;
    panel.title = title;
    panel.data = recording.Bscan(bscan);
    panel.columns = recording.size.ascans;
    panel.rows = recording.size.samples;
    panel.columnStep = recording.size.samples;
    panel.across = ScanAxis(recording);
    panel.down = TimeAxis(recording);
    panel.zeroLine = recording.timeZero.has_value();
    if (recording.permittivity && recording.timeZero) {
        panel.secondLabel = (recording.datum ? "elevation (m)" : "depth (m)") + std::string(" at permittivity ") +
                            Number(*recording.permittivity);
        panel.secondFactor = DepthPerNanosecond(*recording.permittivity) * (recording.datum ? -1 : 1);
        panel.secondOrigin = recording.datum.value_or(0);
    }
    return panel;
}

namespace {

std::string FileName(std::string name) {
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '-';
    return name.empty() ? "bscan" : "bscan-" + name;
}

/// Shows all panels over the times of all of them, so that an echo stands at one height in each.
void ShowAlike(std::vector<Panel>& panels) {
    std::array<double, 2> all = panels.front().Shown();
    for (const Panel& panel : panels) {
        const auto [from, to] = panel.Shown();
        all = {std::min(all[0], from), std::max(all[1], to)};
    }
    for (Panel& panel : panels) panel.shown = all;
}

/// "0.13 to 0.26", with two digits of the difference.
std::string Range(double from, double to) {
    const double unit = std::pow(10, std::floor(std::log10(to - from)) - 1);
    return Number(std::round(from / unit) * unit + 0.0, 10) + " to " + Number(std::round(to / unit) * unit, 10);
}

} // namespace

Choice ChooseBscans(const Recording& recording, const Lines& lines) {
    const int bscans = recording.size.bscans;
    const std::vector<std::string> names = ChannelNames(recording);
    const int channels = static_cast<int>(names.size());

    Choice choice;
    choice.lineCount = bscans;
    if (lines.all || !lines.numbers.empty()) {
        choice.indices.resize(static_cast<std::size_t>(bscans));
        std::iota(choice.indices.begin(), choice.indices.end(), 0);
        if (!lines.all) choice.indices.clear();
        for (const int number : lines.numbers) {
            if (number < 1 || number > bscans)
                throw Refusal("there is no line " + std::to_string(number) + " in a recording of " +
                              std::to_string(bscans));
            choice.indices.push_back(number - 1);
        }
        for (const int index : choice.indices)
            choice.names.push_back((channels > 0 ? names[static_cast<std::size_t>(index % channels)] + " " : "") +
                                   "line " + std::to_string(index + 1));
        return choice;
    }
    const int chosen = channels > 0 ? channels : std::min(bscans, 5);
    for (int i = 0; i < chosen; ++i) {
        if (channels > 0) {
            choice.indices.push_back(bscans / channels / 2 * channels + i);
            choice.names.push_back(names[static_cast<std::size_t>(i)]);
        } else {
            choice.indices.push_back(chosen == 1 ? 0 : static_cast<int>(std::int64_t{i} * (bscans - 1) / (chosen - 1)));
            choice.names.push_back(bscans == 1 ? "" : "line " + std::to_string(choice.indices.back() + 1));
        }
    }
    return choice;
}

Stage::Stage(const std::string& name, const Recording& recording, const Choice& choice, const std::string& ofValues)
    : title(name), unit(ofValues), bscans(recording.About()), timeZero(choice.indices.size(), recording.timeZero),
      across(static_cast<std::size_t>(recording.size.samples) * static_cast<std::size_t>(recording.size.bscans)),
      lineCount(recording.size.bscans), indices(choice.indices) {
    if (lineCount != choice.lineCount) // they lie evenly from the first line to the last
        for (int& index : indices)
            index = static_cast<int>(std::lround(double(index) * (lineCount - 1) / std::max(choice.lineCount - 1, 1)));
    bscans.size.bscans = static_cast<int>(indices.size());
    bscans.data = AllocateSamples(bscans.size.Count());
}

void Stage::CountFrom(const std::vector<int>& timeZeros) {
    for (std::size_t i = 0; i < indices.size(); ++i) timeZero[i] = timeZeros[static_cast<std::size_t>(indices[i])];
}

void Stage::Take(int firstBscan, const Recording& part) {
    const std::int64_t samples = part.size.samples, length = samples * part.size.ascans;
    for (std::size_t i = 0; i < indices.size(); ++i)
        if (const int z = indices[i] - firstBscan; z >= 0 && z < part.size.bscans)
            std::copy_n(part.Bscan(z), length, bscans.Bscan(static_cast<int>(i)));
    for (int z = 0; z < part.size.bscans; ++z)
        std::copy_n(part.Bscan(z) + part.size.ascans / 2 * samples, samples,
                    across.data() + (firstBscan + z) * samples);
}

Panel StagePanel(const Stage& stage, int i) {
    Recording bscans = stage.bscans; // shares the samples
    bscans.timeZero = stage.timeZero[static_cast<std::size_t>(i)];
    Panel panel = BscanPanel(bscans, i, stage.title);
    panel.unit = stage.unit;
    return panel;
}

std::vector<std::string> DrawAcross(const std::vector<Stage>& stages, const std::filesystem::path& folder,
                                    const Style& style) {
    if (stages.front().lineCount < 2) return {};
    std::vector<Panel> panels;
    for (const Stage& stage : stages) {
        Panel panel = BscanPanel(stage.bscans, 0, stage.title);
        panel.unit = stage.unit;
        panel.data = stage.across.data();
        panel.columns = stage.lineCount;
        panel.across = LineAxis(stage.bscans);
        panel.blend = false;
        panels.push_back(panel);
    }
    ShowAlike(panels);
    const std::string file = "across" + style.Extension();
    DrawPicture(folder / file,
                stages.front().bscans.file.filename().string() + ": across the lines, in the middle of the scan",
                panels, 1, style);
    return {file};
}

std::vector<std::string> DrawBscans(const Choice& choice, const std::vector<Stage>& stages,
                                    const std::filesystem::path& folder, const Style& style) {
    std::vector<std::string> files;
    for (std::size_t i = 0; i < choice.names.size(); ++i) {
        std::string name = FileName(choice.names[i]);
        if (std::count(files.begin(), files.end(), name + style.Extension()) > 0) // "TX 1" and "TX-1"
            name += "-" + std::to_string(choice.indices[i] + 1);
        files.push_back(name + style.Extension());
    }
    ParallelFor(static_cast<int>(choice.indices.size()), [&](int index) {
        const auto i = static_cast<std::size_t>(index);
        std::string title = stages.front().bscans.file.filename().string();
        if (!choice.names[i].empty())
            title += ", " + choice.names[i] + " (B-scan " + std::to_string(choice.indices[i] + 1) + " of " +
                     std::to_string(choice.lineCount) + ")";
        std::vector<Panel> panels;
        for (const Stage& stage : stages) panels.push_back(StagePanel(stage, index));
        ShowAlike(panels);
        DrawPicture(folder / files[i], title, panels, 1, style);
    });
    return files;
}

std::vector<DepthSlice> DepthSlices(const Recording& image) {
    const Axis time = TimeAxis(image);
    // From the surface on: what lies above time zero has no depth.
    const int first =
        std::clamp(static_cast<int>(std::ceil(-time.origin / time.step - 1e-6)), 0, image.size.samples - 1);
    const int samples = image.size.samples - (image.timeZero ? first : 0), count = std::min(kSlices, samples);
    const auto begin = [&](int i) {
        return image.size.samples - samples + static_cast<int>(std::int64_t{i} * samples / count);
    };
    std::vector<DepthSlice> slices;
    for (int i = 0; i < count; ++i) {
        const double from = time.origin + begin(i) * time.step, to = time.origin + begin(i + 1) * time.step;
        std::string title = Range(from, to) + " ns";
        if (image.permittivity && image.timeZero) {
            const double factor = DepthPerNanosecond(*image.permittivity);
            title = (image.datum ? "elevation " + Range(*image.datum - to * factor, *image.datum - from * factor)
                                 : Range(from * factor, to * factor)) +
                    " m (" + title + ")";
        }
        slices.push_back({begin(i), begin(i + 1), title});
    }
    return slices;
}

DepthSlabs::DepthSlabs(const Recording& image) : about(image.About()) {
    if (image.size.bscans < 2) return;
    constexpr int kCells = 1024; // along each side: more than its picture has pixels
    const auto parts = [](int count, int of) { return (count + of - 1) / of; };
    slices = DepthSlices(image);
    along = parts(image.size.ascans, kCells), across = parts(image.size.bscans, kCells);
    columns = parts(image.size.ascans, along), rows = parts(image.size.bscans, across);
    slabs.resize(slices.size(), std::vector<float>(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)));
}

void DepthSlabs::Take(int firstBscan, const Recording& part) {
    if (slices.empty()) return;
    const int endBscan = firstBscan + part.size.bscans, firstRow = firstBscan / across;
    ParallelFor((endBscan - 1) / across + 1 - firstRow, [&](int r) { // B-scans of a cell in their order
        const int row = firstRow + r;
        for (int z = std::max(row * across, firstBscan); z < std::min((row + 1) * across, endBscan); ++z) {
            const float* ascan = part.Bscan(z - firstBscan);
            for (int a = 0; a < part.size.ascans; ++a, ascan += part.size.samples)
                for (std::size_t i = 0; i < slices.size(); ++i) {
                    const int begin = slices[i].begin, end = slices[i].end;
                    float sum = 0;
#pragma omp simd reduction(+ : sum)
                    for (int s = begin; s < end; ++s) sum += std::abs(ascan[s]);
                    slabs[i][static_cast<std::size_t>(std::int64_t{row} * columns + a / along)] +=
                        sum / static_cast<float>(end - begin);
                }
        }
    });
}

std::vector<Panel> DepthSlabs::Panels(std::vector<std::vector<float>>& means) const {
    means = slabs;
    const auto held = [](int cell, int of, int count) { return std::min((cell + 1) * of, count) - cell * of; };
    for (std::vector<float>& slab : means)
        for (int row = 0; row < rows; ++row)
            for (int column = 0; column < columns; ++column)
                slab[static_cast<std::size_t>(std::int64_t{row} * columns + column)] /=
                    static_cast<float>(held(row, across, about.size.bscans) * held(column, along, about.size.ascans));
    const auto ofCells = [](Axis axis, int count) {
        axis.origin += axis.step * (count - 1) / 2;
        axis.step *= count;
        return axis;
    };
    std::vector<Panel> panels;
    for (std::size_t i = 0; i < slices.size(); ++i) {
        Panel panel;
        panel.title = slices[i].title;
        panel.data = means[i].data();
        panel.columns = columns;
        panel.rows = rows;
        panel.rowStep = columns;
        panel.across = ofCells(ScanAxis(about), along);
        panel.equalScales = about.lineSpacing.has_value();
        panel.down = ofCells(LineAxis(about), across);
        panel.unit = "mean magnitude";
        panels.push_back(panel);
    }
    return panels;
}

std::vector<std::string> DepthSlabs::Draw(const std::filesystem::path& folder, const Style& style) const {
    if (slices.empty()) return {};
    std::vector<std::vector<float>> means;
    std::vector<Panel> panels = Panels(means);
    if (!style.scaleEach) { // the brightest slab has the whole scale; noise in a dark one doesn't look like a target
        ColourRange range = RobustRange(panels.front());
        for (const Panel& panel : panels) range.high = std::max(range.high, RobustRange(panel).high);
        for (Panel& panel : panels) panel.range = range;
    }
    Style linear = style;
    linear.decibels = 0;
    const std::string file = "depth-slices" + style.Extension();
    DrawPicture(folder / file, about.file.filename().string() + ": mean magnitude of slabs, from above", panels,
                kSlicesPerRow, linear);
    return {file};
}

} // namespace tzmchain
