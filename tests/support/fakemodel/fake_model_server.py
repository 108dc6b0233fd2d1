#!/usr/bin/env python3
"""Scripted stand-in for the Anthropic Messages API, for running the real
`claude` CLI offline in tests.

    python3 fake_model_server.py --scenario FILE [--port 0] [--log FILE]

Prints "PORT <n>" as the first line on stdout once it listens, then serves
until SIGTERM or SIGINT and exits 0. Only binds the loopback interface.

Every request is appended to the log file (JSON lines) with its method,
path, a few headers, the parsed body and which scripted reply answered it.

See README.md next to this file for the scenario format.
"""

import argparse
import json
import os
import re
import signal
import socket
import sys
import threading
import time
import traceback
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

STOP = threading.Event()

DEFAULT_MODEL = "claude-sonnet-4-6"


def now_ms():
    return int(time.time() * 1000)


# ---------------------------------------------------------------- scenario

VAR_RE = re.compile(r"\$\{([A-Za-z_][A-Za-z0-9_]*)(?::-([^}]*))?\}")


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



class Scenario:
    """Ordered list of scripted replies plus the selection rules."""

    def __init__(self, data):
        if isinstance(data, list):
            data = {"replies": data}
        self.replies = data.get("replies", [])
        self.fallback = data.get("fallback")
        self.model = data.get("model")
        self.side = data.get("side_reply", {"blocks": [{"type": "text", "text": "Fake title"}]})
        self.lock = threading.Lock()
        self.next = 0
        self.used = set()
        # A reply with "times": n answers n consecutive conversation requests
        # (e.g. an error that claude retries). Remaining uses per index.
        self.remaining = {}

    def _take(self, index):
        self.used.add(index)
        times = int(self.replies[index].get("times", 1))
        left = self.remaining.get(index, times) - 1
        if left > 0:
            self.remaining[index] = left
            self.next = index
        else:
            self.remaining.pop(index, None)
            self.next = index + 1
        return index, self.replies[index]

    def pick(self, user_text, is_tool_result):
        with self.lock:
            # A reply still being repeated ("times") keeps answering.
            if self.next in self.remaining:
                return self._take(self.next)
            if not is_tool_result:
                matching = [i for i, r in enumerate(self.replies)
                            if isinstance(r.get("match"), str) and r["match"] in user_text]
                if matching:
                    unused = [i for i in matching if i not in self.used]
                    return self._take(unused[0] if unused else matching[0])
                i = self.next
                while i < len(self.replies) and "match" in self.replies[i]:
                    i += 1
                if i < len(self.replies):
                    return self._take(i)
            elif self.next < len(self.replies):
                return self._take(self.next)
            if self.fallback is not None:
                return -1, self.fallback
            return -1, {"blocks": [{"type": "text",
                                    "text": "(fake model: no scripted reply left)"}]}


# ---------------------------------------------------------------- requests


def last_user_message(body):
    msgs = body.get("messages") or []
    for m in reversed(msgs):
        if m.get("role") == "user":
            return m
    return None


def message_text(msg):
    if msg is None:
        return ""
    content = msg.get("content")
    if isinstance(content, str):
        return content
    parts = []
    if isinstance(content, list):
        for block in content:
            if isinstance(block, dict) and block.get("type") == "text":
                parts.append(str(block.get("text", "")))
    return "\n".join(parts)


def has_tool_result(msg):
    content = msg.get("content") if msg else None
    return isinstance(content, list) and any(
        isinstance(b, dict) and b.get("type") == "tool_result" for b in content)


def is_conversation_request(body):
    """claude also sends small side requests (titles, summaries) through the
    same endpoint; they come without tools. Only requests that carry tools
    consume scripted replies."""
    return bool(body.get("tools"))


# ---------------------------------------------------------------- replies


def block_text(block):
    """Full text of a text or thinking block: "text"/"thinking", else the
    joined "chunks", repeated "repeat" times."""
    key = "thinking" if block.get("type") == "thinking" else "text"
    if key in block:
        text = str(block[key])
    elif isinstance(block.get("chunks"), list):
        text = "".join(str(c) for c in block["chunks"])
    else:
        text = ""
    return text * int(block.get("repeat", 1))


def split_text(text, block):
    """Return the list of delta strings for a text or thinking block."""
    if isinstance(block.get("chunks"), list) and int(block.get("repeat", 1)) == 1:
        chunks = [str(c) for c in block["chunks"]]
        joined = "".join(chunks)
        if joined == text:
            return [c for c in chunks if c]
        if text.startswith(joined):
            return [c for c in chunks + [text[len(joined):]] if c]
    if isinstance(block.get("split_at"), list):
        points = sorted(set(int(p) for p in block["split_at"] if 0 < int(p) < len(text)))
        out, start = [], 0
        for p in points:
            out.append(text[start:p])
            start = p
        out.append(text[start:])
        return [c for c in out if c]
    size = int(block.get("chunk_size", 0) or 0)
    if size > 0:
        return [text[i:i + size] for i in range(0, len(text), size)] or [""]
    return [text]


class Replier:
    """Writes one scripted reply as a server-sent-event stream."""

    def __init__(self, handler, reply, model, index):
        self.h = handler
        self.reply = reply
        self.model = model
        self.index = index
        self.delta_delay = float(reply.get("delta_delay", 0) or 0)

    def wait(self, seconds):
        return not STOP.wait(seconds) if seconds > 0 else True

    def chunk(self, data):
        self.h.wfile.write(b"%x\r\n" % len(data) + data + b"\r\n")
        self.h.wfile.flush()

    def event(self, name, payload):
        data = ("event: %s\ndata: %s\n\n" % (name, json.dumps(payload, ensure_ascii=False))).encode("utf-8")
        self.chunk(data)

    def delta_pause(self):
        if self.delta_delay > 0:
            self.wait(self.delta_delay)

    def run(self):
        reply = self.reply
        blocks = reply.get("blocks", [])
        stop_reason = reply.get("stop_reason") or (
            "tool_use" if any(b.get("type") == "tool_use" for b in blocks) else "end_turn")
        msg_id = "msg_fake_%d_%d" % (now_ms(), max(self.index, 0) + 1)

        self.h.send_response(200)
        self.h.send_header("Content-Type", "text/event-stream; charset=utf-8")
        self.h.send_header("Cache-Control", "no-cache")
        self.h.send_header("Transfer-Encoding", "chunked")
        self.h.send_header("request-id", "req_fake_%d" % now_ms())
        self.h.end_headers()

        usage = {"input_tokens": int(reply.get("input_tokens", 100)),
                 "cache_creation_input_tokens": 0, "cache_read_input_tokens": 0,
                 "output_tokens": 1}
        self.event("message_start", {"type": "message_start", "message": {
            "id": msg_id, "type": "message", "role": "assistant", "model": self.model,
            "content": [], "stop_reason": None, "stop_sequence": None, "usage": usage}})

        if reply.get("hang_after_start"):
            STOP.wait()
            return
        if not self.wait(float(reply.get("pause_after_start", 0) or 0)):
            return
        self.event("ping", {"type": "ping"})

        out_chars = 0
        for i, block in enumerate(blocks):
            kind = block.get("type", "text")
            if kind == "text":
                text = block_text(block)
                out_chars += len(text)
                self.event("content_block_start", {"type": "content_block_start", "index": i,
                                                   "content_block": {"type": "text", "text": ""}})
                for piece in split_text(text, block):
                    self.delta_pause()
                    self.event("content_block_delta", {"type": "content_block_delta", "index": i,
                                                       "delta": {"type": "text_delta", "text": piece}})
            elif kind == "thinking":
                text = block_text(block)
                out_chars += len(text)
                self.event("content_block_start", {"type": "content_block_start", "index": i,
                                                   "content_block": {"type": "thinking", "thinking": "",
                                                                     "signature": ""}})
                for piece in split_text(text, block):
                    self.delta_pause()
                    self.event("content_block_delta", {"type": "content_block_delta", "index": i,
                                                       "delta": {"type": "thinking_delta", "thinking": piece}})
                self.event("content_block_delta", {"type": "content_block_delta", "index": i,
                                                   "delta": {"type": "signature_delta",
                                                             "signature": block.get("signature", "ZmFrZS1zaWduYXR1cmU=")}})
            elif kind == "tool_use":
                tool_id = block.get("id") or "toolu_fake_%d_%d_%d" % (now_ms() % 10 ** 8, max(self.index, 0) + 1, i)
                raw = json.dumps(block.get("input", {}), ensure_ascii=False)
                out_chars += len(raw)
                self.event("content_block_start", {"type": "content_block_start", "index": i,
                                                   "content_block": {"type": "tool_use", "id": tool_id,
                                                                     "name": block.get("name", ""), "input": {}}})
                size = int(block.get("chunk_size", 24) or 24)
                pieces = [raw[j:j + size] for j in range(0, len(raw), size)] or [""]
                for piece in pieces:
                    self.delta_pause()
                    self.event("content_block_delta", {"type": "content_block_delta", "index": i,
                                                       "delta": {"type": "input_json_delta", "partial_json": piece}})
            else:
                continue
            if not self.wait(float(block.get("pause_after", 0) or 0)):
                return
            self.event("content_block_stop", {"type": "content_block_stop", "index": i})

        if reply.get("hang_before_stop"):
            STOP.wait()
            return
        self.event("message_delta", {"type": "message_delta",
                                     "delta": {"stop_reason": stop_reason, "stop_sequence": None},
                                     "usage": {"output_tokens": int(reply.get("output_tokens", max(1, out_chars // 4)))}})
        self.event("message_stop", {"type": "message_stop"})
        self.h.wfile.write(b"0\r\n\r\n")
        self.h.wfile.flush()

    def run_plain(self):
        """Non-streaming answer (a request without "stream": true)."""
        reply = self.reply
        content = []
        for i, block in enumerate(reply.get("blocks", [])):
            kind = block.get("type", "text")
            if kind == "text":
                content.append({"type": "text", "text": block_text(block)})
            elif kind == "thinking":
                content.append({"type": "thinking", "thinking": block_text(block),
                                "signature": block.get("signature", "ZmFrZS1zaWduYXR1cmU=")})
            elif kind == "tool_use":
                content.append({"type": "tool_use", "id": block.get("id") or "toolu_fake_plain_%d" % i,
                                "name": block.get("name", ""), "input": block.get("input", {})})
        stop_reason = reply.get("stop_reason") or (
            "tool_use" if any(c["type"] == "tool_use" for c in content) else "end_turn")
        self.h.send_json(200, {"id": "msg_fake_%d" % now_ms(), "type": "message", "role": "assistant",
                               "model": self.model, "content": content, "stop_reason": stop_reason,
                               "stop_sequence": None,
                               "usage": {"input_tokens": 100, "output_tokens": 10,
                                         "cache_creation_input_tokens": 0, "cache_read_input_tokens": 0}})


# ---------------------------------------------------------------- server


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "FakeModel/1.0"

    def log_message(self, fmt, *args):  # keep stderr quiet
        pass

    def send_json(self, status, obj):
        data = json.dumps(obj).encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(data)))
        self.send_header("request-id", "req_fake_%d" % now_ms())
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
        entry = {"time": time.time(), "method": self.command, "path": self.path,
                 "headers": {k: v for k, v in self.headers.items()
                             if k.lower() in ("anthropic-beta", "anthropic-version", "user-agent",
                                              "x-app", "content-type")},
                 "body": body}
        entry.update(extra)
        self.server.write_log(entry)

    def do_GET(self):
        self.record(None)
        path = self.path.split("?")[0]
        if path.startswith("/v1/models"):
            model = self.server.scenario.model or DEFAULT_MODEL
            self.send_json(200, {"data": [{"type": "model", "id": model, "display_name": model,
                                           "created_at": "2025-01-01T00:00:00Z"}],
                                 "has_more": False, "first_id": model, "last_id": model})
        else:
            self.send_json(404, {"type": "error", "error": {"type": "not_found_error",
                                                            "message": "not found: " + path}})

    def do_HEAD(self):
        self.record(None)
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def do_POST(self):
        body = self.read_body()
        path = self.path.split("?")[0]
        try:
            if path == "/v1/messages/count_tokens":
                self.record(body)
                self.send_json(200, {"input_tokens": 100})
            elif path == "/v1/messages":
                self.messages(body if isinstance(body, dict) else {})
            else:
                self.record(body)
                self.send_json(404, {"type": "error", "error": {"type": "not_found_error",
                                                                "message": "not found: " + path}})
        except (BrokenPipeError, ConnectionResetError):
            pass

    def messages(self, body):
        scenario = self.server.scenario
        user = last_user_message(body)
        text = message_text(user)
        tool_result = has_tool_result(user)
        model = scenario.model or body.get("model") or DEFAULT_MODEL
        if is_conversation_request(body):
            index, reply = scenario.pick(text, tool_result)
            kind = "conversation"
        else:
            index, reply = -1, scenario.side
            kind = "side"
        self.record(body, kind=kind, reply_index=index, tool_result=tool_result)

        if reply.get("hang"):
            STOP.wait()
            self.close_connection = True
            return
        if reply.get("delay") and STOP.wait(float(reply["delay"])):
            self.close_connection = True
            return
        err = reply.get("error")
        if err:
            status = int(err.get("status", 500))
            self.send_json(status, {"type": "error",
                                    "error": {"type": err.get("type", "api_error"),
                                              "message": err.get("message", "Internal server error")}})
            return
        replier = Replier(self, reply, model, index)
        if body.get("stream"):
            replier.run()
        else:
            replier.run_plain()


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, addr, scenario, log_path):
        super().__init__(addr, Handler)
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


def main():
    ap = argparse.ArgumentParser(description="Scripted local Anthropic Messages API stand-in")
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
        scenario = Scenario(substitute(json.load(f), variables))

    server = Server(("127.0.0.1", args.port), scenario, args.log)

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


if __name__ == "__main__":
    sys.exit(main())
