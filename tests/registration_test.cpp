#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>
#include <vector>

#include "Lumen/TypeRegistry.hpp"

TEST(Registration, LoadingTheLibraryRegistersEveryArrayTypeOnce) {
    auto const& registry = Lumen::TypeRegistry::instance();
    EXPECT_EQ(registry.size(), 0u) << "this test program registers nothing itself";

    void* const library = dlopen(RASTRUM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    // Loading again runs no initialiser twice.
    void* const again = dlopen(RASTRUM_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_EQ(again, library);

    std::vector<std::string> const elements{
        "double",         "float",
        "unsigned char",  "int",
        "unsigned int",   "unsigned short",
        "unsigned long long", "PhysicalSpace::point",
        "FixedArray<double,3>", "SimplexCell<1,unsigned int,IJ>",
        "SimplexCell<2,unsigned int,IJ>"};
    for (int rank = 1; rank <= 4; ++rank) {
        for (auto const& element : elements) {
            auto const name = "MemArray<" + std::to_string(rank) + "," + element + ">";
            EXPECT_TRUE(registry.contains(name)) << name;
        }
    }
    EXPECT_EQ(registry.size(), 4 * elements.size());
    // The library stays loaded: the registry refers to its types.
}
