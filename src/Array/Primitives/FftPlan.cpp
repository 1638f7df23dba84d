#include "Array/Primitives/FftPlan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "Array/IppException.h"
#include "Array/Primitives/FftTables.h"
#include "Array/Simd/Dispatch.h"

namespace IPP {

using Simd::FftKernels;
using Simd::FftPass;

namespace {

constexpr Index kLongestPlan = 1 << 22;
constexpr Index kNoLimit = std::numeric_limits<Index>::max();

/// cos and sin of 2 pi j k / n for the pairs of an odd radix.
std::vector<float> Circle(Index n) {
    std::vector<float> circle;
    for (Index k = 1; k <= n / 2; ++k)
        for (Index j = 1; j <= n / 2; ++j) Append(circle, std::conj(Turn(j * k, n)));
    return circle;
}

/// Vector operations of a twiddled butterfly, by radix, with its loads and stores; 0 where there is none.
constexpr double kButterflyCost[] = {0, 0, 16, 30, 36, 66, 78, 112, 96, 160, 180, 260, 190, 360, 0, 290, 268};

/// Radices above are left to a convolution.
constexpr Index kLargestOdd = 61;

double OddCost(Index p) { return double(p * p) + 12.0 * double(p); }

/// What a length is made of.
struct Factors {
    explicit Factors(Index n) {
        for (Index p = 2; p * p <= n; ++p)
            for (; n % p == 0; n /= p) Sort(p);
        if (n > 1) Sort(n);
    }

    Index smooth = 1;       ///< product of the primes up to 13
    std::vector<Index> odd; ///< primes that are taken by definition, ascending
    Index hard = 1;         ///< product of the others
    bool hardIsPrime = false;

private:
    void Sort(Index p) {
        if (p <= 13) {
            smooth *= p;
        } else if (p <= kLargestOdd) {
            odd.push_back(p);
        } else {
            hardIsPrime = hard == 1;
            hard *= p;
        }
    }
};

/// The radices of a smooth length with the least cost, largest last.
struct Radices {
    double cost = 0; ///< per element
    std::vector<int> list;
};

Radices BestRadices(Index n, int largest, std::map<std::pair<Index, int>, Radices>& known) {
    if (n == 1) return {};
    const auto found = known.find({n, largest});
    if (found != known.end()) return found->second;
    Radices best;
    best.cost = HUGE_VAL;
    for (int r = 2; r <= largest; ++r) {
        if (n % r != 0 || kButterflyCost[r] == 0) continue;
        Radices rest = BestRadices(n / r, r, known);
        rest.cost += kButterflyCost[r] / r;
        if (rest.cost >= best.cost) continue;
        rest.list.push_back(r);
        best = std::move(rest);
    }
    return known[{n, largest}] = best;
}

Radices BestRadices(Index smooth) {
    std::map<std::pair<Index, int>, Radices> known;
    return BestRadices(smooth, Simd::kMaxRadix, known);
}

/// The length of a convolution by transforms that holds `least` elements.
Index ConvolutionLength(Index least) {
    Index best = kNoLimit;
    for (const Index odd : {1, 3, 5, 9, 15}) {
        Index n = odd;
        while (n < least) n *= 2;
        best = std::min(best, n);
    }
    return best;
}

bool RaderPays(const Factors& factors) { return factors.hardIsPrime && Factors(factors.hard - 1).hard == 1; }

Index Generator(Index p) {
    const auto power = [p](Index base, Index exponent) {
        Index result = 1;
        for (; exponent > 0; exponent /= 2, base = base * base % p)
            if (exponent % 2) result = result * base % p;
        return result;
    };
    for (Index g = 2;; ++g) {
        bool generates = true;
        Index rest = p - 1;
        for (Index q = 2; rest > 1 && generates; ++q) {
            if (q * q > rest) q = rest;
            if (rest % q != 0) continue;
            generates = power(g, (p - 1) / q) != 1;
            while (rest % q == 0) rest /= q;
        }
        if (generates) return g;
    }
}

} // namespace

/// A pass that joins `radix` transforms of m elements.
struct FftPlan::Stage {
    Index radix, m;
    Index apart; ///< distance between the parts, in elements of the work memory
    std::vector<float> twiddles;
    std::vector<float> circle; ///< of an odd radix without an unrolled butterfly
};

/// One call of a transform.
struct FftPlan::Run {
    const FftKernels& kernels;
    const float* re;
    const float* im;
    Index stride;
    Index rePresent, imPresent; ///< elements
    float scale;
    float* work;            ///< of the passes
    float* convolutionWork; ///< of a leaf by convolution
};

std::shared_ptr<const FftPlan> FftPlan::Get(Index n) { return Kept<FftPlan>(n, 0); }

std::size_t FftPlan::Bytes() const {
    std::size_t bytes = Size(circle) + Size(gather) + Size(scatter) + Size(chirp) + Size(kernel);
    for (const Stage& s : stages) bytes += sizeof s + Size(s.twiddles) + Size(s.circle);
    return bytes + (convolution ? convolution->Bytes() : 0);
}

double FftPlan::Cost(Index n) {
    const Factors factors(n);
    double perElement = BestRadices(factors.smooth).cost;
    for (const Index p : factors.odd) perElement += OddCost(p) / double(p);
    if (factors.hard > 1) {
        const Index m = RaderPays(factors) ? factors.hard - 1 : ConvolutionLength(2 * factors.hard - 1);
        perElement += (2 * Cost(m) + 20 * double(m)) / double(factors.hard);
    }
    return perElement * double(n);
}

FftPlan::FftPlan(Index n) : length(n) {
    if (n > kLongestPlan) throw BadAllocation();
    const Factors factors(n);
    std::vector<int> radices = BestRadices(factors.smooth).list;
    radices.insert(radices.end(), factors.odd.begin(), factors.odd.end());
    if (factors.hard > 1) {
        leafLength = factors.hard;
        leaf = RaderPays(factors) ? Leaf::Rader : Leaf::Bluestein;
    } else if (!radices.empty()) {
        leafLength = radices.back();
        radices.pop_back();
        if (leafLength > Simd::kMaxRadix) leaf = Leaf::Odd;
    }

    Index rest = n;
    for (const int radix : radices) {
        rest /= radix;
        // At the top an element more than m, since powers of two would put all legs into one set of the cache.
        Stage stage{radix, rest, stages.empty() ? rest + 1 : rest, {}, {}};
        stage.twiddles.reserve(static_cast<std::size_t>(2 * (radix - 1) * rest));
        for (Index k = 0; k < rest; ++k)
            for (Index j = 1; j < radix; ++j) Append(stage.twiddles, Turn(j * k, radix * rest));
        if (radix > Simd::kMaxRadix) stage.circle = Circle(radix);
        stages.push_back(std::move(stage));
    }
    if (!stages.empty()) workElements = passElements = n + stages.front().radix;
    switch (leaf) {
    case Leaf::Butterfly: break;
    case Leaf::Odd: circle = Circle(leafLength); break;
    case Leaf::Rader: MakeRader(); break;
    case Leaf::Bluestein: MakeBluestein(); break;
    }
}

FftPlan::~FftPlan() = default;

/// Rader: with a generator g of the numbers below the prime p, X[g^-q] - x[0] is the cyclic convolution of x[g^m]
/// with exp(-2 pi i g^-m / p), m = 0 .. p - 2. Element 0 rides behind in both orders.
void FftPlan::MakeRader() {
    const Index p = leafLength, g = Generator(p);
    gather.resize(static_cast<std::size_t>(p));
    scatter.resize(static_cast<std::size_t>(p));
    for (Index m = 0, power = 1; m < p - 1; ++m, power = power * g % p) {
        gather[m] = int(power);
        scatter[(p - 1 - m) % (p - 1)] = int(power);
    }
    std::vector<Complex> turns(static_cast<std::size_t>(p - 1));
    for (Index m = 0; m < p - 1; ++m) turns[m] = Turn(scatter[m], p);
    kernel = KernelSpectrum(turns);
    convolution = Get(p - 1);
    workElements += p + convolution->workElements;
}

/// Bluestein: j k = (j^2 + k^2 - (k - j)^2) / 2 makes the transform a convolution with a chirp.
void FftPlan::MakeBluestein() {
    const Index n = leafLength, m = ConvolutionLength(2 * n - 1);
    for (Index k = 0; k < n; ++k) {
        gather.push_back(int(k));
        Append(chirp, Chirp(k, n));
    }
    kernel = KernelSpectrum(ChirpCircle(n, m));
    convolution = Get(m);
    workElements += m + convolution->workElements;
}

void FftPlan::Inverse(const LaneSource& src, const LaneTarget& dst, float* work, float scale) const {
    // i conj(z) swaps the parts of z, and takes a forward transform to an inverse one.
    const Index present = src.present < 0 ? kNoLimit : src.present;
    const Run run{Simd::ActiveFft(),
                  src.im ? src.im : src.re,
                  src.re,
                  src.stride,
                  src.im ? present : 0,
                  present,
                  scale,
                  work,
                  work + 2 * Simd::kMaxLanes * passElements};
    Transform(run, 0, 0, 1, {dst.im, dst.re, dst.stride});
}

void FftPlan::Forward(const LaneSource& src, const LaneTarget& dst, float* work, float scale) const {
    const Index present = src.present < 0 ? kNoLimit : src.present;
    const Run run{Simd::ActiveFft(),
                  src.re,
                  src.im ? src.im : src.re,
                  src.stride,
                  present,
                  src.im ? present : 0,
                  scale,
                  work,
                  work + 2 * Simd::kMaxLanes * passElements};
    Transform(run, 0, 0, 1, dst);
}

/// The sub-transform of the elements offset, offset + step .. with the given and all lower stages.
void FftPlan::Transform(const Run& run, std::size_t stage, Index offset, Index step, const LaneTarget& dst) const {
    if (stage == stages.size()) return Leaves(run, offset, 0, step, 1, dst, leafLength);
    const Stage& s = stages[stage];
    // The parts are made where the pass works: in the work memory at the top, below it already there.
    const Index lanes = run.kernels.lanes;
    const LaneTarget parts = stage == 0 ? LaneTarget{run.work, run.work + lanes, 2 * lanes} : dst;
    if (stage + 1 == stages.size()) {
        Leaves(run, offset, step, step * s.radix, s.radix, parts, s.apart);
    } else {
        for (Index j = 0; j < s.radix; ++j) {
            const Index at = j * s.apart * parts.stride;
            Transform(run, stage + 1, offset + j * step, step * s.radix, {parts.re + at, parts.im + at, parts.stride});
        }
    }
    FftPass pass{};
    pass.srcRe = parts.re, pass.srcIm = parts.im;
    pass.srcLeg = s.apart * parts.stride, pass.srcNext = parts.stride;
    pass.dstRe = dst.re, pass.dstIm = dst.im;
    pass.dstLeg = s.m * dst.stride, pass.dstNext = dst.stride;
    pass.count = s.m;
    pass.twiddles = s.twiddles.data();
    pass.radix = int(s.radix);
    pass.circle = s.circle.data();
    const FftKernels& kernels = run.kernels;
    (s.radix > Simd::kMaxRadix ? kernels.oddTwiddled
     : stage == 0              ? kernels.last[s.radix]
                               : kernels.inner[s.radix])(pass);
}

/// `count` transforms of the leaf length, the first from element `offset` on, the next ones `next` elements further
/// and their results `apart`.
void FftPlan::Leaves(const Run& run, Index offset, Index next, Index step, Index count, const LaneTarget& dst,
                     Index apart) const {
    if (leaf == Leaf::Rader || leaf == Leaf::Bluestein) {
        for (Index j = 0; j < count; ++j) {
            const Index at = j * apart * dst.stride;
            const LaneTarget part{dst.re + at, dst.im + at, dst.stride};
            leaf == Leaf::Rader ? RaderLeaf(run, offset + j * next, step, part)
                                : BluesteinLeaf(run, offset + j * next, step, part);
        }
        return;
    }
    const auto limit = [&](Index present) { return present == kNoLimit ? kNoLimit : (present - offset) * run.stride; };
    FftPass pass{};
    pass.srcRe = run.re + offset * run.stride, pass.srcIm = run.im + offset * run.stride;
    pass.srcLeg = step * run.stride, pass.srcNext = next * run.stride;
    pass.dstRe = dst.re, pass.dstIm = dst.im;
    pass.dstLeg = dst.stride, pass.dstNext = apart * dst.stride;
    pass.count = count;
    pass.scale = run.scale;
    pass.reLimit = limit(run.rePresent), pass.imLimit = limit(run.imPresent);
    pass.radix = int(leafLength);
    pass.circle = circle.data();
    const bool plain = !stages.empty() && run.scale == 1.f && pass.reLimit == kNoLimit && pass.imLimit == kNoLimit;
    const FftKernels& kernels = run.kernels;
    (leaf == Leaf::Odd ? kernels.oddLeaf : plain ? kernels.leaf[leafLength] : kernels.generalLeaf[leafLength])(pass);
}

void FftPlan::RaderLeaf(const Run& run, Index offset, Index step, const LaneTarget& dst) const {
    const Index lanes = run.kernels.lanes, m = leafLength - 1;
    const auto limit = [&](Index present) { return present == kNoLimit ? kNoLimit : (present - offset) * run.stride; };
    float* block = run.convolutionWork;
    float* first = block + 2 * lanes * m; // the element 0, and its spectrum
    float* work = first + 2 * lanes;
    const LaneSource source{block, block + lanes, 2 * lanes};
    const LaneTarget target{block, block + lanes, 2 * lanes};
    run.kernels.gather(run.re + offset * run.stride, run.im + offset * run.stride, step * run.stride,
                       limit(run.rePresent), limit(run.imPresent), run.scale, gather.data(), block, leafLength);
    convolution->Forward(source, target, work);
    float sum[2 * Simd::kMaxLanes];
    std::copy(block, block + 2 * lanes, sum);
    run.kernels.multiply(source.re, source.im, source.stride, target.re, target.im, target.stride, kernel.data(), m);
    for (Index l = 0; l < 2 * lanes; ++l) {
        block[l] += first[l]; // onto the mean, and so onto every element
        first[l] += sum[l];
    }
    convolution->Inverse(source, target, work);
    run.kernels.scatter(block, scatter.data(), dst.re, dst.im, dst.stride, leafLength);
}

void FftPlan::BluesteinLeaf(const Run& run, Index offset, Index step, const LaneTarget& dst) const {
    const Index lanes = run.kernels.lanes, m = convolution->Length();
    const auto limit = [&](Index present) { return present == kNoLimit ? kNoLimit : (present - offset) * run.stride; };
    float* block = run.convolutionWork;
    float* work = block + 2 * lanes * m;
    const LaneSource source{block, block + lanes, 2 * lanes};
    const LaneTarget target{block, block + lanes, 2 * lanes};
    run.kernels.gather(run.re + offset * run.stride, run.im + offset * run.stride, step * run.stride,
                       limit(run.rePresent), limit(run.imPresent), run.scale, gather.data(), block, leafLength);
    const auto multiply = [&](const std::vector<float>& table, const LaneTarget& product, Index count) {
        run.kernels.multiply(source.re, source.im, source.stride, product.re, product.im, product.stride, table.data(),
                             count);
    };
    multiply(chirp, target, leafLength);
    convolution->Forward({source.re, source.im, source.stride, leafLength}, target, work);
    multiply(kernel, target, m);
    convolution->Inverse(source, target, work);
    multiply(chirp, dst, leafLength);
}

} // namespace IPP
