// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/AscanKernels.h"
#include "Array/Simd/Lanes.inl"

namespace IPP::Simd {

namespace {

constexpr int kLanes = W / 2; // doubles in a register

typedef double Doubles __attribute__((vector_size(8 * kLanes)));
typedef float Floats __attribute__((vector_size(4 * kLanes)));

template <int First, int... I>
TZM_INLINE Doubles Widened(V v, Sequence<I...>) {
    return __builtin_convertvector(__builtin_shufflevector(v, v, First + I...), Doubles);
}
template <int... I>
TZM_INLINE V Joined(Floats a, Floats b, Sequence<I...>) {
    return __builtin_shufflevector(a, b, I...);
}

/// Sums of R registers side by side. 32 bits hold no more than the terms since the last call of Keep, 64 bits those
/// before.
template <int R>
struct Sums {
    template <class Add>
    TZM_INLINE void Take(const float* lanes, const Add& add) {
        for (int k = 0; k < R; ++k) recent[k] = add(recent[k], Load(lanes + k * W));
    }

    TZM_INLINE V Of(int k) const { return before[k] + recent[k]; }

    TZM_INLINE void Store(float* to) const {
        for (int k = 0; k < R; ++k) Simd::Store(to + k * W, Of(k));
    }

    TZM_INLINE void Keep() {
        for (int k = 0; k < R; ++k) {
            low[k] += Widened<0>(recent[k], MakeSequence<kLanes>::Type());
            high[k] += Widened<kLanes>(recent[k], MakeSequence<kLanes>::Type());
            before[k] = Joined(__builtin_convertvector(low[k], Floats), __builtin_convertvector(high[k], Floats),
                               MakeSequence<W>::Type());
            recent[k] = V{};
        }
    }

    V recent[R] = {}, before[R] = {};
    Doubles low[R] = {}, high[R] = {};
};
constexpr Index kRecent = 16;

/// A product that isn't contracted with what follows, so that all copies of a loop give the same bits.
TZM_INLINE V Rounded(V product) {
#ifdef __AVX512F__
    asm("" : "+v"(product));
#else
    asm("" : "+x"(product));
#endif
    return product;
}

/// Elements from p to the next boundary of a cache line, where streams begin.
Index BeforeLine(const float* p) { return -(reinterpret_cast<Index>(p) / Index{sizeof(float)}) & 15; }

/// Elements first .. last - 1, as StoreTiles has it, past the caches or not.
template <class Get>
TZM_INLINE void PutRows(const Get& get, int rows, Index first, Index last, float* dst, Index dstStep, bool past) {
    const Index step = dstStep * sizeof(float), line = past ? Least(first + BeforeLine(dst + first), last) : last;
    StoreTiles(get, rows, first, line, dst, step, [](float* p, V v) TZM_UNROLLED { Store(p, v); });
    StoreTiles(get, rows, line, last, dst, step, [](float* p, V v) TZM_UNROLLED { Stream(p, v); });
}

/// The windows around the elements of one group, as Windows has it. `ends` holds the sums from each element of the
/// group to its end, and then, if there is a next one, those of that in opposite order: each step makes room for one.
template <int R, bool Next, class Source, class Add, class Use>
TZM_INLINE void WindowsOfGroup(const WindowSums& w, const Source& source, Index group, float* ends, Index step,
                               double factor, const Add& add, const Use& use) {
    Sums<R> beginning, end;
    const Index half = w.half, window = 2 * half + 1, last = Least(group + window, w.len);
    const double* const shares = w.shares;
    for (Index e = group; e < last; beginning.Keep(), end.Keep())
        for (const Index stop = Least(e + kRecent, last); e < stop; ++e, ends += step) {
            __builtin_prefetch(source.Coming(e), 0, 3);
            if (e > group) beginning.Take(source.At(e + half), add);
            V means[R];
            const auto share = static_cast<float>(shares[e] * factor);
            for (int k = 0; k < R; ++k) means[k] = Rounded((Load(ends + k * W) + beginning.Of(k)) * share);
            use(e, means);
            if constexpr (Next) {
                end.Take(source.At(2 * group + window + half - e), add);
                end.Store(ends);
            }
        }
}

/// Sums over windows, add(sum, x) each, times the factor and the share of one element in a window, as R registers:
/// use(e, sums). The elements lie in groups as long as a window, which then is the end of one group and the beginning
/// of the next: no sum owes anything to what lies outside its window (M. van Herk, Pattern Recognition Letters 13
/// (1992), 517-521, who takes maxima). The source gives the elements side by side, zeros ahead of the first and behind
/// the last, and what is worth being asked for meanwhile; it hears how many elements are needed, and how many are done.
template <int R, class Source, class Add, class Use>
TZM_INLINE void Windows(const WindowSums& w, Source& source, double factor, const Add& add, const Use& use) {
    const Index half = w.half, window = 2 * half + 1;
    source.Need(half + 1);
    Sums<R> end;
    for (Index r = window - 1; r >= 0; --r) {
        end.Take(source.At(r - half), add);
        end.Store(w.ends + R * W * r);
        if (r % kRecent == 0) end.Keep();
    }
    bool turned = false;
    for (Index group = 0; group < w.len; group += window, turned = !turned) {
        source.Need(group + window + half + 1);
        float* const ends = turned ? w.ends + R * W * (window - 1) : w.ends;
        const Index step = turned ? -R * W : R * W;
        group + window < w.len ? WindowsOfGroup<R, true>(w, source, group, ends, step, factor, add, use)
                               : WindowsOfGroup<R, false>(w, source, group, ends, step, factor, add, use);
        source.Done(group + window);
    }
}

/// A-scans side by side, times a scale, which come and go back a window ahead of the sums and behind them, in the first
/// cache.
template <class Scale>
class LoadedAscans {
public:
    LoadedAscans(const AscanWindows& windows, const Scale& scaled)
        : w(windows), scale(scaled), apart(w.measured != w.src), lanes(w.lanes + kRowLanes * w.half),
          coming(w.src + w.ascans * w.srcStep), shift(w.past ? BeforeLine(w.dst) : 0) {}

    TZM_INLINE const float* At(Index e) const { return lanes + kRowLanes * e; }
    TZM_INLINE const float* Coming(Index e) const { return coming + kRowLanes * e; }
    const float* Values() const { return apart ? w.values : lanes; }

    void Need(Index count) {
        const Index last = Least((count + kRowLanes - 1) / kRowLanes * kRowLanes, w.len);
        Bring(w.measured, w.measuredStep, last, lanes);
        if (apart) Bring(w.src, w.srcStep, last, w.values);
        loaded = last;
    }

    void Done(Index count) {
        const Index whole = count < shift ? 0 : (count - shift) / kRowLanes * kRowLanes + shift; // lines
        const Index last = count < w.len ? whole : w.len;
        for (int y = 0; y < w.ascans; y += W)
            PutRows([from = w.results + y](Index e) TZM_UNROLLED { return Load(from + kRowLanes * e); },
                    int(Least(w.ascans - y, W)), stored, last, w.dst + y * w.dstStep, w.dstStep, w.past);
        stored = last;
    }

private:
    void Bring(const float* src, Index step, Index last, float* to) const {
        for (int y = 0; y < kRowLanes; y += W)
            LoadTiles(src + loaded + Least(y, w.ascans - 1) * step, step * sizeof(float),
                      int(y < w.ascans ? Least(w.ascans - y, W) : 0), last - loaded,
                      [this, first = to + kRowLanes * loaded + y](Index k, V v)
                          TZM_UNROLLED { Store(first + kRowLanes * k, scale(v)); });
    }

    const AscanWindows& w;
    const Scale scale;
    const bool apart;
    float* const lanes; // between zeros
    const float* const coming;
    const Index shift;
    Index loaded = 0, stored = 0;
};

/// The same with a source of A-scans: use(sums, elements of src, those of dst).
template <class Scale, class Add, class Use>
TZM_INLINE void AscansInWindows(const AscanWindows& w, const Scale& scale, double factor, const Add& add,
                                const Use& use) {
    LoadedAscans<Scale> source(w, scale);
    Windows<kRowLanes / W>(w, source, factor, add,
                           [&use, values = source.Values(), results = w.results](Index e, const V* means)
                               TZM_UNROLLED { use(means, values + kRowLanes * e, results + kRowLanes * e); });
}

/// A power of two with which no sum over a window leaves the range of floats.
TZM_INLINE float WithinRange(const WindowSums& w) {
    float share = 1.f;
    for (Index n = 1; n < 2 * Index{w.half} + 1; n *= 2) share *= 0.5f;
    return share;
}

void LessMeans(const AscanWindows& w) {
    const float within = WithinRange(w);
    AscansInWindows(
        w, [](V v) TZM_UNROLLED { return v; }, 1. / within,
        [within](V sum, V x) TZM_UNROLLED { return sum + x * within; },
        [](const V* means, const float* x, float* dst) TZM_UNROLLED {
            for (int k = 0; k < kRowLanes; k += W) Store(dst + k, Load(x + k) - means[k / W]);
        });
}

/// A strip of rows, in which windows go from row to row.
template <int Columns>
struct Strip {
    TZM_INLINE const float* At(Index e) const { return e < 0 || e >= len ? zeros : src + step * e; }
    TZM_INLINE const float* Coming(Index e) const { return src + step * e + Columns; } // of the next strip
    void Need(Index) const {}
    void Done(Index) const {}

    const float* src;
    Index step, len;
    float zeros[Columns];
};

void LessStripMeans(const WindowSums& w, const float* src, Index step, float* dst, Index dstStep, bool past) {
    constexpr int kSums = W < 8 ? 8 : kStripLanes / W, kColumns = kSums * W;
    static_assert(kStripLanes % kColumns == 0, "whole registers only");
    const float within = WithinRange(w);
    for (int c = 0; c < kStripLanes; c += kColumns, src += kColumns, dst += kColumns) {
        Strip<kColumns> source{src, step, w.len, {}};
        Windows<kSums>(
            w, source, 1. / within, [within](V sum, V x) TZM_UNROLLED { return sum + x * within; },
            [=](Index e, const V* means) TZM_UNROLLED {
                for (int k = 0; k < kColumns; k += W) {
                    const V rest = Load(src + step * e + k) - means[k / W];
                    past ? Stream(dst + dstStep * e + k, rest) : Store(dst + dstStep * e + k, rest);
                }
            });
    }
}

/// level * x / sqrt(v) for v >= 1e-38, to two units in the last place; 0 of an infinite v, NaN of NaN.
TZM_INLINE V OverRoot(float level, V x, V v) {
#ifdef __AVX512F__ // 14 bits and a step of Newton's
    const V first = __builtin_ia32_rsqrt14ps512_mask(v, V{}, -1);
    const V quotient = (x * (0.5f * level)) * first * (3.f - (v * first) * first);
    return v > 3e38f ? V{} : quotient;
#else
    for (int l = 0; l < W; ++l) v[l] = __builtin_sqrtf(v[l]);
    return x * level / v;
#endif
}

void Levelled(const AscanWindows& w, bool squared, float level, float floor, float scale) {
    // From 1e-38 on there is a reciprocal root, up to 1e18 a square.
    const float least = floor * scale < 1e18f ? floor * scale : 1e18f, square = least * least;
    const V lowest = V{} + (squared ? square : least), some = V{} + 1e-38f, floors = lowest > some ? lowest : some;
    const auto scaled = [scale](V v) TZM_UNROLLED { return v * scale; };
    const auto levelled = [&](const auto& over) TZM_UNROLLED {
        return [&](const V* means, const float* x, float* dst) TZM_UNROLLED {
            for (int k = 0; k < kRowLanes; k += W) {
                const V strength = means[k / W];
                const V divisor = strength < floors ? floors : strength; // or NaN
                Store(dst + k, over(Load(x + k), divisor));
            }
        };
    };
    if (squared)
        AscansInWindows(
            w, scaled, 1., [](V sum, V x) TZM_UNROLLED { return sum + x * x; },
            levelled([level](V x, V v) TZM_UNROLLED { return OverRoot(level, x, v); }));
    else
        AscansInWindows(
            w, scaled, 1., [](V sum, V x) TZM_UNROLLED { return sum + x; },
            levelled([level](V x, V v) TZM_UNROLLED { return x * level / v; }));
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

void RowLevels(const float* src, Index srcStep, int rows, Index count, float* levels) {
    for (int row = 0; row < rows; ++row, src += srcStep) {
        VI most = {}, other = {};
        Index k = 0;
        for (; k + 2 * W <= count; k += 2 * W) {
            most = LargerMagnitude(most, Load(src + k));
            other = LargerMagnitude(other, Load(src + k + W));
        }
        for (; k < count; k += W) most = LargerMagnitude(most, LoadFirst(src + k, Least(count - k, W)));
        most = LargerMagnitude(most, reinterpret_cast<V>(other));
        int largest = 0;
        for (int l = 0; l < W; ++l) largest = most[l] > largest ? most[l] : largest;
        __builtin_memcpy(levels + row, &largest, sizeof largest);
    }
}

void FoldRows(const float* src, Index srcStep, int rows, Index count, const float* factors, float* dst) {
    for (int part = 0; part < 2 * W; part += W)
        LoadTiles(src + Least(part, rows - 1) * srcStep, srcStep * sizeof(float),
                  int(part < rows ? Least(rows - part, W) : 0), count,
                  [to = dst + part, count, factor = Load(factors + part)](Index k, V lanes)
                      TZM_UNROLLED { Store(to + 2 * W * Folded(k, count), lanes * factor); });
}

/// Both parts of lane blocks as rows: get(place of element k in folded order, k, part's factors).
template <class Get>
TZM_INLINE void PutUnfolded(const Get& get, const float* factors, Index count, int rows, float* dst, Index dstStep,
                            bool past) {
    for (int part = 0; part < rows; part += W)
        PutRows([&get, part, count, factor = Load(factors + part)](Index k)
                    TZM_UNROLLED { return get(2 * W * Folded(k, count) + part, k) * factor; },
                int(Least(rows - part, W)), 0, count, dst + part * dstStep, dstStep, past);
}

void PutLanes(const float* folded, const float* factors, float oddSign, Index count, int rows, float* dst,
              Index dstStep, bool past) {
    PutUnfolded([=](Index at, Index k) TZM_UNROLLED { return Load(folded + at) * (k % 2 == 0 ? 1.f : oddSign); },
                factors, count, rows, dst, dstStep, past);
}

void PutEnvelopes(const float* signal, const float* hilbert, const float* factors, Index count, int rows, float* dst,
                  Index dstStep, bool past) {
    PutUnfolded(
        [=](Index at, Index) TZM_UNROLLED {
            const V x = Load(signal + at), h = Load(hilbert + at);
            return Root(x * x + h * h);
        },
        factors, count, rows, dst, dstStep, past);
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

extern const AscanKernels TZM_KERNEL_TABLE = {&LessMeans, &Levelled, &Phases,       &PhaseSteps,  &RowLevels,
                                              &FoldRows,  &PutLanes, &PutEnvelopes, &MixMirrored, &LessStripMeans};

} // namespace IPP::Simd
