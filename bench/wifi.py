#!/usr/bin/env python3
"""What a stalled Wi-Fi link costs the cable: frames a second and latency over the cable while another phone is
connected over Wi-Fi and reads nothing, against the same without it. In a network and with an Avahi daemon of its own.

The quality of the images depends on the link: "sharp" over Wi-Fi (0.32) comes closest to "smooth" over the cable (0.40).
"""
import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

from session import Session, binaries, report

stall, attach = 8, 11  # seconds from the start: the cable comes when the other link is stalled

parser = argparse.ArgumentParser(description=__doc__)
parser.add_argument("--quick", action="store_true", help="a tenth of the time, to see that it works")
parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)
options = parser.parse_args()
if not options.inside:
    if os.geteuid() != 0:
        sys.exit("bench: wifi needs root, for a network of its own")
    inside = "mount -t tmpfs none /run; ip link set lo up; exec " + " ".join([sys.executable, *sys.argv, "--inside"])
    os.execvp("unshare", ["unshare", "-mn", "sh", "-c", inside])

directory = tempfile.TemporaryDirectory()
path = pathlib.Path(directory.name)
bus = f"unix:path={path}/bus"
daemons = []


def start_daemon(name, configuration, command, awaited):
    (path / f"{name}.conf").write_text(configuration)
    with open(path / f"{name}.log", "w") as log:
        daemons.append(subprocess.Popen([*command, path / f"{name}.conf"], stdout=log, stderr=log,
                                        env=dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=bus)))
    deadline = time.monotonic() + 20
    while awaited not in (path / f"{name}.log").read_text():
        if time.monotonic() > deadline:
            sys.exit(f"bench: {name} does not start: " + (path / f"{name}.log").read_text())
        time.sleep(0.01)


def processor_ticks():
    """So far, over all processors: what another guest of the host took from them, and all."""
    times = [int(field) for field in pathlib.Path("/proc/stat").read_text().split("\n")[0].split()[1:9]]
    return times[7], sum(times)


def cable(stalls, seconds):
    """The cable's summary, without or with another link that stalls."""
    script = path / "cable.script"
    script.write_text(f"0 detach\n{attach} attach\n")
    session = Session("1290x2796", "full", quality="sharp" if stalls else "smooth", more=("--script", script),
                      system_bus=bus)
    if stalls:
        session.time_of("Generated new code: ")
        code = next(line for _, line in session.lines if "Generated new code: " in line)[-2:]
        (path / "wifi.script").write_text(f"{stall} stall 1000\n")
        other = session.start([binaries / "tandemview-companion", "--wifi", code, "--size", "1290x2796",
                               "--ping-interval", "0.5", "--script", path / "wifi.script"])
        session.time_of("link congested")
    session.time_of("✅ iPhone connected via USB", seconds=attach + 20)
    stolen, total = processor_ticks()
    time.sleep(seconds + 4)  # the display is looked at first
    stolen, total = (now - before for now, before in zip(processor_ticks(), (stolen, total)))
    if stalls:
        if any("iPhone disconnected (WiFi)" in line for _, line in session.lines):
            sys.exit("bench: the stalled link did not last")
        other.kill()
    result = session.end()
    result["stolen"] = 100 * stolen / total
    if result["faultCount"]:
        print("wifi: FAULTS", result["faults"])
    return result


seconds = 2 if options.quick else 10
start_daemon("dbus", f"<busconfig><listen>{bus}</listen><auth>EXTERNAL</auth><policy context='default'><allow own='*'/>"
             "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/></policy></busconfig>",
             ["dbus-daemon", "--nofork", "--nopidfile", "--print-address=1", "--config-file"], "unix:path")
start_daemon("avahi", "[server]\nallow-interfaces=lo\nuse-iff-running=no\ndisallow-other-stacks=no\n"
             "[wide-area]\nenable-wide-area=no\n[publish]\npublish-workstation=no\n",
             ["/usr/sbin/avahi-daemon", "--no-drop-root", "--no-chroot", "--no-rlimits", "--no-proc-title", "-f"],
             "Server startup complete")
rounds = 1 if options.quick else 9  # a single p99 varies up to threefold by itself
results = {False: [], True: []}
for turn in range(rounds):
    for stalls in (turn % 2 == 1, turn % 2 == 0):  # neither is always the first
        results[stalls].append(cable(stalls, seconds))
median = lambda stalls, figure: statistics.median(figure(result) for result in results[stalls])
report("cable alone: time that the host gave to others", median(False, lambda result: result["stolen"]), "%")
report("cable beside a stalled Wi-Fi link: the same", median(True, lambda result: result["stolen"]), "%")
for name, figure, unit, faster in (("frames a second", lambda result: result["framesPerSecond"], "", True),
                                   ("drawn to received, p99", lambda result: result["drawnToReceived"]["p99"], "ms", False),
                                   ("sent to received, p99", lambda result: result["sentToReceived"]["p99"], "ms", False)):
    without, stalled = median(False, figure), median(True, figure)
    report(f"cable alone: {name}", without, unit)
    report(f"cable beside a stalled Wi-Fi link: {name}", stalled, unit)
    report(f"times worse: {name}", without / stalled if faster else stalled / without, "", 1.1)
for daemon in reversed(daemons):
    daemon.terminate()
    daemon.wait()
