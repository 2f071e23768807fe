"""Runs the checks that fail on purpose, and compares what is reported, row by row, with the tables below.

self_tests.py [EMULATOR...] PROGRAM: the program of these checks, and what runs it when this machine cannot; to be called
in the project's folder. ZUMRA_SANITIZE names the sanitizers that the program is built with.
"""
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

PROGRAM = sys.argv[1:]
SANITIZED = bool(os.environ.get("ZUMRA_SANITIZE"))
SOURCES = "tests/self"

MISMATCH = "Expected zumra::osa::Exception "
UNKNOWN = MISMATCH + "but instead caught unknown exception"
SEGFAULT = "Received signal 11 (Segmentation fault)"
AFTER = "(after this point) "
TIMEOUT = "Test timeout expired"
# For the checks that are to run out of a second's time of their own; the others may take what they like.
HURRY = {"CK_TIMEOUT_MULTIPLIER": "0.5", "CK_DEFAULT_TIMEOUT": "0"}
NAMESPACE = "{http://check.sourceforge.net/ns}"

# suite: test case: rows of check, result (Passed, Failure, Error), text.
SAME_IN_BOTH_MODES = {
    "FormTests": {"all": [
        ("unless_passes", "P", "Passed"),
        ("if_passes", "P", "Passed"),
        ("unless_fails", "F", "Assertion 'text.size() == 2' failed"),
        ("unless_keeps_macros", "F", "Assertion 'true == NOTHING_LEFT' failed"),
        ("unless_keeps_quotes_and_percent_signs", "F",
         "Assertion 'text.find(\"%s%n\\\"\") != std::string::npos' failed"),
        ("unless_with_message", "F", "i = 7"),
        ("unless_with_long_message", "F", "y" * 4000),
        ("if_fails", "F", "Failure 'text.size() == 3' occured"),
        ("if_with_message", "F", "100% of it"),
        ("fail_with_percent_signs", "F", "100% of %s and %n"),
    ]},
    "EqualityTests": {"strings": [
        ("equal_strings_pass", "P", "Passed"),
        ("other_string_fails", "F", "expected: abc but got: abd"),
        ("string_cut_at_nul_fails", "F", "expected: abc but got: abc\\0d"),
        ("null_equals_no_string", "F", "expected: (null) but got: abc"),
        ("null_does_not_equal_empty_string", "F", "expected: (null) but got: "),
    ], "integers": [
        ("equal_integers_pass", "P", "Passed"),
        ("other_integer_fails", "F", "expected: 3 but got: 2"),
        ("negative_integer_fails", "F", "expected: -2147483647 but got: 2147483647"),
    ]},
    "ExceptionTests": {"all": [
        ("std_exception_escapes", "F", "the disk is 100% full: %s %n %d"),
        ("library_exception_escapes", "F", "no such group"),
        ("integer_escapes", "F", "unknown exception occurred"),
        ("exception_without_text_escapes", "F", ""),
        ("expected_exception_passes", "P", "Passed"),
        ("any_exception_passes", "P", "Passed"),
        ("expected_exception_does_not_come", "F", MISMATCH + "with message as expected"),
        ("any_exception_does_not_come", "F", MISMATCH + "with message "),
        ("exception_with_other_text_comes", "F", "expected: as expected but got: as 100% unexpected"),
        ("exception_with_longer_text_comes", "F", "expected: as expected but got: as expected, but longer"),
        ("exception_of_other_type_comes", "F", UNKNOWN),
        ("integer_comes", "F", UNKNOWN),
        ("failure_inside_the_statement_stays", "F", "Assertion 'false' failed"),
    ]},
    "TextTests": {"all": [
        ("longest_text_is_whole", "F", "x" * 4000),
        ("longer_text_is_cut", "F", "x" * 4000),
        ("text_is_cut_between_characters", "F", "xx" + "\u20ac" * 1332),
        ("exception_text_is_cut", "F", "x" * 4000),
        ("nul_is_shown", "F", "a\\0b"),
        ("markup_is_text", "F", "<message attribute=\"a\">&amp;]]></message>"),
        ("bytes_are_shown", "F", "\x1b[31m \x01\x7f\udc80\udcff \ufffe \t]]>"),
    ]},
    "ModeTests": {"all": [
        ("three_modes_pass__kLocal", "P", "Passed"),
        ("three_modes_pass__kLocalSingleThreadedPipe", "P", "Passed"),
        ("three_modes_pass__kLocalMultiThreadedPipe", "P", "Passed"),
        ("three_modes_fail__kLocal", "F", "Assertion 'client.GetValue(\"[group]name\") == \"value\"' failed"),
        ("three_modes_fail__kLocalSingleThreadedPipe", "F",
         "Assertion 'client.GetValue(\"[group]name\") == \"value\"' failed"),
        ("three_modes_fail__kLocalMultiThreadedPipe", "F",
         "Assertion 'client.GetValue(\"[group]name\") == \"value\"' failed"),
        ("two_modes_throw__kLocal", "F", "Failed to parse 'no locator' as a SettingLocator"),
        ("two_modes_throw__kLocalMultiThreadedPipe", "F", "Failed to parse 'no locator' as a SettingLocator"),
        ("unknown_mode", "F", "unknown operation mode 7"),
    ]},
    "UnwindingTests": {"all": [
        ("failing_check_destroys_what_it_owns", "F", "failed while owning"),
        ("throwing_check_destroys_what_it_owns", "F", "threw while owning"),
        ("swallowed_failure_stays", "F", "swallowed"),
        ("first_of_two_failures_counts", "F", "first"),
        ("failure_counts_before_exception", "F", "first"),
        ("swallowed_exception_is_no_failure", "P", "Passed"),
        ("swallowed_failure_on_another_thread_stays", "F", "on another thread"),
    ]},
    "LeftThreadTests": {"all": [
        ("leaves_a_thread", "F", "the check left 1 running thread(s) behind"),
        ("joins_its_threads", "P", "Passed"),
        ("lets_a_thread_come_to_its_end", "P", "Passed"),
        ("passes", "P", "Passed"),
    ]},
}

# Checks that end their process: with a process of their own they are reported and the run goes on.
FORKED = {
    "TerminateTests": {"all": [("failure_in_noexcept_function", "F", "where nothing may be thrown")]},
    "ForeignThreadTests": {"all": [("failure_on_another_thread", "F", "on another thread")]},
    "ExitTests": {"all": [
        ("exits_with_0", "F", "the check ended the program with exit(0)"),
        ("exits_with_3", "F", "the check ended the program with exit(3)"),
        ("exits_on_another_thread", "F", "the check ended the program with exit(0)"),
        ("passes", "P", "Passed"),
    ]},
    "QuickExitTests": {"all": [
        ("exits_quickly", "F", "the check ended the program with quick_exit"),
        ("passes", "P", "Passed"),
    ]},
    "UnderscoreExitTests": {"all": [
        ("exits_at_once", "F", "the check ended its process with _exit(0)"),
        ("passes", "P", "Passed"),
    ]},
    "CrashTests": {"all": [
        ("crashes", "E", AFTER + SEGFAULT),
        ("passes", "P", "Passed"),
    ]},
    "StackOverflowTests": {"all": [
        ("overflows_its_stack", "E", AFTER + SEGFAULT),
        ("passes", "P", "Passed"),
    ]},
    "AbortTests": {"all": [
        ("aborts", "E", AFTER + "Received signal 6 (Aborted)"),
        ("passes", "P", "Passed"),
    ]},
    "ThreadOverflowTests": {"all": [
        ("overflows_a_threads_stack", "E", AFTER + SEGFAULT),
        ("passes", "P", "Passed"),
    ]},
    "AlarmTests": {"all": [
        ("is_alarmed", "E", AFTER + "Received signal 14 (Alarm clock)"),
        ("passes", "P", "Passed"),
    ]},
    "KillTests": {"all": [
        ("is_killed", "E", AFTER + "Received signal 9 (Killed)"),
        ("passes", "P", "Passed"),
    ]},
    "ExecTests": {"all": [
        ("becomes_another_program", "F", "the check ended its process with _exit(0)"),
        ("passes", "P", "Passed"),
    ]},
    "HangTests": {"short": [
        ("hangs", "E", AFTER + TIMEOUT),
    ], "all": [
        ("passes", "P", "Passed"),
    ]},
    "BlockedHangTests": {"short": [
        ("hangs_with_blocked_signals", "E", AFTER + TIMEOUT),
    ], "all": [
        ("passes", "P", "Passed"),
    ]},
    "FailThenHangTests": {"short": [
        ("hangs_after_failure", "E", AFTER + TIMEOUT),
    ], "all": [
        ("passes", "P", "Passed"),
    ]},
}

# Without, they end the run: suite, check, its status, and what standard error says of it.
NOT_FORKED = [
    ("TerminateTests", "all", "failure_in_noexcept_function", 1, [("F", "where nothing may be thrown")]),
    ("ForeignThreadTests", "all", "failure_on_another_thread", 1, [("F", "on another thread")]),
    ("ExitTests", "all", "exits_with_0", 1, [("F", "the check ended the program with exit(0)")]),
    ("UnderscoreExitTests", "all", "exits_at_once", 1, [("E", "the check ended its process with _exit(0)")]),
    ("ExecTests", "all", "becomes_another_program", 1, [("E", "the check ended its process with _exit(0)")]),
    ("AlarmTests", "all", "is_alarmed", -signal.SIGALRM, [("E", "Received signal 14 (Alarm clock)")]),
    ("KillTests", "all", "is_killed", -signal.SIGKILL, [("E", "Received signal 9 (Killed)")]),
    ("ThreadOverflowTests", "all", "overflows_a_threads_stack", -signal.SIGSEGV, [("E", SEGFAULT)]),
    ("QuickExitTests", "all", "exits_quickly", 1, [("F", "the check ended the program with quick_exit")]),
    ("CrashTests", "all", "crashes", -signal.SIGSEGV, [("E", SEGFAULT)]),
    ("StackOverflowTests", "all", "overflows_its_stack", -signal.SIGSEGV, [("E", SEGFAULT)]),
    ("AbortTests", "all", "aborts", -signal.SIGABRT, [("E", "Received signal 6 (Aborted)")]),
    ("HangTests", "short", "hangs", 1, [("E", TIMEOUT)]),
    ("BlockedHangTests", "short", "hangs_with_blocked_signals", 1, [("E", TIMEOUT)]),
    ("FailThenHangTests", "short", "hangs_after_failure", 1, [("E", TIMEOUT), ("F", "before the hang")]),
]


def read_lines():
    """check: (file, line of its definition, line that it marks to be reported)"""
    places = {}
    for name in sorted(os.listdir(SOURCES)):
        if not name.endswith(".cpp"):
            continue
        path, check = SOURCES + "/" + name, None
        with open(path, encoding="utf-8") as file:
            for number, text in enumerate(file, 1):
                defined = re.match(r"(?:CHECK\w*\(|void )(\w+?)(?:_run)?\b", text)
                if defined:
                    check = defined.group(1)
                    places[check] = (path, number, None)
                if text.endswith("// reported\n"):
                    places[check] = (path, places[check][1], number)
    return places


PLACES = read_lines()


def place(check):
    """FILE:LINE that has to be reported of a check; of a passed one any line of it will do."""
    path, _, line = PLACES[check.split("__")[0]]
    return f"{path}:{line}" if line else path


def run(*arguments, **options):
    environment = dict(os.environ, **options.pop("environment", {}))
    return subprocess.run(PROGRAM + list(arguments), capture_output=True, encoding="utf-8", errors="surrogateescape",
                          env=environment, timeout=300, check=False, **options)


def report(run_output):
    """(FILE:LINE, kind, case, check, text) of each check, as the verbose report says."""
    line = re.compile(r"^(tests/[^:\n]+:\d+):([PFE]):(\w+):(\w+):0: (.*)$", re.MULTILINE)
    return [match.groups() for match in line.finditer(run_output)]


def ascii_only(text):
    """Check's XML log loses other characters, or turns them into several, depending on the machine; it loses those
    that XML has no form for."""
    return re.sub("[\x00-\x08\x0b-\x1f]", "", text.encode("ascii", "ignore").decode())


def flat(table):
    return [(case, *row) for cases in table.values() for case, rows in cases.items() for row in rows]


class Rows(unittest.TestCase):
    maxDiff = None

    def compare(self, reported, expected):
        self.assertEqual([row[3] for row in reported], [row[1] for row in expected])
        for (where, kind, case, check, text), (expected_case, _, expected_kind, expected_text) in zip(reported, expected):
            with self.subTest(check=check):
                self.assertEqual((case, kind), (expected_case, expected_kind))
                if not (SANITIZED and kind == "E"):  # a sanitizer ends a crashed process in its own way
                    self.assertEqual(text, expected_text)
                wanted = place(check)
                self.assertTrue(where == wanted or (kind == "P" and where.startswith(wanted + ":")),
                                f"reported at {where}, expected at {wanted}")

    def compare_xml(self, path, expected):
        tests = xml.etree.ElementTree.parse(path).getroot().findall(f"{NAMESPACE}suite/{NAMESPACE}test")
        kinds = {"success": "P", "failure": "F", "error": "E"}
        rows = []
        for test in tests:
            field = {child.tag[len(NAMESPACE):]: child.text or "" for child in test}
            rows.append((field["path"] + "/" + field["fn"], kinds[test.get("result")], field["description"],
                         field["id"], ascii_only(field["message"])))
        # The log leaves out what the report says of the place.
        plain = [(*row[:3], ascii_only(row[3].replace(AFTER, ""))) for row in expected]
        self.compare(rows, plain)

    def run_and_compare(self, mode, table, environment=None):
        expected = flat(table)
        with tempfile.TemporaryDirectory() as folder:
            log = folder + "/log.xml"
            result = run(mode, "-v", "--xml", log, *table, environment=environment or {})
            self.compare(report(result.stdout), expected)
            self.compare_xml(log, expected)
        kinds = [row[2] for row in expected]
        passed = 100 * kinds.count("P") // len(kinds)
        self.assertEqual(re.findall(r"^\d+%: .*$", result.stdout, re.MULTILINE), [
            f"{passed}%: Checks: {len(kinds)}, Failures: {kinds.count('F')}, Errors: {kinds.count('E')}"])
        self.assertEqual(result.returncode, 1)
        return result

    def test_forked(self):
        result = self.run_and_compare("--fork", SAME_IN_BOTH_MODES)
        self.assert_destroyed(result)

    def test_forked_ends(self):
        self.run_and_compare("--fork", FORKED, HURRY)

    def test_not_forked(self):
        result = self.run_and_compare("--no-fork", SAME_IN_BOTH_MODES)
        self.assert_destroyed(result)

    def assert_destroyed(self, result):
        self.assertEqual(sorted(re.findall("destroyed: (.*)", result.stdout)), ["failing check", "throwing check"])

    def test_not_forked_ends(self):
        for suite, case, check, status, lines in NOT_FORKED:
            with self.subTest(suite=suite):
                result = run("--no-fork", suite, environment=HURRY)
                self.assertEqual([row[1:] for row in report(result.stderr)][:len(lines)],
                                 [(kind, case, check, text) for kind, text in lines])
                path, definition, marked = PLACES[check]
                for where, kind, *_ in report(result.stderr):
                    self.assertEqual(where, f"{path}:{definition if kind == 'E' else marked}")
                if SANITIZED:
                    self.assertNotEqual(result.returncode, 0)
                else:
                    self.assertEqual(result.returncode, status)

    def test_default_timeout_comes_from_the_environment(self):
        environment = {"CK_DEFAULT_TIMEOUT": "0.5", "CK_TIMEOUT_MULTIPLIER": "2"}
        forked = {"DefaultTimeoutTests": {"all": [("hangs_by_default", "E", AFTER + TIMEOUT),
                                                  ("passes", "P", "Passed")]}}
        self.run_and_compare("--fork", forked, environment)
        result = run("--no-fork", "DefaultTimeoutTests", environment=environment)
        self.assertEqual([row[1:] for row in report(result.stderr)], [("E", "all", "hangs_by_default", TIMEOUT)])
        self.assertEqual(result.returncode, 1)

    def test_endless_timeouts_are_long_ones(self):
        for variable in "CK_DEFAULT_TIMEOUT", "CK_TIMEOUT_MULTIPLIER":
            for value in "inf", "1e300":
                for mode in "--fork", "--no-fork":
                    with self.subTest(variable=variable, value=value, mode=mode):
                        result = run(mode, "EmptyTests", environment={variable: value})
                        self.assertEqual((result.stderr, result.returncode), ("", 0))

    def test_empty_checks_pass(self):
        for mode in "--fork", "--no-fork":
            result = run(mode, "EmptyTests")
            self.assertIn("100%: Checks: 139, Failures: 0, Errors: 0\n", result.stdout)
            self.assertEqual(result.returncode, 0)


class Surroundings(unittest.TestCase):
    """What the program inherits, and what it does to the shell that calls it."""

    def test_calling_shell_survives(self):
        for arguments in "--no-fork HangTests", "--no-fork CrashTests", "--fork HangTests":
            with self.subTest(arguments=arguments):
                script = '"$@"; echo "status is not 0: $(($? != 0))"; echo survived'
                shell = subprocess.run(["sh", "-c", script, "sh", *PROGRAM, *arguments.split()], capture_output=True,
                                       text=True, timeout=60, check=False, env=dict(os.environ, **HURRY))
                self.assertIn("status is not 0: 1\nsurvived\n", shell.stdout)

    def test_signals_end_the_program_alone(self):
        for mode in "--fork", "--no-fork":
            for number in signal.SIGINT, signal.SIGTERM:
                with self.subTest(mode=mode, signal=number):
                    self.end_hanging_program(mode, number)

    def end_hanging_program(self, mode, number):
        script = """sh -c 'echo $$; exec "$@"' sh "$@"; echo survived"""
        shell = subprocess.Popen(["sh", "-c", script, "sh", *PROGRAM, mode, "DefaultTimeoutTests"],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
                                 env=dict(os.environ, CK_DEFAULT_TIMEOUT="100"))
        program = int(shell.stdout.readline())
        for line in shell.stdout:
            if line == "hanging\n":
                break
        os.kill(program, number)
        rest, _ = shell.communicate(timeout=60)
        # The end of the output comes when the last process that holds it is gone: the forked check is not left behind.
        self.assertIn("survived\n", rest)
        self.assertEqual(shell.returncode, 0)

    def test_inherited_signals_do_no_harm(self):
        def inherit():
            signal.signal(signal.SIGCHLD, signal.SIG_IGN)
            signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGALRM, signal.SIGCHLD})

        result = run("HangTests", preexec_fn=inherit, environment=HURRY)
        self.assertIn("50%: Checks: 2, Failures: 0, Errors: 1\n", result.stdout)

    def test_environment_does_not_narrow_or_redirect(self):
        narrowing = {"CK_RUN_SUITE": "None", "CK_RUN_CASE": "none", "CK_INCLUDE_TAGS": "none",
                     "CK_EXCLUDE_TAGS": "id", "CK_XML_LOG_FILE_NAME": "/nowhere/log", "CK_LOG_FILE_NAME": "/nowhere/log",
                     "CK_TAP_LOG_FILE_NAME": "/nowhere/log", "CK_MAX_MSG_SIZE": "10", "CK_FORK": "no"}
        result = run("FormTests", "UnderscoreExitTests", environment=narrowing)
        self.assertIn("Checks: 12, Failures: 9, Errors: 0\n", result.stdout)
        self.assertEqual(result.returncode, 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
