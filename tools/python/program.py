"""The program moonhare of a wheel, as a command of its environment.
SPDX-License-Identifier: MIT"""
import os
import pathlib
import sys


def main() -> None:
    program = pathlib.Path(__file__).parent / "tree/bin/moonhare"
    os.execv(program, [str(program), *sys.argv[1:]])
