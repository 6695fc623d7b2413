#!/usr/bin/python3
"""SMTP servers for the mail tests and benchmark. Each prints "PORT <n>" once it
listens, then serves until killed.

  smtp_test_server.py real --store DIR [--tls CERT KEY] [--login USER:PASSWORD]
                           [--host H] [--port N] [--discard]
      aiosmtpd with STARTTLS (--tls) and AUTH LOGIN (--login; only over TLS).
      Message n is kept as DIR/n.eml, with what Python's own e-mail parser
      reads from it: n.subject (decoded), n.text (the text part), n.meta
      (envelope sender and recipients, whether TLS and a login were used), and
      per attachment k: n.k.name (decoded), n.k.type and n.k.part (the bytes);
      n.done comes last. With --discard (benchmarks) nothing is kept.

  smtp_test_server.py script FILE --log LOG [--tls CERT KEY]
      Plays FILE to every connection, one step per line:
        send TEXT      send TEXT (with \\r \\n \\t escapes; nothing added)
        expect WORD    read a line; it is logged; one not starting with WORD
                       is logged as "UNEXPECTED" and the connection closed
        data           read up to the line "." (logged as "DATA <bytes>")
        tls            start TLS (server side) with --tls
        pause MS       wait
        stall MS       stop reading for MS, then read and drop all until the
                       client goes (logged as "GONE")
        close          close the connection
      Every line read is appended to LOG as "<connection> <line>".
"""

import argparse
import asyncio
import email
import email.policy
import itertools
import os
import threading
import time

from server_common import LineReader, announce, listener, tls_context


# ---------------------------------------------------------------- real server

def keep(folder, number, raw, envelope, session):
    """Writes what the message holds as files <number>.<what>, then <number>.done."""
    base = os.path.join(folder, str(number))

    def put(what, data):
        with open("%s.%s" % (base, what), "wb") as out:
            out.write(data if isinstance(data, bytes) else data.encode("utf-8"))

    put("eml", raw)
    message = email.message_from_bytes(raw, policy=email.policy.default)
    put("subject", str(message["Subject"] or ""))
    put("meta", "from=%s\nto=%s\nsecure=%d\nauthenticated=%d\n" % (
        envelope.mail_from, ",".join(envelope.rcpt_tos), session.ssl is not None,
        bool(session.authenticated)))
    count = 0
    for part in message.walk():
        if part.is_multipart():
            continue
        if part.get_content_disposition() == "attachment":
            put("%d.name" % count, part.get_filename() or "")
            put("%d.type" % count, part.get_content_type())
            put("%d.part" % count, part.get_payload(decode=True))
            count += 1
        elif part.get_content_type() == "text/plain":
            put("text", part.get_payload(decode=True))
    put("done", "%d\n" % count)


class StoreHandler:
    def __init__(self, folder, discard):
        self.folder = folder
        self.discard = discard
        self.count = 0

    async def handle_DATA(self, server, session, envelope):
        self.count += 1
        if self.discard:
            return "250 Message accepted for delivery"
        keep(self.folder, self.count, envelope.original_content or envelope.content, envelope,
             session)
        return "250 Message accepted for delivery"


def run_real(args):
    from aiosmtpd.smtp import SMTP, AuthResult

    login = args.login.split(":", 1) if args.login else None

    def authenticator(server, session, envelope, mechanism, data):
        ok = (login is not None and mechanism == "LOGIN"
              and data.login.decode() == login[0] and data.password.decode() == login[1])
        return AuthResult(success=ok, handled=False)

    context = tls_context(*args.tls) if args.tls else None
    handler = StoreHandler(args.store, args.discard)
    sock = listener(args.host, args.port, 64)

    def factory():
        return SMTP(handler, hostname="mail.test", tls_context=context,
                    data_size_limit=None, authenticator=authenticator if login else None,
                    auth_require_tls=True, decode_data=False)

    loop = asyncio.new_event_loop()
    server = loop.run_until_complete(loop.create_server(factory, sock=sock))
    announce(sock.getsockname()[1])
    loop.run_forever()


# ------------------------------------------------------------ scripted server

def unescape(text):
    return text.replace("\\r", "\r").replace("\\n", "\n").replace("\\t", "\t").encode(
        "latin-1")


class Connection:
    def __init__(self, sock, number, log, context):
        self.sock, self.number, self.log, self.context = sock, number, log, context
        self.reader = LineReader(sock)

    def note(self, text):
        with open(self.log, "a") as out:
            out.write("%d %s\n" % (self.number, text))

    def line(self):
        return self.reader.line(self.sock)

    def play(self, steps):
        for verb, argument in steps:
            if verb == "send":
                self.sock.sendall(unescape(argument))
            elif verb == "expect":
                line = self.line()
                self.note(line)
                if not line.upper().startswith(argument.upper()):
                    self.note("UNEXPECTED")
                    return
            elif verb == "data":
                size = 0
                while True:
                    line = self.line()
                    if line == ".":
                        break
                    size += len(line) + 2
                self.note("DATA %d" % size)
            elif verb == "tls":
                self.sock = self.context.wrap_socket(self.sock, server_side=True)
                self.reader.buffer = b""
            elif verb in ("pause", "stall"):
                time.sleep(int(argument or "1000") / 1000.0)
            if verb == "stall":
                try:
                    while self.sock.recv(65536):
                        pass
                except OSError:
                    pass
                self.note("GONE")
                return
            elif verb == "close":
                return


def run_script(args):
    with open(args.file) as script:
        steps = [raw.rstrip("\n").partition(" ")[::2] for raw in script
                 if raw.strip() and not raw.startswith("#")]
    context = tls_context(*args.tls) if args.tls else None
    sock = listener()
    announce(sock.getsockname()[1])
    for number in itertools.count(1):
        connection = Connection(sock.accept()[0], number, args.log, context)

        def serve(c=connection):
            try:
                c.play(steps)
            except (EOFError, OSError) as error:
                c.note("ENDED %s" % type(error).__name__)
            finally:
                c.note("CLOSED")
                c.sock.close()

        threading.Thread(target=serve, daemon=True).start()


def main():
    parser = argparse.ArgumentParser()
    modes = parser.add_subparsers(dest="mode", required=True)
    real = modes.add_parser("real")
    real.add_argument("--store", required=True)
    real.add_argument("--tls", nargs=2)
    real.add_argument("--login")
    real.add_argument("--host", default="127.0.0.1")
    real.add_argument("--port", type=int, default=0)
    real.add_argument("--discard", action="store_true")
    script = modes.add_parser("script")
    script.add_argument("file")
    script.add_argument("--log", required=True)
    script.add_argument("--tls", nargs=2)
    args = parser.parse_args()
    (run_real if args.mode == "real" else run_script)(args)


if __name__ == "__main__":
    main()
