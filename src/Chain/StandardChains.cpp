#include "Chain/Chain.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "Recording/private/Text.h"

namespace TZM {

const std::vector<ChainPreset>& ChainPresets() {
    static const std::vector<ChainPreset> presets{
        {"concrete", "bars, ducts and the back wall of a slab", 1500, 1, true, false, 1, 0.5, 0, 0},
        {"utility", "pipes and cables in the street", 400, 10, false, false, 1, 0, 0, 0},
        {"geology", "layers and bedrock", 50, 100, false, true, 0, 0, 5, 0.005},
    };
    return presets;
}

namespace {

/// Of an array that the algorithms for five and seven channels know. What a recording tells of its channels counts.
bool HasChannels(const Recording& recording) {
    const std::size_t told = recording.channels.size();
    return (told == 0 || told == 5 || told == 7) && (recording.size.bscans % 5 == 0 || recording.size.bscans % 7 == 0);
}

/// MHz of the first number that has MHz or GHz behind it: 400 of "400MHz", 1600 of "1.5/1.6 GHz"; 0 if there is none.
double MegahertzIn(const std::string& text) {
    constexpr const char* kDigits = ".0123456789";
    for (std::size_t unit = text.find("Hz"); unit != std::string::npos; unit = text.find("Hz", unit + 1)) {
        const char prefix = unit > 0 ? text[unit - 1] : ' ';
        const std::size_t end = unit > 1 ? text.find_last_not_of(' ', unit - 2) : std::string::npos;
        if ((prefix != 'M' && prefix != 'G') || end == std::string::npos) continue;
        const std::size_t first = text.find_last_not_of(kDigits, end) + 1; // npos + 1 is 0
        double number = 0;
        const auto read = std::from_chars(text.data() + first, text.data() + end + 1, number);
        if (read.ec == std::errc() && number > 0 && number < 1e6) return prefix == 'G' ? 1000 * number : number;
    }
    return 0;
}

/// MHz; 0 if nobody knows it. Instruments name their channels after the antenna.
double FrequencyOf(const Recording& recording, const ChainChoice& choice, const ChainPreset* preset) {
    if (choice.frequency) {
        if (*choice.frequency > 0) return *choice.frequency;
        throw ChainError("the frequency of an antenna is above 0 MHz");
    }
    for (const std::string& channel : recording.channels)
        if (const double frequency = MegahertzIn(channel); frequency > 0) return frequency;
    return preset ? preset->frequency : 0.;
}

/// The algorithm; a volume where all channels' lines have places.
std::string MigrationOf(const Recording& recording, const ChainChoice& choice, bool array) {
    if (!choice.migration.empty()) return choice.migration;
    return array && (recording.lineSpacing || choice.lineSpacing) ? "ArrayMigration" : "FkMigration";
}

const ChainPreset* PresetOf(const ChainChoice& choice) {
    if (!choice.preset) return nullptr;
    std::vector<std::string> known;
    for (const ChainPreset& preset : ChainPresets()) {
        if (preset.name == *choice.preset) return &preset;
        known.push_back(preset.name);
    }
    throw ChainError("\"" + *choice.preset + "\" is no preset; known are " + Joined(known));
}

/// What lies below and above the antenna's band goes: two of its periods are a window that keeps its wavelets, and it
/// transmits from about half to twice its nominal frequency. \param frequency MHz, 0 if nobody knows it
void AddFilters(Chain& chain, const Recording& recording, double frequency) {
    constexpr double kPeriods = 2, kSamples = 50; // that instruments have of two periods, as a rule
    chain.Add("Dewow").Set("window", frequency > 0 ? 1e3 * kPeriods / frequency : 1e9 * kSamples * recording.deltaT);
    if (frequency <= 0) return;
    Step& band = chain.Add("BandPass");
    band.Set("low", frequency / 2);
    band.Set("high", 2 * frequency);
}

/// \param preset null: one level for the whole of every line
void AddSlidingBackground(Chain& chain, const Recording& recording, const ChainPreset* preset) {
    Step& background = chain.Add("SlidingBackground");
    background.Set("window", preset ? preset->backgroundWindow : 2 * recording.size.ascans * recording.deltaX);
    background.Set("median", preset && preset->backgroundMedian);
}

/// \param preset null: what spreads over a sphere loses its amplitude with the time
void AddGainOverTime(Chain& chain, const ChainPreset* preset, double frequency) {
    if (preset && preset->agcPeriods > 0) {
        Step& gain = chain.Add("Agc");
        gain.Set("window", 1e3 * preset->agcPeriods / frequency);
        gain.Set("floor", preset->agcFloor);
    } else {
        Step& gain = chain.Add("TimeGain");
        gain.Set("power", preset ? preset->gainPower : 1.);
        gain.Set("rate", preset ? preset->gainRate : 0.);
    }
}

} // namespace

// Offsets go first, since the detection compares counts with a threshold. Levels come ahead of the bistatic correction:
// that crushes the direct wave of the bistatic channels, so that behind it the energy of traces with a direct wave
// would be compared with that of traces without. Of an array only the surface is taken out for background: what takes
// out more would take bars along the scan with it.
Chain Chain::Standard(const Recording& recording, const ChainChoice& choice) {
    const bool channels = HasChannels(recording), array = channels && !recording.oneAntennaPair;
    const bool known = recording.timeZero || choice.timeZero;
    const std::string migration = MigrationOf(recording, choice, array);
    const AlgorithmInfo* info = FindAlgorithm(migration);
    if (!info || !info->migrates) throw ChainError("\"" + migration + "\" is no migration");
    const ChainPreset* const preset = PresetOf(choice);
    const double frequency = FrequencyOf(recording, choice, preset);
    Chain chain;
    chain.Add("OffsetRemoval");
    // A Kirchhoff migration counts time from the first sample; where channels are brought together, it must be one for
    // all.
    if (channels && !known)
        chain.Add("TimeZeroDetection");
    else if (array || (channels && !recording.timeZeros.empty()) || migration == "KirchhoffMigration")
        chain.Add("TimeZeroCrop");
    if (array) {
        chain.Add("EnergyCorrection");
        if (!info->Find("antennaOffsetBi")) chain.Add("BistaticCorrection"); // else it knows the ways of both antennas
    }
    const bool asLines = preset || !array;
    if (asLines) AddFilters(chain, recording, frequency);
    if (!choice.background && asLines)
        AddSlidingBackground(chain, recording, preset);
    else if (const std::string background = choice.background.value_or("surface"); background != "none")
        chain.Add("BgRemoval").Set("algorithm", background);
    Step& image = chain.Add(migration);
    if (info->Find("wavelet")) { // sharp: pulses as they are, and a wide aperture, which costs half as much again
        image.Set("wavelet", "corrected");
        image.Set("apertureAngle", 70.);
    }
    const bool isSigned = choice.signedImage.value_or(preset && preset->signedImage);
    if (!isSigned) chain.Add("Envelope");
    if (asLines) {
        AddGainOverTime(chain, preset, frequency);
    } else { // up to four times at the last sample
        Step& gain = chain.Add("DepthGaining");
        gain.Set("Apex", -1);
        gain.Set("End", -1);
        gain.Set("ApexGain", 4.0);
    }
    if (!isSigned) chain.Add("NormalizationCscan");
    return chain;
}

} // namespace TZM
