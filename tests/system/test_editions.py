"""Edition 2 of the text output: each record's line as dnspython and Python alone expect it."""

import json
import random
import re
import socket
import struct

import dns.edns
import dns.exception
import dns.message
import dns.name
import dns.rdatatype
import pytest

from support import wire
from support.daemon import UNIX, Daemon, ends_cleanly  # noqa: F401
from support.model import CLASSES, PROTOCOLS, RCODES, SENDERS, Model, address, escaped, ipv6, rr_type
from support.peers import Collector, Sender
from support.traffic import Traffic
from test_record_data import read, reader  # noqa: F401

# Fields that the schema doesn't have, of each wire type; in the message and around it.
wire.MESSAGE.update(unknown0=(17, 0), unknown1=(18, 1), unknown2=(2047, 2), unknown5=(2**29 - 1, 5))
UNKNOWN = b"".join(wire.field(*one) for one in ((4, 0, 2**64 - 1), (16, 1, 7), (99, 2, b"\x0a\x73"), (2**29 - 1, 5, 9)))
OPCODES = {0: "QUERY", 1: "IQUERY", 2: "STATUS", 4: "NOTIFY", 5: "UPDATE", 6: "DSO"}
EXTENDED = dict(enumerate((*RCODES, *"BADVERS BADKEY BADTIME BADMODE BADNAME BADALG BADTRUNC BADCOOKIE".split())))
ACTIONS = dict(enumerate("NXDOMAIN NODATA PASS DROP TRUNCATE LOCAL_DATA".split(), 1))
MODEL = Model(host="ns1")


class Records(Traffic):
    """Traffic with all that edition 2 knows, and names and texts whose bytes read as fields."""

    def forged(self):
        return wire.field(self.choice((1, 4, 8, 14)), 2, self.randbytes(3)) + wire.field(6, 0, 77)

    def label(self):
        return self.forged() if self.random() < 0.1 else super().label()

    def subnet(self):
        family, bits = self.choice(((1, 32), (2, 128)))
        prefix = self.randint(0, bits)
        octets = bytearray(self.randbytes((prefix + 7) // 8))
        if prefix % 8:
            octets[-1] &= 0xFF << 8 - prefix % 8 & 0xFF
        return struct.pack(">HBB", family, prefix, 0) + octets

    def packet(self, response):
        packet = bytearray(super().packet(response))
        if self.random() < 0.1:
            packet = packet[:4] + bytes(8)
        packet[2] = packet[2] & 0x87 | self.choice((0, 0, *range(16))) << 3
        if self.random() < 0.6 and dns.message.from_wire(plain(packet), ignore_trailing=True).edns < 0:
            options = [(8, self.subnet()), (10, self.randbytes(self.choice((8, 24)))), (65001, b""), (12, bytes(9))]
            data = b"".join(struct.pack(">HH", code, len(value)) + value
                            for code, value in self.sample(options, self.randint(0, 4)))
            packet += b"\0" + struct.pack(">HHBBHH", 41, self.randint(0, 65535), self.choice((0, 1, 2, 255)),
                                          self.choice((0, 1)), self.choice((0, 0x8000, 0xFFFF)), len(data)) + data
            packet[10:12] = struct.pack(">H", struct.unpack(">H", packet[10:12])[0] + 1)
        elif self.random() < 0.1:
            packet[4:6] = b"\0\2"
        return bytes(packet)

    def record(self):
        f = dict(super().record().fields)
        f["type"] += 2 if f["type"] > 10 and self.random() < 0.5 else 0
        own, other = ("query", "response") if f["type"] % 2 else ("response", "query")
        if self.random() < 0.3:
            f |= {f"{other}_time_sec": f[f"{own}_time_sec"] - self.choice((0, 0, 1, 9)),
                  f"{other}_time_nsec": self.choice((4999, f[f"{own}_time_nsec"]))}
            if self.random() < 0.3:
                del f[f"{own}_time_sec"], f[f"{own}_time_nsec"]
        rule = self.choice((None, self.name().to_wire(), self.randbytes(9), b'\\"rule'))
        extra = {"query_zone": self.choice((self.name().to_wire(), b"\5short", b"")),
                 "policy": (wire.field(2, 2, rule) if rule else b"") + wire.field(9, 2, b"?")
                 + (wire.field(3, 0, self.randint(0, 7)) if self.random() < 0.7 else b""),
                 "http_protocol": self.randint(0, 4), "response_port": self.choice((0, 53, 65535)),
                 "unknown0": 2**63, "unknown1": 2**63, "unknown2": self.forged(), "unknown5": 2**32 - 1}
        f |= dict(self.sample(sorted(extra.items()), self.randint(0, len(extra))))
        numbers = {name: wire.MESSAGE[name][0] for name in f}
        up = sorted(f, key=numbers.get)
        order = self.choice((up, up[::-1], self.sample(up, len(up))))
        identity, version = (self.choice((b"", b"ns1", b'\0\n"/\\\x7f\xff ', self.forged())) for _ in "iv")
        made = wire.record(identity, version, b"extra", UNKNOWN, UNKNOWN, **{name: f[name] for name in order})
        made.identity, made.version = identity, version
        made.policy = (rule, struct.unpack_from("B", f["policy"], len(f["policy"]) - 1)[0]
                       if f.get("policy", b"")[-2:-1] == b"\x18" else 0) if "policy" in f else (None, 0)
        return made


def plain(packet):
    """With the opcode of a query, whose sections dnspython reads as such."""
    return bytes([*packet[:2], packet[2] & 0x87, *packet[3:]])


def visible(data):
    return "".join(chr(b) if 32 <= b <= 126 else f"\\{b:03d}" for b in data)


def stamp(record):
    f = record.fields
    sides = ("query", "response") if f["type"] % 2 else ("response", "query")
    side = next(s for s in sides if f.get(f"{s}_time_sec"))
    line = Model("querylog", host="h").head(f[f"{side}_time_sec"], 0).split()[1]
    return line[:-2] + f"{f.get(f'{side}_time_nsec', 0) // 1000:06d}Z"


def name_of(data):
    try:
        name, used = dns.name.from_wire(data, 0)
        return MODEL.name(name) if used == len(data) else None
    except (dns.exception.DNSException, IndexError):
        return None


def members(record):
    """The event's members in their order, an object as a list of pairs; None for what is left out."""
    f = record.fields
    response = f["type"] % 2 == 0
    packet = f[("response" if response else "query") + "_message"]
    word, questions = struct.unpack(">HH", packet[2:6])
    client, server = (address(f.get(who + "_address", b""), f["socket_family"]) for who in ("query", "response"))
    data = [("client", client), ("server", server), ("port", f["query_port"]),
            ("serverport", f.get("response_port") or None)]
    kind = f'{[*SENDERS, "update"][(f["type"] - 1) // 2]}-{"response" if response else "query"}'
    if questions > 1:
        kind = "error"
        data += [("size", len(packet)), ("packet", packet.hex().upper()),
                 ("text", f"Read DNS message failed: No question RRs {questions} is not 1")]
        message = None
    else:
        message = dns.message.from_wire(plain(packet), one_rr_per_rrset=True, ignore_trailing=True)
        data += body(record, f, message, word, len(packet))
        if response:
            data += answer(f, message)
    return kept([("timestamp", stamp(record)), ("host", "ns1"), ("schema", 2),
                 ("identity", visible(record.identity) or None), ("version", visible(record.version) or None),
                 ("type", kind), ("data", kept(data))])


def kept(pairs):
    return [(name, value) for name, value in pairs if value is not None]


def body(record, f, message, word, size):
    number = f["socket_protocol"]
    bits = dict(qr=0x8000, aa=0x400, tc=0x200, rd=0x100, ra=0x80, ad=0x20, cd=0x10)
    rule, action = record.policy
    policy = kept([("rule", (name_of(rule) or escaped(rule)) if rule else None),
                   ("action", ACTIONS.get(action, f"ACTION{action}") if action else None)])
    http = f.get("http_protocol", 0)
    yield from [("proto", PROTOCOLS.get(number, f"PROTO{number}")), ("size", size), ("txid", message.id),
                ("opcode", OPCODES.get(word >> 11 & 15, f"OPCODE{word >> 11 & 15}")),
                ("flags", [(name, bool(word & bit)) for name, bit in bits.items()]),
                ("zone", name_of(f.get("query_zone", b""))), ("policy", policy or None),
                ("http", {1: "HTTP1", 2: "HTTP2", 3: "HTTP3"}.get(http, f"HTTP{http}") if http else None)]
    for q in message.question:
        yield from [("qname", MODEL.name(q.name)), ("qdomain", MODEL.domain(MODEL.name(q.name))),
                    ("qclass", CLASSES.get(q.rdclass, f"CLASS{int(q.rdclass)}")), ("qtype", rr_type(q.rdtype))]
    if f["type"] % 2 == 0:
        rcode = int(message.rcode())
        yield "rcode", EXTENDED.get(rcode, f"RCODE{rcode}")
    if message.edns >= 0:
        subnets = [f"{ipv6(socket.inet_pton(socket.AF_INET6, o.address)) if o.family == 2 else o.address}/{o.srclen}"
                   for o in message.options if isinstance(o, dns.edns.ECSOption)]
        yield "edns", kept([("version", message.edns), ("udpsize", message.payload),
                            ("do", bool(message.ednsflags & 0x8000)), ("subnet", subnets[0] if subnets else None),
                            ("options", [[("code", int(o.otype)), ("data", o.to_wire().hex().upper())]
                                         for o in message.options])])


def answer(f, message):
    times = [f.get(f"{side}_time_sec", 0) * 10**6 + f.get(f"{side}_time_nsec", 0) // 1000
             for side in ("response", "query") if f.get(f"{side}_time_sec")]
    passed = times[0] - times[1] if len(times) == 2 else -1
    yield "latency", f"{passed // 10**6}.{passed % 10**6:06d}" if passed >= 0 else None
    for key, section in (("answers", message.answer), ("authority", message.authority),
                         ("additional", message.additional)):
        yield key, [[("name", MODEL.name(r.name)), ("domain", MODEL.domain(MODEL.name(r.name))), ("ttl", r.ttl),
                     ("rrclass", CLASSES.get(r.rdclass)), ("rrtype", rr_type(r.rdtype)), ("data", r[0].to_wire())]
                    for r in section]


def pairs(found):
    """Record data as the bytes that its text stands for."""
    value = dict(found)
    assert len(value) == len(found)
    return [(k, read(value["rrtype"], v) if k == "data" and "rrtype" in value else v) for k, v in found]


def run(records, lines, *config):
    """What comes of the records as `lines` lines, how many were refused, and the daemon's process."""
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}", "message-hostname ns1", "metrics-interval 1",
                *config) as daemon:
        stream = collector.accept()
        sender = Sender(daemon.address())
        sender.send(*records)
        stream.until(lambda: stream.data.count(b"\n") >= lines, sender.nudge)
        daemon.next_report()
        keys = ("eventsSent", "dnstapErrors") + ("eventsSkipped",) * ("edition 2" in config)
        taken = daemon.total("forwarder", *keys)
        last = daemon.reports()[-1]["queue"][0]["eventsQueued"] + sum(daemon.total("queue", "eventsDropped"))
        assert len(keys) == 2 or sum(taken) + last == len(sender.sent), daemon.reports()
        assert taken[0] == stream.data.count(b"\n") == lines
        return stream.data.decode("ascii").splitlines(True), taken[1], daemon.pid


TIMELESS = wire.record(type=5, query_message=bytes(12))
BROKEN = [TIMELESS, b"\x73", wire.field(15, 2, b""), wire.record(after=b"\x7b\x7c"), wire.field(14, 2, b"\x5a\x09a"),
          wire.record(type=5, query_time_sec=1, query_message=bytes(12), policy=b"\x10\1")]
SKIPPED = [wire.NUDGE, wire.record(type=15, query_time_sec=1, query_message=bytes(12)),
           wire.record(type=5, query_time_sec=1)]


def test_json_events_are_whole():
    records = Records(1).records(1500)
    lines, broken, _ = run([*records, *BROKEN, *SKIPPED], len(records), "edition 2", "message-format json")
    assert broken == len(BROKEN)
    for record, line in zip(records, lines, strict=True):
        assert json.loads(line, object_pairs_hook=pairs, parse_float=str) == members(record), (line, record.hex())


# The shape of a line of BIND's query log, with what this log has more.
QUERY_LOG = re.compile(r"""
    (?:<30>1[ ](?P<time>\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)[ ]ns1[ ]wirelark[ ](?P<pid>\d+)[ ]-[ ]-[ ]
      |<30>(?P<bsd>[A-Z][a-z]{2}[ ][ \d]\d[ ]\d\d:\d\d:\d\d)[ ]ns1[ ]wirelark\[(?P<bsdpid>\d+)\]:[ ])
    queries:[ ](?:\[(?P<identity>.+)\][ ])?
    (?P<kind>auth|resolver|client|forwarder|stub|tool|update)[ ](?P<client>[0-9a-f.:]*)\#(?P<port>\d+)
    (?:[ ]%(?P<txid>\d+))?:[ ](?P<side>query|response):[ ]
    (?P<qname>.+?)[ ](?:\[(?P<qdomain>.*?)\][ ])?(?P<qclass>[A-Z0-9]+|-)[ ](?P<qtype>[A-Z0-9-]+)[ ]
    (?P<flags>[+-]S?(?:E\(\d+\))?T?D?C?[VK]?)[ ]
    \((?P<server>[0-9a-f.:]+|<unknown>)(?:[ ](?P<size>\d+)b)?\)
    (?:[ ](?P<rcode>[A-Z0-9]+)(?P<answers>(?:;[ ].*)?))?\n""", re.VERBOSE)


def query_line(record, extended, bsd):
    """What the parts of a record's line are."""
    found = dict(members(record))
    data, f = dict(found["data"]), record.fields
    flags, edns, response = dict(data["flags"]), dict(data.get("edns", ())), f["type"] % 2 == 0
    cookie = next((len(o[1][1]) // 2 for o in edns.get("options", ()) if o[0] == ("code", 10)), 0)
    shown = ("+" if flags["rd"] else "-") + (f"E({edns['version']})" if edns else "") \
        + "T" * (f["socket_protocol"] in (2, 3, 4, 6)) + "D" * edns.get("do", False) + "C" * flags["cd"] \
        + ("V" if cookie > 8 else "K" if cookie else "")
    return {"time": None if bsd else stamp(record), "flags": shown, "client": data["client"],
            "server": data["server"] or "<unknown>", "port": str(data["port"]), "side": ("query", "response")[response],
            "kind": found["type"].split("-")[0], "qname": data.get("qname", "-"), "qtype": data.get("qtype", "-"),
            "qclass": data.get("qclass", "-"), "qdomain": data.get("qdomain", "") if extended else None,
            "txid": str(data["txid"]) if extended else None, "size": str(data["size"]) if extended else None,
            "identity": visible(record.identity) or None if extended else None, "rcode": data.get("rcode")}


@pytest.mark.parametrize("extended", (False, True))
@pytest.mark.parametrize("bsd", (False, True))
def test_query_log_lines_have_the_shape_of_binds(extended, bsd):
    records = Records(2).records(500)
    tsig = dns.message.make_query("tsig.example.", "A")
    tsig.use_edns(0, ednsflags=0x8000)
    signed = bytearray(tsig.to_wire() + bytes.fromhex("00 00fa 00ff 00000000 0000"))
    signed[11] += 1
    last = wire.record(type=5, socket_protocol=2, query_time_sec=17, query_message=bytes(signed))
    lines, _, pid = run([*records, last], len(records) + 1, "edition 2", "message-format querylog",
                        f"message-querylog-format {'extended' if extended else 'standard'}",
                        f"message-syslog-format {'bsd' if bsd else 'none'}")
    assert " +SE(0)TD (<unknown>" in lines[-1]
    for record, line in zip(records, lines[:-1], strict=True):
        if dict(members(record))["type"] == "error":
            assert ": errors: Read DNS message failed: No question RRs 2 is not 1: " in line.replace("- - e", ": e")
            continue
        found, expected = QUERY_LOG.fullmatch(line), query_line(record, extended, bsd)
        assert found and {k: found[k] for k in expected} == expected, (line, expected)
        assert str(pid) in (found["pid"], found["bsdpid"])
        for one in dict(dict(members(record))["data"]).get("answers", ()):
            assert f" {dict(one)['rrtype']} " in found["answers"]


def large(section, kind="TXT"):
    make = random.Random(kind)
    message = dns.message.make_response(dns.message.make_query("large.example.", kind))
    getattr(message, section).extend(dns.rrset.from_text("large.example.", 5, "IN", "TXT", "x" * make.randint(1, 250))
                                     for _ in range(40))
    return message.to_wire(max_size=65535)


@pytest.mark.parametrize("form", ("json", "querylog"))
def test_no_line_is_longer_than_the_limit(form):
    """Over a range of limits: all of a line's records that fit, the number of the others, and never a byte more."""
    fields = dict(type=6, response_time_sec=17)
    packets = [large(section) for section in ("answer", "authority", "additional")]
    records = [wire.record(b"\1" * 300 * n, **fields, response_message=p) for n in (0, 1) for p in packets]
    records.append(wire.record(**fields, response_message=bytes(4) + b"\0\2" + bytes(2000)))
    config = ("edition 2", f"message-format {form}", "message-querylog-format extended")
    whole, _, ran = run(records, len(records), *config)
    count = (lambda line: line.count('"ttl":')) if form == "json" else lambda line: line.count(" IN TXT ") - 1
    near = {len(line) + by for line in whole for by in (-1, 0, 1)}
    for limit in {600, 601, 1000, 4096, 5000, *(limit for limit in near if limit > 600)}:
        lines, _, pid = run(records, len(records), *config, f"message-line-limit {limit}")
        for line, full in zip(lines, whole, strict=True):
            full = full.replace(f" {ran} ", f" {pid} ")
            assert len(line) <= limit
            assert (line == full) == (len(full) <= limit), (limit, line[-200:])
            left = re.search(r'"leftout":(\d+)\}\}$' if form == "json" else r"; \+(\d+) records$", line)
            assert count(line) + int(left[1] if left else 0) == count(full)
            if form == "json":
                json.loads(line)


@pytest.mark.parametrize("form", ("json", "querylog"))
def test_edition_1_written_out_changes_nothing(form):
    """Nor does the limit of a line, which is the second edition's."""
    records = Traffic(form).records(300)
    model = Model(form, host="ns1")
    for config in ((), ("edition 1", "message-line-limit 300")):
        lines, _, model.pid = run(records, sum(model([r]) != b"" for r in records), f"message-format {form}", *config)
        assert "".join(lines).encode() == model(records)
