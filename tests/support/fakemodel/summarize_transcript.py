#!/usr/bin/env python3
"""Prints a claude stream-JSON transcript one short line per message.

    python3 summarize_transcript.py tests/fixtures/claude/tool_uses.jsonl [--width 160]
"""

import argparse
import json


def describe(m, width):
    kind = m.get("type")
    if kind == "stream_event":
        e = m.get("event", {})
        detail = e.get("delta") or e.get("content_block") or ""
        if isinstance(detail, dict):
            detail = {k: (v[:40] + "...(%d)" % len(v) if isinstance(v, str) and len(v) > 40 else v)
                      for k, v in detail.items()}
        return "stream_event %s %s %s" % (e.get("type"), e.get("index", ""),
                                          json.dumps(detail, ensure_ascii=False) if detail else "")
    if kind in ("assistant", "user"):
        parts = []
        for b in m.get("message", {}).get("content", []) if isinstance(m.get("message", {}).get("content"), list) else []:
            t = b.get("type")
            if t == "text":
                parts.append("text(%d) %r" % (len(b["text"]), b["text"][:40]))
            elif t == "thinking":
                parts.append("thinking(%d)" % len(b.get("thinking", "")))
            elif t == "tool_use":
                parts.append("tool_use %s %s %s" % (b.get("name"), b.get("id"), json.dumps(b.get("input"))[:60]))
            elif t == "tool_result":
                c = b.get("content")
                parts.append("tool_result %s is_error=%s %r" % (b.get("tool_use_id"), b.get("is_error"),
                                                                (c if isinstance(c, str) else json.dumps(c))[:50]))
            else:
                parts.append(t)
        return "%s parent=%s [%s]" % (kind, m.get("parent_tool_use_id"), "; ".join(parts))
    if kind == "system":
        extra = {k: v for k, v in m.items() if k in ("status", "attempt", "error_status", "permissionMode",
                                                     "model", "estimated_tokens")}
        return "system %s %s" % (m.get("subtype"), json.dumps(extra) if extra else "")
    if kind == "result":
        r = m.get("result")
        return "result %s is_error=%s result=%r num_turns=%s cost=%s errors=%s" % (
            m.get("subtype"), m.get("is_error"), (r[:50] + "...(%d)" % len(r)) if isinstance(r, str) and len(r) > 50 else r,
            m.get("num_turns"), m.get("total_cost_usd"), m.get("errors"))
    return json.dumps(m, ensure_ascii=False)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("file")
    ap.add_argument("--width", type=int, default=200)
    args = ap.parse_args()
    with open(args.file, encoding="utf-8") as f:
        for n, line in enumerate(f, 1):
            try:
                text = describe(json.loads(line), args.width)
            except ValueError:
                text = "UNPARSABLE " + line[:80]
            print("%4d %s" % (n, text[:args.width]))


if __name__ == "__main__":
    main()
