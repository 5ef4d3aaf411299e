#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The whole hook path with the real Claude Code: hooks installed by `hollowmere hooks install`
into a temporary HOME, Claude Code in print mode against the scripted stand-in model API, and
prompts answered by the real HookServer and SessionStore (e2e_responder).

Run inside tests/support/isolated.sh (the socket is the real /tmp/hollowmere.sock), one case per
process:  test_claude_code.py ClaudeCodeTest.test_approve_runs_the_tool
Needs HOLLOWMERE_BIN_DIR (hollowmere, hollowmere-hook) and HOLLOWMERE_E2E_RESPONDER.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import claude_env  # noqa: E402

BIN_DIR = os.environ.get("HOLLOWMERE_BIN_DIR", "")
RESPONDER = os.environ.get("HOLLOWMERE_E2E_RESPONDER", "")
HOOK = os.path.join(BIN_DIR, "hollowmere-hook")
SOCKET = "/tmp/hollowmere.sock"
PASSTHROUGH_AFTER = 25.0  # seconds the server waits for an answer

ONE_TOUCH = [
    [{"type": "text", "text": "Creating the file."},
     {"type": "tool_use", "name": "Bash",
      "input": {"command": "touch done.txt", "description": "Create done.txt"}}],
    [{"type": "text", "text": "All done."}],
]


def wait_until(predicate, timeout=30.0, interval=0.05):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = predicate()
        if value:
            return value
        time.sleep(interval)
    return predicate()


class Responder:
    """e2e_responder as a child: the app's store and server answering by one policy."""

    def __init__(self, home, policy, log_path, wait_ms=None, delay_ms=None, program=RESPONDER,
                 quiet=False):
        self.log_path = log_path
        env = dict(os.environ, HOME=home)
        command = [program, "--policy", policy, "--log", log_path]
        if wait_ms is not None:
            command += ["--wait", str(wait_ms)]
        if delay_ms is not None:
            command += ["--delay", str(delay_ms)]
        self.process = subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL if quiet else None)
        if not wait_until(lambda: self.lines("ready") or self.process.poll() is not None):
            raise RuntimeError("e2e_responder did not start")
        if self.process.poll() is not None:
            raise RuntimeError("e2e_responder exited with %d" % self.process.returncode)

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(timeout=10)

    def lines(self, kind=None):
        if not os.path.exists(self.log_path):
            return []
        with open(self.log_path, encoding="utf-8") as f:
            lines = [json.loads(line) for line in f if line.strip()]
        return [line for line in lines if kind is None or line["type"] == kind]

    def session(self, session_id):
        """The session as the store last reported it."""
        for line in reversed(self.lines("sessions")):
            for s in line["sessions"]:
                if s["sessionId"] == session_id:
                    return s
        return None

    def first_stopped(self, session_id):
        """The session as the store reported it right after its first stop event (the
        just-finished mark is cleared a few seconds later)."""
        for line in self.lines("sessions"):
            for s in line["sessions"]:
                if s["sessionId"] == session_id and s["stopped"]:
                    return s
        return None

    def events(self, session_id):
        return [(e["kind"], e["tool"]) for e in self.lines("event")
                if e["sessionId"] == session_id]

COLOUR_QUESTION = {"question": "Which colour should the file be?", "header": "Colour",
                   "multiSelect": False,
                   "options": [{"label": "Red", "description": "warm"},
                               {"label": "Blue", "description": "cool"}]}
ASK_COLOUR = [
    [{"type": "tool_use", "name": "AskUserQuestion", "input": {"questions": [COLOUR_QUESTION]}}],
    [{"type": "text", "text": "Blue it is."}],
]


class E2ECase(unittest.TestCase):
    """A temporary HOME with our hooks installed, a project, and the helpers every case uses."""

    def setUp(self):
        for name in ("hollowmere", "hollowmere-hook"):
            path = os.path.join(BIN_DIR, name)
            self.assertTrue(os.access(path, os.X_OK), "%s is not built" % path)
        self.assertTrue(os.access(RESPONDER, os.X_OK), "e2e_responder is not built")
        self.assertFalse(os.path.exists(SOCKET),
                         "%s exists: run under tests/support/isolated.sh" % SOCKET)
        self.root = os.path.realpath(tempfile.mkdtemp(prefix="hollowmere-e2e-"))
        self.addCleanup(shutil.rmtree, self.root, ignore_errors=True)
        self.project = os.path.join(self.root, "project")
        os.makedirs(self.project)
        self.home = self.make_home("home", install_hooks=True)
        self.responder = None

    def tearDown(self):
        if self.responder:
            self.responder.stop()

    def make_home(self, name, install_hooks, settings=None):
        home = claude_env.prepare_home(os.path.join(self.root, name), [self.project])
        if settings is not None:
            with open(os.path.join(home, ".claude", "settings.json"), "w", encoding="utf-8") as f:
                json.dump(settings, f, indent=2)
        if install_hooks:
            done = self.hollowmere(home, "hooks", "install")
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            for event in ("PreToolUse", "Notification", "Stop"):
                self.assertIn(HOOK, self.hook_commands(event, home), event)
        return home

    def hollowmere(self, home, *args):
        """The command line, with its preferences in the temporary home too."""
        env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"))
        return subprocess.run([os.path.join(BIN_DIR, "hollowmere"), *args], env=env,
                              capture_output=True, text=True, timeout=30)

    def hook_commands(self, event, home=None):
        """The commands registered under one event, in order."""
        groups = self.settings(home).get("hooks", {}).get(event, [])
        return [h["command"] for group in groups for h in group.get("hooks", [])]

    def settings(self, home=None):
        path = os.path.join(home or self.home, ".claude", "settings.json")
        with open(path, encoding="utf-8") as f:
            return json.load(f)

    def start_app(self, policy, wait_ms=None):
        if self.responder:
            self.responder.stop()
        log = os.path.join(self.root, "app-%s.jsonl" % policy)
        self.responder = Responder(self.home, policy, log, wait_ms)
        return self.responder

    def run_claude(self, script, home=None, prompt="Please do the task."):
        workdir = tempfile.mkdtemp(prefix="standin-", dir=self.root)
        with claude_env.StandIn(script, workdir) as api:
            run = claude_env.run_claude(home or self.home, self.project, api.port, prompt)
            self.assertEqual(run.returncode, 0, run.describe())
            self.assertIsNotNone(run.result, run.describe())
            # Whatever happened to the app, the hook itself never failed in Claude Code's eyes.
            self.assertEqual(claude_env.hook_errors(home or self.home, self.project,
                                                    run.result["session_id"]), [])
            return run, api.tool_results()

    def assert_as_without_hooks(self, runs, script):
        """Each (run, tool results) came out as the same script does in a home without hooks."""
        plain_home = self.make_home("plain-home", install_hooks=False)
        plain, plain_results = self.run_claude(script, home=plain_home)
        for run, results in runs:
            self.assertEqual(run.result["result"], plain.result["result"])
            self.assertEqual(run.denied_tools(), plain.denied_tools())
            self.assertEqual([(r["is_error"], r["text"]) for r in results],
                             [(r["is_error"], r["text"]) for r in plain_results])
        return plain

    def start_interactive_claude(self, api, prompt):
        """Claude Code in tmux, asking in its terminal as a user would see it. Returns the tmux
        command prefix and a function that reads the screen."""
        tmux = ["tmux", "-S", os.path.join(self.root, "tmux.sock")]
        self.addCleanup(subprocess.run, tmux + ["kill-server"], capture_output=True)
        subprocess.run(tmux + ["new-session", "-d", "-x", "160", "-y", "45", "-c", self.project,
                               claude_env.claude_binary(), "--permission-mode", "default", prompt],
                       env=claude_env.claude_environment(self.home, api.port), check=True,
                       timeout=30)

        def screen():
            return subprocess.run(tmux + ["capture-pane", "-p"], capture_output=True, text=True,
                                  timeout=30).stdout

        return tmux, screen

    def project_file(self, name):
        return os.path.exists(os.path.join(self.project, name))

    def assert_finished_in_store(self, run):
        """The stop event left the session idle and just finished, with the right cwd."""
        session_id = run.result["session_id"]
        app = self.responder
        session = wait_until(lambda: app.first_stopped(session_id))
        self.assertIsNotNone(session, app.lines())
        self.assertEqual(session["cwd"], self.project)
        self.assertEqual(session["status"], "idle")
        self.assertTrue(session["justFinished"])
        self.assertEqual(app.events(session_id)[-1], ("stop", ""))
        return session

    def answer_a_question_in_the_app(self):
        """A question (interactive only: print mode has no AskUserQuestion) answered in the app:
        Claude Code takes the picked choice as the user's answer and asks nothing itself."""
        app = self.start_app("pick")
        workdir = tempfile.mkdtemp(prefix="standin-", dir=self.root)
        with claude_env.StandIn(ASK_COLOUR, workdir) as api:
            _, screen = self.start_interactive_claude(api, "Please ask me.")
            self.assertTrue(wait_until(lambda: api.tool_results(), 90), screen())
            results = api.tool_results()
            self.assertEqual(len(results), 1, results)
            self.assertFalse(results[0]["is_error"], results)
            self.assertIn("Blue", results[0]["text"])
            self.assertNotIn("Red", results[0]["text"])
            prompts = app.lines("prompt")
            self.assertEqual(len(prompts), 1, app.lines())
            self.assertEqual(prompts[0]["session"]["promptTool"], "AskUserQuestion")
            session_id = prompts[0]["session"]["sessionId"]
            self.assertEqual(claude_env.hook_errors(self.home, self.project, session_id), [])


class ClaudeCodeTest(E2ECase):
    def test_approve_runs_the_tool(self):
        app = self.start_app("approve")
        run, results = self.run_claude(ONE_TOUCH)

        self.assertTrue(self.project_file("done.txt"), run.describe())
        self.assertEqual(run.denied_tools(), [])
        self.assertEqual([r["is_error"] for r in results], [False], results)

        prompts = app.lines("prompt")
        self.assertEqual(len(prompts), 1, app.lines())
        self.assertEqual(prompts[0]["session"]["sessionId"], run.result["session_id"])
        self.assertEqual(prompts[0]["session"]["promptTool"], "Bash")
        self.assertEqual(json.loads(prompts[0]["session"]["promptInput"])["command"],
                         "touch done.txt")
        session = self.assert_finished_in_store(run)
        self.assertEqual(app.events(run.result["session_id"]),
                         [("permissionRequest", "Bash"), ("stop", "")])
        # The hook found its claude process by walking up from itself.
        self.assertEqual(session.get("claudePid"), run.pid)

    def test_a_choice_picked_in_the_app_answers_the_question(self):
        self.answer_a_question_in_the_app()

    def test_a_choice_typed_into_its_tmux_pane_answers_the_question(self):
        """Typing from the notch without the app's answer: the option's digit and Return, sent
        by the focus code into the pane where Claude Code asks, answer as the user's keys do."""
        probe = os.environ.get("HOLLOWMERE_FOCUS_PROBE", "")
        self.assertTrue(os.access(probe, os.X_OK), "focus_probe is not built")
        workdir = tempfile.mkdtemp(prefix="standin-", dir=self.root)
        with claude_env.StandIn(ASK_COLOUR, workdir) as api:
            tmux, screen = self.start_interactive_claude(api, "Please ask me.")
            self.assertTrue(wait_until(lambda: "Blue" in screen(), 90), screen())
            claude_pid = subprocess.run(tmux + ["list-panes", "-F", "#{pane_pid}"],
                                        capture_output=True, text=True, timeout=30).stdout
            sent = subprocess.run([probe, "send", "2\\r", "--claude-pid", claude_pid.strip(),
                                   "--cwd", self.project], capture_output=True, text=True,
                                  timeout=60)
            self.assertEqual(json.loads(sent.stdout), {"delivery": "tmux"}, sent.stderr)
            self.assertTrue(wait_until(lambda: api.tool_results(), 60), screen())
            results = api.tool_results()
            self.assertEqual(len(results), 1, results)
            self.assertIn("Blue", results[0]["text"])
            self.assertNotIn("Red", results[0]["text"])

    def test_deny_blocks_the_tool_and_tells_the_model(self):
        app = self.start_app("deny")
        run, results = self.run_claude(ONE_TOUCH)

        self.assertFalse(self.project_file("done.txt"))
        self.assertEqual(run.denied_tools(), ["Bash"])
        self.assertEqual(len(results), 1, results)
        self.assertTrue(results[0]["is_error"])
        self.assertIn("User denied", results[0]["text"])
        self.assertEqual(len(app.lines("prompt")), 1)
        self.assert_finished_in_store(run)

    def test_always_writes_a_rule_and_the_next_request_needs_no_prompt(self):
        app = self.start_app("always")
        script = [
            [{"type": "tool_use", "name": "Bash",
              "input": {"command": "touch first.txt", "description": "Create first.txt"}}],
            [{"type": "tool_use", "name": "Bash",
              "input": {"command": "touch  second.txt", "description": "Create second.txt"}}],
            [{"type": "text", "text": "Both made."}],
        ]
        run, results = self.run_claude(script)

        self.assertTrue(self.project_file("first.txt"), run.describe())
        self.assertTrue(self.project_file("second.txt"), run.describe())
        self.assertEqual([r["is_error"] for r in results], [False, False], results)
        self.assertIn("Bash(touch:*)", self.settings()["permissions"]["allow"])
        # Both requests reached the store; only the first became a prompt.
        session_id = run.result["session_id"]
        self.assertEqual(len(app.lines("prompt")), 1, app.lines())
        self.assertEqual(app.events(session_id),
                         [("permissionRequest", "Bash"), ("permissionRequest", "Bash"),
                          ("stop", "")])
        self.assert_finished_in_store(run)
        # The installer's entries survived the rule being added.
        self.assertIn("PreToolUse", self.settings()["hooks"])

    def test_no_answer_passes_through_after_the_wait(self):
        app = self.start_app("none")
        run, results = self.run_claude(ONE_TOUCH)

        # Claude Code fell back to its own behaviour: in print mode it denies the tool itself.
        self.assertGreaterEqual(run.elapsed, PASSTHROUGH_AFTER, run.describe())
        self.assertFalse(self.project_file("done.txt"))
        self.assertEqual(run.denied_tools(), ["Bash"])
        self.assertNotIn("hook", results[0]["text"].lower(), results)
        self.assertNotIn("User denied", results[0]["text"])
        # The prompt waited unanswered until Claude Code moved on; its stop then ended the wait.
        self.assertEqual(len(app.lines("prompt")), 1)
        self.assert_finished_in_store(run)

    def test_no_answer_lets_the_terminal_ask(self):
        """Interactively, passthrough means Claude Code shows its own question in the terminal
        (and says so through the Notification hook); answering there runs the tool. The
        server's wait is shortened here: the case above waits out the real one."""
        app = self.start_app("none", wait_ms=3000)
        workdir = tempfile.mkdtemp(prefix="standin-", dir=self.root)
        with claude_env.StandIn(ONE_TOUCH, workdir) as api:
            start = time.monotonic()
            tmux, screen = self.start_interactive_claude(api, "Please do the task.")
            self.assertTrue(wait_until(lambda: "Do you want to proceed?" in screen(), 90),
                            screen())
            self.assertGreaterEqual(time.monotonic() - start, 3)
            self.assertEqual(len(app.lines("prompt")), 1, app.lines())
            session_id = app.lines("prompt")[0]["session"]["sessionId"]
            self.assertTrue(wait_until(
                lambda: ("notification", "") in app.events(session_id), 60), app.lines())
            notification = [e for e in app.lines("event") if e["kind"] == "notification"][0]
            self.assertEqual(notification["summary"], "Claude needs your permission")

            subprocess.run(tmux + ["send-keys", "1"], check=True, timeout=30)
            self.assertTrue(wait_until(lambda: self.project_file("done.txt"), 60), screen())
            self.assertTrue(wait_until(lambda: app.first_stopped(session_id), 60), app.lines())
            self.assertEqual(app.events(session_id),
                             [("permissionRequest", "Bash"), ("notification", ""),
                              ("stop", "")])
            self.assertEqual(app.session(session_id)["status"], "idle")
            self.assertEqual([r["is_error"] for r in api.tool_results()], [False])
            self.assertEqual(claude_env.hook_errors(self.home, self.project, session_id), [])

    def test_an_app_that_dies_mid_prompt_leaves_claude_code_as_without_hooks(self):
        app = self.start_app("crash")
        crashed, crashed_results = self.run_claude(ONE_TOUCH)
        self.assertTrue(wait_until(lambda: app.process.poll() is not None))
        self.assertEqual(len(app.lines("prompt")), 1)
        self.assertTrue(os.path.exists(SOCKET), "the dead app's socket file should remain")
        # Nobody listens on the stale socket file now.
        stale, stale_results = self.run_claude(ONE_TOUCH)
        self.assert_as_without_hooks([(crashed, crashed_results), (stale, stale_results)],
                                     ONE_TOUCH)
        self.assertFalse(self.project_file("done.txt"))
        # The hook saw the connection close; it did not sit out the server's wait.
        self.assertLess(crashed.elapsed, PASSTHROUGH_AFTER, crashed.describe())

    def test_without_the_app_claude_code_behaves_as_without_hooks(self):
        scripts = {
            "deny": ONE_TOUCH,
            "read": [[{"type": "tool_use", "name": "Read",
                       "input": {"file_path": os.path.join(self.project, "notes.txt")}}],
                     [{"type": "text", "text": "Read it."}]],
        }
        with open(os.path.join(self.project, "notes.txt"), "w", encoding="utf-8") as f:
            f.write("hello from the notes\n")
        for name, script in scripts.items():
            with self.subTest(name):
                hooked, hooked_results = self.run_claude(script)
                self.assert_as_without_hooks([(hooked, hooked_results)], script)
                self.assertFalse(self.project_file("done.txt"))
                # The hook did run, and Claude Code saw no error from it.
                stops = [line for line in claude_env.transcript_lines(
                    self.home, self.project, hooked.result["session_id"])
                    if line.get("subtype") == "stop_hook_summary"]
                self.assertEqual(len(stops), 1)
                self.assertEqual([h["command"] for h in stops[0]["hookInfos"]], [HOOK])
                self.assertEqual(stops[0]["hookErrors"], [])
        self.assertFalse(os.path.exists(SOCKET))


# A user's own PermissionRequest hook: it only notes that it ran and has no opinion.
USER_HOOK = 'cat > /dev/null; echo ran >> "$HOME/user-hook.log"'
READ_THEN_WRITE = [
    [{"type": "tool_use", "name": "Read", "input": {"file_path": "NOTES"}}],
    [{"type": "tool_use", "name": "Bash",
      "input": {"command": "touch written.txt", "description": "Create written.txt"}}],
    [{"type": "text", "text": "Done."}],
]


class ClaudeAsksTest(E2ECase):
    """`hooks ask-when claude-asks`: the managed entry on PermissionRequest, so only what Claude
    Code would ask about itself reaches the app."""

    def setUp(self):
        super().setUp()
        user_entry = {"hooks": [{"type": "command", "command": USER_HOOK}]}
        self.home = self.make_home("asks-home", install_hooks=True,
                                   settings={"hooks": {"PermissionRequest": [user_entry]}})
        self.user_entry = user_entry
        with open(os.path.join(self.project, "NOTES"), "w", encoding="utf-8") as f:
            f.write("nothing to see\n")
        choice = self.hollowmere(self.home, "hooks", "ask-when", "claude-asks")
        self.assertEqual(choice.returncode, 0, choice.stdout + choice.stderr)
        # Moved at once: the user's entry first and unchanged, nothing of ours before the tool.
        self.assertEqual(self.settings()["hooks"]["PermissionRequest"][0], user_entry)
        self.assertEqual(self.hook_commands("PermissionRequest"), [USER_HOOK, HOOK])
        self.assertNotIn("PreToolUse", self.settings()["hooks"])

    def script(self):
        """READ_THEN_WRITE with the file's real path."""
        script = json.loads(json.dumps(READ_THEN_WRITE))
        script[0][0]["input"]["file_path"] = os.path.join(self.project, "NOTES")
        return script

    def user_hook_runs(self):
        path = os.path.join(self.home, "user-hook.log")
        if not os.path.exists(path):
            return 0
        with open(path, encoding="utf-8") as f:
            return len(f.read().split())

    def test_claude_asks_a_read_skips_the_app_and_an_approved_write_runs(self):
        app = self.start_app("approve")
        run, results = self.run_claude(self.script())

        self.assertTrue(self.project_file("written.txt"), run.describe())
        self.assertEqual(run.denied_tools(), [])
        self.assertEqual([r["is_error"] for r in results], [False, False], results)
        self.assertIn("nothing to see", results[0]["text"])
        # The Read never reached the app; the write did, once, as a permission request.
        session_id = run.result["session_id"]
        self.assert_finished_in_store(run)
        self.assertEqual(app.events(session_id), [("permissionRequest", "Bash"), ("stop", "")])
        self.assertEqual(len(app.lines("prompt")), 1)
        self.assertEqual(json.loads(app.lines("prompt")[0]["session"]["promptInput"])["command"],
                         "touch written.txt")
        # The user's own hook ran beside ours.
        self.assertEqual(self.user_hook_runs(), 1)

    def test_claude_asks_deny_tells_the_model_user_denied(self):
        app = self.start_app("deny")
        run, results = self.run_claude(self.script())

        self.assertFalse(self.project_file("written.txt"))
        self.assertEqual(run.denied_tools(), ["Bash"])
        self.assertEqual(results[1], {"tool_use_id": results[1]["tool_use_id"], "is_error": True,
                                      "text": "User denied"})
        self.assertEqual(len(app.lines("prompt")), 1)

    def test_claude_asks_no_answer_or_no_app_leaves_it_to_claude_code(self):
        # Nobody answers: after the (shortened) wait, Claude Code refuses by itself.
        app = self.start_app("none", wait_ms=2000)
        unanswered, unanswered_results = self.run_claude(self.script())
        self.assertEqual(len(app.lines("prompt")), 1)
        app.stop()
        self.responder = None
        os.remove(SOCKET)  # a terminated app leaves it; no app at all is the case here
        alone, alone_results = self.run_claude(self.script())

        plain = self.assert_as_without_hooks(
            [(unanswered, unanswered_results), (alone, alone_results)], self.script())
        self.assertEqual(plain.denied_tools(), ["Bash"])
        self.assertFalse(self.project_file("written.txt"))

    def test_switching_back_to_every_tool_brings_the_read_to_the_app(self):
        choice = self.hollowmere(self.home, "hooks", "ask-when", "every-tool")
        self.assertEqual(choice.returncode, 0, choice.stdout + choice.stderr)
        self.assertEqual(self.hook_commands("PreToolUse"), [HOOK])
        self.assertEqual(self.settings()["hooks"]["PermissionRequest"], [self.user_entry])

        app = self.start_app("approve")
        run, results = self.run_claude(self.script())
        self.assertTrue(self.project_file("written.txt"), run.describe())
        session_id = run.result["session_id"]
        self.assert_finished_in_store(run)
        self.assertEqual(app.events(session_id), [("permissionRequest", "Read"),
                                                  ("permissionRequest", "Bash"), ("stop", "")])
        # Approved before Claude Code would ask: its PermissionRequest, the user's hook, never fired.
        self.assertEqual(self.user_hook_runs(), 0)

    def test_claude_asks_a_choice_picked_in_the_app_answers_the_question(self):
        """PermissionRequest's updatedInput carries the picked choice as the answer."""
        self.answer_a_question_in_the_app()


if __name__ == "__main__":
    unittest.main(verbosity=2)
