#pragma once

#include <vtkSmartPointer.h>

#include <filesystem>

#include "Recording/Recording.h"

class vtkFloatArray;
class vtkImageData;
class vtkXMLImageDataReader;

// Recordings as VTK images: x counts samples, in ns, y A-scans and z B-scans, in m.

namespace TZM {

/// Makes NAME.vti one of the forms that are known. Loading the library that holds it does the same.
TZM_EXPORT void RegisterVtiFormat();

/// A reader that is up to date with an image of one number per point. FormatError for every flaw.
TZM_EXPORT vtkSmartPointer<vtkXMLImageDataReader> OpenVti(const std::filesystem::path& file);

/// An array "amplitude" over the samples of a recording, which live as long as it.
TZM_EXPORT vtkSmartPointer<vtkFloatArray> ArrayOf(const Recording& recording);

/// An image over the samples of a recording, which live as long as the image.
TZM_EXPORT vtkSmartPointer<vtkImageData> ImageOf(const Recording& recording);

/// Writes an image, uncompressed. Refusal, with the system's reason, if the file can't be written.
TZM_EXPORT void WriteVti(vtkImageData* image, const std::filesystem::path& file);

} // namespace TZM
