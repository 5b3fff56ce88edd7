"""The camera link: first contact, silence, change of port, the camera's clock, and its Wi-Fi."""

import datetime
import struct
import time

from box import (IP_FORWARD, BoxTestCase, Camera, app_protocol, command, counter_22_frame, load_json,
                 send, wait_until, waiting_bytes)

RECORDS = load_json("app_records.json")


class Link(BoxTestCase):
    settings = "camera_iface=wlan1\n"

    def link_bytes(self) -> tuple[int, int, int]:
        block = self.box.status
        return block["link_byte_129"], block["link_byte_133"], block["link_byte_134"]

    def test_contact_port_change_and_silence(self) -> None:
        wifi = next(case for case in RECORDS["code9"] if case["note"] == "usual")
        lines = ["no JSON", "[1,2]", "", *wifi["wlanstatus_lines"], '{"ssid":5,"freq":"x"}']
        self.box.stand_ins.answer("wlanstatus", 0, "\n".join(lines))
        app, log = self.app(data_only=True), self.box.log
        IP_FORWARD.write_text("5")
        app.record(bytes.fromhex("05000000000000"))
        self.assertEqual(self.box.status["telemetry_status"], "telemetry disconnected")
        for offset in (129, 1881, 1882):
            self.box.status.raw[offset] = 1
        with Camera(self.box) as camera:
            camera.connect()
            self.assertEqual(self.link_bytes(), (0, 1, 1))
            self.assertEqual((self.box.status["camera_flag_1881"], self.box.status["camera_flag_1882"]), (0, 0))
            self.assertEqual((self.box.status["focus_point_x"], self.box.status["focus_point_y"]), (0.5, 0.5))
            wait_until(lambda: IP_FORWARD.read_text() == "0\n", "forwarding goes off")
            app.record(bytes.fromhex("05000200000000"))
            self.assertEqual(self.box.status["telemetry_status"], "")
            app.record(bytes.fromhex("06110100000000"))  # telemetry, too, reports video
            camera.stop_clock()
            for offset in (1881, 1882):
                self.box.status.raw[offset] = 1
            start = len(log.lines)
            camera.change_port()
            log.wait_for("data disconnected", start)
            wait_until(lambda: not self.box.status["camera_flag_1881"], "the flags are cleared")
            wait_until(lambda: self.link_bytes() == (0, 1, 1), "the link is up again")
            app.drain()
            app.record(bytes.fromhex("05000200000000"))
            app.command(cmd="iso", param="100")
            camera.wait_for(lambda got: got.frame.command == (0x02, 0x2A))  # at the new port
            start = len(log.lines)
        log.wait_for("data disconnected", start)
        wait_until(lambda: IP_FORWARD.read_text() == "1\n", "forwarding comes back")
        app.record(bytes.fromhex("05000000000000"))
        app.record(bytes.fromhex(wifi["payload"]))
        self.assertEqual(set(self.box.stand_ins.runs("wlanstatus")), {"wlanstatus wlan1"})
        self.assertEqual(self.link_bytes(), (0, 0, 0))
        self.assertEqual(self.box.status["telemetry_status"], "telemetry disconnected")

    def lose(self, camera: Camera) -> None:
        start = len(self.box.log.lines)
        camera.go_silent(60)
        self.box.log.wait_for("data disconnected", start)
        wait_until(lambda: self.box.status["telemetry_status"], "it is noticed")

    def disable(self, camera: Camera) -> None:
        for word, flag in (("disable", 1), ("enable", 0)):
            send(command(cmd="camera", param=word), app_protocol.PORT)
            wait_until(lambda: self.box.status["camera_disabled"] == flag, word)
            for number in range(50 * flag):
                camera.push(counter_22_frame(number))
            wait_until(lambda: not waiting_bytes()[5001], "they are passed over", 1)

    def test_the_first_datagram_after_a_loss_connects(self) -> None:
        camera = self.camera(quiet=True)
        for number, loss in enumerate((self.lose, Camera.change_port, self.disable), 1001):
            with self.subTest(loss.__name__):
                loss(camera)
                camera.go_silent(0)
                camera.push(counter_22_frame(number))
                wait_until(lambda: self.box.status["camera_value_1648"] == number, "it is read", 1)
                self.assertEqual(self.link_bytes(), (0, 1, 1))

    def test_a_stop_reaches_a_gimbal_that_was_away_and_no_old_move_does(self) -> None:
        def relative(speed: int) -> bytes:
            return command(cmd="position", param="moverel", value1=str(speed), value2="0")

        def live(speed: int) -> bytes:
            return app_protocol.gimbal_motion(1, speed, 0)
        self.note_idle_threads()
        app, camera = self.app(data_only=True), self.camera()
        for order, before_it_is_noticed in ((relative, True), (live, True), (live, False),
                                            (relative, False)):
            with self.subTest(order.__name__, before_it_is_noticed=before_it_is_noticed):
                app.send(order(30))
                camera.wait_for(lambda got: got.name == "gimbal speed 30,0")
                if before_it_is_noticed:
                    camera.go_silent(60)
                    app.send(order(0))
                self.lose(camera)
                for speed in ([] if before_it_is_noticed else [0]) + [44, 44]:
                    app.send(order(speed))
                    self.finish_commands()
                camera.take()
                back, start = time.monotonic(), len(camera.seen)
                camera.go_silent(0)
                camera.wait_for(lambda got: got.name == "gimbal speed 0,0")
                self.assertLess(time.monotonic() - back, 1)
                camera.fence()  # the old move would follow
                app.send(order(44))
                camera.wait_for(lambda got: got.name == "gimbal speed 44,0")
                moved = [got.name for got in camera.seen[start:] if got.name.startswith("gimbal")]
                self.assertEqual(moved.index("gimbal speed 44,0"), 1)
                app.send(order(0))
                camera.wait_for(lambda got: got.name == "gimbal speed 0,0")
        camera.fence()
        camera.go_silent(60)  # too short to be noticed
        app.send(order(44))
        app.send(order(0))
        camera.wait_for(lambda got: got.name == "gimbal speed 0,0")  # as if it were lost
        for again in (lambda: app.send(order(0)), lambda: camera.go_silent(0)):
            time.sleep(0.4)
            camera.take()
            again()
            camera.wait_for(lambda got: got.name == "gimbal speed 0,0")


class Clock(BoxTestCase):
    def test_the_box_sets_the_clock_of_a_connected_camera(self) -> None:
        with Camera(self.box) as camera:
            camera.connect()
            frame = camera.wait_for(lambda got: got.frame.command == (0x02, 0x54)).frame
            self.assertEqual(frame.faults, ())
            year, *rest = struct.unpack_from("<H5B", frame.payload)
            told = datetime.datetime(year, *rest)
            self.assertLess(abs(datetime.datetime.now() - told), datetime.timedelta(seconds=5))
            camera.stop_clock()
            camera.take()
            self.box.await_pass()
            self.assertEqual(camera.take(), [])
