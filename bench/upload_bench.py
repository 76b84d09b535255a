#!/usr/bin/python3
"""The measuring half of upload_bench.sh, which makes WORK and the source
files and removes them. usage: upload_bench.py DMSD WORK SMALL_FILE BIG_FILE

Copies: dd conv=fdatasync (flushed) and cp (page cache), 1 and 4 at once.
Uploads: CreateObject, then `curl -T FILE -X POST` to the importUri, from the
client namespace to dmsd in the server namespace. Per phase: server CPU
seconds (utime+stime) and peak RSS (VmHWM, reset by clear_refs before it).
The files are MP4s padded with random bytes, so that dmsd keeps them.
"""
import html
import os
import shutil
import signal
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from bench_daemon import DIDL, Bench, cpu_seconds, kib  # noqa: E402
import e2e_common  # noqa: E402
import netns  # noqa: E402
from e2e_common import UPNP_PORT, Daemon, xml_value  # noqa: E402

PHOTO = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "shared", "media",
                     "photos", "canon_eos-d60.jpg")


def parallel(argvs):
    """Runs the commands at once: (wall seconds, [stdout])."""
    procs, start = [], time.monotonic()
    try:
        for argv in argvs:
            procs.append(subprocess.Popen(argv, stdout=subprocess.PIPE, text=True))
        outs = [p.communicate(timeout=1800)[0] for p in procs]
    finally:
        for p in procs:
            if p.poll() is None:
                p.kill()
                p.wait()
    if any(p.returncode for p in procs):
        raise SystemExit("upload_bench: %s failed" % argvs[0][0])
    return time.monotonic() - start, outs


def copy_rate(src, folder, n, flush):
    """MB/s of n copies of src at once (the copies are removed)."""
    subprocess.run(["sync"], check=True)
    dests = [os.path.join(folder, "copy%d" % i) for i in range(n)]
    wall, _ = parallel([["dd", "if=" + src, "of=" + d, "bs=4M", "conv=fdatasync", "status=none"]
                        if flush else ["cp", src, d] for d in dests])
    for d in dests:
        os.unlink(d)
    return n * os.path.getsize(src) / 1e6 / wall


def import_uri(title):
    code, body = Bench.soap("CreateObject", [("ContainerID", "DLNA.ORG_AnyContainer"),
                                             ("Elements", html.escape(DIDL % title))])
    if code != 200:
        raise SystemExit("upload_bench: CreateObject answered %d: %s" % (code, body[:400]))
    result = ET.fromstring(xml_value(body, "Result"))
    return next(e for e in result.iter() if e.tag.endswith("}res")).get("importUri")


def upload_phase(net, pid, src, n, folder):
    size = os.path.getsize(src)
    subprocess.run(["sync"], check=True)
    uris = [import_uri("bench-%d-%d-%d" % (n, size >> 20, i)) for i in range(n)]
    with open("/proc/%d/clear_refs" % pid, "w") as f:
        f.write("5")  # VmHWM := VmRSS
    cpu0, start = cpu_seconds(pid), time.monotonic()
    wall, outs = parallel([net.client_cmd([
        "curl", "-s", "-o", "/dev/null", "-w", "%{http_code} %{time_total} %{size_upload}",
        "-X", "POST", "-H", "Expect:", "-H", "Content-Type: video/mp4", "-T", src, uri])
        for uri in uris])
    subprocess.run(["sync"], check=True)
    synced = time.monotonic() - start
    cpu = cpu_seconds(pid) - cpu0
    sent = [o.split() for o in outs]
    if any(int(float(s[2])) != size for s in sent):
        raise SystemExit("upload_bench: curl did not send the whole file: %s" % outs)
    for name in os.listdir(folder):
        os.unlink(os.path.join(folder, name))
    return ("%dx%dM" % (n, size >> 20), n * size / 1e6 / wall, n * size / 1e6 / synced, cpu,
            kib(pid, "VmHWM"), kib(pid, "VmRSS"), ",".join(sorted({s[0] for s in sent})),
            " ".join("%.2f" % float(s[1]) for s in sent))


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # so that the clean-ups run
    dmsd, work, small, big = sys.argv[1:5]
    e2e_common.configure(dmsd, None)
    for sub in ("copies", "media"):
        os.makedirs(os.path.join(work, sub))
    shutil.copy(PHOTO, os.path.join(work, "media"))
    print("copying ...", flush=True)
    copy = {(n, f): copy_rate(big, os.path.join(work, "copies"), n, f)
            for n in (1, 4) for f in (True, False)}
    uploads = os.path.join(work, "uploads")
    with netns.Pair() as net:
        Bench.net, Bench.base = net, "http://%s:%d" % (net.server_ip, UPNP_PORT)
        daemon = Daemon(net, os.path.join(work, "state"), "--port", "9000",
                        "--upload-dir", uploads, media=os.path.join(work, "media"))
        try:
            pid = daemon.proc.pid  # ip netns exec execs dmsd
            with open("/proc/%d/comm" % pid) as f:
                if f.read().strip() != "dmsd":
                    raise SystemExit("upload_bench: pid %d is not dmsd" % pid)
            deadline = time.time() + 60
            while time.time() < deadline:  # the scan raises SystemUpdateID when done
                code, body = Bench.soap("GetSystemUpdateID")
                if code == 200 and xml_value(body, "Id") not in ("", "0"):
                    break
                time.sleep(0.2)
            scan = (kib(pid, "VmRSS"), kib(pid, "VmHWM"), cpu_seconds(pid))
            print("uploading ...", flush=True)
            phases = [upload_phase(net, pid, small, 1, uploads),
                      upload_phase(net, pid, big, 1, uploads),
                      upload_phase(net, pid, big, 4, uploads)]
        finally:
            status = daemon.stop()
    print("\nplain copy of %d MiB, aggregate MB/s      1 at once  4 at once" % (os.path.getsize(big) >> 20))
    for f, what in ((True, "dd conv=fdatasync (flushed)"), (False, "cp (page cache only)")):
        print("  %-36s %9.0f  %9.0f" % (what, copy[1, f], copy[4, f]))
    print("\ndmsd after its scan: VmRSS %d KiB, VmHWM %d KiB, CPU %.2f s" % scan)
    print("\n%-9s %7s %7s %8s %8s %7s %10s %10s  %-4s %s" % (
        "upload", "MB/s", "+sync", "/dd", "/cp", "CPU s", "VmHWM KiB", "VmRSS KiB", "HTTP", "curl s"))
    for p in phases:
        n = int(p[0][0])
        print("%-9s %7.0f %7.0f %8.2f %8.2f %7.2f %10d %10d  %-4s %s" % (
            p[0], p[1], p[2], p[2] / copy[n, True], p[1] / copy[n, False], *p[3:]))
    print("\nMB/s = 10^6 B / s over the curls' wall time; +sync: until a `sync` after them"
          "\nreturned; /dd = +sync over the flushed copy, /cp = MB/s over cp (same count"
          "\nat once); CPU, VmHWM (peak RSS, reset before the phase), VmRSS: dmsd, per phase."
          "\nHTTP 200: stored and registered; each phase's uploads are deleted after it.")
    if status != 0:
        raise SystemExit("upload_bench: dmsd exited with %d" % status)


if __name__ == "__main__":
    main()
