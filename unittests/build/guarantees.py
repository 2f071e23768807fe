"""guarantees.py CTEST BUILD: every test that docs/guarantees.md names is there, and every promise names one."""

import pathlib
import re
import subprocess
import sys

PAGE = pathlib.Path("docs/guarantees.md")
UNIT_TEST = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)


def unit_tests():
    return {".".join(names) for path in pathlib.Path("unittests").rglob("*.cpp") for names in UNIT_TEST.findall(path.read_text())}


def tests_of_ctest(ctest, build):
    listed = subprocess.run([ctest, "--test-dir", build, "-N"], check=True, stdout=subprocess.PIPE, text=True).stdout
    return set(re.findall(r"^ *Test +#\d+: (\S+)", listed, re.MULTILINE))


def promises():
    """The number of the line, and the names of the tests."""
    for number, line in enumerate(PAGE.read_text().splitlines(), 1):
        if line.startswith("|") and not re.match(r"\| *promise|\|-", line):
            yield number, re.findall(r"`([\w.-]+)`", line.rstrip("|").rpartition("|")[2])


def faults(known):
    for number, names in promises():
        if not names:
            yield f"{PAGE}:{number}: no test is named"
        for name in names:
            if name not in known:
                yield f"{PAGE}:{number}: there is no test '{name}'"


def main():
    known = unit_tests() | tests_of_ctest(sys.argv[1], sys.argv[2])
    found = list(faults(known))
    for fault in found:
        print(fault)
    if not any(True for _ in promises()):
        return f"no promises in {PAGE}"
    return f"{len(found)} faults in {PAGE}" if found else 0


if __name__ == "__main__":
    sys.exit(main())
