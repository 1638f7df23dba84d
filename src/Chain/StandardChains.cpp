#include "Chain/Chain.h"

namespace TZM {

namespace {

/// Of an array that the algorithms for five and seven channels know. What a recording tells of its channels counts.
bool HasChannels(const Recording& recording) {
    const std::size_t told = recording.channels.size();
    return (told == 0 || told == 5 || told == 7) && (recording.size.bscans % 5 == 0 || recording.size.bscans % 7 == 0);
}

} // namespace

// Offsets go first, since the detection compares counts with a threshold. Levels come ahead of the bistatic correction:
// that crushes the direct wave of the bistatic channels, so that behind it the energy of traces with a direct wave
// would be compared with that of traces without. Only the surface is taken out for background: a median would take bars
// along the scan with it.
Chain Chain::Standard(const Recording& recording, const ChainChoice& choice) {
    const bool channels = HasChannels(recording), array = channels && !recording.oneAntennaPair;
    const bool known = recording.timeZero || choice.timeZero;
    const AlgorithmInfo* migration = FindAlgorithm(choice.migration);
    if (!migration || !migration->migrates) throw ChainError("\"" + choice.migration + "\" is no migration");
    Chain chain;
    chain.Add("OffsetRemoval");
    // A Kirchhoff migration counts time from the first sample; where channels are brought together, it must be one for
    // all.
    if (channels && !known)
        chain.Add("TimeZeroDetection");
    else if (array || (channels && !recording.timeZeros.empty()) || choice.migration == "KirchhoffMigration")
        chain.Add("TimeZeroCrop");
    if (array) {
        chain.Add("EnergyCorrection");
        chain.Add("BistaticCorrection");
    }
    const std::string background = choice.background.value_or(array ? "surface" : "none");
    if (background != "none") chain.Add("BgRemoval").Set("algorithm", background);
    chain.Add(choice.migration);
    chain.Add("Envelope");
    Step& gain = chain.Add("DepthGaining"); // up to four times at the last sample
    gain.Set("Apex", -1);
    gain.Set("End", -1);
    gain.Set("ApexGain", 4.0);
    chain.Add("NormalizationCscan");
    return chain;
}

} // namespace TZM
