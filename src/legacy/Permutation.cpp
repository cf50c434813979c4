#include "olhs/Permutation.h"

#include "olhs/CombinatorialAnalysis.h"

Permutation::Permutation(int n) : n(n) {
    CRand unused(false);
    (void)unused;
}

std::vector<double> Permutation::refresh() {
    return olhs::detail::pickPermutation<double>(randGenerator, n, n);
}
