"""fake_phone.py FOLDER CONTROL DAEMON [CONTACTS MESSAGES]: runs KDE Connect's daemon, and plays an Android phone to it over loopback. To be
run in a network namespace of its own. What is to happen is told by lines in the fifo CONTROL: `link`, `unlink`, `refuse` (to be paired),
`message THREAD NUMBER TEXT`, `ring NUMBER`, `missed NUMBER`. What the phone was made to do it prints: `linked`, `paired`, `sent NUMBER TEXT`,
`shared URL`. As many more contacts and messages as said are on it."""
import json
import os
import selectors
import signal
import socket
import ssl
import subprocess
import sys
import time

IDENTIFIER = "5ca1ab1e0000000000000000000c0ffe"
SPEAKS = ["telephony", "sms.messages", "contacts.response_uids_timestamps", "contacts.response_vcards", "battery"]
UNDERSTANDS = ["share.request", "sms.request", "sms.request_conversations", "sms.request_conversation",
               "contacts.request_all_uids_timestamps", "contacts.request_vcards_by_uid", "battery.request"]
START = 1_770_000_000_000  # of its messages, in milliseconds


def card(name, number):
    name = name.encode().hex("=").upper()
    return ("BEGIN:VCARD\nVERSION:2.1\nN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:" + f";={name};;;\nTEL;CELL:{number}\n"
            + "END:VCARD")


class Phone:
    def __init__(self, folder, contact_count, message_count):
        self.folder = folder
        self.link = None
        self.buffer = b""
        self.agrees = True
        self.messages = []
        self.cards = {"1r1": card("Jörg", "+491701"), "2r2": card("Bob", "+491702")}
        self.add(7, ["+491701"], "First", 1)
        self.add(7, ["+491701"], "Answer", 2)
        self.add(8, ["+491702", "+491703"], "Group", 1)
        for index in range(message_count):
            self.add(100 + index % 50, [f"+4915{index % 50:02}"], f"m{index}", 1 + index % 2)
        for index in range(contact_count):
            self.cards[f"c{index}"] = card(f"Contact {index}", f"+4916{index:06}")

    def add(self, thread, addresses, text, kind):
        message = {"_id": len(self.messages) + 1, "thread_id": thread, "addresses": [{"address": a} for a in addresses],
                   "body": text, "date": START + len(self.messages) * 1000, "type": kind, "read": 0, "event": 1, "sub_id": 1}
        self.messages.append(message)
        return message

    # -- The line

    def connect(self):
        """The daemon is the server of the connection, and so the client of what is encrypted in it."""
        certificate, key = self.folder + "/phone.crt", self.folder + "/phone.key"
        if not os.path.exists(certificate):
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "365", "-keyout", key,
                            "-out", certificate, "-subj", "/O=KDE/OU=KDE Connect/CN=" + IDENTIFIER], check=True,
                           stderr=subprocess.DEVNULL)
        plain = None
        for _ in range(200):
            try:
                plain = socket.create_connection(("127.0.0.1", 1716), 10)
                break
            except OSError:
                time.sleep(0.1)
        self.link = plain
        self.send("identity", {"deviceId": IDENTIFIER, "deviceName": "Fake phone", "deviceType": "phone", "protocolVersion": 7,
                               "incomingCapabilities": ["kdeconnect." + name for name in UNDERSTANDS],
                               "outgoingCapabilities": ["kdeconnect." + name for name in SPEAKS]})
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        self.link = context.wrap_socket(plain, server_side=True)
        self.buffer = b""
        print("linked", flush=True)

    def send(self, kind, body):
        packet = {"id": int(time.time() * 1000), "type": "kdeconnect." + kind, "body": body}
        self.link.sendall((json.dumps(packet) + "\n").encode())

    def tell_messages(self, messages):
        self.send("sms.messages", {"version": 2, "messages": messages})

    def receive(self):
        """False at the end."""
        data = self.link.recv(65536)
        while self.link.pending():
            data += self.link.recv(65536)
        self.buffer += data
        *lines, self.buffer = self.buffer.split(b"\n")
        for line in lines:
            packet = json.loads(line)
            self.obey(packet["type"].removeprefix("kdeconnect."), packet["body"])
        return bool(data)

    # -- What it is asked

    def obey(self, kind, body):
        if kind == "pair" and body["pair"]:
            self.send("pair", {"pair": self.agrees})
            print("paired" if self.agrees else "refused", flush=True)
        elif kind == "sms.request_conversations":
            newest = {message["thread_id"]: message for message in self.messages}
            for message in newest.values():
                self.tell_messages([message])
        elif kind == "sms.request_conversation":
            self.tell_messages([message for message in self.messages if message["thread_id"] == body["threadID"]])
        elif kind == "sms.request":
            numbers = [address["address"] for address in body["addresses"]]
            print("sent", numbers[0], body["messageBody"], flush=True)
            self.tell_messages([self.add(7, numbers, body["messageBody"], 2)])
        elif kind == "contacts.request_all_uids_timestamps":
            self.send("contacts.response_uids_timestamps", {"uids": list(self.cards)} | dict.fromkeys(self.cards, "1000"))
        elif kind == "contacts.request_vcards_by_uid":
            asked = {uid: self.cards[uid] for uid in body["uids"] if uid in self.cards}
            self.send("contacts.response_vcards", {"uids": list(asked)} | asked)
        elif kind == "battery.request":
            self.send("battery", {"currentCharge": 61, "isCharging": False, "thresholdEvent": 0})
        elif kind == "share.request":
            print("shared", body.get("url"), flush=True)

    # -- What happens to it

    def happen(self, text):
        event, *words = text.split(" ", 1)
        rest = words[0] if words else ""
        if event == "refuse":
            self.agrees = False
        elif event == "message":
            thread, number, content = rest.split(" ", 2)
            self.tell_messages([self.add(int(thread), [number], content, 1)])
        elif event == "ring":
            self.send("telephony", {"event": "ringing", "phoneNumber": rest})
        elif event == "missed":
            self.send("telephony", {"event": "missedCall", "phoneNumber": rest})


def main(folder, control, daemon, contact_count="0", message_count="0"):
    server = subprocess.Popen([daemon], stderr=subprocess.DEVNULL)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    phone = Phone(folder, int(contact_count), int(message_count))
    orders = open(os.open(control, os.O_RDWR), "rb", buffering=0)
    selector = selectors.DefaultSelector()
    selector.register(orders, selectors.EVENT_READ)
    print("ready", flush=True)
    try:
        while True:
            for key, _ in selector.select():
                if key.fileobj is not orders:
                    if key.fileobj.fileno() < 0:  # closed by an order that came with it
                        continue
                    if not phone.receive():
                        selector.unregister(key.fileobj)
                    continue
                for order in orders.read(65536).decode().splitlines():
                    if order == "link":
                        phone.connect()
                        selector.register(phone.link, selectors.EVENT_READ)
                    elif order == "unlink":
                        selector.unregister(phone.link)
                        phone.link.close()
                    else:
                        phone.happen(order)
    finally:
        server.terminate()
        server.wait()


main(*sys.argv[1:])
