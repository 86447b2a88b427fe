"""The run of two desktops, interrupted, ends everything that it has started and leaves nothing behind."""
import os
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCE, ATLAS, STAND_IN = (sys.argv.pop(1) for _ in range(3))


class TwoDesktops(unittest.TestCase):
    def test_an_interrupted_run_leaves_nothing_behind(self):
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.Popen([f"{SOURCE}/tools/two-desktops"], text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env={**os.environ, "ATLAS": ATLAS, "STAND_IN": STAND_IN, "TMPDIR": folder})
            imported = any("import the ISO tables" in line for line in run.stdout)
            run.send_signal(signal.SIGTERM)
            # Ends with the last process that could write.
            errors = run.communicate(timeout=50)[1]
            self.assertTrue(imported, errors)
            self.assertEqual(run.returncode, 1, errors)
            self.assertEqual(os.listdir(folder), [])


unittest.main()
