#pragma once

#include <pybind11/numpy.h>

#include <string>
#include <tuple>
#include <vector>

#include "Recording/Recording.h"

namespace tzmpy {

/// A recording as Python has it.
struct Block : TZM::Recording {
    Block() = default;
    explicit Block(TZM::Recording recording) : Recording(std::move(recording)) {}

    bool writable = true;            ///< its samples may be changed through the view
    pybind11::object array;          ///< the view of its samples, made when it is first asked for
    std::string recipe;              ///< JSON, of the run that gave it; else empty
    std::vector<std::string> report; ///< what the run told, a line each
};

/// A block of samples that an array holds: the array itself where it is of 32-bit floats in C order, else a copy of it.
struct Input {
    pybind11::array_t<float> array; ///< bscans, ascans, samples; the first ones may be missing
    TZM::Dimensions size;
    TZM::Samples samples;
};

/// ValueError for what isn't an array of one to three dimensions of real numbers, or is empty, or too large.
Input InputOf(const pybind11::object& block);

/// The samples of a recording as an array, which keeps them alive. \param dimensions of bscans, ascans, samples; the
/// first ones may be missing
pybind11::array_t<float> ArrayOf(const TZM::Recording& recording, int dimensions = 3);

/// A recording without samples. \param shape bscans, ascans, samples; ValueError for sizes below 1 and what doesn't fit
Block AboutOf(const std::tuple<int, int, int>& shape, const pybind11::dict& fields);

/// Adds the class Recording.
void BindRecording(pybind11::module_& module);

} // namespace tzmpy
