"""The chain of examples/scale-out: no name is lost and no row comes twice while its stages die and restart."""

import os
import pathlib
import re
import shutil
import subprocess

import dns.message
import pytest

from support import servers, wire
from support.certs import certs  # noqa: F401
from support.daemon import GROUP, Daemon, ends_cleanly, new_home  # noqa: F401
from support.peers import Sender
from support.traffic import forging

EXAMPLE = pathlib.Path(__file__).parents[2] / "examples/scale-out"
POSTGRES = pathlib.Path("/usr/lib/postgresql/15/bin")
LIBRARY = f"{servers.UNPACKED}/usr/lib/syslog-ng"
NAMES, EACH = 50000, 12500


def record(number):
    query = dns.message.make_query(f"n{number}.zone.example", "A").to_wire()
    return wire.record(type=5, socket_family=1, socket_protocol=1, query_address=b"\x7f\0\0\1", query_port=5353,
                       query_time_sec=1700000000 + number * 4,  # over four days
                       query_time_nsec=number * 1000, query_message=query)


@pytest.fixture
def chain(certs):
    pytest.importorskip("redis"), pytest.importorskip("psycopg2")
    if not POSTGRES.is_dir() or not os.path.exists(f"{LIBRARY}/3.38/libredis.so") or os.getuid() != 0:
        pytest.skip("this needs PostgreSQL 15, syslog-ng-mod-redis, and a root that may become another user")
    chain = Chain(certs)
    yield chain
    for stage in chain.stages:
        stage.__exit__()
    chain.postgres("pg_ctl", "-D", "data", "-m", "immediate", "stop")


class Chain:
    """All stages below one directory."""

    def __init__(self, certs):
        self.kept, self.stages = new_home(), []
        self.ports = {port: str(servers.free_port()) for port in ("6514", "6379")}
        self.home = self.kept.name
        for folder in ("wirelark", "syslog-ng"):
            shutil.copytree(certs.directory, f"{self.home}/etc/{folder}/tls")
        for folder in ("var/lib/redis", "var/lib/syslog-ng", "db"):
            os.makedirs(f"{self.home}/{folder}")
        os.chmod(self.home, 0o755)
        shutil.chown(f"{self.home}/db", "postgres")
        self.dsn = f"host={self.home}/db dbname=postgres user=postgres"
        self.postgres("initdb", "-D", "data", "-A", "trust", "--no-sync")
        self.postgres("pg_ctl", "-D", "data", "-l", "log", "-w", "-o", f"-k {self.home}/db -c listen_addresses=''",
                      "start")
        self.sql(EXAMPLE.joinpath("schema.sql").read_text())

    def postgres(self, program, *args):
        subprocess.run([POSTGRES / program, *args], cwd=f"{self.home}/db", user="postgres", check=True,
                       stdout=subprocess.DEVNULL)

    def sql(self, text):
        import psycopg2
        with psycopg2.connect(self.dsn) as database, database.cursor() as cursor:
            cursor.execute(text)
            return cursor.fetchall() if cursor.description else None

    def text(self, name):
        """A file of the example, with its ports, host and folders moved to here."""
        text = re.sub("/(var/lib|run)/wirelark/", "",
                      EXAMPLE.joinpath(name).read_text()).replace("group=wirelark", f"group={GROUP}")
        moved = {"collector.example.net": "localhost", **self.ports, "/etc/": f"{self.home}/etc/",
                 "/var/": f"{self.home}/var/"}
        return re.sub("|".join(moved), lambda match: moved[match[0]], text)

    def peer(self, *words, probe=lambda: True, **env):
        self.stages.append(servers.Peer(self.home, *words, **env).ready(probe))
        return self.stages[-1]

    def redis(self):
        config = servers.write(self.home, "redis.conf", self.text("redis.conf"))
        return self.peer("redis-server", config, probe=lambda: servers.listens(int(self.ports["6379"])))

    def syslog_ng(self):
        config = servers.write(self.home, "syslog-ng.conf", self.text("syslog-ng.conf"))
        words = (f"syslog-ng -F --no-caps -f {config} -R {self.home}/persist -p {self.home}/pid "
                 f"-c {self.home}/control --module-path")
        return self.peer(*words.split(), f"{LIBRARY}/3.38", LD_LIBRARY_PATH=LIBRARY,
                         probe=lambda: servers.listens(int(self.ports["6514"])))

    def consumer(self):
        return self.peer(str(EXAMPLE / "redis-to-postgres"), "one", f"redis://{servers.LOCAL}:{self.ports['6379']}",
                         self.dsn)


def test_stages_that_die(chain):
    redis, _, consumer = chain.redis(), chain.syslog_ng(), chain.consumer()
    homes, rows = [new_home(), new_home()], lambda: chain.sql("SELECT count(*) FROM events")[0][0]
    # Its relative names are each daemon's own.
    start = lambda: [Daemon(chain.text("wirelark.conf"), home=home) for home in homes]
    for part, first in enumerate(range(0, NAMES, EACH)):
        daemons = start()
        for number, daemon in enumerate(daemons):
            sender = Sender(daemon.address())
            sender.send(*map(record, range(first + number, first + EACH, 2)))
            sender.stop()  # answered when all of it is on the queue
        if part == 1:
            redis.__exit__()  # killed
            redis = chain.redis()
        if part == 2:
            consumer.__exit__()
            consumer = chain.consumer()
        for daemon in daemons:
            daemon.stop()  # in the middle: what is queued goes to the file, and on with the next run
    senders = [Sender(daemon.address()) for daemon in start()]
    *kept, cut = forging()  # the last one's line is above syslog-ng's limit and comes in pieces
    senders[0].send(*kept, cut)
    refused = lambda: sum(map(int, re.findall(r"refused (\d+)", consumer.told())))
    servers.wait_for(lambda: [sender.nudge() for sender in senders] and rows() >= NAMES + len(kept) and refused() >= 50,
                     lambda: f"{rows()} rows\n{consumer.told()}", 600)
    names = chain.sql("SELECT count(DISTINCT event->'data'->>'qname') FROM events")[0][0]
    assert (rows(), names) == (NAMES + len(kept), NAMES + 1)
    assert chain.sql("SELECT count(*) FROM pg_inherits WHERE inhparent = 'events'::regclass") == [(4,)]
