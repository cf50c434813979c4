// Fuzz target: feeds arbitrary bytes to the command's design reader, a line at a time as
// readDesign() does, and checks that it either refuses with one line naming the input or
// hands over a design that is whole: n >= 2 rows of m finite values, each with its line.
// Any other outcome aborts.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "design_reader.h"
#include "usage_error.h"

namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "fuzz_design_reader: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    olhs_cli::DesignParser parser("in.csv");
    try {
        long lines = 0;
        for (std::size_t start = 0, end = 0; start < size; start = end + 1, ++lines) {
            const void* newline = std::memchr(text + start, '\n', size - start);
            end = newline != nullptr ? static_cast<std::size_t>(static_cast<const char*>(newline) - text) : size;
            parser.line(text + start, end - start);
        }
        const olhs_cli::DesignTable table = parser.finish();
        if (table.n < 2 || table.m < 1) fail("a design of fewer than 2 rows or no column");
        if (table.values.size() != static_cast<std::size_t>(table.n) * static_cast<std::size_t>(table.m))
            fail("values do not fill n x m");
        if (table.lines.size() != static_cast<std::size_t>(table.n)) fail("a row without its line");
        for (std::size_t i = 0; i < table.lines.size(); ++i)
            if (table.lines[i] < 1 || table.lines[i] > lines || (i > 0 && table.lines[i] <= table.lines[i - 1]))
                fail("line numbers out of order or range");
        for (double v : table.values)
            if (!std::isfinite(v)) fail("a value that is not finite");
        if (!table.names.empty() && table.names.size() != static_cast<std::size_t>(table.m))
            fail("a header of another width");
    } catch (const olhs_cli::UsageError& e) {
        const std::string message = e.what();
        if (message.rfind("in.csv: ", 0) != 0) fail("a refusal that does not name the input");
        if (message.find('\n') != std::string::npos || message.find('\r') != std::string::npos)
            fail("a refusal of more than one line");
    }
    return 0;
}
