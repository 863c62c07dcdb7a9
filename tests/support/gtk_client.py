"""A text field that prints what it holds, and an area that prints the clicks that it sees."""
import sys

import gi

gi.require_version("Gdk", "3.0")  # where GTK 4 is installed too
gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402


def say(line):
    sys.stdout.write(line + "\n")
    sys.stdout.flush()


def on_click(_area, event):
    names = {Gdk.EventType.BUTTON_PRESS: "click", Gdk.EventType.DOUBLE_BUTTON_PRESS: "double click"}
    if event.type in names:
        say(f"{names[event.type]} {event.button}")


def on_focus(field, _event):
    say("ready")
    field.disconnect_by_func(on_focus)


window = Gtk.Window(type=Gtk.WindowType.POPUP)
window.move(int(sys.argv[1]), int(sys.argv[2]))
window.set_default_size(400, 300)
box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
entry = Gtk.Entry()
entry.connect("changed", lambda _: say("text " + entry.get_text()))
entry.connect("activate", lambda _: say("activated"))
area = Gtk.EventBox()
area.add_events(Gdk.EventMask.BUTTON_PRESS_MASK)
area.connect("button-press-event", on_click)
box.pack_start(entry, False, False, 0)
box.pack_start(area, True, True, 0)
window.add(box)
window.connect("map-event", lambda *_: (window.get_window().focus(Gdk.CURRENT_TIME), entry.grab_focus()))
entry.connect("focus-in-event", on_focus)
window.show_all()
Gtk.main()
