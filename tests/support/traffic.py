"""Well-formed DNS traffic, made up from a seed: odd names, all record types that the model knows, compression."""

import random

import dns.flags
import dns.message
import dns.name
import dns.rdata
import dns.rdataclass
import dns.rrset

from support import wire
from support.model import BUILTIN

SUFFIXES = sorted(rule for rule in BUILTIN if rule[0] not in "!*")
KINDS = ("A AAAA NS CNAME PTR DNAME SOA MX TXT SRV DS DNSKEY RRSIG NSEC3 HTTPS NSEC TLSA HINFO "
         "TYPE65281").split()


class Traffic(random.Random):
    def label(self):
        odd = self.random() < 0.15
        return bytes(self.choice(b'\x00\x07\n .\\"/$@\x7f\xc8\xff(;' if odd else b"abcXYZ019-_")
                     for _ in range(self.randint(1, 9)))

    def name(self):
        tail = self.choice([*self.sample(SUFFIXES, 3), "ck", "city.kawasaki.jp", "corp.example.com", "NoSuchTld", ""])
        labels = [self.label() for _ in range(self.randint(0, 3))] + [l.encode() for l in tail.split(".") if l]
        return dns.name.Name(labels + [b""])

    def text(self, least=0, most=20):
        return '"' + "".join(f"\\{b:03d}" for b in self.randbytes(self.randint(least, most))) + '"'

    def rdata(self, kind):
        n = [self.randint(0, 65535) for _ in range(3)]
        b = [self.randint(0, 255) for _ in range(3)]
        number = self.randint(0, 2**32 - 1)
        a, c = self.name(), self.name()
        sparse = bytes(self.choice((0, 0, 9, 255)) for _ in range(16)).hex(":", 2)
        octets = self.randbytes(self.randint(1, 40))
        texts = {
            "A": ".".join(map(str, b + [7])), "AAAA": sparse, "SOA": f"{a} {c} {number} {n[0]} {n[1]} {n[2]} {b[0]}",
            "MX": f"{n[0]} {a}", "TXT": " ".join(self.text() for _ in range(self.randint(1, 3))),
            "SRV": f"{n[0]} {n[1]} {n[2]} {a}",
            "DS": f"{n[0]} {b[0]} 2 {self.randbytes(32).hex()}",
            "DNSKEY": f"{n[0]} 3 {b[0]} {self.text_base64()}", "TLSA": f"{b[0]} {b[1]} {b[2]} {octets.hex()}",
            "RRSIG": f"{self.choice(('A', 'NSEC3', 'TYPE54'))} {b[0]} {b[1]} {number} {number} {number} "
                     f"{n[0]} {a} {self.text_base64()}",
            "NSEC3": f"1 {b[0]} {n[0]} {self.choice(('-', 'AABB'))} 0P9MHAVEQVM6T7VBL5LOP2U3T2RP3TOM "
                     "A NS TXT RRSIG TYPE1234",
            "HTTPS": f'{n[0] or 1} {a} alpn="h2,h3" port={n[1]} ipv4hint=192.0.2.{b[0]} ech="AAEC/w==" '
                     f'ipv6hint={sparse} key9="a\\"b\\200"',
            "NSEC": f"{a} A MX TYPE1234", "HINFO": f"{self.text()} {self.text()}",
            "TYPE65281": f"\\# {len(octets)} {octets.hex()}",
        }
        return dns.rdata.from_text("IN", kind, texts.get(kind, str(a)))

    def text_base64(self):
        return self.choice(("AQ==", "AQID", "/+9=",
                            "AwEAAbOFAxl+Lkt0UMglZizKEC1AxUu8zlj65KYatR5wBWMrh18TYzK/ig6Y1t5YTWCO6w=="))

    def section(self, most):
        kinds = [self.choice(KINDS) for _ in range(self.randint(0, most))]
        return [dns.rrset.from_rdata(self.name(), self.choice((0, 300, 2**31 - 1)), self.rdata(k)) for k in kinds]

    def packet(self, response):
        message = dns.message.Message(self.randint(0, 65535))
        message.flags = self.randint(0, 65535) & ~0x7800
        message.question = [dns.rrset.RRset(self.name(), self.choice((1, 3, 254, 255, 2, 0)),
                                            self.choice((1, 28, 65, 255, 54, 65280, 32769)))]
        if response:
            message.answer, message.authority, message.additional = self.section(4), self.section(2), self.section(2)
            if self.random() < 0.5:
                message.use_edns(0)
        return message.to_wire(max_size=65535)

    def record(self):
        kind = self.randint(1, 12)
        sides = {kind % 2: ("query" if kind % 2 else "response"), 2: self.choice(("query", "response", None))}
        fields = {"type": kind, "socket_family": self.randint(1, 2), "socket_protocol": self.randint(1, 9),
                  "query_address": self.randbytes(self.choice((0, 4, 16))),
                  "response_address": self.randbytes(self.choice((0, 4, 16))),
                  "query_port": self.randint(0, 65535), "response_port": 53}
        for side in filter(None, dict.fromkeys(sides.values())):
            fields |= {f"{side}_time_sec": self.randint(1, 4 * 10**9),
                       f"{side}_time_nsec": self.choice((0, 999, 5000, 123456789, 999999999)),
                       f"{side}_message": self.packet(side == "response")}
        order = self.sample(sorted(fields), len(fields))  # fields of a message may come in any order
        return wire.record(identity=self.randbytes(self.choice((0, 9))), **{name: fields[name] for name in order})

    def records(self, count):
        return [self.record() for _ in range(count)]


def answer(name, *rdata):
    """What a DNS server tells of an answer that an attacker made."""
    message = dns.message.make_response(dns.message.make_query(name, rdata[0].rdtype))
    message.answer = [dns.rrset.from_rdata(message.question[0].name, ttl, one) for ttl, one in enumerate(rdata)]
    return wire.record(type=6, response_time_sec=1700000000, response_message=message.to_wire(max_size=65535))


def forging():
    """Lines that go on like a message of another program, whichever byte of that message a limit of 64 KiB falls on,
    and one of 13 MB, the longest of one packet."""
    forged = b"<34>1 2026-01-01T00:00:00Z dc01 sshd 77 - - Accepted password for root "
    for n in range(len(forged) + 5):  # with what stands between two strings in JSON
        texts = b"".join(bytes([len(text)]) + text for text in [n * b"-", *[forged] * 900])
        yield answer("a.example.", dns.rdata.GenericRdata(1, 16, texts))
    longest = dns.rdata.from_text("IN", "NS", "\\255" * 63 + ("." + "\\255" * 63) * 2 + "." + "\\255" * 61 + ".")
    yield answer(longest.target, *[longest] * 4650)
