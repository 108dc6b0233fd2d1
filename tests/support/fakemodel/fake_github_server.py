#!/usr/bin/env python3
"""A stand-in for GitHub's REST interface on a loopback port.

The scenario lists routes: {"method", "path" (a regular expression matched
against the whole path and query), "status", "body" (JSON) or "raw" (text),
"delay" or "hang", "once", "token" (matches only that bearer token)}. A request takes the first route that matches and
has not been used up; with none, 404 and GitHub's "Not Found". Every request is
logged with its method, path, body and the headers GitHub cares about.
"""

import re
import sys
import threading

from scripted_server import Handler, serve


class Scenario:
    def __init__(self, data):
        self.routes = data.get("routes", [])
        self.lock = threading.Lock()

    def pick(self, method, path, authorization):
        with self.lock:
            for route in self.routes:
                if route.get("_used") or route.get("method", "GET") != method:
                    continue
                if not re.fullmatch(route["path"], path):
                    continue
                if "token" in route and authorization != "Bearer " + route["token"]:
                    continue
                if route.get("once"):
                    route["_used"] = True
                return route
        return {"status": 404, "body": {"message": "Not Found"}}


class GitHubHandler(Handler):
    recorded_headers = ("authorization", "accept", "x-github-api-version", "content-type")

    def answer(self):
        body = self.read_body()
        self.record(body)
        route = self.server.scenario.pick(self.command, self.path,
                                         self.headers.get("Authorization", ""))
        if self.wait_as_scripted(route):
            return
        if "raw" in route:
            data = route["raw"].encode("utf-8")
            self.send_response(route.get("status", 200))
            self.send_header("Content-Type", "text/plain")
            self.send_header("Content-Length", str(len(data)))
            self.end_headers()
            self.wfile.write(data)
            return
        self.send_json(route.get("status", 200), route.get("body", {}))

    do_GET = answer
    do_POST = answer
    do_PATCH = answer


if __name__ == "__main__":
    sys.exit(serve("GitHub REST stand-in", GitHubHandler, Scenario))
