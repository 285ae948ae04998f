#pragma once

#include <initializer_list>
#include <vector>

namespace Rastrum {

// A set of cell-type codes. Codes past the end of the table are in no set.
class CellTypeTable {
public:
    CellTypeTable(std::initializer_list<bool> flags) : flags_(flags) {}
    bool operator[](unsigned code) const { return code < flags_.size() && flags_[code]; }

private:
    std::vector<bool> flags_;
};

// Codes 0 and 4 mark points that carry data, codes 1 to 3 holes. Every
// operation unit keeps its own instance, built when the library is loaded.
struct CellTypeTables {
    CellTypeTable const DATA_CELL_TYPES{true, false, false, false, true};
    CellTypeTable const HOLE_CELL_TYPES{false, true, true, true, false};
};

} // namespace Rastrum
