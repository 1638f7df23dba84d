#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "Imaging/vtkTZMBaseImageAlgorithm.h"

class vtkInformation;

/// Reads a recording of any form that the library knows as an image: x samples in ns, y A-scans in m, z lines in m, one
/// float per point, named "amplitude". Several files are the lines of a survey, a folder, a pattern and a survey
/// document too. All channels are read, B-scan i being channel i mod n of line i / n.
///
/// What the recording tells of itself (time zero, permittivity, names of channels) goes to the filters further down,
/// its valid ranges also into the output's field data ("FirstValidAscan", "ValidAscans"). The reader reads the lines
/// that it is asked for alone, and in parallel asks to be split along z. A file that can't be read is told to the error
/// event, and the output is empty.
class TZM_EXPORT vtkTZMRecordingReader : public vtkTZMBaseImageAlgorithm {
public:
    static vtkTZMRecordingReader* New();
    vtkTypeMacro(vtkTZMRecordingReader, vtkTZMBaseImageAlgorithm)
    void PrintSelf(std::ostream& os, vtkIndent indent) override;

    vtkTZMRecordingReader(const vtkTZMRecordingReader&) = delete;
    void operator=(const vtkTZMRecordingReader&) = delete;

    ///@{
    /// One file, folder, pattern or survey document, in place of those that were named before.
    void SetFileName(const char* name);
    const char* GetFileName(); ///< the first one; null if there is none
    ///@}

    ///@{
    /// Several files: the lines of a survey.
    void AddFileName(const char* name);
    void RemoveAllFileNames();
    int GetNumberOfFileNames();
    ///@}

    /// Whether a file is of a form that is known, by its name and what it tells of itself.
    static int CanReadFile(const char* name);
    /// The extensions of all forms, separated by blanks: ".f32 .json .dzt".
    static const char* GetFileExtensions();

    ///@{
    /// Distance between A-scans to which lines are resampled, in m; 0, the default: as they are.
    void SetDeltaX(double metres);
    double GetDeltaX() const { return this->DeltaX; }
    ///@}

    ///@{
    /// Brings files of several sampling intervals to the finest of them; else they are refused. Off.
    void SetResample(bool resample);
    bool GetResample() const { return this->Resample; }
    ///@}

    ///@{
    /// Component of the field in a form that holds several: "Ez".
    void SetComponent(const char* component);
    const char* GetComponent();
    ///@}

    /// What the file tells, as JSON text: form, sizes, intervals, channels, notes; null if it can't be read.
    const char* GetAbout();

protected:
    vtkTZMRecordingReader();
    ~vtkTZMRecordingReader() override;

    int RequestInformation(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;
    int RequestData(vtkInformation*, vtkInformationVector**, vtkInformationVector*) override;

private:
    struct Internals;
    const std::unique_ptr<Internals> Inner;
    double DeltaX = 0;
    bool Resample = false;
};
