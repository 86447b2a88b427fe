"""The README's first program: what one desktop notes, another that uses the same cloud folder lists."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv.pop(1)


class FirstHost(unittest.TestCase):
    def test_two_desktops_come_to_list_the_same_notes(self):
        with tempfile.TemporaryDirectory() as root:
            def notes(desktop, *note):
                folder = pathlib.Path(root, desktop)
                folder.mkdir(exist_ok=True)
                # Each desktop has settings of its own.
                result = subprocess.run([PROGRAM, folder, f"folder:{root}/cloud", *note], check=True, text=True,
                                        stdout=subprocess.PIPE, env={**os.environ, "XDG_CONFIG_HOME": str(folder)})
                return set(result.stdout.splitlines())

            self.assertEqual(notes("a", "bread"), {"bread"})
            self.assertEqual(notes("b", "milk"), {"bread", "milk"})
            self.assertEqual(notes("a"), {"bread", "milk"})

    def test_says_what_is_missing(self):
        result = subprocess.run([PROGRAM], text=True, stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 1)
        self.assertIn("folder:PATH", result.stderr)


unittest.main()
