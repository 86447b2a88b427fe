"""Every string table of the library has the keys of all others, each with a finished text, and those that the sources
ask for."""
import pathlib
import re
import sys
import unittest
import xml.etree.ElementTree as ElementTree

SRC = pathlib.Path(sys.argv.pop(1)) / "src"
LANGUAGES = {"en", "de", "fr", "es", "it", "pt", "nl", "ja", "zh_Hans", "ar", "ru"}
HOSTS_OWN = {"Yes", "No"}


def texts(table):
    """key → text of a .ts file; an unfinished text counts as none."""
    found = {}
    for message in ElementTree.parse(table).iter("message"):
        translation = message.find("translation")
        found[message.findtext("source")] = None if "type" in translation.attrib else translation.text
    return found


class StringTables(unittest.TestCase):
    def setUp(self):
        self.tables = {path.stem: texts(path) for path in (SRC / "platform/strings").glob("*.ts")}

    def test_each_language_has_a_table(self):
        self.assertEqual(set(self.tables), LANGUAGES)

    def test_all_tables_have_the_same_keys_and_a_text_for_each(self):
        for language, table in self.tables.items():
            with self.subTest(language=language):
                self.assertEqual(set(table), set(self.tables["en"]))
                self.assertTrue(all(table.values()))

    def test_every_key_that_the_sources_name_is_in_the_tables_or_the_hosts_own(self):
        named = {key for path in SRC.rglob("*.cpp")
                 for key in re.findall(r'QWLocalizedString\(\s*"([^"]+)"', path.read_text(encoding="utf-8"))}
        self.assertGreater(len(named), 2)
        self.assertLessEqual(named - HOSTS_OWN, set(self.tables["en"]))
        self.assertFalse(HOSTS_OWN & set(self.tables["en"]))


unittest.main()
