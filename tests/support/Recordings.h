#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "Recording/Format.h"
#include "Recording/Refusal.h"

namespace TZM {

/// 3 x 2 x 5 with element i = i.
inline Recording Counting() {
    Recording recording;
    recording.size = {3, 2, 5};
    recording.deltaT = 1.5625e-11;
    recording.deltaX = 0.008466666602071127;
    recording.data = AllocateSamples(recording.size.Count());
    for (int i = 0; i < 30; ++i) recording.data[i] = static_cast<float>(i);
    return recording;
}

/// The one line of the error that a call ends in, or "none".
template <class Error = Refusal, class Call>
std::string RefusalOf(const Call& call) {
    try {
        call();
    } catch (const Error& refusal) {
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos);
        return refusal.what();
    }
    return "none";
}

inline std::string RefusalOf(const std::filesystem::path& file) {
    return RefusalOf<FormatError>([&] { ReadRecording(file); });
}

} // namespace TZM
