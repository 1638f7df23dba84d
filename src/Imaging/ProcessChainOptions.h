#pragma once

#include "Array/Export.h"

/// What a host sets once for all filters of its chain. Not guarded: to be written between runs.
struct TZM_EXPORT ProcessChainOptions {
    ProcessChainOptions() = default;
    ProcessChainOptions(const ProcessChainOptions&) = default;
    /// Copies the fields, and nothing else: the algorithms keep their intervals.
    ProcessChainOptions& operator=(const ProcessChainOptions&) = default;

    void SetEnableLogging(bool value) { EnableLogging = value; }
    bool GetEnableLogging() const { return EnableLogging; }
    void SetLoggingLevel(int value) { LoggingLevel = value; }
    int GetLoggingLevel() const { return LoggingLevel; }

    /// Seconds between two samples of an A-scan, for this record and for all algorithms from their next Execute on
    /// (AlgoBase::GetGlobalSettings). A value that isn't above 0 is ignored.
    void SetDelta_t(float value);
    float GetDelta_t() const { return Delta_t; } ///< of this record

    /// Metres between two A-scans, likewise.
    void SetDelta_x(float value);
    float GetDelta_x() const { return Delta_x; }

    bool EnableLogging = true; ///< goes to every parameter struct at AlgoPrmSetupGlobalParams
    int LoggingLevel = 1;      ///< likewise
    float Delta_t = 5e-11f;    ///< s
    float Delta_x = 0.005f;    ///< m
};
