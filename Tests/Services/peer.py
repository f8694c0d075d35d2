"""A program on the session bus that a test drives: a media player that behaves well or badly, property by property, when its name
(the first argument) is a player's, else an editor."""
import os
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

PLAYER = "org.mpris.MediaPlayer2.Player"
ROOT = "org.mpris.MediaPlayer2"
PROPERTIES = "org.freedesktop.DBus.Properties"
APPLICATION = "org.freedesktop.Application"

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
loop = GLib.MainLoop()


class Failure(dbus.DBusException):
    def __init__(self, name, text):
        super().__init__(text)
        self._dbus_error_name = name


class Player(dbus.service.Object):
    def __init__(self, bus, path):
        super().__init__(bus, path)
        self.calls = []
        self.values = {
            "PlaybackStatus": dbus.String("Paused" if sys.argv[1].endswith(".paused") else "Playing"),
            "Volume": dbus.Double(0.5),
            "Shuffle": dbus.Boolean(True),
            "Position": dbus.Int64(1 << 40),
            "Identity": dbus.String("Peer"),
            "SupportedMimeTypes": dbus.Array(["audio/ogg"], signature="s"),
            "LoopStatus": dbus.Int32(5),  # of another type than it should have
            "Metadata": dbus.Dictionary({
                "mpris:trackid": dbus.ObjectPath("/track/1"),
                "xesam:artist": dbus.Array(["Jane", "Joe"], signature="s"),
                "bytes": dbus.ByteArray(b"\0\1"),
                "numbers": dbus.Array([1, 2], signature="u"),
                "most": dbus.UInt64(2**64 - 1),
                "pair": dbus.Struct([dbus.String("a"), dbus.Struct([dbus.Byte(7)])]),
                "nested": dbus.Dictionary({"deep": dbus.Array([dbus.Dictionary({"x": 1}, signature="si")])}, signature="sv"),
            }, signature="sv"),
        }

    @dbus.service.method(PROPERTIES, in_signature="ss", out_signature="v", async_callbacks=("answer", "fail"))
    def Get(self, interface, name, answer, fail):
        if name == "Rate":  # late
            GLib.timeout_add(100, lambda: answer(dbus.Double(1.0)) and False)
        elif name == "MinimumRate" or sys.argv[1].endswith(".silent"):  # never
            pass
        elif name == "MaximumRate":  # an error without a text
            fail(Failure("org.example.Error.Strange", ""))
        elif name == "CanSeek":  # an error that looks like one of the bus itself
            fail(Failure("org.freedesktop.DBus.Error.ServiceUnknown", "no such thing here"))
        elif name in self.values:
            answer(self.values[name])
        else:
            fail(Failure("org.freedesktop.DBus.Error.UnknownProperty", "there is no " + name))

    @dbus.service.method(PROPERTIES, in_signature="ssv", out_signature="")
    def Set(self, interface, name, value):
        if name == "Shuffle":
            raise Failure("org.freedesktop.DBus.Error.PropertyReadOnly", "not that one")
        self.values[name] = value

    @dbus.service.method(PLAYER)
    def Play(self):
        self.calls.append("Play")
        self.values["PlaybackStatus"] = dbus.String("Playing")

    @dbus.service.method(PLAYER)
    def Pause(self):
        self.calls.append("Pause")
        self.values["PlaybackStatus"] = dbus.String("Paused")

    @dbus.service.method(PLAYER)
    def Next(self):  # ends in the middle of it
        os._exit(1)

    @dbus.service.method(PLAYER, in_signature="ox")
    def SetPosition(self, track, position):
        self.calls.append("SetPosition %s %d" % (track, position))

    @dbus.service.method(PLAYER, in_signature="s", out_signature="as")
    def OpenUri(self, uri):
        return self.calls + [uri]

    @dbus.service.method(ROOT)
    def Quit(self):
        if sys.argv[1].endswith(".abrupt"):  # before it answers
            os._exit(0)
        GLib.idle_add(loop.quit)


class Editor(dbus.service.Object):
    """What knows no player's interface, and is quit by an action."""

    @dbus.service.method(APPLICATION, in_signature="sava{sv}")
    def ActivateAction(self, name, parameters, platform_data):
        if name == "quit":
            GLib.idle_add(loop.quit)


bus = dbus.SessionBus()
name = dbus.service.BusName(sys.argv[1], bus)
if sys.argv[1].startswith(ROOT):
    peer = Player(bus, "/org/mpris/MediaPlayer2")
else:
    peer = Editor(bus, "/" + sys.argv[1].replace(".", "/").replace("-", "_"))
print("ready", flush=True)
loop.run()
