#pragma once

#include "Recording.h"

namespace tzmchain {

/// Reads a VTK image of one component per point: x the samples in ns, y the A-scans in m, z the B-scans in m. Other
/// numeric types than float are converted. Refusal if it can't be read or has no positive spacing.
Recording ReadVti(const std::filesystem::path& file);

/// Writes the block as such an image, uncompressed and without a copy of it; z counts B-scans where their spacing isn't
/// known. Refusal if the file can't be written.
void WriteVti(const Recording& image, const std::filesystem::path& file);

} // namespace tzmchain
