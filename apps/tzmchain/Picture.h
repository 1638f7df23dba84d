#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tzmchain {

/// Colours of signed values; values that are never negative always get a sequential map.
enum class Colours { Grey, Seismic };

/// How signed values are drawn: as colours, or every A-scan as a curve that is filled where it is positive.
enum class Display { Map, Wiggles };

/// What a picture is written as.
enum class PictureForm { Png, Svg, Pdf };

/// How pictures look.
struct Style {
    Colours colours = Colours::Grey;
    std::vector<std::string> caption; ///< lines below the title
    double decibels = 0; ///< values that are never negative: range below the brightest on a dB scale; 0: a linear scale
    Display display = Display::Map;
    bool scaleEach = false; ///< depth slices have a scale of colours each, else one for all
    double aspect = 0;      ///< metres downwards over metres along where depths are known; 0: plots of one size
    double dpi = 96;        ///< of a PNG
    PictureForm form = PictureForm::Png;

    std::string Extension() const; ///< ".png"
};

/// 256 colours from the low end of a range to its high end, six hexadecimal digits each.
std::string Palette(bool isSigned, Colours colours);

/// An axis of evenly spaced values; the first is `origin`.
struct Axis {
    std::string label; ///< with the unit in brackets
    std::string unit;  ///< none if empty
    double origin = 0;
    double step = 1; ///< above 0
};

/// Where an axis puts the values of `count` cells: each value owns one, with the value in its middle.
struct Scale {
    Scale(const Axis& axis, int count, double size);
    Scale(double from, double to, double size) : low(from), length(to - from), size(size) {}
    double operator()(double value) const { return (value - low) / length * size; }
    double low, length; ///< in the unit of the axis
    double size;        ///< in pixels
};

/// What stands at an axis: a place, in pixels from its beginning, and what is written there.
struct Tick {
    double place;
    std::string text;
};

/// Ticks at round values, in at most `parts` parts; what is shown is `origin` and the axis's own value times `factor`.
std::vector<Tick> Ticks(const Scale& scale, double factor, int parts, double origin = 0);

/// Range of values that gets the whole colour scale.
struct ColourRange {
    float low;
    float high;
    bool isSigned;
};

/// One map of a picture. Element (column, row) is data[column * columnStep + row * rowStep]; rows run downwards.
struct Panel {
    std::string title;
    const float* data = nullptr;
    int columns = 0;
    int rows = 0;
    std::int64_t columnStep = 1;
    std::int64_t rowStep = 1;
    Axis across;
    Axis down;
    bool equalScales = false; ///< both axes have one unit and get one scale
    bool blend = true;        ///< columns wider than a pixel pass into each other
    bool zeroLine = false;    ///< marks the value 0 of the axis `down`
    std::string secondLabel;  ///< of an axis on the right, none if empty: secondOrigin + `down` * secondFactor
    double secondFactor = 1, secondOrigin = 0;
    std::string unit;                           ///< of the values
    std::optional<std::array<double, 2>> shown; ///< what is shown of `down`, which may be more than there are values of
    std::optional<ColourRange> range;           ///< of the colours; else that of the panel's own values

    /// The ends of what is shown of `down`.
    std::array<double, 2> Shown() const {
        return shown.value_or(std::array{down.origin - down.step / 2, down.origin + (rows - 0.5) * down.step});
    }
};

/// How many times longer a metre is downwards than along, where both are known: else 0.
double Exaggeration(const Panel& panel, double width, double height);

/// A curve over a logarithmic axis, drawn above the maps of a picture.
struct Curve {
    std::string title;
    std::vector<std::array<double, 2>> points; ///< place on the axis, above 0 and rising, and value
    std::array<double, 2> band = {0, 0};       ///< of places that is shaded, if it has a width
    std::vector<double> marks;                 ///< places with an upright line
};

/// Draws panels of one kind row by row, `panelsPerRow` in each, below a curve if there is one, and writes them in the
/// form of the style. Colours are clipped robustly: signed values at the 97th percentile of their distance from the
/// median, others at the 99.5th. Refusal if the file can't be written.
void DrawPicture(const std::filesystem::path& file, const std::string& title, const std::vector<Panel>& panels,
                 int panelsPerRow, const Style& style, const Curve* curve = nullptr);

/// A round step of 1, 2 or 5 times a power of ten that divides `length` into at most `parts` parts.
double RoundStep(double length, int parts);

ColourRange RobustRange(const Panel& panel);

} // namespace tzmchain
