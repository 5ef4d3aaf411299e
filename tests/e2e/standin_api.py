#!/usr/bin/python3
# SPDX-License-Identifier: MIT
# A scripted stand-in for the model API, for running the real Claude Code offline.
#     standin_api.py --script SCRIPT.json --port-file FILE [--log REQUESTS.jsonl]
# The script is a list of turns, or {"conversations": [{"prompt_contains", "turns"}...], "turns"}
# where the first conversation whose text is in the first user message wins. A turn is a list of
# text and tool_use blocks; the turn answered is the number of assistant messages in the request,
# so a retry gets the same answer. Past the last turn, and for requests without tools (titles),
# the answer is a short end_turn text. Every request is logged as {"method", "path", "body"}.

import argparse
import itertools
import json
import os
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

DONE_TEXT = "Done."


def first_user_text(messages):
    content = next((m.get("content") for m in messages if m.get("role") == "user"), "")
    if isinstance(content, list):
        return "\n".join(b.get("text", "") for b in content if isinstance(b, dict))
    return content if isinstance(content, str) else ""


class Script:
    def __init__(self, data):
        if isinstance(data, list):
            data = {"turns": data}
        self.conversations = data.get("conversations", [])
        self.fallback = data.get("turns", [])

    def blocks_for(self, body):
        messages = body.get("messages") or []
        prompt = first_user_text(messages)
        turns = next((c.get("turns", []) for c in self.conversations
                      if c.get("prompt_contains", "") in prompt), self.fallback)
        turn = sum(1 for m in messages if m.get("role") == "assistant")
        if body.get("tools") and turn < len(turns):
            return turns[turn]
        return [{"type": "text", "text": DONE_TEXT}]


class StandIn(ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, address, script, log_path):
        super().__init__(address, Handler)
        self.script = script
        self.log_path = log_path
        self.log_lock = threading.Lock()
        self.ids = itertools.count(1)

    def log_request_body(self, method, path, body):
        if self.log_path:
            with self.log_lock, open(self.log_path, "a", encoding="utf-8") as f:
                f.write(json.dumps({"method": method, "path": path, "body": body}) + "\n")

    def next_id(self, prefix):
        return "%s_standin%06d" % (prefix, next(self.ids))


def usage(output_tokens=0):
    return {"input_tokens": 10, "output_tokens": output_tokens,
            "cache_creation_input_tokens": 0, "cache_read_input_tokens": 0}


def materialise(server, blocks):
    content = []
    for block in blocks:
        if block.get("type") == "tool_use":
            content.append({"type": "tool_use", "id": block.get("id") or server.next_id("toolu"),
                            "name": block["name"], "input": block.get("input", {})})
        else:
            content.append({"type": "text", "text": block.get("text", "")})
    stop = "tool_use" if any(b["type"] == "tool_use" for b in content) else "end_turn"
    return content, stop


def sse(event, data):
    return ("event: %s\ndata: %s\n\n" % (event, json.dumps(data))).encode("utf-8")


def stream_events(message_id, model, content, stop):
    out = [sse("message_start", {"type": "message_start", "message": {
        "id": message_id, "type": "message", "role": "assistant", "model": model,
        "content": [], "stop_reason": None, "stop_sequence": None, "usage": usage(1)}})]
    for index, block in enumerate(content):
        tool = block["type"] == "tool_use"
        start = dict(block, input={}) if tool else {"type": "text", "text": ""}
        delta = {"type": "input_json_delta", "partial_json": json.dumps(block["input"])} if tool \
            else {"type": "text_delta", "text": block["text"]}
        for kind, extra in (("content_block_start", {"content_block": start}),
                            ("content_block_delta", {"delta": delta}), ("content_block_stop", {})):
            out.append(sse(kind, dict(type=kind, index=index, **extra)))
    out.append(sse("message_delta", {"type": "message_delta",
                                     "delta": {"stop_reason": stop, "stop_sequence": None},
                                     "usage": {"output_tokens": 5}}))
    out.append(sse("message_stop", {"type": "message_stop"}))
    return b"".join(out)


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, fmt, *args):  # quiet: the request log is the record
        pass

    def read_body(self):
        length = int(self.headers.get("Content-Length") or 0)
        raw = self.rfile.read(length) if length else b""
        try:
            return json.loads(raw) if raw else None
        except ValueError:
            return raw.decode("utf-8", "replace")

    def reply(self, status, payload, content_type="application/json"):
        data = payload if isinstance(payload, bytes) else json.dumps(payload).encode("utf-8")
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(data)))
        self.send_header("request-id", self.server.next_id("req"))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(data)

    def handle_any(self):
        body = self.read_body() if self.command in ("POST", "PUT", "PATCH") else None
        self.server.log_request_body(self.command, self.path, body)
        path = self.path.split("?", 1)[0].rstrip("/")
        if self.command == "POST" and path.endswith("/v1/messages/count_tokens"):
            self.reply(200, {"input_tokens": 42})
        elif self.command == "POST" and path.endswith("/v1/messages") and isinstance(body, dict):
            self.answer_messages(body)
        else:
            self.reply(200, {})

    def answer_messages(self, body):
        content, stop = materialise(self.server, self.server.script.blocks_for(body))
        message_id = self.server.next_id("msg")
        model = body.get("model", "claude-standin")
        if body.get("stream"):
            self.reply(200, stream_events(message_id, model, content, stop), "text/event-stream")
        else:
            self.reply(200, {"id": message_id, "type": "message", "role": "assistant",
                             "model": model, "content": content, "stop_reason": stop,
                             "stop_sequence": None, "usage": usage(5)})

    do_GET = do_POST = do_PUT = do_PATCH = do_DELETE = do_HEAD = handle_any


def exit_with_parent(parent):
    # A test killed by its time-out must not leave the stand-in behind.
    while os.getppid() == parent:
        time.sleep(0.5)
    os._exit(0)


def main():
    parser = argparse.ArgumentParser(description="A scripted stand-in for the model API.")
    parser.add_argument("--script", required=True, help="JSON script of turns")
    parser.add_argument("--log", help="append every request here as JSON lines")
    parser.add_argument("--port-file", required=True, help="write the chosen port here")
    args = parser.parse_args()

    with open(args.script, encoding="utf-8") as f:
        script = Script(json.load(f))
    server = StandIn(("127.0.0.1", 0), script, args.log)
    with open(args.port_file + ".part", "w") as f:
        f.write("%d\n" % server.server_address[1])
    # Renamed into place so a reader never sees a half-written port.
    os.replace(args.port_file + ".part", args.port_file)
    threading.Thread(target=exit_with_parent, args=(os.getppid(),), daemon=True).start()
    server.serve_forever()


if __name__ == "__main__":
    main()
