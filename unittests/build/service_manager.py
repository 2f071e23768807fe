"""service_manager.py PREFIX: plays the service manager to the installed daemon: hands a socket over, reads what the
daemon tells, and has systemd verify the installed units."""

import fcntl
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile

PATIENCE = 60  # seconds, only for a daemon that hangs


class Daemon:
    """The daemon with these sockets from descriptor 3 on, as systemd hands them over."""

    def __init__(self, program, folder, sockets):
        self._notices = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._notices.bind(str(folder / "notify"))
        self._notices.settimeout(PATIENCE)
        copies = [fcntl.fcntl(each, fcntl.F_DUPFD, 20) for each in sockets]
        moves = " ".join(f"{3 + number}<&{copy} {copy}<&-" for number, copy in enumerate(copies))
        command = ["bash", "-c", f'LISTEN_PID=$$ exec "$@" {moves}', "bash", str(program), "--store", "memory:"]
        environment = dict(os.environ, NOTIFY_SOCKET=str(folder / "notify"), LISTEN_FDS=str(len(sockets)))
        self.process = subprocess.Popen(command, env=environment, stderr=subprocess.PIPE, text=True, pass_fds=copies)
        for copy in copies:
            os.close(copy)

    def notice(self):
        return self._notices.recv(4096).decode()

    def end(self):
        try:
            return self.process.communicate(timeout=PATIENCE)[1]
        finally:
            self.process.kill()
            self._notices.close()


def listening(path):
    made = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    made.bind(str(path))
    made.listen(16)
    return made


def ask(path, request):
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
        connection.settimeout(PATIENCE)
        connection.connect(str(path))
        connection.sendall(request.encode())
        connection.shutdown(socket.SHUT_WR)
        return b"".join(iter(lambda: connection.recv(4096), b"")).decode()


def expect(what, expected, actual):
    if expected != actual:
        sys.exit(f"{what}: expected {expected!r}, got {actual!r}")


def serves_what_it_was_given(program, folder):
    path = folder / "socket"
    with listening(path) as given:
        daemon = Daemon(program, folder, [given])
        try:
            expect("after the start", "READY=1", daemon.notice())
            expect("an answer on the socket", "synced\n", ask(path, "sync\n"))
            daemon.process.send_signal(signal.SIGHUP)
            reloading = daemon.notice()
            if not re.fullmatch(r"RELOADING=1\nMONOTONIC_USEC=[1-9]\d*", reloading):
                sys.exit(f"at SIGHUP: got {reloading!r}")
            expect("after SIGHUP", "READY=1", daemon.notice())
            daemon.process.send_signal(signal.SIGTERM)
            expect("at SIGTERM", "STOPPING=1", daemon.notice())
        except BaseException:
            daemon.process.kill()
            raise
        finally:
            log = daemon.end()
        expect(f"the status at the end; the log: {log}", 0, daemon.process.returncode)
        expect("the socket is the service manager's, who keeps it", True, path.exists())


def refuses_two(program, folder):
    with listening(folder / "one") as one, listening(folder / "two") as two:
        daemon = Daemon(program, folder, [one, two])
        log = daemon.end()
    expect("the status with two sockets", True, daemon.process.returncode not in (0, None))
    if "expected one socket from the service manager, got 2" not in log:
        sys.exit(f"with two sockets the log is {log!r}")


def units_are_right(prefix, program, folder):
    found = sorted(each for each in prefix.rglob("zumra-settingsd.*") if each.suffix in (".service", ".socket"))
    expect("units", ["zumra-settingsd.service", "zumra-settingsd.socket"], [each.name for each in found])
    for unit in found:
        # The test's copy of the program is not where the installed unit will find it.
        text = re.sub(r"(?m)^ExecStart=\S+", f"ExecStart={program}", unit.read_text())
        (folder / unit.name).write_text(text)
    result = subprocess.run(["systemd-analyze", "verify", "--man=no", "--recursive-errors=one", *[str(folder / unit.name) for unit in found]], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    expect(f"systemd-analyze says: {result.stdout}", (0, ""), (result.returncode, result.stdout))


def main():
    prefix = pathlib.Path(sys.argv[1]).resolve()
    program = prefix / "sbin" / "zumra-settingsd"
    for case in (lambda folder: serves_what_it_was_given(program, folder), lambda folder: refuses_two(program, folder), lambda folder: units_are_right(prefix, program, folder)):
        with tempfile.TemporaryDirectory() as folder:
            case(pathlib.Path(folder))


main()
