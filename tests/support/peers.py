"""The daemon's two neighbours, driven step by step from a test: what sends to it and what it sends to.

Nothing here runs on a thread of its own, so a peer does exactly what the test says and nothing meanwhile.
"""

import random
import socket
import ssl
import struct
import time

from support import wire


class Stream:
    """One connection; `data` is all that has come over it and was not yet taken by `expect`."""

    def __init__(self, sock):
        self.sock = sock
        self.data = bytearray()
        self.closed = None  # "end" or "reset" once the peer has gone, "cut" for TLS without its close notification

    def fill(self, timeout):
        """Takes in what comes within `timeout` seconds. False if nothing did."""
        self.sock.settimeout(timeout)
        got = b""
        try:
            got = self.sock.recv(1 << 20)
            self.closed = None if got else "end"
        except TimeoutError:
            pass
        except (ConnectionResetError, ssl.SSLEOFError) as error:
            self.closed = "cut" if isinstance(error, ssl.SSLEOFError) else "reset"
        self.data += got
        return bool(got)

    def until(self, done, nudge=None, deadline=15):
        """Reads until `done()`; each time that nothing comes for a while, `nudge()` is called."""
        end = time.monotonic() + deadline
        while not done():
            if not self.fill(0.2) and not done():
                last = bytes(self.data[-300:])
                assert self.closed is None and time.monotonic() < end, f"{self.closed} after {last!r}"
                if nudge:
                    nudge()

    def expect(self, *pieces):
        """Reads exactly these bytes."""
        expected = b"".join(pieces)
        self.until(lambda: len(self.data) >= len(expected))
        assert bytes(self.data[:len(expected)]) == expected
        del self.data[:len(expected)]

    def ended(self):
        """Nothing more comes and the peer closes."""
        self.until(lambda: self.closed)
        assert (self.closed, bytes(self.data)) == ("end", b"")

    def raw(self, *pieces):
        self.sock.settimeout(10)
        for piece in pieces:
            self.sock.sendall(piece)

    def reset(self):
        """Closes so that the peer's next send fails at once, and not only its next but one."""
        self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.sock.close()


def connected(family, address, deadline=10):
    """A connection to a listener that may not be there yet."""
    end = time.monotonic() + deadline
    while True:
        sock = socket.socket(family, socket.SOCK_STREAM)
        sock.settimeout(10)
        try:
            sock.connect(address)
            return sock
        except (FileNotFoundError, ConnectionRefusedError, BlockingIOError):  # or a Unix listener's backlog is full
            sock.close()
            if time.monotonic() > end:
                raise
            time.sleep(0.02)


class Sender(Stream):
    """A DNS server's side. `sent` lists all records that went out, nudges too."""

    def __init__(self, address, tls=None, bidirectional=True, hello=True):
        family = socket.AF_INET6 if ":" in address[0] else socket.AF_INET
        family = socket.AF_UNIX if isinstance(address, str) else family
        sock = connected(family, address)
        if family != socket.AF_UNIX:
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.port = 0 if family == socket.AF_UNIX else sock.getsockname()[1]
        if tls:
            sock = tls.wrap_socket(sock, server_hostname=address[0], suppress_ragged_eofs=False)
        super().__init__(sock)
        self.bidirectional = bidirectional
        self.sent = []
        if hello:
            self.start()

    def start(self):
        if self.bidirectional:
            self.raw(wire.control(wire.READY, wire.CONTENT_TYPE))
            self.expect(wire.control(wire.ACCEPT, wire.CONTENT_TYPE))
        self.raw(wire.control(wire.START, wire.CONTENT_TYPE))

    def send(self, *records):
        """Each record in a write of its own, so under TLS in a TLS record of its own."""
        self.sent += records
        self.raw(*map(wire.frame, records))

    def nudge(self):
        self.send(wire.NUDGE)

    def stop(self):
        self.raw(wire.control(wire.STOP))
        if self.bidirectional:
            self.expect(wire.control(wire.FINISH))
        self.ended()


class Collector:
    """A listening target of a forwarder; connections wait in its backlog until the test accepts them."""

    def __init__(self, host="127.0.0.1", tls=None, port=0):
        self.listening = socket.create_server((host, port), family=socket.AF_INET6 if ":" in host else socket.AF_INET)
        self.port = self.listening.getsockname()[1]
        self.tls = tls

    def accept(self, greet=None, deadline=15):
        """The next connection, behind its TLS handshake; `greet` is the Frame Streams mode to open it in, if any."""
        self.listening.settimeout(deadline)
        sock = self.listening.accept()[0]
        sock.settimeout(deadline)
        stream = Stream(self.tls.wrap_socket(sock, server_side=True, suppress_ragged_eofs=False) if self.tls else sock)
        if greet == "bidirectional":
            stream.expect(wire.control(wire.READY, wire.CONTENT_TYPE))
            stream.raw(wire.control(wire.ACCEPT, wire.CONTENT_TYPE))
        if greet:
            stream.expect(wire.control(wire.START, wire.CONTENT_TYPE))
        return stream


def deliver(sender, stream, expected, deadline=15):
    """Waits until `stream` holds what `expected` makes of all records sent, waking the forwarder where it must be."""
    wanted = bytearray(expected(sender.sent))

    def nudge():
        sender.nudge()
        wanted.extend(expected([wire.NUDGE]))

    stream.until(lambda: len(stream.data) >= len(wanted), nudge, deadline)
    same(bytes(stream.data), bytes(wanted))


def same(got, expected):
    """Equal bytes, or a message that shows where they part."""
    at = next((i for i, pair in enumerate(zip(got, expected)) if pair[0] != pair[1]), min(len(got), len(expected)))
    assert got == expected, (f"at byte {at}:\n{got[max(0, at - 200):at + 80]!r}\nnot\n"
                             f"{expected[max(0, at - 200):at + 80]!r}")


def free_port():
    """A port for UDP and TCP, from below the range that the system gives to clients, which come and go meanwhile."""
    while True:
        port = random.randint(10000, 32000)
        with socket.socket(type=socket.SOCK_DGRAM) as udp, socket.socket() as tcp:
            try:
                udp.bind(("127.0.0.1", port))
                tcp.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                tcp.bind(("127.0.0.1", port))
                return port
            except OSError:
                pass
