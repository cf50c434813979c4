#!/usr/bin/env python3
"""Tests of the olhs command, run against the built binary.

Usage: cli_test.py OLHS ENTRY_POINT_HELPER VERSION GROUP

GROUP names one TestCase class below; CTest runs each group as a test of its own. Every
case runs the command in a fresh temporary directory, so nothing lands in the source tree.
"""

import json
import math
import os
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree as ET

OLHS = None
HELPER = None
VERSION = None

SVG_NS = "{http://www.w3.org/2000/svg}"


def run(args, cwd=None, stdout=subprocess.PIPE, timeout=120, preexec_fn=None):
    """Runs olhs with the arguments; returns (status, stdout text, stderr text)."""
    proc = subprocess.run([OLHS] + list(args), cwd=cwd, stdout=stdout, stderr=subprocess.PIPE,
                          timeout=timeout, preexec_fn=preexec_fn, stdin=subprocess.DEVNULL)
    out = proc.stdout.decode() if proc.stdout is not None else ""
    return proc.returncode, out, proc.stderr.decode()


def parse_delimited(text, separator=","):
    """Header and rows of numbers (as the text of each cell) of CSV or TSV output."""
    lines = text.split("\n")
    assert lines[-1] == "", "output must end with a newline"
    lines = lines[:-1]
    header = lines[0].split(separator)
    rows = [line.split(separator) for line in lines[1:]]
    return header, rows


def floats(rows):
    return [[float(cell) for cell in row] for row in rows]


def levels_of(values, n):
    """Levels 1..n of a design in [0, 1]."""
    return [[round(v * (n - 1)) + 1 for v in row] for row in values]


def phi_p(levels, p=50.0):
    """phi_p with city-block distances, computed independently of the library."""
    total = 0.0
    for a in range(len(levels)):
        for b in range(a + 1, len(levels)):
            d = sum(abs(x - y) for x, y in zip(levels[a], levels[b]))
            total += d ** (-p)
    return total ** (1.0 / p)


def correlation(x, y):
    mx = sum(x) / len(x)
    my = sum(y) / len(y)
    sxy = sum((a - mx) * (b - my) for a, b in zip(x, y))
    sxx = sum((a - mx) ** 2 for a in x)
    syy = sum((b - my) ** 2 for b in y)
    return sxy / math.sqrt(sxx * syy)


def reference_design(n, m, mode, seed, directory):
    """The CSV text of the entry point's design, from the helper program."""
    path = os.path.join(directory, "reference.csv")
    subprocess.run([HELPER, str(n), str(m), str(mode), str(seed), path], check=True,
                   stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, timeout=120)
    with open(path) as f:
        text = f.read()
    os.remove(path)
    return text


class CommandTest(unittest.TestCase):
    """Gives every case its own scratch directory as the working directory of the command."""

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="olhs_cli_test_")

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)

    def olhs(self, *args, **kwargs):
        kwargs.setdefault("cwd", self.dir)
        return run(args, **kwargs)

    def olhs_ok(self, *args, **kwargs):
        status, out, err = self.olhs(*args, **kwargs)
        self.assertEqual(status, 0, "olhs %s failed: %s" % (" ".join(args), err))
        return out, err

    def design(self, *args):
        """Header and values of a CSV design printed quietly."""
        out, _ = self.olhs_ok(*args, "--quiet")
        header, rows = parse_delimited(out)
        return header, floats(rows)

    def assertLatin(self, values, n, m):
        """Every column holds each of k/(n-1), k = 0..n-1, exactly once, bit for bit."""
        self.assertEqual(len(values), n)
        for row in values:
            self.assertEqual(len(row), m)
        for j in range(m):
            column = sorted(row[j] for row in values)
            self.assertEqual(column, [k / (n - 1) for k in range(n)], "column %d" % (j + 1))

    def files(self):
        return sorted(os.listdir(self.dir))


class Formats(CommandTest):
    def test_csv_shape_and_exact_values(self):
        out, _ = self.olhs_ok("-n", "20", "-m", "4", "--quiet")
        header, rows = parse_delimited(out)
        self.assertEqual(header, ["x1", "x2", "x3", "x4"])
        self.assertEqual(len(rows), 20)
        values = floats(rows)
        self.assertLatin(values, 20, 4)
        # 17 significant digits read back to the very doubles k / (n - 1).
        for row in rows:
            for cell in row:
                v = float(cell)
                self.assertEqual(cell, "%.17g" % v)

    def test_tsv_has_the_same_values(self):
        csv_out, _ = self.olhs_ok("-n", "9", "-m", "3", "--quiet")
        tsv_out, _ = self.olhs_ok("-n", "9", "-m", "3", "--quiet", "--format", "tsv")
        self.assertNotIn(",", tsv_out)
        self.assertEqual(parse_delimited(tsv_out, "\t"), parse_delimited(csv_out, ","))

    def test_json_holds_design_and_metadata(self):
        csv_out, _ = self.olhs_ok("-n", "12", "-m", "3", "--quiet")
        out, _ = self.olhs_ok("-n", "12", "-m", "3", "--quiet", "--format", "json")
        doc = json.loads(out)
        self.assertEqual(doc["n"], 12)
        self.assertEqual(doc["m"], 3)
        self.assertEqual(doc["seed"], 20261123)
        self.assertTrue(doc["default_seed"])
        self.assertEqual(doc["settings"], {"optimised": True, "max_iterations": 2000,
                                           "stall_iterations": 100, "min_iterations": 5,
                                           "time_limit": None, "convergence": 0.01})
        self.assertEqual(doc["scale"], "unit")
        self.assertIsNone(doc["bounds"])
        self.assertEqual(doc["variables"], ["x1", "x2", "x3"])
        self.assertNotIn("metrics", doc)
        _, rows = parse_delimited(csv_out)
        self.assertEqual(doc["design"], floats(rows))
        expected = phi_p(levels_of(doc["design"], 12))
        self.assertAlmostEqual(doc["phi_p"], expected, delta=1e-12 * expected)

    def test_json_records_seed_and_limits(self):
        out, _ = self.olhs_ok("-n", "8", "-m", "2", "--quiet", "--format", "json", "--seed", "77",
                              "--max-iterations", "40", "--stall-iterations", "7",
                              "--min-iterations", "3", "--time-limit", "2.5", "--convergence", "0.25")
        doc = json.loads(out)
        self.assertEqual(doc["seed"], 77)
        self.assertFalse(doc["default_seed"])
        self.assertEqual(doc["settings"], {"optimised": True, "max_iterations": 40,
                                           "stall_iterations": 7, "min_iterations": 3,
                                           "time_limit": 2.5, "convergence": 0.25})

    def test_json_of_random_design_and_levels(self):
        out, _ = self.olhs_ok("-n", "6", "-m", "1", "--random", "--levels", "--format", "json",
                              "--seed", "18446744073709551615")
        doc = json.loads(out)
        self.assertEqual(doc["seed"], 18446744073709551615)
        self.assertEqual(doc["settings"], {"optimised": False})
        self.assertEqual(doc["scale"], "levels")
        self.assertEqual(doc["design"], [[1], [2], [3], [4], [5], [6]])
        self.assertTrue(all(isinstance(row[0], int) for row in doc["design"]))
        self.assertAlmostEqual(doc["phi_p"], phi_p(doc["design"]), delta=1e-12)


class LatinProperty(CommandTest):
    def test_optimal_and_random_designs_are_latin(self):
        for n, m in [(2, 2), (3, 2), (7, 3), (10, 5), (23, 2), (30, 6)]:
            for extra in ([], ["--random"]):
                with self.subTest(n=n, m=m, extra=extra):
                    header, values = self.design("-n", str(n), "-m", str(m), *extra)
                    self.assertEqual(header, ["x%d" % (j + 1) for j in range(m)])
                    self.assertLatin(values, n, m)
                    # The first variable holds the levels in point order.
                    self.assertEqual([row[0] for row in values], [i / (n - 1) for i in range(n)])

    def test_two_points_give_only_zero_and_one(self):
        _, values = self.design("-n", "2", "-m", "3")
        self.assertEqual(sorted({v for row in values for v in row}), [0.0, 1.0])

    def test_single_variable_with_random(self):
        _, values = self.design("-n", "5", "-m", "1", "--random")
        self.assertEqual(values, [[0.0], [0.25], [0.5], [0.75], [1.0]])

    def test_search_does_not_worsen_the_drawn_design(self):
        for seed in ("1", "2", "3"):
            with self.subTest(seed=seed):
                _, start = self.design("-n", "15", "-m", "3", "--random", "--seed", seed)
                _, best = self.design("-n", "15", "-m", "3", "--seed", seed)
                self.assertLessEqual(phi_p(levels_of(best, 15)), phi_p(levels_of(start, 15)))


class Scaling(CommandTest):
    def test_levels_match_unit_values(self):
        _, unit = self.design("-n", "11", "-m", "4")
        out, _ = self.olhs_ok("-n", "11", "-m", "4", "--quiet", "--levels")
        header, rows = parse_delimited(out)
        self.assertEqual(header, ["x1", "x2", "x3", "x4"])
        levels = [[int(cell) for cell in row] for row in rows]
        self.assertEqual(levels, levels_of(unit, 11))
        for j in range(4):
            self.assertEqual(sorted(row[j] for row in levels), list(range(1, 12)))

    def check_bounds(self, unit, scaled, bounds):
        for j, (lo, hi) in enumerate(bounds):
            column = [row[j] for row in scaled]
            # The ends land exactly on LO and HI.
            self.assertEqual(min(column), lo)
            self.assertEqual(max(column), hi)
            for x, y in zip((row[j] for row in unit), column):
                self.assertAlmostEqual(y, lo + x * (hi - lo), delta=1e-12 * (hi - lo))

    def test_one_pair_applies_to_every_variable(self):
        _, unit = self.design("-n", "9", "-m", "3")
        _, scaled = self.design("-n", "9", "-m", "3", "--bounds", "10:20")
        self.check_bounds(unit, scaled, [(10.0, 20.0)] * 3)

    def test_one_pair_per_variable_with_negative_ends(self):
        bounds = [(-1.0, 1.0), (-5.5, -2.0), (0.1, 0.3)]
        _, unit = self.design("-n", "13", "-m", "3", "--random")
        _, scaled = self.design("-n", "13", "-m", "3", "--random", "--bounds=-1:1,-5.5:-2,0.1:0.3")
        self.check_bounds(unit, scaled, bounds)

    def test_json_lists_the_bounds(self):
        out, _ = self.olhs_ok("-n", "5", "-m", "2", "--random", "--format", "json",
                              "--bounds=-2:2,100:1e3")
        doc = json.loads(out)
        self.assertEqual(doc["scale"], "bounds")
        self.assertEqual(doc["bounds"], [[-2, 2], [100, 1000]])
        self.assertEqual([row[0] for row in doc["design"]], [-2, -1, 0, 1, 2])


class Seeds(CommandTest):
    def test_same_command_same_design(self):
        first, _ = self.olhs_ok("-n", "14", "-m", "3", "--quiet")
        second, _ = self.olhs_ok("-n", "14", "-m", "3", "--quiet")
        self.assertEqual(first, second)
        default, _ = self.olhs_ok("-n", "14", "-m", "3", "--quiet", "--seed", "20261123")
        self.assertEqual(first, default)

    def test_seed_changes_the_design_reproducibly(self):
        a1, _ = self.olhs_ok("-n", "14", "-m", "3", "--quiet", "--seed", "5")
        a2, _ = self.olhs_ok("-n", "14", "-m", "3", "--quiet", "--seed", "5")
        b, _ = self.olhs_ok("-n", "14", "-m", "3", "--quiet", "--seed", "6")
        self.assertEqual(a1, a2)
        self.assertNotEqual(a1, b)

    def test_agrees_with_the_entry_point(self):
        for n, m, seed in [(20, 4, "default"), (12, 3, "0"), (30, 2, "99"), (8, 5, "12345")]:
            for mode in (1, 0):
                with self.subTest(n=n, m=m, seed=seed, mode=mode):
                    args = ["-n", str(n), "-m", str(m), "--quiet"]
                    if seed != "default":
                        args += ["--seed", seed]
                    if mode == 0:
                        args.append("--random")
                    out, _ = self.olhs_ok(*args)
                    self.assertEqual(out, reference_design(n, m, mode, seed, self.dir))

    def test_own_search_with_the_entry_points_limits_agrees(self):
        for n, m, seed in [(20, 4, "default"), (16, 3, "4"), (25, 2, "31")]:
            with self.subTest(n=n, m=m, seed=seed):
                args = ["-n", str(n), "-m", str(m), "--quiet", "--max-iterations", "2000",
                        "--stall-iterations", "100"]
                if seed != "default":
                    args += ["--seed", seed]
                out, _ = self.olhs_ok(*args)
                self.assertEqual(out, reference_design(n, m, 1, seed, self.dir))
                # Spelling out the other defaults changes nothing either.
                out, _ = self.olhs_ok(*args, "--min-iterations", "5", "--convergence", "0.01")
                self.assertEqual(out, reference_design(n, m, 1, seed, self.dir))

    def test_other_limits_give_a_latin_design(self):
        for extra in (["--max-iterations", "6"], ["--stall-iterations", "1"],
                      ["--time-limit", "0"], ["--convergence", "0"], ["--min-iterations", "0"]):
            with self.subTest(extra=extra):
                _, values = self.design("-n", "10", "-m", "3", *extra)
                self.assertLatin(values, 10, 3)

    def test_short_search_differs_from_full_search(self):
        full, _ = self.olhs_ok("-n", "20", "-m", "4", "--quiet")
        short, _ = self.olhs_ok("-n", "20", "-m", "4", "--quiet", "--max-iterations", "6",
                                "--stall-iterations", "1000")
        self.assertNotEqual(full, short)


class Progress(CommandTest):
    def test_progress_goes_to_standard_error(self):
        out, err = self.olhs_ok("-n", "10", "-m", "3")
        self.assertNotIn("Iteration", out)
        self.assertIn("Iteration #: 000\t\tOptimality criterion = ", err)
        header, rows = parse_delimited(out)
        self.assertEqual(header, ["x1", "x2", "x3"])
        self.assertEqual(len(rows), 10)

    def test_quiet_silences_progress_only(self):
        loud, _ = self.olhs_ok("-n", "10", "-m", "3")
        quiet, err = self.olhs_ok("-n", "10", "-m", "3", "--quiet")
        self.assertEqual(err, "")
        self.assertEqual(quiet, loud)

    def test_progress_of_own_search_and_json(self):
        out, err = self.olhs_ok("-n", "10", "-m", "3", "--format", "json", "--stall-iterations", "3")
        self.assertIn("Iteration #: 000", err)
        self.assertIn("Iteration #: 003", err)
        json.loads(out)

    def test_random_design_prints_no_progress(self):
        _, err = self.olhs_ok("-n", "10", "-m", "3", "--random")
        self.assertEqual(err, "")

    def test_stdout_stays_empty_with_output_file(self):
        out, err = self.olhs_ok("-n", "10", "-m", "3", "-o", "d.csv")
        self.assertEqual(out, "")
        self.assertIn("Iteration #: 000", err)

    def test_write_failure_on_standard_output(self):
        with open("/dev/full", "w") as full:
            status, _, err = self.olhs("-n", "10", "-m", "3", "--quiet", stdout=full)
        self.assertEqual(status, 1)
        self.assertEqual(len(err.splitlines()), 1, err)
        self.assertIn("standard output", err)


class Metrics(CommandTest):
    def parse_metrics(self, err):
        lines = err.splitlines()
        self.assertEqual(len(lines), 4, err)
        result = {}
        for line in lines:
            key, value = line.split(": ", 1)
            result[key] = value
        self.assertEqual(sorted(result), ["max_abs_correlation", "min_city_block_distance",
                                          "min_euclidean_distance", "phi_p"])
        return result

    def expected(self, levels):
        n, m = len(levels), len(levels[0])
        pairs = [(a, b) for a in range(n) for b in range(a + 1, n)]
        city = min(sum(abs(x - y) for x, y in zip(levels[a], levels[b])) for a, b in pairs)
        euclid = min(math.sqrt(sum((x - y) ** 2 for x, y in zip(levels[a], levels[b])))
                     for a, b in pairs)
        cols = [[row[j] for row in levels] for j in range(m)]
        corr = max(abs(correlation(cols[i], cols[j])) for i in range(m) for j in range(i + 1, m))
        return phi_p(levels), city, euclid, corr

    def test_metrics_on_standard_error(self):
        out, err = self.olhs_ok("-n", "15", "-m", "4", "--quiet", "--metrics")
        _, rows = parse_delimited(out)
        levels = levels_of(floats(rows), 15)
        got = self.parse_metrics(err)
        phi, city, euclid, corr = self.expected(levels)
        self.assertAlmostEqual(float(got["phi_p"]), phi, delta=1e-12 * phi)
        self.assertEqual(int(got["min_city_block_distance"]), city)
        self.assertAlmostEqual(float(got["min_euclidean_distance"]), euclid, delta=1e-12)
        self.assertAlmostEqual(float(got["max_abs_correlation"]), corr, delta=1e-12)

    def test_metrics_of_a_known_design(self):
        # One variable: column x1 is 1..n, so every neighbour is 1 apart and there is no
        # pair of columns to correlate.
        _, err = self.olhs_ok("-n", "4", "-m", "1", "--random", "--metrics")
        got = self.parse_metrics(err)
        self.assertEqual(got["min_city_block_distance"], "1")
        self.assertEqual(float(got["min_euclidean_distance"]), 1.0)
        self.assertIn("none", got["max_abs_correlation"])
        expected = (3 * 1.0 + 2 * 2.0 ** -50 + 3.0 ** -50) ** (1 / 50)
        self.assertAlmostEqual(float(got["phi_p"]), expected, delta=1e-12)

    def test_metrics_in_json(self):
        out, err = self.olhs_ok("-n", "12", "-m", "3", "--quiet", "--metrics", "--format", "json")
        doc = json.loads(out)
        got = self.parse_metrics(err)
        metrics = doc["metrics"]
        self.assertEqual(metrics["phi_p"], float(got["phi_p"]))
        self.assertEqual(metrics["phi_p"], doc["phi_p"])
        self.assertEqual(metrics["min_city_block_distance"], int(got["min_city_block_distance"]))
        self.assertEqual(metrics["min_euclidean_distance"], float(got["min_euclidean_distance"]))
        self.assertEqual(metrics["max_abs_correlation"], float(got["max_abs_correlation"]))
        phi, city, euclid, corr = self.expected(levels_of(doc["design"], 12))
        self.assertEqual(metrics["min_city_block_distance"], city)
        self.assertAlmostEqual(metrics["max_abs_correlation"], corr, delta=1e-12)

    def test_metrics_follow_progress_lines(self):
        _, err = self.olhs_ok("-n", "10", "-m", "3", "--metrics")
        lines = err.splitlines()
        self.assertTrue(lines[0].startswith("Iteration #: 000"))
        self.assertTrue(lines[-4].startswith("phi_p: "))


class OutputFile(CommandTest):
    def test_file_holds_what_stdout_would(self):
        expected, _ = self.olhs_ok("-n", "12", "-m", "3", "--quiet")
        self.olhs_ok("-n", "12", "-m", "3", "--quiet", "-o", "design.csv")
        with open(os.path.join(self.dir, "design.csv")) as f:
            self.assertEqual(f.read(), expected)
        self.assertEqual(self.files(), ["design.csv"])

    def test_existing_file_is_replaced(self):
        path = os.path.join(self.dir, "design.json")
        with open(path, "w") as f:
            f.write("old contents that are longer than nothing\n" * 100)
        os.chmod(path, 0o640)
        self.olhs_ok("-n", "6", "-m", "2", "--quiet", "--format", "json", "-o", path)
        with open(path) as f:
            self.assertEqual(json.load(f)["n"], 6)
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o640)
        self.assertEqual(self.files(), ["design.json"])

    def test_failed_run_leaves_existing_file_alone(self):
        path = os.path.join(self.dir, "design.csv")
        with open(path, "w") as f:
            f.write("precious\n")
        before = os.stat(path)
        for bad in (["-n", "1", "-m", "2"], ["-n", "5", "-m", "2", "--format", "xml"],
                    ["-n", "5", "-m", "2", "--report", "missing/dir/r_"],
                    ["-n", "5", "-m", "2", "--plot", "missing/p.svg"],
                    ["-n", "2000000000", "-m", "2"]):
            with self.subTest(bad=bad):
                status, out, err = self.olhs(*bad, "-o", "design.csv")
                self.assertEqual(status, 2, err)
                self.assertEqual(out, "")
                with open(path) as f:
                    self.assertEqual(f.read(), "precious\n")
                self.assertEqual(os.stat(path).st_mtime_ns, before.st_mtime_ns)
                self.assertEqual(self.files(), ["design.csv"])

    def test_unusable_paths(self):
        os.mkdir(os.path.join(self.dir, "adir"))
        for path, what in (("missing/d.csv", "missing/d.csv"), ("adir", "directory"),
                           ("adir/", "directory")):
            with self.subTest(path=path):
                status, out, err = self.olhs("-n", "5", "-m", "2", "-o", path)
                self.assertEqual(status, 2)
                self.assertEqual(out, "")
                self.assertEqual(len(err.splitlines()), 1, err)
                self.assertTrue(err.startswith("olhs: -o: "), err)
                self.assertIn(what, err)
        self.assertEqual(self.files(), ["adir"])
        self.assertEqual(os.listdir(os.path.join(self.dir, "adir")), [])

    def test_interrupted_run_leaves_no_trace(self):
        path = os.path.join(self.dir, "design.csv")
        with open(path, "w") as f:
            f.write("precious\n")
        # A search that would run for a long time: it never stalls nor reaches its limit.
        proc = subprocess.Popen([OLHS, "-n", "30", "-m", "8", "-o", "design.csv",
                                 "--max-iterations", "2000000000", "--stall-iterations", "2000000000",
                                 "--convergence", "0"],
                                cwd=self.dir, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                stdin=subprocess.DEVNULL)
        try:
            # The first progress line comes once the search has started, when the
            # temporary file already exists.
            first = proc.stderr.readline().decode()
            self.assertTrue(first.startswith("Iteration #: 000"), first)
            self.assertEqual(len(self.files()), 2, self.files())
            proc.send_signal(signal.SIGTERM)
            proc.wait(timeout=60)
        finally:
            if proc.poll() is None:
                proc.kill()
                proc.wait()
            proc.stderr.close()
        self.assertEqual(proc.returncode, -signal.SIGTERM)
        with open(path) as f:
            self.assertEqual(f.read(), "precious\n")
        self.assertEqual(self.files(), ["design.csv"])

    def test_file_through_symbolic_link(self):
        target = os.path.join(self.dir, "real.csv")
        with open(target, "w") as f:
            f.write("old\n")
        os.symlink("real.csv", os.path.join(self.dir, "link.csv"))
        self.olhs_ok("-n", "4", "-m", "2", "--random", "-o", "link.csv")
        self.assertTrue(os.path.islink(os.path.join(self.dir, "link.csv")))
        with open(target) as f:
            self.assertTrue(f.read().startswith("x1,x2\n"))


class Report(CommandTest):
    NAMES = ["Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt", "FullReport.rpt"]

    def test_report_files_with_prefix(self):
        os.mkdir(os.path.join(self.dir, "reports"))
        out, _ = self.olhs_ok("-n", "12", "-m", "3", "--quiet", "--report", "reports/run1_")
        self.assertEqual(sorted(os.listdir(os.path.join(self.dir, "reports"))),
                         sorted("run1_" + name for name in self.NAMES))
        with open(os.path.join(self.dir, "reports", "run1_FullReport.rpt")) as f:
            lines = f.read().splitlines()
        self.assertEqual(lines[0], "=" * 80)
        self.assertEqual(lines[1], "ENHANCED STOCHASTIC EVOLUTIONARY ALGORITHM")
        self.assertIn("Maximum number of iterations: 2000", lines)
        self.assertIn("Maximum number of iterations without improvements: 100", lines)
        # The optimal design in the report is the printed one, level for level.
        _, rows = parse_delimited(out)
        levels = levels_of(floats(rows), 12)
        with open(os.path.join(self.dir, "reports", "run1_Optimal_0.rpt")) as f:
            table = [[round(float(x)) for x in line.split()] for line in f.read().splitlines()
                     if line.strip() and not line.startswith("Optim")]
        self.assertEqual(table, levels)
        # With the default limits it is still the entry point's design.
        self.assertEqual(out, reference_design(12, 3, 1, "default", self.dir))

    def test_report_uses_given_limits(self):
        self.olhs_ok("-n", "8", "-m", "2", "--quiet", "--report", "r_", "--stall-iterations", "4")
        with open(os.path.join(self.dir, "r_FullReport.rpt")) as f:
            self.assertIn("Maximum number of iterations without improvements: 4\n", f.read())

    def test_unwritable_prefix_is_refused_before_the_search(self):
        status, out, err = self.olhs("-n", "12", "-m", "3", "--report", "nowhere/r_")
        self.assertEqual(status, 2)
        self.assertEqual(out, "")
        self.assertEqual(err.count("\n"), 1, err)
        self.assertTrue(err.startswith("olhs: --report: "), err)
        self.assertNotIn("Iteration", err)
        self.assertEqual(self.files(), [])


class Plot(CommandTest):
    def check_plot(self, path, levels):
        n, m = len(levels), len(levels[0])
        root = ET.parse(path).getroot()
        self.assertEqual(root.tag, SVG_NS + "svg")
        for attribute in ("width", "height", "viewBox"):
            self.assertIn(attribute, root.attrib)
        panels = [g for g in root.iter(SVG_NS + "g") if g.get("class") == "panel"]
        self.assertEqual(len(panels), m * (m - 1))
        seen = set()
        for panel in panels:
            title = panel.find(SVG_NS + "title").text
            words = title.split()
            across, up = int(words[0][1:]) - 1, int(words[2][1:]) - 1
            seen.add((across, up))
            circles = panel.findall(SVG_NS + "circle")
            self.assertEqual(len(circles), n, title)
            xs = [float(c.get("cx")) for c in circles]
            ys = [float(c.get("cy")) for c in circles]
            # Points sit on the grid of levels: n distinct positions each way, evenly spaced,
            # level 1 at the left and at the bottom.
            xs_sorted = sorted(set(xs))
            ys_sorted = sorted(set(ys), reverse=True)
            self.assertEqual(len(xs_sorted), n)
            self.assertEqual(len(ys_sorted), n)
            step = (xs_sorted[-1] - xs_sorted[0]) / (n - 1)
            for k in range(n):
                self.assertAlmostEqual(xs_sorted[k], xs_sorted[0] + k * step, delta=0.002)
            points = sorted((xs_sorted.index(x) + 1, ys_sorted.index(y) + 1) for x, y in zip(xs, ys))
            expected = sorted((row[across], row[up]) for row in levels)
            self.assertEqual(points, expected, title)
        self.assertEqual(seen, {(a, b) for a in range(m) for b in range(m) if a != b})

    def test_scatter_matrix(self):
        for n, m in [(20, 4), (5, 2), (30, 3)]:
            with self.subTest(n=n, m=m):
                out, _ = self.olhs_ok("-n", str(n), "-m", str(m), "--quiet", "--levels",
                                      "--plot", "plot.svg")
                _, rows = parse_delimited(out)
                levels = [[int(x) for x in row] for row in rows]
                self.check_plot(os.path.join(self.dir, "plot.svg"), levels)

    def test_plot_beside_output_file(self):
        self.olhs_ok("-n", "7", "-m", "3", "--random", "--levels", "-o", "d.csv", "--plot", "p.svg")
        self.assertEqual(self.files(), ["d.csv", "p.svg"])
        with open(os.path.join(self.dir, "d.csv")) as f:
            _, rows = parse_delimited(f.read())
        self.check_plot(os.path.join(self.dir, "p.svg"), [[int(x) for x in row] for row in rows])

    def test_plot_needs_two_variables(self):
        status, out, err = self.olhs("-n", "5", "-m", "1", "--random", "--plot", "p.svg")
        self.assertEqual(status, 2)
        self.assertEqual(out, "")
        self.assertTrue(err.startswith("olhs: --plot: "), err)
        self.assertEqual(self.files(), [])


class BadInput(CommandTest):
    # (arguments, option the message must name, text the message must contain)
    CASES = [
        (["-m", "3"], "-n", "required"),
        (["-n", "5"], "-m", "required"),
        (["-n", "1", "-m", "3"], "-n", "from 2 to 2147483647"),
        (["-n", "0", "-m", "3"], "-n", "from 2"),
        (["-n", "-4", "-m", "3"], "-n", "from 2"),
        (["-n", "ten", "-m", "3"], "-n", "'ten'"),
        (["-n", "5.5", "-m", "3"], "-n", "whole number"),
        (["-n", "99999999999", "-m", "3"], "-n", "2147483647"),
        (["-n", "5", "-m", "0", "--random"], "-m", "from 1"),
        (["-n", "5", "-m", "x"], "-m", "'x'"),
        (["-n", "5", "-m", "1"], "-m", "--random"),
        (["-n", "5", "-m", "2", "--seed", "-1"], "--seed", "from 0 to 18446744073709551615"),
        (["-n", "5", "-m", "2", "--seed", "1e3"], "--seed", "whole number"),
        (["-n", "5", "-m", "2", "--seed", "18446744073709551616"], "--seed", "18446744073709551615"),
        (["-n", "5", "-m", "2", "--max-iterations", "0"], "--max-iterations", "from 1"),
        (["-n", "5", "-m", "2", "--max-iterations", "5"], "--max-iterations", "greater than"),
        (["-n", "5", "-m", "2", "--min-iterations", "3000"], "--min-iterations", "greater than"),
        (["-n", "5", "-m", "2", "--min-iterations", "-1"], "--min-iterations", "from 0"),
        (["-n", "5", "-m", "2", "--stall-iterations", "0"], "--stall-iterations", "from 1"),
        (["-n", "5", "-m", "2", "--time-limit", "-1"], "--time-limit", "from 0"),
        (["-n", "5", "-m", "2", "--time-limit", "inf"], "--time-limit", "'inf'"),
        (["-n", "5", "-m", "2", "--convergence", "1.5"], "--convergence", "from 0 to 1"),
        (["-n", "5", "-m", "2", "--convergence", "nan"], "--convergence", "from 0 to 1"),
        (["-n", "5", "-m", "2", "--bounds", "1:0"], "--bounds", "LO < HI"),
        (["-n", "5", "-m", "2", "--bounds", "2:2"], "--bounds", "LO < HI"),
        (["-n", "5", "-m", "2", "--bounds", "0-1"], "--bounds", "LO:HI"),
        (["-n", "5", "-m", "2", "--bounds", "a:b"], "--bounds", "LO:HI"),
        (["-n", "5", "-m", "2", "--bounds", "0:1,"], "--bounds", "LO:HI"),
        (["-n", "5", "-m", "3", "--bounds", "0:1,0:2"], "--bounds", "1 pair or one per variable (3)"),
        (["-n", "5", "-m", "2", "--bounds", "0:1e999"], "--bounds", "finite"),
        (["-n", "5", "-m", "2", "--levels", "--bounds", "0:1"], "--levels", "--bounds"),
        (["-n", "5", "-m", "2", "--format", "xml"], "--format", "csv, tsv or json"),
        (["-n", "5", "-m", "2", "--random", "--max-iterations", "50"], "--max-iterations", "--random"),
        (["-n", "5", "-m", "2", "--random", "--report", "r_"], "--report", "--random"),
        (["-n", "5", "-m", "2", "-o", ""], "-o", "file name"),
        (["-n", "5", "-m", "2", "-o", "no/such/dir/d.csv"], "-o", "writable directory"),
        (["-n", "5", "-m", "2", "--report", "no/such/dir/r_"], "--report", "writable directory"),
        (["-n", "5", "-m", "2", "--plot", "no/such/dir/p.svg"], "--plot", "writable directory"),
        (["-n", "5", "-m", "2", "-o", "same.csv", "--plot", "same.csv"], "--plot", "same file"),
        (["-n", "5", "-m", "2", "--bogus"], "--bogus", "not expected"),
        (["-n", "5", "-m", "2", "stray"], "stray", "not expected"),
        (["-n", "5", "-m", "2", "--seed"], "--seed", "missing"),
        (["-n", "5", "-n", "6", "-m", "2"], "--points", "received 2"),
        (["-n", "2000000000", "-m", "2"], "-n", "2000000000 points"),
        (["-n", "200000", "-m", "2"], "-n", "200000 points"),
    ]

    def test_every_bad_input_is_one_line_and_status_2(self):
        for args, option, text in self.CASES:
            with self.subTest(args=args):
                status, out, err = self.olhs(*args)
                self.assertEqual(status, 2, err)
                self.assertEqual(out, "")
                self.assertTrue(err.endswith("\n"), repr(err))
                self.assertEqual(err.count("\n"), 1, repr(err))
                self.assertTrue(err.startswith("olhs: "), err)
                self.assertIn(option, err)
                self.assertIn(text, err)
                self.assertEqual(self.files(), [], "a refused run left files behind")


class Memory(CommandTest):
    def test_absurd_size_is_refused_before_allocating(self):
        status, out, err = self.olhs("-n", "2147483647", "-m", "2147483647", "--random")
        self.assertEqual(status, 2)
        self.assertEqual(out, "")
        self.assertEqual(err.count("\n"), 1, err)
        self.assertIn("-n: ", err)
        self.assertIn("2147483647 points in 2147483647 variables", err)

    @unittest.skipIf(os.environ.get("OLHS_CLI_SANITIZED"),
                     "sanitizer runtimes cannot run under an address-space limit")
    def test_allocation_failure_names_the_size(self):
        # Within the machine's memory, but not within a 256 MiB address space: the design's
        # rows alone need about 0.5 GiB, so the library's allocation fails.
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (256 << 20, 256 << 20))

        path = os.path.join(self.dir, "design.csv")
        with open(path, "w") as f:
            f.write("precious\n")
        status, out, err = self.olhs("-n", "1000000", "-m", "64", "--random", "-o", "design.csv",
                                     preexec_fn=limit, timeout=60)
        self.assertEqual(status, 2, err)
        self.assertEqual(out, "")
        self.assertEqual(err.count("\n"), 1, err)
        self.assertIn("-n: not enough memory", err)
        self.assertIn("1000000 points in 64 variables", err)
        with open(path) as f:
            self.assertEqual(f.read(), "precious\n")
        self.assertEqual(self.files(), ["design.csv"])


class HelpAndVersion(CommandTest):
    OPTIONS = ["-n", "--points", "-m", "--variables", "--random", "--seed", "--max-iterations",
               "--stall-iterations", "--min-iterations", "--time-limit", "--convergence", "--bounds",
               "--levels", "--format", "-o", "--output", "--report", "--metrics", "--plot", "--quiet",
               "--help", "--version"]

    def test_help_explains_every_option(self):
        status, out, err = self.olhs("--help")
        self.assertEqual(status, 0)
        self.assertEqual(err, "")
        for option in self.OPTIONS:
            self.assertIn(option, out)
        # Descriptions are wrapped; compare with the line breaks taken out.
        flat = " ".join(out.split())
        for text in ("Default 2000", "Default 100", "Default 5", "Default 0.01", "Default csv",
                     "20261123", "0 to 18446744073709551615", "2 to 2147483647", "0 to 1.",
                     "no limit", "no report"):
            self.assertIn(text, flat)
        self.assertTrue(all(len(line) <= 100 for line in out.splitlines()))

    def test_help_wins_over_other_options(self):
        status, out, _ = self.olhs("-n", "5", "-m", "2", "-h")
        self.assertEqual(status, 0)
        self.assertIn("--max-iterations", out)
        self.assertEqual(self.files(), [])

    def test_version(self):
        status, out, err = self.olhs("--version")
        self.assertEqual(status, 0)
        self.assertEqual(err, "")
        self.assertEqual(out, "olhs %s\n" % VERSION)


def main():
    global OLHS, HELPER, VERSION
    if len(sys.argv) != 5:
        sys.stderr.write(__doc__)
        return 2
    OLHS, HELPER, VERSION, group = sys.argv[1:]
    for program in (OLHS, HELPER):
        if not os.access(program, os.X_OK):
            sys.stderr.write("not an executable: %s\n" % program)
            return 2
    suite = unittest.defaultTestLoader.loadTestsFromName(group, sys.modules[__name__])
    if suite.countTestCases() == 0:
        sys.stderr.write("no tests in group %s\n" % group)
        return 2
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
