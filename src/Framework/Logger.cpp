#include "Framework/Logger.h"

#include <cstdio>
#include <ctime>
#include <iterator>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace TZM {

namespace {

/// The locale of the user's environment; the classic one if that names one that doesn't exist.
std::locale UserLocale() {
    try {
        return std::locale("");
    } catch (const std::runtime_error&) {
        return std::locale::classic();
    }
}

std::string LogLine(const char* text) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const std::locale locale = UserLocale();
    std::ostringstream line;
    line.imbue(locale); // the facet writes in the locale of the stream that it is given
    line << "Log (";
    std::use_facet<std::time_put<char>>(locale).put(std::ostreambuf_iterator<char>(line), line, ' ', &local, 'X');
    line << "): " << text;
    return line.str();
}

Logger::Sink& ActiveSink() {
    static Logger::Sink sink;
    return sink;
}

} // namespace

Logger::Sink Logger::SetSink(Sink sink) { return std::exchange(ActiveSink(), std::move(sink)); }

Logger* Logger::GetInstance() {
    static Logger instance;
    return &instance;
}

void Logger::LogText(const char* text) {
    try {
        const std::string line = LogLine(text ? text : "");
        if (ActiveSink())
            ActiveSink()(line);
        else
            std::fputs(line.c_str(), stderr);
    } catch (...) { // a line that can't be written is no reason for a computation to fail
    }
}

void Logger::LogError(const char* text) {
    try {
        errorList.emplace_back(text ? text : "");
    } catch (...) { // out of memory: the line below may still come through
    }
    LogText(text);
}

void Logger::ClearErrorList() { std::deque<std::string>().swap(errorList); }

} // namespace TZM
