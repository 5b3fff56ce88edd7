"""The camera vocabulary through port 4242: frames, log lines, status block, shell commands."""

import struct
from fnmatch import fnmatchcase
from itertools import zip_longest

from box import BoxTestCase, app_protocol, frames, load_json, send, wait_until

COMMANDS = load_json("camera_commands.json")
PLAYBACK_MODE, PHOTO_MODE, VIDEO_MODE = 2, 0, 1
GIMBAL_SPEED, ZOOM_LEVEL = "040c", "0234"
STOP = "5514046d0204000040040c00000000000090"
INTERVAL_SHOOTING = 0x100000
REPORTS = load_json("camera_state.json")["vectors"]
SHOTS = {(told["shot_mode"], told["shot_type"]): bytes.fromhex(report["frame"])
         for report in REPORTS if "shot_mode" in (told := report.get("state", {}))}
"""The frames by which a camera reports (shot mode, shot type)."""
OTHER_SHOT, = (bytes.fromhex(report["frame"]) for report in REPORTS
               if report["name"] == "shooting 85: burst of 4")
REVERSALS = {"pan_reverse": "rcin_pan_inv", "tilt_reverse": "rcin_tilt_inv"}
"""Parts of a case's state that are settings of the box."""


def reported(state: dict) -> list[bytes]:
    """The frames by which a camera reports this state; what is absent is 0."""
    mode = PLAYBACK_MODE
    if state.get("photo_mode"):
        mode = PHOTO_MODE
    if state.get("video_mode"):
        mode = VIDEO_MODE
    camera, lens = bytearray(36), bytearray(40)
    struct.pack_into("<IB", camera, 0, INTERVAL_SHOOTING * bool(state.get("interval_shooting")), mode)
    struct.pack_into("<BH", lens, 0, bool(state.get("autofocus")), state.get("focus_range", 0))
    lens[31] = state.get("assistant_bits", 0)
    return [frames.build_frame(frames.BOX, 0x02, 0x80, bytes(camera)),
            frames.build_frame(frames.BOX, 0x02, 0x87, bytes(lens)),
            SHOTS.get((state.get("shot_mode", 0), state.get("shot_type", 0)), OTHER_SHOT)]


def filled_in(frame: str, wanted: str) -> str:
    """`wanted`, when the bytes of `frame` that are not free ("??") are as wanted."""
    return wanted if fnmatchcase(frame, wanted) else frame


class Commands(BoxTestCase):
    """Cases run in order against one daemon; process-wide state goes on from one to the next."""

    cases: list[dict]
    connected = True

    def setUp(self) -> None:
        self.note_idle_threads()
        if self.connected:
            self.listener = self.app(data_only=True)  # without one the box ends an app's move
            self.link = self.camera()
            self.link.stop_clock()
        self.state: dict | None = None
        self.parameters: dict[str, str] = {}
        self.gimbal_moves = self.zooms = False

    def set_state(self, state: dict) -> None:
        if self.connected and self.state != state.get("camera", {}):
            self.state = state.get("camera", {})
            for frame in reported(self.state):
                self.link.fence(frame)
            for member, name in REVERSALS.items():
                self.set_parameter(name, str(int(self.state.get(member, False))))
        for offset, value in state.get("status_block", {}).items():
            self.box.status.raw[int(offset)] = value
        for offset, value in state.get("status_block_u16", {}).items():
            struct.pack_into("<H", self.box.status.raw, int(offset), value)

    def set_parameter(self, name: str, value: str) -> None:
        if self.parameters.get(name, "0") != value:
            self.parameters[name] = value
            self.listener.update(name, value)
            self.finish_commands()

    def carried_on(self, after: dict) -> set[str]:
        """Set and id of what the box itself may send beside the case: moves that go on."""
        before = self.gimbal_moves
        self.gimbal_moves = not after.get("gimbal_idle", not before)
        self.zooms = bool(after.get("zoom_step", self.zooms))
        return ({GIMBAL_SPEED} if before or self.gimbal_moves else set()) | (
            {ZOOM_LEVEL} if self.zooms else set())

    def run_case(self, case: dict, datagrams: list[bytes]) -> None:
        self.set_state(case.get("state", {}))
        start, ran = len(self.box.log.lines), len(self.box.stand_ins.runs())
        for datagram in datagrams:
            send(datagram, app_protocol.PORT)
        self.finish_commands()
        carried_on = self.carried_on(case.get("after", {}))
        if self.connected:
            got = self.link.take()
            self.assertEqual([(one.name, one.faults) for one in got if one.faults], [])
            sent, wanted = ([frame for frame in found if frame[18:22] not in carried_on
                             or frame == STOP]
                            for found in ([(one.raw[:6] + bytes(2) + one.raw[8:-2]).hex()
                                           for one in got], case["frames"]))
            self.assertEqual([filled_in(*pair) for pair in zip_longest(sent, wanted, fillvalue="")],
                             wanted)
        self.assertEqual(self.log_since(start, len(case["log"])), case["log"])
        after = case.get("after", {})
        for offset, value in after.get("status_block", {}).items():
            self.assertEqual(self.box.status.raw[int(offset)], value)
        if "config" in after:
            self.assertEqual(self.box.status["camera_disabled"], after["config"]["camera_disabled"])
        if "shell" in after:
            self.assert_ran(ran, after["shell"])

    def assert_ran(self, start: int, commands: list[str]) -> None:
        wanted = [command.removesuffix(" &") for command in commands]
        def killed() -> list[str]:
            return [line for line in self.box.stand_ins.runs()[start:]
                    if line.startswith("killall")]
        wait_until(lambda: len(killed()) >= len(wanted), "the stand-in runs")
        self.assertEqual(killed(), wanted)

    def run_cases(self, cases: list[dict]) -> None:
        for case in cases:
            with self.subTest(case["name"]):
                self.run_case(case, [app_protocol.EMPTY_HEADER + text.encode()
                                     for text in case["send"]])


class Connected(Commands):
    def test_every_case(self) -> None:
        self.run_cases(COMMANDS["cases"])


class Unconnected(Commands):
    connected = False

    def test_every_case(self) -> None:
        self.run_cases([case for case in COMMANDS["unconnected"]
                        if "camera" not in case.get("state", {})])


class RemoteControl(Commands):
    def test_every_datagram(self) -> None:
        for case in COMMANDS["datagrams"]:
            with self.subTest(case["name"]):
                self.run_case(case, [bytes.fromhex(case["datagram"])])
