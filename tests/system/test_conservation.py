"""Nothing is lost but by rule: whatever peers do, the frames that were sent are those sent on, dropped, queued, refused
and skipped, and those that `drop` abandoned. With WIRELARK_SOAK the counts are those of a long run."""

import collections
import contextlib
import os
import pathlib
import random
import resource
import signal
import socket
import ssl
import subprocess
import threading
import time

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender, Stream, connected, free_port, same
from support.traffic import Traffic

SOAK = "WIRELARK_SOAK" in os.environ
HELLO = wire.control(wire.READY, wire.CONTENT_TYPE)
ACCEPT = wire.control(wire.ACCEPT, wire.CONTENT_TYPE)
START = wire.control(wire.START, wire.CONTENT_TYPE)
STOP = wire.control(wire.STOP)
EACH_SECOND = "metrics-interval 1"
BATCH = 10


def numbered(count, size=200):
    return [wire.Record((b"%08d" % n).ljust(size, b".")) for n in range(count)]


def deliver(daemon, records, address="dnstap.sock"):
    sender = Sender(daemon.address(address))
    sender.send(*records)
    sender.stop()


def balanced(daemon, frames, skipped=0, abandoned=0, queued=None):
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
        if quiet and frames == gone + left + skipped + abandoned and queued in (None, left):
            return total
    raise AssertionError(f"{frames} frames, but {total}, {left} queued, {again} twice:\n" + "\n".join(daemon.lines[-30:]))


class Drain(threading.Thread):
    """Reads a stream to its end, so that a daemon is never held up."""

    def __init__(self, stream):
        super().__init__(daemon=True)
        self.stream = stream
        self.start()

    def run(self):
        with contextlib.suppress(ssl.SSLError):  # of a daemon that was killed
            while not self.stream.closed:
                self.stream.fill(5)

    def frames(self):
        """The payloads of all data frames of what is to be a dnstap stream behind its START."""
        self.join(20)
        return frames(self.stream)


def frames(stream):
    """The payloads of the data frames that came whole."""
    data, found, at = bytes(stream.data), [], 0
    while at + 4 <= len(data) and data[at:at + 4] != bytes(4):
        start, at = at + 4, at + 4 + int.from_bytes(data[at:at + 4], "big")
        found += [data[start:at]] * (at <= len(data))
    return found


def closes(stream, send, daemon):
    """In order, when it has read all, as for a restart of it."""
    send(5)
    while stream.fill(0.5):
        pass
    stream.sock.close()
    send(1)  # the kernel takes it, for nobody
    daemon.next_report()
    send(1)


def stuck(*_):
    """Reads nothing: the first send on the connection runs into its time-out."""


def halfway(stream, *_):
    stream.until(lambda: len(stream.data) > 15 * 4004)
    stream.reset()


def unread(stream, *_):
    stream.until(lambda: len(stream.data) > 1000)
    stream.reset()


# What page one of the guides calls it: how, the size of the records, how many are queued before, and in hand at each failure.
FAULTS = {"closes, having read all": (closes, 400, 0, 1), "hangs for a `write-timeout`": (stuck, 4000, 600, BATCH),
          "resets within a batch": (halfway, 4000, 600, BATCH), "resets with some 40 events unread": (unread, 96, 2000, BATCH)}
TOLD = [[cell.strip() for cell in line.split("|")] for line in open(pathlib.Path(__file__).parents[2] / "docs/guides/README.md")]


@pytest.mark.parametrize("mode", MODES := ["drop", "best-effort", "durable"])
@pytest.mark.parametrize("name", FAULTS)
def test_collectors_that_fail_three_times(name, mode):
    """All batches are full, so that each failure has as many events in hand; a fourth connection gets the rest."""
    fault, size, queued, in_hand = FAULTS[name]
    collector, records, streams, sent = Collector(), iter(numbered(2000, size)), [], []
    collector.listening.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port} batch-size={BATCH} recovery={mode} send-buffer-size=4096 "
                f"write-timeout={1 if fault is stuck else 9}", "message-format dnstap", EACH_SECOND) as daemon:
        sender = Sender(daemon.address())

        def send(count):
            sent.extend(next(records) for _ in range(count))
            sender.send(*sent[len(sent) - count:])

        streams.append(collector.accept())
        send(queued)
        for failures in (1, 2, 3, 4):
            streams[-1].expect(HELLO)
            streams[-1].raw(ACCEPT)
            streams[-1].expect(START)
            if failures < 4:
                fault(streams[-1], send, daemon)
                daemon.wait("Connection error: send() failed", failures)
                streams.append(collector.accept())
        drains = [Drain(stream) for stream in streams if stream.sock.fileno() >= 0]
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
        deliver(daemon, numbered(30))
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
                env=os.environ | {"SSL_CERT_FILE": "/dev/null"}) as daemon:  # else each connection reads the system's authorities
        for end, places in (("close", range(0, 4000, 97)), ("reset", range(0, 1000, 97))):
            for place in places:
                served += 1
                # Not before its address was read: see test_traps.py for what a reset does then.
                whole = tls_until(place, connected(socket.AF_INET, ("127.0.0.1", port)), certs.context("client"), payloads=payloads,
                                  end=end, before=lambda: daemon.wait("Handling connection from", served))
                sent += min(max(whole - 1, 0), 5)
        assert sent > 50
        daemon.wait("Is finished", served)
        balanced(daemon, sent, queued=sent)


def test_tls_collectors_that_break_off_anywhere(certs):
    """The same on the other side: what is queued goes out when the forwarder comes again after its pause."""
    places, records, context = (0, 1, 5, 6, 100, 700, 10**6), numbered(50), certs.context("server", server=True, verify=False)
    targets = [Collector() for _ in places]
    with Daemon(UNIX, *[f"forwarder ipv4 127.0.0.1 {t.port} tls=on tls-validate=off" for t in targets], EACH_SECOND,
                "message-format dnstap") as daemon:
        for number, (target, place) in enumerate(zip(targets, places)):
            tls_until(place, target.accept().sock, context, True, end=("close", "reset")[number % 2])
            target.tls = context
        daemon.wait("Connection error", len(places))
        drains = [Drain(target.accept("bidirectional")) for target in targets]
        deliver(daemon, records)
        balanced(daemon, len(records), queued=0)
        daemon.process.kill()
        assert sorted(frame for drain in drains for frame in drain.frames()) == records


def test_clients_of_all_sorts():
    """Trickling, cut off, garbage, thousands that come and go: frames that were whole count, and nothing else does."""
    limits = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (limits[1], limits[1]))  # the daemon inherits it
    most = 1500 if limits[1] > 4000 else 300
    with Daemon(UNIX + f" max-connections={most - 100} read-timeout=60", UNIX.replace("dnstap", "other"), EACH_SECOND) as daemon:
        sent = 0
        trickle = connected(socket.AF_UNIX, daemon.address("other.sock"))
        pieces = START + b"".join(map(wire.frame, numbered(3)))
        for byte in pieces[:-1]:
            trickle.send(bytes([byte]))
        trickle.close()
        sent += 2
        for cut in range(0, 205):  # at each byte of the second frame
            sock = connected(socket.AF_UNIX, daemon.address("other.sock"))
            sock.sendall((START + b"".join(map(wire.frame, numbered(2))))[:len(START) + 204 + cut])
            sock.close()
            sent += 1 + (cut == 204)
        noise = random.Random(4)
        for _ in range(100):
            sock = connected(socket.AF_UNIX, daemon.address("other.sock"))
            sock.sendall(b"\x01" + noise.randbytes(99))
            sock.close()
        for _ in range(10000 if SOAK else 2000):
            connected(socket.AF_UNIX, daemon.address("other.sock")).close()
        daemon.wait("Listener[1]: Receiver", 306 + (10000 if SOAK else 2000), 60)
        crowd = [connected(socket.AF_UNIX, daemon.address()) for _ in range(most)]
        taken = []
        for sock in crowd:
            with_place = Stream(sock)
            try:
                with_place.raw(HELLO)
                with_place.until(lambda: with_place.closed or len(with_place.data) == len(ACCEPT))
                taken += [with_place] if with_place.data else []
            except (BrokenPipeError, ConnectionResetError):
                pass  # turned away
        assert len(taken) == most - 100
        for stream in taken:
            stream.raw(START, wire.frame(b"from a crowd"), STOP)
        for stream in taken:
            stream.until(lambda: stream.closed)
        sent += len(taken)
        balanced(daemon, sent, queued=sent)
        report = daemon.next_report()
        assert [r["activeReceivers"] for r in report["listener"]] == [0, 0] and report["listener"][0]["peakReceivers"] == most - 100


def test_what_is_skipped_and_what_is_broken_is_told_apart():
    """Text: records without a message are skipped in silence, broken ones are counted, and a ring far too small drops."""
    records, model = Traffic(9).records(60) * 5, Model()
    skipped = sum(not model([r]) for r in records)
    mixed = [r for record in records for r in (record, wire.NUDGE, b"\x0f broken", record[:-3])]
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}", EACH_SECOND) as daemon:
        stream = collector.accept()
        drain = Drain(stream)
        deliver(daemon, mixed)
        total = balanced(daemon, len(mixed), skipped=skipped + len(records), queued=0)
        assert (total["eventsSent"], total["dnstapErrors"]) == (len(records) - skipped, 2 * len(records))
        model.pid = daemon.pid
        daemon.stop()
        drain.join(10)
        same(bytes(stream.data), model(records))
    with Daemon(UNIX, "message-queue-size 5000", EACH_SECOND) as daemon:
        deliver(daemon, numbered(20000))
        assert balanced(daemon, 20000)["eventsDropped"] == 20000 - 5000 // 203


def stopped_somewhere(seed, results):
    """One run under full load that is told to stop at a moment of its own. What went on and what was kept are together
    the first so many of the frames, in order: none lost, none twice."""
    chance, collector, records = random.Random(seed), Collector(), numbered(30000, 100)
    with Daemon(UNIX + " read-timeout=1 write-timeout=1", "message-format dnstap",
                f"forwarder ipv4 127.0.0.1 {collector.port} fstrm-mode=unidirectional write-timeout=1") as daemon:
        sender = Sender(daemon.address(), bidirectional=False)

        def flood():
            data = b"".join(map(wire.frame, records))
            try:
                for at in range(0, len(data), 7001):
                    sender.raw(data[at:at + 7001])
            except OSError:
                pass  # the daemon has gone

        flooding = threading.Thread(target=flood)
        flooding.start()
        stream = collector.accept("unidirectional")
        drain = Drain(stream)
        time.sleep(chance.random() * 1.5)
        begun = time.monotonic()
        log = daemon.stop()
        took = time.monotonic() - begun
        flooding.join()
        file = f"{daemon.path}/message.queue"
        checked = subprocess.run([os.path.join(os.path.dirname(os.environ["WIRELARK"]), "wirelark-queue"), "verify", file], capture_output=True)
        content, kept = pathlib.Path(file).read_bytes(), []
        at = 4
        while at < len(content):
            kept.append(content[at + 5:at + 5 + int.from_bytes(content[at:at + 4], "big")])
            at += 5 + len(kept[-1])
        together = drain.frames() + kept
        results.append((seed, took, log[-1], checked.returncode, content == wire.queue_file(kept),
                        together == records[:len(together)], len(together) - len(kept), len(kept)))


def test_a_stop_at_any_moment():
    """Time-outs are a second here and a listener looks up every three; so each stop is over well within eight."""
    results = []
    for first in range(0, 200 if SOAK else 20, 10):
        threads = [threading.Thread(target=stopped_somewhere, args=(seed, results)) for seed in range(first, first + 10)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    assert len(results) == (200 if SOAK else 20)
    for seed, took, last, checked, whole, ordered, sent, kept in results:
        assert (last, checked, whole, ordered) == ("[INFO] Stopped", 0, True, True) and took < 8, results
    print(f"longest {max(r[1] for r in results):.1f} s; sent and kept", [r[6:] for r in results][:8])
    assert any(r[6] for r in results) and any(r[7] for r in results)


@pytest.mark.skipif(os.getuid() != 0, reason="only root may mount a small disk")
def test_a_disk_that_is_full_at_the_stop():
    """The failure is told, and neither an older file nor the next start is harmed by what could not be written."""
    home = new_home()
    os.mkdir(home.name + "/disk")
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "wirelark-test", home.name + "/disk"], capture_output=True).returncode:
        pytest.skip("mount is not allowed here")
    try:
        for count in (2000, 320):  # the second fills the last block of the disk, which is seen at the close only
            with Daemon(UNIX, "message-queue-filename disk/q", EACH_SECOND, home=home) as daemon:
                deliver(daemon, numbered(count))
                balanced(daemon, count, queued=count)
                log = daemon.stop()
            if count == 2000:
                assert log[-1].startswith("[ERROR] Run failed: Write next event to disk/q.tmp failed: No space left on device")
                assert os.listdir(home.name + "/disk") == []
        assert log[-1] == "[INFO] Stopped"  # all but the last record can be had from the file
        same(pathlib.Path(home.name, "disk/q").read_bytes(), wire.queue_file(numbered(320))[:65536])
    finally:
        subprocess.run(["umount", "-l", home.name + "/disk"], check=True)
