#!/usr/bin/python3
"""A scripted FTP server for the client's fault tests: a small, well-behaved
server (one client at a time, files in memory) whose replies a JSON script
overrides, on 127.0.0.1 at a free port printed as "PORT <n>". Every command is
printed as "CMD <line>" (a password as "PASS ****") and every upload as
"STORED <name> <bytes>", so a test can check the exact transcript.

  ftp_script_server.py SCRIPT.json

Script keys (all optional):
  greeting        the first reply (default "220 scripted server ready")
  features        FEAT lines between "211-Features:" and "211 End"; null: FEAT
                  is answered "500 FEAT not understood"
  replies         {"VERB": [action, ...]}: the n-th use of VERB takes the n-th
                  action; null or a used-up list is the default behaviour.
                  An action is reply text (lines joined by "\\n"), or
                  {"chunks": [...], "pause_ms": n} sent piece by piece,
                  {"hang": true} (never answer again), {"close": true}
  split           every reply goes out one byte at a time
  files           {"name": "content"} on the server at the start
  missing_dirs    folders CWD refuses with 550
  pasv_host       "a,b,c,d" put into 227 replies instead of 127,0,0,1
  pasv_closed     227 names a port nobody listens on
  listing         the data of LIST and MLSD
  listing_bytes   that many bytes of listing lines instead
  store_final     the reply after an upload's data (default "226 Transfer complete")
  cut_after       read this many bytes of an upload, then reset the data connection
  data_pause_ms   pause after each 16 KiB read of an upload (a slow server)
  answer_during_transfer  answer NOOP while an upload runs (else after it, as vsftpd)
  tls             {"cert": PEM, "key": KEY}: AUTH TLS and PROT P work
  dump_dir        every upload is also written to this folder
"""

import json
import os
import select
import socket
import ssl
import struct
import sys
import time

from server_common import LineReader, announce, listener, tls_context

# Commands answered with a fixed reply ("%s" takes the argument).
FIXED = {"USER": "331 Password required.", "PASS": "230 Logged in.", "NOOP": "200 NOOP ok.",
         "PBSZ": "200 PBSZ=0 successful.", "TYPE": "200 Type set to %s.", "OPTS": "200 OK.",
         "SYST": "215 UNIX Type: L8", "MFMT": "213 Modify=%s", "ABOR": "226 ABOR successful."}
FEATURES = [" SIZE", " MDTM", " MFMT", " MLST type*;size*;modify*;", " UTF8"]


class Server:
    def __init__(self, script):
        self.s = script
        self.uses = {}
        self.files = {k: v.encode("latin-1") for k, v in script.get("files", {}).items()}
        self.cwd = "/"
        self.passive = None
        self.prot = self.hung = False
        self.ctx = tls_context(script["tls"]["cert"], script["tls"]["key"]) if script.get(
            "tls") else None

    # --- the control connection
    def send(self, text):
        text = text.encode("latin-1") if isinstance(text, str) else text
        for piece in ([text[i:i + 1] for i in range(len(text))] if self.s.get("split")
                      else [text]):
            self.conn.sendall(piece)
            if self.s.get("split"):
                time.sleep(0.001)

    def reply(self, text):
        self.send("".join(line.rstrip("\r") + "\r\n" for line in text.split("\n")))

    def act(self, action):
        """True when the default behaviour should run."""
        if action is None:
            return True
        if isinstance(action, str):
            self.reply(action)
        elif action.get("hang"):
            self.hung = True
        elif action.get("close"):
            raise ConnectionError("closed by the script")
        for chunk in action.get("chunks", []) if isinstance(action, dict) else []:
            self.send(chunk)
            time.sleep(action.get("pause_ms", 20) / 1000.0)
        return False

    def scripted(self, verb):
        actions = self.s.get("replies", {}).get(verb)
        n = self.uses[verb] = self.uses.get(verb, -1) + 1
        return actions[n] if actions is not None and n < len(actions) else None

    # --- data connections
    def open_passive(self):
        if self.passive:
            self.passive.close()
        self.passive = socket.socket()
        if self.s.get("data_pause_ms"):
            # A small window, so that a slow reader soon holds the sender back.
            self.passive.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 32768)
        self.passive.bind(("127.0.0.1", 0))
        self.passive.listen(1)
        port = self.passive.getsockname()[1]
        if self.s.get("pasv_closed"):
            self.passive.close()
            self.passive = None
        host = self.s.get("pasv_host", "127,0,0,1")
        self.reply("227 Entering Passive Mode (%s,%d,%d)." % (host, port // 256, port % 256))

    def accept_data(self, opening):
        """The data connection (TLS with PROT P), after the reply `opening`; None
        (and 425) when none comes."""
        data = None
        if self.passive:
            self.passive.settimeout(10)
            try:
                data, _ = self.passive.accept()
            except OSError:
                pass
            self.passive.close()
            self.passive = None
        if data is None:
            self.reply("425 Can't open data connection.")
            return None
        self.reply(opening)
        return self.ctx.wrap_socket(data, server_side=True) if self.prot and self.ctx else data

    def receive_upload(self, data):
        received = b""
        cut = self.s.get("cut_after")
        while True:
            if self.s.get("answer_during_transfer") and not isinstance(self.conn, ssl.SSLSocket):
                ready, _, _ = select.select([data, self.conn], [], [], 5)
                if self.conn in ready:
                    line = self.reader.line(self.conn)
                    print("CMD " + line, flush=True)
                    self.reply("200 NOOP ok" if line.upper() == "NOOP" else "503 busy")
                    continue
            chunk = data.recv(16384)
            if not chunk:
                break
            received += chunk
            if cut is not None and len(received) >= cut:
                received = received[:cut]
                data.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                break
            time.sleep(self.s.get("data_pause_ms", 0) / 1000.0)
        data.close()
        return received

    # --- commands
    def handle(self, line):
        verb, _, arg = line.partition(" ")
        verb = verb.upper()
        print("CMD " + ("PASS ****" if verb == "PASS" else line), flush=True)
        if not self.act(self.scripted(verb)):
            if verb == "QUIT":
                raise ConnectionError("quit")
        elif verb in FIXED:
            self.reply(FIXED[verb] % arg if "%s" in FIXED[verb] else FIXED[verb])
        else:
            getattr(self, "do_" + verb, self.do_unknown)(arg)

    def do_unknown(self, arg):
        self.reply("502 Command not implemented.")

    def do_AUTH(self, arg):
        if not self.ctx:
            return self.reply("502 No TLS here.")
        self.reply("234 AUTH TLS successful.")
        self.conn = self.ctx.wrap_socket(self.conn, server_side=True)

    def do_PROT(self, arg):
        self.prot = arg.upper() == "P"
        self.reply("200 Protection set.")

    def do_FEAT(self, arg):
        features = self.s.get("features", FEATURES)
        if features is None:
            return self.reply("500 FEAT not understood.")
        self.reply("\n".join(["211-Features:"] + features + ["211 End"]))

    def do_CWD(self, arg):
        if arg in self.s.get("missing_dirs", []):
            return self.reply("550 No such directory.")
        self.cwd = arg
        self.reply("250 Directory changed.")

    def do_PWD(self, arg):
        self.reply('257 "%s" is the current directory.' % self.cwd.replace('"', '""'))

    def do_PASV(self, arg):
        self.open_passive()

    def upload(self, name, append):
        data = self.accept_data("150 Ok to send data.")
        if data is None:
            return
        received = self.receive_upload(data)
        self.files[name] = (self.files.get(name, b"") if append else b"") + received
        print("STORED %s %d" % (name, len(self.files[name])), flush=True)
        if self.s.get("dump_dir"):
            with open(os.path.join(self.s["dump_dir"], os.path.basename(name)), "wb") as f:
                f.write(self.files[name])
        self.reply(self.s.get("store_final", "226 Transfer complete."))

    def do_STOR(self, arg):
        self.upload(arg, False)

    def do_APPE(self, arg):
        self.upload(arg, True)

    def do_LIST(self, arg):
        data = self.accept_data("150 Here comes the listing.")
        if data is None:
            return
        listing = self.s.get("listing", "").encode("latin-1")
        if "listing_bytes" in self.s:
            line = b"-rw-r--r-- 1 owner group 1234 Jan 10 12:34 filler\r\n"
            listing = line * (self.s["listing_bytes"] // len(line) + 1)
        try:
            data.sendall(listing)
        except OSError:
            pass
        data.close()
        self.reply("226 Directory send OK.")

    do_MLSD = do_NLST = do_LIST

    def do_SIZE(self, arg):
        if arg not in self.files:
            return self.reply("550 Could not get file size.")
        self.reply("213 %d" % len(self.files[arg]))

    def do_MLST(self, arg):
        if arg not in self.files:
            return self.reply("550 No such file.")
        self.reply("250-Listing %s\n type=file;size=%d;modify=20240102030405; %s\n250 End."
                   % (arg, len(self.files[arg]), arg))

    def do_DELE(self, arg):
        if self.files.pop(arg, None) is None:
            return self.reply("550 No such file.")
        self.reply("250 Deleted.")

    def do_QUIT(self, arg):
        self.reply("221 Goodbye.")
        raise ConnectionError("quit")

    def serve(self, conn):
        self.conn, self.reader = conn, LineReader(conn)
        try:
            self.act(self.s.get("greeting", "220 scripted server ready"))
            while True:
                line = self.reader.line(self.conn)
                if self.hung:
                    print("CMD " + line, flush=True)
                else:
                    self.handle(line)
        except (ConnectionError, EOFError, OSError, ssl.SSLError):
            pass
        finally:
            try:
                self.conn.close()
            except OSError:
                pass


def main():
    with open(sys.argv[1]) as f:
        server = Server(json.load(f))
    sock = listener(backlog=4)
    announce(sock.getsockname()[1])
    while True:
        conn, _ = sock.accept()
        server.serve(conn)
        print("CLOSED", flush=True)


if __name__ == "__main__":
    main()
