"""One run of the whole pipeline with the shipped binaries: private X server, scene, program, companion."""
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import time

root = pathlib.Path(__file__).resolve().parent.parent
binaries = root / "build/release"


class Session:
    """One run of the whole pipeline. Ends everything that it started."""

    def __init__(self, size, load, quality=None, ping_interval=0.05, more=(), system_bus=None, session_bus=None,
                 scene=(), trace=None):
        self.lines = []  # of the program and the companion, each with the time at which it was printed
        self.directory = tempfile.TemporaryDirectory()
        path = pathlib.Path(self.directory.name)
        self.processes = []
        script = f". {root}/bench/private-xorg.sh; start_private_xorg {path}; echo $DISPLAY $xorg_pid; wait"
        self.server = subprocess.Popen(["bash", "-c", script], stdout=subprocess.PIPE, text=True)
        display, self.server_pid = self.server.stdout.readline().split()
        settings = path / "tandemview"
        settings.mkdir()
        if quality:
            (settings / "settings.json").write_text(json.dumps({"displayQualityMode": quality}))
        self.environment = dict(os.environ, DISPLAY=display, XDG_CONFIG_HOME=str(path), XDG_RUNTIME_DIR=str(path),
                                DBUS_SESSION_BUS_ADDRESS=session_bus or f"unix:path={path}/bus",
                                DBUS_SYSTEM_BUS_ADDRESS=system_bus or f"unix:path={path}/bus")
        self.summary = path / "summary.json"
        mux = str(path / "usbmuxd")
        companion = [binaries / "tandemview-companion", "--mux", mux, "--size", size, "--json", self.summary,
                     "--ping-interval", str(ping_interval), *more]
        if quality == "fullResolution":
            companion.append("--full-resolution")
        if trace:
            companion += ["--frame-log", f"{trace}/received"]
            self.environment["TANDEMVIEW_TRACE"] = f"{trace}/program"
        self.scene = self.start([binaries / "scene", "--load", load, *scene])
        self.companion = self.start(companion)
        self.program = self.start([binaries / "tandemview", "--usbmuxd-socket", mux])

    def start(self, command):
        process = subprocess.Popen([str(part) for part in command], env=self.environment, stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, text=True)
        self.processes.append(process)
        threading.Thread(target=self.collect, args=(process.stdout,), daemon=True).start()
        return process

    def collect(self, output):
        for line in output:
            self.lines.append((time.monotonic(), line.rstrip()))

    def time_of(self, text, after=0.0, seconds=20):
        """When the first line that holds the text was printed after a time; waits for it."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            for moment, line in list(self.lines):
                if moment > after and text in line:
                    return moment
            time.sleep(0.005)
        sys.exit(f"bench: '{text}' was not printed:\n" + "\n".join(line for _, line in self.lines))

    def wait_for_stream(self):
        self.time_of("✅ Capture started")

    def text_of(self, text):
        """The first line that holds the text; waits for it."""
        self.time_of(text)
        return next(line for _, line in self.lines if text in line)

    def cpu_seconds(self):
        return cpu_seconds(self.program.pid)

    def resident_megabytes(self):
        for line in pathlib.Path(f"/proc/{self.program.pid}/status").read_text().splitlines():
            if line.startswith("VmRSS"):
                return int(line.split()[1]) / 1024
        return 0

    def end_programs(self):
        """The companion's summary."""
        self.companion.send_signal(signal.SIGINT)
        self.companion.wait()
        for process in self.processes:
            if process.poll() is None:
                process.send_signal(signal.SIGTERM)
                process.wait()
        return json.loads(self.summary.read_text())

    def end(self):
        """The companion's summary."""
        result = self.end_programs()
        os.kill(int(self.server_pid), signal.SIGTERM)
        self.server.wait()
        self.directory.cleanup()
        return result


def cpu_seconds(process):
    """What all its threads have had so far, to the nanosecond; 0 if it is gone."""
    total = 0
    for thread in pathlib.Path(f"/proc/{process}/task").glob("*/schedstat"):
        try:
            total += int(thread.read_text().split()[0])
        except OSError:
            pass  # the thread has just ended
    return total / 1e9


def report(name, value, unit, goal=None, at_most=True):
    line = f"{name:58} {value:9.2f} {unit}"
    if goal is not None:
        met = value <= goal if at_most else value >= goal
        line += f"   goal: {'at most' if at_most else 'at least'} {goal} {'met' if met else 'MISSED'}"
    print(line, flush=True)
