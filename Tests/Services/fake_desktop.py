"""A template for python3-dbusmock: what the desktop says about its looks."""
import dbus
from dbusmock import MOCK_IFACE

BUS_NAME = "org.freedesktop.portal.Desktop"
MAIN_OBJ = "/org/freedesktop/portal/desktop"
MAIN_IFACE = "org.freedesktop.portal.Settings"
SYSTEM_BUS = False


def load(mock, parameters):
    mock.scheme = 1


@dbus.service.method(MAIN_IFACE, in_signature="ss", out_signature="v")
def Read(self, group, key):
    if (group, key) != ("org.freedesktop.appearance", "color-scheme"):
        raise dbus.exceptions.DBusException("none", name="org.freedesktop.portal.Error.NotFound")
    return dbus.UInt32(self.scheme, variant_level=1)


@dbus.service.method(MOCK_IFACE, in_signature="u", out_signature="")
def Change(self, scheme):
    self.scheme = scheme
    self.EmitSignal(MAIN_IFACE, "SettingChanged", "ssv",
                    ["org.freedesktop.appearance", "color-scheme", dbus.UInt32(scheme)])
    self.EmitSignal(MAIN_IFACE, "SettingChanged", "ssv",
                    ["org.gnome.desktop.interface", "color-scheme", dbus.UInt32(9)])
