#!/usr/bin/python3
"""The Debian package, installed in a root of its own: its files, its
service user, and dmsd started from the installed files as the service
starts it, announcing readiness, scanning the packaged media folder and
serving Browse, media and thumbnails; then purged.

Usage: installed_test.py ROOT MEDIA
ROOT is a Debian root with the package installed (scripts/package-test.sh);
MEDIA a folder of sample media copied into the service's media folder. Runs
in a mount and network namespace of its own (root only), with loopback only.
"""
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
import unittest
import urllib.request
import xml.etree.ElementTree as ET

ROOT = None
MEDIA = None
UNIT = "/lib/systemd/system/dmsd.service"
CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"
DC = "{http://purl.org/dc/elements/1.1/}"


def inside(path):
    return os.path.join(ROOT, path.lstrip("/"))


def chroot(*command, **kwargs):
    return subprocess.run(["chroot", ROOT, *command], capture_output=True, text=True,
                          timeout=60, **kwargs)


def soap(action, args):
    inner = "".join("<%s>%s</%s>" % (k, v, k) for k, v in args)
    body = ('<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"'
            ' s:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
            '<u:%s xmlns:u="%s">%s</u:%s></s:Body></s:Envelope>' % (action, CDS, inner, action))
    request = urllib.request.Request(
        "http://127.0.0.1:49152/_urn:schemas-upnp-org:service:ContentDirectory_control",
        data=body.encode(), headers={"Content-Type": 'text/xml; charset="utf-8"',
                                     "SOAPACTION": '"%s#%s"' % (CDS, action)})
    with urllib.request.urlopen(request, timeout=15) as reply:
        return ET.fromstring(reply.read())


def value(tree, name):
    for element in tree.iter():
        if element.tag == name:
            return element.text or ""
    raise AssertionError("no %s" % name)


def browse(object_id):
    tree = soap("Browse", (("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"),
                           ("Filter", "*"), ("StartingIndex", 0), ("RequestedCount", 0),
                           ("SortCriteria", "")))
    return ET.fromstring(value(tree, "Result"))


def unit_settings():
    settings = {}
    with open(inside(UNIT)) as f:
        for line in f:
            key, sep, val = line.strip().partition("=")
            if sep and not key.startswith("#"):
                settings[key] = val
    return settings


class InstalledPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.media = inside("/var/lib/dmsd/media")
        cls.passwd = {}
        with open(inside("/etc/passwd")) as f:
            for line in f:
                fields = line.strip().split(":")
                cls.passwd[fields[0]] = fields
        uid, gid = int(cls.passwd["dmsd"][2]), int(cls.passwd["dmsd"][3])
        for folder, _, files in os.walk(MEDIA):
            for name in files:
                if name.startswith("."):
                    continue
                target = os.path.join(cls.media, name)
                shutil.copy(os.path.join(folder, name), target)
                os.chown(target, uid, gid)

    def test_files_are_where_debian_puts_them(self):
        for path in ("/usr/bin/dmsd", "/etc/dmsd.conf", UNIT, "/usr/share/man/man8/dmsd.8.gz",
                     "/usr/share/dmsd/pictures/NoThumb.JPG",
                     "/usr/share/doc/dmsd/copyright"):
            self.assertTrue(os.path.exists(inside(path)), path)
        conffiles = chroot("dpkg-query", "-W", "-f", "${Conffiles}", "dmsd").stdout
        self.assertIn("/etc/dmsd.conf", conffiles)
        libs = chroot("ldd", "/usr/bin/dmsd").stdout
        for lib in ("libdms.so", "libdmsstack.so", "libdmscamera.so", "libdmsscanner.so"):
            self.assertRegex(libs, r"%s => /usr/lib/[^/]+/dms/%s" % (lib, lib))
        self.assertNotIn("not found", libs)

    def test_service_runs_as_its_own_confined_user(self):
        user = self.passwd["dmsd"]
        self.assertLess(int(user[2]), 1000, "a system user")
        self.assertEqual(user[5], "/var/lib/dmsd")
        self.assertTrue(user[6].endswith("nologin"))
        unit = unit_settings()
        for key, expected in (("User", "dmsd"), ("Type", "notify"), ("ProtectSystem", "strict"),
                              ("ProtectHome", "read-only"), ("PrivateTmp", "yes"),
                              ("StateDirectory", "dmsd")):
            self.assertEqual(unit.get(key), expected, key)

    def test_unit_file_is_valid_and_confined(self):
        r = subprocess.run(["systemd-analyze", "security", "--offline=yes", inside(UNIT)],
                           capture_output=True, text=True, timeout=60)
        exposure = re.search(r"Overall exposure level for dmsd.service: ([0-9.]+)", r.stdout)
        self.assertIsNotNone(exposure, r.stdout + r.stderr)
        self.assertLessEqual(float(exposure.group(1)), 4.0, r.stdout)
        r = subprocess.run(["systemd-analyze", "--root=" + ROOT, "verify", inside(UNIT)],
                           capture_output=True, text=True, timeout=60)
        # The root has no systemd of its own to start units with, and
        # systemd-analyze reads the manual page from the host.
        noise = ("sysinit.target not found", "/bin/kill is not executable", "man dmsd(8)")
        problems = [l for l in r.stderr.splitlines() if not any(n in l for n in noise)]
        self.assertEqual(problems, [])

    def test_installed_dmsd_serves_the_media_folder(self):
        notify_path = inside("/run/dmsd-notify")
        notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        notify.bind(notify_path)
        os.chmod(notify_path, 0o666)
        notify.settimeout(1)
        command = unit_settings()["ExecStart"].split()
        self.assertEqual(command[0], "/usr/bin/dmsd")
        # As the service starts it: its user, its state folder, no terminal.
        proc = subprocess.Popen(
            ["chroot", ROOT, "setpriv", "--reuid=dmsd", "--regid=dmsd", "--init-groups",
             "env", "-i", "NOTIFY_SOCKET=/run/dmsd-notify", "PATH=/usr/bin:/bin",
             *command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True)
        messages = []
        try:
            deadline = time.time() + 60
            while time.time() < deadline and not any("READY=1" in m for m in messages):
                try:
                    messages.append(notify.recv(4096).decode())
                except socket.timeout:
                    self.assertIsNone(proc.poll(), proc.stderr.read() if proc.poll() else "")
            self.assertTrue(any("READY=1" in m for m in messages), messages)

            deadline = time.time() + 60
            while time.time() < deadline:
                if value(soap("GetSystemUpdateID", ()), "Id") not in ("", "0"):
                    break
                time.sleep(0.3)
            photos = browse("1")
            items = [e for e in photos if e.tag == DIDL + "item"]
            expected = sorted(n for n in os.listdir(self.media) if n.upper().endswith(".JPG"))
            self.assertEqual(len(items), len(expected))
            self.assertGreater(len(items), 0)
            item = items[0]
            resources = [r.text for r in item.iter(DIDL + "res")]
            self.assertGreaterEqual(len(resources), 2, "the photo and its thumbnail")
            title = item.find(DC + "title").text
            name = next(n for n in expected if os.path.splitext(n)[0] == title or n == title)
            with open(os.path.join(self.media, name), "rb") as f:
                original = f.read()
            with urllib.request.urlopen(resources[0], timeout=15) as reply:
                self.assertEqual(reply.read(), original)
            thumbnails = [r.text for r in item.iter(DIDL + "res")
                          if "JPEG_TN" in r.get("protocolInfo", "")]
            self.assertTrue(thumbnails, ET.tostring(item))
            with urllib.request.urlopen(thumbnails[0], timeout=15) as reply:
                self.assertEqual(reply.read(2), b"\xff\xd8")
            music = [e for e in browse("2").iter(DIDL + "item")]
            self.assertTrue(music, "the songs are listed")
            self.assertTrue(os.path.exists(inside("/var/lib/dmsd/media.db")))
        finally:
            proc.send_signal(signal.SIGTERM)
            out, err = proc.communicate(timeout=30)
            notify.settimeout(5)
            try:
                while True:
                    messages.append(notify.recv(4096).decode())
            except socket.timeout:
                pass
            notify.close()
            os.unlink(notify_path)
        self.assertEqual(proc.returncode, 0, err)
        self.assertIn("dmsd: stopped", out)
        self.assertTrue(any("STOPPING=1" in m for m in messages), messages)

    def test_zz_purge_removes_the_state_and_configuration(self):
        r = chroot("dpkg", "--purge", "dmsd")
        self.assertEqual(r.returncode, 0, r.stderr)
        for path in ("/var/lib/dmsd", "/etc/dmsd.conf", "/usr/bin/dmsd"):
            self.assertFalse(os.path.exists(inside(path)), path)


def enter_namespaces():
    if os.environ.get("DMS_PKG_NS") != "1":
        env = dict(os.environ, DMS_PKG_NS="1")
        os.execvpe("unshare", ["unshare", "-m", "-n", sys.executable] + sys.argv, env)
    subprocess.run(["mount", "--make-rprivate", "/"], check=True)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    subprocess.run(["mount", "-t", "proc", "proc", inside("/proc")], check=True)
    subprocess.run(["mount", "--rbind", "/dev", inside("/dev")], check=True)
    for tmp in ("/run", "/tmp"):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", inside(tmp)], check=True)


if __name__ == "__main__":
    if os.geteuid() != 0:
        sys.exit("installed_test.py: needs root (chroot, namespaces)")
    ROOT = os.path.abspath(sys.argv[1])
    MEDIA = os.path.abspath(sys.argv[2])
    enter_namespaces()
    del sys.argv[1:3]
    unittest.main(verbosity=2)
