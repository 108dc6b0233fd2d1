#!/usr/bin/env bash
# Installs everything Corvane needs on Debian 12: the Debian packages listed in
# scripts/debian-packages.txt, the pinned agent tools the tests drive, which go into
# .deps/npm inside the checkout, and highlight.js 11 into .deps/npm-hljs. Safe to run
# again: it only installs what is missing.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)

mapfile -t wanted < <(grep -v -E '^\s*(#|$)' "$root/scripts/debian-packages.txt")
missing=()
for pkg in "${wanted[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing+=("$pkg")
done
# Node.js may come from elsewhere (its own npm then conflicts with Debian's): only add
# Debian's when there is none.
command -v node >/dev/null && command -v npm >/dev/null || missing+=(nodejs npm)
if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    "${sudo_cmd[@]}" apt-get update -q
    "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# The agent tools, pinned: tests run the real ones against a local stand-in model service.
npm_dir="$root/.deps/npm"
want_claude="2.1.197"
want_codex="0.169.0"
have() { node -p "require('$npm_dir/node_modules/$1/package.json').version" 2>/dev/null || true; }
if [ "$(have @anthropic-ai/claude-code)" != "$want_claude" ] || [ "$(have @openai/codex)" != "$want_codex" ]; then
    echo "setup: installing the agent tools into $npm_dir"
    mkdir -p "$npm_dir"
    npm install --prefix "$npm_dir" --no-audit --no-fund --loglevel=error \
        "@anthropic-ai/claude-code@$want_claude" "@openai/codex@$want_codex"
fi
# highlight.js for code blocks in chats, in a folder of its own: the app loads its CommonJS
# lib/ and its theme CSS from there (or from $CORVANE_HLJS_DIR).
hljs_dir="$root/.deps/npm-hljs"
if [ "$(node -p "require('$hljs_dir/node_modules/highlight.js/package.json').version.split('.')[0]" 2>/dev/null || true)" != "11" ]; then
    echo "setup: installing highlight.js into $hljs_dir"
    mkdir -p "$hljs_dir"
    npm install --prefix "$hljs_dir" --no-audit --no-fund --loglevel=error "highlight.js@11"
fi
echo "setup: done"
