#!/usr/bin/env python3
"""How many pictures catch a client while it still draws, and how soon the whole follows: a terminal, which draws by
many requests, and a GTK program, which draws by one. A picture counts as half if more has changed within 3 ms after it
and the next one shows it."""
import argparse
import subprocess
import tempfile
import time

from session import Session, report

soon = 0.003
longest_wait = 0.02  # until the next picture is due
damage_told, grab_begun, grabbed = range(3)  # of Trace::Step

text_view = """
import gi
gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk
window = Gtk.Window(type=Gtk.WindowType.POPUP)
window.move(1290, 100)
window.set_default_size(600, 800)
view = Gtk.TextView()
window.add(view)
window.show_all()
words = view.get_buffer()
def type_word():
    words.insert(words.get_end_iter(), "word\\n" if words.get_char_count() % 48 == 0 else "word ")
    return True
GLib.timeout_add(150, type_word)
Gtk.main()
"""
terminal = ["xterm", "-geometry", "80x50+1290+100", "-e", "sh", "-c"]
clients = {
    "a terminal, words": [*terminal, "while sleep 0.15; do printf 'word '; done"],
    "a terminal, 30 lines": [*terminal, "while sleep 0.2; do ls -l /usr/lib | head -30; done"],
    "GTK, words": ["/usr/bin/python3", "-c", text_view],
}


def measure(name, command, seconds):
    with tempfile.TemporaryDirectory() as directory:
        session = Session("1290x2796", "rest", ping_interval=1, trace=directory)
        session.wait_for_stream()
        time.sleep(1)
        session.scene.terminate()
        client = subprocess.Popen(command, env=session.environment, stderr=subprocess.DEVNULL)
        time.sleep(3)
        start = time.monotonic()
        time.sleep(seconds)
        end = time.monotonic()
        client.kill()
        client.wait()
        session.end()
        with open(f"{directory}/program") as lines:
            marks = [(int(step), float(moment)) for step, moment, _ in map(str.split, lines)]
    times = lambda wanted: [moment for step, moment in marks if step == wanted and start < moment < end]
    changes, begun, pictures = times(damage_told), times(grab_begun), times(grabbed)
    wholes = []  # how long after each half the next picture was begun
    for picture in pictures:
        # A change that the picture shows already may be told after it; no other picture follows then.
        next_picture = min((moment for moment in begun if moment > picture), default=end)
        if any(0 < change - picture < soon for change in changes) and next_picture - picture < longest_wait:
            wholes.append(next_picture - picture)
    report(f"{name}: pictures", len(pictures), "")
    report(f"{name}: of these half-drawn", len(wholes), "")
    if wholes:
        wholes.sort()
        report(f"{name}: until the whole, p50", wholes[len(wholes) // 2] * 1000, "ms")
        report(f"{name}: until the whole, p90", wholes[len(wholes) * 9 // 10] * 1000, "ms")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="a quarter of the time, to see that it works")
    options = parser.parse_args()
    for name, command in clients.items():
        measure(name, command, 3 if options.quick else 12)


main()
