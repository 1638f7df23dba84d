#include "Framework/CalcError.h"
#include "Framework/Cancelled.h"
#include "Run.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

/// Raises a class of tzm.errors.
template <class... Arguments>
void Raise(const char* name, Arguments&&... arguments) {
    const py::object kind = py::module_::import("tzm.errors").attr(name);
    PyErr_SetObject(kind.ptr(), kind(std::forward<Arguments>(arguments)...).ptr());
}

void Translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const ChainError& error) {
        if (error.code != 0)
            Raise("CalcError", error.what(), error.code, error.step);
        else if (!error.parameter.empty())
            Raise("ParameterError", error.what());
        else
            PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const Exception::CalcError& error) {
        Raise("CalcError", error.GetMessage(), error.GetCode(), "");
    } catch (const IPP::Exception& error) {
        Raise("CalcError", error.GetMessage(), 99, "");
    } catch (const FormatError& error) {
        Raise("FormatError", error.what());
    } catch (const Refusal& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const Exception::Cancelled& error) {
        Raise("Cancelled", error.what());
    }
}

} // namespace

void BindErrors(py::module_&) { py::register_exception_translator(&Translate); }

} // namespace tzmpy
