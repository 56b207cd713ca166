"""Debian's DNS servers, log daemons and Frame Streams tools on both sides of the daemon."""

import datetime
import json
import pathlib
import re
import tempfile
import time

import dns.rdatatype
import pytest

from support import servers, wire
from support.certs import certs  # noqa: F401, a fixture
from support.daemon import UNIX, Daemon, ends_cleanly  # noqa: F401, a fixture
from support.model import Model
from support.peers import Collector, Sender
from support.servers import LOCAL, Client
from support.traffic import KINDS, Traffic

HEAD = ["zone.example. 300 IN SOA ns.zone.example. host.zone.example. 1 3600 600 86400 60",
        "zone.example. 300 IN NS ns.zone.example.", "ns.zone.example. 300 IN A 127.0.0.1"]
ZONE = HEAD + ["www.zone.example. 300 IN A 192.0.2.80", "www.zone.example. 300 IN A 192.0.2.81",
               "www.zone.example. 60 IN AAAA 2001:db8::80", "zone.example. 300 IN MX 10 mail.zone.example.",
               'zone.example. 300 IN TXT "a b" "say \\"c\\""',
               "_sip._tcp.zone.example. 300 IN SRV 10 60 5060 www.zone.example.",
               "www.zone.example. 300 IN HTTPS 1 . alpn=h2,h3 port=8443 ipv4hint=192.0.2.80"]
QUESTIONS = [("www.zone.example", "A"), ("WWW.Zone.Example", "AAAA"), ("zone.example", "MX"), ("zone.example", "TXT"),
             ("_sip._tcp.zone.example", "SRV"), ("www.zone.example", "HTTPS"),
             ("zone.example", "SOA"), ("no\\.dot\\000.zone.example", "A"), ("zone.example", "CAA")]


@pytest.fixture
def home():
    with tempfile.TemporaryDirectory(prefix="peer.") as path:
        yield path


def forward(collector, *config, options=""):
    return Daemon(*config, f"forwarder ipv4 {LOCAL} {collector.port}{options}")


def undated(line):
    return re.sub(rb'^{"timestamp":"[^"]*"', b'{"timestamp":""', line)


def same_events(stream, client, since):
    """Everything that `client` asked has come as JSON, each event exactly once and as the packets have it."""
    def told():
        return [line for line in bytes(stream.data).splitlines(True) if b'"qname":"probe."' not in line]

    model = Model()
    expected = sorted(undated(model([record])) for record in client.records)
    stream.until(lambda: len(told()) >= len(expected), client.nudge, deadline=60)
    assert sorted(map(undated, told())) == expected
    for line in told():
        at = datetime.datetime.fromisoformat(re.sub(r"\.\d+Z", "+00:00", json.loads(line)["timestamp"])).timestamp()
        assert since - 1 <= at <= time.time()


def ask_all(client):
    for name, kind in QUESTIONS:
        for tcp in (False, True):
            client.ask(name, kind, tcp, recurse=tcp, want_dnssec=not tcp)


def unbound(tap):
    return lambda home, daemon, certs: servers.unbound(home, tap.format(daemon=daemon, certs=certs), ZONE)


CLIENT_SIDE = lambda recurse: (5, 6)
AUTH_SIDE = lambda recurse: (1, 2)
TCP = "\n  dnstap-socket-path: ''\n  dnstap-ip: 127.0.0.1@{daemon.tcp}\n  dnstap-tls: no"
TLS = """
  dnstap-socket-path: ""
  dnstap-ip: 127.0.0.1@{daemon.tls}
  dnstap-tls-server-name: localhost
  dnstap-tls-cert-bundle: {certs.directory}/ca.pem
  dnstap-tls-client-cert-file: {certs.directory}/client.pem
  dnstap-tls-client-key-file: {certs.directory}/client.key"""
SENDERS = {
    "unbound": (unbound("  dnstap-socket-path: {daemon.path}/dnstap.sock"), CLIENT_SIDE),
    "unbound, unidirectional": (unbound("  dnstap-socket-path: {daemon.path}/dnstap.sock\n  dnstap-bidirectional: no"),
                                CLIENT_SIDE),
    "unbound over TCP": (unbound(TCP), CLIENT_SIDE),
    "unbound over TLS": (unbound(TLS), CLIENT_SIDE),
    "knot": (lambda home, daemon, _: servers.knot(home, f"unix:{daemon.address()}", ZONE), AUTH_SIDE),
    # An answer from its zone names the zone in a field that makes the record a bad one, unless the query had RD set:
    # then the answer is told as one to a client, without that field.
    "bind": (lambda home, daemon, _: servers.bind(home, daemon.address(), ZONE),
             lambda recurse: (1, 6 if recurse else 0)),
}


@pytest.mark.parametrize("server", SENDERS)
def test_a_server_and_the_packets_agree(server, home, certs):
    start, kinds = SENDERS[server]
    since, collector, ports = time.time(), Collector(), [servers.free_port(), servers.free_port()]
    with forward(collector, UNIX, "metrics-interval 1", f"listener ipv4 {LOCAL} {ports[0]}",
                 f"listener ipv4 {LOCAL} {ports[1]}" + certs.options("server", "listener")) as daemon:
        daemon.tcp, daemon.tls = ports
        with start(home, daemon, certs) as peer:
            client = Client(peer.port, kinds)
            ask_all(client)
            same_events(collector.accept(), client, since)
        # A server of several threads tells of the last queries when it ends, and in no order.
        servers.wait_for(lambda: daemon.next_report() and daemon.total("forwarder", "dnstapErrors") == [client.refused],
                         lambda: daemon.lines)


def test_dnsdist_and_the_packets_agree(home):
    since, collector = time.time(), Collector()
    with forward(collector, UNIX) as daemon, servers.knot(home, f"{home}/knot.tap", ZONE) as behind, \
            servers.dnsdist(home, daemon.address(), behind.port) as peer:
        client = Client(peer.port)
        ask_all(client)
        same_events(collector.accept(), client, since)


def large_zone(traffic):
    """Names with any bytes in them, and all types that a server will load unsigned."""
    for number in range(700):
        kind = traffic.choice([kind for kind in KINDS if kind not in ("SOA", "NS", "DNAME", "DS", "RRSIG", "NSEC3",
                                                                      "NSEC")])
        owner = dns.name.Name([traffic.label(), b"%d" % number, b"zone", b"example", b""])
        yield owner, kind, f"{owner} {traffic.choice((0, 300, 86400))} IN {kind} {traffic.rdata(kind)}"


def ask_for(client, zone, traffic):
    for owner, kind, _ in zone:
        for asked in (kind, "ANY", traffic.choice(("A", "SOA"))):
            client.ask(owner, asked, tcp=traffic.random() < 0.1, want_dnssec=traffic.random() < 0.5)


def test_thousands_of_answers_from_a_large_zone(home):
    since, collector, traffic = time.time(), Collector(), Traffic(11)
    zone = list(large_zone(traffic))
    with forward(collector, UNIX) as daemon, \
            servers.knot(home, f"unix:{daemon.address()}", HEAD + [line for *_, line in zone]) as peer:
        client = Client(peer.port, AUTH_SIDE)
        ask_for(client, zone, traffic)
        assert len(client.records) > 4000
        same_events(collector.accept(), client, since)


def frames(data):
    """The payloads of a Frame Streams file."""
    while data:
        length = int.from_bytes(data[:4], "big")
        if length:
            yield data[4:4 + length]
        else:
            length = 4 + int.from_bytes(data[4:8], "big")
        data = data[4 + length:]


def test_fstrm_capture_and_fstrm_replay(home):
    """What a sender sends is what the capturing program writes, and when that is played back it arrives once more."""
    records, port, file = Traffic(12).records(1000), servers.free_port(), f"{home}/captured"
    with servers.fstrm_capture(home, file, "-a", LOCAL, "-p", port) as capture:
        with Daemon(UNIX, f"forwarder ipv4 {LOCAL} {port}", "message-format dnstap", "metrics-interval 1") as daemon:
            sender = Sender(daemon.address())
            sender.send(*records)
            while daemon.total("forwarder", "eventsSent")[0] < len(records):
                sender.nudge()
                daemon.next_report()
            daemon.stop()
        capture.stop()
    captured = [frame for frame in frames(pathlib.Path(file).read_bytes()) if frame != wire.NUDGE]
    assert captured == records
    replayed, twice = Collector(), Model()(records) * 2
    with forward(replayed, UNIX, f"listener ipv4 {LOCAL} {port}") as daemon:
        stream = replayed.accept()
        for target in (["-u", daemon.address()], ["-a", LOCAL, "-p", port]):
            servers.Peer(home, "fstrm_replay", "-t", wire.CONTENT_TYPE.decode(), "-r", file, *target).process.wait(30)
        stream.until(lambda: len(stream.data) >= len(twice), Sender(daemon.address()).nudge)
        assert bytes(stream.data) == twice


def test_two_daemons_in_a_row_write_what_one_does():
    records, port, outputs = Traffic(13).records(1000), servers.free_port(), []
    expected = Model()(records)
    for config in ([], [f"listener ipv4 {LOCAL} {port}"]):
        collector = Collector()
        with forward(collector, *(config or [UNIX])) as last:
            stream = collector.accept()
            first = Daemon(UNIX, f"forwarder ipv4 {LOCAL} {port} fstrm-mode=unidirectional",
                           "message-format dnstap") if config else last
            with first:
                sender = Sender(first.address())
                sender.send(*records)
                stream.until(lambda: len(stream.data) >= len(expected), sender.nudge)
                outputs.append(bytes(stream.data))
    assert outputs[0] == outputs[1] == expected


@pytest.mark.parametrize("header", ["rfc3164", "rfc5424"])
@pytest.mark.parametrize("transport", ["tcp", "tls"])
@pytest.mark.parametrize("program", ["rsyslogd", "syslog-ng"])
def test_log_daemons_parse_query_log_lines(program, transport, header, home, certs):
    old, tls = header == "rfc3164", certs if transport == "tls" else None
    collector = servers.rsyslogd(home, tls) if program == "rsyslogd" else servers.syslog_ng(home, tls, rfc3164=old)
    now = int(time.time())
    traffic, records = Traffic(14), []
    for record in traffic.records(300):  # the older header has no year, so the events are of today
        fields = {**record.fields, **{name: now for name in record.fields if name.endswith("time_sec")}}
        records.append(wire.record(**fields))
    options = certs.options("client", "forwarder") if tls else ""
    with collector, forward(collector, UNIX, "message-format querylog", f"message-syslog-format {header}",
                            "message-hostname ns1.example", options=options) as daemon:
        model = Model("querylog", rfc3164=old, host="ns1.example", pid=daemon.pid)
        expected = [parsed(model([r]).decode(), old, daemon.pid, now) for r in records if model([r])]
        sender = Sender(daemon.address())
        sender.send(*records)
        servers.wait_for(lambda: sender.nudge() or len(got(home)) >= len(expected), collector.told)
        assert got(home) == expected


def got(home):
    """What the log daemon understood, with times as seconds since the epoch."""
    try:
        lines = pathlib.Path(home, "out").read_text().splitlines(True)
    except FileNotFoundError:
        return []
    events = [json.loads(line) for line in lines if line.endswith("\n")]  # the last one may be half written
    for event in events:
        event["time"] = datetime.datetime.fromisoformat(event["time"]).timestamp()
        event["message"] = event["message"].strip()
    return events


def parsed(line, rfc3164, pid, now):
    message = line.split(f"wirelark[{pid}]: " if rfc3164 else " - - ", 1)[1].strip()
    fraction = 0 if rfc3164 else float("0" + re.search(r"T\d\d:\d\d:\d\d(\.\d+)Z", line)[1])
    return {"host": "ns1.example", "app": "wirelark", "pid": str(pid), "time": now + fraction, "message": message}

