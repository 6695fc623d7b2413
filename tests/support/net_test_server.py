#!/usr/bin/python3
"""Servers for the network tests and benchmarks, on loopback only. Each prints
"PORT <n>" on standard output once it listens, then serves until killed.

  net_test_server.py http [--tls CERT KEY] [--host H] [--root DIR]
      An HTTP/1.0 server (http.server, wrapped in ssl with --tls):
        GET  /files/NAME          the file ROOT/NAME with its length
        GET  /redirect/CODE?to=X  CODE with "Location: X"
        GET  /status/CODE         CODE with a short body
        GET  /headers             the request's header lines as the body
        GET  /chunked             a chunked body (extensions, a trailer)
        GET  /to-end              a body without length, ended by closing
        GET  /interim             "100 Continue" before the real reply
        GET  /short               a Content-Length the body does not reach
        GET  /huge-header         a header block of about 70 KB
        GET  /unended             a header line without its end, then close
        GET  /stall               a status line, then silence for 60 s
        POST /form                the body back, its type in X-Content-Type
        POST /upload              a multipart body: the "file" part saved as
                                  ROOT/uploads/FILENAME; "name type size" back
  net_test_server.py proxy [--auth USER:PASSWORD] [--log FILE]
      A CONNECT proxy; each request line is appended to FILE.
  net_test_server.py lines --tls CERT KEY [--implicit] [--host H]
      A line server in the manner of SMTP and FTP: "220 ready" (after the
      handshake with --implicit), then for each line: "STARTTLS" answers
      "220 go ahead" and starts TLS; "PAIR" answers "250-first" and "250 second"
      in one write; "REUSED" answers "250 reused" or "250 fresh" (whether the
      TLS session was resumed); "QUIT" answers "221 bye" and closes; anything
      else comes back after "250 ".
"""

import argparse
import http.server
import os
import select
import socket
import socketserver
import time

from server_common import LineReader, announce, tls_context


class DualStackMixin:
    def server_bind(self):
        if self.address_family == socket.AF_INET6:
            self.socket.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        super().server_bind()


class ThreadingServer(DualStackMixin, socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    request_queue_size = 64
    context = None

    def finish_request(self, request, client_address):
        # The handshake runs on the connection's own thread, so a client that
        # never completes it holds up no one else.
        if self.context:
            request = self.context.wrap_socket(request, server_side=True)
        super().finish_request(request, client_address)


CHUNKS = (b"Hello", b", chunked world! 0123456789")
# Replies sent as they are, whatever was asked.
RAW = {
    "chunked": b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n%x;name=value\r\n%s\r\n"
               b"%X\r\n%s\r\n0\r\nX-Trailer: yes\r\n\r\n"
               % (len(CHUNKS[0]), CHUNKS[0], len(CHUNKS[1]), CHUNKS[1]),
    "to-end": b"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n" + b"z" * 100000,
    "interim": b"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok",
    "short": b"HTTP/1.0 200 OK\r\nContent-Length: 1000\r\n\r\n" + b"s" * 10,
    "huge-header": b"HTTP/1.0 200 OK\r\n" + (b"X-Filler: " + b"f" * 100 + b"\r\n") * 700 + b"\r\n",
    "unended": b"HTTP/1.0 200 OK\r\nX-Never-Ended: yes",
    "stall": b"HTTP/1.0 200 OK\r\n",
}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.0"
    root = "."
    tls = None

    def log_message(self, fmt, *args):
        pass

    def raw(self, data):
        self.wfile.write(data)
        self.wfile.flush()

    def reply(self, code, body=b"", headers=()):
        self.send_response(code)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.raw(body)

    def do_GET(self):
        path, _, query = self.path.partition("?")
        parts = path.strip("/").split("/")
        route = parts[0]
        if route == "files" and len(parts) == 2:
            return self.send_file(os.path.join(self.root, parts[1]))
        if route == "redirect":
            target = query[3:] if query.startswith("to=") else "/"
            return self.reply(int(parts[1]), b"moved", [("Location", target)])
        if route == "status":
            return self.reply(int(parts[1]), b"status body")
        if route == "headers":
            return self.reply(200, str(self.headers).encode())
        if route in RAW:
            self.raw(RAW[route])
            if route == "stall":
                time.sleep(60)
            return
        self.reply(404, b"not found")

    def send_file(self, path):
        try:
            f = open(path, "rb")
        except OSError:
            return self.reply(404, b"no such file")
        with f:
            size = os.fstat(f.fileno()).st_size
            self.send_response(200)
            self.send_header("Content-Type", "application/octet-stream")
            self.send_header("Content-Length", str(size))
            self.end_headers()
            self.wfile.flush()
            if self.tls is None:
                self.connection.sendfile(f)
            else:
                for block in iter(lambda: f.read(1 << 20), b""):
                    self.connection.sendall(block)

    def read_body(self):
        return self.rfile.read(int(self.headers.get("Content-Length", "0")))

    def do_POST(self):
        body = self.read_body()
        if self.path == "/form":
            return self.reply(200, body, [("X-Content-Type", self.headers.get("Content-Type", ""))])
        if self.path == "/upload":
            return self.save_upload(body)
        self.reply(404, b"not found")

    def save_upload(self, body):
        kind = self.headers.get("Content-Type", "")
        marker = "boundary="
        if marker not in kind:
            return self.reply(400, b"no boundary")
        boundary = kind.split(marker, 1)[1].encode()
        opening = b"--" + boundary + b"\r\n"
        closing = b"\r\n--" + boundary + b"--\r\n"
        if not body.startswith(opening) or not body.endswith(closing):
            return self.reply(400, b"bad multipart framing")
        head, _, content = body[len(opening):-len(closing)].partition(b"\r\n\r\n")
        fields = {}
        for line in head.split(b"\r\n"):
            name, _, value = line.decode().partition(":")
            fields[name.strip().lower()] = value.strip()
        disposition = fields.get("content-disposition", "")
        filename = disposition.split('filename="', 1)[1].rsplit('"', 1)[0]
        folder = os.path.join(self.root, "uploads")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, os.path.basename(filename)), "wb") as out:
            out.write(content)
        answer = "%s %s %d" % (filename, fields.get("content-type", ""), len(content))
        self.reply(200, answer.encode())


def serve_http(args):
    Handler.root = args.root
    family = socket.AF_INET6 if ":" in args.host else socket.AF_INET
    ThreadingServer.address_family = family
    server = ThreadingServer((args.host, 0), Handler)
    if args.tls:
        Handler.tls = server.context = tls_context(*args.tls)
    announce(server.server_address[1])
    server.serve_forever()


def relay(a, b):
    sockets = [a, b]
    while True:
        readable, _, _ = select.select(sockets, [], [])
        for s in readable:
            data = s.recv(1 << 16)
            if not data:
                return
            (b if s is a else a).sendall(data)


class ProxyHandler(socketserver.StreamRequestHandler):
    auth = None
    log = None

    def handle(self):
        line = self.rfile.readline(8192).decode("latin-1")
        headers = list(iter(lambda: self.rfile.readline(8192).decode("latin-1").strip(), ""))
        if self.log:
            with open(self.log, "a") as log:
                log.write(line.strip() + "\n")
        method, target, _ = (line.split() + ["", "", ""])[:3]
        if method != "CONNECT":
            return self.wfile.write(b"HTTP/1.0 405 Only CONNECT\r\n\r\n")
        if self.auth:
            import base64
            expected = "Proxy-Authorization: Basic " + base64.b64encode(
                self.auth.encode()).decode()
            if expected not in headers:
                return self.wfile.write(b"HTTP/1.0 407 Proxy Authentication Required\r\n\r\n")
        host, _, port = target.rpartition(":")
        try:
            upstream = socket.create_connection((host.strip("[]"), int(port)), timeout=10)
        except OSError:
            return self.wfile.write(b"HTTP/1.0 502 Bad Gateway\r\n\r\n")
        self.wfile.write(b"HTTP/1.0 200 Connection established\r\n\r\n")
        self.wfile.flush()
        with upstream:
            relay(self.connection, upstream)


class ThreadingTcpServer(socketserver.ThreadingMixIn, socketserver.TCPServer):
    daemon_threads = True
    allow_reuse_address = True


def serve_proxy(args):
    ProxyHandler.auth = args.auth
    ProxyHandler.log = args.log
    server = ThreadingTcpServer(("127.0.0.1", 0), ProxyHandler)
    announce(server.server_address[1])
    server.serve_forever()


class LineHandler(socketserver.BaseRequestHandler):
    context = None
    implicit = False

    def handle(self):
        conn = self.request
        if self.implicit:
            conn = self.context.wrap_socket(conn, server_side=True)
        conn.sendall(b"220 ready\r\n")
        reader = LineReader(conn)
        while True:
            try:
                command = reader.line(conn).encode("latin-1").strip()
            except EOFError:
                return
            if command == b"STARTTLS":
                conn.sendall(b"220 go ahead\r\n")
                conn = self.context.wrap_socket(conn, server_side=True)
                reader.buffer = b""
            elif command == b"PAIR":
                conn.sendall(b"250-first\r\n250 second\r\n")
            elif command == b"REUSED":
                reused = getattr(conn, "session_reused", False)
                conn.sendall(b"250 reused\r\n" if reused else b"250 fresh\r\n")
            elif command == b"QUIT":
                conn.sendall(b"221 bye\r\n")
                return
            else:
                conn.sendall(b"250 " + command + b"\r\n")


class LineServer(DualStackMixin, ThreadingTcpServer):
    pass


def serve_lines(args):
    LineHandler.context = tls_context(*args.tls)
    LineHandler.implicit = args.implicit
    LineServer.address_family = socket.AF_INET6 if ":" in args.host else socket.AF_INET
    server = LineServer((args.host, 0), LineHandler)
    announce(server.server_address[1])
    server.serve_forever()


def main():
    parser = argparse.ArgumentParser()
    sub = parser.add_subparsers(dest="kind", required=True)
    http_args = sub.add_parser("http")
    http_args.add_argument("--tls", nargs=2, metavar=("CERT", "KEY"))
    http_args.add_argument("--host", default="127.0.0.1")
    http_args.add_argument("--root", default=".")
    proxy_args = sub.add_parser("proxy")
    proxy_args.add_argument("--auth")
    proxy_args.add_argument("--log")
    line_args = sub.add_parser("lines")
    line_args.add_argument("--tls", nargs=2, metavar=("CERT", "KEY"), required=True)
    line_args.add_argument("--implicit", action="store_true")
    line_args.add_argument("--host", default="127.0.0.1")
    args = parser.parse_args()
    {"http": serve_http, "proxy": serve_proxy, "lines": serve_lines}[args.kind](args)


if __name__ == "__main__":
    main()
