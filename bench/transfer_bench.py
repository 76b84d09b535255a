#!/usr/bin/python3
"""The measuring half of transfer_bench.sh, which makes WORK and the source
files and removes them. usage: transfer_bench.py DMSD WORK SMALL_FILE BIG_FILE

dmsd (server namespace) has both files in its media folder. In the client
namespace tests/e2e/transfer_peer.py serves them over GET, and the receiver
below (`transfer_bench.py --receive ADDRESS DIR`) streams POST bodies to DIR/N
(transfer_peer.py grows a body in memory by concatenation: minutes for 1 GiB).
dmsd's ImportResource and ExportResource race curl's GET and POST of the same
URLs from the server namespace, onto the same disk.
"""
import html
import http.server
import itertools
import os
import signal
import sqlite3
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "e2e"))
from bench_daemon import DIDL, Bench, cpu_seconds, kib  # noqa: E402
import e2e_common  # noqa: E402
import netns  # noqa: E402
from e2e_common import UPNP_PORT, Daemon, xml_value  # noqa: E402

PEER = os.path.join(HERE, "..", "tests", "e2e", "transfer_peer.py")


class Receiver(http.server.BaseHTTPRequestHandler):
    """POST bodies (with a Content-Length) to DIR/1, DIR/2, ...; the base class
    answers "Expect: 100-continue"."""
    protocol_version = "HTTP/1.1"
    numbers = itertools.count(1)

    def log_message(self, *args):
        pass

    def do_POST(self):
        left, buffer = int(self.headers["Content-Length"]), memoryview(bytearray(1 << 20))
        with open(os.path.join(sys.argv[3], str(next(self.numbers))), "wb") as out:
            while left > 0:
                n = self.rfile.readinto(buffer[:min(left, len(buffer))])
                if not n:
                    raise ConnectionError("body cut short")
                out.write(buffer[:n])
                left -= n
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()


def soap(action, *args):
    code, body = Bench.soap(action, [(k, html.escape(v)) for k, v in args])
    if code != 200:
        raise SystemExit("transfer_bench: %s answered %d: %s" % (action, code, body[:400]))
    return body


def only_file(folder, size):
    """The mtime of the one file in folder, which must hold size bytes; empties
    the folder."""
    paths = [os.path.join(folder, n) for n in os.listdir(folder)]
    stats = [(p, os.stat(p).st_size, os.stat(p).st_mtime, os.unlink(p)) for p in paths]
    if [s[1] for s in stats] != [size]:
        raise SystemExit("transfer_bench: not one file of %d bytes: %s" % (size, stats))
    return stats[0][2]


def dmsd_run(pid, action, source, destination, size, folder):
    """One ImportResource or ExportResource: (s to the first COMPLETED answer, to
    the last IN_PROGRESS one, to the output's last write; CPU s, VmHWM, VmRSS)."""
    subprocess.run(["sync"], check=True)
    with open("/proc/%d/clear_refs" % pid, "w") as f:
        f.write("5")  # VmHWM := VmRSS
    cpu0 = cpu_seconds(pid)
    tid = xml_value(soap(action, ("SourceURI", source), ("DestinationURI", destination)),
                    "TransferID")
    wall, last = time.time(), time.monotonic()
    start = last
    while True:
        body = soap("GetTransferProgress", ("TransferID", tid))
        now = time.monotonic()
        if xml_value(body, "TransferStatus") != "IN_PROGRESS" or now - start > 1800:
            break
        last = now
        time.sleep(0.2)
    cpu = cpu_seconds(pid) - cpu0
    done = tuple(xml_value(body, k) for k in ("TransferStatus", "TransferLength", "TransferTotal"))
    if done != ("COMPLETED", str(size), str(size)):
        raise SystemExit("transfer_bench: %s ended with %s" % (action, done))
    written = only_file(folder, size) - wall
    return now - start, last - start, written, cpu, kib(pid, "VmHWM"), kib(pid, "VmRSS")


def curl_run(net, size, folder, *args):
    """curl in the server namespace: its time_total (s) for one transfer."""
    subprocess.run(["sync"], check=True)
    out = subprocess.run(net.server_cmd(["curl", "-s", "-w", "%{http_code} %{time_total}",
                                         *args]), capture_output=True, text=True, timeout=1800)
    code, seconds = (out.stdout.split() + ["", ""])[:2]
    if out.returncode or code != "200":
        raise SystemExit("transfer_bench: curl %s: %d %s" % (args, out.returncode, out.stdout))
    only_file(folder, size)
    return float(seconds)


def measure(net, pid, d, small, big, served, received, res):
    rows = []
    for export, src in itertools.product((False, True), (small, big)):
        size, name = os.path.getsize(src), os.path.basename(src)
        if export:
            url = "http://%s:9000%s" % (net.server_ip, res[os.path.join(d["media"], name)])
            run = dmsd_run(pid, "ExportResource", url, received, size, d["received"])
            curl = curl_run(net, size, d["received"], "-o", "/dev/null", "-X", "POST",
                            "-H", "Expect: 100-continue", "-T", src, received)
        else:
            result = ET.fromstring(xml_value(soap(
                "CreateObject", ("ContainerID", "DLNA.ORG_AnyContainer"),
                ("Elements", DIDL % ("import-%d" % (size >> 20)))), "Result"))
            uri = next(e for e in result.iter() if e.tag.endswith("}res")).get("importUri")
            url = served + "/" + name
            run = dmsd_run(pid, "ImportResource", url, uri, size, d["uploads"])
            curl = curl_run(net, size, d["curl"], "-o", os.path.join(d["curl"], name), url)
        rows.append(("%s %dM" % ("export" if export else "import", size >> 20), size, run, curl))
    return rows


def main():
    if sys.argv[1] == "--receive":
        server = http.server.ThreadingHTTPServer((sys.argv[2], 0), Receiver)
        print(server.server_address[1], flush=True)
        server.serve_forever()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # so that the clean-ups run
    dmsd, work, small, big = sys.argv[1:5]
    e2e_common.configure(dmsd, None)
    d = {sub: os.path.join(work, sub) for sub in ("media", "served", "received", "uploads", "curl")}
    for sub, path in d.items():
        os.makedirs(path)
        for src in (small, big) if sub in ("media", "served") else ():
            os.link(src, os.path.join(path, os.path.basename(src)))
    with netns.Pair() as net:
        Bench.net, Bench.base = net, "http://%s:%d" % (net.server_ip, UPNP_PORT)
        peers = []
        daemon = Daemon(net, os.path.join(work, "state"), "--port", "9000",
                        "--upload-dir", d["uploads"], media=d["media"])
        try:
            pid = daemon.proc.pid  # ip netns exec execs dmsd
            with open("/proc/%d/comm" % pid) as f:
                if f.read().strip() != "dmsd":
                    raise SystemExit("transfer_bench: pid %d is not dmsd" % pid)
            for argv in ([sys.executable, PEER, net.client_ip, d["served"], "0"],
                         [sys.executable, __file__, "--receive", net.client_ip, d["received"]]):
                peers.append(subprocess.Popen(net.client_cmd(argv), stdout=subprocess.PIPE,
                                              text=True))
            served, received = ["http://%s:%s" % (net.client_ip, p.stdout.readline().strip())
                                for p in peers]
            res, deadline = {}, time.time() + 180
            while len(res) < 2:  # the scan raises SystemUpdateID, then both rows are there
                if time.time() > deadline:
                    raise SystemExit("transfer_bench: the scan did not register both files")
                if xml_value(soap("GetSystemUpdateID"), "Id") not in ("", "0"):
                    db = sqlite3.connect(os.path.join(work, "state", "media.db"))
                    res = dict(db.execute("select FullPath, uri from VideoTable").fetchall())
                    db.close()
                time.sleep(0.2)
            scan = (kib(pid, "VmRSS"), kib(pid, "VmHWM"), cpu_seconds(pid))
            print("transferring ...", flush=True)
            rows = measure(net, pid, d, small, big, served, received + "/in", res)
        finally:
            for p in peers:
                p.kill()
                p.wait()
                p.stdout.close()
            status = daemon.stop()
    print("\ndmsd after its scan: VmRSS %d KiB, VmHWM %d KiB, CPU %.2f s" % scan)
    print("\n%-11s %5s %6s %5s %6s %6s %11s %6s %6s %9s %9s" % (
        "transfer", "MB/s", "curl", "ratio", "@write", "curl s", "dmsd s", "write", "CPU s",
        "VmHWM KiB", "VmRSS KiB"))
    for what, size, (seen, before, written, cpu, hwm, rss), curl in rows:
        print("%-11s %5.0f %6.0f %5.2f %6.0f %6.2f %5.2f-%5.2f %6.2f %6.2f %9d %9d" % (
            what, size / 1e6 / seen, size / 1e6 / curl, curl / seen, size / 1e6 / written,
            curl, before, seen, written, cpu, hwm, rss))
    print("\nMB/s = 10^6 B / s. dmsd: from the Import/ExportResource answer to the first"
          "\nGetTransferProgress answering COMPLETED (polled every 0.2 s; dmsd s: the last"
          "\nIN_PROGRESS answer and that one); @write: to the output's last write (mtime, at"
          "\n`write` s). curl: time_total of the same GET or POST from the server namespace;"
          "\nratio = dmsd MB/s / curl MB/s. CPU, VmHWM (peak RSS, reset before), VmRSS: dmsd,"
          "\nper transfer. Outputs are size-checked and deleted; no flush is timed.")
    if status != 0:
        raise SystemExit("transfer_bench: dmsd exited with %d" % status)


if __name__ == "__main__":
    main()
