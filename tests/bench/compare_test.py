"""bench/compare on tables with known changes. Argument: the program."""

import subprocess
import sys
import tempfile
import unittest

COMPARE = sys.argv.pop()


def table(times):
    rows = [f"{name:26} 8u    2048 {time * 4e6:11.0f} {time:9.4f}   1.00    0.1000   1.00  peer 0.2 (0.5)"
            for name, time in times.items()]
    return "machine: a\ncopy:  our time\n\noperation   side  ns/call\n" + "\n".join(rows) + "\n"


class Compare(unittest.TestCase):
    def compare(self, old, new):
        with tempfile.NamedTemporaryFile("w") as a, tempfile.NamedTemporaryFile("w") as b:
            for file, times in ((a, old), (b, new)):
                file.write(table(times))
                file.flush()
            result = subprocess.run([sys.executable, COMPARE, a.name, b.name], text=True,
                                    capture_output=True, check=False)
        return result.returncode, result.stdout.splitlines()

    def test_tells_rows_that_moved_more_than_the_machine(self):
        old = {f"row {i}, of {i}": 0.1 + 0.01 * i for i in range(20)}
        new = {name: 1.3 * time for name, time in old.items()}  # a slower machine
        self.assertEqual(self.compare(old, new)[0], 0)
        new["row 3, of 3"] *= 0.5
        status, lines = self.compare(old, new)
        self.assertEqual((status, len(lines)), (0, 2))
        self.assertRegex(lines[0], r"^row 3, of 3 .* 0\.50$")
        new["row 4, of 4"] *= 1.5
        del new["row 5, of 5"]
        status, lines = self.compare(old, new)
        self.assertEqual((status, len(lines)), (1, 3))
        self.assertRegex(lines[1], r"^row 4, of 4 .* 1\.50$")
        self.assertIn("2 of 19 rows", lines[2])
        self.assertIn("1 are in one table only", lines[2])

    def test_takes_the_usual_scatter_for_noise(self):
        old = {f"row {i}": 0.1 for i in range(20)}
        new = {name: 0.1 * (1.2 if i % 2 else 0.8) for i, name in enumerate(old)}
        self.assertEqual(self.compare(old, new)[0], 0)

    def test_wants_rows_in_common(self):
        self.assertEqual(self.compare({"a": 1}, {"b": 1})[0], 1)


if __name__ == "__main__":
    unittest.main()
