"""The documents lead where they say, the README's program is the compiled one, and the selectors' table is true."""
import pathlib
import re
import sys
import unittest

PROJECT = pathlib.Path(sys.argv.pop(1))
CODE = re.compile(r"```.*?```|`[^`\n]*`", re.DOTALL)
LINK = re.compile(r"!?\[[^\]]*\]\(([^)#]+)[^)]*\)")
SELECTOR_ROW = re.compile(r"^\| `([\w:]+)` \| `([^`]+)`(?: \((\w+)\))? \| `([^`]+)` \|$", re.MULTILINE)
SIGNATURE = re.compile(r"(?:static )?(?P<result>.*?)(?P<scope>(?:\w+::)*)(?P<name>\w+)(?P<rest>\(.*|)$")


def flat(text):
    """The text without its line breaks and indentation, which differ with the place where code stands."""
    return " ".join(text.split()).replace("( ", "(")


def declarations(header, scope):
    """What the header declares in that class (all of it outside classes), comments and line breaks taken out."""
    text = re.sub(r"//.*", "", (PROJECT / "src" / header).read_text(encoding="utf-8"))
    if scope and scope[0].isupper():
        text = re.search(rf"^(?:class|struct) {scope}\b[^;]*?{{.*?^}};", text, re.DOTALL | re.MULTILINE).group(0)
    return flat(text)


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

    def test_every_program_text_of_a_page_of_the_guide_stands_in_the_compiled_test_of_that_page(self):
        for page in PROJECT.glob("docs/guide/*.md"):
            compiled = flat((PROJECT / f"tests/guide/{page.stem}Test.cpp").read_text(encoding="utf-8"))
            for block in re.findall(r"```cpp\n(.*?)```", page.read_text(encoding="utf-8"), re.DOTALL):
                self.assertIn(flat(block), compiled, page)

    def test_the_contents_of_the_selectors_and_the_list_of_decisions_are_whole(self):
        selectors = (PROJECT / "docs/selectors.md").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r"\[([^\]]+)\]\(#", selectors), re.findall(r"^## (.+)$", selectors, re.MULTILINE))
        decisions = PROJECT / "docs/decisions"
        lines = [f"{page.read_text(encoding='utf-8').splitlines()[0][2:].replace('. ', '. [', 1)}]({page.name})"
                 for page in sorted(decisions.glob("0*.md"))]
        self.assertEqual((decisions / "README.md").read_text(encoding="utf-8").splitlines()[-len(lines):], lines)

    def test_every_selector_has_the_signature_that_its_header_declares(self):
        rows = SELECTOR_ROW.findall((PROJECT / "docs/selectors.md").read_text(encoding="utf-8"))
        self.assertGreater(len(rows), 150)
        for selector, signature, access, header in rows:
            with self.subTest(selector=selector, signature=signature):
                parts = SIGNATURE.match(signature)
                declared = declarations(header, parts["scope"].removesuffix("::"))
                declaration = parts["result"] + parts["name"] + parts["rest"]
                self.assertIn(declaration, declared)
                before = declared[: declared.index(declaration)]
                default = "private" if declared.startswith("class") else "public"
                self.assertEqual(re.findall(r"\b(public|protected|private):", f"{default}: {before}")[-1],
                                 access or "public")

    def test_every_function_is_named_after_the_first_words_of_its_selector(self):
        document = (PROJECT / "docs/selectors.md").read_text(encoding="utf-8")
        for selector, signature, _, _ in SELECTOR_ROW.findall(document.split("under shorter names")[0]):
            if not selector.startswith("init"):
                first, second = (selector.split(":") + [""])[:2]
                self.assertIn(SIGNATURE.match(signature)["name"],
                              [first, first + second[:1].upper() + second[1:], self.assigned_by(first)])

    @staticmethod
    def assigned_by(setter):
        """The field that stands for a setter: "specialAction" for "setSpecialAction"."""
        return setter[3:4].lower() + setter[4:]


unittest.main()
