#ifndef OLHS_ERRORS_H
#define OLHS_ERRORS_H

// What the modern API throws for settings it refuses.

#include <stdexcept>
#include <string>

#include "olhs/export.h"

namespace olhs {

/// A setting outside what the library accepts, thrown by its one set of checks before any
/// work starts. option() is the field's name as the library spells it (Options::timeBudget
/// is "timeBudget"), so that a front end can name its own spelling of the option; what()
/// reads "option: accepted (got given)". Numbers are written in their shortest form, and
/// cells of a design as "row R, column C", both counted from 1.
class OLHS_API InvalidOption : public std::invalid_argument {
public:
    InvalidOption(const std::string& option, const std::string& accepted, const std::string& given)
        : std::invalid_argument(option + ": " + accepted + " (got " + given + ")"),
          option_(option),
          accepted_(accepted),
          given_(given) {}
    const std::string& option() const noexcept { return option_; }
    /// What the option accepts, e.g. "must lie in [1, 200]".
    const std::string& accepted() const noexcept { return accepted_; }
    /// The value given, as text.
    const std::string& given() const noexcept { return given_; }
    /// The message without the option's name: "accepted (got given)".
    std::string reason() const { return accepted_ + " (got " + given_ + ")"; }

private:
    std::string option_, accepted_, given_;
};

} // namespace olhs

#endif
