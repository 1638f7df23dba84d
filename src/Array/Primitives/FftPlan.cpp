#include "Array/Primitives/FftPlan.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <complex>
#include <list>
#include <map>
#include <mutex>
#include <new>
#include <typeindex>

#include "Array/IppException.h"
#include "Array/Primitives/Ipps.h"
#include "Array/Simd/Dispatch.h"

namespace IPP {

using Complex = std::complex<double>;
using Simd::FftKernels;
using Simd::FftPass;

namespace {

constexpr Index kLongestPlan = 1 << 22;
constexpr Index kNoLimit = std::numeric_limits<Index>::max();

/// exp(-2 pi i k / n), the angle brought to the first eighth so that the symmetric entries of a table agree.
Complex Turn(Index k, Index n) {
    k %= n;
    if (2 * k > n) return std::conj(Turn(n - k, n));
    if (4 * k > n) {
        const Complex t = Turn(n - 2 * k, 2 * n);
        return {-t.real(), t.imag()};
    }
    if (8 * k > n) {
        const Complex t = Turn(n - 4 * k, 4 * n);
        return {-t.imag(), -t.real()};
    }
    const double angle = 2 * M_PI * double(k) / double(n);
    return {std::cos(angle), -std::sin(angle)};
}

void Append(std::vector<float>& table, Complex value) {
    table.push_back(float(value.real()));
    table.push_back(float(value.imag()));
}

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

/// Mixed radix in double precision, for tables: the transform of src[0], src[step] .. to dst[0 .. n - 1]. `turns` are
/// those of the whole length n * step.
void SlowTransform(const Complex* src, Index step, Complex* dst, Index n, const std::vector<Complex>& turns) {
    if (n == 1) {
        *dst = *src;
        return;
    }
    Index r = 2;
    while (n % r != 0) ++r;
    const Index m = n / r;
    for (Index j = 0; j < r; ++j) SlowTransform(src + j * step, step * r, dst + j * m, m, turns);
    std::vector<Complex> legs(static_cast<std::size_t>(r));
    for (Index k = 0; k < m; ++k) {
        for (Index j = 0; j < r; ++j) legs[j] = dst[j * m + k];
        for (Index out = k; out < n; out += m) {
            dst[out] = 0;
            for (Index j = 0; j < r; ++j) dst[out] += legs[j] * turns[j * out % n * step];
        }
    }
}

/// What a convolution's spectrum is multiplied with: the kernel's own, by 1 / length for the way back.
std::vector<float> KernelSpectrum(const std::vector<Complex>& circle) {
    const auto n = static_cast<Index>(circle.size());
    std::vector<Complex> turns(circle.size()), spectrum(circle.size());
    for (Index k = 0; k < n; ++k) turns[k] = Turn(k, n);
    SlowTransform(circle.data(), 1, spectrum.data(), n, turns);
    std::vector<float> table;
    table.reserve(2 * circle.size());
    for (const Complex& value : spectrum) Append(table, value / double(n));
    return table;
}

/// exp(-pi i k^2 / n), the chirp of Bluestein's convolution.
Complex Chirp(Index k, Index n) { return Turn(k * k % (2 * n), 2 * n); }

/// The chirp's conjugate at both signs of k, in a circle of m elements.
std::vector<Complex> ChirpCircle(Index n, Index m) {
    std::vector<Complex> circle(static_cast<std::size_t>(m));
    for (Index k = 0; k < n; ++k) circle[k] = std::conj(Chirp(k, n));
    for (Index k = 1; k < n; ++k) circle[m - k] = circle[k];
    return circle;
}

/// What the process keeps of tables that take longer to make than to use, the most recently asked for first.
struct KeptTables {
    struct Entry {
        std::type_index type;
        Index length, variant;
        std::shared_ptr<const void> tables;
        std::size_t bytes;
    };
    std::mutex mutex;
    std::list<Entry> entries;
    std::size_t bytes = 0;
};

KeptTables& AllKept() {
    static auto* kept = new KeptTables; // never freed, so that a state made while the process ends still finds it
    return *kept;
}

/// The tables of type T for length n, made if they aren't kept. Tables of different variants are told apart.
template <class T>
std::shared_ptr<const T> Kept(Index n, Index variant) {
    constexpr std::size_t kMostEntries = 128, kMostBytes = std::size_t{64} << 20;
    KeptTables& kept = AllKept();
    const auto find = [&kept, n, variant]() -> std::shared_ptr<const T> {
        const auto found = std::find_if(kept.entries.begin(), kept.entries.end(), [=](const auto& e) {
            return e.length == n && e.variant == variant && e.type == typeid(T);
        });
        if (found == kept.entries.end()) return nullptr;
        kept.entries.splice(kept.entries.begin(), kept.entries, found);
        return std::static_pointer_cast<const T>(found->tables);
    };
    {
        const std::lock_guard<std::mutex> lock(kept.mutex);
        if (auto tables = find()) return tables;
    }
    auto made = std::make_shared<const T>(n); // without the lock: what it is made of asks for tables too
    const std::size_t bytes = made->Bytes();
    if (bytes > kMostBytes) return made;
    std::list<KeptTables::Entry> dropped; // freed behind the lock
    const std::lock_guard<std::mutex> lock(kept.mutex);
    if (auto tables = find()) return tables;
    kept.entries.push_front({typeid(T), n, variant, made, bytes});
    kept.bytes += bytes;
    while (kept.entries.size() > kMostEntries || kept.bytes > kMostBytes) {
        kept.bytes -= kept.entries.back().bytes;
        dropped.splice(dropped.end(), kept.entries, std::prev(kept.entries.end()));
    }
    return made;
}

template <class T>
std::size_t Size(const std::vector<T>& table) {
    return table.capacity() * sizeof(T);
}

} // namespace

// --- Plans of W transforms ------------------------------------------------------------------------------------------

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

// --- Single transforms ----------------------------------------------------------------------------------------------

namespace {

constexpr Index kLongestWhole = 1 << 17; // lanes of one transform, all but one of them unused
constexpr Index kLongestStoredTurns = 1 << 16;
constexpr Index kFine = 1 << 16;
constexpr Index kLongestChirp = 1 << 22; // some 400 MiB while the tables are made

/// The number of rows of n written as a matrix with which a single transform is fastest; 0: none is faster than one
/// lane of the whole.
Index BestSplit(Index n) {
    const Index lanes = Simd::ActiveFft().lanes;
    const auto filled = [lanes](Index count) { return double((count + lanes - 1) / lanes); };
    double best = n <= kLongestWhole ? FftPlan::Cost(n) + 2.0 * double(n) : HUGE_VAL;
    Index split = 0;
    for (Index rows = 2; rows <= kLongestWhole && rows < n; ++rows) {
        if (n % rows != 0 || n / rows > kLongestWhole) continue;
        const Index columns = n / rows;
        const double cost = filled(columns) * (FftPlan::Cost(rows) + 14.0 * double(rows)) +
                            filled(rows) * (FftPlan::Cost(columns) + 10.0 * double(columns));
        if (cost < best) best = cost, split = rows;
    }
    return split;
}

} // namespace

std::shared_ptr<const SingleTransform> SingleTransform::Get(Index n) {
    return Kept<SingleTransform>(n, Simd::ActiveFft().lanes); // the best split depends on the lanes
}

std::size_t SingleTransform::Bytes() const {
    const auto shared = [](const auto& part) { return part ? part->Bytes() : 0; };
    return Size(fineTurns) + Size(coarseTurns) + Size(turnsRe) + Size(turnsIm) + Size(chirp) + Size(kernel) +
           shared(columns) + shared(rows) + shared(convolution);
}

SingleTransform::SingleTransform(Index n) : length(n) {
    const Index split = BestSplit(n);
    if (split == 0 && n <= kLongestWhole) {
        columns = FftPlan::Get(n);
        return;
    }
    if (split == 0) {
        if (n > kLongestChirp) throw BadAllocation();
        Index m = 1;
        while (m < 2 * n - 1) m *= 2;
        convolution = Get(m);
        chirp.reserve(static_cast<std::size_t>(n));
        for (Index k = 0; k < n; ++k) {
            const Complex value = Chirp(k, n);
            chirp.push_back({float(value.real()), float(value.imag())});
        }
        const std::vector<float> spectrum = KernelSpectrum(ChirpCircle(n, m));
        for (Index k = 0; k < m; ++k) kernel.push_back({spectrum[2 * k], spectrum[2 * k + 1]});
        return;
    }
    columns = FftPlan::Get(split);
    rows = FftPlan::Get(n / split);
    for (Index k = 0; k < std::min(kFine, n); ++k) {
        const Complex turn = Turn(k, n);
        fineTurns.push_back(turn.real()), fineTurns.push_back(turn.imag());
    }
    for (Index k = 0; k < n; k += kFine) {
        const Complex turn = Turn(k, n);
        coarseTurns.push_back(turn.real()), coarseTurns.push_back(turn.imag());
    }
    if (n > kLongestStoredTurns) return;
    const Index padded = (rows->Length() + Simd::kMaxLanes - 1) / Simd::kMaxLanes * Simd::kMaxLanes;
    turnsRe.resize(static_cast<std::size_t>(padded * split));
    turnsIm.resize(static_cast<std::size_t>(padded * split));
    MakeTurns(0, rows->Length(), turnsRe.data(), turnsIm.data(), padded);
}

/// exp(-2 pi i k column / length) for all k of a column's length.
void SingleTransform::MakeTurns(Index firstColumn, Index count, float* re, float* im, Index stride) const {
    for (Index k = 0; k < columns->Length(); ++k)
        for (Index c = 0; c < count; ++c) {
            const Index turn = k * (firstColumn + c); // below length
            const double* fine = &fineTurns[2 * (turn % kFine)];
            const double* coarse = &coarseTurns[2 * (turn / kFine)];
            re[k * stride + c] = float(fine[0] * coarse[0] - fine[1] * coarse[1]);
            im[k * stride + c] = float(fine[0] * coarse[1] + fine[1] * coarse[0]);
        }
}

Index SingleTransform::WorkSize() const {
    constexpr Index perElement = 2 * Simd::kMaxLanes;
    if (convolution) return 2 * convolution->Length() + 16 + convolution->WorkSize();
    if (!rows) return perElement * length + columns->WorkSize();
    const Index longest = std::max(rows->Length(), columns->Length());
    const Index turns = turnsRe.empty() ? perElement * columns->Length() : 0;
    return 2 * length + 16 + perElement * longest + turns + std::max(rows->WorkSize(), columns->WorkSize());
}

void SingleTransform::Forward(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale) const {
    Transform(src, dst, work, scale, false);
}

void SingleTransform::Inverse(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale) const {
    Transform(src, dst, work, scale, true);
}

void SingleTransform::Transform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const {
    if (convolution) return ChirpTransform(src, dst, work, scale, inverse);
    if (rows) return SplitTransform(src, dst, work, scale, inverse);
    const FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes;
    float* block = work;
    float* planWork = block + 2 * Simd::kMaxLanes * length;
    kernels.loadColumns(src, sizeof(Ipp32fc), 1, length, block);
    const LaneSource source{block, block + lanes, 2 * lanes};
    const LaneTarget target{block, block + lanes, 2 * lanes};
    inverse ? columns->Inverse(source, target, planWork, scale) : columns->Forward(source, target, planWork, scale);
    kernels.storeColumns(block, 1, length, dst, sizeof(Ipp32fc));
}

/// Element j1 * rowLength + j2 to element k1 + columnLength * k2: the columns j2 are transformed, turned by
/// exp(-2 pi i j2 k1 / n), then the rows k1. An inverse transform runs as a forward one on swapped parts.
void SingleTransform::SplitTransform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const {
    const FftKernels& kernels = Simd::ActiveFft();
    const Index lanes = kernels.lanes, columnLength = columns->Length(), rowLength = rows->Length();
    auto* matrix = reinterpret_cast<Ipp32fc*>(work);
    float* block = work + (2 * length + 15) / 16 * 16;
    float* turns = block + 2 * Simd::kMaxLanes * std::max(rowLength, columnLength);
    float* planWork = turns + (turnsRe.empty() ? 2 * Simd::kMaxLanes * columnLength : 0);
    float* re = inverse ? block + lanes : block;
    float* im = inverse ? block : block + lanes;
    const Index rowStep = rowLength * Index(sizeof(Ipp32fc)), columnStep = columnLength * Index(sizeof(Ipp32fc));

    for (Index column = 0; column < rowLength; column += lanes) {
        const int count = int(std::min(lanes, rowLength - column));
        kernels.loadColumns(src + column, rowStep, count, columnLength, block);
        columns->Forward({re, im, 2 * lanes}, {block, block + lanes, 2 * lanes}, planWork, scale);
        if (turnsRe.empty()) {
            MakeTurns(column, count, turns, turns + lanes, 2 * lanes);
            kernels.multiplyLanes(block, turns, turns + lanes, 2 * lanes, columnLength);
        } else {
            const Index padded = static_cast<Index>(turnsRe.size()) / columnLength;
            kernels.multiplyLanes(block, &turnsRe[column], &turnsIm[column], padded, columnLength);
        }
        kernels.storeColumns(block, count, columnLength, matrix + column, rowStep);
    }
    for (Index row = 0; row < columnLength; row += lanes) {
        const int count = int(std::min(lanes, columnLength - row));
        kernels.loadRows(matrix + row * rowLength, rowStep, count, 2 * rowLength, block, lanes);
        rows->Forward({block, block + lanes, 2 * lanes}, {re, im, 2 * lanes}, planWork);
        kernels.storeColumns(block, count, rowLength, dst + row, columnStep);
    }
}

void SingleTransform::ChirpTransform(const Ipp32fc* src, Ipp32fc* dst, float* work, float scale, bool inverse) const {
    const Index m = convolution->Length();
    auto* block = reinterpret_cast<Ipp32fc*>(work);
    float* rest = work + (2 * m + 15) / 16 * 16;
    const auto product = [](Ipp32fc a, Ipp32fc b) {
        return Ipp32fc{a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    };
    for (Index k = 0; k < length; ++k) {
        const Ipp32fc value{src[k].re * scale, src[k].im * scale};
        block[k] = product(inverse ? Ipp32fc{value.im, value.re} : value, chirp[k]);
    }
    std::fill(block + length, block + m, Ipp32fc{0.f, 0.f});
    convolution->Forward(block, block, rest);
    for (Index k = 0; k < m; ++k) block[k] = product(block[k], kernel[k]);
    convolution->Inverse(block, block, rest);
    for (Index k = 0; k < length; ++k) {
        const Ipp32fc value = product(block[k], chirp[k]);
        dst[k] = inverse ? Ipp32fc{value.im, value.re} : value;
    }
}

// --- Work memory and scales -----------------------------------------------------------------------------------------

namespace {

/// The block that a thread keeps.
struct KeptBlock {
    ~KeptBlock() { ippsFree(data); }
    float* data = nullptr;
    Index floats = 0;
    bool used = false;
};
thread_local KeptBlock keptBlock;

float* Allocate(Index floats) {
    const Index doubles = floats / 2 + 1;
    return doubles > INT_MAX ? nullptr : reinterpret_cast<float*>(ippsMalloc_64f(int(doubles)));
}

} // namespace

ThreadWork::ThreadWork(Index floats) {
    constexpr Index kMostKept = 16 << 20;
    if (keptBlock.used || floats > kMostKept) {
        data = Allocate(floats);
        return;
    }
    if (keptBlock.floats < floats) {
        ippsFree(keptBlock.data);
        keptBlock.data = Allocate(floats);
        keptBlock.floats = keptBlock.data ? floats : 0;
    }
    data = keptBlock.data;
    kept = keptBlock.used = data != nullptr;
}

ThreadWork::~ThreadWork() { kept ? void(keptBlock.used = false) : ippsFree(data); }

bool ScaleOfFlag(int flag, double n, FlagScale& scale) {
    switch (flag) {
    case IPP_FFT_DIV_FWD_BY_N: scale = {float(1 / n), 1.f}; return true;
    case IPP_FFT_DIV_INV_BY_N: scale = {1.f, float(1 / n)}; return true;
    case IPP_FFT_DIV_BY_SQRTN: scale = {float(1 / std::sqrt(n)), float(1 / std::sqrt(n))}; return true;
    case IPP_FFT_NODIV_BY_ANY: scale = {1.f, 1.f}; return true;
    default: return false;
    }
}

} // namespace IPP
