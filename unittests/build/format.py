"""format.py CLANG_FORMAT: fails when a source file is not formatted as .clang-format says."""

import pathlib
import subprocess
import sys

FOLDERS = ["include", "src", "apps", "tests", "unittests", "fuzz", "bench"]


def sources():
    for folder in FOLDERS:
        for path in sorted(pathlib.Path(folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield str(path)


def main():
    files = list(sources())
    if not files:
        return "no source files found; run from the project's folder"
    result = subprocess.run([sys.argv[1], "--dry-run", "--Werror", *files], check=False)
    if result.returncode:
        return "run clang-format -i on the files above"
    print(f"{len(files)} files are formatted")
    return 0


if __name__ == "__main__":
    sys.exit(main())
