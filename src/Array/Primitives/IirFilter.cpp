#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "Array/Primitives/ArgumentChecks.h"
#include "Array/Primitives/Ipps.h"

namespace IPP {

/// The taps b[0 .. n], a[1 .. n] with a[0] = 1, and the delay line of the transposed direct form II:
///   y = b[0] x + d[0],   d[k] = b[k + 1] x - a[k + 1] y + d[k + 1],   d[n] = 0
/// It is the plain recursion with its sums taken in another order. The delay line holds sums of the size of the output,
/// not the far larger inner signal of the other form with n delays, so less is lost at low cut-offs.
struct IppsIIRState64f_32f {
    std::uint32_t magic;
    int order;
    std::vector<double> b;
    std::vector<double> a;
    std::vector<double> delay; // n + 1 elements, the last stays 0
};

namespace {

constexpr std::uint32_t kMagic = 0x49495236; // "IIR6"

using State = IppsIIRState64f_32f;

IppStatus CheckState(const State* state) { return state->magic == kMagic ? ippStsNoErr : ippStsContextMatchErr; }

/// For the low orders: taps and delay line stay in registers. `pending` is d[0] without its part -a[1] y, which enters
/// last, so that only one product and one difference of a sample wait for the sample before.
template <int Order>
void RunUnrolled(Ipp32f* srcDst, int len, State& state) {
    std::array<double, Order + 1> b, a, d;
    for (int k = 0; k <= Order; ++k) {
        b[k] = state.b[k];
        a[k] = state.a[k];
        d[k] = state.delay[k];
    }
    double pending = d[0];
    double y = 0.0;
    for (int i = 0; i < len; ++i) {
        const double x = srcDst[i];
        y = (pending + b[0] * x) - a[1] * y;
        pending = d[1] + b[1] * x;
#pragma GCC unroll 4
        for (int k = 1; k < Order; ++k) d[k] = (d[k + 1] + b[k + 1] * x) - a[k + 1] * y;
        srcDst[i] = static_cast<Ipp32f>(y);
    }
    d[0] = pending - a[1] * y;
    for (int k = 0; k < Order; ++k) state.delay[k] = d[k];
}

void RunAnyOrder(Ipp32f* srcDst, int len, State& state) {
    const int order = state.order;
    const double* b = state.b.data();
    const double* a = state.a.data();
    double* d = state.delay.data();
    for (int i = 0; i < len; ++i) {
        const double x = srcDst[i];
        const double y = b[0] * x + d[0];
        for (int k = 0; k < order; ++k) d[k] = (d[k + 1] + b[k + 1] * x) - a[k + 1] * y;
        srcDst[i] = static_cast<Ipp32f>(y);
    }
}

} // namespace

IppStatus ippsIIRInitAlloc64f_32f(IppsIIRState64f_32f** state, const Ipp64f* taps, int order, const Ipp64f* delayLine) {
    if (const IppStatus bad = CheckPointers(state, taps)) return bad;
    if (order < 1) return ippStsIIROrderErr;
    const std::size_t n = static_cast<std::size_t>(order) + 1;
    const double lead = taps[n];
    if (lead == 0.0) return ippStsDivByZeroErr;
    try {
        auto made = std::unique_ptr<State>(new State{kMagic, order, {taps, taps + n}, {taps + n, taps + 2 * n}, {}});
        for (double& tap : made->b) tap /= lead;
        for (double& tap : made->a) tap /= lead;
        made->delay.assign(n, 0.0);
        if (delayLine) std::copy(delayLine, delayLine + order, made->delay.begin());
        *state = made.release();
    } catch (const std::exception&) { // bad_alloc, or an order that no vector can hold
        return ippStsMemAllocErr;
    }
    return ippStsNoErr;
}

IppStatus ippsIIR64f_32f_I(Ipp32f* srcDst, int len, IppsIIRState64f_32f* state) {
    if (const IppStatus bad = CheckRange(len, srcDst, state)) return bad;
    if (const IppStatus bad = CheckState(state)) return bad;
    switch (state->order) {
    case 1: RunUnrolled<1>(srcDst, len, *state); break;
    case 2: RunUnrolled<2>(srcDst, len, *state); break;
    case 3: RunUnrolled<3>(srcDst, len, *state); break;
    case 4: RunUnrolled<4>(srcDst, len, *state); break;
    default: RunAnyOrder(srcDst, len, *state); break;
    }
    return ippStsNoErr;
}

IppStatus ippsIIRFree64f_32f(IppsIIRState64f_32f* state) {
    if (const IppStatus bad = CheckPointers(state)) return bad;
    if (const IppStatus bad = CheckState(state)) return bad;
    delete state;
    return ippStsNoErr;
}

} // namespace IPP
