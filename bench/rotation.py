#!/usr/bin/env python3
"""How long a rotation takes, from the phone's description to its first frame of the new size, split by step."""
import statistics
import tempfile

from session import Session, report

steps = [
    ("📱 USBSender: Received device info", "the description has arrived"),
    ("📺 Virtual display resized in place", "the display has its new mode"),
    ("📺 Display now", "the system shows the new size"),
    ("🎬 Streaming started!", "the stream is set up"),
    ("✅ Capture started", "the capture runs"),
    ("companion: frames of", "the phone has its first frame of the new size"),
]
rotations = 10
first = 6

script = tempfile.NamedTemporaryFile("w", suffix=".script")
for turn in range(rotations):
    script.write(f"{first + turn} rotate\n")
script.flush()
session = Session("1290x2796", "full", ping_interval=1, more=("--script", script.name))
session.wait_for_stream()
durations = {name: [] for _, name in steps}
last = session.time_of("companion: frames of")
for _ in range(rotations):
    start = moment = session.time_of(steps[0][0], last)
    for text, name in steps:
        moment = session.time_of(text, moment - 1e-9)
        durations[name].append((moment - start) * 1000)
    last = moment
result = session.end()
for _, name in steps[1:]:
    report(f"rotation: {name}, median of {rotations}", statistics.median(durations[name]), "ms")
report("rotation: all of it, slowest", max(durations[steps[-1][1]]), "ms")
if result["faultCount"]:
    print("rotation: FAULTS", result["faults"])
