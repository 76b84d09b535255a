#!/usr/bin/python3
"""HTTP requests for the streaming tests, run in the client namespace.

Reads a JSON list of requests from standard input, each
{"url", "method", "headers": {...}, "save": path or null}, sends them one
after the other on fresh connections and prints a JSON list of results:
{"status", "headers" (names in lower case), "length" (body bytes read),
"sha256", "error"}. The body is written to "save" when given.
"""
import hashlib
import http.client
import json
import sys
import urllib.parse


def fetch(request):
    parts = urllib.parse.urlsplit(request["url"])
    target = parts.path + ("?" + parts.query if parts.query else "")
    connection = http.client.HTTPConnection(parts.hostname, parts.port, timeout=30)
    result = {"status": 0, "headers": {}, "length": 0, "sha256": "", "error": ""}
    try:
        connection.request(request.get("method", "GET"), target,
                           headers=request.get("headers", {}))
        response = connection.getresponse()
        result["status"] = response.status
        result["headers"] = {k.lower(): v for k, v in response.getheaders()}
        digest = hashlib.sha256()
        out = open(request["save"], "wb") if request.get("save") else None
        try:
            while True:
                try:
                    piece = response.read(65536)
                except http.client.IncompleteRead as cut:
                    piece = cut.partial
                    result["error"] = "incomplete"
                if not piece:
                    break
                digest.update(piece)
                result["length"] += len(piece)
                if out:
                    out.write(piece)
        finally:
            if out:
                out.close()
        result["sha256"] = digest.hexdigest()
    except (OSError, http.client.HTTPException) as e:
        result["error"] = "%s: %s" % (type(e).__name__, e)
    finally:
        connection.close()
    return result


def main():
    requests = json.load(sys.stdin)
    json.dump([fetch(r) for r in requests], sys.stdout)


if __name__ == "__main__":
    main()
