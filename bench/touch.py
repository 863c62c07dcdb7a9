#!/usr/bin/env python3
"""How long a touch takes from the phone to an X client on the virtual display, at rest and while the whole picture
moves: companion, cable, program, X server, and `xev`, whose lines are stamped as they arrive.

The touches are drags, which the program passes on at once; a tap's release follows its press by 10 ms on purpose. The
baseline is the same `xev`, in the same run, with the events posted to the X server from here.
"""
import argparse
import ctypes
import re
import statistics
import tempfile
import time

from session import Session, report

left, width, height = 1280, 644, 1398  # of the virtual display on the private X server
first, interval = 8, 0.037  # seconds; touches keep no step with the frames
drag = ["began"] + ["moved"] * 8 + ["ended"]


def place(number):
    """A pixel of the display that the touches around this one don't have."""
    return 10 + number % 97 * 6, 10 + number % 89 * 15


def script(count):
    file = tempfile.NamedTemporaryFile("w", suffix=".script")
    for number in range(count):
        x, y = place(number)
        file.write(f'{first + number * interval:.3f} touch {{"type": "drag", "phase": "{drag[number % len(drag)]}", '
                   f'"mode": "direct", "x": {(x + 0.5) / width}, "y": {(y + 0.5) / height}}}\n')
    file.flush()
    return file


class DirectPointer:
    """Moves the pointer without the program."""

    def __init__(self, display):
        self.xcb, self.xtest = ctypes.CDLL("libxcb.so.1"), ctypes.CDLL("libxcb-xtest.so.0")
        self.xcb.xcb_connect.restype = ctypes.c_void_p
        self.connection = ctypes.c_void_p(self.xcb.xcb_connect(display.encode(), None))

    def move(self, x, y):
        motion, now, root = 6, 0, 0
        self.xtest.xcb_test_fake_input(self.connection, ctypes.c_uint8(motion), ctypes.c_uint8(0),
                                       ctypes.c_uint32(now), ctypes.c_uint32(root), ctypes.c_int16(x),
                                       ctypes.c_int16(y), ctypes.c_uint8(0))
        self.xcb.xcb_flush(self.connection)


def latencies(sent, lines):
    """In milliseconds, of the motions to each touch's place, in their order."""
    seen = [(moment, int(match[1]) - left, int(match[2])) for moment, line in lines
            if (match := re.search(r"time \d+, .*root:\((\d+),(\d+)\)", line))]
    result, at = [], 0
    for start, number in sent:
        while at < len(seen) and (seen[at][0] < start or seen[at][1:] != place(number)):
            at += 1
        if at == len(seen):
            raise SystemExit(f"touch: touch {number} has not arrived")
        result.append((seen[at][0] - start) * 1000)
    return result


def measure(load, name, count):
    file = script(count)
    session = Session("1290x2796", load, ping_interval=1, more=("--script", file.name))
    session.wait_for_stream()
    session.start(["xev", "-geometry", f"{width}x{height}+{left}+0", "-event", "mouse", "-event", "structure"])
    session.time_of("MapNotify")
    last = "root:({},{})".format(left + place(count - 1)[0], place(count - 1)[1])
    half = session.time_of(last, seconds=first + count * interval + 20)
    pointer, baseline = DirectPointer(session.environment["DISPLAY"]), []
    for number in range(count):
        time.sleep(interval)
        baseline.append((time.monotonic(), number))
        pointer.move(left + place(number)[0], place(number)[1])
    session.time_of(last, half)
    result = session.end()
    actions = [re.match(r"companion: ([0-9.]+) s: touch", line) for _, line in session.lines]
    touches = [result["startTime"] + float(match[1]) for match in actions if match]
    for title, sent, goal in [(f"{name}: touch to event", list(zip(touches, range(count))), 5),
                              (f"{name}: baseline, posted directly", baseline, None)]:
        values = sorted(latencies(sent, session.lines))
        report(f"{title}, p50 of {count}", statistics.median(values), "ms", goal)
        report(f"{title}, p99", values[int(0.99 * (count - 1))], "ms")
    if result["faultCount"]:
        print("touch: FAULTS", result["faults"])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="a tenth of the touches, to see that it works")
    count = 50 if parser.parse_args().quick else 500
    measure("rest", "picture at rest", count)
    measure("full", "whole picture", count)


main()
