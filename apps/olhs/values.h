// Strict conversions of option text to numbers. Each either returns the value or throws
// UsageError naming the option and the accepted range, so the messages are uniform.
#ifndef OLHS_CLI_VALUES_H
#define OLHS_CLI_VALUES_H

#include <cstdint>
#include <string>
#include <vector>

namespace olhs_cli {

/// Whether the whole text is a finite number (no blanks around it), into `value`.
bool toReal(const std::string& text, double& value);

/// A whole number in [low, high], written in decimal with an optional sign.
long long parseInteger(const std::string& option, const std::string& text, long long low, long long high);

struct Interval {
    double low;
    double high;
};

/// "LO:HI[,LO:HI...]": finite numbers with LO < HI in every pair.
std::vector<Interval> parseBounds(const std::string& option, const std::string& text);

/// "A,B,...": distinct whole numbers from 1 to `count`, at least two of them, in the
/// order given.
std::vector<int> parseNumberList(const std::string& option, const std::string& text, int count);

} // namespace olhs_cli

#endif
