"""What docs/wrong-libraries.md says, made from the table."""

from table import TIMEOUT


def path(source):
    return source / "docs" / "wrong-libraries.md"


HEAD = """# Wrong libraries

A check program that judges other builds of the library has to be able to find them wrong. `tests/self/wrong` builds
{count} libraries that are, each from the sources with one small change, puts `zumra-settings-checks` on each by the
loader's path, with and without fork, and compares the verdict on every check with a table: a check that fails beyond
the table is an error, and so is one of the table that passes. Together they make each of the {checks} checks fail, and
each suite in at least three ways. A library that is built in the same manner without a change passes everything.

The table is `tests/self/wrong/libraries.txt`, with the changes and the texts that the checks fail with; this page is
written from it (`wrong_libraries.py --page`), and the test `checks-wrong_libraries` holds both together.

A change of the library can take away the lines that a wrong library changes, or let another check find it out: the test
says so, and the table has to follow. `wrong_libraries.py --show BUILD/wrong/build.json NAME` prints what fails, in the
table's form; that the texts are those which the wrong library ought to cause is for a person to see.

`CommandTests` checks sources that the program compiles itself; a change of those makes a wrong program, too.

## What the checks do not find

Found on the way, and left to the unit tests:

- Through the multi-threaded pipe, a second notification of the same change: the checks of subscriptions look when the
  first is there, so the second may come too late to be counted. In process it is counted.
- A watcher that keeps only the last of several changes to different groups between two updates: no check makes them.
"""


def catches(library, checks):
    """Suite by suite how many of its checks fail, or all of them."""
    expected = library.expected(checks)
    parts = []
    for suite in dict.fromkeys(check.split("/")[0] for check in checks):
        of_suite = [check for check in checks if check.startswith(suite + "/")]
        failing = [check for check in of_suite if check in expected]
        if failing:
            hanging = sum(expected[check] == TIMEOUT for check in failing)
            parts.append(f"{suite} {len(failing)} of {len(of_suite)}" + (f", {hanging} hang" if hanging else ""))
    return "; ".join(parts)


def page(libraries, checks):
    lines = [HEAD.format(count=len(libraries), checks=len(checks)), "## What each does wrong, and who finds it", "",
             "| library | what it does wrong | checks that fail |", "|---|---|---|"]
    lines += [f"| `{library.name}` | {library.wrong} | {catches(library, checks)} |" for library in libraries]
    return "\n".join(lines) + "\n"
