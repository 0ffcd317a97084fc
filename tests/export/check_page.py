#!/usr/bin/env python3
"""Runs the Python programs of docs/export.md on an export of the demonstration's run, and looks at what they have read.

    check_page.py TROX TROX_DEMO PAGE
"""
import os
import subprocess
import sys
import tempfile

import numpy as np


def programs(page):
    """The indented pieces that begin with an import."""
    found, piece = [], []
    with open(page, encoding="utf-8") as lines:
        for line in [*lines, "end"]:
            if line.startswith("    ") or (not line.strip() and piece):
                piece.append(line[4:].rstrip())
            elif piece:
                if piece[0].startswith("import "):
                    found.append("\n".join(piece))
                piece = []
    return found


def main():
    trox, demo, page = (os.path.abspath(argument) for argument in sys.argv[1:4])
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        subprocess.run([demo, "--dir", "run"], check=True, stdout=subprocess.DEVNULL)
        for name in ("run.npz", "run.h5"):
            subprocess.run([trox, "export", "run", "-o", name], check=True, stderr=subprocess.DEVNULL)
        arrays, attributes = {}, {}
        names = programs(page)
        assert len(names) == 2, names
        exec(names[0], arrays)
        exec(names[1], attributes)
    # The machine writes ten events a second for three seconds, a trace in each of them, settings in every fifth; slow
    # values and cameras have events of their own.
    assert arrays["trace"].shape[1] == 2048 and arrays["trace"].dtype == np.float32
    assert arrays["is_there"].sum() == 30
    assert len(arrays["trace"]) == len(arrays["is_there"]) == len(attributes["time"])
    steps = np.diff(attributes["time"][arrays["is_there"]])
    assert np.all(np.abs(steps - np.timedelta64(100, "ms")) < np.timedelta64(1, "ms")), steps
    assert attributes["charge"].dtype == np.float32
    assert np.all(np.isnan(attributes["charge"]) == ~arrays["is_there"])
    assert attributes["is_there"].sum() == 6
    assert np.all(np.isnat(attributes["record_time"]) == ~attributes["is_there"])


main()
