#!/usr/bin/env python3
"""Regenerates tests/fixtures/claude/*.jsonl by running the real `claude`
against fake_model_server.py, with the arguments our client uses.

    python3 capture_fixtures.py            # all transcripts
    python3 capture_fixtures.py plain_text interrupt_control

For each transcript NAME it writes:
  NAME.jsonl      everything claude printed on stdout, byte for byte
  NAME.meta.json  command line, environment, what we wrote on stdin and when,
                  arrival time of every stdout line, exit code, stderr, and
                  a summary of the requests the model service received

Work and config folders live under /tmp/corvane-claude-fixtures/NAME so
that paths inside the transcripts are stable from one capture to the next.
"""

import json
import os
import shutil
import signal
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from claude_harness import (HERE, REPO, Claude, FakeModel, find_claude, is_type)  # noqa: E402

OUT = os.path.join(REPO, "tests", "fixtures", "claude")
SCRATCH = "/tmp/corvane-claude-fixtures"
SCENARIOS = os.path.join(HERE, "scenarios")

# A 1x1 PNG and a one-page PDF, for the attachment transcript.
PNG_1X1 = ("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==")
PDF_MINIMAL = (
    "JVBERi0xLjQKMSAwIG9iago8PCAvVHlwZSAvQ2F0YWxvZyAvUGFnZXMgMiAwIFIgPj4KZW5kb2JqCjIgMCBvYmoKPDwg"
    "L1R5cGUgL1BhZ2VzIC9LaWRzIFszIDAgUl0gL0NvdW50IDEgPj4KZW5kb2JqCjMgMCBvYmoKPDwgL1R5cGUgL1BhZ2Ug"
    "L1BhcmVudCAyIDAgUiAvTWVkaWFCb3ggWzAgMCA2MTIgNzkyXSA+PgplbmRvYmoKeHJlZgowIDQKMDAwMDAwMDAwMCA2"
    "NTUzNSBmIAowMDAwMDAwMDA5IDAwMDAwIG4gCjAwMDAwMDAwNTggMDAwMDAgbiAKMDAwMDAwMDExNSAwMDAwMCBuIAp0"
    "cmFpbGVyCjw8IC9TaXplIDQgL1Jvb3QgMSAwIFIgPj4Kc3RhcnR4cmVmCjE4NgolJUVPRgo=")


class Capture:
    """One transcript: a fake model, folders, and the claude runs in it."""

    def __init__(self, name, scenario, variables=None):
        self.name = name
        self.base = os.path.join(SCRATCH, name)
        shutil.rmtree(self.base, ignore_errors=True)
        self.work = os.path.join(self.base, "work")
        self.config = os.path.join(self.base, "config")
        os.makedirs(self.work)
        os.makedirs(self.config)
        self.log = os.path.join(self.base, "requests.jsonl")
        variables = dict(variables or {})
        variables.setdefault("WORKDIR", self.work)
        self.fake = FakeModel(os.path.join(SCENARIOS, scenario), self.log, variables)
        self.scenario = scenario
        self.runs = []
        self.notes = {}

    def __enter__(self):
        self.fake.__enter__()
        return self

    def __exit__(self, *exc):
        self.fake.__exit__(*exc)

    def claude(self, mode="default", extra_args=None, env_extra=None):
        c = Claude(self.fake, self.work, self.config, mode=mode,
                   extra_args=extra_args, env_extra=env_extra)
        c.stdin_log = []
        original_write = c.write

        def write(obj):
            c.stdin_log.append({"t": round(time.time() - c.t0, 3), "line": obj})
            original_write(obj)
        c.write = write
        self.runs.append(c)
        return c

    def save(self, run=None, suffix=""):
        """Write the stdout of one run (the last by default) and its metadata."""
        c = run or self.runs[-1]
        os.makedirs(OUT, exist_ok=True)
        path = os.path.join(OUT, self.name + suffix + ".jsonl")
        with open(path, "w", encoding="utf-8") as f:
            for line in c.lines:
                f.write(line + "\n")
        env = dict(c.env)
        env["ANTHROPIC_BASE_URL"] = "http://127.0.0.1:<port>"
        requests = []
        for r in self.fake.requests():
            body = r.get("body") or {}
            entry = {"method": r["method"], "path": r["path"]}
            if isinstance(body, dict) and "messages" in body:
                last = [m for m in body["messages"] if m.get("role") == "user"][-1:]
                entry.update(kind=r.get("kind"), reply_index=r.get("reply_index"),
                             model=body.get("model"), stream=body.get("stream"),
                             tool_result=r.get("tool_result"),
                             messages=len(body["messages"]),
                             last_user_content=shorten(last[0]["content"]) if last else None)
            requests.append(entry)
        meta = {
            "scenario": "tests/support/fakemodel/scenarios/" + self.scenario,
            "command": [os.path.relpath(c.args[0], REPO)] + c.args[1:],
            "cwd": c.workdir,
            "env": env,
            "stdin": c.stdin_log,
            "stdout_line_times": [round(t, 3) for t in c.times],
            "exit_code": c.proc.returncode,
            "stderr": "".join(c.stderr),
            "requests": requests,
        }
        meta.update(self.notes)
        with open(os.path.join(OUT, self.name + suffix + ".meta.json"), "w", encoding="utf-8") as f:
            json.dump(meta, f, ensure_ascii=False, indent=2)
            f.write("\n")
        print("  %-40s %4d lines, exit %s" % (self.name + suffix + ".jsonl", len(c.lines), c.proc.returncode))


def shorten(content):
    """Request content with long strings cut, for the metadata."""
    if isinstance(content, str):
        return content if len(content) <= 300 else content[:300] + "...(%d chars)" % len(content)
    if isinstance(content, list):
        return [shorten(x) for x in content]
    if isinstance(content, dict):
        return {k: shorten(v) for k, v in content.items()}
    return content


def until_result(m):
    return m is None or m.get("type") == "result"


def one_turn(name, scenario, prompt="Hello", mode="default", extra_args=None, env_extra=None,
             variables=None, timeout=60):
    with Capture(name, scenario, variables) as cap:
        with cap.claude(mode, extra_args, env_extra) as c:
            c.send_user(prompt)
            c.read_until(until_result, timeout)
            c.close_stdin()
            c.wait(30)
        cap.save()


# ---------------------------------------------------------------- transcripts


def plain_text():
    one_turn("plain_text", "plain_text.json", "Say hello")


def thinking_text():
    one_turn("thinking_text", "thinking_text.json", "Think, then greet me")


def two_text_blocks():
    one_turn("two_text_blocks", "two_text_blocks.json", "Answer in two parts")


def tool_uses():
    one_turn("tool_uses", "tool_uses.json", "Run echo hi, write notes.txt, then edit it",
             mode="bypassPermissions")


def two_turns():
    with Capture("two_turns", "two_turns.json") as cap:
        with cap.claude(extra_args=["--model", "claude-sonnet-4-6"]) as c:
            c.send_user("first question")
            first = c.read_until(until_result)
            c.send_user("second question", session_id=first["session_id"])
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


def api_error():
    # A 400 is not retried. The process stays up: a second turn works.
    with Capture("api_error", "api_error.json") as cap:
        with cap.claude() as c:
            c.send_user("This request fails")
            first = c.read_until(until_result)
            time.sleep(0.5)
            cap.notes["alive_after_error_result"] = c.proc.poll() is None
            c.send_user("Try again", session_id=first["session_id"])
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()
    with Capture("api_error_last_turn", "api_error.json") as cap:
        with cap.claude() as c:
            c.send_user("This request fails")
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


def server_error_retry():
    one_turn("server_error_retry", "server_error_retry.json", "Hello")


def huge_reply():
    one_turn("huge_reply", "huge_reply.json", "Write a lot")


def multibyte_text():
    with Capture("multibyte_text", "multibyte_text.json") as cap:
        with cap.claude() as c:
            c.send_user("Show me some multi-byte text")
            first = c.read_until(until_result)
            c.send_user("Again, one code point per delta", session_id=first["session_id"])
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


def slow_reply():
    # 5 s before the response starts, then 0.5 s between deltas.
    one_turn("slow_reply", "slow_reply.json", "Take your time",
             variables={"DELAY": "5", "DELTA_DELAY": "0.5"})


def permission(name, answer, scenario="permission.json"):
    with Capture(name, scenario) as cap:
        with cap.claude(mode="default") as c:
            c.send_user("Write permitted.txt")
            req = c.read_until(lambda m: m is None or m.get("type") in ("control_request", "result"))
            assert req and req["type"] == "control_request", req
            c.write({"type": "control_response",
                     "response": {"subtype": "success", "request_id": req["request_id"],
                                  "response": answer(req["request"])}})
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        target = os.path.join(cap.work, "permitted.txt")
        cap.notes["file_after_turn"] = open(target, encoding="utf-8").read() if os.path.exists(target) else None
        cap.save()


def permission_allow_with_input():
    permission("permission_allow_with_input",
               lambda r: {"behavior": "allow", "updatedInput": r["input"]})


def permission_allow_without_input():
    permission("permission_allow_without_input", lambda r: {"behavior": "allow"})


def permission_allow_modified_input():
    permission("permission_allow_modified_input",
               lambda r: {"behavior": "allow", "updatedInput": dict(r["input"], content="changed by the user\n")})


def permission_deny():
    permission("permission_deny", lambda r: {"behavior": "deny", "message": "User denied"})


def permission_bash_deny():
    permission("permission_bash_deny", lambda r: {"behavior": "deny", "message": "Not now"},
               scenario="permission_bash.json")


def ask_user_question():
    with Capture("ask_user_question", "ask_user_question.json") as cap:
        with cap.claude(mode="default") as c:
            c.send_user("Help me pick a colour")
            req = c.read_until(lambda m: m is None or m.get("type") in ("control_request", "result"))
            assert req and req["type"] == "control_request", req
            c.write({"type": "control_response",
                     "response": {"subtype": "success", "request_id": req["request_id"],
                                  "response": {"behavior": "deny", "message": "Blue"}}})
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


def subagent():
    one_turn("subagent", "subagent.json", "Count the files with a helper", mode="bypassPermissions")


def first_delta(m):
    return m is None or (m.get("type") == "stream_event" and
                         m["event"].get("type") == "content_block_delta")


def interrupt_control():
    with Capture("interrupt_control", "slow_reply.json", {"DELAY": "0", "DELTA_DELAY": "0.3"}) as cap:
        with cap.claude() as c:
            c.send_user("Tell me slowly")
            c.read_until(first_delta)
            time.sleep(0.7)
            c.write({"type": "control_request", "request_id": "corvane-interrupt-1",
                     "request": {"subtype": "interrupt"}})
            first = c.read_until(until_result)
            time.sleep(0.5)
            cap.notes["alive_after_interrupt_result"] = c.proc.poll() is None
            c.send_user("Are you still there?", session_id=first["session_id"])
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


def interrupt_sigint():
    # Whether a result line comes before the process exits is a race inside
    # claude: try a few times and keep one transcript of each outcome.
    seen = {}
    tries = 0
    while len(seen) < 2 and tries < 8:
        tries += 1
        cap = Capture("interrupt_sigint", "slow_reply.json", {"DELAY": "0", "DELTA_DELAY": "0.3"})
        with cap:
            with cap.claude() as c:
                c.send_user("Tell me slowly")
                c.read_until(first_delta)
                time.sleep(0.7)
                c.stdin_log.append({"t": round(time.time() - c.t0, 3), "signal": "SIGINT"})
                c.signal(signal.SIGINT)
                # stdin stays open: the process ends by itself.
                try:
                    cap.notes["exit_without_closing_stdin"] = c.proc.wait(10)
                except Exception:
                    cap.notes["exit_without_closing_stdin"] = None
                c.wait(10)
            outcome = "result" if any('"type":"result"' in line for line in c.lines) else "no_result"
            seen.setdefault(outcome, 0)
            seen[outcome] += 1
            if seen[outcome] == 1:
                cap.notes["sigint_outcomes_when_saved"] = dict(seen, tries=tries)
                cap.save(suffix="" if outcome == "result" else ".no_result")
    print("  SIGINT outcomes over %d tries: %s" % (tries, seen))


def interrupt_permission_pending():
    with Capture("interrupt_permission_pending", "permission.json") as cap:
        with cap.claude() as c:
            c.send_user("Write permitted.txt")
            req = c.read_until(lambda m: m is None or m.get("type") in ("control_request", "result"))
            assert req and req["type"] == "control_request", req
            time.sleep(0.3)
            c.write({"type": "control_request", "request_id": "corvane-interrupt-1",
                     "request": {"subtype": "interrupt"}})
            c.read_until(until_result)
            time.sleep(0.5)
            c.close_stdin()
            c.wait(30)
        cap.save()


def resume_session():
    with Capture("resume_session", "two_turns.json") as cap:
        with cap.claude() as c:
            c.send_user("first question")
            first = c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save(suffix=".first_run")
        sid = first["session_id"]
        with cap.claude(extra_args=["--resume", sid]) as c:
            time.sleep(1.5)
            cap.notes["stdout_lines_before_first_input"] = len(c.lines)
            c.send_user("second question", session_id=sid)
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


def resume_unknown():
    sid = "6f1f3c52-0000-4000-8000-000000000000"
    with Capture("resume_unknown", "plain_text.json") as cap:
        with cap.claude(extra_args=["--resume", sid]) as c:
            # Nothing is written: the failure comes before any input.
            c.wait(30)
        cap.save()
        with cap.claude(extra_args=["--resume", "not-a-session-id"]) as c:
            c.wait(30)
        cap.save(suffix=".not_uuid")


def attachments():
    with Capture("attachments", "plain_text.json") as cap:
        with cap.claude() as c:
            c.send_user("Describe these", extra_blocks=[
                {"type": "image", "source": {"type": "base64", "media_type": "image/png", "data": PNG_1X1}},
                {"type": "document", "source": {"type": "base64", "media_type": "application/pdf",
                                                "data": PDF_MINIMAL}},
                {"type": "text", "text": "Content from file notes.txt:\nline one\nline two\n"}])
            c.read_until(until_result)
            c.close_stdin()
            c.wait(30)
        cap.save()


ALL = [plain_text, thinking_text, two_text_blocks, tool_uses, two_turns, api_error,
       server_error_retry, huge_reply, multibyte_text, slow_reply,
       permission_allow_with_input, permission_allow_without_input,
       permission_allow_modified_input, permission_deny, permission_bash_deny,
       ask_user_question, subagent, interrupt_control, interrupt_sigint,
       interrupt_permission_pending, resume_session, resume_unknown, attachments]


def main(names):
    if not find_claude():
        sys.exit("claude not found: run scripts/setup.sh or set CORVANE_CLAUDE")
    chosen = [f for f in ALL if not names or f.__name__ in names]
    unknown = set(names) - {f.__name__ for f in ALL}
    if unknown:
        sys.exit("unknown transcript: " + ", ".join(sorted(unknown)))
    for f in chosen:
        print(f.__name__)
        f()


if __name__ == "__main__":
    main(sys.argv[1:])
