#!/usr/bin/env bash
# Smoke check: the real claude answers one turn through the fake model service.
#
#   tests/support/fakemodel/smoke.sh [SCENARIO [EXPECTED_REPLY]]
#
# Exits 0 when claude's result carries the expected text. Every process it
# starts (server, claude and claude's children) is gone when it returns.
set -euo pipefail

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
REPO=$(cd "$HERE/../../.." && pwd)
CLAUDE=${CORVANE_CLAUDE:-$REPO/.deps/npm/node_modules/.bin/claude}
SCENARIO=${1:-$HERE/scenarios/plain_text.json}
EXPECT=${2:-Hello from the fake model.}
TIMEOUT=${SMOKE_TIMEOUT:-60}

[ -x "$CLAUDE" ] || { echo "smoke: claude not found at $CLAUDE (run scripts/setup.sh)" >&2; exit 2; }

TMP=$(mktemp -d "${TMPDIR:-/tmp}/corvane-smoke.XXXXXX")
server_pid=""
claude_pid=""

stop_group() {  # $1: process group leader; TERM, then KILL after 3 s
    local pid=$1
    kill -TERM -- "-$pid" 2>/dev/null || return 0
    for _ in $(seq 30); do kill -0 -- "-$pid" 2>/dev/null || return 0; sleep 0.1; done
    kill -KILL -- "-$pid" 2>/dev/null || true
}

cleanup() {
    exec 3>&- 2>/dev/null || true
    [ -n "$claude_pid" ] && stop_group "$claude_pid"
    [ -n "$server_pid" ] && stop_group "$server_pid"
    wait 2>/dev/null || true
    rm -rf "$TMP"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

fail() {
    echo "smoke: FAIL: $*" >&2
    for f in server.err claude.err claude.out; do
        [ -s "$TMP/$f" ] && { echo "--- $f" >&2; tail -c 2000 "$TMP/$f" >&2; echo >&2; }
    done
    exit 1
}

# Server, in its own process group.
setsid python3 "$HERE/fake_model_server.py" --scenario "$SCENARIO" --log "$TMP/requests.jsonl" \
    >"$TMP/server.out" 2>"$TMP/server.err" &
server_pid=$!
port=""
for _ in $(seq 100); do
    port=$(sed -n 's/^PORT \([0-9]*\)$/\1/p' "$TMP/server.out" 2>/dev/null | head -n 1)
    [ -n "$port" ] && break
    kill -0 "$server_pid" 2>/dev/null || fail "server exited"
    sleep 0.1
done
[ -n "$port" ] || fail "server printed no port"

# claude, with a clean environment, in its own process group, stdin a pipe.
mkdir -p "$TMP/work" "$TMP/config/home"
mkfifo "$TMP/stdin"
(cd "$TMP/work" && exec setsid env -i \
    PATH=/usr/local/bin:/usr/bin:/bin \
    HOME="$TMP/config/home" \
    TERM=xterm-256color NO_COLOR=1 \
    ANTHROPIC_BASE_URL="http://127.0.0.1:$port" \
    ANTHROPIC_API_KEY=sk-ant-fake-key \
    CLAUDE_CONFIG_DIR="$TMP/config" \
    CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC=1 \
    IS_SANDBOX=1 \
    "$CLAUDE" --output-format stream-json --input-format stream-json --verbose \
        --include-partial-messages --permission-prompt-tool stdio --permission-mode default \
    <"$TMP/stdin" >"$TMP/claude.out" 2>"$TMP/claude.err") &
claude_pid=$!
exec 3>"$TMP/stdin"
printf '%s\n' '{"type":"user","session_id":"","message":{"role":"user","content":[{"type":"text","text":"Say hello"}]},"parent_tool_use_id":null}' >&3

deadline=$((SECONDS + TIMEOUT))
until grep -q '"type":"result"' "$TMP/claude.out" 2>/dev/null; do
    kill -0 "$claude_pid" 2>/dev/null || fail "claude exited before its result"
    [ $SECONDS -lt $deadline ] || fail "no result within ${TIMEOUT}s"
    sleep 0.1
done

# Close stdin: claude ends by itself.
exec 3>&-
for _ in $(seq 150); do kill -0 "$claude_pid" 2>/dev/null || break; sleep 0.1; done
kill -0 "$claude_pid" 2>/dev/null && fail "claude still running 15 s after stdin closed"
wait "$claude_pid" && rc=0 || rc=$?
claude_pid=""

python3 - "$TMP/claude.out" "$EXPECT" <<'EOF' || fail "unexpected result"
import json, sys
path, expect = sys.argv[1], sys.argv[2]
results = [m for m in map(json.loads, open(path, encoding="utf-8")) if m.get("type") == "result"]
r = results[-1]
if r.get("is_error") or expect not in (r.get("result") or ""):
    sys.exit("result: is_error=%s text=%r" % (r.get("is_error"), r.get("result")))
EOF
[ "$rc" -eq 0 ] || fail "claude exited with $rc"
echo "smoke: ok (port $port, $(wc -l <"$TMP/claude.out") stdout lines, $(grep -c '"path"' "$TMP/requests.jsonl") requests)"
