"""A test file that no suite lists stops the configure step."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))


class TestRegistration(unittest.TestCase):
    def configure(self, registered):
        """Configures a project that holds the files aTest.cpp and deep/bTest.cpp and lists the given ones."""
        with tempfile.TemporaryDirectory() as root:
            source = pathlib.Path(root, "source")
            (source / "deep").mkdir(parents=True)
            (source / "aTest.cpp").touch()
            (source / "deep/bTest.cpp").touch()
            listed = "".join(f' "${{CMAKE_CURRENT_SOURCE_DIR}}/{name}"' for name in registered)
            (source / "CMakeLists.txt").write_text(
                "cmake_minimum_required(VERSION 3.25)\n"
                "project(Fixture LANGUAGES NONE)\n"
                f'include("{PROJECT.as_posix()}/cmake/QWArea.cmake")\n'
                f"set_property(GLOBAL PROPERTY QW_REGISTERED_TESTS{listed})\n"
                "qw_require_every_test_registered()\n")
            return subprocess.run(["cmake", "-G", "Ninja", "-S", source, "-B", root + "/build"],
                                  capture_output=True, text=True, check=False)

    def test_all_files_listed_configures(self):
        result = self.configure(["aTest.cpp", "deep/bTest.cpp"])
        self.assertEqual(result.returncode, 0, result.stderr)

    def test_a_file_left_out_stops_and_is_named(self):
        result = self.configure(["aTest.cpp"])
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("deep/bTest.cpp is in no test suite", " ".join(result.stderr.split()))


unittest.main()
