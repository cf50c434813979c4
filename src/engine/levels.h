#ifndef OLHS_ENGINE_LEVELS_H
#define OLHS_ENGINE_LEVELS_H

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

/// Largest city-block distance two points of a Latin design of n points in m variables
/// can have: m (n - 1).
inline std::int64_t maxCityBlockDistance(int n, int m) {
    return static_cast<std::int64_t>(m) * (n > 0 ? n - 1 : 0);
}

} // namespace engine
} // namespace olhs

#endif
