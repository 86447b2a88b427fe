"""tools/simulate --state goes on where it was interrupted, and sums up what all chunks have said."""
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import unittest

TOOL, PROGRAM = pathlib.Path(sys.argv.pop(1)) / "tools/simulate", sys.argv.pop(1)

# Says what the program does, of one event and two requests for each seed. While a file of that name stands there, seed
# 1500 FAILS, the program DIES or HANGS at seeds behind 2000, and the tree is BUILT while it runs.
FAKE = """#!/usr/bin/env python3
import os, pathlib, subprocess, sys
folder = pathlib.Path(os.environ["FOLDER"])
first, last = map(int, sys.argv[sys.argv.index("--seeds") + 1].split(".."))
with (folder / "calls").open("a") as calls:
    print(*sys.argv[1:], file=calls)
if first > 2000 and (folder / "DIES").exists():
    sys.exit(9)
if first > 2000 and (folder / "HANGS").exists():
    worker = subprocess.Popen(["sleep", "50"])
    print("worker", worker.pid, flush=True)
    worker.wait()
if (folder / "BUILT").exists():
    (folder / "fake").write_text("another one")
fails = first <= 1500 <= last and (folder / "FAILS").exists()
if fails:
    print("seed 1500 of everything: it broke")
count = last - first + 1
print(f"everything: {count} seeds in 2.0 s ({count / 2:.1f} a second), {int(fails)} failed; {count} events, "
      f"{2 * count} requests, 3 of them disturbed, at most 0.{first % 7}0 of those allowed in a seed, 1 deaths, "
      f"0 questions")
if "alone" in sys.argv:
    print(f"  copy: 2")
    print(f"  no image: {first}")
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
                              env=self.environment(program), timeout=60)

    def environment(self, program=None):
        return {**os.environ, "QW_SIMULATE": str(program or self.fake), "FOLDER": str(self.folder)}

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
        again = self.run_tool("--seeds=1..2500", "--jobs=2")
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
        again = self.run_tool("--seeds", "1001..2000")
        self.assertIn("failed: seeds 1500\n", again.stdout)
        self.assertIn(" 1 failed;", again.stdout.splitlines()[-1])
        self.assertEqual(again.returncode, 1)
        self.assertEqual(len(self.calls()), 1)

    def test_a_call_that_is_ended_ends_what_it_has_started_and_leaves_its_chunk_to_the_next(self):
        (self.folder / "HANGS").touch()
        call = subprocess.Popen([TOOL, "--state", self.state, "--seeds", "1001..3000"], text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=self.environment())
        worker = next(line.split()[1] for line in call.stdout if line.startswith("worker "))
        self.assertIn(f"{self.state}: another call writes it", self.run_tool("--seeds", "1..10").stderr)
        call.send_signal(signal.SIGTERM)
        # Ends with the last process that could write.
        errors = call.communicate(timeout=40)[1]
        self.assertIn("interrupted", errors)
        self.assertEqual(call.returncode, 1)
        self.assertFalse(self.is_running(worker))
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["HANGS", "calls", "fake", "state"])
        (self.folder / "HANGS").unlink()
        self.calls()
        self.assertEqual(self.run_tool("--seeds", "1001..3000").returncode, 0)
        self.assertEqual(self.calls(), ["--seeds 2001..3000 --jobs 1"])

    @staticmethod
    def is_running(process):
        try:
            return pathlib.Path("/proc", process, "stat").read_text().rpartition(")")[2].split()[0] != "Z"
        except OSError:
            return False

    def test_a_line_that_was_not_written_to_its_end_is_that_of_no_chunk(self):
        self.run_tool("--seeds", "1..2000")
        text = self.state.read_text()
        for length in (1, 40, 70, 100, len(text.splitlines()[0])):
            self.state.write_text(text[:len(text) // 2 + length])
            self.calls()
            self.assertEqual(self.run_tool("--seeds", "1..2000").returncode, 0)
            self.assertEqual(self.calls(), ["--seeds 1001..2000 --jobs 1"])
            self.assertEqual(self.state.read_text(), text)
            (self.folder / "calls").touch()

    def test_what_an_engine_alone_has_left_over_is_summed_up(self):
        for _ in range(2):
            call = self.run_tool("--seeds", "1..2000", "--scenario", "alone")
            self.assertEqual(call.stdout.splitlines()[-3:-1], ["  copy: 4", "  no image: 1002"])
            self.assertRegex(call.stdout.splitlines()[-1], "^alone: 2000 seeds ")

    def test_the_tree_may_be_built_meanwhile(self):
        (self.folder / "BUILT").touch()
        self.assertEqual(self.run_tool("--seeds", "1..3000").returncode, 0)
        self.assertEqual(len(self.state.read_text().splitlines()), 3)
        self.assertIn("another program", self.run_tool("--seeds", "1..3000").stderr)

    def test_what_another_program_or_scenario_has_left_is_refused(self):
        self.run_tool("--seeds", "1..10")
        other = self.run_tool("--seeds", "1..10", "--scenario", "cloud")
        self.assertIn(f"{self.state}: line 1 is of another program, or of other options", other.stderr)
        self.assertEqual(other.returncode, 2)
        self.write(FAKE + "\n")
        self.assertIn("another program", self.run_tool("--seeds", "1..10").stderr)
        self.state.write_text("nonsense\n")
        self.assertIn(f"{self.state}: line 1 is not understood: nonsense", self.run_tool("--seeds", "1..10").stderr)

    def test_options_that_make_no_sense_are_refused(self):
        self.assertIn("--seeds 5..1 is no range", self.run_tool("--seeds", "5..1").stderr)
        for options in (["--seeds", "5..1"], ["--scenario", "sunshine"], ["--jobs", "0"], ["--sunshine"]):
            refused = self.run_tool(*options, program=PROGRAM)
            self.assertEqual((refused.returncode, refused.stdout), (2, ""), options)
        self.assertEqual(self.state.read_text(), "")

    def test_its_help_says_what_its_state_is_and_what_the_program_understands(self):
        text = self.run_tool("--help", program=PROGRAM).stdout
        self.assertIn("--state FILE", text)
        self.assertIn("--forbid", text)

    def test_it_understands_the_program(self):
        broken = self.run_tool("--seeds", "1", "--scenario", "alone", "--forbid", "copy", program=PROGRAM)
        self.assertRegex(broken.stdout, r"(?m)^seed 1 of alone: copy: ")
        self.assertIn("\nfailed: seeds 1\n", broken.stdout)
        self.assertEqual(broken.returncode, 1)
        self.state.unlink()
        whole = self.run_tool("--seeds", "1..2", "--scenario", "network", program=PROGRAM)
        self.assertRegex(whole.stdout, r"(?m)^network: 2 seeds in .* 0 failed")
        self.assertEqual(whole.returncode, 0)


unittest.main()
