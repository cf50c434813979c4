#include "engine/power_table.h"

#include <algorithm>
#include <cstring>
#include <limits>

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

    // Squared distances meet millions of terms, too many for any cache; a term computed
    // from s and moved by a byte from a table an eighth the size gives the same bits sooner.
    const double q = p / exponent;
    if (exponent == 2 && q >= 1.0 && q <= 64.0 && q == std::floor(q) &&
        values_.size() < static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        wholePower_ = static_cast<int>(q);
        // Four bytes of slack: a vector gather may read a word at the last slot.
        corrections_.assign(values_.size() + 4, readTable);
        for (std::size_t s = 0; s < values_.size(); ++s) {
            double rough = static_cast<double>(s);
            roughTerm(rough, wholePower_);
            std::int64_t exact, approximate;
            std::memcpy(&exact, &values_[s], sizeof exact);
            std::memcpy(&approximate, &rough, sizeof approximate);
            // Positive doubles are ordered as their bits: the difference counts ulps.
            const std::int64_t units = exact - approximate;
            if (exact >= 0 && approximate >= 0 && units > readTable && units <= 127) {
                corrections_[s] = static_cast<std::int8_t>(units);
            }
        }
    }
}

} // namespace engine
} // namespace olhs
