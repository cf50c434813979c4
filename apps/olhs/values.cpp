#include "values.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <limits>

#include "number_text.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

std::string quoted(const std::string& text) { return "'" + text + "'"; }

// strtod and strtoll skip leading blanks and accept trailing junk when asked to stop;
// the command wants the whole text to be the number.
bool startsWithBlank(const std::string& text) {
    return !text.empty() && (text[0] == ' ' || text[0] == '\t' || text[0] == '\n');
}

} // namespace

bool toReal(const std::string& text, double& value) {
    if (text.empty() || startsWithBlank(text)) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size() && errno != ERANGE && std::isfinite(value);
}

long long parseInteger(const std::string& option, const std::string& text, long long low, long long high) {
    const std::string accepted = "expected a whole number from " + std::to_string(low) + " to " +
                                 std::to_string(high) + ", got " + quoted(text);
    if (text.empty() || startsWithBlank(text)) {
        throw UsageError(option, accepted);
    }
    errno = 0;
    char* end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    if (end != text.c_str() + text.size() || errno == ERANGE || value < low || value > high) {
        throw UsageError(option, accepted);
    }
    return value;
}

std::vector<Interval> parseBounds(const std::string& option, const std::string& text) {
    std::vector<Interval> bounds;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        const std::string pair = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        const std::size_t colon = pair.find(':');
        Interval interval{0.0, 0.0};
        if (colon == std::string::npos || !toReal(pair.substr(0, colon), interval.low) ||
            !toReal(pair.substr(colon + 1), interval.high)) {
            throw UsageError(option, "expected LO:HI[,LO:HI...] with finite numbers, got " + quoted(pair) +
                                         " in " + quoted(text));
        }
        if (!(interval.low < interval.high)) {
            throw UsageError(option, "every pair needs LO < HI, got " + quoted(pair));
        }
        bounds.push_back(interval);
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    return bounds;
}

std::vector<int> parseNumberList(const std::string& option, const std::string& text, int count) {
    std::vector<int> numbers;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        long long value = 0;
        try {
            value = parseInteger(option, item, 1, count);
        } catch (const UsageError&) {
            throw UsageError(option, "expected variable numbers from 1 to " + std::to_string(count) +
                                         " separated by commas (e.g. 1,2), got " + quoted(item) + " in " +
                                         quoted(text));
        }
        numbers.push_back(static_cast<int>(value));
        if (comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    std::vector<int> sorted = numbers;
    std::sort(sorted.begin(), sorted.end());
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice != sorted.end()) {
        throw UsageError(option, "variable " + std::to_string(*twice) + " is given twice in " + quoted(text));
    }
    if (numbers.size() < 2) {
        throw UsageError(option, "a scatter-plot matrix needs at least 2 variables, got " + quoted(text));
    }
    return numbers;
}

} // namespace olhs_cli
