#pragma once

namespace tzmchain {

/// The parts of a report that are the same for all, made from apps/tzmchain/report when the program is built.
extern const char kReportHtml[];
extern const char kReportStyle[];
extern const char kReportScript[];

} // namespace tzmchain
