"""Two private network namespaces joined by a veth pair, for end-to-end tests.

The daemon runs in the server namespace (10.66.N.1 on s0) and every client in
the client namespace (10.66.N.2 on c0), with IPv6 off and a multicast route on
the veth so that SSDP stays on it. Nothing here touches the host's interfaces:
both veth ends are created inside the namespaces. Names are unique per run
and the namespaces are deleted on exit.

As root this uses `ip netns` directly. A normal user calls
`enter_private_namespaces()` first: it re-runs the script under
`unshare -rnm` (its own user, network and mount namespaces, with a private
/run for `ip netns`), where the same code works unchanged and nothing the
script creates is visible outside. `available()` tells whether this process
can do it.
"""
import os
import shutil
import subprocess
import sys
import time

_USERNS_MARK = "DMS_E2E_IN_USERNS"


def available():
    return os.geteuid() == 0 and shutil.which("ip") is not None


def in_user_namespace():
    return os.environ.get(_USERNS_MARK) == "1"


def enter_private_namespaces():
    """For a normal user: re-executes this script as root of a new user
    namespace with its own network and mount namespaces. Returns only in the
    process that can run the tests (root, or the re-executed script)."""
    if in_user_namespace():
        # ip netns keeps its mount points in /run; a private tmpfs there
        # makes it writable for this namespace's root and hides nothing
        # outside.
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "dms-e2e-run", "/run"],
                       check=True)
        return
    if os.geteuid() == 0:
        return
    if shutil.which("unshare") is None:
        raise RuntimeError("needs root or unshare(1) for user namespaces")
    env = dict(os.environ, **{_USERNS_MARK: "1"})
    argv = ["unshare", "-rnm", "--propagation", "private", sys.executable] + sys.argv
    os.execvpe("unshare", argv, env)


def enter_private_network():
    """Re-runs this script in a new network namespace of its own (as root,
    or as root of a new user namespace) and brings its loopback up there:
    for tests whose daemons need nothing but 127.0.0.1."""
    if os.environ.get("DMS_E2E_PRIVATE_NET") != "1":
        env = dict(os.environ, DMS_E2E_PRIVATE_NET="1")
        flags = "-n" if os.geteuid() == 0 else "-rn"
        os.execvpe("unshare", ["unshare", flags, sys.executable] + sys.argv, env)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)


def _run(*args, check=True):
    return subprocess.run(list(args), check=check, capture_output=True, text=True)


class Pair:
    """Context manager: `with Pair() as net: net.server(...), net.client(...)`."""

    def __init__(self):
        suffix = "%d%d" % (os.getpid() % 10000, int(time.time() * 1000) % 1000)
        self.server_ns = "dmsS" + suffix
        self.client_ns = "dmsC" + suffix
        octet = os.getpid() % 200 + 20
        self.server_ip = "10.66.%d.1" % octet
        self.client_ip = "10.66.%d.2" % octet
        self.server_if = "s0"
        self.client_if = "c0"

    def __enter__(self):
        try:
            self._up()
        except Exception:
            self._down()
            raise
        return self

    def __exit__(self, *exc):
        self._down()
        return False

    def _up(self):
        _run("ip", "netns", "add", self.server_ns)
        _run("ip", "netns", "add", self.client_ns)
        _run("ip", "-n", self.server_ns, "link", "add", self.server_if, "type", "veth", "peer",
             "name", self.client_if, "netns", self.client_ns)
        for ns in (self.server_ns, self.client_ns):
            _run("ip", "netns", "exec", ns, "sysctl", "-qw",
                 "net.ipv6.conf.all.disable_ipv6=1", "net.ipv6.conf.default.disable_ipv6=1")
            _run("ip", "-n", ns, "link", "set", "lo", "up")
        for ns, dev, ip in ((self.server_ns, self.server_if, self.server_ip),
                            (self.client_ns, self.client_if, self.client_ip)):
            _run("ip", "-n", ns, "addr", "add", ip + "/24", "dev", dev)
            _run("ip", "-n", ns, "link", "set", dev, "up")
            _run("ip", "-n", ns, "route", "add", "224.0.0.0/4", "dev", dev)

    def add_third(self):
        """A third host behind the client namespace, on a subnet of its own
        (10.67.N.1 on t0, the client's end c1 is 10.67.N.2), with routes both
        ways through the client namespace: the server reaches it only by
        unicast, as a device on another segment would. Returns its address;
        run commands there with third_cmd."""
        self.third_ns = self.server_ns.replace("dmsS", "dmsT")
        octet = self.server_ip.split(".")[2]
        self.third_ip = "10.67.%s.1" % octet
        third_peer = "10.67.%s.2" % octet
        _run("ip", "netns", "add", self.third_ns)
        _run("ip", "-n", self.third_ns, "link", "add", "t0", "type", "veth", "peer", "name", "c1",
             "netns", self.client_ns)
        _run("ip", "netns", "exec", self.third_ns, "sysctl", "-qw",
             "net.ipv6.conf.all.disable_ipv6=1", "net.ipv6.conf.default.disable_ipv6=1")
        _run("ip", "-n", self.third_ns, "link", "set", "lo", "up")
        _run("ip", "-n", self.third_ns, "addr", "add", self.third_ip + "/24", "dev", "t0")
        _run("ip", "-n", self.third_ns, "link", "set", "t0", "up")
        _run("ip", "-n", self.client_ns, "addr", "add", third_peer + "/24", "dev", "c1")
        _run("ip", "-n", self.client_ns, "link", "set", "c1", "up")
        _run("ip", "netns", "exec", self.client_ns, "sysctl", "-qw", "net.ipv4.ip_forward=1")
        _run("ip", "-n", self.third_ns, "route", "add", "default", "via", third_peer)
        _run("ip", "-n", self.server_ns, "route", "add", "10.67.%s.0/24" % octet, "via",
             self.client_ip)
        _run("ip", "-n", self.third_ns, "route", "add", "224.0.0.0/4", "dev", "t0")
        return self.third_ip

    def third_cmd(self, argv):
        return self._wrap(self.third_ns, argv)

    def _down(self):
        if getattr(self, "third_ns", None):
            _run("ip", "netns", "del", self.third_ns, check=False)
        for ns in (self.server_ns, self.client_ns):
            _run("ip", "netns", "pids", ns, check=False)
            _run("ip", "netns", "del", ns, check=False)

    def _wrap(self, ns, argv):
        return ["ip", "netns", "exec", ns] + list(argv)

    def server_cmd(self, argv):
        return self._wrap(self.server_ns, argv)

    def client_cmd(self, argv):
        return self._wrap(self.client_ns, argv)

    def client(self, argv, timeout=30, **kwargs):
        """Runs a client command to completion in the client namespace."""
        return subprocess.run(self.client_cmd(argv), capture_output=True, text=True,
                              timeout=timeout, **kwargs)

    def start_server(self, argv, **kwargs):
        """Starts a long-running process in the server namespace; the caller
        ends it by PID (Popen.terminate) and waits for it."""
        return subprocess.Popen(self.server_cmd(argv), stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, **kwargs)
