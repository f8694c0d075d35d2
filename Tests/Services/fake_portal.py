"""A template for python3-dbusmock: the desktop portal's global shortcuts, played by the book, with a few more methods by
which a test plays the user."""
import dbus
from dbusmock import MOCK_IFACE

BUS_NAME = "org.freedesktop.portal.Desktop"
MAIN_OBJ = "/org/freedesktop/portal/desktop"
MAIN_IFACE = "org.freedesktop.portal.GlobalShortcuts"
SYSTEM_BUS = False
REQUEST = "org.freedesktop.portal.Request"
SESSION = "org.freedesktop.portal.Session"


def load(mock, parameters):
    mock.AddProperty(MAIN_IFACE, "version", dbus.UInt32(1))
    mock.response = 0
    mock.refused = []
    mock.session = None
    mock.bound = []


def _answer(mock, sender, options, results):
    name = sender[1:].replace(".", "_")
    path = f"{MAIN_OBJ}/request/{name}/{options['handle_token']}"
    mock.EmitSignalDetailed(REQUEST, "Response", "ua{sv}", [dbus.UInt32(mock.response), results],
                            {"path": path, "destination": sender})
    return dbus.ObjectPath(path)


@dbus.service.method(MAIN_IFACE, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
def CreateSession(self, options, sender=None):
    name = sender[1:].replace(".", "_")
    self.session = f"{MAIN_OBJ}/session/{name}/{options['session_handle_token']}"
    self.bound = []
    self.AddObject(self.session, SESSION, {}, [("Close", "", "", "")])
    return _answer(self, sender, options, dbus.Dictionary({"session_handle": dbus.String(self.session)}, signature="sv"))


@dbus.service.method(MAIN_IFACE, in_signature="oa(sa{sv})sa{sv}", out_signature="o", sender_keyword="sender")
def BindShortcuts(self, session, shortcuts, parent, options, sender=None):
    if session != self.session or self.bound:
        raise dbus.exceptions.DBusException("shortcuts were bound in this session", name="org.freedesktop.portal.Error.Failed")
    self.bound = [s for s in shortcuts if str(s[1]["preferred_trigger"]) not in self.refused]
    results = dbus.Dictionary({"shortcuts": dbus.Array(self.bound, signature="(sa{sv})")}, signature="sv")
    return _answer(self, sender, options, results)


@dbus.service.method(MOCK_IFACE, in_signature="", out_signature="as")
def Triggers(self):
    return [s[1]["preferred_trigger"] for s in self.bound]


@dbus.service.method(MOCK_IFACE, in_signature="", out_signature="as")
def Identifiers(self):
    return [s[0] for s in self.bound]


@dbus.service.method(MOCK_IFACE, in_signature="s", out_signature="")
def Press(self, trigger):
    for identifier, properties in self.bound:
        if properties["preferred_trigger"] == trigger:
            self.EmitSignal(MAIN_IFACE, "Activated", "osta{sv}",
                            [dbus.ObjectPath(self.session), identifier, dbus.UInt64(0), dbus.Dictionary({}, signature="sv")])


@dbus.service.method(MOCK_IFACE, in_signature="uas", out_signature="")
def Refuse(self, response, triggers):
    self.response = response
    self.refused = list(triggers)
