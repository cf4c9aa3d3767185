#!/usr/bin/env python3
"""The page that `ptc view` makes of clouds, opened by a browser from a file.

Needs the paths PTC, PCBAKE and DSPY_DRIVER in the environment.
"""

import json
import os
import pathlib
import re
import struct
import subprocess

import numpy as np
import pytest

try:
    from browser import Browser, is_there
except ImportError as missing:
    pytest.skip(f"pages are not tested: {missing}", allow_module_level=True)
if not is_there():
    pytest.skip("pages are not tested: no chromium with chromedriver", allow_module_level=True)

from PIL import Image

DARK = (0x28, 0x28, 0x28)  # the usual background of `ptc view`, and of the dark page

SIZE = (700, 400)

IDENTITY = [float(i % 5 == 0) for i in range(16)]
# Without perspective, mirrored, rolled and off the middle.
PARALLEL = [-0.6, 0.2, 0, 0, 0.2, 0.6, 0.1, 0, 0.1, 0.3, 0.2, 0, 0.05, -0.1, 0.4, 1]


def run(*arguments: object) -> str:
    # No configuration of the machine or its user applies.
    environment = os.environ | {"LUMRCONFIG": "/dev/null", "HOME": "/nonexistent"}
    done = subprocess.run([str(word) for word in arguments], capture_output=True, text=True,
                          env=environment, check=False)
    assert done.returncode == 0, f"{arguments}: {done.stdout}{done.stderr}"
    return done.stdout


def ptc(*arguments: object) -> str:
    return run(os.environ["PTC"], *arguments)


def page_of(cloud: pathlib.Path, *options: object) -> pathlib.Path:
    page = cloud.with_suffix(".html")
    ptc("view", cloud, "-o", page, *options)
    return page


def camera_of(cloud: pathlib.Path) -> list[float]:
    return json.loads(ptc("info", "--json", cloud))[0]["world_to_ndc"]["stored"]


def with_camera(cloud: pathlib.Path, matrix: list[float], path: pathlib.Path) -> pathlib.Path:
    """The cloud with another matrix, at `path`."""
    old, new = (struct.pack("<16f", *numbers) for numbers in (camera_of(cloud), matrix))
    assert cloud.read_bytes().count(old) == 1
    path.write_bytes(cloud.read_bytes().replace(old, new))
    return path


def drawn(cloud: pathlib.Path, size: tuple[int, int], *options: object) -> np.ndarray:
    """What `ptc view` draws."""
    picture = cloud.with_suffix(".png")
    ptc("view", cloud, "-o", picture, "--size", "%dx%d" % size, *options)
    return np.asarray(Image.open(picture).convert("RGB")).astype(int)


def expect_alike(page: np.ndarray, reference: np.ndarray) -> None:
    """Over the pixels that either picture covers: the mean difference of a byte, and the share of
    those that only one covers. Half floats and 16 bits of position leave edges a sample off."""
    covers = [(picture != DARK).any(axis=2) for picture in (page, reference)]
    either = covers[0] | covers[1]
    assert either.mean() > 0.05, "hardly anything is seen"
    assert np.abs(page - reference)[either].mean() < 0.5
    assert (covers[0] ^ covers[1])[either].mean() < 0.005


def is_changed(one: np.ndarray, other: np.ndarray) -> bool:
    return np.abs(one - other).mean() > 1


@pytest.fixture(scope="module")
def browser():
    started = Browser()
    started.resize(840, 480)
    started.prefer("dark")
    yield started
    started.close()


@pytest.fixture(autouse=True)
def no_complaint(browser):
    yield
    assert browser.complaints() == []


@pytest.fixture(scope="module")
def cloud(tmp_path_factory):
    """The sample room, with specks that are smaller than a pixel."""
    path = tmp_path_factory.mktemp("page") / "room.ptc"
    run(os.environ["PCBAKE"], "--driver", os.environ["DSPY_DRIVER"], "--output", path, "--quiet",
        "--density", 48, "--rays", 8, "--particles", 1000, "--eliminate-duplicates")
    return path


@pytest.fixture(scope="module")
def page(cloud):
    return page_of(cloud)


@pytest.mark.parametrize("matrix, scale", [(None, 1), (None, 0.05), (PARALLEL, 1), (IDENTITY, 1)],
                         ids=["own", "dots", "parallel", "fitted"])
def test_the_first_picture_is_that_of_ptc_view(browser, cloud, tmp_path, matrix, scale):
    path = with_camera(cloud, matrix or camera_of(cloud), tmp_path / "cloud.ptc")
    browser.open(page_of(path, "--point-scale", scale))
    reference = drawn(path, browser.canvas_size(), "--point-scale", scale)
    expect_alike(browser.picture(), reference)


@pytest.mark.parametrize("factor", ["1e25", "1e-25"])
def test_the_unit_of_the_world_does_not_matter(browser, cloud, tmp_path, factor):
    path = tmp_path / "scaled.ptc"
    ptc("edit", with_camera(cloud, IDENTITY, tmp_path / "cloud.ptc"), "-o", path,
        *(f"--set={name}={name}*{factor}" for name in ("x", "y", "z", "radius")))
    browser.open(page_of(path))
    expect_alike(browser.picture(), drawn(path, browser.canvas_size()))


@pytest.mark.parametrize("name", ["normal", "_occlusion", "_radiosity_g", "radius"])
def test_channels_look_as_in_ptc_view(browser, cloud, page, name):
    browser.open(page, f"show={name}")
    width, height = browser.canvas_size()
    legend = 0
    if name != "normal":
        # A legend is below the picture, and twice as high below one that is 1024 pixels wide.
        usual = cloud.with_suffix(".png")
        ptc("view", cloud, "-o", usual, "--variable", name)
        legend = (Image.open(usual).height - 1024) // 2
        assert legend > 20 and 400 <= width < 800
    assert browser.driver.find_element("id", "legend").is_displayed() == (legend > 0)
    reference = drawn(cloud, (width, height + legend), "--variable", name)
    expect_alike(browser.picture(), reference[:height])


def drag(button=0):
    def move(browser):
        hands = browser.at(200, 200)
        pointer = hands.w3c_actions.pointer_action
        pointer.pointer_down(button=button)
        pointer.move_to_location(290, 230)
        pointer.pointer_up(button=button)
        hands.perform()
    return move


def press(*keys):
    return lambda browser: browser.hands().send_keys(*keys).perform()


def wheel(browser):
    hands = browser.hands()
    hands.w3c_actions.wheel_action.scroll(x=300, y=300, delta_y=-300)
    hands.perform()


def choose(browser):
    browser.script("const s = document.getElementById('show'); s.selectedIndex = 0;"
                   "s.dispatchEvent(new Event('change'))")


def slide(name, value):
    return lambda browser: browser.script(
        f"const s = document.getElementById('{name}'); s.value = {value};"
        "s.dispatchEvent(new Event('input'))")


MOVES = {  # what hands do, and what of the address it changes
    "drag": (drag(), "camera"),
    "right drag": (drag(button=2), "camera"),
    "wheel": (wheel, "camera"),
    "finger": (lambda browser: browser.touch([(150, 150), (170, 160), (240, 170)]), "camera"),
    "two fingers": (lambda browser: browser.touch([(150, 150), (140, 140), (90, 120)],
                                                  [(250, 250), (260, 260), (320, 300)]), "camera"),
    "left": (press("\ue012"), "camera"),
    "plus": (press("+"), "camera"),
    "frame": (press("f"), "camera"),
    "third": (press("3"), "show"),
    "menu": (choose, "show"),
    "exposure": (slide("exposure", 2), "exposure"),
    "size": (slide("size", 1.5), "size"),
}


def test_hands_change_the_picture(browser, page):
    browser.open(page)
    first = browser.picture()
    for name, (move, part) in MOVES.items():
        move(browser)
        browser.settle("refining", "still")
        assert is_changed(browser.picture(), first), name
        assert re.match(rf"{part}=[^&]+$", browser.fragment()), name
        if part == "camera":
            press("r")(browser)
        else:
            browser.follow("")
        browser.settle("moving", "refining", "still")
        assert browser.fragment() == "", name
    browser.wait("still")
    assert np.array_equal(browser.picture(), first)


def test_a_link_keeps_everything(browser, page):
    browser.open(page)
    for name in ("exposure", "size", "drag", "wheel", "right drag"):
        MOVES[name][0](browser)
    browser.settle()
    changed, link = browser.picture(), browser.fragment()
    assert re.match(r"exposure=2&size=[\d.]+&camera=[-\w]+$", link)
    browser.open(page, link)
    assert np.abs(browser.picture() - changed).mean() < 0.1
    assert browser.fragment() == link
    browser.follow("range=0:0.5&show=_area")
    browser.settle()
    assert browser.text("ticks").split() == ["0", "0.25", "0.5"]


DAMAGED_LINKS = ["camera=AAAA&show=nothing&range=2:1&exposure=x&size=-3", "camera=" + "A" * 107,
                 "%E0%A4%A", "range=a:b", "camera=*&=&&size"]


def test_damaged_links_are_passed_over(browser, page):
    browser.open(page)
    first = browser.picture()
    for link in DAMAGED_LINKS:
        browser.follow(link)
        browser.settle()
        assert np.array_equal(browser.picture(), first), link


def test_the_range_of_values_is_edited_and_reset(browser, page):
    browser.open(page, "show=_occlusion")
    usual = browser.picture()
    field = browser.driver.find_element("id", "high")
    field.clear()
    field.send_keys("0.25\n")
    browser.settle()
    assert is_changed(browser.picture(), usual)
    assert browser.fragment() == "show=_occlusion&range=0:0.25"
    assert browser.text("ticks").split() == ["0", "0.125", "0.25"]
    browser.driver.find_element("id", "range-reset").click()
    browser.settle()
    assert np.array_equal(browser.picture(), usual)


def readout(browser) -> dict[str, list[float]]:
    rows = browser.script("return [...document.querySelectorAll('#readout:not([hidden]) tr')].map("
                          "row => [...row.children].map(cell => cell.textContent))")
    return {name: [float(value) for value in values] for name, *values in rows}


def test_the_point_under_the_mouse_is_told_and_zoomed_to(browser, cloud, page):
    browser.open(page)
    width, height = browser.canvas_size()
    half = min(width, height) / 2
    table = cloud.with_suffix(".csv")
    ptc("convert", cloud, table)
    names = table.read_text().split("\n", 1)[0].split(",")
    points = np.loadtxt(table, delimiter=",", skiprows=1)
    columns = lambda *wanted: points[:, [names.index(name) for name in wanted]]
    for x, y in ((150, 280), (250, 330), (300, 150)):
        browser.at(x, y).perform()
        browser.settle()
        told = readout(browser)
        distances = np.linalg.norm(columns("x", "y", "z") - told["position"], axis=1)
        nearest = int(np.argmin(distances))
        assert distances[nearest] < 1e-4
        rows = {"radius": ["radius"], "normal": ["nx", "ny", "nz"], "_occlusion": ["_occlusion"],
                "_radiosity": ["_radiosity_r", "_radiosity_g", "_radiosity_b"]}
        for name, parts in rows.items():
            assert told[name] == pytest.approx(columns(*parts)[nearest], rel=2e-3, abs=2e-4), name
        # Its disc covers the pixel.
        matrix = np.reshape(camera_of(cloud), (4, 4))
        at = np.append(told["position"], 1) @ matrix
        across, up = at[0] / at[3] * half + width / 2, height / 2 - at[1] / at[3] * half
        assert np.hypot(across - x, up - y) < told["radius"][0] * matrix[0, 0] / at[3] * half + 1.5
        for _ in range(3):
            hands = browser.hands()
            hands.w3c_actions.wheel_action.scroll(x=x, y=y, delta_y=-200)
            hands.perform()
        browser.settle()
        assert np.linalg.norm(np.subtract(readout(browser)["position"], told["position"])) < 0.05
        browser.hands().send_keys("r").perform()
        browser.settle()


def test_two_clouds_are_beside_each_other_under_one_camera(browser, cloud, tmp_path):
    other = tmp_path / "<img src=x onerror=alert(1)>&amp;.ptc"
    ptc("edit", cloud, "-o", other, "--drop", "_occlusion", "--set", "_radiosity.r=0")
    browser.open(page_of(cloud, "--compare", other))
    assert browser.text("captions").split("\n") == [cloud.name, other.name]
    for move in (lambda: None, lambda: browser.resize(400, 700)):
        move()
        browser.settle()
        picture, (width, height) = browser.picture(), browser.canvas_size()
        halves = np.array_split(picture, 2, axis=1 if width >= height else 0)
        for half, path in zip(halves, (cloud, other)):
            expect_alike(half, drawn(path, half.shape[1::-1]))
    browser.resize(*SIZE)
    browser.open(cloud.with_suffix(".html"), "show=_occlusion")
    assert f"{other.name} – has no" in browser.text("captions")


def test_the_theme_follows_the_browser_and_the_button(browser, page):
    browser.prefer("light")
    browser.open(page)
    assert browser.picture()[2, 2].min() > 0xE0
    browser.driver.find_element("id", "theme").click()
    browser.settle()
    assert tuple(browser.picture()[2, 2]) == DARK
    browser.prefer("dark")


def test_keys_are_listed_and_controls_can_be_reached(browser, page):
    browser.open(page)
    press("?")(browser)
    assert "frame all points" in browser.text("help")
    press("\ue00c")(browser)
    assert browser.text("help") == ""
    reached = []
    for _ in range(12):
        press("\ue004")(browser)
        reached.append(browser.script("return document.activeElement.id"))
    assert {"canvas", "show", "exposure", "size", "frame", "home", "copy", "theme",
            "keys"} <= set(reached)
    nameless = browser.script("return [...document.querySelectorAll('button, input, select')].filter("
                              "e => !(e.textContent.trim() || e.ariaLabel || e.labels?.length))"
                              ".length")
    assert nameless == 0


def altered(page: pathlib.Path, change) -> str:
    text = page.read_text()
    begin = text.index('class="points-0">') + len('class="points-0">')
    end = text.index("</script>", begin)
    return text[:begin] + change(text[begin:end].strip()) + text[end:]


DAMAGES = {
    "cut": lambda text: text[:len(text) // 2 // 4 * 4],
    "odd": lambda text: text[:-3],
    "letters": lambda text: text[:400] + "!*!*" + text[404:],
    "bytes": lambda text: text[:4000] + "AAAAAAAA" + text[4008:],
    "empty": lambda text: "",
}


@pytest.mark.parametrize("damage", DAMAGES)
def test_damage_is_told(browser, page, tmp_path, damage):
    path = tmp_path / "damaged.html"
    path.write_text(altered(page, DAMAGES[damage]))
    browser.open(path)
    assert browser.text("message").startswith("This page is damaged: ")


def test_a_page_that_is_cut_off_says_so(browser, page, tmp_path):
    path = tmp_path / "cut.html"
    text = page.read_text()
    begin = text.index('class="points-0"')
    for end in (text.index('id="page"'), begin - 100, begin + 1000, begin + 1001):
        path.write_text(text[:end])
        browser.open(path)
        assert browser.text("message").startswith("This page is damaged: ")


def test_wrong_sizes_are_told(browser, page, tmp_path):
    path = tmp_path / "damaged.html"
    text = page.read_text()
    for number in (r'("shown":\s*)\d+', r'("bytes":\s*)\d+'):
        path.write_text(re.sub(number, r"\g<1>99", text, count=1))
        browser.open(path)
        assert browser.text("message").startswith("This page is damaged: ")


def test_a_browser_without_webgl_is_told_so(browser, page):
    added = browser.command("Page.addScriptToEvaluateOnNewDocument",
                            source="HTMLCanvasElement.prototype.getContext = () => null")
    browser.open(page)
    assert "needs WebGL 2" in browser.text("message")
    browser.command("Page.removeScriptToEvaluateOnNewDocument", identifier=added["identifier"])
