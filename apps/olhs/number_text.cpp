#include "number_text.h"

#include <charconv>

namespace olhs_cli {

namespace {

// Enough for any double in its shortest form ("-2.2250738585072014e-308" is 24).
constexpr std::size_t bufferSize = 32;

std::size_t shortest(double value, char (&buffer)[bufferSize]) {
    const std::to_chars_result result = std::to_chars(buffer, buffer + bufferSize, value);
    return static_cast<std::size_t>(result.ptr - buffer);
}

} // namespace

std::string shortestText(double value) {
    char buffer[bufferSize];
    return std::string(buffer, shortest(value, buffer));
}

void writeShortest(std::FILE* out, double value) {
    char buffer[bufferSize];
    std::fwrite(buffer, 1, shortest(value, buffer), out);
}

} // namespace olhs_cli
