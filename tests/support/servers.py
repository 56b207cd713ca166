"""DNS servers and log daemons from Debian's packages, and a client that knows what a DNS server must have told of it.

Each server lives in a directory of its own and on a port where nothing else is; none asks any host but this one.
"""

import os
import pathlib
import shutil
import signal
import socket
import subprocess
import time

import dns.flags
import dns.message
import dns.query
import pytest

from support import wire
from support.peers import free_port

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
        try:
            wait_for(lambda: self.process.poll() is not None or probe(), self.told, 60)
            assert self.process.poll() is None, self.told()
        except AssertionError:
            self.__exit__()
            raise
        return self

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(15)

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


def dns_server(port, *command):
    peer = Peer(*command).ready(lambda: answers(port))
    peer.port = port
    return peer


def unbound(home, tap, zone, extra=""):
    """`zone` are records in the presentation format, below "zone.example."; `tap` are lines of the section dnstap."""
    port = free_port()
    data = "\n".join(f"  local-data: '{record}'" for record in zone)
    config = write(home, "unbound.conf", f"""
server:
  interface: {LOCAL}
  port: {port}
  do-ip6: no
  username: ""
  chroot: ""
  directory: "{home}"
  pidfile: ""
  use-syslog: no
  module-config: "iterator"
  do-not-query-localhost: no
  local-zone: "probe." static
  local-zone: "local.example." static
{data}
{extra}
remote-control:
  control-enable: no
dnstap:
  dnstap-enable: yes
  dnstap-log-client-query-messages: yes
  dnstap-log-client-response-messages: yes
{tap}
""")
    return dns_server(port, home, "unbound", "-d", "-c", config)


def knot(home, tap, zone):
    port = free_port()
    write(home, "zone.example.zone", "\n".join(zone) + "\n")
    config = write(home, "knot.conf", f"""
server:
  listen: {LOCAL}@{port}
  rundir: {home}
database:
  storage: {home}
mod-dnstap:
  - id: tap
    sink: {tap}
template:
  - id: default
    storage: {home}
    global-module: mod-dnstap/tap
    zonefile-sync: -1
    journal-content: none
zone:
  - domain: zone.example
""")
    return dns_server(port, home, "knotd", "-c", config)


def bind(home, tap, zone, extra="recursion no;", forward=""):
    port = free_port()
    write(home, "zone", "\n".join(zone) + "\n")
    source = forward or 'zone "zone.example" { type primary; file "zone"; };'
    config = write(home, "named.conf", f"""
options {{
  directory "{home}"; listen-on port {port} {{ {LOCAL}; }}; listen-on-v6 {{ none; }}; pid-file none;
  session-keyfile none;
  dnssec-validation no; minimal-responses yes; {extra}
  dnstap {{ all; }}; dnstap-output unix "{tap}";
}};
controls {{ }};
{source}
""")
    return dns_server(port, home, "named", "-g", "-n", "1", "-c", config)


def dnsdist(home, tap, behind):
    port = free_port()
    config = write(home, "dnsdist.conf", f"""
setLocal("{LOCAL}:{port}")
newServer({{address="{LOCAL}:{behind}", checkInterval=3600}})
tap = newFrameStreamUnixLogger("{tap}")
addAction(AllRule(), DnstapLogAction("dnsdist", tap))
addResponseAction(AllRule(), DnstapLogResponseAction("dnsdist", tap))
""")
    return dns_server(port, home, "dnsdist", "--supervised", "--disable-syslog", "-C", config)


def fstrm_capture(home, file, *target):
    capture = Peer(home, "fstrm_capture", "-t", wire.CONTENT_TYPE.decode(), "-w", file, *target)
    return capture.ready(lambda: "opened output file" in capture.told())


SYSLOG_FIELDS = "host app pid time message".split()


def rsyslogd(home, certs=None):
    """Writes what it parsed to `home`/out, a JSON object a line. With `certs` it speaks TLS and wants a certificate."""
    port = free_port()
    fields = dict(zip(SYSLOG_FIELDS, ("hostname", "app-name", "procid", 'timereported" dateFormat="rfc3339', "msg")))
    made = " ".join(f'property(outname="{o}" name="{p}" format="jsonf")' for o, p in fields.items())
    tls = certs and f"""DefaultNetstreamDriver="gtls" DefaultNetstreamDriverCAFile="{certs['ca.pem']}"
  DefaultNetstreamDriverCertFile="{certs['server']}.pem" DefaultNetstreamDriverKeyFile="{certs['server']}.key" """
    mode = 'StreamDriver.Name="gtls" StreamDriver.Mode="1" StreamDriver.AuthMode="x509/certvalid"' if certs else ""
    config = write(home, "rsyslog.conf", f"""
global(workDirectory="{home}" maxMessageSize="64k" {tls or ''})
module(load="imtcp" {mode})
input(type="imtcp" port="{port}" address="{LOCAL}")
template(name="parsed" type="list" option.jsonf="on") {{ {made} }}
action(type="omfile" file="{home}/out" template="parsed")
""")
    peer = Peer(home, "rsyslogd", "-n", "-f", config, "-i", "NONE").ready(lambda: listens(port))
    peer.port = port
    return peer


def syslog_ng(home, certs=None, rfc3164=False):
    """The same with syslog-ng, which must be told the form of the header."""
    port = free_port()
    tls = f"""transport("tls") tls(key-file("{certs['server']}.key") cert-file("{certs['server']}.pem")
      ca-file("{certs['ca.pem']}") peer-verify(required-trusted))""" if certs else 'transport("tcp")'
    config = write(home, "syslog-ng.conf", f"""@version: 3.38
options {{ keep-hostname(yes); keep-timestamp(yes); use-dns(no); log-msg-size(65536); stats-freq(0);
  frac-digits(6); send-time-zone("UTC"); recv-time-zone("UTC"); }};
log {{
  source {{ network(ip({LOCAL}) port({port}) {tls} {'' if rfc3164 else 'flags(syslog-protocol)'}); }};
  destination {{ file("{home}/out" template(
    "$(format-json --scope none host=$HOST app=$PROGRAM pid=$PID time=$ISODATE message=$MSG)\\n")); }};
}};
""")
    library = f"{UNPACKED}/usr/lib/syslog-ng"
    where = ["--module-path", f"{library}/3.38"] if os.path.isdir(library) else []
    peer = Peer(home, "syslog-ng", "-F", "--no-caps", "-f", config, "-R", f"{home}/persist", "-p", f"{home}/pid", "-c",
                f"{home}/control", *where, LD_LIBRARY_PATH=library).ready(lambda: listens(port))
    peer.port = port
    return peer


class Client:
    """Asks a server; `records` is what its dnstap must say of all that was asked, times apart.

    `kinds` has the message types of a query with or without RD and of its response: 0 for one that the daemon refuses,
    None for one that the server does not tell.
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
            self.refused += number == 0
            self.records += number and [wire.record(**{
                "type": number, "socket_family": 1, "socket_protocol": 1 + tcp, "query_address": address,
                "response_address": address, "query_port": port, f"{side}_time_sec": 1,
                f"{side}_message": message})] or []
        return dns.message.from_wire(response)

    def nudge(self):
        """Makes the server tell something more, to see behind what it holds back; it is no part of `records`."""
        self.exchange(dns.message.make_query("probe.", "A").to_wire(), False)
