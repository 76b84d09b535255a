#!/usr/bin/python3
"""Black-box checks of dmsd's command line and lifecycle.

Runs in a network namespace of its own with only its loopback up, so that
no daemon started here (nor its SSDP) ever reaches the host's network.
"""
import contextlib
import html
import os
import re
import signal
import socket
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.request

import netns
from e2e_common import CDS, CDS_CONTROL, envelope

DMSD = None
MEDIA = None


def run(*args, timeout=20):
    return subprocess.run([DMSD, *args], capture_output=True, text=True, timeout=timeout)


def content_of(path):
    with open(path, "rb") as f:
        return f.read()


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class DaemonCommandLine(unittest.TestCase):
    def setUp(self):
        self.state = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.state.cleanup()

    @contextlib.contextmanager
    def watched(self, args, wrapper=()):
        """dmsd started with `args` (its standard error in its output), the
        output collected as watch_output does: yields (process, lines,
        wait_for); then stops it with SIGTERM and checks that it exits 0."""
        p = self.start(args, stderr=subprocess.STDOUT, wrapper=wrapper)
        lines, wait_for = self.watch_output(p)
        try:
            yield p, lines, wait_for
        finally:
            p.send_signal(signal.SIGTERM)
            p.wait(timeout=20)
        self.assertEqual(p.returncode, 0, lines)

    def test_help_describes_every_option(self):
        r = run("--help")
        self.assertEqual(r.returncode, 0)
        for option in ("--media", "--address", "--interface", "--port", "--state",
                       "--name", "--config", "--verbose", "--upload-dir", "--max-upload-size"):
            self.assertIn(option, r.stdout)

    def test_unknown_option_is_one_line_and_exit_2(self):
        r = run("--bogus")
        self.assertEqual(r.returncode, 2)
        self.assertEqual(r.stderr.count("\n"), 1)
        self.assertIn("--bogus", r.stderr)

    def test_missing_media_folder_exits_1(self):
        r = run("--media", "/nonexistent/folder", "--state", self.state.name)
        self.assertEqual(r.returncode, 1)
        self.assertIn("/nonexistent/folder", r.stderr)
        self.assertEqual(r.stderr.count("\n"), 1)

    def test_bad_port_is_refused(self):
        for port in ("0", "65536", "abc", "-5"):
            r = run("--media", MEDIA, "--port", port)
            self.assertEqual(r.returncode, 2, port)

    def test_busy_port_exits_1(self):
        with socket.socket() as s:
            s.bind(("127.0.0.1", 0))
            s.listen()
            port = s.getsockname()[1]
            r = run("--media", MEDIA, "--port", str(port), "--state", self.state.name)
        self.assertEqual(r.returncode, 1)
        self.assertIn("port %d" % port, r.stderr)

    def test_bad_upload_size_is_refused(self):
        for size in ("", "abc", "-1", "10X", "99999999999G"):
            r = run("--media", MEDIA, "--max-upload-size", size)
            self.assertEqual(r.returncode, 2, size)
            self.assertEqual(r.stderr.count("\n"), 1)

    def test_unusable_upload_folder_exits_1(self):
        r = run("--media", MEDIA, "--state", self.state.name, "--upload-dir", "/proc/no/such")
        self.assertEqual(r.returncode, 1)
        self.assertIn("/proc/no/such", r.stderr)
        self.assertEqual(r.stderr.count("\n"), 1)

    def test_config_file_errors_name_the_line(self):
        with tempfile.NamedTemporaryFile("w", suffix=".conf", delete=False) as f:
            f.write("# comment\nport = 9000\ncolour = blue\n")
        try:
            r = run("--config", f.name)
            self.assertEqual(r.returncode, 2)
            self.assertIn(f.name + ":3", r.stderr)
        finally:
            os.unlink(f.name)

    def stop_with(self, signum):
        port = free_port()
        p = subprocess.Popen([DMSD, "--media", MEDIA, "--port", str(port), "--state",
                              self.state.name], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                             text=True)
        try:
            line = p.stdout.readline()
            self.assertIn("serving", line)
            time.sleep(0.2)
            p.send_signal(signum)
            out, err = p.communicate(timeout=20)
        finally:
            if p.poll() is None:
                p.kill()
                p.wait()
        self.assertEqual(p.returncode, 0, err)
        self.assertIn("stopped", out)
        self.assertTrue(os.path.isdir(self.state.name))

    @staticmethod
    def make_media(path):
        """A small photo, song or movie made with ffmpeg, by the extension."""
        source = {".jpg": ["-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1"],
                  ".mp3": ["-f", "lavfi", "-i", "sine=duration=1"],
                  ".mp4": ["-f", "lavfi", "-i", "testsrc=duration=1:size=64x48",
                           "-pix_fmt", "yuv420p"]}[os.path.splitext(path)[1]]
        subprocess.run(["ffmpeg", "-v", "error", "-y", *source, path], check=True, timeout=60)

    def start(self, args, stderr=subprocess.DEVNULL, env=None, wrapper=()):
        """dmsd on free ports with the test's state folder and `args`, its
        standard output a pipe of text; its UPnP port in self.upnp_port."""
        self.upnp_port = free_port()
        return subprocess.Popen([*wrapper, DMSD, "--port", str(free_port()), "--upnp-port",
                                 str(self.upnp_port), "--state", self.state.name, *args],
                                stdout=subprocess.PIPE, stderr=stderr, text=True, env=env)

    def soap(self, action, args):
        """(HTTP status, body) of a ContentDirectory action on the daemon
        last started; a hung server fails the test through the timeout."""
        request = urllib.request.Request(
            "http://127.0.0.1:%d%s" % (self.upnp_port, CDS_CONTROL),
            data=envelope(action, CDS, args).encode(),
            headers={"Content-Type": 'text/xml; charset="utf-8"',
                     "SOAPACTION": '"%s#%s"' % (CDS, action)})
        try:
            with urllib.request.urlopen(request, timeout=15) as r:
                return r.status, r.read().decode()
        except urllib.error.HTTPError as e:
            return e.code, e.read().decode()

    def browse_count(self, object_id):
        """TotalMatches of a Browse of the children of `object_id`."""
        status, body = self.soap("Browse", [
            ("ObjectID", object_id), ("BrowseFlag", "BrowseDirectChildren"), ("Filter", "*"),
            ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")])
        self.assertEqual(status, 200, body)
        return int(re.search(r"<TotalMatches>(\d+)</TotalMatches>", body).group(1))

    def resources(self):
        """Every res URL found below the root."""
        pending, found = ["0"], []
        while pending:
            status, body = self.soap("Browse", [
                ("ObjectID", pending.pop(0)), ("BrowseFlag", "BrowseDirectChildren"),
                ("Filter", "*"), ("StartingIndex", "0"), ("RequestedCount", "0"),
                ("SortCriteria", "")])
            self.assertEqual(status, 200, body)
            didl = html.unescape(body)
            found += re.findall(r"<res\b[^>]*>\s*(http://[^<\s]+)\s*</res", didl)
            pending += re.findall(r"<container\s[^>]*\bid=\"([^\"]+)\"", didl)
        return found

    def watch_output(self, p):
        """Collects `p`'s output lines in a thread; returns (lines, wait_for)
        where wait_for(text, count=1) waits until `text` appeared `count`
        times."""
        lines = []
        reader = threading.Thread(target=lambda: lines.extend(p.stdout), daemon=True)
        reader.start()

        def wait_for(text, count=1):
            deadline = time.time() + 30
            while time.time() < deadline and sum(text in l for l in lines) < count:
                time.sleep(0.05)
            self.assertGreaterEqual(sum(text in l for l in lines), count, (text, lines))
        return lines, wait_for

    def run_until(self, args, wanted, env=None, timeout=60):
        """Starts dmsd, reads its output until every text of `wanted` has
        appeared in it, stops it with SIGTERM; returns its output lines
        (then those of its standard error)."""
        p = self.start(args, stderr=subprocess.PIPE, env=env)
        lines = []
        try:
            deadline = time.time() + timeout
            while time.time() < deadline and not all(any(w in l for l in lines) for w in wanted):
                line = p.stdout.readline()
                if not line:
                    break
                lines.append(line.rstrip("\n"))
            p.send_signal(signal.SIGTERM)
            out, err = p.communicate(timeout=20)
            lines += out.splitlines() + err.splitlines()
        finally:
            if p.poll() is None:
                p.kill()
                p.wait()
        self.assertEqual(p.returncode, 0, err)
        for w in wanted:
            self.assertTrue(any(w in l for l in lines), "%r not in %s" % (w, lines))
        return lines

    def registered(self, state=None):
        """The registered files of the database in `state` (the test's state
        folder by default)."""
        if state is not None:
            # SQLite resolves links in a path, and a /proc/PID/root path
            # must not be resolved: a copy of the files is read instead.
            copy = tempfile.mkdtemp()
            self.addCleanup(shutil.rmtree, copy)
            for name in ("media.db", "media.db-wal"):
                if os.path.exists(os.path.join(state, name)):
                    shutil.copyfile(os.path.join(state, name), os.path.join(copy, name))
            state = copy
        db = sqlite3.connect(os.path.join(state or self.state.name, "media.db"))
        try:
            return sorted(r[0] for r in db.execute(
                "select FullPath from ScannerFileState where id > 0"))
        finally:
            db.close()

    def test_without_media_the_xdg_folders_that_exist_are_served(self):
        with tempfile.TemporaryDirectory() as home:
            for folder in ("Pictures", "Films", ".config"):
                os.mkdir(os.path.join(home, folder))
            self.make_media(os.path.join(home, "Pictures", "p.jpg"))
            self.make_media(os.path.join(home, "Films", "v.mp4"))
            # Videos renamed by user-dirs.dirs; Music left at its default,
            # which does not exist.
            with open(os.path.join(home, ".config", "user-dirs.dirs"), "w") as f:
                f.write('# written by xdg-user-dirs-update\nXDG_VIDEOS_DIR="$HOME/Films"\n'
                        'XDG_DESKTOP_DIR="$HOME/Desktop"\n')
            env = dict(os.environ, HOME=home)
            env.pop("XDG_CONFIG_HOME", None)
            pictures, films = os.path.join(home, "Pictures"), os.path.join(home, "Films")
            lines = self.run_until([], ["scan of %s done" % pictures, "scan of %s done" % films],
                                   env=env)
            self.assertIn("dmsd: no --media given: serving the XDG media folders", lines)
            serving = [l for l in lines if l.startswith("dmsd: serving ")]
            self.assertEqual(len(serving), 1, lines)
            self.assertIn(pictures + ", " + films + " as", serving[0])
            self.assertNotIn("Music", serving[0])
            self.assertEqual(self.registered(), [os.path.join(films, "v.mp4"),
                                                 os.path.join(pictures, "p.jpg")])

    def test_nothing_to_serve_is_one_line_and_exit_1(self):
        with tempfile.TemporaryDirectory() as home:
            env = dict(os.environ, HOME=home)
            env.pop("XDG_CONFIG_HOME", None)
            r = subprocess.run([DMSD, "--state", self.state.name], capture_output=True,
                               text=True, timeout=20, env=env)
        self.assertEqual(r.returncode, 1)
        self.assertEqual(r.stderr.count("\n"), 1, r.stderr)
        self.assertIn("nothing to serve", r.stderr)

    def test_several_media_folders_are_served_and_a_nested_one_once(self):
        with tempfile.TemporaryDirectory() as top:
            a, b = os.path.join(top, "a"), os.path.join(top, "b")
            inner = os.path.join(a, "inner")
            os.makedirs(inner)
            os.mkdir(b)
            self.make_media(os.path.join(inner, "p.jpg"))
            self.make_media(os.path.join(b, "s.mp3"))
            lines = self.run_until(["--media", inner, "--media", a, "--media", b + "/",
                                    "--media", a], ["scan of %s done" % b])
            serving = [l for l in lines if l.startswith("dmsd: serving ")]
            self.assertIn("serving %s, %s as" % (a, b), serving[0])
            self.assertEqual(sum("dmsd: scanning /" in l for l in lines), 2, lines)
            self.assertEqual(self.registered(), [os.path.join(inner, "p.jpg"),
                                                 os.path.join(b, "s.mp3")])

    def test_dcf_takes_one_folder(self):
        r = run("--media", MEDIA, "--media", "/tmp", "--dcf", "--state", self.state.name)
        self.assertEqual(r.returncode, 1)
        self.assertIn("--dcf", r.stderr)

    def test_files_of_a_folder_no_longer_served_are_forgotten(self):
        with tempfile.TemporaryDirectory() as top:
            a, b = os.path.join(top, "a"), os.path.join(top, "b")
            os.mkdir(a)
            os.mkdir(b)
            self.make_media(os.path.join(a, "p.jpg"))
            self.make_media(os.path.join(b, "s.mp3"))
            self.run_until(["--media", a, "--media", b], ["scan of %s done" % b])
            self.assertEqual(len(self.registered()), 2)
            lines = self.run_until(["--media", b], ["scan of %s done" % b])
            self.assertIn("dmsd: forgot 1 files outside the media folders", lines)
            self.assertEqual(self.registered(), [os.path.join(b, "s.mp3")])
            with sqlite3.connect(os.path.join(self.state.name, "media.db")) as db:
                self.assertEqual(db.execute("select count(*) from ObjectTable where "
                                            "FullPath like ?", (a + "/%",)).fetchone()[0], 0)

    def test_manual_page_covers_every_option_and_renders_cleanly(self):
        page = os.path.join(os.path.dirname(os.path.dirname(DMSD)), "docs", "dmsd.8")
        with open(page) as f:
            text = f.read()
        helptext = run("--help").stdout
        options = sorted(set(re.findall(r"(?<![\w-])--[a-z][a-z-]+", helptext)))
        self.assertGreater(len(options), 15, options)
        for option in options:
            self.assertIn(option.replace("-", "\\-"), text, option)
        for section in ("OPTIONS", "CONFIGURATION FILE", "ACCESS MODES", "SIGNALS", "FILES",
                        "EXIT STATUS", "EXAMPLES"):
            self.assertIn(".SH " + section, text)
        for signame in ("SIGHUP", "SIGUSR1", "SIGINT", "SIGTERM"):
            self.assertIn(signame, text)
        # The name rule is stated, and that a name proves nothing.
        self.assertIn("TLX_HHP_", text)
        self.assertIn("not a credential", text)
        version = run("--version").stdout.split()[1]
        self.assertIn('"dmsd %s"' % version, text.splitlines()[0])
        r = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z", page], capture_output=True,
                           text=True, timeout=30)
        self.assertEqual((r.returncode, r.stderr), (0, ""))

    def test_an_unusable_database_is_moved_aside_and_rebuilt(self):
        with tempfile.TemporaryDirectory() as media:
            for name in ("a.jpg", "b.mp3", "c.mp4"):
                self.make_media(os.path.join(media, name))
            done = "scan of %s done" % os.path.realpath(media)
            database = os.path.join(self.state.name, "media.db")
            self.run_until(["--media", media], [done])
            good = content_of(database)
            self.assertGreater(len(good), 8192)
            foreign = os.path.join(self.state.name, "foreign.db")
            with sqlite3.connect(foreign) as db:
                db.execute("create table ObjectTable (id integer primary key, name text)")
                db.execute("insert into ObjectTable values (1, 'not ours')")
            cases = {"garbage": bytes(range(256)) * 40,
                     "truncated": good[:len(good) // 2],
                     "foreign schema": content_of(foreign)}
            for case, content in cases.items():
                with self.subTest(case):
                    for old in os.listdir(self.state.name):
                        if old.startswith("media.db"):
                            os.unlink(os.path.join(self.state.name, old))
                    with open(database, "wb") as f:
                        f.write(content)
                    lines = self.run_until(["--media", media], [done])
                    warnings = [l for l in lines if "is not usable" in l]
                    self.assertEqual(len(warnings), 1, lines)
                    aside = [n for n in os.listdir(self.state.name)
                             if n.startswith("media.db.unusable-")
                             and not n.endswith(("-wal", "-shm"))]
                    self.assertEqual(len(aside), 1)
                    self.assertIn(aside[0], warnings[0])
                    with open(os.path.join(self.state.name, aside[0]), "rb") as f:
                        self.assertEqual(f.read(), content, "kept as it was")
                    self.assertEqual(len(self.registered()), 3, "rebuilt by the scan")
            # A sound database is used as it is.
            lines = self.run_until(["--media", media], [done])
            self.assertFalse([l for l in lines if "is not usable" in l], lines)
            self.assertTrue(any("0 registered" in l for l in lines), lines)

    def consistency(self):
        """Counts that a sound database keeps equal, from the sqlite3 shell
        (another reader than the server's)."""
        database = os.path.join(self.state.name, "media.db")

        def count(sql):
            r = subprocess.run(["sqlite3", "-batch", database, sql], capture_output=True,
                               text=True, timeout=60)
            self.assertEqual(r.returncode, 0, r.stderr)
            return int(r.stdout.strip())
        return {
            "objects": count("select count(*) from ObjectTable"),
            "photos": count("select count(*) from ImageTable"),
            "distinct paths": count("select count(distinct FullPath) from ObjectTable"),
            "orphan objects": count("select count(*) from ObjectTable o where not exists "
                                    "(select 1 from ImageTable i where i.id=o.id)"),
            "orphan photos": count("select count(*) from ImageTable i where not exists "
                                   "(select 1 from ObjectTable o where o.id=i.id)"),
            "half-written": count("select count(*) from ImageTable where uri is null or "
                                  "Thumbnailuri is null or Width is null or size is null"),
            "states": count("select count(*) from ScannerFileState where id > 0"),
            "states without rows": count("select count(*) from ScannerFileState s where "
                                         "s.id > 0 and not exists (select 1 from ObjectTable o "
                                         "where o.id=s.id)"),
        }

    def test_sigkill_during_a_scan_leaves_whole_rows_and_a_restart_completes(self):
        files = 20000
        with tempfile.TemporaryDirectory() as media:
            first = os.path.join(media, "p00000.jpg")
            self.make_media(first)
            for n in range(1, files):  # links: many paths, one file's bytes
                os.link(first, os.path.join(media, "p%05d.jpg" % n))
            p = self.start(["--media", media])
            database = os.path.join(self.state.name, "media.db")
            try:
                # Killed once the first batches are in (WAL lets another
                # reader see them while the scan goes on).
                deadline = time.time() + 120
                while time.time() < deadline:
                    r = subprocess.run(["sqlite3", "-batch", database,
                                        "select count(*) from ObjectTable"],
                                       capture_output=True, text=True, timeout=30)
                    if r.returncode == 0 and r.stdout.strip() not in ("", "0"):
                        break
                    time.sleep(0.02)
            finally:
                p.kill()
                out, _ = p.communicate(timeout=20)
            lines = out.splitlines()
            self.assertFalse([l for l in lines if "done:" in l],
                             "killed before the scan ended")
            killed = self.consistency()
            self.assertLess(killed["objects"], files)
            self.assertGreater(killed["objects"], 0, "batches written before the kill")
            for name in ("orphan objects", "orphan photos", "half-written", "states without rows"):
                self.assertEqual(killed[name], 0, (name, killed))
            self.assertEqual(killed["distinct paths"], killed["objects"])
            self.assertEqual(killed["photos"], killed["objects"])

            self.run_until(["--media", media], ["scan of %s done" % os.path.realpath(media)],
                           timeout=300)
            after = self.consistency()
            self.assertEqual(after["objects"], files, after)
            self.assertEqual(after["photos"], files)
            self.assertEqual(after["distinct paths"], files)
            self.assertEqual(after["states"], files)
            for name in ("orphan objects", "orphan photos", "half-written", "states without rows"):
                self.assertEqual(after[name], 0, (name, after))

    def test_a_media_folder_that_goes_takes_its_files_and_brings_them_back(self):
        with tempfile.TemporaryDirectory() as top:
            a, b = os.path.join(top, "a"), os.path.join(top, "b")
            for folder, names in ((a, ("p.jpg", "s.mp3")), (b, ("v.mp4",))):
                os.mkdir(folder)
                for name in names:
                    self.make_media(os.path.join(folder, name))
            with self.watched(["--media", a, "--media", b]) as (p, lines, wait_for):
                wait_for("scan of %s done" % b)
                self.assertEqual(len(self.registered()), 3)
                # Removed: its files go, the other folder's stay.
                shutil.rmtree(a)
                wait_for("media folder %s is gone" % a)
                self.assertEqual(self.registered(), [os.path.join(b, "v.mp4")])
                # Back, with other content: registered again.
                os.mkdir(a + ".new")
                self.make_media(os.path.join(a + ".new", "q.jpg"))
                os.rename(a + ".new", a)
                wait_for("media folder %s is back" % a)
                wait_for("scan of %s done" % a, 2)
                self.assertEqual(self.registered(), [os.path.join(a, "q.jpg"),
                                                     os.path.join(b, "v.mp4")])
                # Moved away and replaced: the new folder's files, watched.
                os.rename(a, a + ".old")
                wait_for("media folder %s is gone: 1 files removed" % a)
                os.mkdir(a)
                wait_for("media folder %s is back" % a, 2)
                wait_for("scan of %s done" % a, 3)
                self.make_media(os.path.join(a, "late.mp3"))
                wait_for("registered %s" % os.path.join(a, "late.mp3"))
                self.make_media(os.path.join(a + ".old", "moved-away.mp3"))
                time.sleep(0.5)
                self.assertEqual(self.registered(), [os.path.join(a, "late.mp3"),
                                                     os.path.join(b, "v.mp4")])

    def test_a_database_removed_while_serving_is_made_again_by_the_next_rescan(self):
        with tempfile.TemporaryDirectory() as media:
            media = os.path.realpath(media)
            for name in ("a.jpg", "b.mp3"):
                self.make_media(os.path.join(media, name))
            with self.watched(["--media", media]) as (p, lines, wait_for):
                wait_for("scan of %s done" % media)
                self.assertEqual(self.browse_count("0"), 3)
                for name in os.listdir(self.state.name):
                    if name.startswith("media.db"):
                        os.unlink(os.path.join(self.state.name, name))
                # The server answers from the file it has open; the scanner
                # cannot register new files, and says so once.
                for n in range(3):
                    self.make_media(os.path.join(media, "late%d.jpg" % n))
                    wait_for("could not register %s" % os.path.join(media, "late%d.jpg" % n))
                self.assertEqual(sum("cannot open the database" in l for l in lines), 1, lines)
                self.assertEqual(self.browse_count("0"), 3)
                # A creation is answered too (written to the file the server
                # has open, or refused), not left hanging.
                status, body = self.soap("CreateObject", [
                    ("ContainerID", "DLNA.ORG_AnyContainer"),
                    ("Elements", "&lt;DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/"
                     "DIDL-Lite/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:upnp="
                     "\"urn:schemas-upnp-org:metadata-1-0/upnp/\"&gt;&lt;item id=\"\" "
                     "parentID=\"DLNA.ORG_AnyContainer\" restricted=\"0\"&gt;&lt;dc:title&gt;"
                     "n.jpg&lt;/dc:title&gt;&lt;upnp:class&gt;object.item.imageItem.photo"
                     "&lt;/upnp:class&gt;&lt;res protocolInfo=\"http-get:*:image/jpeg:*\"/&gt;"
                     "&lt;/item&gt;&lt;/DIDL-Lite&gt;")])
                self.assertIn(status, (200, 500), body)
                self.assertTrue("<ObjectID>" in body or "<errorCode>" in body, body)
                # The rescan makes it again, with every file of the folder.
                p.send_signal(signal.SIGUSR1)
                wait_for("scan of %s done" % media, 2)
                self.assertEqual(sum("is no longer the database the server opened (it was "
                                     "removed)" in l for l in lines), 1, lines)
                self.assertEqual(len(self.registered()), 5)
                self.assertEqual(self.browse_count("0"), 3)
                self.assertEqual(sum("is written again" in l for l in lines), 1, lines)
                # And the server reads the new file: a later file shows.
                self.make_media(os.path.join(media, "after.mp3"))
                wait_for("registered %s" % os.path.join(media, "after.mp3"))
                self.assertIn(os.path.join(media, "after.mp3"), self.registered())

    def test_a_database_made_read_only_while_serving_is_reported_once_and_recovers(self):
        with tempfile.TemporaryDirectory() as media:
            media = os.path.realpath(media)
            self.make_media(os.path.join(media, "a.jpg"))
            state = self.state.name
            database = os.path.join(state, "media.db")
            # Without capabilities, so that file modes bind even uid 0.
            unprivileged = ("setpriv", "--bounding-set=-all", "--inh-caps=-all")
            with self.watched(["--media", media], wrapper=unprivileged) as (p, lines, wait_for):
                wait_for("scan of %s done" % media)
                # A read-only copy put in its place (a file restored from a
                # backup, say). The connection the server has open keeps
                # writing to the file it opened, whatever its mode now.
                copy = os.path.join(state, "copy.db")
                shutil.copyfile(database, copy)
                os.chmod(copy, 0o444)
                for name in ("media.db-wal", "media.db-shm"):
                    if os.path.exists(os.path.join(state, name)):
                        os.unlink(os.path.join(state, name))
                os.replace(copy, database)
                for n in range(3):
                    self.make_media(os.path.join(media, "late%d.jpg" % n))
                    wait_for("could not register %s" % os.path.join(media, "late%d.jpg" % n))
                faults = [l for l in lines if "[DirectoryScanner]" in l]
                self.assertEqual(len(faults), 1, lines)
                self.assertIn("media.db", faults[0])
                self.assertEqual(self.browse_count("0"), 3)
                # A rescan follows the new file, reads it and still cannot write.
                p.send_signal(signal.SIGUSR1)
                wait_for("another file is in its place")
                time.sleep(1)
                self.assertEqual(self.browse_count("0"), 3)
                # Writable again: the next rescan registers what came meanwhile.
                for name in os.listdir(state):
                    if name.startswith("media.db"):
                        os.chmod(os.path.join(state, name), 0o644)
                p.send_signal(signal.SIGUSR1)
                wait_for("is written again")
                wait_for("scan of %s done" % media, 2)
                self.assertEqual(len(self.registered()), 4)
                self.assertEqual(sum("[DirectoryScanner]" in l and "written again" not in l
                                     for l in lines), 1, lines)

    def test_a_full_disk_stops_registration_not_serving(self):
        with tempfile.TemporaryDirectory() as media:
            media = os.path.realpath(media)
            for name in ("a.jpg", "b.mp3"):
                self.make_media(os.path.join(media, name))
            state = self.state.name
            # The state folder on a small file system of the daemon's own
            # mount namespace, seen from here through /proc.
            small_disk = ("unshare", "-m", "--propagation", "private", "sh", "-c",
                          'mount -t tmpfs -o size=1m dms-full "$0" && exec "$@"', state)
            with self.watched(["--media", media], wrapper=small_disk) as (p, lines, wait_for):
                wait_for("scan of %s done" % media)
                seen = "/proc/%d/root%s" % (p.pid, state)
                self.assertEqual(len(self.registered(seen)), 2)
                with open(os.path.join(seen, "filler"), "wb") as f:
                    try:
                        while True:
                            f.write(b"\0" * 65536)
                            f.flush()
                    except OSError:
                        pass
                for n in range(20):
                    os.link(os.path.join(media, "a.jpg"), os.path.join(media, "n%02d.jpg" % n))
                p.send_signal(signal.SIGUSR1)
                wait_for("SIGUSR1")
                wait_for("scanning %s" % media, 2)
                time.sleep(1)
                self.assertEqual(sum("media.db cannot be written" in l for l in lines), 1, lines)
                self.assertTrue(any("No space left on device" in l or "disk is full" in l
                                    for l in lines), lines)
                # What it has is still listed and served.
                self.assertEqual(self.browse_count("0"), 3)
                urls = self.resources()
                self.assertTrue(any("/nuvthumb" in u for u in urls), urls)
                for url in urls:
                    # The photo's thumbnail is rendered (it carries none) and
                    # cannot be kept in the cache: it is served all the same.
                    with urllib.request.urlopen(url, timeout=15) as r:
                        self.assertEqual(r.status, 200, url)
                        body = r.read()
                        self.assertGreater(len(body), 0, url)
                        if "/nuvthumb" in url:
                            self.assertEqual(body[:2], b"\xff\xd8", url)
                cache = os.path.join(seen, "thumbnails")
                self.assertEqual([n for n in os.listdir(cache) if n.endswith(".tmp")]
                                 if os.path.isdir(cache) else [], [])
                # Space again: the next rescan registers the rest.
                os.unlink(os.path.join(seen, "filler"))
                p.send_signal(signal.SIGUSR1)
                wait_for("is written again")
                wait_for("scan of %s done" % media, 2)
                self.assertEqual(len(self.registered(seen)), 22)

    def test_links_to_files_outside_the_media_folder_are_served_only_when_asked(self):
        with tempfile.TemporaryDirectory() as top:
            media, outside = os.path.join(top, "media"), os.path.join(top, "private")
            os.mkdir(media)
            os.mkdir(outside)
            self.make_media(os.path.join(media, "inside.jpg"))
            self.make_media(os.path.join(outside, "secret.jpg"))
            os.symlink(os.path.join(media, "inside.jpg"), os.path.join(media, "alias.jpg"))
            os.symlink(os.path.join(outside, "secret.jpg"), os.path.join(media, "leak.jpg"))
            os.symlink(outside, os.path.join(media, "folder-link"))
            done = "scan of %s done" % media
            lines = self.run_until(["--media", media], [done])
            self.assertEqual(self.registered(), [os.path.join(media, "alias.jpg"),
                                                 os.path.join(media, "inside.jpg")])
            self.assertEqual(sum("leak.jpg: a link to outside the media folder" in l
                                 for l in lines), 1, lines)
            lines = self.run_until(["--media", media, "--follow-symlinks"], [done])
            self.assertEqual(self.registered(), [os.path.join(media, "alias.jpg"),
                                                 os.path.join(media, "inside.jpg"),
                                                 os.path.join(media, "leak.jpg")])
            # A link made while the daemon watches the folder.
            p = self.start(["--media", media])
            try:
                while done not in p.stdout.readline():
                    pass
                os.symlink(os.path.join(outside, "secret.jpg"), os.path.join(media, "late.jpg"))
                line = p.stdout.readline()
                self.assertIn("not registered %s" % os.path.join(media, "late.jpg"), line)
                os.symlink(os.path.join(media, "inside.jpg"), os.path.join(media, "again.jpg"))
                line = p.stdout.readline()
                self.assertIn("registered %s" % os.path.join(media, "again.jpg"), line)
                self.assertNotIn("not", line)
            finally:
                p.send_signal(signal.SIGTERM)
                p.communicate(timeout=20)
            self.assertNotIn(os.path.join(media, "late.jpg"), self.registered())

    def test_version(self):
        r = run("--version")
        self.assertEqual(r.returncode, 0)
        self.assertRegex(r.stdout, r"^dmsd \d+\.\d+\.\d+\n$")

    def test_sigterm_stops_cleanly(self):
        self.stop_with(signal.SIGTERM)

    def test_sigint_stops_cleanly(self):
        self.stop_with(signal.SIGINT)


if __name__ == "__main__":
    netns.enter_private_network()
    DMSD = sys.argv.pop(1)
    MEDIA = sys.argv.pop(1)
    unittest.main(verbosity=2)
