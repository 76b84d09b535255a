#!/usr/bin/python3
"""Players and other servers exchange files with dmsd: ImportResource,
ExportResource, GetTransferProgress and StopTransferResource over the
network.

The daemon serves a media folder holding a photo, a song and a video in the
server namespace. In the client namespace run: gupnp-upload (a control point
nobody here wrote: CreateObject, its own HTTP server, ImportResource, then
GetTransferProgress until the end); a peer (transfer_peer.py) that serves
files for imports, some throttled, stores exported bodies with their
headers and records the GENA events of the ContentDirectory; and a second
dmsd, the other camera, which receives an export into an object created on
it.

Usage: transfer_test.py DMSD MEDIA_DIR [unittest args]
"""
import hashlib
import html
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402
from e2e_common import CDS_EVENT, DIDL, Daemon, LibraryTest, xml_value  # noqa: E402
import e2e_common  # noqa: E402

PEER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "transfer_peer.py")
SAMPLES = {
    "photo": ("photos/canon_eos-d60.jpg", "1", "object.item.imageItem.photo", "image/jpeg"),
    "song": ("music/bear-id3v23-apic.mp3", "2", "object.item.audioItem.musicTrack",
             "audio/mpeg"),
    "video": ("video/sample_h264_aac.mp4", "3", "object.item.videoItem", "video/mp4"),
}
LARGE = 200 << 20
RATE = 40 << 20  # bytes per second the peer sends the large file at


def sha256(path):
    digest = hashlib.sha256()
    with open(path, "rb") as f:
        for piece in iter(lambda: f.read(1 << 20), b""):
            digest.update(piece)
    return digest.hexdigest()


def didl(title, kind):
    _, _, upnp_class, mime = SAMPLES[kind]
    return ('<DIDL-Lite xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/" '
            'xmlns:dc="http://purl.org/dc/elements/1.1/" '
            'xmlns:upnp="urn:schemas-upnp-org:metadata-1-0/upnp/">'
            '<item id="" parentID="" restricted="0"><dc:title>%s</dc:title>'
            '<upnp:class>%s</upnp:class><res protocolInfo="http-get:*:%s:*"/></item>'
            '</DIDL-Lite>' % (html.escape(title), upnp_class, mime))


def padded_mp4(sample, size, path):
    """A real MP4 followed by a 'free' box of random bytes up to `size`."""
    with open(sample, "rb") as f:
        head = f.read()
    pad = size - len(head)
    with open(path, "wb") as out:
        out.write(head)
        out.write(pad.to_bytes(4, "big") + b"free")
        left = pad - 8
        while left > 0:
            piece = os.urandom(min(1 << 20, left))
            out.write(piece)
            left -= len(piece)


class Transfers(LibraryTest):
    @classmethod
    def media_dir(cls):
        return cls.media

    @classmethod
    def daemon_args(cls):
        return ["--upload-dir", cls.uploads]

    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="dms-transfer-")
        os.chmod(cls.work, 0o755)
        cls.media = os.path.join(cls.work, "media")
        cls.uploads = os.path.join(cls.media, "uploads")
        cls.served = os.path.join(cls.work, "served")
        os.makedirs(cls.media)
        os.makedirs(cls.served)
        os.chmod(cls.served, 0o777)
        for sample, *_ in SAMPLES.values():
            shutil.copy(os.path.join(e2e_common.MEDIA, sample), cls.media)
            shutil.copy(os.path.join(e2e_common.MEDIA, sample), cls.served)
        padded_mp4(os.path.join(e2e_common.MEDIA, SAMPLES["video"][0]), LARGE,
                   os.path.join(cls.served, "large.mp4"))
        super().setUpClass()
        cls.peer = subprocess.Popen(cls.net.client_cmd(
            [sys.executable, PEER, cls.net.client_ip, cls.served, str(RATE)]),
            stdout=subprocess.PIPE, text=True)
        cls.peer_url = "http://%s:%s" % (cls.net.client_ip, cls.peer.stdout.readline().strip())
        cls.curl("-X", "SUBSCRIBE", "-H", "CALLBACK: <%s/event>" % cls.peer_url, "-H",
                 "NT: upnp:event", "-H", "TIMEOUT: Second-1800", cls.base + CDS_EVENT)

    @classmethod
    def tearDownClass(cls):
        cls.peer.kill()
        cls.peer.wait()
        cls.peer.stdout.close()
        try:
            super().tearDownClass()
        finally:
            shutil.rmtree(cls.work, ignore_errors=True)

    # ---- helpers ----

    def created(self, container, title, kind, soap=None):
        soap = soap or self.soap
        code, body = soap("CreateObject", (("ContainerID", container),
                                           ("Elements", html.escape(didl(title, kind)))))
        self.assertEqual(code, 200, body)
        res = next(ET.fromstring(xml_value(body, "Result")).iter(DIDL + "res"))
        return xml_value(body, "ObjectID"), res.get("importUri")

    def transfer(self, action, source, destination):
        code, body = self.soap(action, (("SourceURI", html.escape(source)),
                                        ("DestinationURI", html.escape(destination))))
        return (xml_value(body, "TransferID") if code == 200 else None), code, body

    def progress(self, transfer_id):
        code, body = self.soap("GetTransferProgress", (("TransferID", transfer_id),))
        if code != 200:
            return None
        return (xml_value(body, "TransferStatus"), int(xml_value(body, "TransferLength")),
                int(xml_value(body, "TransferTotal")))

    def wait_end(self, transfer_id, limit=120):
        seen = []
        deadline = time.time() + limit
        while time.time() < deadline:
            p = self.progress(transfer_id)
            seen.append(p)
            if p is None or p[0] != "IN_PROGRESS":
                return p, seen
            time.sleep(0.2)
        raise AssertionError("transfer %s did not end: %s" % (transfer_id, seen[-3:]))

    def uploaded_path(self, import_uri):
        return os.path.join(self.uploads, urllib.parse.urlsplit(import_uri).path.rsplit("/", 1)[1])

    def main_res(self, container, content_id):
        code, body, out = self.browse(container, count=0)
        for element in self.objects(out["Result"]):
            if element.get("id") == "%s$%s" % (container, content_id):
                return next(element.iter(DIDL + "res")).text
        return None

    def fetched_sha(self, url):
        with tempfile.TemporaryDirectory(dir=self.work) as tmp:
            os.chmod(tmp, 0o777)
            path = os.path.join(tmp, "got")
            r = self.curl("-o", path, "-w", "%{http_code}", url, timeout=120)
            self.assertEqual(r.stdout, "200", url)
            return sha256(path)

    def events(self):
        path = os.path.join(self.served, "events.txt")
        if not os.path.exists(path):
            return []
        with open(path) as f:
            return f.read().splitlines()

    # ---- tests ----

    def test_gupnp_upload_sends_a_photo_a_video_and_a_song(self):
        description = self.curl(self.base + "/DeviceDescription.xml").stdout
        udn = re.search(r"<UDN>([^<]+)</UDN>", description).group(1)
        for kind, (sample, container, _, _) in SAMPLES.items():
            source = os.path.join(self.served, os.path.basename(sample))
            before = {str(i) for (i,) in self.rows("select id from ObjectTable")}
            r = self.net.client(["gupnp-upload", "-t", "10", "-e", self.net.client_if, "-u", udn,
                                 "-c", container, source], timeout=120)
            # gupnp-upload 0.12 of Debian 12 may abort in its own clean-up
            # after "Done." (a double free there); what it did is checked below.
            self.assertTrue(r.returncode == 0 or "Done." in r.stdout,
                            (kind, r.returncode, r.stdout[-1000:], r.stderr[-1000:]))
            new = [str(i) for (i,) in self.rows("select id from ObjectTable")
                   if str(i) not in before]
            self.assertEqual(len(new), 1, (kind, new, r.stdout[-500:]))
            url = self.main_res(container, new[0])
            self.assertIsNotNone(url, kind)
            self.assertEqual(self.fetched_sha(url), sha256(source), kind)

    def test_import_of_a_small_and_a_large_file_reports_its_progress(self):
        _, uri = self.created("1", "imported photo", "photo")
        tid, code, body = self.transfer("ImportResource", self.peer_url + "/canon_eos-d60.jpg",
                                        uri)
        self.assertEqual(code, 200, body)
        end, _ = self.wait_end(tid)
        size = os.path.getsize(os.path.join(self.served, "canon_eos-d60.jpg"))
        self.assertEqual(end, ("COMPLETED", size, size))
        self.assertEqual(sha256(self.uploaded_path(uri)),
                         sha256(os.path.join(self.served, "canon_eos-d60.jpg")))
        object_id, uri = self.created("3", "imported movie", "video")
        tid, code, body = self.transfer("ImportResource", self.peer_url + "/large.mp4", uri)
        self.assertEqual(code, 200, body)
        end, seen = self.wait_end(tid)
        self.assertEqual(end, ("COMPLETED", LARGE, LARGE))
        growing = [p[1] for p in seen if p and p[0] == "IN_PROGRESS" and p[1] > 0]
        self.assertGreaterEqual(len(set(growing)), 2, seen[:10])
        self.assertEqual(growing, sorted(growing))
        self.assertEqual(sha256(self.uploaded_path(uri)),
                         sha256(os.path.join(self.served, "large.mp4")))
        self.assertIsNotNone(self.main_res("3", object_id.split("$", 1)[1]))

    def test_stopped_and_failed_imports_leave_nothing_and_go_after_30_seconds(self):
        _, uri = self.created("3", "stopped movie", "video")
        tid, code, _ = self.transfer("ImportResource", self.peer_url + "/large.mp4", uri)
        self.assertEqual(code, 200)
        deadline = time.time() + 30
        while time.time() < deadline and (self.progress(tid) or ("", 0, 0))[1] == 0:
            time.sleep(0.1)
        code, body = self.soap("StopTransferResource", (("TransferID", tid),))
        self.assertEqual(code, 200, body)
        self.assertEqual(self.progress(tid)[0], "STOPPED")
        name = os.path.basename(self.uploaded_path(uri))
        self.assertEqual([e for e in os.listdir(self.uploads) if name in e], [])
        _, uri2 = self.created("1", "missing photo", "photo")
        tid2, code, _ = self.transfer("ImportResource", self.peer_url + "/missing.jpg", uri2)
        self.assertEqual(code, 200)
        self.assertEqual(self.wait_end(tid2)[0][0], "ERROR")
        # Both are queryable for 30 s after their end, then gone and announced.
        time.sleep(20)
        self.assertIsNotNone(self.progress(tid))
        deadline = time.time() + 30
        while time.time() < deadline and (self.progress(tid) or self.progress(tid2)):
            time.sleep(0.5)
        self.assertIsNone(self.progress(tid))
        self.assertIsNone(self.progress(tid2))
        transfer_ids = [re.search(r"<TransferIDs>([^<]*)</TransferIDs>", e).group(1)
                        for e in self.events() if "<TransferIDs>" in e]
        self.assertIn(tid, ",".join(transfer_ids))
        self.assertNotIn(tid, transfer_ids[-1].split(","))

    def test_export_sends_the_file_with_its_dlna_headers(self):
        for kind in ("photo", "video"):
            sample = os.path.join(self.media, os.path.basename(SAMPLES[kind][0]))
            (content_id, uri, profile, mime), = self.rows(
                "select id, uri, DLNAProfile, MimeType from %s where FullPath = ?" % (
                    "ImageTable" if kind == "photo" else "VideoTable"), sample)
            source = "http://%s:%d%s" % (self.net.server_ip, e2e_common.HTTP_PORT, uri)
            received = os.path.join(self.served, "received")
            before = len(os.listdir(received)) if os.path.isdir(received) else 0
            tid, code, body = self.transfer("ExportResource", source, self.peer_url + "/in")
            self.assertEqual(code, 200, body)
            end, _ = self.wait_end(tid)
            size = os.path.getsize(sample)
            self.assertEqual(end, ("COMPLETED", size, size))
            number = before // 2 + 1
            with open(os.path.join(received, "%d.json" % number)) as f:
                headers = {k.lower(): v for k, v in json.load(f)["headers"].items()}
            self.assertEqual(sha256(os.path.join(received, str(number))), sha256(sample))
            self.assertEqual(headers["transfermode.dlna.org"], "Background")
            self.assertEqual(headers["contentfeatures.dlna.org"],
                             "DLNA.ORG_PN=" + profile if profile and profile.strip() else "*")
            self.assertEqual(headers["content-type"], mime)
            self.assertEqual(headers.get("expect", "").lower(), "100-continue")

    def test_bad_sources_and_destinations_are_refused(self):
        _, uri = self.created("1", "refusals", "photo")
        for source in ("file:///etc/passwd", "ftp://%s/x" % self.net.client_ip, "gopher://x/"):
            _, code, body = self.transfer("ImportResource", source, uri)
            self.assertEqual(self.fault(body)[0], 402, source)
        _, code, body = self.transfer("ImportResource", self.peer_url + "/canon_eos-d60.jpg",
                                      "http://%s:9000/upload/nothing.jpg" % self.net.server_ip)
        self.assertEqual(self.fault(body)[0], 718)
        _, code, body = self.transfer("ExportResource",
                                      "http://%s:9000/media/999999.jpg" % self.net.server_ip,
                                      self.peer_url + "/in")
        self.assertEqual(self.fault(body)[0], 714)
        code, body = self.soap("GetTransferProgress", (("TransferID", "4000000"),))
        self.assertEqual(self.fault(body)[0], 402)

    def test_misbehaving_peers_end_as_errors_and_the_server_goes_on(self):
        photo = os.path.join(self.served, "canon_eos-d60.jpg")
        for path, expected in (("/garbage", "ERROR"), ("/reset", "ERROR"),
                               ("/chunked/canon_eos-d60.jpg", "COMPLETED"),
                               ("/nolength/canon_eos-d60.jpg", "COMPLETED")):
            _, uri = self.created("1", "peer " + path, "photo")
            tid, code, body = self.transfer("ImportResource", self.peer_url + path, uri)
            self.assertEqual(code, 200, body)
            end, _ = self.wait_end(tid)
            self.assertEqual(end[0], expected, path)
            name = os.path.basename(self.uploaded_path(uri))
            if expected == "COMPLETED":
                self.assertEqual(sha256(self.uploaded_path(uri)), sha256(photo), path)
            else:
                self.assertEqual([e for e in os.listdir(self.uploads) if name in e], [], path)
        sample = os.path.join(self.media, os.path.basename(SAMPLES["photo"][0]))
        (res_uri,), = self.rows("select uri from ImageTable where FullPath = ?", sample)
        source = "http://%s:%d%s" % (self.net.server_ip, e2e_common.HTTP_PORT, res_uri)
        for path in ("/refuse", "/fail", "/reset"):
            tid, code, body = self.transfer("ExportResource", source, self.peer_url + path)
            self.assertEqual(code, 200, body)
            self.assertEqual(self.wait_end(tid)[0][0], "ERROR", path)
        self.assertEqual(self.soap("GetSystemUpdateID")[0], 200)

    def open_descriptors_and_threads(self):
        pid = self.daemon.proc.pid
        with open("/proc/%d/status" % pid) as f:
            threads = int(re.search(r"Threads:\s+(\d+)", f.read()).group(1))
        return len(os.listdir("/proc/%d/fd" % pid)), threads

    def import_and_export(self, count, source):
        imports = [self.created("1", "many %d" % n, "photo")[1] for n in range(count)]
        ids = [self.transfer("ImportResource", self.peer_url + "/canon_eos-d60.jpg", uri)[0]
               for uri in imports]
        ids += [self.transfer("ExportResource", source, self.peer_url + "/many")[0]
                for _ in range(count)]
        self.assertNotIn(None, ids)
        for tid in ids:
            self.assertEqual(self.wait_end(tid)[0][0], "COMPLETED", tid)
        return imports

    def test_fifty_imports_and_fifty_exports_at_once(self):
        photo = os.path.join(self.served, "canon_eos-d60.jpg")
        sample = os.path.join(self.media, os.path.basename(SAMPLES["photo"][0]))
        (res_uri,), = self.rows("select uri from ImageTable where FullPath = ?", sample)
        source = "http://%s:%d%s" % (self.net.server_ip, e2e_common.HTTP_PORT, res_uri)
        # One round first, so that what is opened once (database
        # connections, the client thread's wake-up pair) is in the baseline.
        self.import_and_export(1, source)
        time.sleep(2)
        baseline = self.open_descriptors_and_threads()
        received = os.path.join(self.served, "received")
        before = len(os.listdir(received)) // 2
        for uri in self.import_and_export(50, source):
            self.assertEqual(sha256(self.uploaded_path(uri)), sha256(photo))
        for n in range(before + 1, before + 51):
            self.assertEqual(sha256(os.path.join(received, str(n))), sha256(sample))
        # Nothing stays open once they are over. The watcher registers each
        # imported file too (the upload folder is inside the media folder),
        # with a database connection and a thread of its own for a moment:
        # two of each are allowed to be passing; a leak per transfer would
        # show fifty.
        deadline = time.time() + 30
        now = self.open_descriptors_and_threads()
        while time.time() < deadline and (now[0] > baseline[0] or now[1] > baseline[1]):
            time.sleep(0.5)
            now = self.open_descriptors_and_threads()
        self.assertLessEqual(now[0], baseline[0] + 2, (now, baseline))
        self.assertLessEqual(now[1], baseline[1] + 2, (now, baseline))

    def test_two_cameras_exchange_a_photo(self):
        # The other camera is a second dmsd on a host of its own, reached
        # through the client's namespace.
        third_ip = self.net.add_third()
        other_media = os.path.join(self.work, "other-media")
        os.makedirs(other_media)
        shutil.copy(os.path.join(e2e_common.MEDIA, SAMPLES["song"][0]), other_media)
        other = subprocess.Popen(self.net.third_cmd(
            [e2e_common.DMSD, "--media", other_media, "--interface", "t0",
             "--state", os.path.join(self.work, "other-state"), "--port", "9100",
             "--upnp-port", "49200"]), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        try:
            for line in other.stdout:
                if "running" in line:
                    break
            if other.poll() is not None:
                self.fail("the second dmsd did not start: " + other.stderr.read()[-2000:])
            other_base = "http://%s:49200" % third_ip

            def other_soap(action, args):
                saved = self.base
                type(self).base = other_base
                try:
                    return self.soap(action, args)
                finally:
                    type(self).base = saved

            object_id, uri = self.created("1", "from the first camera", "photo", soap=other_soap)
            self.assertTrue(uri.startswith("http://%s:9100/" % third_ip), uri)
            sample = os.path.join(self.media, os.path.basename(SAMPLES["photo"][0]))
            (res_uri,), = self.rows("select uri from ImageTable where FullPath = ?", sample)
            source = "http://%s:%d%s" % (self.net.server_ip, e2e_common.HTTP_PORT, res_uri)
            tid, code, body = self.transfer("ExportResource", source, uri)
            self.assertEqual(code, 200, body)
            self.assertEqual(self.wait_end(tid)[0][0], "COMPLETED")
            code, body = other_soap("Browse", (("ObjectID", "1"), ("BrowseFlag",
                                                                  "BrowseDirectChildren"),
                                               ("Filter", "*"), ("StartingIndex", 0),
                                               ("RequestedCount", 0), ("SortCriteria", "")))
            items = [e for e in ET.fromstring(xml_value(body, "Result"))
                     if e.get("id") == object_id]
            self.assertEqual(len(items), 1, body[:1000])
            url = next(items[0].iter(DIDL + "res")).text
            self.assertEqual(self.fetched_sha(url), sha256(sample))
        finally:
            other.terminate()
            other.communicate(timeout=30)

    def test_zero_length_export_sends_one_empty_body(self):
        _, uri = self.created("1", "to be emptied", "photo")
        photo = os.path.join(self.served, "canon_eos-d60.jpg")
        tid, code, _ = self.transfer("ImportResource", self.peer_url + "/canon_eos-d60.jpg", uri)
        self.assertEqual(self.wait_end(tid)[0][0], "COMPLETED")
        path = self.uploaded_path(uri)
        (res_uri,), = self.rows("select uri from ImageTable where FullPath = ?", path)
        os.truncate(path, 0)  # the row stays: its file is now empty
        received = os.path.join(self.served, "received")
        before = len(os.listdir(received)) // 2 if os.path.isdir(received) else 0
        source = "http://%s:%d%s" % (self.net.server_ip, e2e_common.HTTP_PORT, res_uri)
        tid, code, body = self.transfer("ExportResource", source, self.peer_url + "/empty")
        self.assertEqual(code, 200, body)
        self.assertEqual(self.wait_end(tid)[0], ("COMPLETED", 0, 0))
        with open(os.path.join(received, "%d.json" % (before + 1))) as f:
            headers = {k.lower(): v for k, v in json.load(f)["headers"].items()}
        self.assertEqual(headers["content-length"], "0")
        self.assertEqual(os.path.getsize(os.path.join(received, str(before + 1))), 0)
        self.assertTrue(os.path.getsize(photo) > 0)


if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
