"""Builds a wrong library: the changed sources compiled anew, linked with the objects of the right one."""

import json
import os
import pathlib
import shlex
import shutil
import subprocess

CCACHE = shutil.which("ccache")


class BuildError(Exception):
    pass


class Builder:
    """`config`: the description that CMake writes of the build (see CMakeLists.txt)."""

    def __init__(self, config):
        self.config = json.loads(pathlib.Path(config).read_text())
        self.source = pathlib.Path(self.config["source"])
        self.build = pathlib.Path(self.config["build"])
        self.folder = self.build / "wrong"
        self.commands = self._compile_commands()

    def _compile_commands(self):
        """object: (source, command)"""
        commands = {}
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            command = shlex.split(entry["command"])
            made = os.path.normpath(os.path.join(entry["directory"], command[command.index("-o") + 1]))
            commands[made] = (os.path.relpath(entry["file"], self.source), command)
        return commands

    def read(self, source):
        if not source.startswith("src/"):
            raise BuildError(f"{source} belongs to no library")
        return (self.source / source).read_text()

    def make(self, library):
        """The folder that holds what is wrong: shared libraries, the program where its own sources are."""
        folder = self.folder / library.name
        shutil.rmtree(folder, ignore_errors=True)
        changed = library.changed_sources(self.read)
        made = [self._link(target, folder, changed) for target in self.config["targets"]]
        if not any(made):
            raise BuildError(f"nothing is built from {', '.join(changed)}")
        return folder

    def _link(self, target, folder, changed):
        objects, any_changed = [], False
        for made in map(os.path.normpath, target["objects"]):
            source, command = self.commands[made]
            if source in changed:
                made, any_changed = self._compile(folder, source, changed[source], command, target["name"]), True
            objects.append(made)
        if any_changed:
            run([self.config["compiler"], *target["flags"], "-o", str(folder / target["file"]), *objects,
                 *target["libraries"]])
        return any_changed

    def _compile(self, folder, source, text, command, target):
        """At no optimisation, without debug information, and unused things are no errors."""
        path = folder / source
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        made = folder / (target + "-" + path.name + ".o")
        command = list(command)
        command[command.index("-o") + 1] = str(made)
        command[-1] = str(path)
        environment = dict(os.environ, CCACHE_BASEDIR=str(self.source), CCACHE_NOHASHDIR="1")
        run(([CCACHE] if CCACHE else []) + command + ["-O0", "-g0", "-w"], env=environment)
        return str(made)


def run(command, **options):
    result = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        raise BuildError(f"{shlex.join(command[:3])} ... failed:\n{result.stderr}")
