// Builds a two-survey bundle from generated terrain, masks the data cells of
// the later survey with the binary operator, and prints what happened.
#include <omp.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>

#include "Lumen/Console.hpp"
#include "Lumen/LoaderProgress.hpp"
#include "Rastrum.hpp"
#include "Velum/Bundle.hpp"
#include "Velum/MemArray.hpp"
#include "Velum/UniformGridBuilder.hpp"
#include "terrain.hpp"

namespace {

using Index = Velum::MultiIndex<3>;

class CountingProgress : public Lumen::LoaderProgress {
public:
    void report(std::string const&, std::uint32_t, std::uint32_t) override { ++reports; }
    std::atomic<std::uint32_t> reports{0};
};

Velum::UniformGridBuilder surveyGrid(demo::Terrain const& terrain, Index const& points, std::uint64_t fragment) {
    Velum::UniformGridBuilder builder({.points = points,
                                       .pointsPerFragment = {fragment, fragment, 1u},
                                       .overlap = {},
                                       .origin = {477000.0, 4412000.0, 0.0},
                                       .spacing = {2.0, 2.0, 1.0}});
    builder.addField<float>("Height", [&](Index const& p) { return terrain.heightAt(p[0], p[1]); });
    builder.addField<unsigned char>("CellType", [&](Index const& p) { return terrain.cellTypeAt(p[0], p[1]); });
    return builder;
}

// Sums a field over all its fragments.
template <class T>
double total(Velum::Field const& field) {
    double sum = 0.0;
    for (auto const& id : field.getFragmentIDs()) {
        Lumen::StrongPtr<Velum::MemArray<3, T>> const data = field.getData(id);
        for (T value : data->values()) {
            sum += static_cast<double>(value);
        }
    }
    return sum;
}

std::uint64_t countDataCodes(Velum::Field const& codes) {
    std::uint64_t n = 0;
    for (auto const& id : codes.getFragmentIDs()) {
        Lumen::StrongPtr<Velum::MemArray<3, unsigned char>> const data = codes.getData(id);
        for (unsigned char c : data->values()) {
            n += (c == demo::Ground || c == demo::Interpolated) ? 1 : 0;
        }
    }
    return n;
}

std::uint64_t parse(char const* text, char const* what) {
    try {
        auto const value = std::stoull(text);
        if (value > 0 && value <= 1u << 16) {
            return value;
        }
    } catch (std::exception const&) {
    }
    std::cerr << "rastrum-demo: " << what << " must be a whole number from 1 to 65536, not '" << text << "'\n";
    std::exit(2);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 1 && argc != 4) {
        std::cerr << "usage: rastrum-demo [width height fragment-size]\n";
        return 2;
    }
    std::uint64_t const width = argc == 4 ? parse(argv[1], "width") : 1200;
    std::uint64_t const height = argc == 4 ? parse(argv[2], "height") : 900;
    std::uint64_t const fragment = argc == 4 ? parse(argv[3], "fragment-size") : 100;
    Lumen::Console::setSink([](std::string const& line) { std::cout << "console: " << line << '\n'; });

    demo::Terrain const terrain(width, height);
    Index const points(width, height, 1u);
    auto const earlier = surveyGrid(terrain, points, fragment);
    auto const later = surveyGrid(terrain, points, fragment);
    auto bundle = Velum::BundlePtr::create();
    (*bundle)[2019.0]->setGrid("survey", earlier.grid());
    (*bundle)[2024.0]->setGrid("survey", later.grid());

    auto const progress = Lumen::makeStrong<CountingProgress>();
    auto const start = std::chrono::steady_clock::now();
    std::string const message = Rastrum::binaryOperator(bundle, "CellType", progress, "", 2024.0);
    std::chrono::duration<double, std::milli> const elapsed = std::chrono::steady_clock::now() - start;

    if (!message.empty()) {
        std::cerr << "rastrum-demo: binaryOperator failed: " << message << '\n';
        return 1;
    }
    Velum::Grid const& grid = *later.grid();
    auto const binary = grid("Binary");
    auto const fragments = later.fragmentCounts().product();
    auto const masked = static_cast<std::uint64_t>(total<float>(*binary));
    auto const expected = countDataCodes(*grid("CellType"));

    std::printf("grid:       %llu x %llu points in %llu fragments of up to %llu x %llu\n",
                static_cast<unsigned long long>(width), static_cast<unsigned long long>(height),
                static_cast<unsigned long long>(fragments), static_cast<unsigned long long>(fragment),
                static_cast<unsigned long long>(fragment));
    std::printf("progress:   %u reports for %llu fragments\n", progress->reports.load(),
                static_cast<unsigned long long>(fragments));
    std::printf("data cells: %llu in \"Binary\", %llu with code 0 or 4 (%.1f%% of the grid)\n",
                static_cast<unsigned long long>(masked), static_cast<unsigned long long>(expected),
                100.0 * static_cast<double>(masked) / static_cast<double>(points.product()));
    std::printf("earlier survey untouched: %s\n", (*earlier.grid())("Binary") ? "no" : "yes");
    std::printf("time:       %.2f ms on up to %d threads\n", elapsed.count(), omp_get_max_threads());
    return masked == expected ? 0 : 1;
}
