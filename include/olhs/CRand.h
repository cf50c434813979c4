#ifndef OLHS_CRAND_H
#define OLHS_CRAND_H

#include <cstdint>
#include <functional>

#include "olhs/export.h"

/// Handle on the one process-wide pseudo-random stream. Holds no data of its own: every
/// object, copy and temporary continues the same stream, and constructing, copying or
/// assigning one never draws.
///
/// The built-in stream is the 64-bit Mersenne Twister (std::mt19937_64, whose output the
/// C++ standard fixes for every platform), started from CRand::defaultSeed. Each draw takes
/// the top 53 bits of one 64-bit output times 2^-53, a double in [0, 1).
class OLHS_API CRand {
public:
    /// Seed of the built-in stream when the process starts.
    static constexpr std::uint64_t defaultSeed = 20261123u;

    /// The flag is accepted for compatibility and has no effect on the stream.
    CRand(bool flag = true);
    virtual ~CRand() {}

    /// The next value of the shared stream, uniform on [0, 1].
    double Random();

    /// Restarts the built-in stream from the given seed.
    static void seed(std::uint64_t value);

    /// Makes every CRand draw from the host's source (uniform doubles in [0, 1]); an empty
    /// function returns to the built-in stream where it left off.
    static void setSource(std::function<double()> source);
};

#endif
