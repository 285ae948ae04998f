#include "frame/bundle_walk.hpp"

namespace Rastrum::frame {

std::vector<Velum::MultiIndex<3>> fragmentList(Velum::MultiIndex<3> const& counts) {
    std::vector<Velum::MultiIndex<3>> list;
    if (counts.product() == 0) {
        return list;
    }
    list.reserve(counts.product());
    Velum::MultiIndex<3> index;
    do {
        list.push_back(index);
    } while (index.inc(counts));
    return list;
}

} // namespace Rastrum::frame
