#!/usr/bin/python3
"""An update server for tests: HTTPS, the feed at /autoupdate/genRSS.php and images with Range.

Prints "PORT <n>" once it listens. Serves from --root:
  GET /autoupdate/genRSS.php?...  body feed.xml, header X-Orva-Feed-Signature from feed.sig
                                  when that file exists; the query is logged
  GET /images/<mode>/<name>       images/<name>, honouring "Range: bytes=N-", in the mode:
      plain     as asked
      droponce  the first request of a name sends half of what it should, then drops
      toolong   appends 4096 bytes that the image does not have
      stall     sends the headers and half the body, then waits for ever
      nolength  no Content-Length, as chunked servers do
Every request is appended to --log as one JSON line {"path", "range", "sent"} after it ends.
"""
import argparse
import http.server
import json
import os
import re
import socket
import ssl
import sys
import threading
import time

parser = argparse.ArgumentParser()
parser.add_argument("--bind", default="::1")
parser.add_argument("--cert", required=True)
parser.add_argument("--key", required=True)
parser.add_argument("--root", required=True)
parser.add_argument("--log", required=True)
ARGS = parser.parse_args()
lock = threading.Lock()
dropped = set()
CHUNK = 64 * 1024


def log(entry):
    with lock, open(ARGS.log, "a") as out:
        out.write(json.dumps(entry) + "\n")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def do_GET(self):
        if self.path.startswith("/autoupdate/genRSS.php"):
            return self.feed()
        m = re.fullmatch(r"/images/(\w+)/([\w.-]+)", self.path)
        if not m or not os.path.isfile(os.path.join(ARGS.root, "images", m.group(2))):
            self.send_error(404)
            return
        self.image(m.group(1), os.path.join(ARGS.root, "images", m.group(2)))

    def feed(self):
        body = open(os.path.join(ARGS.root, "feed.xml"), "rb").read()
        self.send_response(200)
        self.send_header("Content-Type", "application/rss+xml")
        self.send_header("Content-Length", str(len(body)))
        sig = os.path.join(ARGS.root, "feed.sig")
        if os.path.exists(sig):
            self.send_header("X-Orva-Feed-Signature", open(sig).read().strip())
        self.end_headers()
        self.wfile.write(body)
        log({"path": self.path, "range": None, "sent": len(body)})

    def image(self, mode, path):
        data = open(path, "rb").read()
        start = 0
        m = re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", ""))
        if m:
            start = int(m.group(1))
        body = data[start:]
        if mode == "toolong":
            body += b"\xee" * 4096
        limit = len(body)
        with lock:
            first = path not in dropped
            dropped.add(path)
        if (mode == "droponce" and first) or mode == "stall":
            limit = len(body) // 2
        self.send_response(206 if m else 200)
        if m:
            self.send_header("Content-Range", "bytes %d-%d/%d" % (start, len(data) - 1, len(data)))
        if mode != "nolength":
            self.send_header("Content-Length", str(len(body)))
        else:
            self.send_header("Connection", "close")
        self.end_headers()
        sent = 0
        try:
            while sent < limit:
                n = min(CHUNK, limit - sent)
                self.wfile.write(body[sent:sent + n])
                sent += n
            if mode == "stall":
                self.wfile.flush()
                time.sleep(3600)
        finally:
            log({"path": self.path, "range": start, "sent": sent})
        if limit < len(body):
            self.close_connection = True
            self.connection.shutdown(socket.SHUT_RDWR)


class Server(http.server.ThreadingHTTPServer):
    address_family = socket.AF_INET6
    daemon_threads = True


def main():
    server = Server((ARGS.bind, 0), Handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(ARGS.cert, ARGS.key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("PORT %d" % server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
