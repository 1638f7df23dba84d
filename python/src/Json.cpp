#include "Json.h"

#include <cmath>
#include <string>

namespace tzmpy {

namespace py = pybind11;

namespace {

constexpr int kDeepest = 100;

Json::Value Whole(const py::handle& value, const char* what) {
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow != 0) throw py::value_error(std::string(what) + ": a whole number is beyond 64 bits");
    if (number == -1 && PyErr_Occurred()) throw py::error_already_set();
    return Json::Value(Json::Int64{number});
}

} // namespace

Json::Value ToJson(const py::handle& value, const char* what, int depth) {
    if (depth > kDeepest) throw py::value_error(std::string(what) + " is nested too deep");
    if (value.is_none()) return {};
    if (PyBool_Check(value.ptr())) return value.cast<bool>();
    if (PyLong_Check(value.ptr())) return Whole(value, what);
    if (PyFloat_Check(value.ptr())) {
        const double number = value.cast<double>();
        if (!std::isfinite(number)) throw py::value_error(std::string(what) + ": a number must be finite");
        return number;
    }
    if (PyUnicode_Check(value.ptr())) return value.cast<std::string>();
    if (PyDict_Check(value.ptr())) {
        Json::Value object(Json::objectValue);
        for (const auto& [key, member] : py::reinterpret_borrow<py::dict>(value))
            object[py::str(key).cast<std::string>()] = ToJson(member, what, depth + 1);
        return object;
    }
    if (PyList_Check(value.ptr()) || PyTuple_Check(value.ptr())) {
        Json::Value list(Json::arrayValue);
        for (const py::handle& element : value) list.append(ToJson(element, what, depth + 1));
        return list;
    }
    if (py::hasattr(value, "tolist")) return ToJson(value.attr("tolist")(), what, depth + 1); // NumPy
    if (py::hasattr(value, "__fspath__")) return py::str(value).cast<std::string>();
    throw py::value_error(std::string(what) + ": " + py::repr(value).cast<std::string>() + " can't be used here");
}

py::object FromJson(const Json::Value& value) {
    switch (value.type()) {
    case Json::nullValue: return py::none();
    case Json::booleanValue: return py::bool_(value.asBool());
    case Json::intValue: return py::int_(value.asInt64());
    case Json::uintValue: return py::int_(value.asUInt64());
    case Json::realValue: return py::float_(value.asDouble());
    case Json::stringValue: return py::str(value.asString());
    case Json::arrayValue: {
        py::list list;
        for (const Json::Value& element : value) list.append(FromJson(element));
        return std::move(list);
    }
    case Json::objectValue: break;
    }
    py::dict object;
    for (const std::string& member : value.getMemberNames()) object[py::str(member)] = FromJson(value[member]);
    return std::move(object);
}

} // namespace tzmpy
