"""A headless Chromium, steered by chromedriver over its plain HTTP interface."""

import base64
import json
import re
import subprocess
import tempfile
import urllib.error
import urllib.request


class Browser:
    """One window on one page at a time. Only addresses of this machine can be reached."""

    def __init__(self):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self._driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        self._session = None
        try:
            self._start()
        except BaseException:
            self.close()
            raise

    def _start(self):
        for line in self._driver.stdout:
            if port := re.search(r"started successfully on port (\d+)", line):
                break
        else:
            raise RuntimeError("chromedriver does not start")
        self._address = f"http://127.0.0.1:{port[1]}/session"
        switches = ("headless no-sandbox no-first-run disable-gpu disable-quic disable-background-networking "
                    "disable-component-update disable-sync disable-dev-shm-usage")
        arguments = [*("--" + switch for switch in switches.split()), f"--user-data-dir={self._profile.name}",
                     "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"]
        wanted = {"goog:chromeOptions": {"args": arguments}, "goog:loggingPrefs": {"browser": "ALL"},
                  "unhandledPromptBehavior": "ignore"}
        session = self._request("POST", "", capabilities={"alwaysMatch": wanted})
        self._session = "/" + session["sessionId"]

    def _request(self, method, path, **body):
        data = json.dumps(body).encode() if method == "POST" else None
        request = urllib.request.Request(self._address + path, data, method=method)
        try:
            with urllib.request.urlopen(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def _post(self, path, **body):
        return self._request("POST", self._session + path, **body)

    def open(self, address):
        self._post("/url", url=address)

    def new_tab(self):
        """Opens another tab; returns the names of the one that was in front and of the new one."""
        old = self._request("GET", self._session + "/window")
        new = self._post("/window/new", type="tab")["handle"]
        self.switch_to(new)
        return old, new

    def switch_to(self, tab):
        self._post("/window", handle=tab)

    def close_tab(self):
        self._request("DELETE", self._session + "/window")

    def picture(self, path):
        """Saves what the window shows as PNG."""
        path.write_bytes(base64.b64decode(self._request("GET", self._session + "/screenshot")))

    def run(self, script, *arguments):
        """The value that a function body returns in the page."""
        return self._post("/execute/sync", script=script, args=arguments)

    def type(self, text):
        """Presses keys, in whatever has the focus."""
        keys = [{"type": kind, "value": c} for c in text for kind in ("keyDown", "keyUp")]
        self._post("/actions", actions=[{"type": "key", "id": "keys", "actions": keys}])

    def command(self, name, /, **parameters):
        """A command of the browser's own debugging protocol."""
        return self._post("/goog/cdp/execute", cmd=name, params=parameters)

    def resize(self, width, height):
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                     mobile=width < 600)

    def dialog(self):
        """The text of the open dialog; nothing when there is none."""
        try:
            return self._request("GET", self._session + "/alert/text")
        except RuntimeError:
            return None

    def messages(self):
        """What the console has said since the last call."""
        return [entry["message"] for entry in self._post("/se/log", type="browser")]

    def close(self):
        try:
            if self._session:
                self._request("DELETE", self._session)
        finally:
            self._driver.terminate()  # and with it the browser
            self._driver.wait()
            self._driver.stdout.close()
            self._profile.cleanup()
