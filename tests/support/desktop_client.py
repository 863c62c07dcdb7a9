"""What fills a monitor, given by its corner and size, and prints its input: an area, a text field or a terminal."""
import os
import sys

os.environ |= {"LC_ALL": "C.UTF-8", "NO_AT_BRIDGE": "1"}
import gi  # noqa: E402

gi.require_version("Gdk", "3.0")  # where GTK 4 is installed too
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402

kind, (x, y, width, height) = sys.argv[1], map(int, sys.argv[2:])
ways = {
    Gdk.EventType.BUTTON_PRESS: "press",
    Gdk.EventType.DOUBLE_BUTTON_PRESS: "double press",
    Gdk.EventType.BUTTON_RELEASE: "release",
    Gdk.EventType.KEY_PRESS: "press",
    Gdk.EventType.KEY_RELEASE: "release",
}
clicks = {
    Gdk.ScrollDirection.UP: (0, -1),
    Gdk.ScrollDirection.DOWN: (0, 1),
    Gdk.ScrollDirection.LEFT: (-1, 0),
    Gdk.ScrollDirection.RIGHT: (1, 0),
}
# Shift, Control, Alt, Super and the first three buttons
shown_state = Gdk.ModifierType(0x70D | 0x4000000)


def say(line, state=0):
    state = int(state & shown_state)
    os.write(1, (line + (f" state {state:x}" if state else "") + "\n").encode())


def on_event(_widget, event):
    name = ways.get(event.type)
    if event.type == Gdk.EventType.MOTION_NOTIFY:
        say(f"motion {event.x:g},{event.y:g}", event.state)
    elif event.type == Gdk.EventType.SCROLL:
        x, y = clicks.get(event.direction, (event.delta_x, event.delta_y))
        say(f"scroll {x:g},{y:g} {event.direction.value_nick}", event.state)
    elif name and "KEY" in event.type.value_name:
        say(f"{name} {Gdk.keyval_name(event.keyval)}", event.state)
    elif name:
        say(f"{name} {event.get_button()[1]} {event.x:g},{event.y:g}", event.state)
    return False


def area():
    widget = Gtk.EventBox()
    window.add_events(Gdk.EventMask.KEY_PRESS_MASK | Gdk.EventMask.KEY_RELEASE_MASK)
    widget.add_events(
        Gdk.EventMask.POINTER_MOTION_MASK
        | Gdk.EventMask.BUTTON_PRESS_MASK
        | Gdk.EventMask.BUTTON_RELEASE_MASK
        | Gdk.EventMask.SMOOTH_SCROLL_MASK
    )
    widget.connect("event", on_event)
    for signal in ("key-press-event", "key-release-event"):
        window.connect(signal, on_event)
    widget.connect("realize", lambda _: widget.get_window().set_event_compression(False))
    return widget


def field():
    widget = Gtk.Entry()
    widget.connect("changed", lambda _: say("text " + widget.get_text()))
    widget.connect("activate", lambda _: say("activated"))
    return widget


def terminal():
    gi.require_version("Vte", "2.91")
    from gi.repository import Vte

    widget = Vte.Terminal()
    widget.spawn_sync(Vte.PtyFlags.DEFAULT, None, ["/bin/sh", "-c", "cat > /dev/null"], None, 0, None, None, None)
    widget.connect("contents-changed", lambda _: say("text " + widget.get_text(None)[0].strip()))
    return widget


display = Gdk.Display.get_default()
if type(display).__name__ == "X11Display":  # where nobody manages windows
    window = Gtk.Window(type=Gtk.WindowType.POPUP)
    window.move(x, y)
    window.resize(width, height)
    window.connect("map-event", lambda *_: window.get_window().focus(Gdk.CURRENT_TIME))
else:
    window = Gtk.Window()
    corners = [display.get_monitor(number).get_geometry() for number in range(display.get_n_monitors())]
    window.fullscreen_on_monitor(Gdk.Screen.get_default(), [(each.x, each.y) for each in corners].index((x, y)))
window.add({"area": area, "field": field, "terminal": terminal}[kind]())
window.connect("focus-in-event", lambda *_: say("ready"))
window.show_all()
window.get_child().grab_focus()
Gtk.main()
