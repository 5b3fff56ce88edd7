"""A box at work: a camera, a picture, an app and a pilot with a game pad are on the machine itself."""

from __future__ import annotations

import re
from pathlib import Path

from installed import ON_CARD, WITHOUT_NETWORK, InstalledBox

PAD = Path(__file__).parent / "pad.py"
AROUND = {"camera": "fieldrelaybox-camera-simulator --json",
          "picture": "fieldrelaybox-numbered-stream --rate 10",
          "app": "fieldrelaybox-client watch --host 127.0.0.1 --pace 60"}
SETTINGS = {b"rc_input_enabled": b"1", b"rc_input_mode": b"pad", b"rc2_input_mode": b"off", b"rc_input_map": b"pan,tilt"}
END = 32767
LEFT, RIGHT, STOP = (f"gimbal speed {speed},0" for speed in (-500, 500, 0))
LINKS = "$(od -An -tu1 -j132 -N4 /dev/shm/hud_mem | tr -d ' ')"
"""Apps, camera (twice) and picture."""
ALL_THERE = f"[ {LINKS} = 2111 ]"  # the panel is an app, too
RC_STATE = "$(od -An -tu1 -j831 -N1 /dev/shm/hud_mem | tr -d ' ')"
NO_PAD, CALIBRATING, FLYING = 1, 3, 6


class FlownBox(InstalledBox):
    def __init__(self) -> None:
        super().__init__(options=WITHOUT_NETWORK)
        settings = self.card.read(ON_CARD)
        for name, value in SETTINGS.items():
            settings = re.sub(b"(?m)^%s=[^\\r\\n]*" % name, b"%s=%s" % (name, value), settings)
        self.card.write(ON_CARD, settings)

    def start(self) -> "FlownBox":
        """Switched on with everything around it; the pad is calibrated when it never was."""
        super().start()
        for name, command in AROUND.items():
            self.start_unit(name, command)
        self.run("grep -q ^pad /etc/fieldrelaybox/rcin.conf || echo pad=auto >>/etc/fieldrelaybox/rcin.conf; "
                 "systemctl restart fieldrelaybox-rcin; modprobe uinput; mkfifo /run/pad")
        self.put("pad.py", PAD.read_bytes())
        self.plug_in()
        self.await_rc(CALIBRATING, FLYING)
        if self.succeeds(f"[ {RC_STATE} = {CALIBRATING} ]"):
            self.calibrate()
        self.wait_until(ALL_THERE)
        return self

    def start_unit(self, name: str, command: str) -> None:
        """What it prints goes to a file of its name."""
        self.run(f"systemd-run -q --collect --unit={name} sh -c 'exec {command} >>/root/{name} 2>&1'")

    def calibrate(self) -> None:
        for end in (END, -END) * 2:
            self.move(end, end)
            self.run("sleep 0.3")
        self.move(0, 0)
        self.await_rc(FLYING)

    def plug_in(self) -> None:
        self.start_unit("pad", "python3 /root/pad.py 0<>/run/pad")

    def unplug(self) -> None:
        self.run("systemctl stop pad")

    def move(self, across: int, up: int) -> None:
        """The right stick."""
        self.run(f"echo {across} {up} >/run/pad")

    def await_rc(self, *states: int) -> None:
        self.wait_until(" || ".join(f"[ {RC_STATE} = {state} ]" for state in states))

    def await_frame(self, name: str) -> None:
        """The camera has received it, and no other for the gimbal since."""
        self.wait_until(f"tail -c 20000 camera | grep -o 'gimbal speed [^\"]*' | tail -n 1 | grep -qx '{name}'")

    def frames(self, since: int = 0) -> list[str]:
        """What the camera has received beside the time, by name, from a line of its output on."""
        lines = self.run(f"tail -n +{since + 1} camera").splitlines()
        names = [found[1] for line in lines if (found := re.search(r'"name": "([^"]*)"', line))]
        return [name for name in names if not name.startswith("set date and time")]

    def frame_count(self) -> int:
        return int(self.run("wc -l <camera"))

    def processes(self) -> dict[str, str]:
        """The first process of each service of ours."""
        listed = self.run("for unit in $(systemctl list-units --plain --no-legend --state=running 'fieldrelaybox*.service' "
                          "| cut -d' ' -f1); do echo $unit $(systemctl show -P MainPID $unit); done")
        return dict(line.split() for line in listed.splitlines())
