"""lock_annotations.py FOLDER [BUILD]: every lock is one that clang's analysis knows, and says what it guards.

With BUILD, a folder that clang compiled in, also tries whether a file that is compiled as there is refused when it
touches what is guarded without the lock."""

import json
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

FOLDERS = ("src", "apps", "include")
# Where the library's own locks are made of the standard's.
MADE_OF = "include/zumra/osa/Mutex.h"
UNKNOWN_TO_CLANG = re.compile(r"std::(?:\w*mutex\w*|condition_variable\w*|lock_guard|unique_lock|shared_lock|scoped_lock|(?:counting|binary)_semaphore)\b|\bpthread_(?:mutex|rwlock|spin)\w*")
LOCK = re.compile(r"^\s*(?:static |mutable )?(?:osa::)?Mutex (\w+)(?:\{[^}]*\})?;", re.MULTILINE)
GUARDED = """
#include "zumra/osa/Mutex.h"
struct Counter {
    zumra::osa::Mutex mutex;
    int count ZUMRA_GUARDED_BY(mutex) = 0;
    int Count() {%s return count; }
};
int CountOf(Counter& counter);
int CountOf(Counter& counter) { return counter.Count(); }
"""
WITH_LOCK = " zumra::osa::MutexLock lock(mutex);"


def code_of(path):
    return re.sub(r"//[^\n]*", "", path.read_text())


def faults_in(root):
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix not in (".h", ".cpp") or path == root / MADE_OF:
                continue
            text = code_of(path)
            for match in UNKNOWN_TO_CLANG.finditer(text):
                yield f"{path}: {match[0]}: use zumra::osa's, which clang's analysis knows"
            for line in text.splitlines():
                # An alias, a list or a container of locks would hide them from the rule below.
                if re.search(r"^(?!#include).*\bMutex\b", line) and not LOCK.match(line):
                    yield f"{path}: {line.strip()}: say 'Mutex NAME;', a line each"
            for name in LOCK.findall(text):
                if not re.search(rf"ZUMRA_(?:PT_GUARDED_BY|GUARDED_BY|REQUIRES)\([^)]*\b{name}\b", text):
                    yield f"{path}: nothing says what {name} guards"


def compiles(command, text):
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as file:
        file.write(text)
        file.flush()
        result = subprocess.run([*command, file.name], stderr=subprocess.PIPE, text=True)
    return result.returncode == 0, result.stderr


def command_in(build):
    """How a source file of the library is compiled there, without the file and what becomes of it."""
    entries = json.loads((build / "compile_commands.json").read_text())
    entry = next(entry for entry in entries if entry["file"].endswith("src/settings/server/Saver.cpp"))
    words = shlex.split(entry["command"])
    words = [word for word in words[: words.index("-o")] if not word.startswith("CCACHE")]
    compiler = next(number for number, word in enumerate(words) if "clang" in pathlib.Path(word).name)
    return [*words[compiler:], "-fsyntax-only"]


def faults_of_analysis(build):
    command = command_in(build)
    passed, text = compiles(command, GUARDED % WITH_LOCK)
    if not passed:
        yield f"what keeps to the annotations is refused: {text}"
    passed, text = compiles(command, GUARDED % "")
    if passed or "-Wthread-safety" not in text:
        yield f"what is guarded may be touched without the lock: {text}"


def main():
    faults = list(faults_in(pathlib.Path(sys.argv[1])))
    if len(sys.argv) > 2:
        faults += faults_of_analysis(pathlib.Path(sys.argv[2]))
    for fault in faults:
        print(fault)
    return f"{len(faults)} faults in locks" if faults else 0


if __name__ == "__main__":
    sys.exit(main())
