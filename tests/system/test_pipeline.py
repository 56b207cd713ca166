"""Events on their whole road: every kind of way in, of format and of way out, byte by byte against the model."""

import concurrent.futures
import os
import re
import socket

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender, deliver, free_port, same
from support.traffic import Traffic

QUERY = bytes.fromhex("1234 0100 0001 0000 0000 0000 03777777 07 4578616d706c65 03636f6d 00 0001 0001")
NO_QUESTION = bytes.fromhex("1234 0100 0000 0000 0000 0000")
CLIENT = dict(type=5, socket_family=1, socket_protocol=1, query_address=bytes([192, 0, 2, 1]),
              response_address=bytes([192, 0, 2, 53]),
              query_port=53211, query_time_sec=1709967902, query_time_nsec=123456789)
QUESTION = wire.record(**CLIENT, query_message=QUERY)


def frames(records):
    return b"".join(map(wire.frame, records))


def swapped(port):
    return socket.htons(port)  # the log shows a peer's port as the socket address holds it


# Name; listener, sender's mode; target and its options; format. A listener named "tls" demands a client certificate.
ROADS = [
    ("unix", "bidirectional", "127.0.0.1", "", {}),
    ("tcp", "unidirectional", "localhost", "batch-size=1", {"form": "querylog"}),
    ("tcp6", "bidirectional", "::1", "tls", {"form": "querylog", "extended": True, "host": "", "priority": 190,
                                             "mode": "config", "suffixes": ("corp.EXAMPLE.com", "jp", "x.nosuchtld")}),
    ("tls", "unidirectional", "127.0.0.1", "", {"form": "querylog", "rfc3164": True, "extended": True, "mode": "off",
                                                "dot": False}),
    ("tls", "bidirectional", "localhost", "tls", {"host": 'n"s/1', "mode": "builtin", "dot": False,
                                                  "suffixes": ("com",)}),
    ("unix", "unidirectional", "::1", "", {"mode": "off"}),
    ("tcp", "bidirectional", "127.0.0.1", "fstrm-mode=bidirectional", {"form": "dnstap"}),
    ("tls", "unidirectional", "127.0.0.1", "fstrm-mode=unidirectional tls", {"form": "dnstap"}),
    ("unix", "bidirectional", "::1", "fstrm-mode=bidirectional tls batch-size=3", {"form": "dnstap"}),
]


def settings(options):
    """The lines of the configuration that make the daemon do what Model(**options) expects."""
    o = {"form": "json", **options}
    yield f"message-format {o['form']}"
    yield "message-querylog-format " + ("extended" if o.get("extended") else "standard")
    yield "message-syslog-format " + ("bsd" if o.get("rfc3164") else "none")
    yield f"message-syslog-priority {o.get('priority', 30)}"
    yield f"domain-suffix-mode {o.get('mode', 'all')}"
    yield from (f"domain-suffix {suffix}." for suffix in o.get("suffixes", ()))
    yield "message-fqdn-format " + ("with-trailing-dot" if o.get("dot", True) else "without-trailing-dot")
    if "host" in o:
        yield f"message-hostname {o['host']}"


def in_order(lines, log):
    rest = iter(log)
    assert all(line in rest for line in lines), f"{lines} do not stand in this order in {log}"


def whole_run(certs, way, mode, target, out, options):
    port, dnstap, secure = free_port(), options.get("form") == "dnstap", "tls" in out
    collector = Collector("127.0.0.1" if target == "localhost" else target,
                          certs.context("server", server=True) if secure else None)
    host = "::1" if way == "tcp6" else "127.0.0.1"
    place = "dnstap.sock" if way == "unix" else f"{host}:{port}"
    listener = UNIX if way == "unix" else f"listener ipv{6 if way == 'tcp6' else 4} {host} {port}"
    forwarder = f"forwarder ipv{6 if ':' in target else 4} {target} {collector.port} {out.replace('tls', '')}"
    daemon = Daemon(listener + (certs.options("server", "listener") if way == "tls" else ""),
                    forwarder + (certs.options("client", "forwarder") if secure else ""), "metrics-interval 1",
                    *settings(options))
    with daemon:
        model = frames if dnstap else Model(pid=daemon.pid, **options)
        there = collector.accept(re.sub("fstrm-mode=| .*", "", out) if dnstap else None)
        sender = Sender(daemon.address() if way == "unix" else (host, port),
                        certs.context("client") if way == "tls" else None, mode == "bidirectional")
        sender.send(*Traffic(way + target).records(200))
        deliver(sender, there, model)
        there.data.clear()
        sender.stop()
        daemon.wait("Receiver[0]: Finished")
        daemon.next_report()
        daemon.terminate()
        if dnstap:
            there.expect(wire.control(wire.STOP))
        if "bidirectional" in out.replace("unidirectional", ""):
            there.raw(wire.control(wire.FINISH))
        there.ended()
        log = daemon.ended()
    secured = ["TlsSocket[0]: TLS handshake complete"]
    peer = (f"uid={os.getuid()} gid={os.getgid()} pid={os.getpid()}" if way == "unix"
            else f"{host}:{swapped(sender.port)}")
    actors = [
        ["Forwarder[0]: Starting process loop", f"Forwarder[0]: Configured target is {target}:{collector.port}",
         "Socket[0]: Connected to " + ("127.0.0.1" if target == "localhost" else f"{target}:{collector.port}"),
         *(secured if secure else []),
         *(["FstrmSocket[0]: Stream ready"] if dnstap else []), "Forwarder[0]: Finished process loop"],
        ["Listener[0]: Starting process loop", "Listener[0]: Listening on " + ("path is " if way == "unix" else "")
         + place,
         f"Socket[0]: Listening on {place}", "Listener[0]: Handling connection", "Listener[0]: Finished process loop"],
        ["Receiver[0]: Starting process loop", f"Receiver[0]: Handling connection from {peer}",
         *(secured if way == "tls" else []),
         "Listener[0]: Receiver[0] Is finished", "Receiver[0]: Finished process loop"],
        ["BackgroundLogger: Starting process loop", "BackgroundLogger: Finished process loop"]]
    first = ["Started", f"Changing directory to {daemon.path}", f"Reading config from {daemon.config}"]
    text = [line.removeprefix("[INFO] ") for line in log if "Metrics: " not in line]
    assert sorted(text) == sorted(first + sum(actors, []) + ["Stopped"])
    assert (text[:3], text[-1]) == (first, "Stopped")
    for actor in actors:
        in_order(actor, text)
    events = len(sender.sent if dnstap else [r for r in sender.sent if r.fields])
    assert daemon.total("forwarder", "connects", "eventsSent", "bytesSent",
                        "dnstapErrors") == [1, events, len(model(sender.sent)), 0]
    processed, dropped = daemon.total("queue", "eventsProcessed", "eventsDropped")
    last = daemon.reports()[-1]
    assert (processed + last["queue"][0]["eventsQueued"], dropped) == (len(sender.sent), 0)
    assert (daemon.total("listener", "accepts"), last["listener"][0]["activeReceivers"]) == ([1], 0)


@pytest.fixture(scope="module")
def runs(certs):
    """All of them side by side, as each spends three seconds on its stop."""
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        yield [pool.submit(whole_run, certs, *road) for road in ROADS]


@pytest.mark.parametrize("number", range(len(ROADS)),
                         ids=[" ".join(r[:4]) + f" {r[4].get('form', 'json')}" for r in ROADS])
def test_a_whole_run(number, runs):
    runs[number].result()


# What the extraction makes of a record: an event, an error event, nothing (skipped), or an error that is only counted.
def changed(**fields):
    return wire.record(**{**CLIENT, "query_message": QUERY, **fields})


def without(*names, **fields):
    return wire.record(**{k: v for k, v in {**CLIENT, "query_message": QUERY, **fields}.items() if k not in names})


RESPONSE = dict(type=6, response_time_sec=17, response_message=QUERY)
EVENTS = [QUESTION, changed(type=1), changed(type=11), changed(query_port=0), changed(socket_protocol=7),
          changed(query_time_nsec=999999999),
          changed(query_time_nsec=0), changed(query_address=bytes(12) + bytes([192, 0, 2, 9])),
          without("query_address", "response_address"),
          changed(socket_family=2, query_address=bytes(10) + b"\xff\xff\xc0\x00\x02\x01"),
          without("query_time_sec", "query_time_nsec", **RESPONSE),
          wire.record(b"ns", b"1", b"x", **CLIENT, query_message=QUERY), changed(socket_protocol=65538)]


def packet(counts, *parts):
    """A response with the counts of its header, that question, and records."""
    return b"\x12\x34\x81\x80" + b"".join(bytes([0, n]) for n in counts) + QUERY[12:] + b"".join(parts)


ADDRESS = bytes.fromhex("0001 0001 0000012c 0004 c0000250")  # without its owner
A, OPT = b"\xc0\x0c" + ADDRESS, bytes.fromhex("00 0029 04d0 00000000 0000")
SIG = bytes.fromhex("00 0018 0001 00000000 0013 0001 0500 00000001 00000002 00000003 0004 00")
CNAME = bytes.fromhex("c00c 0005 0001 00000000 0006 0343646e c010")
EVENTS += [without("query_message", **{**RESPONSE, "response_message": message}) for message in (
    packet((1, 0, 0, 0), b"behind the end"), packet((1, 1, 1, 1), A, A, A), packet((1, 1, 0, 3), A, OPT, A, A),
    packet((1, 3, 0, 0), CNAME, b"\xc0\x2d" + ADDRESS, b"\xc0\x2d" + ADDRESS),  # owners within record data
    # at an owner, at its pointer
    packet((1, 2, 1, 0), b"\1B\xc0\x0c" + ADDRESS, b"\xc0\x21" + ADDRESS, b"\xc0\x23" + ADDRESS),
    # left out, in the header
    packet((1, 0, 0, 2), b"\1B" + SIG, b"\xc0\x21" + ADDRESS), packet((1, 1, 0, 0), b"\xc0\4" + ADDRESS))]
ERRORS = [(changed(query_message=message), "Read DNS message failed: " + text) for message, text in (
    (NO_QUESTION, "No question RRs 0 is not 1"),
    (packet((2, 0, 0, 0), QUERY[12:]), "No question RRs 2 is not 1"),
    (QUERY[:11], "Read uint16_t failed: Offset 10 + 2 is out of bounds for data of 11 bytes"),
    (QUERY[:12] + b"\xc0\x0c\0\1\0\1",
     "Read FQDN failed: DNS name has at least 128 label pointers which is more than the maximum allowed of 127"),
    (packet((1, 3, 0, 0), A, A), "Read uint8_t failed: Offset 65 + 1 is out of bounds for data of 65 bytes"),
    (packet((1, 1, 0, 0), A[:-5] + b"\5abcde"), "A record data length is 5 but should be 4"),
    (packet((1, 1, 0, 0), A[:-5] + b"\5abcd"),
     "Offset 45 + record data length 5 is out of bounds for packet of 49 bytes"),
    (packet((1, 0, 0, 1), OPT[:-1] + b"\1"),
     "Offset 44 + record data length 1 is out of bounds for packet of 44 bytes"))]
SKIPPED = [wire.NUDGE, changed(type=0), changed(type=13), changed(type=2**32 + 5), without("query_message"),
           without("query_message", **{**RESPONSE, "response_message": b""}), wire.record(b"only identity")]
COUNTED = [changed(query_time_sec=0), without("query_time_sec", response_time_sec=5), changed(query_time_nsec=10**9),
           changed(type=6),
           changed(query_address=b"12345"), changed(response_address=b"1" * 15), b"rubbish", b"\x0a",
           wire.field(15, 0, 2), wire.record(before=wire.field(14, 0, 1)), QUESTION[:-3]]


@pytest.mark.parametrize("options", [{}, {"form": "querylog", "extended": True}], ids=["json", "querylog"])
def test_what_becomes_of_odd_records(options):
    """Everything goes down one connection, and a bad record does not keep the good ones from arriving."""
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}", "metrics-interval 1", *settings(options)) as daemon:
        model, texts = Model(pid=daemon.pid, **options), {bytes(r): text for r, text in ERRORS}
        expected = lambda records: "".join(model.event(r, texts.get(bytes(r)))
                                           for r in records if isinstance(r, wire.Record)
                                           and r not in COUNTED).encode()
        there = collector.accept()
        sender = Sender(daemon.address())
        groups = [EVENTS, [r for r, _ in ERRORS], SKIPPED, COUNTED]
        sender.send(*[r for group in zip(*[g * 9 for g in groups]) for r in group], *EVENTS)
        deliver(sender, there, expected)
        count = sum(bytes(r) in map(bytes, COUNTED) for r in sender.sent)
        daemon.next_report()
        assert daemon.total("forwarder", "dnstapErrors") == [count]


@pytest.mark.parametrize("form", ["json", "querylog", "dnstap"])
def test_run_stdout(form):
    """Events stand between the log's lines; nothing connects, and the queue file is left alone."""
    records = Traffic(form).records(50)
    home = new_home({"message.queue": b"not for this run"})
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {free_port()}", f"message-format {form}", verb="run-stdout", home=home,
                terminal=True) as daemon:
        sender = Sender(daemon.address())
        sender.send(*records)
        model = frames if form == "dnstap" else Model(form, pid=daemon.pid)

        expected = model(sender.sent)

        def printed():
            events = [line for line in daemon.lines if line and not line.startswith("[")]
            return (bytes.fromhex("".join(events)) if form == "dnstap"
                    else "".join(e + "\n" for e in events).encode("latin-1"))

        # A batch that lay there is woken by a nudge, which shows in the dnstap format only.
        sender.until(lambda: len(printed()) >= len(expected), sender.nudge)
        same(printed()[:len(expected)], expected)
        sender.stop()
        log = daemon.stop()
        assert open(daemon.address("message.queue"), "rb").read() == b"not for this run"
        assert "[INFO] Stopped" in log and not [line for line in log if "Connected" in line or "[ERROR]" in line]
        [report] = daemon.reports()
        sent = report["forwarder"][0]
        assert (sent["state"], sent["connects"], sent["bytesSent"]) == ("not-connected", 0, len(printed()))


def test_two_forwarders_share_the_events():
    """Each event goes to one of them, whole, though both format at once."""
    collectors = [Collector(), Collector()]
    with Daemon(UNIX, *[f"forwarder ipv4 127.0.0.1 {c.port} batch-size=7" for c in collectors]) as daemon:
        streams = [c.accept() for c in collectors]
        sender = Sender(daemon.address())
        records = Traffic("shared").records(50)
        expected = Model(pid=daemon.pid)(records * 40)
        for _ in range(40):
            sender.send(*records)
            for stream in streams:
                stream.fill(0.01)
        for _ in range(50):
            if sum(len(s.data) for s in streams) < len(expected):
                sender.nudge()
                for stream in streams:
                    stream.fill(0.1)
        assert all(s.data.endswith(b"\n") for s in streams)
        same(b"".join(sorted(b"".join(bytes(s.data) for s in streams).splitlines(True))),
             b"".join(sorted(expected.splitlines(True))))
