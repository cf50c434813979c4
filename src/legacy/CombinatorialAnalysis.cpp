// The library carries the two instantiations of the sampler its own classes use, so hosts
// link to them instead of compiling their own, and the pick rule itself.
#include "olhs/CombinatorialAnalysis.h"

#include "engine/sampling.h"

namespace olhs {
namespace detail {

namespace {

// The engine's pick rule draws from anything with next(); the generator has no skip, so
// the draws left over are made one by one, as they always were.
struct GeneratorDraws {
    CRand* generator;
    double next() { return generator->Random(); }
};

} // namespace

std::vector<int> pickPermutationValues(CRand& generator, int n, int picked) {
    GeneratorDraws draws{&generator};
    std::vector<int> values;
    engine::pickPermutation(draws, n, picked, values);
    return values;
}

} // namespace detail
} // namespace olhs

template class CombinatorialAnalysis<double>;
template class CombinatorialAnalysis<int>;
