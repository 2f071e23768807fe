"""Looks at the page of --html in a browser.

page_tests.py BROWSER FOLDER PROGRAM...: what the pages look like is left in the folder as pictures.
"""
import json
import os
import subprocess
import sys
import unittest
import xml.etree.ElementTree

from browser import Browser

BROWSER, FOLDER, *PROGRAMS = sys.argv[1:]
PHONE, DESKTOP = (360, 740), (1280, 900)

# What reaches over the window's right edge, for whatever reason.
TOO_WIDE = """[...document.querySelectorAll("body *")]
  .filter(element => !element.closest("thead") && element.getBoundingClientRect().right > document.documentElement.clientWidth + 0.5)
  .map(element => element.outerHTML.slice(0, 200))"""
COUNTS = """Object.fromEntries(["all", "passed", "failed", "error", "notrun"].map(
  name => [name, Number(document.getElementById("count-" + name).textContent)]))"""
BROKEN_WORDS = """[...document.querySelectorAll(%s)].flatMap(element => [...element.childNodes])
  .filter(node => node.nodeType == Node.TEXT_NODE)
  .filter(node => {
    const range = document.createRange();
    range.selectNode(node);
    return new Set([...range.getClientRects()].map(box => box.top)).size > 1;
  }).map(node => node.textContent)"""
TILES = """Object.fromEntries(["passed", "failed", "error", "notrun"].map(
  name => [name, document.querySelectorAll("#grid td .tile." + name).length]))"""


def make(name, program, *arguments):
    """Runs a program for a page; returns the page's path and what the JUnit report counts."""
    page, junit = f"{FOLDER}/{name}.html", f"{FOLDER}/{name}.xml"
    subprocess.run([program, "-q", "--html", page, "--junit", junit, *arguments], capture_output=True, timeout=300,
                   check=False, env=dict(os.environ, CK_TIMEOUT_MULTIPLIER="10"))
    counts = {key: int(value) for key, value in xml.etree.ElementTree.parse(junit).getroot().attrib.items()
              if key in ("tests", "failures", "errors", "skipped")}
    return page, {"all": counts["tests"], "failed": counts["failures"], "error": counts["errors"],
                  "notrun": counts["skipped"],
                  "passed": counts["tests"] - counts["failures"] - counts["errors"] - counts["skipped"]}


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(FOLDER, exist_ok=True)
        cls.browser = cls.enterClassContext(Browser(BROWSER))

    def look(self, name, counts, page, size, scheme):
        self.assertEqual(self.browser.open(page, *size, scheme), [])
        self.assertEqual(self.browser.evaluate(COUNTS), counts)
        tiles = self.browser.evaluate(TILES)
        self.assertEqual(tiles, {key: counts[key] for key in tiles})
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('#times details li').length"), counts["all"])
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('.failure:not(.notrun)').length"),
                         counts["failed"] + counts["error"])
        self.browser.evaluate("document.querySelectorAll('details').forEach(one => one.open = true)")
        self.assertEqual(self.browser.evaluate("innerWidth"), size[0])
        self.assertTrue(self.browser.evaluate("document.documentElement.scrollWidth <= "
                                              "document.documentElement.clientWidth"))
        self.assertEqual(self.browser.evaluate(TOO_WIDE), [])
        self.browser.save_picture(f"{FOLDER}/{name}-{size[0]}-{scheme}.png")

    def look_from_everywhere(self, name, program, *arguments):
        page, counts = make(name, program, *arguments)
        for size in PHONE, DESKTOP:
            for scheme in "light", "dark":
                with self.subTest(size=size, scheme=scheme):
                    self.look(name, counts, page, size, scheme)
        return counts

    def broken_words(self, selector):
        """Words of names that stand in two lines, as they have not enough room or a break of their own."""
        return self.browser.evaluate(BROKEN_WORDS % json.dumps(selector))

    def text(self, selector):
        return self.browser.evaluate(f"document.querySelector({selector!r}).innerText")

    def test_all_checks_passed(self):
        counts = self.look_from_everywhere("passed", PROGRAMS[0])
        self.assertEqual(counts, {"all": 139, "passed": 139, "failed": 0, "error": 0, "notrun": 0})
        self.assertEqual(self.text("h1"), "All 139 checks passed")
        self.assertEqual(self.browser.evaluate("[...document.querySelectorAll('thead th')].map(th => th.innerText)"),
                         ["Suite", "kLocal", "kLocalSingleThreadedPipe", "kLocalMultiThreadedPipe", "no mode"])
        self.assertIn("libzumra-settings", self.text("#judged"))

    def test_names_are_broken_between_words(self):
        page, _ = make("names", PROGRAMS[0])
        for size in PHONE, DESKTOP:
            self.browser.open(page, *size)
            for selector in "summary b", ".grid tbody th", "ol.checks span", ".numbers dt", ".numbers dd":
                with self.subTest(size=size, selector=selector):
                    self.assertEqual(self.broken_words(selector), [])

    def test_tiles_of_a_suite_stand_in_a_row_on_a_desktop(self):
        page, _ = make("rows", PROGRAMS[0])
        self.browser.open(page, *DESKTOP)
        self.assertEqual(self.browser.evaluate(
            "[...document.querySelectorAll('.tiles')].filter(tiles => tiles.clientHeight > 30).length"), 0)

    def test_many_failed(self):
        counts = self.look_from_everywhere("failed", PROGRAMS[1], "FormTests", "TextTests", "ModeTests", "CrashTests")
        self.assertEqual(counts, {"all": 28, "passed": 6, "failed": 21, "error": 1, "notrun": 0})
        self.assertEqual(self.text("h1"), "22 of 28 checks failed")
        self.assertEqual(self.browser.evaluate("document.querySelector('main section').id"), "failures")

    def test_texts_stay_texts(self):
        page, _ = make("texts", PROGRAMS[1], "--filter", "*/markup_is_text")
        self.browser.open(page, *DESKTOP)
        self.assertEqual(self.text(".failure pre"), '<message attribute="a">&amp;]]></message>')
        self.assertRegex(self.text(".failure"), r"tests/self/TextTests.cpp:\d+")

    def test_the_run_broke_off(self):
        counts = self.look_from_everywhere("broken", PROGRAMS[1], "--no-fork", "CrashTests", "EmptyTests")
        self.assertEqual(counts, {"all": 141, "passed": 0, "failed": 0, "error": 1, "notrun": 140})
        self.assertIn("Received signal 11 (Segmentation fault)", self.text(".broken"))

    def test_a_tile_leads_to_its_check(self):
        page, _ = make("tiles", PROGRAMS[0], "GroupNameMatcherTests")
        self.browser.open(page, *DESKTOP)
        self.browser.evaluate("document.querySelectorAll('#grid td .tile')[2].click()")
        self.assertIn("gnm_serialize_ini_names", self.text(":target"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
