"""man_pages.py PREFIX GROFF: the installed manual pages are well-formed, and tell of exactly the verbs and options that
the programs do."""

import pathlib
import re
import subprocess
import sys

PAGES = {"share/man/man8/zumra-settingsd.8": "sbin/zumra-settingsd", "share/man/man1/zumra-settings.1": "bin/zumra-settings"}


def options_of(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))


def help_of(program, *words):
    return subprocess.run([program, *words, "--help"], check=True, stdout=subprocess.PIPE, text=True).stdout


def own_options(help_text):
    """Those that stand at the beginning of a line: others are only spoken of."""
    return {name for line in help_text.splitlines() if line.startswith("  -") for name in options_of(line.split("  ")[1].split(" ")[0].replace(",", " "))}


def verbs_of(help_text):
    section = help_text.partition("\nVerbs:\n")[2].partition("\n\n")[0]
    return {line.split()[0] for line in section.splitlines()}


def differences(what, said, done):
    for name in sorted(said - done):
        yield f"{what}: the page tells of '{name}', which there is not"
    for name in sorted(done - said):
        yield f"{what}: the page does not tell of '{name}'"


def page_verbs(section):
    """The text of each verb by its name."""
    texts = re.split(r"^\.TP\n\.B (?=[a-z])", section, flags=re.MULTILINE)[1:]
    return {text.split()[0]: text for text in texts}


def faults(page, program, groff):
    warnings = subprocess.run([groff, "-ww", "-man", "-Tutf8", "-z", page], stderr=subprocess.PIPE, text=True)
    yield from warnings.stderr.splitlines()
    text = page.read_text().replace(r"\-", "-")
    options, _, rest = text.partition(".SH OPTIONS\n")[2].partition("\n.SH ")
    help_text = help_of(program)
    tags = "\n".join(re.findall(r"^\.TP\n(.*)$", options, re.MULTILINE))
    yield from differences(page.name, options_of(tags), own_options(help_text))
    described = page_verbs(rest.partition("VERBS\n")[2].partition("\n.SH ")[0])
    yield from differences(page.name, set(described), verbs_of(help_text))
    for verb in sorted(set(described) & verbs_of(help_text)):
        own = own_options(help_of(program, verb)) - {"--help"}
        yield from differences(f"{page.name}, {verb}", options_of(described[verb]), own)


def main():
    prefix, groff = pathlib.Path(sys.argv[1]), sys.argv[2]
    count = 0
    for page, program in PAGES.items():
        for fault in faults(prefix / page, prefix / program, groff):
            print(fault)
            count += 1
    return f"{count} faults in the manual pages" if count else 0


if __name__ == "__main__":
    sys.exit(main())
