"""Every program of the box: what it answers, and that its manual page tells all of it. The scripts of the checkout
that people begin with: what they refuse, and how they fail."""

from __future__ import annotations

import os
import re
import signal
import subprocess
import tempfile
import time
import unittest
from pathlib import Path
from unittest import mock

from box import DAEMON, DOCS, LOOPBACK, ROOT, RUNNER, TIMEOUT, TOOLS, run, wait_until

# What the build made for the box, also what is new: settings_list is for the build alone, and links are to others.
PROGRAMS = [path for path in sorted(Path(DAEMON).parent.iterdir())
            if path.is_file() and not path.is_symlink() and os.access(path, os.X_OK) and path.name != "settings_list"]
WRONG = {"fieldrelaybox": ("-v", "--version 1", "--check-config a b"),
         "fieldrelaybox-panel": ("--listen", "--certificate x", "--set-password", "--name"),
         "rcin": ("--config", "--show more", "--config a b"), "rtsp-server": ("--port 0",),
         "stream": ("tp", "source --config")}
ACCOUNT = ("--account", "me:secret:box1")
FOR_PEOPLE: dict[str, list[tuple[int, str, tuple[str, ...]]]] = {
    "attach.sh": [(1, "no demo is running", ())],
    "box_client.py": [
        (1, "no box answers", ("config", "--host", LOOPBACK, "--timeout", "0.1")), (1, "no address", ("--host", "a..b")),
        (1, "no daemon", ("status",)), (2, "/metrics", ("status", "--host", "x")),
        (1, "/missing/video: No such", ("--video", "/missing/video")),
        (1, "everything on the card is lost.* --yes", ("camera", "formatmicrosd")), (2, "--port", ("--port", "65536")),
        (1, "only its power supply", ("--send", '{"cmd":"shutdown"}')), (2, "--timeout", ("--timeout", "nan")),
        (2, "set rcin_mode", ("set", "rc_input_mode", "pwm")), (2, "0 to 100", ("set", "rcin_pan", "101")),
        (2, "double quote", ("set", "rtmp_url", 'rtmp://a/"b')), (2, "address:port", ("set", "udp_clients", "me:1")),
        (2, "1 to 65535", ("--host", "x", "set", "tcp_port", "0")), (2, "3200, 6400", ("camera", "iso", "300")),
        (2, "one of 30s", ("camera", "shutter", "1/8000")), (2, "1 to 100", ("camera", "aperture")),
        (2, "0 to 100", ("camera", "zoom", "101")), (2, "nmcli", ("wifi", "scan", "wlan1")),
        (2, "camera_iface=wlan1", ("wifi", "set", "--camera", "wlan1", "OSMO", "")),
        (2, "8 to 63", ("wifi", "set", "--camera", "wlan0", "OSMO", "short"))],
    "camera_simulator.py": [(1, "no address", ("--box", "a..b")), (2, "--lose", ("--lose", "200"))],
    "listening_socket.py": [(1, "cannot run /missing", ("8080", "/missing")), (2, "PORT", ("0", "true"))],
    "numbered_stream.py": [(1, "no address", ("--host", "a..b")), (2, "--rate", ("--rate", "0"))],
    "rc_simulator.py": [(1, "no daemon", ("--script", "/dev/null")), (2, "a terminal", ()), (1, "/x", ("--script", "/x"))],
    "relay_server.py": [(1, "no address", ("--listen", "a..b", *ACCOUNT)), (2, "--account", ()),
                        (1, "password of a", ("--account", "a:-:b")), (2, "USER:PASSWORD", ("--account", "a:secret"))],
    "run_demo.sh": [(2, "comes first", ()), (2, "no program", ("missing",)), (2, "--sound", (DAEMON, "--sound")),
                    (2, "lacks", (DAEMON, "--logs")), (2, "loud", (DAEMON, "--video", "loud")),
                    (2, "8x", (DAEMON, "--panel", "8x"))],
    "sandbox.sh": [(2, "no command", ())],
}
"""The programs in tools/: how each fails when it is called so."""
LONG_OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]*")


def manual_page(program: str) -> str:
    own = program.startswith("fieldrelaybox")
    page = DOCS / "man" / f"{program if own else 'fieldrelaybox-' + program}.8"
    return page.read_text().replace("\\-", "-")


class Programs(unittest.TestCase):
    def setUp(self) -> None:
        self.assertIn("fieldrelaybox", [program.name for program in PROGRAMS])
        release = re.search(r"^project\(fieldrelaybox VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)
        assert release
        self.version = release[1]

    def test_each_answers(self) -> None:
        for program in PROGRAMS:
            with self.subTest(program.name):
                self.assertEqual(run(*RUNNER, program, "--version"), (0, f"{program.name} {self.version}\n", ""))
                status, usage, errors = run(*RUNNER, program, "--help")
                self.assertEqual((status, errors), (0, ""))
                self.assertRegex(usage, rf"^Usage: {program.name} ")
                for wrong in ("--nonsense", *WRONG.get(program.name, ())):
                    status, printed, errors = run(*RUNNER, program, *wrong.split())
                    self.assertEqual((status, printed), (2, ""), wrong)
                    self.assertRegex(errors, rf"\A{program.name}: .*({'|'.join(wrong.split())}).*, see --help\n\Z")

    def test_each_has_a_manual_page_with_all_its_options(self) -> None:
        for program in PROGRAMS:
            with self.subTest(program.name):
                page, usage = manual_page(program.name), run(*RUNNER, program, "--help")[1]
                self.assertEqual(set(LONG_OPTION.findall(page)), set(LONG_OPTION.findall(usage)))
                if "--list" in usage:
                    kinds = [line.split()[0] for line in run(*RUNNER, program, "--list")[1].splitlines()]
                    self.assertEqual(re.findall(r"^\.TP\n\.B ([a-z]+)$", page, re.M), kinds)


class Tools(unittest.TestCase):
    def test_each_answers_and_fails_in_one_line(self) -> None:
        self.assertEqual({path.name for path in TOOLS.iterdir() if path.is_file() and os.access(path, os.X_OK)},
                         {*FOR_PEOPLE, "demo_inside.sh"})
        for name, failures in FOR_PEOPLE.items():
            stem = Path(name).stem
            version = re.search(r"__version__ = \"(.*)\"", (TOOLS / "fieldrelaybox/__init__.py").read_text())
            self.assertEqual(run(TOOLS / name, "--version"), (0, f"{stem} {version and version[1]}\n", ""))
            status, told, errors = run(TOOLS / name, "--help")
            self.assertEqual((status, errors), (0, ""))
            self.assertRegex(told, rf"(?m)^    (tools/)?{name} \S")  # an example
            for expected, words, arguments in failures:
                with self.subTest(name=name, arguments=arguments):
                    status, told, errors = run(TOOLS / name, *arguments, env={**os.environ, "XDG_RUNTIME_DIR": "/run"})
                    self.assertEqual((status, told), (expected, ""), errors)
                    self.assertRegex(errors, rf"\A{stem}: .*({words}).*\n\Z")
                    self.assertNotIn("secret", errors)

    def test_ctrl_c_is_silent_at_any_time(self) -> None:
        commands = (("camera_simulator.py",), ("numbered_stream.py",), ("box_client.py", "--timeout", "9"),
                    ("rc_simulator.py", "--sbus", "/run/sbus", "--script", "/run/script"), ("relay_server.py", *ACCOUNT))
        Path("/run/script").write_text("wait 9\n")
        for fortieths in range(12):  # all of them at a time: while they start, and when they have
            begun = [subprocess.Popen([TOOLS / command[0], *command[1:]], start_new_session=True, stdin=subprocess.DEVNULL,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) for command in commands]
            time.sleep(fortieths / 40)
            for process in begun:
                for number in (signal.SIGINT, signal.SIGINT, signal.SIGTERM)[:fortieths % 3 + 1]:
                    process.send_signal(number)
            for process, command in zip(begun, commands):
                self.assertEqual((process.communicate(timeout=TIMEOUT)[1], command), (b"", command))
                self.assertIn(process.returncode, (0, -signal.SIGINT, -signal.SIGTERM))
        self.assertFalse(Path("/run/sbus").is_symlink())

    @unittest.skipIf(RUNNER, "the demo runs the daemon itself")
    def test_the_demo_is_joined(self) -> None:
        """By a client and by another command, as the README shows it."""
        home = self.enterContext(tempfile.TemporaryDirectory())
        self.enterContext(mock.patch.dict(os.environ, XDG_RUNTIME_DIR=home))
        with subprocess.Popen([ROOT / "tools/run_demo.sh", DAEMON, "--video", "numbers", "--rc", "keys", "--logs", home],
                              stdout=subprocess.DEVNULL) as demo:
            def join(*words: str) -> int:
                return run(ROOT / "tools/attach.sh", *words)[0]
            try:
                wait_until(lambda: join("camera", "iso", "400") == 0
                           and join("--", "grep", "-q", "set iso 400", f"{home}/camera.log") == 0, "the camera obeys")
                self.assertEqual(join("box_client.py", "--help"), 0)
            finally:
                demo.terminate()


class Scripts(unittest.TestCase):
    def test_packages_that_cannot_be_had_end_it(self) -> None:
        tools = Path("/run/tools")
        tools.mkdir()
        for name, status in (("dpkg-query", 1), ("apt-get", 100), ("sudo", 100), ("sleep", 0)):
            (tools / name).write_text(f"#!/bin/sh\nexit {status}\n")
            (tools / name).chmod(0o755)
        status, _, errors = run(ROOT / "scripts/install_dependencies.sh", "fuzz",
                                env=os.environ | {"PATH": f"{tools}:{os.environ['PATH']}"})
        self.assertEqual(status, 1)
        self.assertRegex(errors, r"\napt_install\.sh: cannot install clang .*\n\Z")
