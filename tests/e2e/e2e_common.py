"""What the end-to-end tests of dmsd on a network share: the daemon in the
server namespace, SOAP envelopes, and a test base with a namespace pair and
small client helpers (curl, SOAP calls, fault and result parsing).

Call configure(DMSD, MEDIA) before the tests run.
"""
import os
import shutil
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


class Daemon:
    """dmsd in the server namespace, with its output collected on a thread."""

    def __init__(self, net, state, *extra):
        self.lines = []
        self.proc = net.start_server([DMSD, "--media", MEDIA, "--interface", net.server_if,
                                      "--state", state, "--name", "E2E-Cam",
                                      "--upnp-port", str(UPNP_PORT), *extra],
                                     stdin=subprocess.PIPE)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        deadline = time.time() + 20
        while time.time() < deadline and not any("running" in l for l in self.lines):
            if self.proc.poll() is not None:
                raise AssertionError("dmsd exited: %s" % self.proc.stderr.read())
            time.sleep(0.1)
        if not any("running" in l for l in self.lines):
            self.stop()
            raise AssertionError("dmsd did not start: %s" % self.lines)

    def _read(self):
        for line in self.proc.stdout:
            self.lines.append(line.rstrip("\n"))

    def say(self, text):
        self.proc.stdin.write(text + "\n")
        self.proc.stdin.flush()

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
        try:
            self.proc.wait(timeout=30)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        self.reader.join(timeout=5)
        if self.proc.returncode != 0:
            sys.stderr.write("dmsd exited with %d; its standard error ends:\n%s\n" % (
                self.proc.returncode, self.proc.stderr.read()[-6000:]))
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

    def curl(self, *args, timeout=20):
        return self.net.client(["curl", "-s", "-m", "15", *args], timeout=timeout)

    def soap(self, action, args=(), service=CDS, control=CDS_CONTROL, interface=None):
        extra = ["--interface", interface] if interface else []
        r = self.curl(*extra, "-w", "\n%{http_code}", "-X", "POST",
                      "-H", 'Content-Type: text/xml; charset="utf-8"',
                      "-H", 'SOAPACTION: "%s#%s"' % (service, action),
                      "--data-binary", envelope(action, service, args), self.base + control)
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
