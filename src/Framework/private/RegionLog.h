#pragma once

#include <string>

#include "Framework/Logger.h"

namespace TZM {

// The logger takes no lock. What may write to it from several threads, within a parallel loop or because a host runs
// two algorithms at once, goes through one critical section of the process.

inline void LogFromRegion(const std::string& text) {
#pragma omp critical(TZMLog)
    Logger::GetInstance()->LogText(text.c_str());
}

inline void LogErrorFromRegion(const std::string& text) {
#pragma omp critical(TZMLog)
    Logger::GetInstance()->LogError(text.c_str());
}

} // namespace TZM
