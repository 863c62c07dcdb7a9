#!/usr/bin/env python3
"""The program's CPU time beside that of others who send a screen as JPEG, on the same private X server and scene, one
after the other: ffmpeg (x11grab to MJPEG), and x11vnc with a viewer that only reads (Tight with JPEG). Each with about
the same quality: the same subsampling, and the same bytes or the same number of the library's scale."""
import argparse
import re
import subprocess
import sys
import tempfile
import threading
import time

from rfb import Viewer
from session import Session, cpu_seconds, report

loads = ["full", "typing", "scroll", "video", "window"]
quality = 55
start_up = 6  # seconds until the stream runs and the first things have settled
vnc_start_up = 5  # it measures the network first
smallest_update = 500  # bytes: less shows nothing of what moves
most_frames = 60  # a second

# Of ours against theirs, by frame and, where little changes, by second: for ffmpeg and for x11vnc.
goals = {"full": (0.25, 0.5), "typing": (0.01, 0.5)}


class Measured:
    """The CPU time of a process over a time, in milliseconds, and what it did meanwhile."""

    def __init__(self, seconds, cpu, frames, size):
        self.frames_per_second = frames / seconds
        self.per_frame = cpu * 1000 / max(frames, 1)
        self.per_second = cpu * 1000 / seconds
        self.kilobytes = size / max(frames, 1) / 1000

    def tell(self, name):
        print(f"    {name:26} {self.per_frame:8.3f} ms a frame   {self.per_second:8.2f} ms a second   "
              f"{self.frames_per_second:5.1f} frames a second   {self.kilobytes:6.1f} kB a frame", flush=True)


def ours(session, directory, seconds):
    cpu, start, first = cpu_seconds(session.program.pid), time.monotonic(), frame_sizes(directory)
    time.sleep(seconds)
    cpu, end = cpu_seconds(session.program.pid) - cpu, time.monotonic()
    sizes = [size for moment, size in frame_sizes(directory)[len(first):] if start <= moment < end]
    return Measured(end - start, cpu, len(sizes), sum(sizes))


def frame_sizes(directory):
    """When each frame has arrived, and its bytes."""
    with open(f"{directory}/received") as lines:
        return [(float(line.split()[0]), int(line.split()[3])) for line in lines if line.endswith("\n")]


def ffmpeg(environment, place, scale, seconds):
    """`scale` of the encoder: 2 is best, 31 is worst."""
    width, height, left, top = place
    command = ["ffmpeg", "-nostdin", "-loglevel", "error", "-progress", "pipe:1", "-f", "x11grab", "-framerate",
               str(most_frames), "-video_size", f"{width}x{height}", "-i", f"{environment['DISPLAY']}+{left},{top}",
               "-c:v", "mjpeg", "-pix_fmt", "yuvj420p", "-q:v", str(scale), "-f", "mjpeg", "-y", "/dev/null"]
    process = subprocess.Popen(command, env=environment, stdout=subprocess.PIPE, text=True)
    told = []

    def listen():
        frame = 0
        for line in process.stdout:
            key, _, value = line.strip().partition("=")
            if key == "frame":
                frame = int(value)
            elif key == "total_size" and value.isdigit():
                told.append((time.monotonic(), cpu_seconds(process.pid), frame, int(value)))

    listener = threading.Thread(target=listen, daemon=True)
    listener.start()
    deadline = time.monotonic() + 20
    while not told and time.monotonic() < deadline:
        time.sleep(0.05)
    time.sleep(seconds)
    end = time.monotonic()  # the time of threads that end is not counted any more
    process.terminate()
    process.wait()
    listener.join()
    told = [line for line in told if line[0] < end]
    if len(told) < 2:
        sys.exit("bench: ffmpeg has told nothing")
    return Measured(*(last - first for first, last in zip(told[0], told[-1])))


def like_quality(environment, place, kilobytes):
    """The value of the encoder's scale whose frames are nearest in size."""
    return min((2, 3, 4, 5, 6, 8, 10),
               key=lambda scale: abs(ffmpeg(environment, place, scale, 1.5).kilobytes - kilobytes))


def x11vnc(environment, place, seconds):
    width, height, left, top = place
    server = subprocess.Popen(["x11vnc", "-display", environment["DISPLAY"], "-clip", f"{width}x{height}+{left}+{top}",
                               "-localhost", "-no6", "-noipv6", "-nopw", "-autoport", "5990", "-quiet", "-norc",
                               "-wait", "5", "-defer", "5", "-cursor", "most"],
                              env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        port = next((int(line[5:]) for line in server.stdout if line.startswith("PORT=")), None)
        if port is None:
            sys.exit("bench: x11vnc has not started")
        viewer = Viewer(port, quality)
        viewer.socket.settimeout(10)
        begin = time.monotonic() + vnc_start_up
        while time.monotonic() < begin:
            viewer.update()
        updates, received, cpu, start = 0, viewer.received, cpu_seconds(server.pid), time.monotonic()
        while (now := time.monotonic()) < start + seconds:
            updates += viewer.update() >= smallest_update
        return Measured(now - start, cpu_seconds(server.pid) - cpu, updates, viewer.received - received)
    finally:
        server.kill()
        server.wait()


def compare(load, seconds, scale):
    with tempfile.TemporaryDirectory() as directory:
        # The phone leaves when our turn is over; its display stays, and the scene goes on.
        script = f"{directory}/script"
        with open(script, "w") as file:
            file.write(f"{start_up + seconds + 2} detach\n")
        session = Session("1290x2796", load, ping_interval=1,
                          more=("--script", script, "--frame-log", f"{directory}/received"))
        session.wait_for_stream()
        shown = re.search(r"shows (\d+)x(\d+) at \((\d+), (\d+)\)", session.text_of("scene: shows "))
        place = [int(number) for number in shown.groups()]
        started = min(moment for moment, _ in session.lines)
        time.sleep(max(0, started + start_up - time.monotonic()))
        our = ours(session, directory, seconds)
        session.time_of("📱 USBSender: iOS device detached")
        if scale is None:
            scale = like_quality(session.environment, place, our.kilobytes)
        others = [ffmpeg(session.environment, place, scale, seconds), x11vnc(session.environment, place, seconds)]
        session.end()
    print(f"{load}, {place[0]}x{place[1]}, the quality of ffmpeg {scale}")
    our.tell("ours")
    for name, other, goal in zip(("ffmpeg", "x11vnc"), others, goals.get(load, (None, None))):
        other.tell(name)
        by_second = load == "typing"
        ratio = our.per_second / other.per_second if by_second else our.per_frame / other.per_frame
        per = "second" if by_second else "frame"
        report(f"{load}: CPU a {per} against {name}", 100 * ratio, "%", goal and 100 * goal)
    return scale


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="a quarter of the time, to see that it works")
    options = parser.parse_args()
    scale = None
    for load in loads:
        scale = compare(load, 2 if options.quick else 8, scale)


main()
