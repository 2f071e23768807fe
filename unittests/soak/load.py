"""The clients of a soak: writers and followers that stay, and others that come, go, stall and die."""

import ctypes
import os
import random
import signal
import socket
import subprocess
import threading
import time

PATIENCE = 60  # seconds in which a daemon that is alive answers, however busy the machine


class Failure(Exception):
    pass


def start(command, **options):
    """A process that does not outlive this one, however this one ends."""
    end_with_parent = ctypes.CDLL(None).prctl
    return subprocess.Popen(command, preexec_fn=lambda: end_with_parent(1, signal.SIGKILL), **options)


class Gate:
    """Lets work through while it is open; `closed()` waits until nobody is inside."""

    def __init__(self):
        self._lock = threading.Condition()
        self._open, self._inside, self.over = True, 0, False

    def __enter__(self):
        with self._lock:
            self._lock.wait_for(lambda: self._open)
            self._inside += 1

    def __exit__(self, *_):
        with self._lock:
            self._inside -= 1
            self._lock.notify_all()

    def close(self):
        with self._lock:
            self._open = False
            if not self._lock.wait_for(lambda: self._inside == 0, PATIENCE):
                raise Failure("a client got no answer")

    def open(self):
        with self._lock:
            self._open = True
            self._lock.notify_all()


class Connection:
    def __init__(self, path, patience=PATIENCE):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(patience)
        self.socket.connect(path)
        self._lines = self.socket.makefile("r", encoding="utf-8", newline="\n")

    def send(self, text):
        self.socket.sendall(text.encode())

    def line(self):
        text = self._lines.readline()
        if not text.endswith("\n"):
            raise Failure("the daemon closed a connection")
        return text[:-1]

    def expect(self, *lines):
        for wanted in lines:
            got = self.line()
            if got != wanted:
                raise Failure(f"expected '{wanted}' from the daemon, got '{got}'")

    def until_dot(self):
        return list(iter(self.line, "."))

    def document(self, request):
        self.send(request)
        self.expect("data")
        return self.until_dot()

    def close(self):
        self._lines.close()
        self.socket.close()


def random_group(dice):
    return f"load/{dice.randrange(200)}"


def random_document(dice):
    groups = {random_group(dice) for _ in range(dice.randint(1, 4))}
    return "".join(f"[{group}]\n" + "".join(f"v{n}={'x' * dice.randrange(60)}\n" for n in range(dice.randrange(6))) for group in groups)


class Writer(threading.Thread):
    """Counts in a group of its own, and changes, reads and compares what all change."""

    def __init__(self, path, number, gate, rate, failures):
        super().__init__(daemon=True)
        self._connection, self._gate, self._pause, self._failures = Connection(path), gate, 1 / rate, failures
        self.number, self.count, self.requests = number, 0, 0
        self._dice = random.Random(number)

    def run(self):
        try:
            while not self._gate.over:
                with self._gate:
                    self._round()
                time.sleep(self._pause)
        except Exception as error:
            self._failures.append(f"writer {self.number}: {error}")

    def _round(self):
        self.count += 1
        self._connection.send(f"merge\n[writer/{self.number}]\nnumber={self.count}\n.\n")
        for action in self._dice.sample(self._ACTIONS, 4):
            action(self)
        self._connection.send("sync\n")
        self._connection.expect("synced")
        self.requests += 6

    def _merge(self):
        self._connection.send("merge\n" + random_document(self._dice) + ".\n")

    def _merge_as_array(self):
        self._connection.send('serialize phparray\nmerge\na:1:{s:6:"load/7";a:1:{s:1:"a";s:1:"b";}}\nserialize ini\n')

    def _overwrite(self):
        group = random_group(self._dice)
        self._connection.send(f"overwrite\n{group}\n.\n[{group}]\nv=1\n.\n")

    def _erase(self):
        self._connection.send(f"erase\nload/{self._dice.randrange(20)}*\n.\n")

    def _erase_value(self):
        self._connection.send(f"erase-value\n[{random_group(self._dice)}]v1\n.\n")

    def _restore(self):
        self._connection.send("restore\nload/*\n.\n")

    def _get(self):
        self._connection.document("get delimited\nload/1*\n.\n")

    def _get_value(self):
        lines = self._connection.document(f"get-value\n[writer/{self.number}]number\n[{random_group(self._dice)}]v1\n.\n")
        if f"number = {self.count}" not in lines:
            raise Failure(f"a value is not what it was set to: {lines}")

    def _compare(self):
        group = random_group(self._dice)
        self._connection.send(f"test-and-merge\n[{group}]\nv=1\n.\n[{group}]\nv=2\n.\n")
        self._connection.expect("result")
        if self._connection.line() not in ("ok", "refused"):
            raise Failure("no result of a comparison")

    def _fail(self):
        self._connection.send("merge\nnonsense\n.\n")
        self._connection.expect("error")
        self._connection.line()

    _ACTIONS = [_merge, _merge_as_array, _overwrite, _erase, _erase_value, _restore, _get, _get_value, _compare, _fail]


class Follower(threading.Thread):
    """Is told everything; the counts of the writers show what it is told twice or never."""

    def __init__(self, path, failures):
        super().__init__(daemon=True)
        self._connection, self._failures = Connection(path, None), failures
        self.counts, self.told = {}, 0
        self._synced = threading.Event()
        self._connection.send("subscribe\n*\n.\nsync\n")
        self._connection.expect("synced")

    def run(self):
        try:
            while True:
                if self._connection.line() == "synced":
                    self._synced.set()
                else:
                    self._take_change()
        except (Failure, OSError, ValueError) as error:
            self._failures.append(f"follower: {error}")

    def _take_change(self):
        names, document = self._connection.until_dot(), self._connection.until_dot()
        self.told += 1
        for name in names:
            if not name.startswith("writer/"):
                continue
            number = int(document[document.index(f"[{name}]") + 1].removeprefix("number = "))
            if number != self.counts.get(name, 0) + 1:
                raise Failure(f"told of {number} of {name} after {self.counts.get(name, 0)}")
            self.counts[name] = number

    def wait_until_all_is_told(self):
        self._synced.clear()
        self._connection.send("sync\n")
        if not self._synced.wait(PATIENCE):
            raise Failure("a follower is not told everything")


class Crowd(threading.Thread):
    """Clients that come, and go with or without a word."""

    def __init__(self, path, program, gate, rate, failures):
        super().__init__(daemon=True)
        self._path, self._program, self._gate, self._pause, self._failures = path, program, gate, 1 / rate, failures
        self._dice = random.Random(0)
        self._connections, self._processes = [], []
        self.came, self.stalled, self.killed = 0, 0, 0

    def run(self):
        try:
            while not self._gate.over:
                with self._gate:
                    self._dice.choice(self._ACTIONS)(self)
                    self._let_go()
                time.sleep(self._pause)
        except Exception as error:
            self._failures.append(f"crowd: {error}")

    def _let_go(self):
        while len(self._connections) > 40:
            self._connections.pop(self._dice.randrange(len(self._connections))).close()
        while len(self._processes) > 4:
            self._kill(self._processes.pop(self._dice.randrange(len(self._processes))))

    def _kill(self, process):
        self.killed += process.poll() is None
        process.kill()
        process.wait()

    def drop_all(self):
        while self._connections:
            self._connections.pop().close()
        while self._processes:
            self._kill(self._processes.pop())

    def _come(self):
        self.came += 1
        return Connection(self._path)

    def _ask_and_go(self):
        connection = self._come()
        connection.document("get delimited\nload/*\n.\n")
        connection.close()

    def _change_and_go_at_once(self):
        connection = self._come()
        connection.send("subscribe\n*\n.\nmerge\n" + random_document(self._dice) + ".\nget\n*\n.\n")
        connection.close()

    def _change_much_and_go(self):
        connection = self._come()
        connection.send(f"merge\n[load/much]\nv={'x' * self._dice.randrange(80000)}\n.\nsync\n")
        connection.expect("synced")
        connection.close()

    def _go_within_a_request(self):
        connection = self._come()
        connection.send("test-and-merge\n[load/1]\nv=")
        connection.close()

    def _stall_as_subscriber(self):
        connection = self._come()
        connection.send("subscribe\n*\n.\n")
        self._stall(connection)

    def _stall_within_a_request(self):
        connection = self._come()
        connection.send("merge\n[load/2]\n" + "v=1\n" * self._dice.randrange(2000))
        self._stall(connection)

    def _stall_with_requests(self):
        connection = self._come()
        connection.socket.setblocking(False)
        try:
            while True:
                connection.socket.send(b"get\n*\n.\n" * 100)
        except BlockingIOError:
            self._stall(connection)

    def _stall(self, connection):
        self.stalled += 1
        self._connections.append(connection)

    def _talk_nonsense(self):
        connection = self._come()
        try:
            connection.socket.send(self._dice.randbytes(self._dice.randrange(20000)))
            self._connections.append(connection)
        except OSError:
            connection.close()

    def _start(self, *words):
        self.came += 1
        self._run(subprocess.DEVNULL, *words)

    def _run(self, output, *words):
        command = [self._program, "--socket", self._path, *words]
        self._processes.append(start(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL))

    def _watch(self):
        self._start("watch", "load/*")

    def _watch_without_reading(self):
        self.came += 1
        reader, writer = os.pipe()
        self._run(writer, "watch", "*")
        os.close(writer)
        self._processes[-1].unread = os.fdopen(reader)  # closed with the process

    def _stop_and_hold(self):
        self._start("watch", "*")
        self.stalled += 1
        self._processes[-1].send_signal(signal.SIGSTOP)

    def _set(self):
        self._start("set", f"[{random_group(self._dice)}]v0", "1")

    def _reserve(self):
        self._start("reserve", "load", f"consumer{self._dice.randrange(5)}", str(self._dice.randrange(30)))

    _ACTIONS = [_ask_and_go, _change_and_go_at_once, _change_much_and_go, _go_within_a_request, _stall_as_subscriber, _stall_within_a_request, _stall_with_requests, _talk_nonsense, _watch, _watch_without_reading, _stop_and_hold, _set, _reserve]
