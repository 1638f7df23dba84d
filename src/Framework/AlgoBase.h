#pragma once

#include <string>
#include <vector>

#include "Array/Export.h"
#include "Framework/ImageProps.h"

namespace TZM {

/// What all algorithms share about the measurement.
struct TZM_EXPORT AlgoGlobalSettings {
    float delta_t = 5e-11f; ///< time between two samples of an A-scan, in seconds
    float delta_x = 0.005f; ///< distance between two A-scans, in metres
};

/// The common base of all algorithms, and the two documents from which they take their tuning values.
///
/// A host sets documents and sampling intervals first, then constructs an algorithm, fills its parameters, lets the
/// document override them (ParseParamsFromJsonConfig), allocates an output block of GetAdjustedImageDimensions and
/// calls Execute, any number of times. An object runs one Execute at a time; different objects may run at once. Nothing
/// guards the static values: they are written while no Execute runs.
///
/// Setting or reading a document makes the numeric locale of the process the plain one for a moment: no other thread of
/// the host formats numbers or changes a locale meanwhile.
class TZM_EXPORT AlgoBase {
public:
    /// One layer above the surveyed medium.
    struct TZM_EXPORT Overlay {
        std::string Name;
        float Thickness = 0;    ///< metres
        float Permittivity = 0; ///< relative
    };

    AlgoBase() = default;
    AlgoBase(const AlgoBase&) = default;
    AlgoBase& operator=(const AlgoBase&) = default;
    virtual ~AlgoBase();

    /// Computes the block out from the block in. The caller owns both; in is only read, and no pointer is kept.
    /// Throws Exception::CalcError for a failure of the computation and std::bad_alloc if memory is out; out is then
    /// unspecified. Here it does nothing.
    virtual void Execute(const float* in, const ImageProps& inProps, float* out, const ImageProps& outProps) const;

    /// The block that Execute gives for such an input; here the same.
    virtual ImageProps GetAdjustedImageDimensions(const ImageProps& props) const;

    /// Lets the configuration document override the parameters, key by key, where a key is present and of the right
    /// type. Without a document, or with one that doesn't parse, nothing changes. std::bad_alloc if memory is out.
    /// Here it does nothing.
    virtual void ParseParamsFromJsonConfig();

    /// Makes text the configuration (or calibration) document. An empty text, or one that doesn't parse, gives false
    /// and leaves the document; the reader's messages then go to Logger::LogError. None of the three throws.
    static bool SetConfigString(const std::string& text);
    static bool SetCalibrationString(const std::string& text);

    /// Makes the text of a file, up to its first NUL byte, the configuration document; "kernel.cfg" if the name is
    /// empty. False if the file can't be opened (the document stays), if nothing can be read, which a directory, too,
    /// comes to (the document is empty), or if the text doesn't parse (the document holds the text, and every reader
    /// of it changes nothing).
    static bool LoadConfigFile(const std::string& fileName);

    static const std::string& GetConfigString();      ///< empty at start
    static const std::string& GetCalibrationString(); ///< empty at start
    static AlgoGlobalSettings& GetGlobalSettings();   ///< the one instance, to be read and written

protected:
    /// Turns the JSON text of an array into the layers that aren't switched off by "Enabled": false; an empty text
    /// gives none. A missing name is empty, a missing number 0; an element that isn't an object is a layer without
    /// values. False, with an entry in the log, for a text that doesn't parse or is neither an array nor null, and for
    /// a value that can't be converted; the layers before it then stay in the vector. std::bad_alloc if memory is out.
    bool ParseActiveOverlays(std::string overlaysJson, std::vector<Overlay>& overlays) const;

    static AlgoGlobalSettings globalSettings;
    static std::string jsonConfig;
    static std::string jsonCalibration;

    // Names in the configuration document.
    static const std::string jObjNameGlobal;
    static const std::string jPrmNameTimeZero;
    static const std::string jPrmNamePermittivity;
    static const std::string jPrmNameOverlays;
};

} // namespace TZM
