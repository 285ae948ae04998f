#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace rastrum_host {

using Colour = std::array<std::uint8_t, 3>;

// An RGB picture in memory, row 0 at the top, with the little drawing a
// preview's legend needs: filled boxes and numbers.
class Canvas {
public:
    Canvas(int width, int height, Colour background);
    int width() const { return width_; }
    int height() const { return height_; }
    std::vector<std::uint8_t> const& pixels() const { return pixels_; } // interleaved RGB
    void set(int x, int y, Colour colour);
    void fill(int x, int y, int width, int height, Colour colour);
    // Digits, '.', '-', '+' and 'e' in a 3 x 5 font scaled by 2, top-left at (x, y).
    void write(int x, int y, std::string const& text, Colour colour);

    static int textWidth(std::string const& text);
    static int constexpr TextHeight = 10;

private:
    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;
};

} // namespace rastrum_host
