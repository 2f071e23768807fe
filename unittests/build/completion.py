"""completion.py PREFIX: types command lines with TAB into real shells that use the installed completions, and looks at
what the completed commands print."""

import os
import pathlib
import pty
import re
import select
import subprocess
import sys
import tempfile
import termios

DEADLINE = 60  # seconds without a word from a shell that is to answer
SETTINGS = """[Screen]
brightness = 80
[Alarm/1]
on = one
the name = siren
[Alarm/2]
on = two
[a:b/c=d]
x = odd
[$(touch broken)]
y = harmless
"""

# What is typed, and what the command that comes of it prints.
LINES = [
    (r"zumra-settings ge\tScr\t", "[Screen]\nbrightness = 80"),
    (r"zumra-settings get \[Scr\tbri\t", "80"),
    (r"zumra-settings get '[Scr\tbri\t", "80"),
    (r'zumra-settings get "[Al\t1\tth\t', "siren"),
    (r"zumra-settings get \[Al\t2\to\t", "two"),
    (r"zumra-settings get \[Al\t1\tth\t", "siren"),
    (r"zumra-settings get a:\tc=\t", "[a:b/c=d]\nx = odd"),
    (r"zumra-settings get \[a:\tc=\tx\t", "odd"),
    (r"zumra-settings get \[\$\ty\t", "harmless"),
    (r"zumra-settings --form j\tget \[Scr\tbri\t", '"80"'),
    (r"zumra-settings --form=j\tget \[Scr\tbri\t", '"80"'),
    (r"zumra-settings --pre\tlist", "zumra-settings: there is no option"),
    (r"zumra-settings list --pre\tAl\t", "Alarm/1\nAlarm/2"),
    (r"zumra-settings merge fol\tone\t && echo merged", "merged"),
    (r"zumra-settings --store ini:fol\tsto\t export", "[Stored]\nx = 1"),
]


class Shell:
    """An interactive shell at the other end of a terminal."""

    def __init__(self, command, environment, folder):
        process, self.terminal = pty.fork()
        if process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)
        attributes = termios.tcgetattr(self.terminal)
        attributes[3] &= ~termios.ECHO
        termios.tcsetattr(self.terminal, termios.TCSANOW, attributes)
        self.text = ""
        self.lines = 0

    def run(self, line):
        """Types the line; gives what came out before the mark that follows it."""
        self.lines += 1
        begin, end = f"<{self.lines}>", f"</{self.lines}>"
        # The marks are put together by the shell, so that its echo of what is typed is none.
        typed = f"printf '<%s>' {self.lines}\n{line}\nprintf '</%s>' {self.lines}\n"
        os.write(self.terminal, typed.encode())
        while end not in self.text:
            ready, _, _ = select.select([self.terminal], [], [], DEADLINE)
            if not ready:
                sys.exit(f"the shell says nothing after {line!r}; before that: {self.text!r}")
            self.text += os.read(self.terminal, 65536).decode(errors="replace")
        output = self.text[self.text.index(begin) + len(begin):self.text.index(end)]
        self.text = self.text[self.text.index(end) + len(end):]
        return re.sub(r"\x1b\[[0-9;?]*[A-Za-z]|\x1b[=>]|\r", "", output)


def failures(name, shell):
    found = 0
    for typed, expected in LINES:
        output = shell.run(typed.replace(r"\t", "\t"))
        if f"\n{expected}" not in "\n" + output:
            print(f"{name}: {typed}\nexpected: {expected!r}\ngot:      {output!r}\n")
            found += 1
    return found


def only(prefix, pattern):
    found = list(prefix.glob(pattern))
    if len(found) != 1:
        sys.exit(f"{len(found)} files are {pattern} below {prefix}, one was expected")
    return found[0]


def main():
    prefix = pathlib.Path(sys.argv[1]).resolve()
    bash = only(prefix, "share/bash-completion/completions/zumra-settings")
    zsh = only(prefix, "share/zsh/site-functions/_zumra-settings")
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        environment = {**os.environ, "PATH": f"{prefix}/bin:{os.environ['PATH']}", "TERM": "dumb", "PS1": "", "PROMPT": "",
                       "HOME": scratch, "ZUMRA_SETTINGS_SOCKET": f"{scratch}/socket"}
        (folder / "settings.ini").write_text(SETTINGS)
        (folder / "folder").mkdir()
        (folder / "folder" / "one.ini").write_text("[Screen]\nbrightness = 80\n")
        program = f"{prefix}/bin/zumra-settings"
        subprocess.run([program, "--store", "ini:folder/stored.ini", "set", "[Stored]x", "1"], check=True, cwd=scratch)
        daemon = subprocess.Popen([only(prefix, "sbin/zumra-settingsd"), "--socket", f"{scratch}/socket", "--store", "memory:",
                                   "--defaults", f"{scratch}/settings.ini"], stderr=subprocess.PIPE, text=True)
        try:
            for line in daemon.stderr:
                if "serving" in line:
                    break
            shell = Shell(["bash", "--norc", "--noprofile", "-i"], environment, scratch)
            shell.run(f"bind 'set enable-bracketed-paste off'; source '{bash}'")
            bad = failures("bash", shell)
            shell = Shell(["zsh", "-f", "-i"], environment, scratch)
            shell.run(f"unsetopt zle_bracketed_paste; fpath=('{zsh.parent}' $fpath); autoload -Uz compinit; compinit -u -D")
            bad += failures("zsh", shell)
            if (folder / "broken").exists():
                sys.exit("a completion ran what a name says")
        finally:
            daemon.terminate()
            daemon.wait()
    return f"{bad} lines were completed wrongly" if bad else 0


if __name__ == "__main__":
    sys.exit(main())
