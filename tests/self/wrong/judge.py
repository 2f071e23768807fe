"""Puts the check program on a library, by the loader's path, and reads its verdict."""

import os
import pathlib
import re
import subprocess
import xml.etree.ElementTree

from table import TIMEOUT

NAMESPACE = "{http://check.sourceforge.net/ns}"
PASSED = "Passed"
# What a check fails with that needs a process of its own.
ENDS = (TIMEOUT, "Received signal ")
# A check that is to end has all the time that a busy machine may take; one that is to hang is not waited for long.
PATIENT = {"CK_DEFAULT_TIMEOUT": "4", "CK_TIMEOUT_MULTIPLIER": "20"}
HURRIED = {"CK_DEFAULT_TIMEOUT": "3", "CK_TIMEOUT_MULTIPLIER": "0.1"}


class JudgeError(Exception):
    pass


class Judge:
    def __init__(self, builder):
        self.program = pathlib.Path(builder.config["program"])
        self.libraries = pathlib.Path(builder.config["libraries"])
        self.checks = self._run(None, ["--list", "-v"]).stdout.split()

    def verdict(self, folder, expected):
        """check: text ("Passed" of one that passed), of all. Checks that are expected to hang run apart."""
        hanging = [check for check, text in expected.items() if text == TIMEOUT]
        texts = self._texts(folder, PATIENT, ["--fork", *(f"--exclude={check}" for check in hanging)])
        if hanging:
            texts.update(self._texts(folder, HURRIED, ["--fork", *(f"--filter={check}" for check in hanging)]))
        return self._require(texts, self.checks)

    def verdict_in_one_process(self, folder, expected):
        """The same of those checks that are not expected to end the process."""
        ending = [check for check, text in expected.items() if text.startswith(ENDS)]
        texts = self._texts(folder, PATIENT, ["--no-fork", *(f"--exclude={check}" for check in ending)])
        return self._require(texts, set(self.checks) - set(ending))

    @staticmethod
    def _require(texts, checks):
        if sorted(texts) != sorted(checks):
            raise JudgeError(f"{len(texts)} checks were reported, not {len(checks)}")
        return texts

    def _texts(self, folder, timeouts, arguments):
        log = folder / "log.xml"
        log.unlink(missing_ok=True)
        result = self._run(folder, ["--quiet", "--xml", str(log), *arguments], timeouts)
        if result.returncode not in (0, 1) or not log.exists():
            raise JudgeError(f"the check program ended with {result.returncode}:\n{result.stderr}")
        texts = read_log(log)
        if result.returncode != int(any(text != PASSED for text in texts.values())):
            raise JudgeError(f"the check program's status {result.returncode} is not what its log says")
        return texts

    def _run(self, folder, arguments, timeouts=None):
        path = [str(folder)] if folder else []
        environment = dict(os.environ, LD_LIBRARY_PATH=":".join([*path, str(self.libraries)]), **(timeouts or {}))
        program = self.program
        if folder:
            wrong = folder / program.name
            program = wrong if wrong.exists() else program
            self._require_loaded(program, folder, environment)
        return subprocess.run([str(program), *arguments], capture_output=True, encoding="utf-8",
                              errors="surrogateescape", env=environment, timeout=600, check=False)

    def _require_loaded(self, program, folder, environment):
        """That the loader takes what is wrong, and not the right one beside the program."""
        trace = subprocess.run([str(program)], capture_output=True, text=True, check=True,
                               env=dict(environment, LD_TRACE_LOADED_OBJECTS="1")).stdout
        for library in folder.glob("*.so.*"):
            if not re.search(rf"=> {re.escape(str(library))} ", trace):
                raise JudgeError(f"{library} is not what the program loads:\n{trace}")


def read_log(path):
    texts = {}
    for suite in xml.etree.ElementTree.parse(path).getroot().findall(NAMESPACE + "suite"):
        name = suite.findtext(NAMESPACE + "title")
        for test in suite.findall(NAMESPACE + "test"):
            field = {child.tag[len(NAMESPACE):]: child.text or "" for child in test}
            check = f"{name}/{field['description']}/{field['id']}"
            if check in texts:
                raise JudgeError(f"{check} is reported twice")
            failed = test.get("result") != "success"
            text = field["message"]
            texts[check] = PASSED if not failed else text if text != PASSED else f"error without a text: {text}"
    return texts
