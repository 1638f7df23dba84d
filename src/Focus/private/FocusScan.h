#pragma once

#include <optional>
#include <vector>

#include "Algorithms/Migration/HalfSpectrum.h"
#include "Algorithms/Migration/StoltTables.h"
#include "Focus/private/DiffractedLine.h"

namespace TZM {

/// Sums over the energy E = e^2 of a window of an image.
struct WindowSums {
    double energy = 0;  ///< of E
    double squares = 0; ///< of E^2
    double entropy = 0; ///< of E log2 E
    int samples = 0;

    double Focus() const;   ///< log(N sum E^2 / (sum E)^2); that of noise if there is nothing
    double Entropy() const; ///< log N - entropy of E / sum E
};

/// A share of a period that the direct wave takes between the antennas of a ground-coupled pair whose distance isn't
/// known.
inline constexpr double kUsualAntennaDelay = 0.25;

/// A diffracted line that is migrated again and again: its spectrum is made once, as far as it holds more than noise,
/// and white there; each migration has no more depths than that needs.
class FocusScan {
public:
    /// Where the windows are cut, in A-scans and depths of the image.
    struct Windows {
        std::vector<int> ascans, depths;
        int Count() const { return static_cast<int>((ascans.size() - 1) * (depths.size() - 1)); }
    };

    /// \param antennaDelay samples that the direct wave takes between the antennas, in air; none: a usual share of a
    /// period.
    FocusScan(const DiffractedLine& line, double deltaT, double deltaX, std::optional<double> antennaDelay);

    const Windows& Cuts() const { return windows; }
    double SamplesPerDepth() const { return static_cast<double>(longNt) / nt; } ///< of the line

    /// Samples of the line from time zero to the middle of a window.
    double Time(int window) const {
        const int down = static_cast<int>(windows.depths.size()) - 1, d = window % down;
        return (windows.depths[d] + windows.depths[d + 1]) / 2. * SamplesPerDepth();
    }

    /// By how much the logarithm of the permittivity that focuses a window exceeds that of the ground.
    double Lean(int window, double permittivity) const;

    /// Work memory of a thread.
    struct Work {
        explicit Work(const FocusScan& scan);
        HalfSpectrum spectrum;
        IPP::Array2D<float> energy;
        std::vector<float> column;
    };

    /// The mapping for one permittivity, for all trials of it.
    StoltTables Tables(double permittivity) const;

    /// Migrates the line and adds up its windows. \param ahead samples of the line by which time zero is moved down.
    /// \param backwards plays the line backwards. \param sums of all windows
    void Migrate(const StoltTables& tables, double ahead, bool backwards, Work& work, WindowSums* sums) const;

private:
    std::vector<double> Power() const;
    std::vector<double> SignalOf(const std::vector<double>& power, const DiffractedLine& line) const;
    void Load(double ahead, bool backwards, HalfSpectrum& to) const;

    int ascans, samples; ///< of the line
    double deltaT, deltaX;
    int longNt, nx;
    HalfSpectrum record;
    int nt = 0;              ///< of the shorter transform
    int depths = 0;          ///< of the images
    int last = 0;            ///< the highest frequency, in bins
    double period = 0;       ///< of the middle frequency, in samples of the line
    double antennaDelay = 0; ///< in samples of the line
    Windows windows;
};

} // namespace TZM
