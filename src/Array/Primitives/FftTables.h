#pragma once

#include <algorithm>
#include <complex>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <typeindex>
#include <vector>

#include "Array/Simd/FftKernels.h"

namespace IPP {

using Simd::Index;
using Complex = std::complex<double>;

/// exp(-2 pi i k / n), the angle brought to the first eighth so that the symmetric entries of a table agree.
Complex Turn(Index k, Index n);

/// exp(-pi i k^2 / n), the chirp of Bluestein's convolution.
Complex Chirp(Index k, Index n);

/// The chirp's conjugate at both signs of k, in a circle of m elements.
std::vector<Complex> ChirpCircle(Index n, Index m);

void Append(std::vector<float>& table, Complex value);

/// What a convolution's spectrum is multiplied with: the kernel's own, by 1 / length for the way back.
std::vector<float> KernelSpectrum(const std::vector<Complex>& circle);

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

KeptTables& AllKept();

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

/// Bytes of a table.
template <class T>
std::size_t Size(const std::vector<T>& table) {
    return table.capacity() * sizeof(T);
}

} // namespace IPP
