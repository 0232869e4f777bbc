"""The live view in headless Chromium. BROWSER_SHOT names a file for a picture of the page.
SPDX-License-Identifier: MIT"""
import os
import shutil
import signal
import unittest

from live import Live
from program import CAMERA, EXAMPLES, ProgramTest, heavy, write_scene

try:
    from selenium import webdriver
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    webdriver = None

MISSING = [name for name, found in (("python3-selenium", webdriver),
                                    ("chromium", shutil.which("chromium")),
                                    ("chromium-driver", shutil.which("chromedriver"))) if not found]
ENDLESS = {"camera/camera.mh": CAMERA.replace("sample 6", "sample 65535")}
SHOWN = """const p = pictures.get(view.shown);
const data = p.context.getImageData(0, 0, p.width, p.height).data;
return Array.from(data).filter((_, i) => i % 4 < 3)"""


def setUpModule():
    if MISSING:
        raise unittest.SkipTest("needs " + ", ".join(MISSING))


@heavy("browser")
class Browser(ProgramTest):
    def setUp(self):
        super().setUp()
        options = webdriver.ChromeOptions()
        for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--window-size=1280,860"):
            options.add_argument(word)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.page = webdriver.Chrome(options=options)
        self.addCleanup(self.page.quit)

    def until(self, condition, seconds=60):
        return WebDriverWait(self.page, seconds, 0.05).until(lambda page: condition())

    def js(self, text):
        return self.page.execute_script(text)

    def part(self, name):
        return self.page.find_element(By.ID, name)

    def set_value(self, name, value):
        self.js(f"part('{name}').value = '{value}'; "
                f"part('{name}').dispatchEvent(new Event('input'));")

    def bytes_written(self, source, *options):
        self.run_here("convert", source, "shown.ppm", *options)
        content = self.bytes_of("shown.ppm")
        return content[-150 * 100 * 3:]

    def assert_shows(self, expected):
        shown = self.js(SHOWN)
        self.assertEqual(len(shown), len(expected))
        worst = max(abs(a - b) for a, b in zip(shown, expected))
        self.assertLessEqual(worst, 1)

    def drag(self, x, y):
        ActionChains(self.page).move_to_element_with_offset(self.part("picture"), -40, -30) \
            .click_and_hold().move_by_offset(x / 2, y / 2).move_by_offset(x / 2, y / 2) \
            .release().perform()

    def assert_all_controls_have_names(self):
        controls = ("button", "slider", "combobox", "radio", "spinbutton", "image", "progressbar",
                    "group", "radiogroup", "table")
        tree = self.page.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        found = [(node["role"]["value"], node.get("name", {}).get("value", "")) for node in tree
                 if not node.get("ignored") and node.get("role", {}).get("value") in controls]
        self.assertGreater(len(found), 25)
        self.assertEqual([control for control in found if not control[1]], [])

    def no_complaints(self):
        faults = [line for line in self.page.get_log("browser") if line["level"] == "SEVERE"]
        self.assertEqual(faults, [])

    def test_the_page_shows_what_the_files_hold(self):
        live = Live(self, "scene", "--seed", 1, "--threads", 1, "--resolution", "150x100",
                    "--beauty", "b.pfm")
        self.page.get(live.url)
        self.until(lambda: self.part("stage").text == "done")
        self.assertNotIn("token", self.page.current_url)
        self.until(lambda: self.js("return pictures.get(0).frames") == 6)
        self.until(lambda: self.js("return live.status.message") != "")
        self.assert_shows(self.bytes_written("b.pfm"))
        self.set_value("exposure", 1)
        self.set_value("curve", "filmic")
        self.until(lambda: self.part("exposure-text").text == "1 stops")
        self.js("changeTone.waits || updateTone(); pictures.get(0).paintAll()")
        self.assert_shows(self.bytes_written("b.pfm", "--exposure", 1, "--tonemap", "filmic"))
        self.assertRegex(self.part("noise").text, r"^[0-9.e+]+ %$")
        self.assert_all_controls_have_names()
        self.js("part('neutral').click()")
        self.page.find_elements(By.CSS_SELECTOR, "#images input")[1].click()
        self.until(lambda: self.js(
            "return view.shown === 1 && pictures.has(1) && pictures.get(1).frames"))
        self.js("updateTone(); pictures.get(1).paintAll()")
        self.assert_shows(self.bytes_written("albedo.exr"))
        ActionChains(self.page).move_to_element(self.part("picture")).perform()
        self.until(lambda: self.page.find_elements(By.CSS_SELECTOR, "#values tr"))
        self.page.set_window_size(500, 800)  # the narrowest window there is
        self.js("document.body.style.maxWidth = '360px'")
        self.assertLessEqual(self.js("return document.documentElement.scrollWidth - innerWidth"), 0)
        self.no_complaints()

    def test_the_page_turns_the_camera_and_stops(self):
        write_scene(self.scene, ENDLESS)
        live = Live(self, "scene", "--threads", 1, "--resolution", "300x200")
        self.page.get(live.url)
        self.until(lambda: self.js("return live.status && live.status.frames") > 1)
        first = self.part("camera").text
        self.js("chooseTool('orbit')")
        self.drag(60, 20)
        self.until(lambda: self.part("camera").text != first)
        turned = self.part("camera").text
        self.part("picture").send_keys("p", "\ue014")  # arrow to the right
        self.until(lambda: self.part("camera").text != turned)
        self.js("chooseTool('region')")
        self.drag(80, 60)
        self.until(lambda: self.part("region").text.startswith("columns"))
        self.part("picture").send_keys("s")
        self.until(lambda: self.part("stage").text == "stopped"
                   and self.part("stop").text == "Go on")
        self.part("stop").click()
        self.until(lambda: self.part("stage").text.startswith("rendering"))
        self.part("picture").send_keys("\ue011")  # Home
        self.until(lambda: self.part("camera").text == first)
        self.no_complaints()

    def test_pages_come_and_go_and_the_server_may_too(self):
        write_scene(self.scene, ENDLESS)
        serve = ("scene", "--threads", 1, "--token-file", "token")
        live = Live(self, *serve)
        self.page.get(live.url)
        self.page.switch_to.new_window("tab")
        self.page.get(live.url)
        self.until(lambda: self.js("return pictures.size && pictures.get(0).frames") > 0)
        self.page.close()
        self.page.switch_to.window(self.page.window_handles[0])
        frames = self.js("return live.status.frames")
        self.until(lambda: self.js("return live.status.frames") > frames)
        live.end(signal.SIGKILL)
        self.until(lambda: "lost" in self.part("alarm").text)
        again = Live(self, *serve, "--port", live.port)
        self.assertEqual(again.url, live.url)
        self.until(lambda: not self.part("alarm").is_displayed())
        self.until(lambda: self.js("return live.status.stage") == "rendering")

    def test_pictures_of_a_folder_are_compared(self):
        for seed, name in ((1, "a.pfm"), (2, "b.pfm")):
            self.run_here("scene", "--seed", seed, "--resolution", "150x100", "--beauty", name)
        live = Live(self, ".")
        self.page.get(live.url)
        self.until(lambda: self.js("return live.names.length") == 3)
        # before the first is there
        self.js("compare.other = part('other').value = '2'; showImages()")
        self.until(lambda: len(self.page.find_elements(By.CSS_SELECTOR, "#images canvas")) == 3)
        self.until(lambda: self.js("return pictures.has(0)"))
        self.assert_shows(self.bytes_written("a.pfm"))
        self.until(lambda: "rmse" in self.part("difference").text)
        rmse = float(self.part("difference").text.split()[1].rstrip(","))
        measured = float(self.run_here("diff", "a.pfm", "b.pfm").stdout.split()[1])
        self.assertAlmostEqual(rmse, measured, delta=0.01 * measured)
        self.assertFalse(self.part("camera").is_displayed())
        self.no_complaints()

    def test_a_picture_of_the_page(self):
        live = Live(self, os.path.join(EXAMPLES, "cornell"), "--resolution", "320x320",
                    "--output-dir", self.folder)
        self.page.get(live.url)
        self.until(lambda: self.js("return live.status && live.status.stage") == "done", 120)
        self.until(lambda: self.js("return pictures.get(0).frames") == 16)
        self.js("compare.other = part('other').value = '1'; showImages(); lookAt(200, 250)")
        self.until(lambda: self.js("return pictures.has(1) && pictures.get(1).frames") == 16)
        self.until(lambda: self.page.find_elements(By.CSS_SELECTOR, "#values tr"))
        self.js("drawHistogram(); showDifference(); draw()")
        if "BROWSER_SHOT" in os.environ:
            self.page.save_screenshot(os.environ["BROWSER_SHOT"])
        self.no_complaints()


if __name__ == "__main__":
    unittest.main()
