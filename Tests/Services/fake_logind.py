"""A template for python3-dbusmock: logind's inhibitors. Blocking is allowed unless "refuse" says so."""
import os

import dbus

BUS_NAME = "org.freedesktop.login1"
MAIN_OBJ = "/org/freedesktop/login1"
MAIN_IFACE = "org.freedesktop.login1.Manager"
SYSTEM_BUS = True


def load(mock, parameters):
    mock.fifo = parameters["fifo"]
    mock.refuse = bool(parameters.get("refuse", False))


@dbus.service.method(MAIN_IFACE, in_signature="ssss", out_signature="h")
def Inhibit(self, what, who, why, mode):
    if self.refuse and mode == "block":
        raise dbus.exceptions.DBusException("Not allowed", name="org.freedesktop.DBus.Error.AccessDenied")
    with open(self.fifo + ".asked", "a") as asked:
        asked.write(f"{what} {mode} {why}\n")
    descriptor = os.open(self.fifo, os.O_WRONLY)
    answer = dbus.types.UnixFd(descriptor)  # a copy, which goes with the answer
    os.close(descriptor)
    return answer
