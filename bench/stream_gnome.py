#!/usr/bin/env python3
"""The pipeline in a headless GNOME session, with the shipped binaries; the compositor renders in software.

The baseline, from the same run: a program that only receives PipeWire's pictures and looks at their clock.
"""
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

from rotation import rotate, rotations, shown
from session import Session, binaries, cpu_seconds, report, root

seconds = 20
first_rotation = 8
steps = [
    ("📺 Virtual display resized in place", "the compositor shows the new size"),
    ("🎬 Streaming started!", "the stream is set up"),
    ("✅ Capture started", "the capture runs"),
    shown,
]


class Gnome:
    """The compositor, and the environment of its programs."""

    def __init__(self):
        self.directory = tempfile.TemporaryDirectory()
        names = "DISPLAY XAUTHORITY WAYLAND_DISPLAY XDG_RUNTIME_DIR XDG_CONFIG_HOME HOME XDG_SESSION_TYPE " \
                "XDG_CURRENT_DESKTOP DBUS_SESSION_BUS_ADDRESS DBUS_SYSTEM_BUS_ADDRESS"
        script = f"""cd {root}; . bench/private-xorg.sh; . bench/private-gnome.sh
            start_private_gnome {self.directory.name} >&2 || exit 1
            echo $compositor_pid; for name in {names}; do echo "$name=${{!name}}"; done; echo
            read; stop $gnome_pids"""
        self.shell = subprocess.Popen(["bash", "-c", script], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.compositor = int(self.shell.stdout.readline())
        self.environment = dict(os.environ)
        while line := self.shell.stdout.readline().strip():
            name, _, value = line.partition("=")
            self.environment[name] = value

    def end(self):
        self.shell.communicate("\n")
        self.directory.cleanup()


class GnomeSession(Session):
    """The pipeline in such a session."""

    def __init__(self, gnome, load, more=(), ping_interval=0.05):
        self.lines, self.processes, self.environment = [], [], gnome.environment
        path = pathlib.Path(gnome.directory.name)
        self.summary = path / "summary.json"
        mux = str(path / "usbmuxd")
        self.scene = self.start([binaries / "scene", "--load", load])
        self.companion = self.start([binaries / "tandemview-companion", "--mux", mux, "--size", "1288x2796", "--json",
                                     self.summary, "--ping-interval", str(ping_interval), *more])
        self.program = self.start([binaries / "tandemview", "--usbmuxd-socket", mux])

    def end(self):
        return self.end_programs()


def baseline(gnome):
    scene = subprocess.Popen([binaries / "scene", "--load", "full"], env=gnome.environment, stdout=subprocess.DEVNULL)
    before = cpu_seconds(gnome.compositor)
    consumer = subprocess.run([binaries / "gnome_consumer", "644", "1398", str(seconds)], env=gnome.environment,
                              stdout=subprocess.PIPE, text=True)
    cpu = (cpu_seconds(gnome.compositor) - before) / (seconds + 3) * 100
    scene.terminate()
    scene.wait()
    if consumer.returncode:
        sys.exit("stream: the baseline has received no pictures")
    figures = json.loads(consumer.stdout)
    report("baseline, bare consumer: frames a second", figures["framesPerSecond"], "")
    report("baseline, bare consumer: drawn to received, p50", figures["p50"], "ms")
    report("baseline, bare consumer: drawn to received, p99", figures["p99"], "ms")
    report("baseline, bare consumer: the compositor's CPU", cpu, "% of a core")
    return figures


def whole_picture(gnome, bare):
    session = GnomeSession(gnome, "full")
    session.wait_for_stream()
    time.sleep(2)
    before, start = (session.cpu_seconds(), cpu_seconds(gnome.compositor)), time.monotonic()
    time.sleep(seconds)
    passed = time.monotonic() - start
    ours = (session.cpu_seconds() - before[0]) / passed * 100
    theirs = (cpu_seconds(gnome.compositor) - before[1]) / passed * 100
    memory = session.resident_megabytes()
    result = session.end()
    report("644x1398, whole picture: frames a second", result["framesPerSecond"], "")
    report("644x1398, whole picture: frames, of the baseline's", result["framesPerSecond"] / bare["framesPerSecond"], "")
    for name in ("p50", "p99"):
        value = result["drawnToReceived"][name]
        report(f"644x1398, whole picture: drawn to received, {name}", value, "ms")
        report(f"644x1398, whole picture: {name}, of the baseline's", value / bare[name], "",
               1.3 if name == "p50" else None)
    report("644x1398, whole picture: the program's CPU", ours, "% of a core")
    report("644x1398, whole picture: the compositor's CPU", theirs, "% of a core")
    report("644x1398, whole picture: resident memory", memory, "MB")
    if result["faultCount"]:
        print("stream: FAULTS", result["faults"])


def at_rest(gnome):
    session = GnomeSession(gnome, "rest", ping_interval=1)
    session.wait_for_stream()
    time.sleep(3)
    before, start = (session.cpu_seconds(), cpu_seconds(gnome.compositor)), time.monotonic()
    time.sleep(10)
    passed = time.monotonic() - start
    ours = (session.cpu_seconds() - before[0]) / passed * 100
    theirs = (cpu_seconds(gnome.compositor) - before[1]) / passed * 100
    result = session.end()
    report("picture at rest: the program's CPU", ours, "% of a core", 1)
    report("picture at rest: the compositor's CPU", theirs, "% of a core")
    report("picture at rest: frames in all (the first ones)", result["frames"], "", 3)


def rotation(gnome):
    durations, _ = rotate(lambda script: GnomeSession(gnome, "rest", more=("--script", script), ping_interval=1),
                          first_rotation, steps)
    for _, name in steps[:-1]:
        report(f"rotation: {name}, median of {rotations}", statistics.median(durations[name]), "ms")
    report(f"rotation: {shown[1]}, median", statistics.median(durations[shown[1]]), "ms", 150)
    report("rotation: all of it, slowest", max(durations[shown[1]]), "ms")


gnome = Gnome()
try:
    whole_picture(gnome, baseline(gnome))
    at_rest(gnome)
    rotation(gnome)
finally:
    gnome.end()
