#!/usr/bin/python3
"""A real FTP server for the tests: Debian's pyftpdlib on 127.0.0.1 at a free
port, printed as "PORT <n>" once it listens. One user with full rights in ROOT.

  ftp_test_server.py --root DIR [--user U --password P]
                     [--tls explicit|implicit --cert PEM --key KEY [--tls-required]]
                     [--closed-passive] [--no-mfmt]

--tls explicit     AUTH TLS offered (TLS_FTPHandler); with --tls-required the
                   control and data connections must be encrypted
--tls implicit     TLS from the first byte on the control connection
--closed-passive   PASV names a port nobody listens on (a firewalled passive
                   range, as users meet it)
--no-mfmt          a server without MFMT
Each command the server takes is printed as "CMD <line>" (PASS hidden).
"""

import argparse
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, TLS_FTPHandler
from pyftpdlib.servers import FTPServer
from server_common import announce, free_port


def make_handler(args):
    base = TLS_FTPHandler if args.tls else FTPHandler

    class Handler(base):
        def pre_process_command(self, line, cmd, arg):
            shown = "PASS ****" if cmd == "PASS" else line
            print("CMD " + shown, flush=True)
            return super().pre_process_command(line, cmd, arg)

        def handle(self):
            if args.tls == "implicit":
                self.secure_connection(self.ssl_context)
            super().handle()

        def ftp_PASV(self, line):
            if not args.closed_passive:
                return super().ftp_PASV(line)
            port = free_port()
            self.respond("227 Entering passive mode (127,0,0,1,%d,%d)." % (port // 256, port % 256))

    if args.tls:
        Handler.certfile, Handler.keyfile = args.cert, args.key
        Handler.tls_control_required = Handler.tls_data_required = args.tls_required
    if args.no_mfmt:
        Handler.proto_cmds = dict(Handler.proto_cmds)
        del Handler.proto_cmds["MFMT"]
    return Handler


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    parser.add_argument("--user", default="vocarta")
    parser.add_argument("--password", default="secret")
    parser.add_argument("--tls", choices=["explicit", "implicit"])
    parser.add_argument("--cert")
    parser.add_argument("--key")
    parser.add_argument("--tls-required", action="store_true")
    parser.add_argument("--closed-passive", action="store_true")
    parser.add_argument("--no-mfmt", action="store_true")
    args = parser.parse_args()

    authorizer = DummyAuthorizer()
    authorizer.add_user(args.user, args.password, args.root, perm="elradfmwMT")
    handler = make_handler(args)
    handler.authorizer = authorizer
    handler.banner = "pyftpdlib test server ready."
    server = FTPServer(("127.0.0.1", 0), handler)
    announce(server.socket.getsockname()[1])
    try:
        server.serve_forever(handle_exit=False)
    except KeyboardInterrupt:
        pass
    sys.exit(0)


if __name__ == "__main__":
    main()
