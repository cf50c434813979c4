#include "axis_ticks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "number_text.h"

namespace olhs_cli {

namespace {

// Whole multiples of the step stay exact in a double up to here.
constexpr double exactLimit = 9007199254740992.0; // 2^53

/// mantissa x 10^exponent, with mantissa 1, 2 or 5.
struct Step {
    int mantissa;
    int exponent;

    double value() const { return decimal(mantissa); }
    /// k x mantissa x 10^exponent, read from its decimal text: the double nearest the round
    /// value, so that its shortest text is the round value's ("0.3", not 3 x 0.1).
    double decimal(double multiple) const {
        const std::string text = std::to_string(static_cast<long long>(multiple)) + "e" + std::to_string(exponent);
        return std::strtod(text.c_str(), nullptr);
    }
    Step larger() const {
        return mantissa == 1 ? Step{2, exponent} : mantissa == 2 ? Step{5, exponent} : Step{1, exponent + 1};
    }
};

// The smallest round step at least `raw` (> 0).
Step stepAtLeast(double raw) {
    Step step{1, static_cast<int>(std::floor(std::log10(raw)))};
    while (step.value() < raw) {
        step = step.larger();
    }
    return step;
}

// Halves keep the span finite for bounds near the largest doubles.
double along(double value, double low, double high) { return (value / 2 - low / 2) / (high / 2 - low / 2); }

std::vector<Tick> ends(double low, double high) {
    return {{0.0, shortestText(low)}, {1.0, shortestText(high)}};
}

} // namespace

std::vector<Tick> axisTicks(double low, double high, bool whole, double length) {
    constexpr int mostTicks = 6;
    // Five intervals at most: from the span divided by five, rounded up to a round step.
    Step step = stepAtLeast((high / 2 - low / 2) / 2.5);
    if (whole && step.exponent < 0) {
        step = Step{1, 0};
    }
    for (;;) {
        // The quotients may fall a rounding error short of a multiple at the ends, which the
        // loop below then keeps or drops by the value itself.
        const double first = std::ceil(low / step.value() - 1e-9);
        const double last = std::floor(high / step.value() + 1e-9);
        if (!(last - first >= 1.0) || std::fabs(first) * step.mantissa >= exactLimit ||
            std::fabs(last) * step.mantissa >= exactLimit) {
            return ends(low, high);
        }
        if (last - first < mostTicks) {
            std::vector<Tick> ticks;
            std::size_t widest = 0;
            for (double k = first; k <= last; ++k) {
                const double value = step.decimal(k * step.mantissa);
                if (value >= low && value <= high) {
                    ticks.push_back({along(value, low, high), shortestText(value)});
                    widest = std::max(widest, ticks.back().label.size());
                }
            }
            if (ticks.size() < 2) {
                return ends(low, high);
            }
            if ((ticks[1].along - ticks[0].along) * length >= static_cast<double>(widest) + 1.0) {
                return ticks;
            }
        }
        step = step.larger();
    }
}

} // namespace olhs_cli
