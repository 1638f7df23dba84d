#pragma once

#include "Array/Export.h"
#include "Array/IppException.h"

namespace IPP {

struct IppsDFTSpec_C_32fc;
struct IppsFFTSpec_C_32fc;
struct IppsHilbertSpec_32f32fc;
struct IppiDFTSpec_C_32fc;
struct IppiFFTSpec_C_32fc;

/// Holds the state of a transform, and frees it if it is its owner, as an array does with its memory. Every holder
/// makes its state from (sizes, hint, flag), whatever status that gives, and throws std::bad_alloc if there is none
/// afterwards. A state is only read by the transforms, so that threads share it. Hints are 1 (fast) and 2 (accurate);
/// flags 1, 2, 4 and 8 (IppFftFlag).
template <class Raw>
class TransformState {
public:
    TransformState(const TransformState&) = delete;
    TransformState& operator=(const TransformState&) = delete;

    Raw* Get() const { return state; }

protected:
    TransformState() = default;
    ~TransformState() = default;
    void Take(Raw* made) {
        if (!made) throw BadAllocation();
        state = made;
        owner = true;
    }

    Raw* state = nullptr;
    bool owner = false;
};

/// Analytic signals of `len` samples.
class TZM_EXPORT HilbertState : public TransformState<IppsHilbertSpec_32f32fc> {
public:
    HilbertState(int len, int hint);
    ~HilbertState();
};

/// Complex transforms of any length.
class TZM_EXPORT DftState : public TransformState<IppsDFTSpec_C_32fc> {
public:
    DftState(int len, int hint, int flag);
    ~DftState();
};

/// Complex transforms of the length 2^order.
class TZM_EXPORT FftState : public TransformState<IppsFFTSpec_C_32fc> {
public:
    FftState(int order, int hint, int flag);
    ~FftState();
};

/// Complex transforms of images of any size.
class TZM_EXPORT DftState2D : public TransformState<IppiDFTSpec_C_32fc> {
public:
    DftState2D(int width, int height, int hint, int flag);
    ~DftState2D();
};

/// Complex transforms of images of 2^orderX columns and 2^orderY rows.
class TZM_EXPORT FftState2D : public TransformState<IppiFFTSpec_C_32fc> {
public:
    FftState2D(int orderX, int orderY, int hint, int flag);
    ~FftState2D();
};

} // namespace IPP
