#!/usr/bin/python3
"""Calls tools of a server and prints what a model reads of the answers.

Usage: ask_server.py ROOT < CALLS, one call a line: the name of a tool, and its arguments as JSON
"""

import itertools
import json
import subprocess
import sys

server = subprocess.Popen(["structure-ingest", "serve", "--root", sys.argv[1]], text=True,
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
numbers = itertools.count(1)


def send(message):
    print(json.dumps({"jsonrpc": "2.0", **message}), file=server.stdin, flush=True)


def ask(method, params):
    number = next(numbers)
    send({"id": number, "method": method, "params": params})
    for line in server.stdout:  # notices may come before the answer
        message = json.loads(line)
        if message.get("id") == number:
            return message["result"]
    sys.exit("the server has ended")


ask("initialize", {"protocolVersion": "2025-11-25", "capabilities": {},
                   "clientInfo": {"name": "ask_server", "version": "1"}})
send({"method": "notifications/initialized"})
for call in sys.stdin:
    tool, _, arguments = call.strip().partition(" ")
    answer = ask("tools/call", {"name": tool, "arguments": json.loads(arguments or "{}")})
    print(">", call.strip())
    print(("error: " if answer.get("isError") else "") + answer["content"][0]["text"])
