#include "olhs/CRand.h"

#include <utility>

#include "shared_stream.h"

namespace olhs {
namespace detail {

// Function-local so that draws made while other translation units initialise still find
// a constructed stream.
engine::RandomStream& sharedStream() {
    static engine::RandomStream shared(CRand::defaultSeed);
    return shared;
}

} // namespace detail
} // namespace olhs

CRand::CRand(bool /*flag*/) {}

double CRand::Random() { return olhs::detail::sharedStream().next(); }

void CRand::seed(std::uint64_t value) { olhs::detail::sharedStream().seed(value); }

void CRand::setSource(std::function<double()> source) { olhs::detail::sharedStream().setHost(std::move(source)); }
