#include <gtest/gtest.h>

#include <vector>

#include "Lumen/Cache.hpp"
#include "Velum/Field.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/RegularlyFragmentedField.hpp"

using Index = Velum::MultiIndex<3>;
using Bytes = Velum::MemArray<3, unsigned char>;

namespace {

Lumen::StrongPtr<Bytes> bytesOfSize(unsigned n) { return Lumen::makeStrong<Bytes>(Index(n, 1u, 1u)); }

} // namespace

TEST(Field, SetPersistentDataStoresAndAnEmptyArrayClearsTheFragment) {
    Lumen::Cache cache;
    Velum::RegularlyFragmentedField<3> field(Index(2u, 1u, 1u), "RegularFragment");
    auto const first = field.getFragmentID(Index(0u, 0u, 0u));
    auto const second = field.getFragmentID(Index(1u, 0u, 0u));
    auto const data = bytesOfSize(8);

    field.setPersistentData(data, first, cache);
    field.setPersistentData(bytesOfSize(4), second, cache);
    EXPECT_EQ(field.getData(first).getPointer(), data.getPointer());
    EXPECT_EQ(cache.itemCount(), 2u);
    EXPECT_EQ(cache.byteSize(), 12u);

    field.setPersistentData(nullptr, first, cache);
    EXPECT_FALSE(field.getCreator(first));
    EXPECT_FALSE(field.getData(first));
    EXPECT_EQ(field.getFragmentIDs(), std::vector{second});
    EXPECT_EQ(cache.itemCount(), 1u) << "the cleared fragment's data leaves the cache";

    auto const whole = bytesOfSize(3);
    field.setPersistentData(whole, nullptr, cache);
    EXPECT_EQ(field.getData().getPointer(), whole.getPointer()) << "the empty identity is the whole field";
    EXPECT_EQ(field.getFragmentIDs(), std::vector{second});
}

TEST(Field, FragmentOrderIsStorageOrderOrLayoutOrder) {
    Lumen::Cache cache;
    Velum::RegularlyFragmentedField<3> layout(Index(3u, 1u, 1u), "RegularFragment");
    auto const a = layout.getFragmentID(Index(0u, 0u, 0u));
    auto const b = layout.getFragmentID(Index(1u, 0u, 0u));
    auto const c = layout.getFragmentID(Index(2u, 0u, 0u));

    Velum::Field plain;
    Velum::RegularlyFragmentedField<3> fragmented(layout);
    for (auto const& id : {c, a, b}) {
        plain.setPersistentData(bytesOfSize(1), id, cache);
        fragmented.setPersistentData(bytesOfSize(1), id, cache);
    }
    plain.setPersistentData(bytesOfSize(2), c, cache);
    EXPECT_EQ(plain.getFragmentIDs(), (std::vector{c, a, b})) << "replacing data keeps the first position";
    EXPECT_EQ(fragmented.getFragmentIDs(), (std::vector{a, b, c}));
    EXPECT_EQ(plain.getFirstCreator().getPointer(), plain.getCreator(c).getPointer());
}

TEST(Field, CopyTakesTheLayoutAndSlotsShareCreators) {
    Lumen::Cache cache;
    Velum::RegularlyFragmentedField<3> source(Index(2u, 2u, 1u), "RegularFragment");
    Index const at(1u, 1u, 0u);
    source.setPersistentData(bytesOfSize(5), source.getFragmentID(at), cache);

    Velum::RegularlyFragmentedField<3> copy(source);
    EXPECT_EQ(copy.getFragmentCounts(), source.getFragmentCounts());
    EXPECT_EQ(copy.getFragmentID(at).getPointer(), source.getFragmentID(at).getPointer());
    EXPECT_FALSE(copy.getData(copy.getFragmentID(at))) << "a copy does not take the data";
    EXPECT_FALSE(copy.getFragmentID(Index(2u, 0u, 0u))) << "no identity outside the layout";

    copy[at] = source[at];
    Velum::Field::CreatorPtr const shared = copy[at];
    EXPECT_EQ(shared.getPointer(), Velum::Field::CreatorPtr(source[at]).getPointer());
    EXPECT_EQ(cache.itemCount(), 1u) << "sharing a fragment does not copy its data";
}

TEST(Field, IterateGoesOnAfterAFailureAndCreateDetachesOnRequest) {
    struct Visitor : Velum::FragmentIterator {
        std::vector<Velum::FragmentID const*> seen;
        bool apply(Lumen::StrongPtr<Velum::FragmentID> const& fragment,
                   Lumen::StrongPtr<Velum::CreativeArrayBase> const& creator) override {
            seen.push_back(fragment.getPointer());
            return creator->getData()->byteSize() != 2;
        }
    };
    Lumen::Cache cache;
    Velum::RegularlyFragmentedField<3> field(Index(3u, 1u, 1u), "RegularFragment");
    for (unsigned f = 0; f < 3; ++f) {
        field.setPersistentData(bytesOfSize(f + 1), field.getFragmentID(Index(f, 0u, 0u)), cache);
    }
    Visitor visitor;
    EXPECT_FALSE(field.iterate(visitor));
    EXPECT_EQ(visitor.seen.size(), 3u);

    auto const creator = field.getCreator(field.getFragmentID(Index(0u, 0u, 0u)));
    EXPECT_EQ(creator->create(false).getPointer(), creator->getData().getPointer());
    Lumen::StrongPtr<Bytes> const copy = creator->create(true);
    ASSERT_TRUE(copy);
    EXPECT_NE(copy.getPointer(), creator->getData().getPointer());
    EXPECT_EQ(copy->Size(), Index(1u, 1u, 1u));
}
