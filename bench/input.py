#!/usr/bin/env python3
"""What could keep touches and the rest of the program waiting: characters that no key types, a long text, another
client's grab of the X server. With the keymap of a real desktop, which leaves few keys free."""
import ctypes
import json
import subprocess
import tempfile
import time

from session import Session, report

left, width, height = 1280, 644, 1398  # of the virtual display on the private X server
first = 7  # seconds, when everything stands
first_layout, core_keyboard = 0, 0x100


class Client:
    """Another client of the X server."""

    def __init__(self, display):
        self.x = ctypes.CDLL("libX11.so.6")
        self.x.XOpenDisplay.restype = ctypes.c_void_p
        self.display = ctypes.c_void_p(self.x.XOpenDisplay(display.encode()))

    def lock_layout(self, number):
        self.x.XkbLockGroup(self.display, ctypes.c_uint(core_keyboard), ctypes.c_uint(number))
        self.x.XSync(self.display, 0)

    def grab(self, seconds):
        self.x.XGrabServer(self.display)
        self.x.XSync(self.display, 0)
        time.sleep(seconds)
        self.x.XUngrabServer(self.display)
        self.x.XSync(self.display, 0)


def touch(kind, x, y, mode):
    return f'touch {json.dumps({"type": kind, "x": x, "y": y, "mode": mode})}'


def text(characters):
    return f'key {json.dumps({"action": "text", "text": characters})}'


def session(actions, layouts, active=first_layout):
    script = tempfile.NamedTemporaryFile("w", suffix=".script")
    script.write("".join(f"{first + delay:.3f} {action}\n" for delay, action in actions))
    script.flush()
    result = Session("1290x2796", "rest", ping_interval=0.02, more=("--script", script.name))
    result.script = script
    result.wait_for_stream()
    subprocess.run(["setxkbmap", "-rules", "evdev", "-model", "pc105", "-layout", layouts], env=result.environment,
                   check=True)
    result.client = Client(result.environment["DISPLAY"])
    result.client.lock_layout(active)
    result.start(["xev", "-geometry", f"{width}x{height}+{left}+0", "-event", "mouse", "-event", "keyboard", "-event",
                  "structure"])
    result.time_of("MapNotify")
    return result


def until(run, line, delay):
    """Milliseconds from an action of the script to a line of xev's."""
    start = run.end()["startTime"] + first + delay
    return (next(moment for moment, printed in run.lines if moment > start and line in printed) - start) * 1000


def longest_stall(run):
    return run.end()["pingRoundTrip"]["max"]


def main():
    pointer_is_there = (-0.5, touch("move", 0.5, 0.5, "direct"))
    latin = ("The quick brown fox jumps over the lazy dog. " * 6)[:230]
    run = session([pointer_is_there, (0, text(latin + "!"))], "us,ru", active=1)
    run.time_of('"!"')
    report("231 Latin characters while a Cyrillic layout is active", until(run, '"!"', 0), "ms")

    chinese = "".join(chr(0x4E00 + number) for number in range(2000))
    run = session([pointer_is_there, (0, text(chinese)), (0.5, touch("move", 0.25, 0.25, "direct"))], "us")
    run.time_of("root:(1441,349)")
    report("a movement half a second behind 2000 Chinese characters", until(run, "root:(1441,349)", 0.5), "ms")

    run = session([pointer_is_there, (0, text("a" * 900_000))], "us")
    run.time_of("(keysym 0x61, a)")
    time.sleep(5)
    report("a text of 900,000 characters: the longest wait for a pong", longest_stall(run), "ms")

    moves = [(number * 0.03, touch("move", 0.001 * (-1) ** number, 0, "trackpad")) for number in range(150)]
    run = session([pointer_is_there, *moves], "us")
    run.time_of(moves[0][1])
    run.client.grab(2)
    time.sleep(1)
    report("a grab of the X server for 2 s, with touches: the longest wait", longest_stall(run), "ms")


main()
