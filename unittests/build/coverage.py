"""coverage.py REPORT LEAST: of the lines of src/, LEAST percent are run by tests, and docs/coverage.md has the others.

REPORT is gcovr's, as JSON. The page has a row for each file with lines that are not run: how many they are at most (some
are run or not as threads happen to meet), and why."""

import json
import pathlib
import re
import sys

PAGE = pathlib.Path("docs/coverage.md")


def lines_not_run(report):
    """By file: the number of lines, and those that no test runs."""
    for entry in json.loads(report.read_text())["files"]:
        lines = [line for line in entry["lines"] if not line.get("gcovr/noncode")]
        yield entry["file"], len(lines), [line["line_number"] for line in lines if line["count"] == 0]


def justified():
    return {file: int(count) for file, count in re.findall(r"^\| `(src/\S+)` \| (\d+) \| \S", PAGE.read_text(), re.MULTILINE)}


def show(file, numbers):
    source = pathlib.Path(file).read_text().splitlines()
    for number in numbers:
        print(f"{file}:{number}: {source[number - 1].strip()}")


def faults(files, least):
    known = justified()
    for file, _, missed in files:
        if len(missed) > known.get(file, 0):
            yield f"{file}: {len(missed)} lines are not run, {PAGE} justifies {known.get(file, 0)}"
    for file in sorted(set(known) - {file for file, _, missed in files if missed}):
        if not pathlib.Path(file).exists():
            yield f"{PAGE}: there is no {file}"
    every, missed = sum(count for _, count, _ in files), sum(len(missed) for _, _, missed in files)
    percent = 100 * (every - missed) / every if every else 0
    print(f"{every - missed:,} of {every:,} lines of src/ are run by tests: {percent:.1f} %")
    if percent < least:
        yield f"less than {least} % of the lines are run"


def main():
    files = list(lines_not_run(pathlib.Path(sys.argv[1])))
    for file, _, missed in files:
        show(file, missed)
    found = list(faults(files, float(sys.argv[2])))
    for fault in found:
        print(fault)
    return f"{len(found)} faults in coverage" if found else 0


if __name__ == "__main__":
    sys.exit(main())
