#!/usr/bin/python3
"""Players upload photos, songs and videos into dmsd over the network.

The daemon serves a media folder holding a photo, a song and a video, with
its upload folder inside that media folder (so that its watcher sees every
upload too). The client, in its own namespace, creates objects with
CreateObject, posts the same files to their importUri with curl and with a
raw client (with and without "Expect: 100-continue", with and without
Content-Length, in one piece and trickled), and checks that Browse then
lists each with the class and res elements of the scanned original, that
every res URL serves the uploaded bytes or a decodable thumbnail, that
DestroyObject removes it, that an object without upload expires, and that
bad uploads (hostile targets, no created object, a second upload at once,
too large, cut off, a full disk) leave nothing behind.

Usage: upload_test.py DMSD MEDIA_DIR [unittest args]
"""
import hashlib
import html
import json
import os
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
from e2e_common import DIDL, Daemon, LibraryTest, xml_value  # noqa: E402
import e2e_common  # noqa: E402

CLIENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "upload_client.py")
UPNP = "{urn:schemas-upnp-org:metadata-1-0/upnp/}"

# name: (sample, container, class, MIME type, fourth protocolInfo field)
SAMPLES = {
    "photo": ("photos/canon_eos-d60.jpg", "1", "object.item.imageItem.photo", "image/jpeg",
              "DLNA.ORG_PN=JPEG_LRG;DLNA.ORG_OP=01"),
    "song": ("music/bear-id3v23-apic.mp3", "2", "object.item.audioItem.musicTrack",
             "audio/mpeg", "*"),
    "video": ("video/sample_h264_aac.mp4", "3", "object.item.videoItem", "video/mp4", "*"),
}


def didl(title, upnp_class, mime, fourth, restricted="0"):
    return ('<DIDL-Lite xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/" '
            'xmlns:dc="http://purl.org/dc/elements/1.1/" '
            'xmlns:upnp="urn:schemas-upnp-org:metadata-1-0/upnp/">'
            '<item id="" parentID="" restricted="%s"><dc:title>%s</dc:title>'
            '<upnp:class>%s</upnp:class><res protocolInfo="http-get:*:%s:%s"/></item>'
            '</DIDL-Lite>' % (restricted, html.escape(title), upnp_class, mime, fourth))


def sha256(path):
    with open(path, "rb") as f:
        return hashlib.sha256(f.read()).hexdigest()


class Uploads(LibraryTest):
    @classmethod
    def media_dir(cls):
        return cls.media

    @classmethod
    def daemon_args(cls):
        return ["--upload-dir", cls.uploads, "--max-upload-size", "50M"]

    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="dms-upload-")
        os.chmod(cls.work, 0o755)
        cls.media = os.path.join(cls.work, "media")
        cls.uploads = os.path.join(cls.media, "uploads")
        os.makedirs(cls.media)
        for sample, *_ in SAMPLES.values():
            shutil.copy(os.path.join(e2e_common.MEDIA, sample), cls.media)
        # A larger file for the trickled, cut-off and full-disk uploads.
        cls.big = os.path.join(cls.work, "big.mp4")
        with open(cls.big, "wb") as f:
            f.write(os.urandom(4 << 20))
        super().setUpClass()

    @classmethod
    def tearDownClass(cls):
        try:
            super().tearDownClass()
        finally:
            shutil.rmtree(cls.work, ignore_errors=True)

    # ---- helpers ----

    def create(self, container, title, kind, restricted="0"):
        """CreateObject; (status, ObjectID, importUri)."""
        _, _, upnp_class, mime, fourth = SAMPLES[kind]
        code, body = self.soap("CreateObject", (("ContainerID", container), (
            "Elements", html.escape(didl(title, upnp_class, mime, fourth, restricted)))))
        if code != 200:
            return code, None, None
        result = ET.fromstring(xml_value(body, "Result"))
        res = next(result.iter(DIDL + "res"))
        return code, xml_value(body, "ObjectID"), res.get("importUri")

    def created(self, container, title, kind):
        code, object_id, uri = self.create(container, title, kind)
        self.assertEqual(code, 200)
        self.assertTrue(uri.startswith("http://%s:%d/upload/" % (self.net.server_ip,
                                                                 e2e_common.HTTP_PORT)), uri)
        return object_id, uri

    def curl_post(self, uri, path, *extra):
        r = self.curl("-o", "/dev/null", "-w", "%{http_code}", "-X", "POST", "-H",
                      "Content-Type: application/octet-stream", *extra, "--data-binary",
                      "@" + path, uri)
        return int(r.stdout or 0)

    def raw_post(self, uri, path, *options):
        r = self.net.client([sys.executable, CLIENT, uri, path, *options], timeout=120)
        self.assertEqual(r.returncode, 0, r.stderr[-2000:])
        return json.loads(r.stdout)

    def listed(self, container, content_id):
        """The item `container`$`content_id` as Browse lists it, or None."""
        start = 0
        while True:
            code, body, out = self.browse(container, start=start)
            self.assertEqual(code, 200, body)
            found = self.objects(out["Result"])
            for element in found:
                if element.get("id") == "%s$%s" % (container, content_id):
                    return element
            start += len(found)
            if not found or start >= int(out["TotalMatches"]):
                return None

    def id_of(self, path):
        found = self.rows("select id from ObjectTable where FullPath = ?", path)
        self.assertEqual(len(found), 1, (path, found))
        return str(found[0][0])

    def entries(self):
        return sorted(os.listdir(self.uploads)) if os.path.isdir(self.uploads) else []

    def fetch(self, url, save):
        r = self.curl("-o", save, "-w", "%{http_code}", url, timeout=60)
        return int(r.stdout or 0)

    def system_update_id(self):
        return int(xml_value(self.soap("GetSystemUpdateID")[1], "Id"))

    # ---- tests ----

    def test_uploads_are_listed_and_served_like_the_scanned_files(self):
        cases = [  # kind, container asked for, how it is sent
            ("photo", "1", lambda uri, p: self.curl_post(uri, p, "-H", "Expect: 100-continue")),
            ("photo", "DLNA.ORG_AnyContainer", lambda uri, p: self.curl_post(uri, p, "-H",
                                                                              "Expect:")),
            ("song", "DLNA.ORG_AnyContainer", lambda uri, p: self.curl_post(
                uri, p, "-H", "Transfer-Encoding: chunked")),
            ("song", "2", lambda uri, p: self.curl_post(uri, p)),
            ("video", "3", lambda uri, p: self.raw_post(uri, p, "--piece", "8192", "--delay",
                                                        "0.005")["status"]),
            ("video", "DLNA.ORG_AnyContainer", lambda uri, p: self.curl_post(
                uri, p, "--limit-rate", "400k")),
        ]
        for n, (kind, container, send) in enumerate(cases):
            sample, own, upnp_class, _, _ = SAMPLES[kind]
            source = os.path.join(e2e_common.MEDIA, sample)
            before = self.system_update_id()
            object_id, uri = self.created(container, "upload %d %s" % (n, kind), kind)
            self.assertEqual(send(uri, source), 200, (kind, container))
            name = urllib.parse.urlsplit(uri).path.rsplit("/", 1)[1]
            path = os.path.join(self.uploads, name)
            self.assertEqual(sha256(path), sha256(source))
            self.assertGreater(self.system_update_id(), before)
            content_id = object_id.split("$", 1)[1]
            self.assertEqual(self.id_of(path), content_id)
            uploaded = self.listed(own, content_id)
            self.assertIsNotNone(uploaded, (kind, object_id))
            scanned = self.listed(own, self.id_of(os.path.join(self.media,
                                                               os.path.basename(sample))))
            self.assertIsNotNone(scanned)
            # The server's class for what the file is, as for the scanned one.
            self.assertEqual(uploaded.find(UPNP + "class").text,
                             scanned.find(UPNP + "class").text)
            self.assertTrue(uploaded.find(UPNP + "class").text.startswith(upnp_class))
            # The same res elements as the scanned original, but for their URLs.
            up_res = list(uploaded.iter(DIDL + "res"))
            self.assertEqual([r.attrib for r in up_res],
                             [r.attrib for r in scanned.iter(DIDL + "res")], kind)
            self.assertEqual(up_res[0].get("size"), str(os.path.getsize(source)))
            with tempfile.TemporaryDirectory(dir=self.work) as tmp:
                os.chmod(tmp, 0o777)
                main = os.path.join(tmp, "main")
                self.assertEqual(self.fetch(up_res[0].text, main), 200)
                self.assertEqual(sha256(main), sha256(source))
                for res in up_res[1:]:  # thumbnails and album art
                    picture = os.path.join(tmp, "thumb.jpg")
                    self.assertEqual(self.fetch(res.text, picture), 200, res.text)
                    r = subprocess.run(["ffmpeg", "-v", "error", "-i", picture, "-f", "null",
                                        "-"], capture_output=True, text=True, timeout=60)
                    self.assertEqual(r.returncode, 0, (res.text, r.stderr[-500:]))
        # One row per file: the watcher and the upload agreed, and no hidden
        # partial file was ever registered.
        paths = [p for (p,) in self.rows("select FullPath from ObjectTable")]
        self.assertEqual(len(paths), len(set(paths)))
        self.assertFalse([p for p in paths if "/." in p])
        self.assertFalse([e for e in self.entries() if e.startswith(".")])

    def test_destroy_object_removes_the_item_its_file_and_its_urls(self):
        object_id, uri = self.created("1", "to destroy", "photo")
        source = os.path.join(e2e_common.MEDIA, SAMPLES["photo"][0])
        self.assertEqual(self.curl_post(uri, source), 200)
        content_id = object_id.split("$", 1)[1]
        url = next(self.listed("1", content_id).iter(DIDL + "res")).text
        path = os.path.join(self.uploads, urllib.parse.urlsplit(uri).path.rsplit("/", 1)[1])
        self.assertTrue(os.path.exists(path))
        code, body = self.soap("DestroyObject", (("ObjectID", "1$" + content_id),))
        self.assertEqual(code, 200, body)
        self.assertIsNone(self.listed("1", content_id))
        self.assertFalse(os.path.exists(path))
        self.assertEqual(self.rows("select count(*) from ObjectTable where id = ?", content_id),
                         [(0,)])
        self.assertIn(self.fetch(url, "/dev/null"), (400, 404))
        code, body = self.soap("DestroyObject", (("ObjectID", "1$" + content_id),))
        self.assertEqual(self.fault(body), (701, "No such object"))

    def test_object_whose_upload_never_starts_is_gone_35_seconds_later(self):
        object_id, uri = self.created("2", "never sent", "song")
        content_id = object_id.split("$", 1)[1]
        self.assertEqual(len(self.rows("select id from ObjectTable where id = ?", content_id)), 1)
        time.sleep(30)
        self.assertEqual(len(self.rows("select id from ObjectTable where id = ?", content_id)), 1)
        # The object row goes first, the media row a statement later.
        deadline = time.time() + 20
        while time.time() < deadline and (
                self.rows("select id from ObjectTable where id = ?", content_id)
                or self.rows("select id from AudioTable where id = ?", content_id)):
            time.sleep(0.5)
        self.assertEqual(self.rows("select count(*) from ObjectTable where id = ?", content_id),
                         [(0,)])
        self.assertEqual(self.rows("select count(*) from AudioTable where id = ?", content_id),
                         [(0,)])
        self.assertIsNone(self.listed("2", content_id))
        # Its upload URL no longer takes anything.
        self.assertEqual(self.curl_post(uri, self.big), 403)

    def test_upload_cut_off_halfway_leaves_nothing_and_the_server_goes_on(self):
        object_id, uri = self.created("3", "cut off", "video")
        out = self.raw_post(uri, self.big, "--stop-after", str(1 << 20), "--piece", "65536")
        self.assertIn("stopped", out["error"])
        name = urllib.parse.urlsplit(uri).path.rsplit("/", 1)[1]
        deadline = time.time() + 10
        while time.time() < deadline and [e for e in self.entries() if name in e]:
            time.sleep(0.2)
        self.assertEqual([e for e in self.entries() if name in e], [])
        self.assertEqual(self.soap("GetSystemUpdateID")[0], 200)
        # The object is still there for another try, which succeeds.
        source = os.path.join(e2e_common.MEDIA, SAMPLES["video"][0])
        self.assertEqual(self.curl_post(uri, source), 200)
        self.assertEqual(sha256(os.path.join(self.uploads, name)), sha256(source))

    def test_hostile_targets_and_objects_never_created_are_refused(self):
        before = self.entries()
        outside = os.path.join(self.work, "outside.jpg")
        base = "http://%s:%d" % (self.net.server_ip, e2e_common.HTTP_PORT)
        for target in ("/upload/never-created.jpg", "/upload/../../outside.jpg",
                       "/upload/%2e%2e/%2e%2e/outside.jpg", "/upload/a%00b.jpg",
                       "/upload/a%5Cb.jpg", "/upload/.hidden.jpg", "/outside.jpg",
                       "/media/1.jpg", "/upload/"):
            code = self.curl_post(base + target, self.big, "--path-as-is")
            self.assertEqual(code, 403, target)
        self.assertEqual(self.entries(), before)
        self.assertFalse(os.path.exists(outside))

    def test_a_second_upload_into_the_same_object_is_refused(self):
        object_id, uri = self.created("3", "twice", "video")
        first = subprocess.Popen(self.net.client_cmd(
            [sys.executable, CLIENT, uri, self.big, "--piece", "65536", "--delay", "0.02"]),
            stdout=subprocess.PIPE, text=True)
        try:
            time.sleep(0.5)
            source = os.path.join(e2e_common.MEDIA, SAMPLES["video"][0])
            self.assertEqual(self.curl_post(uri, source), 409)
        finally:
            out, _ = first.communicate(timeout=120)
        # Random bytes are no movie: the complete body arrives, then cannot
        # become content (500), and no file stays.
        self.assertEqual(json.loads(out)["status"], 500)
        name = urllib.parse.urlsplit(uri).path.rsplit("/", 1)[1]
        self.assertEqual([e for e in self.entries() if name in e], [])

    def test_uploads_above_the_limit_are_refused_before_any_byte(self):
        object_id, uri = self.created("3", "too big", "video")
        out = self.raw_post(uri, self.big, "--expect", "--declare", str(60 << 20))
        self.assertEqual(out, {"status": 413, "continued": False, "error": ""})


class FullDisk(e2e_common.NetworkTest):
    """The upload folder on a 2 MiB tmpfs of the daemon's own mount
    namespace."""

    def test_full_disk_deletes_the_partial_file_and_the_server_goes_on(self):
        work = tempfile.mkdtemp(prefix="dms-full-", dir=self.state)
        os.chmod(work, 0o755)
        media = os.path.join(work, "media")
        uploads = os.path.join(work, "uploads")
        os.makedirs(media)
        os.makedirs(uploads)
        shutil.copy(os.path.join(e2e_common.MEDIA, SAMPLES["photo"][0]), media)
        big = os.path.join(work, "big.jpg")
        with open(big, "wb") as f:
            f.write(os.urandom(4 << 20))
        mount = ["unshare", "-m", "--propagation", "private", "sh", "-c",
                 'mount -t tmpfs -o size=2m dms-full "$0" && exec "$@"', uploads]
        daemon = Daemon(self.net, os.path.join(work, "state"), "--port", "9000",
                        "--upload-dir", uploads, media=media, wrapper=mount)
        try:
            seen = "/proc/%d/root%s" % (daemon.proc.pid, uploads)  # the daemon's view
            self.assertEqual(subprocess.run(["findmnt", "-N", str(daemon.proc.pid), uploads],
                                            capture_output=True).returncode, 0)
            self.assertNotEqual(subprocess.run(["findmnt", uploads],
                                               capture_output=True).returncode, 0)
            time.sleep(1)
            uri = self._create()
            # Declared larger than the free space: refused before writing.
            r = self.curl("-o", "/dev/null", "-w", "%{http_code}", "-X", "POST",
                          "--data-binary", "@" + big, uri)
            self.assertEqual(r.stdout, "413")
            # Chunked, so the size is not known: the disk fills up.
            r = self.curl("-o", "/dev/null", "-w", "%{http_code}", "-X", "POST", "-H",
                          "Transfer-Encoding: chunked", "--data-binary", "@" + big, uri)
            self.assertNotEqual(r.stdout, "200")
            deadline = time.time() + 10
            while time.time() < deadline and os.listdir(seen):
                time.sleep(0.2)
            self.assertEqual(os.listdir(seen), [])
            # The server goes on: a photo that fits arrives whole.
            source = os.path.join(e2e_common.MEDIA, SAMPLES["photo"][0])
            r = self.curl("-o", "/dev/null", "-w", "%{http_code}", "-X", "POST",
                          "--data-binary", "@" + source, self._create())
            self.assertEqual(r.stdout, "200")
            names = os.listdir(seen)
            self.assertEqual(len(names), 1, names)
            self.assertEqual(sha256(os.path.join(seen, names[0])), sha256(source))
        finally:
            self.assertEqual(daemon.stop(), 0)

    def _create(self):
        _, _, upnp_class, mime, fourth = SAMPLES["photo"]
        code, body = self.soap("CreateObject", (("ContainerID", "1"), (
            "Elements", html.escape(didl("upload", upnp_class, mime, fourth)))))
        self.assertEqual(code, 200, body)
        return next(ET.fromstring(xml_value(body, "Result")).iter(DIDL + "res")).get("importUri")


if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
