#!/usr/bin/env python3
"""Ten minutes of what phones do to us: random rotations, unplugging, stalls and hang-ups from a seeded script.

It must end streaming, with no crash and level memory and descriptors.
"""
import argparse
import os
import pathlib
import random
import sys
import tempfile
import time

from session import Session, report

parser = argparse.ArgumentParser(description=__doc__)
parser.add_argument("--seconds", type=int, default=600)
parser.add_argument("--seed", type=int, default=1)
options = parser.parse_args()

chance = random.Random(options.seed)
script = tempfile.NamedTemporaryFile("w", suffix=".script")
moment = 5.0
while moment < options.seconds - 15:
    action = chance.choice(["rotate"] * 4 + ["detach", "stall", "hangup", "info", "ping"])
    if action == "stall":
        action = f"stall {chance.uniform(0.2, 3):.2f}"
    script.write(f"{moment:.2f} {action}\n")
    if action == "detach":
        moment += chance.uniform(0.01, 3)
        script.write(f"{moment:.2f} attach\n")
    moment += chance.choice([0.02, 0.3, 1, 4]) * chance.uniform(0.5, 1.5)
script.flush()

session = Session("1290x2796", "full", ping_interval=1, more=("--script", script.name))
descriptors = lambda: len(os.listdir(f"/proc/{session.program.pid}/fd"))
session.wait_for_stream()
time.sleep(min(30, options.seconds / 4))
memory_before, descriptors_before = session.resident_megabytes(), descriptors()
while time.monotonic() - session.lines[0][0] < options.seconds:
    time.sleep(1)
    if session.program.poll() is not None:
        sys.exit("soak: the program has ended:\n" + "\n".join(line for _, line in session.lines[-40:]))
before = len([1 for _, line in session.lines if "companion: frames of" in line])
report("soak: memory at the end", session.resident_megabytes(), "MB")
report("soak: growth of memory since the start", session.resident_megabytes() - memory_before, "MB", 8)
report("soak: growth of open descriptors since the start", descriptors() - descriptors_before, "", 4)
result = session.end()
report("soak: connections", result["connections"], "")
report("soak: sizes shown, in order", len(result["sizes"]), "")
report("soak: faults seen by the phone", result["faultCount"], "", 0)
if result["faults"]:
    print("soak:", *result["faults"][:5], sep="\n  ")
