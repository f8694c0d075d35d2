"""A web server for tests: python3 server.py COUNT_FILE [PORT] [CERTIFICATE KEY].

Prints its port and serves on the loopback until it is ended. Each request adds a line "METHOD PATH" to the count
file before it is answered. /form answers with the form's fields as JSON, read by a strict parser; /files/NAME is what lies in the folder "files" beside the
count file; the other paths do what a
server may do wrong, see `answer`."""

import base64
import json
import os
import socket
import socketserver
import ssl
import struct
import sys
import threading
import time
import urllib.parse

from werkzeug.datastructures import Headers
from werkzeug.sansio import multipart

MEGABYTE = bytes(1 << 20)


def fields_of(boundary, body):
    decoder = multipart.MultipartDecoder(boundary.encode())
    decoder.receive_data(body)
    decoder.receive_data(None)
    fields = []
    while True:
        event = decoder.next_event()
        if isinstance(event, multipart.Epilogue):
            return fields
        if isinstance(event, multipart.Data):
            fields[-1]["data"] += event.data
        elif isinstance(event, (multipart.Field, multipart.File)):
            fields.append({"name": event.name, "filename": getattr(event, "filename", None), "data": b"",
                           "type": event.headers.get("Content-Type")})
        elif not isinstance(event, multipart.Preamble):
            raise ValueError(event)


class Handler(socketserver.StreamRequestHandler):
    def handle(self):
        self.served = 0  # on this connection
        try:
            while self.serve_one():
                pass
        except (ConnectionError, BrokenPipeError, ssl.SSLError, TimeoutError):
            pass

    def serve_one(self):
        line = self.rfile.readline().decode()
        if not line:
            return False
        self.method, target, _ = line.split(" ", 2)
        self.head = Headers()
        while (header := self.rfile.readline().decode().rstrip("\r\n")):
            name, _, value = header.partition(":")
            self.head.add(name, value.strip())
        url = urllib.parse.urlsplit(target)
        self.query = dict(urllib.parse.parse_qsl(url.query, keep_blank_values=True))
        length = int(self.head.get("Content-Length", 0))
        self.received = 0
        keep = url.path not in ("/upload", "/sip")
        if url.path == "/early":  # hangs up before it has read the body
            return False
        if url.path == "/sip":  # of what is on its way
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 16)
        parts = []
        while self.received < length:
            if url.path == "/sip":
                time.sleep(0.05)
            piece = self.rfile.read(min(length - self.received, 1 << (16 if url.path == "/sip" else 20)))
            if not piece:
                return False
            self.received += len(piece)
            if keep:
                parts.append(piece)
        self.body = b"".join(parts)
        with self.server.lock, open(self.server.count_file, "a") as file:
            file.write(f"{self.method} {target}\n")
        self.served += 1
        return self.answer(url.path)

    def send(self, body=b"", status="200 OK", headers=(), length=None):
        head = [f"HTTP/1.1 {status}", *headers]
        if length != -1:
            head.append(f"Content-Length: {len(body) if length is None else length}")
        self.wfile.write("\r\n".join(head).encode() + b"\r\n\r\n" + body)
        return length is None

    def answer(self, path):
        if path == "/form":
            kind, _, boundary = self.head.get("Content-Type", "").partition("; boundary=")
            assert kind == "multipart/form-data" and "Cookie" not in self.head
            fields = fields_of(boundary, self.body)
            for field in fields:
                field["data"] = base64.b64encode(field["data"]).decode()
            return self.send(json.dumps({"fields": fields, "headers": dict(self.head), "method": self.method,
                                         "size": len(self.body)}).encode(), headers=["Set-Cookie: a=b"])
        if path == "/raw":
            return self.send(self.body)
        if path.startswith("/files/"):  # beside the count file
            try:
                with open(os.path.join(os.path.dirname(self.server.count_file), path[1:]), "rb") as file:
                    return self.send(file.read())
            except FileNotFoundError:
                return self.send(status="404 Not Found")
        if path in ("/upload", "/sip"):
            return self.send(str(self.received).encode())
        headers = [self.query["header"]] if "header" in self.query else []
        if path == "/answer":  # what the query says
            status = self.query.get("status", "200 OK")
            self.send(self.query.get("body", "").encode(), status, headers)
            if "hangup" in self.query:  # when the next request comes
                self.rfile.read(1)
            if "farewell" in self.query:  # over TLS, and writes down that it did
                self.connection.settimeout(0)
                try:
                    self.connection.unwrap()
                except ssl.SSLWantReadError:
                    pass
                with self.server.lock, open(self.server.count_file, "a") as file:
                    file.write("farewell\n")
            return "hangup" not in self.query and "farewell" not in self.query
        if path == "/loop":
            status = self.query.get("status", "302 Found")
            query = urllib.parse.urlencode({"status": status, "time": time.time()})
            return self.send(status=status, headers=[f"Location: /loop?{query}"])
        if path == "/close":  # in the middle
            self.send(b"half", headers=headers, length=8)
            return False
        if path == "/short":  # says less than it sends
            self.send(b"four and more", length=4)
            return True
        if path == "/once":  # hangs up instead of a second answer
            return self.served == 1 and self.send(b"first")
        if path == "/reset":  # without an answer
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            return False
        if path == "/nolength":  # over TLS cut off, unless it says that this was all
            self.send(b"unannounced", length=-1)
            if "farewell" in self.query:
                self.connection.unwrap()
            return False
        if path == "/upgrade":
            self.send(b"of another protocol", "101 Switching Protocols", ["Upgrade: other"])
            return False
        if path == "/longline":
            self.wfile.write(b"HTTP/1.1 200 OK\r\nX: " + MEGABYTE + b"\r\n\r\n")
            return False
        if path == "/lead":  # elsewhere, with a body that never comes
            self.send(status="302 Found", headers=["Location: /answer?body=there"], length=int(self.query["length"]))
            while "drips" in self.query:
                self.wfile.write(b"x")
                time.sleep(0.05)
            self.rfile.read(1)
            return False
        if path == "/hints":  # without an end, and without an answer
            while True:
                self.wfile.write(b"HTTP/1.1 103 Early Hints\r\n\r\n")
                time.sleep(0.05)
        if path == "/silent":
            self.rfile.read(1)
            return False
        if path == "/slow":
            self.send(length=1000)
            while True:
                self.wfile.write(b"x")
                time.sleep(1)
        if path == "/headers":
            self.wfile.write(b"HTTP/1.1 200 OK\r\n")
            self.wfile.write(b"".join(b"X-%d: y\r\n" % i for i in range(100000)) + b"\r\n")
            return False
        if path == "/huge":  # 10 GB, announced or not
            self.send(length=10 * 10**9 if "announced" in self.query else -1)
            for _ in range(10 * 10**3):
                self.wfile.write(MEGABYTE)
            return False
        if path == "/garbage":
            self.wfile.write(b"\0\1\2 garbage\r\n\r\n")
            return False
        return self.send(status="404 Not Found")


class Server(socketserver.ThreadingMixIn, socketserver.TCPServer):
    allow_reuse_address = True
    daemon_threads = True
    request_queue_size = 256
    context = None

    def finish_request(self, request, client_address):
        if self.context is not None:
            request = self.context.wrap_socket(request, server_side=True)
        super().finish_request(request, client_address)

    def handle_error(self, request, client_address):
        pass


def main():
    port = int(sys.argv[2]) if len(sys.argv) > 2 else 0
    server = Server(("127.0.0.1", port), Handler)
    server.count_file = sys.argv[1]
    server.lock = threading.Lock()
    if len(sys.argv) > 4:
        server.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        server.context.load_cert_chain(sys.argv[3], sys.argv[4])
    print(server.server_address[1], flush=True)
    server.serve_forever()


main()
