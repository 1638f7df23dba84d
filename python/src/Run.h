#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <exception>
#include <optional>
#include <string>

#include "Chain/Chain.h"

namespace tzmpy {

/// The turn of a run: documents and intervals belong to the process, so that one runs at a time. While it waits, the
/// interpreter goes on, and Ctrl-C is heard. RuntimeError within a run of the same thread.
class Turn {
public:
    Turn();
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
};

/// Configuration and calibration documents of the process while it lives; needs the turn. None leaves what is there.
/// ValueError for text that isn't JSON.
class Documents {
public:
    Documents(const pybind11::object& configuration, const pybind11::object& calibration);
    ~Documents();
    Documents(const Documents&) = delete;
    Documents& operator=(const Documents&) = delete;

private:
    std::string configurationBefore, calibrationBefore;
};

/// Listens for Ctrl-C and tells a Python function how far a run is, from the thread that runs without the interpreter's
/// lock.
class Watch {
public:
    /// \param tell None, or a function of (step, fraction); False ends the run
    explicit Watch(pybind11::object tell);
    bool operator()(std::size_t step, double fraction);
    /// Throws what ended the run, if it was Ctrl-C or what the function raised. Needs the interpreter's lock.
    void Rethrow() const;

private:
    pybind11::object callback;
    std::exception_ptr failure;
    std::chrono::steady_clock::time_point last;
};

/// Runs work without the interpreter's lock while a watch listens. What is thrown comes as a Python exception.
template <class Work>
auto Released(Watch& watch, Work&& work) {
    try {
        const pybind11::gil_scoped_release released;
        return work();
    } catch (const pybind11::error_already_set&) {
        throw;
    } catch (...) {
        watch.Rethrow();
        throw;
    }
}

/// Hands lines of the library's log on to the module logging. Needs the interpreter's lock.
void PassLogOn();

/// Sends lines of the library's log where PassLogOn finds them.
void KeepLog();

void BindErrors(pybind11::module_& module);
void BindRun(pybind11::module_& module);
void BindFocus(pybind11::module_& module);
void BindParts(pybind11::module_& module);
void BindArrayLayer(pybind11::module_& module);

} // namespace tzmpy
