"""limits.py DAEMON: docs/limits.md has the numbers of the sources and of the daemon's help, and all of them."""

import pathlib
import re
import subprocess
import sys

PAGE = pathlib.Path("docs/limits.md")
UNITS = {"": 1, "bytes": 1, "columns": 1, "KiB": 1 << 10, "MiB": 1 << 20, "GiB": 1 << 30, "ms": 1, "s": 1000, "h": 3600000}
# What is no limit that anyone meets: sizes of pieces in which bytes are moved, numbers of formats, and arithmetic.
NO_LIMITS = {
    "IniFile.cpp": {"kReadChunk", "kWriteChunk"},
    "PhpArraySettingsSerializer.cpp": {"kReadChunk", "kWriteChunk"},
    "GroupNameMatcher.cpp": {"kChunk"},
    "ClientHandler.cpp": {"kBlock"},
    "ReplyStream.cpp": {"kBufferSize"},
    "PhpArrayParser.cpp": {"kMinString", "kMinArray", "kMinGroup", "kMinValue"},
    "PhpArrayParser.h": {"kNoLimit"},
    "InProcessSession.cpp": {"kMost"},
    "SettingsManager.cpp": {"kSmallValue"},
    "SqliteStore.cpp": {"kApplicationId"},
    "LookAtDatabase.cpp": {"kLogHeader"},
    "ForkedExit.cpp": {"kStatusOne"},
    "Journal.h": {"kFields"},
}
NUMERIC = r"(?:std::)?(?:u?int\d*_t|size_t|streamsize|int|unsigned|double|mode_t|rlim_t|(?:chrono::)?(?:milli)?seconds|chrono::hours|Clock::duration)"
CONSTANT = re.compile(rf"constexpr (?P<type>{NUMERIC}) (?P<name>k\w+)\s*(?:=\s*(?P<value>[^;]+)|\{{(?P<braced>[^;]*)\}});")


def sources():
    for folder in ("src", "apps", "include"):
        for path in sorted(pathlib.Path(folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path


def number_of(kind, text):
    """The value of a C++ constant; times in milliseconds."""
    text = re.sub(r"std::numeric_limits<std::int32_t>::max\(\)", str(2**31 - 1), text)
    text = re.sub(r"(?:std::)?(?:chrono::)?milliseconds\b", "1*", text)
    text = re.sub(r"(?:std::)?chrono::seconds\b", "1000*", text)
    text = re.sub(r"(?:std::)?chrono::hours\b", "3600000*", text)
    text = text.replace("std::size_t", "1*").replace("{", "(").replace("}", ")")
    text = re.sub(r"(?<![.\w])0(?=[0-7])", "0o", text)
    if not re.fullmatch(r"[0-9a-fA-FxXoOe()+*/<. -]+", text):
        raise ValueError(f"cannot read '{text}'")
    value = eval(text)  # digits and operators only, as was just seen
    return value * 1000 if re.search(r"(?<!milli)seconds$", kind) and "1000*" not in text else value


def constants():
    found = {}
    for path in sources():
        for match in CONSTANT.finditer(path.read_text()):
            name = match["name"]
            if name not in NO_LIMITS.get(path.name, ()):
                found[path.name, name] = number_of(match["type"], match["value"] or match["braced"])
    return found


def member(struct, name):
    """The initial value of a member of a struct that stands in one of the headers."""
    values = []
    for path in sources():
        for match in re.finditer(rf"struct {struct} \{{(.*?)\n *\}};", path.read_text(), re.DOTALL):
            for kind, assigned, braced in re.findall(rf"^ *([\w:]+) {name}(?: = (.+)|\{{(.*)\}});", match[1], re.MULTILINE):
                values.append((kind, assigned or braced))
    if len(values) != 1:
        raise ValueError(f"there are {len(values)} members '{name}' of a struct {struct}")
    kind, text = values[0]
    return {"true": True, "false": False}[text] if kind == "bool" else number_of(kind, text)


def parameter(file, name):
    texts = [path.read_text() for path in sources() if path.name == file]
    values = [value for text in texts for value in re.findall(rf"\b{name} = (\d+)\)", text)]
    if len(values) != 1:
        raise ValueError(f"there are {len(values)} parameters '{name}' with a default in {file}")
    return int(values[0])


def documented(cell):
    """'16 MiB', '0660', '4,096 bytes', '30,000 ms: ...' as a number; 'no' and 'yes' as what they are."""
    if re.match(r"(no|yes)\b", cell):
        return cell.startswith("yes")
    match = re.match(r"(\d+(?:,\d{3})*(?:\.\d+)?)(?: (\w+))?", cell)
    if match is None or (match[2] or "") not in UNITS:
        raise ValueError(f"'{cell}' is no number with a unit that this test knows")
    digits = match[1].replace(",", "")
    number = float(digits) if "." in digits else int(digits, 8 if re.match("0[0-7]", digits) else 10)
    return number * UNITS[match[2] or ""]


def rows():
    header = []
    for line in PAGE.read_text().splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")] if line.startswith("|") else []
        if not cells:
            header = []
        elif not header:
            header = cells
        elif not set(line) <= set("|-"):
            if len(cells) != len(header):
                raise ValueError(f"another number of cells than above: {line}")
            yield dict(zip(header, cells))


def in_code(place, known):
    """What stands at `File.cpp kName`, `Struct member` or `File.h parameter`."""
    where, name = place.strip("`").split()
    if (where, name) in known:
        return known[where, name]
    return parameter(where, name) if "." in where else member(where, name)


def differences_in_code():
    known = constants()
    told = set()
    for row in rows():
        place = row.get("in the code")
        if not place:
            continue
        told.add(tuple(place.strip("`").split()))
        said, is_ = documented(row["default"]), in_code(place, known)
        if place.endswith("Seconds`"):
            is_ *= UNITS["s"]
        if said != is_:
            yield f"{row['what']}: the page says {said}, {place} is {is_}"
    for where, name in sorted(set(known) - told):
        yield f"{where} {name} is in no table of {PAGE}, nor among what this test knows to be no limit"


def daemon_options(daemon):
    """The option's default, and its range where it has one."""
    text = subprocess.run([daemon, "--help"], check=True, stdout=subprocess.PIPE, text=True).stdout
    pattern = r"^  (--[a-z-]+) [A-Z]+=(\d+)\s+(.*)$"
    options = {}
    for name, default, told in re.findall(pattern, text, re.MULTILINE):
        limits = re.search(r"(\d+) to (\d+)", told)
        options[name] = (*(limits.groups() if limits else (None, None)), default)
    return options


def differences_in_options(daemon):
    options = daemon_options(daemon)
    told = {}
    for row in rows():
        match = re.fullmatch(r"`(--[a-z-]+)`", row.get("set by", ""))
        if match and match[1] in options:
            told[match[1]] = row
    for name, (least, most, default) in options.items():
        row = told.get(name)
        if row is None:
            yield f"the daemon's {name} is in no table"
        elif documented(row["default"]) != documented(default):
            yield f"{name}: the page says {row['default']}, the daemon {default}"
        elif least is not None and f"{int(least):,} to {int(most):,}" not in row["what"]:
            yield f"{name}: the page does not say that it is from {int(least):,} to {int(most):,}"
    if not told:
        yield "no option of the daemon is in a table"


def main():
    faults = [*differences_in_code(), *differences_in_options(sys.argv[1])]
    for fault in faults:
        print(fault)
    return f"{len(faults)} faults in {PAGE}" if faults else 0


if __name__ == "__main__":
    sys.exit(main())
