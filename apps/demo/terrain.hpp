#pragma once

#include <cstdint>

namespace demo {

// Cell-type codes of generated terrain: surveyed ground, points filled in by
// interpolation (data as well), and the three kinds of hole.
enum CellCode : unsigned char {
    Ground = 0,
    OutsideSurvey = 1,
    NoReturn = 2,
    Water = 3,
    Interpolated = 4,
};

// A synthetic elevation model: hills and a valley over a tilted plane, a lake
// in the valley floor, a strip outside the survey and scattered dropouts.
class Terrain {
public:
    Terrain(std::uint64_t width, std::uint64_t height) : width_(width), height_(height) {}

    float heightAt(std::uint64_t x, std::uint64_t y) const;
    unsigned char cellTypeAt(std::uint64_t x, std::uint64_t y) const;

private:
    double u(std::uint64_t x) const { return static_cast<double>(x) / static_cast<double>(width_); }
    double v(std::uint64_t y) const { return static_cast<double>(y) / static_cast<double>(height_); }

    std::uint64_t width_;
    std::uint64_t height_;
};

} // namespace demo
