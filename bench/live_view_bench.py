#!/usr/bin/python3
"""Live view: pictures per second a client receives from dmsd, the spread of
their arrival times (a picture held up shows as a long gap), and the daemon's
CPU time per second of stream, for the full-size and the QVGA stream of the
test picture, one client at a time, each for SECONDS (default 10).

Usage (as root, it makes network namespaces): live_view_bench.py BUILD [SECONDS]
"""
import os
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
import netns  # noqa: E402
from bench_daemon import cpu_seconds  # noqa: E402

# Runs in the client namespace: reads the stream, prints one arrival time
# (monotonic seconds) per picture chunk.
CLIENT = r'''
import socket, struct, sys, time
host, path, seconds = sys.argv[1], sys.argv[2], float(sys.argv[3])
s = socket.create_connection((host, 9000))
s.sendall(("GET %s HTTP/1.1\r\nHost: %s\r\n\r\n" % (path, host)).encode())
buf = b""
while b"\r\n\r\n" not in buf:
    buf += s.recv(65536)
buf = buf.split(b"\r\n\r\n", 1)[1]
need, end = 224, time.monotonic() + seconds
while time.monotonic() < end:
    while len(buf) >= need:
        if need == 224:
            buf, need = buf[224:], 8
        elif need == 8:
            size = struct.unpack("<I", buf[4:8])[0]
            need = 8 + size + (size & 1)
        else:
            print("%.6f" % time.monotonic())
            buf, need = buf[need:], 8
    data = s.recv(262144)
    if not data:
        break
    buf += data
'''


def percentile(values, p):
    values = sorted(values)
    return values[min(len(values) - 1, int(len(values) * p / 100))]


def measure(net, daemon, path, seconds):
    before = cpu_seconds(daemon.pid)
    out = net.client(["python3", "-c", CLIENT, net.server_ip, path, str(seconds)],
                     timeout=seconds + 30).stdout.split()
    used = cpu_seconds(daemon.pid) - before
    times = [float(t) for t in out]
    steady = [t for t in times if t >= times[0] + 1.0]  # past the start's catching up
    gaps = [(b - a) * 1000 for a, b in zip(steady, steady[1:])]
    early = [(b - a) * 1000 for a, b in zip(times, times[1:]) if b < times[0] + 1.0]
    rate = (len(steady) - 1) / (steady[-1] - steady[0])
    print("%-22s %6.1f pictures/s  gap p50 %5.1f ms  p99 %5.1f ms  max %5.1f ms  "
          "dmsd CPU %4.1f %%; first second: %d pictures" % (
              path, rate, percentile(gaps, 50), percentile(gaps, 99), max(gaps),
              100 * used / seconds, len(early) + 1))


def main():
    build, seconds = sys.argv[1], float(sys.argv[2]) if len(sys.argv) > 2 else 10
    dmsd = os.path.join(build, "app", "dmsd")
    media, state = tempfile.mkdtemp(), tempfile.mkdtemp()
    with netns.Pair() as net:
        daemon = net.start_server([dmsd, "--media", media, "--interface", net.server_if,
                                   "--state", state, "--live-view", "test"])
        try:
            time.sleep(2)
            for path in ("/livestream.avi", "/qvga_livestream.avi"):
                measure(net, daemon, path, seconds)
        finally:
            daemon.terminate()
            daemon.wait(timeout=30)
    subprocess.run(["rm", "-rf", media, state])


if __name__ == "__main__":
    main()
