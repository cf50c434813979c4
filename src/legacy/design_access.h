#ifndef OLHS_SRC_DESIGN_ACCESS_H
#define OLHS_SRC_DESIGN_ACCESS_H

#include <string>
#include <utility>
#include <valarray>
#include <vector>

#include "olhs/LatinHypercube.h"
#include "report_file.h"

namespace olhs {
namespace detail {

using Matrix = std::vector<std::valarray<double> >;

/// Read access to a design without the copies the by-value interface makes.
struct LatinHypercubeAccess {
    static const Matrix& levels(const LatinHypercube& design) { return design.LH; }
    static int points(const LatinHypercube& design) { return design.nPoints; }
    static int variables(const LatinHypercube& design) { return design.nDV; }
    /// Makes the design one of n points in m variables with these rows.
    static void assign(LatinHypercube& design, int n, int m, Matrix rows) {
        design.nPoints = n;
        design.nDV = m;
        design.LH = std::move(rows);
    }
};

/// The design's file dump, either starting the file or adding to its end. False when the
/// file could not be opened (already reported).
bool writeDesign(const LatinHypercube& design, const std::string& path, int format, OpenMode mode);

} // namespace detail
} // namespace olhs

#endif
