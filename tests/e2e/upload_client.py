#!/usr/bin/python3
"""A raw HTTP POST for the upload tests, run in the client namespace.

Usage: upload_client.py URL FILE [--chunked] [--expect]
                        [--piece N] [--delay S] [--stop-after N]
                        [--declare N]

Sends FILE as the body of one POST, with its Content-Length (or --declare N
instead) or chunked, in pieces of --piece bytes with --delay seconds
between them; --stop-after N closes the connection after N body bytes.
With --expect it sends "Expect: 100-continue" and waits for the interim
answer first (or for a final refusal). Prints one JSON object: {"status":
final status or 0, "continued": whether 100 came, "error": text}.
"""
import argparse
import json
import socket
import sys
import time
import urllib.parse


def read_status(sock, buffered):
    """Reads one response head; (status, rest of buffer)."""
    while b"\r\n\r\n" not in buffered:
        piece = sock.recv(65536)
        if not piece:
            raise ConnectionError("closed before a response")
        buffered += piece
    head, _, rest = buffered.partition(b"\r\n\r\n")
    status = int(head.split(b" ", 2)[1])
    return status, rest


def main():
    p = argparse.ArgumentParser()
    p.add_argument("url")
    p.add_argument("file")
    p.add_argument("--chunked", action="store_true")
    p.add_argument("--expect", action="store_true")
    p.add_argument("--piece", type=int, default=65536)
    p.add_argument("--delay", type=float, default=0.0)
    p.add_argument("--stop-after", type=int, default=-1)
    p.add_argument("--declare", type=int, default=-1)
    a = p.parse_args()
    with open(a.file, "rb") as f:
        body = f.read()
    url = urllib.parse.urlsplit(a.url)
    out = {"status": 0, "continued": False, "error": ""}
    sock = socket.create_connection((url.hostname, url.port), timeout=60)
    try:
        head = ["POST %s HTTP/1.1" % url.path, "Host: %s:%d" % (url.hostname, url.port),
                "Content-Type: application/octet-stream", "Connection: close"]
        if a.chunked:
            head.append("Transfer-Encoding: chunked")
        else:
            head.append("Content-Length: %d" % (a.declare if a.declare >= 0 else len(body)))
        if a.expect:
            head.append("Expect: 100-continue")
        sock.sendall(("\r\n".join(head) + "\r\n\r\n").encode())
        buffered = b""
        if a.expect:
            status, buffered = read_status(sock, b"")
            if status != 100:
                out["status"] = status
                print(json.dumps(out))
                return
            out["continued"] = True
        sent = 0
        limit = len(body) if a.stop_after < 0 else min(a.stop_after, len(body))
        while sent < limit:
            piece = body[sent:min(limit, sent + a.piece)]
            sock.sendall(b"%x\r\n%s\r\n" % (len(piece), piece) if a.chunked else piece)
            sent += len(piece)
            if a.delay:
                time.sleep(a.delay)
        if a.stop_after >= 0:
            out["error"] = "stopped after %d bytes" % sent
            print(json.dumps(out))
            return
        if a.chunked:
            sock.sendall(b"0\r\n\r\n")
        status, _ = read_status(sock, buffered)
        out["status"] = status
    except (OSError, ValueError, IndexError) as e:
        out["error"] = "%s: %s" % (type(e).__name__, e)
    finally:
        sock.close()
    print(json.dumps(out))


if __name__ == "__main__":
    sys.exit(main())
