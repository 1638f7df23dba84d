#pragma once

#include "Array/Primitives/IppTypes.h"

namespace IPP {

/// The checks that every primitive with a length makes: -8 for a null pointer, -6 for a length below the minimum, else
/// 0.
template <class... Pointers>
inline IppStatus CheckPointers(const Pointers*... pointers) {
    return (... || (pointers == nullptr)) ? ippStsNullPtrErr : ippStsNoErr;
}

inline IppStatus CheckLength(int len, int minimum = 1) { return len < minimum ? ippStsSizeErr : ippStsNoErr; }

template <class... Pointers>
inline IppStatus CheckRange(int len, const Pointers*... pointers) {
    if (const IppStatus bad = CheckPointers(pointers...)) return bad;
    return CheckLength(len);
}

} // namespace IPP
