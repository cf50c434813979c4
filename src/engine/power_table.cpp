#include "engine/power_table.h"

#include <algorithm>

namespace olhs {
namespace engine {

PowerTable::PowerTable(double p, std::int64_t maxDistance, int exponent) : p_(p), exponent_(exponent) {
    const double power = -(p / exponent);
    const std::size_t count = static_cast<std::size_t>(std::max<std::int64_t>(maxDistance, 0)) + 1;
    values_.reserve(count + 1);
    for (std::size_t d = 0; d < count; ++d) {
        values_.push_back(std::pow(static_cast<double>(d), power));
    }
    values_.push_back(0.0);
}

} // namespace engine
} // namespace olhs
