"""assertion_texts.py [EMULATOR...] PROGRAM: fails when the assertion texts in the program are not those of the table
assertion-texts.txt."""

import pathlib
import re
import sys

TABLE = "tests/self/assertion-texts.txt"
TEXT = re.compile(rb"(?:Assertion '[^\0]*' failed|Failure '[^\0]*' occured)(?=\0)")


def texts_in(program):
    """The assertion texts that a program's image holds, each ended by a NUL."""
    return {text.decode() for text in TEXT.findall(program)}


def differences(texts, table):
    """Lines that say what is wrong; none when the table's lines are exactly the texts, sorted."""
    return ([f"only in the program: {text}" for text in sorted(texts - set(table))]
            + [f"only in the table: {text}" for text in sorted(set(table) - texts)]
            + [f"not in order, or twice: {text}" for last, text in zip(table, table[1:]) if text <= last])


def main():
    program = sys.argv[-1]
    texts = texts_in(pathlib.Path(program).read_bytes())
    if not texts:
        return f"{program} holds no assertion texts"
    found = differences(texts, pathlib.Path(TABLE).read_text().splitlines())
    for line in found:
        print(line)
    if found:
        return f"{TABLE} does not hold exactly the assertion texts of {program}"
    print(f"{len(texts)} assertion texts are as they should be")
    return 0


if __name__ == "__main__":
    sys.exit(main())
