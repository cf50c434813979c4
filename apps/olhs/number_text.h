// Numbers as text: the shortest decimal form that reads back as the same double
// ("0.3333333333333333", not "0.33333333333333331"), so output is exact and compact.
#ifndef OLHS_CLI_NUMBER_TEXT_H
#define OLHS_CLI_NUMBER_TEXT_H

#include <cstdio>
#include <string>

namespace olhs_cli {

/// The shortest text that reads back as `value`; finite values only.
std::string shortestText(double value);

/// Writes shortestText(value) to the stream.
void writeShortest(std::FILE* out, double value);

} // namespace olhs_cli

#endif
