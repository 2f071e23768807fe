"""Tries what the runner adds to Check's report: report files, rounds, colours, and how it ends when checks end it.

reports_tests.py [EMULATOR...] PROGRAM: the program of the checks that fail on purpose.
"""
import fcntl
import os
import re
import signal
import subprocess
import sys
import tempfile
import termios
import unittest
import xml.etree.ElementTree

PROGRAM = sys.argv[1:]
SANITIZED = bool(os.environ.get("ZUMRA_SANITIZE"))
NAME = os.path.basename(PROGRAM[-1])
SEGFAULT = "Received signal 11 (Segmentation fault)"
HURRY = {"CK_TIMEOUT_MULTIPLIER": "0.5", "CK_DEFAULT_TIMEOUT": "0"}


def run(*arguments, **environment):
    return subprocess.run(PROGRAM + list(arguments), capture_output=True, encoding="utf-8", errors="surrogateescape",
                          timeout=300, check=False, env={**os.environ, **HURRY, **environment})


class Reports(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.junit_path, self.tap_path, self.page_path = (folder.name + name for name in ("/j.xml", "/t.tap", "/p.html"))

    def report(self, *arguments):
        """Runs with all reports; what the JUnit report says is in `self.rows` and `self.counts`."""
        result = run(*arguments, "--junit", self.junit_path, "--tap", self.tap_path, "--html", self.page_path)
        root = xml.etree.ElementTree.parse(self.junit_path).getroot()
        self.counts = [int(root.get(name)) for name in ("tests", "failures", "errors", "skipped")]
        self.rows = [(test.get("classname"), test.get("name"), [(kind.tag, kind.get("message")) for kind in test])
                     for test in root.iter("testcase")]
        self.assert_counts_agree(root)
        return result

    def assert_counts_agree(self, root):
        suites = root.findall("testsuite")
        for number, name in enumerate(("tests", "failures", "errors", "skipped")):
            self.assertEqual(sum(int(suite.get(name)) for suite in suites), self.counts[number])
        self.assertEqual(len(self.rows), self.counts[0])
        for number, kind in enumerate(("failure", "error", "skipped"), 1):
            self.assertEqual(sum(1 for row in self.rows if [what for what, _ in row[2]] == [kind]), self.counts[number])
        with open(self.tap_path, encoding="utf-8") as file:
            self.tap = file.read()
        self.assertTrue(self.tap.startswith(f"TAP version 13\n1..{self.counts[0]}\n"))
        self.assertEqual(len(re.findall(r"^not ok \d+ - ", self.tap, re.MULTILINE)), self.counts[1] + self.counts[2])
        self.assertEqual(len(re.findall(r"^ok \d+ - \S+ # SKIP ", self.tap, re.MULTILINE)), self.counts[3])
        with open(self.page_path, encoding="utf-8") as file:
            page = file.read()
        ids = "all", "failed", "error", "notrun"
        self.assertEqual([int(re.search(rf'id="count-{one}">(\d+)<', page).group(1)) for one in ids], self.counts)

    def test_texts_are_escaped(self):
        for mode in "--fork", "--no-fork":
            self.report(mode, "TextTests", "FormTests")
            texts = {name: kinds[0] for _, name, kinds in self.rows if kinds}
            self.assertEqual(texts["markup_is_text"], ("failure", "<message attribute=\"a\">&amp;]]></message>"))
            self.assertEqual(texts["bytes_are_shown"][1], "\\x1B[31m \\x01\\x7F\\x80\\xFF \\xEF\\xBF\\xBE \t]]>")
            self.assertEqual(texts["text_is_cut_between_characters"][1], "xx" + "\u20ac" * 1332)
            self.assertEqual(texts["unless_keeps_quotes_and_percent_signs"][1],
                             "Assertion 'text.find(\"%s%n\\\"\") != std::string::npos' failed")
            self.assertIn('  message: "<message attribute=\\"a\\">&amp;]]></message>"\n', self.tap)
            self.assertEqual(self.counts, [17, 15, 0, 0])

    def test_rows_are_the_checks_in_their_order(self):
        listed = run("--list", "-v", "EqualityTests", "ModeTests").stdout.split()
        self.report("ModeTests", "EqualityTests")
        self.assertEqual([f"{case.replace('.', '/')}/{name}" for case, name, _ in self.rows], listed)
        self.assertEqual(re.findall(r"^(?:not )?ok \d+ - (\S+)$", self.tap, re.MULTILINE), listed)

    def test_places_and_times_are_told(self):
        self.report("HangTests")
        root = xml.etree.ElementTree.parse(self.junit_path).getroot()
        error = next(root.iter("error"))
        self.assertRegex(error.text, r"^tests/self/EndTests\.cpp:\d+: Test timeout expired$")
        times = [float(test.get("time")) for test in root.iter("testcase")]
        self.assertGreaterEqual(times[0], 0.5)
        self.assertLess(times[1], times[0])
        self.assertGreaterEqual(float(root.get("time")), times[0])

    def test_reports_of_a_run_that_a_check_ends(self):
        for suite, check, text in (
                ("CrashTests", "crashes", SEGFAULT), ("HangTests", "hangs", "Test timeout expired"),
                ("StackOverflowTests", "overflows_its_stack", SEGFAULT),
                ("ExitTests", "exits_with_0", "the check ended the program with exit(0)"),
                ("UnderscoreExitTests", "exits_at_once", "the check ended its process with _exit(0)"),
                ("ThreadOverflowTests", "overflows_a_threads_stack", SEGFAULT),
                ("AlarmTests", "is_alarmed", "Received signal 14 (Alarm clock)"),
                ("KillTests", "is_killed", "Received signal 9 (Killed)"),
                ("ExecTests", "becomes_another_program", "the check ended its process with _exit(0)")):
            with self.subTest(suite=suite):
                result = self.report("--no-fork", "EqualityTests", suite)
                self.assertNotEqual(result.returncode, 0)
                at = [name for _, name, _ in self.rows].index(check)
                if not SANITIZED:
                    self.assertEqual(self.rows[at][2][0][1], text)
                    self.assertIn(f"Bail out! {text}\n", self.tap)
                self.assertEqual({kinds[0][0] if kinds else "passed" for _, _, kinds in self.rows[at + 1:]}, {"skipped"})
                # The check is named once, in the form of Check's report.
                self.assertEqual(len(re.findall(rf"^tests/self/EndTests\.cpp:\d+:[EF]:\w+:{check}:0: ", result.stderr,
                                                re.MULTILINE)), 1)

    @unittest.skipIf(SANITIZED, "a sanitizer ends a crashed process in its own way")
    def test_status_of_a_run_that_a_check_ends(self):
        for suite, status in (("UnderscoreExitTests", 1), ("ExecTests", 1), ("AlarmTests", -signal.SIGALRM),
                              ("KillTests", -signal.SIGKILL), ("ThreadOverflowTests", -signal.SIGSEGV)):
            with self.subTest(suite=suite):
                self.assertEqual(run("--no-fork", suite).returncode, status)

    def test_standard_output(self):
        result = run("-q", "--junit", "-", "FormTests")
        self.assertEqual(xml.etree.ElementTree.fromstring(result.stdout).get("tests"), "10")
        self.assertEqual(result.returncode, 1)

    @unittest.skipUnless(os.path.exists("/dev/full"), "no /dev/full here")
    def test_reports_that_cannot_be_written(self):
        for option, report in ("--junit", "JUnit report"), ("--tap", "TAP report"), ("--html", "page"):
            result = run(option, "/dev/full", "EmptyTests")
            self.assertEqual((result.stderr, result.returncode),
                             (f"{NAME}: cannot write the {report} '/dev/full': No space left on device\n", 1))
            self.assertIn("100%: Checks: 139, Failures: 0, Errors: 0\n", result.stdout)
        for mode in "--fork", "--no-fork":
            result = run(mode, "--xml", "/dev/full", "EmptyTests")
            self.assertEqual((result.stderr, result.returncode),
                             (f"{NAME}: cannot write all of the XML log '/dev/full'\n", 1))
            self.assertIn("100%: Checks: 139, Failures: 0, Errors: 0\n", result.stdout)


class Rounds(unittest.TestCase):
    def totals(self, output):
        return re.findall(r"^\d+%: .*$", output, re.MULTILINE)

    def test_repeat(self):
        for mode in "--fork", "--no-fork":
            result = run(mode, "--repeat", "3", "EmptyTests")
            self.assertEqual(re.findall("^Round .*$", result.stdout, re.MULTILINE),
                             ["Round 1 of 3", "Round 2 of 3", "Round 3 of 3"])
            self.assertEqual(self.totals(result.stdout), ["100%: Checks: 139, Failures: 0, Errors: 0"] * 3)
            self.assertEqual(result.returncode, 0)
        self.assertEqual(run("--repeat", "3", "-q", "EmptyTests").stdout, "")
        self.assertNotIn("Round", run("--repeat", "1", "EmptyTests").stdout)

    def test_rounds_go_on_after_failures_and_crashes(self):
        for arguments in (["EqualityTests"], ["--no-fork", "CrashTests"]):
            result = run("--repeat", "2", *arguments)
            self.assertIn("Round 2 of 2\n", result.stdout)
            self.assertNotEqual(result.returncode, 0)
            if not SANITIZED:
                self.assertEqual(result.returncode, 1)

    def test_until_fail(self):
        with tempfile.TemporaryDirectory() as folder:
            for mode in "--fork", "--no-fork":
                counter = f"{folder}/{mode}"
                result = run(mode, "--until-fail", "--junit", folder + "/j.xml", "RoundTests", COUNTER=counter)
                self.assertEqual(re.findall("^Round .*$", result.stdout, re.MULTILINE), ["Round 1", "Round 2", "Round 3"])
                self.assertEqual(result.returncode, 1)
                failure = next(xml.etree.ElementTree.parse(folder + "/j.xml").getroot().iter("failure"))
                self.assertEqual(failure.get("message"), "the third time (in 1 of 3 rounds)")
        result = run("--until-fail", "--repeat", "2", "EmptyTests")
        self.assertEqual(len(self.totals(result.stdout)), 2)
        self.assertEqual(result.returncode, 0)

    def test_an_interruption_ends_endless_rounds(self):
        # Often, as a round is easily hurt at its start; in a session of its own, as others may be hurt with it.
        for _ in range(10):
            with tempfile.TemporaryDirectory() as folder:
                process = subprocess.Popen(PROGRAM + ["--until-fail", "--junit", folder + "/j.xml", "EmptyTests"],
                                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                           start_new_session=True)
                for line in process.stdout:
                    if line == "Round 2\n":
                        break
                process.send_signal(signal.SIGINT)
                process.communicate(timeout=60)
                self.assertEqual(process.returncode, -signal.SIGINT)
                self.assertEqual(xml.etree.ElementTree.parse(folder + "/j.xml").getroot().get("tests"), "139")

    def test_fail_fast(self):
        for mode in "--fork", "--no-fork":
            with tempfile.TemporaryDirectory() as folder:
                log, junit = folder + "/log.xml", folder + "/j.xml"
                result = run(mode, "--fail-fast", "--xml", log, "--junit", junit, "FormTests", "EqualityTests")
                self.assertRegex(result.stdout, r"(?s)^Running suite\(s\): FormTests\n(?: EqualityTests\n)?"
                                                r"66%: Checks: 3, Failures: 1, Errors: 0\n[^\n]*:unless_fails:0: [^\n]*\n$")
                self.assertEqual((result.stderr, result.returncode), ("", 1))
                self.assertEqual(len(list(xml.etree.ElementTree.parse(log).getroot().iter(
                    "{http://check.sourceforge.net/ns}test"))), 3)
                counts = xml.etree.ElementTree.parse(junit).getroot().attrib
                self.assertEqual([counts[name] for name in ("tests", "failures", "skipped")], ["18", "1", "15"])

    def test_fail_fast_ends_the_rounds_too(self):
        result = run("--fail-fast", "--repeat", "3", "FormTests")
        self.assertEqual(re.findall("^Round .*$", result.stdout, re.MULTILINE), ["Round 1 of 3"])
        passing = run("--fail-fast", "--repeat", "3", "--filter", "*/equal_*_pass")
        self.assertEqual(len(self.totals(passing.stdout)), 3)

    def test_timeout_multiplier_beats_the_environment(self):
        result = run("--timeout-multiplier", "0.25", "HangTests", "-v", CK_TIMEOUT_MULTIPLIER="1000")
        self.assertIn("Test timeout expired", result.stdout)

    def test_durations(self):
        result = run("--durations", "2", "HangTests", "EqualityTests")
        lines = result.stdout[result.stdout.index("Slowest 2 of 10 checks:\n"):].splitlines()
        self.assertEqual(len(lines), 3)
        self.assertRegex(lines[1], r"^ +0\.\d{3} s  HangTests/short/hangs$")
        self.assertEqual(len(re.findall(r"^ +\d\.\d+ s  EmptyTests/all/empty$", run("--durations", "0", "EmptyTests").stdout,
                                        re.MULTILINE)), 139)


class Colors(unittest.TestCase):
    def test_colors_are_added_to_the_same_text(self):
        for arguments in ["FormTests"], ["-v", "TextTests"], ["--print", "minimal", "EmptyTests"]:
            plain = run("--color", "never", *arguments, "-x", "*/bytes_are_shown").stdout
            colored = run("--color", "always", *arguments, "-x", "*/bytes_are_shown", NO_COLOR="1").stdout
            self.assertNotIn("\x1b", plain)
            self.assertRegex(colored, "\x1b\\[3[12]m\\d+%: Checks: ")
            self.assertEqual(re.sub("\x1b\\[[0-9;]*m", "", colored), plain)
        self.assertNotIn("\x1b", run("FormTests").stdout)

    def test_automatic_colors_are_for_terminals(self):
        def output(**environment):
            leader, follower = os.openpty()
            surroundings = {key: value for key, value in os.environ.items() if key not in ("NO_COLOR", "TERM")}
            subprocess.run(PROGRAM + ["EmptyTests"], stdout=follower, check=True, env=dict(surroundings, **environment))
            os.close(follower)
            text = b""
            while not text.endswith(b"Errors: 0\r\n") and not text.endswith(b"Errors: 0\x1b[0m\r\n"):
                text += os.read(leader, 10000)
            os.close(leader)
            return text

        self.assertIn(b"\x1b[32m100%: ", output(TERM="xterm"))
        self.assertNotIn(b"\x1b", output(TERM="xterm", NO_COLOR="1"))
        self.assertIn(b"\x1b", output(TERM="xterm", NO_COLOR=""))
        self.assertNotIn(b"\x1b", output(TERM="dumb"))
        self.assertNotIn(b"\x1b", output())


class Outputs(unittest.TestCase):
    """Standard output that takes nothing, and a terminal that takes it from the foreground alone."""

    PASSING = ["--filter", "*/equal_*_pass"]

    def run_into(self, redirection, *arguments):
        """With what the shell does to the output. Nothing may be mistaken for the output that is not there."""
        return subprocess.run(["sh", "-c", f'exec "$@" {redirection}', "sh", *PROGRAM, *arguments], capture_output=True,
                              text=True, timeout=300, check=False, env={**os.environ, **HURRY})

    def test_output_that_cannot_be_written(self):
        reports = [], ["--no-fork"], ["-q", "--xml", "-"], ["--repeat", "2"], ["-q", "--durations", "1"]
        for arguments in *reports, ["--list"], ["--help"], ["--version"]:
            for redirection, reason in (">/dev/full", "No space left on device"), (">&-", "Bad file descriptor"):
                with self.subTest(arguments=arguments, redirection=redirection):
                    result = self.run_into(redirection, *arguments, *self.PASSING)
                    self.assertRegex(result.stderr, rf"^({NAME}: cannot write all to standard output(: {reason})?\n)+$")
                    self.assertEqual(result.returncode, 1)

    def test_closed_descriptors_become_no_others(self):
        with tempfile.TemporaryDirectory() as folder:
            files = ["--xml", folder + "/x.xml", "--junit", folder + "/j.xml", "--html", folder + "/p.html"]
            for redirection in ">&-", "<&- >&- 2>&-":
                for mode in "--fork", "--no-fork":
                    with self.subTest(redirection=redirection, mode=mode):
                        self.run_into(redirection, mode, *files, "EqualityTests")
                        counts = xml.etree.ElementTree.parse(folder + "/j.xml").getroot().attrib
                        self.assertEqual([counts[name] for name in ("tests", "failures", "skipped")], ["8", "6", "0"])
                        self.assertEqual(len(list(xml.etree.ElementTree.parse(folder + "/x.xml").getroot().iter(
                            "{http://check.sourceforge.net/ns}test"))), 8)
        self.assertEqual(self.run_into(">&- 2>&-", "-q", *self.PASSING).returncode, 0)

    def test_terminal_stops_nothing(self):
        for arguments in ["--fork"], ["--no-fork"], ["--junit", "/dev/null"]:
            with self.subTest(arguments=arguments):
                leader, follower = os.openpty()
                self.addCleanup(os.close, leader)
                attributes = termios.tcgetattr(follower)
                attributes[3] |= termios.TOSTOP
                termios.tcsetattr(follower, termios.TCSANOW, attributes)
                process = subprocess.Popen([*PROGRAM, *arguments, *self.PASSING], stdin=follower, stdout=follower, stderr=follower,
                                           start_new_session=True, env={**os.environ, **HURRY},
                                           preexec_fn=lambda: fcntl.ioctl(follower, termios.TIOCSCTTY, 0))
                os.close(follower)
                try:
                    self.assertEqual(process.wait(60), 0)
                finally:
                    process.kill()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
