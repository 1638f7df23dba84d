// What builds steps of one's own: envelopes, windows, filters.
#include <pybind11/stl.h>

#include <algorithm>
#include <optional>

#include "Array/Array.h"
#include "Array/Primitives/Checked.h"
#include "Array/Primitives/Hilbert.h"
#include "Array/TransformStates.h"
#include "Block.h"
#include "Framework/private/ParallelFor.h"
#include "Run.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

constexpr int kRowsAtOnce = 64;
constexpr int kLongestEnvelope = 65536;
constexpr int kHighestOrder = 12;
constexpr int kLongestWindow = 1 << 28;

/// An output of a block's shape.
Recording Like(const Input& input) {
    Recording output;
    output.size = input.size;
    output.data = AllocateSamples(input.size.Count());
    return output;
}

py::object HilbertEnvelope(const py::object& block) {
    const Input input = InputOf(block);
    const int samples = input.size.samples;
    if (samples > kLongestEnvelope)
        throw py::value_error("an envelope has at most " + std::to_string(kLongestEnvelope) + " samples");
    Recording output;
    Watch watch{py::none()};
    Released(watch, [&] {
        output = Like(input);
        const IPP::HilbertState state(samples, 1);
        const std::int64_t rows = std::int64_t{input.size.ascans} * input.size.bscans;
        const auto work = [&] { return IPP::Array<float>(int(IPP::HilbertEnvelopesWorkSize(state.Get()))); };
        ParallelFor(int((rows + kRowsAtOnce - 1) / kRowsAtOnce), work, [&](int i, IPP::Array<float>& own) {
            const std::int64_t first = std::int64_t{i} * kRowsAtOnce;
            IPP::Checked::Check(IPP::HilbertEnvelopes(input.samples.get() + first * samples, samples,
                                                      output.data.get() + first * samples, samples,
                                                      int(std::min<std::int64_t>(kRowsAtOnce, rows - first)),
                                                      state.Get(), own.data),
                                "the envelope can't be had");
        });
    });
    return ArrayOf(output, int(input.array.ndim()));
}

py::array_t<float> Window(const std::string& kind, int length, double parameter) {
    if (length < 3 || length > kLongestWindow)
        throw py::value_error("a window has 3 to " + std::to_string(kLongestWindow) + " elements");
    py::array_t<float> weights(length);
    float* const w = weights.mutable_data();
    std::fill_n(w, length, 1.f);
    const auto alpha = static_cast<float>(parameter);
    IPP::IppStatus status = IPP::ippStsNoErr;
    if (kind == "hamming")
        status = IPP::ippsWinHamming_32f_I(w, length);
    else if (kind == "hann")
        status = IPP::ippsWinHann_32f_I(w, length);
    else if (kind == "bartlett")
        status = IPP::ippsWinBartlett_32f_I(w, length);
    else if (kind == "blackman")
        status = IPP::ippsWinBlackman_32f_I(w, length, alpha);
    else if (kind == "kaiser")
        status = IPP::ippsWinKaiser_32f_I(w, length, alpha);
    else
        throw py::value_error("windows are hamming, hann, bartlett, blackman and kaiser, not \"" + kind + "\"");
    if (status != IPP::ippStsNoErr) throw py::value_error("no such window can be had with that parameter");
    return weights;
}

py::tuple IirDesign(const std::string& kind, double frequency, int order, std::optional<double> ripple) {
    if (kind != "highpass" && kind != "lowpass") throw py::value_error("a filter is a highpass or a lowpass");
    if (order < 1 || order > kHighestOrder) throw py::value_error("the order lies within 1 and 12");
    if (!(frequency > 0 && frequency < 0.5))
        throw py::value_error("the frequency is a part of the sampling rate, above 0 and below 0.5");
    py::array_t<double> b(order + 1), a(order + 1);
    std::vector<double> taps(2 * static_cast<std::size_t>(order) + 2);
    const auto design = kind == "highpass" ? IPP::ippsIIRGenHighpass_64f : IPP::ippsIIRGenLowpass_64f;
    if (design(frequency, ripple.value_or(0), order, taps.data(), ripple ? 1 : 0) != IPP::ippStsNoErr)
        throw py::value_error("no such filter can be had");
    std::copy_n(taps.begin(), order + 1, b.mutable_data());
    std::copy_n(taps.begin() + order + 1, order + 1, a.mutable_data());
    return py::make_tuple(b, a);
}

py::object FilterZeroPhase(const py::array_t<double, py::array::forcecast>& b,
                           const py::array_t<double, py::array::forcecast>& a, const py::object& block) {
    if (b.ndim() != 1 || a.ndim() != 1 || b.size() != a.size() || b.size() < 2 || b.size() > kHighestOrder + 1)
        throw py::value_error("b and a have one axis, and as many elements, 2 to 13");
    const auto count = static_cast<std::size_t>(b.size());
    std::vector<double> taps(2 * count);
    for (std::size_t i = 0; i < count; ++i) taps[i] = b.at(py::ssize_t(i)), taps[count + i] = a.at(py::ssize_t(i));
    const Input input = InputOf(block);
    Recording output;
    Watch watch{py::none()};
    Released(watch, [&] {
        output = Like(input);
        const int samples = input.size.samples, order = int(count) - 1;
        const IPP::Array<double> view(taps.data(), int(taps.size()));
        const std::int64_t rows = std::int64_t{input.size.ascans} * input.size.bscans;
        ParallelFor(int((rows + kRowsAtOnce - 1) / kRowsAtOnce), [&](int i) {
            for (std::int64_t r = std::int64_t{i} * kRowsAtOnce;
                 r < std::min(rows, (std::int64_t{i} + 1) * kRowsAtOnce); ++r) {
                IPP::Array<float> row(output.data.get() + r * samples, samples);
                std::copy_n(input.samples.get() + r * samples, samples, row.data);
                row.FilterZeroPhase(view, order);
            }
        });
    });
    return ArrayOf(output, int(input.array.ndim()));
}

} // namespace

void BindArrayLayer(py::module_& module) {
    module.def("hilbert_envelope", &HilbertEnvelope, py::arg("block"));
    module.def("window", &Window, py::arg("kind"), py::arg("length"), py::arg("parameter"));
    module.def("iir_design", &IirDesign, py::arg("kind"), py::arg("frequency"), py::arg("order"), py::arg("ripple"));
    module.def("filter_zero_phase", &FilterZeroPhase, py::arg("b"), py::arg("a"), py::arg("block"));
}

} // namespace tzmpy
