#include "engine/random_stream.h"

namespace olhs {
namespace engine {

namespace {

constexpr std::size_t kN = 312;
constexpr std::size_t kM = 156;
constexpr std::uint64_t kMatrix = 0xB5026F5AA96619E9u;
constexpr std::uint64_t kUpper = ~std::uint64_t{0} << 31;
constexpr std::uint64_t kLower = ~kUpper;

// One word of the refresh. The matrix is applied through a mask instead of a branch on the
// low bit: that branch is a coin toss the processor mispredicts half the time, and the
// masked form lets the loops below become vector code.
inline std::uint64_t twist(std::uint64_t word, std::uint64_t following, std::uint64_t far) {
    const std::uint64_t y = (word & kUpper) | (following & kLower);
    return far ^ (y >> 1) ^ ((std::uint64_t{0} - (y & 1u)) & kMatrix);
}

} // namespace

void Mt19937_64::seed(result_type value) {
    state_[0] = value;
    for (std::size_t i = 1; i < kN; ++i) {
        const std::uint64_t previous = state_[i - 1];
        state_[i] = 6364136223846793005u * (previous ^ (previous >> 62)) + i;
    }
    index_ = kN;
}

__attribute__((target_clones("avx512f", "avx2", "default"))) void Mt19937_64::refresh() {
    std::uint64_t* x = state_.data();
    // Both loops run an even number of times, so two-word vectors cover them with no
    // scalar remainder, which is what the compiler's cheapest vectorisation asks for.
    for (std::size_t k = 0; k < kN - kM; ++k) {
        x[k] = twist(x[k], x[k + 1], x[k + kM]);
    }
    for (std::size_t k = kN - kM; k < kN - 2; ++k) {
        x[k] = twist(x[k], x[k + 1], x[k - (kN - kM)]);
    }
    x[kN - 2] = twist(x[kN - 2], x[kN - 1], x[kM - 2]);
    x[kN - 1] = twist(x[kN - 1], x[0], x[kM - 1]);
    index_ = 0;
}

void Mt19937_64::discard(std::uint64_t count) {
    while (count > kN - index_) {
        count -= kN - index_;
        refresh();
    }
    index_ += static_cast<std::size_t>(count);
}

void RandomStream::skip(std::uint64_t count) {
    if (!host_) {
        generator_.discard(count);
        return;
    }
    for (; count != 0; --count) {
        (void)host_();
    }
}

} // namespace engine
} // namespace olhs
