// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/AscanKernels.h"
#include "Array/Simd/Lanes.inl"

namespace IPP::Simd {

namespace {

constexpr int kLanes = W / 2, kRegisters = kRowLanes / kLanes; // doubles in a register, registers of a row of lanes

typedef double Doubles __attribute__((vector_size(8 * kLanes), aligned(8), may_alias));
typedef float Floats __attribute__((vector_size(4 * kLanes), aligned(4), may_alias));

/// kLanes floats as doubles. GCC takes the conversion of a vector apart into halves.
TZM_INLINE Doubles Widened(const float* p) {
    const Floats floats = *reinterpret_cast<const Floats*>(p);
#if defined __AVX512F__ && !defined __clang__
    return __builtin_ia32_cvtps2pd512_mask(floats, Doubles{}, -1, 4);
#elif defined __AVX2__ && !defined __clang__
    return __builtin_ia32_cvtps2pd256(floats);
#else
    return __builtin_convertvector(floats, Doubles);
#endif
}

template <int... I>
TZM_INLINE V Joined(Floats a, Floats b, Sequence<I...>) {
    return __builtin_shufflevector(a, b, I...);
}
/// Two registers of doubles as one of floats.
TZM_INLINE V Narrowed(const Doubles* wide) {
    return Joined(__builtin_convertvector(wide[0], Floats), __builtin_convertvector(wide[1], Floats),
                  MakeSequence<W>::Type());
}

/// Elements from p to the next boundary of a cache line, where streams begin.
Index BeforeLine(const float* p) { return -(reinterpret_cast<Index>(p) / Index{sizeof(float)}) & 15; }

void StreamRows(const float* src, Index srcStride, int rows, Index count, void* dst, Index dstStep) {
    const Index before = Least(BeforeLine(At(dst, 0)), count);
    StoreRows(src, srcStride, rows, before, dst, dstStep);
    StoreTiles(src + before * srcStride, srcStride, rows, count - before, At(dst, 0) + before, dstStep,
               [](float* p, V v) TZM_UNROLLED { Stream(p, v); });
}

/// Adds term(x) * factor for the elements side by side.
template <class Term>
TZM_INLINE void AddTerms(const float* lanes, double factor, const Term& term, Doubles* sums) {
    for (int k = 0; k < kRegisters; ++k) sums[k] += term(Widened(lanes + k * kLanes)) * factor;
}

/// The windows around the elements of one group, as Windows has it. `ends` holds the sums from each element of the
/// group to its end, and then, if there is a next one, those of that in opposite order: each step makes room for one.
template <bool Next, class Term, class Use>
TZM_INLINE void WindowsOfGroup(const AscanWindows& w, const float* lanes, Index group, double* ends, Index step,
                               double factor, const Term& term, const Use& use) {
    Doubles beginning[kRegisters] = {}, end[kRegisters] = {};
    const Index half = w.half, window = 2 * half + 1, last = Least(group + window, w.len);
    const double* const ratios = w.ratios;
    const float *const nextAscans = w.src + w.ascans * w.srcStep, *ahead = lanes + kRowLanes * (group + window + half);
    for (Index e = group; e < last; ++e, ends += step, ahead -= kRowLanes) {
        __builtin_prefetch(nextAscans + kRowLanes * e, 0, 3);
        if (e > group) AddTerms(lanes + kRowLanes * (e + half), factor, term, beginning);
        Doubles means[kRegisters];
        for (int k = 0; k < kRegisters; ++k)
            means[k] = (*reinterpret_cast<const Doubles*>(ends + k * kLanes) + beginning[k]) * ratios[e];
        use(e, means);
        if constexpr (Next) {
            AddTerms(ahead, factor, term, end);
            for (int k = 0; k < kRegisters; ++k) *reinterpret_cast<Doubles*>(ends + k * kLanes) = end[k];
        }
    }
}

/// The rows first .. last - 1 of A-scans side by side.
void LoadLanes(const float* src, const AscanWindows& w, Index step, Index first, Index last, float* lanes) {
    for (int y = 0; y < kRowLanes; y += W)
        LoadRows(src + first + Least(y, w.ascans - 1) * step, step * sizeof(float),
                 int(y < w.ascans ? Least(w.ascans - y, W) : 0), last - first, lanes + kRowLanes * first + y,
                 kRowLanes);
}

void StoreLanes(const float* lanes, const AscanWindows& w, Index first, Index last) {
    for (int y = 0; y < w.ascans; y += W) {
        const float* const from = lanes + kRowLanes * first + y;
        float* const to = w.dst + y * w.dstStep + first;
        const int rows = int(Least(w.ascans - y, W));
        w.past ? StreamRows(from, kRowLanes, rows, last - first, to, w.dstStep * sizeof(float))
               : StoreRows(from, kRowLanes, rows, last - first, to, w.dstStep * sizeof(float));
    }
}

/// Sums of term(x) * factor over windows, times the ratio that belongs to each, as 64-bit floats: use(e, sums, lanes of
/// src, lanes of dst). The elements lie in groups as long as a window, which then is the end of one group and the
/// beginning of the next: no sum owes anything to what lies outside its window (M. van Herk, Pattern Recognition
/// Letters 13 (1992), 517-521, who takes maxima). A-scans come side by side, and go back, a group ahead and behind the
/// sums, while these are in the first cache.
template <class Term, class Use>
TZM_INLINE void Windows(const AscanWindows& w, double factor, const Term& term, const Use& use) {
    const Index window = 2 * Index(w.half) + 1;
    const bool apart = w.measured != w.src;
    float* const lanes = w.lanes + kRowLanes * w.half; // between zeros
    const float* const values = apart ? w.values : lanes;
    Index loaded = 0, stored = 0;
    const Index shift = w.past ? BeforeLine(w.dst) : 0; // whole lines go past the caches
    const auto load = [&](Index last) {
        last = last < w.len ? Least((last + kRowLanes - 1) / kRowLanes * kRowLanes, w.len) : w.len;
        LoadLanes(w.measured, w, w.measuredStep, loaded, last, lanes);
        if (apart) LoadLanes(w.src, w, w.srcStep, loaded, last, w.values);
        loaded = last;
    };
    const auto put = [&use, values, results = w.results](Index e, const Doubles* means)
                         TZM_UNROLLED { use(means, values + kRowLanes * e, results + kRowLanes * e); };
    load(w.half + 1);
    Doubles end[kRegisters] = {};
    for (Index r = window - 1; r >= 0; --r) {
        AddTerms(lanes + kRowLanes * (r - w.half), factor, term, end);
        for (int k = 0; k < kRegisters; ++k) *reinterpret_cast<Doubles*>(w.ends + kRowLanes * r + k * kLanes) = end[k];
    }
    bool turned = false;
    for (Index group = 0; group < w.len; group += window, turned = !turned) {
        load(group + window + w.half + 1);
        double* const ends = turned ? w.ends + kRowLanes * (window - 1) : w.ends;
        const Index step = turned ? -kRowLanes : kRowLanes;
        group + window < w.len ? WindowsOfGroup<true>(w, lanes, group, ends, step, factor, term, put)
                               : WindowsOfGroup<false>(w, lanes, group, ends, step, factor, term, put);
        const Index ready = group + window - shift, whole = ready < 0 ? 0 : ready / kRowLanes * kRowLanes + shift;
        const Index last = group + window < w.len ? whole : w.len;
        StoreLanes(w.results, w, stored, last);
        stored = last;
    }
}

void LessMeans(const AscanWindows& w) {
    Windows(
        w, 1. / (2 * w.half + 1), [](Doubles x) TZM_UNROLLED { return x; },
        [](const Doubles* means, const float* x, float* dst) TZM_UNROLLED {
            for (int k = 0; k < kRowLanes; k += W) Store(dst + k, Load(x + k) - Narrowed(means + k / kLanes));
        });
}

/// 1 / sqrt(v) for v > 0, 0 of infinity, NaN of NaN, within two units in the last place.
TZM_INLINE V ReciprocalRoot(V v) {
#ifdef __AVX512F__
    const V first = __builtin_ia32_rsqrt14ps512_mask(v, V{}, -1);
    const V root = first + (first * 0.5f) * (1.f - (v * first) * first);
    return v > 3e38f ? V{} : root;
#else
    for (int l = 0; l < W; ++l) v[l] = 1.f / __builtin_sqrtf(v[l]);
    return v;
#endif
}

void Levelled(const AscanWindows& w, bool squared, float level, float floor, float scale) {
    const double wide = static_cast<double>(scale), share = 1. / (2 * w.half + 1);
    const float highest = 1e18f, scaledFloor = floor * scale < highest ? floor * scale : highest; // can be squared
    const auto levelled = [level, scale](V strength, float least, const auto& reciprocal, const float* x, float* dst)
                              TZM_UNROLLED {
                                  const V divisor = strength < least ? V{} + least : strength; // or NaN
                                  const V quotient = Load(x) * scale * level * reciprocal(divisor);
                                  Store(dst, divisor == 0.f ? V{} : quotient);
                              };
    if (squared)
        Windows(
            w, share * wide * wide, [](Doubles x) TZM_UNROLLED { return x * x; },
            [&](const Doubles* means, const float* x, float* dst) TZM_UNROLLED {
                for (int k = 0; k < kRowLanes; k += W)
                    levelled(
                        Narrowed(means + k / kLanes), scaledFloor * scaledFloor,
                        [](V v) TZM_UNROLLED { return ReciprocalRoot(v); }, x + k, dst + k);
            });
    else
        Windows(
            w, share * wide, [](Doubles x) TZM_UNROLLED { return x; },
            [&](const Doubles* means, const float* x, float* dst) TZM_UNROLLED {
                for (int k = 0; k < kRowLanes; k += W)
                    levelled(
                        Narrowed(means + k / kLanes), scaledFloor, [](V v) TZM_UNROLLED { return 1.f / v; }, x + k,
                        dst + k);
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

extern const AscanKernels TZM_KERNEL_TABLE = {&LessMeans,   &Levelled,        &Phases,      &PhaseSteps, &FoldLanes,
                                              &UnfoldLanes, &UnfoldEnvelopes, &MixMirrored, &StreamRows};

} // namespace IPP::Simd
