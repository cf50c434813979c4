// The subcommands for designs that exist: olhs score FILE, olhs improve FILE and
// olhs augment FILE -k K, declared on the command's CLI11 application.
#ifndef OLHS_CLI_EXISTING_OPTIONS_H
#define OLHS_CLI_EXISTING_OPTIONS_H

#include <memory>
#include <string>

#include "options.h"

namespace CLI {
class App;
}

namespace olhs_cli {

class ExistingSubcommands {
public:
    /// Declares the three subcommands on `app`, which must outlive this object.
    explicit ExistingSubcommands(CLI::App& app);
    ~ExistingSubcommands();
    ExistingSubcommands(const ExistingSubcommands&) = delete;
    ExistingSubcommands& operator=(const ExistingSubcommands&) = delete;

    /// Whether the command line named one of them (after parsing).
    bool chosen() const;
    /// Its name.
    std::string name() const;
    /// Its options, checked; UsageError naming the option at fault.
    ExistingOptions check() const;

    /// The subcommands and the values their options are bound to.
    struct Declared;

private:
    std::unique_ptr<Declared> declared_;
};

} // namespace olhs_cli

#endif
