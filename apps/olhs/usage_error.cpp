#include "usage_error.h"

#include <algorithm>
#include <cctype>
#include <string>
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
    // A reason may name another field ("must be greater than minIterations (5)"); the
    // fields spelt in camel case cannot be mistaken for words.
    std::string reason = refusal.reason();
    for (const auto& [library, command] : names) {
        const std::string field = library;
        if (std::none_of(field.begin(), field.end(), [](char c) { return std::isupper(static_cast<unsigned char>(c)); }))
            continue;
        for (std::size_t at = reason.find(field); at != std::string::npos;
             at = reason.find(field, at + std::char_traits<char>::length(command)))
            reason.replace(at, field.size(), command);
    }
    const std::string& field = refusal.option();
    for (const auto& [library, command] : names) {
        if (field == library) throw UsageError(command, reason);
    }
    if (source.empty() && (field == "n" || field == "m")) throw UsageError("-" + field, reason);
    throw UsageError(source.empty() ? refusal.what() : source + ": " + refusal.what());
}

} // namespace olhs_cli
