"""fake_modem.py NAME CONTROL: a modem that speaks AT on the abstract socket NAME, for ModemManager's test profiles. What is to happen
to it is told by lines in the fifo CONTROL: `message NUMBER TEXT`, `part N/COUNT REFERENCE NUMBER TEXT`, `ring NUMBER`, `taken`, `over`.
What it was made to do it prints: `sent PDU`, `dialled NUMBER`, `answered`, `hung up`, `deleted INDEX`; and `over`
once it has told of that."""
import os
import re
import selectors
import socket
import sys


def swapped(digits):
    padded = digits + "F" * (len(digits) % 2)
    return "".join(b + a for a, b in zip(padded[::2], padded[1::2]))


def deliver_pdu(number, text, header=b""):
    """An SMS-DELIVER (3GPP TS 23.040) in UCS2, with the modem's default message centre."""
    digits = number.lstrip("+")
    body = header + text.encode("utf-16-be")
    return ("00" + ("44" if header else "04") + f"{len(digits):02X}" + "91" + swapped(digits) + "0008"
            + swapped("260301120000") + "40" + f"{len(body):02X}" + body.hex().upper())


class Modem:
    ANSWERS = {  # to questions about itself
        "AT+CPIN?": "+CPIN: READY", "AT+CFUN?": "+CFUN: 1", "AT+CGMI": "Example", "AT+CGMM": "Fake 1", "AT+CGMR": "1.2",
        "AT+GCAP": "+GCAP: +CGSM", "AT+CGSN": "490154203237518", "AT+GSN": "490154203237518",
        "AT+CIMI": "262011234567890", "AT+CREG?": "+CREG: 2,1", "AT+CGREG?": "+CGREG: 2,1", "AT+CSQ": "+CSQ: 20,99",
        "AT+COPS?": '+COPS: 0,2,"26201",0', "AT+CSCS=?": '+CSCS: ("IRA","GSM","UCS2")', "AT+CSCS?": '+CSCS: "UCS2"',
        "AT+CMGF=?": "+CMGF: (0,1)", "AT+CPMS=?": '+CPMS: ("ME","SM"),("ME","SM"),("ME","SM")',
        "AT+CPMS?": '+CPMS: "ME",2,50,"ME",2,50,"ME",2,50', "AT+CNMI=?": "+CNMI: (0,1,2),(0,1,2,3),(0,2),(0,1,2),(0,1)",
        "AT+WS46=?": "+WS46: (12,22,25)", "AT+CGDCONT=?": '+CGDCONT: (1-10),"IP",,,(0),(0)',
        "AT+CNUM": '+CNUM: "","+491700000",145', "AT+CLCK=?": '+CLCK: ("SC")', 'AT+CLCK="SC",2': "+CLCK: 0",
        "AT+CNMI?": "+CNMI: 2,1,0,0,0", "AT+CPBS=?": '+CPBS: ("SM","ME")', "AT+CCLK?": '+CCLK: "26/03/01,12:00:00+04"',
        "AT+CRSM=176,12258,0,0,10": "+CRSM: 144,0,98940100000000000000"}
    UNKNOWN = ("AT+COPS=?", "AT+CIND=?")

    def __init__(self):
        self.line = None  # to whoever is connected
        self.buffer = b""
        self.messages = {1: deliver_pdu("+491701234567", "Grüße"), 2: deliver_pdu("+491702", "old")}
        self.calls = []  # as +CLCC has them: [index, direction, state, number]
        self.is_sending = False
        self.memory = "ME"  # that is listed; the card's is empty

    # -- What happens to it

    def happen(self, text):
        event, *words = text.split(" ", 1)
        rest = words[0] if words else ""
        if event == "message":
            number, content = rest.split(" ", 1)
            self.store(deliver_pdu(number, content))
        elif event == "part":
            part, reference, number, content = rest.split(" ", 3)
            index, count = map(int, part.split("/"))
            self.store(deliver_pdu(number, content, bytes([5, 0, 3, int(reference), count, index])))
        elif event == "ring":
            self.calls.append([1, 1, 4, rest])
            self.say("RING")
            self.say(f'+CLIP: "{rest}",145')
        elif event == "taken":
            self.calls[0][2] = 0
        elif event == "over":
            self.calls.clear()
            self.say("NO CARRIER")
            print("over", flush=True)

    def store(self, pdu):
        index = max(self.messages, default=0) + 1
        self.messages[index] = pdu
        self.say(f'+CMTI: "ME",{index}')

    # -- What it is asked

    def take(self, data):
        self.buffer += data
        while True:
            end = b"\x1a" if self.is_sending else b"\r"
            if end not in self.buffer:
                return
            word, self.buffer = self.buffer.split(end, 1)
            text = word.decode("ascii", "replace").strip()
            if self.is_sending:
                self.is_sending = False
                print("sent", text, flush=True)
                self.say("+CMGS: 12", "OK")
            elif text:
                self.obey(text)

    def obey(self, command):
        match = re.match(r"AT\+(CMGR|CMGD)=(\d+)|ATD([+\d]+);", command)
        if command.startswith("AT+CMGL="):
            stored = self.messages if self.memory == "ME" else {}
            self.say(*[f"+CMGL: {index},1,,{len(pdu) // 2 - 1}\r\n{pdu}" for index, pdu in stored.items()], "OK")
        elif command.startswith("AT+CMGS="):
            self.is_sending = True
            self.write(b"\r\n> ")
        elif match and match[1] == "CMGR" and int(match[2]) in self.messages:
            pdu = self.messages[int(match[2])]
            self.say(f"+CMGR: 0,,{len(pdu) // 2 - 1}\r\n{pdu}", "OK")
        elif match and match[1] == "CMGD":
            if self.messages.pop(int(match[2]), None):
                print("deleted", match[2], flush=True)
            self.say("OK")
        elif match and match[3]:
            print("dialled", match[3], flush=True)
            self.calls.append([1, 0, 2, match[3]])
            self.say("OK")
        elif command == "ATA":
            print("answered", flush=True)
            self.calls[0][2] = 0
            self.say("OK")
        elif command in ("AT+CHUP", "ATH", "AT+CHLD=1", "AT+CHLD=11"):
            print("hung up", flush=True)
            self.calls.clear()
            self.say("OK")
        elif command == "AT+CLCC":
            self.say(*[f'+CLCC: {c[0]},{c[1]},{c[2]},0,0,"{c[3]}",145' for c in self.calls], "OK")
        elif command.startswith("AT+CPMS=") and command != "AT+CPMS=?":
            self.memory = command[9:11]
            self.say("+CPMS: 2,50,2,50,2,50", "OK")
        elif command in self.ANSWERS:
            self.say(self.ANSWERS[command], "OK")
        else:
            self.say("ERROR" if command in self.UNKNOWN else "OK")

    def say(self, *lines):
        self.write("".join(f"\r\n{line}\r\n" for line in lines).encode())

    def write(self, data):
        if self.line:
            self.line.sendall(data)


def main(name, control):
    modem = Modem()
    server = socket.socket(socket.AF_UNIX)
    server.bind("\0" + name)
    server.listen()
    orders = open(os.open(control, os.O_RDWR), "rb", buffering=0)
    selector = selectors.DefaultSelector()
    selector.register(server, selectors.EVENT_READ)
    selector.register(orders, selectors.EVENT_READ)
    print("ready", flush=True)
    while True:
        for key, _ in selector.select():
            if key.fileobj is server:
                modem.line = server.accept()[0]
                selector.register(modem.line, selectors.EVENT_READ)
            elif key.fileobj is orders:
                for order in orders.read(65536).decode().splitlines():
                    modem.happen(order)
            else:
                data = key.fileobj.recv(65536)
                if data:
                    modem.take(data)
                else:
                    selector.unregister(key.fileobj)


main(*sys.argv[1:])
