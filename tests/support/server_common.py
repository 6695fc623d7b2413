"""What the test servers share: the "PORT <n>" line, a TLS server context, a
listening socket on loopback and a line reader."""

import socket
import ssl


def announce(port):
    print("PORT %d" % port, flush=True)


def tls_context(cert, key):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    return context


def listener(host="127.0.0.1", port=0, backlog=16):
    sock = socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sock.bind((host, port))
    sock.listen(backlog)
    return sock


def free_port():
    """A port nobody listens on (just now)."""
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


class LineReader:
    """Lines from a socket; `sock` may be replaced (by its TLS wrapper)."""

    def __init__(self, sock):
        self.sock, self.buffer = sock, b""

    def line(self, sock=None):
        while b"\n" not in self.buffer:
            chunk = (sock or self.sock).recv(65536)
            if not chunk:
                raise EOFError("the peer went away")
            self.buffer += chunk
        line, self.buffer = self.buffer.split(b"\n", 1)
        return line.rstrip(b"\r").decode("latin-1")
