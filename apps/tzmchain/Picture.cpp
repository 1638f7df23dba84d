#include "Picture.h"

#include "Colours.h"

#include "Recording/Refusal.h"
#include "Recording/private/Text.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <memory>

namespace tzmchain {

using namespace TZM;

namespace {

// Pixels around and inside a panel.
constexpr double kLeft = 78, kTop = 34, kBottom = 58, kRightPlain = 128, kRightSecond = 202, kTitle = 44, kCaption = 18;
constexpr double kUnitsPerInch = 96, kPointsPerInch = 72, kPrintDpi = 192;
constexpr int kPlotWidth = 1000, kPlotHeight = 400, kCurveHeight = 260, kSquare = 330;

/// Fewer than a byte holds: noise below a shade, which nobody sees, would double the size of the file. Where colours
/// run from one to another, the steps would show.
constexpr int kShades = 52, kShadesOfColours = 256;

template <std::size_t N>
Rgb Interpolate(const std::array<Rgb, N>& stops, double t) {
    const double place = std::clamp(t, 0.0, 1.0) * (N - 1);
    const std::size_t i = std::min(static_cast<std::size_t>(place), N - 2);
    const double f = place - static_cast<double>(i);
    const auto mix = [f](double a, double b) { return a + f * (b - a); };
    return {mix(stops[i].r, stops[i + 1].r), mix(stops[i].g, stops[i + 1].g), mix(stops[i].b, stops[i + 1].b)};
}

/// Colour of `t`, 0 at the low end of the range and 1 at its high end.
Rgb Colour(double t, bool isSigned, Colours colours) {
    if (!isSigned) return Interpolate(kHeat, t);
    return colours == Colours::Grey ? Interpolate(kGrey, t) : Interpolate(kSeismic, t);
}

/// Of 8 bits: red, green, blue.
std::uint32_t Packed(const Rgb& c) {
    const auto byte = [](double x) { return static_cast<std::uint32_t>(std::lround(255 * x)); };
    return byte(c.r) << 16 | byte(c.g) << 8 | byte(c.b);
}

/// What one pixel takes from a row of values: the part of each value that it covers where there are more values than
/// pixels, and the two neighbours of its centre where there are fewer.
struct Tap {
    int first;
    std::vector<float> weights;
};

std::vector<Tap> Taps(int values, int pixels, bool blend) {
    std::vector<Tap> taps;
    const double ratio = static_cast<double>(values) / pixels;
    for (int p = 0; p < pixels; ++p) {
        if (ratio > 1) {
            const double begin = p * ratio, end = std::min<double>((p + 1) * ratio, values);
            Tap tap{static_cast<int>(begin), {}};
            for (int i = tap.first; i < end; ++i)
                tap.weights.push_back(
                    static_cast<float>((std::min(end, i + 1.0) - std::max<double>(begin, i)) / (end - begin)));
            taps.push_back(tap);
        } else if (!blend) {
            taps.push_back({std::min(static_cast<int>((p + 0.5) * ratio), values - 1), {1}});
        } else {
            const double centre = std::clamp((p + 0.5) * ratio - 0.5, 0.0, values - 1.0);
            const int first = std::min(static_cast<int>(centre), std::max(values - 2, 0));
            const auto f = static_cast<float>(centre - first);
            taps.push_back({first, values > 1 ? std::vector<float>{1 - f, f} : std::vector<float>{1}});
        }
    }
    return taps;
}

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

Surface MakeSurface(int width, int height) {
    return {cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), &cairo_surface_destroy};
}

bool UsesDecibels(const ColourRange& range, const Style& style) { return style.decibels > 0 && !range.isSigned; }

/// The map of a panel without its axes.
Surface Map(const Panel& panel, const ColourRange& range, const Style& style, int width, int height) {
    Surface map = MakeSurface(width, height);
    unsigned char* pixels = cairo_image_surface_get_data(map.get());
    if (!pixels) throw std::bad_alloc();
    const int stride = cairo_image_surface_get_stride(map.get());
    std::array<std::uint32_t, 256> table;
    const int shades = range.isSigned && style.colours == Colours::Seismic ? kShadesOfColours : kShades;
    for (int i = 0; i < 256; ++i)
        table[i] = Packed(Colour(std::round(i / 255.0 * (shades - 1)) / (shades - 1), range.isSigned, style.colours));
    const std::vector<Tap> columns = Taps(panel.columns, width, panel.blend), rows = Taps(panel.rows, height, true);
    const bool logarithmic = UsesDecibels(range, style);
    const float scale = 255 / (range.high - range.low), decibels = static_cast<float>(style.decibels);
    for (int x = 0; x < width; ++x) {
        for (int y = 0; y < height; ++y) {
            float value = 0;
            for (std::size_t c = 0; c < columns[x].weights.size(); ++c) {
                const float* column = panel.data + (columns[x].first + static_cast<int>(c)) * panel.columnStep;
                float sum = 0;
                for (std::size_t r = 0; r < rows[y].weights.size(); ++r)
                    sum += rows[y].weights[r] * column[(rows[y].first + static_cast<int>(r)) * panel.rowStep];
                value += columns[x].weights[c] * sum;
            }
            const float linear = (value - range.low) * scale; // shades
            const float wanted = logarithmic ? 255 + 255 / decibels * 20 * std::log10(linear / 255) : linear;
            const float shade =
                std::fmin(std::fmax(wanted, 0.0f), 255.0f); // a range of denormals gives NaN: the low end
            reinterpret_cast<std::uint32_t*>(pixels + std::ptrdiff_t{y} * stride)[x] =
                table[static_cast<std::size_t>(shade + 0.5f)];
        }
    }
    cairo_surface_mark_dirty(map.get());
    return map;
}

/// Writes a picture; false if that fails. What is noise compresses no better after a search of 0.3 s, and worse behind
/// a filter. No object with a destructor may live here: libpng leaves a failure by longjmp.
bool WritePng(std::FILE* out, cairo_surface_t* surface) {
    constexpr int kLevel = 3;
    png_structp png = png_create_write_struct(
        PNG_LIBPNG_VER_STRING, nullptr, [](png_structp p, png_const_charp) { png_longjmp(p, 1); },
        [](png_structp, png_const_charp) {});
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, out);
    png_set_compression_level(png, kLevel);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    const int height = cairo_image_surface_get_height(surface);
    png_set_IHDR(png, info, static_cast<png_uint_32>(cairo_image_surface_get_width(surface)),
                 static_cast<png_uint_32>(height), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_BASE,
                 PNG_FILTER_TYPE_BASE);
    png_write_info(png, info);
    png_set_bgr(png); // as cairo has them, in 32 bits
    png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (int y = 0; y < height; ++y)
        png_write_row(png, cairo_image_surface_get_data(surface) +
                               std::ptrdiff_t{y} * cairo_image_surface_get_stride(surface));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

/// The drawing operations of one picture.
class Sheet {
public:
    /// \param width, height in 1 / 96 inch.
    Sheet(const std::filesystem::path& to, const Style& style, int width, int height)
        : file(to), form(style.form),
          pixelsPerUnit(form == PictureForm::Png ? style.dpi / kUnitsPerInch : kPrintDpi / kUnitsPerInch),
          surface(Make(to, style, width, height)), context(cairo_create(surface.get()), &cairo_destroy) {
        const double unit = form == PictureForm::Png ? style.dpi / kUnitsPerInch : kPointsPerInch / kUnitsPerInch;
        cairo_scale(cr(), unit, unit);
        cairo_set_source_rgb(cr(), 1, 1, 1);
        cairo_paint(cr());
        cairo_select_font_face(cr(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_line_width(cr(), 1);
        Black();
    }

    cairo_t* cr() const { return context.get(); }
    void Black() { cairo_set_source_rgb(cr(), 0.1, 0.1, 0.1); }

    /// `text` with its anchor at (x, y): 0 is its left or top end, 1 its right or bottom end.
    void Text(const std::string& text, double x, double y, double size, double anchorX, double anchorY,
              bool upwards = false) {
        cairo_set_font_size(cr(), size);
        cairo_text_extents_t box;
        cairo_font_extents_t font;
        cairo_text_extents(cr(), text.c_str(), &box);
        cairo_font_extents(cr(), &font);
        cairo_save(cr());
        cairo_move_to(cr(), x, y);
        if (upwards) cairo_rotate(cr(), -std::acos(0.0));
        cairo_rel_move_to(cr(), -anchorX * box.x_advance, font.ascent * (1 - anchorY) - font.descent * anchorY);
        cairo_show_text(cr(), text.c_str());
        cairo_restore(cr());
    }

    void Line(double x0, double y0, double x1, double y1) {
        cairo_move_to(cr(), std::floor(x0) + 0.5, std::floor(y0) + 0.5);
        cairo_line_to(cr(), std::floor(x1) + 0.5, std::floor(y1) + 0.5);
        cairo_stroke(cr());
    }

    void Frame(double x, double y, double w, double h) {
        cairo_rectangle(cr(), std::floor(x) + 0.5, std::floor(y) + 0.5, w, h);
        cairo_stroke(cr());
    }

    /// Pixels of an image for so many units of the sheet: as fine as a PNG is, and fit for print in the other forms.
    int Pixels(double length) const { return std::max(1, static_cast<int>(std::lround(length * pixelsPerUnit))); }

    void Image(cairo_surface_t* image, double x, double y) {
        cairo_save(cr());
        cairo_translate(cr(), x, y);
        cairo_scale(cr(), 1 / pixelsPerUnit, 1 / pixelsPerUnit);
        cairo_set_source_surface(cr(), image, 0, 0);
        cairo_paint(cr());
        cairo_restore(cr());
    }

    void Write() {
        errno = 0;
        if (form == PictureForm::Png)
            cairo_surface_flush(surface.get());
        else
            cairo_surface_finish(surface.get());
        for (const cairo_status_t status : {cairo_surface_status(surface.get()), cairo_status(cr())}) {
            if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
            if (status != CAIRO_STATUS_SUCCESS && errno != 0) throw CantWrite(file);
            if (status != CAIRO_STATUS_SUCCESS)
                throw Refusal("can't write " + file.string() + ": " + cairo_status_to_string(status));
        }
        if (form != PictureForm::Png) return;
        std::FILE* const out = std::fopen(file.c_str(), "wb");
        if (!out) throw CantWrite(file);
        const bool written = WritePng(out, surface.get());
        const int reason = errno; // of the first failure
        const bool closed = std::fclose(out) == 0;
        if (!written) errno = reason;
        if (!written || !closed) throw CantWrite(file);
    }

private:
    static Surface Make(const std::filesystem::path& file, const Style& style, int width, int height) {
        const double points = kPointsPerInch / kUnitsPerInch, pixels = style.dpi / kUnitsPerInch;
        if (style.form == PictureForm::Png)
            return MakeSurface(static_cast<int>(std::lround(width * pixels)),
                               static_cast<int>(std::lround(height * pixels)));
        const auto make = style.form == PictureForm::Svg ? &cairo_svg_surface_create : &cairo_pdf_surface_create;
        return {make(file.c_str(), width * points, height * points), &cairo_surface_destroy};
    }

    std::filesystem::path file;
    PictureForm form;
    double pixelsPerUnit; // of images
    Surface surface;
    Context context;
};

struct PlotSize {
    int width, height;
};

PlotSize SizeOf(const Panel& panel, const Style& style) {
    if (!panel.equalScales) {
        const double exaggeration = Exaggeration(panel, kPlotWidth, kPlotHeight);
        if (style.aspect <= 0 || exaggeration <= 0) return {kPlotWidth, kPlotHeight};
        return {kPlotWidth, static_cast<int>(std::clamp(kPlotHeight * style.aspect / exaggeration, 60.0, 4000.0))};
    }
    const double ratio = std::clamp(panel.rows * panel.down.step / (panel.columns * panel.across.step), 0.2, 5.0);
    return ratio < 1 ? PlotSize{kSquare, static_cast<int>(kSquare * ratio)}
                     : PlotSize{static_cast<int>(kSquare / ratio), kSquare};
}

/// Three digits, and no exponent for the counts of a 32-bit converter.
std::string RoundNumber(double value) {
    const double unit = std::pow(10, std::floor(std::log10(std::max(std::abs(value), 1e-30))) - 2);
    return Number(std::round(value / unit) * unit, 10);
}

void DrawColourBar(Sheet& sheet, const Panel& panel, const ColourRange& range, const Style& style, double x, double y,
                   double height) {
    const bool decibels = UsesDecibels(range, style);
    const ColourRange shown = decibels ? ColourRange{static_cast<float>(-style.decibels), 0, false} : range;
    std::array<float, 256> values;
    for (int i = 0; i < 256; ++i) values[i] = shown.high + (shown.low - shown.high) * static_cast<float>(i) / 255;
    Panel ramp;
    ramp.data = values.data();
    ramp.columns = 1;
    ramp.rows = 256;
    Style plain;
    plain.colours = style.colours;
    constexpr int width = 14;
    sheet.Image(Map(ramp, shown, plain, sheet.Pixels(width), sheet.Pixels(height)).get(), x, y);
    sheet.Frame(x, y, width, height);
    // Round values: those of the middle lie unevenly, if a median isn't 0.
    const Axis values256{"", "", shown.low, (shown.high - shown.low) / 255};
    for (const auto& [at, text] :
         Ticks(Scale(values256, 256, height), 1, std::clamp(static_cast<int>(height / 40), 2, 8))) {
        sheet.Line(x + width, y + height - at, x + width + 4, y + height - at);
        sheet.Text(text, x + width + 7, y + height - at, 12, 0, 0.5);
    }
    const std::string unit = decibels ? "dB below " + RoundNumber(range.high) : panel.unit;
    const std::string clip = panel.range ? "" : range.isSigned ? "clipped at 97 %" : "clipped at 99.5 %";
    sheet.Text(unit + (unit.empty() || clip.empty() ? "" : ", ") + clip, x + width + 62, y + height / 2, 12, 0.5, 0,
               true);
}

/// Each A-scan as a curve to the right of its place where it is positive, filled there.
void DrawWiggles(Sheet& sheet, const Panel& panel, const ColourRange& range, const Scale& across, const Scale& down,
                 double x, double y) {
    constexpr double kApart = 9; // at least, between curves that are drawn
    const int step = std::max(1, static_cast<int>(std::ceil(kApart * panel.columns / across.size)));
    const double reach = 0.9 * step * across.size / panel.columns, middle = (range.low + range.high) / 2.0;
    cairo_save(sheet.cr());
    cairo_rectangle(sheet.cr(), x, y, across.size, down.size);
    cairo_clip(sheet.cr());
    for (int c = step / 2; c < panel.columns; c += step) {
        const double rest = x + across(panel.across.origin + c * panel.across.step);
        const auto trace = [&](bool positive) {
            for (int r = 0; r < panel.rows; ++r) {
                const double value =
                    (panel.data[c * panel.columnStep + r * panel.rowStep] - middle) / (range.high - middle);
                const double at = positive ? std::clamp(value, 0.0, 1.0) : std::clamp(value, -1.0, 1.0);
                cairo_line_to(sheet.cr(), rest + at * reach, y + down(panel.down.origin + r * panel.down.step));
            }
        };
        cairo_move_to(sheet.cr(), rest, y + down(panel.down.origin));
        trace(true);
        cairo_line_to(sheet.cr(), rest, y + down(panel.down.origin + (panel.rows - 1) * panel.down.step));
        cairo_fill(sheet.cr());
        trace(false);
        cairo_set_line_width(sheet.cr(), 0.6);
        cairo_stroke(sheet.cr());
    }
    cairo_restore(sheet.cr());
    cairo_set_line_width(sheet.cr(), 1);
}

void DrawPanel(Sheet& sheet, const Panel& panel, const Style& style, double x, double y, PlotSize size) {
    const ColourRange range = panel.range ? *panel.range : RobustRange(panel);
    const auto [from, to] = panel.Shown();
    const Scale across(panel.across, panel.columns, size.width), down(from, to, size.height);
    const double right = x + size.width, bottom = y + size.height;
    const bool wiggles = style.display == Display::Wiggles && range.isSigned;
    if (wiggles) {
        DrawWiggles(sheet, panel, range, across, down, x, y);
    } else {
        const double head = down(panel.down.origin - panel.down.step / 2),
                     foot = down(panel.down.origin + (panel.rows - 0.5) * panel.down.step);
        const int height = std::max(1, static_cast<int>(std::lround(foot - head)));
        if (height < size.height) { // nothing was recorded there
            cairo_set_source_rgb(sheet.cr(), 0.9, 0.9, 0.9);
            cairo_rectangle(sheet.cr(), x, y, size.width, size.height);
            cairo_fill(sheet.cr());
        }
        sheet.Image(Map(panel, range, style, sheet.Pixels(size.width), sheet.Pixels(height)).get(), x,
                    y + std::round(head));
    }

    if (panel.zeroLine && down(0) > 0 && down(0) < size.height) {
        const double dashes[] = {6, 4};
        cairo_set_dash(sheet.cr(), dashes, 2, 0);
        cairo_set_source_rgb(sheet.cr(), 0.85, 0.30, 0);
        sheet.Line(x, y + down(0), right, y + down(0));
        cairo_set_dash(sheet.cr(), nullptr, 0, 0);
        sheet.Black();
    }
    sheet.Frame(x, y, size.width, size.height);
    sheet.Text(panel.title, x, y - 6, 15, 0, 1);
    for (const auto& [at, text] : Ticks(across, 1, std::max(3, size.width / 90))) {
        sheet.Line(x + at, bottom, x + at, bottom + 6);
        sheet.Text(text, x + at, bottom + 8, 13, 0.5, 0);
    }
    sheet.Text(panel.across.label, x + size.width / 2.0, bottom + 27, 14, 0.5, 0);
    if (const double times = Exaggeration(panel, size.width, size.height); times > 0 && !panel.equalScales)
        sheet.Text("vertical exaggeration " + Number(times, 2), right, bottom + 27, 13, 1, 0);
    for (const auto& [at, text] : Ticks(down, 1, std::max(3, size.height / 40))) {
        sheet.Line(x - 6, y + at, x, y + at);
        sheet.Text(text, x - 9, y + at, 13, 1, 0.5);
    }
    sheet.Text(panel.down.label, x - 70, y + size.height / 2.0, 14, 0.5, 0, true);
    const bool second = !panel.secondLabel.empty();
    if (second) {
        for (const auto& [at, text] : Ticks(down, panel.secondFactor, size.height / 40, panel.secondOrigin)) {
            if (at < down(0) - 0.5) continue; // nothing lies above the surface
            sheet.Line(right, y + at, right + 6, y + at);
            sheet.Text(text, right + 9, y + at, 13, 0, 0.5);
        }
        sheet.Text(panel.secondLabel, right + 52, y + size.height / 2.0, 14, 0.5, 0, true);
    }
    if (!wiggles) DrawColourBar(sheet, panel, range, style, right + (second ? 92 : 18), y, size.height);
}

/// A curve in a frame of the width of a map.
void DrawCurve(Sheet& sheet, const Curve& curve, double x, double y) {
    double low = curve.points.front()[1], high = low;
    for (const auto& [place, value] : curve.points) low = std::min(low, value), high = std::max(high, value);
    if (!(high > low)) low -= 0.5, high += 0.5;
    const double first = curve.points.front()[0], last = curve.points.back()[0];
    const auto across = [&](double place) {
        return x + kPlotWidth * std::log(std::clamp(place, first, last) / first) / std::log(last / first);
    };
    const auto down = [&](double value) { return y + kCurveHeight * (1 - (value - low) / (high - low)); };
    cairo_set_source_rgb(sheet.cr(), 0.85, 0.90, 1);
    cairo_rectangle(sheet.cr(), across(curve.band[0]), y, across(curve.band[1]) - across(curve.band[0]), kCurveHeight);
    cairo_fill(sheet.cr());
    cairo_set_source_rgb(sheet.cr(), 0.2, 0.4, 0.9);
    for (const double mark : curve.marks) sheet.Line(across(mark), y, across(mark), y + kCurveHeight);
    sheet.Black();
    for (const auto& [place, value] : curve.points) cairo_line_to(sheet.cr(), across(place), down(value));
    cairo_set_line_width(sheet.cr(), 2);
    cairo_stroke(sheet.cr());
    cairo_set_line_width(sheet.cr(), 1);
    sheet.Frame(x, y, kPlotWidth, kCurveHeight);
    sheet.Text(curve.title, x, y - 6, 15, 0, 1);
    for (const double place : {1., 2., 3., 4., 5., 6., 8., 10., 12., 15., 20., 30., 50., 80.}) {
        if (place < first || place > last) continue;
        sheet.Line(across(place), y + kCurveHeight, across(place), y + kCurveHeight + 6);
        sheet.Text(Number(place), across(place), y + kCurveHeight + 8, 13, 0.5, 0);
    }
    for (const auto& [at, text] : Ticks(Scale(low, high, kCurveHeight), 1, 5)) {
        sheet.Line(x - 6, y + kCurveHeight - at, x, y + kCurveHeight - at);
        sheet.Text(text, x - 9, y + kCurveHeight - at, 13, 1, 0.5);
    }
}

} // namespace

double Exaggeration(const Panel& panel, double width, double height) {
    const double metres = !panel.secondLabel.empty() ? std::abs(panel.secondFactor) : panel.down.unit == "m" ? 1 : 0;
    if (metres == 0 || panel.across.unit != "m") return 0;
    const auto [from, to] = panel.Shown();
    return height / ((to - from) * metres) / (width / (panel.columns * panel.across.step));
}

std::string Style::Extension() const {
    return form == PictureForm::Png ? ".png" : form == PictureForm::Svg ? ".svg" : ".pdf";
}

std::string Palette(bool isSigned, Colours colours) {
    std::string text;
    for (int i = 0; i < 256; ++i) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%06x", Packed(Colour(i / 255.0, isSigned, colours)) & 0xffffffu);
        text += digits;
    }
    return text;
}

Scale::Scale(const Axis& axis, int count, double pixels)
    : low(axis.origin - axis.step / 2), length(count * axis.step), size(pixels) {}

std::vector<Tick> Ticks(const Scale& scale, double factor, int parts, double origin) {
    const auto [low, high] = std::minmax({origin + scale.low * factor, origin + (scale.low + scale.length) * factor});
    const double step = RoundStep(high - low, parts);
    std::vector<Tick> ticks;
    for (double i = std::ceil(low / step); i * step <= high; ++i)
        ticks.push_back({scale((i * step - origin) / factor), Number(i * step == 0 ? 0.0 : i * step, 6)});
    return ticks;
}

double RoundStep(double length, int parts) {
    const double least = length / parts, power = std::pow(10, std::floor(std::log10(least)));
    for (const double digit : {1.0, 2.0, 5.0})
        if (digit * power >= least * (1 - 1e-9)) return digit * power;
    return 10 * power;
}

ColourRange RobustRange(const Panel& panel) {
    constexpr std::int64_t kEnough = 500000; // values that settle a percentile
    const std::int64_t count = std::int64_t{panel.columns} * panel.rows, stride = (count + kEnough - 1) / kEnough;
    std::vector<float> values;
    for (std::int64_t i = 0; i < count; i += stride)
        values.push_back(panel.data[i / panel.rows * panel.columnStep + i % panel.rows * panel.rowStep]);
    const auto percentile = [&](double part) {
        const auto place = values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), place, values.end());
        return *place;
    };
    // Rounding leaves a normalised image a hair below 0.
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    const bool isSigned = *lowest < -1e-6f * *highest;
    if (!isSigned) {
        const float high = percentile(0.995);
        return {0, high > 0 ? high : 1, false};
    }
    const float median = percentile(0.5);
    for (float& value : values) value = std::abs(value - median);
    const float reach = percentile(0.97);
    const float half = reach > 0 ? reach : 1;
    return {median - half, median + half, true};
}

void DrawPicture(const std::filesystem::path& file, const std::string& title, const std::vector<Panel>& panels,
                 int panelsPerRow, const Style& style, const Curve* curve) {
    PlotSize plot{0, 0};
    bool second = false;
    for (const Panel& panel : panels) {
        const PlotSize own = SizeOf(panel, style);
        plot = {std::max(plot.width, own.width), std::max(plot.height, own.height)};
        second = second || !panel.secondLabel.empty();
    }
    const int count = static_cast<int>(panels.size()), columns = std::min(count, panelsPerRow);
    const double cellWidth = kLeft + plot.width + (second ? kRightSecond : kRightPlain);
    const double cellHeight = kTop + plot.height + kBottom;
    const double caption = kTitle + kCaption * static_cast<double>(style.caption.size());
    const double head = caption + (curve ? kTop + kCurveHeight + kBottom : 0);
    Sheet sheet(file, style, static_cast<int>(columns * cellWidth),
                static_cast<int>(head + (count + columns - 1) / columns * cellHeight));
    sheet.Text(title, kLeft, 12, 18, 0, 0);
    for (std::size_t i = 0; i < style.caption.size(); ++i)
        sheet.Text(style.caption[i], kLeft, 38 + kCaption * static_cast<double>(i), 13, 0, 0);
    if (curve) DrawCurve(sheet, *curve, kLeft, caption + kTop);
    for (int i = 0; i < count; ++i)
        DrawPanel(sheet, panels[i], style, i % columns * cellWidth + kLeft, head + i / columns * cellHeight + kTop,
                  SizeOf(panels[i], style));
    sheet.Write();
}

} // namespace tzmchain
