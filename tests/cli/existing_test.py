#!/usr/bin/env python3
"""Tests of olhs score, olhs improve and olhs augment, run against the built binary.

Usage: existing_test.py OLHS ENTRY_POINT_HELPER VERSION GROUP

GROUP names one TestCase class below. The cases share the scratch-directory harness of
cli_test.py.
"""

import json
import math
import os
import random
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import cli_test  # noqa: E402
from cli_test import CommandTest, parse, floats, phi_p  # noqa: E402


def ranks(rows):
    """Ranks 1..n of each column of distinct values."""
    n, m = len(rows), len(rows[0])
    out = [[0] * m for _ in rows]
    for c in range(m):
        for r, i in enumerate(sorted(range(n), key=lambda i: rows[i][c])):
            out[i][c] = r + 1
    return out


def strata(rows, n, boxes=None):
    """Stratum 1..n of every value, the box of each column cut into n equal parts."""
    out = []
    for row in rows:
        cells = []
        for c, x in enumerate(row):
            lo, hi = boxes[c] if boxes else (0.0, 1.0)
            cells.append(min(n - 1, int((x - lo) / (hi - lo) * n)) + 1)
        out.append(cells)
    return out


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
        scores = set()
        for name, text in forms.items():
            self.write(name, text)
            out, _ = self.ok("score", name, "--format", "json")
            doc = json.loads(out)
            self.assertEqual((doc["n"], doc["m"]), (4, 3), name)
            scores.add(out.replace(name, "FILE"))
        self.assertEqual(len(scores), 1)
        # A first line with any field that is not a number is a header; one column works.
        self.write("one.csv", "x\n3\n1\n2\n")
        self.assertIn("points: 3\nvariables: 1\n", self.ok("score", "one.csv")[0])
        self.write("mixed.csv", "1,b\n1,2\n2,1\n")
        self.assertIn("points: 2\n", self.ok("score", "mixed.csv")[0])

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
            ("1,2\ninf,3\n", "f.csv: line 2, column 1: 'inf' is not a finite number"),
            ("1,2\n1e999,3\n", "f.csv: line 2, column 1: '1e999' is out of the range"),
            ("1,2\n3,4\x00\x01\n", "f.csv: line 2, column 2: '4??' is not a number"),
            ("1,2\n3,0.5\n\n7,0.50\n", "f.csv: lines 2 and 4, column 2: both hold 0.5"),
            ("1,2\n3,4\n5,6\n3,9\n", "f.csv: lines 2 and 4, column 1: both hold 3"),
        ]
        for text, message in cases:
            with self.subTest(text=text):
                with open(self.path("f.csv"), "wb") as f:
                    f.write(text.encode("latin-1"))
                for sub in ("score", "improve"):
                    self.assertRefused([sub, "f.csv", "-o", "out.csv"], message)
                    self.assertFalse(os.path.exists(self.path("out.csv")))
        self.assertRefused(["score", "missing.csv"], "missing.csv: cannot open (No such file or directory)")
        self.assertRefused(["score", "."], ".: cannot read (Is a directory)")
        self.assertRefused(["score"], "score: expected the design's FILE")

    def test_standard_input_and_a_large_file(self):
        proc = cli_test.subprocess.run([cli_test.OLHS, "score", "-"], input=b"1,2\n2,1\n3,3\n",
                                       stdout=cli_test.subprocess.PIPE, stderr=cli_test.subprocess.PIPE, cwd=self.dir)
        self.assertEqual(proc.returncode, 0, proc.stderr)
        self.assertIn(b"points: 3\n", proc.stdout)
        proc = cli_test.subprocess.run([cli_test.OLHS, "score", "-"], input=b"1,2\n1,3\n",
                                       stdout=cli_test.subprocess.PIPE, stderr=cli_test.subprocess.PIPE, cwd=self.dir)
        self.assertEqual(proc.stderr, b"olhs: standard input: lines 1 and 2, column 1: both hold 1; "
                                      b"a tie leaves the ranks of the column ambiguous\n")
        # 100,000 rows of 10 reals, each column a permutation: read, ranked and measured
        # for the one row whose value is out of place at the end.
        rng = random.Random(5)
        n, m = 100000, 10
        columns = [rng.sample(range(n), n) for _ in range(m)]
        with open(self.path("big.csv"), "w") as f:
            f.write(",".join("v%d" % c for c in range(m)) + "\n")
            for i in range(n):
                f.write(",".join(repr(columns[c][i] / 7.0 + 0.25) for c in range(m)) + "\n")
            f.write("1," * (m - 1) + "x\n")
        self.assertRefused(["score", "big.csv"], "big.csv: line %d, column %d: 'x' is not a number" % (n + 2, m))


class Score(CommandTest):
    def test_metrics_of_a_hand_computed_design(self):
        # Levels (1,1), (2,3), (3,2): city-block distances 3, 3, 2; squared Euclidean 5, 5, 2.
        self.write("d.csv", "x,y\n10,0.1\n20,0.3\n30,0.2\n")
        doc = json.loads(self.ok("score", "d.csv", "--format", "json", "-p", "2")[0])
        self.assertEqual((doc["input"], doc["n"], doc["m"], doc["p"]), ("d.csv", 3, 2, 2))
        self.assertAlmostEqual(doc["phi_p_city_block"], (2 * 3 ** -2 + 2 ** -2) ** 0.5, places=14)
        self.assertAlmostEqual(doc["phi_p_euclidean"], (2 / 5 + 1 / 2) ** 0.5, places=14)
        self.assertEqual((doc["min_city_block_distance"], doc["min_city_block_pairs"]), (2, 1))
        self.assertAlmostEqual(doc["min_euclidean_distance"], math.sqrt(2), places=14)
        self.assertEqual(doc["min_euclidean_pairs"], 1)
        self.assertAlmostEqual(doc["max_abs_correlation"], 0.5, places=14)
        self.assertGreater(doc["centered_l2_discrepancy"], 0)
        # MaxPro: level differences (1, 2), (2, 1), (1, 1); n^2 sqrt(mean(1/4, 1/4, 1)).
        self.assertAlmostEqual(doc["maxpro"], 9 * 0.5 ** 0.5, places=13)
        text = self.ok("score", "d.csv", "-p", "2")[0]
        self.assertIn("min_city_block_distance: 2\nmin_city_block_pairs: 1\n", text)
        self.assertEqual(text.splitlines()[-3], "max_abs_correlation: %r" % doc["max_abs_correlation"])
        self.assertEqual(self.ok("score", "d.csv", "-p", "2", "-o", "s.txt")[0], "")
        self.assertEqual(self.read("s.txt"), text)
        self.assertRefused(["score", "d.csv", "--format", "csv"], "--format: expected text or json")
        self.assertRefused(["score", "d.csv", "-p", "0.5"], "-p: expected a number from 1 to 200")
        self.assertRefused(["-n", "5", "-m", "2", "score", "d.csv"], "cannot be given with olhs score")


class Improve(CommandTest):
    def start(self, n=30, m=4, seed=2):
        rng = random.Random(seed)
        rows = [[rng.uniform(-5, 5) for _ in range(m)] for _ in range(n)]
        self.write("start.csv", "\n".join(",".join(repr(x) for x in row) for row in rows) + "\n")
        return rows

    def test_never_worse_keeps_the_values_and_repeats_itself(self):
        rows = self.start()
        args = ("improve", "start.csv", "--iterations", "30", "--seed", "4", "--quiet")
        out = self.ok(*args)[0]
        header, result = parse(out)
        result = floats(result)
        self.assertEqual(header, ["x1", "x2", "x3", "x4"])
        for c in range(4):  # each column keeps its values, to the bit
            self.assertEqual(sorted(r[c] for r in result), sorted(r[c] for r in rows))
        self.assertEqual([r[0] for r in result], [r[0] for r in rows])  # x1 and the order stay
        before, after = phi_p(ranks(rows)), phi_p(ranks(result))
        self.assertLess(after, before)
        for threads in ("1", "2", "8"):
            self.assertEqual(self.ok(*args, "-j", threads)[0], out)
        levels = floats(parse(self.ok(*args, "--levels")[0])[1])
        self.assertEqual(levels, ranks(result))
        doc = json.loads(self.ok(*args, "--format", "json")[0])
        self.assertEqual(doc["existing"]["command"], "improve")
        self.assertEqual(doc["existing"]["input_points"], 30)
        self.assertAlmostEqual(doc["existing"]["input_phi_p"], before, delta=1e-12 * before)
        self.assertLessEqual(doc["phi_p"], doc["existing"]["input_phi_p"])
        self.assertEqual(doc["scale"], "given")
        centered = floats(parse(self.ok(*args, "--placement", "centered")[0])[1])
        self.assertEqual(centered, [[(k - 0.5) / 30 for k in row] for row in ranks(result)])
        # Improving the result again never makes it worse, and writing over the input works.
        self.ok("improve", "start.csv", "--iterations", "30", "-o", "start.csv", "--quiet")
        again = floats(parse(self.ok("improve", "start.csv", "--iterations", "30", "--quiet")[0])[1])
        self.assertLessEqual(phi_p(ranks(again)), phi_p(ranks(floats(parse(self.read("start.csv"))[1]))))

    def test_summary_and_refusals(self):
        self.start(n=12, m=3)
        _, err = self.ok("improve", "start.csv", "--iterations", "5")
        lines = err.splitlines()
        self.assertTrue(cli_test.SUMMARY.match(lines[0]), lines)
        self.assertTrue(lines[1].startswith("olhs: phi_p of start.csv was "), lines)
        for args, message in [
                (["--iterations", "0"], "--iterations: 0 runs until the time budget"),
                (["--metric", "manhattan"], "--metric: expected cityblock or euclidean"),
                (["--levels", "--bounds", "0:1"], "--levels: cannot be combined with --bounds"),
                (["--bounds", "0:1,0:2"], "--bounds: expected 1 pair or one per variable of the design (3), got 2"),
                (["--restarts", "0"], "--restarts: expected a whole number from 1"),
                (["-n", "4"], "-n: unknown option"),
                (["--classic"], "--classic: unknown option")]:
            self.assertRefused(["improve", "start.csv", "-o", "out.csv"] + args, message)
            self.assertEqual(self.files(), ["start.csv"])


class Augment(CommandTest):
    def test_originals_kept_and_every_stratum_held_once(self):
        text = "a,b,c\n0.05,0.5,0.95\n0.35,0.05,0.5\n0.65,0.95,0.05\n0.95,0.35,0.65\n"
        self.write("d.csv", text)
        out, err = self.ok("augment", "d.csv", "-k", "6", "--iterations", "40")
        self.assertIn("olhs: added 6 points to the 4 of d.csv; doubled strata: 0\n", err)
        header, rows = parse(out)
        self.assertEqual(out.split("\n")[1:5], text.split("\n")[1:5])  # the originals, as written
        values = floats(rows)
        self.assertEqual(len(values), 10)
        for c in range(3):
            self.assertEqual(sorted(s[c] for s in strata(values, 10)), list(range(1, 11)))
        for row in values[4:]:  # new values in the middles of their strata
            for x in row:
                self.assertEqual(x, (int(x * 10) + 0.5) / 10)
        self.assertEqual(floats(parse(self.ok("augment", "d.csv", "-k", "6", "--iterations", "40", "--levels",
                                              "-q")[0])[1]), strata(values, 10))
        for threads in ("1", "2", "8"):
            self.assertEqual(self.ok("augment", "d.csv", "-k", "6", "--iterations", "40", "-j", threads)[0], out)
        jittered = floats(parse(self.ok("augment", "d.csv", "-k", "6", "--placement", "jittered", "-q")[0])[1])
        for c in range(3):
            self.assertEqual(sorted(s[c] for s in strata(jittered, 10)), list(range(1, 11)))

    def test_doubled_strata_in_a_box(self):
        # In [10, 20] x [-1, 1] cut into 4: x1 holds 10.5 and 11 in stratum 1, so one new
        # point cannot fill both empty strata 2 and 3; x2 leaves stratum 2 empty.
        self.write("d.csv", "10.5,-0.9\n11,0.2\n19,0.9\n")
        out, err = self.ok("augment", "d.csv", "-k", "1", "--bounds", "10:20,-1:1")
        self.assertIn("doubled strata: 1 (x1: 1, x2: 0)\n", err)
        rows = floats(parse(out)[1])
        self.assertEqual(rows[3], [16.25, -0.25])  # strata 3 of 4 in each
        doc = json.loads(self.ok("augment", "d.csv", "-k", "1", "--bounds", "10:20,-1:1", "--format", "json")[0])
        self.assertEqual({k: doc["existing"][k] for k in ("added", "doubled", "doubled_strata", "box")},
                         {"added": 1, "doubled": 1, "doubled_strata": [1, 0], "box": [[10, 20], [-1, 1]]})
        self.assertEqual(doc["design"][:3], floats(parse(self.read("d.csv") and "h\n" + self.read("d.csv"))[1]))

    def test_refusals_write_nothing(self):
        self.write("d.csv", "0.2,0.5\n0.7,1.5\n")
        for args, message in [
                (["-k", "2"], "d.csv: line 2, column 2: 1.5 lies outside [0, 1]; give the design's box with --bounds"),
                (["-k", "2", "--bounds", "0:1,0:1.2"], "d.csv: line 2, column 2: 1.5 lies outside [0, 1.2]"),
                ([], "-k: required"),
                (["-k", "0", "--bounds", "0:2"], "-k: expected a whole number from 1 to 999999"),
                (["-k", "1", "--bounds", "0:2", "--placement", "grid"], "--placement: grid puts values on the edges"),
                (["-k", "1", "--bounds", "0:2,0:2,0:2"], "--bounds: expected 1 pair or one per variable")]:
            self.assertRefused(["augment", "d.csv", "-o", "out.csv"] + args, message)
            self.assertEqual(self.files(), ["d.csv"])
        # Ties are no problem here: they just share a stratum.
        self.write("t.csv", "0.5,0.1\n0.5,0.9\n")
        self.assertIn("doubled strata: 1 (x1: 1, x2: 0)", self.ok("augment", "t.csv", "-k", "2")[1])


def main():
    if len(sys.argv) != 5:
        sys.stderr.write(__doc__)
        return 2
    cli_test.OLHS, cli_test.HELPER, cli_test.VERSION, group = sys.argv[1:]
    suite = unittest.defaultTestLoader.loadTestsFromName(group, sys.modules[__name__])
    if suite.countTestCases() == 0:
        sys.stderr.write("no tests in group %s\n" % group)
        return 2
    return 0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
