"""The live view as a client sees it that is no browser: who may ask for what, and what comes back.
SPDX-License-Identifier: MIT"""
import array
import json
import os
import socket
import threading
import time
import unittest

from live import Live, Stream
from program import CAMERA, LIGHT, SANITIZED, ProgramTest, write_scene

ENDLESS = {"camera/camera.mh": CAMERA.replace("sample 6", "sample 65535")}


def floats_of_pfm(content):
    """Width, height, and rows from the top: the file begins with the lowest."""
    _, size, scale, pixels = content.split(b"\n", 3)
    width, height = map(int, size.split())
    values = array.array("f", pixels)
    if float(scale) > 0:
        values.byteswap()
    rows = [values[3 * width * y:3 * width * (y + 1)] for y in reversed(range(height))]
    return [width, height], array.array("f", b"".join(row.tobytes() for row in rows))


class Refusals(ProgramTest):
    def setUp(self):
        super().setUp()
        write_scene(self.scene, ENDLESS)
        self.live = Live(self, "scene", "--threads", 1)

    def test_nothing_without_the_token_or_from_another_site(self):
        live, cookie, own = self.live, self.live.cookie, f"127.0.0.1:{self.live.port}"
        name = cookie.split("=")[0]
        for expected, headers in (
                (401, {}), (401, {"Cookie": name + "=" + "0" * 32}), (401, {"Cookie": name + "="}),
                (401, {"Cookie": cookie[:-1]}), (401, {"Cookie": cookie + "0"}),
                (401, {"Cookie": cookie.replace(name, "other")}), (200, {"Cookie": cookie}),
                (200, {"Cookie": "a=b; " + cookie}),
                (403, {"Cookie": cookie, "Host": "evil.example"}),
                (403, {"Cookie": cookie, "Host": "127.0.0.1.evil.example"}),
                (200, {"Cookie": cookie, "Host": f"localhost:{live.port}"}),
                (403, {"Cookie": cookie, "Origin": "http://evil.example"}),
                (403, {"Cookie": cookie, "Origin": "null"}),
                (403, {"Cookie": cookie, "Origin": "https://" + own}),
                (200, {"Cookie": cookie, "Origin": "http://" + own}),
                (403, {"Cookie": cookie, "Sec_Fetch_Site": "cross-site"})):
            with self.subTest(headers):
                self.assertEqual(live.send("GET", "/status", **headers).status, expected)
        self.assertEqual(live.send("GET", "/?token=" + "0" * 32).status, 401)
        self.assertEqual(live.send("GET", "/status?token=" + live.token).status, 401)
        self.assertEqual(live.send("POST", "/stop", Cookie=cookie, Origin="http://a.b").status, 403)
        for word in ("HttpOnly", "SameSite=Strict"):
            self.assertIn(word, live.page_headers["Set-Cookie"])
        policy = live.page_headers["Content-Security-Policy"]
        self.assertIn("default-src 'none'", policy)
        self.assertNotIn("unsafe", policy)
        self.assertNotIn("Access-Control-Allow-Origin", live.page_headers)

    def test_strange_requests_are_refused_and_the_render_goes_on(self):
        live = self.live
        good = f"Host: 127.0.0.1\r\nCookie: {live.cookie}\r\n".encode()
        for expected, text in (
                ("431", b"GET / HTTP/1.1\r\nA: " + b"a" * 20000 + b"\r\n\r\n"),
                ("431", b"GET /status HTTP/1.1\r\n" + good + b"A: b\r\n" * 100 + b"\r\n"),
                ("413", b"POST /stop HTTP/1.1\r\n" + good + b"Content-Length: 9\r\n\r\n123456789"),
                ("413", b"POST /stop HTTP/1.1\r\n" + good + b"Transfer-Encoding: chunked\r\n\r\n"),
                ("405", b"PUT /stop HTTP/1.1\r\n" + good + b"\r\n"),
                ("505", b"GET / HTTP/2.0\r\n" + good + b"\r\n"),
                ("400", b"GET /status HTTP/1.1\r\n" + good + b"Host: localhost\r\n\r\n"),
                ("400", b"GET /status HTTP/1.1\r\nCookie: a\r\n\r\n"),
                ("400", b"GET /%2e%2e/x HTTP/1.1\r\n" + good + b"\r\n"),
                ("400", b"GET http://a/ HTTP/1.1\r\n" + good + b"\r\n"),
                ("400", b"GET /status HTTP/1.1\r\n" + good + b"a\0b: c\r\n\r\n"),
                ("400", b"\x16\x03\x01\x02\x00\x01\x00\r\n\r\n"),
                ("404", b"GET /../../etc/passwd HTTP/1.1\r\n" + good + b"\r\n"),
                ("404", b"GET //etc/passwd HTTP/1.1\r\n" + good + b"\r\n"),
                ("400", b"GET /pixel?x=1e9&y=0 HTTP/1.1\r\n" + good + b"\r\n"),
                ("400", b"POST /camera?motion=orbit&x=nan HTTP/1.1\r\n" + good + b"\r\n"),
                ("400", b"POST /region?x0=5&y0=0&x1=5&y1=9 HTTP/1.1\r\n" + good + b"\r\n"),
                ("400", b"GET /stream?images=0,1,2 HTTP/1.1\r\n" + good + b"\r\n")):
            with self.subTest(text[:60]):
                self.assertIn(expected, live.raw(text))
        before = live.status()["frames"]
        live.wait(lambda status: status["frames"] > before)

    @unittest.skipIf(SANITIZED, "bytes a second, which sanitizers keep low")
    def test_a_slow_stranger_is_cut_and_a_greedy_page_gets_its_rate(self):
        self.live.end()
        live = Live(self, "scene", "--threads", 1, "--resolution", "1200x800", "--mode", "path")
        live.wait(lambda status: status["frames"] > 0)
        cut, stop = [], threading.Event()

        def drip():
            start = time.monotonic()
            with socket.create_connection(("127.0.0.1", live.port)) as connection:
                connection.settimeout(0.1)
                while not stop.is_set():
                    try:
                        connection.sendall(b"G")
                        connection.recv(64)
                        break
                    except TimeoutError:
                        pass
                    except ConnectionError:
                        break
                cut.append(time.monotonic() - start)

        slow = threading.Thread(target=drip)
        slow.start()
        stream = Stream(live, "0,1")  # 12 MB a frame
        start = time.monotonic()
        while time.monotonic() - start < 7 and (slow.is_alive() or time.monotonic() - start < 4):
            self.assertTrue(stream.read())
        seconds = time.monotonic() - start
        stop.set()
        slow.join()
        received = sum(len(halves) for _, halves in stream.tiles)
        self.assertLess(received, 4e6 * seconds + 4e5)
        self.assertGreater(received, 2e6 * seconds)
        self.assertLess(abs(cut[0] - 5), 1)

    def test_who_says_nothing_or_comes_too_often_keeps_nobody_out(self):
        live = self.live
        live.wait(lambda status: status["frames"] > 0)
        held, memory = live.memory(), []
        silent = [socket.socket() for _ in range(300)]
        for i, connection in enumerate(silent):
            connection.setblocking(False)
            connection.connect_ex(("127.0.0.1", live.port))
        start = time.monotonic()
        for _ in range(10):  # a byte now and then
            for connection in silent[::10]:
                try:
                    connection.send(b"G")
                except OSError:
                    pass
            self.assertEqual(live.send("GET", "/status", Cookie=live.cookie).status, 200)
        self.assertLess(time.monotonic() - start, 30)
        for _ in range(20):  # 10,000 connections that come and go
            crowd = [socket.socket() for _ in range(500)]
            for connection in crowd:
                connection.setblocking(False)
                connection.connect_ex(("127.0.0.1", live.port))
            for connection in crowd:
                connection.close()
            memory.append(live.memory())
        for connection in silent:
            connection.close()
        self.assertLess(max(memory) - held, 16 << 20)
        before = live.status()["frames"]
        live.wait(lambda status: status["frames"] > before)


class Pictures(ProgramTest):
    def test_the_stream_shows_what_the_run_writes(self):
        noise = CAMERA.replace("aov\n", 'aov\n image "noise.pfm"\n type "noise"\n end\n aov\n', 1)
        write_scene(self.scene, {"camera/camera.mh": noise})
        plain = ("scene", "--seed", 1, "--threads", 2, "--resolution", "150x100")
        self.run_here(*plain, "--beauty", "plain.pfm", "--output-dir", "plain")
        live = Live(self, *plain, "--beauty", "live.pfm")
        streams = [Stream(live, "0,1"), Stream(live, "2")]
        for stream in streams:
            stream.read_until(lambda s: s.status
                              and s.status["message"] == "pictures of 6 frames written")
            stream.read_all()
        self.assertEqual({tile[0] for tile, _ in streams[0].tiles}, {0, 1})
        self.assertEqual(self.bytes_of("live.pfm"), self.bytes_of("plain/plain.pfm"))
        size, expected = floats_of_pfm(self.bytes_of("plain/plain.pfm"))
        self.assertEqual(size, [150, 100])
        for image, values in ((0, expected),
                              (1, floats_of_pfm(self.bytes_of("plain/noise.pfm"))[1])):
            for a, b in zip(streams[0].picture(image), values):
                self.assertLessEqual(abs(a - b), b / 2048 + 1e-7)
        pixel = json.loads(live.get("/pixel?x=75&y=60"))
        at = 3 * (60 * 150 + 75)
        self.assertEqual(pixel["live.pfm"], list(expected[at:at + 3]))
        self.assertIn("albedo.exr", pixel)
        self.assertEqual(live.get("/save?image=0&format=exr")[:4], b"\x76\x2f\x31\x01")
        self.assertEqual(live.end(), 0)

    def test_a_first_picture_comes_before_the_photons(self):
        write_scene(self.scene, {"light/light.mh": LIGHT.replace("1000", "2000000000")})
        live = Live(self, "scene", "--mode", "gather", "--resolution", "320x200")
        stream = Stream(live)
        stream.read_until(lambda s: s.tiles)
        (_, _, scale, *_), halves = stream.tiles[0]
        self.assertGreater(scale, 1)
        self.assertGreater(len(set(halves)), 2)  # it shows something
        self.assertEqual(live.status()["stage"], "preparing")
        self.assertEqual(live.end(), 130)

    def test_requests_change_the_view_and_stop_the_frames(self):
        write_scene(self.scene, ENDLESS)
        size = "320x200" if SANITIZED else "1280x800"  # frames that last longer than a draft may
        live = Live(self, "scene", "--threads", 1, "--resolution", size)
        first = live.wait(lambda status: status["frames"] > 1)
        self.assertIn("position 0 -4 1\n", first["camera"])
        stream = Stream(live)
        self.assertEqual(live.post("/camera?motion=orbit&x=1.5707963&y=0"), 204)
        stream.read_until(lambda s: any(tile[1] > first["generation"] for tile, _ in s.tiles))
        scales = [tile[2] for tile, _ in stream.tiles if tile[1] > first["generation"]]
        self.assertGreater(scales[0], 1)
        moved = live.wait(lambda status: status["generation"] > first["generation"])["camera"]
        x, y, z = map(float, moved.split("position ")[1].split("\n")[0].split())
        self.assertAlmostEqual(x, -4, 3)
        self.assertAlmostEqual(y, 0, 3)
        self.assertAlmostEqual(z, 1, 3)
        self.assertEqual(live.post("/region?x0=10&y0=20&x1=30&y1=41"), 204)
        status = live.wait(lambda status: status["region"] == [10, 20, 30, 41]
                           and status["scale"] == 1 and status["frames"] > 0)
        self.assertIn("region 10 20 30 41", status["camera"])
        self.assertEqual(live.post("/stop"), 204)
        stopped = live.wait(lambda status: status["stage"] == "stopped")["frames"]
        self.assertEqual(live.post("/write"), 204)
        live.wait(lambda status: status["message"].endswith("written"))
        self.bytes_of("beauty.hdr")
        self.assertEqual(live.status()["frames"], stopped)
        self.assertEqual(live.post("/go"), 204)
        live.wait(lambda status: status["frames"] > stopped)
        live.post("/region")
        live.post("/stop")  # before a frame of the whole picture is there
        os.remove(self.path("beauty.hdr"))
        live.wait(lambda status: status["stage"] == "stopped")
        live.post("/write")
        live.wait(lambda status: "go on" in status["message"])
        live.post("/go")
        live.wait(lambda status: status["message"].endswith("written"))
        self.bytes_of("beauty.hdr")
        self.assertEqual(live.end(), 130)

    def test_a_scene_that_changes_is_read_again_once_it_is_sound(self):
        camera = os.path.join(self.scene, "camera", "camera.mh")
        write_scene(self.scene, ENDLESS)
        live = Live(self, "scene", "--threads", 1, "--watch")
        first = live.wait(lambda status: status["frames"] > 0)

        def replace_camera(text):  # at once: a file in the middle of its writing may look empty
            write_scene(self.folder, {"camera.new": text})
            os.replace(self.path("camera.new"), camera)

        replace_camera(CAMERA.replace("sample 6", "smaple 6"))
        status = live.wait(lambda status: status["keeps_last_good"])
        fault = status["check"]["faults"][0]
        self.assertEqual((os.path.samefile(os.path.join(self.folder, fault["file"]), camera),
                          fault["line"]), (True, 3))
        self.assertEqual(status["generation"], first["generation"])
        live.wait(lambda now: now["frames"] > status["frames"])
        replace_camera(CAMERA.replace("24 16", "36 20"))
        status = live.wait(lambda status: status["width"] == 36)
        self.assertFalse(status["keeps_last_good"])
        live.wait(lambda status: status["stage"] == "done")


if __name__ == "__main__":
    unittest.main()
