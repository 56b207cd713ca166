"""The rows of the table, and what each of them has to reach."""

import dataclasses
import typing

from harness.subjects import Lane

BLOCK = 65536


@dataclasses.dataclass
class Row:
    key: str
    title: str
    lanes: typing.Callable  # of Subjects: the lanes to compare
    frames: str = "mix"
    write: int = BLOCK  # the most bytes that are written at once; 0 for a frame a write
    connections: int = 1
    rate: int = 0  # events a second at most; 0 for as fast as they are taken
    all_fail: bool = False


@dataclasses.dataclass
class Target:
    """wirelark's processor time in row `key` is at most `factor` times that of `subject` in row `other`."""

    key: str
    factor: float
    subject: str
    words: str
    other: str = ""


LDNS = Lane("dnstap-ldns", ["dnstap-ldns", "-q", "-r"], sink="")  # it reads files only
EXTENDED = "message-querylog-format extended"
# Slow enough for the forwarder to be back at the queue when the next frames come, since one that skipped a whole batch
# waits for them; and batches that hold what one write brings.
CALM = 100_000
CALM_BATCH = {"batch": 1000, "ring": 16 << 20}


def through(s):
    return [s.wirelark(), s.go("dnstap"), s.pump()]


def crowd(s):
    return [s.wirelark(), s.go("dnstap")]


def query_log(s):
    return [s.wirelark("querylog"), s.go("text"), s.go_nowhere("text"), LDNS, s.pump()]


def ingest(s):
    return [s.wirelark(forwarders=0), s.capture()]


ROWS = [
    Row("small", "dnstap through, small frames", through, frames="small"),
    Row("mix", "dnstap through, mix", through),
    Row("big", "dnstap through, big frames", through, frames="big"),
    Row("single", "dnstap through, one write a frame", through, write=0),
    Row("json", "JSON", lambda s: [s.wirelark("json"), s.go("json"), s.go_nowhere("json"), LDNS, s.pump()]),
    Row("querylog", "query log, standard", query_log),
    Row(
        "extended",
        "query log, extended",
        lambda s: [s.wirelark("querylog", more=EXTENDED), s.go("text"), s.go_nowhere("text"), LDNS, s.pump()],
    ),
    Row("ingest", "ingest only, 1 connection", ingest),
    Row("ingest100", "ingest only, 100 connections", ingest, connections=100),
    Row("tcp", "TCP in, dnstap through", lambda s: [s.wirelark(listen="tcp"), s.pump(listen="tcp")]),
    Row("tlsin", "TLS in, dnstap through", lambda s: [s.wirelark(listen="tls"), s.pump(listen="tls")]),
    Row("tlsout", "TLS out, dnstap through", lambda s: [s.wirelark(out="tls"), s.pump(out="tls")]),
    *[
        Row(f"crowd{n}", f"dnstap through, {n} connection{'s' * (n > 1)}", crowd, connections=n)
        for n in (1, 10, 100, 1000)
    ],
    *[
        Row(f"forwarders{n}", f"JSON, {word} forwarders", lambda s, n=n: [s.wirelark("json", forwarders=n)])
        for n, word in ((2, "two"), (4, "four"))
    ],
    Row("good", "JSON, calm, every record decodes", lambda s: [s.wirelark("json", **CALM_BATCH)], rate=CALM),
    Row(
        "failing",
        "JSON, calm, no record decodes",
        lambda s: [s.wirelark("json", **CALM_BATCH, awaited=False)],
        frames="failing",
        rate=CALM,
        all_fail=True,
    ),
]

TARGETS = [
    Target("mix", 2.5, "pump", "2.5 x the pump"),
    Target("mix", 1 / 5, "go dnstap", "1/5 of the Go command"),
    Target("json", 1 / 30, "go dnstap", "1/30 of the Go command"),
    Target("json", 0.3, "dnstap-ldns", "0.3 x dnstap-ldns, one-line text"),
    Target("querylog", 1 / 18, "go dnstap", "1/18 of the Go command, one-line text"),
    Target("querylog", 0.22, "dnstap-ldns", "0.22 x dnstap-ldns, one-line text"),
    Target("ingest", 0.8, "fstrm_capture", "0.8 x fstrm_capture to /dev/null"),
    Target("ingest100", 1.5, "fstrm_capture", "1.5 x fstrm_capture to /dev/null"),
    Target("failing", 1.5, "wirelark", "1.5 x the same stream without the failing field", "good"),
    Target("single", 1.4, "pump", "1.4 x the pump"),
    Target("crowd100", 3, "wirelark", "3 x one connection", "crowd1"),
]
