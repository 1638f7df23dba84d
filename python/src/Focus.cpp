// The permittivity with which diffractions focus.
#include "Focus/FindPermittivity.h"

#include <pybind11/stl.h>

#include "Block.h"
#include "Framework/Cancelled.h"
#include "Run.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

py::dict Find(const Block& block, double from, double to, int count, std::optional<double> timeZero,
              py::object progress) {
    const Turn turn;
    Watch watch(std::move(progress));
    FocusOptions options{from, to, count, timeZero, [&](double share) { return watch(0, share); }};
    const PermittivityFocus focus = Released(watch, [&] {
        if (!watch(0, 0)) throw Exception::Cancelled(); // however short the search is, it may be refused
        return FindPermittivity(block, options);
    });
    PassLogOn();
    py::array_t<double> curve({static_cast<py::ssize_t>(focus.curve.size()), py::ssize_t{3}});
    auto rows = curve.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < rows.shape(0); ++i) {
        const FocusPoint& point = focus.curve[static_cast<std::size_t>(i)];
        rows(i, 0) = point.permittivity, rows(i, 1) = point.focus, rows(i, 2) = point.entropy;
    }
    py::list windows;
    for (const FocusWindow& w : focus.windows)
        windows.append(py::dict(py::arg("bscan") = w.bscan,
                                py::arg("ascans") = py::make_tuple(w.ascanBegin, w.ascanEnd),
                                py::arg("samples") = py::make_tuple(w.sampleBegin, w.sampleEnd),
                                py::arg("weight") = w.weight, py::arg("permittivity") = w.permittivity));
    return py::dict(py::arg("verdict") = WordOf(focus.verdict), py::arg("reason") = focus.reason,
                    py::arg("permittivity") = focus.permittivity, py::arg("error") = focus.error,
                    py::arg("other") = focus.other, py::arg("by_entropy") = focus.byEntropy,
                    py::arg("contrast") = focus.contrast, py::arg("chance") = focus.chance,
                    py::arg("time_zero") = focus.timeZero, py::arg("curve") = curve, py::arg("windows") = windows);
}

} // namespace

void BindFocus(py::module_& module) {
    module.def("find_permittivity", &Find, py::arg("recording"), py::arg("low"), py::arg("high"), py::arg("count"),
               py::arg("time_zero"), py::arg("progress"));
}

} // namespace tzmpy
