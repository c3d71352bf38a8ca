#!/usr/bin/python3
"""A node's web API server for tests: HTTPS, Basic credentials, the entry path /webapi, the
batch call ORVA.Entry.Request, uploads as multipart form parts, and scripted misbehaviour.

Prints "PORT <n>" once it listens. Every call it receives is appended to --log as one JSON line
before it is answered, so tests can count what the server saw.

Calls by API name (anything else succeeds and echoes the call):
  Test.Fail      {"code": n}          a well-formed failed answer with code n
  Test.IllFormed                      an answer that is not JSON
  Test.Delay     {"ms": n}            succeeds after n milliseconds
  Test.Never                          never answers (the connection stays open)
  Test.FailTimes {"key": k, "times": n}  fails the first n calls for key k, then succeeds
  Test.Status    {"status": n, "body": text}  answers with that HTTP status and body
--script FILE holds {"<api> <method>": "<raw answer text>"} and overrides all of the above.
"""
import argparse
import base64
import email.parser
import email.policy
import http.server
import json
import socket
import ssl
import sys
import threading
import time

never = threading.Event()
lock = threading.Lock()
fail_counts = {}


def parse_args():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bind", default="::1")
    parser.add_argument("--cert", required=True)
    parser.add_argument("--key", required=True)
    parser.add_argument("--cred", action="append", default=[])
    parser.add_argument("--log", required=True)
    parser.add_argument("--script")
    parser.add_argument("--delay-ms", type=int, default=0)
    return parser.parse_args()


ARGS = parse_args()


def scripted(api, method):
    if not ARGS.script:
        return None
    try:
        with open(ARGS.script) as handle:
            return json.load(handle).get(api + " " + method)
    except (OSError, ValueError):
        return None


def answer_call(call, user, uploads):
    """The answer document of one call, or None for 'never answer'."""
    api = call.get("api", "")
    method = call.get("method", "")
    params = call.get("params") or {}
    raw = scripted(api, method)
    if raw is not None:
        return raw
    if api == "Test.Fail":
        return {"success": False, "error": {"code": params.get("code", 1)}}
    if api == "Test.IllFormed":
        return "this is not json"
    if api == "Test.Delay":
        time.sleep(params.get("ms", 0) / 1000.0)
    if api == "Test.Never":
        never.wait()
        return None
    if api == "Test.Drop":  # a node that reboots on the call: read, then hang up unanswered
        return None
    if api == "Test.FailTimes":
        with lock:
            key = params.get("key", "")
            fail_counts[key] = fail_counts.get(key, 0) + 1
            if fail_counts[key] <= params.get("times", 0):
                return {"success": False, "error": {"code": 7}}
    if api == "ORVA.Entry.Request" and method == "request":
        return compound(params, user)
    return {"success": True, "data": {"api": api, "method": method,
                                      "version": call.get("version"), "params": params,
                                      "user": user, "uploads": uploads}}


def compound(params, user):
    results = []
    has_fail = False
    for sub in params.get("compound", []):
        call = {"api": sub.get("api"), "method": sub.get("method"),
                "version": sub.get("version"),
                "params": {k: v for k, v in sub.items() if k not in ("api", "method", "version")}}
        answer = answer_call(call, user, {})
        if not isinstance(answer, dict):
            answer = {"success": False, "error": {"code": -1}}
        element = {"api": call["api"], "method": call["method"], "version": call["version"]}
        element.update(answer)
        results.append(element)
        if not answer.get("success"):
            has_fail = True
            if params.get("stop_when_error"):
                break
    return {"success": True, "data": {"has_fail": has_fail, "result": results}}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def setup(self):
        super().setup()
        self.refused = False
        try:
            self.request.do_handshake()
        except (ssl.SSLError, OSError):
            # The client did not accept our certificate: nothing to serve.
            self.refused = True

    def handle(self):
        if self.refused:
            return
        try:
            super().handle()
        except (ssl.SSLError, ConnectionError):
            pass

    def finish(self):
        try:
            super().finish()
        except (ssl.SSLError, OSError):
            pass

    def log_message(self, *args):
        pass

    def user(self):
        header = self.headers.get("Authorization", "")
        if not header.startswith("Basic "):
            return None
        try:
            user, _, password = base64.b64decode(header[6:]).decode().partition(":")
        except ValueError:
            return None
        if not ARGS.cred or (user + ":" + password) in ARGS.cred:
            return user
        return None

    def reply(self, status, text):
        body = text.encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def read_call(self):
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length)
        kind = self.headers.get("Content-Type", "")
        if not kind.startswith("multipart/form-data"):
            return json.loads(body), {}
        message = email.parser.BytesParser(policy=email.policy.HTTP).parsebytes(
            b"Content-Type: " + kind.encode() + b"\r\n\r\n" + body)
        call, uploads = None, {}
        for part in message.iter_parts():
            name = part.get_param("name", header="content-disposition")
            content = part.get_payload(decode=True)
            if name == "request":
                call = json.loads(content)
            else:
                uploads[name] = {"size": len(content), "text": content.decode("utf-8", "replace")}
        return call, uploads

    def do_POST(self):
        if self.path != "/webapi":
            self.reply(404, "")
            return
        try:
            call, uploads = self.read_call()
        except ValueError:
            self.reply(400, "")
            return
        user = self.user()
        with lock:
            with open(ARGS.log, "a") as log:
                log.write(json.dumps({"api": call.get("api"), "method": call.get("method"),
                                      "version": call.get("version"),
                                      "params": call.get("params"), "user": user,
                                      "uploads": sorted(uploads)}) + "\n")
        if ARGS.delay_ms:
            time.sleep(ARGS.delay_ms / 1000.0)
        if user is None:
            self.reply(401, "login required")
            return
        if call.get("api") == "Test.Status":
            params = call.get("params") or {}
            self.reply(params.get("status", 500), params.get("body", ""))
            return
        answer = answer_call(call, user, uploads)
        if answer is None:
            self.close_connection = True
            return
        self.reply(200, answer if isinstance(answer, str) else json.dumps(answer))


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def __init__(self, address, context):
        family, _, _, _, sockaddr = socket.getaddrinfo(address, 0, type=socket.SOCK_STREAM)[0]
        self.address_family = family
        self.context = context
        super().__init__(sockaddr, Handler)

    def get_request(self):
        sock, peer = self.socket.accept()
        # Headers and body leave in separate writes; without this, Nagle meets the client's
        # delayed ACK and every answer waits 40 ms more.
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        # The handshake runs on the connection's own thread, so a slow client stalls nobody.
        return self.context.wrap_socket(sock, server_side=True,
                                        do_handshake_on_connect=False), peer


def main():
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(ARGS.cert, ARGS.key)
    server = Server(ARGS.bind, context)
    print("PORT %d" % server.server_address[1], flush=True)
    try:
        server.serve_forever()
    finally:
        never.set()


if __name__ == "__main__":
    sys.exit(main())
