"""One picture on many machines: splits a render into pieces, has an engine run them, merges what
comes back. `python3 -m moonhare.farm --help` lists the options.
SPDX-License-Identifier: MIT"""
