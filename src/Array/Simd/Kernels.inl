// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/Kernels.h"

namespace IPP::Simd {

namespace {

#if defined __AVX512F__
constexpr int kLanes = 8;
#elif defined __AVX2__
constexpr int kLanes = 4;
#else
constexpr int kLanes = 2;
#endif

// A vector register of doubles, loaded from anywhere.
typedef double Doubles __attribute__((vector_size(8 * kLanes), aligned(8), may_alias));

// As many floats, half a register.
typedef float Floats __attribute__((vector_size(4 * kLanes), aligned(4), may_alias));

/// kLanes floats as doubles. GCC takes the conversion of a vector apart into halves.
inline Doubles Widened(const float* p) {
    const Floats floats = *reinterpret_cast<const Floats*>(p);
#if defined __AVX512F__ && !defined __clang__
    return __builtin_ia32_cvtps2pd512_mask(floats, Doubles{}, -1, 4);
#elif defined __AVX2__ && !defined __clang__
    return __builtin_ia32_cvtps2pd256(floats);
#else
    return __builtin_convertvector(floats, Doubles);
#endif
}

void Set(float value, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = value;
}

void Mul(const float* src, float* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] *= src[i];
}

void MulComplex(const Ipp32fc* src, Ipp32fc* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) {
        const Ipp32fc a = src[i];
        const Ipp32fc b = srcDst[i];
        srcDst[i].re = a.re * b.re - a.im * b.im;
        srcDst[i].im = a.re * b.im + a.im * b.re;
    }
}

void AddC(float value, float* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] += value;
}

void MulC(double value, float* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] = static_cast<float>(srcDst[i] * value);
}

void Sqr(float* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] *= srcDst[i];
}

// The modulus is that of 64-bit arithmetic, narrowed. 32-bit arithmetic gives it up to rounding as long as no square
// leaves the range of normal floats, and in a quarter of the time; a run of elements that doesn't is done again.
void Magnitude(const Ipp32fc* src, float* dst, int len) {
    constexpr int kRun = 256;
    constexpr float kSmallest = 1e-30f; // its ulp is far above the squares lost below it
    constexpr float kLargest = 1e38f;
    for (int start = 0; start < len; start += kRun) {
        const int end = start + kRun < len ? start + kRun : len;
        int outside = 0;
#pragma omp simd reduction(+ : outside)
        for (int i = start; i < end; ++i) {
            const float square = src[i].re * src[i].re + src[i].im * src[i].im;
            outside += !(square >= kSmallest && square <= kLargest);
            dst[i] = __builtin_sqrtf(square);
        }
        if (outside == 0) continue;
#pragma omp simd
        for (int i = start; i < end; ++i) {
            const double re = src[i].re;
            const double im = src[i].im;
            dst[i] = static_cast<float>(__builtin_sqrt(re * re + im * im));
        }
    }
}

void Conj(Ipp32fc* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i].im = -srcDst[i].im;
}

void MaxEvery(const float* src, float* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] = src[i] > srcDst[i] ? src[i] : srcDst[i];
}

void MinEvery(const float* src, float* srcDst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] = src[i] < srcDst[i] ? src[i] : srcDst[i];
}

void ThresholdAbove(float* srcDst, int len, float level) {
#pragma omp simd
    for (int i = 0; i < len; ++i) srcDst[i] = srcDst[i] > level ? level : srcDst[i];
}

void Flip(float* srcDst, int len) {
    float* last = srcDst + len - 1;
    const int half = len / 2;
#pragma omp simd
    for (int i = 0; i < half; ++i) {
        const float head = srcDst[i];
        srcDst[i] = last[-i];
        last[-i] = head;
    }
}

void MinMax(const float* src, int len, float* min, float* max) {
    float lowest = src[0];
    float highest = src[0];
#pragma omp simd reduction(min : lowest) reduction(max : highest)
    for (int i = 0; i < len; ++i) {
        lowest = src[i] < lowest ? src[i] : lowest;
        highest = src[i] > highest ? src[i] : highest;
    }
    *min = lowest;
    *max = highest;
}

int MaxInt(const int* src, int len) {
    int highest = src[0];
#pragma omp simd reduction(max : highest)
    for (int i = 0; i < len; ++i) highest = src[i] > highest ? src[i] : highest;
    return highest;
}

// The sum of what the operation makes of the elements. Several sums side by side hide the latency of an addition.
template <class Operation>
double SumOf(const float* src, int len, const Operation& operation) {
    constexpr int kSums = 4;
    Doubles sums[kSums] = {};
    int i = 0;
    for (; i + kSums * kLanes <= len; i += kSums * kLanes)
        for (int k = 0; k < kSums; ++k) sums[k] += operation(Widened(src + i + k * kLanes));
    const Doubles all = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    double sum = 0.;
    for (int l = 0; l < kLanes; ++l) sum += all[l];
    for (; i < len; ++i) sum += operation(static_cast<double>(src[i]));
    return sum;
}

double Sum(const float* src, int len) {
    return SumOf(src, len, [](auto x) { return x; });
}

double SumOfSquares(const float* src, int len) {
    return SumOf(src, len, [](auto x) { return x * x; });
}

void Sub(const float* src, float value, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = src[i] - value;
}

typedef float Four __attribute__((vector_size(16), aligned(4), may_alias));

Four Load(const float* p) { return *reinterpret_cast<const Four*>(p); }

// The sums of the elements of a, b, c and d.
Four Sums(Four a, Four b, Four c, Four d) {
    const Four ab = __builtin_shufflevector(a, b, 0, 4, 1, 5) + __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Four cd = __builtin_shufflevector(c, d, 0, 4, 1, 5) + __builtin_shufflevector(c, d, 2, 6, 3, 7);
    return __builtin_shufflevector(ab, cd, 0, 1, 4, 5) + __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
}

Four TapProducts(const float* taps, const float* src) {
    return Load(taps) * Load(src) + Load(taps + 4) * Load(src + 4) + Load(taps + 8) * Load(src + 8);
}

void TapReads(const int* bins, const float* taps, const float* factorRe, const float* factorIm, int count,
              const float* srcRe, const float* srcIm, float* dstRe, float* dstIm) {
    int i = 0;
    for (; i + 4 <= count; i += 4, taps += 48) {
        const float* re[4];
        const float* im[4];
        for (int k = 0; k < 4; ++k) {
            re[k] = srcRe + bins[i + k];
            im[k] = srcIm + bins[i + k];
        }
        const Four sumRe = Sums(TapProducts(taps, re[0]), TapProducts(taps + 12, re[1]), TapProducts(taps + 24, re[2]),
                                TapProducts(taps + 36, re[3]));
        const Four sumIm = Sums(TapProducts(taps, im[0]), TapProducts(taps + 12, im[1]), TapProducts(taps + 24, im[2]),
                                TapProducts(taps + 36, im[3]));
        const Four a = Load(factorRe + i);
        const Four b = Load(factorIm + i);
        *reinterpret_cast<Four*>(dstRe + i) = a * sumRe - b * sumIm;
        *reinterpret_cast<Four*>(dstIm + i) = a * sumIm + b * sumRe;
    }
    for (; i < count; ++i, taps += 12) {
        float sumRe = 0.f;
        float sumIm = 0.f;
        for (int t = 0; t < 12; ++t) {
            sumRe += taps[t] * srcRe[bins[i] + t];
            sumIm += taps[t] * srcIm[bins[i] + t];
        }
        dstRe[i] = factorRe[i] * sumRe - factorIm[i] * sumIm;
        dstIm[i] = factorRe[i] * sumIm + factorIm[i] * sumRe;
    }
}

// A run of neighbouring sums stays in registers for all taps, which the compiler doesn't find in the plain loops.
// Enough of them to hide the latency of an addition.
void Correlate(const double* signal, const double* taps, int tapCount, double* sums, int count) {
    constexpr int kRegisters = kLanes == 8 ? 4 : 8;
    constexpr int kRun = kRegisters * kLanes;
    static_assert(kCorrelateBlock % kRun == 0, "whole runs only");
    for (int i = 0; i < count; i += kRun) {
        Doubles run[kRegisters];
        for (int r = 0; r < kRegisters; ++r) run[r] = *reinterpret_cast<const Doubles*>(sums + i + r * kLanes);
        const double* window = signal + i;
        for (int j = 0; j < tapCount; ++j, ++window)
            for (int r = 0; r < kRegisters; ++r)
                run[r] += taps[j] * *reinterpret_cast<const Doubles*>(window + r * kLanes);
        for (int r = 0; r < kRegisters; ++r) *reinterpret_cast<Doubles*>(sums + i + r * kLanes) = run[r];
    }
}

void Interpolate(const float* src, const float* weights, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = src[i] + weights[i] * (src[i + 1] - src[i]);
}

// A register of floats, loaded from anywhere.
typedef float Wide __attribute__((vector_size(8 * kLanes), aligned(4), may_alias));

// Past the caches, dst on a boundary of the register's width.
void Store(Wide value, float* dst) {
#if defined __clang__
    typedef float Aligned __attribute__((vector_size(8 * kLanes), may_alias));
    __builtin_nontemporal_store(value, reinterpret_cast<Aligned*>(dst));
#elif defined __AVX512F__
    __builtin_ia32_movntps512(dst, value);
#elif defined __AVX2__
    __builtin_ia32_movntps256(dst, value);
#else
    __builtin_ia32_movntps(dst, value);
#endif
}

Wide LoadWide(const float* p) { return *reinterpret_cast<const Wide*>(p); }

// Past the caches whole cache lines go out at once. The lines ahead are asked for with all caches: the hint against
// the outer ones takes twice the time on some processors. The operation gets an element, or a vector of them, and the
// index of the first.
template <class Operation>
void Stream(const float* src, float* dst, int len, bool past, const Operation& operation) {
    constexpr int kLine = 16; // floats
    constexpr int kAhead = 8 * kLine, kWide = sizeof(Wide) / sizeof(float);
    if (!past || len < 4 * kLine) {
#pragma omp simd
        for (int i = 0; i < len; ++i) dst[i] = operation(src[i], i);
        return;
    }
    int i = 0;
    for (; i < len && reinterpret_cast<unsigned long>(dst + i) % 64 != 0; ++i) dst[i] = operation(src[i], i);
    for (; i + kLine <= len; i += kLine) {
        __builtin_prefetch(src + i + kAhead, 0, 3);
        for (int k = i; k < i + kLine; k += kWide) Store(operation(LoadWide(src + k), k), dst + k);
    }
    for (; i < len; ++i) dst[i] = operation(src[i], i);
}

// The element of an array that belongs to one of the source, or the vector of them.
float Beside(float, const float* p) { return *p; }
Wide Beside(Wide, const float* p) { return LoadWide(p); }

void StreamCopy(const float* src, float* dst, int len, bool past) {
    Stream(src, dst, len, past, [](auto x, int) { return x; });
}

void StreamMulC(float value, const float* src, float* dst, int len, bool past) {
    Stream(src, dst, len, past, [value](auto x, int) { return value * x; });
}

void StreamProduct(const float* src, const float* factors, float* dst, int len, bool past) {
    Stream(src, dst, len, past, [factors](auto x, int i) { return x * Beside(x, factors + i); });
}

void StreamAffine(float factor, float summand, const float* src, float* dst, int len, bool past) {
    Stream(src, dst, len, past, [factor, summand](auto x, int) { return x * factor + summand; });
}

void StreamSumScaled(const float* src, const float* summands, float factor, float* dst, int len, bool past) {
    Stream(src, dst, len, past, [summands, factor](auto x, int i) { return (x + Beside(x, summands + i)) * factor; });
}

void StreamLines(const float* lanes, int count, float* dst, long step) {
    for (int i = 0; i < count; ++i, lanes += kRowLanes, dst += step)
        for (int k = 0; k < kRowLanes; k += static_cast<int>(sizeof(Wide) / sizeof(float)))
            Store(LoadWide(lanes + k), dst + k);
}

void Product(const float* src, const float* factors, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = factors[i] * src[i];
}

float Floored(const float* src, float factor, const float* floor, float* dst, int len) {
    float most = 0.f;
#pragma omp simd reduction(max : most)
    for (int i = 0; i < len; ++i) {
        const float scaled = factor * src[i];
        dst[i] = floor[i] > scaled ? floor[i] : scaled;
        most = dst[i] > most ? dst[i] : most;
    }
    return most;
}

void Quotients(const float* src, const float* divisors, float limit, float factor, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) {
        const float divisor = divisors[i] > limit ? limit : divisors[i];
        const float quotient = src[i] / divisor * factor;
        dst[i] = divisor == 0.f ? 0.f : quotient;
    }
}

void Larger(const float* a, const float* b, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) {
        const float x = a[i];
        const float y = b[i];
        dst[i] = __builtin_fabsf(y) > __builtin_fabsf(x) ? y : x;
    }
}

void Numbers(const float* src, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = src[i] == src[i] ? src[i] : 0.f;
}

void RootMeans(const float* sums, float count, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = __builtin_sqrtf(sums[i] / count);
}

void MinMaxOfSums(const float* src, const float* summands, int len, float* min, float* max) {
    float lowest = src[0] + summands[0];
    float highest = lowest;
#pragma omp simd reduction(min : lowest) reduction(max : highest)
    for (int i = 0; i < len; ++i) {
        const float sum = src[i] + summands[i];
        lowest = sum < lowest ? sum : lowest;
        highest = sum > highest ? sum : highest;
    }
    *min = lowest;
    *max = highest;
}

void AddTo(const float* src, double* sums, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) sums[i] += static_cast<double>(src[i]);
}

void Add(const float* src, const float* summands, float* dst, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) dst[i] = src[i] + summands[i];
}

typedef int Ints __attribute__((vector_size(8 * kLanes), aligned(4), may_alias));
typedef unsigned Unsigneds __attribute__((vector_size(8 * kLanes), aligned(4), may_alias));
typedef float Reals __attribute__((vector_size(8 * kLanes), aligned(4), may_alias));
constexpr int kIntRegisters = kRowLanes / (2 * kLanes);

/// One number of each of the rows side by side.
struct LaneInts {
    Ints r[kIntRegisters];
};

LaneInts LoadLanes(const int* p) {
    LaneInts v;
    for (int k = 0; k < kIntRegisters; ++k) v.r[k] = *reinterpret_cast<const Ints*>(p + 2 * kLanes * k);
    return v;
}

void StoreLanes(const LaneInts& v, int* p) {
    for (int k = 0; k < kIntRegisters; ++k) *reinterpret_cast<Ints*>(p + 2 * kLanes * k) = v.r[k];
}

Ints Select(Ints where, Ints a, Ints b) { return (where & a) | (~where & b); }

// Floats as integers of the same order, every NaN as the largest one. The bits of a float are those of an integer with
// a sign of its own.
constexpr int kLargestKey = 0x7fffffff;

Ints KeyOf(Ints bits) {
    const Ints key = bits ^ ((bits >> 31) & kLargestKey);
    const Ints isNan = (bits & kLargestKey) > 0x7f800000;
    return Select(isNan, Ints{} + kLargestKey, key);
}

// The other way round; the largest key is a NaN.
Ints BitsOf(Ints key) { return key ^ ((key >> 31) & kLargestKey); }

// How far `part` of the way from key a to key b is, as numbers, or a largest key where those are none.
Ints KeyBetween(Ints a, Ints b, Reals part) {
    const Reals from = reinterpret_cast<Reals>(BitsOf(a)), to = reinterpret_cast<Reals>(BitsOf(b));
    return KeyOf(reinterpret_cast<Ints>(from + (to - from) * part));
}

// The (rank + 1)-th smallest key of each row: the largest bound with no more than rank keys below it. `low` and `high`
// enclose it; the next bound is where it would be if the keys between lay evenly, or every third time the middle, so
// that no keys take long. Once rank keys lie below `low`, the smallest of the others is the one.
LaneInts Smallest(const int* keys, int len, int rank) {
    LaneInts low = LoadLanes(keys), high = low, below, upTo;
    for (int e = 1; e < len; ++e) {
        const LaneInts key = LoadLanes(keys + kRowLanes * e);
        for (int k = 0; k < kIntRegisters; ++k) {
            low.r[k] = key.r[k] < low.r[k] ? key.r[k] : low.r[k];
            high.r[k] = key.r[k] > high.r[k] ? key.r[k] : high.r[k];
        }
    }
    for (int k = 0; k < kIntRegisters; ++k) {
        below.r[k] = Ints{};
        upTo.r[k] = Ints{} + len;
    }
    for (int pass = 0;; ++pass) {
        LaneInts bound, count;
        bool open = false;
        for (int k = 0; k < kIntRegisters; ++k) {
            const Unsigneds width = reinterpret_cast<Unsigneds>(high.r[k]) - reinterpret_cast<Unsigneds>(low.r[k]);
            const Ints middle = low.r[k] + reinterpret_cast<Ints>(width - width / 2);
            const Reals wanted = __builtin_convertvector(rank - below.r[k], Reals) + 0.5f;
            Ints next =
                KeyBetween(low.r[k], high.r[k], wanted / __builtin_convertvector(upTo.r[k] - below.r[k], Reals));
            next = next > high.r[k] ? high.r[k] : next;
            next = next > low.r[k] ? next : middle;
            bound.r[k] = pass % 3 == 2 ? middle : next;
            count.r[k] = Ints{};
            const Ints isOpen = (low.r[k] < high.r[k]) & (below.r[k] != rank);
            for (int l = 0; l < 2 * kLanes; ++l) open |= isOpen[l] != 0;
        }
        if (!open) break;
#pragma GCC unroll 4
        for (int e = 0; e < len; ++e) {
            const LaneInts key = LoadLanes(keys + kRowLanes * e);
            for (int k = 0; k < kIntRegisters; ++k) count.r[k] = key.r[k] < bound.r[k] ? count.r[k] + 1 : count.r[k];
        }
        for (int k = 0; k < kIntRegisters; ++k) {
            const Ints rises = (count.r[k] <= rank) & (low.r[k] < high.r[k]), falls = count.r[k] > rank;
            low.r[k] = rises ? bound.r[k] : low.r[k];
            below.r[k] = rises ? count.r[k] : below.r[k];
            high.r[k] = falls ? bound.r[k] - 1 : high.r[k];
            upTo.r[k] = falls ? count.r[k] : upTo.r[k];
        }
    }
    LaneInts smallest;
    for (int k = 0; k < kIntRegisters; ++k) smallest.r[k] = Ints{} + kLargestKey;
    for (int e = 0; e < len; ++e) {
        const LaneInts key = LoadLanes(keys + kRowLanes * e);
        for (int k = 0; k < kIntRegisters; ++k) {
            const Ints fitting = key.r[k] >= low.r[k] ? key.r[k] : Ints{} + kLargestKey;
            smallest.r[k] = fitting < smallest.r[k] ? fitting : smallest.r[k];
        }
    }
    return smallest;
}

// The key behind `key` in ascending order, rank + 1 keys being no larger than it at least.
LaneInts Next(const int* keys, int len, const LaneInts& key, int rank) {
    LaneInts next, upTo;
    for (int k = 0; k < kIntRegisters; ++k) {
        next.r[k] = Ints{} + kLargestKey;
        upTo.r[k] = Ints{};
    }
    for (int e = 0; e < len; ++e) {
        const LaneInts x = LoadLanes(keys + kRowLanes * e);
        for (int k = 0; k < kIntRegisters; ++k) {
            const Ints above = x.r[k] > key.r[k], beyond = above ? x.r[k] : Ints{} + kLargestKey;
            next.r[k] = beyond < next.r[k] ? beyond : next.r[k];
            upTo.r[k] = above ? upTo.r[k] : upTo.r[k] + 1;
        }
    }
    for (int k = 0; k < kIntRegisters; ++k) next.r[k] = Select(upTo.r[k] > rank + 1, key.r[k], next.r[k]);
    return next;
}

float FloatOf(int bits) {
    float value;
    __builtin_memcpy(&value, &bits, sizeof value);
    return value;
}

void LaneMedians(float* lanes, int len, float* medians) {
    int* const keys = reinterpret_cast<int*>(lanes);
    for (int i = 0; i < kRowLanes * len; i += 2 * kLanes) {
        Ints& run = *reinterpret_cast<Ints*>(keys + i);
        run = KeyOf(run);
    }
    const bool even = len % 2 == 0;
    const int rank = even ? len / 2 - 1 : len / 2;
    LaneInts middle = Smallest(keys, len, rank), next = even ? Next(keys, len, middle, rank) : middle;
    int bits[kRowLanes], nextBits[kRowLanes];
    for (int k = 0; k < kIntRegisters; ++k) {
        middle.r[k] = BitsOf(middle.r[k]);
        next.r[k] = BitsOf(next.r[k]);
    }
    StoreLanes(middle, bits);
    StoreLanes(next, nextBits);
    for (int l = 0; l < kRowLanes; ++l)
        medians[l] = even ? 0.5f * (FloatOf(bits[l]) + FloatOf(nextBits[l])) : FloatOf(bits[l]);
}

// A recursive filter of the first order over the rows side by side. `pending` is b1 x[e - 1] of the element before.
struct LaneFilter {
    static constexpr int kRegisters = kRowLanes / kLanes;
    double b0, b1, a1;
    Doubles y[kRegisters] = {};
    Doubles pending[kRegisters] = {};

    void Step(const float* x, float* out) {
        for (int k = 0; k < kRegisters; ++k) {
            const Doubles in = Widened(x + k * kLanes);
            y[k] = (pending[k] + b0 * in) - a1 * y[k];
            pending[k] = b1 * in;
            if (out) *reinterpret_cast<Floats*>(out + k * kLanes) = __builtin_convertvector(y[k], Floats);
        }
    }
};

void LaneZeroPhase(float* lanes, float* work, int len, double b0, double b1, double a1) {
    float* const tail = work + static_cast<long>(kRowLanes) * len;
    LaneFilter forwards{b0, b1, a1}, backwards{b0, b1, a1};
    const auto at = [](float* rows, int e) { return rows + static_cast<long>(kRowLanes) * e; };
    for (int e = len - 1; e >= 0; --e) forwards.Step(at(lanes, e), nullptr);
    for (int e = 0; e < len; ++e) forwards.Step(at(lanes, e), at(work, e));
    for (int e = len - 1; e >= 0; --e) forwards.Step(at(lanes, e), at(tail, len - 1 - e));
    for (int e = len - 1; e >= 0; --e) backwards.Step(at(tail, e), nullptr);
    for (int e = len - 1; e >= 0; --e) backwards.Step(at(work, e), at(lanes, e));
}

// Sorted keys of the rows side by side, of which one leaves and another enters in a single pass without branches: keys
// from the leaving one on move down, then every place takes the middle one of the entering key and of the two sorted
// keys that may stand there. Behind the last place stands a largest key.
void Exchange(int* sorted, int count, const LaneInts& leaving, const LaneInts& entering) {
    LaneInts below, here = LoadLanes(sorted);
    for (int k = 0; k < kIntRegisters; ++k) below.r[k] = Ints{} - kLargestKey - 1;
    for (int i = 0; i < count; ++i) {
        const LaneInts next = LoadLanes(sorted + static_cast<long>(kRowLanes) * (i + 1));
        LaneInts placed;
        for (int k = 0; k < kIntRegisters; ++k) {
            const Ints kept = here.r[k] < leaving.r[k] ? here.r[k] : next.r[k];
            const Ints above = below.r[k] > entering.r[k] ? below.r[k] : entering.r[k];
            placed.r[k] = above < kept ? above : kept;
            below.r[k] = kept;
        }
        StoreLanes(placed, sorted + static_cast<long>(kRowLanes) * i);
        here = next;
    }
}

// Places that no element has yet, or no more, hold largest keys, which are those of a NaN.
void LaneLessMedians(const float* lanes, int* sorted, int len, int half, float* dst) {
    const int places = 2 * half + 1 < len ? 2 * half + 1 : len;
    LaneInts none;
    for (int k = 0; k < kIntRegisters; ++k) none.r[k] = Ints{} + kLargestKey;
    for (int i = 0; i <= places; ++i) StoreLanes(none, sorted + static_cast<long>(kRowLanes) * i);
    const auto keyOf = [&](int e) {
        if (e < 0 || e >= len) return none;
        LaneInts key = LoadLanes(reinterpret_cast<const int*>(lanes) + static_cast<long>(kRowLanes) * e);
        for (int k = 0; k < kIntRegisters; ++k) key.r[k] = KeyOf(key.r[k]);
        return key;
    };
    for (int e = 0; e < half && e < len; ++e) Exchange(sorted, places, none, keyOf(e));
    for (int e = 0; e < len; ++e) {
        if (e + half < len || e > half) Exchange(sorted, places, keyOf(e - half - 1), keyOf(e + half));
        const int end = e + half + 1 < len ? e + half + 1 : len, count = end - (e > half ? e - half : 0);
        const LaneInts upper = LoadLanes(sorted + static_cast<long>(kRowLanes) * (count / 2));
        const LaneInts lower = LoadLanes(sorted + static_cast<long>(kRowLanes) * ((count - 1) / 2));
        for (int k = 0; k < kIntRegisters; ++k) {
            const long at = static_cast<long>(kRowLanes) * e + 2 * kLanes * k;
            const Reals a = reinterpret_cast<Reals>(BitsOf(lower.r[k])),
                        b = reinterpret_cast<Reals>(BitsOf(upper.r[k]));
            *reinterpret_cast<Reals*>(dst + at) =
                *reinterpret_cast<const Reals*>(lanes + at) - (count % 2 == 0 ? 0.5f * (a + b) : b);
        }
    }
}

// A run of neighbouring sums stays in registers for all rows.
void WeightedRows(const int* offsets, const float* weights, int count, const float* src, float* dst, int len) {
    typedef float Register __attribute__((vector_size(8 * kLanes), aligned(4), may_alias));
    constexpr int kFloats = 2 * kLanes;
    constexpr int kRegisters = kWeightedRun / kFloats < 8 ? kWeightedRun / kFloats : 8;
    static_assert(kWeightedRun % (kRegisters * kFloats) == 0, "whole runs only");
    for (int i = 0; i < len; i += kRegisters * kFloats) {
        Register run[kRegisters] = {};
        for (int k = 0; k < count; ++k) {
            const float* row = src + offsets[k] + i;
            for (int r = 0; r < kRegisters; ++r)
                run[r] += weights[k] * *reinterpret_cast<const Register*>(row + r * kFloats);
        }
        for (int r = 0; r < kRegisters; ++r) *reinterpret_cast<Register*>(dst + i + r * kFloats) = run[r];
    }
}

// Columns of a tile that stay in registers along the curves. The rows lie close together wherever they are read, so
// that most reads find them in the first cache.
template <int kRegisters> // beside each other
struct CurveColumns {
    typedef float Register __attribute__((vector_size(8 * kLanes), aligned(4), may_alias));
    static constexpr int kFloats = 2 * kLanes;
    static constexpr int kColumns = kRegisters * kFloats;
    static_assert(kCurveColumns % kColumns == 0, "whole registers only");

    Register run[kCurveRows][kRegisters];

    // By value: clang forgets the alignment of a vector that is referred to.
    static Register At(const float* p, int i) { return *reinterpret_cast<const Register*>(p + kFloats * i); }
    void Clear() {
        for (int r = 0; r < kCurveRows; ++r)
            for (int i = 0; i < kRegisters; ++i) run[r][i] = Register{};
    }
    void AddTo(float* sums, long step) const {
        for (int r = 0; r < kCurveRows; ++r)
            for (int i = 0; i < kRegisters; ++i)
                *reinterpret_cast<Register*>(sums + step * r + kFloats * i) += run[r][i];
    }
    // Distances begin .. end - 1 on one side.
    void Side(const int* offsets, const float* weights, int begin, int end, const float* src, int step) {
        for (long k = begin; k < end; ++k)
            for (int r = 0; r < kCurveRows; ++r) {
                const float* const p = src + offsets[kCurveRows * k + r] + step * k;
                for (int i = 0; i < kRegisters; ++i) run[r][i] += weights[kCurveRows * k + r] * At(p, i);
            }
    }
#if defined __clang__ // which shifts by constants only
    static constexpr bool kWholeLines = false;
    void SidesOfLines(const int*, const float*, int, int, const float*) {}
#else
    static constexpr bool kWholeLines = kFloats * sizeof(float) == 64 && kRegisters > 1;
    // The columns from a distance on, out of whole lines of the cache: an unaligned read of a register as long as a
    // line would take two of them, as one of two registers would take four in place of three.
    struct Shifted {
        typedef int Places __attribute__((vector_size(8 * kLanes)));
        Shifted(long distance, const Places& counting)
            : first(distance & -long{kFloats}), places(counting + static_cast<int>(distance - first)) {}
        void Read(const float* p, Register* columns) const {
            Register parts[kRegisters + 1];
            for (int i = 0; i <= kRegisters; ++i)
                parts[i] = *static_cast<const Register*>(__builtin_assume_aligned(p + first + kFloats * i, 64));
            for (int i = 0; i < kRegisters; ++i) columns[i] = __builtin_shuffle(parts[i], parts[i + 1], places);
        }
        const long first;
        const Places places;
    };
    void SidesOfLines(const int* offsets, const float* weights, int begin, int end, const float* src) {
        typename Shifted::Places counting;
        for (int i = 0; i < kFloats; ++i) counting[i] = i;
        for (long k = begin; k < end; ++k) {
            const Shifted before(-k, counting), behind(k, counting);
            for (int r = 0; r < kCurveRows; ++r) {
                const float* const p = src + offsets[kCurveRows * k + r];
                Register one[kRegisters], other[kRegisters];
                before.Read(p, one), behind.Read(p, other);
                for (int i = 0; i < kRegisters; ++i) run[r][i] += weights[kCurveRows * k + r] * (one[i] + other[i]);
            }
        }
    }
#endif
    void Sides(const int* offsets, const float* weights, int begin, int end, const float* src) {
        if constexpr (kWholeLines) return SidesOfLines(offsets, weights, begin, end, src);
        for (long k = begin; k < end; ++k)
            for (int r = 0; r < kCurveRows; ++r) {
                const float* const p = src + offsets[kCurveRows * k + r];
                for (int i = 0; i < kRegisters; ++i)
                    run[r][i] += weights[kCurveRows * k + r] * (At(p - k, i) + At(p + k, i));
            }
    }
};

void CurveTile(const int* offsets, const float* weights, int right, int left, const float* src, float* sums, long step,
               int columns) {
    const int both = left + 1 < right ? left + 1 : right, first = right < 1 ? right : 1;
    const auto sum = [&](auto run, int c) {
        run.Clear();
        run.Side(offsets, weights, 0, first, src + c, 1);
        run.Sides(offsets, weights, 1, both, src + c);
        run.Side(offsets, weights, both > 1 ? both : 1, right, src + c, 1);
        run.Side(offsets, weights, both > 1 ? both : 1, left + 1, src + c, -1);
        run.AddTo(sums + c, step);
    };
    constexpr int kMost = kLanes == 8 ? 2 : 1, kFloats = 2 * kLanes;
    int c = 0;
    for (; c + kMost * kFloats <= columns; c += kMost * kFloats) sum(CurveColumns<kMost>(), c);
    for (; c < columns; c += kFloats) sum(CurveColumns<1>(), c);
}

void TwoLegTimes(double t, double y, double ax, double ay, double dx, double dy, double* times, double* moveouts,
                 int len) {
    const double y1 = y + ay, y2 = y - ay, rest1 = y1 * y1 + t * t, rest2 = y2 * y2 + t * t;
#pragma omp simd
    for (int k = 0; k < len; ++k) {
        const double x1 = k * dx + ax, x2 = k * dx - ax;
        const double r1 = __builtin_sqrt(x1 * x1 + rest1), r2 = __builtin_sqrt(x2 * x2 + rest2);
        const double along = 0.5 * dx * __builtin_fabs(x1 / r1 + x2 / r2),
                     across = 0.5 * dy * __builtin_fabs(y1 / r1 + y2 / r2);
        times[k] = 0.5 * (r1 + r2);
        moveouts[k] = along > across ? along : across;
    }
}

// Sine and cosine by their series around the middle, where pi u turns by a quarter: the first term left out is below
// 1e-9.
void HarlanTaps(const float* u, int count, float threshold, float* taps, float* factorRe, float* factorIm) {
    constexpr double kPi = 3.14159265358979323846;
#pragma omp simd
    for (int i = 0; i < count; ++i) {
        const double x = kPi * (static_cast<double>(u[i]) - 0.5), y = x * x;
        const double sine = 1. - y / 2 * (1. - y / 12 * (1. - y / 30 * (1. - y / 56 * (1. - y / 90 * (1. - y / 132)))));
        const double cosine =
            -x * (1. - y / 6 * (1. - y / 20 * (1. - y / 42 * (1. - y / 72 * (1. - y / 110 * (1. - y / 156))))));
        const bool nearest = u[i] <= threshold;
        factorRe[i] = nearest ? 1.f : static_cast<float>(sine * cosine / (6. * kPi));
        factorIm[i] = nearest ? 0.f : static_cast<float>(-sine * sine / (6. * kPi));
    }
    const Four places[3] = {{4, 3, 2, 1}, {0, -1, -2, -3}, {-4, -5, 0, 0}}, one = {1, 1, 1, 1};
    const Four all = {1, 1, 1, 1}, two = {1, 1, 0, 0}, alone = {1, 0, 0, 0}, none = {0, 0, 0, 0};
    for (int i = 0; i < count; ++i, taps += 12) {
        if (u[i] <= threshold) {
            *reinterpret_cast<Four*>(taps) = none;
            *reinterpret_cast<Four*>(taps + 4) = alone;
            *reinterpret_cast<Four*>(taps + 8) = none;
            continue;
        }
        for (int k = 0; k < 3; ++k) {
            const Four apart = u[i] * one + places[k], size = apart < 0.f ? -apart : apart;
            *reinterpret_cast<Four*>(taps + 4 * k) = (k < 2 ? all : two) * ((6.f - size) / apart);
        }
    }
}

void Spread(const int* starts, const float* weights, const float* values, int count, float* grid) {
    for (int i = 0; i < count; ++i) {
        const Four value = Load(values + 4 * i);
        float* const first = grid + 4L * starts[i];
        const float* const weight = weights + static_cast<long>(kSpreadWidth) * i;
        for (int k = 0; k < kSpreadWidth; ++k)
            *reinterpret_cast<Four*>(first + 4 * k) = Load(first + 4 * k) + weight[k] * value;
    }
}

Doubles LoadDoubles(const double* p) { return *reinterpret_cast<const Doubles*>(p); }
void StoreDoubles(Doubles value, double* p) { *reinterpret_cast<Doubles*>(p) = value; }

double DotWide(const double* a, const double* b, int len) {
    constexpr int kSums = 4;
    Doubles sums[kSums] = {};
    int i = 0;
    for (; i + kSums * kLanes <= len; i += kSums * kLanes)
        for (int k = 0; k < kSums; ++k) sums[k] += LoadDoubles(a + i + k * kLanes) * LoadDoubles(b + i + k * kLanes);
    const Doubles all = (sums[0] + sums[1]) + (sums[2] + sums[3]);
    double sum = 0.;
    for (int l = 0; l < kLanes; ++l) sum += all[l];
    for (; i < len; ++i) sum += a[i] * b[i];
    return sum;
}

void AddScaledWide(double factor, const double* src, double* sums, int len) {
#pragma omp simd
    for (int i = 0; i < len; ++i) sums[i] += factor * src[i];
}

double FoldRow(double* row, const double* u, const double* q, double ui, double qi, const double* x, double xi,
               double* sums, int len) {
    Doubles even = {}, odd = {};
    const auto fold = [&](int i) {
        const Doubles element = LoadDoubles(row + i) - ui * LoadDoubles(q + i) - qi * LoadDoubles(u + i);
        StoreDoubles(element, row + i);
        StoreDoubles(LoadDoubles(sums + i) + xi * element, sums + i);
        return element * LoadDoubles(x + i);
    };
    int i = 0;
    for (; i + 2 * kLanes <= len; i += 2 * kLanes) {
        even += fold(i);
        odd += fold(i + kLanes);
    }
    even += odd;
    double sum = 0.;
    for (int l = 0; l < kLanes; ++l) sum += even[l];
    for (; i < len; ++i) {
        row[i] = row[i] - ui * q[i] - qi * u[i];
        sums[i] += xi * row[i];
        sum += row[i] * x[i];
    }
    return sum;
}

void TileProducts(const double* a, const double* b, long step, int count, double* sums, long sumsStep) {
    constexpr int kRegisters = 2;
    static_assert(kTileColumns % (kRegisters * kLanes) == 0, "whole registers only");
    for (int c = 0; c < kTileColumns; c += kRegisters * kLanes) {
        Doubles run[kTileRows][kRegisters] = {};
        for (long k = 0; k < count; ++k) {
            const Doubles first = LoadDoubles(b + k * step + c), second = LoadDoubles(b + k * step + c + kLanes);
            for (int r = 0; r < kTileRows; ++r) {
                run[r][0] += a[k * step + r] * first;
                run[r][1] += a[k * step + r] * second;
            }
        }
        for (int r = 0; r < kTileRows; ++r)
            for (int m = 0; m < kRegisters; ++m) {
                double* const to = sums + r * sumsStep + c + m * kLanes;
                StoreDoubles(LoadDoubles(to) + run[r][m], to);
            }
    }
}

} // namespace

extern const Kernels TZM_KERNEL_TABLE = {
    &Set,          &Mul,           &MulComplex, &AddC,          &MulC,           &Sqr,
    &Magnitude,    &Conj,          &MaxEvery,   &MinEvery,      &ThresholdAbove, &Flip,
    &MinMax,       &MaxInt,        &Sum,        &Sub,           &TapReads,       &Correlate,
    &SumOfSquares, &Interpolate,   &AddTo,      &Add,           &LaneMedians,    &LaneZeroPhase,
    &Product,      &Floored,       &Quotients,  &Larger,        &Numbers,        &RootMeans,
    &MinMaxOfSums, &StreamCopy,    &StreamMulC, &StreamProduct, &StreamAffine,   &StreamSumScaled,
    &StreamLines,  &WeightedRows,  &Spread,     &LaneLessMedians, &DotWide,      &AddScaledWide,
    &FoldRow,      &TileProducts,  &CurveTile,  &TwoLegTimes,   &HarlanTaps};

} // namespace IPP::Simd
