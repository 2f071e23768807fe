"""Shows that the table of wrong libraries is read as meant, that a change which does not fit its source is an error, and
that every verdict other than the table's is found."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import page
from judge import PASSED, JudgeError, read_log
from table import Change, TIMEOUT, TableError, meant, read_table, shown
from wrong_libraries import differences, gaps, grouped

TABLE = """# A comment.

library  first
wrong    It does this
wrong    and that.
source   src/a.cpp
 stays
-goes
+comes
+    twice
source   src/b.cpp
-gone
fails    One/all/a__*
fails    One/all/b
  Two\\nlines, \\\\n and  blanks
fails    Two/all/c
  Test timeout expired

library  second
wrong    Nothing.
source   src/a.cpp
+comes
-goes
fails    Two/all/d
  other
"""
CHECKS = ["One/all/a__kX", "One/all/a__kY", "One/all/b", "Two/all/c", "Two/all/d"]
TWO_LINES = "Two\nlines, \\n and  blanks"
SOURCES = {"src/a.cpp": "begins\nstays\ngoes\nends\n", "src/b.cpp": "gone\n"}
LOG = """<?xml version="1.0"?>
<testsuites xmlns="http://check.sourceforge.net/ns"><suite><title>One</title>
<test result="success"><fn>f:1</fn><id>a</id><description>all</description><message>Passed</message></test>
<test result="failure"><fn>f:1</fn><id>b</id><description>all</description><message>x
&lt;y&gt;</message></test>
<test result="error"><fn>f:1</fn><id>{third}</id><description>all</description><message>Passed</message></test>
</suite></testsuites>
"""


class TableTest(unittest.TestCase):
    def setUp(self):
        self.first, self.second = read_table(TABLE)

    def test_reads_what_is_wrong_and_what_fails(self):
        self.assertEqual((self.first.name, self.first.wrong), ("first", "It does this and that."))
        self.assertEqual(self.first.expected(CHECKS), {"One/all/a__kX": TWO_LINES, "One/all/a__kY": TWO_LINES,
                                                       "One/all/b": TWO_LINES, "Two/all/c": TIMEOUT})
        self.assertEqual(self.second.expected(CHECKS), {"Two/all/d": "other"})

    def test_applies_changes(self):
        self.assertEqual(self.first.changed_sources(SOURCES.get),
                         {"src/a.cpp": "begins\nstays\ncomes\n    twice\nends\n", "src/b.cpp": ""})

    def test_several_changes_of_a_source_add_up(self):
        changes = "source   src/a.cpp\n-begins\n+begun\nsource   src/a.cpp\n-begun\n+done\n"
        library, = read_table(f"library  x\nwrong    y\n{changes}fails    Two/all/d\n  z\n")
        self.assertEqual(library.changed_sources(SOURCES.get), {"src/a.cpp": "done\nstays\ngoes\nends\n"})

    def test_lines_that_are_not_there_once_are_errors(self):
        for text in "", "stays\n", "stays\ngoes\nstays\ngoes\n", "goes\nstays\n":
            with self.assertRaisesRegex(TableError, "src/a.cpp has these lines"):
                self.first.changed_sources(dict(SOURCES, **{"src/a.cpp": text}).get)
        with self.assertRaises(TableError):
            Change("src/a.cpp", "", "comes\n").apply("text\n")

    def test_patterns_match_something_and_nothing_twice(self):
        with self.assertRaisesRegex(TableError, "no check is named Two/all/c"):
            self.first.expected(CHECKS[:3])
        twice = TABLE.replace("fails    One/all/b\n", "fails    One/all/*\n")
        with self.assertRaisesRegex(TableError, "is named twice"):
            read_table(twice)[0].expected(CHECKS)

    def test_malformed_tables_are_errors(self):
        for good, bad in (("library  first\n", ""), ("library  second", "library  first"), ("library  second", "library  A"),
                          ("wrong    Nothing.\n", ""), ("  other\n", ""), ("  other\n", "other\n"), ("+comes\n-goes", "+goes\n-goes"),
                          (" stays\n", "?stays\n"), ("fails    Two/all/d\n  other\n", "fails    Two/all/d\n"),
                          ("fails    Two/all/c\n", "+late\nfails    Two/all/c\n"),
                          ("fails    Two/all/c\n", "source   src/late.cpp\nfails    Two/all/c\n")):
            with self.subTest(bad=bad), self.assertRaises(TableError):
                self.assertIn(good, TABLE)
                read_table(TABLE.replace(good, bad, 1))

    def test_texts_survive_the_table(self):
        for text in "a\nb", "a\\nb", "a\\\\n\n", " blank ":
            self.assertEqual(meant(shown(text)), text)


class VerdictTest(unittest.TestCase):
    EXPECTED = {"One/all/b": "no"}
    REPORTED = {"One/all/a": PASSED, "One/all/b": "no"}

    def test_the_expected_verdict_is_right(self):
        self.assertEqual(differences(self.EXPECTED, self.REPORTED), [])

    def test_every_other_verdict_is_a_difference(self):
        for check, text in (("One/all/a", "no"), ("One/all/b", PASSED), ("One/all/b", "No")):
            lines = differences(self.EXPECTED, dict(self.REPORTED, **{check: text}))
            self.assertEqual(len(lines), 1)
            self.assertIn(check, lines[0])

    def test_gaps_are_found(self):
        libraries = read_table(TABLE)
        self.assertIn("2 wrong libraries make Two fail, 3 are wanted", gaps(libraries, CHECKS))
        self.assertIn("no wrong library makes Two/all/d fail", gaps(libraries[:1], CHECKS))
        self.assertEqual([line for line in gaps(libraries, CHECKS) if line.startswith("no ")], [])
        self.assertIn("a kind of wrong library is missing: A hang: ", gaps(libraries, CHECKS))
        libraries[0].wrong = "A hang: it waits."
        self.assertNotIn("a kind of wrong library is missing: A hang: ", gaps(libraries, CHECKS))
        libraries[1].failures = []
        self.assertIn("second makes no check fail", gaps(libraries, CHECKS))

    def test_shown_failures_are_lines_of_the_table(self):
        texts = dict.fromkeys(CHECKS, PASSED) | {"One/all/b": TWO_LINES, "Two/all/c": TWO_LINES, "Two/all/d": "x"}
        lines = "\n".join(grouped(texts))
        library, = read_table(f"library  x\nwrong    y\nsource   z\n-z\n{lines}\n")
        self.assertEqual(library.expected(CHECKS), {check: text for check, text in texts.items() if text != PASSED})

    def test_page_counts_what_fails_and_hangs(self):
        self.assertEqual(page.catches(read_table(TABLE)[0], CHECKS), "One 3 of 3; Two 1 of 2, 1 hang")


class LogTest(unittest.TestCase):
    def read(self, text):
        with tempfile.NamedTemporaryFile("w", suffix=".xml") as file:
            file.write(text)
            file.flush()
            return read_log(file.name)

    def test_reads_verdicts(self):
        self.assertEqual(self.read(LOG.format(third="c")),
                         {"One/all/a": PASSED, "One/all/b": "x\n<y>", "One/all/c": "error without a text: Passed"})

    def test_a_check_that_is_reported_twice_is_an_error(self):
        with self.assertRaises(JudgeError):
            self.read(LOG.format(third="a"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
