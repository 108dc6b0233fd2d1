"""Helpers to run the real `claude` CLI against fake_model_server.py.

Used by capture_fixtures.py (which regenerates tests/fixtures/claude) and
handy from an interactive Python shell when checking a behaviour:

    with FakeModel("scenarios/plain_text.json") as fm:
        with Claude(fm, workdir) as c:
            c.send_user("Say hello")
            c.read_until(lambda m: m.get("type") == "result")

Python 3 standard library only.
"""

import json
import os
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
REPO = os.path.abspath(os.path.join(HERE, "..", "..", ".."))
SERVER = os.path.join(HERE, "fake_model_server.py")

# The arguments our client passes, in its order ("--permission-mode" MODE,
# "--model" and "--resume" follow). No "-p": with stdout on a pipe the tool
# runs non-interactively anyway.
CLIENT_ARGS = ["--output-format", "stream-json", "--input-format", "stream-json",
               "--verbose", "--include-partial-messages",
               "--permission-prompt-tool", "stdio"]


def find_claude():
    for candidate in (os.environ.get("CORVANE_CLAUDE"),
                      os.path.join(REPO, ".deps", "npm", "node_modules", ".bin", "claude")):
        if candidate and os.path.exists(candidate):
            return candidate
    return shutil.which("claude")


def user_line(text, session_id="", extra_blocks=None):
    blocks = []
    if text:
        blocks.append({"type": "text", "text": text})
    blocks.extend(extra_blocks or [])
    if not blocks:
        blocks.append({"type": "text", "text": ""})
    return {"type": "user", "session_id": session_id,
            "message": {"role": "user", "content": blocks}, "parent_tool_use_id": None}


class FakeModel:
    """Starts fake_model_server.py on a free loopback port."""

    def __init__(self, scenario, log_path=None, variables=None):
        self.scenario = scenario
        self.log_path = log_path
        self.variables = variables or {}
        self.proc = None
        self.port = None

    def __enter__(self):
        cmd = [sys.executable, SERVER, "--scenario", self.scenario]
        if self.log_path:
            cmd += ["--log", self.log_path]
        for name, value in self.variables.items():
            cmd += ["--var", "%s=%s" % (name, value)]
        self.proc = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        first = self.proc.stdout.readline().split()
        if len(first) != 2 or first[0] != "PORT":
            self.proc.kill()
            raise RuntimeError("fake model server did not start: %r %s" % (first, self.proc.stderr.read()))
        self.port = int(first[1])
        return self

    @property
    def url(self):
        return "http://127.0.0.1:%d" % self.port

    def requests(self):
        if not self.log_path or not os.path.exists(self.log_path):
            return []
        with open(self.log_path, encoding="utf-8") as f:
            return [json.loads(line) for line in f if line.strip()]

    def __exit__(self, *exc):
        if self.proc and self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(5)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()


def claude_env(fake, config_dir, extra=None):
    env = {
        "PATH": "/usr/local/bin:/usr/bin:/bin",
        "HOME": os.path.join(config_dir, "home"),
        "TERM": "xterm-256color",
        "NO_COLOR": "1",
        "ANTHROPIC_BASE_URL": fake.url,
        "ANTHROPIC_API_KEY": "sk-ant-fake-key",
        "CLAUDE_CONFIG_DIR": config_dir,
        "CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC": "1",
        "IS_SANDBOX": "1",
    }
    os.makedirs(env["HOME"], exist_ok=True)
    env.update(extra or {})
    return env


class Claude:
    """One claude child process with stdout split into JSON lines."""

    def __init__(self, fake, workdir, config_dir, mode="default", extra_args=None,
                 env_extra=None, prefix_args=()):
        self.args = [find_claude()] + list(prefix_args) + CLIENT_ARGS + \
            ["--permission-mode", mode] + list(extra_args or [])
        self.env = claude_env(fake, config_dir, env_extra)
        self.workdir = workdir
        self.lines = []          # raw stdout lines, in order
        self.stderr = []
        self.q = queue.Queue()
        self.proc = None
        self.t0 = None
        self.times = []          # seconds since start, per stdout line

    def __enter__(self):
        self.t0 = time.time()
        self.proc = subprocess.Popen(self.args, cwd=self.workdir, env=self.env,
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, start_new_session=True)
        threading.Thread(target=self._read_out, daemon=True).start()
        threading.Thread(target=self._read_err, daemon=True).start()
        return self

    def _read_out(self):
        for raw in self.proc.stdout:
            line = raw.decode("utf-8").rstrip("\n")
            self.lines.append(line)
            self.times.append(time.time() - self.t0)
            try:
                self.q.put(json.loads(line))
            except ValueError:
                self.q.put({"type": "_unparsable", "line": line})
        self.q.put(None)

    def _read_err(self):
        for raw in self.proc.stderr:
            self.stderr.append(raw.decode("utf-8", "replace"))

    def write(self, obj):
        data = (json.dumps(obj, ensure_ascii=False) + "\n").encode("utf-8")
        self.proc.stdin.write(data)
        self.proc.stdin.flush()

    def send_user(self, text, session_id="", extra_blocks=None):
        self.write(user_line(text, session_id, extra_blocks))

    def read_until(self, pred, timeout=60, on_message=None):
        """Return the first message for which pred is true (None at EOF)."""
        deadline = time.time() + timeout
        while True:
            left = deadline - time.time()
            if left <= 0:
                raise TimeoutError("no matching message within %ss" % timeout)
            try:
                msg = self.q.get(timeout=left)
            except queue.Empty:
                continue
            if msg is None:
                return None
            if on_message:
                on_message(msg)
            if pred(msg):
                return msg

    def close_stdin(self):
        try:
            self.proc.stdin.close()
        except BrokenPipeError:
            pass

    def signal(self, sig):
        if self.proc.poll() is None:
            os.kill(self.proc.pid, sig)

    def wait(self, timeout=30):
        try:
            return self.proc.wait(timeout)
        finally:
            time.sleep(0.2)   # let the reader threads drain

    def __exit__(self, *exc):
        if self.proc.poll() is None:
            self.close_stdin()
            try:
                self.proc.wait(10)
            except subprocess.TimeoutExpired:
                os.killpg(self.proc.pid, signal.SIGTERM)
                try:
                    self.proc.wait(5)
                except subprocess.TimeoutExpired:
                    os.killpg(self.proc.pid, signal.SIGKILL)
                    self.proc.wait()
        # Anything left in the group (tool children) goes too.
        try:
            os.killpg(self.proc.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def is_type(kind, subtype=None):
    return lambda m: m is not None and m.get("type") == kind and \
        (subtype is None or m.get("subtype") == subtype)


def new_dirs(root, name):
    base = os.path.join(root, name)
    shutil.rmtree(base, ignore_errors=True)
    work = os.path.join(base, "work")
    cfg = os.path.join(base, "config")
    os.makedirs(work)
    os.makedirs(cfg)
    return work, cfg


def scratch_root():
    return tempfile.mkdtemp(prefix="corvane-fakemodel-")
