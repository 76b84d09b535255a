"""What the transfer benchmarks' Python halves share: the e2e helpers
(namespaces, the daemon, SOAP), a CreateObject DIDL-Lite for a movie, and
readings of the daemon's CPU time and memory."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "e2e"))
from e2e_common import NetworkTest  # noqa: E402

DIDL = ('<DIDL-Lite xmlns="urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/" '
        'xmlns:dc="http://purl.org/dc/elements/1.1/" '
        'xmlns:upnp="urn:schemas-upnp-org:metadata-1-0/upnp/">'
        '<item id="" parentID="DLNA.ORG_AnyContainer" restricted="0"><dc:title>%s</dc:title>'
        '<upnp:class>object.item.videoItem</upnp:class>'
        '<res protocolInfo="http-get:*:video/mp4:*"/></item></DIDL-Lite>')


class Bench(NetworkTest):  # for its soap()
    pass


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as f:
        fields = f.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")  # utime + stime


def kib(pid, key):
    with open("/proc/%d/status" % pid) as f:
        return int(next(l for l in f if l.startswith(key + ":")).split()[1])
