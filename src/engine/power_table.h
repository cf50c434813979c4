#ifndef OLHS_ENGINE_POWER_TABLE_H
#define OLHS_ENGINE_POWER_TABLE_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace olhs {
namespace engine {

/// d^-p for every whole distance d from 0 to a bound (or s^(-p/2) for every squared
/// distance s), each value made by the very pow call it replaces, so a lookup gives the
/// same bits as the call. One slot past the bound holds
/// 0.0: adding it changes no sum, which lets the kernels mask terms without branching.
class PowerTable {
public:
    PowerTable() = default;
    /// Terms d^(-p / exponent) for d from 0 to maxDistance.
    PowerTable(double p, std::int64_t maxDistance, int exponent = 1);

    /// The exponent p.
    double p() const { return p_; }
    /// The largest tabulated distance.
    std::int64_t maxDistance() const { return static_cast<std::int64_t>(values_.size()) - 2; }
    /// Index of the slot that holds 0.0.
    std::size_t zeroSlot() const { return values_.size() - 1; }
    /// The tabulated values, zero slot included.
    const double* data() const { return values_.data(); }
    const std::vector<double>& values() const { return values_; }
    /// d^-p of a whole distance within the bound.
    double operator[](std::size_t d) const { return values_[d]; }
    /// q when every term is s^-q for a whole q (squared distances, p = 2q), 0 otherwise.
    int wholePower() const { return wholePower_; }
    /// Per tabulated s, the units in the last place from roughTerm(s, q) to the term, or
    /// readTable where the table must be read instead; empty unless wholePower() > 0.
    const std::int8_t* corrections() const { return corrections_.data(); }
    static constexpr std::int8_t readTable = -128;
    /// Makes s into 1 / s^q by squaring, within a few ulps of pow; one double or a vector
    /// of them, in place so that no vector crosses a call. The same operations in the same
    /// order, so every lane has the scalar bits.
    template <class V>
    [[gnu::always_inline]] static void roughTerm(V& s, int q) {
        V power = s;
        V base = s;
        bool started = false;
        for (; q > 0; q >>= 1) {
            if (q & 1) {
                power = started ? power * base : base;
                started = true;
            }
            if (q > 1) {
                base = base * base;
            }
        }
        s = 1 / power;
    }
    /// d^-p of any distance: from the table where it can, from pow elsewhere.
    double term(double d) const {
        if (d >= 0.0 && d <= static_cast<double>(maxDistance())) {
            const std::size_t whole = static_cast<std::size_t>(d);
            if (static_cast<double>(whole) == d) {
                return values_[whole];
            }
        }
        return std::pow(d, -(p_ / exponent_));
    }

private:
    double p_ = 50.0;
    int exponent_ = 1;
    int wholePower_ = 0;
    std::vector<double> values_;
    std::vector<std::int8_t> corrections_;
};

} // namespace engine
} // namespace olhs

#endif
