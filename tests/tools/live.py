"""A live view under test: the program, requests, and the messages of its stream.
SPDX-License-Identifier: MIT"""
import array
import http.client
import json
import re
import signal
import socket
import struct
import subprocess
import time

from program import PROGRAM


class Live:
    def __init__(self, test, *arguments):
        self.process = subprocess.Popen(
            [PROGRAM, "serve", *map(str, arguments)], cwd=test.folder, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        test.addCleanup(self.end)
        self.url = self.process.stdout.readline().strip()
        port, self.token = re.search(r":(\d+)/\?token=(\w{32})$", self.url).groups()
        self.port = int(port)
        reply = self.send("GET", "/?token=" + self.token)
        self.page_headers, self.page = reply.headers, reply.read().decode()
        self.cookie = reply.headers["Set-Cookie"].split(";")[0]

    def end(self, sign=signal.SIGINT):
        if self.process.returncode is None:
            self.process.send_signal(sign)
            self.errors = self.process.communicate(timeout=60)[1]
        return self.process.returncode

    def send(self, method, path, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        connection.request(method, path, headers={
            "Connection": "close", **{k.replace("_", "-"): v for k, v in headers.items()}})
        return connection.getresponse()

    def get(self, path):
        reply = self.send("GET", path, Cookie=self.cookie)
        assert reply.status == 200, (path, reply.status)
        return reply.read()

    def post(self, path):
        return self.send("POST", path, Cookie=self.cookie).status

    def raw(self, text, timeout=10):
        """The first line of what comes back."""
        with socket.create_connection(("127.0.0.1", self.port), timeout) as connection:
            try:
                connection.sendall(text)
                return connection.recv(64).split(b"\r\n")[0].decode()
            except ConnectionError:
                return ""

    def status(self):
        return json.loads(self.get("/status"))

    def wait(self, condition, seconds=60):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            status = self.status()
            if condition(status):
                return status
            time.sleep(0.05)
        raise AssertionError(f"not reached: {status}")

    def memory(self):
        with open(f"/proc/{self.process.pid}/status") as lines:
            return int(re.search(r"VmRSS:\s+(\d+)", lines.read()).group(1)) * 1024


class Stream:
    """Messages of a page's stream; tiles are put together to whole pictures of their scale."""

    def __init__(self, live, images="0"):
        self.reply = live.send("GET", "/stream?images=" + images, Cookie=live.cookie)
        assert self.reply.status == 200, self.reply.status
        self.status, self.tiles = None, []

    def read(self):
        """One message; false at the end."""
        head = self.reply.read(8)
        if len(head) < 8:
            return False
        kind, length = struct.unpack("<II", head)
        content = self.reply.read(length)
        if kind == 1:
            self.status = json.loads(content)
        else:
            self.tiles.append((struct.unpack("<8I", content[:32]), content[32:]))
        return True

    def read_until(self, condition):
        while not condition(self):
            assert self.read(), "the stream has ended"

    def read_all(self):
        """What has not been sent yet; then only the status comes again and again."""
        quiet = 0
        while quiet < 3:
            count = len(self.tiles)
            assert self.read(), "the stream has ended"
            quiet = quiet + 1 if len(self.tiles) == count else 0

    def picture(self, image=0):
        """The newest tiles at full scale: floats, row by row."""
        width, height = self.status["width"], self.status["height"]
        pixels = array.array("f", bytes(4 * 3 * width * height))
        for (number, _, scale, x, y, w, h, _), halves in self.tiles:
            if number != image or scale != 1:
                continue
            values = struct.unpack(f"<{3 * w * h}e", halves)
            for row in range(h):
                at = 3 * ((y + row) * width + x)
                pixels[at:at + 3 * w] = array.array("f", values[3 * w * row:3 * w * (row + 1)])
        return pixels
