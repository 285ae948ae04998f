#pragma once

// Straightforward versions of the two smoothing filters, written the way the
// filters are described: gather the neighbours, then weight them.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace reference {

inline bool isHole(unsigned char code) { return code >= 1 && code <= 3; }

inline unsigned windowOf(unsigned requested) {
    unsigned size = requested < 3 ? 3 : requested;
    return size % 2 ? size : size + 1;
}

template <class T>
T store(double x) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(x);
    } else {
        // Truncate, then keep the low bits of the two's complement value.
        double const t = std::trunc(x);
        double const low = std::fmod(t < 0 ? -t : t, 18446744073709551616.0);
        std::uint64_t const bits = static_cast<std::uint64_t>(low);
        return static_cast<T>(t < 0 ? ~bits + 1 : bits);
    }
}

template <class T>
double difference(T c, T v) {
    if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>) {
        return c - v;
    } else if constexpr (sizeof(T) >= 4 && std::is_unsigned_v<T>) {
        T const d = c - v;
        return static_cast<double>(d);
    } else {
        return static_cast<double>(static_cast<long long>(c) - static_cast<long long>(v));
    }
}

template <class T>
struct Fragment {
    std::vector<T> values;
    std::vector<unsigned char> codes;
    std::uint64_t nx, ny, nz;
    std::size_t at(std::uint64_t i, std::uint64_t j, std::uint64_t k) const { return (k * ny + j) * nx + i; }
};

template <class T>
std::vector<T> bilateral(Fragment<T> const& f, unsigned window, double sigmaSpatial, double sigmaRange) {
    std::vector<T> out = f.values;
    long long const half = (windowOf(window) - 1) / 2;
    for (std::uint64_t k = 0; k < f.nz; ++k) {
        for (std::uint64_t j = 0; j < f.ny; ++j) {
            for (std::uint64_t i = 0; i < f.nx; ++i) {
                if (isHole(f.codes[f.at(i, j, k)])) {
                    continue;
                }
                T const c = f.values[f.at(i, j, k)];
                struct Neighbour {
                    long long di, dj;
                    T v;
                };
                std::vector<Neighbour> neighbours;
                for (long long di = -half; di <= half; ++di) {
                    for (long long dj = -half; dj <= half; ++dj) {
                        long long const x = static_cast<long long>(i) + di;
                        long long const y = static_cast<long long>(j) + dj;
                        if (x < 0 || y < 0 || x >= static_cast<long long>(f.nx) || y >= static_cast<long long>(f.ny)) {
                            continue;
                        }
                        auto const n = f.at(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y), 0);
                        neighbours.push_back({di, dj, isHole(f.codes[n]) ? c : f.values[n]});
                    }
                }
                T result = 0;
                double sum = 0;
                for (auto const& n : neighbours) {
                    double const dx = static_cast<double>(n.di);
                    double const dy = static_cast<double>(n.dj);
                    double const d = difference(c, n.v);
                    double const w = std::exp(-0.5 * (dx * dx + dy * dy) / (sigmaSpatial * sigmaSpatial) -
                                              d * d * 0.5 / (sigmaRange * sigmaRange));
                    sum += w;
                    result = store<T>(static_cast<double>(result) + static_cast<double>(n.v) * w);
                }
                out[f.at(i, j, k)] = store<T>(static_cast<double>(result) / sum);
            }
        }
    }
    return out;
}

template <class T>
std::vector<T> gaussian(Fragment<T> const& f, unsigned window, double sigmaSpatial) {
    std::vector<T> out = f.values;
    unsigned const size = windowOf(window);
    std::uint64_t const half = (size - 1) / 2;
    std::vector<double> kernel;
    double total = 0;
    for (unsigned b = 0; b < size; ++b) {
        for (unsigned a = 0; a < size; ++a) {
            double const da = double(a) - double(half);
            double const db = double(b) - double(half);
            kernel.push_back(0.15915494309189535 / (sigmaSpatial * sigmaSpatial) *
                             std::exp(-0.5 * (da * da + db * db) / (sigmaSpatial * sigmaSpatial)));
            total += kernel.back();
        }
    }
    double const scale = 1.0 / total;
    for (double& w : kernel) {
        w *= scale;
    }
    if (f.nx < 2 * half || f.ny < 2 * half) {
        return out;
    }
    for (std::uint64_t k = 0; k < f.nz; ++k) {
        for (std::uint64_t j = 0; j + 2 * half < f.ny; ++j) {
            for (std::uint64_t i = 0; i + 2 * half < f.nx; ++i) {
                auto const centre = f.at(i + half, j + half, k);
                if (isHole(f.codes[centre])) {
                    continue;
                }
                T result = 0;
                for (unsigned b = 0; b < size; ++b) {
                    for (unsigned a = 0; a < size; ++a) {
                        auto const n = f.at(i + a, j + b, k);
                        T const v = isHole(f.codes[n]) ? f.values[centre] : f.values[n];
                        result = store<T>(static_cast<double>(result) + static_cast<double>(v) * kernel[a + size * b]);
                    }
                }
                out[centre] = result;
            }
        }
    }
    return out;
}

} // namespace reference
