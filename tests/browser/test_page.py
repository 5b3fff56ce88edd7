"""The page in real browsers: what a person sees and does, and what reaches camera and box by it."""

import json
import signal
import time
import unittest

from surroundings import MASTER, PageTestCase, wait_until
from panel import PASSWORD
from webdriver import chromium, emulate, firefox, move

PHONES = ((360, 640), (640, 360))
VIEWS = ("gimbal-tab", "camera-tab", "state-tab", "settings", "rc-tab", "plots-tab")
HOSTILE = "<svg onload=hit()>"
FAR_OUT = """
    const width = document.documentElement.clientWidth;
    return [...document.querySelectorAll('body *')].filter((element) => {
      const box = element.getBoundingClientRect();
      return element.checkVisibility() && box.width && (box.right > width + 1 || box.left < -1);
    }).map((element) => element.outerHTML.slice(0, 80)).slice(0, 5);"""
COVERED = """
    return arguments[0].filter((id) => {
      const element = document.getElementById(id), box = element.getBoundingClientRect();
      const shows = (x, y) => element.contains(document.elementFromPoint(x, y));
      const inset = Math.min(14, box.width / 3, box.height / 3);
      return !box.width || ![box.top + inset, box.bottom - inset].every(
        (y) => [box.left + inset, box.right - inset].every((x) => shows(x, y)));
    });"""
SET_FIELD = """
    const field = document.querySelector(`#settings-view [name="${arguments[0]}"]`);
    field.closest('details')?.setAttribute('open', '');
    field.value = arguments[1];
    field.dispatchEvent(new Event('input', {bubbles: true}));
    field.dispatchEvent(new Event('change', {bubbles: true}));"""


class Page(PageTestCase):
    def await_drive(self) -> None:
        """The page is connected and the camera heard, so that controls are of use."""
        self.browser.await_value("link-camera", "connected")

    def test_picture_moves_and_sound_plays(self) -> None:
        for way in "mse", "webcodecs":
            with self.subTest(way):
                self.browser.open(f"{self.panel.place}?way={way}")
                self.assert_moves(self.browser, 30)
                self.assert_quick(0.25)
        self.browser.await_value("link-video", "connected")
        self.browser.click("#sound")
        self.browser.wait("return document.querySelector('audio')?.currentTime > 1", "sound plays")

    def test_record_shows_what_the_camera_does(self) -> None:
        self.await_drive()
        self.browser.await_value("record", "0")
        self.browser.click("#record")
        wait_until(lambda: self.camera.state("recording"), "the camera records")
        self.browser.await_value("record", "1")
        self.browser.wait("return Number(document.getElementById('recording-time').dataset.value) >= 2",
                          "the recording time goes on")
        self.browser.click("#record")
        wait_until(lambda: not self.camera.state("recording"), "the camera stops")
        self.browser.await_value("record", "0")

    def test_drag_moves_the_gimbal_until_it_is_let_go(self) -> None:
        self.await_drive()
        start = time.monotonic()
        self.browser.drag("#pad", 40, 0)
        wait_until(lambda: any(pan > 0 and tilt == 0 for _, pan, tilt in self.camera.speeds(start)), "pan")
        self.browser.let_go()
        self.await_rest(start)
        start = time.monotonic()
        self.browser.drag("#pad", 0, 40)
        wait_until(lambda: any(pan == 0 and tilt for _, pan, tilt in self.camera.speeds(start)), "tilt")
        self.browser.let_go()
        self.await_rest(start)

    def await_rest(self, start: float) -> None:
        def stopped() -> bool:
            speeds = self.camera.speeds(start)
            return bool(speeds) and speeds[-1][1:] == (0, 0)
        wait_until(stopped, "the gimbal stops")

    def test_of_two_browsers_the_second_is_told(self) -> None:
        self.await_drive()
        with chromium() as other:
            other.open(self.panel.place)
            other.await_value("link-camera", "connected")
            start = time.monotonic()
            x, y = self.browser.middle("#pad")
            self.browser.pointer(move(x, y), {"type": "pointerDown", "button": 0}, move(x + 40, y, 200),
                                 move(x, y, 200))  # at rest, still pressed
            self.await_rest(start)
            other.wait("return /another/i.test(document.getElementById('controls').textContent)",
                       "the other is told")
            other.drag("#pad", -40, 0)
            other.let_go()
            for _ in range(3):  # longer than a hold lasts that is not repeated
                other.drag("#pad", -40, 0)
                other.let_go()
            self.assertTrue(all(pan >= 0 for _, pan, _ in self.camera.speeds(start)))
            self.browser.let_go()
            other.wait("return document.getElementById('pad').getAttribute('aria-disabled') === 'false'",
                       "the other may")

    def press(self, view: str, text: str, answer: str) -> None:
        self.browser.click(f"#{view}-tab")
        self.browser.script("[...document.querySelectorAll(`#${arguments[0]}-view button`)]"
                            ".find((it) => it.textContent === arguments[1]).click()", view, text)
        self.browser.click(f"#ask [value={answer}]")

    def test_what_cannot_be_undone_asks_first(self) -> None:
        self.await_drive()
        formats = lambda: [name for _, name in self.camera.told if name == "format microSD card"]  # noqa: E731
        before = len(formats())
        self.press("camera", "Format card", "no")
        self.press("state", "Reboot box", "yes")
        wait_until(lambda: self.box.stand_ins.runs("reboot"), "the box reboots")
        self.assertEqual(len(formats()), before)
        self.press("camera", "Format card", "yes")
        wait_until(lambda: len(formats()) > before, "the card is formatted")

    def save_setting(self, name: str, value: str) -> None:
        self.browser.click("#settings")
        self.browser.wait("return document.querySelector('#settings-view [name=tcp_port]')?.value",
                          "the settings are there")
        self.browser.script(SET_FIELD, name, value)
        self.browser.click("#settings-save")

    def test_setting_is_in_the_file_and_a_wrong_one_is_not(self) -> None:
        self.save_setting("tcp_port", "8600")
        wait_until(lambda: MASTER.exists() and "tcp_port=8600" in MASTER.read_text(), "it is in the file")
        self.save_setting("tcp_port", "70000")
        self.browser.wait("return document.querySelector('#settings-view [name=tcp_port]')"
                          ".getAttribute('aria-invalid') === 'true'", "the wrong value is marked")
        self.box.fence()
        self.assertIn("tcp_port=8600", MASTER.read_text())

    def test_hostile_names_stay_text(self) -> None:
        name = json.dumps(HOSTILE)
        self.box.stand_ins.answer("wlanstatus", 0, f'{{"ssid":{name},"freq":5180,"quality":50,'
                                                   f'"quality_max":70,"signal":200}}')
        self.box.stand_ins.answer("iwlist", 0, f'ESSID:"{HOSTILE}"\n  ESSID:"a"b,<i id=hit>"\n')
        self.addCleanup(self.box.stand_ins.answer, "wlanstatus")
        self.browser.script("window.hits = 0; window.hit = () => { window.hits += 1; };")
        self.save_setting("wifi_ssid", HOSTILE)
        self.browser.script(
            "[...document.querySelectorAll('#views button')].filter((it) => /scan/i.test(it.textContent))"
            ".forEach((it) => it.click())")
        self.browser.wait("return document.body.textContent.includes('<i id=hit>')", "the scan shows")
        self.browser.click("#state-tab")
        self.browser.wait("return document.getElementById('state-view').textContent.includes(arguments[0])",
                          "the network's name shows as it is", HOSTILE)
        self.assertEqual(self.browser.script(
            "return [window.hits, document.querySelectorAll('[onload], #hit').length]"), [0, 0])

    def test_nothing_looks_alive_without_a_camera(self) -> None:
        self.await_drive()
        wait_until(lambda: self.browser.script("return document.getElementById('battery').dataset.value")
                   == str(int(self.camera.state("percent"))), "the battery is what the camera says")
        self.camera.go_silent(1000)
        self.addCleanup(self.camera.go_silent, 0)
        self.browser.await_value("link-camera", "disconnected")
        self.browser.wait("""
            return ['battery', 'recording-time', 'record'].every((id) => {
              const element = document.getElementById(id);
              return element.dataset.value === '' && element.matches('.stale');
            }) && document.getElementById('shot').textContent.trim() === 'Photo'
              && [...document.querySelectorAll('#overlay [id^=overlay-]:not(.line)')]
                .every((element) => element.hidden);""", "what the camera said looks old")
        self.camera.go_silent(0)
        self.browser.await_value("link-camera", "connected")

    def test_box_that_is_gone_is_told_and_found_again(self) -> None:
        self.await_drive()
        self.addCleanup(self.box.process.send_signal, signal.SIGCONT)
        self.box.process.send_signal(signal.SIGSTOP)
        self.browser.wait("return document.getElementById('link-camera').dataset.value !== 'connected'",
                          "the link is not said to be there")
        self.box.process.send_signal(signal.SIGCONT)
        self.browser.await_value("link-camera", "connected")
        self.assert_moves(self.browser)

    def test_phone_shows_picture_and_controls_without_scrolling(self) -> None:
        self.addCleanup(emulate, self.browser, 1280, 800)
        for width, height in PHONES:
            emulate(self.browser, width, height, phone=True)
            self.browser.open(self.panel.place)
            self.assert_moves(self.browser, 3)
            with self.subTest(f"{width}x{height}"):
                covered = self.browser.script(COVERED, ["screen", "pad", "record", "recentre", "zoom"])
                self.assertEqual(covered, [])
            for view in VIEWS:
                with self.subTest(f"{width}x{height}", view=view):
                    self.browser.click(f"#{view}")
                    self.assertEqual(self.browser.script(FAR_OUT), [])
            self.browser.wait("return document.querySelector('#plots-view canvas')", "the plots are drawn")

    def test_keys_move_the_gimbal(self) -> None:
        self.await_drive()
        start = time.monotonic()
        keys = [{"type": "keyDown", "value": "\ue014"}]  # right
        self.browser.click("#plots-tab")
        self.browser.script("document.activeElement.blur()")
        self.browser.call("PerformActions", {"actions": [{"type": "key", "id": "keys", "actions": keys}]})
        self.browser.let_go()
        self.assertEqual(self.camera.speeds(start), [])
        self.browser.click("#gimbal-tab")
        self.browser.script("document.getElementById('pad').focus()")
        self.browser.call("PerformActions", {"actions": [{"type": "key", "id": "keys", "actions": keys}]})
        wait_until(lambda: any(pan > 0 for _, pan, _ in self.camera.speeds(start)), "the gimbal pans")
        self.browser.let_go()
        self.await_rest(start)

    def tearDown(self) -> None:
        serious = [line for line in self.browser.console() if line.startswith("SEVERE")
                   and "401" not in line and "429" not in line]
        self.browser.lines.clear()
        self.assertEqual(serious, [])


class Login(PageTestCase):
    password = True

    def enter(self, password: str) -> None:
        self.browser.wait("return document.getElementById('login')?.getBoundingClientRect().width",
                          "the login shows")
        self.browser.script("document.getElementById('password').value = arguments[0];"
                            "document.getElementById('login').requestSubmit()", password)

    def told(self, words: str) -> None:
        self.browser.wait("return new RegExp(arguments[0], 'i').test(document.getElementById('login')"
                          ".textContent)", f"the page says {words!r}", words)

    def test_login(self) -> None:
        self.assertIsNone(self.counter())
        self.enter("no such password")
        self.told("wrong|not right|not the password")
        self.enter(PASSWORD)
        self.assert_moves(self.browser)
        self.browser.click("#state-tab")
        self.browser.click("#log-out")
        self.enter(PASSWORD)
        self.assert_moves(self.browser)
        self.browser.open(self.panel.place)
        self.assert_moves(self.browser)  # the session goes on
        self.browser.script("return fetch('logout', {method: 'POST'}).then(() => null)")
        self.browser.open(self.panel.place)

        def locked() -> bool:  # the answer to a try before may come behind
            self.enter("wrong password")
            return bool(self.browser.script("return /too many/i.test(document.getElementById('login').textContent)"))
        wait_until(locked, "the page says that it were too many")
        self.assertIsNone(self.counter())


class Firefox(PageTestCase):
    open_browser = staticmethod(firefox)

    def test_picture_and_record(self) -> None:
        self.browser.open(f"{self.panel.place}?way=mse")
        self.assert_moves(self.browser, 30)
        self.assert_quick(0.4)
        self.browser.await_value("link-camera", "connected")
        self.browser.click("#record")
        wait_until(lambda: self.camera.state("recording"), "the camera records")
        self.browser.await_value("record", "1")


if __name__ == "__main__":
    unittest.main()
