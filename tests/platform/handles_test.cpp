#include <gtest/gtest.h>

#include <type_traits>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/LoaderProgress.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Field.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"

using Lumen::StrongPtr;

static_assert(std::is_same_v<StrongPtr<Lumen::LoaderProgress, Lumen::InterfaceBase>, StrongPtr<Lumen::LoaderProgress>>,
              "both spellings of a progress handle name one type");

TEST(Handles, TakingAnObjectAsAnotherTypeYieldsAnEmptyHandleOnMismatch) {
    StrongPtr<Velum::Field> const fragmented =
        Lumen::makeStrong<Velum::RegularlyFragmentedField<3>>(Velum::MultiIndex<3>(1u, 1u, 1u), "RegularFragment");
    StrongPtr<Velum::Field> const plain = Lumen::makeStrong<Velum::Field>();

    StrongPtr<Velum::RegularlyFragmentedField<3>> const asFragmented = fragmented;
    StrongPtr<Velum::RegularlyFragmentedField<3>> const plainAsFragmented = plain;
    EXPECT_EQ(asFragmented.getPointer(), fragmented.getPointer());
    EXPECT_FALSE(plainAsFragmented);

    StrongPtr<Velum::MemBase> const bytes = Lumen::makeStrong<Velum::MemArray<3, unsigned char>>(Velum::MultiIndex<3>());
    StrongPtr<Velum::MemArray<3, float>> const asFloats = bytes;
    StrongPtr<Velum::MemArray<3, unsigned char>> const asBytes = bytes;
    EXPECT_FALSE(asFloats);
    EXPECT_TRUE(asBytes);

    StrongPtr<Velum::MemArray<3, float>> const fromEmpty = StrongPtr<Velum::MemBase>();
    EXPECT_FALSE(fromEmpty);
}

TEST(Handles, WeakHandleExpiresWithTheLastCountedHandle) {
    auto strong = Lumen::makeStrong<Velum::Field>();
    Lumen::WeakPtr<Velum::Field> const weak = strong;
    EXPECT_FALSE(weak.expired());
    EXPECT_EQ(weak.lock().getPointer(), strong.getPointer());
    strong.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(weak.lock());
}
