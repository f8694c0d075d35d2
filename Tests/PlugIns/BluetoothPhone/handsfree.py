"""The hands-free side of the phone: an audio gateway that a telephony service talks to by AT commands, over a socket that it is
handed as BlueZ does."""

import socket

import dbus
from gi.repository import GLib

PROFILE = '0000111e-0000-1000-8000-00805f9b34fb' # that of the computer, which the service registers


class Gateway:
    def __init__(self, connection):
        self.connection, self.buffer = connection, b''
        self.states = dict(service=1, call=0, callsetup=0, callheld=0, signal=4, roam=0, battchg=3)
        self.number, self.is_incoming, self.call_state = '', True, 4
        self.isReady = False

    def say(self, line):
        self.connection.sendall(('\r\n%s\r\n' % line).encode())

    def set(self, key, value):
        if self.states[key] != value:
            self.states[key] = value
            self.say('+CIEV: %d,%d' % (list(self.states).index(key) + 1, value))

    def read(self, *_):
        data = self.connection.recv(1024)
        self.buffer += data
        while b'\r' in self.buffer:
            line, self.buffer = self.buffer.split(b'\r', 1)
            if line.strip():
                self.take(line.decode().strip())
        return bool(data)

    def take(self, command):
        if command.startswith('AT+BRSF'):
            self.say('+BRSF: 225')
        elif command == 'AT+CIND=?':
            most = dict(signal=5, battchg=5, callsetup=3, callheld=2)
            self.say('+CIND: ' + ','.join('("%s",(0-%d))' % (key, most.get(key, 1)) for key in self.states))
        elif command == 'AT+CIND?':
            self.say('+CIND: ' + ','.join(str(value) for value in self.states.values()))
        elif command == 'AT+CHLD=?':
            self.say('+CHLD: (0,1,2,3)')
        elif command == 'AT+COPS?':
            self.say('+COPS: 0,0,"Network"')
        elif command == 'AT+CLCC' and self.number:
            self.say('+CLCC: 1,%d,%d,0,0,"%s",145' % (self.is_incoming, self.call_state, self.number))
        self.say('OK')
        self.isReady = self.isReady or command.startswith('AT+CLIP')
        if command.startswith('ATD'):
            self.number, self.is_incoming, self.call_state = command[3:].rstrip(';'), False, 2
            self.set('callsetup', 2)
        elif command == 'ATA':
            self.answer()
        elif command in ('AT+CHUP', 'AT+CHLD=1', 'AT+CHLD=11'):
            self.end()

    def isThere(self, *_):
        """Whether the service has asked for all that it needs."""
        return 'yes' if self.isReady else ''

    def ring(self, number):
        self.number, self.is_incoming, self.call_state = number, True, 4
        self.set('callsetup', 1)
        self.say('RING')
        self.say('+CLIP: "%s",145' % number)

    def answer(self, *_):
        self.call_state = 0
        self.set('call', 1)
        self.set('callsetup', 0)

    def end(self, *_):
        self.number = ''
        self.set('call', 0)
        self.set('callsetup', 0)

    def drop(self, *_):
        self.connection.shutdown(socket.SHUT_RDWR)


gateway = None


def connect(bus, device, sender, path, done, failed):
    global gateway
    theirs, ours = socket.socketpair()
    gateway = Gateway(ours)
    GLib.io_add_watch(ours.fileno(), GLib.IO_IN | GLib.IO_HUP, gateway.read)
    options = dbus.Dictionary({'Version': dbus.UInt16(0x0107), 'Features': dbus.UInt16(0x3F)}, signature='sv')
    dbus.Interface(bus.get_object(sender, path), 'org.bluez.Profile1').NewConnection(
        dbus.ObjectPath(device), dbus.types.UnixFd(theirs.fileno()), options, reply_handler=done, error_handler=failed)
    theirs.close()


def command(text):
    word, _, rest = text.partition(' ')
    return getattr(gateway, word)(rest) if gateway else ''
