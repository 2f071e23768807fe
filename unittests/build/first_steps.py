"""first_steps.py README PREFIX: does what the README's first steps say, line by line, in two terminals, as an ordinary
user with the installed programs, and looks at what they print."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading

DEADLINE = 60  # seconds for a line to have its effect
NOBODY = 65534


class Terminal:
    """A shell that takes lines, and what came out of it so far."""

    def __init__(self, environment, folder):
        self.shell = subprocess.Popen(["bash", "--norc", "--noprofile", "-m"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                      stderr=subprocess.STDOUT, env=environment, cwd=folder, start_new_session=True,
                                      preexec_fn=become_ordinary)
        self.text = ""
        self.more = threading.Condition()
        threading.Thread(target=self.read, daemon=True).start()

    def read(self):
        while piece := os.read(self.shell.stdout.fileno(), 65536):
            with self.more:
                self.text += piece.decode()
                self.more.notify()

    def do(self, line, expected):
        """Types the line; what it has to print is taken out of the text."""
        self.shell.stdin.write(f"{line}\n".encode())
        self.shell.stdin.flush()
        with self.more:
            if not self.more.wait_for(lambda: re.search(expected, self.text), DEADLINE):
                sys.exit(f"{line}\nshould print {expected!r}; there is:\n{self.text}")
            self.text = self.text[re.search(expected, self.text).end():]

    def close(self):
        os.killpg(self.shell.pid, signal.SIGKILL)
        self.shell.wait()


def become_ordinary():
    """The superuser's settings are the machine's own: no place for a test."""
    if os.getuid() == 0:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)


def six_lines(readme):
    section = readme.partition("\n## First steps\n")[2].partition("\n## ")[0]
    lines = re.findall(r"^    (.*)$", section, re.MULTILINE)
    if len(lines) != 6:
        sys.exit(f"the README's first steps are {len(lines)} lines, six were expected")
    return lines


def main():
    readme, prefix = (pathlib.Path(argument) for argument in sys.argv[1:])
    start, put, get, watch, reboot, again = six_lines(readme.read_text())
    with tempfile.TemporaryDirectory() as scratch:
        os.chmod(scratch, 0o777)
        for program in ("sbin/zumra-settingsd", "bin/zumra-settings"):
            shutil.copy(prefix / program, scratch)
        environment = {"PATH": f"{scratch}:{os.environ['PATH']}", "HOME": f"{scratch}/home",
                       "XDG_RUNTIME_DIR": f"{scratch}/run", "XDG_STATE_HOME": f"{scratch}/state"}
        first, second = Terminal(environment, scratch), Terminal(environment, scratch)
        try:
            first.do(start, "serving 0 groups on ")
            first.do(put, "")
            first.do(get, "(?m)^80\n")
            second.do(watch, r"(?m)^\[Screen\]\nbrightness = 80\n")
            first.do(reboot, r"(?s)everything is saved\n.*serving 1 groups on ")
            first.do(again, "(?m)^80\n")
        finally:
            first.shell.stdin.write(b"kill %1; wait %1; exit\n")
            first.shell.stdin.flush()
            first.shell.wait(DEADLINE)
            second.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
