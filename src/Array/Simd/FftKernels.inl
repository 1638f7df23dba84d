// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/FftKernels.h"

#define TZM_INLINE __attribute__((always_inline)) inline

namespace IPP::Simd {

namespace {

constexpr int W = TZM_LANES;

typedef float V __attribute__((vector_size(4 * W)));
typedef int VI __attribute__((vector_size(4 * W)));
typedef float UnalignedV __attribute__((vector_size(4 * W), aligned(1), may_alias));

TZM_INLINE V Load(const float* p) {
    return *reinterpret_cast<const UnalignedV*>(p);
}

TZM_INLINE void Store(float* p, V v) {
    *reinterpret_cast<UnalignedV*>(p) = v;
}

// --- Constant trigonometry and loops ------------------------------------------------------------------------------

constexpr double kPi = 3.14159265358979323846;

/// sin(x) for |x| <= pi, from its series.
constexpr double SeriesSin(double x) {
    double term = x, sum = x;
    for (int i = 1; i < 16; ++i) {
        term *= -x * x / ((2 * i) * (2 * i + 1));
        sum += term;
    }
    return sum;
}

/// sin(2 pi k / n), the angle brought to the first quarter.
constexpr double Sin(int k, int n) {
    k = (k % n + n) % n;
    if (2 * k > n) return -Sin(n - k, n);
    if (4 * k > n) return SeriesSin(kPi * (n - 2 * k) / n);
    return SeriesSin(2 * kPi * k / n);
}

constexpr double Cos(int k, int n) {
    return Sin(4 * k + n, 4 * n);
}

template <int I>
struct Constant {
    static constexpr int value = I;
};

/// body(Constant<Begin>) .. body(Constant<End - 1>), unrolled.
template <int Begin, int End, class Body>
TZM_INLINE void Unroll(const Body& body) {
    if constexpr (Begin < End) {
        body(Constant<Begin>());
        Unroll<Begin + 1, End>(body);
    }
}

#define TZM_EACH(i, begin, end) Unroll<begin, end>([&](auto i) __attribute__((always_inline)) {
#define TZM_END                                                                                                        \
    });

// --- Butterflies --------------------------------------------------------------------------------------------------

/// Multiplies by exp(-2 pi i K / N), with the cheap cases of the eighths.
template <int K, int N>
TZM_INLINE void Rotate(V& re, V& im) {
    constexpr int k = K % N;
    const V a = re, b = im;
    if constexpr (k == 0) {
    } else if constexpr (2 * k == N) {
        re = -a, im = -b;
    } else if constexpr (4 * k == N) {
        re = b, im = -a;
    } else if constexpr (4 * k == 3 * N) {
        re = -b, im = a;
    } else if constexpr (8 * k == N) {
        constexpr float h = float(Cos(1, 8));
        re = (a + b) * h, im = (b - a) * h;
    } else if constexpr (8 * k == 3 * N) {
        constexpr float h = float(Cos(1, 8));
        re = (b - a) * h, im = (a + b) * -h;
    } else {
        constexpr float c = float(Cos(k, N)), s = float(Sin(k, N));
        re = a * c + b * s, im = b * c - a * s;
    }
}

/// How a composite radix N is split: FirstFactor(N) transforms of N / FirstFactor(N) first.
constexpr int Factor(int n) {
    return n == 16 ? 4 : n % 2 == 0 ? 2 : n % 3 == 0 ? 3 : n % 5 == 0 ? 5 : n;
}

/// The transform of N elements that stand in registers.
template <int N>
TZM_INLINE void Dft(V (&re)[N], V (&im)[N]) {
    constexpr int r = Factor(N), m = N / r;
    if constexpr (N == 1) {
    } else if constexpr (N == 2) {
        const V a = re[0], b = im[0];
        re[0] = a + re[1], im[0] = b + im[1];
        re[1] = a - re[1], im[1] = b - im[1];
    } else if constexpr (m ==
                         1) { // an odd prime: X[k], X[N - k] = A -+ i B, with A from the sums, B from the differences
        constexpr int h = (N - 1) / 2;
        const V re0 = re[0], im0 = im[0];
        V sumRe[h], sumIm[h], difRe[h], difIm[h];
        TZM_EACH(j, 0, h)
        sumRe[j.value] = re[j.value + 1] + re[N - 1 - j.value], difRe[j.value] = re[j.value + 1] - re[N - 1 - j.value];
        sumIm[j.value] = im[j.value + 1] + im[N - 1 - j.value], difIm[j.value] = im[j.value + 1] - im[N - 1 - j.value];
        re[0] += sumRe[j.value], im[0] += sumIm[j.value];
        TZM_END
        TZM_EACH(k, 1, h + 1)
        V aRe = re0, aIm = im0, bRe = V{}, bIm = V{};
        TZM_EACH(j, 0, h)
        constexpr float c = float(Cos((decltype(j)::value + 1) * decltype(k)::value, N));
        constexpr float s = float(Sin((decltype(j)::value + 1) * decltype(k)::value, N));
        aRe += sumRe[j.value] * c, aIm += sumIm[j.value] * c;
        bRe += difRe[j.value] * s, bIm += difIm[j.value] * s;
        TZM_END
        re[k.value] = aRe + bIm, im[k.value] = aIm - bRe;
        re[N - k.value] = aRe - bIm, im[N - k.value] = aIm + bRe;
        TZM_END
    } else { // X[k + m q] = sum over j of exp(-2 pi i j q / r) exp(-2 pi i j k / N) (transform of every r-th element
             // from j)[k]
        V partRe[r][m], partIm[r][m];
        TZM_EACH(j, 0, r)
        TZM_EACH(q, 0, m)
        partRe[j.value][q.value] = re[j.value + r * q.value], partIm[j.value][q.value] = im[j.value + r * q.value];
        TZM_END
        Dft<m>(partRe[j.value], partIm[j.value]);
        TZM_END
        TZM_EACH(k, 0, m)
        V legRe[r], legIm[r];
        TZM_EACH(j, 0, r)
        legRe[j.value] = partRe[j.value][k.value], legIm[j.value] = partIm[j.value][k.value];
        Rotate<decltype(j)::value* decltype(k)::value, N>(legRe[j.value], legIm[j.value]);
        TZM_END
        Dft<r>(legRe, legIm);
        TZM_EACH(q, 0, r)
        re[k.value + m * q.value] = legRe[q.value], im[k.value + m * q.value] = legIm[q.value];
        TZM_END
        TZM_END
    }
}

const float kZeros[W] = {};

TZM_INLINE V LoadBelow(const float* p, Index offset, Index limit) {
    return Load(offset < limit ? p + offset : kZeros);
}

enum class Kind { Leaf, GeneralLeaf, Twiddled };

template <int N, Kind kind>
void Butterflies(const FftPass& pass) {
    const FftPass p = pass; // a copy that no store can alias
    const float* w = p.twiddles;
    for (Index i = 0; i < p.count; ++i) {
        V re[N], im[N];
        TZM_EACH(j, 0, N)
        const Index at = i * p.srcNext + j.value * p.srcLeg;
        if constexpr (kind == Kind::GeneralLeaf) {
            re[j.value] = LoadBelow(p.srcRe, at, p.reLimit) * p.scale;
            im[j.value] = LoadBelow(p.srcIm, at, p.imLimit) * p.scale;
        } else {
            re[j.value] = Load(p.srcRe + at), im[j.value] = Load(p.srcIm + at);
        }
        if constexpr (kind == Kind::Twiddled && decltype(j)::value > 0) {
            const float c = w[2 * (j.value - 1)], s = w[2 * (j.value - 1) + 1];
            const V a = re[j.value], b = im[j.value];
            re[j.value] = a * c - b * s, im[j.value] = b * c + a * s;
        }
        TZM_END
        Dft<N>(re, im);
        TZM_EACH(k, 0, N)
        const Index at = i * p.dstNext + k.value * p.dstLeg;
        Store(p.dstRe + at, re[k.value]), Store(p.dstIm + at, im[k.value]);
        TZM_END
        if constexpr (kind == Kind::Twiddled) w += 2 * (N - 1);
    }
}

/// `Block` pairs of outputs k, N - k of an odd radix N at once, so that the sums of legs are read once per block.
template <int Block>
TZM_INLINE void OddOutputs(const FftPass& p, const V* legs, int k, float* dstRe, float* dstIm) {
    const int h = (p.radix - 1) / 2;
    V aRe[Block], aIm[Block], bRe[Block], bIm[Block];
    TZM_EACH(b, 0, Block)
    aRe[b.value] = legs[0], aIm[b.value] = legs[1], bRe[b.value] = V{}, bIm[b.value] = V{};
    TZM_END
    const float* circle = p.circle + 2 * h * (k - 1);
    for (int j = 0; j < h; ++j) {
        const V sumRe = legs[4 * j + 2], sumIm = legs[4 * j + 3], difRe = legs[4 * j + 4], difIm = legs[4 * j + 5];
        TZM_EACH(b, 0, Block)
        const float c = circle[2 * (h * b.value + j)], s = circle[2 * (h * b.value + j) + 1];
        aRe[b.value] += sumRe * c, aIm[b.value] += sumIm * c;
        bRe[b.value] += difRe * s, bIm[b.value] += difIm * s;
        TZM_END
    }
    TZM_EACH(b, 0, Block)
    const Index low = (k + b.value) * p.dstLeg, high = (p.radix - k - b.value) * p.dstLeg;
    Store(dstRe + low, aRe[b.value] + bIm[b.value]), Store(dstIm + low, aIm[b.value] - bRe[b.value]);
    Store(dstRe + high, aRe[b.value] - bIm[b.value]), Store(dstIm + high, aIm[b.value] + bRe[b.value]);
    TZM_END
}

/// The transform of an odd radix by its definition, the legs j and N - j taken together.
template <Kind kind>
void OddButterflies(const FftPass& pass) {
    const FftPass p = pass;
    const int h = (p.radix - 1) / 2;
    constexpr int block = W == 16 ? 4 : 2; // 4 * block sums stay in registers
    V legs[2 + 2 * kMaxOddRadix];          // leg 0, then the sums and the differences of the pairs
    for (Index i = 0; i < p.count; ++i) {
        const auto leg = [&](int j, V& re, V& im) __attribute__((always_inline)) {
            const Index at = i * p.srcNext + j * p.srcLeg;
            if constexpr (kind == Kind::GeneralLeaf) {
                re = LoadBelow(p.srcRe, at, p.reLimit) * p.scale, im = LoadBelow(p.srcIm, at, p.imLimit) * p.scale;
            } else {
                re = Load(p.srcRe + at), im = Load(p.srcIm + at);
                if (j > 0) {
                    const float* w = p.twiddles + 2 * (i * (p.radix - 1) + j - 1);
                    const V a = re, b = im;
                    re = a * w[0] - b * w[1], im = b * w[0] + a * w[1];
                }
            }
        };
        leg(0, legs[0], legs[1]);
        V re = legs[0], im = legs[1];
        for (int j = 1; j <= h; ++j) {
            V lowRe, lowIm, highRe, highIm;
            leg(j, lowRe, lowIm), leg(p.radix - j, highRe, highIm);
            V* pair = legs + 4 * j - 2;
            pair[0] = lowRe + highRe, pair[1] = lowIm + highIm, pair[2] = lowRe - highRe, pair[3] = lowIm - highIm;
            re += pair[0], im += pair[1];
        }
        float* dstRe = p.dstRe + i * p.dstNext;
        float* dstIm = p.dstIm + i * p.dstNext;
        Store(dstRe, re), Store(dstIm, im);
        int k = 1;
        for (; k + block - 1 <= h; k += block) OddOutputs<block>(p, legs, k, dstRe, dstIm);
        for (; k <= h; ++k) OddOutputs<1>(p, legs, k, dstRe, dstIm);
    }
}

// --- Products and permutations of lane forms ----------------------------------------------------------------------

void Multiply(const float* srcRe, const float* srcIm, Index srcStride, float* dstRe, float* dstIm, Index dstStride,
              const float* table, Index count) {
    for (Index k = 0; k < count; ++k) {
        const V a = Load(srcRe + k * srcStride), b = Load(srcIm + k * srcStride);
        const float c = table[2 * k], s = table[2 * k + 1];
        Store(dstRe + k * dstStride, a * c - b * s);
        Store(dstIm + k * dstStride, b * c + a * s);
    }
}

void MultiplyLanes(float* srcDst, const float* tableRe, const float* tableIm, Index tableStride, Index count) {
    for (Index k = 0; k < count; ++k) {
        float* at = srcDst + 2 * W * k;
        const V a = Load(at), b = Load(at + W), c = Load(tableRe + k * tableStride),
                s = Load(tableIm + k * tableStride);
        Store(at, a * c - b * s);
        Store(at + W, b * c + a * s);
    }
}

void Gather(const float* srcRe, const float* srcIm, Index srcStride, Index reLimit, Index imLimit, float scale,
            const int* order, float* dst, Index count) {
    for (Index k = 0; k < count; ++k) {
        const Index at = order[k] * srcStride;
        Store(dst + 2 * W * k, LoadBelow(srcRe, at, reLimit) * scale);
        Store(dst + 2 * W * k + W, LoadBelow(srcIm, at, imLimit) * scale);
    }
}

void Scatter(const float* src, const int* order, float* dstRe, float* dstIm, Index dstStride, Index count) {
    for (Index k = 0; k < count; ++k) {
        const Index at = order[k] * dstStride;
        Store(dstRe + at, Load(src + 2 * W * k)), Store(dstIm + at, Load(src + 2 * W * k + W));
    }
}

// --- Transposes ---------------------------------------------------------------------------------------------------

template <int... I>
struct Sequence {};
template <int N, int... I>
struct MakeSequence : MakeSequence<N - 1, N - 1, I...> {};
template <int... I>
struct MakeSequence<0, I...> {
    using Type = Sequence<I...>;
};

/// Lane l of the result is lane Mask::At(l) of (a, b); lanes of b count from W.
template <class Mask, int... I>
TZM_INLINE V Shuffled(V a, V b, Sequence<I...>) {
    return __builtin_shufflevector(a, b, Mask::At(I)...);
}
template <class Mask>
TZM_INLINE V Shuffled(V a, V b) {
    return Shuffled<Mask>(a, b, typename MakeSequence<W>::Type());
}

// Within every 128 bits: the single floats, then the pairs of floats, of a and b in turn.
template <int Half>
struct UnpackSingles {
    static constexpr int At(int l) { return l / 4 * 4 + l % 4 / 2 + 2 * Half + (l % 2 ? W : 0); }
};
template <int Half>
struct UnpackPairs {
    static constexpr int At(int l) { return l / 4 * 4 + l % 2 + 2 * Half + (l % 4 / 2 ? W : 0); }
};
/// The even or odd 128-bit parts of a, then those of b.
template <int Odd>
struct PickParts {
    static constexpr int At(int l) {
        const int part = 2 * (l / 4) + Odd, parts = W / 4;
        return (part < parts ? 4 * part : W + 4 * (part - parts)) + l % 4;
    }
};
/// a and b interleaved, first or second half.
template <int Half>
struct Interleaved {
    static constexpr int At(int l) { return (l + W * Half) / 2 + (l % 2 ? W : 0); }
};
template <int Odd>
struct EverySecond {
    static constexpr int At(int l) { return 2 * l + Odd; }
};

/// Rows of W floats to columns: 4 by 4 within every 128 bits, then the 128-bit parts among each other.
TZM_INLINE void Transpose(V (&rows)[W]) {
    V t[W];
    TZM_EACH(q, 0, W / 4) // rows 4 q .. 4 q + 3: afterwards t[4 q + c] holds their column c in every part
    constexpr int at = 4 * decltype(q)::value;
    const V a = Shuffled<UnpackSingles<0>>(rows[at], rows[at + 1]),
            b = Shuffled<UnpackSingles<1>>(rows[at], rows[at + 1]);
    const V c = Shuffled<UnpackSingles<0>>(rows[at + 2], rows[at + 3]);
    const V d = Shuffled<UnpackSingles<1>>(rows[at + 2], rows[at + 3]);
    t[at] = Shuffled<UnpackPairs<0>>(a, c), t[at + 1] = Shuffled<UnpackPairs<1>>(a, c);
    t[at + 2] = Shuffled<UnpackPairs<0>>(b, d), t[at + 3] = Shuffled<UnpackPairs<1>>(b, d);
    TZM_END
    TZM_EACH(c, 0, 4)
    constexpr int at = decltype(c)::value;
    if constexpr (W == 4) {
        rows[at] = t[at];
    } else if constexpr (W == 8) {
        rows[at] = Shuffled<PickParts<0>>(t[at], t[at + 4]), rows[at + 4] = Shuffled<PickParts<1>>(t[at], t[at + 4]);
    } else {
        const V e0 = Shuffled<PickParts<0>>(t[at], t[at + 4]), o0 = Shuffled<PickParts<1>>(t[at], t[at + 4]);
        const V e1 = Shuffled<PickParts<0>>(t[at + 8], t[at + 12]), o1 = Shuffled<PickParts<1>>(t[at + 8], t[at + 12]);
        rows[at] = Shuffled<PickParts<0>>(e0, e1), rows[at + 8] = Shuffled<PickParts<1>>(e0, e1);
        rows[at + 4] = Shuffled<PickParts<0>>(o0, o1), rows[at + 12] = Shuffled<PickParts<1>>(o0, o1);
    }
    TZM_END
}

TZM_INLINE const float* At(const void* base, Index bytes) {
    return reinterpret_cast<const float*>(static_cast<const char*>(base) + bytes);
}
TZM_INLINE float* At(void* base, Index bytes) {
    return reinterpret_cast<float*>(static_cast<char*>(base) + bytes);
}

/// The first n < W floats at p, zeros above; p may have any alignment.
TZM_INLINE V LoadFirst(const float* p, Index n) {
    alignas(V) float part[W] = {};
    __builtin_memcpy(part, p, 4 * n);
    return Load(part);
}
TZM_INLINE void StoreFirst(float* p, V v, Index n) {
    alignas(V) float part[W];
    Store(part, v);
    __builtin_memcpy(p, part, 4 * n);
}

void LoadRows(const void* src, Index srcStep, int rows, Index count, float* dst, Index dstStride) {
    for (Index k = 0; k < count; k += W) {
        const Index width = count - k < W ? count - k : W;
        V tile[W];
        if (width == W && rows == W) {
            TZM_EACH(r, 0, W)
            tile[r.value] = Load(At(src, r.value * srcStep) + k);
            TZM_END
        } else {
            for (int r = 0; r < W; ++r) tile[r] = r < rows ? LoadFirst(At(src, r * srcStep) + k, width) : V{};
        }
        Transpose(tile);
        if (width == W) {
            TZM_EACH(c, 0, W)
            Store(dst + (k + c.value) * dstStride, tile[c.value]);
            TZM_END
        } else {
            for (Index c = 0; c < width; ++c) Store(dst + (k + c) * dstStride, tile[c]);
        }
    }
}

void StoreRows(const float* src, Index srcStride, int rows, Index count, void* dst, Index dstStep, Index groupStride) {
    for (Index k = 0; k < count; k += W) {
        const Index width = count - k < W ? count - k : W;
        const Index at = k / W * groupStride;
        V tile[W];
        if (width == W) {
            TZM_EACH(c, 0, W)
            tile[c.value] = Load(src + (k + c.value) * srcStride);
            TZM_END
        } else {
            for (Index c = 0; c < W; ++c) tile[c] = c < width ? Load(src + (k + c) * srcStride) : V{};
        }
        Transpose(tile);
        if (width == W && rows == W) {
            TZM_EACH(r, 0, W)
            Store(At(dst, r.value * dstStep) + at, tile[r.value]);
            TZM_END
        } else {
            for (int r = 0; r < rows; ++r) StoreFirst(At(dst, r * dstStep) + at, tile[r], width);
        }
    }
}

void LoadColumns(const void* src, Index srcStep, int columns, Index count, float* dst) {
    for (Index y = 0; y < count; ++y) {
        const float* row = At(src, y * srcStep);
        V low, high;
        if (columns == W) {
            low = Load(row), high = Load(row + W);
        } else {
            alignas(V) float part[2 * W] = {};
            __builtin_memcpy(part, row, 8 * columns);
            low = Load(part), high = Load(part + W);
        }
        Store(dst + 2 * W * y, Shuffled<EverySecond<0>>(low, high));
        Store(dst + 2 * W * y + W, Shuffled<EverySecond<1>>(low, high));
    }
}

void StoreColumns(const float* src, int columns, Index count, void* dst, Index dstStep) {
    for (Index y = 0; y < count; ++y) {
        const V re = Load(src + 2 * W * y), im = Load(src + 2 * W * y + W);
        const V low = Shuffled<Interleaved<0>>(re, im), high = Shuffled<Interleaved<1>>(re, im);
        float* row = At(dst, y * dstStep);
        if (columns == W) {
            Store(row, low), Store(row + W, high);
        } else {
            alignas(V) float part[2 * W];
            Store(part, low), Store(part + W, high);
            __builtin_memcpy(row, part, 8 * columns);
        }
    }
}

// --- Envelopes ----------------------------------------------------------------------------------------------------

TZM_INLINE VI Bits(V v) {
    return reinterpret_cast<VI>(v);
}
TZM_INLINE V Float(VI v) {
    return reinterpret_cast<V>(v);
}

void LevelRows(float* srcDst, Index n, float* undo) {
    // The exponent bits of the largest magnitude are a power of two, and 254 less the exponent is its reciprocal. The
    // ends are clamped to what has both: rows near the largest float come out below 4, subnormal ones as they can.
    constexpr int exponent = 0x7f800000, lowest = 0x00800000, highest = 0x7e800000;
    for (int part = 0; part < 2 * W; part += W) {
        VI largest = VI{}; // as bits: for magnitudes their order is that of the floats, infinity and NaN at the top
        for (Index k = 0; k < n; ++k) {
            const VI bits = Bits(Load(srcDst + 2 * W * k + part)) & 0x7fffffff;
            largest = bits > largest ? bits : largest;
        }
        const VI broken = largest >= exponent;
        VI power = largest & exponent;
        power = power < lowest ? VI{} + lowest : power;
        power = power > highest ? VI{} + highest : power;
        const V factor = Float(0x7f000000 - power);
        const VI back = largest == 0 ? VI{} : power; // a row of zeros stays one, whatever its partner rounds to
        Store(undo + part, Float(broken ? VI{} + 0x7fc00000 : back));
        for (Index k = 0; k < n; ++k) {
            const V scaled = Load(srcDst + 2 * W * k + part) * factor;
            Store(srcDst + 2 * W * k + part, Float(Bits(scaled) & ~broken));
        }
    }
}

void SeparatePair(const float* z, Index n, Index last, float* halves) {
    for (Index j = 1; j <= last; ++j, halves += 4 * W) {
        const V re = Load(z + 2 * W * j), im = Load(z + 2 * W * j + W);
        const V mirrorRe = Load(z + 2 * W * (n - j)), mirrorIm = Load(z + 2 * W * (n - j) + W);
        Store(halves, re + mirrorRe), Store(halves + W, im - mirrorIm);
        Store(halves + 2 * W, im + mirrorIm), Store(halves + 3 * W, mirrorRe - re);
    }
}

void JoinPair(const float* halves, Index last, Index n, float* z) {
    const auto put = [&](Index k, V re, V im)
                         __attribute__((always_inline)) { Store(z + 2 * W * k, re), Store(z + 2 * W * k + W, im); };
    put(0, V{}, V{});
    for (Index k = last + 1; k < n - last; ++k) put(k, V{}, V{});
    for (Index j = 1; j <= last; ++j, halves += 4 * W) {
        const V re0 = Load(halves), im0 = Load(halves + W), re1 = Load(halves + 2 * W), im1 = Load(halves + 3 * W);
        if (2 * j == n) {
            put(j, re0 + re0, re1 + re1);
        } else {
            put(j, re0 - im1, im0 + re1);
            put(n - j, re0 + im1, re1 - im0);
        }
    }
}

void HilbertSpectrum(float* srcDst, Index n, float scale) {
    const Index positive = (n - 1) / 2; // frequencies 1 .. positive, and as many negative ones at the end
    const auto turn = [&](Index k, float s) __attribute__((always_inline)) {
        const V re = Load(srcDst + 2 * W * k), im = Load(srcDst + 2 * W * k + W);
        Store(srcDst + 2 * W * k, im * s), Store(srcDst + 2 * W * k + W, re * -s);
    };
    Store(srcDst, V{}), Store(srcDst + W, V{});
    for (Index k = 1; k <= positive; ++k) turn(k, scale);
    if (n % 2 == 0) Store(srcDst + W * n, V{}), Store(srcDst + W * n + W, V{});
    for (Index k = n - positive; k < n; ++k) turn(k, -scale);
}

void Magnitude(const float* signal, const float* hilbert, const float* undo, float* dst, Index n) {
    const V undoRe = Load(undo), undoIm = Load(undo + W);
    const auto root = [](V v) __attribute__((always_inline)) {
        for (int l = 0; l < W; ++l) v[l] = __builtin_sqrtf(v[l]);
        return v;
    };
    for (Index at = 0; at < 2 * W * n; at += 2 * W) {
        const V x0 = Load(signal + at), h0 = Load(hilbert + at), x1 = Load(signal + at + W),
                h1 = Load(hilbert + at + W);
        Store(dst + at, root(x0 * x0 + h0 * h0) * undoRe);
        Store(dst + at + W, root(x1 * x1 + h1 * h1) * undoIm);
    }
}

#define TZM_RADICES(kind)                                                                                              \
    {                                                                                                                  \
        nullptr, &Butterflies<1, kind>, &Butterflies<2, kind>, &Butterflies<3, kind>, &Butterflies<4, kind>,           \
            &Butterflies<5, kind>, &Butterflies<6, kind>, &Butterflies<7, kind>, &Butterflies<8, kind>,                \
            &Butterflies<9, kind>, &Butterflies<10, kind>, &Butterflies<11, kind>, &Butterflies<12, kind>,             \
            &Butterflies<13, kind>, nullptr, &Butterflies<15, kind>, &Butterflies<16, kind>                            \
    }

} // namespace

extern const FftKernels TZM_KERNEL_TABLE = {TZM_LANES,
                                            TZM_RADICES(Kind::Leaf),
                                            TZM_RADICES(Kind::GeneralLeaf),
                                            TZM_RADICES(Kind::Twiddled),
                                            &OddButterflies<Kind::GeneralLeaf>,
                                            &OddButterflies<Kind::Twiddled>,
                                            &Multiply,
                                            &MultiplyLanes,
                                            &Gather,
                                            &Scatter,
                                            &LoadRows,
                                            &StoreRows,
                                            &LoadColumns,
                                            &StoreColumns,
                                            &SeparatePair,
                                            &JoinPair,
                                            &LevelRows,
                                            &HilbertSpectrum,
                                            &Magnitude};

} // namespace IPP::Simd
