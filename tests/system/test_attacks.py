"""Peers, readers and files that mean harm, and what they can't do. A row tells one way, its test what must hold."""

import contextlib
import os
import pathlib
import re
import socket
import ssl
import stat
import subprocess
import threading
import time

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender, Stream, connected, deliver, free_port, same
from support.traffic import Traffic

START = wire.control(wire.START, wire.CONTENT_TYPE)
GOOD = [record for record in Traffic(3).records(40) if Model()([record])]
SANITIZED = "asan" in os.environ["WIRELARK"] or "tsan" in os.environ["WIRELARK"]
SECONDS = " read-timeout=1 write-timeout=1"
EVENTS = [wire.Record(b"%08d" % n * 500) for n in range(600)]


def figure(daemon, name="VmRSS"):
    status = pathlib.Path(f"/proc/{daemon.pid}/status").read_text()
    return int(re.search(rf"{name}:\s*(\d+)", status)[1])


def states(daemon):
    """Of each thread, by one letter (proc(5)); one that ends meanwhile counts as running."""
    for task in pathlib.Path(f"/proc/{daemon.pid}/task").iterdir():
        try:
            yield (task / "stat").read_text().rsplit(")", 1)[1].split()[0]
        except OSError:
            yield "R"


def asleep(daemon):
    """Until every thread waits for something."""
    quiet = 0
    while quiet < 3:
        quiet = quiet + 1 if set(states(daemon)) == {"S"} else 0
        time.sleep(0.02)


def trickle(stream, pace=0.2):
    """A byte now and then, for as long as the other side lets it."""
    def run():
        with contextlib.suppress(OSError):
            while True:
                stream.sock.sendall(b"\0")
                time.sleep(pace)
    threading.Thread(target=run, daemon=True).start()
    return stream


# What comes in one write, with which batches: all that makes a line comes out, without another event to wake for it.
WRITES = {
    "a line behind 300 skipped": ("batch-size=100", [wire.NUDGE] * 300 + GOOD[:1]),
    "a line behind 300 broken": ("batch-size=7", [wire.Record(b"\xff")] * 300 + GOOD[:1]),
    "lines among skipped": ("batch-size=5", (GOOD[:1] + [wire.NUDGE] * 6 + GOOD[1:3]) * 40),
}


@pytest.mark.parametrize("case", WRITES)
def test_what_came_together_goes_on_together(case):
    options, records = WRITES[case]
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port} {options}") as daemon:
        stream, sender = collector.accept(), Sender(daemon.address())
        asleep(daemon)
        sender.raw(b"".join(map(wire.frame, records)))
        expected = Model(pid=daemon.pid)(records)
        stream.until(lambda: len(stream.data) >= len(expected))
        same(bytes(stream.data), expected)


@pytest.mark.parametrize("version", [ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3])
def test_an_orderly_stop_over_tls_loses_nothing_in_flight(version, certs):
    """The session tickets of TLS 1.3 lie unread when the forwarder closes."""
    collector = Collector(tls=certs.context("server", server=True, verify=False, newest=version))
    collector.listening.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    line = f"forwarder ipv4 127.0.0.1 {collector.port} tls=on tls-validate=off"
    with Daemon(UNIX, line, "metrics-interval 1") as daemon:
        stream, sender = collector.accept(), Sender(daemon.address())
        sender.send(*GOOD * 20)
        while daemon.next_report() and daemon.total("forwarder", "eventsSent") != [len(sender.sent)]:
            sender.nudge() if daemon.reports()[-1]["queue"][0]["eventsQueued"] else None
            sender.sent = GOOD * 20
        daemon.stop()
        stream.until(lambda: stream.closed)
        same(bytes(stream.data), Model(pid=daemon.pid)(GOOD * 20))
        assert stream.closed == "end"


def half_a_frame(daemon, _):
    stream = Sender(daemon.address("other.sock"))
    stream.raw(wire.word(9000))
    return trickle(stream)


def half_a_control_frame(daemon, _):
    stream = Sender(daemon.address("other.sock"), hello=False)
    stream.raw(wire.word(0, 9000))
    return trickle(stream)


def half_a_client_hello(daemon, port):
    daemon.wait("Listening on 127", 2)
    stream = Sender(("127.0.0.1", port), hello=False)
    stream.raw(b"\x16\x03\x01\x3f\xff\x01")
    return trickle(stream)


def half_an_accept(daemon, collector):
    stream = collector.accept()
    stream.raw(wire.word(0, 9000))
    return trickle(stream)


def half_an_answer_to_stop(daemon, collector):
    stream = collector.accept("bidirectional")

    def run():
        stream.until(lambda: wire.control(wire.STOP) in stream.data)
        stream.raw(wire.word(0, 9000))
        trickle(stream)
    threading.Thread(target=run, daemon=True).start()


def reads_a_little(daemon, collector):
    stream = collector.accept("bidirectional")
    Sender(daemon.address()).send(*EVENTS)

    def run():
        with contextlib.suppress(OSError):
            while got := stream.sock.recv(3000):
                stream.data += got
                time.sleep(0.2)
    threading.Thread(target=run, daemon=True).start()
    return stream


TLS = "listener ipv4 127.0.0.1 PORT" + SECONDS
OTHER = UNIX.replace("dnstap", "other") + SECONDS
FORWARDER = ("forwarder ipv4 127.0.0.1 PORT connect-timeout=1 batch-size=600 send-buffer-size=4096 recovery=durable"
             + SECONDS)
# What holds the stop up, the line of the worker that it is done to, and that all frames sent so far are in the file.
STOPS = {
    "half a frame": (half_a_frame, OTHER, True), "half a control frame": (half_a_control_frame, OTHER, True),
    "half a ClientHello": (half_a_client_hello, TLS, True),
    "half an ACCEPT": (half_an_accept, FORWARDER, True),
    "half an answer to STOP": (half_an_answer_to_stop, FORWARDER, False),
    "a collector that reads a little": (reads_a_little, FORWARDER, True),
}


@pytest.mark.parametrize("case", STOPS)
def test_a_stop_that_somebody_holds_up(case, certs):
    """It comes all the same, with the worker at its end and the queue saved."""
    act, line, saved = STOPS[case]
    collector, port = (Collector() if line is FORWARDER else None), free_port()
    if collector:
        collector.listening.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    line = line.replace("PORT", str(collector.port if collector else port))
    if act is half_a_client_hello:
        line += certs.options("server", "listener")
    with Daemon(UNIX, line, "message-format dnstap") as daemon:
        sender = Sender(daemon.address())
        if act is not reads_a_little:
            sender.send(*GOOD)
        sender.stop()
        kept = act(daemon, collector or port)
        asleep(daemon)
        log = daemon.stop()
        assert log[-1] == "[INFO] Stopped" and not daemon.find("left behind")
        content, events = pathlib.Path(daemon.address("message.queue")).read_bytes(), GOOD if saved else []
        if act is reads_a_little:
            content, events = content + kept.data, EVENTS
        assert all(event in content for event in events)


@pytest.mark.skipif(os.getuid() != 0, reason="only root can have a resolver of its own")
def test_a_stop_with_a_worker_that_never_comes():
    """A name server that is silent: the look-up goes on for longer than the stop may take."""
    silent, home = socket.socket(type=socket.SOCK_DGRAM), new_home({"resolv.conf": b"nameserver 127.9.9.9\n"})
    silent.bind(("127.9.9.9", 53))
    line = f"forwarder ipv4 collector.example 6514 connect-timeout=1{SECONDS}"
    mount = ["unshare", "-m", "sh", "-c", f'mount --bind {home.name}/resolv.conf /etc/resolv.conf && exec "$0" "$@"']
    if subprocess.run([*mount, "true"], capture_output=True).returncode:
        pytest.skip("mount is not allowed here")
    patience = os.environ | {"RES_OPTIONS": "timeout:30 attempts:5"}
    with Daemon(UNIX + SECONDS, line, home=home, before=mount, env=patience) as daemon:
        sender = Sender(daemon.address())
        sender.send(*GOOD)
        sender.stop()
        assert silent.recv(512)
        assert daemon.stop()[-2:] == ["[ERROR] Stop: Forwarder[0] did not end in 9 seconds and is left behind",
                                      "[INFO] Stopped"]
    assert pathlib.Path(daemon.address("message.queue")).read_bytes() == wire.queue_file(GOOD)


@pytest.mark.parametrize("closed", [[0], [1], [2], [0, 1, 2]], ids=str)
def test_standard_descriptors_that_are_closed(closed):
    """No socket gets their numbers: 0 stands for one that is not open, and the log goes to 1 and 2."""
    collector, port = Collector(), free_port()
    forwarder = f"forwarder ipv4 127.0.0.1 {collector.port} fstrm-mode=unidirectional"
    with Daemon(UNIX, f"listener ipv4 127.0.0.1 {port}", forwarder, "message-format dnstap", started=False,
                preexec_fn=lambda: [os.close(n) for n in closed]) as daemon:
        stream = collector.accept("unidirectional")
        for address in (daemon.address(), ("127.0.0.1", port)):
            sender = Sender(address)
            deliver(sender, stream, lambda records: b"".join(map(wire.frame, records)))
            stream.data.clear()
            sender.stop()
        daemon.terminate()
        assert daemon.process.wait(20) == 0 and not daemon.find("ERROR")
        stream.until(lambda: stream.closed)
        assert bytes(stream.data) == wire.control(wire.STOP)


def test_a_log_that_nobody_reads():
    """Connections are served and a stop comes; what was not read is counted, and each line is whole or counted."""
    with Daemon(UNIX) as daemon:
        daemon.reading.clear()
        for _ in range(400):
            Sender(daemon.address()).stop()
        asleep(daemon)
        daemon.reading.set()
        daemon.wait("Receiver[2]: Finished")
        Sender(daemon.address()).stop()
        daemon.wait("Log: ")
        daemon.wait("Receiver[400]: Finished")
        dropped = sum(int(re.fullmatch(r"\[WARN\] Log: (\d+) lines were dropped, as nobody read them", line)[1])
                      for line in daemon.find("Log: "))
        forms = (r"\[INFO\] (Listener\[0\]: (Handling connection|Receiver\[\d+\] Is finished)|"
                 r"Receiver\[\d+\]: ((Starting|"
                 r"Finished) process loop|Handling connection from uid=\d+ gid=\d+ pid=\d+))")
        assert dropped > 100 and sum(bool(re.fullmatch(forms, line)) for line in daemon.lines) + dropped == 5 * 401
        daemon.reading.clear()
        for _ in range(400):
            Sender(daemon.address()).stop()
        daemon.terminate()
        assert daemon.process.wait(20) == 0
        daemon.reading.set()


def handshake(port, certs, session=None, newest=ssl.TLSVersion.TLSv1_3):
    context = handshake.contexts.setdefault(newest, certs.context("client", newest=newest))
    sock = context.wrap_socket(connected(socket.AF_INET, ("127.0.0.1", port)), server_hostname="127.0.0.1",
                               session=session)
    stream = Stream(sock)
    stream.raw(wire.control(wire.READY, wire.CONTENT_TYPE))
    stream.expect(wire.control(wire.ACCEPT, wire.CONTENT_TYPE))  # under TLS 1.3 the session comes in front of it
    return sock


def test_one_tls_context_for_all_connections(certs):
    """A renewed certificate is taken by the next connection, and a session of the one before is no way around it."""
    handshake.contexts, port, home = {}, free_port(), new_home()
    for name in ("pem", "key"):
        pathlib.Path(home.name, "own." + name).write_bytes(pathlib.Path(certs["server." + name]).read_bytes())
    options = certs.options("server", "listener").replace(certs["server"], "own")
    with Daemon(f"listener ipv4 127.0.0.1 {port}{options}", home=home, env=os.environ | {"SSL_CERT_FILE": "/dev/null"}):
        for newest in (ssl.TLSVersion.TLSv1_2, ssl.TLSVersion.TLSv1_3):
            first = handshake(port, certs, newest=newest)
            again = handshake(port, certs, first.session, newest)
            assert (again.session_reused, again.version()) == (False, newest.name.replace("_", "."))
        for name in ("client", "server"):
            for kind in ("pem", "key"):
                fresh = pathlib.Path(home.name, "fresh." + kind)
                fresh.write_bytes(pathlib.Path(certs[f"{name}.{kind}"]).read_bytes())
                fresh.replace(home.name + "/own." + kind)
            assert dict(sum(handshake(port, certs).getpeercert()["subject"], ()))["commonName"] == name


@pytest.mark.skipif(SANITIZED, reason="memory has another size")
@pytest.mark.parametrize("said", [b"", b"\x16"], ids=["silent", "one byte"])
def test_strangers_cost_no_memory_before_they_show_a_certificate(said, certs):
    port = free_port()
    with Daemon(f"listener ipv4 127.0.0.1 {port} read-timeout=60" + certs.options("server", "listener")) as daemon:
        before, peers = figure(daemon), [connected(socket.AF_INET, ("127.0.0.1", port)) for _ in range(100)]
        for peer in peers:
            peer.sendall(said)
        daemon.wait("]: Handling connection from", 100)
        asleep(daemon)
        assert figure(daemon) - before < 20000  # a context with the system's authorities takes 940 KiB


@pytest.mark.skipif(SANITIZED, reason="memory has another size")
def test_a_forwarder_gives_back_what_hostile_packets_took():
    name = b"\x3f" + b"\0" * 63
    records = b"\xc0\x0c\x00\x02\x00\x01\0\0\0\0\x00\x02\xc0\x0c" * 4000
    packet = b"\0\0\x80\0\x00\x01\x0f\xa0\0\0\0\0" + name * 3 + b"\x3c" + b"\0" * 60 + b"\0\x00\x63\x00\x01" + records
    hostile = wire.record(type=6, response_time_sec=1, response_time_nsec=0, response_message=packet)
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}") as daemon:
        stream, sender = collector.accept(), Sender(daemon.address())
        before, left = figure(daemon), 12
        sender.send(*[hostile] * left)
        while left:
            stream.until(lambda: stream.data, sender.nudge)
            left -= stream.data.count(b"\n")
            stream.data.clear()
        assert figure(daemon, "VmHWM") - before > 100000
        for _ in range(80):
            sender.send(GOOD[0])
            stream.until(lambda: b"\n" in stream.data, sender.nudge)
            stream.data.clear()
        assert figure(daemon) - before < 20000


def test_the_queue_file_is_its_owners_alone():
    home = new_home({"victim": b"another's", "message.queue": b"sslz"})
    os.symlink("victim", home.name + "/message.queue.tmp")
    with Daemon(UNIX, home=home, preexec_fn=lambda: os.umask(0)) as daemon:
        Sender(daemon.address()).send(*GOOD)
        daemon.wait("Handling connection from")
        asleep(daemon)
        daemon.stop()
    file = pathlib.Path(home.name, "message.queue")
    assert stat.S_IMODE(file.stat().st_mode) == 0o600 and file.read_bytes() == wire.queue_file(GOOD)
    assert pathlib.Path(home.name, "victim").read_bytes() == b"another's"
