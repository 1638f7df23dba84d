#include "Run.h"

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>

#include "Framework/Logger.h"
#include "Json.h"
#include "Recording/private/Text.h"

namespace tzmpy {

namespace py = pybind11;
using namespace TZM;

namespace {

constexpr std::chrono::milliseconds kListen{50}; ///< between two looks at Ctrl-C

std::timed_mutex turnMutex;
std::atomic<std::thread::id> runner;

/// The documents of the process.
struct ProcessDocuments : AlgoBase {
    static std::string& Configuration() { return jsonConfig; }
    static std::string& Calibration() { return jsonCalibration; }
};

struct Lines {
    static constexpr std::size_t kMost = 10000;
    std::mutex mutex;
    std::deque<std::string> lines;
};

Lines& KeptLines() {
    static auto* const lines = new Lines; // the library may write when statics are gone
    return *lines;
}

void TakeDocument(const py::object& document, std::string& text, const char* name) {
    if (document.is_none()) return;
    if (!py::isinstance<py::str>(document)) {
        text = JsonText(ToJson(document, name));
        return;
    }
    const auto given = document.cast<std::string>();
    ParseJson(given, name);
    text = given;
}

} // namespace

Turn::Turn() {
    if (runner == std::this_thread::get_id())
        throw std::runtime_error("a run can't begin within the progress of another one");
    while (!turnMutex.try_lock()) {
        bool mine = false;
        {
            const py::gil_scoped_release released;
            mine = turnMutex.try_lock_for(kListen);
        }
        if (mine) break;
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    }
    runner = std::this_thread::get_id();
}

Turn::~Turn() {
    runner = std::thread::id();
    turnMutex.unlock();
}

Documents::Documents(const py::object& configuration, const py::object& calibration)
    : configurationBefore(ProcessDocuments::Configuration()), calibrationBefore(ProcessDocuments::Calibration()) {
    std::string one = configurationBefore, other = calibrationBefore;
    TakeDocument(configuration, one, "config");
    TakeDocument(calibration, other, "calibration");
    ProcessDocuments::Configuration().swap(one);
    ProcessDocuments::Calibration().swap(other);
}

Documents::~Documents() {
    ProcessDocuments::Configuration().swap(configurationBefore);
    ProcessDocuments::Calibration().swap(calibrationBefore);
}

Watch::Watch(py::object tell) : callback(std::move(tell)), last(std::chrono::steady_clock::now()) {}

bool Watch::operator()(std::size_t step, double fraction) {
    const bool tells = !callback.is_none();
    const auto now = std::chrono::steady_clock::now();
    if (now - last < kListen && !(tells && (fraction == 0 || fraction == 1))) return true;
    last = now;
    const py::gil_scoped_acquire gil;
    try {
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        if (!tells) return true;
        const py::object answer = callback(step, fraction);
        return !(py::isinstance<py::bool_>(answer) && !answer.cast<bool>());
    } catch (...) {
        failure = std::current_exception();
        return false;
    }
}

void Watch::Rethrow() const {
    if (failure) std::rethrow_exception(failure);
}

void KeepLog() {
    Logger::SetSink([](const std::string& line) {
        const std::lock_guard<std::mutex> lock(KeptLines().mutex);
        auto& lines = KeptLines().lines;
        if (lines.size() == Lines::kMost) lines.pop_front();
        lines.push_back(line);
    });
}

void PassLogOn() {
    std::deque<std::string> lines;
    {
        const std::lock_guard<std::mutex> lock(KeptLines().mutex);
        lines.swap(KeptLines().lines);
    }
    if (lines.empty()) return;
    const py::object info = py::module_::import("logging").attr("getLogger")("tzm").attr("info");
    for (const std::string& line : lines) info("%s", OneLine(line));
}

} // namespace tzmpy
