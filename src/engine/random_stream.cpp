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

// The whole refresh of the state x. The loops run a multiple of four times, so two- and
// four-word vectors cover them with no scalar remainder, which is what the compiler's
// cheapest vectorisation asks for; the last four words wrap round to the start.
[[gnu::always_inline]] inline void refreshBody(std::uint64_t* x) {
    for (std::size_t k = 0; k < kN - kM; ++k) {
        x[k] = twist(x[k], x[k + 1], x[k + kM]);
    }
    for (std::size_t k = kN - kM; k < kN - 4; ++k) {
        x[k] = twist(x[k], x[k + 1], x[k - (kN - kM)]);
    }
    for (std::size_t k = kN - 4; k < kN - 1; ++k) {
        x[k] = twist(x[k], x[k + 1], x[k - (kN - kM)]);
    }
    x[kN - 1] = twist(x[kN - 1], x[0], x[kM - 1]);
}

} // namespace

namespace detail {

void refreshWords(std::uint64_t* x) { refreshBody(x); }

#if defined(__x86_64__) && defined(__GNUC__)
// The same words, four at a time where the processor has AVX2.
[[gnu::target("avx2")]] void refreshWide(std::uint64_t* x) { refreshBody(x); }

bool hasWideRefresh() { return __builtin_cpu_supports("avx2"); }

// Eight at a time where it has AVX-512.
[[gnu::target("avx512f")]] void refreshWidest(std::uint64_t* x) {
    refreshBody(x);
}

bool hasWidestRefresh() { return __builtin_cpu_supports("avx512f"); }
#else
void refreshWide(std::uint64_t* x) { refreshBody(x); }

bool hasWideRefresh() { return false; }

void refreshWidest(std::uint64_t* x) { refreshBody(x); }

bool hasWidestRefresh() { return false; }
#endif

} // namespace detail

void Mt19937_64::seed(result_type value) {
    state_[0] = value;
    for (std::size_t i = 1; i < kN; ++i) {
        const std::uint64_t previous = state_[i - 1];
        state_[i] = 6364136223846793005u * (previous ^ (previous >> 62)) + i;
    }
    index_ = kN;
}

void Mt19937_64::refresh() {
    // SSE2 is all x86-64 promises; AVX-512 and AVX2 are taken only where the processor
    // reports them.
    if (detail::hasWidestRefresh()) {
        detail::refreshWidest(state_.data());
        index_ = 0;
        return;
    }
    if (detail::hasWideRefresh()) {
        detail::refreshWide(state_.data());
        index_ = 0;
        return;
    }
    detail::refreshWords(state_.data());
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
