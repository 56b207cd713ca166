"""The pages in docs/guides do what they say: each section that prints a configuration of the daemon is run with the
texts as they stand there, with names of files, ports and hosts moved to where a test may use them."""

import pathlib
import re
import shutil
import time

import dns.name
import pytest
from test_peers import LOCAL, QUESTIONS, ZONE, same_events

from support import servers
from support.certs import certs  # noqa: F401
from support.daemon import GROUP, Daemon, ends_cleanly, new_home  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender
from support.traffic import Traffic, forging

PAGES = pathlib.Path(__file__).parents[2] / "docs/guides"
BLOCK = re.compile(r"^```\w+ (/\S+)\n(.*?)^```$", re.M | re.S)
CASES = {f"{page.stem}, {section.splitlines()[0]}": dict(BLOCK.findall(section)) for page in sorted(PAGES.glob("*.md"))
         for section in page.read_text().split("\n## ")[1:] if BLOCK.search(section)}

# What an operator's own file has around the page's: name of the program, its arguments, its file, and the message types
# of a query and of its answer in the text formats, 0 for one that they refuse, None for one that the page leaves off.
SERVERS = {
    "unbound": ("unbound -d -c",
                'server:\n username: ""\n chroot: ""\n directory: "{home}"\n pidfile: ""\n use-syslog: no\n '
                'interface: 127.0.0.1\n port: {port}\n do-ip6: no\n local-zone: zone.example. static\n{data}'
                'remote-control:\n control-enable: no\ninclude: "{etc}/unbound/unbound.conf.d/*.conf"', (5, 6)),
    "bind": ("named -g -n 1 -c",
             'options {{ directory "{home}"; pid-file none; session-keyfile none; forward only; dnssec-validation no; '
             'forwarders port {behind} {{ 127.0.0.1; }}; listen-on port {port} {{ 127.0.0.1; }}; '
             'listen-on-v6 {{ none; }}; include "{etc}/bind/named.conf.dnstap"; }}; controls {{ }};\n'
             'zone "zone.example" {{ type primary; file "zone"; }};', (5, 6)),
    "nsd": ("nsd -d -c",
            'server:\n ip-address: 127.0.0.1@{port}\n username: ""\n chroot: ""\n zonesdir: "{home}"\n database: ""\n '
            'pidfile: "{home}/pid"\n xfrdfile: "{home}/xfrd"\n xfrdir: "{home}"\n zonelistfile: "{home}/list"\n'
            'remote-control:\n control-enable: no\nzone:\n name: zone.example\n zonefile: zone\n'
            'include: "{etc}/nsd/nsd.conf.d/*.conf"', (1, None)),
    "knot": ("knotd -c",
             'include: {etc}/knot/dnstap.conf\nserver:\n  listen: 127.0.0.1@{port}\n  rundir: {home}\n'
             'database:\n  storage: {home}\ntemplate:\n  - id: default\n    global-module: mod-dnstap/wirelark\n    '
             'zonefile-sync: -1\n    journal-content: none\nzone:\n  - domain: zone.example\n    file: {home}/zone',
             (1, 2)),
    "dnsdist": ("dnsdist --supervised --disable-syslog -C",
                'setLocal("127.0.0.1:{port}")\nnewServer({{address="127.0.0.1:{behind}", checkInterval=3600}})\n'
                'includeDirectory("{etc}/dnsdist/conf.d")', (5, 6)),
    "powerdns-recursor": ("pdns_recursor --config-dir=",
                          "local-address=127.0.0.1\nlocal-port={port}\nsocket-dir={home}\ndaemon=no\nwrite-pid=no\n"
                          "forward-zones=zone.example=127.0.0.1:{behind}\ndnssec=off\n"
                          "lua-config-file={etc}/powerdns/recursor.lua", (0, 0)),
}
RECEIVERS = {
    "rsyslog": ("rsyslogd -n -i NONE -f", 'global(workDirectory="{home}")\ninclude(file="{etc}/rsyslog.d/*.conf")'),
    "syslog-ng": ("syslog-ng -F --no-caps -R {home}/persist -p {home}/pid -c {home}/control "
                  "--module-path {library}/3.38 -f",
                  '@version: 3.38\n@include "{etc}/syslog-ng/conf.d/*.conf"'),
}


@pytest.fixture
def place(request, certs):
    """Lays the files of one section out below a directory; the rest of the root is untouched."""
    kept = new_home()
    home = kept.name
    ports = {port: servers.free_port() for port in ("5514", "6514", "6443")}
    collector = Collector() if request.param.split(",")[0] in SERVERS else None
    if collector:
        ports["6514"] = collector.port
    for name, text in CASES[request.param].items():
        text = re.sub(r"(?<![\w.])/(?=(etc|run|var)/)", f"{home}/", text.replace("group=wirelark", f"group={GROUP}"))
        text = re.sub(r"\b(5514|6514|6443)\b", lambda match: str(ports[match[0]]), text)
        text = re.sub(r"\b(collector|tap)\.example\.net|\*\.example\.net", "localhost",
                      text).replace("192.0.2.1", LOCAL)
        file = pathlib.Path(home + name)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        for folder in set(re.findall(r"[^\s\"=]*(?:/tls|-tls)(?=/)", text)):
            shutil.copytree(certs.directory, folder, dirs_exist_ok=True)
    for folder in ("run/wirelark", "var/lib/wirelark", "var/log"):
        pathlib.Path(home, folder).mkdir(parents=True)
    return request.param, kept, collector


def start(command, text, home, port, ready, **more):
    library = f"{servers.UNPACKED}/usr/lib/syslog-ng"
    file = servers.write(home, "recursor.conf" if command.endswith("=") else "main.conf",
                         text.format(home=home, etc=home + "/etc", port=port, **more) + "\n")
    words = [word.format(home=home, library=library) for word in command.split()]
    words = words[:-1] + [words[-1] + home] if command.endswith("=") else words + [file]
    environment = {"LD_LIBRARY_PATH": library} if "{library}" in command else {}
    return servers.Peer(home, *words, **environment).ready(lambda: ready(port))


def daemon(kept):
    return Daemon(pathlib.Path(kept.name, "etc/wirelark/wirelark.conf").read_text(), home=kept)


@pytest.mark.parametrize("place", [case for case in CASES if case.split(",")[0] in SERVERS], indirect=True)
def test_a_server_with_its_page(place):
    case, kept, collector = place
    home = kept.name
    command, text, kinds = SERVERS[case.split(",")[0]]
    since, port = time.time(), servers.free_port()
    servers.write(home, "zone", "\n".join(ZONE) + "\n")
    data = "".join(f" local-data: '{record}'\n" for record in ZONE)
    with servers.knot(f"{home}/run", f"{home}/behind.tap", ZONE) as behind, daemon(kept) as wirelark:
        raw = "dnstap" in re.search(r"message-format +(\w+)", pathlib.Path(wirelark.config).read_text())[1]
        stream = collector.accept("bidirectional" if raw else None)
        with start(command, text, home, port, servers.answers, data=data, behind=behind.port):
            client = servers.Client(port, lambda _: kinds)
            for question, kind in QUESTIONS:
                client.ask(question, kind, recurse="authority" not in case)
            if not raw:
                same_events(stream, client, since)
                wirelark.stop()
                assert wirelark.total("forwarder", "dnstapErrors") == [client.refused]
            else:  # each name is in a record of a query and of a response
                names = [dns.name.from_text(question).to_wire().lower() for question, _ in QUESTIONS]
                stream.until(lambda: all(bytes(stream.data).lower().count(n) >= 2 * names.count(n) for n in names),
                             client.nudge)


@pytest.mark.parametrize("place", [case for case in CASES if case.split(",")[0] in RECEIVERS], indirect=True)
def test_a_receiver_with_its_page(place):
    case, kept, _ = place
    home = kept.name
    conf = pathlib.Path(home, "etc/wirelark/wirelark.conf").read_text()
    lines, port = "json" in conf, int(re.search(r"forwarder ipv4 \S+ (\d+)", conf)[1])
    records = [*Traffic(21).records(300), *forging(), *Traffic(22).records(10)]
    with start(*RECEIVERS[case.split(",")[0]], home, port, servers.listens) as receiver, daemon(kept) as wirelark:
        model = Model("json" if lines else "querylog", pid=wirelark.pid)
        sender = Sender(f"{home}/run/wirelark/dnstap.sock")
        sender.send(*records)
        expected = [line if lines else line.split(" - - ", 1)[1] for line in (model([r]).decode() for r in records)
                    if line]

        def got():
            file = pathlib.Path(home, "var/log/dns.json" if lines else "var/log/dns.log")
            out = re.findall(".*\n", file.read_text()) if file.exists() else []
            return [line if lines else line.split(f" {model.host} wirelark[{wirelark.pid}]: ", 1)[-1] for line in out]

        servers.wait_for(lambda: sender.nudge() or len(got()) >= len(expected), receiver.told, 60)
        out, most = got(), 65000  # a line above it may come as its beginning; what is cut off is no line of its own
        wrong = [(line[:99], whole[:99]) for line, whole in zip(out, expected)
                 if line != (whole if min(len(line), len(whole)) < most else whole[:len(line) - 1] + "\n")]
        assert (len(out), wrong[:3]) == (len(expected), [])


def test_every_page_has_its_test():
    assert {case.split(",")[0] for case in CASES} == {*SERVERS, *RECEIVERS}
