#!/usr/bin/python3
"""A client watches the live view of dmsd and downloads the last photo.

The daemon runs with `--live-view test` in the server namespace over a small
media folder; the client, in its own namespace, records the full-size and
QVGA streams with curl and reads them with ffprobe, plays the stream over
HTTP with ffmpeg, switches quality while a stream runs, and downloads the
small image of the newest photo dropped into the media folder, compared
with what exiftool extracts. A second daemon without a live-view source
answers 503.

Usage: live_view_test.py DMSD MEDIA_DIR [unittest args]
"""
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402
from e2e_common import HTTP_PORT, LibraryTest  # noqa: E402
import e2e_common  # noqa: E402

MPF_PHOTO = "photos/sony_slt-a57__DSC8832.JPG"  # MPF screennail and EXIF thumbnail
EXIF_PHOTO = "photos/nikon_d90_DSC_0003.JPG"  # EXIF thumbnail only


def exiftool_binary(tag, path):
    return subprocess.run(["exiftool", "-b", "-" + tag, path], capture_output=True,
                          check=True).stdout


class LiveViewBase(LibraryTest):
    @classmethod
    def media_dir(cls):
        cls.media = tempfile.mkdtemp(prefix="dms-live-media-")
        shutil.copy(os.path.join(e2e_common.MEDIA, "photos/canon_eos-d60.jpg"), cls.media)
        return cls.media

    @classmethod
    def tearDownClass(cls):
        super().tearDownClass()
        shutil.rmtree(cls.media, ignore_errors=True)

    def url(self, path):
        return "http://%s:%d%s" % (self.net.server_ip, HTTP_PORT, path)

    def record(self, path, seconds):
        """Records `seconds` of a stream: (response headers, body file)."""
        body = os.path.join(self.state, "rec-%d.avi" % time.monotonic_ns())
        headers = body + ".headers"
        r = self.net.client(["curl", "-s", "-m", str(seconds), "-D", headers, "-o", body,
                             self.url(path)], timeout=seconds + 20)
        self.assertEqual(r.returncode, 28, "the stream should last until curl's limit")
        with open(headers) as f:
            return f.read(), body

    def probe(self, path):
        r = subprocess.run(["ffprobe", "-v", "error", "-count_frames", "-show_streams",
                            "-of", "json", path], capture_output=True, text=True, timeout=60)
        self.assertEqual(r.returncode, 0, r.stderr)
        streams = json.loads(r.stdout)["streams"]
        self.assertEqual(len(streams), 1)
        return streams[0]


class LiveView(LiveViewBase):
    @classmethod
    def daemon_args(cls):
        return ["--live-view", "test"]

    def test_full_size_stream_is_an_avi_of_jpeg_pictures_with_the_camera_headers(self):
        headers, body = self.record("/livestream.avi", 4)
        lines = headers.lower().splitlines()
        self.assertEqual(lines[0].strip(), "http/1.1 200 ok")
        self.assertIn("content-type: video/x-avi", lines)
        self.assertIn("cache-control: no-cache", lines)
        self.assertIn("connection: close", lines)
        self.assertIn("transfermode.dlna.org: streaming", lines)
        self.assertIn("contentfeatures.dlna.org: dlna.org_pn=avc_mp4_bl_cif15_aac_520;"
                      "dlna.org_op=01;dlna.org_ci=0;"
                      "dlna.org_flags=01500000000000000000000000000000", lines)
        self.assertFalse(any(l.startswith("content-length") for l in lines))
        with open(body, "rb") as f:
            data = f.read()
        self.assertEqual(data[0:4], b"RIFF")
        self.assertEqual(data[8:12], b"AVI ")
        self.assertEqual(data[212:216], b"LIST")
        self.assertEqual(data[220:224], b"movi")
        self.assertEqual(data[224:228], b"00dc", "pictures follow the 224-byte header")
        size = struct.unpack("<I", data[228:232])[0]
        self.assertEqual(data[232:234], b"\xff\xd8", "each chunk is a JPEG picture")
        self.assertEqual(data[232 + size - 2:232 + size], b"\xff\xd9")
        stream = self.probe(body)
        self.assertEqual(stream["codec_name"], "mjpeg")
        self.assertEqual((stream["width"], stream["height"]), (640, 480))
        # 3 s of pictures at 30/s after the encoder's 1 s start; generous.
        self.assertGreaterEqual(int(stream["nb_read_frames"]), 45)

    def test_qvga_stream_has_quarter_size_pictures(self):
        _, body = self.record("/qvga_livestream.avi", 3)
        stream = self.probe(body)
        self.assertEqual((stream["width"], stream["height"]), (320, 240))
        self.assertGreaterEqual(int(stream["nb_read_frames"]), 20)

    def test_a_player_reads_the_stream_over_http(self):
        out = os.path.join(self.state, "played.png")
        r = self.net.client(["ffmpeg", "-v", "error", "-y", "-i", self.url("/livestream.avi"),
                             "-frames:v", "40", "-update", "1", out], timeout=60)
        self.assertEqual(r.returncode, 0, r.stderr)
        r = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "stream=width,height",
                            "-of", "csv=p=0", out], capture_output=True, text=True)
        self.assertEqual(r.stdout.strip(), "640,480")

    def test_quality_switch_while_a_stream_runs_gives_the_new_client_a_whole_stream(self):
        first = subprocess.Popen(self.net.client_cmd(
            ["curl", "-s", "-m", "6", "-o", os.devnull, self.url("/livestream.avi")]))
        try:
            time.sleep(2)
            _, body = self.record("/qvga_livestream.avi", 3)
            stream = self.probe(body)
            self.assertEqual((stream["width"], stream["height"]), (320, 240))
            self.assertGreaterEqual(int(stream["nb_read_frames"]), 20)
        finally:
            first.wait(timeout=30)

    def test_last_photo_is_the_newest_registered_and_its_small_image_downloads(self):
        for photo, tag in ((MPF_PHOTO, "PreviewImage"), (EXIF_PHOTO, "ThumbnailImage")):
            source = os.path.join(e2e_common.MEDIA, photo)
            name = os.path.basename(photo)
            shutil.copy(source, os.path.join(self.media, name))
            got = self.wait_for_photo(name)
            self.assertEqual(got, exiftool_binary(tag, source), photo)
        r = self.curl("-o", os.devnull, "-w", "%{http_code}",
                      self.url("/" + os.path.basename(MPF_PHOTO) + "_SM"))
        self.assertEqual(r.stdout, "400", "no longer the last photo: an unknown download")

    def wait_for_photo(self, name):
        path = os.path.join(self.state, "photo-" + name)
        deadline = time.time() + 30
        while time.time() < deadline:
            r = self.curl("-o", path, "-w", "%{http_code} %{size_download}",
                          self.url("/" + name + "_SM"))
            code, size = r.stdout.split()
            if code == "200":
                with open(path, "rb") as f:
                    body = f.read()
                self.assertEqual(len(body), int(size))
                return body
            time.sleep(0.3)
        raise AssertionError("%s never became the last photo: %s" % (name,
                                                                    self.daemon.lines[-5:]))


class NoLiveView(LiveViewBase):
    def test_video_urls_answer_503_without_a_source(self):
        for path in ("/livestream.avi", "/qvga_livestream.avi"):
            r = self.curl("-o", os.devnull, "-w", "%{http_code}", self.url(path))
            self.assertEqual(r.stdout, "503", path)


if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
