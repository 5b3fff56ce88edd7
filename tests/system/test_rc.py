"""RC control: the real daemon flown through shared memory, every frame to the camera checked."""

import time

from box import MASTER, TIMEOUT, App, BoxTestCase, app_protocol, frames, wait_until
from fieldrelaybox.rc_sticks import CENTRE, HIGH, LOW, RcSticks

MAP = ("pan,tilt,record-shot,center,orient-lock,osd,iso,zoom,digital-zoom2,menu,intcamera,roll,"
       "videomode,shutter,record,ev,aperture,focus,focus-pan,focus-tilt,digital-zoom,"
       "custom-focus-assistant")
STOP = "gimbal speed 0,0"
FULL = "gimbal speed 1000,0"
FOCUS_OF_1000 = frames.build_frame(frames.BOX, 0x02, 0x87, b"\0\xe8\3" + bytes(37))  # manual


class Pilot(BoxTestCase):
    settings = (f"rc_input_enabled=1\nrc_input_map={MAP}\nrc_input_speed_pan=100\n"
                "rc_input_speed_tilt=50\nrc_input_inverse_tilt=1\nosd_enabled=1\n")

    def setUp(self) -> None:
        self.rc = self.camera()
        self.rc.stop_clock()
        self.sticks = self.pick_up_sticks()
        self.sticks.await_map()
        self.sticks.rest()
        self.addCleanup(self.lose_rc)
        self.see_starting_positions()

    def pick_up_sticks(self) -> RcSticks:
        return RcSticks(self.box.status)

    def lose_rc(self) -> None:
        """On return the loop has seen it; otherwise the next test's start would look like moves."""
        self.sticks.set("menu", HIGH)
        wait_until(lambda: self.box.status["rc_menu_active"], "the menu has the sticks")
        self.sticks.lose()
        wait_until(lambda: not self.box.status["rc_menu_active"], "the sticks are gone")
        self.assertEqual((self.rc.faulty, self.rc.missing), (0, 0))  # of all frames, looked at or not

    def see_starting_positions(self) -> None:
        """On return the loop has seen where everything is: sticks alone act at once."""
        self.sticks.set("tilt", HIGH)
        self.rc.wait_for(lambda got: got.name == "gimbal speed 0,-500")
        self.sticks.set("tilt", CENTRE)
        self.rc.wait_for(lambda got: got.name == STOP)
        self.last = STOP

    def expect(self, *names: str) -> None:
        """The next frames are these, behind repetitions of what was expected before each."""
        for name in names:
            while (got := self.rc.next_frame(TIMEOUT)).name == self.last != name:
                self.assertEqual(got.faults, ())
            self.assertEqual((got.name, got.faults), (name, ()))
            self.last = name

    def move(self, name: str, value: int, *frames: str) -> None:
        self.sticks.set(name, value)
        self.expect(*frames)


class Heartbeat(Pilot):
    def test_an_rc_input_that_dies_is_lost(self) -> None:
        self.move("zoom", HIGH, "zoom drive in")
        self.move("pan", HIGH, FULL)
        self.expect(*[FULL] * 50)  # without a heartbeat the values hold
        self.sticks.heartbeat = True
        for more in (("zoom drive stop", "zoom drive stop, again"), ()):
            self.sticks.refresh()
            self.rc.wait_for(lambda got: got.name == FULL)
            died, self.last = time.monotonic(), FULL
            self.expect(STOP, *more)
            self.assertTrue(0.3 < time.monotonic() - died < 2)


class NewMap(Pilot):
    def test_a_new_map_waits_for_the_new_values(self) -> None:
        self.note_idle_threads()
        self.box.stand_ins.answer("mount", seconds=1)
        app, seen = self.app(data_only=True), len(self.rc.seen)
        self.move("pan", HIGH, FULL)
        app.update("rcin_map", "tilt,pan" + MAP[8:])
        self.expect(STOP)
        self.finish_commands()
        self.assertEqual({got.name for got in self.rc.seen[seen:]}, {FULL, STOP})
        self.sticks.refresh()
        self.expect("gimbal speed 0,-500")


class Flight(Pilot):
    def test_take_over_release_and_lost_rc(self) -> None:
        self.move("pan", HIGH, FULL)
        start = time.monotonic()
        self.expect(*[FULL] * 50)
        self.assertAlmostEqual(time.monotonic() - start, 1, delta=0.5)  # one every 20 ms
        self.move("tilt", LOW, "gimbal speed 1000,500")
        self.move("pan", CENTRE, "gimbal speed 0,500")
        self.move("tilt", CENTRE, STOP)
        self.move("zoom", HIGH, "zoom drive in")
        self.move("pan", HIGH, FULL)
        self.sticks.lose()
        self.expect(STOP, "zoom drive stop", "zoom drive stop, again")
        lost = len(self.rc.seen)
        self.sticks.centre()
        self.sticks.set("videomode", HIGH)  # which acts at once
        self.sticks.recover()
        self.see_starting_positions()
        names = {got.name for got in self.rc.seen[lost:]}
        self.assertEqual(names, {"gimbal speed 0,-500", STOP})  # not where a knob rests

    def test_app_moves_are_carried_on(self) -> None:
        self.sticks.lose()
        with App(data_only=True) as app:
            app.command(cmd="position", param="moverel", value1="30", value2="20")
            self.expect(*["gimbal speed 30,20"] * 20)  # -20, and the tilt is reversed
            app.command(cmd="position", param="moverel", value1="0", value2="0")
            self.expect(STOP)
            app.command(cmd="position", param="moverel", value1="5", value2="0")
            self.expect("gimbal speed 5,0")
            self.sticks.recover()
            self.move("pan", HIGH, FULL)
            self.move("pan", CENTRE, STOP)
            app.command(cmd="position", param="move", value1="100", value2="200")
            self.expect("gimbal set angle 100,200")
            self.move("pan", LOW, "gimbal speed -1000,0")  # at once
            self.sticks.set("pan", CENTRE)
            time.sleep(0.002)  # within the same millisecond the stick would win
            app.command(cmd="position", param="move", value1="300", value2="400")
            self.last = self.rc.wait_for(lambda got: got.name == "gimbal set angle 300,400").name
            self.move("roll", LOW, "roll horizont -1")  # no stop before; and no roll speed was set
            self.sticks.set("roll", CENTRE)
            for _ in range(2):  # the same speed ends the hold all the same
                app.command(cmd="position", param="moverel", value1="6", value2="0")
                self.expect("gimbal speed 6,0")
                app.send(app_protocol.gimbal_motion(0, 100, 200))
                self.expect("gimbal set angle 100,200")
            app.command(cmd="position", param="moverel", value1="7", value2="0")
            self.expect("gimbal speed 7,0")
        self.expect(STOP)  # with the app went its move
        app = self.silent_app()
        app.register()
        app.command(cmd="position", param="moverel", value1="7", value2="0")
        self.expect("gimbal speed 7,0", STOP)  # it is silent: its time is over

    def test_a_zoom_step_belongs_to_who_wrote_it_last(self) -> None:
        def level(at_most: int = 100) -> int:
            return int(self.rc.wait_for(lambda got: got.name.startswith("set zoom ") and
                                        int(got.name.split()[2]) <= at_most).name.split()[2])
        app = self.app(data_only=True)
        app.command(cmd="zoom", param="80")
        self.sticks.set("digital-zoom2", HIGH)
        self.rc.wait_for(lambda got: got.name == "set zoom 90")
        app.command(cmd="zoom", param="-2", value1="-1")
        level(level() - 1)
        self.sticks.lose()
        level(level() - 5)  # goes on
        app.command(cmd="zoom", param="-2", value1="0")
        self.sticks.rest()
        self.sticks.recover()

    def test_camera_away_and_rc_switched_off(self) -> None:
        app, start = self.app(data_only=True), len(self.box.log.lines)
        self.move("pan", HIGH, FULL)
        self.rc.go_silent(60)
        self.box.log.wait_for("data disconnected", start)
        self.sticks.set("pan", CENTRE)
        self.rc.go_silent(0)
        self.expect(STOP)
        self.move("pan", HIGH, FULL)
        for enabled, names in (("0", (STOP, "gimbal speed 8,0")), ("1", (FULL,))):
            app.update("rcin_enabled", enabled)
            wait_until(lambda: not self.box.status["rc_receiver_state"], "the receiver has to start anew")
            self.sticks.refresh()
            app.command(cmd="position", param="moverel", value1="8", value2="0")
            for name in names:
                self.rc.wait_for(lambda got: got.name == name)

    def test_switches_and_steps(self) -> None:
        idle, reset = "buttons idle", ["gimbal reset press", "gimbal reset release"] * 2
        self.move("record-shot", CENTRE)
        self.move("record-shot", HIGH, "set mode video", *["record start press"] * 2, idle)
        self.move("record-shot", CENTRE, idle, *["record stop press"] * 2, idle)
        self.move("record-shot", LOW, "set mode photo", *["shot single"] * 2, idle)
        self.move("orient-lock", HIGH, idle, "periodic frame B")
        self.move("orient-lock", LOW, *reset)
        self.move("center", HIGH, *reset)
        self.move("iso", 1700, "set iso 1600")
        self.move("shutter", HIGH, "set shutter 8000")
        self.move("videomode", 1600, "set image mode aperture")
        self.move("record", HIGH, "set mode video", *["record start press"] * 2, idle)
        self.move("record", LOW, idle, *["record stop press"] * 2, idle)
        self.move("ev", HIGH, "set EV 3.0")
        self.move("aperture", HIGH, "set aperture 16.00")
        self.rc.fence(FOCUS_OF_1000)
        self.move("focus", 1600, "set manual focus 600")
        self.move("focus-pan", HIGH, "set focus point 1,0.5")
        self.move("focus-tilt", LOW, "set focus point 1,0")
        self.move("digital-zoom", 1300, "set zoom 30")
        self.move("digital-zoom2", HIGH, *["set zoom 35"] * 3, *["set zoom 40"] * 3)
        self.sticks.set("digital-zoom2", CENTRE)
        self.sticks.set("menu", HIGH)
        wait_until(lambda: self.box.status["rc_menu_active"], "the menu has the sticks")
        self.sticks.set("pan", HIGH)
        self.move("iso", LOW)
        names = [self.rc.wait_for(lambda got: not got.name.startswith("set zoom")).name]
        self.assertEqual(names, ["set iso auto"])
        self.sticks.set("pan", CENTRE)

    def test_a_flipped_setting_is_saved_while_the_gimbal_moves_on(self) -> None:
        self.note_idle_threads()
        self.box.stand_ins.answer("mount", seconds=2)
        self.move("pan", HIGH, FULL)
        flags = ("osd_enabled", "internal_camera_enabled", "focus_assistant_enabled")
        self.sticks.set("osd", HIGH)
        wait_until(lambda: self.box.stand_ins.runs("mount"), "the save begins")
        for name in ("intcamera", "custom-focus-assistant"):
            self.sticks.set(name, HIGH)
        wait_until(lambda: [self.box.status[flag] for flag in flags] == [0, 1, 1], "they are flipped")
        self.assertEqual(self.box.stand_ins.runs("umount"), [])  # at once
        began, times = time.monotonic(), []
        while not self.box.stand_ins.runs("killall") and time.monotonic() - began < TIMEOUT:
            self.expect(FULL)
            times.append(time.monotonic())
        self.assertGreater(len(times), 30)
        self.assertLess(max(b - a for a, b in zip(times, times[1:])), 1.5)  # no mount waited for
        self.assertEqual(self.box.stand_ins.runs("killall"), ["killall -q raspivid"])
        self.finish_commands()
        self.assertLessEqual(len(self.box.stand_ins.runs("umount")), 2)  # one serves all that waited
        lines = MASTER.read_bytes().split(b"\r\n")
        self.assertIn(b"osd_enabled=0", lines)
        self.assertIn(b"internal_camera_enabled=1", lines)
