"""What a record must become in a text format, worked out a second time: from dnspython's parse of the packet and by
texts of our own, as the output differs from dnspython's presentation in escapes, capitals and the generic form."""

import base64
import calendar
import ipaddress
import pathlib
import socket
import time

import dns.message
import dns.rdatatype

BUILTIN = set((pathlib.Path(__file__).parents[2] / "data/icann_suffixes.txt").read_text().split())
CLASSES = {0: "RESERVED0", 1: "IN", 3: "CH", 4: "HS", 254: "NONE", 255: "ANY"}
RCODES = ("NOERROR FORMERR SERVFAIL NXDOMAIN NOTIMP REFUSED YXDOMAIN YXRRSET NXRRSET NOTAUTH NOTZONE DSOTYPENI "
          "RCODE12 RCODE13 RCODE14 RCODE15").split()
PROTOCOLS = {1: "UDP", 2: "TCP", 3: "DOT", 4: "DOH", 5: "DNSCryptUDP", 6: "DNSCryptTCP", 7: "DOQ"}
SENDERS = "auth resolver client forwarder stub tool".split()
HIDDEN = (41, 250, 24)  # OPT, TSIG and SIG are left out of the additional section


def escaped(data):
    return "".join(f"\\{b:03d}" if not 32 <= b <= 126 else "\\" + chr(b) if b in b'"\\' else chr(b) for b in data)


def json(text):
    for plain, short in zip('\\"/\b\t\n\f\r', '\\"/btnfr'):
        text = text.replace(plain, "\\" + short)
    return f'"{text}"'


def ipv6(data):
    return str(ipaddress.IPv6Address(data)) if data[:12] != bytes(10) + b"\xff\xff" else \
        f"::ffff:{data[12] << 8 | data[13]:x}:{data[14] << 8 | data[15]:x}"


def address(data, family):
    if len(data) == 16 and family != 1:
        return ipv6(data)
    return socket.inet_ntoa(data[-4:]) if data else ""


def base64text(data):
    return base64.b64encode(data).decode()


def rr_type(number):
    return "RESERVED0" if number == 0 else dns.rdatatype.to_text(number)


def stamp(seconds):
    return time.strftime("%Y%m%d%H%M%S", time.gmtime(seconds))


def bitmap(windows):
    return "".join(f" {rr_type((window * 32 + i) * 8 + j)}" for window, octets in windows
                   for i, octet in enumerate(octets) for j in range(8) if octet & 0x80 >> j)


def service(key, value):
    texts = {1: lambda: ",".join(escaped(i) for i in value.ids), 3: lambda: value.port,
             4: lambda: ",".join(value.addresses),
             5: lambda: base64text(value.ech), 6: lambda: ",".join(ipv6(socket.inet_pton(socket.AF_INET6, a))
                                                                   for a in value.addresses)}
    names = {1: "alpn", 3: "port", 4: "ipv4hint", 5: "ech", 6: "ipv6hint"}
    return f' {names.get(key, f"key{int(key)}")}="{texts[key]() if key in texts else escaped(value.value)}"'


class Model:
    """Maps a record to its bytes in the output; `options` are the settings that shape them."""

    def __init__(self, form="json", extended=False, rfc3164=False, host=None, pid=0, priority=30, mode="all",
                 suffixes=(),
                 dot=True):
        self.form, self.extended, self.rfc3164, self.pid, self.priority = form, extended, rfc3164, pid, priority
        self.host = socket.gethostname() if host is None else host
        self.mode, self.dot = mode, dot
        end = "." if dot else ""
        self.builtin = {rule + end for rule in BUILTIN} if mode in ("all", "builtin") else set()
        self.config = {suffix.lower() + end for suffix in suffixes} if mode in ("all", "config") else set()

    def __call__(self, records):
        return b"".join(self.event(r).encode("latin-1") for r in records)

    def name(self, name):
        return ".".join(escaped(label) for label in name.labels if label) + ("." if self.dot else "")

    def domain(self, name):
        """The registered domain of a name: a configured suffix itself, or a built-in one with the label before it."""
        name = name.lower()
        starts = [0] + [i + 1 for i, c in enumerate(name) if c == "."]
        if starts[-1] != len(name):
            starts.append(len(name))
        for before, here in zip([0] + starts, starts):
            if name[here:] in self.config:
                return name[here:]
            if name[here:] in self.builtin or here == len(name):
                return name[before:]
        return ""

    def rdata(self, rd):
        name, kind = self.name, rd.rdtype.name if rd.rdtype < 65280 else ""
        forms = {
            "A": lambda: rd.address, "AAAA": lambda: ipv6(rd.to_wire()),
            "TXT": lambda: " ".join(f'"{escaped(s)}"' for s in rd.strings),
            "SOA": lambda: f"{name(rd.mname)} {name(rd.rname)} {rd.serial} {rd.refresh} {rd.retry} {rd.expire} "
                           f"{rd.minimum}",
            "MX": lambda: f"{rd.preference} {name(rd.exchange)}",
            "SRV": lambda: f"{rd.priority} {rd.weight} {rd.port} {name(rd.target)}",
            "DS": lambda: f"{rd.key_tag} {int(rd.algorithm)} {rd.digest_type} {rd.digest.hex().upper()}",
            "DNSKEY": lambda: f"{int(rd.flags)} {rd.protocol} {int(rd.algorithm)} {base64text(rd.key)}",
            "RRSIG": lambda: f"{rr_type(rd.type_covered)} {int(rd.algorithm)} {rd.labels} {rd.original_ttl} "
                             f"{stamp(rd.expiration)}"
                             f" {stamp(rd.inception)} {rd.key_tag} {name(rd.signer)} {base64text(rd.signature)}",
            "NSEC3": lambda: f"{rd.algorithm} {rd.flags} {rd.iterations} {rd.salt.hex().upper() or '-'}"
                             f" {base64.b32hexencode(rd.next).decode().rstrip('=')}{bitmap(rd.windows)}",
            "HTTPS": lambda: f"{rd.priority} {name(rd.target)}"
                     + "".join(service(k, v) for k, v in sorted(rd.params.items())),
        }
        if kind in ("NS", "CNAME", "PTR", "DNAME"):
            return name(rd.target)
        if kind in forms:
            return forms[kind]()
        wire = rd.to_wire()
        return f"\\# {len(wire)} {wire.hex().upper()}"

    def head(self, seconds, nanoseconds):
        at = time.gmtime(seconds)
        iso = time.strftime("%Y-%m-%dT%H:%M:%S", at) + f".{nanoseconds // 1000}Z"
        if self.form == "json":
            return f'{{"timestamp":"{iso}","host":{json(self.host)},"schema":1,"type":'
        if self.rfc3164:
            month = calendar.month_abbr[at.tm_mon]
            return (f"<{self.priority}>{month} {at.tm_mday:2d} {time.strftime('%H:%M:%S', at)} {self.host} "
                    f"wirelark[{self.pid}]: ")
        return f"<{self.priority}>1 {iso} {self.host} wirelark {self.pid} - - "

    def event(self, record, error=None):
        """The text of one record's event. A packet that does not decode is named by its `error`."""
        f = record.fields
        kind = f.get("type", 0)
        side = "query" if kind % 2 else "response"
        packet = f.get(side + "_message", b"")
        if not 1 <= kind <= 12 or not packet:
            return ""
        head = self.head(f[side + "_time_sec"], f.get(side + "_time_nsec", 0))
        family, port = f.get("socket_family", 0), f.get("query_port", 0)
        client, server = (address(f.get(who + "_address", b""), family) for who in ("query", "response"))
        error = error or f.get("error")
        if error and self.form == "json":
            return (f'{head}"error","data":{{"client":"{client}","server":"{server}","port":{port},'
                    f'"size":{len(packet)},'
                    f'"packet":"{packet.hex().upper()}","text":{json(error)}}}}}\n')
        if error:
            return (f"{head}errors: {error}: client {client}#{port}: server {server}: packet \\# {len(packet)} "
                    f"{packet.hex().upper()}\n")
        message = dns.message.from_wire(packet, one_rr_per_rrset=True, ignore_trailing=True)
        make = self.json_event if self.form == "json" else self.querylog_event
        return head + make(message, kind, side, client, server, port, f.get("socket_protocol", 0), len(packet))

    def json_event(self, message, kind, side, client, server, port, proto, size):
        def domain(key, name):
            return f'"{key}":{json(self.domain(name))},' if self.mode != "off" else ""

        def section(rrsets, hidden=()):
            return ",".join(
                f'{{"name":{json(n)},{domain("domain", n)}"ttl":{r.ttl},'
                f'"rrclass":"{CLASSES.get(r.rdclass, f"CLASS{int(r.rdclass)}")}",'
                f'"rrtype":"{rr_type(r.rdtype)}","data":{json(self.rdata(r[0]))}}}'
                for r in rrsets if r.rdtype not in hidden for n in [self.name(r.name)])

        def flags(**bits):
            return ",".join(f'"{name}":{"true" if message.flags & bit else "false"}' for name, bit in bits.items())

        q = message.question[0]
        name = self.name(q.name)
        response = side == "response"
        shown = flags(rd=0x100, ra=0x80, aa=0x20, tc=0x200) if response else flags(rd=0x100)
        text = (f'"{SENDERS[(kind - 1) // 2]}-{side}","data":{{"client":"{client}","server":"{server}","port":{port},'
                f'"proto":"{PROTOCOLS.get(proto & 65535, f"PROTO{proto & 65535}")}","size":{size},"txid":{message.id},'
                f'"flags":{{{shown}}},'
                f'"qname":{json(name)},{domain("qdomain", name)}'
                f'"qclass":"{CLASSES.get(q.rdclass, f"CLASS{int(q.rdclass)}")}",'
                f'"qtype":"{rr_type(q.rdtype)}"')
        if response:
            text += (f',"rcode":"{RCODES[message.flags & 15]}","answers":[{section(message.answer)}],'
                     f'"authority":[{section(message.authority)}],"additional":[{section(message.additional, HIDDEN)}]')
        return text + "}}\n"

    def querylog_event(self, message, kind, side, client, server, port, proto, size):
        def named(name):
            name = self.name(name)
            return f"{name} " + (f"[{self.domain(name) if self.mode != 'off' else ''}] " if self.extended else "")

        def classed(r):
            return f"{CLASSES.get(r.rdclass, f'CLASS{int(r.rdclass)}')} {rr_type(r.rdtype)} "

        q = message.question[0]
        who = SENDERS[(kind - 1) // 2]
        text = (f"queries: {'client' if who == 'auth' else who} {client}#{port}"
                + (f" %{message.id}" if self.extended else "")
                + f": {side}: {named(q.name)}{classed(q)}{'+' if message.flags & 0x100 else '-'}"
                f"{'T' if proto in (2, 3, 4, 6) else ''}"
                f" ({server or '<unknown>'}" + (f" {size}b)" if self.extended else ")"))
        if side == "response":
            text += f" {RCODES[message.flags & 15]}" + "".join(
                f"; {named(r.name)}{r.ttl} {classed(r)}{self.rdata(r[0])}" for r in message.answer)
        return text + "\n"
