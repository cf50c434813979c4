// olhs score, olhs improve and olhs augment: designs that already exist, read from a file.
#ifndef OLHS_CLI_EXISTING_H
#define OLHS_CLI_EXISTING_H

#include "options.h"

namespace olhs_cli {

/// Runs the subcommand; its exit status. Refusals throw UsageError before anything is
/// written.
int runExisting(const ExistingOptions& options);

} // namespace olhs_cli

#endif
