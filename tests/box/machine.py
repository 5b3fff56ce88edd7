"""A box in a virtual machine: its card, its power, and the commands that run on it.

Emulated all the way (TCG), without a network. The root is an overlay of a base that stays. The card, with the boot
partition, is a plain file behind an SD controller: what the machine has written is in it at any moment, as on a card.
"""

from __future__ import annotations

import base64
import concurrent.futures
import ctypes
import json
import os
import platform
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from typing import Any

ROOT = Path(__file__).resolve().parents[2]
SYSTEMS, PACKAGES = ROOT / "build" / "box", ROOT / "build" / "packages"
NATIVE = {"x86_64": "amd64", "armv7l": "armhf"}.get(platform.machine(), "amd64")
SHORT = bool(os.environ.get("SHORT"))
PARTITION_START, PARTITION_SIZE, CARD_SIZE = 4 << 20, 252 << 20, 256 << 20
PROCESSORS = "1" if SHORT else "2"  # where two machines run at a time, one is cheaper
QEMU = {
    # With an HPET two processors stand still now and then, for the 43 s that it counts.
    "amd64": ("qemu-system-x86_64 -machine q35,i8042=off,smbus=off,sata=off,hpet=off -cpu qemu64,+rdrand", "ttyS0"),
    "armhf": ("qemu-system-arm -machine virt,highmem=off -cpu cortex-a15", "ttyAMA0"),
}
SLOWNESS = {"amd64": 1, "armhf": 3}
"""How many times as long as on amd64 a thing may take."""


def run(*words: Any, input: bytes | None = None) -> bytes:
    """What a program of this computer prints; it has to end well."""
    ended = subprocess.run([str(word) for word in words], input=input, stdout=subprocess.PIPE,
                           stderr=subprocess.STDOUT, check=False)
    if ended.returncode:
        raise AssertionError(f"{words}: status {ended.returncode}\n{ended.stdout.decode(errors='replace')}")
    return ended.stdout


def die_with_parent() -> None:
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG


class Card:
    """A memory card with the boot partition of a Raspberry Pi, partitioned and empty."""

    def __init__(self, path: Path) -> None:
        self.path = path
        with path.open("wb") as card:
            card.truncate(CARD_SIZE)
        run("sfdisk", "--quiet", path, input=b"start=%d, type=c\n" % (PARTITION_START // 512))
        run("mkfs.vfat", "-F", 32, "-s", 4, "-n", "bootfs", "--offset", PARTITION_START // 512, path,
            PARTITION_SIZE // 1024)

    def _tool(self, name: str, *words: Any, **options: Any) -> bytes:
        return run(name, "-i", f"{self.path}@@{PARTITION_START}", *words, **options)

    def read(self, name: str) -> bytes:
        """A file of the boot partition; only while no machine runs."""
        return self._tool("mtype", f"::{name}")

    def write(self, name: str, content: bytes) -> None:
        self._tool("mcopy", "-o", "-", f"::{name}", input=content)

    def copy_partition(self, to: Path) -> None:
        run("dd", f"if={self.path}", f"of={to}", "bs=4M", f"skip={PARTITION_START >> 22}", "conv=sparse")
        os.truncate(to, PARTITION_SIZE)


class Machine:
    """Files are in a directory of its own, which goes with it."""

    process: subprocess.Popen[bytes] | None = None

    def __init__(self, base: Path | None = None, architecture: str = NATIVE, card_at: str = "",
                 system: str = "") -> None:
        """base: a root that another machine left, or a plain system. card_at: the mount point of the card, with
        mount options behind it ("/boot,ro"), if not that of Raspberry Pi OS 12. system: which, below build/box, if
        not that of the architecture."""
        self.architecture, self.card_at = architecture, card_at
        self.system = SYSTEMS / (system or architecture)
        self._home = tempfile.TemporaryDirectory(prefix="machine.")
        self.directory = Path(self._home.name)
        self.console, self.root = self.directory / "console", self.directory / "root.qcow2"
        self.card = Card(self.directory / "card.img")
        self.write_log: Path | None = None
        """When set before a start, where all that is written to the card is noted."""
        self.options = ""
        """More words for the kernel's command line."""
        self.hardware: list[str] = []
        """More words for the emulator's command line, when set before a start."""
        base = base or self.system / "root.img"
        run("qemu-img", "create", "-q", "-f", "qcow2", "-b", base, "-F",
            "qcow2" if base.suffix == ".qcow2" else "raw", self.root)
        self._answers: dict[int, concurrent.futures.Future[dict[str, Any]]] = {}

    def __enter__(self) -> "Machine":
        try:
            return self.start()
        except BaseException:
            self.close()
            raise

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        self.cut_power()
        self._home.cleanup()

    def _command_line(self) -> list[str]:
        command, console = QEMU[self.architecture]
        card = f"driver=file,filename={self.card.path}"
        if self.write_log:
            self.write_log.write_bytes(b"")
            card = (f"driver=blklogwrites,file.driver=file,file.filename={self.card.path},"
                    f"log.driver=file,log.filename={self.write_log}")
        return [*command.split(), "-accel", "tcg,thread=multi,tb-size=256", "-smp", PROCESSORS, "-m", "512",
                "-nodefaults", "-nic", "none", "-device", "virtio-rng-pci", "-display", "none",
                "-serial", f"file:{self.console}",
                "-kernel", str(self.system / "vmlinuz"), "-initrd", str(self.system / "initrd"), "-append",
                f"console={console} loglevel=5 mitigations=off audit=0 apparmor=0" + f" {self.options}"
                + (f" card={self.card_at}" if self.card_at else ""),
                "-drive", f"if=none,id=root,file={self.root},format=qcow2,discard=unmap",
                "-device", "virtio-blk-pci,drive=root",
                "-blockdev", f"{card},node-name=card", "-device", "sdhci-pci", "-device", "sd-card,drive=card",
                "-chardev", f"socket,id=box,path={self.directory}/agent,server=on,wait=off",
                "-device", "virtio-serial-pci", "-device", "virtserialport,chardev=box,name=box",
                *self.hardware]

    def start(self) -> "Machine":
        """Power on; returns when commands can be run, which is before all services are there."""
        (self.directory / "agent").unlink(missing_ok=True)
        self.console.write_bytes(b"")
        self.powered_at = time.monotonic()
        self._answers = {0: concurrent.futures.Future()}
        with self.console.open("ab") as console:
            self.process = subprocess.Popen(self._command_line(), stdin=subprocess.DEVNULL, stdout=console,
                                            stderr=subprocess.STDOUT, preexec_fn=die_with_parent)
        self._socket = socket.socket(socket.AF_UNIX)
        while self._socket.connect_ex(str(self.directory / "agent")):
            if self.process.poll() is not None:
                raise AssertionError(self._failure("does not start"))
            time.sleep(0.02)
        threading.Thread(target=self._read, args=(self._socket, self._answers), daemon=True).start()
        self._await(0, "the machine starts", 300)
        return self

    @staticmethod
    def _read(agent: socket.socket, answers: dict[int, concurrent.futures.Future[dict[str, Any]]]) -> None:
        try:
            for line in agent.makefile("rb"):
                answer = json.loads(line)
                if not answers[answer["id"]].done():  # a machine that reboots says hello again
                    answers[answer["id"]].set_result(answer)
        except OSError:
            pass

    def _failure(self, what: str) -> str:
        console = self.console.read_bytes().decode(errors="replace")
        return f"{what}; the console's end:\n" + "\n".join(console.splitlines()[-40:])

    def _await(self, number: int, what: str, timeout: float) -> dict[str, Any]:
        end = time.monotonic() + timeout * SLOWNESS[self.architecture]
        while True:
            try:
                return self._answers[number].result(0.5)
            except concurrent.futures.TimeoutError:
                pass
            if b"Kernel panic" in self.console.read_bytes():
                raise AssertionError(self._failure(f"{what}: the kernel panicked"))
            if self.process is None or self.process.poll() is not None:
                raise AssertionError(self._failure(f"{what}: the machine is off"))
            if time.monotonic() > end:
                raise AssertionError(self._failure(f"{what}: no answer"))

    def begin(self, command: str, input: bytes = b"") -> int:
        """Starts a shell command; its number is for `finish`."""
        number = len(self._answers)
        self._answers[number] = concurrent.futures.Future()
        request = {"id": number, "command": command, "input": base64.b64encode(input).decode()}
        self._socket.sendall(json.dumps(request).encode() + b"\n")
        return number

    def finish(self, number: int, timeout: float = 300) -> tuple[int, bytes]:
        """Status and output of a command that was begun."""
        answer = self._await(number, "a command", timeout)
        return answer["status"], base64.b64decode(answer["output"])

    def run(self, command: str, input: bytes = b"", timeout: float = 300) -> str:
        """What a shell command prints; it has to end well."""
        status, output = self.finish(self.begin(command, input), timeout)
        if status:
            raise AssertionError(f"{command}: status {status}\n{output.decode(errors='replace')}")
        return output.decode(errors="replace")

    def succeeds(self, command: str) -> bool:
        return self.finish(self.begin(command))[0] == 0

    def wait_until(self, command: str, timeout: float = 180) -> None:
        """Until a shell command ends well; it is tried again and again in the machine."""
        seconds = timeout * SLOWNESS[self.architecture]
        script = (f"for ((end = SECONDS + {seconds:.0f}; SECONDS < end;)); do\n"
                  f"if ( {command} ) &>/dev/null; then exit 0; fi\nsleep 0.1\ndone\nexit 1")
        if self.finish(self.begin(script), timeout + 60)[0]:
            journal = self.run("journalctl --no-pager -n 60")
            raise AssertionError(f"waited in vain for: {command}\n{journal}")

    def put(self, path: str, content: bytes) -> None:
        self.run(f"mkdir -p $(dirname {path}) && cat >{path}", content)

    def fetch(self, path: str) -> bytes:
        status, output = self.finish(self.begin(f"cat {path}"))
        assert status == 0, output
        return output

    def cut_power(self) -> None:
        """What the card was given stays, all else that was not asked to be kept goes."""
        if self.process:
            self.process.kill()
            self._gone()

    def shut_down(self) -> None:
        """As a user should."""
        self.begin("systemctl poweroff")
        assert self.process
        try:
            self.process.wait(180 * SLOWNESS[self.architecture])
        except subprocess.TimeoutExpired:
            raise AssertionError(self._failure("does not shut down")) from None
        self._gone()

    def _gone(self) -> None:
        assert self.process
        self.process.wait()
        self._socket.close()
        self.process = None

    def restart(self) -> "Machine":
        self.shut_down()
        return self.start()

    def keep_root(self, path: Path) -> None:
        """For machines that go on from here; while it is off."""
        shutil.move(self.root, f"{path}.new")
        os.rename(f"{path}.new", path)
