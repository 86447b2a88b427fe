"""tools/simulate --state goes on where it was interrupted, and sums up what all chunks have said."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL, PROGRAM = pathlib.Path(sys.argv.pop(1)) / "tools/simulate", sys.argv.pop(1)

# Says what the program does, of one event and two requests for each seed; seed 1500 fails while FAILS stands there.
FAKE = """#!/usr/bin/env python3
import pathlib, sys
folder = pathlib.Path(__file__).parent
first, last = map(int, sys.argv[sys.argv.index("--seeds") + 1].split(".."))
with (folder / "calls").open("a") as calls:
    print(*sys.argv[1:], file=calls)
if first > 2000 and (folder / "DIES").exists():
    sys.exit(9)
fails = first <= 1500 <= last and (folder / "FAILS").exists()
if fails:
    print("seed 1500 of everything: it broke")
count = last - first + 1
print(f"everything: {count} seeds in 2.0 s ({count / 2:.1f} a second), {int(fails)} failed; {count} events, "
      f"{2 * count} requests, 3 of them disturbed, at most 0.{first % 7}0 of those allowed in a seed, 1 deaths, "
      f"0 questions")
sys.exit(int(fails))
"""


class Simulate(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.state = self.folder / "state"
        self.fake = self.folder / "fake"
        self.write(FAKE)

    def write(self, program):
        self.fake.write_text(program)
        self.fake.chmod(0o755)

    def run_tool(self, *options, program=None):
        return subprocess.run([TOOL, "--state", self.state, *options], capture_output=True, text=True,
                              env={**os.environ, "QW_SIMULATE": str(program or self.fake)}, timeout=60)

    def calls(self):
        calls = (self.folder / "calls").read_text().splitlines()
        (self.folder / "calls").unlink()
        return calls

    def test_an_interrupted_call_is_gone_on_with_and_summed_up(self):
        (self.folder / "DIES").touch()
        self.assertNotEqual(self.run_tool("--seeds", "1..2500", "--jobs", "2").returncode, 0)
        self.assertEqual(len(self.state.read_text().splitlines()), 2)
        self.assertEqual(self.calls(), [f"--seeds {each} --jobs 2" for each in ("1..1000", "1001..2000", "2001..2500")])
        (self.folder / "DIES").unlink()
        again = self.run_tool("--seeds", "1..2500", "--jobs", "2")
        self.assertEqual(self.calls(), ["--seeds 2001..2500 --jobs 2"])
        self.assertEqual(again.stdout.splitlines()[-1],
                         "everything: 2500 seeds in 6.0 s (416.7 a second), 0 failed; 2500 events, 5000 requests, "
                         "9 of them disturbed, at most 0.60 of those allowed in a seed, 3 deaths, 0 questions")
        self.assertEqual(again.returncode, 0)

    def test_a_seed_that_failed_is_told_of_and_fails_the_next_call_too(self):
        (self.folder / "FAILS").touch()
        first = self.run_tool("--seeds", "1001..2000")
        self.assertIn("seed 1500 of everything: it broke", first.stdout)
        self.assertEqual(first.returncode, 1)
        self.assertEqual(self.run_tool("--seeds", "1001..2000").returncode, 1)
        self.assertEqual(len(self.calls()), 1)

    def test_what_another_program_or_scenario_has_left_is_refused(self):
        self.run_tool("--seeds", "1..10")
        other = self.run_tool("--seeds", "1..10", "--scenario", "cloud")
        self.assertIn(f"{self.state}: line 1 is of another program, or of other options", other.stderr)
        self.assertEqual(other.returncode, 1)
        self.write(FAKE + "\n")
        self.assertIn("another program", self.run_tool("--seeds", "1..10").stderr)
        self.state.write_text("nonsense\n")
        self.assertIn(f"{self.state}: line 1 is not understood: nonsense", self.run_tool("--seeds", "1..10").stderr)

    def test_it_understands_the_program(self):
        whole = self.run_tool("--seeds", "1..2", "--scenario", "network", program=PROGRAM)
        self.assertRegex(whole.stdout, r"^network: 2 seeds in .* 0 failed")
        self.assertEqual(whole.returncode, 0)


unittest.main()
