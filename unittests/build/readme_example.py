"""readme_example.py README PREFIX SCRATCH: builds the README's program as the README says, and compares what it prints."""

import os
import pathlib
import re
import subprocess
import sys


def block(text, language):
    found = re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    if len(found) != 1:
        sys.exit(f"the README has {len(found)} blocks of {language}, one was expected")
    return found[0]


def main():
    readme, prefix, scratch = (pathlib.Path(argument) for argument in sys.argv[1:])
    text = readme.read_text()
    scratch.mkdir(parents=True, exist_ok=True)
    (scratch / "example.cpp").write_text(block(text, "cpp"))
    command = re.findall(r"^    (g\+\+ .*)$", text, re.MULTILINE)
    if len(command) != 1:
        return f"the README has {len(command)} command lines of g++, one was expected"
    libraries = next(prefix.rglob("libzumra.so")).parent
    environment = {**os.environ, "PKG_CONFIG_PATH": f"{libraries}/pkgconfig", "LD_LIBRARY_PATH": str(libraries)}
    subprocess.run(command[0], shell=True, check=True, cwd=scratch, env=environment)
    printed = subprocess.run(["./a.out"], check=True, cwd=scratch, env=environment, stdout=subprocess.PIPE, text=True).stdout
    if printed != block(text, "ini"):
        return f"the README's program printed\n{printed}"
    return 0


if __name__ == "__main__":
    sys.exit(main())
