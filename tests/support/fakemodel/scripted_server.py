"""What the two model stand-ins share: the scenario variables, the loopback HTTP
server with its request log, a handler base and the command line.

Each stand-in (fake_model_server.py for claude, fake_responses_server.py for
codex) brings its own Scenario class (how a request picks its reply) and its
own Handler subclass (the API's paths and wire format), then calls serve().
"""

import argparse
import json
import re
import signal
import socket
import sys
import threading
import time
import traceback
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

# Set when the server is asked to stop: replies that hang or wait end early.
STOP = threading.Event()

VAR_RE = re.compile(r"\$\{([A-Za-z_][A-Za-z0-9_]*)(?::-([^}]*))?\}")


def now_ms():
    return int(time.time() * 1000)


def substitute(value, variables):
    """Replace ${NAME} and ${NAME:-default} in every string of the scenario."""
    if isinstance(value, str):
        return VAR_RE.sub(lambda m: variables.get(m.group(1), m.group(2) if m.group(2) is not None
                                                  else m.group(0)), value)
    if isinstance(value, list):
        return [substitute(v, variables) for v in value]
    if isinstance(value, dict):
        return {k: substitute(v, variables) for k, v in value.items()}
    return value


class Handler(BaseHTTPRequestHandler):
    """JSON in and out, and every request appended to the server's log."""

    protocol_version = "HTTP/1.1"
    # Request headers kept in the log, lower case.
    recorded_headers = ()

    def log_message(self, fmt, *args):  # keep stderr quiet
        pass

    def extra_headers(self):
        return {}

    def send_json(self, status, obj):
        data = json.dumps(obj).encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(data)))
        for name, value in self.extra_headers().items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(data)
        self.wfile.flush()

    def read_body(self):
        length = int(self.headers.get("Content-Length") or 0)
        raw = self.rfile.read(length) if length > 0 else b""
        try:
            return json.loads(raw.decode("utf-8")) if raw else None
        except ValueError:
            return {"_unparsed": raw.decode("utf-8", "replace")}

    def record(self, body, **extra):
        entry = {"time": time.time(), "method": self.command, "path": self.path}
        if self.recorded_headers:
            entry["headers"] = {k: v for k, v in self.headers.items()
                                if k.lower() in self.recorded_headers}
        entry["body"] = body
        entry.update(extra)
        self.server.write_log(entry)

    def wait_as_scripted(self, reply):
        """A reply's "hang" and "delay": True when the request must end unanswered."""
        if reply.get("hang"):
            STOP.wait()
            self.close_connection = True
            return True
        if reply.get("delay") and STOP.wait(float(reply["delay"])):
            self.close_connection = True
            return True
        return False


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, addr, handler, scenario, log_path):
        super().__init__(addr, handler)
        self.scenario = scenario
        self.log_lock = threading.Lock()
        self.log_file = open(log_path, "a", encoding="utf-8") if log_path else None

    def write_log(self, entry):
        if not self.log_file:
            return
        with self.log_lock:
            self.log_file.write(json.dumps(entry, ensure_ascii=False) + "\n")
            self.log_file.flush()

    def handle_error(self, request, client_address):
        exc = sys.exc_info()[1]
        if isinstance(exc, (BrokenPipeError, ConnectionResetError, socket.timeout)):
            return
        traceback.print_exc(file=sys.stderr)


def serve(description, handler, scenario_class):
    """The command line of both stand-ins: prints "PORT <n>" once listening and
    serves until SIGTERM or SIGINT."""
    ap = argparse.ArgumentParser(description=description)
    ap.add_argument("--scenario", required=True, help="scenario JSON file")
    ap.add_argument("--port", type=int, default=0, help="port to bind (0: any free port)")
    ap.add_argument("--log", help="append every request as a JSON line to this file")
    ap.add_argument("--var", action="append", default=[], metavar="NAME=VALUE",
                    help="replace ${NAME} (or ${NAME:-default}) in the scenario's strings")
    args = ap.parse_args()

    variables = {}
    for item in args.var:
        name, _, value = item.partition("=")
        variables[name] = value
    with open(args.scenario, encoding="utf-8") as f:
        scenario = scenario_class(substitute(json.load(f), variables))

    server = Server(("127.0.0.1", args.port), handler, scenario, args.log)

    def on_signal(signum, frame):
        STOP.set()
        threading.Thread(target=server.shutdown, daemon=True).start()

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)

    sys.stdout.write("PORT %d\n" % server.server_address[1])
    sys.stdout.flush()
    try:
        server.serve_forever(poll_interval=0.2)
    finally:
        STOP.set()
        server.server_close()
        if server.log_file:
            server.log_file.close()
    return 0
