#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

namespace TZM {

/// Tables that an algorithm object keeps from one Execute to the next, since they take longer to make than a lane to
/// work on. They serve as long as what decides them, sizes, parameters and sampling, is the same; else they are made
/// anew, and the old ones go. Results are those of new tables, bit by bit. A copy of the algorithm shares them.
///
/// Tables is read-only once it is made, and tells `std::size_t Bytes() const` and `bool Serves(from...) const`: whether
/// Tables(from...) would read the same. Any number of threads may ask.
template <class Tables>
class KeptTables {
public:
    /// Larger ones are made for each Execute and not kept.
    static constexpr std::size_t kMostBytes = std::size_t{256} << 20;

    KeptTables() = default;
    KeptTables(const KeptTables& other) : kept(other.Kept()) {}
    KeptTables& operator=(const KeptTables& other) {
        Keep(other.Kept());
        return *this;
    }

    /// The kept tables if they serve, else Tables(from...).
    template <class... From>
    std::shared_ptr<const Tables> For(const From&... from) const {
        if (auto tables = Kept(); tables && tables->Serves(from...)) return tables;
        Keep(nullptr); // not two at once
        auto tables = std::make_shared<const Tables>(from...);
        made.fetch_add(1, std::memory_order_relaxed);
        if (tables->Bytes() <= kMostBytes) Keep(tables);
        return tables;
    }

    /// How often the process has made such tables.
    static int Made() { return made.load(std::memory_order_relaxed); }

private:
    std::shared_ptr<const Tables> Kept() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return kept;
    }
    void Keep(std::shared_ptr<const Tables> tables) const {
        const std::lock_guard<std::mutex> lock(mutex);
        kept.swap(tables);
    }

    mutable std::mutex mutex;
    mutable std::shared_ptr<const Tables> kept;
    static inline std::atomic<int> made{0};
};

} // namespace TZM
