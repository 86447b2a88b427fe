"""The documents lead where they say, and the README's program is the one that is compiled."""
import pathlib
import re
import sys
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
CODE = re.compile(r"```.*?```|`[^`\n]*`", re.DOTALL)
LINK = re.compile(r"!?\[[^\]]*\]\(([^)#]+)[^)]*\)")


class Documents(unittest.TestCase):
    def test_every_link_to_a_file_leads_to_one(self):
        for document in [*PROJECT.glob("*.md"), *PROJECT.glob("docs/**/*.md")]:
            for target in LINK.findall(CODE.sub("", document.read_text(encoding="utf-8"))):
                if "://" not in target:
                    self.assertTrue((document.parent / target).exists(), f"{document}: {target}")

    def test_the_first_program_of_the_readme_is_the_compiled_one(self):
        readme = (PROJECT / "README.md").read_text(encoding="utf-8")
        block = re.search(r"```cpp\n(.*?)```", readme, re.DOTALL)
        self.assertEqual(block.group(1), (PROJECT / "examples/first-host/main.cpp").read_text(encoding="utf-8"))


unittest.main()
