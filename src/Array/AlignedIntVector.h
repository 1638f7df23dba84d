#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <vector>

#include "Array/Array.h"

namespace IPP {

/// Standard allocator on the arrays' aligned memory.
template <class T>
struct AlignedAllocator {
    using value_type = T;

    AlignedAllocator() = default;
    template <class U>
    AlignedAllocator(const AlignedAllocator<U>&) {}

    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
        return Detail::Allocate<T>(static_cast<int>(n));
    }
    void deallocate(T* p, std::size_t) { Detail::Release(p); }

    template <class U>
    bool operator==(const AlignedAllocator<U>&) const {
        return true;
    }
    template <class U>
    bool operator!=(const AlignedAllocator<U>&) const {
        return false;
    }
};

/// A growable list of ints, for A-scan indices, on the arrays' aligned memory. Growing takes the larger of one and a
/// half times the capacity and the needed size.
class AlignedIntVector : private std::vector<int, AlignedAllocator<int>> {
    using Base = std::vector<int, AlignedAllocator<int>>;

public:
    using Base::Base;
    using Base::const_iterator;
    using Base::iterator;
    using Base::value_type;
    using Base::operator[];
    using Base::at;
    using Base::back;
    using Base::begin;
    using Base::capacity;
    using Base::clear;
    using Base::data;
    using Base::empty;
    using Base::end;
    using Base::erase;
    using Base::front;
    using Base::pop_back;
    using Base::reserve;
    using Base::size;

    void push_back(int value) {
        Grow(size() + 1);
        Base::push_back(value);
    }

    /// Inserts n copies of the value ahead of the position.
    iterator insert(const_iterator position, std::size_t n, int value) {
        const auto offset = position - begin();
        Grow(size() + n);
        return Base::insert(begin() + offset, n, value);
    }

    void resize(std::size_t n, int value = 0) {
        Grow(n);
        Base::resize(n, value);
    }

    friend bool operator==(const AlignedIntVector& a, const AlignedIntVector& b) {
        return static_cast<const Base&>(a) == static_cast<const Base&>(b);
    }

private:
    void Grow(std::size_t needed) {
        if (needed > capacity()) reserve(std::max(needed, capacity() + capacity() / 2));
    }
};

} // namespace IPP
