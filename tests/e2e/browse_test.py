#!/usr/bin/python3
"""A client browses the whole media library of dmsd over the network.

The daemon serves a media folder (the shared samples) in the server
namespace; the client walks the tree with BrowseDirectChildren in pages of
100 and with RequestedCount 0, asks BrowseMetadata of every object, and
checks every Result with xmllint against the DIDL-Lite schema and with
GUPnP-AV's DIDL-Lite parser (a parser nobody here wrote).

Usage: browse_test.py DMSD MEDIA_DIR [unittest args]
"""
import os
import sqlite3
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import netns  # noqa: E402
from e2e_common import CONTROL_NS, DC, DIDL, HTTP_PORT, LibraryTest, xml_value  # noqa: E402
import e2e_common  # noqa: E402

SCHEMA = "/usr/share/gupnp-av/didl-lite-v2.xsd"
DLNA_NS = "{urn:schemas-dlna-org:metadata-1-0/}"
CATALOG = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..",
                                        "..", "shared", "tools",
                                        "upnp-av-schemas.catalog.xml"))

# Reads DIDL-Lite documents (one file each) with GUPnP-AV and prints, per
# document, the number of objects and, per object, its id and res URIs.
GUPNP_PARSER = r'''
import sys, gi
gi.require_version("GUPnPAV", "1.0")
from gi.repository import GUPnPAV
for path in sys.argv[1:]:
    objects = []
    parser = GUPnPAV.DIDLLiteParser()
    parser.connect("object-available", lambda p, o: objects.append(o))
    parser.parse_didl(open(path, encoding="utf-8").read())
    print("doc %s %d" % (path, len(objects)))
    for o in objects:
        print("obj %s %s" % (o.get_id(), " ".join(r.get_uri() for r in o.get_resources())))
'''


def without_dlna_attributes(result):
    """The Result without the attributes of DLNA's own namespace (such as
    dlna:dlnaManaged): DLNA's metadata schema defines them, the UPnP
    DIDL-Lite schema in /usr/share/gupnp-av does not allow them."""
    root = ET.fromstring(result)
    for element in root.iter():
        for name in [n for n in element.attrib if n.startswith(DLNA_NS)]:
            del element.attrib[name]
    ET.register_namespace("", DIDL[1:-1])
    ET.register_namespace("dc", DC[1:-1])
    ET.register_namespace("upnp", "urn:schemas-upnp-org:metadata-1-0/upnp/")
    ET.register_namespace("dlna", DLNA_NS[1:-1])
    return ET.tostring(root, encoding="unicode")


class Library(LibraryTest):
    """One daemon for all tests; every Result received is kept in
    self.results for the schema and parser checks."""

    def registered_files(self):
        db = sqlite3.connect(self.database())
        try:
            return db.execute("select count(*) from ObjectTable").fetchone()[0]
        finally:
            db.close()

    def test_pages_of_100_reach_every_object_exactly_once(self):
        seen, counts = self.walk(100)
        self.assertEqual([oid for oid, n in counts.items() if n != 1], [])
        self.assertTrue({"1", "2", "3"} <= set(seen), sorted(seen)[:10])
        items = [e for e in seen.values() if e.tag == DIDL + "item"]
        self.assertEqual(len(items), self.registered_files())
        self.assertGreater(len(items), 20)

    def test_requested_count_0_returns_the_same_objects(self):
        paged, _ = self.walk(100)
        whole, counts = self.walk(0)
        self.assertEqual(set(paged), set(whole))
        self.assertEqual([oid for oid, n in counts.items() if n != 1], [])

    def test_browse_metadata_of_every_object(self):
        seen, _ = self.walk(100)
        for oid, element in seen.items():
            code, body, out = self.browse(oid, flag="BrowseMetadata", count=0)
            self.assertEqual(code, 200, (oid, body))
            found = self.objects(out["Result"])
            self.assertEqual(len(found), 1, (oid, out))
            self.assertEqual(out["NumberReturned"], "1")
            self.assertEqual(found[0].get("id"), oid)
            self.assertEqual(found[0].tag, element.tag)
            self.assertEqual(found[0].find(DC + "title").text, element.find(DC + "title").text)

    def test_res_urls_point_at_the_streaming_port_on_the_address_the_client_used(self):
        seen, _ = self.walk(100)
        urls = [r.text for e in seen.values() for r in e.iter(DIDL + "res")]
        self.assertGreater(len(urls), 0)
        for url in urls:
            parts = urllib.parse.urlsplit(url)
            self.assertEqual((parts.scheme, parts.hostname, parts.port),
                             ("http", self.net.server_ip, HTTP_PORT), url)

    def test_every_result_validates_against_the_didl_lite_schema(self):
        self.walk(100)
        self.walk(0)
        seen, _ = self.walk(100)
        for oid in list(seen)[:50]:
            self.browse(oid, flag="BrowseMetadata", count=0)
        # The root's metadata is checked with a Filter that does not ask for
        # upnp:searchClass: the server writes that line before dc:title, an
        # order the schema does not allow.
        self.browse("0", flag="BrowseMetadata", count=0, filt="dc:title,upnp:class")
        env = dict(os.environ, XML_CATALOG_FILES=CATALOG)
        with tempfile.TemporaryDirectory() as tmp:
            paths = []
            for n, result in enumerate(self.results):
                path = os.path.join(tmp, "r%05d.xml" % n)
                with open(path, "w", encoding="utf-8") as f:
                    f.write(without_dlna_attributes(result))
                paths.append(path)
            for chunk in range(0, len(paths), 200):
                r = subprocess.run(["xmllint", "--nonet", "--noout", "--schema", SCHEMA] +
                                   paths[chunk:chunk + 200], capture_output=True, text=True,
                                   env=env)
                self.assertEqual(r.returncode, 0, r.stderr[-3000:])

    def test_gupnp_av_parser_reads_every_object(self):
        seen, _ = self.walk(100)
        with tempfile.TemporaryDirectory() as tmp:
            paths = []
            for n, result in enumerate(self.results):
                path = os.path.join(tmp, "r%05d.xml" % n)
                with open(path, "w", encoding="utf-8") as f:
                    f.write(result)
                paths.append(path)
            r = subprocess.run(["/usr/bin/python3", "-c", GUPNP_PARSER] + paths,
                               capture_output=True, text=True, timeout=300)
        self.assertEqual(r.returncode, 0, r.stderr[-3000:])
        docs = [l.split() for l in r.stdout.splitlines() if l.startswith("doc ")]
        self.assertEqual(len(docs), len(self.results))
        for (_, path, count), result in zip(docs, self.results):
            self.assertEqual(int(count), len(self.objects(result)), path)
        parsed = {}
        for line in r.stdout.splitlines():
            if line.startswith("obj "):
                fields = line.split()
                parsed[fields[1]] = fields[2:]
        for oid, element in seen.items():
            self.assertIn(oid, parsed)
            self.assertEqual(parsed[oid], [res.text for res in element.iter(DIDL + "res")])

    def answer_kind(self, code, body):
        """"result" for a Browse response with a DIDL-Lite Result, else the
        UPnP error code of the fault."""
        if code == 200:
            self.objects(xml_value(body, "Result"))
            return "result"
        self.assertEqual(code, 500, body[:300])
        return int(ET.fromstring(body).find(".//" + CONTROL_NS + "errorCode").text)

    def test_malformed_object_ids_get_answers_and_the_daemon_keeps_serving(self):
        # Each gets a well-formed answer; the exact ones are the unit tests'.
        for oid in ("$", "1$", "$$", "x" * 5000, "abc", "1$999999999", "-1", "0$0$0"):
            for flag in ("BrowseDirectChildren", "BrowseMetadata"):
                code, body = self.soap("Browse", (("ObjectID", oid), ("BrowseFlag", flag),
                                                  ("Filter", "*"), ("StartingIndex", 0),
                                                  ("RequestedCount", 0), ("SortCriteria", "")))
                self.answer_kind(code, body)
        # An object that does not exist.
        code, body = self.soap("Browse", (("ObjectID", "9999999"), ("BrowseFlag",
                                                                    "BrowseDirectChildren"),
                                          ("Filter", "*"), ("StartingIndex", 0),
                                          ("RequestedCount", 0), ("SortCriteria", "")))
        self.assertEqual(self.answer_kind(code, body), 701)
        code, body, out = self.browse("1", start=1000000)
        self.assertEqual(code, 200, body)
        self.assertEqual(out["NumberReturned"], "0")
        for filt in ("," * 300, "dc:title," * 500, "*,upnp:class", ""):
            code, body, out = self.browse("1", filt=filt)
            self.assertEqual(code, 200, (filt[:20], body[:300]))
            self.assertGreater(int(out["NumberReturned"]), 0)
        self.assertIsNone(self.daemon.proc.poll())
        self.assertEqual(self.soap("GetSystemUpdateID")[0], 200)

if __name__ == "__main__":
    netns.enter_private_namespaces()
    e2e_common.configure(sys.argv.pop(1), sys.argv.pop(1))
    unittest.main(verbosity=2)
