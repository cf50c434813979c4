// olhs: prints an optimal (or random) Latin hypercube design made by the olhs library.
//
// The order of work keeps failures cheap and harmless: everything the user gave is
// checked, and every output path claimed, before the search starts; files are replaced
// only when all of them have been written.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <unistd.h>

#include "olhs/metrics.h"

#include "output_file.h"
#include "design.h"
#include "existing.h"
#include "formats.h"
#include "memory_guard.h"
#include "metrics.h"
#include "options.h"
#include "progress_line.h"
#include "progress_redirect.h"
#include "svg_plot.h"
#include "usage_error.h"

namespace {

using namespace olhs_cli;

int run(const Options& options) {
    checkMemory(options);

    std::optional<OutputFile> output;
    std::optional<OutputFile> plot;
    if (!options.output.empty()) {
        output.emplace("-o", options.output);
    }
    if (!options.plot.empty()) {
        plot.emplace("--plot", options.plot);
    }
    if (options.reportPrefix) {
        checkReportPrefix(*options.reportPrefix);
    }

    Design design;
    {
        // Only the classic classes print (with --report): their lines go to standard error.
        std::optional<ProgressRedirect> redirect;
        if (options.reportPrefix) redirect.emplace(options.quiet);
        ProgressLine line(stderr, !options.quiet && isatty(STDERR_FILENO) == 1, options.optimiser);
        design = makeDesign(options, [&line](const olhs::Progress& progress) { return line(progress); });
        line.clear();
    }

    if (design.stop && !options.quiet) {
        std::fprintf(stderr, "olhs: the search stopped after %d iterations and %.2f s: %s\n", design.stop->iterations,
                     design.stop->seconds, design.stop->reason.c_str());
    }
    if (design.optimised && !options.quiet) {
        std::fprintf(stderr, "%s\n", summaryLine(*design.optimised).c_str());
    }

    DesignFacts facts;
    if (options.metrics) {
        Metrics metrics = computeMetrics(design);
        // The criterion the optimiser minimised, with its metric and p.
        if (design.optimised) {
            metrics.phiP = design.optimised->phip;
        }
        facts.phiP = metrics.phiP;
        facts.metrics = metrics;
        printMetrics(stderr, metrics);
    } else if (options.format == Format::Json) {
        facts.phiP = design.optimised ? design.optimised->phip : olhs::phip(design.levels, design.n, design.m);
    }

    if (plot) {
        writeScatterMatrix(plot->stream(), design, options);
    }
    if (output) {
        writeDesign(output->stream(), design, options, &facts);
        output->commit();
    } else {
        writeToStandardOutput([&](std::FILE* out) { writeDesign(out, design, options, &facts); });
    }
    if (plot) {
        plot->commit();
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // The library's progress lines are the only thing printed through the C stdout stream;
    // line buffering lets each appear as it is printed, also when standard error is a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    int n = 0;
    int m = 0;
    try {
        const CommandLine commandLine = parseCommandLine(argc, argv);
        if (commandLine.existing) {
            return runExisting(*commandLine.existing);
        }
        if (!commandLine.options) {
            return commandLine.exitStatus;
        }
        n = commandLine.options->n;
        m = commandLine.options->m;
        return run(*commandLine.options);
    } catch (const UsageError& e) {
        std::fprintf(stderr, "olhs: %s\n", e.what());
        return exitUsage;
    } catch (const olhs::NotEnoughMemory& e) {
        std::fprintf(stderr, "olhs: -n: %s\n", e.what());
        return exitUsage;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr,
                     "olhs: -n: not enough memory for a design of %d points in %d variables; ask for fewer "
                     "points\n",
                     n, m);
        return exitUsage;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "olhs: %s\n", e.what());
        return exitFailure;
    }
}
