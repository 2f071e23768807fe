"""The table of wrong libraries: what each does wrong, in which source, and which checks fail with which text.

    library  a-name-of-its-own
    wrong    What it does wrong, in a sentence.
    source   src/core/IniWriter.cpp
     a line that stays, to say where
    -a line that goes
    +a line that comes
    fails    Suite/case/check
    fails    Suite/case/family__*
      The text, with \\n for a line end, \\s for a blank at its end and \\\\ for a backslash.

The lines of a change are found in the source exactly once. There may be several sources, and several changes of one.
Patterns are the shell's; each matches a check, and no check is matched twice. Lines that begin with "#" are comments.
"""

import dataclasses
import fnmatch
import re

TIMEOUT = "Test timeout expired"


class TableError(Exception):
    pass


@dataclasses.dataclass
class Change:
    source: str
    before: str = ""
    after: str = ""

    def add(self, line):
        mark, text = line[0], line[1:] + "\n"
        if mark not in " -+":
            raise TableError("a line of a change begins with a blank, a minus or a plus")
        if mark in " -":
            self.before += text
        if mark in " +":
            self.after += text

    def apply(self, text):
        found = text.count(self.before) if self.before else 0
        if found != 1:
            raise TableError(f"{self.source} has these lines {found} times, not once:\n{self.before}")
        return text.replace(self.before, self.after)


@dataclasses.dataclass
class Library:
    name: str
    wrong: str = ""
    changes: list = dataclasses.field(default_factory=list)
    #: (patterns, text)
    failures: list = dataclasses.field(default_factory=list)

    def expected(self, checks):
        """check: text, of those that fail."""
        texts = {}
        for patterns, text in self.failures:
            for pattern in patterns:
                matched = fnmatch.filter(checks, pattern)
                if not matched:
                    raise TableError(f"{self.name}: no check is named {pattern}")
                for check in matched:
                    if check in texts:
                        raise TableError(f"{self.name}: {check} is named twice")
                    texts[check] = text
        return texts

    def changed_sources(self, read):
        """source: its text with all changes."""
        texts = {}
        for change in self.changes:
            texts[change.source] = change.apply(texts.get(change.source) or read(change.source))
        return texts


def shown(text):
    """A failure's text as the table's line."""
    line = text.replace("\\", "\\\\").replace("\n", "\\n")
    return line[:-1] + "\\s" if line.endswith(" ") else line


def meant(line):
    """What a line of the table stands for."""
    return re.sub(r"\\(.)", lambda match: {"n": "\n", "s": " "}.get(match[1], match[1]), line)


class Reader:
    KEYS = re.compile(r"(library|wrong|source|fails)  +(\S.*)")

    def __init__(self):
        self.libraries = []
        self._open = []  # patterns that wait for their text

    def read(self, text):
        for number, line in enumerate(text.splitlines(), 1):
            try:
                self._line(line)
            except IndexError as e:
                raise TableError(f"line {number}: comes before the first library: {line}") from e
            except TableError as e:
                raise TableError(f"line {number}: {e}: {line}") from e
        self._end_library()
        return self.libraries

    def _line(self, line):
        if line.startswith("#") or not line.strip():
            return
        key = self.KEYS.fullmatch(line)
        if key:
            getattr(self, "_" + key[1])(key[2])
        elif self._open:
            self._text(line)
        elif self.libraries and self.libraries[-1].changes and not self.libraries[-1].failures:
            self.libraries[-1].changes[-1].add(line)
        else:
            raise TableError("not understood")

    def _library(self, name):
        self._end_library()
        if not re.fullmatch("[a-z0-9-]+", name) or name in [library.name for library in self.libraries]:
            raise TableError("the name is malformed or taken")
        self.libraries.append(Library(name))

    def _wrong(self, text):
        self.libraries[-1].wrong = (self.libraries[-1].wrong + " " + text).strip()

    def _source(self, name):
        if self.libraries[-1].failures or self._open:
            raise TableError("sources come before failures")
        self.libraries[-1].changes.append(Change(name))

    def _fails(self, pattern):
        self._open.append(pattern)

    def _text(self, line):
        if not line.startswith("  "):
            raise TableError("the text of a failure is set in by two blanks")
        self.libraries[-1].failures.append((self._open, meant(line[2:])))
        self._open = []

    def _end_library(self):
        if not self.libraries:
            return
        last = self.libraries[-1]
        changes = bool(last.changes) and all(change.before != change.after for change in last.changes)
        if self._open or not last.wrong or not changes:
            raise TableError(f"library {last.name} lacks what is wrong, a change, or a failure's text")


def read_table(text):
    return Reader().read(text)
