"""tools/check-includes reports each kind of include that crosses a border, and nothing else."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = pathlib.Path(sys.argv.pop(1)) / "tools/check-includes"

# Headers that the cases below include.
HEADERS = [
    "src/platform/QWClock.h",
    "src/store/QWRecord.h",
    "src/store/QWRecord_p.h",
    "src/store/sqlite/QWStatement.h",
    "src/util/QWTimer.h",
    "src/dropbox/DBClient.h",
    "src/dropbox/folder/DBFolder.h",
    "src/dropbox/http/DBRequest.h",
    "src/core/QWBase.h",
    "src/sync/QWEngine.h",
    "src/sync/cache/QWCache.h",
    "src/sync/cache/QWCache_p.h",
    "src/sync/supervisor/QWKeeper.h",
    "src/testing/QWBuilder.h",
]


class IncludeCheck(unittest.TestCase):
    def report(self, path, *includes):
        """What the tool says of a tree in which the file at `path` has these includes."""
        with tempfile.TemporaryDirectory() as root:
            for header in HEADERS + [path]:
                file = pathlib.Path(root, header)
                file.parent.mkdir(parents=True, exist_ok=True)
                file.touch()
            pathlib.Path(root, path).write_text("".join(f"#include {name}\n" for name in includes))
            result = subprocess.run([TOOL, root], capture_output=True, text=True, check=False)
        lines = result.stdout.splitlines()
        self.assertEqual(result.returncode, 1 if len(lines) > 1 else 0, result.stderr)
        return lines[:-1]

    def allows(self, path, *includes):
        self.assertEqual(self.report(path, *includes), [])

    def refuses(self, path, include, reason):
        self.assertEqual(self.report(path, include), [f'{path}: #include {include.strip(chr(34) + "<>")}: {reason}'])

    def test_an_area_may_include_itself_the_platform_its_neighbours_below_and_libraries(self):
        self.allows("src/sync/Upload.cpp", '"sync/cache/QWCache.h"', '"platform/QWClock.h"', '"core/QWBase.h"',
                    '"dropbox/DBClient.h"', "<QString>", "<vector>")
        self.allows("src/testing/Faults.cpp", '"sync/QWEngine.h"', '"dropbox/folder/DBFolder.h"')
        self.allows("src/store/Fetch.cpp", '"store/sqlite/QWStatement.h"', '"store/QWRecord_p.h"')

    def test_the_platform_includes_nobody(self):
        self.refuses("src/platform/Clock.cpp", '"util/QWTimer.h"', "platform may not know util")

    def test_store_and_dropbox_never_meet(self):
        self.refuses("src/store/Fetch.cpp", '"dropbox/DBClient.h"', "store may not know dropbox")
        self.refuses("src/dropbox/Path.cpp", '"store/QWRecord.h"', "dropbox may not know store")

    def test_the_engine_sees_only_the_top_headers_of_dropbox(self):
        self.refuses("src/sync/Up.cpp", '"dropbox/folder/DBFolder.h"', "sync may not know dropbox/folder")
        self.refuses("src/sync/Up.cpp", '"dropbox/http/DBRequest.h"', "sync may not know dropbox/http")

    def test_the_engine_does_not_know_its_supervisor(self):
        self.refuses("src/sync/cache/Cache.cpp", '"sync/supervisor/QWKeeper.h"', "sync may not know sync/supervisor")
        self.allows("src/sync/supervisor/Keeper.cpp", '"sync/cache/QWCache_p.h"', '"dropbox/DBClient.h"')

    def test_nothing_that_ships_to_hosts_as_the_library_includes_testing(self):
        self.refuses("src/core/Base.cpp", '"testing/QWBuilder.h"', "core may not know testing")

    def test_private_headers_stay_in_their_area_and_its_tests(self):
        self.refuses("src/core/Base.cpp", '"store/QWRecord_p.h"', "private to store")
        self.refuses("examples/atlas/main.cpp", '"store/sqlite/QWStatement.h"', "private to store")
        self.refuses("tests/core/BaseTest.cpp", '"store/QWRecord_p.h"', "private to store")
        self.allows("tests/store/RecordTest.cpp", '"store/QWRecord_p.h"')
        self.allows("tests/fuzz/recordTarget.cpp", '"store/QWRecord_p.h"')

    def test_angle_brackets_do_not_hide_an_include(self):
        self.refuses("src/util/Timer.cpp", "<store/QWRecord.h>", "util may not know store")

    def test_own_headers_are_written_from_the_source_folder(self):
        self.refuses("src/util/Timer.cpp", '"QWTimer.h"', "not found in src/: write it from src/")
        self.refuses("tests/util/TimerTest.cpp", '"../../src/util/QWTimer.h"', 'written with "..": write it from src/')

    def test_a_folder_of_no_known_area_is_reported(self):
        self.assertEqual(self.report("src/misc/Things.cpp"),
                         ["src/misc/Things.cpp: belongs to no area: name its folder in tools/check-includes"])


unittest.main()
