#!/usr/bin/python3
"""Black-box checks of dmsd's media scan, on the loopback of a network
namespace of its own: the start-up scan fills the database with what ffprobe
and exiftool report, files that appear, change or go while it runs are
registered or removed, SIGUSR1 rescans, --dcf takes only the camera layout,
and a video without a picture gets the installed stand-in."""
import os
import queue
import shutil
import signal
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.request

import netns

DMSD = None
MEDIA = None
TIMEOUT = 60


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class Daemon:
    def __init__(self, media, state, *extra):
        self.lines = queue.Queue()
        self.seen = []
        self.errors = tempfile.TemporaryFile("w+")
        self.port = free_port()
        self.proc = subprocess.Popen(
            [DMSD, "--media", media, "--state", state, "--address", "127.0.0.1",
             "--port", str(self.port), "--upnp-port", str(free_port()), *extra],
            stdout=subprocess.PIPE, stderr=self.errors, text=True)
        threading.Thread(target=self._read, daemon=True).start()
        self.db = os.path.join(state, "media.db")

    def _read(self):
        for line in self.proc.stdout:
            self.lines.put(line.rstrip("\n"))

    def wait_for(self, text):
        """The first line, from now on, that contains `text`."""
        deadline = time.time() + TIMEOUT
        while time.time() < deadline:
            try:
                line = self.lines.get(timeout=0.5)
            except queue.Empty:
                if self.proc.poll() is not None:
                    self.errors.seek(0)
                    raise AssertionError("dmsd exited with %d: %s\n%s" % (
                        self.proc.returncode, "\n".join(self.seen), self.errors.read()[-2000:]))
                continue
            self.seen.append(line)
            if text in line:
                return line
        raise AssertionError("no line with %r in:\n%s" % (text, "\n".join(self.seen)))

    def query(self, sql, *args):
        with sqlite3.connect(self.db, timeout=10) as db:
            return db.execute(sql, args).fetchall()

    def stop(self):
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(timeout=20)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.proc.stdout.close()
        self.errors.close()
        return self.proc.returncode


def ffprobe(path, entry, select=None):
    cmd = ["ffprobe", "-v", "error"]
    if select:
        cmd += ["-select_streams", select]
    cmd += ["-show_entries", entry, "-of", "default=nw=1:nk=1", path]
    out = subprocess.run(cmd, capture_output=True, text=True).stdout.strip()
    return out.splitlines()[0] if out else ""


def exiftool(path, tag):
    return subprocess.run(["exiftool", "-s3", "-n", "-" + tag, path], capture_output=True,
                          text=True).stdout.strip()


class DaemonScan(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.media = os.path.join(self.tmp.name, "media")
        self.state = os.path.join(self.tmp.name, "state")
        os.makedirs(self.media)
        self.daemons = []

    def tearDown(self):
        for d in self.daemons:
            self.assertEqual(d.stop(), 0)
        self.tmp.cleanup()

    def start(self, media, *extra):
        d = Daemon(media, self.state, *extra)
        self.daemons.append(d)
        return d

    def copy(self, sample, name):
        target = os.path.join(self.media, name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(os.path.join(MEDIA, sample), target + ".part")
        os.rename(target + ".part", target)  # what a camera or rsync does
        return target

    def test_startup_scan_registers_every_sample_with_its_metadata(self):
        d = self.start(MEDIA)
        line = d.wait_for("done:")
        self.assertIn("67 files", line)
        self.assertIn("files/s", line)
        self.assertEqual(d.query("select count(*) from ObjectTable")[0][0], 67)
        self.assertEqual(d.query("select count(*) from ImageTable")[0][0], 47)
        self.assertEqual(d.query("select count(*) from AudioTable")[0][0], 10)
        self.assertEqual(d.query("select count(*) from VideoTable")[0][0], 10)
        for path, width, height, offset, length in d.query(
                "select FullPath, Width, Height, ThumbnailOffset, ThumbnailLength "
                "from ImageTable"):
            self.assertEqual(str(width), exiftool(path, "ImageWidth"), path)
            self.assertEqual(str(height), exiftool(path, "ImageHeight"), path)
            thumb = subprocess.run(["exiftool", "-b", "-ThumbnailImage", path],
                                   capture_output=True).stdout
            if thumb:
                with open(path, "rb") as f:
                    f.seek(offset)
                    self.assertEqual(f.read(length), thumb, path)
            else:
                self.assertEqual((offset, length), (-1, 0), path)
        for path, width, height, rate in d.query(
                "select FullPath, Width, Height, AudioFrequency from VideoTable"):
            self.assertEqual(str(width), ffprobe(path, "stream=width", "v:0"), path)
            self.assertEqual(str(height), ffprobe(path, "stream=height", "v:0"), path)
            self.assertEqual(str(rate), ffprobe(path, "stream=sample_rate", "a:0") or "0", path)
        for path, rate, channels in d.query(
                "select FullPath, Frequency, Channel from AudioTable"):
            self.assertEqual(str(rate), ffprobe(path, "stream=sample_rate", "a:0"), path)
            self.assertEqual(str(channels), ffprobe(path, "stream=channels", "a:0"), path)

    def test_ffmpeg_is_unloaded_once_the_scan_is_done(self):
        d = self.start(MEDIA)
        d.wait_for("done:")
        self.assertEqual(d.query("select count(*) from VideoTable")[0][0], 10)

        def mapped():
            with open("/proc/%d/maps" % d.proc.pid) as maps:
                return sorted({line.split()[-1] for line in maps
                               if "/libavformat.so" in line or "/libavcodec.so" in line})
        deadline = time.time() + 10
        while mapped() and time.time() < deadline:
            time.sleep(0.2)
        self.assertEqual(mapped(), [])

    def test_files_that_appear_change_or_go_are_registered_and_removed(self):
        self.copy("photos/casio_ex-s1.jpg", "a.jpg")
        d = self.start(self.media)
        d.wait_for("done:")
        self.assertEqual(d.query("select count(*) from ImageTable")[0][0], 1)

        song = self.copy("music/bear-id3v23-apic.mp3", "new/sub/song.mp3")
        d.wait_for("registered " + song)
        self.assertEqual(d.query("select Title, Artist from AudioTable"),
                         [("Test title", "Test Artist")])

        # Written in place: registered once the writer closes it.
        movie = os.path.join(self.media, "clip.mp4")
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                        "testsrc=size=320x240:rate=15", "-t", "1", "-pix_fmt", "yuv420p",
                        movie], check=True)
        d.wait_for("registered " + movie)
        self.assertEqual(d.query("select Width, Height from VideoTable"), [(320, 240)])

        photo = os.path.join(self.media, "a.jpg")
        (old_id,) = d.query("select id from ImageTable")[0]
        self.copy("photos/minolta_dimage-x.jpg", "a.jpg")
        d.wait_for("registered " + photo)
        self.assertEqual(d.query("select id, Width from ImageTable"), [(old_id, 1280)])

        os.unlink(song)
        d.wait_for("removed " + song)
        self.assertEqual(d.query("select count(*) from AudioTable")[0][0], 0)
        self.assertEqual(d.query("select count(*) from ObjectTable where FullPath=?", song)[0][0],
                         0)

    def test_a_video_without_a_picture_gets_the_installed_stand_in(self):
        # A movie whose frames are all damaged: listed, but no picture of it
        # can be made, so its thumbnail is the stand-in that is installed
        # (in the build tree, staged beside dmsd as it is installed).
        movie = os.path.join(self.media, "damaged.mp4")
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                        "testsrc=size=320x240:rate=15", "-t", "1", "-pix_fmt", "yuv420p",
                        movie], check=True)
        with open(movie, "r+b") as f:
            data = bytearray(f.read())
            at = 0
            while at + 8 <= len(data):
                size, kind = struct.unpack(">I4s", data[at:at + 8])
                if kind == b"mdat":
                    data[at + 8:at + size] = bytes(size - 8)
                at += size
            f.seek(0)
            f.write(data)
        d = self.start(self.media)
        d.wait_for("done:")
        (uri,) = d.query("select Thumbnailuri from VideoTable")[0]
        with urllib.request.urlopen("http://127.0.0.1:%d%s" % (d.port, uri), timeout=30) as r:
            served = r.read()
        stand_in = os.path.join(os.path.dirname(os.path.realpath(DMSD)), "..", "share", "dmsd",
                                "pictures", "NoThumb.JPG")
        with open(stand_in, "rb") as f:
            self.assertEqual(served, f.read())

    def test_folders_moved_in_and_out_are_registered_and_removed(self):
        d = self.start(self.media)
        d.wait_for("done:")
        outside = os.path.join(self.tmp.name, "import")
        os.makedirs(os.path.join(outside, "inner"))
        shutil.copyfile(os.path.join(MEDIA, "photos/sanyo_sr662.jpg"),
                        os.path.join(outside, "inner", "p.jpg"))
        os.rename(outside, os.path.join(self.media, "import"))
        photo = os.path.join(self.media, "import", "inner", "p.jpg")
        d.wait_for("registered " + photo)
        self.assertEqual(d.query("select FullPath from ImageTable"), [(photo,)])
        os.rename(os.path.join(self.media, "import"), outside)
        self.assertIn("1 removed", d.wait_for("done:"))
        self.assertEqual(d.query("select count(*) from ObjectTable")[0][0], 0)

    def test_sigusr1_rescans_when_not_watching(self):
        d = self.start(self.media, "--no-watch")
        self.assertIn("0 files", d.wait_for("done:"))
        self.copy("photos/sanyo_sr662.jpg", "x.jpg")
        self.copy("music/v1tag-only.mp3", "y.mp3")
        d.proc.send_signal(signal.SIGUSR1)
        line = d.wait_for("done:")
        self.assertIn("2 files", line)
        self.assertIn("2 registered", line)
        os.unlink(os.path.join(self.media, "x.jpg"))
        d.proc.send_signal(signal.SIGUSR1)
        self.assertIn("1 removed", d.wait_for("done:"))
        self.assertEqual(d.query("select count(*) from ObjectTable")[0][0], 1)

    def test_restart_rescan_keeps_ids_and_registers_nothing_new(self):
        self.copy("photos/sanyo_sr662.jpg", "x.jpg")
        d = self.start(self.media)
        d.wait_for("done:")
        ids = d.query("select id, uri from ImageTable")
        self.assertEqual(d.stop(), 0)
        d = self.start(self.media)
        self.assertIn("0 registered", d.wait_for("done:"))
        self.assertEqual(d.query("select id, uri from ImageTable"), ids)

    def test_dcf_option_takes_only_the_camera_layout(self):
        d = self.start(os.path.join(MEDIA, "card"), "--dcf")
        self.assertIn("9 files", d.wait_for("done:"))
        paths = [p for (p,) in d.query("select FullPath from ObjectTable")]
        self.assertEqual(len(paths), 9)
        self.assertTrue(all("/card/DCIM/" in p for p in paths), paths)


if __name__ == "__main__":
    netns.enter_private_network()
    DMSD = sys.argv.pop(1)
    MEDIA = os.path.realpath(sys.argv.pop(1))
    unittest.main(verbosity=2)
