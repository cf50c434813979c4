#ifndef OLHS_COMBINATORIALANALYSIS_H
#define OLHS_COMBINATORIALANALYSIS_H

#include <algorithm>
#include <vector>

#include "olhs/CRand.h"
#include "olhs/export.h"

namespace olhs {
namespace detail {

/// The pick rule: n draws, each taking one value out of the ascending pool 1..n. Only the
/// first `picked` values are computed; the remaining draws are still made, so the stream
/// advances by exactly n whatever is kept.
OLHS_API std::vector<int> pickPermutationValues(CRand& generator, int n, int picked);

/// The pick rule's values as V.
template <class V>
std::vector<V> pickPermutation(CRand& generator, int n, int picked) {
    const std::vector<int> values = pickPermutationValues(generator, n, picked);
    return std::vector<V>(values.begin(), values.end());
}

/// Whether at least `count` distinct k-element subsets of n values exist.
inline bool enoughSubsets(int n, int k, int count) {
    if (k < 0 || k > n) {
        return count <= 0;
    }
    k = std::min(k, n - k);
    double subsets = 1.0; // exact while below 2^53, far beyond any int count
    for (int i = 1; i <= k && subsets < count; ++i) {
        subsets = subsets * (n - k + i) / i;
    }
    return subsets >= count;
}

} // namespace detail
} // namespace olhs

/// Random permutations and k-element subsets of the values 1..n.
template <class T>
class OLHS_API CombinatorialAnalysis {
public:
    /// The argument is not consulted: every generator continues the one shared stream.
    CombinatorialAnalysis(CRand generator);
    CombinatorialAnalysis();

    /// A random permutation of 1..n (n draws).
    std::vector<T> getRandomPermutation(int n);
    /// k distinct values of 1..n in ascending order (n draws).
    std::vector<int> getRandomCombination(int n, int k);
    /// count distinct k-subsets of 1..n, each ascending, the list in lexicographic order.
    /// A request for more subsets than exist, or with k < 1, returns an empty list.
    std::vector<std::vector<int> > getVectorOfRandomCombination(int count, int n, int k);

private:
    template <class U>
    friend class CombinatorialAnalysis;

    CRand randGenerator;
};

template <class T>
CombinatorialAnalysis<T>::CombinatorialAnalysis(CRand /*generator*/) {}

template <class T>
CombinatorialAnalysis<T>::CombinatorialAnalysis() {
    CRand unused(false);
    (void)unused;
}

template <class T>
std::vector<T> CombinatorialAnalysis<T>::getRandomPermutation(int n) {
    const std::vector<int> values = olhs::detail::pickPermutation<int>(randGenerator, n, n);
    return std::vector<T>(values.begin(), values.end());
}

template <class T>
std::vector<int> CombinatorialAnalysis<T>::getRandomCombination(int n, int k) {
    CombinatorialAnalysis<int> sampler;
    std::vector<int> subset = olhs::detail::pickPermutation<int>(sampler.randGenerator, n, k);
    std::sort(subset.begin(), subset.end());
    return subset;
}

template <class T>
std::vector<std::vector<int> > CombinatorialAnalysis<T>::getVectorOfRandomCombination(int count, int n,
                                                                                     int k) {
    std::vector<std::vector<int> > subsets;
    if (count <= 0 || k < 1 || !olhs::detail::enoughSubsets(n, k, count)) {
        return subsets;
    }
    CombinatorialAnalysis<int> sampler;
    subsets.reserve(static_cast<std::size_t>(count));
    while (static_cast<int>(subsets.size()) < count) {
        std::vector<int> candidate = sampler.getRandomCombination(n, k);
        if (std::find(subsets.begin(), subsets.end(), candidate) == subsets.end()) {
            subsets.push_back(std::move(candidate));
        }
    }
    std::sort(subsets.begin(), subsets.end());
    return subsets;
}

// Both instantiations live in the shared library.
extern template class CombinatorialAnalysis<double>;
extern template class CombinatorialAnalysis<int>;

#endif
