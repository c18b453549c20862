#!/usr/bin/python3 -Wignore
"""Uses the window as somebody does who hears it: tells what there is, presses the switch, and tells
of what changes were said and what there is then. A change that is said twice is an error.

    listen.py BUILD ROOT
"""
import os
import subprocess
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, Gio, GLib

build, root = sys.argv[1:]
SWITCH = "Network client"
heard = []  # changes: of whom, of what, to what
started = []


def wait(what, condition):
    ends = time.monotonic() + 120
    while not (found := condition()):
        if time.monotonic() > ends or any(process.poll() is not None for process in started):
            sys.exit(f"Nothing comes of the wait for {what}.")
        while GLib.MainContext.default().iteration(False):
            pass
        time.sleep(0.02)
    return found


def bus_address():
    """None until its launcher answers, whom nobody else is to start."""
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    call = ("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")
    try:
        return bus.call_sync(*call, None, None, Gio.DBusCallFlags.NO_AUTO_START, -1).unpack()[0]
    except GLib.Error:
        return None


def hear(event):
    change = (event.source.get_name(), event.type.split(":")[-1], event.detail1)
    before = [each for each in heard if each[:2] == change[:2]]
    if before and before[-1] == change and event.source.get_role() != Atspi.Role.NOTIFICATION:
        print(*change, "is said twice")
    heard.append(change)


def has(node, state):
    return node.get_state_set().contains(getattr(Atspi.StateType, state))


def showing(node):
    if has(node, "SHOWING"):
        yield node
        for index in range(0 if has(node, "EXPANDABLE") else node.get_child_count()):
            yield from showing(node.get_child_at_index(index))


def window():
    """The first of each name that shows; the items of no menu."""
    desktop = Atspi.get_desktop(0)
    desktop.clear_cache()
    found = {}
    for application in (desktop.get_child_at_index(index) for index in range(desktop.get_child_count())):
        named = application and application.get_name() == "com.quorvane.Tessaline"
        if named and application.get_child_count():
            for node in showing(application.get_child_at_index(0)):
                found.setdefault(node.get_name(), node)
    return found


def tell():
    for name, node in window().items():
        role = node.get_role_name()
        checked = ", checked" if has(node, "CHECKED") else ", unchecked"
        enabled = ", enabled" if has(node, "ENABLED") else ", disabled"
        # The toolkit's own check boxes can be pressed as well since Qt 6.8; the switch always can.
        left_out = "Press" if role == "check box" and name != SWITCH else None
        names = [node.get_action_name(index) for index in range(node.get_n_actions())]
        actions = [action for action in names if action != left_out]
        if has(node, "FOCUSABLE"):
            print(role, f'"{name}"' + (checked if role == "check box" else "") + enabled, *actions)
        elif role not in ("filler", "label", "panel"):
            print(role, f'"{name}"')


def turn_on():
    """While it loads, the switch is deaf and comes back."""
    before = len(heard)
    works, returns = (SWITCH, "enabled", 0), (SWITCH, "checked", 0)
    window()[SWITCH].do_action(0)
    wait("an answer", lambda: works in heard[before:] or returns in heard[before:])
    return works in heard[before:]


try:
    started.append(subprocess.Popen(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"],
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
    everything = os.environ | {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
    os.environ["AT_SPI_BUS_ADDRESS"] = wait("the bus", bus_address)
    listener = Atspi.EventListener.new(hear)
    for kind in ("state-changed:checked", "state-changed:enabled", "state-changed:showing",
                 "announcement"):
        listener.register("object:" + kind)
    started.append(subprocess.Popen(
        [f"{build}/bin/Preferences", "--root", root, f"{build}/Tessaline.prefPane"], env=everything))
    wait("the window", lambda: "Status: Not loaded" in window())
    tell()
    wait("the switch", turn_on)
    wait("the client", lambda: "Status: Connected" in (name for name, kind, value in heard))
    wait("rest", lambda: ("Working", "showing", 0) in heard)
    print()
    for name in (SWITCH, "Working"):
        print(f"said of {name}:", *sorted({change[1] for change in heard if change[0] == name}))
    print()
    tell()
finally:
    for process in reversed(started):
        process.terminate()
        process.wait()
