#pragma once

#include <string>

#include <vtkAlgorithm.h>
#include <vtkImageData.h>
#include <vtkInformation.h>
#include <vtkInformationVector.h>
#include <vtkPointData.h>

/// What the image difference filters have in common.
namespace ImageDifference {

/// Sets the output's whole extent to the intersection of those of the inputs. If they differ, returns what to report.
std::string IntersectExtents(vtkInformationVector** inputVector, vtkInformationVector* outputVector);

/// Asks both inputs for the output's update extent with a margin of 2 along x and y, as far as they reach.
void RequestExtents(vtkInformationVector** inputVector, vtkInformationVector* outputVector);

/// The image on an input port of an algorithm, or null.
vtkImageData* ImageOnPort(vtkAlgorithm* filter, int port);

/// Scalars of the pixels of a piece, in rows along x.
template <class T>
struct Rows {
    Rows(vtkImageData* image, int extent[6]) : next(static_cast<T*>(image->GetScalarPointerForExtent(extent))) {
        image->GetContinuousIncrements(extent, pixel, row, slice);
    }
    T* next;
    vtkIdType pixel = 0, row = 0, slice = 0;
};

/// One thread's piece. compare(a, b, out) takes a row of `count` pixels and returns false to end the piece;
/// progress(share) is called for thread 0 some fifty times.
template <class T, class Aborted, class Progress, class Compare>
void Walk(Rows<T> a, Rows<T> b, Rows<T> out, const int extent[6], int threadId, const Aborted& aborted,
          const Progress& progress, const Compare& compare) {
    const int columns = extent[1] - extent[0] + 1, rows = extent[3] - extent[2] + 1, slices = extent[5] - extent[4] + 1;
    const long long target = 1 + static_cast<long long>(rows) * slices / 50;
    long long count = 0;
    for (int z = 0; z < slices; ++z) {
        for (int y = 0; y < rows && !aborted(); ++y) {
            if (threadId == 0) {
                if (count % target == 0) progress(static_cast<double>(count) / (50.0 * static_cast<double>(target)));
                ++count;
            }
            if (!compare(a.next, b.next, out.next, columns)) return;
            a.next += columns + a.row;
            b.next += columns + b.row;
            out.next += columns + out.row;
        }
        a.next += a.slice;
        b.next += b.slice;
        out.next += out.slice;
    }
}

/// What makes the images of a piece incomparable: a line number of those given and what to report; line 0 if nothing.
struct Flaw {
    int line = 0;
    std::string message;
};
struct FlawLines {
    int missing, components, type;
};
Flaw FindFlaw(vtkImageData*** inData, vtkImageData** outData, int extent[6], int scalarType, const char* typeName,
              const FlawLines& lines);

} // namespace ImageDifference
