"""A phone without a radio, for a real obexd with VXObexdShim: it offers its contacts, calls and messages at local sockets, and
stands for BlueZ on the bus. Tests drive it by the object /phone, interface org.vornix.Phone, of the name org.bluez:

    Do(command) -> text     new HANDLE NUMBER TEXT, many COUNT, contacts COUNT: what is on the phone
                            refuse, allow, silent, speak, drop, cut: how it behaves
                            set Paired|Connected|Powered true|false, profiles UUID...: what BlueZ tells of it
                            pushed, changed, listening: what it got
                            call ring NUMBER|answer|end|drop: its calls
"""

import os
import socket
import struct
import sys
import threading

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

import handsfree

FOLDER = os.environ['VX_PHONE_SOCKETS']
ADDRESS = '11:22:33:44:55:66'
DEVICE = '/org/bluez/hci0/dev_11_22_33_44_55_66'
PHONEBOOK, MESSAGES, CALLS = 0x112F, 0x1132, 0x111F
CHANNELS = {PHONEBOOK: 19, MESSAGES: 16}
EVENTS_PROFILE = '00001133-0000-1000-8000-00805f9b34fb'
EVENTS_TARGET = bytes.fromhex('bb582b41420c11dbb0de0800200c9a66')


def uuid_text(number):
    return '%08x-0000-1000-8000-00805f9b34fb' % number


class Contents:
    """What is on the phone."""

    def __init__(self):
        self.cards = [self.card('N:Owner;;;;', '+4900'),
                      self.card('N;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:M=C3=BCller;J=C3=B6rg;;;', '+491701')]
        self.messages = {'0000000000000001': ['inbox', '+491701', 'Grüße', 'no'],
                         '0000000000000002': ['sent', '+491702', 'gesendet', 'yes']}
        self.calls = [('MISSED', '+491702', '20261121T203000'), ('DIALED', '+491703', '20261121T213000Z'),
                      ('RECEIVED', '', '20261120T080000')]
        self.pushed, self.changed = [], []
        self.is_cut = False

    @staticmethod
    def card(name, number, extra=''):
        return 'BEGIN:VCARD\r\nVERSION:2.1\r\n%s\r\nTEL;CELL:%s\r\n%sEND:VCARD\r\n' % (name, number, extra)

    def phonebook(self, name):
        if name.endswith('cch.vcf'):
            return ''.join(self.card('N:;;;;', number, 'X-IRMC-CALL-DATETIME;%s:%s\r\n' % (kind, date))
                           for kind, number, date in self.calls)
        cards = ''.join(self.cards)
        return cards[:len(cards) - 30] if self.is_cut else cards

    def envelope(self, handle):
        folder, number, text, read = self.messages[handle.zfill(16).upper()]
        body = ('BEGIN:MSG\r\n%s\r\nEND:MSG\r\n' % text.replace('\n', '\r\n')).encode()
        card = 'BEGIN:VCARD\r\nVERSION:2.1\r\nN:Other;One\r\nTEL:%s\r\nEND:VCARD\r\n' % number
        before, inside = (card, '') if folder == 'inbox' else ('', card)
        head = ('BEGIN:BMSG\r\nVERSION:1.0\r\nSTATUS:%s\r\nTYPE:SMS_GSM\r\nFOLDER:telecom/msg/%s\r\n%sBEGIN:BENV\r\n%s'
                'BEGIN:BBODY\r\nCHARSET:UTF-8\r\nLENGTH:%d\r\n'
                % ('READ' if read == 'yes' else 'UNREAD', folder, before, inside, len(body)))
        return head.encode() + body + b'END:BBODY\r\nEND:BENV\r\nEND:BMSG\r\n'

    def listing(self, folder, first, most):
        found = [(handle, m) for handle, m in self.messages.items() if m[0] == folder][first:first + most]
        return '<?xml version="1.0"?><MAP-msg-listing version="1.0">' + ''.join(
            '<msg handle="%s" subject="%s" datetime="20261121T203000" sender_addressing="%s" '
            'recipient_addressing="%s" type="SMS_GSM" size="20" text="yes" reception_status="complete" '
            'attachment_size="0" priority="no" read="%s" sent="no" protected="no"/>'
            % (handle, m[2][:5].split('\n')[0], m[1], m[1], m[3]) for handle, m in found) + '</MAP-msg-listing>'


contents = Contents()


class Link:
    """How the phone behaves on the air."""
    is_refusing = False
    speaks = threading.Event()
    connections = []


Link.speaks.set()


# -- Which services there are, as the service discovery protocol has it

def element(kind, value):
    return bytes([kind]) + value


def sequence(value):
    return bytes([0x35, len(value)]) + value


def short_uuid(number):
    return element(0x19, struct.pack('>H', number))


def attribute(number, value):
    return element(0x09, struct.pack('>H', number)) + value


def service_record(service):
    record = attribute(1, sequence(short_uuid(service)))
    record += attribute(4, sequence(sequence(short_uuid(0x100)) +
                                    sequence(short_uuid(3) + bytes([8, CHANNELS[service]])) + sequence(short_uuid(8))))
    record += attribute(9, sequence(sequence(short_uuid(service) + b'\x09\x01\x02')))
    if service == MESSAGES:
        record += attribute(0x315, b'\x08\x00') + attribute(0x316, b'\x08\x0f') + attribute(0x317, b'\x0a\0\0\0\x7f')
    else:
        record += attribute(0x314, b'\x08\x01') + attribute(0x317, b'\x0a\0\0\0\x03')
    return sequence(record)


def answer_discovery(connection):
    while question := connection.recv(1024):
        service = next((s for s in CHANNELS if struct.pack('>H', s) in question[5:]), None)
        body = sequence(service_record(service)) if service else b'\x35\x00'
        connection.send(struct.pack('>BHHH', 7, struct.unpack('>H', question[1:3])[0], len(body) + 3, len(body)) +
                        body + b'\0')


# -- Object exchange

def header(kind, value):
    return bytes([kind]) + struct.pack('>H', len(value) + 3) + value


def headers_of(data):
    headers = {}
    while data:
        kind = data[0]
        if kind & 0xC0 in (0, 0x40):
            size = struct.unpack('>H', data[1:3])[0]
            headers[kind], data = data[3:size], data[size:]
        elif kind & 0xC0 == 0x80:
            headers[kind], data = data[1], data[2:]
        else:
            headers[kind], data = data[1:5], data[5:]
    return headers


def parameters_of(data):
    parameters = {}
    while data:
        kind, size = data[0], data[1]
        parameters[kind], data = int.from_bytes(data[2:2 + size], 'big'), data[2 + size:]
    return parameters


class Exchange:
    """One connection of the phone's server."""
    OK, MORE, FORBIDDEN, UNKNOWN = 0xA0, 0x90, 0xC3, 0xC4

    def __init__(self, connection):
        self.connection, self.folder, self.received = connection, [], {}
        self.body, self.sending, self.piece = b'', b'', 255
        Link.connections.append(connection)

    def read(self, size):
        data = b''
        while len(data) < size:
            piece = self.connection.recv(size - len(data))
            if not piece:
                raise EOFError
            data += piece
        return data

    def reply(self, code, data=b''):
        self.connection.sendall(bytes([code]) + struct.pack('>H', len(data) + 3) + data)

    def serve(self):
        try:
            while self.handle():
                pass
        except (EOFError, OSError):
            pass

    def handle(self):
        operation, size = struct.unpack('>BH', self.read(3))
        data = self.read(size - 3)
        Link.speaks.wait()
        if operation == 0x80:
            self.connect(data)
        elif operation == 0x85:
            self.set_folder(data)
        elif operation == 0x83:
            self.get(headers_of(data))
        elif operation in (0x02, 0x82):
            self.put(operation, headers_of(data))
        else:
            self.reply(self.OK)
        return operation != 0x81

    def connect(self, data):
        self.piece = struct.unpack('>H', data[2:4])[0] - 200 # what the other side takes, with room for headers
        headers = headers_of(data[4:])
        hello = struct.pack('>BBH', 0x10, 0, 0x7FFF)
        if Link.is_refusing:
            return self.reply(self.FORBIDDEN, hello)
        self.reply(self.OK, hello + b'\xcb\0\0\0\1' + header(0x4A, headers.get(0x46, b'')))

    def set_folder(self, data):
        name = headers_of(data[2:]).get(1, b'').decode('utf-16-be').rstrip('\0')
        if data[0] & 1:
            self.folder = self.folder[:-1]
        self.folder = self.folder + [name] if name else (self.folder if data[0] & 1 else [])
        self.reply(self.OK)

    def get(self, headers):
        if 0x42 not in headers: # the next piece
            return self.send_piece(b'')
        kind = headers[0x42].rstrip(b'\0').decode()
        name = headers.get(1, b'').decode('utf-16-be').rstrip('\0')
        parameters = parameters_of(headers.get(0x4C, b''))
        told = b''
        if Link.is_refusing:
            return self.reply(self.FORBIDDEN)
        if kind == 'x-bt/phonebook':
            self.sending = contents.phonebook(name).encode()
        elif kind == 'x-bt/MAP-msg-listing':
            folder = name or (self.folder[-1] if self.folder else '')
            self.sending = contents.listing(folder, parameters.get(2, 0), parameters.get(1, 1024)).encode()
            told = header(0x4C, bytes([0x0D, 1, 0, 0x12, 2, 0, 1]) + b'\x19\x1420261121T203000+0000')
        elif kind == 'x-bt/message' and name.zfill(16).upper() in contents.messages:
            self.sending = contents.envelope(name)
        else:
            return self.reply(self.UNKNOWN)
        self.send_piece(told)

    def send_piece(self, told):
        piece, self.sending = self.sending[:self.piece], self.sending[self.piece:]
        self.reply(self.MORE if self.sending else self.OK, told + header(0x48 if self.sending else 0x49, piece))

    def put(self, operation, headers):
        self.received.update(headers)
        self.body += headers.get(0x48, b'') + headers.get(0x49, b'')
        if operation == 0x02:
            return self.reply(self.MORE)
        kind = self.received.get(0x42, b'').rstrip(b'\0').decode()
        name = self.received.get(1, b'').decode('utf-16-be').rstrip('\0')
        told = b''
        if kind == 'x-bt/MAP-NotificationRegistration':
            GLib.idle_add(reporter.start, self.received[0x4C][-1])
        elif kind == 'x-bt/messageStatus':
            contents.changed.append('%s %s' % (name, self.received[0x4C].hex()))
        elif kind == 'x-bt/message':
            contents.pushed.append(self.body.decode())
            told = header(1, '00000000000000AA\0'.encode('utf-16-be'))
        self.received, self.body = {}, b''
        self.reply(self.OK, told)


def serve(name, kind, answer):
    path = os.path.join(FOLDER, name)
    listening = socket.socket(socket.AF_UNIX, kind)
    if os.path.exists(path):
        os.unlink(path)
    listening.bind(path)
    listening.listen(5)

    def accept():
        while True:
            connection = listening.accept()[0]
            threading.Thread(target=answer, args=(connection,), daemon=True).start()
    threading.Thread(target=accept, daemon=True).start()


# -- BlueZ

class Reporter:
    """Reports new messages to obexd's notification server, by the profile that it registered."""
    connection = None
    identifier = b''

    def start(self, is_wanted):
        if not is_wanted or self.connection:
            return
        theirs, self.connection = socket.socketpair()
        sender, path = manager.profiles[EVENTS_PROFILE]
        dbus.Interface(bus.get_object(sender, path), 'org.bluez.Profile1').NewConnection(
            dbus.ObjectPath(DEVICE), dbus.types.UnixFd(theirs.fileno()), dbus.Dictionary({}, signature='sv'),
            reply_handler=lambda: threading.Thread(target=self.say_hello, daemon=True).start(),
            error_handler=lambda error: print(error, file=sys.stderr))
        theirs.close()

    def say_hello(self):
        hello = struct.pack('>BBH', 0x10, 0, 0x1000) + header(0x46, EVENTS_TARGET)
        self.connection.sendall(b'\x80' + struct.pack('>H', len(hello) + 3) + hello)
        answer = self.connection.recv(100)
        self.identifier = answer[answer.index(b'\xcb'):][:5]

    def report(self, handle):
        event = ('<MAP-event-report version="1.0"><event type="NewMessage" handle="%s" folder="telecom/msg/inbox" '
                 'msg_type="SMS_GSM"/></MAP-event-report>' % handle)
        data = (self.identifier + header(0x42, b'x-bt/MAP-event-report\0') + header(0x4C, b'\x0f\x01\x00') +
                header(0x49, event.encode()))
        self.connection.sendall(b'\x82' + struct.pack('>H', len(data) + 3) + data)
        self.connection.recv(100)


class Objects(dbus.service.Object):
    adapter = {'Address': '00:00:00:00:00:01', 'Powered': True, 'Alias': 'computer'}
    device = {'Address': ADDRESS, 'Alias': 'Fake phone', 'Name': 'Fake phone', 'Paired': True, 'Trusted': True,
              'Connected': True, 'ServicesResolved': True, 'Adapter': dbus.ObjectPath('/org/bluez/hci0'),
              'UUIDs': dbus.Array([uuid_text(u) for u in (PHONEBOOK, MESSAGES, CALLS)], signature='s')}

    @dbus.service.method('org.freedesktop.DBus.ObjectManager', out_signature='a{oa{sa{sv}}}')
    def GetManagedObjects(self):
        return {dbus.ObjectPath('/org/bluez/hci0'): {'org.bluez.Adapter1': self.adapter},
                dbus.ObjectPath(DEVICE): {'org.bluez.Device1': self.device}}


class Properties(dbus.service.Object):
    @dbus.service.signal('org.freedesktop.DBus.Properties', signature='sa{sv}as')
    def PropertiesChanged(self, interface, changed, invalidated):
        pass

    @dbus.service.method('org.freedesktop.DBus.Properties', in_signature='s', out_signature='a{sv}')
    def GetAll(self, interface):
        return objects.device if interface.endswith('Device1') else objects.adapter

    @dbus.service.method('org.bluez.Device1', in_signature='s', async_callbacks=('done', 'failed'))
    def ConnectProfile(self, profile, done, failed):
        handsfree.connect(bus, DEVICE, *manager.profiles[handsfree.PROFILE], done, failed)


class Manager(dbus.service.Object):
    profiles = {}

    @dbus.service.method('org.bluez.ProfileManager1', in_signature='osa{sv}', sender_keyword='sender')
    def RegisterProfile(self, path, profile, options, sender=None):
        self.profiles[profile.lower()] = (sender, path)

    @dbus.service.method('org.bluez.AgentManager1', in_signature='os')
    def RegisterAgent(self, path, capability):
        pass


# -- What tests ask for

class Control(dbus.service.Object):
    @dbus.service.method('org.vornix.Phone', in_signature='s', out_signature='s')
    def Do(self, command):
        word, _, rest = command.partition(' ')
        return str(getattr(self, 'do_' + word)(rest) or '')

    def do_new(self, rest):
        handle, number, text = rest.split(' ', 2)
        contents.messages[handle] = ['inbox', number, text, 'no']
        threading.Thread(target=reporter.report, args=(handle,), daemon=True).start()

    def do_many(self, rest):
        contents.messages = {'%016X' % n: ['inbox', '+49%d' % n, 'Text %d' % n, 'no'] for n in range(1, int(rest) + 1)}

    def do_contacts(self, rest):
        contents.cards = [Contents.card('N:Number %d;;;;' % n, '+49%d' % n) for n in range(int(rest) + 1)]

    def do_refuse(self, rest):
        Link.is_refusing = True

    def do_allow(self, rest):
        Link.is_refusing = False

    def do_silent(self, rest):
        Link.speaks.clear()

    def do_speak(self, rest):
        Link.speaks.set()

    def do_cut(self, rest):
        contents.is_cut = True

    def do_drop(self, rest):
        while Link.connections:
            try:
                Link.connections.pop().shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def do_set(self, rest):
        key, value = rest.split(' ')
        values, path = (objects.adapter, adapter) if key == 'Powered' else (objects.device, device)
        values[key] = value == 'true'
        path.PropertiesChanged('org.bluez.Adapter1' if key == 'Powered' else 'org.bluez.Device1',
                               {key: values[key]}, [])

    def do_profiles(self, rest):
        objects.device['UUIDs'] = dbus.Array([uuid_text(int(u, 16)) for u in rest.split()], signature='s')
        device.PropertiesChanged('org.bluez.Device1', {'UUIDs': objects.device['UUIDs']}, [])

    def do_pushed(self, rest):
        return '\n'.join(contents.pushed)

    def do_changed(self, rest):
        return '\n'.join(contents.changed)

    def do_listening(self, rest):
        return 'yes' if reporter.identifier else ''

    def do_call(self, rest):
        return handsfree.command(rest)


serve('l2cap1', socket.SOCK_SEQPACKET, answer_discovery)
for number in CHANNELS.values():
    serve('rfcomm%d' % number, socket.SOCK_STREAM, lambda connection: Exchange(connection).serve())
DBusGMainLoop(set_as_default=True)
bus = dbus.SystemBus()
reporter = Reporter()
objects, manager, control = Objects(bus, '/'), Manager(bus, '/org/bluez'), Control(bus, '/phone')
adapter, device = Properties(bus, '/org/bluez/hci0'), Properties(bus, DEVICE)
name = dbus.service.BusName('org.bluez', bus)
print('ready', flush=True)
GLib.MainLoop().run()
