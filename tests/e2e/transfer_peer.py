#!/usr/bin/python3
"""The other side of ImportResource and ExportResource, run in the client
namespace: one HTTP/1.1 server that

- serves the files of DIR over GET (any other path: 404), at most RATE bytes
  per second when RATE is not 0;
- takes POST bodies, answering "Expect: 100-continue" first, and stores each
  as DIR/received/N with its request headers in DIR/received/N.json;
- records GENA NOTIFY bodies, one per line, in DIR/events.txt;
- misbehaves on purpose on a few paths: GET /garbage (no HTTP status
  line), GET /reset (headers, part of the body, then a reset), GET
  /chunked/NAME and /nolength/NAME (NAME sent chunked, or without
  Content-Length until the connection closes); POST /refuse (403 before the
  body), /fail (500 after it), /reset (connection dropped mid-body).

Usage: transfer_peer.py ADDRESS DIR RATE. Prints its port, then serves until
killed.
"""
import http.server
import json
import os
import socket
import struct
import sys
import threading
import time

ROOT = sys.argv[2]
RATE = int(sys.argv[3])
LOCK = threading.Lock()
COUNTER = [0]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def misbehave_get(self):
        name = os.path.basename(self.path)
        if self.path == "/garbage":
            self.wfile.write(b"\x00\xffNOT HTTP AT ALL\r\n\r\n")
            self.close_connection = True
            return True
        if self.path == "/reset":
            self.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n" + b"x" * 1000)
            self.wfile.flush()
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER,
                                       struct.pack("ii", 1, 0))
            self.close_connection = True
            return True
        if self.path.startswith(("/chunked/", "/nolength/")):
            with open(os.path.join(ROOT, name), "rb") as f:
                data = f.read()
            chunked = self.path.startswith("/chunked/")
            self.wfile.write(b"HTTP/1.1 200 OK\r\n" +
                             (b"Transfer-Encoding: chunked\r\n" if chunked else b"") +
                             b"Connection: close\r\n\r\n")
            for at in range(0, len(data), 50000):
                piece = data[at:at + 50000]
                self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece) if chunked else piece)
            if chunked:
                self.wfile.write(b"0\r\n\r\n")
            self.close_connection = True
            return True
        return False

    def misbehave_post(self):
        if self.path == "/refuse":
            self.send_response(403)
            self.send_header("Content-Length", "0")
            self.send_header("Connection", "close")
            self.end_headers()
            self.close_connection = True
            return True
        if self.path == "/reset":
            self.rfile.read(1000)
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER,
                                       struct.pack("ii", 1, 0))
            self.close_connection = True
            return True
        return False

    def do_GET(self):
        if self.misbehave_get():
            return
        path = os.path.join(ROOT, os.path.basename(self.path))
        if not os.path.isfile(path) or self.path.count("/") != 1:
            self.send_response(404)
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        size = os.path.getsize(path)
        self.send_response(200)
        self.send_header("Content-Length", str(size))
        self.send_header("Content-Type", "application/octet-stream")
        self.end_headers()
        start = time.time()
        sent = 0
        with open(path, "rb") as f:
            while True:
                piece = f.read(65536)
                if not piece:
                    break
                try:
                    self.wfile.write(piece)
                except OSError:
                    return
                sent += len(piece)
                if RATE:
                    ahead = sent / RATE - (time.time() - start)
                    if ahead > 0:
                        time.sleep(ahead)

    def do_POST(self):
        if self.misbehave_post():
            return
        length = int(self.headers.get("Content-Length", "-1"))
        body = b""
        if length >= 0:
            while len(body) < length:
                piece = self.rfile.read(min(1 << 20, length - len(body)))
                if not piece:
                    break
                body += piece
        elif "chunked" in self.headers.get("Transfer-Encoding", ""):
            while True:
                size = int(self.rfile.readline().strip().split(b";")[0], 16)
                if size == 0:
                    self.rfile.readline()
                    break
                body += self.rfile.read(size)
                self.rfile.readline()
        with LOCK:
            COUNTER[0] += 1
            number = COUNTER[0]
        folder = os.path.join(ROOT, "received")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "%d.json" % number), "w") as f:
            json.dump({"path": self.path, "headers": dict(self.headers.items())}, f)
        with open(os.path.join(folder, str(number)), "wb") as f:
            f.write(body)
        self.send_response(500 if self.path == "/fail" else 200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def do_NOTIFY(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0))).decode()
        with LOCK, open(os.path.join(ROOT, "events.txt"), "a") as f:
            f.write(body.replace("\n", " ") + "\n")
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()


server = http.server.ThreadingHTTPServer((sys.argv[1], 0), Handler)
print(server.server_address[1], flush=True)
server.serve_forever()
