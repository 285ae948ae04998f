#include "preview/canvas.hpp"

#include <algorithm>
#include <cstring>

namespace rastrum_host {
namespace {

int constexpr Scale = 2;
int constexpr Advance = 4; // glyph columns and one blank one, before scaling

// Five rows of three bits per glyph, the top row first.
std::array<std::uint8_t, 5> glyph(char c) {
    switch (c) {
    case '0': return {7, 5, 5, 5, 7};
    case '1': return {2, 6, 2, 2, 7};
    case '2': return {7, 1, 7, 4, 7};
    case '3': return {7, 1, 7, 1, 7};
    case '4': return {5, 5, 7, 1, 1};
    case '5': return {7, 4, 7, 1, 7};
    case '6': return {7, 4, 7, 5, 7};
    case '7': return {7, 1, 1, 1, 1};
    case '8': return {7, 5, 7, 5, 7};
    case '9': return {7, 5, 7, 1, 7};
    case '.': return {0, 0, 0, 0, 2};
    case '-': return {0, 0, 7, 0, 0};
    case '+': return {0, 2, 7, 2, 0};
    case 'e': return {0, 7, 7, 4, 7};
    default: return {0, 0, 0, 0, 0};
    }
}

} // namespace

Canvas::Canvas(int width, int height, Colour background)
    : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3) {
    fill(0, 0, width, height, background);
}

void Canvas::set(int x, int y, Colour colour) {
    if (x >= 0 && y >= 0 && x < width_ && y < height_) {
        std::memcpy(&pixels_[static_cast<std::size_t>(y * width_ + x) * 3], colour.data(), 3);
    }
}

void Canvas::fill(int x, int y, int width, int height, Colour colour) {
    for (int row = std::max(y, 0); row < std::min(y + height, height_); ++row) {
        for (int column = std::max(x, 0); column < std::min(x + width, width_); ++column) {
            set(column, row, colour);
        }
    }
}

void Canvas::write(int x, int y, std::string const& text, Colour colour) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const rows = glyph(text[i]);
        int const left = x + static_cast<int>(i) * Advance * Scale;
        for (int row = 0; row < 5; ++row) {
            for (int column = 0; column < 3; ++column) {
                if ((rows[static_cast<std::size_t>(row)] >> (2 - column) & 1) != 0) {
                    fill(left + column * Scale, y + row * Scale, Scale, Scale, colour);
                }
            }
        }
    }
}

int Canvas::textWidth(std::string const& text) {
    return text.empty() ? 0 : (static_cast<int>(text.size()) * Advance - 1) * Scale;
}

} // namespace rastrum_host
