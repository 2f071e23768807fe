"""checks_page.py [EMULATOR...] PROGRAM: fails when docs/checks.md and what the check program lists differ."""

import difflib
import pathlib
import re
import subprocess
import sys

PAGE = "docs/checks.md"
ROW = re.compile(r"\| (\w+) \| `(\w+)(__<mode>)?` \| (\S.*) \|")


def page_entries(text):
    """The suite/case/check names that a page describes, in its order."""
    entries, suite, modes = [], None, []
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("## "):
            suite, modes = line[3:], []
        elif line.startswith("Modes: "):
            modes = re.findall(r"`(\w+)`", line)
        elif line.startswith("| ") and not line.startswith("| case |"):
            row = ROW.fullmatch(line)
            if not row or not suite:
                raise ValueError(f"line {number}: not a check of a suite: {line}")
            case, name, each_mode, _ = row.groups()
            if each_mode and not modes:
                raise ValueError(f"line {number}: the suite names no modes")
            names = [f"{name}__{mode}" for mode in modes] if each_mode else [name]
            entries += [f"{suite}/{case}/{name}" for name in names]
    return entries


def differences(page, program):
    """Lines that say what is wrong; none when the two lists are equal."""
    return [line for line in difflib.unified_diff(program, page, "program", "page", lineterm="", n=0)
            if not line.startswith("@@")]


def program_entries(listing):
    """The suite/case/check names of a verbose listing."""
    return listing.split()


def main():
    program = sys.argv[1:]
    listing = subprocess.run([*program, "--list", "-v"], check=True, capture_output=True, text=True).stdout
    listed = program_entries(listing)
    if not listed:
        return "the program lists no checks"
    found = differences(page_entries(pathlib.Path(PAGE).read_text()), listed)
    for line in found:
        print(line)
    if found:
        return f"{PAGE} is not what the program lists"
    print(f"{len(listed)} checks are described")
    return 0


if __name__ == "__main__":
    sys.exit(main())
