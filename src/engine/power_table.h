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
    std::vector<double> values_;
};

} // namespace engine
} // namespace olhs

#endif
