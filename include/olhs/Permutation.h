#ifndef OLHS_PERMUTATION_H
#define OLHS_PERMUTATION_H

#include <vector>

#include "olhs/CRand.h"
#include "olhs/export.h"

/// A random permutation of 1..n, drawn anew on every request.
class OLHS_API Permutation {
public:
    /// Fixes n; nothing is drawn until refresh().
    Permutation(int n);
    /// A new random permutation of 1..n as doubles (n draws).
    std::vector<double> refresh();

private:
    int n;
    CRand randGenerator;
};

#endif
