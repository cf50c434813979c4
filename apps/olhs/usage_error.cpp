#include "usage_error.h"

#include <utility>

namespace olhs_cli {

void refuseFromLibrary(const olhs::InvalidOption& refusal, const std::string& source) {
    const std::pair<const char*, const char*> names[] = {
        {"restarts", "--restarts"},
        {"threads", "--threads"},
        {"iterations", "--iterations"},
        {"timeBudget", "--time-budget"},
        {"p", "-p"},
        {"metric", "--metric"},
        {"criterion", "--criterion"},
        {"start", "--start"},
        {"placement", "--placement"},
        {"k", "-k"},
        {"lower", "--bounds"},
        {"upper", "--bounds"},
        {"maxIterations", "--max-iterations"},
        {"minIterations", "--min-iterations"},
        {"stallIterations", "--stall-iterations"},
        {"timeLimit", "--time-limit"},
        {"convergence", "--convergence"},
    };
    const std::string& field = refusal.option();
    for (const auto& [library, command] : names) {
        if (field == library) throw UsageError(command, refusal.reason());
    }
    if (source.empty() && (field == "n" || field == "m")) throw UsageError("-" + field, refusal.reason());
    throw UsageError(source.empty() ? refusal.what() : source + ": " + refusal.what());
}

} // namespace olhs_cli
