#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Runs a host, tells it of a node over its socket as a management server does, and looks at the answer: ask_host.py HOST"""
import json
import pathlib
import socket
import subprocess
import sys
import tempfile
import time

DEADLINE_SECONDS = 20


def connect(path):
    deadline = time.monotonic() + DEADLINE_SECONDS
    while True:
        server = socket.socket(socket.AF_UNIX)
        server.settimeout(DEADLINE_SECONDS)
        try:
            server.connect(str(path))
            return server
        except (FileNotFoundError, ConnectionRefusedError):
            server.close()
            if time.monotonic() > deadline:
                raise
            time.sleep(0.02)


def ask(path, request):
    with connect(path) as server:
        server.sendall(json.dumps(request).encode() + b"\n")
        return json.loads(server.makefile().readline())


with tempfile.TemporaryDirectory() as folder:
    path = pathlib.Path(folder) / "link"
    host = subprocess.Popen([sys.argv[1], path])
    try:
        node = {"physicalAddress": "02:00:5E:00:00:05", "ipAddress": "192.0.2.5", "model": "X 1"}
        request = {"kind": "request", "service": "discovery", "name": "syncNodes", "id": 7, "nodes": [node]}
        answer = ask(path, request)
        known = [{member: found.get(member) for member in node} for found in answer.pop("nodes")]
        assert known == [node], known
        assert answer == {"kind": "ack", "service": "discovery", "name": "syncNodes", "id": 7}, answer
        host.terminate()
        assert host.wait(DEADLINE_SECONDS) == 0, host.returncode
    finally:
        host.kill()
print("ok: a host answers")
