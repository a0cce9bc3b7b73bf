"""A headless Chromium for tests, spoken to by WebDriver. It reaches nothing but this machine."""

import base64
import http.client
import json
import re
import shutil
import subprocess
import tempfile

OPTIONS = (
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage",
    "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
)
KEYS = {"down": "\ue015", "up": "\ue013", "enter": "\ue007", "escape": "\ue00c"}
PATIENCE = 240  # seconds for any one answer: much is drawn at once, and the machine may be busy


class Browser:
    """One window. Use it in a `with`; it ends what it started."""

    def __init__(self, width=1280, height=900):
        self._folder = tempfile.mkdtemp()
        self._driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        self._session = None
        try:
            self._port = next(int(found[1]) for line in self._driver.stdout
                              if (found := re.search(r"started successfully on port (\d+)", line)))
            milliseconds = 1000 * PATIENCE
            wanted = {"browserName": "chrome", "timeouts": {"script": milliseconds, "pageLoad": milliseconds},
                      "goog:loggingPrefs": {"browser": "ALL"}, "goog:chromeOptions": {
                "args": [*OPTIONS, f"--user-data-dir={self._folder}", f"--window-size={width},{height}"]}}
            self._session = self._ask("POST", "/session", {"capabilities": {"alwaysMatch": wanted}})["sessionId"]
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        try:
            if self._session:
                self._ask("DELETE", f"/session/{self._session}")
        finally:
            self._driver.terminate()
            self._driver.wait(PATIENCE)
            self._driver.stdout.close()
            shutil.rmtree(self._folder, ignore_errors=True)

    def open(self, address):
        self._tell("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        """What the body of a JavaScript function returns."""
        return self._tell("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def type(self, text, target="#search"):
        found = self._tell("POST", "/element", {"using": "css selector", "value": target})
        self._tell("POST", f"/element/{next(iter(found.values()))}/value", {"text": text})

    def press(self, *keys):
        """Keys to what has the focus: a character, or a name of KEYS."""
        actions = [{"type": kind, "value": KEYS.get(key, key)} for key in keys for kind in ("keyDown", "keyUp")]
        self._tell("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def emulate(self, width, height, dark):
        """A screen of this size, with a taste for dark or light pages."""
        self._devtools("Emulation.setDeviceMetricsOverride",
                       {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600})
        scheme = "dark" if dark else "light"
        self._devtools("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def console(self):
        """What the page has told the console since the last call."""
        return [entry["message"] for entry in self._tell("POST", "/se/log", {"type": "browser"})]

    def picture(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self._tell("GET", "/screenshot")))

    def _devtools(self, command, parameters):
        self._tell("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def _tell(self, method, path, body=None):
        return self._ask(method, f"/session/{self._session}{path}", body)

    def _ask(self, method, path, body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self._port, timeout=PATIENCE)
        try:
            connection.request(method, path, json.dumps(body) if body is not None else None)
            answer = json.loads(connection.getresponse().read())["value"]
        finally:
            connection.close()
        if isinstance(answer, dict) and "error" in answer:
            raise RuntimeError(f"{method} {path}: {answer['error']}: {answer['message']}")
        return answer
