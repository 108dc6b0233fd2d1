#!/bin/bash
# Regenerates tests/fixtures/codex/*.jsonl: the standard output of the pinned codex, run against
# fake_responses_server.py with one scenario each. Cleans up every process it starts.
#
#   tests/support/fakemodel/capture_codex_fixtures.sh
set -u
ROOT=$(cd "$(dirname "$0")/../../.." && pwd)
CODEX=${CORVANE_NPM_DIR:-$ROOT/.deps/npm}/node_modules/.bin/codex
OUT=$ROOT/tests/fixtures/codex
SCENARIOS=$ROOT/tests/support/fakemodel/codex_scenarios
WORK=$(mktemp -d /var/tmp/codex-capture.XXXXXX)
trap 'kill $SERVER 2>/dev/null; rm -rf "$WORK"' EXIT
mkdir -p "$OUT" "$WORK/home" "$WORK/ws"

start_server() {
    [ -n "${SERVER:-}" ] && kill "$SERVER" 2>/dev/null && wait "$SERVER" 2>/dev/null
    rm -f "$WORK/port"
    python3 "$ROOT/tests/support/fakemodel/fake_responses_server.py" --scenario "$SCENARIOS/$1" > "$WORK/port" &
    SERVER=$!
    for _ in $(seq 50); do [ -s "$WORK/port" ] && break; sleep 0.1; done
    cat > "$WORK/home/config.toml" <<TOML
model_provider = "fake"
[model_providers.fake]
name = "fake"
base_url = "http://127.0.0.1:$(awk '{print $2}' "$WORK/port")/v1"
wire_api = "responses"
experimental_bearer_token = "sk-fake"
request_max_retries = 0
stream_max_retries = 0
TOML
}

# Paths of the temporary folder are replaced so the fixtures do not change from run to run.
codex() {
    (cd "$WORK/ws" && env -i PATH=/usr/local/bin:/usr/bin:/bin HOME="$WORK/home" CODEX_HOME="$WORK/home" \
        "$CODEX" "$@" < /dev/null 2> /dev/null | sed "s#$WORK#/WORK#g")
}

capture() { # name scenario prompt
    start_server "$2"
    codex exec --json --skip-git-repo-check -m gpt-5.5 -s workspace-write -C "$WORK/ws" -- "$3" > "$OUT/$1.jsonl"
    echo "$1: $(wc -l < "$OUT/$1.jsonl") lines"
}

capture plain_text plain_text.json "Say hello"
capture shell_command shell_command.json "Run a command"
capture failed_command failed_command.json "Run a failing command"
capture file_change file_change.json "Write notes"
capture failed_turn failed_turn.json "Refuse this"

# A resumed thread: the second run repeats thread.started with the same id.
start_server two_turns.json
codex exec --json --skip-git-repo-check -m gpt-5.5 -s workspace-write -C "$WORK/ws" -- "first question" > "$WORK/first.jsonl"
THREAD=$(head -1 "$WORK/first.jsonl" | python3 -c 'import json,sys; print(json.load(sys.stdin)["thread_id"])')
codex exec resume "$THREAD" --json --skip-git-repo-check -m gpt-5.5 -c 'sandbox_mode="workspace-write"' \
    -- "second question" > "$OUT/resumed.jsonl"
echo "resumed: $(wc -l < "$OUT/resumed.jsonl") lines"

# A turn stopped with SIGINT while the model service stays silent.
start_server slow_reply.json
(cd "$WORK/ws" && exec setsid env -i PATH=/usr/local/bin:/usr/bin:/bin HOME="$WORK/home" CODEX_HOME="$WORK/home" \
    "$CODEX" exec --json --skip-git-repo-check -m gpt-5.5 -s workspace-write -- "wait" < /dev/null \
    > "$WORK/interrupted.jsonl" 2> /dev/null) &
CODEX_PID=$!
sleep 2
kill -INT -- "-$CODEX_PID"
wait "$CODEX_PID"
echo "interrupted: exit status $?"
sed "s#$WORK#/WORK#g" "$WORK/interrupted.jsonl" > "$OUT/interrupted.jsonl"
