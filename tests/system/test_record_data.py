"""Record data as text is read back by dnspython and gives the packet's own bytes, whatever these are."""

import os
import random
import struct
import subprocess

import dns.name
import dns.rdata
import dns.rdatatype
import dns.rdtypes.svcbbase
import dns.tokenizer
import pytest

SHOW = os.environ.get("RECORD_DATA", os.path.dirname(os.environ["WIRELARK"]) + "/tests/record_data")

# The data of each type as random fields: a digit is that many bytes, n a name, s a string, S strings, t a type, T a
# bitmap of types, x all that is left; a word is a method of Records, and - stands for a type without a form.
TYPES = dict(row.split() for row in """
    A 4, NS n, MD n, MF n, CNAME n, SOA nn44444, MB n, MG n, MR n, WKS wks, PTR n, HINFO ss, MINFO nn, MX 2n, TXT S,
    RP nn, AFSDB 2n, X25 x25, ISDN isdn, RT 2n, NSAP x, NSAP-PTR n, SIG t88nx, KEY 4x, PX 2nn, GPOS gpos, AAAA 88,
    LOC loc, SRV 6n, NAPTR 4sssn, KX 2n, CERT 5x, DNAME n, APL apl, DS ds, SSHFP 2x, IPSECKEY ipseckey, RRSIG t88nx,
    NSEC nT, DNSKEY 4x, DHCID x, NSEC3 nsec3, NSEC3PARAM 4s, TLSA 3x, SMIMEA 3x, HIP hip, NINFO S, RKEY 4x,
    TALINK nn, CDS ds, CDNSKEY 4x, OPENPGPKEY x, CSYNC 6T, ZONEMD zonemd, SVCB svcb, HTTPS svcb, HHIT x, BRID x,
    SPF S, NID 28, L32 24, L64 28, LP 2n, EUI48 6, EUI64 8, URI 4x, CAA caa, AVC S, AMTRELAY amtrelay, RESINFO S,
    WALLET S, TA ds, DLV ds, NULL -, OPT -, NXT -, TYPE300 -, TYPE65535 -
""".split(","))
# Types that Debian's dnspython doesn't know, and those of the same form that it does.
LIKE = {"MD": "NS", "MF": "NS", "MB": "NS", "MG": "NS", "MR": "NS", "MINFO": "RP", "TALINK": "RP", "SIG": "RRSIG",
        "KEY": "DNSKEY", "RKEY": "DNSKEY", "RESINFO": "TXT", "WALLET": "TXT", "TA": "DLV", "HHIT": "DHCID",
        "BRID": "DHCID"}
NUMBERS = {"EID": 31, "NIMLOC": 32, "ATMA": 34, "SINK": 40, "RKEY": 57, "TALINK": 58, "DSYNC": 66, "HHIT": 67,
           "BRID": 68, "UINFO": 100, "UID": 101, "GID": 102, "NXNAME": 128, "DOA": 259, "RESINFO": 261, "WALLET": 262,
           "CLA": 263, "IPN": 264}
QUESTION = dns.name.from_text("www.Example.com.")


class Bytewise(str):
    def encode(self, *_):
        return super().encode("latin-1")


@pytest.fixture(autouse=True)
def reader(monkeypatch):
    """What Debian's dnspython lacks: later numbers and names, and bytes from 128 on in other strings than TXT's."""
    for name, number in NUMBERS.items():
        monkeypatch.setitem(dns.rdatatype._registered_by_text, name, number)
    unescape, validate = dns.tokenizer.Token.unescape, dns.rdtypes.svcbbase._validate_key

    def bytewise(token):
        plain = unescape(token)
        return dns.tokenizer.Token(plain.ttype, Bytewise(plain.value), plain.has_escape)

    def validated(key):
        return validate(b"key7" if key == b"dohpath" else key)[0], key.startswith(b"key")

    monkeypatch.setattr(dns.tokenizer.Token, "unescape", bytewise)
    monkeypatch.setattr(dns.rdtypes.svcbbase, "_validate_key", validated)


def number(kind):
    return NUMBERS.get(kind) or int(dns.rdatatype.from_text(kind))


class Records(random.Random):
    """Data of records as lists of bytes and names, and messages of them."""

    def some(self, least=1, most=40):
        return self.randbytes(self.randint(least, most))

    def name(self):
        odd = bytes(self.choices(b"\0 \t\n.\"();\\@$'*/0\x7f\x80\xff", k=self.randint(1, 30)))
        labels = self.sample([odd, b"a", b"Bcd-1", b"_x" * 31], self.randint(0, 3))
        return dns.name.Name([*labels, *QUESTION.labels[self.randint(0, 3):]])

    def string(self, least=0):
        text = self.choice((self.some(least, 255), b"plain", b'"\\;\0\xff '))
        return bytes([len(text)]) + text

    def type(self):
        return self.choice((self.randint(1, 280), self.randint(1, 65535), 32768, 32769, 65535))

    def types(self):
        out, chosen = b"", {self.type() for _ in range(self.randint(0, 9))}
        for window in sorted({kind >> 8 for kind in chosen}):
            bits = bytearray(32)
            for kind in chosen:
                bits[(kind & 255) // 8] |= (kind >> 8 == window) * 0x80 >> (kind & 7)
            bits = bits.rstrip(b"\0")
            out += bytes([window, len(bits)]) + bits
        return out

    def data(self, form):
        if form == "-":
            return [self.some(0)]
        if len(form) > 1 and hasattr(self, form):
            return getattr(self, form)()
        makers = {"n": self.name, "s": self.string, "x": self.some, "T": self.types,
                  "t": lambda: struct.pack(">H", self.choice((0, self.type()))),
                  "S": lambda: b"".join(self.string() for _ in range(self.randint(1, 4)))}
        return [self.randbytes(int(c)) if c.isdigit() else makers[c]() for c in form]

    def wks(self):
        return [self.some(5, 5) + self.some(0).rstrip(b"\0")]

    def x25(self):
        return [b"\x0c311061700956"]

    def isdn(self):
        return [self.string(), self.choice((b"", self.string(1)))]

    def gpos(self):
        texts = [f"{sign}{self.randint(0, most)}{self.choice(('', '.', '.25'))}".encode()
                 for sign, most in (("-", 89), ("+", 179), ("", 99999))]
        return [bytes([len(text)]) + text for text in texts]

    def loc(self):
        sizes = [self.choice((0, self.randint(1, 9) << 4 | self.randint(0, 9))) for _ in range(3)]
        angles = [2**31 + self.choice((-1, 1)) * self.randint(0, most * 3600000) for most in (90, 180)]
        return [struct.pack(">4B3I", 0, *sizes, *angles, self.randint(0, 2**32 - 1))]

    def apl(self):
        def item():
            family = self.randint(1, 2)
            address = self.some(0, [0, 4, 16][family]).rstrip(b"\0")
            negated = self.choice((0, 128))
            return struct.pack(">HBB", family, self.randint(0, 32 * family), negated + len(address)) + address

        return [item() for _ in range(self.randint(1, 4))]

    def ds(self):
        kind = self.choice((1, 2, 3, 4, 5, 255))
        digest = self.randbytes({1: 20, 2: 32, 3: 32, 4: 48}.get(kind, 7))
        return [self.randbytes(3) + bytes([kind]) + digest]

    def zonemd(self):
        algorithm = self.choice((1, 2, 3, 255))
        digest = self.randbytes({1: 48, 2: 64}.get(algorithm, 12))
        return [self.randbytes(4) + bytes([self.randint(1, 255), algorithm]) + digest]

    def gateway(self, kind):
        return [b"", self.randbytes(4), self.randbytes(16), self.name()][kind]

    def ipseckey(self):
        kind = self.randint(0, 3)
        return [bytes([self.randint(0, 255), kind, 2]), self.gateway(kind), self.some()]

    def amtrelay(self):
        kind = self.randint(0, 3)
        return [bytes([self.randint(0, 255), kind | self.choice((0, 128))]), self.gateway(kind)]

    def nsec3(self):
        return [self.randbytes(4) + self.string() + b"\x14" + self.randbytes(20), self.types()]

    def hip(self):
        tag, key = self.some(), self.some(1, 300)
        servers = [self.name().to_wire() for _ in range(self.randint(0, 3))]
        return [struct.pack(">BBH", len(tag), 2, len(key)) + tag + key, *servers]

    def caa(self):
        return [self.randbytes(1) + self.choice((b"\5issue", b"\1Z", b"\x0btag0123ABCD")), self.some(0, 300)]

    def svcb(self):
        ids = self.choices((b"\2h2", b"\5h3-19", b'\6",\\\0\xff ', b"\1,", b"\1\\"), k=self.randint(1, 4))
        params = {1: b"".join(ids), 2: b"", 3: self.randbytes(2), 4: self.randbytes(4 * self.randint(1, 3)),
                  5: self.some(), 6: self.randbytes(16 * self.randint(1, 3)), 7: b"/dns-query{?dns}",
                  8: self.some(0), 65535: self.some(0)}
        params = {key: params[key] for key in params if self.random() < 0.5}
        if 1 not in params:
            params.pop(2, None)
        if params and self.random() < 0.5:
            params[0] = struct.pack(f">{len(params)}H", *params)
        return [struct.pack(">H", self.randint(1, 65535)), self.name(),
                *(struct.pack(">HH", key, len(params[key])) + params[key] for key in sorted(params))]

    def encoded(self, part):
        """A field in the message, its name as a whole or with a pointer into the question."""
        if isinstance(part, bytes):
            return part
        same = [k for k in range(1, 5) if part.labels[-k:] == QUESTION.labels[-k:]]
        k = self.choice((0, *same))
        labels = b"".join(bytes([len(label)]) + label for label in part.labels[:len(part.labels) - k])
        return labels + (struct.pack(">H", 0xC000 + OFFSETS[k]) if k else b"")

    def broken(self, data):
        data = bytearray(data)
        for _ in range(self.randint(1, 2)):
            where = self.randint(0, max(0, len(data) - 1))
            match self.randint(0, 3):
                case 0: del data[where:]
                case 1: data += self.some(1, 3)
                case 2: data[where:where + 1] = self.choice((b"\0", b"\1", b"?", b"@", b"\x80", b"\xc0",
                                                             self.some(1, 1)))
                case 3: data[where:where + 1] = b""
        return bytes(data)


OFFSETS = [0, 28, 24, 16, 12]  # of the question's last labels
BEHIND = b"what stands behind the record"


def message(kind, data):
    record = b"\xc0\x0c" + struct.pack(">HHIH", number(kind), 1, 300, len(data)) + data
    return bytes.fromhex("0000 8180 0001 0001 0000 0000") + QUESTION.to_wire() + b"\0\1\0\1" + record + BEHIND


def shown(packets):
    """Of each packet with one record the text of its data."""
    lines = "".join(packet.hex() + "\n" for packet in packets)
    return subprocess.run([SHOW], input=lines, capture_output=True, text=True, check=True).stdout.splitlines()


def read(kind, text):
    if text.startswith("\\# "):
        return dns.rdata.GenericRdata.from_text("IN", number(kind), dns.tokenizer.Tokenizer(text)).to_wire()
    assert dns.rdata.get_rdata_class(1, number(LIKE.get(kind, kind))) is not dns.rdata.GenericRdata
    return dns.rdata.from_text("IN", LIKE.get(kind, kind), text).to_wire()


def altitude_aside(kind, wire):
    """dnspython cuts off what it should round, so that some altitudes are a centimetre off."""
    return wire[:12] if kind == "LOC" and len(wire) == 16 else wire


def test_good_records_have_a_form_that_reads_back():
    make = Records(1)
    rows = [(kind, make.data(form)) for kind, form in TYPES.items() for _ in range(60)]
    packets = [message(kind, b"".join(map(make.encoded, data))) for kind, data in rows]
    texts = shown(packets)
    assert len(texts) == len(rows)
    for (kind, data), text in zip(rows, texts):
        wire = b"".join(part if isinstance(part, bytes) else part.to_wire() for part in data)
        assert text.isascii() and text.isprintable()
        assert text.startswith("\\# ") == (TYPES[kind] == "-"), (kind, data, text)
        assert altitude_aside(kind, read(kind, text)) == altitude_aside(kind, wire), (kind, wire.hex(), text)


def test_bad_records_read_back_too():
    make = Records(2)
    rows = []
    for kind, form in TYPES.items():
        for _ in range(200):
            data = b"".join(part if isinstance(part, bytes) else part.to_wire() for part in make.data(form))
            rows.append((kind, make.broken(data)))
    packets = [message(kind, data) for kind, data in rows]
    generic = 0
    for (kind, data), packet, text in zip(rows, packets, shown(packets), strict=True):
        generic += text.startswith("\\# ")
        wire = read(kind, text)
        if altitude_aside(kind, wire) != altitude_aside(kind, data):  # a byte has become a pointer
            known = dns.rdata.from_wire("IN", LIKE.get(kind, kind), packet, packet.index(BEHIND) - len(data), len(data))
            assert wire == known.to_wire(), (kind, data.hex(), text)
    assert len(rows) / 2 < generic < len(rows), generic
