#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "Lumen/Chunk.hpp"
#include "Rastrum.hpp"

using Index = Velum::MultiIndex<3>;
using Point = Tensa::PhysicalSpace::point;
using Vector = Tensa::PhysicalSpace::vector;

namespace {

struct Layout {
    Index fragDims{4u, 3u, 1u};
    Point corner{477000.0, 4412000.0, -5.0};
    Index perFragmentDims{65u, 65u, 1u};
    Vector sourceFragSize{128.0, 128.0, 1.0};
    Index overlap{1u, 1u, 0u};
    Vector cellShift{0.5, -0.5, 0.0};

    bool setOn(Velum::Grid& grid) {
        return Rastrum::setAttribute(grid, fragDims, corner, perFragmentDims, sourceFragSize, overlap, cellShift);
    }
    bool getFrom(Velum::Grid const& grid) {
        return Rastrum::getAttributes(grid, fragDims, corner, perFragmentDims, sourceFragSize, overlap, cellShift);
    }
    friend bool operator==(Layout const&, Layout const&) = default;
};

// Stands for "not written": no value a grid would carry.
Layout sentinel() {
    return {{7u, 7u, 7u}, {-1.0, -1.0, -1.0}, {7u, 7u, 7u}, {-1.0, -1.0, -1.0}, {7u, 7u, 7u}, {-1.0, -1.0, -1.0}};
}

std::string readPrinting(Velum::Grid const& grid, Layout& out, bool& result) {
    testing::internal::CaptureStdout();
    result = out.getFrom(grid);
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(LayoutAttributes, WrittenInTheirOwnOrderAndReadBackAsChunks) {
    Velum::Grid grid;
    Layout written;
    written.fragDims = Index(0x100000005ull, 3u, 1u); // more than 32 bits do not survive
    ASSERT_TRUE(written.setOn(grid));

    EXPECT_EQ(grid.attributes().names(), (std::vector<std::string>{"SourceFragSize", "Corner", "PerFragmentDims",
                                                                   "Overlap", "FragDims", "CellShift"}));
    Lumen::StrongPtr<Lumen::Chunk<unsigned int>> const fragDims = grid.attributes().getAttribute("FragDims");
    Lumen::StrongPtr<Lumen::Chunk<Point>> const shift = grid.attributes().getAttribute("CellShift");
    ASSERT_TRUE(fragDims && shift);
    EXPECT_EQ(fragDims->size(), 3u);
    EXPECT_EQ(shift->size(), 1u);
    EXPECT_EQ((*shift)[0], Point(0.5, -0.5, 0.0));

    Layout read = sentinel();
    bool ok = false;
    EXPECT_EQ(readPrinting(grid, read, ok), "");
    EXPECT_TRUE(ok);
    Layout expected = written;
    expected.fragDims = Index(5u, 3u, 1u);
    EXPECT_EQ(read, expected);
}

TEST(LayoutAttributes, FirstMissingAttributeInReadingOrderIsNamedAndNothingIsWritten) {
    std::array<std::string, 6> const readingOrder{"FragDims", "Corner", "PerFragmentDims",
                                                  "SourceFragSize", "Overlap", "CellShift"};
    for (std::size_t missing = 0; missing < readingOrder.size(); ++missing) {
        Velum::Grid grid;
        Layout().setOn(grid);
        // This attribute and every later one are missing; the first is named.
        for (std::size_t gone = missing; gone < readingOrder.size(); ++gone) {
            grid.attributes().setAttribute(readingOrder[gone], nullptr);
        }

        Layout read = sentinel();
        bool ok = true;
        EXPECT_EQ(readPrinting(grid, read, ok), "No " + readingOrder[missing] + "\n");
        EXPECT_FALSE(ok);
        EXPECT_EQ(read, sentinel()) << "outputs stay as they were when " << readingOrder[missing] << " is missing";
    }
}

TEST(LayoutAttributes, AnAttributeOfAnotherElementTypeOrTooShortCountsAsMissing) {
    Velum::Grid grid;
    Layout().setOn(grid);
    grid.attributes().setAttribute("FragDims", Lumen::makeStrong<Lumen::Chunk<Point>>(1));
    grid.attributes().setAttribute("Overlap", Lumen::makeStrong<Lumen::Chunk<unsigned int>>(2));
    Layout read = sentinel();
    bool ok = true;
    EXPECT_EQ(readPrinting(grid, read, ok), "No FragDims\n");
    Layout().setOn(grid);
    grid.attributes().setAttribute("Overlap", Lumen::makeStrong<Lumen::Chunk<unsigned int>>(2));
    EXPECT_EQ(readPrinting(grid, read, ok), "No Overlap\n");
    EXPECT_EQ(read, sentinel());
}

TEST(LayoutAttributes, CopyReproducesAllSixOrLeavesTheTargetUntouched) {
    Velum::Grid from;
    Velum::Grid to;
    Layout().setOn(from);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(Rastrum::copyAttributes(from, to));
    Layout copied = sentinel();
    EXPECT_TRUE(copied.getFrom(to));
    EXPECT_EQ(copied, Layout());

    Velum::Grid untouched;
    from.attributes().setAttribute("CellShift", nullptr);
    EXPECT_FALSE(Rastrum::copyAttributes(from, untouched));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "No CellShift\n");
    EXPECT_TRUE(untouched.attributes().names().empty());
}
