"""Programs of Debian's packages, and a client that knows what a DNS server must have told of it.

Each server lives in a directory of its own and on a port where nothing else is; none asks any host but this one.
"""

import os
import pathlib
import shutil
import socket
import subprocess
import time

import dns.flags
import dns.message
import dns.query
import pytest

from support import wire
from support.peers import free_port  # noqa: F401

LOCAL = "127.0.0.1"
UNPACKED = pathlib.Path(__file__).parents[2] / "build/peers"  # where ./dev puts programs that can't be installed
SEARCH = os.pathsep.join([os.environ["PATH"], "/usr/sbin", f"{UNPACKED}/usr/sbin"])


def wait_for(done, what, deadline=15):
    end = time.monotonic() + deadline
    while not done():
        assert time.monotonic() < end, what()
        time.sleep(0.02)


class Peer:
    """A running program. A test that needs one which this machine lacks is skipped."""

    def __init__(self, home, program, *args, **env):
        found = shutil.which(program, path=SEARCH)
        if not found:
            pytest.skip(f"{program} is not installed")
        # A copy, since a profile of AppArmor that knows the program by its path would keep it out of our directory.
        self.home, self.copy = home, shutil.copy(found, f"{home}/{os.path.basename(program)}")
        self.log = f"{self.copy}.log"
        with open(self.log, "w") as log:
            self.process = subprocess.Popen([self.copy, *map(str, args)], cwd=home, stdout=log, stderr=log,
                                            stdin=subprocess.DEVNULL, env=os.environ | env)

    def told(self):
        return f"{self.copy}:\n{pathlib.Path(self.log).read_text(errors='replace')}"

    def ready(self, probe):
        wait_for(lambda: self.process.poll() is not None or probe(), self.told)
        assert self.process.poll() is None, self.told()
        return self

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


def write(home, name, text):
    path = f"{home}/{name}"
    pathlib.Path(path).write_text(text)
    return path


def answers(port):
    """Whether a DNS server is there. What it tells of this query has the question "probe."."""
    try:
        dns.query.udp(dns.message.make_query("probe.", "A"), LOCAL, timeout=0.2, port=port)
        return True
    except (dns.exception.Timeout, OSError):
        return False


def listens(port):
    with socket.socket() as probe:
        return probe.connect_ex((LOCAL, port)) == 0


class Client:
    """Asks a server; `records` is what its dnstap must say of all that was asked, times apart.

    `kinds` has the message types of a query with or without RD and of its response, 0 for one that the daemon refuses.
    """

    def __init__(self, port, kinds=lambda recurse: (5, 6)):
        self.kinds, self.records, self.refused = kinds, [], 0
        self.udp, self.server = socket.socket(type=socket.SOCK_DGRAM), (LOCAL, port)
        self.udp.connect(self.server)
        self.udp.settimeout(10)

    def exchange(self, query, tcp):
        if not tcp:
            self.udp.send(query)
            return self.udp.getsockname()[1], self.udp.recv(65535)
        with socket.create_connection(self.server, 10) as sock, sock.makefile("rb") as stream:
            sock.sendall(len(query).to_bytes(2, "big") + query)
            return sock.getsockname()[1], stream.read(int.from_bytes(stream.read(2), "big"))

    def ask(self, name, kind, tcp=False, recurse=True, **options):
        query = dns.message.make_query(name, kind, **options)
        query.flags = dns.flags.RD if recurse else 0
        query = query.to_wire()
        port, response = self.exchange(query, tcp)
        for number, side, message in zip(self.kinds(recurse), ("query", "response"), (query, response)):
            address = socket.inet_aton(LOCAL)
            self.refused += not number
            self.records += number and [wire.record(**{
                "type": number, "socket_family": 1, "socket_protocol": 1 + tcp, "query_address": address,
                "response_address": address, "query_port": port, f"{side}_time_sec": 1, f"{side}_message": message})] or []
        return dns.message.from_wire(response)

    def nudge(self):
        """Makes the server tell something more, to see behind what is held back in between; it is no part of `records`."""
        self.exchange(dns.message.make_query("probe.", "A").to_wire(), False)
