"""The program as a process: finds it, starts it, reads its progress. Uses nothing of Blender.
SPDX-License-Identifier: MIT"""
import json
import os
import queue
import shutil
import signal
import subprocess
import threading

NAME = "moonhare"
PATIENCE = 5.0  # seconds between the wish to end and a kill
INTERRUPTED = 130
LAST_LINES = 5  # of the program's messages that a report repeats


def find_program(wish):
    """Path of the program: the one wished for, that of MOONHARE_PROGRAM, or the one on the path."""
    for candidate in (wish, os.environ.get("MOONHARE_PROGRAM", "")):
        if candidate:
            return shutil.which(os.path.expanduser(candidate))
    return shutil.which(NAME)


def resident_bytes(pid):
    """Memory that a process holds, or None where the system does not say."""
    try:
        with open(f"/proc/{pid}/statm") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
    except (OSError, IndexError, ValueError):
        return None


class Run:
    """A render under way. Its folder holds the scene and gets the pictures."""

    def __init__(self, program, scene, folder, options):
        self.events = queue.SimpleQueue()
        self.messages = []
        self.can_write_early = hasattr(signal, "SIGHUP")
        command = [program, scene, "--progress", "json", "--output-dir", folder, *options]
        if not self.can_write_early:
            command += ["--write-every", "2"]
        self.log = open(os.path.join(folder, "report.txt"), "w")
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.log,
                                        stderr=subprocess.PIPE, text=True, errors="replace")
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stderr:
            try:
                event = json.loads(line)
            except ValueError:
                event = None
            if isinstance(event, dict):
                self.events.put(event)
            elif line.strip():
                self.messages.append(line.strip())

    def next_event(self, seconds):
        """The next event within some seconds, or None."""
        try:
            return self.events.get(timeout=seconds)
        except queue.Empty:
            return None

    @property
    def is_alive(self):
        return self.process.poll() is None

    def write_pictures(self):
        if self.can_write_early and self.is_alive:
            self.process.send_signal(signal.SIGHUP)

    def end(self):
        """Ends the process with its pictures written; kills it when that takes too long."""
        if self.is_alive:
            self.process.terminate()
            try:
                self.process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                self.process.kill()
        self.close()

    def close(self):
        """Waits for the end; returns the status, negative for a signal."""
        status = self.process.wait()
        self.reader.join(PATIENCE)
        self.process.stderr.close()
        self.log.close()
        return status

    def last_messages(self):
        return self.messages[-LAST_LINES:]
