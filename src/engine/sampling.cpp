#include "engine/sampling.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace olhs {
namespace engine {

namespace {

// Up to this many pairs, keeping the list sorted as it grows is both the duplicate check
// and the final sort; beyond it a hash table keeps each check O(1).
constexpr int kSortedInsertLimit = 64;

// The first two picks of a permutation of 1..n; the rest of its n draws are skipped.
Pair drawPair(RandomStream& stream, int n) {
    const int first = pickIndex(stream.next(), n);
    const int second = pickIndex(stream.next(), n - 1);
    stream.skip(static_cast<std::uint64_t>(n - 2));
    // The second pool lacks the first value: indexes from it on stand one value higher.
    const int a = first + 1;
    const int b = second < first ? second + 1 : second + 2;
    return a < b ? Pair{a, b} : Pair{b, a};
}

void drawSortedInsert(RandomStream& stream, int count, int n, std::vector<Pair>& out) {
    while (static_cast<int>(out.size()) < count) {
        const Pair candidate = drawPair(stream, n);
        const auto at = std::lower_bound(out.begin(), out.end(), candidate);
        if (at == out.end() || *at != candidate) {
            out.insert(at, candidate);
        }
    }
}

// Open addressing with linear probing. The table lives in `out` past the first `count`
// elements, so its memory is reused as the list's own; Pair{0, 0} marks an empty slot.
void drawHashed(RandomStream& stream, int count, int n, std::vector<Pair>& out) {
    int bits = 1;
    while ((std::size_t{1} << bits) < 2 * static_cast<std::size_t>(count)) {
        ++bits;
    }
    const std::size_t slots = std::size_t{1} << bits;
    const std::size_t mask = slots - 1;
    const std::size_t listSize = static_cast<std::size_t>(count);
    out.assign(listSize + slots, Pair{0, 0});
    Pair* const table = out.data() + listSize;
    std::size_t accepted = 0;
    while (accepted < listSize) {
        const Pair candidate = drawPair(stream, n);
        const std::uint64_t key =
            (static_cast<std::uint64_t>(candidate.a) << 32) | static_cast<std::uint32_t>(candidate.b);
        std::size_t slot = static_cast<std::size_t>((key * 0x9E3779B97F4A7C15u) >> (64 - bits)) & mask;
        while (table[slot].a != 0 && table[slot] != candidate) {
            slot = (slot + 1) & mask;
        }
        if (table[slot].a == 0) {
            table[slot] = candidate;
            out[accepted++] = candidate;
        }
    }
    out.resize(listSize);
    std::sort(out.begin(), out.end());
}

} // namespace

OrderStatisticPool::OrderStatisticPool(int n) : n_(n), top_(1), counts_(static_cast<std::size_t>(n) + 1) {
    // Every value present: node i counts the lowbit(i) values ending at i.
    for (int i = 1; i <= n; ++i) counts_[static_cast<std::size_t>(i)] = i & -i;
    while (top_ * 2 <= n) top_ *= 2;
}

int OrderStatisticPool::take(int index) {
    int position = 0;
    int rank = index + 1;
    for (int step = top_; step > 0; step /= 2) {
        const int next = position + step;
        if (next <= n_ && counts_[static_cast<std::size_t>(next)] < rank) {
            position = next;
            rank -= counts_[static_cast<std::size_t>(next)];
        }
    }
    const int value = position + 1;
    for (int i = value; i <= n_; i += i & -i) --counts_[static_cast<std::size_t>(i)];
    return value;
}

void drawDistinctPairs(RandomStream& stream, int count, int n, std::vector<Pair>& out) {
    out.clear();
    if (count <= 0 || n < 2) {
        return;
    }
    const std::int64_t pairs = static_cast<std::int64_t>(n) * (n - 1) / 2;
    if (count > pairs) {
        return;
    }
    if (count <= kSortedInsertLimit) {
        out.reserve(static_cast<std::size_t>(count));
        drawSortedInsert(stream, count, n, out);
    } else {
        drawHashed(stream, count, n, out);
    }
}

} // namespace engine
} // namespace olhs
