"""The camera link: first contact, silence, change of port, the camera's clock, and its Wi-Fi."""

import datetime
import struct
import unittest

from box import IP_FORWARD, BoxTestCase, Camera, app_protocol, load_json, wait_until

RECORDS = load_json("app_records.json")


class Link(BoxTestCase):
    settings = "camera_iface=wlan1\n"

    def link_bytes(self) -> tuple[int, int, int]:
        block = self.box.status
        return block["link_byte_129"], block["link_byte_133"], block["link_byte_134"]

    def test_contact_port_change_and_silence(self) -> None:
        wifi = next(case for case in RECORDS["code9"] if case["note"] == "usual")
        self.box.stand_ins.answer("wlanstatus", 0, "no JSON\n" + "\n".join(wifi["wlanstatus_lines"]))
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
            app.send(app_protocol.command('{"cmd":"iso","param":"100"}'))
            camera.wait_for(lambda got: got.frame.command == (0x02, 0x2A))  # at the new port
            start = len(log.lines)
        log.wait_for("data disconnected", start)
        wait_until(lambda: IP_FORWARD.read_text() == "1\n", "forwarding comes back")
        app.record(bytes.fromhex("05000000000000"))
        app.record(bytes.fromhex(wifi["payload"]))
        self.assertEqual(set(self.box.stand_ins.runs("wlanstatus")), {"wlanstatus wlan1"})
        self.assertEqual(self.link_bytes(), (0, 0, 0))
        self.assertEqual(self.box.status["telemetry_status"], "telemetry disconnected")


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


if __name__ == "__main__":
    unittest.main()
