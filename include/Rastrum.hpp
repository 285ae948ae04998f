#pragma once

#include <string>

#include "Lumen/InterfaceBase.hpp"
#include "Lumen/LoaderProgress.hpp"
#include "Lumen/StrongPtr.hpp"
#include "Velum/Bundle.hpp"

#define RASTRUM_EXPORT __attribute__((visibility("default")))

// Numerical operations on fragmented uniform grids of height rasters with
// per-point cell-type codes. Operations return an empty string on success and
// the last failure message otherwise.
namespace Rastrum {

// Writes the vertex field "Binary" on every grid (or the grid named gridName)
// of the slice at `time`: 1.0 where the cell-type code marks data (0 or 4),
// 0.0 elsewhere.
RASTRUM_EXPORT std::string binaryOperator(Velum::BundlePtr& bundle, std::string const& cellTypeFieldName,
                                          Lumen::StrongPtr<Lumen::LoaderProgress, Lumen::InterfaceBase> const& progress,
                                          std::string const& gridName, double const& time);

} // namespace Rastrum
