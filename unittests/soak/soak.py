"""soak.py DAEMON COMMAND-LINE SECONDS: a daemon under a mixed load of clients that come, go, stall and die keeps its
memory and its descriptors, tells its followers everything once and in order, and is after a restart as it was.

The load pauses now and then; when those clients that stay are alone again, the daemon is measured."""

import pathlib
import signal
import sys
import tempfile
import time

from load import PATIENCE, Connection, Crowd, Failure, Follower, Gate, Writer, start

SAMPLES = 15
# What is free in a heap is given back in part only. In two minutes a leak of fifty bytes a request is more than this.
ALLOWED_GROWTH_KIB = 1024


class Daemon:
    def __init__(self, program, folder):
        self.socket = str(folder / "socket")
        self._log = folder / "log"
        self._command = [program, "--socket", self.socket, "--store", f"ini:{folder / 'store.ini'}", "--defaults", str(folder / "defaults.ini"),
                         "--save-delay", "50", "--max-output", "131072", "--config", str(folder / "none.conf")]
        self.defaults = folder / "defaults.ini"
        self.change_defaults(0)
        (folder / "none.conf").touch()
        self._start()

    def change_defaults(self, number):
        self.defaults.write_text(f"[load/1]\nv0={number}\n[defaults]\nnumber={number}\n")

    def _start(self):
        with self._log.open("a") as log:
            self.process = start(self._command, stderr=log)
        end = time.monotonic() + PATIENCE
        while True:
            try:
                Connection(self.socket).close()
                return
            except OSError:
                if self.process.poll() is not None or time.monotonic() > end:
                    raise Failure(f"the daemon did not start:\n{self._log.read_text()}")
                time.sleep(0.02)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(PATIENCE)
        if status != 0:
            raise Failure(f"the daemon ended with status {status}:\n{self._log.read_text()[-2000:]}")

    def restart(self):
        self.stop()
        self._start()

    def log(self):
        return self._log.read_text(errors="replace").splitlines()

    def measure(self):
        """Resident memory in KiB, and the number of descriptors."""
        base = pathlib.Path("/proc") / str(self.process.pid)
        status = dict(line.split(":", 1) for line in (base / "status").read_text().splitlines())
        return int(status["VmRSS"].split()[0]), len(list((base / "fd").iterdir()))


class Soak:
    WRITERS = 3
    FOLLOWERS = 2

    def __init__(self, daemon, program, rate):
        self.daemon, self.gate, self.failures = daemon, Gate(), []
        path = daemon.socket
        self.control = Connection(path)
        self.writers = [Writer(path, number, self.gate, rate, self.failures) for number in range(self.WRITERS)]
        self.followers = [Follower(path, self.failures) for _ in range(self.FOLLOWERS)]
        self.crowd = Crowd(path, program, self.gate, rate, self.failures)
        for thread in [*self.writers, *self.followers, self.crowd]:
            thread.start()

    def check(self):
        if self.failures:
            raise Failure("\n".join(self.failures))
        if self.daemon.process.poll() is not None:
            raise Failure("the daemon ended")

    def _wait_until(self, request, line, otherwise):
        end = time.monotonic() + PATIENCE
        while line not in self.control.document(request):
            if time.monotonic() > end:
                raise Failure(otherwise)
            time.sleep(0.02)

    def _reload(self, number):
        self.daemon.change_defaults(number)
        self.daemon.process.send_signal(signal.SIGHUP)
        self._wait_until("get delimited\ndefaults\n.\n", f"number = {number}", "new defaults do not appear")

    def pause_and_measure(self, number):
        """With the load stopped: what the daemon holds, when nobody is owed anything."""
        self.gate.close()
        self.crowd.drop_all()
        staying = self.WRITERS + self.FOLLOWERS + 1
        self._wait_until("stats\n", f"Connections = {staying}", "connections of clients that are gone remain")
        self._reload(number)
        self.control.send("flush\n")
        self.control.expect("flushed")
        for follower in self.followers:
            follower.wait_until_all_is_told()
            for writer in self.writers:
                if follower.counts.get(f"writer/{writer.number}", 0) != writer.count:
                    raise Failure("a follower was not told everything")
        return self.daemon.measure()

    def go_on(self):
        self.check()
        self.gate.open()

    def counts(self):
        return (f"{sum(writer.requests for writer in self.writers):,} requests of writers, {self.followers[0].told:,} changes told, "
                f"{self.crowd.came:,} clients came, {self.crowd.stalled:,} stalled, {self.crowd.killed:,} were killed")

    def everything(self):
        return self.control.document("get delimited\n*\n.\n")


def check_flat(samples):
    """The first third is for the heap to find its size."""
    third = len(samples) // 3
    memory, descriptors = [[sample[kind] for sample in samples[third:]] for kind in (0, 1)]
    half = len(memory) // 2
    if len(set(descriptors)) != 1:
        raise Failure(f"the number of descriptors changed: {descriptors}")
    growth = max(memory[half:]) - max(memory[:half])
    if growth > ALLOWED_GROWTH_KIB:
        raise Failure(f"resident memory grew by {growth} KiB, allowed are {ALLOWED_GROWTH_KIB}: {memory}")
    return growth


def run(daemon, program, seconds, rate):
    soak = Soak(daemon, program, rate)
    samples = []
    start = time.monotonic()
    for number in range(1, SAMPLES + 1):
        while time.monotonic() < start + seconds * number / SAMPLES:
            time.sleep(0.1)
            soak.check()
        samples.append(soak.pause_and_measure(number))
        print(f"{time.monotonic() - start:7.0f} s: {samples[-1][0]:,} KiB, {samples[-1][1]} descriptors; {soak.counts()}", flush=True)
        if number < SAMPLES:
            soak.go_on()
    soak.check()
    before = soak.everything()
    daemon.restart()
    if Connection(daemon.socket).document("get delimited\n*\n.\n") != before:
        raise Failure("after a restart the settings are others than before")
    daemon.stop()
    errors = [line for line in daemon.log() if line.startswith(("<0>", "<1>", "<2>", "<3>"))]
    if errors:
        raise Failure("errors in the daemon's log:\n" + "\n".join(errors[:10]))
    cut_off = sum("output queue over its limit" in line for line in daemon.log())
    if cut_off == 0:
        raise Failure("no client stalled for so long that it was cut off; the load is too small")
    print(f"{cut_off:,} slow readers were cut off\nflat: resident memory grew by {check_flat(samples)} KiB between the second and the last third, descriptors by none")


def main():
    program, command_line, seconds = sys.argv[1], sys.argv[2], float(sys.argv[3])
    rate = float(sys.argv[4]) if len(sys.argv) > 4 else 20
    with tempfile.TemporaryDirectory() as name:
        daemon = Daemon(program, pathlib.Path(name))
        try:
            run(daemon, command_line, seconds, rate)
        except Failure as failure:
            return f"failed: {failure}"
        finally:
            daemon.process.kill()
            daemon.process.wait()
    return 0


if __name__ == "__main__":
    sys.exit(main())
