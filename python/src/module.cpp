// The compiled half of the Python package: thin calls into the library. Argument types,
// names and ranges are checked in olhs/__init__.py; what is checked here again is what the
// library needs to be safe.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "olhs/CRand.h"
#include "olhs/classic.h"
#include "olhs/existing.h"
#include "olhs/metrics.h"
#include "olhs/optimize.h"

namespace py = pybind11;

namespace {

using namespace std::chrono_literals;

// How often a waiting search looks for Ctrl-C: often enough to feel immediate, rarely
// enough to cost nothing.
constexpr auto signalCheckInterval = 20ms;

olhs::Metric metricOf(const std::string& name) {
    if (name == "cityblock") return olhs::Metric::CityBlock;
    if (name == "euclidean") return olhs::Metric::Euclidean;
    throw py::value_error("metric: must be 'cityblock' or 'euclidean' (got '" + name + "')");
}

olhs::Criterion criterionOf(const std::string& name) {
    if (name == "phip") return olhs::Criterion::Phip;
    if (name == "maximin") return olhs::Criterion::Maximin;
    if (name == "maxpro") return olhs::Criterion::MaxPro;
    if (name == "discrepancy") return olhs::Criterion::Discrepancy;
    throw py::value_error("criterion: must be 'phip', 'maximin', 'maxpro' or 'discrepancy' (got '" + name + "')");
}

olhs::Start startOf(const std::string& name) {
    if (name == "auto") return olhs::Start::Auto;
    if (name == "random") return olhs::Start::Random;
    if (name == "lattice") return olhs::Start::Lattice;
    throw py::value_error("start: must be 'auto', 'random' or 'lattice' (got '" + name + "')");
}

olhs::Placement placementOf(const std::string& name) {
    if (name == "centered") return olhs::Placement::Centered;
    if (name == "grid") return olhs::Placement::Grid;
    if (name == "jittered") return olhs::Placement::Jittered;
    throw py::value_error("placement: must be 'centered', 'grid' or 'jittered' (got '" + name + "')");
}

// The library's refusal under the keyword argument that sets the field.
std::string withPythonName(const olhs::InvalidOption& refusal) {
    const std::pair<const char*, const char*> names[] = {
        {"m", "d"},           {"timeBudget", "time_budget"}, {"values", "design"}, {"startLevels", "design"},
        {"levels", "design"}, {"lower", "bounds"},           {"upper", "bounds"},  {"firstRestart", "first_restart"}};
    for (const auto& [library, python] : names) {
        if (refusal.option() == library) return std::string(python) + ": " + refusal.reason();
    }
    return refusal.what();
}

// What a running search shares with the thread that waits for it: a request to stop and
// the Python exception that caused it, raised once the search has returned.
struct Watch {
    std::atomic<bool> stop{false};
    std::mutex guard;
    std::optional<py::error_already_set> error;

    // Called with the GIL held and a Python error set.
    void fail() {
        const std::lock_guard<std::mutex> lock(guard);
        py::error_already_set fetched;
        if (!error) error.emplace(std::move(fetched));
        stop = true;
    }
};

// The settings shared by the optimiser's entry points; olhs/__init__.py has checked them.
olhs::Options searchOptions(std::uint64_t seed, int restarts, int threads, long iterations, double timeBudget,
                            const std::string& metric, double p, const std::string& placement) {
    olhs::Options options;
    options.seed = seed;
    options.restarts = restarts;
    options.threads = threads;
    options.iterations = iterations;
    options.timeBudget = timeBudget;
    options.metric = metricOf(metric);
    options.p = p;
    options.placement = placementOf(placement);
    return options;
}

// Runs search(options) without the GIL, with `progress` called from the search's threads,
// Ctrl-C and exceptions of `progress` stopping it, and the library's refusals raised as
// ValueError. Called with the GIL held.
template <class Search>
auto watched(olhs::Options& options, const py::object& progress, Search search) {
    auto watch = std::make_shared<Watch>();
    PyObject* callback = progress.is_none() ? nullptr : progress.ptr();
    // Never copies or drops a Python reference without the GIL: the callable is borrowed
    // from the caller, who waits for the search.
    options.progress = [watch, callback](const olhs::Progress& report) {
        if (watch->stop.load()) return false;
        if (callback == nullptr) return true;
        py::gil_scoped_acquire gil;
        try {
            py::object answer = py::reinterpret_borrow<py::object>(callback)(report);
            if (answer.is_none()) return true;
            const int truth = PyObject_IsTrue(answer.ptr());
            if (truth < 0) throw py::error_already_set();
            return truth == 1;
        } catch (py::error_already_set& e) {
            e.restore();
            watch->fail();
            return false;
        }
    };

    // The search runs on a thread of its own so that this one, which may be the main
    // thread, can run Python's signal handlers (only the main thread can) while it waits.
    using Outcome = decltype(search(std::as_const(options)));
    std::future<Outcome> running;
    {
        py::gil_scoped_release release;
        running = std::async(std::launch::async, [&options, &search] { return search(std::as_const(options)); });
        while (running.wait_for(signalCheckInterval) != std::future_status::ready) {
            if (watch->stop.load()) continue;
            py::gil_scoped_acquire gil;
            if (PyErr_CheckSignals() != 0) watch->fail();
        }
    }
    if (watch->error) throw std::move(*watch->error);
    return running.get();
}

template <class Value>
py::array_t<Value> matrixOf(const std::vector<Value>& values, int n, int m) {
    py::array_t<Value> out({static_cast<py::ssize_t>(n), static_cast<py::ssize_t>(m)});
    std::copy(values.begin(), values.end(), out.mutable_data());
    return out;
}

void putRun(py::dict& out, double phip, long iterations, int restarts, olhs::StopReason reason, double seconds) {
    out["phi_p"] = phip;
    out["iterations"] = iterations;
    out["restarts"] = restarts;
    out["stop_reason"] = olhs::toString(reason);
    out["seconds"] = seconds;
}

py::dict optimize(int n, int m, std::uint64_t seed, int restarts, int threads, long iterations, double timeBudget,
                  const std::string& metric, double p, const std::string& placement, const std::string& criterion,
                  const std::string& start, const py::object& progress, int firstRestart) {
    olhs::Options options = searchOptions(seed, restarts, threads, iterations, timeBudget, metric, p, placement);
    options.criterion = criterionOf(criterion);
    options.start = startOf(start);
    options.firstRestart = firstRestart;
    const olhs::Result result =
        watched(options, progress, [n, m](const olhs::Options& o) { return olhs::optimize(n, m, o); });

    py::dict out;
    out["design"] = matrixOf(result.design, n, m);
    out["levels"] = matrixOf(result.levels, n, m);
    out["min_city_block_distance"] = result.minCityBlock;
    out["min_euclidean_distance"] = result.minEuclidean;
    out["pairs_at_smallest"] = result.pairsAtSmallest;
    out["exact"] = result.exact;
    out["maxpro"] = result.maxPro;
    out["centered_l2_discrepancy"] = result.discrepancy;
    out["best_restart"] = result.bestRestart;
    out["search_value"] = result.searchValue;
    putRun(out, result.phip, result.iterations, result.restarts, result.stopReason, result.seconds);
    return out;
}

py::array_t<double> classic(int n, int m, std::uint64_t seed, int mode, bool verbose) {
    std::vector<int> levels;
    if (mode != 1) {
        levels = olhs::classicRandom(n, m, seed);
        // The entry point's random design keeps a single column in point order.
        for (int i = 0; m == 1 && i < n; ++i) levels[static_cast<std::size_t>(i)] = i + 1;
    } else {
        bool interrupted = false;
        {
            py::gil_scoped_release release;
            // Ctrl-C stops the search between its outer iterations.
            levels = olhs::classic(n, m, olhs::ClassicLimits(), seed, [&](const olhs::ClassicProgress& progress) {
                         if (verbose && progress.lineDue) {
                             std::fputs(olhs::classicProgressLine(progress).c_str(), stdout);
                             std::fflush(stdout);
                         }
                         py::gil_scoped_acquire gil;
                         interrupted = PyErr_CheckSignals() != 0;
                         return !interrupted;
                     }).levels;
        }
        if (interrupted) throw py::error_already_set();
    }
    // Level k at (k - 1) / (n - 1), as the entry point places it.
    const double divisor = n - 1;
    std::vector<double> unit(levels.size());
    for (std::size_t k = 0; k < levels.size(); ++k) unit[k] = (levels[k] - 1) / divisor;
    return matrixOf(unit, n, m);
}

using Design = py::array_t<double, py::array::c_style | py::array::forcecast>;

// The ranks of a design's columns; a tie is refused under the design's name.
std::vector<int> ranksOf(const std::vector<double>& values, int n, int m) {
    try {
        return olhs::ranks(values.data(), n, m);
    } catch (const olhs::TiedValues& tie) {
        throw py::value_error(std::string("design: ") + tie.what());
    }
}

// The levels 1..n of each column of a design, by rank, as the command measures designs.
// The values are copied under the GIL; the measuring runs without it.
template <class Measure>
auto onRanks(const Design& design, Measure measure) {
    if (design.ndim() != 2) throw py::value_error("design: must be a 2-D array of shape (n, d)");
    const int n = static_cast<int>(design.shape(0));
    const int m = static_cast<int>(design.shape(1));
    std::vector<double> values(design.data(), design.data() + design.size());
    py::gil_scoped_release release;
    return measure(ranksOf(values, n, m), n, m);
}

double phip(const Design& design, double p, const std::string& metric) {
    const olhs::Metric chosen = metricOf(metric);
    return onRanks(design, [&](const std::vector<int>& levels, int n, int m) {
        return olhs::phip(levels, n, m, chosen, p);
    });
}

py::dict metrics(const Design& design, double p) {
    olhs::Metrics measured;
    try {
        measured = onRanks(design, [&](const std::vector<int>& levels, int n, int m) {
            // Ctrl-C stops a long measuring: Python's signal handlers run between rows.
            return olhs::metrics(levels, n, m, p, [](double) {
                py::gil_scoped_acquire gil;
                return PyErr_CheckSignals() == 0;
            });
        });
    } catch (const olhs::MeasuringCancelled&) {
        throw py::error_already_set(); // the KeyboardInterrupt the handlers raised
    }
    py::dict out;
    for (const olhs::NamedMeasure& measure : olhs::namedMeasures(measured)) {
        out[measure.name] = !measure.known ? py::object(py::none())
                            : measure.whole ? py::object(py::int_(static_cast<long long>(measure.value)))
                                            : py::object(py::float_(measure.value));
    }
    return out;
}

// The values of a design, copied under the GIL.
std::vector<double> valuesOf(const Design& design, int& n, int& m) {
    if (design.ndim() != 2) throw py::value_error("design: must be a 2-D array of shape (n, d)");
    n = static_cast<int>(design.shape(0));
    m = static_cast<int>(design.shape(1));
    return std::vector<double>(design.data(), design.data() + design.size());
}

py::dict improve(const Design& design, std::uint64_t seed, int restarts, int threads, long iterations,
                 double timeBudget, const std::string& metric, double p, const py::object& progress) {
    int n = 0, m = 0;
    const std::vector<double> values = valuesOf(design, n, m);
    const std::vector<int> start = ranksOf(values, n, m);
    olhs::Options options = searchOptions(seed, restarts, threads, iterations, timeBudget, metric, p, "centered");
    const auto [result, startPhip] = watched(options, progress, [&start, n, m](const olhs::Options& o) {
        olhs::Result improved = olhs::improve(start, n, m, o);
        return std::make_pair(std::move(improved), olhs::phip(start, n, m, o.metric, o.p));
    });

    py::dict out;
    out["levels"] = matrixOf(result.levels, n, m);
    out["start_phi_p"] = startPhip;
    putRun(out, result.phip, result.iterations, result.restarts, result.stopReason, result.seconds);
    return out;
}

py::dict augment(const Design& design, int k, std::uint64_t seed, int restarts, int threads, long iterations,
                 double timeBudget, const std::string& metric, double p, const std::string& placement,
                 const std::vector<double>& lower, const std::vector<double>& upper, const py::object& progress) {
    int n = 0, m = 0;
    const std::vector<double> values = valuesOf(design, n, m);
    olhs::Options options = searchOptions(seed, restarts, threads, iterations, timeBudget, metric, p, placement);
    const olhs::AugmentResult result =
        watched(options, progress, [&values, &lower, &upper, n, m, k](const olhs::Options& o) {
            return olhs::augment(values, n, m, k, o, lower, upper);
        });

    py::dict out;
    out["design"] = matrixOf(result.design, n + k, m);
    out["strata"] = matrixOf(result.strata, n + k, m);
    out["doubled"] = result.doubled;
    py::list perVariable;
    for (const int doubled : result.doubledStrata) perVariable.append(doubled);
    out["doubled_strata"] = perVariable;
    putRun(out, result.phip, result.iterations, result.restarts, result.stopReason, result.seconds);
    return out;
}

std::string phaseName(const olhs::Progress& progress) {
    switch (progress.phase) {
    case olhs::Phase::BuildingLattice:
        return "building lattice";
    case olhs::Phase::Measuring:
        return "measuring";
    case olhs::Phase::Searching:
        break;
    }
    return "searching";
}

} // namespace

PYBIND11_MODULE(_olhs, module) {
    module.doc() = "Compiled core of the olhs package; use the functions of olhs instead.";
    // A MemoryError, so that code catching Python's own out-of-memory error catches it too.
    py::register_exception<olhs::NotEnoughMemory>(module, "NotEnoughMemory", PyExc_MemoryError);
    py::register_exception_translator([](std::exception_ptr raised) {
        try {
            if (raised) std::rethrow_exception(raised);
        } catch (const olhs::InvalidOption& refusal) {
            PyErr_SetString(PyExc_ValueError, withPythonName(refusal).c_str());
        }
    });

    py::class_<olhs::Progress>(module, "Progress",
                               "What a progress callable is given after each outer iteration of a restart, and "
                               "ten times a second while a large design is built or measured.")
        .def_readonly("restart", &olhs::Progress::restart, "Restart that reports, from 0.")
        .def_readonly("iteration", &olhs::Progress::iteration, "Its outer iterations so far.")
        .def_readonly("best_phi_p", &olhs::Progress::bestPhip, "Best phi_p of all restarts so far.")
        .def_readonly("elapsed_seconds", &olhs::Progress::elapsedSeconds, "Seconds since the search began.")
        .def_property_readonly("phase", &phaseName,
                               "'searching', or for large designs 'building lattice' or 'measuring'.")
        .def_readonly("fraction_done", &olhs::Progress::fractionDone,
                      "Share of the lattice built or of the pairs measured, 0 to 1 (0 while searching).")
        .def("__repr__", [](const olhs::Progress& p) {
            return "Progress(restart=" + std::to_string(p.restart) + ", iteration=" + std::to_string(p.iteration) +
                   ", best_phi_p=" + py::repr(py::float_(p.bestPhip)).cast<std::string>() +
                   ", elapsed_seconds=" + py::repr(py::float_(p.elapsedSeconds)).cast<std::string>() +
                   ", phase='" + phaseName(p) +
                   "', fraction_done=" + py::repr(py::float_(p.fractionDone)).cast<std::string>() + ")";
        });

    module.def("optimize", &optimize, py::arg("n"), py::arg("d"), py::arg("seed"), py::arg("restarts"),
               py::arg("threads"), py::arg("iterations"), py::arg("time_budget"), py::arg("metric"), py::arg("p"),
               py::arg("placement"), py::arg("criterion"), py::arg("start"), py::arg("progress").none(true),
               py::arg("first_restart") = 0,
               "The optimiser's result as a dict; olhs.optimal_lhs checks the arguments first.");
    module.def("improve", &improve, py::arg("design"), py::arg("seed"), py::arg("restarts"), py::arg("threads"),
               py::arg("iterations"), py::arg("time_budget"), py::arg("metric"), py::arg("p"),
               py::arg("progress").none(true),
               "The optimiser's run from the design's ranks as a dict; olhs.improve checks the arguments first.");
    module.def("augment", &augment, py::arg("design"), py::arg("k"), py::arg("seed"), py::arg("restarts"),
               py::arg("threads"), py::arg("iterations"), py::arg("time_budget"), py::arg("metric"), py::arg("p"),
               py::arg("placement"), py::arg("lower"), py::arg("upper"), py::arg("progress").none(true),
               "The design with k points added, as a dict; olhs.augment checks the arguments first.");
    module.def(
        "check",
        [](int n, int m, int restarts, int threads, long iterations, double timeBudget, const std::string& metric,
           double p, const std::string& placement, const std::string& criterion, const std::string& start) {
            olhs::Options options = searchOptions(1, restarts, threads, iterations, timeBudget, metric, p, placement);
            options.criterion = criterionOf(criterion);
            options.start = startOf(start);
            olhs::checkOptions(n, m, options);
        },
        py::arg("n"), py::arg("d"), py::arg("restarts"), py::arg("threads"), py::arg("iterations"),
        py::arg("time_budget"), py::arg("metric"), py::arg("p"), py::arg("placement"), py::arg("criterion"),
        py::arg("start"), "Raises what optimize would raise for these settings.");
    module.def("classic", &classic, py::arg("n"), py::arg("d"), py::arg("seed"), py::arg("mode"),
               py::arg("verbose"), "The entry point's design; olhs.classic_lhs checks the arguments first.");
    module.def("phip", &phip, py::arg("design"), py::arg("p"), py::arg("metric"),
               "phi_p of the design's ranks; olhs.phi_p checks the arguments first.");
    module.def("metrics", &metrics, py::arg("design"), py::arg("p"),
               "Every measure of the design's ranks; olhs.metrics checks the arguments first.");
    // The Python defaults are the library's, read from it rather than written twice.
    const olhs::Options defaults;
    module.attr("DEFAULT_SEED") = defaults.seed;
    module.attr("DEFAULT_RESTARTS") = defaults.restarts;
    module.attr("DEFAULT_P") = defaults.p;
    module.attr("CLASSIC_DEFAULT_SEED") = CRand::defaultSeed;
}
