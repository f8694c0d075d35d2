"""A program that desktops open URLs with: fake_desktop_program.py NAME. Prints "ready", and then what is asked of it."""

import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

NAME = sys.argv[1]
INTERFACE = "org.freedesktop.Application"


class Program(dbus.service.Object):
    @dbus.service.method(INTERFACE, in_signature="a{sv}")
    def Activate(self, _platform):
        print("Activate", flush=True)

    @dbus.service.method(INTERFACE, in_signature="asa{sv}")
    def Open(self, urls, _platform):
        print("Open", *urls, flush=True)


DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
Program(dbus.service.BusName(NAME, bus), "/" + NAME.replace(".", "/"))
print("ready", flush=True)
GLib.MainLoop().run()
