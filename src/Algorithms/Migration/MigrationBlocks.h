#pragma once

#include "Algorithms/Migration/AlgoParamMigrationBase.h"
#include "Framework/CalcError.h"
#include "Framework/private/ExecuteFrame.h"

namespace TZM {

/// CalcError -10 for a permittivity that isn't above 0.
inline void RequirePermittivity(float permittivity) {
    if (!(permittivity > 0.f)) throw Exception::CalcError(-10, "TZM::Exception::permittivitySmallerEqualZero");
}

/// The record and the image of a migration that takes whole B-scans. IPP::Exception -2 "Index exceeds IPP::Array3D
/// bounds" if there is no sample from timeZero on.
struct MigrationBlocks {
    MigrationBlocks(const float* in, const ImageProps& props, float* out, int timeZero)
        : src(InputView(in, props)), dst(OutputView(out, Checked(props, timeZero))) {}

    const BlockView src, dst;

private:
    ImageProps Checked(const ImageProps& props, int timeZero) const {
        IPP::Require(timeZero >= 0, "Index exceeds IPP::Array3D bounds");
        src.At(timeZero, 0, 0); // the first sample that is read
        return MigratedProps(props, timeZero);
    }
};

} // namespace TZM
