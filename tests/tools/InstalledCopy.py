"""An installed copy is all that a host needs: CMake and pkg-config find it, its headers include each other only, and
the README's program is built with it, outside this tree, and runs."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SANITIZERS = sys.argv.pop(4)
PROJECT, BUILD, COMPILER = (pathlib.Path(argument) for argument in sys.argv[1:4])
del sys.argv[1:4]
FLAGS = ["-O0"] + ([f"-fsanitize={SANITIZERS}"] if SANITIZERS else [])
CONFIGURATION = "Debug"  # as if the host were at work on itself, whatever the library was built as


def run(*command, **options):
    """What the command prints; its failure is the test's, with all that it said."""
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        raise AssertionError(f"{command[0]}: exit {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


class InstalledCopy(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.prefix = cls.folder / "prefix"
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        # Moved after its installation, as a package is: nothing in it may name the place.
        cls.prefix = cls.prefix.rename(cls.folder / "moved")

    def pkg_config(self, *arguments, package="qwlibrary-widgets"):
        """About the library and its widgets, which stand on it, unless the package says otherwise."""
        path = next(self.prefix.glob("lib*/**/pkgconfig"))
        return run("pkg-config", *arguments, package, env={**os.environ, "PKG_CONFIG_PATH": str(path)}).split()

    def headers(self):
        root = self.prefix / "include/qwlibrary"
        return [path.relative_to(root).as_posix() for path in sorted(root.rglob("*")) if path.is_file()]

    def test_cmake_finds_it_for_a_host_elsewhere_which_then_runs(self):
        source = shutil.copytree(PROJECT / "examples/first-host", self.folder / "host")
        run("cmake", "-G", "Ninja", "-S", source, "-B", source / "build", f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_BUILD_TYPE={CONFIGURATION}", f"-DCMAKE_CXX_COMPILER={COMPILER}",
            f"-DCMAKE_CXX_FLAGS_DEBUG={' '.join(FLAGS)}")
        run("cmake", "--build", source / "build")
        notes = run(source / "build/first-host", self.folder, f"folder:{self.folder}/cloud", "bread", "milk",
                    env={**os.environ, "XDG_CONFIG_HOME": str(self.folder)})
        self.assertEqual(set(notes.splitlines()), {"bread", "milk"})

    def test_its_headers_are_the_public_ones_and_compile_by_what_pkg_config_says(self):
        headers = self.headers()
        self.assertIn("sync/QWDropboxSyncCoreData.h", headers)
        self.assertIn("dropbox/http/QWHTTPRestClient.h", headers)
        self.assertIn("testing/QWVirtualWorld.h", headers)
        for name in headers:
            self.assertTrue(name.endswith(".h") and not name.endswith("_p.h"), name)
            self.assertNotIn("sqlite", pathlib.PurePath(name).parts)
        unit = self.folder / "headers.cpp"
        unit.write_text("".join(f'#include "{name}"\n' for name in headers))
        run(COMPILER, "-std=c++20", "-fPIC", "-Wall", "-Wextra", "-Werror", "-fsyntax-only",
            *self.pkg_config("--cflags"), unit)

    def test_no_file_names_the_tree_that_it_was_built_from(self):
        for path in self.prefix.rglob("*"):
            if path.suffix in (".cmake", ".pc", ".h"):
                self.assertNotIn(str(PROJECT), path.read_text(encoding="utf-8"), path)

    def test_pkg_config_knows_its_version_and_links_every_library(self):
        self.assertRegex(self.pkg_config("--modversion")[0], r"^\d+\.\d+\.\d+$")
        self.assertNotIn("-lQt6Widgets", self.pkg_config("--libs", package="qwlibrary"))
        linked = {flag[2:] for flag in self.pkg_config("--libs") if flag.startswith("-lqw_")}
        self.assertEqual(linked, {path.stem[3:] for path in self.prefix.glob("lib*/**/libqw_*.a")})

    def test_pkg_config_links_a_program_that_writes_images_with_the_libraries_for_them(self):
        source = self.folder / "images.cpp"
        source.write_text("""#include "util/images/CIImage_RepresentationWithFileType.h"
            int main() {
                QImage image(9, 9, QImage::Format_RGB32);
                image.fill(0);
                return representationUsingType(image, NSGIFFileType).isEmpty()
                    || representationUsingType(image, NSJPEG2000FileType).isEmpty();
            }""")
        program = self.folder / "images"
        run(COMPILER, "-std=c++20", "-fPIC", *FLAGS, source, "-o", program,
            *self.pkg_config("--cflags", "--libs", package="qwlibrary"))
        run(program)

    def test_the_stand_in_comes_with_its_page(self):
        run(self.prefix / "bin/qw-stand-in", "--help")
        self.assertTrue((self.prefix / "share/doc/QWLibrary/stand-in.md").is_file())


unittest.main()
