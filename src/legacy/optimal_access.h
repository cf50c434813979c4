#ifndef OLHS_SRC_OPTIMAL_ACCESS_H
#define OLHS_SRC_OPTIMAL_ACCESS_H

#include <string>

#include "olhs/OptimalLH.h"
#include "report_file.h"

namespace olhs {
namespace detail {

/// Gives the search and the report the design's criterion without copies.
struct OptimalLHAccess {
    static PHIpCriterion& criterion(OptimalLH& x) { return x.PHIC; }
};

/// The design's file dump, either starting the file or adding to its end.
void writeOptimalDesign(OptimalLH& design, const std::string& path, int format, OpenMode mode);

} // namespace detail
} // namespace olhs

#endif
