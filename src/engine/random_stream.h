#ifndef OLHS_ENGINE_RANDOM_STREAM_H
#define OLHS_ENGINE_RANDOM_STREAM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace olhs {
namespace engine {

namespace detail {
/// One refresh of the 312 words of a Mersenne Twister state, in the portable code.
void refreshWords(std::uint64_t* state);
/// The same refresh in AVX2 code; call only where hasWideRefresh().
void refreshWide(std::uint64_t* state);
/// Whether the processor runs the AVX2 refresh.
bool hasWideRefresh();
/// The same refresh in AVX-512 code; call only where hasWidestRefresh().
void refreshWidest(std::uint64_t* state);
/// Whether the processor runs the AVX-512 refresh.
bool hasWidestRefresh();
} // namespace detail

/// The 64-bit Mersenne Twister: the outputs of std::mt19937_64 for every seed, with a
/// branch-free refresh of the state that the compiler turns into vector code.
class Mt19937_64 {
public:
    /// Type of one output.
    using result_type = std::uint64_t;
    /// Seed of a default-constructed generator, the same as std::mt19937_64's.
    static constexpr result_type default_seed = 5489u;

    /// A generator started from `value`, as std::mt19937_64(value) would be.
    explicit Mt19937_64(result_type value = default_seed) { seed(value); }

    /// Restarts from `value` with the standard seeding.
    void seed(result_type value);

    /// The next 64-bit output.
    result_type operator()() {
        if (index_ >= kStateSize) {
            refresh();
        }
        result_type y = state_[index_++];
        y ^= (y >> 29) & 0x5555555555555555u;
        y ^= (y << 17) & 0x71D67FFFEDA60000u;
        y ^= (y << 37) & 0xFFF7EEE000000000u;
        return y ^ (y >> 43);
    }

    /// Skips `count` outputs without tempering them; later outputs are those of
    /// std::mt19937_64::discard(count).
    void discard(std::uint64_t count);

    /// Smallest output.
    static constexpr result_type min() { return 0; }
    /// Largest output.
    static constexpr result_type max() { return ~result_type{0}; }

private:
    static constexpr std::size_t kStateSize = 312;

    void refresh();

    alignas(16) std::array<result_type, kStateSize> state_;
    std::size_t index_; // next output's word; kStateSize once the state is used up
};

/// One stream of draws on [0, 1]: the built-in generator, or a host's function in its place.
/// A value: copies continue independently, and nothing is shared between objects.
class RandomStream {
public:
    /// Seed of a default-constructed stream, the legacy stream's starting seed.
    static constexpr std::uint64_t defaultSeed = 20261123u;

    /// The built-in generator started from `seed`.
    explicit RandomStream(std::uint64_t seed = defaultSeed) : generator_(seed) {}
    /// Draws from `host`; the built-in generator waits underneath from defaultSeed.
    explicit RandomStream(std::function<double()> host) : generator_(defaultSeed), host_(std::move(host)) {}

    /// The next draw: the top 53 bits of one output times 2^-53, or one call of the host.
    double next() {
        if (host_) {
            return host_();
        }
        return static_cast<double>(generator_() >> 11) * 0x1.0p-53;
    }

    /// Makes `count` draws and drops them. A host sees each one; the built-in generator
    /// only advances its state.
    void skip(std::uint64_t count);

    /// Restarts the built-in generator from `seed`; a host source stays in place.
    void seed(std::uint64_t seed) { generator_.seed(seed); }

    /// Draws from `host` from now on; an empty function returns to the built-in generator
    /// where it left off.
    void setHost(std::function<double()> host) { host_ = std::move(host); }

    /// Whether a host function supplies the draws.
    bool hasHost() const { return static_cast<bool>(host_); }

private:
    Mt19937_64 generator_;
    std::function<double()> host_;
};

} // namespace engine
} // namespace olhs

#endif
