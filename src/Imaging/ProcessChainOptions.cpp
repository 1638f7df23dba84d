#include "Imaging/ProcessChainOptions.h"

#include "Framework/AlgoBase.h"

void ProcessChainOptions::SetDelta_t(float value) {
    if (value > 0.f) Delta_t = TZM::AlgoBase::GetGlobalSettings().delta_t = value;
}

void ProcessChainOptions::SetDelta_x(float value) {
    if (value > 0.f) Delta_x = TZM::AlgoBase::GetGlobalSettings().delta_x = value;
}
