#pragma once

#include <string>

#include <vtkObject.h>

#include "Recording/Recording.h"

class vtkImageData;
class vtkInformation;
class vtkInformationIntegerKey;
class vtkInformationObjectBaseKey;

// What a recording is in a pipeline: x counts samples, in ns, y A-scans and z lines, in m.

namespace TZM {

/// What is known of a recording, as it travels in the information of a pipeline.
class RecordingObject : public vtkObject {
public:
    static RecordingObject* New();
    vtkTypeMacro(RecordingObject, vtkObject)

    Recording about; ///< without samples
};

/// The key under which it travels, also through filters that don't know it.
vtkInformationObjectBaseKey* RecordingKey();

/// The key that says, of a request, that each process asks for its part of one block.
vtkInformationIntegerKey* SharedKey();

/// What the information of an image tells of the recording in it. What an earlier filter told of it counts as far as
/// the image still has its geometry. Refusal, which says what is expected, for an image that isn't one of lines.
Recording AboutOf(vtkInformation* image);

/// Tells what an image of the recording will be. \param source information of the image that it is made of, whose
/// indices, and origin and spacing where they mean the same, it keeps; or null
void Tell(vtkInformation* image, const Recording& about, vtkInformation* source);

/// The index along z of the first line of an image.
int FirstLine(vtkInformation* image);

/// The samples of the lines `first` to `first + count - 1`, which the image keeps alive. Refusal for scalars that
/// aren't one float per point, and if the image doesn't reach over all of these lines.
Samples SamplesOf(vtkImageData* image, vtkInformation* about, int first, int count);

/// Fills an image with lines from `first` on, over the samples themselves, and with valid ranges of the whole block.
void Fill(vtkImageData* image, vtkInformation* about, const Recording& lines, int first,
          const std::vector<BscanInfo>& validRanges);

/// The valid ranges that the field data of an image tell, if they do so for each of the lines; else none.
std::vector<BscanInfo> RangesOf(vtkImageData* image, int bscans);

} // namespace TZM
