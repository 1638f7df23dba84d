#pragma once

#include "Picture.h"
#include "Scene.h"
#include "Views.h"

#include "Chain/Chain.h"
#include "Recording/Format.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tzmchain {

constexpr std::uint64_t kReportBytes = std::uint64_t{24} << 20;

/// What the commands `run` and `demo` are told on the command line.
struct JobOptions {
    std::vector<std::filesystem::path> inputs; ///< of `run`
    std::filesystem::path out;
    std::filesystem::path chain; ///< empty: the standard chain of the recording
    std::filesystem::path configuration;
    std::filesystem::path calibration;
    TZM::ReadOptions reading;
    TZM::GivenNumbers numbers;
    bool searchTimeZero = false;           ///< in the image, whatever the recording tells
    bool searchPermittivity = false;       ///< likewise
    std::optional<std::string> background; ///< of the standard chain
    std::optional<std::string> migration;  ///< likewise
    std::optional<std::string> preset;     ///< likewise
    std::optional<bool> signedImage;       ///< likewise
    std::optional<double> frequency;       ///< MHz, nominal one of the antenna
    int threads = 0;                       ///< 0: as many as the OpenMP runtime takes
    bool place = false;                    ///< the image lies where the recording's positions are
    std::uint64_t memory = 0;              ///< bytes that blocks may take; 0: half of what is free
    Style style;
    Lines lines;
    bool report = true;                       ///< report.html is written
    std::uint64_t reportBytes = kReportBytes; ///< its size
    bool quiet = false;
};

/// Reads a recording, runs the chain on it and writes image, pictures and recipe: all of them, or none and a Refusal.
void Run(const JobOptions& options);

/// Records a scene, writes it to the output folder, too, and runs the chain on it.
void Demo(const JobOptions& options, const Scene& scene);

} // namespace tzmchain
