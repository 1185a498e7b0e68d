"""A real browser, steered over the WebDriver protocol through chromedriver."""

import json
import shutil
import urllib.error

from harness import LIMIT, Running, accepts, free_port, opener, urllib, wait_until

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
FLAGS = [
    "--headless",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-dev-shm-usage",
    "--no-proxy-server",
]


class Browser:
    def __init__(self, folder, env):
        self._port = free_port()
        driver = shutil.which("chromedriver") or "/usr/bin/chromedriver"
        self._driver = Running([driver, f"--port={self._port}"], env)
        wait_until(lambda: accepts(self._port), "chromedriver")
        options = {"args": [*FLAGS, f"--user-data-dir={folder / 'browser'}"]}
        capabilities = {"alwaysMatch": {"browserName": "chrome", "goog:chromeOptions": options}}
        self._session = self._call("POST", "/session", {"capabilities": capabilities})["sessionId"]

    def _call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(
            f"http://127.0.0.1:{self._port}{path}", data, method=method, headers={"Content-Type": "application/json"}
        )
        try:
            with opener.open(request, timeout=LIMIT) as reply:
                return json.load(reply)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError(error.read().decode()) from None

    def _here(self, method, path, body=None):
        return self._call(method, f"/session/{self._session}{path}", body)

    def open(self, url):
        self._here("POST", "/url", {"url": url})

    def _element(self, css):
        return self._here("POST", "/element", {"using": "css selector", "value": css})[ELEMENT]

    def click(self, css):
        self._here("POST", f"/element/{self._element(css)}/click", {})

    def choose(self, css, value):
        """An option of a list."""
        self.click(f"{css} option[value={value}]")

    def type(self, css, text):
        """In place of what stands there."""
        element = self._element(css)
        self._here("POST", f"/element/{element}/clear", {})
        self._here("POST", f"/element/{element}/value", {"text": text})

    def focus(self, css):
        self.run("document.querySelector(arguments[0]).focus()", css)

    def press(self, key):
        """A key, where the keyboard is."""
        pressed = [{"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]
        self._here("POST", "/actions", {"actions": [{"type": "key", "id": "keyboard", "actions": pressed}]})

    def emulate(self, width, dark=False):
        """A narrow or a wide screen, and the colours that its user likes."""
        metrics = {"width": width, "height": 800, "deviceScaleFactor": 1, "mobile": False}
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        for command, params in (
            ("Emulation.setDeviceMetricsOverride", metrics),
            ("Emulation.setEmulatedMedia", {"features": [scheme]}),
        ):
            self._here("POST", "/goog/cdp/execute", {"cmd": command, "params": params})

    def run(self, script, *arguments):
        return self._here("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def text(self, css="body"):
        """What is shown of the first element that fits."""
        return self.run("return document.querySelector(arguments[0])?.innerText ?? ''", css)

    def url(self):
        return self._here("GET", "/url")

    def close(self):
        try:
            self._here("DELETE", "")
        finally:
            self._driver.kill()
