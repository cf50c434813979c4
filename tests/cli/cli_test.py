#!/usr/bin/env python3
"""Tests of the olhs command, run against the built binary.

Usage: cli_test.py OLHS ENTRY_POINT_HELPER VERSION GROUP

GROUP names one TestCase class below; CTest runs each group as a test of its own. Every
case runs the command in a fresh temporary directory, so nothing lands in the source tree.
"""

import json
import math
import os
import pty
import re
import resource
import shutil
import signal
import socket
import stat
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

OLHS = HELPER = VERSION = None
SVG = "{http://www.w3.org/2000/svg}"
DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "data")
SUMMARY = re.compile(r"^olhs: best phi_p (\S+) from (\d+) restarts?, (\d+) iterations in \d+\.\d\d s; "
                     r"stopped by: (iterations|time budget)$")


def parse(text, separator=","):
    """Header and rows (cell texts) of CSV or TSV output."""
    assert text.endswith("\n"), "output must end with a newline"
    lines = [line.split(separator) for line in text[:-1].split("\n")]
    return lines[0], lines[1:]


def significant_digits(text):
    """Digits of a number's mantissa, without leading or trailing zeros."""
    mantissa = text.lower().split("e")[0].lstrip("-").replace(".", "")
    return len(mantissa.strip("0")) or 1


def is_shortest(text):
    """The text reads back as a double that no text with fewer digits reads back as
    (Python's repr is the shortest round-trip form)."""
    value = float(text)
    return repr(value) != "nan" and significant_digits(text) == significant_digits(repr(value))


def centered_levels(values, n):
    """Levels of values placed in the middles of their cells, (k - 0.5) / n."""
    return [[round(v * n + 0.5) for v in row] for row in values]


def phi_p_of(levels, p, metric):
    """phi_p with either distance, computed independently of the library."""
    def distance(a, b):
        if metric == "euclidean":
            return math.sqrt(sum((x - y) ** 2 for x, y in zip(a, b)))
        return sum(abs(x - y) for x, y in zip(a, b))
    return sum(distance(a, b) ** -p for i, a in enumerate(levels) for b in levels[i + 1:]) ** (1 / p)


def floats(rows):
    return [[float(cell) for cell in row] for row in rows]


def levels_of(values, n):
    return [[round(v * (n - 1)) + 1 for v in row] for row in values]


def phi_p(levels, p=50.0):
    """phi_p with city-block distances, computed independently of the library."""
    return sum(sum(abs(x - y) for x, y in zip(a, b)) ** -p
               for i, a in enumerate(levels) for b in levels[i + 1:]) ** (1 / p)


def correlation(x, y):
    mx, my = sum(x) / len(x), sum(y) / len(y)
    sxy = sum((a - mx) * (b - my) for a, b in zip(x, y))
    return sxy / math.sqrt(sum((a - mx) ** 2 for a in x) * sum((b - my) ** 2 for b in y))


class CommandTest(unittest.TestCase):
    """Gives every case its own scratch directory as the working directory of the command."""

    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="olhs_cli_test_")

    def tearDown(self):
        shutil.rmtree(self.dir, ignore_errors=True)
        # Whatever a case did, the command must never have replaced a device.
        for device in ("/dev/null", "/dev/full"):
            self.assertTrue(stat.S_ISCHR(os.lstat(device).st_mode), device + " is no longer a character device")

    def path(self, name):
        return os.path.join(self.dir, name)

    def read(self, name):
        with open(self.path(name)) as f:
            return f.read()

    def write(self, name, text):
        with open(self.path(name), "w") as f:
            f.write(text)

    def files(self):
        return sorted(os.listdir(self.dir))

    def olhs(self, *args, stdout=subprocess.PIPE, timeout=120, preexec_fn=None):
        """Runs olhs; returns (status, stdout text, stderr text)."""
        proc = subprocess.run([OLHS] + list(args), cwd=self.dir, stdout=stdout, stderr=subprocess.PIPE,
                              timeout=timeout, preexec_fn=preexec_fn, stdin=subprocess.DEVNULL)
        return proc.returncode, (proc.stdout or b"").decode(), proc.stderr.decode()

    def ok(self, *args):
        status, out, err = self.olhs(*args)
        self.assertEqual(status, 0, "olhs %s failed: %s" % (" ".join(args), err))
        return out, err

    def design(self, *args):
        """Header and values of a CSV design printed quietly."""
        header, rows = parse(self.ok(*args, "--quiet")[0])
        return header, floats(rows)

    def reference(self, n, m, mode, seed):
        """The entry point's design as CSV text, from the helper program."""
        subprocess.run([HELPER, str(n), str(m), str(mode), seed, self.path("ref.csv")], check=True,
                       stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, timeout=120)
        text = self.read("ref.csv")
        os.remove(self.path("ref.csv"))
        return text

    def assertLatin(self, values, n, m):
        """Every column holds each k/(n-1) once, bit for bit; x1 holds them in point order."""
        self.assertEqual([len(row) for row in values], [m] * n)
        self.assertEqual([row[0] for row in values], [k / (n - 1) for k in range(n)])
        for j in range(m):
            self.assertEqual(sorted(row[j] for row in values), [k / (n - 1) for k in range(n)], "x%d" % (j + 1))

    def assertCentered(self, values, n, m):
        """Every column holds each (k - 0.5) / n once, bit for bit."""
        self.assertEqual([len(row) for row in values], [m] * n)
        for j in range(m):
            self.assertEqual(sorted(row[j] for row in values), [(k + 0.5) / n for k in range(n)], "x%d" % (j + 1))

    def assertRefused(self, args, *texts):
        """Exit status 2, nothing on standard output, one line naming the problem."""
        status, out, err = self.olhs(*args)
        self.assertEqual(status, 2, err)
        self.assertEqual(out, "")
        self.assertTrue(err.startswith("olhs: ") and err.endswith("\n") and err.count("\n") == 1, repr(err))
        for text in texts:
            self.assertIn(text, err)


class Formats(CommandTest):
    def test_csv_tsv_and_json_hold_the_same_design(self):
        args = ("-n", "12", "-m", "3", "--quiet")
        header, rows = parse(self.ok(*args)[0])
        self.assertEqual(header, ["x1", "x2", "x3"])
        self.assertTrue(all(is_shortest(cell) for row in rows for cell in row), rows)
        self.assertCentered(floats(rows), 12, 3)
        tsv = self.ok(*args, "--format", "tsv")[0]
        self.assertNotIn(",", tsv)
        self.assertEqual(parse(tsv, "\t"), (header, rows))
        doc = json.loads(self.ok(*args, "--format", "json")[0])
        self.assertEqual({k: doc[k] for k in ("n", "m", "seed", "default_seed", "scale", "bounds", "variables")},
                         {"n": 12, "m": 3, "seed": 20261123, "default_seed": True, "scale": "unit",
                          "bounds": None, "variables": ["x1", "x2", "x3"]})
        self.assertEqual(doc["settings"], {"optimised": True, "classic": False, "restarts": 2, "iterations": 400,
                                           "time_budget": None, "metric": "cityblock", "criterion": "phip", "start": "auto", "p": 50,
                                           "placement": "centered", "threads": 0})
        smallest = {key: doc["result"].pop(key) for key in ("min_city_block_distance", "min_euclidean_distance")}
        self.assertEqual(doc["result"], {"phi_p": doc["phi_p"], "stop_reason": "iterations", "iterations": 800,
                                         "restarts": 2})
        levels = [[round(v * 12 + 0.5) for v in row] for row in doc["design"]]
        self.assertEqual(smallest["min_city_block_distance"],
                         min(sum(abs(x - y) for x, y in zip(a, b)) for i, a in enumerate(levels) for b in levels[i + 1:]))
        self.assertNotIn("metrics", doc)
        self.assertEqual(doc["design"], floats(rows))
        expected = phi_p(centered_levels(doc["design"], 12))
        self.assertAlmostEqual(doc["phi_p"], expected, delta=1e-12 * expected)

    def test_numbers_are_in_their_shortest_form(self):
        rows = parse(self.ok("-n", "4", "-m", "2", "--random")[0])[1]
        self.assertEqual([row[0] for row in rows], ["0", "0.3333333333333333", "0.6666666666666666", "1"])
        text = self.ok("-n", "4", "-m", "2", "--random", "--format", "json", "--bounds=0:0.1")[0]
        doc = json.loads(text)
        self.assertIn("0.03333333333333333,", text)  # %.17g would give 0.033333333333333333
        self.assertEqual(doc["bounds"], [[0, 0.1], [0, 0.1]])
        _, err = self.ok("-n", "9", "-m", "3", "--quiet", "--metrics")
        for line in err.splitlines():
            self.assertTrue(line.endswith("none (one variable)") or is_shortest(line.split(": ")[1]), line)
        self.assertRefused(["-n", "5", "-m", "2", "--classic", "--time-limit", "-1"], "from 0 to 1.7e+308")

    def test_json_text_keeps_its_layout_and_number_forms(self):
        args = ("-n", "4", "-m", "2", "--random", "--bounds=0:1e15,-1.5e10:2")
        rows = parse(self.ok(*args)[0])[1]
        text = self.ok(*args, "--format", "json")[0]
        # Whole numbers without ".0", exponents where they are shorter, as in CSV.
        self.assertIn('  "bounds": [[0, 1e+15], [-1.5e+10, 2]],\n', text)
        self.assertEqual(text.split('  "design": [\n')[1],
                         ",\n".join("    [%s]" % ", ".join(row) for row in rows) + "\n  ]\n}\n")
        self.assertTrue(text.startswith('{\n  "n": 4,\n  "m": 2,\n  "seed": 20261123,\n  "default_seed": true,\n'
                                        '  "settings": {\n    "optimised": false\n  },\n  "phi_p": '), text)
        self.assertNotIn(".0,", text)

    def test_json_records_seed_limits_and_levels(self):
        doc = json.loads(self.ok("-n", "8", "-m", "2", "--quiet", "--format", "json", "--seed", "77", "--classic",
                                 "--max-iterations", "40", "--stall-iterations", "7", "--min-iterations", "3",
                                 "--time-limit", "2.5", "--convergence", "0.25")[0])
        self.assertEqual((doc["seed"], doc["default_seed"]), (77, False))
        self.assertEqual(doc["settings"], {"optimised": True, "classic": True, "max_iterations": 40,
                                           "stall_iterations": 7, "min_iterations": 3, "time_limit": 2.5,
                                           "convergence": 0.25})
        self.assertEqual(doc["result"]["phi_p"], doc["phi_p"])
        self.assertEqual(doc["result"]["restarts"], 1)
        doc = json.loads(self.ok("-n", "6", "-m", "1", "--random", "--levels", "--format", "json",
                                 "--seed", "18446744073709551615")[0])
        self.assertEqual(doc["seed"], 18446744073709551615)
        self.assertEqual(doc["settings"], {"optimised": False})
        self.assertEqual(doc["scale"], "levels")
        self.assertEqual(sorted(doc["design"]), [[1], [2], [3], [4], [5], [6]])
        self.assertTrue(all(isinstance(row[0], int) for row in doc["design"]))
        self.assertAlmostEqual(doc["phi_p"], phi_p(doc["design"]), delta=1e-12)

    def test_designs_are_latin_and_the_search_does_not_worsen_them(self):
        for n, m in [(2, 3), (3, 2), (10, 5), (23, 2), (30, 6)]:
            for extra in (["--classic"], ["--random"]):
                with self.subTest(n=n, m=m, extra=extra):
                    header, values = self.design("-n", str(n), "-m", str(m), *extra)
                    self.assertEqual(header, ["x%d" % (j + 1) for j in range(m)])
                    self.assertLatin(values, n, m)
        # One variable: the levels in random order, repeatable with the seed.
        column = self.design("-n", "30", "-m", "1", "--random")[1]
        self.assertEqual(sorted(column), [[k / 29] for k in range(30)])
        self.assertNotEqual(column, sorted(column))
        self.assertEqual(self.design("-n", "30", "-m", "1", "--random")[1], column)
        self.assertNotEqual(self.design("-n", "30", "-m", "1", "--random", "--seed", "4")[1], column)
        self.assertEqual(sorted(self.design("-n", "2", "-m", "1", "--random")[1]), [[0.0], [1.0]])
        for seed in ("1", "2", "3"):
            start = self.design("-n", "15", "-m", "3", "--random", "--seed", seed)[1]
            best = self.design("-n", "15", "-m", "3", "--classic", "--seed", seed)[1]
            self.assertLessEqual(phi_p(levels_of(best, 15)), phi_p(levels_of(start, 15)), seed)


class Scaling(CommandTest):
    def test_levels_and_bounds_follow_the_unit_values(self):
        unit = self.design("-n", "11", "-m", "3", "--classic")[1]
        header, rows = parse(self.ok("-n", "11", "-m", "3", "--classic", "--quiet", "--levels")[0])
        self.assertEqual(header, ["x1", "x2", "x3"])
        self.assertEqual([[int(cell) for cell in row] for row in rows], levels_of(unit, 11))
        for extra, bounds in ((["--bounds", "10:20"], [(10.0, 20.0)] * 3),
                              (["--bounds=-1:1,-5.5:-2,0.1:0.3"], [(-1.0, 1.0), (-5.5, -2.0), (0.1, 0.3)])):
            scaled = self.design("-n", "11", "-m", "3", "--classic", *extra)[1]
            for j, (lo, hi) in enumerate(bounds):
                column = [row[j] for row in scaled]
                self.assertEqual((min(column), max(column)), (lo, hi))  # the ends land exactly
                for x, y in zip((row[j] for row in unit), column):
                    self.assertAlmostEqual(y, lo + x * (hi - lo), delta=1e-12 * (hi - lo))
        doc = json.loads(self.ok("-n", "5", "-m", "2", "--random", "--format", "json", "--bounds=-2:2,100:1e3")[0])
        self.assertEqual((doc["scale"], doc["bounds"]), ("bounds", [[-2, 2], [100, 1000]]))
        self.assertEqual([row[0] for row in doc["design"]], [-2, -1, 0, 1, 2])


class Seeds(CommandTest):
    def test_same_seed_same_design(self):
        args = ("-n", "14", "-m", "3", "--quiet")
        first = self.ok(*args)[0]
        self.assertEqual(self.ok(*args)[0], first)
        self.assertEqual(self.ok(*args, "--seed", "20261123")[0], first)
        five = self.ok(*args, "--seed", "5")[0]
        self.assertEqual(self.ok(*args, "--seed", "5")[0], five)
        self.assertNotEqual(self.ok(*args, "--seed", "6")[0], five)
        self.assertNotEqual(five, first)

    def test_agrees_with_the_entry_point(self):
        for n, m, seed in [(20, 4, "default"), (12, 3, "0"), (8, 5, "12345")]:
            seed_args = [] if seed == "default" else ["--seed", seed]
            for mode, extra in ((1, []), (0, ["--random"])):
                with self.subTest(n=n, m=m, seed=seed, mode=mode):
                    out = self.ok("-n", str(n), "-m", str(m), "--quiet", *seed_args, *extra, "--classic")[0]
                    self.assertEqual(out, self.reference(n, m, mode, seed))
            # The command's own search, given the entry point's limits, agrees too.
            out = self.ok("-n", str(n), "-m", str(m), "--quiet", "--classic", *seed_args, "--max-iterations", "2000",
                          "--stall-iterations", "100", "--min-iterations", "5", "--convergence", "0.01")[0]
            self.assertEqual(out, self.reference(n, m, 1, seed))

    def test_a_low_iteration_limit_takes_the_default_minimum_along(self):
        for limit in ("1", "3", "5"):
            doc = json.loads(self.ok("-n", "10", "-m", "3", "--quiet", "--classic", "--format", "json",
                                     "--max-iterations", limit,
                                     "--stall-iterations", "1000")[0])
            self.assertEqual((doc["settings"]["max_iterations"], doc["settings"]["min_iterations"]),
                             (int(limit), int(limit) - 1))
        # Stopped by the limit itself: three iterations differ from four.
        three = self.ok("-n", "20", "-m", "4", "--quiet", "--classic", "--max-iterations", "3",
                        "--stall-iterations", "1000")[0]
        four = self.ok("-n", "20", "-m", "4", "--quiet", "--classic", "--max-iterations", "4",
                       "--stall-iterations", "1000")[0]
        self.assertNotEqual(three, four)
        doc = json.loads(self.ok("-n", "10", "-m", "3", "--quiet", "--classic", "--format", "json",
                                 "--max-iterations", "6")[0])
        self.assertEqual(doc["settings"]["min_iterations"], 5)

    def test_other_limits_change_the_search_but_keep_a_latin_design(self):
        full = self.ok("-n", "20", "-m", "4", "--quiet", "--classic")[0]
        short = self.ok("-n", "20", "-m", "4", "--quiet", "--classic", "--max-iterations", "6",
                        "--stall-iterations", "1000")[0]
        self.assertNotEqual(full, short)
        for extra in (["--stall-iterations", "1"], ["--time-limit", "0"], ["--convergence", "0"],
                      ["--min-iterations", "0"]):
            self.assertLatin(self.design("-n", "10", "-m", "3", "--classic", *extra)[1], 10, 3)


class Progress(CommandTest):
    def test_progress_goes_to_standard_error_only(self):
        out, err = self.ok("-n", "10", "-m", "3", "--classic")
        self.assertNotIn("Iteration", out)
        self.assertTrue(err.startswith("Iteration #: 000\t\tOptimality criterion = "), err)
        self.assertEqual(self.ok("-n", "10", "-m", "3", "--classic", "--quiet"), (out, ""))
        self.assertEqual(self.ok("-n", "10", "-m", "3", "--classic", "--random")[1], "")
        out, err = self.ok("-n", "10", "-m", "3", "--classic", "--format", "json", "--stall-iterations", "3")
        self.assertIn("\nIteration #: 003\t\t", err)
        json.loads(out)
        out, err = self.ok("-n", "10", "-m", "3", "--classic", "-o", "d.csv")
        self.assertEqual(out, "")
        self.assertIn("Iteration #: 000", err)

    def stop_line(self, *args):
        """The last line on standard error, which says why the search stopped."""
        err = self.ok("-n", "12", "-m", "3", "--classic", *args)[1]
        last = err.splitlines()[-1]
        self.assertRegex(last, r"^olhs: the search stopped after \d+ iterations and \d+\.\d\d s: ")
        self.assertTrue(all(line.startswith("Iteration #: ") for line in err.splitlines()[:-1]), err)
        return last

    def test_the_search_says_why_it_stopped(self):
        self.assertIn("without improvement (--stall-iterations)", self.stop_line())
        self.assertIn(" after 7 iterations ", self.stop_line("--max-iterations", "7", "--stall-iterations", "1000"))
        self.assertIn("(--max-iterations 7) was reached", self.stop_line("--max-iterations", "7",
                                                                        "--stall-iterations", "1000"))
        # A search that only the time limit stops; the report names that limit too.
        last = self.stop_line("--time-limit", "0", "--stall-iterations", "2000000000", "--max-iterations",
                              "2000000000", "--convergence", "0", "--report", "r_")
        self.assertIn("the time limit (--time-limit 0 s) was reached", last)
        report = self.read("r_FullReport.rpt")
        self.assertIn("STOPPING CRITERION REACHED:\nMaximum time allowed for the task.\n", report)
        iterations = int(last.split(" after ")[1].split()[0])
        self.assertIn("At iteration: %d\n" % iterations, report)
        # Nothing with --quiet or --random.
        self.assertEqual(self.ok("-n", "12", "-m", "3", "--quiet")[1], "")
        self.assertEqual(self.ok("-n", "12", "-m", "3", "--random")[1], "")

    def test_write_failure_on_standard_output(self):
        with open("/dev/full", "w") as full:
            status, _, err = self.olhs("-n", "10", "-m", "3", "--quiet", stdout=full)
        self.assertEqual(status, 1)
        self.assertEqual(len(err.splitlines()), 1, err)
        self.assertIn("standard output", err)


class Optimiser(CommandTest):
    def run_json(self, *args):
        return json.loads(self.ok("-n", "14", "-m", "3", "--quiet", "--format", "json", *args)[0])

    def test_default_is_the_optimiser_with_the_library_defaults(self):
        default = self.ok("-n", "14", "-m", "3", "--quiet")[0]
        explicit = self.ok("-n", "14", "-m", "3", "--quiet", "--restarts", "2", "--iterations", "200", "--metric",
                           "cityblock", "-p", "50", "--placement", "centered")[0]
        self.assertEqual(default, explicit)
        self.assertNotEqual(default, self.ok("-n", "14", "-m", "3", "--quiet", "--classic")[0])
        self.assertCentered(floats(parse(default)[1]), 14, 3)
        # The same bits on any number of threads.
        for threads in ("1", "2", "0"):
            self.assertEqual(self.ok("-n", "14", "-m", "3", "--quiet", "-j", threads)[0], default, threads)
            self.assertEqual(self.ok("-n", "14", "-m", "3", "--quiet", "--threads", threads)[0], default, threads)
        # Every setting reaches the search.
        for extra in (["--iterations", "3"], ["--seed", "9"], ["--placement", "grid"]):
            self.assertNotEqual(self.ok("-n", "14", "-m", "3", "--quiet", *extra)[0], default, extra)
        for extra, p, metric in ((["-p", "7.5"], 7.5, "cityblock"), (["--metric", "euclidean"], 50, "euclidean"),
                                 (["--metric", "euclidean", "-p", "3"], 3, "euclidean")):
            doc = self.run_json(*extra)
            levels = centered_levels(doc["design"], 14)
            expected = phi_p_of(levels, p, metric)
            self.assertAlmostEqual(doc["phi_p"], expected, delta=1e-9 * expected, msg=extra)
            self.assertEqual((doc["settings"]["p"], doc["settings"]["metric"]), (p, metric))
            self.assertNotAlmostEqual(doc["phi_p"], phi_p_of(levels, 50 if p != 50 else 7.5, "cityblock"),
                                      delta=1e-9 * expected)
        self.assertEqual(self.run_json("--restarts", "1")["result"]["restarts"], 1)
        doc = self.run_json("--iterations", "3", "--restarts", "5")
        self.assertEqual({key: doc["result"][key] for key in ("phi_p", "stop_reason", "iterations", "restarts")},
                         {"phi_p": doc["phi_p"], "stop_reason": "iterations", "iterations": 15, "restarts": 5})

    def test_placements_levels_and_bounds(self):
        levels = [[int(x) for x in row] for row in parse(self.ok("-n", "9", "-m", "3", "--quiet", "--levels")[0])[1]]
        self.assertEqual([sorted(column) for column in zip(*levels)], [list(range(1, 10))] * 3)
        places = {"centered": lambda k: (k - 0.5) / 9, "grid": lambda k: (k - 1) / 8}
        for placement, place in places.items():
            values = self.design("-n", "9", "-m", "3", "--placement", placement)[1]
            self.assertEqual(values, [[place(k) for k in row] for row in levels], placement)
            lv = parse(self.ok("-n", "9", "-m", "3", "--quiet", "--levels", "--placement", placement)[0])[1]
            self.assertEqual([[int(x) for x in row] for row in lv], levels)
            scaled = self.design("-n", "9", "-m", "3", "--placement", placement, "--bounds=-1:3")[1]
            for row, value_row in zip(scaled, values):
                for y, x in zip(row, value_row):
                    self.assertAlmostEqual(y, -1 + 4 * x, delta=1e-12)
        jittered = self.design("-n", "9", "-m", "3", "--placement", "jittered")[1]
        self.assertEqual(jittered, self.design("-n", "9", "-m", "3", "--placement", "jittered")[1])
        for row, level_row in zip(jittered, levels):
            for x, k in zip(row, level_row):
                self.assertTrue((k - 1) / 9 <= x < k / 9, (x, k))
        self.assertNotEqual(jittered, self.design("-n", "9", "-m", "3")[1])

    def test_time_budget(self):
        doc = self.run_json("--time-budget", "0.2")
        self.assertEqual((doc["settings"]["time_budget"], doc["settings"]["iterations"]), (0.2, 0))
        self.assertEqual(doc["result"]["stop_reason"], "time budget")
        self.assertCentered(doc["design"], 14, 3)
        _, err = self.ok("-n", "14", "-m", "3", "--time-budget", "0.1")
        self.assertRegex(err.splitlines()[-1], SUMMARY)
        self.assertTrue(err.endswith("stopped by: time budget\n"), err)
        # Iterations given: they end the run long before the budget.
        doc = self.run_json("--time-budget", "1e5", "--iterations", "4")
        self.assertEqual((doc["settings"]["time_budget"], doc["settings"]["iterations"]), (1e5, 4))
        self.assertEqual((doc["result"]["stop_reason"], doc["result"]["iterations"]), ("iterations", 8))

    def test_json_holds_every_setting_that_remakes_the_design(self):
        args = ["-n", "11", "-m", "4", "--seed", "31", "--restarts", "3", "--iterations", "17", "--metric",
                "euclidean", "--criterion", "maximin", "-p", "12.5", "--placement", "jittered",
                "--bounds=-2:2,0:1,5:6,1e3:2e3", "-j", "1"]
        doc = json.loads(self.ok(*args, "--quiet", "--format", "json")[0])
        self.assertEqual((doc["n"], doc["m"], doc["seed"], doc["bounds"]),
                         (11, 4, 31, [[-2, 2], [0, 1], [5, 6], [1000, 2000]]))
        settings = doc["settings"]
        self.assertEqual(settings, {"optimised": True, "classic": False, "restarts": 3, "iterations": 17,
                                    "time_budget": None, "metric": "euclidean", "criterion": "maximin",
                                    "start": "auto", "p": 12.5, "placement": "jittered", "threads": 1})
        again = ["-n", str(doc["n"]), "-m", str(doc["m"]), "--seed", str(doc["seed"]),
                 "--bounds=" + ",".join("%r:%r" % tuple(pair) for pair in doc["bounds"])]
        for key in ("restarts", "iterations", "metric", "criterion", "start", "placement"):
            again += ["--" + key, str(settings[key])]
        again += ["-p", repr(settings["p"])]
        self.assertEqual(json.loads(self.ok(*again, "--quiet", "--format", "json")[0])["design"], doc["design"])
        self.assertEqual(doc["result"]["restarts"], 3)
        self.assertEqual(doc["result"]["iterations"], 51)
        self.assertGreaterEqual(doc["result"]["pairs_at_smallest"], 1)

    def test_summary_line_and_quiet(self):
        out, err = self.ok("-n", "12", "-m", "3", "--format", "json", "--metrics")
        doc = json.loads(out)
        lines = err.splitlines()
        self.assertEqual(len(lines), 5, err)
        self.assertNotIn("\r", err)  # no live line when standard error is not a terminal
        match = SUMMARY.match(lines[0])
        self.assertTrue(match, lines[0])
        self.assertEqual((float(match.group(1)), int(match.group(2)), int(match.group(3)), match.group(4)),
                         (doc["phi_p"], 2, 800, "iterations"))
        self.assertEqual(lines[1], "phi_p: " + repr(doc["phi_p"]))
        self.assertEqual(self.ok("-n", "12", "-m", "3", "--format", "json", "-q")[1], "")
        self.assertEqual(self.ok("-n", "12", "-m", "3", "--format", "json", "--metrics", "--quiet")[1],
                         "phi_p: " + repr(doc["phi_p"]) + "\n" + "\n".join(lines[2:]) + "\n")

    def test_live_line_on_a_terminal(self):
        master, slave = pty.openpty()
        try:
            proc = subprocess.Popen([OLHS, "-n", "12", "-m", "3", "--restarts", "3", "-o", "d.csv"], cwd=self.dir,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=slave)
            os.close(slave)
            slave = None
            seen = b""
            while True:
                try:
                    chunk = os.read(master, 4096)
                except OSError:  # the terminal's other side closed
                    break
                if not chunk:
                    break
                seen += chunk
            self.assertEqual(proc.wait(timeout=120), 0)
        finally:
            os.close(master)
            if slave is not None:
                os.close(slave)
        text = seen.decode()
        self.assertTrue(text.startswith("\rolhs: restarts 0/3 done, best phi_p "), repr(text))
        self.assertIn("\rolhs: restarts 3/3 done, best phi_p ", text)
        self.assertNotIn(" left", text)  # no budget, no time left
        # The line is wiped before the summary, which ends the output on a line of its own.
        last = text.rstrip("\r\n").split("\r")[-1]
        self.assertRegex(last, SUMMARY)
        self.assertTrue(text.split("\r")[-3].strip() == "", repr(text[-300:]))
        self.assertEqual(self.files(), ["d.csv"])


class Classic(CommandTest):
    def test_classic_is_the_entry_points_design(self):
        with open(os.path.join(DATA, "classic_n10_m3_seed5.csv")) as f:
            expected = f.read()
        self.assertEqual(self.ok("-n", "10", "-m", "3", "--seed", "5", "--classic", "--quiet")[0], expected)
        out, err = self.ok("-n", "10", "-m", "3", "--seed", "5", "--classic")
        self.assertEqual(out, expected)
        self.assertTrue(err.startswith("Iteration #: 000") and "phi_p" not in err, err)
        doc = json.loads(self.ok("-n", "10", "-m", "3", "--seed", "5", "--classic", "--quiet", "--format",
                                 "json")[0])
        self.assertEqual(doc["settings"]["classic"], True)
        self.assertEqual(doc["result"]["stop_reason"],
                         "more than 100 iterations passed without improvement (--stall-iterations)")
        self.assertEqual(self.ok("-n", "10", "-m", "3", "--random", "--classic", "--quiet")[0],
                         self.ok("-n", "10", "-m", "3", "--random", "--quiet")[0])


class Metrics(CommandTest):
    KEYS = ["max_abs_correlation", "min_city_block_distance", "min_euclidean_distance", "phi_p"]

    def metrics(self, err):
        got = dict(line.split(": ", 1) for line in err.splitlines()[-4:])
        self.assertEqual(sorted(got), self.KEYS)
        return got

    def test_metrics_of_the_printed_design(self):
        out, err = self.ok("-n", "12", "-m", "3", "--classic", "--metrics", "--format", "json")
        # On standard error after the progress lines, and the same in the document.
        self.assertTrue(err.startswith("Iteration #: 000") and
                        all(line.startswith("Iteration #: ") for line in err.splitlines()[:-5]), err)
        self.assertTrue(err.splitlines()[-5].startswith("olhs: the search stopped after "), err)
        doc, got = json.loads(out), self.metrics(err)
        self.assertEqual(doc["metrics"], {key: json.loads(value) for key, value in got.items()})
        self.assertEqual(doc["phi_p"], doc["metrics"]["phi_p"])
        levels = levels_of(doc["design"], 12)
        pairs = [(a, b) for i, a in enumerate(levels) for b in levels[i + 1:]]
        columns = list(zip(*levels))
        expected = [max(abs(correlation(columns[i], columns[j])) for i in range(3) for j in range(i + 1, 3)),
                    min(sum(abs(x - y) for x, y in zip(a, b)) for a, b in pairs),
                    min(math.dist(a, b) for a, b in pairs), phi_p(levels)]
        for key, value in zip(self.KEYS, expected):
            self.assertAlmostEqual(json.loads(got[key]), value, delta=1e-12, msg=key)
        self.assertIsInstance(json.loads(got["min_city_block_distance"]), int)

    def test_phi_p_is_the_library_criterion_to_the_bit(self):
        for n, m, seed in [(2, 1, "1"), (9, 2, "5"), (40, 3, "default"), (120, 7, "99"), (300, 2, "3")]:
            with self.subTest(n=n, m=m, seed=seed):
                proc = subprocess.run([HELPER, str(n), str(m), "0", seed, self.path("ref.csv")], check=True,
                                      stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, timeout=120)
                seed_args = [] if seed == "default" else ["--seed", seed]
                out, err = self.ok("-n", str(n), "-m", str(m), "--random", "--format", "json", "--metrics",
                                   *seed_args)
                self.assertEqual(json.loads(out)["phi_p"], float(proc.stdout))
                self.assertEqual(self.metrics(err)["phi_p"], proc.stdout.decode().strip())

    def test_metrics_of_a_single_variable(self):
        got = self.metrics(self.ok("-n", "4", "-m", "1", "--random", "--metrics")[1])
        self.assertEqual((got["min_city_block_distance"], float(got["min_euclidean_distance"])), ("1", 1.0))
        self.assertIn("none", got["max_abs_correlation"])
        self.assertAlmostEqual(float(got["phi_p"]), (3 + 2 * 2.0 ** -50 + 3.0 ** -50) ** (1 / 50), delta=1e-12)


class OutputFile(CommandTest):
    def test_file_holds_what_standard_output_would_and_replaces_the_old_one(self):
        expected = self.ok("-n", "12", "-m", "3", "--quiet")[0]
        self.write("design.csv", "old contents that are longer than the design\n" * 100)
        os.chmod(self.path("design.csv"), 0o640)
        self.ok("-n", "12", "-m", "3", "--quiet", "-o", "design.csv")
        self.assertEqual(self.read("design.csv"), expected)
        self.assertEqual(os.stat(self.path("design.csv")).st_mode & 0o777, 0o640)
        self.assertEqual(self.files(), ["design.csv"])
        # Through a symbolic link the file it points to is replaced.
        os.symlink("design.csv", self.path("link.csv"))
        self.ok("-n", "4", "-m", "2", "--random", "-o", "link.csv")
        self.assertTrue(os.path.islink(self.path("link.csv")))
        self.assertTrue(self.read("design.csv").startswith("x1,x2\n"))

    def test_special_files_are_written_in_place(self):
        expected = self.ok("-n", "6", "-m", "2", "--quiet")[0]
        dev = set(os.listdir("/dev"))
        os.symlink("/dev/null", self.path("null-link"))
        for target in ("/dev/null", "null-link"):
            self.assertEqual(self.ok("-n", "6", "-m", "2", "--quiet", "-o", target), ("", ""))
        self.assertTrue(os.path.islink(self.path("null-link")))
        self.assertEqual(os.readlink(self.path("null-link")), "/dev/null")
        # A device that refuses the text: a write error (status 1), in one line.
        status, out, err = self.olhs("-n", "6", "-m", "2", "--quiet", "-o", "/dev/full")
        self.assertEqual((status, out, err.count("\n")), (1, "", 1), err)
        self.assertIn("olhs: -o: writing '/dev/full' failed", err)
        self.assertEqual(set(os.listdir("/dev")), dev, "temporary files left in /dev")
        # A FIFO: its reader gets the design, and the FIFO stays. The reader opens first,
        # without blocking, so the command's open does not wait; a small design fits the
        # FIFO's buffer.
        os.mkfifo(self.path("pipe"))
        reader = os.open(self.path("pipe"), os.O_RDONLY | os.O_NONBLOCK)
        try:
            self.assertEqual(self.ok("-n", "6", "-m", "2", "--quiet", "-o", "pipe"), ("", ""))
            received = os.read(reader, 1 << 16).decode()
        finally:
            os.close(reader)
        self.assertEqual(received, expected)
        self.assertTrue(stat.S_ISFIFO(os.lstat(self.path("pipe")).st_mode))
        # A socket cannot be opened as a file: refused, and left as it is.
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(self.path("sock"))
            self.assertRefused(["-n", "6", "-m", "2", "-o", "sock"], "olhs: -o: cannot open 'sock'")
            self.assertTrue(stat.S_ISSOCK(os.lstat(self.path("sock")).st_mode))
        self.assertEqual(self.files(), ["null-link", "pipe", "sock"])
        # "-" is standard output, not a file of that name.
        self.assertEqual(self.ok("-n", "6", "-m", "2", "--quiet", "-o", "-"), (expected, ""))
        self.assertEqual(self.files(), ["null-link", "pipe", "sock"])

    def test_failed_run_leaves_the_existing_file_alone(self):
        self.write("design.csv", "precious\n")
        before = os.stat(self.path("design.csv")).st_mtime_ns
        for bad in (["-n", "1", "-m", "2"], ["-n", "5", "-m", "2", "--classic", "--report", "missing/dir/r_"],
                    ["-n", "5", "-m", "2", "--plot", "missing/p.svg"], ["-n", "2000000000", "-m", "2"]):
            self.assertRefused(bad + ["-o", "design.csv"])
            self.assertEqual(self.read("design.csv"), "precious\n")
            self.assertEqual(os.stat(self.path("design.csv")).st_mtime_ns, before)
            self.assertEqual(self.files(), ["design.csv"])

    def test_unusable_paths(self):
        os.mkdir(self.path("adir"))
        for path, what in (("missing/d.csv", "missing/d.csv"), ("adir", "directory"), ("adir/", "directory")):
            self.assertRefused(["-n", "5", "-m", "2", "-o", path], "olhs: -o: ", what)
        self.assertEqual(self.files(), ["adir"])
        self.assertEqual(os.listdir(self.path("adir")), [])

    def test_interrupted_run_leaves_no_trace(self):
        # SIGPIPE stands for a reader of standard output that went away (`olhs ... | head`).
        for sig in (signal.SIGTERM, signal.SIGPIPE):
            with self.subTest(signal=sig.name):
                self.write("design.csv", "precious\n")
                # A search that never stalls nor reaches its limit.
                proc = subprocess.Popen([OLHS, "-n", "30", "-m", "8", "-o", "design.csv", "--classic", "--max-iterations",
                                         "2000000000", "--stall-iterations", "2000000000", "--convergence", "0"],
                                        cwd=self.dir, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                        stdin=subprocess.DEVNULL)
                try:
                    # The first progress line comes once the search runs and the temporary file exists.
                    first = proc.stderr.readline().decode()
                    self.assertTrue(first.startswith("Iteration #: 000"), first)
                    self.assertEqual(len(self.files()), 2, self.files())
                    proc.send_signal(sig)
                    proc.wait(timeout=60)
                finally:
                    if proc.poll() is None:
                        proc.kill()
                        proc.wait()
                    proc.stderr.close()
                self.assertEqual(proc.returncode, -sig)
                self.assertEqual(self.read("design.csv"), "precious\n")
                self.assertEqual(self.files(), ["design.csv"])


class Report(CommandTest):
    def test_report_files_with_prefix_and_limits(self):
        os.mkdir(self.path("reports"))
        out = self.ok("-n", "12", "-m", "3", "--quiet", "--classic", "--report", "reports/run1_")[0]
        self.assertEqual(sorted(os.listdir(self.path("reports"))),
                         sorted("run1_" + name for name in ["Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt",
                                                            "Optimal_1.rpt", "FullReport.rpt"]))
        lines = self.read("reports/run1_FullReport.rpt").splitlines()
        self.assertEqual(lines[:2], ["=" * 80, "ENHANCED STOCHASTIC EVOLUTIONARY ALGORITHM"])
        self.assertIn("Maximum number of iterations: 2000", lines)
        self.assertIn("Maximum number of iterations without improvements: 100", lines)
        # The optimal design of the report is the printed one, which is the entry point's.
        table = [[round(float(x)) for x in line.split()] for line in self.read("reports/run1_Optimal_0.rpt")
                 .splitlines() if line.strip() and not line.startswith("Optim")]
        self.assertEqual(table, levels_of(floats(parse(out)[1]), 12))
        self.assertEqual(out, self.reference(12, 3, 1, "default"))
        self.ok("-n", "8", "-m", "2", "--quiet", "--classic", "--report", "r_", "--stall-iterations", "4")
        self.assertIn("Maximum number of iterations without improvements: 4\n", self.read("r_FullReport.rpt"))


class Plot(CommandTest):
    def check_plot(self, name, levels, variables=None):
        """A scatter matrix of the variables (0-based, all by default) in that order: one panel
        per ordered pair of them, one point per design point."""
        n, m = len(levels), len(levels[0])
        variables = list(range(m)) if variables is None else variables
        root = ET.parse(self.path(name)).getroot()
        self.assertEqual(root.tag, SVG + "svg")
        self.assertTrue({"width", "height", "viewBox"} <= set(root.attrib))
        labels = [g.find(SVG + "text").text for g in root.iter(SVG + "g") if g.get("class") == "label"]
        self.assertEqual(labels, ["x%d" % (j + 1) for j in variables])
        panels = [g for g in root.iter(SVG + "g") if g.get("class") == "panel"]
        seen = set()
        for panel in panels:
            title = panel.find(SVG + "title").text.split()  # "xA across, xB up"
            across, up = int(title[0][1:]) - 1, int(title[2][1:]) - 1
            seen.add((across, up))
            circles = [(float(c.get("cx")), float(c.get("cy"))) for c in panel.findall(SVG + "circle")]
            self.assertEqual(len(circles), n)
            # n evenly spaced positions each way, level 1 at the left and at the bottom.
            xs, ys = sorted({x for x, _ in circles}), sorted({y for _, y in circles}, reverse=True)
            self.assertEqual((len(xs), len(ys)), (n, n))
            for k in range(n):
                self.assertAlmostEqual(xs[k], xs[0] + k * (xs[-1] - xs[0]) / (n - 1), delta=0.002)
            column, row = {x: k + 1 for k, x in enumerate(xs)}, {y: k + 1 for k, y in enumerate(ys)}
            self.assertEqual(sorted((column[x], row[y]) for x, y in circles),
                             sorted((row[across], row[up]) for row in levels))
        self.assertEqual(len(panels), len(variables) * (len(variables) - 1))
        self.assertEqual(seen, {(a, b) for a in variables for b in variables if a != b})
        return root

    def check_axes(self, root, scales):
        """Every shown variable's axes carry a few ticks in its printed scale (scales[j] = (LO, HI)
        of variable j), at the places the points of those values take; returns the labels."""
        def shift(panel):
            a, b = panel.get("transform")[len("translate("):-1].split()
            return float(a), float(b)

        panels = {}
        for panel in root.iter(SVG + "g"):
            if panel.get("class") == "panel":
                title = panel.find(SVG + "title").text.split()
                dx, dy = shift(panel)
                circles = [(dx + float(c.get("cx")), dy + float(c.get("cy"))) for c in panel.findall(SVG + "circle")]
                panels.setdefault(("x", int(title[0][1:]) - 1), [x for x, _ in circles])
                panels.setdefault(("y", int(title[2][1:]) - 1), [-y for _, y in circles])  # up is -y
        found = {}
        for axis in root.iter(SVG + "g"):
            if axis.get("class") not in ("x-axis", "y-axis"):
                continue
            key = (axis.get("class")[0], int(axis.find(SVG + "title").text[1:]) - 1)
            texts = axis.findall(SVG + "text")
            labels = [t.text for t in texts]
            found[key] = labels
            lo, hi = scales[key[1]]
            values = [float(label) for label in labels]
            self.assertTrue(2 <= len(labels) <= 6, (key, labels))
            self.assertTrue(all(is_shortest(label) for label in labels), labels)
            self.assertEqual(values, sorted(values))
            self.assertTrue(lo <= values[0] and values[-1] <= hi, (key, labels, lo, hi))
            # Level 1 (LO) and level n (HI) lie at the extreme points of the panels.
            first, last = min(panels[key]), max(panels[key])
            for text, value in zip(texts, values):
                place = float(text.get("x")) if key[0] == "x" else -float(text.get("y"))
                along = (value / 2 - lo / 2) / (hi / 2 - lo / 2)  # halves: hi - lo may overflow
                self.assertAlmostEqual(place, first + along * (last - first), delta=0.01,
                                       msg=(key, text.text))
        self.assertEqual(set(found), {(a, j) for a in "xy" for j in scales})
        return found

    def test_axes_show_the_printed_scale(self):
        self.ok("-n", "20", "-m", "2", "--quiet", "--classic", "--plot", "p.svg")
        labels = self.check_axes(ET.parse(self.path("p.svg")).getroot(), {0: (0, 1), 1: (0, 1)})
        self.assertEqual(labels[("x", 0)], ["0", "0.2", "0.4", "0.6", "0.8", "1"])
        self.assertEqual(labels[("x", 0)], labels[("y", 1)])
        self.ok("-n", "20", "-m", "3", "--quiet", "--classic", "--levels", "--plot", "p.svg")
        labels = self.check_axes(ET.parse(self.path("p.svg")).getroot(), {j: (1, 20) for j in range(3)})
        self.assertTrue(all(label.isdigit() for axis in labels.values() for label in axis), labels)
        self.ok("-n", "3", "-m", "2", "--quiet", "--classic", "--levels", "--plot", "p.svg")
        labels = self.check_axes(ET.parse(self.path("p.svg")).getroot(), {j: (1, 3) for j in range(2)})
        self.assertEqual(labels[("y", 0)], ["1", "2", "3"])
        bounds = [(-1, 1), (100, 1e3), (0, 0.1), (0.001, 0.0013), (12345, 12346), (-1.7e308, 1.7e308),
                  (1, 1.0000000000000002), (3e-300, 7e-300)]
        text = ",".join("%r:%r" % pair for pair in bounds)
        labels = {}
        for chosen in ("1,2,3,4", "5,6,7,8"):
            self.ok("-n", "30", "-m", "8", "--quiet", "--classic", "--bounds=" + text, "--plot", "p.svg", "--plot-variables",
                    chosen)
            shown = [int(j) - 1 for j in chosen.split(",")]
            labels.update(self.check_axes(ET.parse(self.path("p.svg")).getroot(), {j: bounds[j] for j in shown}))
        self.assertEqual(labels[("x", 0)], ["-1", "-0.5", "0", "0.5", "1"])
        self.assertEqual(labels[("x", 1)], ["200", "400", "600", "800", "1000"])
        self.assertEqual(labels[("y", 2)], ["0", "0.02", "0.04", "0.06", "0.08", "0.1"])
        self.assertEqual(labels[("x", 3)], ["0.001", "0.0011", "0.0012", "0.0013"])
        self.assertEqual(labels[("x", 7)], ["3e-300", "4e-300", "5e-300", "6e-300", "7e-300"])
        self.assertEqual(labels[("x", 5)], ["-1e+308", "0", "1e+308"])
        # Without two round values that fit between them, the ends.
        self.assertEqual(labels[("x", 6)], ["1", "1.0000000000000002"])
        # Round values: few digits, evenly spaced.
        for j in (0, 1, 2, 3, 4, 7):
            values = [float(label) for label in labels[("x", j)]]
            self.assertTrue(all(significant_digits(label) <= 6 for label in labels[("x", j)]), labels[("x", j)])
            self.assertTrue(all(math.isclose(b - a, values[1] - values[0]) for a, b in zip(values, values[1:])))
        # Only the chosen variables, each with its own scale.
        self.ok("-n", "30", "-m", "8", "--quiet", "--classic", "--bounds=" + text, "--plot", "p.svg", "--plot-variables", "5,1")
        labels = self.check_axes(ET.parse(self.path("p.svg")).getroot(), {4: bounds[4], 0: bounds[0]})
        self.assertEqual(labels[("y", 0)], ["-1", "-0.5", "0", "0.5", "1"])

    def test_axes_follow_the_placement(self):
        self.ok("-n", "20", "-m", "2", "--quiet", "--plot", "p.svg")
        self.check_axes(ET.parse(self.path("p.svg")).getroot(), {j: (0.025, 0.975) for j in range(2)})
        self.ok("-n", "20", "-m", "2", "--quiet", "--bounds", "0:20", "--plot", "p.svg")
        labels = self.check_axes(ET.parse(self.path("p.svg")).getroot(), {j: (0.5, 19.5) for j in range(2)})
        self.assertEqual(labels[("x", 0)][0], "5")
        self.ok("-n", "20", "-m", "2", "--quiet", "--placement", "grid", "--plot", "p.svg")
        self.check_axes(ET.parse(self.path("p.svg")).getroot(), {j: (0, 1) for j in range(2)})

    def test_scatter_matrix(self):
        for n, m in [(20, 4), (5, 2)]:
            out = self.ok("-n", str(n), "-m", str(m), "--quiet", "--levels", "--plot", "plot.svg")[0]
            self.check_plot("plot.svg", [[int(x) for x in row] for row in parse(out)[1]])
        os.remove(self.path("plot.svg"))
        self.ok("-n", "7", "-m", "3", "--random", "--levels", "-o", "d.csv", "--plot", "p.svg")
        self.assertEqual(self.files(), ["d.csv", "p.svg"])
        self.check_plot("p.svg", [[int(x) for x in row] for row in parse(self.read("d.csv"))[1]])
        # The extension names the format, in either case.
        self.ok("-n", "5", "-m", "2", "--random", "--levels", "--plot", "P.SVG")
        self.assertEqual(ET.parse(self.path("P.SVG")).getroot().tag, SVG + "svg")

    def test_plot_variables_pick_the_matrix(self):
        out = self.ok("-n", "9", "-m", "5", "--quiet", "--levels", "--plot", "p.svg", "--plot-variables", "4,2,5")[0]
        self.check_plot("p.svg", [[int(x) for x in row] for row in parse(out)[1]], [3, 1, 4])
        self.assertEqual(len(parse(out)[0]), 5)  # the design keeps every variable

    def test_pictures_too_large_to_open_are_refused(self):
        self.write("p.svg", "precious\n")
        # 10 variables make 90 panels of 3000 points: 270000. Eight variables fit (168000), nine do not.
        status, _, err = self.olhs("-n", "3000", "-m", "10", "--random", "--plot", "p.svg")
        self.assertEqual(status, 2, err)
        self.assertTrue(err.startswith("olhs: --plot: ") and err.count("\n") == 1, err)
        self.assertIn("270000", err)
        self.assertTrue(err.endswith(" --plot-variables 1,2,3,4,5,6,7,8\n"), err)
        self.assertEqual((self.read("p.svg"), self.files()), ("precious\n", ["p.svg"]))
        # A choice that is too large is cut down in the order given.
        self.assertRefused(["-n", "3000", "-m", "10", "--random", "--plot", "p.svg", "--plot-variables",
                            "10,9,8,7,6,5,4,3,2"], "olhs: --plot-variables: ", "216000",
                           "--plot-variables 10,9,8,7,6,5,4,3\n")
        out = self.ok("-n", "3000", "-m", "10", "--random", "--levels", "--plot", "p.svg", "--plot-variables",
                      "10,9,8,7,6,5,4,3")[0]
        self.check_plot("p.svg", [[int(x) for x in row] for row in parse(out)[1]], list(range(9, 1, -1)))
        # Exactly at the limit is fine; one point more and not even a pair fits.
        self.ok("-n", "100000", "-m", "2", "--random", "--plot", "p.svg", "-o", "d.csv")
        self.write("p.svg", "precious\n")
        self.assertRefused(["-n", "100001", "-m", "3", "--random", "--plot", "p.svg", "--plot-variables", "1,3"],
                           "olhs: --plot-variables: the design is too large to plot", "200002")
        self.assertRefused(["-n", "100001", "-m", "2", "--random", "--plot", "p.svg"],
                           "olhs: --plot: the design is too large to plot")
        self.assertEqual(self.read("p.svg"), "precious\n")
        self.assertEqual(self.files(), ["d.csv", "p.svg"])

    def test_other_picture_formats_are_refused_and_the_file_kept(self):
        for name in ("picture.png", "picture"):
            self.write(name, "precious\n")
            self.assertRefused(["-n", "5", "-m", "2", "--plot", name], "olhs: --plot: ", ".svg", name)
            self.assertEqual(self.read(name), "precious\n")
        self.assertEqual(self.files(), ["picture", "picture.png"])


class BadInput(CommandTest):
    # (arguments, option the message must name, text it must contain)
    CASES = [
        (["-m", "3"], "-n", "required"),
        (["-n", "5"], "-m", "required"),
        (["-n", "1", "-m", "3"], "-n", "from 2 to 2147483647"),
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
        (["-n", "5", "-m", "2", "--classic", "--max-iterations", "0"], "--max-iterations", "from 1"),
        (["-n", "5", "-m", "2", "--classic", "--max-iterations", "5", "--min-iterations", "5"], "--max-iterations",
         "greater than"),
        (["-n", "5", "-m", "2", "--classic", "--min-iterations", "3000"], "--min-iterations", "greater than"),
        (["-n", "5", "-m", "2", "--classic", "--min-iterations", "-1"], "--min-iterations", "from 0"),
        (["-n", "5", "-m", "2", "--classic", "--stall-iterations", "0"], "--stall-iterations", "from 1"),
        (["-n", "5", "-m", "2", "--classic", "--time-limit", "-1"], "--time-limit", "from 0"),
        (["-n", "5", "-m", "2", "--classic", "--time-limit", "inf"], "--time-limit", "'inf'"),
        (["-n", "5", "-m", "2", "--classic", "--convergence", "1.5"], "--convergence", "from 0 to 1"),
        (["-n", "5", "-m", "2", "--classic", "--convergence", "nan"], "--convergence", "from 0 to 1"),
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
        (["-n", "5", "-m", "2", "--max-iterations", "50"], "--max-iterations", "needs --classic"),
        (["-n", "5", "-m", "2", "--stall-iterations", "5"], "--stall-iterations", "needs --classic"),
        (["-n", "5", "-m", "2", "--min-iterations", "5"], "--min-iterations", "needs --classic"),
        (["-n", "5", "-m", "2", "--time-limit", "5"], "--time-limit", "needs --classic"),
        (["-n", "5", "-m", "2", "--convergence", "0.1"], "--convergence", "needs --classic"),
        (["-n", "5", "-m", "2", "--report", "r_"], "--report", "needs --classic"),
        (["-n", "5", "-m", "2", "--classic", "-j", "2"], "--threads", "--classic"),
        (["-n", "5", "-m", "2", "--classic", "--restarts", "2"], "--restarts", "--classic"),
        (["-n", "5", "-m", "2", "--classic", "--iterations", "2"], "--iterations", "--classic"),
        (["-n", "5", "-m", "2", "--classic", "--time-budget", "2"], "--time-budget", "--classic"),
        (["-n", "5", "-m", "2", "--classic", "--metric", "cityblock"], "--metric", "--classic"),
        (["-n", "5", "-m", "2", "--classic", "-p", "50"], "-p", "--classic"),
        (["-n", "5", "-m", "2", "--classic", "--placement", "grid"], "--placement", "--classic"),
        (["-n", "5", "-m", "2", "--random", "--restarts", "2"], "--restarts", "--random"),
        (["-n", "5", "-m", "2", "-j", "-1"], "--threads", "from 0 to 1024"),
        (["-n", "5", "-m", "2", "--threads", "1025"], "--threads", "from 0 to 1024"),
        (["-n", "5", "-m", "2", "--restarts", "0"], "--restarts", "from 1 to 2147483647"),
        (["-n", "5", "-m", "2", "--iterations", "-1"], "--iterations", "from 0"),
        (["-n", "5", "-m", "2", "--iterations", "0"], "--iterations", "needs --time-budget"),
        (["-n", "5", "-m", "2", "--time-budget", "0"], "--time-budget", "above 0"),
        (["-n", "5", "-m", "2", "--time-budget", "-1"], "--time-budget", "from 0 to 1e+09"),
        (["-n", "5", "-m", "2", "--time-budget", "2e9"], "--time-budget", "1e+09"),
        (["-n", "5", "-m", "2", "--time-budget", "inf"], "--time-budget", "'inf'"),
        (["-n", "5", "-m", "2", "-p", "0.5"], "-p", "from 1 to 200"),
        (["-n", "5", "-m", "2", "-p", "201"], "-p", "from 1 to 200"),
        (["-n", "5", "-m", "2", "--metric", "manhattan"], "--metric", "cityblock or euclidean"),
        (["-n", "5", "-m", "2", "--placement", "middle"], "--placement", "centered, grid or jittered"),
        # Refused by the library, in the command's words.
        (["-n", "300", "-m", "300", "--metric", "euclidean"], "olhs: --metric: a search with euclidean takes designs", ""),
        (["-n", "5", "-m", "2", "--random", "--report", "r_"], "--report", "--random"),
        (["-n", "5", "-m", "2", "-o", ""], "-o", "file name"),
        (["-n", "5", "-m", "2", "-o", "no/such/dir/d.csv"], "-o", "writable directory"),
        (["-n", "5", "-m", "2", "--classic", "--report", "no/such/dir/r_"], "--report", "writable directory"),
        (["-n", "5", "-m", "2", "--plot", "no/such/dir/p.svg"], "--plot", "writable directory"),
        (["-n", "5", "-m", "2", "-o", "same.svg", "--plot", "same.svg"], "--plot", "same file"),
        (["-n", "5", "-m", "1", "--random", "--plot", "p.svg"], "--plot", "at least 2"),
        (["-n", "5", "-m", "3", "--plot-variables", "1,2"], "--plot-variables", "--plot was not given"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "1,4"], "--plot-variables",
         "from 1 to 3 separated by commas (e.g. 1,2), got '4' in '1,4'"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "0,1"], "--plot-variables", "got '0'"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "1,,2"], "--plot-variables", "got ''"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "1,x"], "--plot-variables", "got 'x'"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "1.5,2"], "--plot-variables", "got '1.5'"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "2,1,2"], "--plot-variables",
         "variable 2 is given twice"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", "3"], "--plot-variables", "at least 2"),
        (["-n", "5", "-m", "3", "--plot", "p.svg", "--plot-variables", ""], "--plot-variables", "got '' in ''"),
        (["-n", "5", "-m", "2", "--plot", "p.png"], "--plot", "ending in .svg (SVG, the one format supported)"),
        (["-n", "5", "-m", "2", "--plot", "plot"], "--plot", "ending in .svg"),
        (["-n", "5", "-m", "2", "--plot", "p.svg.txt"], "--plot", "got 'p.svg.txt'"),
        (["-n", "5", "-m", "2", "--plot", "d.svg/p"], "--plot", "ending in .svg"),
        (["-n", "5", "-m", "2", "--plot", ".svg/"], "--plot", "ending in .svg"),
        (["-n", "5", "-m", "2", "--bogus"], "olhs: --bogus: unknown option (see olhs --help)", ""),
        (["-n", "5", "-m", "2", "stray"], "olhs: 'stray': unexpected argument", "(see olhs --help)"),
        (["-n", "5", "-m", "2", "stray", "other"], ": unexpected argument", "(see olhs --help)"),
        (["-n", "5", "-m", "2", "--seed"], "olhs: --seed: expected a value (S) after it", ""),
        (["-n", "5", "-n", "6", "-m", "2"], "olhs: --points: given 2 times; give it once", ""),
        (["-n", "2000000000", "-m", "2"], "-n", "2000000000 points"),
        (["-n", "200000", "-m", "2", "--start", "random"], "-n", "200000 points"),
        (["-n", "2147483647", "-m", "2147483647", "--random"], "-n: ", "2147483647 points in 2147483647 variables"),
    ]

    def test_every_bad_input_is_one_line_and_status_2(self):
        for args, option, text in self.CASES:
            with self.subTest(args=args):
                self.assertRefused(args, option, text)
                self.assertEqual(self.files(), [], "a refused run left files behind")


class Memory(CommandTest):
    @unittest.skipIf(os.environ.get("OLHS_CLI_SANITIZED"), "sanitizer runtimes cannot run under an address-space limit")
    def test_allocation_failure_names_the_size(self):
        # Within the machine's memory but not within a 256 MiB address space: the rows
        # alone need about 0.5 GiB, so the library's allocation fails.
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (256 << 20, 256 << 20))

        self.write("design.csv", "precious\n")
        status, out, err = self.olhs("-n", "1000000", "-m", "64", "--random", "-o", "design.csv",
                                     preexec_fn=limit, timeout=60)
        self.assertEqual((status, out, err.count("\n")), (2, "", 1), err)
        self.assertIn("-n: not enough memory", err)
        self.assertIn("1000000 points in 64 variables", err)
        self.assertEqual(self.read("design.csv"), "precious\n")
        self.assertEqual(self.files(), ["design.csv"])


    @unittest.skipIf(os.environ.get("OLHS_CLI_SANITIZED"), "sanitizer runtimes cannot run under an address-space limit")
    def test_metrics_of_a_large_design_fit_in_little_memory(self):
        # n by n distances would take 3 GiB; the measures need O(n m).
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (512 << 20, 512 << 20))

        status, out, err = self.olhs("-n", "20000", "-m", "5", "--random", "--format", "json", "--metrics",
                                     preexec_fn=limit, timeout=120)
        self.assertEqual(status, 0, err)
        doc = json.loads(out)
        self.assertEqual(len(doc["design"]), 20000)
        self.assertEqual(doc["phi_p"], doc["metrics"]["phi_p"])
        self.assertGreater(doc["metrics"]["min_city_block_distance"], 0)


class HelpAndVersion(CommandTest):
    def test_help_and_version(self):
        status, out, err = self.olhs("--help")
        self.assertEqual((status, err), (0, ""))
        for option in ("-n --points -m --variables --random --seed --max-iterations --stall-iterations "
                       "--min-iterations --time-limit --convergence --bounds --levels --format -o --output --report "
                       "--metrics --plot --plot-variables --quiet --help --version --classic -j --threads --restarts "
                       "--iterations --time-budget --metric -p --placement").split():
            self.assertIn(option, out)
        flat = " ".join(out.split())  # descriptions are wrapped
        for text in ("nothing to optimise", "Default 2000", "Default 100", "Default 5", "Default 0.01", "Default csv", "20261123",
                     "0 to 18446744073709551615", "2 to 2147483647", "0 to 1.", "no limit", "no report",
                     "Default 200", "Default 2.", "Default centered", "Default cityblock", "Default 50",
                     "depends on timing", "--classic makes the design of the library's original entry point",
                     "With --classic: stop the search"):
            self.assertIn(text, flat)
        self.assertTrue(all(len(line) <= 100 for line in out.splitlines()))
        # --help wins over the other options and writes nothing.
        self.assertEqual(self.olhs("-n", "5", "-m", "2", "-h")[:2], (0, out))
        self.assertEqual(self.files(), [])
        self.assertEqual(self.olhs("--version"), (0, "olhs %s\n" % VERSION, ""))


def main():
    global OLHS, HELPER, VERSION
    if len(sys.argv) != 5:
        sys.stderr.write(__doc__)
        return 2
    OLHS, HELPER, VERSION, group = sys.argv[1:]
    suite = unittest.defaultTestLoader.loadTestsFromName(group, sys.modules[__name__])
    if suite.countTestCases() == 0:
        sys.stderr.write("no tests in group %s\n" % group)
        return 2
    return 0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
