// The one kind of failure that the command blames on its input: bad option values,
// impossible sizes, unusable paths. main() prints the message as a single line on
// standard error and exits with status 2.
#ifndef OLHS_CLI_USAGE_ERROR_H
#define OLHS_CLI_USAGE_ERROR_H

#include <stdexcept>
#include <string>

#include "olhs/errors.h"

namespace olhs_cli {

class UsageError : public std::runtime_error {
public:
    /// `option` is the option as the user spells it (e.g. "-n", "--bounds"); `problem`
    /// says what is wrong and what would be accepted.
    UsageError(const std::string& option, const std::string& problem)
        : std::runtime_error(option + ": " + problem) {}
    /// A message that already names what it is about.
    explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

/// A setting the library refused, as the command's: the field under the option that sets
/// it. For the commands on an existing design, `source` names the file, and refusals of
/// the design itself (its size, its values) read "source: field: ...".
[[noreturn]] void refuseFromLibrary(const olhs::InvalidOption& refusal, const std::string& source = {});

/// Exit status for input the command refuses.
constexpr int exitUsage = 2;
/// Exit status for a run that failed for another reason (e.g. a write error).
constexpr int exitFailure = 1;

} // namespace olhs_cli

#endif
