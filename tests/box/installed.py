"""The packages on a machine: put there as the README says, and what is asked of the box then."""

from __future__ import annotations

import fcntl
import tempfile
from pathlib import Path

from machine import NATIVE, PACKAGES, SYSTEMS, Machine, run

SERVICE = "fieldrelaybox.service"
ON_CARD = "fieldrelaybox.conf"
INSTALL = "DEBIAN_FRONTEND=noninteractive apt-get install -y"
PUT_SETTINGS = ("cp /usr/share/doc/fieldrelaybox/examples/fieldrelaybox.conf /boot/firmware/ && "
                "ln -sf firmware/fieldrelaybox.conf /boot/")
IS_RUNNING = f"systemctl is-active {SERVICE} && [ \"$(head -c 1 /dev/shm/hud_mem)\" = $'\\x01' ]"
WITHOUT_NETWORK = "systemd.mask=NetworkManager.service systemd.mask=wpa_supplicant.service"
"""For stories that start often and are not about it."""
KINDS = ("fieldrelaybox", "fieldrelaybox-panel", "fieldrelaybox-tools")


def packages(architecture: str = NATIVE, kinds: tuple[str, ...] = KINDS, version: str = "",
             directory: Path = PACKAGES) -> dict[str, bytes]:
    """Names and contents; with a version of their own when one is given."""
    files = sorted(path for kind in kinds for path in directory.glob(f"{kind}_*")
                   if path.name.endswith((f"_{architecture}.deb", "_all.deb")))
    assert len(files) == len(kinds), f"not all of {kinds} are in {directory}"
    if not version:
        return {path.name: path.read_bytes() for path in files}
    contents = {}
    with tempfile.TemporaryDirectory() as work:
        for path in files:
            tree, package = Path(work, path.stem), Path(work, f"{path.name.split('_')[0]}_{version}.deb")
            run("dpkg-deb", "-R", path, tree)
            control = tree / "DEBIAN" / "control"
            old = run("dpkg-deb", "-f", path, "Version").decode().strip()
            control.write_text(control.read_text().replace(f"Version: {old}\n", f"Version: {version}\n")
                               .replace(f"(= {old})", f"(= {version})"))
            run("dpkg-deb", "--root-owner-group", "-b", tree, package)
            contents[package.name] = package.read_bytes()
    return contents


def put(machine: Machine, directory: str, contents: dict[str, bytes]) -> None:
    for name, content in contents.items():
        machine.put(f"{directory}/{name}", content)


def install(machine: Machine, kinds: tuple[str, ...] = KINDS) -> None:
    """The README's way, to the service that runs with the sample settings."""
    put(machine, "packages", packages(machine.architecture, kinds))
    machine.run(f"cd packages && {INSTALL} ./fieldrelaybox*.deb", timeout=600)
    machine.run("rm -r packages")
    machine.run(PUT_SETTINGS)
    machine.run(f"systemctl restart {SERVICE}")
    machine.wait_until(IS_RUNNING)


def installed(architecture: str = NATIVE, system: str = "") -> Path:
    """A root with the packages of build/packages, made by whichever story comes first."""
    directory = SYSTEMS / (system or architecture)
    root = directory / "installed.qcow2"
    with (directory / "installed.lock").open("w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not root.exists():
            with Machine(architecture=architecture, system=system) as machine:
                install(machine, (*KINDS, "fieldrelaybox-streams") if system.endswith("-streams") else KINDS)
                machine.shut_down()
                machine.keep_root(root)
    return root


class InstalledBox(Machine):
    """A machine with the packages installed and the sample settings on its card."""

    def __init__(self, architecture: str = NATIVE, card_at: str = "", system: str = "",
                 options: str = "") -> None:
        super().__init__(installed(architecture, system), architecture, card_at, system)
        self.options = options
        sample = run("dpkg-deb", "--fsys-tarfile", next(PACKAGES.glob(f"fieldrelaybox_*_{architecture}.deb")))
        self.card.write(ON_CARD, run("tar", "-xO", "./usr/share/doc/fieldrelaybox/examples/fieldrelaybox.conf",
                                     input=sample))

    def start(self) -> "InstalledBox":
        super().start()
        self.wait_until(IS_RUNNING)
        return self

    def set(self, name: str, value: str) -> None:
        """Through the app's client, which reads it back from the daemon's report."""
        self.run(f"fieldrelaybox-client set --host 127.0.0.1 --timeout 20 {name} {value}")

    def await_saves(self) -> None:
        self.wait_until("fieldrelaybox-client status --json | grep -q '\"settings_unsaved\": 0'")

    def setting(self, name: str) -> str:
        """What the daemon was started with, or saved last."""
        return self.run(f"sed -n 's/^{name}=//p' /run/fieldrelaybox.conf").strip()

