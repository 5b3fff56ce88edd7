"""What moves is stopped, whatever becomes of the browser, the network or the panel."""

from __future__ import annotations

import os
import select
import signal
import socket
import threading
import time
import unittest
from typing import Callable

from box import LOOPBACK, BoxTestCase, wait_until
from fieldrelaybox.app_protocol import PORT
from panel import PROGRAM, Live, Panel

MOVE = {"hold": "gimbal", "a": 300, "b": 0}
STOP_S = 0.5


class Wire:
    """Between panel and box, and cut at will. A context. `moves`: when the panel sent which speed."""

    def __init__(self) -> None:
        self.is_cut, self.moves = False, list[tuple[float, bool]]()
        self._panel, self._box = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
        self._panel.bind((LOOPBACK, 0))
        self._box.connect((LOOPBACK, PORT))
        self.place = f"{LOOPBACK}:{self._panel.getsockname()[1]}"
        self._ending = False
        self._thread = threading.Thread(target=self._run)

    def __enter__(self) -> "Wire":
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._ending = True
        self._thread.join()
        self._panel.close()
        self._box.close()

    def _run(self) -> None:
        app = None
        while not self._ending:
            for side in select.select([self._panel, self._box], [], [], 0.1)[0]:
                data, sender = side.recvfrom(65536)
                if side is self._panel:
                    app = sender
                    if b'"moverel"' in data:
                        self.moves.append((time.monotonic(), b'"300"' in data))
                if not self.is_cut and side is self._panel:
                    self._box.send(data)
                elif not self.is_cut and app:
                    self._panel.sendto(data, app)


@unittest.skipUnless(PROGRAM.exists(), "the panel was not built")
class Holds(BoxTestCase):
    def setUp(self) -> None:
        self.app()  # so that the box does not stop by itself when the panel is gone
        self.gimbal, self.wire = self.camera(), self.enterContext(Wire())
        self.panel = Panel("--box", self.wire.place)
        self.environment = {**os.environ, "RUNTIME_DIRECTORY": str(self.panel.directory)}
        self.enterContext(self.panel.start(env=self.environment))

    def turn(self) -> tuple[Live, float]:
        """A browser that turned the gimbal, and when it said so last."""
        live = self.enterContext(Live(self.panel))
        live.panel_state(lambda state: state["heard"])
        said, before = 0.0, len(self.gimbal.seen)

        def turns() -> bool:
            nonlocal said
            said = time.monotonic()
            live.send(MOVE)
            time.sleep(0.1)
            return self.speeds(before)[-1:] == [True]
        wait_until(turns, "the gimbal turns")
        return live, said

    def speeds(self, since: int) -> list[bool]:
        return ["300" in seen.name for seen in self.gimbal.seen[since:] if "gimbal speed" in seen.name]

    def await_rest(self) -> None:
        def rests() -> bool:
            before = len(self.gimbal.seen)
            time.sleep(0.3)  # a turn is repeated every 20 ms
            return True not in self.speeds(before)
        wait_until(rests, "the gimbal rests")

    def stop_time(self, end: Callable[[Live], object]) -> float:
        live, said = self.turn()
        end(live)
        wait_until(lambda: not self.wire.moves[-1][1], "the stop")
        self.await_rest()
        return next(at for at, turns in self.wire.moves if at > said and not turns) - said

    def test_a_browser_that_is_gone_or_says_nothing_any_more(self) -> None:
        for end in (lambda live: live.socket.close(), lambda live: None):
            times = [self.stop_time(end) for _ in range(3)]  # the machine may be late, the panel never is
            self.assertLess(min(times), STOP_S, times)

    def test_a_lost_stop_is_sent_again(self) -> None:
        for outage in (0.25, 2):
            live, _ = self.turn()
            self.wire.is_cut = True
            live.send({"release": "gimbal"})
            wait_until(lambda: not self.wire.moves[-1][1], "a stop that is lost")
            time.sleep(outage)
            self.wire.is_cut = False
            self.await_rest()

    def test_the_end_of_the_panel(self) -> None:
        self.turn()
        self.panel.process.send_signal(signal.SIGTERM)
        self.await_rest()
        self.assertFalse(self.wire.moves[-1][1])

    def test_a_panel_that_is_killed_and_started_again(self) -> None:
        self.turn()
        self.panel.process.kill()
        self.panel.process.wait()
        self.panel.log.join()
        self.panel.printed.join()
        stops = len(self.wire.moves)
        self.panel.start(env=self.environment)
        self.await_rest()
        wait_until(lambda: not (self.panel.directory / "moving").exists(), "the mark is gone")
        self.assertGreater(len(self.wire.moves), stops)
        self.assertFalse(self.wire.moves[-1][1])


if __name__ == "__main__":
    unittest.main()
