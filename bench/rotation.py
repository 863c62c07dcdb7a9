#!/usr/bin/env python3
"""How long a rotation takes, from the phone's description to its first frame of the new size, split by step."""
import statistics
import tempfile

from session import Session, report

rotations = 10
described = "📱 USBSender: Received device info"
shown = ("companion: frames of", "the phone has its first frame of the new size")
steps = [
    ("📺 Virtual display resized in place", "the display has its new mode"),
    ("📺 Display now", "the system shows the new size"),
    ("🎬 Streaming started!", "the stream is set up"),
    ("✅ Capture started", "the capture runs"),
    shown,
]


def rotate(make_session, first, steps):
    """Milliseconds from each description to each step, by the step's name, and the phone's summary. make_session(script)
    starts a session whose phone goes by that script: it turns once a second, from the second `first` on."""
    with tempfile.NamedTemporaryFile("w", suffix=".script") as script:
        for turn in range(rotations):
            script.write(f"{first + turn} rotate\n")
        script.flush()
        session = make_session(script.name)
        session.wait_for_stream()
        durations = {name: [] for _, name in steps}
        start = session.time_of(shown[0])
        for _ in range(rotations):
            start = session.time_of(described, start)
            for text, name in steps:  # the two programs' lines may come in another order
                durations[name].append((session.time_of(text, start) - start) * 1000)
        return durations, session.end()


def main():
    durations, result = rotate(
        lambda script: Session("1290x2796", "full", ping_interval=1, more=("--script", script)), 6, steps)
    for _, name in steps:
        report(f"rotation: {name}, median of {rotations}", statistics.median(durations[name]), "ms")
    report("rotation: all of it, slowest", max(durations[shown[1]]), "ms")
    if result["faultCount"]:
        print("rotation: FAULTS", result["faults"])


if __name__ == "__main__":
    main()
