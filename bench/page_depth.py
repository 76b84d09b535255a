"""Browse latency of the first and of the last page of the largest
container, with the scan time and resident memory of the daemon: how the
cost grows with the size of the library. Run by page_depth.sh inside a
network namespace of its own, against a dmsd on 127.0.0.1."""
import http.client
import json
import re
import statistics
import sys
import time
import xml.etree.ElementTree as ET

CDS = "urn:schemas-upnp-org:service:ContentDirectory:1"
BODY = ('<?xml version="1.0" encoding="utf-8"?>'
        '<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/" '
        's:encodingStyle="http://schemas.xmlsoap.org/soap/encoding/"><s:Body>'
        '<u:Browse xmlns:u="%s"><ObjectID>%s</ObjectID><BrowseFlag>%s</BrowseFlag>'
        '<Filter>*</Filter><StartingIndex>%d</StartingIndex><RequestedCount>%d</RequestedCount>'
        '<SortCriteria></SortCriteria></u:Browse></s:Body></s:Envelope>')


def control_url(connection):
    connection.request("GET", "/DeviceDescription.xml")
    text = connection.getresponse().read().decode()
    at = text.index(CDS)
    return re.search(r"<controlURL>([^<]+)</controlURL>", text[at:]).group(1)


def browse(connection, path, object_id, start, count, flag="BrowseDirectChildren"):
    body = (BODY % (CDS, object_id, flag, start, count)).encode()
    connection.request("POST", path, body, {"Content-Type": 'text/xml; charset="utf-8"',
                                            "SOAPACTION": '"%s#Browse"' % CDS})
    response = connection.getresponse()
    data = response.read()
    if response.status != 200:
        raise RuntimeError("Browse %s %d: HTTP %d" % (object_id, start, response.status))
    root = ET.fromstring(data)
    out = {el.tag.split("}")[-1]: el.text for el in root.iter()}
    return out.get("Result") or "", int(out["NumberReturned"]), int(out["TotalMatches"])


def largest_container(connection, path):
    best, best_total, queue = None, -1, ["0"]
    while queue:
        cid = queue.pop(0)
        result, _, total = browse(connection, path, cid, 0, 0 if cid == "0" else 1)
        if cid != "0" and total > best_total:
            best, best_total = cid, total
        if total <= 64:
            result, _, _ = browse(connection, path, cid, 0, total)
            queue += re.findall(r'<container id="([^"]+)"', result)
    return best, best_total


def latencies(connection, path, cid, start, n):
    times = []
    for _ in range(n):
        t0 = time.perf_counter()
        _, returned, _ = browse(connection, path, cid, start, 100)
        times.append((time.perf_counter() - t0) * 1000)
        if returned != 100:
            raise RuntimeError("page at %d returned %d items" % (start, returned))
    return statistics.median(times), sorted(times)[int(0.9 * n)]


def main():
    port, pid, n = int(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
    path = control_url(connection)
    cid, total = largest_container(connection, path)
    for start in (0, total - 100):  # warm both ends once
        latencies(connection, path, cid, start, 5)
    first = latencies(connection, path, cid, 0, n)
    last = latencies(connection, path, cid, total - 100, n)
    with open("/proc/%d/status" % pid) as f:
        rss = int(next(l for l in f if l.startswith("VmRSS:")).split()[1])
    print(json.dumps({"container": cid, "items": total, "first_page_ms": round(first[0], 3),
                      "first_page_p90_ms": round(first[1], 3), "last_page_ms": round(last[0], 3),
                      "last_page_p90_ms": round(last[1], 3),
                      "last_over_first": round(last[0] / first[0], 2), "rss_kib": rss}))


if __name__ == "__main__":
    main()
