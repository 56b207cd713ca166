"""A made-up part of the DNS, too big for any cache to hold all of it: its zone data, and who asks for what."""

import base64
import random

SUFFIXES = {
    "com": 40,
    "net": 10,
    "org": 8,
    "de": 6,
    "io": 4,
    "co.uk": 4,
    "fr": 3,
    "nl": 3,
    "com.au": 2,
    "co.jp": 2,
    "com.br": 2,
    "it": 2,
    "pl": 2,
    "gov.uk": 1,
    "app": 3,
    "dev": 2,
    "cloud": 2,
    "tv": 1,
    "info": 2,
    "edu": 1,
}
HOSTS = (
    "www",
    "api",
    "mail",
    "cdn",
    "static",
    "img",
    "login",
    "assets",
    "ns1",
    "smtp",
    "m",
    "app",
    "events",
    "telemetry",
    "eu-west-1.compute",
    "edge-chat",
    "clients4",
    "s3.amazon",
    "update.v2",
    "push.services",
)
# Of a resolver's queries; the shares are rounded from what operators publish about theirs.
TYPES = {"A": 50, "AAAA": 22, "HTTPS": 13, "PTR": 5, "TXT": 3, "MX": 2, "NS": 1, "SRV": 2, "SOA": 1, "DS": 1}
STUBS = sorted({suffix.split(".")[-1] for suffix in SUFFIXES} | {"in-addr.arpa"})
MISSING = 0.09  # of the queries ask for a name that isn't there


class World(random.Random):
    def __init__(self, domains):
        super().__init__(1)
        self.lines = [
            "local-zone: . static",
            'local-data: ". 86400 IN SOA a.root. hostmaster.root. 2024030900 1800 900 604800 900"',
        ]
        self.hosts, self.domains, self.large, self.addresses = [], [], [], []
        for _ in range(domains):
            self.domain()

    def word(self, least, most):
        return "".join(self.choice("bcdfghklmnprstvw") + self.choice("aeiou") for _ in range(self.randint(least, most)))

    def pick(self, weights):
        return self.choices(list(weights), weights.values())[0]

    def ipv4(self):
        return ".".join(str(self.randint(1, 254)) for _ in range(4))

    def ipv6(self):
        return f"2001:db8:{self.getrandbits(16):x}:{self.getrandbits(16):x}::{self.getrandbits(16):x}"

    def add(self, name, ttl, data):
        self.lines.append(f"local-data: '{name}. {ttl} IN {data}'")

    def text(self, size):
        return base64.b64encode(self.randbytes(size)).decode()

    def domain(self):
        name = (f"{self.word(2, 4)}{self.choice(('', '', '-' + self.word(1, 2), str(self.randint(1, 99))))}"
                    f".{self.pick(SUFFIXES)}")
        self.domains.append(name)
        ttl = self.choice((60, 300, 3600, 86400))
        self.add(name, ttl, f"SOA ns1.{name}. hostmaster.{name}. {self.randint(1, 2**31)} 7200 3600 1209600 300")
        for number in range(1, self.randint(2, 4)):
            self.add(name, 86400, f"NS ns{number}.{name}.")
            self.add(name, ttl, f"MX {number * 10} mx{number}.{self.choice(('mail.', ''))}{name}.")
        self.add(name, ttl, f'TXT "v=spf1 include:_spf.{name} ip4:{self.ipv4()} -all"')
        self.add(name, ttl, f"DS {self.randint(1, 65535)} 13 2 {self.randbytes(32).hex()}")
        self.add(f"_sip._tcp.{name}", ttl, f"SRV 10 60 5060 sip.{name}.")
        for label in self.sample(HOSTS, self.randint(1, 4)):
            self.host(f"{label}.{name}", ttl)
        self.host(name, ttl)
        self.answers_of_size(name, ttl)

    def host(self, name, ttl):
        self.hosts.append(name)
        if self.random() < 0.25 and name.count(".") > 1:
            edge = (f"{self.getrandbits(56):x}.{self.choice(('edge', 'cdn', 'cloudfront', 'lb'))}"
                    f".{self.choice(self.domains)}")
            self.add(name, ttl, f"CNAME {edge}.")
            name, ttl = edge, 60
        for _ in range(self.choice((1, 1, 1, 2, 2, 4, 6))):
            address = self.ipv4()
            self.add(name, ttl, f"A {address}")
            self.addresses.append(address)
        for _ in range(self.choice((0, 1, 1, 2, 4))):
            self.add(name, ttl, f"AAAA {self.ipv6()}")
        if self.random() < 0.5:
            self.add(name, ttl, f"HTTPS 1 . alpn=h2,h3 ipv4hint={self.ipv4()} ipv6hint={self.ipv6()}")
        reverse = ".".join(reversed(self.addresses[-1].split(".")))
        self.add(f"{reverse}.in-addr.arpa", 3600, f"PTR {name}.")

    def answers_of_size(self, name, ttl):
        """What signed zones and mail keys answer: 400 to 1200 bytes."""
        key = self.text(258)
        self.add(f"s1._domainkey.{name}", ttl, f'TXT "v=DKIM1; k=rsa; p={key[:200]}" "{key[200:]}"')
        for flags in (256, 257, 256)[: self.randint(1, 3)]:
            self.add(name, 3600, f"DNSKEY {flags} 3 8 {self.text(258)}")
        for number in range(self.randint(4, 12)):
            self.add(f"_xmpp._tcp.{name}", ttl, f"SRV {number} 5 5269 node-{number}.{self.word(2, 3)}.{name}.")
        self.large += [(f"s1._domainkey.{name}", "TXT"), (name, "DNSKEY"), (f"_xmpp._tcp.{name}", "SRV")]

    def question(self):
        kind = self.pick(TYPES)
        if self.random() < MISSING:
            return f"{self.word(3, 6)}.{self.choice(self.domains)}", kind
        if kind == "PTR":
            return ".".join(reversed(self.choice(self.addresses).split("."))) + ".in-addr.arpa", kind
        # A few hosts are asked for again and again, and answered from the resolver's cache.
        place = int(len(self.hosts) * self.random() ** 2)
        name = (
            self.hosts[place]
            if kind in ("A", "AAAA", "HTTPS")
            else self.domains[place * len(self.domains) // len(self.hosts)]
        )
        name = f"_sip._tcp.{name}" if kind == "SRV" else name
        return "".join(self.choice((c, c.upper())) for c in name) if self.random() < 0.1 else name, kind
