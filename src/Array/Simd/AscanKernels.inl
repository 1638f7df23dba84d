// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/AscanKernels.h"

namespace IPP::Simd {

namespace {

constexpr int W = TZM_LANES, kLanes = W / 2; // floats and doubles in a register

typedef double Doubles __attribute__((vector_size(8 * kLanes), aligned(8), may_alias));
typedef float Floats __attribute__((vector_size(4 * kLanes), aligned(4), may_alias));
typedef float V __attribute__((vector_size(4 * W)));
typedef float UnalignedV __attribute__((vector_size(4 * W), aligned(4), may_alias));

inline V Load(const float* p) { return *reinterpret_cast<const UnalignedV*>(p); }
inline void Store(float* p, V v) { *reinterpret_cast<UnalignedV*>(p) = v; }

// Sums over windows, each handed to use(e, sums / elements of the window, as 64-bit floats). The elements lie in groups
// as long as a window, which then is the end of one group and the beginning of the next.
template <class Term, class Use>
inline void LaneWindows(const float* lanes, double* ends, int len, int half, const Term& term, const Use& use) {
    constexpr int kRegisters = kRowLanes / kLanes;
    const int window = 2 * half + 1;
    const double whole = 1. / window;
    const auto add = [&](int e, Doubles* sums) {
        if (e < 0 || e >= len) return;
        const float* const at = lanes + static_cast<long>(kRowLanes) * e;
        for (int k = 0; k < kRegisters; ++k)
            sums[k] += term(__builtin_convertvector(*reinterpret_cast<const Floats*>(at + k * kLanes), Doubles));
    };
    const auto end = [&](int r, int k) {
        return reinterpret_cast<Doubles*>(ends + static_cast<long>(kRowLanes) * r + k * kLanes);
    };
    for (int group = 0; group < len; group += window) { // the windows around its elements begin `half` earlier
        Doubles sums[kRegisters] = {}, beginning[kRegisters] = {};
        for (int r = window - 1; r >= 0; --r) {
            add(group - half + r, sums);
            for (int k = 0; k < kRegisters; ++k) *end(r, k) = sums[k];
        }
        for (int e = group; e < group + window && e < len; ++e) {
            if (e > group) add(e + half, beginning);
            const int first = e > half ? e - half : 0, last = e + half < len ? e + half : len - 1;
            const double share = last - first + 1 == window ? whole : 1. / (last - first + 1);
            Doubles means[kRegisters];
            for (int k = 0; k < kRegisters; ++k) means[k] = (*end(e - group, k) + beginning[k]) * share;
            use(e, means);
        }
    }
}

void LaneLessMeans(const float* lanes, double* work, int len, int half, float* dst) {
    LaneWindows(
        lanes, work, len, half, [](Doubles x) { return x; },
        [&](int e, const Doubles* means) {
            const long at = static_cast<long>(kRowLanes) * e;
            for (int k = 0; k < kRowLanes / kLanes; ++k) {
                const Floats x = *reinterpret_cast<const Floats*>(lanes + at + k * kLanes);
                *reinterpret_cast<Floats*>(dst + at + k * kLanes) =
                    __builtin_convertvector(__builtin_convertvector(x, Doubles) - means[k], Floats);
            }
        });
}

void LaneLevelled(const float* lanes, const float* measured, double* work, int len, int half, bool squared, float level,
                  float floor, float scale, float* dst) {
    constexpr int kRegisters = kRowLanes / kLanes;
    const Floats least = Floats{} + floor * scale;
    const double wide = static_cast<double>(scale);
    const auto quotients = [&](int e, int k, Floats strength) {
        const long at = static_cast<long>(kRowLanes) * e + k * kLanes;
        const Floats divisor = strength > least ? strength : least;
        const Floats quotient = *reinterpret_cast<const Floats*>(lanes + at) * scale * level / divisor;
        const Floats levelled = divisor == 0.f ? Floats{} : quotient;
        *reinterpret_cast<Floats*>(dst + at) = strength != strength ? strength : levelled;
    };
    if (squared)
        LaneWindows(
            measured, work, len, half, [wide](Doubles x) { return (x * wide) * (x * wide); },
            [&](int e, const Doubles* means) {
                for (int k = 0; k < kRegisters; ++k) {
                    Floats strength = __builtin_convertvector(means[k], Floats);
                    for (int l = 0; l < kLanes; ++l) strength[l] = __builtin_sqrtf(strength[l]);
                    quotients(e, k, strength);
                }
            });
    else
        LaneWindows(
            measured, work, len, half, [wide](Doubles x) { return x * wide; },
            [&](int e, const Doubles* means) {
                for (int k = 0; k < kRegisters; ++k) quotients(e, k, __builtin_convertvector(means[k], Floats));
            });
}

// The argument of x + i y. The arc tangent below tan(pi / 8) is a polynomial, fitted to it at the Chebyshev nodes,
// within 6e-10 of its value; above, it is pi / 4 more than that of (q - 1) / (q + 1).
inline double Argument(double x, double y) {
    constexpr double kQuarter = 0.78539816339744831, kEighth = 0.41421356237309505;
    const double a = __builtin_fabs(x), b = __builtin_fabs(y);
    const double low = a < b ? a : b, high = a < b ? b : a;
    const bool turned = low > kEighth * high;
    const double over = turned ? low + high : high;
    const double q = (turned ? low - high : low) / (over > 0. ? over : 1.), z = q * q;
    const double arc = ((((-0.06033240843835 * z + 0.1057281414491) * z - 0.1423998287467) * z + 0.1999821079521) * z -
                        0.3333330749339) *
                           z +
                       0.9999999993922;
    double angle = q * arc + (turned ? kQuarter : 0.);
    angle = a < b ? 2. * kQuarter - angle : angle;
    angle = x < 0. ? 4. * kQuarter - angle : angle;
    return y < 0. ? -angle : angle;
}

void Phases(const float* re, const float* im, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = static_cast<float>(Argument(re[i], im[i]));
}

void PhaseSteps(const float* re, const float* im, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) {
        const double x = re[i], y = im[i], nextX = re[i + 1], nextY = im[i + 1];
        dst[i] = static_cast<float>(Argument(nextX * x + nextY * y, nextY * x - nextX * y));
    }
}

/// Where element k of `count` stands in folded order.
inline Index Folded(Index k, Index count) { return k % 2 == 0 ? k / 2 : count - 1 - k / 2; }

void FoldLanes(const float* src, const float* factors, Index count, float* dst) {
    const V re = Load(factors), im = Load(factors + W);
    for (Index k = 0; k < count; ++k, src += 2 * W) {
        float* const to = dst + 2 * W * Folded(k, count);
        Store(to, Load(src) * re);
        Store(to + W, Load(src + W) * im);
    }
}

void UnfoldLanes(const float* folded, const float* factors, float oddSign, Index count, float* dst) {
    const V re = Load(factors), im = Load(factors + W);
    for (Index k = 0; k < count; ++k, dst += 2 * W) {
        const float* const at = folded + 2 * W * Folded(k, count);
        const float sign = k % 2 == 0 ? 1.f : oddSign;
        Store(dst, Load(at) * (re * sign));
        Store(dst + W, Load(at + W) * (im * sign));
    }
}

// The square root of v >= 0. AVX-512 takes the reciprocal root's first 14 bits and a step of Newton's, which costs less
// than half of its square root: at most one unit in the last place off above 1e-36, smaller than the root below.
inline V Root(V v) {
#ifdef __AVX512F__
    const V least = V{} + 1e-36f;
    const V reciprocal = __builtin_ia32_rsqrt14ps512_mask(v > least ? v : least, V{}, -1);
    const V root = v * reciprocal;
    return root + (v - root * root) * (reciprocal * 0.5f);
#else
    for (int l = 0; l < W; ++l) v[l] = __builtin_sqrtf(v[l]);
    return v;
#endif
}

void UnfoldEnvelopes(const float* signal, const float* hilbert, const float* factors, Index count, float* dst) {
    const V re = Load(factors), im = Load(factors + W);
    for (Index k = 0; k < count; ++k, dst += 2 * W) {
        const Index at = 2 * W * Folded(k, count);
        const V x = Load(signal + at), y = Load(signal + at + W), h = Load(hilbert + at), g = Load(hilbert + at + W);
        Store(dst, Root(x * x + h * h) * re);
        Store(dst + W, Root(y * y + g * g) * im);
    }
}

void MixMirrored(float* v, const float* table, Index n) {
    const auto scale = [&](Index j) {
        float* const at = v + 2 * W * j;
        Store(at, Load(at) * table[3 * j]), Store(at + W, Load(at + W) * table[3 * j]);
    };
    scale(0);
    if (n % 2 == 0) scale(n / 2);
    for (Index j = 1; 2 * j < n; ++j) {
        float *const low = v + 2 * W * j, *const high = v + 2 * W * (n - j);
        const float a = table[3 * j], c = table[3 * j + 1], s = table[3 * j + 2];
        const V re = Load(low), im = Load(low + W), otherRe = Load(high), otherIm = Load(high + W);
        Store(low, re * a + otherRe * c - otherIm * s), Store(low + W, im * a + otherIm * c + otherRe * s);
        Store(high, otherRe * a + re * c + im * s), Store(high + W, otherIm * a + im * c - re * s);
    }
}

} // namespace

extern const AscanKernels TZM_KERNEL_TABLE = {&LaneLessMeans, &LaneLevelled, &Phases,          &PhaseSteps,
                                              &FoldLanes,     &UnfoldLanes,  &UnfoldEnvelopes, &MixMirrored};

} // namespace IPP::Simd
