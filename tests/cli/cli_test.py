#!/usr/bin/env python3
"""Tests of the olhs command and its subcommands for existing designs, run against the built binary.

Usage: cli_test.py OLHS ENTRY_POINT_HELPER VERSION GROUP

GROUP names one TestCase class below; CTest runs each group as a test of its own. Every
case runs the command in a fresh temporary directory, so nothing lands in the source tree.
"""

import hashlib
import json
import math
import os
import pathlib
import pty
import random
import re
import resource
import shlex
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
SUMMARY = re.compile(r"^olhs: best phi_p (\S+) from (\d+) restarts?, (\d+) iterations in \d+\.\d\d s; "
                     r"stopped by: (iterations|time budget)$")


def parse(text, separator=","):
    """Header and rows (cell texts) of CSV or TSV output."""
    assert text.endswith("\n"), "output must end with a newline"
    lines = [line.split(separator) for line in text[:-1].split("\n")]
    return lines[0], lines[1:]


def is_shortest(text):
    """The text reads back as a double that no shorter text reads back as (Python's repr)."""
    digits = [len(t.lower().split("e")[0].lstrip("-").replace(".", "").strip("0")) for t in (text, repr(float(text)))]
    return repr(float(text)) != "nan" and digits[0] == digits[1]


def floats(rows):
    return [[float(cell) for cell in row] for row in rows]


def levels_of(values, n):
    return [[round(v * (n - 1)) + 1 for v in row] for row in values]


def centered_levels(values, n):
    """Levels of values placed in the middles of their cells, (k - 0.5) / n."""
    return [[round(v * n + 0.5) for v in row] for row in values]


def phi_p(levels, p=50.0, metric="cityblock"):
    """phi_p of the levels, computed independently of the library."""
    def distance(a, b):
        return math.dist(a, b) if metric == "euclidean" else sum(abs(x - y) for x, y in zip(a, b))
    return sum(distance(a, b) ** -p for i, a in enumerate(levels) for b in levels[i + 1:]) ** (1 / p)


class CommandTest(unittest.TestCase):
    """Gives every case its own scratch directory as the working directory of the command, which
    it runs with a command line given as text (split as a shell would) and any further arguments."""

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
        return pathlib.Path(self.dir, name).read_text()

    def write(self, name, text):
        pathlib.Path(self.dir, name).write_text(text)

    def files(self):
        return sorted(os.listdir(self.dir))

    def olhs(self, line, *extra, stdout=subprocess.PIPE, timeout=120, preexec_fn=None):
        """Runs olhs; returns (status, stdout text, stderr text)."""
        proc = subprocess.run([OLHS] + shlex.split(line) + list(extra), cwd=self.dir, stdout=stdout,
                              stderr=subprocess.PIPE, timeout=timeout, preexec_fn=preexec_fn, stdin=subprocess.DEVNULL)
        return proc.returncode, (proc.stdout or b"").decode(), proc.stderr.decode()

    def ok(self, line, *extra):
        status, out, err = self.olhs(line, *extra)
        self.assertEqual(status, 0, "olhs %s %s failed: %s" % (line, " ".join(extra), err))
        return out, err

    def design(self, line, *extra):
        """The values of a CSV design printed quietly."""
        return floats(parse(self.ok(line + " --quiet", *extra)[0])[1])

    def reference(self, n, m, mode, seed):
        """The entry point's design as CSV text from the helper program, and its phi_p (mode 0)."""
        proc = subprocess.run([HELPER, str(n), str(m), str(mode), seed, self.path("ref.csv")], check=True,
                              stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, timeout=120)
        text = self.read("ref.csv")
        os.remove(self.path("ref.csv"))
        return text, proc.stdout.decode().strip()

    def assertRefused(self, line, *texts):
        """Exit status 2, nothing on standard output, one line naming the problem."""
        status, out, err = self.olhs(line)
        self.assertEqual((status, out), (2, ""), err)
        self.assertTrue(err.startswith("olhs: ") and err.endswith("\n") and err.count("\n") == 1, repr(err))
        for text in texts:
            self.assertIn(text, err)
        return err


class Formats(CommandTest):
    def test_csv_tsv_and_json_hold_the_same_design(self):
        header, rows = parse(self.ok("-n 12 -m 3 -q")[0])
        self.assertEqual(header, ["x1", "x2", "x3"])
        self.assertTrue(all(is_shortest(cell) for row in rows for cell in row), rows)
        self.assertEqual([sorted(c) for c in zip(*floats(rows))], [[(k + 0.5) / 12 for k in range(12)]] * 3)
        self.assertEqual(parse(self.ok("-n 12 -m 3 -q --format tsv")[0], "\t"), (header, rows))
        doc = json.loads(self.ok("-n 12 -m 3 -q --format json")[0])
        self.assertEqual({k: doc[k] for k in ("n", "m", "seed", "default_seed", "scale", "bounds", "variables")},
                         {"n": 12, "m": 3, "seed": 20261123, "default_seed": True, "scale": "unit",
                          "bounds": None, "variables": ["x1", "x2", "x3"]})
        self.assertEqual(doc["settings"], {"optimised": True, "classic": False, "restarts": 2, "iterations": 400,
                                           "time_budget": None, "metric": "cityblock", "criterion": "phip",
                                           "start": "auto", "p": 50, "placement": "centered", "threads": 0})
        self.assertEqual(dict(doc["result"], min_city_block_distance=0, min_euclidean_distance=0),
                         {"phi_p": doc["phi_p"], "stop_reason": "iterations", "iterations": 800, "restarts": 2,
                          "min_city_block_distance": 0, "min_euclidean_distance": 0})
        self.assertEqual(doc["design"], floats(rows))
        self.assertAlmostEqual(doc["phi_p"], phi_p(centered_levels(doc["design"], 12)), delta=1e-12 * doc["phi_p"])

    def test_json_text_keeps_its_layout_and_number_forms(self):
        rows = parse(self.ok("-n 4 -m 2 --random --bounds=0:1e15,-1.5e10:2")[0])[1]
        text = self.ok("-n 4 -m 2 --random --bounds=0:1e15,-1.5e10:2 --format json")[0]
        # Whole numbers without ".0", exponents where they are shorter, as in CSV.
        self.assertIn('  "scale": "bounds",\n  "bounds": [[0, 1e+15], [-1.5e+10, 2]],\n', text)
        self.assertEqual(text.split('  "design": [\n')[1],
                         ",\n".join("    [%s]" % ", ".join(row) for row in rows) + "\n  ]\n}\n")
        self.assertTrue(text.startswith('{\n  "n": 4,\n  "m": 2,\n  "seed": 20261123,\n  "default_seed": true,\n'
                                        '  "settings": {\n    "optimised": false\n  },\n  "phi_p": '), text)

    def test_json_records_seed_limits_and_levels(self):
        doc = json.loads(self.ok("-n 8 -m 2 -q --format json --seed 77 --classic --max-iterations 40 "
                                 "--stall-iterations 7 --min-iterations 3 --time-limit 2.5 --convergence 0.1")[0])
        self.assertEqual((doc["seed"], doc["default_seed"], doc["result"]["phi_p"], doc["result"]["restarts"]),
                         (77, False, doc["phi_p"], 1))
        self.assertEqual(doc["settings"], {"optimised": True, "classic": True, "max_iterations": 40,
                                           "stall_iterations": 7, "min_iterations": 3, "time_limit": 2.5,
                                           "convergence": 0.1})
        doc = json.loads(self.ok("-n 6 -m 1 --random --levels --format json --seed 18446744073709551615")[0])
        self.assertEqual((doc["seed"], doc["settings"], doc["scale"]),
                         (18446744073709551615, {"optimised": False}, "levels"))
        self.assertEqual(sorted(doc["design"]), [[1], [2], [3], [4], [5], [6]])
        self.assertTrue(all(isinstance(row[0], int) for row in doc["design"]))
        self.assertAlmostEqual(doc["phi_p"], phi_p(doc["design"]), delta=1e-12)


class Seeds(CommandTest):
    def test_same_seed_same_design(self):
        first = self.ok("-n 14 -m 3 -q")[0]
        self.assertEqual(self.ok("-n 14 -m 3 -q --seed 20261123")[0], first)
        five = self.ok("-n 14 -m 3 -q --seed 5")[0]
        self.assertNotEqual(five, first)
        # Whole numbers are decimal: a leading zero is no octal.
        self.assertEqual(self.ok("-n 014 -m 3 -q --seed 05")[0], five)
        # One variable: the levels in random order, another with another seed.
        column = self.design("-n 30 -m 1 --random")
        self.assertEqual(sorted(column), [[k / 29] for k in range(30)])
        self.assertNotEqual(column, sorted(column))
        self.assertNotEqual(self.design("-n 30 -m 1 --random --seed 4"), column)

    def test_agrees_with_the_entry_point(self):
        for n, m, seed in [(20, 4, "default"), (12, 3, "0"), (8, 5, "12345"), (2, 3, "1"), (23, 2, "2")]:
            command = "-n %d -m %d -q --classic %s" % (n, m, "" if seed == "default" else "--seed " + seed)
            for mode, extra in ((1, ""), (0, " --random")):
                with self.subTest(n=n, m=m, seed=seed, mode=mode):
                    self.assertEqual(self.ok(command + extra)[0], self.reference(n, m, mode, seed)[0])
            # The entry point's limits, given, change nothing.
            self.assertEqual(self.ok(command, *"--max-iterations 2000 --stall-iterations 100 --min-iterations 5 "
                                     "--convergence 0.01".split())[0], self.reference(n, m, 1, seed)[0])
        out = self.ok("-n 10 -m 3 --seed 5 --classic")[0]
        self.assertEqual(hashlib.sha256(out.encode()).hexdigest(),
                         "d63fa8dff38dad85f0dfb693fa611583767807a3d1e3ff30b396b8d287a40bea")

    def test_a_low_iteration_limit_takes_the_default_minimum_along(self):
        def run(limits=""):
            return self.ok("-n 20 -m 4 -q --classic --format json " + limits)[0]
        for limit, minimum in ((1, 0), (3, 2), (5, 4), (6, 5)):
            settings = json.loads(run("--max-iterations %d --stall-iterations 1000" % limit))["settings"]
            self.assertEqual((settings["max_iterations"], settings["min_iterations"]), (limit, minimum))
        # Stopped by the limit itself: three iterations differ from four, and from the default.
        three = run("--max-iterations 3 --stall-iterations 1000")
        self.assertNotEqual(three, run("--max-iterations 4 --stall-iterations 1000"))


class Progress(CommandTest):
    def stop_line(self, extra=""):
        """The last line on standard error, which says why the search stopped."""
        lines = self.ok("-n 12 -m 3 --classic " + extra)[1].splitlines()
        self.assertRegex(lines[-1], r"^olhs: the search stopped after \d+ iterations and \d+\.\d\d s: ")
        self.assertTrue(all(line.startswith("Iteration #: ") for line in lines[:-1]), lines)
        return lines[-1]

    def test_progress_goes_to_standard_error_and_says_why_the_search_stopped(self):
        out, err = self.ok("-n 10 -m 3 --classic")
        self.assertTrue(err.startswith("Iteration #: 000\t\tOptimality criterion = ") and "phi_p" not in err, err)
        self.assertEqual(self.ok("-n 10 -m 3 --classic --quiet"), (out, ""))
        self.assertEqual(self.ok("-n 10 -m 3 --random")[1], "")
        self.assertIn("\nIteration #: 003\t\t", self.ok("-n 10 -m 3 --classic --stall-iterations 3 -o d.csv")[1])
        self.assertIn("more than 100 iterations passed without improvement (--stall-iterations)", self.stop_line())
        self.assertRegex(self.stop_line("--max-iterations 7 --stall-iterations 1000"),
                         r" after 7 iterations .*: the iteration limit \(--max-iterations 7\) was reached$")
        # A search that only the time limit stops; the report names that limit too.
        last = self.stop_line("--time-limit 0 --stall-iterations 2000000000 --max-iterations 2000000000 "
                              "--convergence 0 --report r_")
        self.assertIn("the time limit (--time-limit 0 s) was reached", last)
        report = self.read("r_FullReport.rpt")  # with the limits given
        self.assertIn("\nMaximum number of iterations: 2000000000\nMinimum number of iterations: 5\nMaximum number "
                      "of iterations without improvements: 2000000000\n", report)
        self.assertIn("STOPPING CRITERION REACHED:\nMaximum time allowed for the task.\n", report)
        self.assertIn("At iteration: %s\n" % last.split(" after ")[1].split()[0], report)
        with open("/dev/full", "w") as full:
            self.assertEqual(self.olhs("-n 10 -m 3 -q", stdout=full), (1, "", "olhs: writing the design to standard "
                                                                              "output failed (No space left on device)\n"))


class Optimiser(CommandTest):
    def run_json(self, extra=""):
        return json.loads(self.ok("-n 14 -m 3 -q --format json " + extra)[0])

    def test_default_is_the_optimiser_with_the_library_defaults(self):
        default = self.ok("-n 14 -m 3 -q")[0]
        self.assertEqual(self.ok("-n 14 -m 3 -q --restarts 2 --iterations 200 --metric cityblock -p 50 "
                                 "--placement centered")[0], default)
        # The same bits on any number of threads.
        for threads in ("-j 1", "--threads 2", "-j 0"):
            self.assertEqual(self.ok("-n 14 -m 3 -q " + threads)[0], default, threads)
        # Every setting reaches the search.
        for extra in ("--iterations 3", "--seed 9", "--placement grid", "--classic"):
            self.assertNotEqual(self.ok("-n 14 -m 3 -q " + extra)[0], default, extra)
        for extra, p, metric in (("-p 7.5", 7.5, "cityblock"), ("--metric euclidean -p 3", 3, "euclidean")):
            doc = self.run_json(extra)
            expected = phi_p(centered_levels(doc["design"], 14), p, metric)
            self.assertAlmostEqual(doc["phi_p"], expected, delta=1e-9 * expected, msg=extra)
            self.assertEqual((doc["settings"]["p"], doc["settings"]["metric"]), (p, metric))
        result = self.run_json("--iterations 3 --restarts 5")["result"]
        self.assertEqual((result["stop_reason"], result["iterations"], result["restarts"]), ("iterations", 15, 5))

    def test_placements_levels_and_bounds(self):
        levels = [[int(x) for x in row] for row in parse(self.ok("-n 9 -m 3 -q --levels")[0])[1]]
        self.assertEqual([sorted(column) for column in zip(*levels)], [list(range(1, 10))] * 3)
        for placement, place in (("centered", lambda k: (k - 0.5) / 9), ("grid", lambda k: (k - 1) / 8)):
            values = self.design("-n 9 -m 3 --placement " + placement)
            self.assertEqual(values, [[place(k) for k in row] for row in levels], placement)
            scaled = self.design("-n 9 -m 3 --bounds=-1:3,10:20,0.1:0.3 --placement " + placement)
            for column, unit, (lo, hi) in zip(zip(*scaled), zip(*values), [(-1, 3), (10, 20), (0.1, 0.3)]):
                self.assertEqual(placement == "grid", (min(column), max(column)) == (lo, hi))  # the ends land exactly
                for y, x in zip(column, unit):
                    self.assertAlmostEqual(y, lo + x * (hi - lo), delta=1e-12 * (hi - lo))
        jittered = self.design("-n 9 -m 3 --placement jittered")
        self.assertEqual(jittered, self.design("-n 9 -m 3 --placement jittered"))
        for x, k in zip(sum(jittered, []), sum(levels, [])):
            self.assertTrue((k - 1) / 9 <= x < k / 9, (x, k))

    def test_time_budget(self):
        doc = self.run_json("--time-budget 0.2")
        self.assertEqual((doc["settings"]["time_budget"], doc["settings"]["iterations"]), (0.2, 0))
        self.assertEqual(doc["result"]["stop_reason"], "time budget")
        self.assertEqual(SUMMARY.match(self.ok("-n 14 -m 3 --time-budget 0.1")[1]).group(4), "time budget")
        # Iterations given end the run long before the budget; 0 of either is none.
        doc = self.run_json("--time-budget 1e5 --iterations 4")
        self.assertEqual((doc["settings"]["time_budget"], doc["settings"]["iterations"]), (1e5, 4))
        self.assertEqual((doc["result"]["stop_reason"], doc["result"]["iterations"]), ("iterations", 8))
        self.assertEqual(self.run_json("--time-budget 0 --iterations 0"), self.run_json())

    def test_json_holds_every_setting_that_remakes_the_design(self):
        doc = json.loads(self.ok("-n 11 -m 4 --seed 31 --restarts 3 --iterations 17 --metric euclidean --criterion "
                                 "maximin -p 12.5 --placement jittered --bounds=-2:2,0:1,5:6,1e3:2e3 -j 1 -q "
                                 "--format json")[0])
        self.assertEqual((doc["n"], doc["m"], doc["seed"], doc["bounds"]),
                         (11, 4, 31, [[-2, 2], [0, 1], [5, 6], [1000, 2000]]))
        settings = doc["settings"]
        self.assertEqual(settings, {"optimised": True, "classic": False, "restarts": 3, "iterations": 17,
                                    "time_budget": None, "metric": "euclidean", "criterion": "maximin",
                                    "start": "auto", "p": 12.5, "placement": "jittered", "threads": 1})
        again = "-n %d -m %d --seed %d -q --format json -p %r " % (doc["n"], doc["m"], doc["seed"], settings["p"])
        again += " ".join("--%s %s" % (k, settings[k]) for k in ("restarts", "iterations", "metric", "criterion",
                                                                   "start", "placement"))
        out = self.ok(again, "--bounds=" + ",".join("%r:%r" % tuple(pair) for pair in doc["bounds"]))[0]
        self.assertEqual(json.loads(out)["design"], doc["design"])
        self.assertEqual((doc["result"]["restarts"], doc["result"]["iterations"]), (3, 51))
        self.assertGreaterEqual(doc["result"]["pairs_at_smallest"], 1)

    def test_live_line_on_a_terminal(self):
        master, slave = pty.openpty()
        proc = subprocess.Popen([OLHS] + "-n 12 -m 3 --restarts 3 -o d.csv".split(), cwd=self.dir,
                                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=slave)
        os.close(slave)
        seen = b""
        try:
            while chunk := os.read(master, 4096):
                seen += chunk
        except OSError:  # the terminal's other side closed
            pass
        finally:
            os.close(master)
        self.assertEqual(proc.wait(timeout=120), 0)
        text = seen.decode()
        self.assertTrue(text.startswith("\rolhs: restarts 0/3 done, best phi_p "), repr(text))
        self.assertIn("\rolhs: restarts 3/3 done, best phi_p ", text)
        self.assertNotIn(" left", text)  # no budget, no time left
        # The line is wiped before the summary, which ends the output on a line of its own.
        self.assertRegex(text.rstrip("\r\n").split("\r")[-1], SUMMARY)
        self.assertTrue(text.split("\r")[-3].strip() == "", repr(text[-300:]))
        self.assertEqual(self.files(), ["d.csv"])


class Metrics(CommandTest):
    def metrics(self, err):
        got = dict(line.split(": ", 1) for line in err.splitlines()[-4:])
        self.assertEqual(sorted(got), ["max_abs_correlation", "min_city_block_distance", "min_euclidean_distance",
                                       "phi_p"])
        self.assertTrue(all(value.startswith("none") or is_shortest(value) for value in got.values()), got)
        return got

    def test_metrics_and_summary_of_the_printed_design(self):
        out, err = self.ok("-n 12 -m 3 --format json --metrics")
        doc, lines, got = json.loads(out), err.splitlines(), self.metrics(err)
        self.assertNotIn("\r", err)  # no live line when standard error is not a terminal
        summary = SUMMARY.match(lines[0])
        self.assertEqual((len(lines), float(summary.group(1))) + summary.groups()[1:], (5, doc["phi_p"], "2", "800",
                                                                                         "iterations"))
        self.assertEqual(doc["metrics"], {key: json.loads(value) for key, value in got.items()})
        self.assertEqual((lines[1], doc["phi_p"]), ("phi_p: " + repr(doc["phi_p"]), doc["metrics"]["phi_p"]))
        self.assertIsInstance(doc["metrics"]["min_city_block_distance"], int)
        self.assertEqual(self.ok("-n 12 -m 3 --format json -q")[1], "")
        self.assertEqual(self.ok("-n 12 -m 3 --format json --metrics -q")[1], "\n".join(lines[1:]) + "\n")
        # After the classic search's lines, phi_p with p = 50 of city-block distances.
        out, err = self.ok("-n 12 -m 3 --classic --metrics --format json")
        self.assertTrue(err.splitlines()[-5].startswith("olhs: the search stopped after "), err)
        doc = json.loads(out)
        self.assertAlmostEqual(doc["metrics"]["phi_p"], phi_p(levels_of(doc["design"], 12)), delta=1e-12)
        got = self.metrics(self.ok("-n 4 -m 1 --random --metrics")[1])
        self.assertEqual((got["min_city_block_distance"], got["max_abs_correlation"]), ("1", "none (one variable)"))

    def test_phi_p_is_the_library_criterion_to_the_bit(self):
        for n, m, seed in [(2, 1, "1"), (9, 2, "5"), (40, 3, "default"), (120, 7, "99"), (300, 2, "3")]:
            with self.subTest(n=n, m=m, seed=seed):
                out, err = self.ok("-n %d -m %d --random --format json --metrics" % (n, m),
                                   *([] if seed == "default" else ["--seed", seed]))
                expected = self.reference(n, m, 0, seed)[1]
                self.assertEqual((json.loads(out)["phi_p"], self.metrics(err)["phi_p"]), (float(expected), expected))


class OutputFile(CommandTest):
    def test_file_holds_what_standard_output_would_and_replaces_the_old_one(self):
        expected = self.ok("-n 12 -m 3 -q")[0]
        self.write("design.csv", "old contents that are longer than the design\n" * 100)
        os.chmod(self.path("design.csv"), 0o640)
        self.ok("-n 12 -m 3 -q -o design.csv")
        self.assertEqual((self.read("design.csv"), os.stat(self.path("design.csv")).st_mode & 0o777, self.files()),
                         (expected, 0o640, ["design.csv"]))
        # Through a symbolic link the file it points to is replaced; "-" is standard output.
        os.symlink("design.csv", self.path("link.csv"))
        self.ok("-n 4 -m 2 --random -o link.csv")
        self.assertTrue(os.path.islink(self.path("link.csv")) and self.read("design.csv").startswith("x1,x2\n"))
        self.assertEqual(self.ok("-n 12 -m 3 -q -o -"), (expected, ""))
        self.assertEqual(self.files(), ["design.csv", "link.csv"])

    def test_special_files_are_written_in_place(self):
        expected = self.ok("-n 6 -m 2 -q")[0]
        dev = set(os.listdir("/dev"))
        os.symlink("/dev/null", self.path("null-link"))
        for target in ("/dev/null", "null-link"):
            self.assertEqual(self.ok("-n 6 -m 2 -q -o " + target), ("", ""))
        self.assertEqual(os.readlink(self.path("null-link")), "/dev/null")
        # A device that refuses the text: a write error (status 1), in one line.
        status, out, err = self.olhs("-n 6 -m 2 -q -o /dev/full")
        self.assertEqual((status, out, err), (1, "", "olhs: -o: writing '/dev/full' failed (No space left on "
                                                     "device)\n"))
        self.assertEqual(set(os.listdir("/dev")), dev, "temporary files left in /dev")
        # A FIFO: its reader (opened first, without blocking) gets the design, and the FIFO stays.
        os.mkfifo(self.path("pipe"))
        with open(os.open(self.path("pipe"), os.O_RDONLY | os.O_NONBLOCK)) as reader:
            self.assertEqual(self.ok("-n 6 -m 2 -q -o pipe"), ("", ""))
            self.assertEqual(reader.read(), expected)
        self.assertTrue(stat.S_ISFIFO(os.lstat(self.path("pipe")).st_mode))
        # A socket cannot be opened as a file: refused, and left as it is.
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(self.path("sock"))
            self.assertRefused("-n 6 -m 2 -o sock", "olhs: -o: cannot open 'sock'")
            self.assertTrue(stat.S_ISSOCK(os.lstat(self.path("sock")).st_mode))
        self.assertEqual(self.files(), ["null-link", "pipe", "sock"])

    def test_failed_run_leaves_the_existing_file_alone(self):
        self.write("design.csv", "precious\n")
        before = os.stat(self.path("design.csv")).st_mtime_ns
        os.mkdir(self.path("adir"))
        for bad in ("-n 1 -m 2", "-n 5 -m 2 --classic --report missing/dir/r_", "-n 5 -m 2 --classic "
                    "--stall-iterations 0", "-n 5 -m 2 --plot missing/p.svg", "-n 2000000000 -m 2"):
            self.assertRefused(bad + " -o design.csv")
            self.assertEqual((self.read("design.csv"), os.stat(self.path("design.csv")).st_mtime_ns),
                             ("precious\n", before))
        for path, what in (("missing/d.csv", "missing/d.csv"), ("adir", "directory"), ("adir/", "directory")):
            self.assertRefused("-n 5 -m 2 -o " + path, "olhs: -o: ", what)
        self.assertEqual((self.files(), os.listdir(self.path("adir"))), (["adir", "design.csv"], []))

    def test_interrupted_run_leaves_no_trace(self):
        # SIGPIPE stands for a reader of standard output that went away (`olhs ... | head`).
        for sig in (signal.SIGTERM, signal.SIGPIPE):
            with self.subTest(signal=sig.name):
                self.write("design.csv", "precious\n")
                # A search that never stalls nor reaches its limit.
                proc = subprocess.Popen([OLHS] + ("-n 30 -m 8 -o design.csv --classic --max-iterations 2000000000 "
                                                  "--stall-iterations 2000000000 --convergence 0").split(),
                                        cwd=self.dir, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                        stdin=subprocess.DEVNULL)
                try:
                    # The first progress line comes once the search runs and the temporary file exists.
                    self.assertTrue(proc.stderr.readline().startswith(b"Iteration #: 000"))
                    self.assertEqual(len(self.files()), 2, self.files())
                    proc.send_signal(sig)
                    proc.wait(timeout=60)
                finally:
                    proc.kill()  # nothing if it stopped
                    proc.wait()
                    proc.stderr.close()
                self.assertEqual(proc.returncode, -sig)
                self.assertEqual((self.read("design.csv"), self.files()), ("precious\n", ["design.csv"]))


class Report(CommandTest):
    def test_report_files_with_prefix(self):
        os.mkdir(self.path("reports"))
        out = self.ok("-n 12 -m 3 -q --classic --report reports/run1_")[0]
        self.assertEqual(out, self.reference(12, 3, 1, "default")[0])
        self.assertEqual(sorted(os.listdir(self.path("reports"))),
                         sorted("run1_" + name for name in ["Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt",
                                                            "Optimal_1.rpt", "FullReport.rpt"]))
        # The optimal design of the report is the printed one.
        table = [[round(float(x)) for x in line.split()] for line in self.read("reports/run1_Optimal_0.rpt")
                 .splitlines() if line.strip() and not line.startswith("Optim")]
        self.assertEqual(table, levels_of(floats(parse(out)[1]), 12))


class Plot(CommandTest):
    def svg(self, name):
        """Panels [((across, up), points where drawn)], labels, ticks {(axis, variable): [(label, place up)]}."""
        root = ET.parse(self.path(name)).getroot()
        self.assertEqual(root.tag, SVG + "svg")
        self.assertTrue({"width", "height", "viewBox"} <= set(root.attrib))
        panels, labels, ticks = [], [], {}
        for g in root.iter(SVG + "g"):
            kind = g.get("class")
            if kind == "label":
                labels.append(g.find(SVG + "text").text)
            elif kind == "panel":
                title = g.find(SVG + "title").text.split()  # "xA across, xB up"
                dx, dy = (float(v) for v in g.get("transform")[len("translate("):-1].split())
                panels.append(((int(title[0][1:]) - 1, int(title[2][1:]) - 1),
                               [(dx + float(c.get("cx")), dy + float(c.get("cy"))) for c in g.findall(SVG + "circle")]))
            elif kind in ("x-axis", "y-axis"):
                ticks[(kind[0], int(g.find(SVG + "title").text[1:]) - 1)] = [
                    (t.text, float(t.get("x")) if kind[0] == "x" else -float(t.get("y"))) for t in g.findall(SVG + "text")]
        return panels, labels, ticks

    def check_plot(self, name, levels, variables):
        """A matrix of the variables (0-based) in that order: a panel per ordered pair of them, a point
        per design point, n evenly spaced places each way, level 1 at the left and at the bottom."""
        n = len(levels)
        panels, labels, _ = self.svg(name)
        self.assertEqual(labels, ["x%d" % (j + 1) for j in variables])
        self.assertEqual(sorted(key for key, _ in panels), sorted((a, b) for a in variables for b in variables if a != b))
        for (across, up), points in panels:
            xs, ys = sorted({x for x, _ in points}), sorted({y for _, y in points}, reverse=True)
            self.assertEqual((len(points), len(xs), len(ys)), (n, n, n))
            for k in range(n):
                self.assertAlmostEqual(xs[k], xs[0] + k * (xs[-1] - xs[0]) / (n - 1), delta=0.002)
            column, row = {x: k + 1 for k, x in enumerate(xs)}, {y: k + 1 for k, y in enumerate(ys)}
            self.assertEqual(sorted((column[x], row[y]) for x, y in points), sorted((p[across], p[up]) for p in levels))

    def axes(self, line, scales):
        """Plots; each shown variable j's axes carry a few ticks in its scale (scales[j] = (LO, HI)), where
        the points of those values lie. Returns the labels."""
        self.ok(line + " -q --plot p.svg")
        panels, _, ticks = self.svg("p.svg")
        places = {}
        for (across, up), points in panels:
            places.setdefault(("x", across), [x for x, _ in points])
            places.setdefault(("y", up), [-y for _, y in points])
        self.assertEqual(set(ticks), {(a, j) for a in "xy" for j in scales})
        for key, marks in ticks.items():
            lo, hi = scales[key[1]]
            values = [float(label) for label, _ in marks]
            self.assertTrue(2 <= len(values) <= 6 and all(is_shortest(label) for label, _ in marks), marks)
            self.assertTrue(values == sorted(values) and lo <= values[0] and values[-1] <= hi, (key, values))
            first, last = min(places[key]), max(places[key])  # level 1 (LO) and level n (HI)
            for value, (label, place) in zip(values, marks):
                along = (value / 2 - lo / 2) / (hi / 2 - lo / 2)  # halves: hi - lo may overflow
                self.assertAlmostEqual(place, first + along * (last - first), delta=0.01, msg=(key, label))
        return {key: [label for label, _ in marks] for key, marks in ticks.items()}

    def test_axes_show_the_printed_scale(self):
        labels = self.axes("-n 20 -m 2 --classic", scales={0: (0, 1), 1: (0, 1)})
        self.assertEqual(labels[("x", 0)], ["0", "0.2", "0.4", "0.6", "0.8", "1"])
        self.assertEqual(labels[("x", 0)], labels[("y", 1)])
        self.assertEqual(self.axes("-n 3 -m 2 --levels", scales={0: (1, 3), 1: (1, 3)})[("y", 0)], ["1", "2", "3"])
        bounds = [(-1, 1), (100, 1e3), (0, 0.1), (0.001, 0.0013), (12345, 12346), (-1.7e308, 1.7e308),
                  (1, 1.0000000000000002), (3e-300, 7e-300)]
        line = "-n 30 -m 8 --classic --bounds=" + ",".join("%r:%r" % pair for pair in bounds)
        labels = {}
        for chosen in ("1,2,3,4", "5,6,7,8"):
            shown = {int(j) - 1: bounds[int(j) - 1] for j in chosen.split(",")}
            labels.update(self.axes(line + " --plot-variables " + chosen, scales=shown))
        self.assertEqual([labels[("x", j)] for j in range(8)], [
            ["-1", "-0.5", "0", "0.5", "1"], ["200", "400", "600", "800", "1000"],
            ["0", "0.02", "0.04", "0.06", "0.08", "0.1"], ["0.001", "0.0011", "0.0012", "0.0013"],
            ["12345", "12345.5", "12346"], ["-1e+308", "0", "1e+308"],
            ["1", "1.0000000000000002"],  # no two round values fit: the ends
            ["3e-300", "4e-300", "5e-300", "6e-300", "7e-300"]])
        # The ends of the placement's values.
        self.axes("-n 20 -m 2", scales={j: (0.025, 0.975) for j in range(2)})
        self.assertEqual(self.axes("-n 20 -m 2 --bounds 0:20", scales={j: (0.5, 19.5) for j in range(2)})[("x", 0)][0], "5")
        self.axes("-n 20 -m 2 --placement grid", scales={j: (0, 1) for j in range(2)})

    def test_scatter_matrix(self):
        for n, m, chosen in [(20, 4, "1,2,3,4"), (5, 2, "1,2"), (9, 5, "4,2,5")]:
            extra = " --plot-variables " + chosen if n == 9 else ""
            header, rows = parse(self.ok("-n %d -m %d -q --levels --plot plot.svg%s" % (n, m, extra))[0])
            self.assertEqual(len(header), m)  # the design keeps every variable
            self.check_plot("plot.svg", [[int(x) for x in row] for row in rows], [int(j) - 1 for j in chosen.split(",")])
        self.ok("-n 7 -m 3 --random --levels -o d.csv --plot P.SVG")  # the extension in either case
        self.assertEqual(self.files(), ["P.SVG", "d.csv", "plot.svg"])
        self.check_plot("P.SVG", [[int(x) for x in row] for row in parse(self.read("d.csv"))[1]], [0, 1, 2])

    def test_pictures_too_large_to_open_are_refused(self):
        self.write("p.svg", "precious\n")
        # 10 variables make 90 panels of 3000 points: 270000. Eight variables fit (168000), nine do not.
        self.assertRefused("-n 3000 -m 10 --random --plot p.svg",
                           "olhs: --plot: a matrix of 10 variables has 90 panels of 3000 points, 270000 in all, more "
                           "than the 200000 a picture can hold and still open; plot at most 8 variables, e.g. "
                           "--plot-variables 1,2,3,4,5,6,7,8\n")
        # A choice that is too large is cut down in the order given.
        self.assertRefused("-n 3000 -m 10 --random --plot p.svg --plot-variables 10,9,8,7,6,5,4,3,2",
                           "olhs: --plot-variables: ", "216000", "--plot-variables 10,9,8,7,6,5,4,3\n")
        # Exactly at the limit is fine; one point more and not even a pair fits.
        self.ok("-n 100000 -m 2 --random --plot p.svg -o d.csv")
        self.write("p.svg", "precious\n")
        self.assertRefused("-n 100001 -m 3 --random --plot p.svg --plot-variables 1,3",
                           "olhs: --plot-variables: the design is too large to plot: one pair of variables already "
                           "draws 200002 points, more than the 200000 a picture can hold and still open\n")
        self.assertEqual((self.read("p.svg"), self.files()), ("precious\n", ["d.csv", "p.svg"]))


def ranks(rows):
    """Ranks 1..n of each column of distinct values."""
    return [[sorted(column).index(x) + 1 for x, column in zip(row, zip(*rows))] for row in rows]


def strata(rows, n, boxes=None):
    """Stratum 1..n of every value, the box of each column cut into n equal parts."""
    return [[min(n - 1, int((x - lo) / (hi - lo) * n)) + 1
             for x, (lo, hi) in zip(row, boxes or [(0.0, 1.0)] * len(row))] for row in rows]


class Reader(CommandTest):
    def test_headers_separators_reals_and_integers(self):
        # The same design as levels with a header, as reals in any range without one, as
        # TSV with blanks and quotes, and with ';': every form gives the same ranks.
        forms = {
            "levels.csv": "a,b,c\n1,3,2\n2,1,3\n3,2,1\n4,4,4\n",
            "reals.csv": "0.5,30,-2e3\n0.75,10,1e-3\n1.5,20,-1e9\n2,40.5,7\n",
            "tabs.tsv": '"x"\t"y"\t"z"\n 1 \t 3\t2\n2\t1\t3\r\n\n3\t2\t1\n+4\t4\t4\n\n',
            "semi.csv": "1;3;2\n2;1;3\n3;2;1\n4;4;4\n",
        }
        for name, text in forms.items():
            self.write(name, text)
        scores = {self.ok("score --format json", name)[0].replace(name, "FILE") for name in forms}
        self.assertEqual([(doc["n"], doc["m"]) for doc in map(json.loads, scores)], [(4, 3)])
        # A first line with any field that is not a number is a header; one column works.
        self.write("one.csv", "x\n3\n1\n2\n")
        self.assertIn("points: 3\nvariables: 1\n", self.ok("score one.csv")[0])
        self.write("mixed.csv", "1,b\n1,2\n2,1\n")
        self.assertIn("points: 2\n", self.ok("score mixed.csv")[0])

    def test_each_kind_of_bad_input_is_one_line_naming_the_place(self):
        cases = [
            ("", "f.csv: no design: the input is empty"),
            ("\n \n", "f.csv: no design: the input is empty"),
            ("a,b\n", "f.csv: 0 rows after the header; a design needs at least 2"),
            ("1,2\n", "f.csv: 1 row; a design needs at least 2"),
            ("1,2\n3,4\n5\n", "f.csv: line 3, column 2: 1 value where line 1 has 2"),
            ("a,b\n1,2\n3,4,5\n", "f.csv: line 3, column 3: 3 values where line 1 has 2"),
            ("1,2\n3,x4\n", "f.csv: line 2, column 2: 'x4' is not a number"),
            ("1,2\n3,\n", "f.csv: line 2, column 2: empty field; expected a number"),
            ("1,2\n3,nan\n", "f.csv: line 2, column 2: 'nan' is not a finite number"),
            ("1,2\n1e999,3\n", "f.csv: line 2, column 1: '1e999' is out of the range"),
            ("1,2\n3,4\x00\x01\n", "f.csv: line 2, column 2: '4??' is not a number"),
            ("1,2\n3,0.5\n\n7,0.50\n", "f.csv: lines 2 and 4, column 2: both hold 0.5"),
        ]
        for text, message in cases:
            with self.subTest(text=text):
                with open(self.path("f.csv"), "wb") as f:
                    f.write(text.encode("latin-1"))
                for sub in ("score", "improve"):
                    self.assertRefused(sub + " f.csv -o out.csv", message)
                    self.assertEqual(self.files(), ["f.csv"])
        self.assertRefused("score missing.csv", "missing.csv: cannot open (No such file or directory)")
        self.assertRefused("score .", ".: cannot read (Is a directory)")

    def test_standard_input_and_a_large_file(self):
        def score(text):
            return subprocess.run([OLHS, "score", "-"], input=text, capture_output=True, cwd=self.dir)
        self.assertIn(b"points: 3\n", score(b"1,2\n2,1\n3,3\n").stdout)
        self.assertEqual(score(b"1,2\n1,3\n").stderr, b"olhs: standard input: lines 1 and 2, column 1: both hold 1; "
                                                       b"a tie leaves the ranks of the column ambiguous\n")
        # 100,000 rows of 10 reals, read to the one field that is no number, at the end.
        rows = (",".join(repr(i / 7.0 + c) for c in range(10)) for i in range(100000))
        self.write("big.csv", "v,w,x,y,z,v,w,x,y,z\n" + "\n".join(rows) + "\n1,1,1,1,1,1,1,1,1,x\n")
        self.assertRefused("score big.csv", "big.csv: line 100002, column 10: 'x' is not a number")


class Score(CommandTest):
    def test_measures_of_a_file_in_json_and_text(self):
        # Levels (1,1), (2,3), (3,2): city-block distances 3, 3, 2.
        self.write("d.csv", "x,y\n10,0.1\n20,0.3\n30,0.2\n")
        doc = json.loads(self.ok("score d.csv --format json -p 2")[0])
        self.assertEqual(list(doc.items())[:4], [("input", "d.csv"), ("n", 3), ("m", 2), ("p", 2)])
        self.assertEqual(list(doc)[4:], ["phi_p_city_block", "phi_p_euclidean", "min_city_block_distance",
                                         "min_city_block_pairs", "min_euclidean_distance", "min_euclidean_pairs",
                                         "max_abs_correlation", "centered_l2_discrepancy", "maxpro"])
        self.assertAlmostEqual(doc["phi_p_city_block"], (2 * 3 ** -2 + 2 ** -2) ** 0.5, places=14)  # p reached it
        text = self.ok("score d.csv -p 2")[0]
        self.assertEqual(text, "points: 3\nvariables: 2\np: 2\n" + "".join(
            "%s: %s\n" % (key, value if isinstance(value, int) else repr(value)) for key, value in list(doc.items())[4:]))
        self.assertEqual((self.ok("score d.csv -p 2 -o s.txt")[0], self.read("s.txt")), ("", text))

class Improve(CommandTest):
    def test_keeps_the_values_of_its_file(self):
        rng = random.Random(2)
        rows = [[rng.uniform(-5, 5) for _ in range(4)] for _ in range(30)]
        self.write("start.csv", "\n".join(",".join(repr(x) for x in row) for row in rows) + "\n")
        command = "improve start.csv --iterations 30 --seed 4"
        out, err = self.ok(command)
        self.assertTrue(SUMMARY.match(err.splitlines()[0]) and err.splitlines()[1].startswith("olhs: phi_p of "
                                                                                             "start.csv was "), err)
        header, result = parse(out)
        result = floats(result)
        self.assertEqual(header, ["x1", "x2", "x3", "x4"])
        self.assertEqual([sorted(c) for c in zip(*result)], [sorted(c) for c in zip(*rows)])  # to the bit
        self.assertEqual([r[0] for r in result], [r[0] for r in rows])  # x1 and the order stay
        self.assertNotEqual(result, rows)
        self.assertEqual(floats(parse(self.ok(command + " -q --levels")[0])[1]), ranks(result))
        self.assertEqual(floats(parse(self.ok(command + " -q --placement centered")[0])[1]),
                         [[(k - 0.5) / 30 for k in row] for row in ranks(result)])
        doc = json.loads(self.ok(command + " -q --format json")[0])
        self.assertEqual((doc["existing"]["command"], doc["existing"]["input_points"], doc["scale"], doc["design"]),
                         ("improve", 30, "given", result))
        self.assertAlmostEqual(doc["existing"]["input_phi_p"], phi_p(ranks(rows)), delta=1e-12)
        # Iterations chosen from the file's size, and 0 of them is that choice too.
        self.assertEqual(self.ok("improve start.csv -q --iterations 0")[0], self.ok("improve start.csv -q")[0])
        self.ok(command + " -q -o start.csv")  # the file may be the output too
        self.assertEqual(self.read("start.csv"), out)

class Augment(CommandTest):
    def test_originals_kept_and_every_stratum_held_once(self):
        text = "a,b,c\n0.05,0.5,0.95\n0.35,0.05,0.5\n0.65,0.95,0.05\n0.95,0.35,0.65\n"
        self.write("d.csv", text)
        out, err = self.ok("augment d.csv -k 6 --iterations 40")
        self.assertIn("olhs: added 6 points to the 4 of d.csv; doubled strata: 0\n", err)
        self.assertEqual(out.split("\n")[1:5], text.split("\n")[1:5])  # the originals, as written
        values = floats(parse(out)[1])
        levels = floats(parse(self.ok("augment d.csv -k 6 --iterations 40 --levels -q")[0])[1])
        self.assertEqual(levels, strata(values, 10))
        self.assertEqual([sorted(column) for column in zip(*levels)], [list(range(1, 11))] * 3)

    def test_doubled_strata_in_a_box(self):
        # In [10, 20] x [-1, 1] cut into 4: x1 holds 10.5 and 11 in stratum 1, so one new
        # point cannot fill both empty strata 2 and 3; x2 leaves stratum 2 empty.
        self.write("d.csv", "10.5,-0.9\n11,0.2\n19,0.9\n")
        out, err = self.ok("augment d.csv -k 1 --bounds 10:20,-1:1")
        self.assertIn("doubled strata: 1 (x1: 1, x2: 0)\n", err)
        self.assertEqual(floats(parse(out)[1])[3], [16.25, -0.25])  # strata 3 of 4 in each
        doc = json.loads(self.ok("augment d.csv -k 1 --bounds 10:20,-1:1 --format json")[0])
        self.assertEqual({k: doc["existing"][k] for k in ("added", "doubled", "doubled_strata", "box")},
                         {"added": 1, "doubled": 1, "doubled_strata": [1, 0], "box": [[10, 20], [-1, 1]]})
        self.assertEqual(doc["design"][:3], [[10.5, -0.9], [11, 0.2], [19, 0.9]])
        # Ties are no problem here: they just share a stratum.
        self.write("t.csv", "0.5,0.1\n0.5,0.9\n")
        self.assertIn("doubled strata: 1 (x1: 1, x2: 0)", self.ok("augment t.csv -k 2")[1])


class BadInput(CommandTest):
    # Each refusal the command makes itself, with its whole message (a trailing "..." leaves
    # the rest open), and a few of the library's in the command's words.
    CASES = [
        ("-m 3", "-n: required: the number of points, a whole number from 2 to 2147483647"),
        ("-n 5", "-m: required: the number of variables, a whole number from 1 to 2147483647"),
        ("-n ten -m 3", "-n: expected a whole number, got 'ten'"),
        ("-n 99999999999 -m 3", "-n: expected a whole number from -2147483648 to 2147483647, got '99999999999'"),
        ("-n 5 -m 2 --seed -1", "--seed: expected a whole number from 0 to 18446744073709551615, got '-1'"),
        ("-n 5 -m 2 -p abc", "-p: expected a number, got 'abc'"),
        ("-n 5 -m 2 --classic --time-limit inf", "--time-limit: expected a number, got 'inf'"),
        ("-n 5 -m 2 --metric manhattan", "--metric: expected cityblock or euclidean, got 'manhattan'"),
        ("-n 5 -m 2 --placement x", "--placement: expected centered, grid or jittered, got 'x'"),
        ("-n 5 -m 1", "-m: the search needs at least 2 variables, got 1 (use --random for a single variable)"),
        ("-n 5 -m 2 --random --max-iterations 50", "--max-iterations: applies to the search and cannot be combined "
                                                   "with --random"),
        ("-n 5 -m 2 --report r_", "--report: sets the classic search and needs --classic (the optimiser, the default, "
                                  "takes --iterations and --time-budget)"),
        ("-n 5 -m 2 --classic -j 2", "--threads: applies to the optimiser and cannot be combined with --classic"),
        ("-n 5 -m 2 --levels --bounds 0:1", "--levels: cannot be combined with --bounds (levels are not scaled)"),
        ("-n 5 -m 2 --bounds 1:0", "--bounds: every pair needs LO < HI, got '1:0'"),
        ("-n 5 -m 2 --bounds 0:1,0-1", "--bounds: expected LO:HI[,LO:HI...] with finite numbers, got '0-1' in "
                                       "'0:1,0-1'"),
        ("-n 5 -m 3 --bounds 0:1,0:2", "--bounds: expected 1 pair or one per variable (3), got 2"),
        ("-n 5 -m 2 -o ''", "-o: expected a file name, got an empty one"),
        ("-n 5 -m 2 -o same.svg --plot same.svg", "--plot: names the same file as -o ('same.svg')"),
        ("-n 5 -m 1 --random --plot p.svg", "--plot: plots pairs of variables and needs at least 2, got 1"),
        ("-n 5 -m 2 --plot d.svg/p.png", "--plot: the picture's format follows the file name: expected a name ending "
                                         "in .svg (SVG, the one format supported), got 'd.svg/p.png'"),
        ("-n 5 -m 3 --plot-variables 1,2", "--plot-variables: chooses what --plot shows, and --plot was not given"),
        ("-n 5 -m 3 --plot p.svg --plot-variables 1,4", "--plot-variables: expected variable numbers from 1 to 3 "
                                                        "separated by commas (e.g. 1,2), got '4' in '1,4'"),
        ("-n 5 -m 3 --plot p.svg --plot-variables 2,1,2", "--plot-variables: variable 2 is given twice in '2,1,2'"),
        ("-n 5 -m 2 --bogus", "--bogus: unknown option (see olhs --help)"),
        ("-n 5 -m 2 stray", "'stray': unexpected argument; every value belongs to an option such as -n (see olhs "
                            "--help)"),
        ("-n 5 -m 2 --seed", "--seed: expected a value (S) after it (see olhs --help)"),
        ("-n 5 -n 6 -m 2", "--points: given 2 times; give it once (see olhs --help)"),
        ("-n 2147483647 -m 2147483647 --random", "-n: a design of 2147483647 points in 2147483647 variables needs at "
                                                 "least..."),
        # The library's checks, named by the command's options.
        ("-n 5 -m 2 --threads 1025", "--threads: must lie in [0, 1024], 0 for all cores (got 1025)"),
        ("-n 5 -m 2 --classic --min-iterations 3000", "--max-iterations: must be greater than --min-iterations (3000) "
                                                      "(got 2000)"),
        # The subcommands.
        ("score", "score: expected the design's FILE ('-' for standard input)"),
        ("score d.csv --format csv", "--format: expected text or json, got 'csv'"),
        ("score d.csv -p 0.5", "-p: must lie in [1, 200] (got 0.5)"),
        ("-n 5 score d.csv", "--points: makes a new design and cannot be given with olhs score (give the subcommand's "
                             "options after it)"),
        ("improve - --iterations -2", "--iterations: must be 0 (automatic, or until the time budget) or more (got -2)"),
        ("improve d.csv --levels --bounds 0:1", "--levels: cannot be combined with --bounds (levels are not scaled)"),
        ("improve d.csv --bounds 0:1,0:2,0:3", "--bounds: expected 1 pair or one per variable of the design (2), got "
                                               "3"),
        ("improve d.csv --criterion maximin", "--criterion: unknown option (see olhs --help)"),
        ("augment d.csv", "-k: required: the number of points to add, 1 to 999999"),
        ("augment d.csv -k 2147483647", "-k: expected a whole number from 1 to 999999, got '2147483647'"),
        ("augment d.csv -k 2", "d.csv: line 3, column 2: 1.5 lies outside [0, 1]; give the design's box with --bounds"),
    ]

    def test_every_bad_input_is_one_line_and_status_2(self):
        self.write("d.csv", "a,b\n0.2,0.5\n0.7,1.5\n")
        for args, message in self.CASES:
            with self.subTest(args=args):
                err = self.assertRefused(args)
                expected = "olhs: " + message + "\n"
                self.assertEqual(err[:len(expected) - 4] + "...\n" if message.endswith("...") else err, expected)
                self.assertEqual(self.files(), ["d.csv"], "a refused run left files behind")


class Memory(CommandTest):
    @unittest.skipIf(os.environ.get("OLHS_CLI_SANITIZED"), "sanitizer runtimes cannot run under an address-space limit")
    def test_allocation_failure_names_the_size_and_large_designs_measure_in_little_memory(self):
        def limit(mib):
            return lambda: resource.setrlimit(resource.RLIMIT_AS, (mib << 20, mib << 20))
        # The rows alone need about 0.5 GiB: within the machine, not within 256 MiB of address space.
        self.write("design.csv", "precious\n")
        self.assertEqual(self.olhs("-n 1000000 -m 64 --random -o design.csv", timeout=60, preexec_fn=limit(256)),
                         (2, "", "olhs: -n: not enough memory for a design of 1000000 points in 64 variables; ask for "
                                 "fewer points\n"))
        self.assertEqual((self.read("design.csv"), self.files()), ("precious\n", ["design.csv"]))
        # n by n distances would take 3 GiB; the measures need O(n m).
        status, out, err = self.olhs("-n 20000 -m 5 --random --format json --metrics", preexec_fn=limit(512))
        doc = json.loads(out) if status == 0 else self.fail(err)
        self.assertEqual((len(doc["design"]), doc["phi_p"]), (20000, doc["metrics"]["phi_p"]))
        self.assertGreater(doc["metrics"]["min_city_block_distance"], 0)


class HelpAndVersion(CommandTest):
    HELP = {"": "01da1093878ee810b13102f3", "score ": "a36e7aa5fb2506cf78542251", "improve ": "b73e6175bbed0b128614ed96",
            "augment ": "2dcc3e0c4c49745440ebd486"}  # the first hexadecimal digits of SHA-256

    def test_help_and_version(self):
        for command, pinned in self.HELP.items():
            status, out, err = self.olhs(command + "--help")
            self.assertEqual((status, err, hashlib.sha256(out.encode()).hexdigest()[:24]), (0, "", pinned), out)
        # --help wins over the other options, bad ones too, and writes nothing.
        out = self.olhs("--help")[1]
        self.assertEqual(self.olhs("-n 5 -m 2 -h"), (0, out, ""))
        self.assertEqual(self.olhs("-n ten --seed -1 -o d.csv --help"), (0, out, ""))
        self.assertEqual(self.olhs("improve f.csv --iterations x -h"), self.olhs("improve --help"))
        self.assertEqual(self.files(), [])
        self.assertEqual(self.olhs("--version"), (0, "olhs %s\n" % VERSION, ""))


def main():
    global OLHS, HELPER, VERSION
    OLHS, HELPER, VERSION, group = sys.argv[1:]  # see the usage above
    suite = unittest.defaultTestLoader.loadTestsFromName(group, sys.modules[__name__])
    return 0 if suite.countTestCases() and unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
