"""The run of two desktops, interrupted, ends everything that it has started and leaves nothing behind."""
import os
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCE, ATLAS, ATLAS_DESKTOP, STAND_IN = (sys.argv.pop(1) for _ in range(4))


class TwoDesktops(unittest.TestCase):
    def interrupt(self, options, when):
        """Runs with the options, and terminates the run when a line holds the text."""
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.Popen([f"{SOURCE}/tools/two-desktops", *options], text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env={**os.environ, "ATLAS": ATLAS, "ATLAS_DESKTOP": ATLAS_DESKTOP,
                                        "STAND_IN": STAND_IN, "TMPDIR": folder, "QT_QPA_PLATFORM": "offscreen"})
            came = any(when in line for line in run.stdout)
            run.send_signal(signal.SIGTERM)
            # Ends with the last process that could write.
            errors = run.communicate(timeout=50)[1]
            self.assertTrue(came, errors)
            self.assertEqual(run.returncode, 1, errors)
            self.assertEqual(os.listdir(folder), [])

    def test_an_interrupted_run_leaves_nothing_behind(self):
        self.interrupt([], "import the ISO tables")

    def test_two_windows_that_are_interrupted_leave_nothing_behind(self):
        self.interrupt(["--windows"], "two windows share a cloud")


unittest.main()
