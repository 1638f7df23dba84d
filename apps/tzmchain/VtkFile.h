#pragma once

#include "Recording.h"

#include <vtkSmartPointer.h>
#include <vtkXMLImageDataReader.h>

namespace tzmchain {

/// A reader of a VTK image of one number per point, up to date. Refusal if it can't be read or is none.
vtkSmartPointer<vtkXMLImageDataReader> OpenVti(const std::filesystem::path& file);

/// Reads a VTK image of one component per point: x the samples in ns, y the A-scans in m, z the B-scans in m. Other
/// numeric types than float are converted. Refusal if it can't be read or has no positive spacing.
Recording ReadVti(const std::filesystem::path& file);

} // namespace tzmchain
