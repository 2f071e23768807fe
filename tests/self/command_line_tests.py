"""Tries the command line of the check program itself.

command_line_tests.py [EMULATOR...] PROGRAM
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

PROGRAM = sys.argv[1:]
NAME = os.path.basename(PROGRAM[-1])

# The suites in the order in which they run, whatever the order in which they are named, and the checks of their cases.
SUITES = {
    "CommandTests": {"TestAndMerge": 1},
    "IniWatcherTests": {"all": 16},
    "ZumraSettingsClientImplLocalTests": {"all": 12},
    "ZumraSettingsClientImplMultiThreadedTests": {"all": 1},
    "ZumraSettingsClientTests": {"all": 6},
    "ResourceManagerTests": {"get": 15},
    "ResourceReserverTests": {"get": 21, "reserve": 9, "longer": 3},
    "SettingsWatcherTests": {"all": 14},
    "SubscribeTests": {"all": 6},
    "TestAndMergeTests": {"all": 6},
    "CallbackDispatcherTests": {"all": 5},
    "ClientHandlerTests": {"all": 10},
    "GroupNameMatcherTests": {"all": 4},
    "LoadPriorityIncludeFilterTests": {"all": 3},
    "PhpArraySettingsSerializerTests": {"all": 7},
}
MATCHER = ["gnm_match_ini_file", "gnm_get_names_and_patterns", "gnm_serialize_ini_names", "gnm_serialize_ini_patterns"]


def run(*arguments):
    return subprocess.run(PROGRAM + list(arguments), capture_output=True, text=True, timeout=300, check=False)


class CommandLine(unittest.TestCase):
    def assert_rejected(self, *arguments, says):
        result = run(*arguments)
        self.assertEqual((result.stdout, result.stderr, result.returncode), ("", f"{NAME}: {says}\n", 1))

    def assert_answered(self, *arguments):
        result = run(*arguments)
        self.assertEqual((result.stderr, result.returncode), ("", 0))
        return result.stdout

    def test_named_suites_run_in_their_own_order(self):
        result = run("PhpArraySettingsSerializerTests", "--no-fork", "GroupNameMatcherTests")
        self.assertEqual(result.stdout, "Running suite(s): GroupNameMatcherTests\n PhpArraySettingsSerializerTests\n"
                                        "100%: Checks: 11, Failures: 0, Errors: 0\n")
        self.assertEqual(result.returncode, 0)

    def test_wrong_command_lines_run_nothing(self):
        with tempfile.TemporaryDirectory() as folder:
            log = folder + "/log.xml"
            self.assert_rejected("--xml", log, "GroupNameMatcherTest",
                                 says="unknown suite 'GroupNameMatcherTest'; did you mean 'GroupNameMatcherTests'?")
            self.assert_rejected("--xml", log, "--frok", says="unknown option '--frok'; did you mean '--fork'?")
            self.assert_rejected("--fork", "--xml", log, "--no-fork", says="option '--no-fork' contradicts '--fork'")
            self.assert_rejected("-q", "-v", says="option '-v' contradicts '-q'")
            self.assert_rejected("--xml", folder + "/none/log.xml",
                                 says=f"cannot write the XML log '{folder}/none/log.xml': No such file or directory")
            self.assert_rejected("--list", "--xml", folder,
                                 says=f"cannot write the XML log '{folder}': Is a directory")
            self.assertEqual(os.listdir(folder), [])

    def test_answers_run_nothing(self):
        with tempfile.TemporaryDirectory() as folder:
            for answer in "--help", "--version", "--list":
                self.assertNotIn("Running suite", self.assert_answered(answer, "--xml", folder + "/log.xml"))
            self.assertEqual(os.listdir(folder), [])

    def test_help_and_version(self):
        self.assertEqual(self.assert_answered("-h"), self.assert_answered("--help"))
        self.assertIn(f"Usage: {NAME} [OPTION]... [SUITE]...\n", self.assert_answered("--help"))
        self.assertRegex(self.assert_answered("-V"), rf"^{NAME} \d+\.\d+\.\d+ \(Check 0\.\d+\.\d+\)\n"
                         r"libzumra \d+\.\d+\.\d+ \(/.*\)\nlibzumra-settings \d+\.\d+\.\d+ \(/.*\)\n$")

    def test_list_shows_suites_in_their_order(self):
        self.assertEqual(self.assert_answered("--list").splitlines(), list(SUITES))
        self.assertEqual(self.assert_answered("-l", "SubscribeTests", "CommandTests"), "CommandTests\nSubscribeTests\n")

    def test_every_suite_has_its_cases_and_checks(self):
        counts = {}
        for line in self.assert_answered("-l", "-v").splitlines():
            suite, case, _ = line.split("/")
            cases = counts.setdefault(suite, {})
            cases[case] = cases.get(case, 0) + 1
        self.assertEqual([(suite, list(cases.items())) for suite, cases in counts.items()],
                         [(suite, list(cases.items())) for suite, cases in SUITES.items()])
        self.assertEqual(sum(sum(cases.values()) for cases in counts.values()), 139)

    def test_filters_choose_what_is_listed_and_run(self):
        patterns = ["--filter", "*/gnm_get_*", "--filter=*/gnm_serialize*", "-x", "*_patterns"]
        self.assertEqual(self.assert_answered("-lv", *patterns).splitlines(),
                         ["GroupNameMatcherTests/all/gnm_serialize_ini_names"])
        self.assertEqual(self.assert_answered("--list", "--filter", "*/get/*__kLocal"),
                         "ResourceManagerTests\nResourceReserverTests\n")
        for mode in "--fork", "--no-fork":
            result = run(mode, "-v", *patterns)
            self.assertRegex(result.stdout, r"(?s)^Judging [^\n]*\nRunning suite\(s\): GroupNameMatcherTests\n"
                                            r"100%: Checks: 1, Failures: 0, Errors: 0\n.*:gnm_serialize_ini_names:0: Passed\n$")
            self.assertEqual(result.returncode, 0)
        self.assertIn("100%: Checks: 3, Failures: 0, Errors: 0\n",
                      run("GroupNameMatcherTests", "--no-fork", "-x*/gnm_match_ini_file").stdout)

    def test_selecting_nothing_is_an_error(self):
        says = "no check is selected; patterns are for the whole SUITE/CASE/CHECK, see --list -v"
        for arguments in (["--filter", "gnm_match_ini_file"], ["-x", "*"], ["GroupNameMatcherTests", "--filter", "Command*"],
                          ["--list", "--filter", "none"]):
            self.assert_rejected(*arguments, says=says)

    def test_verbose_list_shows_every_check_that_runs(self):
        listed = self.assert_answered("-l", "-v").splitlines()
        self.assertEqual([line for line in listed if line.startswith("GroupNameMatcherTests/")],
                         ["GroupNameMatcherTests/all/" + check for check in MATCHER])
        ran = re.findall(r"^[^:\n]+:\d+:P:(\w+:\w+):0: Passed$", run("-v").stdout, re.MULTILINE)
        self.assertEqual([line.split("/", 1)[1].replace("/", ":") for line in listed], ran)

    def test_print_modes(self):
        suite = "GroupNameMatcherTests"
        head, total = f"Running suite(s): {suite}\n", "100%: Checks: 4, Failures: 0, Errors: 0\n"
        self.assertEqual(run("-q", suite).stdout, "")
        self.assertEqual(run("--print", "minimal", suite).stdout, head + total)
        self.assertEqual(run("--print=normal", suite).stdout, head + total)
        verbose = run("--print", "verbose", suite).stdout
        self.assertEqual(re.findall(r":P:all:(\w+):0: Passed\n", verbose), MATCHER)

    def test_xml_log(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(run("--no-fork", "--xml", folder + "/log.xml", "GroupNameMatcherTests").returncode, 0)
            space = "{http://check.sourceforge.net/ns}"
            root = xml.etree.ElementTree.parse(folder + "/log.xml").getroot()
            self.assertEqual([suite.findtext(space + "title") for suite in root.findall(space + "suite")],
                             ["GroupNameMatcherTests"])
            self.assertEqual([test.findtext(space + "id") for test in root.iter(space + "test")], MATCHER)

    def test_another_build_of_the_library_can_be_put_under_it(self):
        with tempfile.TemporaryDirectory() as folder:
            for library in "libzumra.so.1", "libzumra-settings.so.1", "libzumra-check.so.1":
                built = os.path.join(os.path.dirname(PROGRAM[-1]), "../lib", library)
                shutil.copy(built, folder)
                loading = dict(os.environ, LD_LIBRARY_PATH=folder, LD_TRACE_LOADED_OBJECTS="1")
                loaded = subprocess.run(PROGRAM, env=loading, capture_output=True, text=True, check=True).stdout
                self.assertIn(f"{library} => {folder}/{library} ", loaded)


class JudgedLibraries(unittest.TestCase):
    """Copies of the libraries, changed where they tell their version, under the program."""

    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.addCleanup(self._folder.cleanup)
        self.folder = os.path.realpath(self._folder.name)

    def put(self, library, old=b"", new=b""):
        built = os.path.join(os.path.dirname(PROGRAM[-1]), "../lib", library + ".so.1")
        with open(built, "rb") as source, open(f"{self.folder}/{library}.so.1", "wb") as target:
            content = source.read()
            self.assertTrue(old in content, f"{old} is not in {library}")
            target.write(content.replace(old, new) if old else content)

    def run_on_it(self, *arguments):
        environment = dict(os.environ, LD_LIBRARY_PATH=self.folder)
        return subprocess.run(PROGRAM + list(arguments), env=environment, capture_output=True, text=True, timeout=300,
                              check=False)

    def test_the_loaded_files_are_named(self):
        self.put("libzumra")
        self.put("libzumra-settings", b"1.0.0\0", b"1.7.0\0")
        names = [f"libzumra 1.0.0 ({self.folder}/libzumra.so.1)",
                 f"libzumra-settings 1.7.0 ({self.folder}/libzumra-settings.so.1)"]
        self.assertEqual(self.run_on_it("--version").stdout.splitlines()[1:], names)
        result = self.run_on_it("-v", "GroupNameMatcherTests")
        self.assertEqual(result.stdout.splitlines()[0], "Judging " + " and ".join(names))
        self.assertEqual(result.returncode, 0)
        self.assertTrue(self.run_on_it("GroupNameMatcherTests").stdout.startswith("Running suite(s): "))

    def test_libraries_that_do_not_tell_their_version_are_judged(self):
        self.put("libzumra", b"_ZN5zumra4core7VersionEv\0", b"_ZN5zumra4core7NothingEv\0")
        self.assertIn(f"libzumra of unknown version ({self.folder}/", self.run_on_it("--version").stdout)
        self.assertEqual(self.run_on_it("GroupNameMatcherTests").returncode, 0)

    def test_another_major_version_is_refused(self):
        for library, old, new, version in (
                ("libzumra", b"1.0.0\0", b"2.0.0\0", "2.0.0"),
                ("libzumra-settings", b"\0libzumra-settings.so.1\0", b"\0libzumra-settings.so.2\0", "1.0.0")):
            with self.subTest(library=library, new=new):
                self.put("libzumra")
                self.put(library, old, new)
                result = self.run_on_it("GroupNameMatcherTests")
                self.assertEqual((result.stdout, result.stderr, result.returncode), (
                    "", f"{NAME}: {library} {version} ({self.folder}/{library}.so.1) is of major version 2; "
                        "these checks are for major version 1\n", 1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
