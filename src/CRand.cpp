#include "olhs/CRand.h"

#include <random>
#include <utility>

namespace {

struct SharedStream {
    std::mt19937_64 engine{CRand::defaultSeed};
    std::function<double()> hostSource;
};

// Function-local so that draws made while other translation units initialise still find
// a constructed stream.
SharedStream& stream() {
    static SharedStream shared;
    return shared;
}

} // namespace

CRand::CRand(bool /*flag*/) {}

double CRand::Random() {
    SharedStream& s = stream();
    if (s.hostSource) {
        return s.hostSource();
    }
    return static_cast<double>(s.engine() >> 11) * 0x1.0p-53;
}

void CRand::seed(std::uint64_t value) { stream().engine.seed(value); }

void CRand::setSource(std::function<double()> source) { stream().hostSource = std::move(source); }
