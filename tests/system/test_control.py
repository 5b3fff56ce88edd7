"""The control server: registration, removal, silence, commands, test datagrams, periodic records."""

import time
import socket

from box import (DOCS, LOOPBACK, TIMEOUT, BoxTestCase, Camera, app_protocol,
                 assert_documented, attitude_frame, command, load_json, send, wait_until)

RECORDS = load_json("app_records.json")
PICTURE = bytes.fromhex(  # 16x16, grey: SPS, PPS, and an IDR picture
    "000000016742c00ad91ec044000003000400000300c83c489920"
    "0000000168cb83cb20 0000016588840af26280017c")


class Registration(BoxTestCase):
    settings = "camera_iface=\n"

    def setUp(self) -> None:
        wait_until(lambda: self.box.status["app_client_count"] == 0, "all apps are gone")

    def test_nobody_fills_the_log(self) -> None:
        """What is left out is counted, and another sender's line is not."""
        log, start, address = self.box.log, len(self.box.log.lines), "127.0.0.9"
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as flood:
            flood.bind((address, 0))
            for _ in range(500):
                for datagram in (app_protocol.register(False), app_protocol.unregister()):
                    flood.sendto(datagram, (LOOPBACK, app_protocol.PORT))
        app = self.app()
        log.wait_for(f"client connected from {LOOPBACK}:{app.port}", start, whole=False)

        def told() -> tuple[int, int]:
            lines = [line for line in log.lines[start:] if address in line]
            notes = [line for line in lines if line.endswith(" more left out)")]
            left_out = sum(int(note.split("(")[1].split()[0]) for note in notes)
            return len(lines) - len(notes), left_out
        wait_until(lambda: sum(told()) == 1000, "the rest is told of")
        self.assertLess(told()[0], 100)

    def test_first_datagrams(self) -> None:
        for case in RECORDS["registration"]["cases"]:
            with self.subTest(case["note"]):
                app, start = self.silent_app(), len(self.box.log.lines)
                app.send(bytes.fromhex(case["in"]))
                if case["reply"] is None:
                    self.box.fence()
                    self.assertEqual(app.drain(), [])
                    mine = [line for line in self.box.log.lines if f":{app.port}" in line]
                    self.assertEqual(mine, [])
                    continue
                app.await_reply()
                self.assertEqual(app.sender, (LOOPBACK, 4242))
                kind = "(only data)" if case["data_only"] else " "
                self.box.log.wait_for(f"client connected from {LOOPBACK}:{app.port} {kind}", start)
                app.send(app_protocol.unregister())
                self.box.log.wait_for(f"client {LOOPBACK}:{app.port} removed", start)

    def test_repeated_registration_and_data_only_change(self) -> None:
        app, other, wanted = self.app(), self.app(), []
        for number, data_only in enumerate((False, True, True, False)):
            app.data_only = data_only
            app.register()
            self.box.fence()  # no other app may come: the box would look at all of them anew
            media = [(app_protocol.VIDEO, b"picture %d" % number),
                     (app_protocol.AUDIO, b"sound %d" % number)]
            for port, (kind, payload) in zip((5000, 4001), media):
                send(payload, port)
                self.assertEqual(other.payload(kind), payload)
            wanted += [] if data_only else media
            self.assertEqual(app.media(), wanted)
        told = [line for line in self.box.log.lines if f"from {LOOPBACK}:{app.port} " in line]
        self.assertEqual(len(told), 1)

    def test_the_eleventh_app_waits_for_a_free_place(self) -> None:
        for _ in range(9):
            self.app(data_only=True)
        leaving, late = self.silent_app(), self.silent_app()
        leaving.register()
        leaving.await_reply()
        late.register()
        self.box.fence()
        wait_until(lambda: self.box.status["app_client_count"] == 10, "ten apps are counted")
        self.assertEqual(late.drain(), [])
        leaving.send(app_protocol.unregister())
        self.box.log.wait_for(f"client {LOOPBACK}:{leaving.port} removed")
        leaving.drain()
        late.register()
        late.await_reply()
        late.message()
        self.assertEqual(leaving.drain(), [])
        late.send(app_protocol.unregister())

    def test_silence_removes_an_app(self) -> None:
        quiet, faithful = self.silent_app(), self.app()
        quiet.register()
        quiet.await_reply()
        registered = time.monotonic()
        lost = f"Client {LOOPBACK}:{quiet.port} lost"
        while lost not in self.box.log.lines and time.monotonic() < registered + TIMEOUT:
            faithful.message()
        took = time.monotonic() - registered
        self.assertTrue(5.0 < took < 9.5, took)
        self.assertNotIn(f"Client {LOOPBACK}:{faithful.port} lost", self.box.log.lines)
        wait_until(lambda: self.box.status["app_client_count"] == 1, "the count follows")
        faithful.message()
        quiet.drain()
        faithful.message(lambda message: message.payload[:1] == b"\x0b")
        self.assertEqual(quiet.drain(), [])


class Session(BoxTestCase):
    """What the page of examples tells from an app's first datagram to a picture."""

    settings = "camera_iface=\n"

    def test_session(self) -> None:
        send(command(cmd="time", value1="20240131235959"), app_protocol.PORT)  # the box sends none by itself now
        self.box.fence()
        camera, app = self.camera(), self.silent_app()
        app.socket.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        app.box_address = "127.255.255.255"
        app.register()
        app.await_reply()
        assert_documented("Session 1: an app looks for the box", sent=app_protocol.register(False), answer=b"B")
        app.box_address = app.sender[0]

        def told(start: str, kind: int = app_protocol.RECORD) -> bytes:
            """A message whose payload begins so, the sequence number left out."""
            found = app.message(lambda it: it.kind == kind and it.payload.hex().startswith(start))
            return app_protocol.build_message(found.payload, kind)
        for number, title, start in ((2, "the picture's link", "0501"), (3, "the camera's link", "0500"),
                                     (4, "what the box does", "06"), (5, "the version", "0b")):
            assert_documented(f"Session {number}: {title}", answer=told(start))
        app.register()
        turned = attitude_frame(100, -50, 25)
        camera.push(turned)
        assert_documented("Session 6: the gimbal has turned", camera=turned, answer=told("000c0110056402"))
        iso = command(cmd="iso", param="400")
        app.send(iso)
        assert_documented("Session 7: a command", sent=iso, camera=camera.next_frame().raw)
        for number, title, part in ((8, "a picture begins", PICTURE[:35]), (9, "and ends", PICTURE[35:])):
            send(part, 5000)
            assert_documented(f"Session {number}: {title}", video=part, answer=told(part.hex(), app_protocol.VIDEO))
        app.send(app_protocol.unregister())
        self.box.log.wait_for(f"client {LOOPBACK}:{app.port} removed")
        assert_documented("Session 10: the app leaves", sent=app_protocol.unregister(), log="client ... removed")


class TestDatagrams(BoxTestCase):
    def test_every_case(self) -> None:
        camera = self.camera()
        sequence = camera.stop_clock() + 1 & 0xFF
        cases = [*RECORDS["test_datagrams"]["cases"], *frame_cases()]
        for case in sorted(cases, key=lambda case: case["seq"]):
            with self.subTest(case["note"]):
                while sequence != case["seq"]:
                    send(b"[00,00", 4242)
                    camera.next_frame()
                    sequence = (sequence + 1) & 0xFF
                start = len(self.box.printed.lines)
                send(text_of(case), 4242)
                if case["sent"] is not None:
                    self.assertEqual(camera.next_frame().raw.hex(), case["sent"])
                sequence = case["seq_after"]
                if "printed" in case:
                    self.box.printed.wait_for(case["printed"].rstrip("\n"), start)
        send(b"[1,2,3,4,5,6,7,8,9", 4242)  # nothing of what came before was sent late
        self.assertEqual(camera.next_frame().raw[6], sequence)
        self.assert_examples(camera)

    def assert_examples(self, camera: Camera) -> None:
        """What comes of the datagrams that the document shows."""
        texts = (DOCS / "app-protocol.md").read_text().split("`")
        sent = [bytes.fromhex(text) for text in texts if text.startswith(("42 00 ", "5b 35 "))]
        app, player = self.silent_app(), self.receiver(6000)
        for datagram in sent[:6]:
            app.send(datagram)
        app.await_reply()
        self.box.log.wait_for(f"client {LOOPBACK}:{app.port} removed")
        self.box.fence()  # the player is switched on
        send(b"video", 5000)
        wait_until(lambda: self.box.stand_ins.runs("reboot"), "the command runs")
        assert_documented("00: registration, data only", sent=sent[0], answer=b"B")
        assert_documented("01: removal", sent=sent[1], log="client ... removed")
        assert_documented("02: video to the local player", sent=sent[2], player=player.receive())
        assert_documented("05: gimbal to an angle", sent=sent[3], camera=camera.next_frame().raw)
        assert_documented("[: a frame of your own", sent=sent[5], camera=camera.next_frame().raw)


def frame_cases() -> list[dict]:
    """Frames of every length with a wrong sequence number and check, and how the camera gets them."""
    return [{"note": row["name"], "seq": row["seq"], "seq_after": row["seq"] + 1 & 0xFF,
             "text": "[" + bytes.fromhex(row["before_stamping"]).hex(","), "sent": row["frame"]}
            for row in load_json("camera_frames.json")["frames"]]


def text_of(case: dict) -> bytes:
    if case["text"] is not None:
        return case["text"].encode()
    first, item, times, last = case["text_repeat"]
    return (first + item * times + last).encode()


class PeriodicRecords(BoxTestCase):
    settings = "hdmi_enabled=1\nrtmp_enabled=1\ntcp_enabled=1\nfocus_assistant_enabled=1\n"

    def test_order_and_content(self) -> None:
        app, other = self.app(), self.app(data_only=True)
        self.box.status["rc_receiver_state"] = 6
        self.box.status["camera_flag_1881"] = 3
        self.box.status["camera_flag_1882"] = 3
        app.record(bytes.fromhex(RECORDS["code11"]["payload"]))
        records = [app.message() for _ in range(5)]
        self.assertEqual([message.payload.hex() for message in records], [
            "05010000000000", "05000000000000", RECORDS["code9"][0]["payload"],
            "06c5020a010600", RECORDS["code11"]["payload"]])
        numbers = [message.sequence for message in records]
        self.assertEqual(numbers, list(range(numbers[0], numbers[0] + 5)))
        self.assertTrue(all(message.client_id == 0 for message in records))
        same = other.message(lambda message: message.sequence == numbers[2])
        self.assertEqual(same.payload, records[2].payload)
        ssid = bytes.fromhex(RECORDS["code9"][0]["record_ssid_field_40"])
        wait_until(lambda: self.box.mirror.raw[3131:3171] == ssid, "the record follows")

    def test_flags_follow_tools_and_status_block(self) -> None:
        app = self.app(data_only=True)
        self.box.status["rc_receiver_state"] = 255
        self.box.status["camera_flag_1881"] = 2
        self.box.status["camera_flag_1882"] = 2
        app.record(bytes.fromhex("0605010a01ff00"))
        self.box.stand_ins.answer("pidof", 0)
        app.record(bytes.fromhex("0607010a01ff00"))
        wait_until(lambda: self.box.mirror["apstate"] == 1, "the record follows")
        self.assertEqual(set(self.box.stand_ins.runs("pidof")), {"pidof hostapd"})
        self.box.stand_ins.answer("pidof", 1)
        app.record(bytes.fromhex("0605010a01ff00"))
