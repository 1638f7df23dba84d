#include "Algorithms/Gain/GainProgression.h"

#include <algorithm>
#include <cmath>

#include "Framework/private/JsonDocument.h"

namespace TZM {

void GainProgression::FromJson(const Json::Value& pairs) {
    clear();
    if (!pairs.isArray()) return;
    for (const Json::Value& pair : pairs) {
        if (!pair.isArray() || pair.size() != 2) return;
        const int position = AsInt(&pair[0]);
        (*this)[position > 1 ? position - 1 : 0] = AsDouble(&pair[1]);
    }
}

void GainProgression::FillFactors(IPP::Array<float, int>& factors) const {
    std::fill_n(factors.data, factors.size, 1.f);
    if (empty()) return;
    auto next = begin();
    int from = 0, to = next->first;
    double fromDb = 1., toDb = next->second;
    for (int i = 0; i < factors.size; ++i) {
        if (i >= to && next != end()) {
            from = to;
            fromDb = toDb;
            to = ++next == end() ? factors.size - 1 : next->first;
            if (next != end()) toDb = next->second;
        }
        const double db = to > from ? (toDb - fromDb) * (double(i) - from) / (double(to) - from) + fromDb : fromDb;
        factors[i] = static_cast<float>(std::pow(10., db / 20.));
    }
}

} // namespace TZM
