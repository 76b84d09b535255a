#!/usr/bin/python3
"""Black-box checks of dmsd's command line and lifecycle.

Runs in a network namespace of its own with only its loopback up, so that
no daemon started here (nor its SSDP) ever reaches the host's network.
"""
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

DMSD = None
MEDIA = None


def run(*args, timeout=20):
    return subprocess.run([DMSD, *args], capture_output=True, text=True, timeout=timeout)


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class DaemonCommandLine(unittest.TestCase):
    def setUp(self):
        self.state = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.state.cleanup()

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

    def test_sigterm_stops_cleanly(self):
        self.stop_with(signal.SIGTERM)

    def test_sigint_stops_cleanly(self):
        self.stop_with(signal.SIGINT)


def enter_private_network():
    """Re-runs this script in a new network namespace (as root, or as root
    of a new user namespace) and brings its loopback up there."""
    if os.environ.get("DMS_CLI_NETNS") != "1":
        env = dict(os.environ, DMS_CLI_NETNS="1")
        flags = "-n" if os.geteuid() == 0 else "-rn"
        os.execvpe("unshare", ["unshare", flags, sys.executable] + sys.argv, env)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)


if __name__ == "__main__":
    enter_private_network()
    DMSD = sys.argv.pop(1)
    MEDIA = sys.argv.pop(1)
    unittest.main(verbosity=2)
