#pragma once

// The Sobel magnitude written the way it is described, one point at a time.

#include <cmath>
#include <cstdint>
#include <vector>

namespace reference {

inline std::vector<float> sobel(std::vector<float> const& height, std::vector<unsigned char> const& codes,
                                std::uint64_t nx, std::uint64_t ny, std::uint64_t nz) {
    // Row = offset in x, column = offset in y.
    float const acrossX[9] = {3, 10, 3, 0, 0, 0, -3, -10, -3};
    float const acrossY[9] = {3, 0, -3, 10, 0, -10, 3, 0, -3};
    std::vector<float> out(height.size(), 0.0f);
    for (std::uint64_t c = 0; c < nz; ++c) {
        for (std::uint64_t b = 0; b + 2 < ny; ++b) {
            for (std::uint64_t a = 0; a + 2 < nx; ++a) {
                double x = 0.0;
                double y = 0.0;
                for (std::uint64_t n = 0; n < 9; ++n) {
                    std::uint64_t const i = n % 3;
                    std::uint64_t const j = n / 3;
                    auto const p = (c * ny + b + j) * nx + a + i;
                    if (codes[p] >= 1 && codes[p] <= 3) {
                        break;
                    }
                    x += static_cast<double>(acrossX[i * 3 + j] * height[p]);
                    y += static_cast<double>(acrossY[i * 3 + j] * height[p]);
                }
                out[(c * ny + b + 1) * nx + a + 1] = static_cast<float>(std::sqrt(x * x + y * y));
            }
        }
    }
    return out;
}

} // namespace reference
