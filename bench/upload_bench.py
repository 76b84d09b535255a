#!/usr/bin/python3
"""Upload throughput of dmsd against a plain copy on the same disk; run by
upload_bench.sh, which makes WORK, the source files and cleans up.

usage: upload_bench.py DMSD WORK SMALL_FILE BIG_FILE

Copies: dd with conv=fdatasync (flushed) and cp (page cache only), 1 and 4 at
once. Uploads: CreateObject, then `curl -T FILE -X POST` to its importUri
from the client namespace; the daemon runs in the server namespace. Per
phase: server CPU seconds (utime+stime) and peak RSS (VmHWM, reset through
clear_refs before each phase). Each phase's output files are deleted after it.
"""
import html
import os
import shutil
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "e2e"))
import e2e_common  # noqa: E402
import netns  # noqa: E402
from e2e_common import UPNP_PORT, Daemon, NetworkTest, xml_value  # noqa: E402

PHOTO = "/work/shared/media/photos/canon_eos-d60.jpg"
TICK = os.sysconf("SC_CLK_TCK")
DIDL = ('<DIDL-Lite xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/" '
        'xmlns:dc="http://purl.org/dc/elements/1.1/" '
        'xmlns:upnp="urn:schemas-upnp-org:metadata-1-0/upnp/">'
        '<item id="" parentID="%s" restricted="0"><dc:title>%s</dc:title>'
        '<upnp:class>object.item.videoItem</upnp:class>'
        '<res protocolInfo="http-get:*:video/mp4:*"/></item></DIDL-Lite>')


def mb(nbytes, seconds):
    return nbytes / 1e6 / seconds


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as f:
        fields = f.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICK  # utime, stime


def status_kib(pid, key):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith(key + ":"):
                return int(line.split()[1])
    return -1


def reset_peak(pid):
    try:
        with open("/proc/%d/clear_refs" % pid, "w") as f:
            f.write("5")  # resets VmHWM to the current RSS
        return True
    except OSError:
        return False


def parallel(argvs, timeout=900):
    """Runs the commands at once; (wall seconds, [stdout])."""
    start = time.monotonic()
    procs = [subprocess.Popen(a, stdout=subprocess.PIPE, text=True) for a in argvs]
    outs = [p.communicate(timeout=timeout)[0] for p in procs]
    wall = time.monotonic() - start
    for p, a in zip(procs, argvs):
        if p.returncode != 0:
            raise SystemExit("upload_bench: %s failed with %d" % (a[0], p.returncode))
    return wall, outs


def copies(src, dest_dir, n, flush):
    """n concurrent copies of src; aggregate MB/s, output files removed."""
    subprocess.run(["sync"], check=True)
    dests = [os.path.join(dest_dir, "copy%d.bin" % i) for i in range(n)]
    if flush:
        cmds = [["dd", "if=" + src, "of=" + d, "bs=4M", "conv=fdatasync", "status=none"]
                for d in dests]
    else:
        cmds = [["cp", src, d] for d in dests]
    wall, _ = parallel(cmds)
    for d in dests:
        os.unlink(d)
    return mb(n * os.path.getsize(src), wall)


class Bench(NetworkTest):
    pass


def create_item(title):
    anywhere = "DLNA.ORG_AnyContainer"
    code, body = Bench.soap("CreateObject", [("ContainerID", anywhere),
                                             ("Elements", html.escape(DIDL % (anywhere, title)))])
    if code != 200:
        raise SystemExit("upload_bench: CreateObject answered %d: %s" % (code, body[:400]))
    result = ET.fromstring(xml_value(body, "Result"))
    return [e for e in result.iter() if e.tag.endswith("}res")][0].get("importUri")


def upload_phase(net, pid, src, n, upload_dir, label):
    """n uploads of src at once; a dict of the phase's figures."""
    subprocess.run(["sync"], check=True)
    uris = [create_item("bench-%s-%d" % (label, i)) for i in range(n)]
    peak_ok = reset_peak(pid)
    cpu0 = cpu_seconds(pid)
    start = time.monotonic()
    wall, outs = parallel([net.client_cmd(["curl", "-s", "-o", "/dev/null", "-w",
                                           "%{http_code} %{time_total}", "-X", "POST",
                                           "-H", "Expect:", "-H", "Content-Type: video/mp4",
                                           "-T", src, uri]) for uri in uris])
    subprocess.run(["sync"], check=True)
    synced = time.monotonic() - start
    cpu = cpu_seconds(pid) - cpu0
    total = n * os.path.getsize(src)
    for name in os.listdir(upload_dir):
        os.unlink(os.path.join(upload_dir, name))
    return {"label": label, "rate": mb(total, wall), "synced": mb(total, synced),
            "codes": " ".join(sorted({o.split()[0] for o in outs})),
            "times": " ".join("%.2f" % float(o.split()[1]) for o in outs),
            "cpu": cpu, "hwm": status_kib(pid, "VmHWM"), "rss": status_kib(pid, "VmRSS"),
            "peak_reset": peak_ok}


def main():
    dmsd, work, small, big = sys.argv[1:5]
    e2e_common.configure(dmsd, None)
    out = os.path.join(work, "copies")
    os.makedirs(out)
    print("copies (%d MiB, in %s) ..." % (os.path.getsize(big) >> 20, out), flush=True)
    copy = {(n, flush): copies(big, out, n, flush) for n in (1, 4) for flush in (True, False)}

    media = os.path.join(work, "media")
    os.makedirs(media)
    shutil.copy(PHOTO, media)
    uploads = os.path.join(work, "uploads")
    with netns.Pair() as net:
        Bench.net = net
        Bench.base = "http://%s:%d" % (net.server_ip, UPNP_PORT)
        daemon = Daemon(net, os.path.join(work, "state"), "--port", "9000",
                        "--upload-dir", uploads, media=media)
        try:
            pid = daemon.proc.pid
            with open("/proc/%d/comm" % pid) as f:
                comm = f.read().strip()
            if comm != "dmsd":
                raise SystemExit("upload_bench: pid %d is %s, not dmsd" % (pid, comm))
            deadline = time.time() + 60
            while time.time() < deadline:
                code, body = Bench.soap("GetSystemUpdateID")
                if code == 200 and xml_value(body, "Id") not in ("", "0"):
                    break
                time.sleep(0.2)
            scan = {"rss": status_kib(pid, "VmRSS"), "hwm": status_kib(pid, "VmHWM"),
                    "cpu": cpu_seconds(pid)}
            print("uploads ...", flush=True)
            phases = [upload_phase(net, pid, small, 1, uploads, "1x%dM" % (os.path.getsize(small) >> 20)),
                      upload_phase(net, pid, big, 1, uploads, "1x%dM" % (os.path.getsize(big) >> 20)),
                      upload_phase(net, pid, big, 4, uploads, "4x%dM" % (os.path.getsize(big) >> 20))]
        finally:
            status = daemon.stop()
    if status != 0:
        print("dmsd exited with %d" % status)

    print("\nplain copy, aggregate MB/s (1 MB = 10^6 B)   1 at once   4 at once")
    print("  dd conv=fdatasync (flushed)              %9.0f   %9.0f" % (copy[1, True], copy[4, True]))
    print("  cp (page cache, no flush)                %9.0f   %9.0f" % (copy[1, False], copy[4, False]))
    print("\nafter scan: VmRSS %d KiB, VmHWM %d KiB, CPU %.2f s" % (scan["rss"], scan["hwm"], scan["cpu"]))
    print("\n%-9s %8s %8s %9s %9s %8s %9s %9s  %-7s %s" % (
        "upload", "MB/s", "+sync", "/dd-copy", "/cp-copy", "CPU s", "VmHWM KiB", "VmRSS KiB", "HTTP", "curl s"))
    for p in phases:
        n = int(p["label"][0])
        base = n if n in (1, 4) else 1
        print("%-9s %8.0f %8.0f %9.2f %9.2f %8.2f %9d %9d  %-7s %s" % (
            p["label"], p["rate"], p["synced"], p["synced"] / copy[base, True],
            p["rate"] / copy[base, False], p["cpu"], p["hwm"], p["rss"], p["codes"], p["times"]))
    if not all(p["peak_reset"] for p in phases):
        print("(clear_refs refused: VmHWM is the peak since start)")
    print("\nMB/s: bytes / wall time of the curls; +sync: until `sync` after them returned;"
          "\n/dd-copy compares +sync with the flushed copy, /cp-copy MB/s with cp;"
          "\nVmHWM: peak RSS within the phase (reset before it). HTTP 500 = body"
          " stored but not registered as media (random bytes).")


if __name__ == "__main__":
    main()
