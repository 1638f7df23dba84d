// Compiled once per instruction set, with internal linkage, and without any standard header, so that the linker can't
// hand code of one level to another.
#include "Array/Simd/FftKernels.h"
#include "Array/Simd/Lanes.inl"

namespace IPP::Simd {

namespace {

// --- Constant trigonometry ------------------------------------------------------------------------------------

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

constexpr double Cos(int k, int n) { return Sin(4 * k + n, 4 * n); }

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
constexpr int Factor(int n) { return n == 16 ? 4 : n % 2 == 0 ? 2 : n % 3 == 0 ? 3 : n % 5 == 0 ? 5 : n; }

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
        Unroll<0, h>([&](auto j) TZM_UNROLLED {
            sumRe[j.value] = re[j.value + 1] + re[N - 1 - j.value],
            difRe[j.value] = re[j.value + 1] - re[N - 1 - j.value];
            sumIm[j.value] = im[j.value + 1] + im[N - 1 - j.value],
            difIm[j.value] = im[j.value + 1] - im[N - 1 - j.value];
            re[0] += sumRe[j.value], im[0] += sumIm[j.value];
        });
        Unroll<1, h + 1>([&](auto k) TZM_UNROLLED {
            V aRe = re0, aIm = im0, bRe = V{}, bIm = V{};
            Unroll<0, h>([&](auto j) TZM_UNROLLED {
                constexpr float c = float(Cos((decltype(j)::value + 1) * decltype(k)::value, N));
                constexpr float s = float(Sin((decltype(j)::value + 1) * decltype(k)::value, N));
                aRe += sumRe[j.value] * c, aIm += sumIm[j.value] * c;
                bRe += difRe[j.value] * s, bIm += difIm[j.value] * s;
            });
            re[k.value] = aRe + bIm, im[k.value] = aIm - bRe;
            re[N - k.value] = aRe - bIm, im[N - k.value] = aIm + bRe;
        });
    } else { // X[k + m q] = sum over j of exp(-2 pi i j q / r) exp(-2 pi i j k / N) (transform of every r-th element
             // from j)[k]
        V partRe[r][m], partIm[r][m];
        Unroll<0, r>([&](auto j) TZM_UNROLLED {
            Unroll<0, m>([&](auto q) TZM_UNROLLED {
                partRe[j.value][q.value] = re[j.value + r * q.value],
                partIm[j.value][q.value] = im[j.value + r * q.value];
            });
            Dft<m>(partRe[j.value], partIm[j.value]);
        });
        Unroll<0, m>([&](auto k) TZM_UNROLLED {
            V legRe[r], legIm[r];
            Unroll<0, r>([&](auto j) TZM_UNROLLED {
                legRe[j.value] = partRe[j.value][k.value], legIm[j.value] = partIm[j.value][k.value];
                Rotate<decltype(j)::value* decltype(k)::value, N>(legRe[j.value], legIm[j.value]);
            });
            Dft<r>(legRe, legIm);
            Unroll<0, r>([&](auto q) TZM_UNROLLED {
                re[k.value + m * q.value] = legRe[q.value], im[k.value + m * q.value] = legIm[q.value];
            });
        });
    }
}

const float kZeros[W] = {};

TZM_INLINE V LoadBelow(const float* p, Index offset, Index limit) { return Load(offset < limit ? p + offset : kZeros); }

/// What is read and written: a leaf goes from the source to lane blocks, an inner pass works on lane blocks in place,
/// the last one goes from lane blocks to the target, and a general leaf from a source with limits to anywhere. Lane
/// blocks have im = re + W, so that few registers hold all addresses. The legs of the leaf's target stand side by side.
enum class Kind { Leaf, GeneralLeaf, Inner, Last };

template <int N, Kind kind>
void Butterflies(const FftPass& p) {
    constexpr bool twiddled = kind == Kind::Inner || kind == Kind::Last, fromBlocks = twiddled;
    constexpr bool toBlocks = kind == Kind::Leaf || kind == Kind::Inner;
    const Index srcNext = fromBlocks ? 2 * W : p.srcNext, dstNext = kind == Kind::Inner ? 2 * W : p.dstNext;
    const Index srcLeg = p.srcLeg, count = p.count;
    const Index dstLeg = kind == Kind::Leaf ? 2 * W : kind == Kind::Inner ? srcLeg : p.dstLeg;
    const Index reLimit = p.reLimit, imLimit = p.imLimit;
    const float scale = p.scale;
    const float* w = p.twiddles;
    const float *srcRe = p.srcRe, *srcIm = p.srcIm;
    float *dstRe = p.dstRe, *dstIm = p.dstIm;
    for (Index i = 0; i < count; ++i) {
        V re[N], im[N];
        Unroll<0, N>([&](auto j) TZM_UNROLLED {
            const Index at = j.value * srcLeg;
            if constexpr (kind == Kind::GeneralLeaf) {
                re[j.value] = LoadBelow(p.srcRe, i * srcNext + at, reLimit) * scale;
                im[j.value] = LoadBelow(p.srcIm, i * srcNext + at, imLimit) * scale;
            } else {
                re[j.value] = Load(srcRe + at), im[j.value] = Load(fromBlocks ? srcRe + at + W : srcIm + at);
            }
            if constexpr (twiddled && decltype(j)::value > 0) {
                const float c = w[2 * (j.value - 1)], s = w[2 * (j.value - 1) + 1];
                const V a = re[j.value], b = im[j.value];
                re[j.value] = a * c - b * s, im[j.value] = b * c + a * s;
            }
        });
        Dft<N>(re, im);
        float* to = kind == Kind::Inner ? const_cast<float*>(srcRe) : dstRe;
        Unroll<0, N>([&](auto k) TZM_UNROLLED {
            const Index at = k.value * dstLeg;
            Store(to + at, re[k.value]), Store(toBlocks ? to + at + W : dstIm + at, im[k.value]);
        });
        srcRe += srcNext, srcIm += srcNext, dstRe += dstNext, dstIm += dstNext;
        if constexpr (twiddled) w += 2 * (N - 1);
    }
}

/// `Block` pairs of outputs k, N - k of an odd radix N at once, so that the sums of legs are read once per block.
template <int Block>
TZM_INLINE void OddOutputs(const FftPass& p, const V* legs, int k, float* dstRe, float* dstIm) {
    const int h = (p.radix - 1) / 2;
    V aRe[Block], aIm[Block], bRe[Block], bIm[Block];
    Unroll<0, Block>([&](auto b) TZM_UNROLLED {
        aRe[b.value] = legs[0], aIm[b.value] = legs[1], bRe[b.value] = V{}, bIm[b.value] = V{};
    });
    const float* circle = p.circle + 2 * h * (k - 1);
    for (int j = 0; j < h; ++j) {
        const V sumRe = legs[4 * j + 2], sumIm = legs[4 * j + 3], difRe = legs[4 * j + 4], difIm = legs[4 * j + 5];
        Unroll<0, Block>([&](auto b) TZM_UNROLLED {
            const float c = circle[2 * (h * b.value + j)], s = circle[2 * (h * b.value + j) + 1];
            aRe[b.value] += sumRe * c, aIm[b.value] += sumIm * c;
            bRe[b.value] += difRe * s, bIm[b.value] += difIm * s;
        });
    }
    Unroll<0, Block>([&](auto b) TZM_UNROLLED {
        const Index low = (k + b.value) * p.dstLeg, high = (p.radix - k - b.value) * p.dstLeg;
        Store(dstRe + low, aRe[b.value] + bIm[b.value]), Store(dstIm + low, aIm[b.value] - bRe[b.value]);
        Store(dstRe + high, aRe[b.value] - bIm[b.value]), Store(dstIm + high, aIm[b.value] + bRe[b.value]);
    });
}

/// The transform of an odd radix by its definition, the legs j and N - j taken together.
template <Kind kind>
void OddButterflies(const FftPass& pass) {
    const FftPass p = pass;
    const int h = (p.radix - 1) / 2;
    constexpr int block = W == 16 ? 4 : 2; // 4 * block sums stay in registers
    V legs[2 + 2 * kMaxOddRadix];          // leg 0, then the sums and the differences of the pairs
    for (Index i = 0; i < p.count; ++i) {
        const auto leg = [&](int j, V& re, V& im) TZM_UNROLLED {
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

// --- Rows and columns ----------------------------------------------------------------------------------------------

void StoreRows(const float* src, Index srcStride, int rows, Index count, void* dst, Index dstStep) {
    StoreTiles([=](Index k) TZM_UNROLLED { return Load(src + k * srcStride); }, rows, 0, count, dst, dstStep,
               [](float* p, V v) TZM_UNROLLED { Store(p, v); });
}

/// a and b in turn, from the first or the second half.
template <int Half>
struct Interleaved {
    static constexpr int At(int l, int lanes) { return (l + lanes * Half) / 2 + (l % 2 ? lanes : 0); }
};
template <int Odd>
struct EverySecond {
    static constexpr int At(int l, int) { return 2 * l + Odd; }
};

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

// --- Pairs of real signals ----------------------------------------------------------------------------------------

void SeparatePair(const float* z, Index n, Index last, float* halves) {
    for (Index j = 1; j <= last; ++j, halves += 4 * W) {
        const V re = Load(z + 2 * W * j), im = Load(z + 2 * W * j + W);
        const V mirrorRe = Load(z + 2 * W * (n - j)), mirrorIm = Load(z + 2 * W * (n - j) + W);
        Store(halves, re + mirrorRe), Store(halves + W, im - mirrorIm);
        Store(halves + 2 * W, im + mirrorIm), Store(halves + 3 * W, mirrorRe - re);
    }
}

void JoinPair(const float* halves, Index last, Index n, float* z) {
    const auto put = [&](Index k, V re, V im) __attribute__((always_inline)) {
        Store(z + 2 * W * k, re), Store(z + 2 * W * k + W, im);
    };
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

// --- Envelopes ----------------------------------------------------------------------------------------------------

void LoadRows(const void* src, Index srcStep, int rows, Index count, float* dst, Index dstStride) {
    LoadTiles(src, srcStep, rows, count, [=](Index k, V lanes) TZM_UNROLLED { Store(dst + k * dstStride, lanes); });
}

void LoadRowsAndLevels(const void* src, Index srcStep, int rows, Index count, float* dst, Index dstStride,
                       float* largest) {
    VI most = {};
    LoadTiles(src, srcStep, rows, count, [&most, dst, dstStride](Index k, V lanes) TZM_UNROLLED {
        most = LargerMagnitude(most, lanes);
        Store(dst + k * dstStride, lanes);
    });
    Store(largest, reinterpret_cast<V>(most));
}

void ScaleLanes(float* srcDst, const float* factors, Index count) {
    const V re = Load(factors), im = Load(factors + W);
    for (Index k = 0; k < count; ++k, srcDst += 2 * W) {
        Store(srcDst, Load(srcDst) * re);
        Store(srcDst + W, Load(srcDst + W) * im);
    }
}

/// Of a lane block of the signal and one of its Hilbert transforms.
TZM_INLINE void SquaredEnvelopes(const float* signal, const float* hilbert, V& ofRe, V& ofIm) {
    const V re = Load(signal), im = Load(signal + W);
    const V hilbertOfRe = Load(hilbert + W) - im, hilbertOfIm = re - Load(hilbert);
    ofRe = re * re + hilbertOfRe * hilbertOfRe, ofIm = im * im + hilbertOfIm * hilbertOfIm;
}

void StoreEnvelopes(const float* signal, float* hilbert, const float* undo, int rows, Index count, void* dst,
                    Index dstStep) {
    constexpr Index run = 128; // which stays in the first cache
    const V undoRe = Load(undo), undoIm = Load(undo + W);
    for (Index first = 0; first < count; first += run) {
        const Index size = Least(count - first, run);
        const float* from = signal + 2 * W * first;
        float* envelopes = hilbert + 2 * W * first;
        for (Index at = 0; at < 2 * W * size; at += 2 * W) {
            V ofRe, ofIm;
            SquaredEnvelopes(from + at, envelopes + at, ofRe, ofIm);
            Store(envelopes + at, Root(ofRe) * undoRe);
            Store(envelopes + at + W, Root(ofIm) * undoIm);
        }
        StoreRows(envelopes, 2 * W, int(Least(rows, W)), size, At(dst, 0) + first, dstStep);
        if (rows > W) StoreRows(envelopes + W, 2 * W, rows - W, size, At(dst, W * dstStep) + first, dstStep);
    }
}

void EnvelopePeaks(const float* signal, const float* hilbert, const float* undo, Index count, float* peaks) {
    V mostRe{}, mostIm{};
    for (Index at = 0; at < 2 * W * count; at += 2 * W) {
        V ofRe, ofIm;
        SquaredEnvelopes(signal + at, hilbert + at, ofRe, ofIm);
        mostRe = ofRe > mostRe ? ofRe : mostRe, mostIm = ofIm > mostIm ? ofIm : mostIm;
    }
    Store(peaks, Root(mostRe) * Load(undo)), Store(peaks + W, Root(mostIm) * Load(undo + W));
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
                                            TZM_RADICES(Kind::Inner),
                                            TZM_RADICES(Kind::Last),
                                            &OddButterflies<Kind::GeneralLeaf>,
                                            &OddButterflies<Kind::Last>,
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
                                            &LoadRowsAndLevels,
                                            &ScaleLanes,
                                            &StoreEnvelopes,
                                            &EnvelopePeaks};

} // namespace IPP::Simd
