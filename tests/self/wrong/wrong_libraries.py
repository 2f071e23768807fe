"""wrong_libraries.py CONFIG [NAME...]: builds deliberately wrong libraries, puts the check program on each, and compares
its verdict with the table libraries.txt, check by check. All of them, and whether together they make every check fail,
unless some are named. A library that is judged otherwise is left in BUILD/wrong.

wrong_libraries.py --show CONFIG [NAME...]: prints what fails instead, as the table's lines.
wrong_libraries.py --page CONFIG: writes docs/wrong-libraries.md anew.

CONFIG is BUILD/wrong/build.json; `ctest -V -R checks-wrong_libraries` shows how it is called.
"""

import concurrent.futures
import pathlib
import shutil
import subprocess
import sys
from xml.etree.ElementTree import ParseError

import page
from build import BuildError, Builder
from judge import PASSED, Judge, JudgeError
from table import Change, Library, TIMEOUT, TableError, read_table, shown

TABLE = pathlib.Path(__file__).parent / "libraries.txt"
JOBS = 2
PER_SUITE = 3
# What a check program has to survive: each begins what is said of a wrong library.
KINDS = ("A crash: ", "A hang: ", "An exception: ", "An endless stream of notifications: ", "A library that never answers: ")
LINE = '#include "core/IniReader.h"\n'
RIGHT = Library("right", "Nothing: built as the wrong ones are.", [Change("src/core/IniFile.cpp", LINE, LINE)])


def differences(expected, texts, how=""):
    """Lines that say what is not as expected; none when every check's verdict is right."""
    lines = []
    for check, text in texts.items():
        wanted = expected.get(check, PASSED)
        if text != wanted:
            lines.append(f"{how}{check}\n    expected: {shown(wanted)}\n    reported: {shown(text)}")
    return lines


def gaps(libraries, checks):
    """Lines that say which checks no library makes fail, which suites too few, and which kinds are missing."""
    failing, catching = set(), {check.split("/")[0]: set() for check in checks}
    for library in libraries:
        for check in library.expected(checks):
            failing.add(check)
            catching[check.split("/")[0]].add(library.name)
    return ([f"{library.name} makes no check fail" for library in libraries if not library.failures]
            + [f"no wrong library makes {check} fail" for check in checks if check not in failing]
            + [f"{len(names)} wrong libraries make {suite} fail, {PER_SUITE} are wanted"
               for suite, names in catching.items() if len(names) < PER_SUITE]
            + [f"a kind of wrong library is missing: {kind}" for kind in KINDS
               if not any(library.wrong.startswith(kind) for library in libraries)])


def grouped(texts):
    """Lines of the table that say these failures."""
    lines, last = [], None
    for check, text in texts.items():
        if text != PASSED:
            if last not in (None, text):
                lines.append("  " + shown(last))
            lines.append("fails    " + check)
            last = text
    return lines + (["  " + shown(last)] if last is not None else [])


class Run:
    def __init__(self, config, show):
        self.builder = Builder(config)
        self.judge = Judge(self.builder)
        self.show = show

    def one(self, library):
        """What is wrong with a wrong library, as lines."""
        try:
            expected = library.expected(self.judge.checks)
            folder = self.builder.make(library)
            texts = self.judge.verdict(folder, expected)
            if self.show:
                return grouped(texts)
            lines = differences(expected, texts)
            lines += differences(expected, self.judge.verdict_in_one_process(folder, expected), "without fork, ")
        except (BuildError, JudgeError, TableError, subprocess.SubprocessError, ParseError) as e:
            return [str(e)]
        if not lines:
            shutil.rmtree(folder)
        return lines

    def all(self, libraries):
        # Those with checks that hang take longest and go first.
        waiting = sorted(libraries, key=lambda library: -sum(text == TIMEOUT for _, text in library.failures))
        failed = []
        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            for library, lines in zip(waiting, pool.map(self.one, waiting)):
                print(f"{library.name}: " + ("\n".join(["", *lines]) if lines else "as expected"), flush=True)
                failed += [library.name] if lines else []
        return failed


def main(arguments):
    mode = arguments.pop(0) if arguments[:1] in (["--show"], ["--page"]) else None
    config, *names = arguments
    libraries = read_table(TABLE.read_text())
    run = Run(config, mode == "--show")
    described = page.page(libraries, run.judge.checks)
    if mode == "--page":
        page.path(run.builder.source).write_text(described)
        return 0
    every = [RIGHT, *libraries]
    unknown = set(names) - {library.name for library in every}
    if unknown:
        return "not in the table: " + ", ".join(sorted(unknown))
    failed = run.all([library for library in every if not names or library.name in names])
    if mode == "--show" or names:
        return 1 if failed and not mode else 0
    wrong = gaps(libraries, run.judge.checks)
    if page.path(run.builder.source).read_text() != described:
        wrong.append("docs/wrong-libraries.md does not say what the table says: write it anew with --page")
    print("\n".join(wrong))
    print(f"{len(libraries)} wrong libraries, {len(failed)} not as expected")
    return 1 if failed or wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
