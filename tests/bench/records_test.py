#!/usr/bin/env python3
"""The records of designs beyond the database stand, and the checker refuses tampered ones."""
import copy
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

RECORDS = pathlib.Path(__file__).resolve().parents[2] / "bench" / "records"
CHECK = RECORDS / "check.py"


def check(*paths):
    return subprocess.run([sys.executable, str(CHECK), *map(str, paths)], capture_output=True, text=True)


class Records(unittest.TestCase):
    def test_every_record_stands(self):
        records = sorted(RECORDS.glob("*.json"))
        self.assertTrue(records)
        result = check()
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertEqual(result.stdout.count("stands"), len(records))

    def test_tampered_records_fail(self):
        record = json.loads(sorted(RECORDS.glob("*.json"))[0].read_text())
        levels = record["levels"]
        tampered = {
            "a repeated level": lambda r: r["levels"][1].__setitem__(1, r["levels"][0][1]),
            "a larger claim": lambda r: r.__setitem__("smallest", r["smallest"] + 1),
            "fewer pairs claimed": lambda r: r.__setitem__("pairs", r["pairs"] - 1),
            "a database it does not beat": lambda r: r.__setitem__("database", r["smallest"]),
            "two levels exchanged in a column": lambda r: r["levels"][0].__setitem__(0, levels[1][0])
            or r["levels"][1].__setitem__(0, levels[0][0]),
            "a row missing": lambda r: r["levels"].pop(),
        }
        with tempfile.TemporaryDirectory() as directory:
            for what, change in tampered.items():
                with self.subTest(what):
                    bad = copy.deepcopy(record)
                    change(bad)
                    path = pathlib.Path(directory) / "record.json"
                    path.write_text(json.dumps(bad))
                    result = check(path)
                    self.assertEqual(result.returncode, 1, result.stdout)
                    self.assertNotIn("stands", result.stdout)
            path = pathlib.Path(directory) / "broken.json"
            path.write_text("{")
            self.assertEqual(check(path).returncode, 1)


if __name__ == "__main__":
    unittest.main()
