#pragma once

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
template <class Spec>
IppStatus CheckSpec(const Spec* state) {
    unsigned magic;
    std::memcpy(&magic, static_cast<const void*>(state), sizeof magic);
    return magic == Spec::kMagic ? ippStsNoErr : ippStsContextMatchErr;
}

inline IppStatus CheckOrder(int order) { return order < 0 || order > 30 ? ippStsFftOrderErr : ippStsNoErr; }

/// A new state made of the arguments; the pointer becomes null, and the status -9, when memory is out.
template <class Spec, class... Arguments>
IppStatus MakeSpec(Spec** state, const Arguments&... arguments) {
    *state = nullptr;
    try {
        *state = new Spec(arguments...);
    } catch (const std::bad_alloc&) {
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

template <class Spec>
IppStatus FreeSpec(Spec* state) {
    if (!state) return ippStsNullPtrErr;
    if (const IppStatus bad = CheckSpec(state)) return bad;
    state->magic = 0;
    delete state;
    return ippStsNoErr;
}

} // namespace IPP
