#include "progress_line.h"

#include <algorithm>

#include "number_text.h"

namespace olhs_cli {

namespace {

// Often enough to look alive, rarely enough not to cost the search a thing.
constexpr double redrawSeconds = 0.1;

} // namespace

ProgressLine::ProgressLine(std::FILE* out, bool live, const OptimiserSettings& settings)
    : out_(out), live_(live), restarts_(settings.restarts), iterations_(settings.iterations),
      budget_(settings.timeBudget) {}

bool ProgressLine::operator()(const olhs::Progress& progress) {
    if (!live_) {
        return true;
    }
    const bool restartDone = iterations_ > 0 && progress.iteration == iterations_;
    if (restartDone) {
        ++finished_;
    }
    if (!restartDone && lastDrawn_ >= 0.0 && progress.elapsedSeconds - lastDrawn_ < redrawSeconds) {
        return true;
    }
    lastDrawn_ = progress.elapsedSeconds;
    char text[200];
    int length = 0;
    if (progress.phase == olhs::Phase::Searching) {
        length = std::snprintf(text, sizeof text, "olhs: restarts %d/%d done, best phi_p %.6g, %.1f s", finished_,
                               restarts_, progress.bestPhip, progress.elapsedSeconds);
    } else {
        length = std::snprintf(text, sizeof text, "olhs: %s, %.0f%% done, %.1f s",
                               progress.phase == olhs::Phase::BuildingLattice ? "choosing the lattice design"
                                                                              : "measuring every pair",
                               100.0 * progress.fractionDone, progress.elapsedSeconds);
    }
    if (budget_ > 0.0 && length > 0 && static_cast<std::size_t>(length) < sizeof text) {
        length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), ", %.1f s left",
                                std::max(0.0, budget_ - progress.elapsedSeconds));
    }
    const std::size_t drawn = std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof text - 1);
    // Blanks cover what is left of a longer line drawn before.
    std::fprintf(out_, "\r%s%*s", text, static_cast<int>(drawnLength_ > drawn ? drawnLength_ - drawn : 0), "");
    std::fflush(out_);
    drawnLength_ = std::max(drawnLength_, drawn);
    return true;
}

void ProgressLine::clear() {
    if (drawnLength_ > 0) {
        std::fprintf(out_, "\r%*s\r", static_cast<int>(drawnLength_), "");
        std::fflush(out_);
        drawnLength_ = 0;
    }
}

std::string summaryLine(const OptimiserOutcome& outcome) {
    char seconds[64];
    std::snprintf(seconds, sizeof seconds, "%.2f", outcome.seconds);
    if (!outcome.exact) {
        return "olhs: lattice design, too large to measure in full; proven bounds: phi_p at most " +
               shortestText(outcome.phip) + ", smallest distances at least " + shortestText(outcome.minCityBlock) +
               " (city-block) and " + shortestText(outcome.minEuclidean) + " (Euclidean), in " + seconds +
               " s; stopped by: " + outcome.stopReason;
    }
    const std::string best =
        outcome.smallest ? "best smallest distance " + shortestText(*outcome.smallest) + " (" +
                               std::to_string(outcome.pairsAtSmallest) +
                               (outcome.pairsAtSmallest == 1 ? " pair), phi_p " : " pairs), phi_p ")
        : outcome.maxPro ? "best MaxPro " + shortestText(*outcome.maxPro) + ", phi_p "
        : outcome.discrepancy ? "best centred L2 discrepancy " + shortestText(*outcome.discrepancy) + ", phi_p "
                              : "best phi_p ";
    return "olhs: " + best + shortestText(outcome.phip) + " from " + std::to_string(outcome.restarts) +
           (outcome.restarts == 1 ? " restart, " : " restarts, ") + std::to_string(outcome.iterations) +
           " iterations in " + seconds + " s; stopped by: " + outcome.stopReason;
}

} // namespace olhs_cli
