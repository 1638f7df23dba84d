#pragma once

#include <string>

#include "Array/Export.h"

namespace TZM {

/// Base of the tuning values of algorithm T that aren't in its public parameters. Such an object is rebuilt at every
/// Execute from compiled defaults and the configuration document, so that a key that has left the document returns to
/// its default. The derived class calls Parse() at the end of its constructor.
template <class T>
class TZM_EXPORT AlgoJsonParamsBase {
public:
    AlgoJsonParamsBase(const T* owner, const std::string& document)
        : configText(document), algo(const_cast<T*>(owner)) {} // a const Execute builds the object
    AlgoJsonParamsBase(const AlgoJsonParamsBase&) = delete;
    AlgoJsonParamsBase& operator=(const AlgoJsonParamsBase&) = delete;
    virtual ~AlgoJsonParamsBase() = default;

    virtual void Parse() {}

    std::string configText; ///< the document at the time of construction
    T* algo;                ///< the algorithm that built the object
};

/// Sole owner of an algorithm's tuning values. A copy of the algorithm starts with none of its own, and an assignment
/// leaves both sides theirs, since every Execute builds new ones anyway.
template <class Params>
class TZM_EXPORT OwnedParams {
public:
    OwnedParams() = default;
    OwnedParams(const OwnedParams&) {}
    OwnedParams& operator=(const OwnedParams&) { return *this; }
    ~OwnedParams() { delete params; }

    /// Releases the old object, then builds a new one; if that fails there is none.
    template <class... Arguments>
    void Rebuild(const Arguments&... arguments) {
        delete params;
        params = nullptr;
        params = new Params(arguments...);
    }

    Params* const& Get() const { return params; } ///< null before the first Rebuild

private:
    Params* params = nullptr;
};

} // namespace TZM
