#!/usr/bin/python3
"""What the menu costs: how soon the program answers a tray that opens it, and the stream while it stays open.

Debian's own Python, which has the bus's library. The tray is played by this program, on a bus of its own.
"""
import statistics
import subprocess
import time

import dbus
import dbus.bus

from session import Session, report

menu_interface = "com.canonical.dbusmenu"
openings = 50
seconds = 10


def find_menu(bus, process):
    """The program has several connections; one of them has the menu."""
    daemon = dbus.Interface(bus.get_object("org.freedesktop.DBus", "/org/freedesktop/DBus"), "org.freedesktop.DBus")
    for name in daemon.ListNames():
        try:
            if daemon.GetConnectionUnixProcessID(name) != process:
                continue
            menu = dbus.Interface(bus.get_object(name, "/StatusNotifierItem/Menu", introspect=False), menu_interface)
            menu.AboutToShow(0)
            return menu
        except dbus.DBusException:
            continue
    return None


def open_menu(menu):
    menu.AboutToShow(0)
    menu.Event(0, "opened", dbus.Int32(0, variant_level=1), dbus.UInt32(0))
    menu.GetLayout(0, -1, dbus.Array([], signature="s"))


def close_menu(menu):
    menu.Event(0, "closed", dbus.Int32(0, variant_level=1), dbus.UInt32(0))


def stream(is_open):
    """The companion's summary of `seconds` of the stream, the durations of the openings in milliseconds."""
    daemon = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    address = daemon.stdout.readline().strip()
    session = Session("1290x2796", "full", session_bus=address)
    session.wait_for_stream()
    end = time.monotonic() + seconds
    durations = []
    if is_open:
        menu = find_menu(dbus.bus.BusConnection(address), session.program.pid)
        for _ in range(openings):
            start = time.monotonic()
            open_menu(menu)
            durations.append((time.monotonic() - start) * 1000)
            close_menu(menu)
        open_menu(menu)
        while time.monotonic() < end:
            time.sleep(1)  # the pace at which its lines change
            open_menu(menu)
        close_menu(menu)
    else:
        time.sleep(seconds)
    result = session.end()
    daemon.terminate()
    daemon.wait()
    return result, durations


closed, _ = stream(is_open=False)
opened, durations = stream(is_open=True)
report("menu: answers to a tray that opens it, p50", statistics.median(durations), "ms")
report(f"menu: the slowest of {openings} openings", max(durations), "ms", 50)
report("baseline: frames a second with the menu closed", closed["framesPerSecond"], "")
report("menu: frames a second while it is open", opened["framesPerSecond"], "")
report("menu: share of the frames that come", opened["framesPerSecond"] / closed["framesPerSecond"], "", 0.99,
       at_most=False)
report("baseline: drawn to received with the menu closed, p99", closed["drawnToReceived"]["p99"], "ms")
report("menu: drawn to received while it is open, p99", opened["drawnToReceived"]["p99"], "ms")
