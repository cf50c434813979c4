#ifndef OLHS_OPTIMALLATINHYPERCUBEDOE_H
#define OLHS_OPTIMALLATINHYPERCUBEDOE_H

#include <valarray>

#include "olhs/export.h"

/// A Latin hypercube of n points in m variables, scaled to [0, 1]: element i*m + j of X is
/// variable j of point i, level k becoming (k - 1)/(n - 1). Mode 1 first improves the
/// design with the evolutionary search (at most 2000 iterations, 100 without improvement);
/// any other mode returns the random design. The flag is handed to the generator.
///
/// Refused, with two lines on standard error and X left empty: n < 2, m < 1, and m < 2 in
/// mode 1.
OLHS_API void OptimalLatinHypercubeDOE(bool flag, int mode, int m, int n, std::valarray<double>& X);

/// As above with the flag false.
OLHS_API void OptimalLatinHypercubeDOE(int mode, int m, int n, std::valarray<double>& X);

#endif
