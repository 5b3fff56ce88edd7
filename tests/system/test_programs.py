"""Every program of the box: what it answers, and that its manual page tells all of it. The scripts of the checkout
that people begin with: what they refuse, and how they fail."""

from __future__ import annotations

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from box import DAEMON, DOCS, ROOT, RUNNER, TIMEOUT, run, wait_until

# What the build made for the box, also what is new: settings_list is for the build alone, and links are to others.
PROGRAMS = [path for path in sorted(Path(DAEMON).parent.iterdir())
            if path.is_file() and not path.is_symlink() and os.access(path, os.X_OK) and path.name != "settings_list"]
WRONG = {"fieldrelaybox": ("-v", "--version 1", "--check-config a b"),
         "fieldrelaybox-panel": ("--listen", "--certificate x", "--set-password", "--name"),
         "rcin": ("--config", "--show more", "--config a b"), "rtsp-server": ("--port 0",),
         "stream": ("tp", "source --config")}
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


class Scripts(unittest.TestCase):
    def test_the_demo_refuses_what_it_does_not_know(self) -> None:
        demo = ROOT / "tools/run_demo.sh"
        self.assertEqual(run(demo, "--help")[::2], (0, ""))
        for wrong in ([], ["missing"], [DAEMON, "--sound"], [DAEMON, "--logs"], [DAEMON, "--video", "loud"],
                      [DAEMON, "--panel", "8x"]):
            status, printed, errors = run(demo, *wrong)
            self.assertEqual((status, printed), (2, ""), wrong)
            self.assertRegex(errors, r"\Arun_demo: .*, see --help\n\Z")

    @unittest.skipIf(RUNNER, "the demo runs the daemon itself")
    def test_the_demo_is_joined(self) -> None:
        """By a client and by another command, as the README shows it."""
        home = self.enterContext(tempfile.TemporaryDirectory())
        self.enterContext(mock.patch.dict(os.environ, XDG_RUNTIME_DIR=home))
        with subprocess.Popen([ROOT / "tools/run_demo.sh", DAEMON, "--video", "numbers", "--rc", "keys", "--logs", home],
                              stdout=subprocess.DEVNULL) as demo:
            def join(*words: str) -> int:
                return run(ROOT / "tools/attach.sh", *words)[0]
            client = str(ROOT / "tools/box_client.py")
            try:
                wait_until(lambda: join(client, "camera", "iso", "400") == 0
                           and join("--", "grep", "-q", "set iso 400", f"{home}/camera.log") == 0, "the camera obeys")
                self.assertEqual(join(client, "--help"), 0)
            finally:
                demo.terminate()

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
