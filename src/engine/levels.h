#ifndef OLHS_ENGINE_LEVELS_H
#define OLHS_ENGINE_LEVELS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace olhs {
namespace engine {

/// A design as whole-number levels, column after column, so that one variable of every
/// point is one contiguous run (the exchanges and their judgement work a column at a time).
class Levels {
public:
    Levels() = default;
    /// n points in m variables, every level 0 until set.
    Levels(int n, int m)
        : n_(n), m_(m), data_(static_cast<std::size_t>(n) * static_cast<std::size_t>(m), 0) {}

    /// Number of points, n.
    int points() const { return n_; }
    /// Number of variables, m.
    int variables() const { return m_; }
    /// Level of point i in variable c.
    std::int32_t operator()(int i, int c) const { return data_[index(i, c)]; }
    /// Sets the level of point i in variable c.
    void set(int i, int c, std::int32_t level) { data_[index(i, c)] = level; }
    /// The n levels of variable c.
    const std::int32_t* column(int c) const { return data_.data() + static_cast<std::size_t>(c) * n_; }
    /// Swaps the levels of points a and b in variable c.
    void exchange(int c, int a, int b) { std::swap(data_[index(a, c)], data_[index(b, c)]); }

    bool operator==(const Levels& other) const {
        return n_ == other.n_ && m_ == other.m_ && data_ == other.data_;
    }
    bool operator!=(const Levels& other) const { return !(*this == other); }

private:
    std::size_t index(int i, int c) const { return static_cast<std::size_t>(c) * n_ + i; }

    int n_ = 0;
    int m_ = 0;
    std::vector<std::int32_t> data_;
};

/// Whether every variable of the design holds each level 1..n exactly once.
bool isLatin(const Levels& levels);

/// Where a design stops being Latin: the first level (column by column, rows in order)
/// outside 1..n, or the first repeated in its column, with the row that held it first.
struct LatinFault {
    int row = -1;
    int column = -1;
    std::int64_t level = 0;
    int firstRow = -1; ///< -1: the level is outside 1..n
    bool found() const { return row >= 0; }
};

/// The first fault of the n x m levels that `at(i, c)` gives; found() is false for a
/// Latin design.
template <class At>
LatinFault findLatinFault(int n, int m, At&& at) {
    std::vector<int> rowOf(static_cast<std::size_t>(n > 0 ? n : 0) + 1);
    for (int c = 0; c < m; ++c) {
        std::fill(rowOf.begin(), rowOf.end(), -1);
        for (int i = 0; i < n; ++i) {
            const std::int64_t level = at(i, c);
            if (level < 1 || level > n) return LatinFault{i, c, level, -1};
            int& seen = rowOf[static_cast<std::size_t>(level)];
            if (seen >= 0) return LatinFault{i, c, level, seen};
            seen = i;
        }
    }
    return LatinFault{};
}

} // namespace engine
} // namespace olhs

#endif
