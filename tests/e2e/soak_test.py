#!/usr/bin/python3
"""Soak: dmsd under mixed load from the client namespace (soak_load.py:
Browse and BrowseMetadata from 8 clients, ranged downloads with hang-ups,
uploads, imports, event subscriptions, a live-view viewer that reconnects),
with its resident memory, open descriptors and threads sampled every
DMS_SOAK_SAMPLE seconds (10). After the warm-up (the first third) they must
stay flat: the second half of the samples may not rise above the first half
beyond a small allowance. Every request of the load must succeed.

Usage: soak_test.py DMSD MEDIA_DIR [unittest args]
Environment: DMS_SOAK_SECONDS (120), DMS_SOAK_SAMPLE (10), DMS_SOAK_REPORT
(a file that receives the samples and the load's tally as JSON),
DMS_SOAK_LOADS (the loads of soak_load.py --only; all by default),
DMS_SOAK_WRAPPER (a command that runs dmsd, e.g. under a heap profiler that
keeps its process: "env LD_PRELOAD=...").
"""
import json
import os
import shlex
import shutil
import sys
import tempfile
import threading
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402
from e2e_common import LibraryTest, UPNP_PORT, HTTP_PORT  # noqa: E402
import e2e_common  # noqa: E402

LOAD = os.path.join(os.path.dirname(os.path.abspath(__file__)), "soak_load.py")
SECONDS = float(os.environ.get("DMS_SOAK_SECONDS", "120"))
SAMPLE = float(os.environ.get("DMS_SOAK_SAMPLE", "10"))
PHOTO = "photos/canon_eos-d60.jpg"
# The loads of soak_load.py, each with what it counts in the tally.
KINDS = {"browse": ("Browse", "BrowseMetadata"), "download": ("download", "download cut"),
         "upload": ("upload",), "import": ("import",), "subscribe": ("subscription",),
         "live": ("live view",)}
LOADS = os.environ.get("DMS_SOAK_LOADS", ",".join(KINDS)).split(",")
# Growth allowed from the first half of the samples after warm-up to the
# second: heaps and SQLite's page cache settle in steps, connections in
# flight come and go.
RSS_ALLOWANCE_KIB = 4096
RSS_ALLOWANCE_SHARE = 0.05
COUNT_ALLOWANCE = 6


def sample(pid):
    """(resident KiB, open descriptors, threads) of process `pid`."""
    rss = threads = 0
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith("VmRSS:"):
                rss = int(line.split()[1])
            elif line.startswith("Threads:"):
                threads = int(line.split()[1])
    return rss, len(os.listdir("/proc/%d/fd" % pid)), threads


def settled(values):
    """The samples after the warm-up, split in halves."""
    after = values[len(values) // 3:]
    half = len(after) // 2
    return after[:half], after[half:]


class Soak(LibraryTest):
    @classmethod
    def media_dir(cls):
        """A few photos, songs and videos of the shared samples."""
        cls.media = tempfile.mkdtemp(prefix="dms-soak-media-")
        os.chmod(cls.media, 0o755)
        for kind, names in (("photos", 6), ("music", 4), ("video", 2)):
            folder = os.path.join(e2e_common.MEDIA, kind)
            for name in sorted(os.listdir(folder))[:names]:
                shutil.copy(os.path.join(folder, name), cls.media)
        return cls.media

    @classmethod
    def daemon_args(cls):
        return ["--live-view", "test"]

    @classmethod
    def daemon_wrapper(cls):
        return shlex.split(os.environ.get("DMS_SOAK_WRAPPER", ""))

    @classmethod
    def tearDownClass(cls):
        try:
            super().tearDownClass()
        finally:
            shutil.rmtree(cls.media, ignore_errors=True)

    def test_resources_stay_flat_under_mixed_load(self):
        pid = self.daemon.proc.pid
        samples = []
        stop = threading.Event()

        def sampler():
            start = time.time()
            while not stop.is_set():
                samples.append((round(time.time() - start, 1), *sample(pid)))
                stop.wait(SAMPLE)
        thread = threading.Thread(target=sampler, daemon=True)
        thread.start()
        load = self.net.client([sys.executable, LOAD, "--server", self.net.server_ip,
                                "--upnp-port", str(UPNP_PORT), "--http-port", str(HTTP_PORT),
                                "--me", self.net.client_ip,
                                "--photo", os.path.join(e2e_common.MEDIA, PHOTO),
                                "--seconds", str(SECONDS), "--only", ",".join(LOADS)],
                               timeout=SECONDS + 300)
        stop.set()
        thread.join()
        samples.append((samples[-1][0] + SAMPLE, *sample(pid)))
        self.assertEqual(load.returncode, 0, load.stderr[-3000:])
        tally = json.loads(load.stdout)
        report = os.environ.get("DMS_SOAK_REPORT")
        if report:
            with open(report, "w") as f:
                json.dump({"samples": samples, "load": tally}, f, indent=1)
        print("\n  seconds   RSS KiB   fds  threads", file=sys.stderr)
        for s in samples:
            print("  %7.1f  %8d  %4d  %7d" % s, file=sys.stderr)
        print("  load: %s" % json.dumps(tally), file=sys.stderr)
        if tally["failed"]:
            print("  the daemon's standard error ends:\n%s" % self.daemon.error_text()[-20000:],
                  file=sys.stderr)

        for kind in (k for load in LOADS for k in KINDS[load]):
            self.assertGreater(tally["done"].get(kind, 0), 0, (kind, tally))
        # A Browse whose page loses and regains objects between the count and
        # the read (the uploader creates and destroys about 80 a second) may
        # still be answered 501; at most one in 10,000. Nothing else may fail.
        failed = dict(tally["failed"])
        for kind in ("Browse", "BrowseMetadata"):
            shifted = failed.pop(kind + " 501", 0)
            self.assertLessEqual(shifted, max(1, tally["done"].get(kind, 0) // 10000),
                                 (kind, tally))
        # A live-view viewer that reconnects at once sometimes waits past its
        # 30 s limit for the first picture, or gets none, while the previous
        # stream winds down under this load: at most one session in 20 (an
        # open finding, reported with the tally).
        stalled = failed.pop("live view", 0)
        self.assertLessEqual(stalled, max(1, tally["done"].get("live view", 0) // 20),
                             ("live view", tally))
        self.assertEqual(failed, {}, tally["why"])
        if "subscribe" in LOADS:
            self.assertGreater(tally["notified"], 0, "an initial event per subscription")
        self.assertIsNone(self.daemon.proc.poll(), "dmsd still runs")

        self.assertGreaterEqual(len(samples), 6, samples)
        for column, name in ((1, "RSS KiB"), (2, "descriptors"), (3, "threads")):
            if column == 1 and os.environ.get("DMS_E2E_SANITIZER"):
                # A sanitizer's allocator holds freed memory back on purpose;
                # its leak check at exit stands in for the bound there.
                continue
            early, late = settled([s[column] for s in samples])
            if column == 1:
                allowance = max(RSS_ALLOWANCE_KIB, max(early) * RSS_ALLOWANCE_SHARE)
            else:
                allowance = COUNT_ALLOWANCE
            self.assertLessEqual(max(late), max(early) + allowance,
                                 "%s grew after the warm-up: %s" % (name, samples))


if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
