#!/usr/bin/env python3
"""Scripted stand-in for the OpenAI Responses API, for running the real
`codex` CLI offline in tests.

    python3 fake_responses_server.py --scenario FILE [--port 0] [--log FILE] [--var NAME=VALUE ...]

Prints "PORT <n>" as the first line on stdout once it listens, then serves
until SIGTERM or SIGINT and exits 0. Only binds the loopback interface.

codex is pointed at it through CODEX_HOME/config.toml (a model provider with
`base_url = "http://127.0.0.1:PORT/v1"` and `wire_api = "responses"`). It
then sends `POST /v1/responses` with `"stream": true` and reads server-sent
events.

Scenario format (JSON; a bare list is taken as "replies"):

    {"replies": [REPLY, ...], "fallback": REPLY}

Which reply answers a request:
  1. A request whose last input item is a tool output (the follow-up after a
     tool ran) gets the next reply in order.
  2. Otherwise (a new user prompt): the first reply whose "match" is a
     substring of the last user message's text, preferring one not used yet;
     the order then continues after it. With no match: the next reply in
     order that has no "match" key.
  3. Nothing left: "fallback" (default: a text "(fake model: no scripted
     reply left)").

A REPLY:
  "output": list of OUTPUT items, streamed in order
  "match": substring of the last user text that selects this reply
  "error": {"status": 400, "message": "..."}: answer with that HTTP status
           and an OpenAI-style error body instead of a stream
  "failed": {"code": "...", "message": "..."}: stream a "response.failed"
  "delay": seconds before answering at all
  "hang": never answer (until the server stops)
  "hang_after_start": send "response.created", then nothing
  "input_tokens", "output_tokens": usage reported (defaults 100 and 20)

An OUTPUT item:
  {"type": "text", "text": "...", "chunks": [...]}   an assistant message
  {"type": "reasoning", "text": "..."}               a reasoning summary
  {"type": "exec", "cmd": "..."}                     an exec_command call
  {"type": "patch", "patch": "*** Begin Patch..."}   an apply_patch call
Each may carry "id" (the call id); defaults are generated.

Every request is appended to the log file as a JSON line: time, method,
path, the parsed body, and "reply_index" (-1 for the fallback).

"${NAME}" and "${NAME:-default}" in every string of the scenario are
replaced by --var values.
"""

import json
import sys
import threading

import scripted_server
from scripted_server import STOP, now_ms

TOOL_OUTPUTS = ("function_call_output", "custom_tool_call_output", "local_shell_call_output")


class Scenario:
    def __init__(self, data):
        if isinstance(data, list):
            data = {"replies": data}
        self.replies = data.get("replies", [])
        self.fallback = data.get("fallback", {"output": [
            {"type": "text", "text": "(fake model: no scripted reply left)"}]})
        self.lock = threading.Lock()
        self.next = 0
        self.used = set()

    def _take(self, index):
        self.used.add(index)
        self.next = index + 1
        return index, self.replies[index]

    def pick(self, user_text, after_tool):
        with self.lock:
            if after_tool:
                if self.next < len(self.replies):
                    return self._take(self.next)
                return -1, self.fallback
            matching = [i for i, r in enumerate(self.replies)
                        if r.get("match") and r["match"] in (user_text or "")]
            fresh = [i for i in matching if i not in self.used]
            if fresh or matching:
                return self._take((fresh or matching)[0])
            for i in range(self.next, len(self.replies)):
                if "match" not in self.replies[i] and i not in self.used:
                    return self._take(i)
            return -1, self.fallback


def last_user_text(body):
    for item in reversed(body.get("input") or []):
        if item.get("type") == "message" and item.get("role") == "user":
            parts = item.get("content") or []
            if isinstance(parts, str):
                return parts
            return "\n".join(p.get("text", "") for p in parts if isinstance(p, dict))
    return ""


def ends_with_tool_output(body):
    items = body.get("input") or []
    return bool(items) and items[-1].get("type") in TOOL_OUTPUTS


class Streamer:
    """Writes one scripted reply as a server-sent-event stream."""

    def __init__(self, handler, reply, index, model):
        self.h = handler
        self.reply = reply
        self.index = index
        self.model = model
        self.sequence = 0

    def event(self, payload):
        payload["sequence_number"] = self.sequence
        self.sequence += 1
        data = ("event: %s\ndata: %s\n\n" % (payload["type"], json.dumps(payload, ensure_ascii=False)))
        self.h.wfile.write(data.encode("utf-8"))
        self.h.wfile.flush()

    def item(self, position, item, deltas=()):
        self.event({"type": "response.output_item.added", "output_index": position, "item": item_start(item)})
        for piece in deltas:
            self.event({"type": "response.output_text.delta", "item_id": item["id"], "output_index": position,
                        "content_index": 0, "delta": piece})
        self.event({"type": "response.output_item.done", "output_index": position, "item": item})

    def run(self):
        reply = self.reply
        tag = "%d_%d" % (now_ms() % 10 ** 8, max(self.index, 0) + 1)
        response_id = "resp_fake_" + tag
        self.h.send_response(200)
        self.h.send_header("Content-Type", "text/event-stream; charset=utf-8")
        self.h.send_header("Cache-Control", "no-cache")
        self.h.send_header("Connection", "close")
        self.h.end_headers()
        self.h.close_connection = True
        base = {"id": response_id, "object": "response", "created_at": now_ms() // 1000, "model": self.model}
        self.event({"type": "response.created", "response": dict(base, status="in_progress")})
        if reply.get("hang_after_start"):
            STOP.wait()
            return
        failed = reply.get("failed")
        if failed:
            self.event({"type": "response.failed", "response": dict(
                base, status="failed", error={"code": failed.get("code", "server_error"),
                                              "message": failed.get("message", "The model failed.")})})
            return
        for position, entry in enumerate(reply.get("output", [])):
            kind = entry.get("type", "text")
            suffix = "%s_%d" % (tag, position)
            if kind == "text":
                text = entry.get("text", "")
                chunks = entry.get("chunks") or [text]
                text = "".join(chunks)
                item = {"type": "message", "id": "msg_" + suffix, "role": "assistant", "status": "completed",
                        "content": [{"type": "output_text", "text": text, "annotations": []}]}
                self.item(position, item, chunks)
            elif kind == "reasoning":
                item = {"type": "reasoning", "id": "rs_" + suffix,
                        "summary": [{"type": "summary_text", "text": entry.get("text", "")}]}
                self.item(position, item)
            elif kind == "exec":
                arguments = {"cmd": entry.get("cmd", "")}
                arguments.update(entry.get("arguments", {}))
                item = {"type": "function_call", "id": "fc_" + suffix, "status": "completed",
                        "call_id": entry.get("id") or "call_" + suffix, "name": "exec_command",
                        "arguments": json.dumps(arguments)}
                self.item(position, item)
            elif kind == "patch":
                item = {"type": "custom_tool_call", "id": "ctc_" + suffix, "status": "completed",
                        "call_id": entry.get("id") or "call_" + suffix, "name": "apply_patch",
                        "input": entry.get("patch", "")}
                self.item(position, item)
        usage = {"input_tokens": int(reply.get("input_tokens", 100)),
                 "input_tokens_details": {"cached_tokens": 0},
                 "output_tokens": int(reply.get("output_tokens", 20)),
                 "output_tokens_details": {"reasoning_tokens": 0}}
        usage["total_tokens"] = usage["input_tokens"] + usage["output_tokens"]
        self.event({"type": "response.completed", "response": dict(base, status="completed", usage=usage)})


def item_start(item):
    """The item as announced before its content streams."""
    start = dict(item)
    if item["type"] == "message":
        start["content"] = []
        start["status"] = "in_progress"
    return start


class Handler(scripted_server.Handler):
    server_version = "FakeResponses/1.0"

    def do_GET(self):
        self.record(None)
        self.send_json(404, {"error": {"type": "invalid_request_error", "message": "not found: " + self.path}})

    def do_POST(self):
        body = self.read_body()
        path = self.path.split("?")[0]
        try:
            if path == "/v1/responses":
                self.answer(body if isinstance(body, dict) else {})
            else:
                self.record(body)
                self.send_json(404, {"error": {"type": "invalid_request_error", "message": "not found: " + path}})
        except (BrokenPipeError, ConnectionResetError):
            pass

    def answer(self, body):
        scenario = self.server.scenario
        index, reply = scenario.pick(last_user_text(body), ends_with_tool_output(body))
        self.record(body, reply_index=index)
        if self.wait_as_scripted(reply):
            return
        err = reply.get("error")
        if err:
            self.send_json(int(err.get("status", 400)), {"error": {
                "type": err.get("type", "invalid_request_error"), "code": err.get("code"),
                "message": err.get("message", "Bad request")}})
            return
        Streamer(self, reply, index, body.get("model") or "gpt-5.5").run()


if __name__ == "__main__":
    sys.exit(scripted_server.serve("Scripted local Responses API stand-in", Handler, Scenario))
