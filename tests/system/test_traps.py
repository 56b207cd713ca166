"""Faults that once brought programs like this one down: each must cost at most the connection that it comes by."""

import os
import resource
import socket
import struct

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.peers import Sender, connected, free_port

START = wire.control(wire.START, wire.CONTENT_TYPE)
STRANGER = 61234  # a user without any other process


def memory(daemon):
    with open(f"/proc/{daemon.pid}/status") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmHWM")) // 1024


def test_a_tls_peer_that_stops_and_resets(certs):
    """The close notification fails while the receiver is being destroyed; the done callback comes all the same."""
    port = free_port()
    with Daemon(f"listener ipv4 127.0.0.1 {port}" + certs.options("server", "listener")) as daemon:
        for count in range(1, 21):
            peer = Sender(("127.0.0.1", port), certs.context("client"), bidirectional=count % 2)
            daemon.wait("Handling connection from", count)
            peer.raw(wire.frame(b"a") + wire.control(wire.STOP) if count % 3 else wire.control(wire.STOP))
            peer.reset()
            daemon.wait("Is finished", count)
        assert len(daemon.find("Finished process loop")) <= 20


def test_tcp_peers_that_reset_before_their_address_is_read():
    """A receiver that can't tell its peer ends without its callback: it keeps its place, and as long as it stands among
    the receivers no report can be made. Nothing else is harmed. Kept so; Unix sockets don't have this."""
    port = free_port()
    with Daemon(f"listener ipv4 127.0.0.1 {port}", UNIX, "metrics-interval 1") as daemon:
        connected(socket.AF_INET, ("127.0.0.1", port)).close()
        while not daemon.find("getpeername() failed: Transport endpoint is not connected"):
            sock = connected(socket.AF_INET, ("127.0.0.1", port))
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            sock.close()
        daemon.wait("BackgroundLogger: Report metrics failed: "
                    "getpeername() failed: Transport endpoint is not connected")
        for address in (("127.0.0.1", port), daemon.address()):
            sender = Sender(address)
            sender.send(b"still served")
            sender.stop()


def poor(threads):
    def drop():
        resource.setrlimit(resource.RLIMIT_NPROC, (threads, threads))
        os.setgroups([])
        os.setgid(STRANGER)
        os.setuid(STRANGER)
    return drop


@pytest.mark.skipif(os.getuid() != 0, reason="only root can become a user without processes")
@pytest.mark.skipif(os.environ.get("TSAN_OPTIONS") is not None, reason="ThreadSanitizer needs a thread of its own")
@pytest.mark.parametrize("threads, worker", enumerate(("forwarder", "listener", "logger", "receiver"), 1))
def test_a_thread_that_cannot_be_started(threads, worker):
    """At the start that is the end of the run; a connection is closed, and its listener opens again after its pause."""
    home, port = new_home(), free_port()
    os.chmod(home.name, 0o777)
    with Daemon(f"listener ipv4 127.0.0.1 {port}", f"forwarder ipv4 127.0.0.1 {free_port()}", home=home,
                started=worker == "receiver",
                preexec_fn=poor(threads)) as daemon:
        if worker != "receiver":
            # Threads that run may still log.
            assert "[ERROR] Run failed: Resource temporarily unavailable" in daemon.ended()
            return
        for count in (1, 2):
            daemon.wait("Socket[0]: Listening on", count)
            sock = connected(socket.AF_INET, ("127.0.0.1", port))
            assert sock.recv(1) == b""
            last = daemon.wait("Listen error", count)[-1]
            assert last == "[ERROR] Listener0: Listen error: Resource temporarily unavailable"


LARGE = 4294967295
FRAMES = {
    "a frame of 4 GiB": wire.word(LARGE) + bytes(1000),
    "a control frame of 4 GiB": wire.word(0, LARGE) + bytes(1000),
    "a field that wraps the walk": wire.word(0, 12, 3, 1, LARGE - 3) + bytes(4),
    "fields without end": wire.word(0, 65536, 3) + wire.word(1, 0) * 8191 + bytes(4),
}


@pytest.mark.parametrize("case", FRAMES)
def test_lengths_near_32_bits(case):
    """Limits that let all pass: memory grows with what comes, and not with what is announced."""
    with Daemon(UNIX + f" fstrm-control-frame-max-size={LARGE} fstrm-data-frame-max-size={LARGE}",
                "message-queue-size 30000000",
                f"forwarder ipv4 127.0.0.1 {free_port()} batch-size={LARGE} "
                f"fstrm-control-frame-max-size={LARGE}") as daemon:
        before = memory(daemon)
        peer = Sender(daemon.address())
        peer.raw(FRAMES[case])
        peer.sock.shutdown(socket.SHUT_WR)
        peer.until(lambda: peer.closed)
        daemon.wait("Is finished")
        assert memory(daemon) - before < 64
