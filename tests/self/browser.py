"""Looks at pages in Chromium, without a window, by the protocol of its developer tools over two pipes."""

import base64
import itertools
import json
import os
import shutil
import subprocess
import tempfile

OPTIONS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-sync",
           "--disable-background-networking", "--disable-component-update", "--disable-dev-shm-usage",
           "--remote-debugging-pipe"]


class Browser:
    """A browser of its own with one page. Use it in a with statement."""

    def __init__(self, program):
        self._profile = tempfile.mkdtemp()
        self._numbers = itertools.count(1)
        self._rest = b""
        self._events = []
        commands, self._commands = os.pipe()
        self._answers, answers = os.pipe()
        # The browser reads commands from descriptor 3 and answers on 4.
        wrapper = 'exec "$0" "$@" 3<&"$COMMANDS" 4>&"$ANSWERS"'
        self._process = subprocess.Popen(
            ["bash", "-c", wrapper, program, *OPTIONS, "--user-data-dir=" + self._profile, "about:blank"],
            pass_fds=(commands, answers), stderr=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            env=dict(os.environ, COMMANDS=str(commands), ANSWERS=str(answers)))
        os.close(commands)
        os.close(answers)

    def __enter__(self):
        target = self._call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self._call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in "Page", "Runtime", "Log", "Network":
            self.call(domain + ".enable")
        return self

    def __exit__(self, *_):
        self._process.kill()
        self._process.wait()
        os.close(self._commands)
        os.close(self._answers)
        shutil.rmtree(self._profile, ignore_errors=True)

    def call(self, method, **parameters):
        """Calls for the page."""
        return self._call(method, self._session, **parameters)

    def open(self, path, width, height, scheme="light"):
        """Opens a file, and returns what the browser complained about while it did, lines of text."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=width < 600)
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        self._events.clear()
        self.call("Page.navigate", url="file://" + os.path.abspath(path))
        while not any(event["method"] == "Page.loadEventFired" for event in self._events):
            self._take()
        return [json.dumps(event["params"]) for event in self._events if event["method"] in (
            "Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded", "Network.loadingFailed")]

    def evaluate(self, expression):
        """The value of a JavaScript expression on the page."""
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(json.dumps(result["exceptionDetails"]))
        return result["result"].get("value")

    def save_picture(self, path):
        """The whole page as a PNG file."""
        picture = self.call("Page.captureScreenshot", captureBeyondViewport=True)
        with open(path, "wb") as file:
            file.write(base64.b64decode(picture["data"]))

    def _call(self, method, session=None, **parameters):
        number = next(self._numbers)
        command = {"id": number, "method": method, "params": parameters}
        if session:
            command["sessionId"] = session
        os.write(self._commands, json.dumps(command).encode() + b"\0")
        while True:
            message = self._take()
            if message.get("id") == number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]

    def _take(self):
        """The next message; events are kept as well."""
        while b"\0" not in self._rest:
            received = os.read(self._answers, 1 << 16)
            if not received:
                raise RuntimeError(f"the browser has ended with status {self._process.wait()}")
            self._rest += received
        message, self._rest = self._rest.split(b"\0", 1)
        decoded = json.loads(message)
        if "method" in decoded:
            self._events.append(decoded)
        return decoded
