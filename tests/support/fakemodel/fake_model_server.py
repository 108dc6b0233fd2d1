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

import json
import sys
import threading

import scripted_server
from scripted_server import STOP, now_ms

DEFAULT_MODEL = "claude-sonnet-4-6"


# ---------------------------------------------------------------- scenario


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


class Handler(scripted_server.Handler):
    server_version = "FakeModel/1.0"
    recorded_headers = ("anthropic-beta", "anthropic-version", "user-agent", "x-app", "content-type")

    def extra_headers(self):
        return {"request-id": "req_fake_%d" % now_ms()}

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

        if self.wait_as_scripted(reply):
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


if __name__ == "__main__":
    sys.exit(scripted_server.serve("Scripted local Anthropic Messages API stand-in", Handler, Scenario))
