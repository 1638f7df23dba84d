// What the kernels of one instruction set share: registers of W floats, and A-scans or other rows between memory and
// the lanes of such registers.
#pragma once

#include "Array/Simd/FftKernels.h"

#define TZM_INLINE __attribute__((always_inline)) inline
#define TZM_UNROLLED __attribute__((always_inline)) // of a lambda

namespace IPP::Simd {

namespace {

constexpr int W = TZM_LANES;

typedef float V __attribute__((vector_size(4 * W)));
typedef int VI __attribute__((vector_size(4 * W)));
typedef float UnalignedV __attribute__((vector_size(4 * W), aligned(1), may_alias));

TZM_INLINE V Load(const float* p) { return *reinterpret_cast<const UnalignedV*>(p); }

TZM_INLINE void Store(float* p, V v) { *reinterpret_cast<UnalignedV*>(p) = v; }

/// Past the caches, p on a boundary of the register's width.
TZM_INLINE void Stream(float* p, V v) {
#if defined __clang__
    __builtin_nontemporal_store(v, reinterpret_cast<V*>(p));
#elif defined __AVX512F__
    __builtin_ia32_movntps512(p, v);
#elif defined __AVX2__
    __builtin_ia32_movntps256(p, v);
#else
    __builtin_ia32_movntps(p, v);
#endif
}

/// The larger of two magnitudes as bits, which have the order of floats, infinity and NaN at the top.
TZM_INLINE VI LargerMagnitude(VI most, V v) {
    const VI bits = reinterpret_cast<VI>(v) & 0x7fffffff;
    return bits > most ? bits : most;
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

/// The square root of v >= 0. AVX-512 takes the reciprocal root's first 14 bits and a step of Newton's, which costs
/// less than half of its square root: at most one unit in the last place off above 1e-36, smaller than the root below,
/// 0 of 0, NaN of NaN.
TZM_INLINE V Root(V v) {
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

// --- Shuffles -----------------------------------------------------------------------------------------------------

template <int... I>
struct Sequence {};
template <int N, int... I>
struct MakeSequence : MakeSequence<N - 1, N - 1, I...> {};
template <int... I>
struct MakeSequence<0, I...> {
    using Type = Sequence<I...>;
};

/// Lane l of the result is lane Mask::At(l, lanes) of (a, b); those of b count from the number of lanes.
template <class Mask, class Vector, int... I>
TZM_INLINE Vector Shuffled(Vector a, Vector b, Sequence<I...>) {
    return __builtin_shufflevector(a, b, Mask::At(I, int(sizeof(Vector) / 4))...);
}
template <class Mask, class Vector>
TZM_INLINE Vector Shuffled(Vector a, Vector b) {
    return Shuffled<Mask>(a, b, typename MakeSequence<sizeof(Vector) / 4>::Type());
}

/// Within every 128 bits: single floats of a and b in turn, from the first or the second half.
template <int Half>
struct UnpackSingles {
    static constexpr int At(int l, int lanes) { return l / 4 * 4 + l % 4 / 2 + 2 * Half + (l % 2 ? lanes : 0); }
};
/// The same with pairs of floats.
template <int Half>
struct UnpackPairs {
    static constexpr int At(int l, int lanes) { return l / 4 * 4 + l % 2 + 2 * Half + (l % 4 / 2 ? lanes : 0); }
};
/// Every other 128 bits of a, then of b.
template <int Odd>
struct EveryOtherQuad {
    static constexpr int At(int l, int lanes) {
        const int quad = l / 4, half = lanes / 8;
        return l % 4 + 4 * (2 * (quad % half) + Odd) + (quad < half ? 0 : lanes);
    }
};

// --- Transposes ---------------------------------------------------------------------------------------------------

/// Rows to columns: 4 by 4 within every 128 bits, then those among each other.
TZM_INLINE void Transpose(V (&rows)[W]) {
    Unroll<0, W / 4>([&](auto q) TZM_UNROLLED {
        V* r = rows + 4 * q.value;
        const V a = Shuffled<UnpackSingles<0>>(r[0], r[1]), b = Shuffled<UnpackSingles<1>>(r[0], r[1]);
        const V c = Shuffled<UnpackSingles<0>>(r[2], r[3]), d = Shuffled<UnpackSingles<1>>(r[2], r[3]);
        r[0] = Shuffled<UnpackPairs<0>>(a, c), r[1] = Shuffled<UnpackPairs<1>>(a, c);
        r[2] = Shuffled<UnpackPairs<0>>(b, d), r[3] = Shuffled<UnpackPairs<1>>(b, d);
    });
    const auto separate = [](auto& a, auto& b) TZM_UNROLLED {
        const V even = Shuffled<EveryOtherQuad<0>>(a, b), odd = Shuffled<EveryOtherQuad<1>>(a, b);
        a = even, b = odd;
    };
    Unroll<0, W == 8 ? 4 : 0>([&](auto c) TZM_UNROLLED { separate(rows[c.value], rows[c.value + 4]); });
    Unroll<0, W == 16 ? 4 : 0>([&](auto c) TZM_UNROLLED {
        auto* r = rows + c.value;
        separate(r[0], r[4]), separate(r[8], r[12]);
        separate(r[0], r[8]), separate(r[4], r[12]);
    });
}

TZM_INLINE Index Least(Index a, Index b) { return a < b ? a : b; }

TZM_INLINE const float* At(const void* base, Index bytes) {
    return reinterpret_cast<const float*>(static_cast<const char*>(base) + bytes);
}
TZM_INLINE float* At(void* base, Index bytes) { return reinterpret_cast<float*>(static_cast<char*>(base) + bytes); }

/// Rows to lanes, as loadRows has it, in tiles of W elements: put(k, lanes of element k).
template <class Put>
TZM_INLINE void LoadTiles(const void* src, Index srcStep, int rows, Index count, const Put& put) {
    Index k = 0;
    const auto whole = [&](auto allRows) TZM_UNROLLED {
        for (; k + W <= count; k += W) {
            V tile[W];
            Unroll<0, W>([&](auto r) TZM_UNROLLED {
                tile[r.value] = allRows.value || r.value < rows ? Load(At(src, r.value * srcStep) + k) : V{};
            });
            Transpose(tile);
            Unroll<0, W>([&](auto c) TZM_UNROLLED { put(k + c.value, tile[c.value]); });
        }
    };
    rows == W ? whole(Constant<true>()) : whole(Constant<false>());
    if (k == count) return;
    V rest[W];
    for (int r = 0; r < W; ++r) rest[r] = r < rows ? LoadFirst(At(src, r * srcStep) + k, count - k) : V{};
    Transpose(rest);
    for (Index c = 0; k + c < count; ++c) put(k + c, rest[c]);
}

/// The way back for the elements first .. last - 1: get(k) gives the lanes of element k, put(p, row) stores a register.
template <class Get, class Put>
TZM_INLINE void StoreTiles(const Get& get, int rows, Index first, Index last, void* dst, Index dstStep,
                           const Put& put) {
    Index k = first;
    const auto whole = [&](auto allRows) TZM_UNROLLED {
        for (; k + W <= last; k += W) {
            V tile[W];
            Unroll<0, W>([&](auto c) TZM_UNROLLED { tile[c.value] = get(k + c.value); });
            Transpose(tile);
            Unroll<0, W>([&](auto r) TZM_UNROLLED {
                if (allRows.value || r.value < rows) put(At(dst, r.value * dstStep) + k, tile[r.value]);
            });
        }
    };
    rows == W ? whole(Constant<true>()) : whole(Constant<false>());
    if (k >= last) return;
    V rest[W];
    for (int c = 0; c < W; ++c) rest[c] = k + c < last ? get(k + c) : V{};
    Transpose(rest);
    for (int r = 0; r < rows; ++r) StoreFirst(At(dst, r * dstStep) + k, rest[r], last - k);
}

} // namespace

} // namespace IPP::Simd
