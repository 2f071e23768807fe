"""include_direction.py ROOT: fails when an include below ROOT runs against the direction of the layers.

docs/design.md shows the layers. What is installed of a layer stands in include/zumra, the rest of it in src.
"""

import pathlib
import re
import sys

# The first pattern that fits a file names its layer.
LAYERS = [
    (r"include/zumra/Export\.h", "export"),
    (r"(include/zumra|src)/osa/.*", "osa"),
    (r"(include/zumra|src)/core/.*", "core"),
    (r"(include/zumra|src)/check/.*", "check"),
    (r"include/zumra/settings/IChangeCallback\.h", "common"),
    (r"(include/zumra|src)/settings/common/.*", "common"),
    (r"(include/zumra|src)/settings/server/.*", "server"),
    (r"src/settings/client/InProcess[^/]*\.cpp", "factory"),
    (r"include/zumra/settings/[^/]*", "client"),
    (r"src/settings/client/.*", "client"),
    (r"src/storage/.*", "storage"),
    (r"apps/.*", "apps"),
]

# The layers, besides itself, that a layer may include.
ALLOWED = {
    "export": set(),
    "osa": {"export"},
    "core": {"export", "osa"},
    "check": {"export", "osa", "core"},
    "common": {"export", "osa", "core"},
    "server": {"export", "osa", "core", "common"},
    "client": {"export", "osa", "core", "common"},
    "factory": {"export", "osa", "core", "common", "server", "client"},
    "storage": {"export", "osa", "core", "common", "server"},
    "apps": {"export", "osa", "core", "common", "server", "client", "storage", "check"},
}

# These layers touch no sockets, files or clocks.
PURE = {"core", "common"}
SYSTEM = re.compile(
    r"(sys|net|netinet|netpacket|arpa|linux|asm|asio|boost)/.*|asio\.hpp|unistd\.h|fcntl\.h|poll\.h|netdb\.h|dirent\.h"
    r"|ftw\.h|glob\.h|aio\.h|signal\.h|csignal|stdio\.h|cstdio|fstream|filesystem|experimental/filesystem"
    r"|time\.h|ctime|chrono|utime\.h"
)

INCLUDE = re.compile(r'\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')


def layer_of(path):
    for pattern, layer in LAYERS:
        if re.fullmatch(pattern, path):
            return layer
    return None


def resolve(root, includer, name):
    """The file below root that an include means, or None for one of another project."""
    for folder in (includer.parent, root / "include", root / "src", root / "apps", root / "tests", root / "unittests"):
        candidate = (folder / name).resolve()
        if candidate.is_file() and candidate.is_relative_to(root):
            return candidate.relative_to(root).as_posix()
    return None


def fault(root, includer, layer, name):
    target = resolve(root, includer, name)
    if target is None:
        if layer in PURE and SYSTEM.fullmatch(name):
            return f"layer {layer} includes the system header <{name}>"
        return None
    target_layer = layer_of(target)
    if target_layer is None:
        return f"layer {layer} includes {target}, which is in no layer"
    if target_layer != layer and target_layer not in ALLOWED[layer]:
        return f"layer {layer} includes {target} of layer {target_layer}"
    return None


def faults(root):
    """All faults below root, and the number of includes looked at."""
    found, count = [], 0
    files = [path for folder in ("include", "src", "apps") for path in sorted((root / folder).rglob("*"))]
    for path in files:
        if path.suffix not in (".h", ".cpp"):
            continue
        relative = path.relative_to(root).as_posix()
        layer = layer_of(relative)
        if layer is None:
            found.append(f"{relative}:1: is in no layer")
            continue
        for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
            match = INCLUDE.match(line)
            if match:
                count += 1
                what = fault(root, path, layer, match.group(1) or match.group(2))
                if what:
                    found.append(f"{relative}:{number}: {what}")
    return found, count


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    found, count = faults(root)
    for line in found:
        print(line)
    if found:
        return f"{len(found)} includes run against the layers"
    if count == 0:
        return f"no includes found below {root}"
    print(f"{count} includes run the right way")
    return 0


if __name__ == "__main__":
    sys.exit(main())
