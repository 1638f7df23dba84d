#pragma once

#include <string>

#include "Framework/AlgoBase.h"
#include "Framework/AlgoParamBase.h"
#include "Framework/Prm.h"

namespace TZM {

/// An algorithm with its parameter struct P. A changed parameter counts from the next Execute on.
template <class P>
class TZM_EXPORT Algo : public AlgoBase {
public:
    /// \param sectionName the algorithm's section in the configuration document, and its prefix in the log.
    explicit Algo(const std::string& sectionName) : name(sectionName) {}
    Algo(const Algo&) = default;
    Algo& operator=(const Algo&) = default;
    ~Algo() override = default;

    /// Takes over the values and the observers of newParams; every parameter notifies.
    void Setup(const P& newParams) { params = newParams; }

    P& GetParams() { return params; }
    const P& GetParams() const { return params; }

    std::string GetLogPrefix() const { return name; }

protected:
    std::string name;
    P params;
};

} // namespace TZM
