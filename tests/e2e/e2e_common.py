"""What the end-to-end tests of dmsd on a network share: the daemon in the
server namespace, SOAP envelopes, and a test base with a namespace pair and
small client helpers (curl, SOAP calls, fault and result parsing).

Call configure(DMSD, MEDIA) before the tests run.
"""
import collections
import os
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402

DMSD = None
MEDIA = None


def configure(dmsd, media):
    global DMSD, MEDIA
    DMSD, MEDIA = dmsd, media

UPNP_PORT = 49152
CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"
CM = "urn:schemas-upnp-org:service:ConnectionManager:1"
CDS_CONTROL = "/_urn:schemas-upnp-org:service:ContentDirectory_control"
CM_CONTROL = "/_urn:schemas-upnp-org:service:ConnectionManager_control"
CDS_EVENT = "/_urn:schemas-upnp-org:service:ContentDirectory_event"
DEV_NS = "{urn:schemas-upnp-org:device-1-0}"
CONTROL_NS = "{urn:schemas-upnp-org:control-1-0}"


def envelope(action, service, args):
    inner = "".join("<%s>%s</%s>" % (k, v, k) for k, v in args)
    return ('<?xml version="1.0" encoding="utf-8"?>'
            '<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
            's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:%s xmlns:u="%s">%s</u:%s></s:Body></s:Envelope>' % (action, service, inner,
                                                                     action))


def resident_kib(pid):
    with open("/proc/%d/status" % pid) as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    raise AssertionError("no VmRSS for %d" % pid)


def end_process(proc, text=None, timeout=30):
    """Ends a process we started: `text` on its standard input if given (a
    quit command), else SIGTERM; SIGKILL after `timeout` seconds. Returns its
    exit status."""
    if text is None and proc.poll() is None:
        proc.terminate()
    try:
        proc.communicate(text, timeout=timeout)
    except subprocess.TimeoutExpired:
        proc.kill()
        proc.communicate()
    return proc.returncode


class Daemon:
    """dmsd in the server namespace, with its output collected on a thread."""

    def __init__(self, net, state, *extra, media=None, wrapper=()):
        """`wrapper` is a command that runs dmsd (given as its arguments)."""
        self.lines = []
        self.proc = net.start_server([*wrapper, DMSD, "--media", media or MEDIA,
                                      "--interface", net.server_if,
                                      "--state", state, "--name", "E2E-Cam",
                                      "--upnp-port", str(UPNP_PORT), *extra],
                                     stdin=subprocess.PIPE)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        # Standard error is read all along: a full pipe would stop the
        # daemon at its next log line.
        self.errors = collections.deque(maxlen=2000)
        self.error_reader = threading.Thread(target=self._read_errors, daemon=True)
        self.error_reader.start()
        deadline = time.time() + 20
        while time.time() < deadline and not any("running" in l for l in self.lines):
            if self.proc.poll() is not None:
                self.error_reader.join(timeout=5)
                raise AssertionError("dmsd exited: %s" % self.error_text())
            time.sleep(0.1)
        if not any("running" in l for l in self.lines):
            self.stop()
            raise AssertionError("dmsd did not start: %s" % self.lines)

    def _read(self):
        for line in self.proc.stdout:
            self.lines.append(line.rstrip("\n"))

    def _read_errors(self):
        for line in self.proc.stderr:
            self.errors.append(line)

    def error_text(self):
        """The latest lines of the daemon's standard error."""
        return "".join(self.errors)

    def say(self, text):
        self.proc.stdin.write(text + "\n")
        self.proc.stdin.flush()

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
        try:
            # A sanitizer build checks its whole heap for leaks on the way
            # out, which after a long load takes minutes, not seconds.
            self.proc.wait(timeout=600 if os.environ.get("DMS_E2E_SANITIZER") else 30)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        self.reader.join(timeout=5)
        self.error_reader.join(timeout=5)
        if self.proc.returncode != 0:
            sys.stderr.write("dmsd exited with %d; its standard error ends:\n%s\n" % (
                self.proc.returncode, self.error_text()[-6000:]))
        for stream in (self.proc.stdin, self.proc.stdout, self.proc.stderr):
            stream.close()
        return self.proc.returncode


class NetworkTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not netns.available():
            raise RuntimeError("needs root or user namespaces (see netns.py)")
        cls.net = netns.Pair().__enter__()
        cls.state = tempfile.mkdtemp(prefix="dms-e2e-")
        cls.base = "http://%s:%d" % (cls.net.server_ip, UPNP_PORT)

    @classmethod
    def tearDownClass(cls):
        cls.net.__exit__(None, None, None)
        shutil.rmtree(cls.state, ignore_errors=True)

    # Class methods, so that class set-up can call them too.
    @classmethod
    def curl(cls, *args, timeout=20):
        return cls.net.client(["curl", "-s", "-m", "15", *args], timeout=timeout)

    @classmethod
    def soap(cls, action, args=(), service=CDS, control=CDS_CONTROL, interface=None):
        extra = ["--interface", interface] if interface else []
        r = cls.curl(*extra, "-w", "\n%{http_code}", "-X", "POST",
                      "-H", 'Content-Type: text/xml; charset="utf-8"',
                      "-H", 'SOAPACTION: "%s#%s"' % (service, action),
                      "--data-binary", envelope(action, service, args), cls.base + control)
        body, _, code = r.stdout.rpartition("\n")
        return int(code or 0), body

    def fault(self, body):
        root = ET.fromstring(body)
        code = root.find(".//" + CONTROL_NS + "errorCode").text.strip()
        text = root.find(".//" + CONTROL_NS + "errorDescription").text.strip()
        return int(code), text

    def result(self, body, name):
        root = ET.fromstring(body)
        for element in root.iter():
            if element.tag == name:
                return element.text or ""
        raise AssertionError("no %s in %s" % (name, body))


DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"
DC = "{http://purl.org/dc/elements/1.1/}"
HTTP_PORT = 9000


def xml_value(body, name):
    for element in ET.fromstring(body).iter():
        if element.tag == name:
            return element.text or ""
    raise AssertionError("no %s in %s" % (name, body[:500]))


class LibraryTest(NetworkTest):
    """A daemon serving a media folder (media_dir(), MEDIA by default) with its
    streaming port on HTTP_PORT, started once for the class after its
    start-up scan; a client that browses it."""

    @classmethod
    def media_dir(cls):
        return MEDIA

    @classmethod
    def daemon_args(cls):
        """Further options of the daemon."""
        return []

    @classmethod
    def daemon_wrapper(cls):
        """A command that runs dmsd (a profiler, for instance); none by default."""
        return ()

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.state_dir = tempfile.mkdtemp(prefix="dms-lib-", dir=cls.state)
        cls.daemon = Daemon(cls.net, cls.state_dir, "--port", str(HTTP_PORT),
                            *cls.daemon_args(), media=cls.media_dir(),
                            wrapper=cls.daemon_wrapper())
        cls.results = []
        try:
            cls._wait_for_scan()
        except BaseException:
            cls.daemon.stop()
            super().tearDownClass()
            raise

    @classmethod
    def tearDownClass(cls):
        status = cls.daemon.stop()
        super().tearDownClass()
        if status != 0:
            raise AssertionError("dmsd exited with %d" % status)

    @classmethod
    def _wait_for_scan(cls):
        # The start-up scan raises SystemUpdateID once it has registered files.
        deadline = time.time() + 180
        while time.time() < deadline:
            code, body = cls.soap("GetSystemUpdateID")
            if code == 200 and xml_value(body, "Id") not in ("", "0"):
                return
            time.sleep(0.5)
        raise AssertionError("the scan did not finish: %s" % cls.daemon.lines[-5:])

    def browse(self, object_id, flag="BrowseDirectChildren", start=0, count=100, filt="*"):
        code, body = self.soap("Browse", (("ObjectID", object_id), ("BrowseFlag", flag),
                                          ("Filter", filt), ("StartingIndex", start),
                                          ("RequestedCount", count), ("SortCriteria", "")))
        if code != 200:
            return code, body, None
        out = {name: xml_value(body, name)
               for name in ("Result", "NumberReturned", "TotalMatches", "UpdateID")}
        self.results.append(out["Result"])
        return code, body, out

    @staticmethod
    def objects(result):
        root = ET.fromstring(result)
        return [e for e in root if e.tag in (DIDL + "container", DIDL + "item")]

    def walk(self, page=100):
        """Breadth-first walk from the root: ({object id: element}, {object
        id: times seen})."""
        seen, counts, queue = {}, {}, ["0"]
        while queue:
            container = queue.pop(0)
            start = 0
            while True:
                code, body, out = self.browse(container, start=start, count=page)
                self.assertEqual(code, 200, body)
                found = self.objects(out["Result"])
                self.assertEqual(int(out["NumberReturned"]), len(found), out)
                for element in found:
                    oid = element.get("id")
                    counts[oid] = counts.get(oid, 0) + 1
                    seen[oid] = element
                    self.assertEqual(element.get("parentID"), container)
                    if element.tag == DIDL + "container":
                        queue.append(oid)
                start += len(found)
                if page == 0 or not found or start >= int(out["TotalMatches"]):
                    break
        return seen, counts

    def database(self):
        return os.path.join(self.state_dir, "media.db")

    def rows(self, sql, *args):
        """The rows of a query on the daemon's database."""
        db = sqlite3.connect(self.database())
        try:
            return db.execute(sql, args).fetchall()
        finally:
            db.close()
