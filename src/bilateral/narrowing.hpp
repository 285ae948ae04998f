#pragma once

#include <cmath>
#include <cstdint>
#include <type_traits>

namespace Rastrum {

// Stores a double into the element type: unchanged for floating types; for
// integer types truncated toward zero and wrapped modulo 2^64, then into the
// type's range (a NaN or infinity becomes 0), so that running sums narrow the
// same way on every platform.
template <class T>
T narrow(double value) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(value);
    } else {
        if (!std::isfinite(value)) {
            return T(0);
        }
        double const whole = std::trunc(value);
        auto const magnitude = static_cast<std::uint64_t>(std::fmod(std::abs(whole), 18446744073709551616.0));
        return static_cast<T>(whole < 0 ? 0 - magnitude : magnitude);
    }
}

} // namespace Rastrum
