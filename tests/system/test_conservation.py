"""Nothing is lost but by rule: whatever peers do, the frames that were sent are those sent on, dropped, queued, refused
and skipped, and those that `drop` abandoned. With WIRELARK_SOAK the counts are those of a long run."""

import collections
import contextlib
import fcntl
import os
import pathlib
import random
import resource
import signal
import socket
import ssl
import subprocess
import sys
import termios
import threading
import time

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender, Stream, connected, free_port, same
from support.traffic import Traffic

RUNS, VISITS = (200, 10000) if "WIRELARK_SOAK" in os.environ else (20, 2000)
HELLO, STOP = wire.control(wire.READY, wire.CONTENT_TYPE), wire.control(wire.STOP)
START = wire.control(wire.START, wire.CONTENT_TYPE)
EACH_SECOND = "metrics-interval 1"
BATCH = 10


def numbered(count, size=200):
    return [wire.Record((b"%08d" % n).ljust(size, b".")) for n in range(count)]


def balanced(daemon, frames, queued, abandoned=0, skipped=0):
    """Waits for a quiet second in which the sum is right, and gives its figures."""
    for _ in range(30):
        last = daemon.next_report()["queue"][0]
        total = collections.Counter()
        for report in daemon.reports():
            for group in ("queue", "forwarder"):
                for item in report.get(group, ()):
                    total.update({key: value for key, value in item.items() if isinstance(value, int)})
        # What was returned of a batch that had gone out is sent, and counted, once more.
        again = sum(int(line.split()[3]) for line in daemon.find("previous events back"))
        left, gone = last["eventsQueued"], total["eventsSent"] - again + total["eventsDropped"] + total["dnstapErrors"]
        quiet = last["eventsProcessed"] == last["eventsDropped"] == 0
        if quiet and frames == gone + left + skipped + abandoned and queued == left:
            return total
    raise AssertionError(f"{frames} frames, but {total}, {left} queued, {again} twice:\n"
                         + "\n".join(daemon.lines[-30:]))


def drained(stream):
    """A thread that reads a stream to its end, so that a daemon is never held up."""
    def drain():
        with contextlib.suppress(ssl.SSLError):  # of a daemon that was killed
            while not stream.closed:
                stream.fill(5)

    thread = threading.Thread(target=drain, daemon=True)
    thread.start()
    return thread


def frames(stream):
    """The payloads of the data frames that came whole."""
    data, found, at = bytes(stream.data), [], 0
    while at + 4 <= len(data) and data[at:at + 4] != bytes(4):
        start, at = at + 4, at + 4 + int.from_bytes(data[at:at + 4], "big")
        found += [data[start:at]] * (at <= len(data))
    return found


def closes(stream, send, daemon):
    """In order, when it has read all, as for a restart of it."""
    last = send(5)[-1]
    stream.until(lambda: last in frames(stream))
    stream.sock.close()
    received = len(send(1))  # the kernel takes it, for nobody
    while daemon.total("receiver", "eventsReceived") != [received] or daemon.reports()[-1]["queue"][0]["eventsQueued"]:
        daemon.next_report()
    send(1)


def stuck(*_):
    """Reads nothing: the first send on the connection runs into its time-out."""


def halfway(stream, *_):
    stream.until(lambda: len(stream.data) > 15 * 4004)
    stream.reset()


def unread(stream, *_):
    """Once nothing more has come for a while: the buffers of both kernels are full then."""
    stream.until(lambda: len(stream.data) > 1000)
    waiting, before = 0, -1
    while waiting < 2000 or waiting != before:
        time.sleep(0.3)
        before, waiting = waiting, int.from_bytes(fcntl.ioctl(stream.sock, termios.FIONREAD, bytes(4)), sys.byteorder)
    stream.reset()


# What page one of the guides calls it: how, the size of the records, how many are queued before, how many in hand.
FAULTS = {"closes, having read all": (closes, 400, 0, 1), "hangs for a `write-timeout`": (stuck, 4000, 600, BATCH),
          "resets within a batch": (halfway, 4000, 600, BATCH), "resets with full buffers": (unread, 96, 2000, BATCH)}
TOLD = [[cell.strip() for cell in line.split("|")]
        for line in open(pathlib.Path(__file__).parents[2] / "docs/guides/README.md")]


@pytest.mark.parametrize("mode", MODES := ["drop", "best-effort", "durable"])
@pytest.mark.parametrize("name", FAULTS)
def test_collectors_that_fail_three_times(name, mode):
    """All batches are full, so that each failure has as many events in hand; a fourth connection gets the rest."""
    fault, size, queued, in_hand = FAULTS[name]
    collector, records, streams, sent = Collector(), iter(numbered(2000, size)), [], []
    collector.listening.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port} batch-size={BATCH} recovery={mode} "
                f"send-buffer-size=4096 write-timeout={1 if fault is stuck else 9}", "message-format dnstap",
                EACH_SECOND) as daemon:
        sender = Sender(daemon.address())

        def send(count):
            sent.extend(next(records) for _ in range(count))
            sender.send(*sent[len(sent) - count:])
            return sent

        streams.append(collector.accept())
        send(queued)
        for failures in (1, 2, 3, 4):
            streams[-1].expect(wire.control(wire.READY, wire.CONTENT_TYPE))
            streams[-1].raw(wire.control(wire.ACCEPT, wire.CONTENT_TYPE))
            streams[-1].expect(START)
            if failures < 4:
                fault(streams[-1], send, daemon)
                daemon.wait("Connection error: send() failed", failures)
                streams.append(collector.accept())
        drains = [drained(stream) for stream in streams if stream.sock.fileno() >= 0]
        balanced(daemon, len(sent), abandoned=3 * in_hand if mode == "drop" else 0, queued=0)
        assert len(daemon.find("current events back")) == (0 if mode == "drop" else 3)
        assert mode == "durable" or not daemon.find("previous events back")
        daemon.terminate()
        daemon.wait("Finished process loop")
        streams[-1].sock.settimeout(10)
        streams[-1].sock.sendall(wire.control(wire.FINISH))
        for drain in drains:
            drain.join(20)
        copies = collections.Counter(frame for stream in streams for frame in frames(stream))
    assert set(copies) <= set(sent)
    figures = len(sent) - len(copies), sum(copies.values()) - len(copies)
    print(f"{name}, {mode}: {figures[0]} / {figures[1]}")
    told = next(row for row in TOLD if row[1:2] == [f"the collector {name}"])[2 + MODES.index(mode)]
    for figure, most in zip(figures, map(int, told.split(" / "))):
        assert (figure > 0) == (most > 0) and figure <= 2 * most, told


@pytest.mark.parametrize("end, lost", [(signal.SIGTERM, 0), (signal.SIGKILL, 30)])
def test_what_an_end_of_the_daemon_costs(end, lost):
    with Daemon(UNIX, EACH_SECOND) as daemon:
        sender = Sender(daemon.address())
        sender.send(*numbered(30))
        sender.stop()
        balanced(daemon, 30, queued=30)
        daemon.terminate(end)
        daemon.process.wait(20)
    with Daemon(UNIX, EACH_SECOND, home=daemon.home) as daemon:
        assert daemon.next_report()["queue"][0]["eventsQueued"] == 30 - lost


def tls_until(limit, sock, context, server=False, payloads=(), end="close", before=lambda: None):
    """Sends no more than the first `limit` bytes of a TLS side that goes on with `payloads`, each in a TLS record, and
    breaks off. Returns how many payloads went out whole."""
    into, out, sent, whole = ssl.MemoryBIO(), ssl.MemoryBIO(), 0, -1
    tls = context.wrap_bio(into, out, server_side=server, server_hostname=None if server else "127.0.0.1")
    steps = [tls.do_handshake, *[lambda p=p: tls.write(p) for p in payloads]]
    sock.settimeout(10)
    while steps and sent <= limit:
        try:
            steps[0]()
            steps.pop(0)
            done = True
        except ssl.SSLWantReadError:
            done = False
        flight = out.read()
        sock.sendall(flight[:limit - sent])
        sent += len(flight)
        whole += done and sent <= limit
        if not done and sent <= limit:
            into.write(sock.recv(65536))
    stream = Stream(sock)
    before()
    if end == "reset":
        stream.reset()
    else:
        sock.shutdown(socket.SHUT_WR)
        stream.until(lambda: stream.closed)
        sock.close()
    return max(whole, 0)


def test_tls_clients_that_break_off_anywhere(certs):
    """At each of many bytes of the handshake and of the stream behind it: the frames that were whole before count."""
    port, sent, served = free_port(), 0, 0
    payloads = [START, *map(wire.frame, numbered(5)), STOP]
    with Daemon(f"listener ipv4 127.0.0.1 {port}" + certs.options("server", "listener"), EACH_SECOND,
                # Else each connection reads the system's authorities.
                env=os.environ | {"SSL_CERT_FILE": "/dev/null"}) as daemon:
        for end, places in (("close", range(0, 4000, 97)), ("reset", range(0, 1000, 97))):
            for place in places:
                served += 1
                # Not before its address was read: see test_traps.py for what a reset does then.
                whole = tls_until(place, connected(socket.AF_INET, ("127.0.0.1", port)), certs.context("client"),
                                  payloads=payloads,
                                  end=end, before=lambda: daemon.wait("Handling connection from", served))
                sent += min(max(whole - 1, 0), 5)
        assert sent > 50
        daemon.wait("Is finished", served)
        balanced(daemon, sent, queued=sent)


def test_tls_collectors_that_break_off_anywhere(certs):
    """The same on the other side: what is queued goes out when the forwarder comes again after its pause."""
    places, records = (0, 1, 5, 6, 100, 700, 10**6), numbered(50)
    context = certs.context("server", server=True, verify=False)
    targets = [Collector() for _ in places]
    with Daemon(UNIX, *[f"forwarder ipv4 127.0.0.1 {t.port} tls=on tls-validate=off" for t in targets], EACH_SECOND,
                "message-format dnstap") as daemon:
        for number, (target, place) in enumerate(zip(targets, places)):
            tls_until(place, target.accept().sock, context, True, end=("close", "reset")[number % 2])
            target.tls = context
        daemon.wait("Connection error", len(places))
        streams = [target.accept("bidirectional") for target in targets]
        drains = [drained(stream) for stream in streams]
        Sender(daemon.address()).send(*records)
        balanced(daemon, len(records), queued=0)
        daemon.process.kill()
        daemon.process.wait(20)
        for drain in drains:
            drain.join(20)
        assert sorted(frame for stream in streams for frame in frames(stream)) == records


def test_crowds_of_clients():
    """Thousands that come and go, more than are let in, and one that sends a byte at a time."""
    limits = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (limits[1], limits[1]))  # the daemon inherits it
    most = 1500 if limits[1] > 4000 else 300
    with Daemon(UNIX + f" max-connections={most - 100} read-timeout=60", UNIX.replace("dnstap", "other"),
                EACH_SECOND) as daemon:
        trickle = connected(socket.AF_UNIX, daemon.address("other.sock"))
        for byte in (START + b"".join(map(wire.frame, numbered(3))))[:-1]:
            trickle.send(bytes([byte]))
        trickle.close()
        for _ in range(VISITS):
            connected(socket.AF_UNIX, daemon.address("other.sock")).close()
        daemon.wait("Listener[1]: Receiver", 1 + VISITS, 60)
        crowd, taken = [Stream(connected(socket.AF_UNIX, daemon.address())) for _ in range(most)], []
        for stream in crowd:
            with contextlib.suppress(BrokenPipeError, ConnectionResetError):  # turned away
                stream.raw(HELLO)
                stream.until(lambda: stream.closed or stream.data)
                taken += [stream] if stream.data else []
        assert len(taken) == most - 100
        for stream in taken:
            stream.raw(START, wire.frame(b"from a crowd"), STOP)
        for stream in taken:
            stream.until(lambda: stream.closed)
        balanced(daemon, 2 + len(taken), queued=2 + len(taken))
        report = daemon.next_report()
        assert [r["activeReceivers"] for r in report["listener"]] == [0, 0]
        assert report["listener"][0]["peakReceivers"] == most - 100


def test_what_is_skipped_and_what_is_broken_is_told_apart():
    """Text: records without a message are skipped in silence, broken ones counted, and a ring far too small drops."""
    records, model = Traffic(9).records(60) * 5, Model()
    skipped = sum(not model([r]) for r in records)
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}", EACH_SECOND) as daemon:
        stream = collector.accept()
        drain = drained(stream)
        Sender(daemon.address()).send(*[r for record in records
                                        for r in (record, wire.NUDGE, b"\x0f broken", record[:-3])])
        total = balanced(daemon, 4 * len(records), skipped=skipped + len(records), queued=0)
        assert (total["eventsSent"], total["dnstapErrors"]) == (len(records) - skipped, 2 * len(records))
        model.pid = daemon.pid
        daemon.stop()
        drain.join(10)
        same(bytes(stream.data), model(records))
    with Daemon(UNIX, "message-queue-size 5000", EACH_SECOND) as daemon:
        Sender(daemon.address()).send(*numbered(20000))
        assert balanced(daemon, 20000, queued=5000 // 203)["eventsDropped"] == 20000 - 5000 // 203


def test_clients_that_are_cut_off_or_send_anything():
    """Frames that were whole count, and nothing else does."""
    stream, noise = START + b"".join(map(wire.frame, numbered(2))), random.Random(4)
    with Daemon(UNIX, EACH_SECOND) as daemon:
        for count in range(1, 206 + 100):
            sock = connected(socket.AF_UNIX, daemon.address())
            sock.sendall(stream[:len(stream) - count + 1] if count < 206 else b"\x01" + noise.randbytes(99))
            sock.close()
        daemon.wait("Is finished", 305)
        balanced(daemon, 206, queued=206)


def stopped_somewhere(seed, results):
    """One run under full load that is told to stop when its collector has read so much, or, each fourth, nothing yet.
    What went on and what was kept are together the first so many of the frames, in order: none lost, none twice."""
    collector, records = Collector(), numbered(30000, 100)
    data = b"".join(map(wire.frame, records))
    moment = random.Random(seed).randrange(len(data) * 9 // 10) if seed % 4 else None
    with Daemon(UNIX + " read-timeout=1 write-timeout=1", "message-format dnstap",
                f"forwarder ipv4 127.0.0.1 {collector.port} fstrm-mode=unidirectional write-timeout=5 "
                "send-buffer-size=65536") as daemon:
        sender = Sender(daemon.address(), bidirectional=False)

        def flood():
            try:
                for at in range(0, len(data), 7001):
                    sender.raw(data[at:at + 7001])
            except OSError:
                pass  # the daemon has gone

        flooding = threading.Thread(target=flood)
        flooding.start()
        stream = collector.accept("unidirectional")
        if moment is None:
            flooding.join()  # all is queued then, but for what fits into the sockets' buffers
        else:
            stream.until(lambda: len(stream.data) > moment, deadline=60)
        drain = drained(stream)
        begun = time.monotonic()
        log = daemon.stop()
        took = time.monotonic() - begun
        flooding.join()
        file = f"{daemon.path}/message.queue"
        tool = os.path.join(os.path.dirname(os.environ["WIRELARK"]), "wirelark-queue")
        checked = subprocess.run([tool, "verify", file], capture_output=True)
        content, kept = pathlib.Path(file).read_bytes(), []
        at = 4
        while at < len(content):
            kept.append(content[at + 5:at + 5 + int.from_bytes(content[at:at + 4], "big")])
            at += 5 + len(kept[-1])
        drain.join(20)
        together = frames(stream) + kept
        results.append((seed, took, log[-1], checked.returncode, content == wire.queue_file(kept),
                        together == records[:len(together)], len(together) - len(kept), len(kept)))


def test_a_stop_at_any_moment():
    """The collector reads from the stop on at the latest, and a listener looks up every three seconds; so each stop is
    over well within eight."""
    results = []
    for first in range(0, RUNS, 10):
        threads = [threading.Thread(target=stopped_somewhere, args=(seed, results))
                   for seed in range(first, first + 10)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    assert len(results) == RUNS
    print(f"longest stop: {max(took for _, took, *_ in results):.1f} s")
    for seed, took, last, checked, whole, ordered, sent, kept in results:
        assert (last, checked, whole, ordered) == ("[INFO] Stopped", 0, True, True) and took < 8, results
        assert kept if seed % 4 == 0 else sent


@pytest.mark.skipif(os.getuid() != 0, reason="only root may mount a small disk")
def test_a_disk_that_is_full_at_the_stop():
    """The failure is told, and neither an older file nor the next start is harmed by what could not be written."""
    home = new_home()
    disk = home.name + "/disk"
    os.mkdir(disk)
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "wirelark-test", disk],
                      capture_output=True).returncode:
        pytest.skip("mount is not allowed here")
    try:
        with Daemon(UNIX, "message-queue-filename disk/q", EACH_SECOND, home=home) as daemon:
            Sender(daemon.address()).send(*numbered(2000))
            balanced(daemon, 2000, queued=2000)
            log = daemon.stop()
        assert log[-1].startswith("[ERROR] Run failed: Write next event to disk/q.tmp failed: No space left on device")
        assert os.listdir(disk) == []
    finally:
        subprocess.run(["umount", "-l", disk], check=True)
