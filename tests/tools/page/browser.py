"""A browser without a window that opens pages, is moved by hands and shows what it shows.

Graphics are computed in software, so that every machine can do it.
"""

import io
import pathlib
import time

import numpy as np
from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains

CHROMIUM, DRIVER = "/usr/bin/chromium", "/usr/bin/chromedriver"
ARGUMENTS = ("--headless=new", "--no-sandbox", "--use-gl=angle", "--use-angle=swiftshader",
             "--enable-unsafe-swiftshader", "--hide-scrollbars", "--disable-gpu-watchdog")
LONGEST = 30  # seconds that a page may take


def is_there() -> bool:
    return all(pathlib.Path(path).exists() for path in (CHROMIUM, DRIVER))


class Browser:
    """Caller: closes it."""

    def __init__(self) -> None:
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for argument in ARGUMENTS:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service(DRIVER), options=options)
        self.opened = 0

    def close(self) -> None:
        self.driver.quit()

    def command(self, name: str, **values: object) -> dict:
        return self.driver.execute_cdp_cmd(name, values)

    def resize(self, width: int, height: int) -> None:
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height,
                     deviceScaleFactor=1, mobile=False)

    def prefer(self, scheme: str) -> None:
        self.command("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": scheme}])

    def open(self, page: pathlib.Path, fragment: str = "") -> None:
        # Another query makes the browser load the page even if only the fragment differs.
        self.opened += 1
        self.driver.get(f"{page.as_uri()}?{self.opened}{fragment and '#' + fragment}")
        self.wait("still", "failed")

    def follow(self, fragment: str) -> None:
        """A link within the page that is open."""
        self.script(f"location.hash = {fragment!r}")

    def script(self, text: str) -> object:
        return self.driver.execute_script(text)

    def wait(self, *states: str) -> None:
        """Until the picture is in one of the states."""
        end = time.monotonic() + LONGEST
        while (state := self.script("return document.documentElement.dataset.state")) not in states:
            assert time.monotonic() < end, f"the page is still {state}"
            time.sleep(0.01)

    def settle(self, *states: str) -> None:
        """Until the picture and the address have followed a change; the picture is still, or in
        one of the states."""
        time.sleep(0.3)
        self.wait(*(states or ("still",)))

    def complaints(self) -> list[str]:
        """What the page wrote to the console since the last call."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def fragment(self) -> str:
        return self.script("return location.hash.slice(1)")

    def text(self, name: str) -> str:
        return self.driver.find_element("id", name).text

    def canvas_size(self) -> tuple[int, int]:
        return tuple(self.script("const c = document.getElementById('canvas');"
                                 "return [c.width, c.height]"))

    def picture(self) -> np.ndarray:
        """The pixels of the canvas, without what lies over it."""
        over = "canvas.style.outline = '%s'; for (const id of ['captions', 'readout'])" \
               " document.getElementById(id).style.visibility = '%s'"
        self.script(over % ("none", "hidden"))
        shot = Image.open(io.BytesIO(self.driver.get_screenshot_as_png())).convert("RGB")
        self.script(over % ("", ""))
        width, height = self.canvas_size()
        return np.asarray(shot).astype(int)[:height, :width]

    def hands(self) -> ActionChains:
        return ActionChains(self.driver, duration=20)

    def at(self, x: int, y: int) -> ActionChains:
        """The mouse over a pixel of the canvas."""
        hands = self.hands()
        hands.w3c_actions.pointer_action.move_to_location(x, y)
        return hands

    def touch(self, *fingers: list[tuple[int, int]]) -> None:
        """Each finger goes along its places."""
        for step, places in enumerate(zip(*fingers)):
            points = [{"x": x, "y": y, "id": i} for i, (x, y) in enumerate(places)]
            self.command("Input.dispatchTouchEvent", type="touchMove" if step else "touchStart",
                         touchPoints=points)
        self.command("Input.dispatchTouchEvent", type="touchEnd", touchPoints=[])
