#!/usr/bin/python3
"""A client plays the media library of dmsd over HTTP.

The daemon serves a copy of the media folder plus a generated large video in
the server namespace; the client, in its own namespace, browses the whole
tree and fetches every res URL with GET and HEAD, checks the headers against
what the DIDL-Lite announced and the bytes against the files, asks for byte
ranges, lets ffprobe and ffmpeg read the audio and video over HTTP, decodes
the thumbnails, drops connections in mid-stream and downloads one large file
twenty times at once.

Usage: streaming_test.py DMSD MEDIA_DIR [unittest args]
"""
import concurrent.futures
import hashlib
import json
import os
import random
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402
from e2e_common import DIDL, LibraryTest  # noqa: E402
import e2e_common  # noqa: E402

PROBE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "http_probe.py")
BIG = "big_e2e_video.mp4"
DLNA_ASK = {"getcontentFeatures.dlna.org": "1"}


def sha256_of(path, offset=0, length=None):
    digest = hashlib.sha256()
    with open(path, "rb") as f:
        f.seek(offset)
        left = length
        while left is None or left > 0:
            piece = f.read(1 << 20 if left is None else min(1 << 20, left))
            if not piece:
                break
            digest.update(piece)
            if left is not None:
                left -= len(piece)
    return digest.hexdigest()


def content_features(path, fourth):
    """The contentFeatures.dlna.org a download carries for a res announced
    with `fourth`: the same, except that the server's header, unlike the
    DIDL-Lite, gives stored media the streaming flags only for ".mp4" paths
    (a long-standing difference kept on purpose)."""
    if path.startswith(("/nuvthumb", "/nuvscreen")) or "DLNA.ORG_FLAGS=" not in fourth:
        return fourth
    flags = "01500000000000000000000000000000" if ".mp4" in path else \
        "00D00000000000000000000000000000"
    return fourth.split("DLNA.ORG_FLAGS=")[0] + "DLNA.ORG_FLAGS=" + flags


class Streaming(LibraryTest):
    @classmethod
    def media_dir(cls):
        return cls.media

    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="dms-stream-")
        os.chmod(cls.work, 0o755)
        cls.media = os.path.join(cls.work, "media")
        shutil.copytree(e2e_common.MEDIA, cls.media)
        # About 40 MB of H.264/AAC: large enough for many 20480-byte pieces
        # and for clients to be cut off in mid-stream.
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                        "testsrc2=size=640x360:rate=25", "-f", "lavfi", "-i",
                        "sine=frequency=440", "-t", "40", "-c:v", "libx264", "-preset",
                        "ultrafast", "-b:v", "8M", "-c:a", "aac", "-shortest",
                        os.path.join(cls.media, BIG)], check=True, timeout=300)
        for root, dirs, files in os.walk(cls.work):
            for name in dirs + files:
                os.chmod(os.path.join(root, name), 0o755)
        super().setUpClass()
        cls.item_list = None

    @classmethod
    def tearDownClass(cls):
        try:
            super().tearDownClass()
        finally:
            shutil.rmtree(cls.work, ignore_errors=True)

    def items(self):
        if Streaming.item_list is None:
            seen, _ = self.walk()
            Streaming.item_list = [e for e in seen.values() if e.tag == DIDL + "item"]
        return Streaming.item_list

    def probe(self, requests):
        r = self.net.client([sys.executable, PROBE], input=json.dumps(requests), timeout=600)
        self.assertEqual(r.returncode, 0, r.stderr[-2000:])
        return json.loads(r.stdout)

    def source_of(self, path):
        """(file, offset, length) behind a res path, or None when the bytes
        are made on the fly (rendered thumbnails)."""
        for table in ("ImageTable", "AudioTable", "VideoTable"):
            found = self.rows("select FullPath, size from %s where uri = ?" % table, path)
            if found:
                return found[0][0], 0, os.path.getsize(found[0][0])
        found = self.rows("select FullPath, ThumbnailOffset, ThumbnailLength from ImageTable "
                          "where Thumbnailuri = ?", path)
        found = found or self.rows("select FullPath, ScreennailOffset, ScreennailLength from "
                                   "ImageTable where Screennailuri = ?", path)
        if found and found[0][2] and found[0][2] > 0:
            return found[0]
        return None

    def resources(self):
        """(url, path, mime, fourth field, element) of every res."""
        out = []
        for item in self.items():
            for res in item.iter(DIDL + "res"):
                fields = res.get("protocolInfo").split(":", 3)
                path = urllib.parse.urlsplit(res.text).path
                out.append((res.text, urllib.parse.unquote(path), fields[2], fields[3], res))
        return out

    def big(self):
        path = os.path.join(self.media, BIG)
        for url, res_path, mime, fourth, res in self.resources():
            source = self.source_of(res_path)
            if source and source[0] == path:
                return url, path
        raise AssertionError("the large video has no res")

    def test_every_res_answers_get_and_head_as_announced(self):
        resources = self.resources()
        self.assertGreater(len(resources), 30)
        with tempfile.TemporaryDirectory(dir=self.work) as bodies:
            os.chmod(bodies, 0o777)
            requests = []
            for n, (url, *_rest) in enumerate(resources):
                requests.append({"url": url, "method": "HEAD", "headers": DLNA_ASK})
                requests.append({"url": url, "method": "GET", "headers": DLNA_ASK,
                                 "save": os.path.join(bodies, "b%04d" % n)})
            answers = self.probe(requests)
            for n, (url, path, mime, fourth, res) in enumerate(resources):
                head, get = answers[2 * n], answers[2 * n + 1]
                for answer in (head, get):
                    self.assertEqual(answer["status"], 200, (url, answer))
                    self.assertEqual(answer["headers"].get("content-type"), mime, url)
                    self.assertEqual(answer["headers"].get("contentfeatures.dlna.org"),
                                     content_features(path, fourth), url)
                    self.assertIn(answer["headers"].get("transfermode.dlna.org"),
                                  ("Streaming", "Interactive"), url)
                    # Every resource serves byte ranges, and says so.
                    self.assertEqual(answer["headers"].get("accept-ranges"), "bytes", url)
                self.assertEqual(get["error"], "", url)
                self.assertEqual(int(head["headers"]["content-length"]), get["length"], url)
                self.assertEqual(int(get["headers"]["content-length"]), get["length"], url)
                if res.get("size"):
                    self.assertEqual(int(res.get("size")), get["length"], url)
                source = self.source_of(path)
                if source is not None:
                    self.assertEqual(get["sha256"], sha256_of(*source), (url, source))
                else:
                    with open(os.path.join(bodies, "b%04d" % n), "rb") as body:
                        self.assertEqual(body.read(2), b"\xff\xd8", url)

    def test_byte_ranges(self):
        url, path = self.big()
        size = os.path.getsize(path)
        rng = random.Random(7)
        cases = [("bytes=0-", 206, 0, size - 1), ("bytes=-100", 206, size - 100, size - 1),
                 ("bytes=500-400", 400, None, None),
                 ("bytes=%d-" % (size + 10), 416, None, None),
                 ("bytes=0-%d" % (size + 10), 416, None, None)]
        for _ in range(10):
            start = rng.randrange(0, size - 1)
            end = rng.randrange(start, min(size, start + 3000000))
            cases.append(("bytes=%d-%d" % (start, end), 206, start, end))
        answers = self.probe([{"url": url, "headers": {"Range": c[0]}} for c in cases])
        for (header, status, start, end), answer in zip(cases, answers):
            self.assertEqual(answer["status"], status, (header, answer))
            self.assertEqual(answer["headers"].get("connection"), "close", header)
            if status != 206:
                continue
            self.assertEqual(answer["headers"]["content-range"],
                             "bytes %d-%d/%d" % (start, end, size), header)
            self.assertEqual(int(answer["headers"]["content-length"]), end - start + 1, header)
            self.assertEqual(answer["sha256"], sha256_of(path, start, end - start + 1), header)

    def test_ffprobe_and_ffmpeg_read_audio_and_video_over_http(self):
        checked = 0
        for url, path, mime, fourth, res in self.resources():
            if not mime.startswith(("audio/", "video/")):
                continue
            r = self.net.client(["ffprobe", "-v", "error", "-show_entries", "format=duration",
                                 "-of", "csv=p=0", url], timeout=60)
            self.assertEqual(r.returncode, 0, (url, r.stderr[-500:]))
            duration = float(r.stdout.strip() or 0)
            self.assertGreater(duration, 0, url)
            r = self.net.client(["ffmpeg", "-v", "error", "-ss", "%.2f" % (duration / 2), "-i",
                                 url, "-t", "0.5", "-f", "null", "-"], timeout=120)
            self.assertEqual(r.returncode, 0, (url, r.stderr[-500:]))
            checked += 1
        self.assertGreater(checked, 3)

    def test_thumbnails_decode_as_jpeg_of_the_announced_resolution(self):
        checked = 0
        with tempfile.TemporaryDirectory(dir=self.work) as bodies:
            os.chmod(bodies, 0o777)
            for n, (url, path, mime, fourth, res) in enumerate(self.resources()):
                if not path.startswith(("/nuvthumb", "/nuvscreen")) or not res.get("resolution"):
                    continue
                save = os.path.join(bodies, "t%04d.jpg" % n)
                answer = self.probe([{"url": url, "save": save}])[0]
                self.assertEqual(answer["status"], 200, url)
                r = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v:0",
                                    "-show_entries", "stream=codec_name,width,height", "-of",
                                    "csv=p=0", save], capture_output=True, text=True)
                codec, width, height = r.stdout.strip().split(",")[:3]
                self.assertEqual(codec, "mjpeg", url)
                # Height first, except for a thumbnail announced with its
                # size: the server's own, long-standing order.
                first_width = path.startswith("/nuvthumb") and res.get("size")
                expected = (width, height) if first_width else (height, width)
                self.assertEqual(res.get("resolution"), "%sx%s" % expected, url)
                checked += 1
        self.assertGreater(checked, 10)

    def open_descriptors(self):
        return len(os.listdir("/proc/%d/fd" % self.daemon.proc.pid))

    def test_clients_cut_off_in_mid_stream_leave_nothing_behind(self):
        url, path = self.big()
        before = self.open_descriptors()
        cut = ("import socket,sys,urllib.parse\n"
               "u=urllib.parse.urlsplit(sys.argv[1])\n"
               "for i in range(25):\n"
               "    s=socket.create_connection((u.hostname,u.port))\n"
               "    s.sendall(('GET %s HTTP/1.1\\r\\nHost: x\\r\\n\\r\\n'%u.path).encode())\n"
               "    s.recv(100000)\n"
               "    s.close()\n")
        r = self.net.client([sys.executable, "-c", cut, url], timeout=120)
        self.assertEqual(r.returncode, 0, r.stderr)
        deadline = time.time() + 20
        while time.time() < deadline and self.open_descriptors() > before:
            time.sleep(0.2)
        self.assertEqual(self.open_descriptors(), before)
        answer = self.probe([{"url": url, "method": "HEAD"}])[0]
        self.assertEqual(answer["status"], 200)

    def test_no_request_path_reaches_outside_the_served_files(self):
        """`..` and percent-encoded traversal in every URL form of both ports:
        refused, never a file from outside (the daemon's database, the
        system's password file)."""
        streaming = ["/../../../../etc/passwd", "/media/../../../../etc/passwd",
                     "/media/%2e%2e/%2e%2e/%2e%2e/etc/passwd", "/media/..%2f..%2f..%2fetc%2fpasswd",
                     "/%2e%2e%2f%2e%2e%2f%2e%2e%2fetc%2fpasswd", "/media/%252e%252e/etc/passwd",
                     "/nuvthumb/../../../etc/passwd", "/nuvthumb..%2f..%2fmedia.db",
                     "/nuvscreen%2f..%2f..%2fetc%2fpasswd", "/nuvthumbvideo/../media.db",
                     "/..%2fmedia.db_SM", "/%2e%2e%2fmedia.db_SM", "/../media.db_SM",
                     "/..%2f..%2f..%2f..%2fetc%2fpasswd_SM", "/upload/../../../etc/passwd",
                     "/upload/%2e%2e%2f%2e%2e%2fmedia.db", "/livestream.avi/../../etc/passwd",
                     "/media/1.jpg%00/../../media.db", "//etc/passwd", "/\\..\\..\\etc\\passwd"]
        description = ["/../../../../etc/passwd", "/%2e%2e/%2e%2e/%2e%2e/etc/passwd",
                       "/..%2fmedia.db", "/%2e%2e%2fmedia.db", "/description/../media.db",
                       "/../media.db", "//etc/passwd", "/DeviceDescription.xml/../../media.db",
                       "/%2e%2e%2f%2e%2e%2f%2e%2e%2fetc%2fpasswd"]
        send = ("import socket,sys,json\n"
                "out=[]\n"
                "for port,path in json.loads(sys.argv[2]):\n"
                "    for method in ('GET','HEAD'):\n"
                "        s=socket.create_connection((sys.argv[1],port),timeout=10)\n"
                "        s.sendall(('%s %s HTTP/1.1\\r\\nHost: x\\r\\nConnection: close"
                "\\r\\n\\r\\n'%(method,path)).encode('latin-1'))\n"
                "        data=b''\n"
                "        while True:\n"
                "            piece=s.recv(65536)\n"
                "            if not piece: break\n"
                "            data+=piece\n"
                "        s.close()\n"
                "        out.append([port,path,method,data.decode('latin-1')])\n"
                "print(json.dumps(out))\n")
        asked = [[e2e_common.HTTP_PORT, p] for p in streaming] + \
                [[e2e_common.UPNP_PORT, p] for p in description]
        r = self.net.client([sys.executable, "-c", send, self.net.server_ip, json.dumps(asked)],
                            timeout=120)
        self.assertEqual(r.returncode, 0, r.stderr)
        answers = json.loads(r.stdout)
        self.assertEqual(len(answers), 2 * len(asked))
        for port, path, method, answer in answers:
            status = answer.split(" ", 2)[1] if answer.startswith("HTTP/") else "none"
            self.assertIn(status[:1], ("4", "5"), (port, path, method, answer[:300]))
            self.assertNotIn("root:", answer, (port, path))
            self.assertNotIn("SQLite format", answer, (port, path))
        # The server still serves after all that.
        self.assertEqual(self.probe([{"url": self.big()[0], "method": "HEAD"}])[0]["status"], 200)

    def test_twenty_concurrent_downloads_are_identical(self):
        url, path = self.big()
        expected = sha256_of(path)
        with concurrent.futures.ThreadPoolExecutor(20) as pool:
            answers = list(pool.map(lambda _: self.probe([{"url": url}])[0], range(20)))
        for answer in answers:
            self.assertEqual((answer["status"], answer["error"]), (200, ""))
            self.assertEqual(answer["sha256"], expected)


if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
