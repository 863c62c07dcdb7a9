#!/usr/bin/env python3
"""The whole pipeline, measured from outside with the shipped binaries: private X server, scene, program, companion.

Prints every figure with its goal. The machine's own share is measured in the same run: the round trip of a byte
between two processes, and how late a 1/60 s sleep ends.
"""
import argparse
import os
import socket
import statistics
import time

from session import Session, cpu_seconds, report

def machine():
    """What two processes and the timer cost on this machine while the stream runs."""
    ours, theirs = socket.socketpair()
    child = os.fork()
    if child == 0:
        ours.close()
        while data := theirs.recv(8):
            theirs.send(data)
        os._exit(0)
    theirs.close()
    trips, lateness = [], []
    for _ in range(300):
        start = time.monotonic()
        ours.send(b"12345678")
        ours.recv(8)
        trips.append((time.monotonic() - start) * 1000)
        start = time.monotonic()
        time.sleep(1 / 60)
        lateness.append((time.monotonic() - start - 1 / 60) * 1000)
    ours.close()
    os.waitpid(child, 0)
    percentile = lambda values, share: sorted(values)[int(share * (len(values) - 1))]
    report("baseline: round trip of 8 bytes under the load, p50", statistics.median(trips), "ms")
    report("baseline: round trip of 8 bytes under the load, p99", percentile(trips, 0.99), "ms")
    report("baseline: lateness of a 1/60 s sleep under the load, p99", percentile(lateness, 0.99), "ms")


def whole_picture(seconds):
    session = Session("1290x2796", "full")
    session.wait_for_stream()
    before, start = session.cpu_seconds(), time.monotonic()
    machine()
    time.sleep(max(0, seconds - (time.monotonic() - start)))
    cpu = (session.cpu_seconds() - before) / (time.monotonic() - start) * 100
    result = session.end()
    report("644x1398, whole picture: frames a second", result["framesPerSecond"], "", 58, at_most=False)
    report("644x1398, whole picture: drawn to received, p50", result["drawnToReceived"]["p50"], "ms", 20)
    report("644x1398, whole picture: drawn to received, p99", result["drawnToReceived"]["p99"], "ms", 45)
    report("644x1398, whole picture: sent to received, p99", result["sentToReceived"]["p99"], "ms", 8)
    report("644x1398, whole picture: ping round trip, p99", result["pingRoundTrip"]["p99"], "ms", 5)
    report("644x1398, whole picture: the program's CPU", cpu, "% of a core")
    if result["faultCount"]:
        print("stream: FAULTS", result["faults"])


def at_rest(seconds):
    session = Session("1290x2796", "rest", ping_interval=1)
    session.wait_for_stream()
    time.sleep(2)
    before, start = session.cpu_seconds(), time.monotonic()
    time.sleep(seconds)
    cpu = (session.cpu_seconds() - before) / (time.monotonic() - start) * 100
    result = session.end()
    report("picture at rest: the program's CPU", cpu, "% of a core", 1)
    report("picture at rest: frames in all (the first ones)", result["frames"], "", 3)


def memory(seconds):
    session = Session("1290x2796", "full", quality="fullResolution", ping_interval=1)
    session.wait_for_stream()
    time.sleep(10)
    first = session.resident_megabytes()
    time.sleep(seconds)
    last = session.resident_megabytes()
    result = session.end()
    report("1290x2796 at full resolution: resident memory", last, "MB", 40)
    report(f"1290x2796 at full resolution: growth over {seconds} s", last - first, "MB", 1)
    report("1290x2796 at full resolution: frames a second", result["framesPerSecond"], "")
    report("1290x2796 at full resolution: median frame", result["bytesPerFrame"]["median"] / 1000, "kB")


def largest(seconds):
    """Two cores are shared by all who take part."""
    session = Session("2048x2732", "full", quality="fullResolution", ping_interval=1, more=("--idiom", "pad"))
    session.wait_for_stream()
    time.sleep(2)
    shares = {"the scene": session.scene.pid, "the X server": session.server_pid, "the program": session.program.pid,
              "the phone": session.companion.pid}
    before, start = [cpu_seconds(process) for process in shares.values()], time.monotonic()
    time.sleep(seconds)
    after, elapsed = [cpu_seconds(process) for process in shares.values()], time.monotonic() - start
    result = session.end()
    report("2048x2732 at full resolution: frames a second", result["framesPerSecond"], "", 58, at_most=False)
    report("2048x2732 at full resolution: drawn to received, p50", result["drawnToReceived"]["p50"], "ms")
    for name, first, last in zip(shares, before, after):
        report(f"2048x2732 at full resolution: CPU of {name}", (last - first) / elapsed * 100, "% of a core")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="a tenth of the time, to see that it works")
    options = parser.parse_args()
    share = 0.1 if options.quick else 1
    whole_picture(30 * share)
    at_rest(10 * share)
    memory(120 * share)
    largest(20 * share)


main()
