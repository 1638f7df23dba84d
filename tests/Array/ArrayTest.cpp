#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "Array/AlignedIntVector.h"
#include "Array/Array3D.h"
#include "support/Failure.h"

using namespace IPP;

TEST(Array, AddressesTheFirstDimensionFastest) {
    Array2D<float> plane(4, 3);
    EXPECT_EQ(plane.size, 12);
    EXPECT_EQ(&plane.At(3, 2), plane.data + 11);
    EXPECT_EQ(plane.Row(1).data, plane.data + 4);
    Array3D<float> block(2, 3, 4);
    EXPECT_EQ(&block.At(1, 2, 3), block.data + 23);
    EXPECT_EQ(block.Row(2, 3).data, block.data + 22);
    EXPECT_EQ(block.Slice(3).data, block.data + 18);
    EXPECT_EQ(block.Slice(3).dim1, 3);
}

TEST(Array, OwnsAlignedMemoryAndRefusesWhatItCannotHold) {
    const Array<double> owned(5);
    EXPECT_TRUE(owned.owner);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(owned.data) % 32, 0u);
    const Array<float> large(1 << 20);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(large.data) % (2 << 20), 0u);
    EXPECT_THROW(Array<float>(0), std::bad_alloc);
    EXPECT_THROW(Array<Ipp32fc>(-1), std::bad_alloc);
    EXPECT_THROW(Array2D<float>(0, 5), std::bad_alloc);
    EXPECT_THROW(Array2D<float>(-2, -3), std::bad_alloc);
    EXPECT_THROW(Array2D<float>(65536, 65536), std::bad_alloc);        // 2^32 is 0 in 32 bits
    EXPECT_THROW(Array3D<float>(65537, 65537, 65537), std::bad_alloc); // beyond 32 bits, and 65537 in them
}

TEST(Array, ViewsLeaveTheirMemoryAlone) {
    float memory[24] = {0, 1, 2, 3, 4, 5, 6, 7};
    {
        const Array3D<float> view(memory, 2, 3, 4);
        EXPECT_FALSE(view.owner || view.Slice(2).owner);
        EXPECT_EQ(view.Row(0, 1).SubArray(1, 1)[0], 7.f);
    }
    EXPECT_EQ(memory[7], 7.f);
}

TEST(Array, ChecksUpperBounds) {
    const Array2D<float> plane(4, 3);
    const Array3D<float> block(2, 3, 4);
    for (auto call : {+[](const Array2D<float>& a) { a.At(4, 0); }, +[](const Array2D<float>& a) { a.At(0, 3); },
                      +[](const Array2D<float>& a) { a.Row(3); }})
        EXPECT_EQ(Failure([&] { call(plane); }), "-2 Index exceeds IPP::Array2D bounds");
    for (auto call : {+[](const Array3D<float>& a) { a.At(2, 0, 0); }, +[](const Array3D<float>& a) { a.At(0, 3, 0); },
                      +[](const Array3D<float>& a) { a.Row(0, 4); }, +[](const Array3D<float>& a) { a.Slice(4); }})
        EXPECT_EQ(Failure([&] { call(block); }), "-2 Index exceeds IPP::Array3D bounds");
    EXPECT_EQ(Failure([&] { block.SubArray(24, 0); }), "-2 Index exceeds IPP::Array bounds");
    float one = 0;
    EXPECT_EQ(Failure([&] { Array2D<float>(&one, 0, 1).Row(0); }), "-2 Index exceeds IPP::Array2D bounds");
}

TEST(Array, WholeArrayOperationsAreOnePrimitiveEach) {
    std::vector<float> memory{3, -1, 2, 5};
    Array<float> a(memory.data(), 4);
    EXPECT_EQ(a.Max(), 5.f);
    EXPECT_EQ(a.Min(), -1.f);
    EXPECT_EQ(a.Sum(), 9.f);
    a.Flip();
    a.AddC(1);
    a.MulC(2);
    a.DivC(4);
    a.Sqr();
    EXPECT_EQ(memory, (std::vector<float>{9, 2.25, 0, 4}));
    Array<float> longer(6);
    longer.Set(7);
    a.CopyFrom(longer); // the shorter size decides
    EXPECT_EQ(memory, (std::vector<float>{7, 7, 7, 7}));
    EXPECT_EQ(Failure([&] { a.DivC(0); }), "-10 IPP::Exception::ippsDivC_32f_I");
    EXPECT_EQ(Failure([&] { Array<float>(memory.data(), 0).Zero(); }), "-6 IPP::Exception::ippsZero_32f");
    EXPECT_EQ(Failure([] { Array<int>(nullptr, 3).CopyFrom(Array<int>(3)); }), "-8 IPP::Exception::ippsCopy_32s");
}

TEST(AlignedIntVector, GrowsByHalfItsCapacityOrToTheNeed) {
    AlignedIntVector v(10, 4);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(v.data()) % 32, 0u);
    v.push_back(5);
    EXPECT_EQ(v.capacity(), 15u);
    v.insert(v.begin() + 1, 20, 6);
    EXPECT_EQ(v.capacity(), 31u);
    EXPECT_EQ(v.size(), 31u);
    EXPECT_EQ(v[0], 4);
    EXPECT_EQ(v[20], 6);
    EXPECT_EQ(v.back(), 5);
    AlignedIntVector copy(v);
    copy[0] = 1;
    EXPECT_EQ(v[0], 4);
}
