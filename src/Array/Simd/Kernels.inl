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
        for (int k = 0; k < kSums; ++k)
            sums[k] +=
                operation(__builtin_convertvector(*reinterpret_cast<const Floats*>(src + i + k * kLanes), Doubles));
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

// Past the caches, dst on a boundary of 16 bytes.
void Store(Four value, float* dst) {
#if defined __clang__
    __builtin_nontemporal_store(value, reinterpret_cast<Four*>(dst));
#else
    __builtin_ia32_movntps(dst, value);
#endif
}

// Whole cache lines go out at once, and the lines ahead are asked for without a place in the outer caches.
template <class Operation>
void Stream(const float* src, float* dst, int len, const Operation& operation) {
    constexpr int kLine = 16; // floats
    constexpr int kAhead = 8 * kLine;
    int i = 0;
    for (; i < len && reinterpret_cast<unsigned long>(dst + i) % 64 != 0; ++i) dst[i] = operation(src[i]);
    for (; i + kLine <= len; i += kLine) {
        __builtin_prefetch(src + i + kAhead, 0, 0);
        for (int k = i; k < i + kLine; k += 4) Store(operation(Load(src + k)), dst + k);
    }
    for (; i < len; ++i) dst[i] = operation(src[i]);
    __builtin_ia32_sfence();
}

void StreamCopy(const float* src, float* dst, int len) {
    Stream(src, dst, len, [](auto x) { return x; });
}

void StreamMulC(float value, const float* src, float* dst, int len) {
    Stream(src, dst, len, [value](auto x) { return value * x; });
}

} // namespace

extern const Kernels TZM_KERNEL_TABLE = {
    &Set,      &Mul,       &MulComplex,     &AddC,        &MulC,       &Sqr,       &Magnitude, &Conj,
    &MaxEvery, &MinEvery,  &ThresholdAbove, &Flip,        &MinMax,     &MaxInt,    &Sum,       &Sub,
    &TapReads, &Correlate, &SumOfSquares,   &Interpolate, &StreamCopy, &StreamMulC};

} // namespace IPP::Simd
