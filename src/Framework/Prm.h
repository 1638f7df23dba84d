#pragma once

#include <set>
#include <utility>

#include "Framework/AlgoParamBase.h"

namespace TZM {

/// One observed parameter value, T a plain value that compares with ==. Reads like a T.
template <class T>
struct TZM_EXPORT Prm {
    using Listener = AlgoParamBase::Listener;

    T value;
    std::set<Listener*> listeners; ///< to be told of a change; not owned

    Prm(T initial, Listener* listener) : value(std::move(initial)), listeners{listener} {}

    /// The value alone: nobody listens to the copy.
    Prm(const Prm& other) : value(other.value) {}

    /// Stores the value and notifies, even if it is the same.
    Prm& operator=(const Prm& other) {
        value = other.value;
        AlgoParamBase::NotifyAll(listeners);
        return *this;
    }

    /// Stores the value and notifies if it differs; otherwise nothing happens.
    Prm& operator=(const T& newValue) {
        if (newValue == value) return *this;
        value = newValue;
        AlgoParamBase::NotifyAll(listeners);
        return *this;
    }

    operator const T&() const { return value; }
};

} // namespace TZM
