"""A real browser, driven from outside: Chromium through its driver, Firefox through Marionette.

Both speak WebDriver's commands, one over HTTP, the other over a socket of its own.

    with chromium() as browser:
        browser.open("http://127.0.0.1:8080/")
        browser.wait("return document.readyState === 'complete'", "the page is loaded")
"""

from __future__ import annotations

import base64
import contextlib
import json
import os
import re
import signal
import socket
import subprocess
import tempfile
import time
import urllib.error
import urllib.request
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable, Iterator

TIMEOUT = float(os.environ.get("BROWSER_TIMEOUT", "20"))
"""Seconds after which something that should happen counts as missing."""
START_TIMEOUT = 90.0
POLL = 0.05

CHROMIUM_ARGUMENTS = (
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-dev-shm-usage", "--disable-extensions", "--autoplay-policy=no-user-gesture-required")
FIREFOX_PREFERENCES: dict[str, object] = {
    "app.normandy.enabled": False, "app.update.disabledForTesting": True,
    "browser.shell.checkDefaultBrowser": False, "browser.startup.page": 0,
    "datareporting.policy.dataSubmissionEnabled": False, "devtools.console.stdout.content": True,
    "extensions.update.enabled": False, "media.autoplay.default": 0,
    "network.captive-portal-service.enabled": False, "network.connectivity-service.enabled": False,
    "remote.prefs.recommended": True, "services.settings.server": "data:,",
    "toolkit.telemetry.reportingpolicy.firstRun": False}

Call = Callable[[str, dict[str, Any]], Any]
"""Runs a command of WebDriver by its name and returns its value; WebDriverError when it fails."""
HTTP_COMMANDS = {
    "Navigate": ("POST", "url"), "ExecuteScript": ("POST", "execute/sync"),
    "PerformActions": ("POST", "actions"), "ReleaseActions": ("DELETE", "actions"),
    "TakeScreenshot": ("GET", "screenshot"), "Log": ("POST", "se/log"), "Cdp": ("POST", "goog/cdp/execute")}


class WebDriverError(AssertionError):
    """The browser refused a command."""


@dataclass
class Browser:
    call: Call
    process: subprocess.Popen[bytes]
    """What was started: the driver, or the browser itself."""
    log: Path
    lines: list[str]
    """What the page said on its console, as far as it was asked for."""
    name: str

    def open(self, address: str) -> None:
        self.call("Navigate", {"url": address})

    def script(self, code: str, *arguments: object) -> Any:
        """What the body of a function returns in the page; its arguments are `arguments`."""
        return self.call("ExecuteScript", {"script": code, "args": list(arguments)})

    def wait(self, code: str, what: str, *arguments: object, timeout: float = TIMEOUT) -> Any:
        """The first value of the script that is true."""
        end = time.monotonic() + timeout
        while not (value := self.script(code, *arguments)):
            if time.monotonic() > end:
                raise AssertionError(f"{self.name}: {what}: not within {timeout} s")
            time.sleep(POLL)
        return value

    def await_value(self, element: str, value: str, timeout: float = TIMEOUT) -> None:
        """Until the element with this id says so in data-value."""
        try:
            self.wait("return document.getElementById(arguments[0])?.dataset.value === arguments[1]",
                      f"#{element} is {value}", element, value, timeout=timeout)
        except AssertionError as error:
            now = self.script("return document.getElementById(arguments[0])?.outerHTML", element)
            raise AssertionError(f"{error}, it is {now}") from None

    def middle(self, selector: str) -> tuple[int, int]:
        """Where an element is on the screen; it is scrolled into view."""
        found = self.wait(
            "const element = document.querySelector(arguments[0]);"
            "element?.scrollIntoView({block: 'nearest'});"
            "const box = element?.getBoundingClientRect();"
            "return box?.width ? [box.x + box.width / 2, box.y + box.height / 2] : null",
            f"{selector} is visible", selector)
        return round(found[0]), round(found[1])

    def pointer(self, *actions: dict[str, object]) -> None:
        self.call("PerformActions", {"actions": [
            {"type": "pointer", "id": "hand", "parameters": {"pointerType": "mouse"},
             "actions": list(actions)}]})

    def click(self, selector: str) -> None:
        x, y = self.middle(selector)
        self.pointer(move(x, y), {"type": "pointerDown", "button": 0}, {"type": "pointerUp", "button": 0})

    def drag(self, selector: str, right: int, down: int) -> None:
        """Presses in the middle and moves that many pixels; the button stays down."""
        x, y = self.middle(selector)
        self.pointer(move(x, y), {"type": "pointerDown", "button": 0}, move(x + right, y + down, 100))

    def let_go(self) -> None:
        self.call("ReleaseActions", {})

    def screenshot(self, file: Path) -> None:
        file.write_bytes(base64.b64decode(self.call("TakeScreenshot", {"full": False})))

    def console(self) -> list[str]:
        """What the page said on its console so far, errors among it."""
        if self.name == "firefox":
            return [line for line in self.log.read_text(errors="replace").splitlines()
                    if line.startswith(("console.", "JavaScript error"))]
        self.lines += [f"{entry['level']}: {entry['message']}"
                       for entry in self.call("Log", {"type": "browser"})]
        return self.lines


def move(x: int, y: int, milliseconds: int = 0) -> dict[str, object]:
    return {"type": "pointerMove", "x": x, "y": y, "duration": milliseconds, "origin": "viewport"}


def value_of(answer: bytes) -> Any:
    value = json.loads(answer)["value"]
    if isinstance(value, dict) and "error" in value:
        raise WebDriverError(f"{value['error']}: {value['message']}")
    return value


def post(address: str, parameters: dict[str, Any] | None, method: str = "POST") -> Any:
    body = None if method == "GET" else json.dumps(parameters or {}).encode()
    request = urllib.request.Request(address, body, {"Content-Type": "application/json"}, method=method)
    try:
        with urllib.request.urlopen(request, timeout=START_TIMEOUT) as answer:
            return value_of(answer.read())
    except urllib.error.HTTPError as error:
        with error:
            return value_of(error.read())


def await_line(log: Path, pattern: str, process: subprocess.Popen[bytes]) -> re.Match[str]:
    end = time.monotonic() + START_TIMEOUT
    while not (found := re.search(pattern, text := log.read_text(errors="replace"))):
        if process.poll() is not None or time.monotonic() > end:
            raise AssertionError(f"{process.args!r} did not start:\n{text[-2000:]}")
        time.sleep(POLL)
    return found


@contextlib.contextmanager
def started(*command: str) -> Iterator[tuple[subprocess.Popen[bytes], Path, Path]]:
    """The process, its log and an empty directory. Whatever it started ends with it."""
    with tempfile.TemporaryDirectory(prefix="browser.", ignore_cleanup_errors=True) as name:
        home = Path(name)
        log = home / "log"
        with log.open("wb") as output:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.STDOUT, env=dict(os.environ, HOME=name),
                                       start_new_session=True)
        try:
            yield process, log, home
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()


@contextlib.contextmanager
def chromium(*arguments: str, width: int = 1280, height: int = 800) -> Iterator[Browser]:
    with started("chromedriver", "--port=0") as (process, log, home):
        port = await_line(log, r"started successfully on port (\d+)", process)[1]
        options = {"args": [*CHROMIUM_ARGUMENTS, f"--user-data-dir={home / 'profile'}",
                            f"--window-size={width},{height}", *arguments]}
        session = post(f"http://127.0.0.1:{port}/session", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options,
            "goog:loggingPrefs": {"browser": "ALL"}}}})
        address = f"http://127.0.0.1:{port}/session/{session['sessionId']}"

        def call(command: str, parameters: dict[str, Any]) -> Any:
            method, path = HTTP_COMMANDS[command]
            return post(f"{address}/{path}", parameters, method)
        browser = Browser(call, process, log, [], "chromium")
        try:
            emulate(browser, width, height)
            yield browser
        finally:
            with contextlib.suppress(OSError, WebDriverError):
                post(address, None, "DELETE")


def emulate(browser: Browser, width: int, height: int, scheme: str = "light", phone: bool = False) -> None:
    """Chromium only: another screen, and light or dark as the person's wish."""
    browser.call("Cdp", {"cmd": "Emulation.setDeviceMetricsOverride", "params": {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": phone}})
    browser.call("Cdp", {"cmd": "Emulation.setEmulatedMedia", "params": {
        "features": [{"name": "prefers-color-scheme", "value": scheme}]}})


def marionette(connection: socket.socket) -> Call:
    """Messages are their length, a colon and JSON; the browser speaks first."""
    stream = connection.makefile("rb")

    def receive() -> Any:
        length = b""
        while not length.endswith(b":"):
            byte = stream.read(1)
            if not byte:
                raise WebDriverError("firefox ended")
            length += byte
        return json.loads(stream.read(int(length[:-1])))
    receive()

    def call(command: str, parameters: dict[str, Any]) -> Any:
        text = json.dumps([0, 1, f"WebDriver:{command}", parameters]).encode()
        connection.sendall(str(len(text)).encode() + b":" + text)
        _, _, error, result = receive()
        if error:
            raise WebDriverError(f"{error['error']}: {error['message']}")
        return result["value"] if isinstance(result, dict) and set(result) == {"value"} else result
    return call


@contextlib.contextmanager
def firefox(width: int = 1280, height: int = 800, **preferences: object) -> Iterator[Browser]:
    with tempfile.TemporaryDirectory(prefix="firefox.", ignore_cleanup_errors=True) as profile:
        wanted = {**FIREFOX_PREFERENCES, "marionette.port": 0, **preferences}
        (Path(profile) / "user.js").write_text("".join(
            f"user_pref({json.dumps(name)}, {json.dumps(value)});\n" for name, value in wanted.items()))
        with started("firefox-esr", "--headless", "--marionette", "--no-remote", "--profile", profile,
                     f"--width={width}", f"--height={height}") as (process, log, _):
            port = await_line(log, r"Listening on port (\d+)", process)[1]
            with socket.create_connection(("127.0.0.1", int(port)), START_TIMEOUT) as connection:
                call = marionette(connection)
                call("NewSession", {"capabilities": {}})
                yield Browser(call, process, log, [], "firefox")
