#pragma once

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace Tensa {

// A list of closed intervals, kept in the order they were added, with the
// overall lower and upper bound of all of them.
template <class T>
class MultiRange {
public:
    struct Interval {
        T lo;
        T hi;
    };

    void add(T lo, T hi) {
        intervals_.push_back({lo, hi});
        lower_ = std::min(lower_, lo);
        upper_ = std::max(upper_, hi);
    }

    std::vector<Interval> const& intervals() const { return intervals_; }
    bool empty() const { return intervals_.empty(); }
    T lowerBound() const { return lower_; }
    T upperBound() const { return upper_; }

private:
    std::vector<Interval> intervals_;
    T lower_ = std::numeric_limits<T>::max();
    T upper_ = std::numeric_limits<T>::lowest();
};

} // namespace Tensa
