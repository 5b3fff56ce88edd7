"""Pictures of the page for its documentation: desktop and phone, light and dark, and each view of it."""

from __future__ import annotations

import contextlib
import sys
import time

from surroundings import LOOPBACK, RATE, ROOT, SOUND_PORT, VIDEO_PORT, Box, Camera, Panel, Sender, encode, tune
from webdriver import Browser, chromium, emulate

IMAGES = ROOT / "docs" / "images"
LARGEST, LARGEST_VIEW = 150_000, 100_000
SIZES = {"desktop": (1280, 800), "phone": (390, 844), "laptop": (1024, 640)}
SETTLE = 3  # seconds in which values come and plots grow
VIEWS = {"camera": ("camera-tab", "phone", "dark"), "state": ("state-tab", "phone", "light"),
         "settings": ("settings", "phone", "light"), "rc": ("rc-tab", "phone", "dark"),
         "plots": ("plots-tab", "laptop", "light")}
"""By name: its tab, and what it is looked at with."""
SETTINGS = """tcp_enabled=1
tcp_port=8555
rtsp_enabled=1
udp_enabled=1
udp_clients=192.168.4.20:7000
rc_input_enabled=1
rc_input_map=pan,tilt,record,zoom,iso,center
camera_iface=wifi0
camera_ssid="Camera"
"""


def hills(at: int, height: int, length: int) -> str:
    return f"gt(Y,{at}+{height}*sin(X/{length})+{height // 3}*sin(X/{length // 3 - 7}))"


def colour(sky: str, sun: int, far: int, near: int, grass: int) -> str:
    """Of one component, from the back to the front."""
    disc = "lt(hypot(X-880,Y-250),52)"
    return (f"if({hills(610, 24, 260)},{grass},if({hills(520, 45, 210)},{near},"
            f"if({hills(430, 60, 150)},{far},if({disc},{sun},{sky}))))")


def landscape() -> list[bytes]:
    """Hills in the evening, which swing a little as a camera on a gimbal does."""
    red, green, blue = (colour("110+Y/5", 255, 120, 66, 44), colour("150+Y/9", 236, 130, 92, 70),
                        colour("215-Y/9", 196, 160, 84, 46))
    return encode("-f", "lavfi", "-i", f"color=size=1320x740:rate={RATE}:duration=0.03,format=rgb24,"
                  f"geq=r='{red}':g='{green}':b='{blue}',loop=loop={4 * RATE - 1}:size=1,"
                  f"crop=1280:720:20+20*sin(n*PI/{2 * RATE}):10+10*cos(n*PI/{2 * RATE}),format=yuv420p")


def open_page(browser: Browser, address: str, size: tuple[int, int], name: str, scheme: str) -> None:
    emulate(browser, *size, scheme, phone=name == "phone")
    browser.open(address)
    browser.await_value("link-video", "connected")
    browser.await_value("record", "1")
    browser.wait("const picture = document.getElementById('picture');"
                 "return picture && Number(picture.dataset.shown) > 60", "the picture moves")


def keep(browser: Browser, name: str, largest: int) -> None:
    file = IMAGES / f"panel-{name}.png"
    browser.screenshot(file)
    size = file.stat().st_size
    print(f"{file.relative_to(ROOT)}: {size} bytes")
    if size > largest:
        raise SystemExit(f"more than {largest} bytes")


def take_view(browser: Browser, address: str, view: str) -> None:
    tab, name, scheme = VIEWS[view]
    open_page(browser, address, SIZES[name], name, scheme)
    browser.click(f"#{tab}")
    panel = f"document.getElementById('{tab}').getAttribute('aria-controls')"
    browser.wait(f"const view = document.getElementById({panel});"
                 "return !view.hidden && view.innerText.length > 40", f"the view {view} is filled")
    time.sleep(SETTLE)
    keep(browser, view, LARGEST_VIEW)


def main() -> int:
    IMAGES.mkdir(parents=True, exist_ok=True)
    with contextlib.ExitStack() as ends:
        box = ends.enter_context(Box(SETTINGS))
        box.stand_ins.answer("wlanstatus", 0, '{"ssid":"Camera","freq":5180,"quality":58,"quality_max":70,'
                                              '"signal":200}')
        camera = ends.enter_context(Camera())
        film = ends.enter_context(Sender(VIDEO_PORT, SOUND_PORT))
        film.film, film.tune = (landscape(), RATE), tune()
        panel = ends.enter_context(Panel("--box", LOOPBACK, page={}))
        assert camera.model
        camera.model.set("recording", "1")
        browser = ends.enter_context(chromium())
        for name in ("desktop", "phone"):
            for scheme in ("light", "dark"):
                open_page(browser, panel.place, SIZES[name], name, scheme)
                keep(browser, f"{name}-{scheme}", LARGEST)
        for view in VIEWS:
            take_view(browser, panel.place, view)
    return 0


if __name__ == "__main__":
    sys.exit(main())
