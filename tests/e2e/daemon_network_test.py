#!/usr/bin/python3
"""dmsd as a MediaServer on a network, driven by clients nobody here wrote.

The daemon runs in one network namespace on s0, the clients (gssdp-discover,
curl, a GENA callback listener) in a second one on c0, joined by a veth pair
(see netns.py). Runs as root, or as a normal user inside its own user
namespace (netns.enter_private_namespaces).

Usage: daemon_network_test.py DMSD MEDIA_DIR [unittest args]
"""
import html
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402

from e2e_common import (CDS, CDS_CONTROL, CDS_EVENT, CM, CM_CONTROL, DEV_NS,  # noqa: E402
                        Daemon, NetworkTest, envelope, resident_kib)
import e2e_common  # noqa: E402


class DeviceOnTheNetwork(NetworkTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.daemon = Daemon(cls.net, cls.state)

    @classmethod
    def tearDownClass(cls):
        status = cls.daemon.stop()
        super().tearDownClass()
        if status != 0:  # a sanitizer report or an unclean stop
            raise AssertionError("dmsd exited with %d" % status)

    def discover(self, target):
        r = self.net.client(["gssdp-discover", "-i", self.net.client_if, "-t", target, "-n", "3"],
                            timeout=30)
        return r.stdout

    def test_gssdp_discover_lists_the_device_and_both_services(self):
        out = self.discover("urn:schemas-upnp-org:device:MediaServer:1")
        self.assertIn("urn:schemas-upnp-org:device:MediaServer:1", out)
        self.assertIn(self.base + "/DeviceDescription.xml", out)
        self.assertIn(CDS, self.discover(CDS))
        self.assertIn(CM, self.discover(CM))

    def test_description_and_service_descriptions_are_well_formed(self):
        r = self.curl(self.base + "/DeviceDescription.xml")
        root = ET.fromstring(r.stdout)
        device = root.find(DEV_NS + "device")
        self.assertEqual(device.find(DEV_NS + "friendlyName").text, "[Camera]E2E-Cam")
        self.assertEqual(device.find(DEV_NS + "deviceType").text,
                         "urn:schemas-upnp-org:device:MediaServer:1")
        self.assertTrue(device.find(DEV_NS + "UDN").text.startswith("uuid:"))
        for scpd in ("/ContentDirectory_1.xml", "/ConnectionManager_1.xml"):
            body = self.curl(self.base + scpd).stdout
            ET.fromstring(body)  # well-formed
            self.assertIn("<actionList>", body)
        for icon, size in (("/icon_48x48.png", 48), ("/icon_120x120.jpg", 120)):
            r = self.curl("-o", "/dev/null", "-w", "%{http_code} %{content_type}",
                          self.base + icon)
            self.assertTrue(r.stdout.startswith("200 image/"), r.stdout)

    def test_system_update_id_is_zero(self):
        code, body = self.soap("GetSystemUpdateID")
        self.assertEqual(code, 200)
        self.assertEqual(self.result(body, "Id"), "0")

    def test_capabilities_are_empty(self):
        for action, out in (("GetSortCapabilities", "SortCaps"),
                            ("GetSearchCapabilities", "SearchCaps")):
            code, body = self.soap(action)
            self.assertEqual(code, 200, body)
            self.assertEqual(self.result(body, out), "")

    def test_faults(self):
        cases = [("Frobnicate", (), 401, "Invalid Action"),
                 ("Search", (("ContainerID", "0"),), 602, "Optional Action Not implemented"),
                 ("Browse", (("ObjectID", "0"), ("BrowseFlag", "BrowseMetadata"),
                             ("Filter", "*"), ("StartingIndex", "0")), 402, "Invalid Arguments"),
                 ("GetSystemUpdateID", (("Extra", "1"),), 402, "Invalid Arguments")]
        for action, args, want, text in cases:
            with self.subTest(action=action):
                code, body = self.soap(action, args)
                self.assertEqual(code, 500, body)
                self.assertEqual(self.fault(body), (want, text))

    def test_connection_manager_protocol_info(self):
        code, body = self.soap("GetProtocolInfo", service=CM, control=CM_CONTROL)
        self.assertEqual(code, 200, body)
        source = self.result(body, "Source")
        self.assertIn("http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM", source)
        self.assertIn("http-get:*:audio/mpeg:DLNA.ORG_PN=MP3", source)
        self.assertEqual(self.result(body, "Sink"), "")

    def event_peer(self, script):
        """A Python script in the client namespace that prints its port first."""
        return subprocess.Popen(
            self.net.client_cmd([sys.executable, "-c", script, self.net.client_ip]),
            stdout=subprocess.PIPE, text=True)

    def subscribe(self, peer):
        """SUBSCRIBE with `peer`'s port as the callback."""
        port = int(peer.stdout.readline())
        r = self.curl("-i", "-X", "SUBSCRIBE", "-H",
                      "CALLBACK: <http://%s:%d/event>" % (self.net.client_ip, port),
                      "-H", "NT: upnp:event", "-H", "TIMEOUT: Second-300",
                      self.base + CDS_EVENT)
        self.assertIn("SID: uuid:", r.stdout.replace("sid:", "SID:"))

    def test_gena_subscription_gets_initial_system_update_id(self):
        proc = self.event_peer(GENA_LISTENER)
        try:
            self.subscribe(proc)
            notify = proc.stdout.readline()
        finally:
            proc.kill()
            proc.wait()
        self.assertIn("<SystemUpdateID>0</SystemUpdateID>", notify)

    def test_callbacks_outside_the_network_are_ignored(self):
        # The device would otherwise send NOTIFYs wherever a subscriber
        # points it; the address below is routed nowhere in the test network.
        r = self.curl("-s", "-o", "/dev/null", "-w", "%{http_code}", "-X", "SUBSCRIBE", "-H",
                      "CALLBACK: <http://192.0.2.1:9/event>", "-H", "NT: upnp:event",
                      self.base + CDS_EVENT)
        self.assertEqual(r.stdout, "412")
        proc = self.event_peer(GENA_LISTENER)
        try:
            port = int(proc.stdout.readline())
            r = self.curl("-i", "-X", "SUBSCRIBE", "-H",
                          "CALLBACK: <http://192.0.2.1:9/event><http://%s:%d/event>"
                          % (self.net.client_ip, port), "-H", "NT: upnp:event",
                          self.base + CDS_EVENT)
            self.assertIn("SID: uuid:", r.stdout.replace("sid:", "SID:"))
            notify = proc.stdout.readline()
        finally:
            proc.kill()
            proc.wait()
            proc.stdout.close()
        self.assertIn("<SystemUpdateID>", notify)

    def test_a_subscriber_that_never_answers_holds_up_no_other(self):
        # One subscriber takes every NOTIFY connection and never answers; a
        # second one, on another port of the same host, still gets its
        # initial event at once.
        staller = self.event_peer(GENA_STALLER)
        listener = self.event_peer(GENA_LISTENER)
        try:
            self.subscribe(staller)
            # Its initial event is on its way and will never be answered.
            self.assertEqual(staller.stdout.readline().strip(), "held")
            self.subscribe(listener)
            notify = listener.stdout.readline()
        finally:
            for proc in (staller, listener):
                proc.kill()
                proc.wait()
                proc.stdout.close()
        self.assertIn("<SystemUpdateID>", notify)
        code, _ = self.soap("GetSystemUpdateID")
        self.assertEqual(code, 200)

    def test_garbage_does_not_stop_the_daemon(self):
        self.curl("-X", "POST", "--data-binary", "<not-xml", self.base + CDS_CONTROL)
        self.net.client(["curl", "-s", "-m", "15", "-X", "POST", "--data-binary", "@-",
                         self.base + CDS_CONTROL], input="x" * 200000, timeout=20)
        self.curl(self.base + "/no/such/file")
        self.curl("-X", "POST", "-H", 'SOAPACTION: "%s#Browse"' % CDS, "--data-binary",
                  envelope("Browse", CDS, ()), self.base + "/_urn:nothing_control")
        garbage = ("import socket;s=socket.socket(socket.AF_INET,socket.SOCK_DGRAM);"
                   "[s.sendto(b'M-SEARCH * HTTP/1.1\\r\\n\\x00\\xff'*i,('239.255.255.250',1900))"
                   " for i in range(1,50)]")
        self.net.client([sys.executable, "-c", garbage])
        code, body = self.soap("GetSystemUpdateID")
        self.assertEqual(code, 200)
        self.assertIsNone(self.daemon.proc.poll())

    def test_a_flood_of_searches_is_answered_at_a_bounded_rate(self):
        flood = ("import socket,sys,time\n"
                 "n=int(sys.argv[1])\n"
                 "s=socket.socket(socket.AF_INET,socket.SOCK_DGRAM)\n"
                 "s.bind(('0.0.0.0',0))\n"
                 "m=(b'M-SEARCH * HTTP/1.1\\r\\nHOST: 239.255.255.250:1900\\r\\n'\n"
                 "   b'MAN: \"ssdp:discover\"\\r\\nMX: 1\\r\\nST: ssdp:all\\r\\n\\r\\n')\n"
                 "for i in range(n):\n"
                 "    s.sendto(m,('239.255.255.250',1900))\n"
                 "s.settimeout(0.5)\n"
                 "got=0\n"
                 "end=time.time()+4\n"
                 "while time.time()<end:\n"
                 "    try:\n"
                 "        d=s.recv(4096)\n"
                 "        got+=d.startswith(b'HTTP/1.1 200')\n"
                 "    except socket.timeout:\n"
                 "        pass\n"
                 "print(got)\n")
        # What one search brings: one answer per resource.
        time.sleep(5)  # the sender's allowance refilled after other tests
        one = self.net.client([sys.executable, "-c", flood, "1"], timeout=30)
        self.assertEqual(one.returncode, 0, one.stderr)
        per_search = int(one.stdout)
        self.assertGreaterEqual(per_search, 5, "root, device, UDN and both services")
        time.sleep(5)
        many = self.net.client([sys.executable, "-c", flood, "2000"], timeout=60)
        self.assertEqual(many.returncode, 0, many.stderr)
        # A sender's allowance: a burst of 20 and 5 a second after it, over
        # the 5 s of the run at most.
        answered = int(many.stdout)
        self.assertGreater(answered, 0)
        self.assertLessEqual(answered, (20 + 5 * 6) * per_search, answered)
        # The device is still found once the flood is over.
        time.sleep(5)
        r = self.net.client(["gssdp-discover", "-i", self.net.client_if, "-t",
                             "urn:schemas-upnp-org:device:MediaServer:1", "-n", "3"], timeout=30)
        self.assertIn("urn:schemas-upnp-org:device:MediaServer:1", r.stdout)
        self.assertIsNone(self.daemon.proc.poll())

    def test_entities_in_control_requests_are_refused_not_expanded(self):
        external = ('<?xml version="1.0"?><!DOCTYPE s:Envelope [<!ENTITY x SYSTEM '
                    '"file:///etc/passwd">]>')
        laughs = ('<?xml version="1.0"?><!DOCTYPE s:Envelope [<!ENTITY a "aaaaaaaaaa">'
                  + "".join('<!ENTITY %s "%s">' % (chr(98 + i), ("&%s;" % chr(97 + i)) * 10)
                            for i in range(8)) + ']>')
        for head, reference in ((external, "&x;"), (laughs, "&i;")):
            body = head + envelope("Browse", CDS, (
                ("ObjectID", reference), ("BrowseFlag", "BrowseMetadata"), ("Filter", "*"),
                ("StartingIndex", "0"), ("RequestedCount", "0"), ("SortCriteria", "")
            )).split("?>", 1)[1]
            started = time.time()
            r = self.curl("-w", "\n%{http_code}", "-X", "POST", "-H",
                          'Content-Type: text/xml; charset="utf-8"', "-H",
                          'SOAPACTION: "%s#Browse"' % CDS, "--data-binary", body,
                          self.base + CDS_CONTROL)
            answer, _, code = r.stdout.rpartition("\n")
            self.assertIn(code[:1], ("4", "5"), answer)
            self.assertNotIn("root:", answer)
            self.assertNotIn("aaaaaaaaaaaaaaaaaaaa", answer)
            self.assertLess(time.time() - started, 10)
        # CreateObject's Elements carry DIDL-Lite of their own.
        didl = ('<!DOCTYPE DIDL-Lite [<!ENTITY x SYSTEM "file:///etc/passwd">]>'
                '<DIDL-Lite xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/" '
                'xmlns:dc="http://purl.org/dc/elements/1.1/" '
                'xmlns:upnp="urn:schemas-upnp-org:metadata-1-0/upnp/"><item id="" '
                'parentID="DLNA.ORG_AnyContainer" restricted="0"><dc:title>&x;</dc:title>'
                '<upnp:class>object.item.imageItem.photo</upnp:class>'
                '<res protocolInfo="http-get:*:image/jpeg:*"/></item></DIDL-Lite>')
        code, body = self.soap("CreateObject", (("ContainerID", "DLNA.ORG_AnyContainer"),
                                                 ("Elements", html.escape(didl))))
        self.assertEqual(code, 500, body)
        self.assertNotIn("root:", body)
        code, body = self.soap("GetSystemUpdateID")
        self.assertEqual(code, 200)

    def test_concurrent_soap_calls_all_answered_with_memory_steady(self):
        script = SOAK % (self.base + CDS_CONTROL, envelope("GetSystemUpdateID", CDS, ()))
        resident = []
        for _ in range(4):
            r = self.net.client([sys.executable, "-c", script], timeout=120)
            self.assertEqual(r.returncode, 0, r.stdout + r.stderr)
            self.assertIn("answered 400 of 400", r.stdout)
            resident.append(resident_kib(self.daemon.proc.pid))
        self.assertIsNone(self.daemon.proc.poll())
        # The first round grows the thread pool and the allocator's arenas;
        # after it, 1,200 more calls must not keep growing the daemon. A
        # sanitizer's allocator holds freed memory back on purpose, so there
        # the leak check at exit (tearDownClass) stands in for this bound.
        if not os.environ.get("DMS_E2E_SANITIZER"):
            self.assertLess(resident[-1] - resident[0], 4096, resident)

    def test_only_the_control_url_keeps_connections_open(self):
        script = CONNECTIONS % (self.net.server_ip, e2e_common.UPNP_PORT, CDS_EVENT, CDS_CONTROL,
                                envelope("GetSystemUpdateID", CDS, ()), self.net.client_ip)
        r = self.net.client([sys.executable, "-c", script], timeout=60)
        self.assertEqual(r.returncode, 0, r.stdout + r.stderr)
        # Each line: request, its status, its Connection header, and whether
        # the daemon closed the connection after answering.
        self.assertEqual(r.stdout.split("\n")[:4], [
            "GET /DeviceDescription.xml 200 close closed",
            "SUBSCRIBE %s 200 close closed" % CDS_EVENT,
            "UNSUBSCRIBE %s 200 close closed" % CDS_EVENT,
            "POST %s 200 - open" % CDS_CONTROL], r.stdout)


class Lifecycle(NetworkTest):
    def test_udn_survives_restart_and_stop_sends_byebye(self):
        state = tempfile.mkdtemp(prefix="dms-e2e-", dir=self.state)
        daemon = Daemon(self.net, state)
        first = ET.fromstring(self.curl(self.base + "/DeviceDescription.xml").stdout)
        self.assertEqual(daemon.stop(), 0)
        watcher = subprocess.Popen(self.net.client_cmd(
            ["gssdp-discover", "-i", self.net.client_if, "-m", "unavailable", "-n", "8"]),
            stdout=subprocess.PIPE, text=True)
        time.sleep(1)
        daemon = Daemon(self.net, state)
        second = ET.fromstring(self.curl(self.base + "/DeviceDescription.xml").stdout)
        udn = first.find(DEV_NS + "device/" + DEV_NS + "UDN").text
        self.assertEqual(udn, second.find(DEV_NS + "device/" + DEV_NS + "UDN").text)
        self.assertEqual(daemon.stop(), 0)
        out, _ = watcher.communicate(timeout=30)
        self.assertIn(udn, out)
        self.assertIn("unavailable", out.lower())
        left = subprocess.run(["pgrep", "-f", "--", "--state " + state], capture_output=True)
        self.assertEqual(left.stdout, b"")


class AccessPolicies(NetworkTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        # A second device in a namespace of its own, linked to the server's.
        cls.other = cls.net.client_ns.replace("dmsC", "dmsD")
        octet = cls.net.server_ip.split(".")[2]
        near, far = "10.67.%s.1" % octet, "10.67.%s.2" % octet
        for cmd in (["ip", "netns", "add", cls.other],
                    ["ip", "-n", cls.net.server_ns, "link", "add", "s1", "type", "veth", "peer",
                     "name", "d0", "netns", cls.other],
                    ["ip", "-n", cls.net.server_ns, "addr", "add", near + "/24", "dev", "s1"],
                    ["ip", "-n", cls.net.server_ns, "link", "set", "s1", "up"],
                    ["ip", "-n", cls.other, "addr", "add", far + "/24", "dev", "d0"],
                    ["ip", "-n", cls.other, "link", "set", "d0", "up"],
                    ["ip", "-n", cls.other, "route", "add", cls.net.server_ip, "via", near]):
            subprocess.run(cmd, check=True, capture_output=True)

    @classmethod
    def tearDownClass(cls):
        subprocess.run(["ip", "netns", "del", cls.other], capture_output=True)
        super().tearDownClass()

    def second_device(self, action, *headers):
        extra = [h for header in headers for h in ("-H", header)]
        r = subprocess.run(["ip", "netns", "exec", self.other, "curl", "-s", "-m", "15", "-w",
                            "\n%{http_code}", *extra, "-X", "POST", "-H",
                            'Content-Type: text/xml; charset="utf-8"', "-H",
                            'SOAPACTION: "%s#%s"' % (CDS, action), "--data-binary",
                            envelope(action, CDS, ()), self.base + CDS_CONTROL],
                           capture_output=True, text=True, timeout=30)
        body, _, code = r.stdout.rpartition("\n")
        return int(code or 0), body

    def waiting(self, daemon):
        return [l for l in daemon.lines if "waits for access" in l]

    def wait_for(self, daemon, text, count=1):
        deadline = time.time() + 10
        while time.time() < deadline and len([l for l in daemon.lines if text in l]) < count:
            time.sleep(0.1)
        return len([l for l in daemon.lines if text in l])

    def test_listed_admits_only_the_listed_address(self):
        state = tempfile.mkdtemp(prefix="dms-e2e-", dir=self.state)
        daemon = Daemon(self.net, state, "--access", "listed", "--allow", self.net.client_ip)
        try:
            code, body = self.soap("GetSystemUpdateID")
            self.assertEqual(code, 200, body)
            code, body = self.second_device("GetSystemUpdateID")
            self.assertEqual(self.fault(body)[0], 606)
            time.sleep(0.5)
            self.assertEqual(self.waiting(daemon), [])  # refused, never asked about
        finally:
            self.assertEqual(daemon.stop(), 0)

    def test_a_name_rule_admits_whoever_gives_the_name(self):
        """The one name rule (devices named TLX_HHP_...) admits by the name a
        request carries, which any client can send: a name is not a
        credential, as the manual says."""
        state = tempfile.mkdtemp(prefix="dms-e2e-", dir=self.state)
        daemon = Daemon(self.net, state, "--access", "listed", "--allow", self.net.client_ip)
        try:
            code, body = self.second_device("GetSystemUpdateID")
            self.assertEqual(self.fault(body)[0], 606)
            for header in ("User-Agent: TLX_HHP_phone",
                           'X-AV-Client-Info: av=5.0; cn="Any"; mn="TLX_HHP_tablet"; mv="1"'):
                code, body = self.second_device("GetSystemUpdateID", header)
                self.assertEqual(code, 200, (header, body))
            # The name must begin the header's value; elsewhere it admits nothing.
            code, body = self.second_device("GetSystemUpdateID", "User-Agent: x TLX_HHP_phone")
            self.assertEqual(self.fault(body)[0], 606)
        finally:
            self.assertEqual(daemon.stop(), 0)

    def test_sighup_rereads_the_allow_list(self):
        state = tempfile.mkdtemp(prefix="dms-e2e-", dir=self.state)
        config = os.path.join(state, "dmsd.conf")
        with open(config, "w") as f:
            f.write("access = listed\nallow = %s\n" % self.net.client_ip)
        daemon = Daemon(self.net, state, "--config", config)
        try:
            self.assertEqual(self.second_device("GetSystemUpdateID")[0], 500)
            with open(config, "w") as f:
                f.write("access = listed\nallow = %s, 10.67.%s.2\n" % (
                    self.net.client_ip, self.net.server_ip.split(".")[2]))
            daemon.proc.send_signal(signal.SIGHUP)
            self.assertEqual(self.wait_for(daemon, "access settings re-read"), 1, daemon.lines)
            code, body = self.second_device("GetSystemUpdateID")
            self.assertEqual(code, 200, body)
            self.assertEqual(self.soap("GetSystemUpdateID")[0], 200)
        finally:
            self.assertEqual(daemon.stop(), 0)

    def test_unknown_clients_refused_and_first_reported_once(self):
        second_device = self.second_device
        state = tempfile.mkdtemp(prefix="dms-e2e-", dir=self.state)
        daemon = Daemon(self.net, state, "--access", "ask")
        try:
            code, body = self.soap("GetSystemUpdateID")
            self.assertEqual(code, 500)
            self.assertEqual(self.fault(body)[0], 606)
            self.soap("GetSystemUpdateID")  # the same device again
            code, body = second_device("GetSystemUpdateID")
            self.assertEqual(self.fault(body)[0], 606)
            time.sleep(0.5)
            waiting = [l for l in daemon.lines if "waits for access" in l]
            self.assertEqual(len(waiting), 1, daemon.lines)
            # The device is named by the User-Agent of its SOAP request.
            self.assertIn('device "curl/', waiting[0])
            daemon.say("allow")
            deadline = time.time() + 10
            while time.time() < deadline and not any("admitted" in l for l in daemon.lines):
                time.sleep(0.1)
            code, body = self.soap("GetSystemUpdateID")
            self.assertEqual(code, 200, body)
            code, body = second_device("GetSystemUpdateID")
            self.assertEqual(code, 500)
            self.assertEqual(self.fault(body)[0], 606)
            # Now that nobody waits, the second device is reported in its turn.
            deadline = time.time() + 10
            while time.time() < deadline and len(
                    [l for l in daemon.lines if "waits for access" in l]) < 2:
                time.sleep(0.1)
            self.assertEqual(len([l for l in daemon.lines if "waits for access" in l]), 2)
        finally:
            self.assertEqual(daemon.stop(), 0)


class TwoDaemonsOnOneInterface(NetworkTest):
    """Two servers on one interface, told apart by their ports and state."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.state2 = tempfile.mkdtemp(prefix="dms-e2e-")
        cls.first = Daemon(cls.net, cls.state)
        try:
            cls.second = Daemon(cls.net, cls.state2, "--upnp-port", "49200", "--port", "9100",
                                "--name", "E2E-Cam-2")
        except Exception:
            cls.first.stop()
            raise

    @classmethod
    def tearDownClass(cls):
        statuses = (cls.second.stop(), cls.first.stop())
        super().tearDownClass()
        shutil.rmtree(cls.state2, ignore_errors=True)
        if statuses != (0, 0):
            raise AssertionError("dmsd exit statuses %r" % (statuses,))

    def test_both_are_discovered_and_both_answer_browse(self):
        second = "http://%s:49200" % self.net.server_ip
        out = self.net.client(["gssdp-discover", "-i", self.net.client_if, "-t",
                               "urn:schemas-upnp-org:device:MediaServer:1", "-n", "3"],
                              timeout=30).stdout
        self.assertIn(self.base + "/DeviceDescription.xml", out)
        self.assertIn(second + "/DeviceDescription.xml", out)
        names = set()
        udns = set()
        for base in (self.base, second):
            root = ET.fromstring(self.curl(base + "/DeviceDescription.xml").stdout)
            device = root.find(DEV_NS + "device")
            names.add(device.find(DEV_NS + "friendlyName").text)
            udns.add(device.find(DEV_NS + "UDN").text)
            r = self.curl("-w", "\n%{http_code}", "-X", "POST",
                          "-H", 'Content-Type: text/xml; charset="utf-8"',
                          "-H", 'SOAPACTION: "%s#Browse"' % CDS,
                          "--data-binary", envelope("Browse", CDS, [
                              ("ObjectID", "0"), ("BrowseFlag", "BrowseMetadata"), ("Filter", "*"),
                              ("StartingIndex", "0"), ("RequestedCount", "0"),
                              ("SortCriteria", "")]), base + CDS_CONTROL)
            body, _, code = r.stdout.rpartition("\n")
            self.assertEqual(code, "200", body)
            self.assertEqual(self.result(body, "NumberReturned"), "1")
        self.assertEqual(names, {"[Camera]E2E-Cam", "[Camera]E2E-Cam-2"})
        self.assertEqual(len(udns), 2)


MPD_CONFIG = """
bind_to_address "127.0.0.1"
port "%(port)d"
pid_file "%(dir)s/pid"
log_file "%(dir)s/log"
state_file "%(dir)s/state"
database {
    plugin "upnp"
}
audio_output {
    type "null"
    name "null"
}
"""


class BesideMpd(NetworkTest):
    """mpd's UPnP database (libupnp underneath) in the daemon's own
    namespace: both run side by side, and mpd finds the server and lists its
    music. libupnp's own server takes port 49152 and gives up when it is
    taken, so the daemon serves on another port here."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.mpd_dir = tempfile.mkdtemp(prefix="dms-mpd-")
        music = os.path.join(cls.mpd_dir, "music")
        os.mkdir(music)
        for n in range(5):
            subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                            "sine=frequency=%d:duration=30" % (440 + 110 * n),
                            "-metadata", "title=Tone %d" % n, "-metadata", "artist=E2E",
                            os.path.join(music, "tone%d.mp3" % n)], check=True, timeout=60)
        cls.daemon = Daemon(cls.net, cls.state, "--upnp-port", "49200", media=music)
        cls.base = "http://%s:49200" % cls.net.server_ip
        config = os.path.join(cls.mpd_dir, "mpd.conf")
        with open(config, "w") as f:
            f.write(MPD_CONFIG % {"port": 6610, "dir": cls.mpd_dir})
        cls.mpd = cls.net.start_server(["mpd", "--no-daemon", "--stderr", config])

    @classmethod
    def tearDownClass(cls):
        e2e_common.end_process(cls.mpd)
        status = cls.daemon.stop()
        super().tearDownClass()
        shutil.rmtree(cls.mpd_dir, ignore_errors=True)
        if status != 0:
            raise AssertionError("dmsd exited with %d" % status)

    def mpc(self, *args):
        return subprocess.run(self.net.server_cmd(["mpc", "-h", "127.0.0.1", "-p", "6610",
                                                   *args]),
                              capture_output=True, text=True, timeout=30)

    def wait_for_songs(self, deadline):
        """The five songs under the server in mpd's database, once it has
        found the server and the scan has registered them."""
        audio = []
        while time.time() < deadline and len(audio) < 5:
            audio = self.mpc("ls", "[Camera]E2E-Cam/Audio").stdout.splitlines()
            time.sleep(0 if len(audio) >= 5 else 1)
        if self.mpd.poll() is not None:
            raise AssertionError("mpd exited: %s" % self.mpd.stderr.read()[-2000:])
        return audio

    def elapsed(self):
        """mpd's position in the current song, in seconds (None when idle)."""
        status = self.mpc("status").stdout
        match = re.search(r"\[playing\].*?(\d+):(\d+)/", status)
        return int(match.group(1)) * 60 + int(match.group(2)) if match else None

    def test_mpd_plays_a_song_and_seeks_in_it(self):
        songs = self.wait_for_songs(time.time() + 60)
        self.assertEqual(len(songs), 5)
        self.mpc("clear")
        self.assertEqual(self.mpc("add", songs[0]).returncode, 0)
        self.assertEqual(self.mpc("play").returncode, 0)
        deadline = time.time() + 20
        while time.time() < deadline and self.elapsed() is None:
            time.sleep(0.2)
        self.assertIsNotNone(self.elapsed(), self.mpc("status").stdout)
        # Seeking needs a seekable input: mpd takes a stream as one only when
        # the server announces Accept-Ranges, and otherwise refuses the seek.
        seek = self.mpc("seek", "20")
        self.assertEqual(seek.returncode, 0, seek.stderr)
        deadline = time.time() + 10
        while time.time() < deadline and (self.elapsed() or 0) < 20:
            time.sleep(0.2)
        self.assertGreaterEqual(self.elapsed() or 0, 20, self.mpc("status").stdout)
        self.mpc("stop")

    def test_mpd_discovers_the_server_and_lists_its_music(self):
        deadline = time.time() + 60
        top = ""
        while time.time() < deadline:
            top = self.mpc("ls").stdout
            if "[Camera]E2E-Cam" in top:
                break
            time.sleep(1)
        if self.mpd.poll() is not None:
            raise AssertionError("mpd exited: %s" % self.mpd.stderr.read()[-2000:])
        self.assertIn("[Camera]E2E-Cam", top)
        # Its tree under the server, and the music in it: each entry under
        # Audio is a song mpd can name (ls of a song gives the song).
        tree = self.mpc("ls", "[Camera]E2E-Cam")
        self.assertEqual(tree.stdout.split(), ["[Camera]E2E-Cam/Image", "[Camera]E2E-Cam/Audio",
                                               "[Camera]E2E-Cam/Video"], tree.stderr)
        audio = []
        while time.time() < deadline and len(audio) < 5:  # the scan may still run
            audio = self.mpc("ls", "[Camera]E2E-Cam/Audio").stdout.splitlines()
            time.sleep(0 if len(audio) >= 5 else 1)
        self.assertEqual(sorted(audio), ["[Camera]E2E-Cam/Audio/Tone %d" % n for n in range(5)])
        self.assertEqual(self.mpc("ls", audio[0]).stdout.strip(), audio[0])
        # The server still answers its own clients meanwhile.
        code, _ = self.soap("GetSystemUpdateID")
        self.assertEqual(code, 200)


# Root (the E2E.DaemonOnNetwork run) runs VLC as nobody; inside a user
# namespace (the normal-user run) nobody is not mapped, and VLC refuses the
# namespace's root.
@unittest.skipIf(netns.in_user_namespace(), "VLC runs only where it can be made user nobody")
class BesideVlc(NetworkTest):
    """VLC's UPnP discovery (libupnp underneath) in the daemon's own
    namespace finds the server while both run. VLC refuses root: it runs as
    nobody. Its libupnp takes port 49152 as mpd's does."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.daemon = Daemon(cls.net, cls.state, "--upnp-port", "49200")
        cls.base = "http://%s:49200" % cls.net.server_ip

    @classmethod
    def tearDownClass(cls):
        status = cls.daemon.stop()
        super().tearDownClass()
        if status != 0:
            raise AssertionError("dmsd exited with %d" % status)

    def test_vlc_discovers_the_server(self):
        vlc = self.net.start_server(
            ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "env", "HOME=/tmp",
             "vlc", "-I", "rc", "--rc-fake-tty", "-S", "upnp", "--miface=" + self.net.server_if,
             "--no-video", "--aout=dummy"], stdin=subprocess.PIPE)
        lines = []
        reader = threading.Thread(target=lambda: lines.extend(vlc.stdout), daemon=True)
        reader.start()
        try:
            deadline = time.time() + 30
            while time.time() < deadline and not any("[Camera]E2E-Cam" in l for l in lines):
                time.sleep(2)
                vlc.stdin.write("playlist\n")
                vlc.stdin.flush()
        finally:
            e2e_common.end_process(vlc, "quit\n")
            reader.join(10)
        listing = "".join(lines)
        self.assertIn("Universal Plug'n'Play", listing)
        self.assertIn("[Camera]E2E-Cam", listing)
        code, _ = self.soap("GetSystemUpdateID")
        self.assertEqual(code, 200)


GENA_LISTENER = r'''
import http.server, sys
class H(http.server.BaseHTTPRequestHandler):
    def do_NOTIFY(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0))).decode()
        self.send_response(200); self.end_headers()
        print(body.replace("\n", " "), flush=True)
    def log_message(self, *a): pass
s = http.server.HTTPServer((sys.argv[1], 0), H)
print(s.server_address[1], flush=True)
s.timeout = 20
s.handle_request()
'''

# Takes NOTIFY connections and never answers them; says "held" once it
# holds the first.
GENA_STALLER = r'''
import socket, sys, time
s = socket.socket()
s.bind((sys.argv[1], 0))
s.listen(16)
print(s.getsockname()[1], flush=True)
held = [s.accept()[0]]
print("held", flush=True)
s.settimeout(1)
end = time.time() + 60
while time.time() < end:
    try:
        held.append(s.accept()[0])
    except socket.timeout:
        pass
'''

SOAK = r'''
import concurrent.futures, urllib.request
url, body = %r, %r
def call(i):
    req = urllib.request.Request(url, data=body.encode(), method="POST", headers={
        "Content-Type": 'text/xml; charset="utf-8"',
        "SOAPACTION": '"urn:schemas-upnp-org:service:ContentDirectory:1#GetSystemUpdateID"'})
    with urllib.request.urlopen(req, timeout=30) as r:
        return r.status == 200 and b"<Id>0</Id>" in r.read()
with concurrent.futures.ThreadPoolExecutor(16) as pool:
    ok = sum(pool.map(call, range(400)))
print("answered %%d of 400" %% ok)
'''

CONNECTIONS = r'''
import socket
host, port, event, control, body, me = %r, %d, %r, %r, %r, %r


def exchange(request):
    # One request on a connection of its own; the status, the Connection
    # header, the SID, and whether the daemon closes the connection after.
    s = socket.create_connection((host, port), timeout=10)
    s.sendall(request.encode())
    data = b""
    while b"\r\n\r\n" not in data:
        data += s.recv(65536)
    head, rest = data.split(b"\r\n\r\n", 1)
    lines = head.decode("latin-1").split("\r\n")
    headers = dict((k.strip().lower(), v.strip()) for k, v in
                   (l.split(":", 1) for l in lines[1:] if ":" in l))
    length = int(headers.get("content-length", "0"))
    while len(rest) < length:
        rest += s.recv(65536)
    s.settimeout(2)
    try:
        closed = s.recv(1) == b""
    except socket.timeout:
        closed = False
    s.close()
    return lines[0].split()[1], headers.get("connection", "-"), headers.get("sid", ""), closed


def request(method, path, headers=(), body=""):
    text = "%%s %%s HTTP/1.1\r\nHost: %%s:%%d\r\n" %% (method, path, host, port)
    text += "".join("%%s: %%s\r\n" %% h for h in headers)
    if body:
        text += "Content-Length: %%d\r\n" %% len(body.encode())
    return text + "\r\n" + body


def subscribe():
    return exchange(request("SUBSCRIBE", event, (("CALLBACK", "<http://%%s:9/>" %% me),
                                                 ("NT", "upnp:event"), ("TIMEOUT", "Second-300"))))


def unsubscribe(sid):
    return exchange(request("UNSUBSCRIBE", event, (("SID", sid),)))


def line(method, path, answer):
    print("%%s %%s %%s %%s %%s" %% (method, path, answer[0], answer[1],
                                 "closed" if answer[3] else "open"))


line("GET", "/DeviceDescription.xml", exchange(request("GET", "/DeviceDescription.xml")))
answer = subscribe()
line("SUBSCRIBE", event, answer)
line("UNSUBSCRIBE", event, unsubscribe(answer[2]))
line("POST", control, exchange(request("POST", control, (
    ("Content-Type", 'text/xml; charset="utf-8"'),
    ("SOAPACTION", '"urn:schemas-upnp-org:service:ContentDirectory:1#GetSystemUpdateID"')),
    body)))
'''


if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
