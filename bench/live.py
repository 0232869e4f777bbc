"""How soon pictures of the live view come.

usage: live.py PROGRAM SCENE [OPTION...]

The first picture of a program that starts is waited for in Chromium, and the first after moves of
the camera.
SPDX-License-Identifier: MIT"""
import random
import shutil
import statistics
import sys
import time

from selenium import webdriver

from live_side import SCENE, Folder, Live

OPTIONS = ("--seed", "1", *sys.argv[3:])
STARTS, MOVES = 5, 20

# The page measures by itself: from the move to a whole picture of another view that has been drawn.
MOVE = """const done = arguments[0], start = performance.now(), take = takeTile, paint = draw;
const before = live.status.generation;
let missing = Infinity;
takeTile = content => {
  take(content);
  const [, generation, scale, , , width, height] = new Uint32Array(content.buffer, 0, 7);
  if (generation <= before || missing <= 0) return;
  if (missing === Infinity)
    missing = Math.ceil(size.width / scale) * Math.ceil(size.height / scale);
  missing -= width * height;
};
draw = () => {
  paint();
  if (missing > 0) return;
  takeTile = take;
  draw = paint;
  done(performance.now() - start);
};
moveCamera('orbit', 0.1, 0);"""


def wait_for(page, condition):
    while not page.execute_script("return " + condition):
        time.sleep(0.002)


def with_live_view(act):
    folder = Folder()
    live = Live(folder, SCENE, *OPTIONS, "--output-dir", folder.folder)
    result = act(live)
    live.process.kill()
    live.process.wait()
    shutil.rmtree(folder.folder)
    return result


def time_start(page):
    start = time.monotonic()

    def see(live):
        page.get(live.url)
        wait_for(page, "pictures.has(0) && pictures.get(0).frames > 0")
        return 1000 * (time.monotonic() - start)
    return with_live_view(see)


def time_moves(page):
    def move(live):
        page.get(live.url)
        times, pauses = [], random.Random(1)
        for _ in range(MOVES):
            wait_for(page, "live.status && live.status.scale === 1 && live.status.frames > 0")
            time.sleep(pauses.uniform(0.0, 0.5))  # a move comes at any point of a frame
            times.append(page.execute_async_script(MOVE))
        return times
    return with_live_view(move)


def print_times(what, times):
    print(f"{what}: {statistics.median(times):.0f} ms, at most {max(times):.0f}", flush=True)


def main():
    options = webdriver.ChromeOptions()
    for word in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):
        options.add_argument(word)
    page = webdriver.Chrome(options=options)
    page.set_script_timeout(60)
    print_times("first picture in the browser after the start",
                [time_start(page) for _ in range(STARTS)])
    print_times("first picture after a move", time_moves(page))
    page.quit()


main()
