"""Shows that checks_page.py reads a page as meant and finds each kind of difference."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import checks_page

PAGE = """# Title

## FirstTests

Words. Modes: none of these count here.

| case | check | pins |
|---|---|---|
| all | `one` | Something. |
| more | `two` | Something else. |

## SecondTests

Words.
Modes: `kA`, `kB`.

| case | check | pins |
|---|---|---|
| get | `family__<mode>` | Something. |
"""

ENTRIES = ["FirstTests/all/one", "FirstTests/more/two", "SecondTests/get/family__kA", "SecondTests/get/family__kB"]


class ChecksPageTest(unittest.TestCase):
    def test_reads_suites_cases_checks_and_modes(self):
        self.assertEqual(checks_page.page_entries(PAGE), ENTRIES)

    def test_equal_lists_do_not_differ(self):
        self.assertEqual(checks_page.differences(ENTRIES, list(ENTRIES)), [])

    def test_every_check_missing_or_moved_is_a_difference(self):
        for index, entry in enumerate(ENTRIES):
            rest = ENTRIES[:index] + ENTRIES[index + 1:]
            self.assertIn("-" + entry, checks_page.differences(rest, ENTRIES))
            self.assertIn("+" + entry, checks_page.differences(ENTRIES, rest))
            if index:
                moved = [entry, *rest]
                self.assertTrue(checks_page.differences(moved, ENTRIES))

    def test_rows_that_cannot_be_read_are_errors(self):
        for good, bad in (("| Something. |", "|  |"), ("`one`", "one"), ("| all |", "| |"),
                          ("Modes: `kA`, `kB`.\n", ""), ("## FirstTests\n", "")):
            with self.assertRaises(ValueError):
                checks_page.page_entries(PAGE.replace(good, bad, 1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
