#ifndef OLHS_ENGINE_SAMPLING_H
#define OLHS_ENGINE_SAMPLING_H

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/random_stream.h"

namespace olhs {
namespace engine {

/// Index the pick rule takes from a pool of k values for the draw r: r (k - 1) rounded to
/// the nearest integer, halves away from zero; draws below 0 or NaN give 0, above 1 give k - 1.
inline int pickIndex(double r, int k) {
    const double x = r * (k - 1);
    if (!(x >= 0.0)) {
        return 0;
    }
    if (x >= k - 1) {
        return k - 1;
    }
    return x > 0 ? static_cast<int>(x + 0.5) : static_cast<int>(x - 0.5);
}

namespace detail {

/// Whether a stream type can drop draws itself.
template <class Stream, class = void>
struct CanSkip : std::false_type {};
template <class Stream>
struct CanSkip<Stream, std::void_t<decltype(std::declval<Stream&>().skip(std::uint64_t{0}))> >
    : std::true_type {};

} // namespace detail

/// Makes `count` draws of `stream` and drops them, through its skip() where it has one.
template <class Stream>
void skipDraws(Stream& stream, std::uint64_t count) {
    if constexpr (detail::CanSkip<Stream>::value) {
        stream.skip(count);
    } else {
        for (; count != 0; --count) {
            (void)stream.next();
        }
    }
}

/// The values 1..n, each present or taken: the k-th present value is found and taken in
/// O(log n) (a Fenwick tree of counts), where closing up an array costs O(n).
class OrderStatisticPool {
public:
    /// All of 1..n present.
    explicit OrderStatisticPool(int n);
    /// Takes out the value of rank `index` (from 0) among those present, and returns it.
    int take(int index);

private:
    int n_;
    int top_; ///< the largest power of two not above n
    std::vector<int> counts_;
};

/// Pools larger than this are kept as an OrderStatisticPool; smaller ones close up faster.
constexpr int kArrayPoolLimit = 2048;

/// The pick rule: the first `picked` values of a permutation of 1..n into `out`, each draw
/// taking one value out of the ascending pool of those left. Always n draws, whatever is kept.
template <class V, class Stream>
void pickPermutation(Stream& stream, int n, int picked, std::vector<V>& out) {
    out.clear();
    if (n <= 0) {
        return;
    }
    picked = std::min(std::max(picked, 0), n);
    if (n > kArrayPoolLimit) {
        OrderStatisticPool pool(n);
        out.resize(static_cast<std::size_t>(picked));
        for (int d = 0; d < picked; ++d) {
            out[static_cast<std::size_t>(d)] = static_cast<V>(pool.take(pickIndex(stream.next(), n - d)));
        }
        skipDraws(stream, static_cast<std::uint64_t>(n - picked));
        return;
    }
    out.resize(static_cast<std::size_t>(n));
    for (int v = 0; v < n; ++v) {
        out[static_cast<std::size_t>(v)] = static_cast<V>(v + 1);
    }
    // out[d..n) is the pool: the value taken moves to out[d] and the pool closes up behind
    // it, still ascending, with no second buffer.
    for (int d = 0; d < picked; ++d) {
        const auto first = out.begin() + d;
        const int index = pickIndex(stream.next(), n - d);
        const V value = first[index];
        std::move_backward(first, first + index, first + index + 1);
        *first = value;
    }
    out.resize(static_cast<std::size_t>(picked));
    skipDraws(stream, static_cast<std::uint64_t>(n - picked));
}

/// The pick rule's first `picked` values of a permutation of 1..n (n draws).
template <class V, class Stream>
std::vector<V> pickPermutation(Stream& stream, int n, int picked) {
    std::vector<V> out;
    pickPermutation(stream, n, picked, out);
    return out;
}

/// Fisher-Yates: the values in an order uniform over all orders, from the last place down
/// (count - 1 draws). Every shuffle of the library draws this way.
template <class T, class Stream>
void shuffle(Stream& stream, T* values, int count) {
    for (int i = count - 1; i > 0; --i) {
        const int j = std::min(i, static_cast<int>(stream.next() * (i + 1)));
        std::swap(values[i], values[j]);
    }
}

/// Two distinct values of 1..n, a < b.
struct Pair {
    int a;
    int b;
};

/// Same values.
inline bool operator==(Pair x, Pair y) { return x.a == y.a && x.b == y.b; }
/// Different values.
inline bool operator!=(Pair x, Pair y) { return !(x == y); }
/// Lexicographic order.
inline bool operator<(Pair x, Pair y) { return x.a < y.a || (x.a == y.a && x.b < y.b); }

/// `count` distinct pairs of 1..n in lexicographic order, drawn as the legacy sampler of
/// 2-subsets draws them: each candidate costs n draws (two used, n - 2 skipped) and one
/// already taken is drawn again. Empty, with no draw, for count <= 0 or more pairs than
/// exist. Reuses `out`'s memory. A stream that repeats one pair forever never finishes.
void drawDistinctPairs(RandomStream& stream, int count, int n, std::vector<Pair>& out);

} // namespace engine
} // namespace olhs

#endif
