#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# The whole hook path with the real Claude Code: hooks installed by `hollowmere hooks install`
# into a temporary HOME, Claude Code against the scripted stand-in model API, prompts answered by
# the real HookServer and SessionStore (e2e_responder). One case per process, inside
# tests/support/isolated.sh (the socket is the real /tmp/hollowmere.sock):
#     test_claude_code.py ClaudeCodeTest.test_approve_deny_and_always
# Needs HOLLOWMERE_BIN_DIR and HOLLOWMERE_E2E_RESPONDER.

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import claude_env  # noqa: E402
from claude_env import Responder, wait_until  # noqa: E402

BIN_DIR = os.environ.get("HOLLOWMERE_BIN_DIR", "")
HOOK = os.path.join(BIN_DIR, "hollowmere-hook")
SOCKET = "/tmp/hollowmere.sock"
PASSTHROUGH_AFTER = 25.0  # seconds the server waits for an answer


def bash(command):
    return [{"type": "tool_use", "name": "Bash",
             "input": {"command": command, "description": "Run " + command}}]


def text(words):
    return [{"type": "text", "text": words}]


ONE_TOUCH = [bash("touch done.txt"), text("All done.")]
COLOUR_QUESTION = {"question": "Which colour should the file be?", "header": "Colour",
                   "multiSelect": False,
                   "options": [{"label": "Red", "description": "warm"},
                               {"label": "Blue", "description": "cool"}]}
ASK_COLOUR = [
    [{"type": "tool_use", "name": "AskUserQuestion", "input": {"questions": [COLOUR_QUESTION]}}],
    text("Blue it is."),
]


class E2ECase(unittest.TestCase):
    # A temporary HOME with our hooks installed and a project.

    def setUp(self):
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
        if install_hooks:  # each run's events in the app prove the entries are there
            self.hollowmere(home, "hooks", "install")
        return home

    def hollowmere(self, home, *args):
        env = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"))
        done = subprocess.run([os.path.join(BIN_DIR, "hollowmere"), *args], env=env,
                              capture_output=True, text=True, timeout=30)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def hook_commands(self, event, home=None):
        groups = self.settings(home).get("hooks", {}).get(event, [])
        return [h["command"] for group in groups for h in group.get("hooks", [])]

    def settings(self, home=None):
        with open(os.path.join(home or self.home, ".claude", "settings.json")) as f:
            return json.load(f)

    def start_app(self, policy, wait_ms=None):
        if self.responder:
            self.responder.stop()
        self.responder = Responder(self.home, policy,
                                   os.path.join(self.root, "app-%s.jsonl" % policy), wait_ms)
        return self.responder

    def stand_in(self, script):
        return claude_env.StandIn(script, tempfile.mkdtemp(prefix="standin-", dir=self.root))

    def run_claude(self, script, home=None, prompt="Please do the task."):
        with self.stand_in(script) as api:
            run = claude_env.run_claude(home or self.home, self.project, api.port, prompt)
            self.assertEqual(run.returncode, 0, run.describe())
            self.assertIsNotNone(run.result, run.describe())
            # Whatever happened to the app, the hook itself never failed in Claude Code's eyes.
            self.assertEqual(claude_env.hook_errors(home or self.home, self.project,
                                                    run.result["session_id"]), [])
            return run, api.tool_results()

    def assert_as_without_hooks(self, runs, script):
        plain, plain_results = self.run_claude(script, home=self.make_home("plain", False))
        for run, results in runs:
            self.assertEqual(run.result["result"], plain.result["result"])
            self.assertEqual(run.denied_tools(), plain.denied_tools())
            self.assertEqual([(r["is_error"], r["text"]) for r in results],
                             [(r["is_error"], r["text"]) for r in plain_results])
        return plain

    def interactive_claude(self, api, prompt):
        self.addCleanup(subprocess.run, ["tmux", "-S", os.path.join(self.root, "tmux.sock"),
                                         "kill-server"], capture_output=True)
        return claude_env.start_tmux(self.root, self.home, self.project, api.port,
                                     "--permission-mode", "default", prompt)

    def project_file(self, name):
        return os.path.exists(os.path.join(self.project, name))

    def assert_finished_in_store(self, run, events):
        session_id = run.result["session_id"]
        session = wait_until(lambda: self.responder.session(session_id, first_stopped=True))
        self.assertIsNotNone(session, self.responder.lines())
        self.assertEqual((session["cwd"], session["status"], session["justFinished"]),
                         (self.project, "idle", True))
        self.assertEqual(self.responder.events(session_id), events)
        return session

    def prompts(self):
        return [p["session"] for p in self.responder.lines("prompt")]

    def answer_a_question_in_the_app(self):
        # Interactive: print mode has no AskUserQuestion. The picked choice is the user's answer.
        self.start_app("pick")
        with self.stand_in(ASK_COLOUR) as api:
            _, screen = self.interactive_claude(api, "Please ask me.")
            self.assertTrue(wait_until(api.tool_results, 90), screen())
            [result] = api.tool_results()
            self.assertFalse(result["is_error"], result)
            self.assertIn("Blue", result["text"])
            self.assertNotIn("Red", result["text"])
            [prompt] = self.prompts()
            self.assertEqual(prompt["promptTool"], "AskUserQuestion")
            self.assertEqual(claude_env.hook_errors(self.home, self.project,
                                                    prompt["sessionId"]), [])


class ClaudeCodeTest(E2ECase):
    def test_approve_deny_and_always(self):
        self.start_app("approve,deny,always")
        run, results = self.run_claude([bash("touch approved.txt"), bash("touch denied.txt"),
                                        bash("touch first.txt"), bash("touch  second.txt"),
                                        text("All tried.")])
        self.assertEqual([self.project_file(f) for f in
                          ("approved.txt", "denied.txt", "first.txt", "second.txt")],
                         [True, False, True, True], run.describe())
        self.assertEqual(run.denied_tools(), ["Bash"])
        self.assertEqual([r["is_error"] for r in results], [False, True, False, False], results)
        self.assertIn("User denied", results[1]["text"])
        self.assertIn("Bash(touch:*)", self.settings()["permissions"]["allow"])
        self.assertIn("PreToolUse", self.settings()["hooks"])  # survived the rule being added

        # All four requests reached the store; the one after Always became no prompt.
        prompts = self.prompts()
        self.assertEqual([json.loads(p["promptInput"])["command"] for p in prompts],
                         ["touch approved.txt", "touch denied.txt", "touch first.txt"])
        self.assertEqual({(p["sessionId"], p["promptTool"]) for p in prompts},
                         {(run.result["session_id"], "Bash")})
        session = self.assert_finished_in_store(run, [("permissionRequest", "Bash")] * 4 +
                                                [("stop", "")])
        # The hook found its claude process by walking up from itself.
        self.assertEqual(session.get("claudePid"), run.pid)

    def test_a_choice_picked_in_the_app_answers_the_question(self):
        self.answer_a_question_in_the_app()

    def test_no_answer_passes_through_after_the_wait(self):
        # The real wait: the hook must outwait the server's 25 s, which nothing shorter shows.
        self.start_app("none")
        run, results = self.run_claude(ONE_TOUCH)
        # Claude Code fell back to its own behaviour: in print mode it denies the tool itself.
        self.assertGreaterEqual(run.elapsed, PASSTHROUGH_AFTER, run.describe())
        self.assertFalse(self.project_file("done.txt"))
        self.assertEqual(run.denied_tools(), ["Bash"])
        self.assertNotIn("hook", results[0]["text"].lower(), results)
        self.assertNotIn("User denied", results[0]["text"])
        # The prompt waited unanswered until Claude Code moved on; its stop then ended the wait.
        self.assertEqual(len(self.prompts()), 1)
        self.assert_finished_in_store(run, [("permissionRequest", "Bash"), ("stop", "")])

    def test_no_answer_lets_the_terminal_ask(self):
        # Interactively, passthrough means Claude Code asks in the terminal (and, for a tool,
        # says so through the Notification hook): the digit and Return the focus code sends into
        # the pane answer the question as the user's keys do, and a key approves the tool.
        app = self.start_app("none", wait_ms=3000)
        probe = os.environ.get("HOLLOWMERE_FOCUS_PROBE", "")
        with self.stand_in(ASK_COLOUR[:1] + ONE_TOUCH) as api:
            start = time.monotonic()
            tmux, screen = self.interactive_claude(api, "Please do the task.")
            self.assertTrue(wait_until(lambda: "Blue" in screen(), 90), screen())
            self.assertGreaterEqual(time.monotonic() - start, 3)
            pane = subprocess.run(tmux + ["list-panes", "-F", "#{pane_pid}"],
                                  capture_output=True, text=True, timeout=30).stdout.strip()
            sent = subprocess.run([probe, "send", "2\\r", "--claude-pid", pane, "--cwd",
                                   self.project], capture_output=True, text=True, timeout=60)
            self.assertEqual(json.loads(sent.stdout), {"delivery": "tmux"}, sent.stderr)
            self.assertTrue(wait_until(api.tool_results, 60), screen())
            self.assertIn("Blue", api.tool_results()[0]["text"])
            self.assertNotIn("Red", api.tool_results()[0]["text"])

            self.assertTrue(wait_until(lambda: "Do you want to proceed?" in screen(), 90),
                            screen())
            session_id = self.prompts()[0]["sessionId"]
            self.assertTrue(wait_until(
                lambda: ("notification", "") in app.events(session_id), 60), app.lines())
            notification = [e for e in app.lines("event") if e["kind"] == "notification"][0]
            self.assertEqual(notification["summary"], "Claude needs your permission")
            subprocess.run(tmux + ["send-keys", "1"], check=True, timeout=30)
            self.assertTrue(wait_until(lambda: self.project_file("done.txt"), 60), screen())
            self.assertTrue(wait_until(lambda: app.session(session_id, True), 60), app.lines())
            self.assertEqual(app.events(session_id), [
                ("permissionRequest", "AskUserQuestion"), ("permissionRequest", "Bash"),
                ("notification", ""), ("stop", "")])
            self.assertEqual(app.session(session_id)["status"], "idle")
            self.assertEqual([r["is_error"] for r in api.tool_results()], [False, False])
            self.assertEqual(claude_env.hook_errors(self.home, self.project, session_id), [])

    def test_without_a_listening_app_claude_code_behaves_as_without_hooks(self):
        # No app, an app that dies mid-prompt, and the socket file it left: each run ends as in
        # a home without hooks, and the hook ran without an error every time.
        with open(os.path.join(self.project, "notes.txt"), "w", encoding="utf-8") as f:
            f.write("hello from the notes\n")
        script = [[{"type": "tool_use", "name": "Read",
                    "input": {"file_path": os.path.join(self.project, "notes.txt")}}]] + ONE_TOUCH
        alone = self.run_claude(script)
        stops = [line for line in claude_env.transcript_lines(
            self.home, self.project, alone[0].result["session_id"])
            if line.get("subtype") == "stop_hook_summary"]
        self.assertEqual([([h["command"] for h in s["hookInfos"]], s["hookErrors"])
                          for s in stops], [([HOOK], [])])
        self.assertFalse(os.path.exists(SOCKET))

        app = self.start_app("crash")
        crashed = self.run_claude(script)
        self.assertTrue(wait_until(lambda: app.process.poll() is not None))
        self.assertEqual(len(self.prompts()), 1)
        self.assertTrue(os.path.exists(SOCKET), "the dead app's socket file should remain")
        # The hook saw the connection close; it did not sit out the server's wait.
        self.assertLess(crashed[0].elapsed, PASSTHROUGH_AFTER, crashed[0].describe())
        stale = self.run_claude(script)  # nobody listens on the socket file now
        self.assert_as_without_hooks([alone, crashed, stale], script)
        self.assertFalse(self.project_file("done.txt"))


# A user's own PermissionRequest hook: it only notes that it ran and has no opinion.
USER_HOOK = 'cat > /dev/null; echo ran >> "$HOME/user-hook.log"'


class ClaudeAsksTest(E2ECase):
    # `hooks ask-when claude-asks`: only what Claude Code would ask about reaches the app.

    def setUp(self):
        super().setUp()
        self.user_entry = {"hooks": [{"type": "command", "command": USER_HOOK}]}
        self.home = self.make_home("asks-home", install_hooks=True,
                                   settings={"hooks": {"PermissionRequest": [self.user_entry]}})
        with open(os.path.join(self.project, "NOTES"), "w", encoding="utf-8") as f:
            f.write("nothing to see\n")
        self.hollowmere(self.home, "hooks", "ask-when", "claude-asks")
        # Moved at once: the user's entry first and unchanged, nothing of ours before the tool.
        self.assertEqual(self.settings()["hooks"]["PermissionRequest"][0], self.user_entry)
        self.assertEqual(self.hook_commands("PermissionRequest"), [USER_HOOK, HOOK])
        self.assertNotIn("PreToolUse", self.settings()["hooks"])
        self.script = [[{"type": "tool_use", "name": "Read",
                         "input": {"file_path": os.path.join(self.project, "NOTES")}}],
                       bash("touch written.txt"), bash("touch refused.txt"), text("Done.")]

    def user_hook_runs(self):
        path = os.path.join(self.home, "user-hook.log")
        return len(Path(path).read_text().split()) if os.path.exists(path) else 0

    def test_claude_asks_then_every_tool(self):
        self.start_app("approve,deny")
        run, results = self.run_claude(self.script)
        self.assertTrue(self.project_file("written.txt"), run.describe())
        self.assertFalse(self.project_file("refused.txt"))
        self.assertEqual(run.denied_tools(), ["Bash"])
        self.assertEqual([r["is_error"] for r in results], [False, False, True], results)
        self.assertIn("nothing to see", results[0]["text"])
        self.assertEqual(results[2]["text"], "User denied")
        # The Read never reached the app; each write did, as a permission request.
        self.assert_finished_in_store(run, [("permissionRequest", "Bash")] * 2 + [("stop", "")])
        self.assertEqual([json.loads(p["promptInput"])["command"] for p in self.prompts()],
                         ["touch written.txt", "touch refused.txt"])
        self.assertEqual(self.user_hook_runs(), 2)  # the user's own hook ran beside ours

        # Back to every tool: the Read reaches the app too, approved before Claude Code would
        # ask, so its PermissionRequest, the user's hook, never fires again.
        self.hollowmere(self.home, "hooks", "ask-when", "every-tool")
        self.assertEqual(self.hook_commands("PreToolUse"), [HOOK])
        self.assertEqual(self.settings()["hooks"]["PermissionRequest"], [self.user_entry])
        self.start_app("approve")
        run, _ = self.run_claude(self.script)
        self.assertTrue(self.project_file("refused.txt"), run.describe())
        self.assert_finished_in_store(run, [("permissionRequest", "Read")] +
                                      [("permissionRequest", "Bash")] * 2 + [("stop", "")])
        self.assertEqual(self.user_hook_runs(), 2)

    def test_claude_asks_no_answer_leaves_it_to_claude_code(self):
        # Nobody answers: after the (shortened) wait, Claude Code refuses by itself. (No app at
        # all is the same path of the hook as in every-tool mode.)
        self.start_app("none", wait_ms=2000)
        unanswered = self.run_claude(self.script)
        self.assertEqual(len(self.prompts()), 2)
        plain = self.assert_as_without_hooks([unanswered], self.script)
        self.assertEqual(plain.denied_tools(), ["Bash", "Bash"])
        self.assertFalse(self.project_file("written.txt"))

    def test_claude_asks_a_choice_picked_in_the_app_answers_the_question(self):
        # PermissionRequest's updatedInput carries the picked choice.
        self.answer_a_question_in_the_app()


if __name__ == "__main__":
    unittest.main(verbosity=2)
