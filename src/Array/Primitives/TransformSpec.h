#pragma once

#include <cmath>
#include <cstring>
#include <new>

#include "Array/Primitives/IppTypes.h"

namespace IPP {

/// What every transform state begins with: a number that tells its kind.
struct TransformSpec {
    explicit TransformSpec(unsigned kind) : magic(kind) {}
    unsigned magic;
};

/// -17 for a state of another kind. The number is read as bytes, since the state may be of any type.
template <class State>
IppStatus CheckSpec(const State* state) {
    unsigned magic;
    std::memcpy(&magic, static_cast<const void*>(state), sizeof magic);
    return magic == State::kMagic ? ippStsNoErr : ippStsContextMatchErr;
}

/// The factors that a transform flag gives to both directions, for length n.
struct FlagScale {
    float forward = 0.f, inverse = 0.f;
};
/// False if the flag doesn't exist.
inline bool ScaleOfFlag(int flag, double n, FlagScale& scale) {
    switch (flag) {
    case IPP_FFT_DIV_FWD_BY_N: scale = {float(1 / n), 1.f}; return true;
    case IPP_FFT_DIV_INV_BY_N: scale = {1.f, float(1 / n)}; return true;
    case IPP_FFT_DIV_BY_SQRTN: scale = {float(1 / std::sqrt(n)), float(1 / std::sqrt(n))}; return true;
    case IPP_FFT_NODIV_BY_ANY: scale = {1.f, 1.f}; return true;
    default: return false;
    }
}

inline IppStatus CheckOrder(int order) { return order < 0 || order > 30 ? ippStsFftOrderErr : ippStsNoErr; }

/// A new state made of the arguments; the pointer becomes null, and the status -9, when memory is out.
template <class State, class... Arguments>
IppStatus MakeSpec(State** state, const Arguments&... arguments) {
    *state = nullptr;
    try {
        *state = new State(arguments...);
    } catch (const std::bad_alloc&) {
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

template <class State>
IppStatus FreeSpec(State* state) {
    if (!state) return ippStsNullPtrErr;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    state->magic = 0;
    delete state;
    return ippStsNoErr;
}

} // namespace IPP
