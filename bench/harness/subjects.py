"""What is measured: wirelark in its settings, its peers from Debian, and bare programs for the machine's limit."""

import dataclasses
import grp
import json
import os
import re

from harness.frames import TYPE
from harness.processes import free_port


@dataclasses.dataclass
class Lane:
    """A program as a row uses it: how to start it and how the load generator talks to it."""

    subject: str  # the column of the tables
    argv: list
    sink: str  # the endpoint that it takes frames at
    collect: str = ""  # the endpoint that it sends to; without one only what it takes in is awaited
    count: str = "frames"
    awaited: bool = True  # whether what is sent comes out again at `collect`
    bidirectional: bool = True
    slack: int = 0  # events that may stay inside until more come
    warmup: int = 2_000_000  # bytes of frames that go through before anything is measured


class Subjects:
    """Makes lanes. Sockets and logs are in `folder`, which holds no capital letter: wirelark lowers a path."""

    def __init__(self, folder, tools, wirelark, go, certificate):
        self.folder, self.tools, self.daemon, self.go_command, self.certificate = (
            folder,
            tools,
            wirelark,
            go,
            certificate,
        )
        self.number = 0

    def endpoint(self, kind="unix"):
        self.number += 1
        return f"unix:{self.folder}/s{self.number}.sock" if kind == "unix" else f"{kind}:{free_port()}"

    def wirelark(self, form="dnstap", listen="unix", out="tcp", forwarders=1, batch=0, ring=0, more="", awaited=True):
        sink, collect = self.endpoint(listen), self.endpoint(out) if forwarders else ""
        config = f"{self.folder}/w{self.number}.conf"
        with open(config, "w") as file:
            file.write(
                f"""listener {self.listener(sink)} max-connections=5000 keepalive=1000000
{self.forwarder(collect, batch) * forwarders}message-format {form}
message-queue-recovery off
metrics-interval 1
metrics-format json
{f"message-queue-size {ring}" if ring else ""}
{more}
"""
            )
        # A ring's pages cost most when they are touched for the first time, so the first lap isn't measured. Of a TLS
        # record's frames the last ones are read when the next record comes.
        return Lane(
            "wirelark",
            [self.daemon, "run", config],
            sink,
            collect,
            "frames" if form == "dnstap" else "lines",
            awaited,
            slack=1000 if listen == "tls" else 0,
            warmup=(ring or 100 << 20) * 11 // 10,
        )

    def listener(self, sink):
        kind, place = sink.split(":", 1)
        if kind == "unix":
            return f"unix {os.path.basename(place)} group={grp.getgrgid(os.getgid()).gr_name}"
        files = (
            f" tls=on tls-certificate-cert-file={self.certificate[0]} tls-certificate-key-file={self.certificate[1]}"
        )
        return f"ipv4 127.0.0.1 {place}" + (files if kind == "tls" else "")

    @staticmethod
    def forwarder(collect, batch):
        if not collect:
            return ""
        kind, port = collect.split(":")
        options = (" tls=on tls-validate=off" if kind == "tls" else "") + (f" batch-size={batch}" if batch else "")
        return f"forwarder ipv4 127.0.0.1 {port}{options}\n"

    def pump(self, listen="unix", out="tcp"):
        sink, collect = self.endpoint(listen), self.endpoint(out)
        return Lane(
            "pump", [f"{self.tools}/pump", sink, collect, *self.certificate], sink, collect, bidirectional=False
        )

    def relay(self):
        sink, collect = self.endpoint(), self.endpoint("tcp")
        return Lane("relay", [f"{self.tools}/relay", sink, collect], sink, collect, bidirectional=False)

    def capture(self):
        sink = self.endpoint()
        return Lane("fstrm_capture", ["fstrm_capture", "-t", TYPE.decode(), "-u", sink[5:], "-w", "/dev/null"], sink)

    def go(self, form):
        """Its text goes through a pipe to the collector."""
        sink = self.endpoint()
        if form == "dnstap":
            collect = self.endpoint("tcp")
            return Lane("go dnstap", [self.go_command, "-u", sink[5:], "-T", f"127.0.0.1:{collect[4:]}"], sink, collect)
        pipe = f"{self.folder}/g{self.number}.pipe"
        argv = [self.go_command, "-u", sink[5:], "-j" if form == "json" else "-q", "-w", pipe]
        return Lane("go dnstap", argv, sink, f"fifo:{pipe}", "lines", warmup=500_000)

    def go_nowhere(self, form):
        """The same with its text thrown away: what it costs without the reader on the other side."""
        lane = self.go(form)
        return dataclasses.replace(
            lane, subject="go dnstap, /dev/null", argv=[*lane.argv[:-1], "/dev/null"], collect=""
        )


def word(subject):
    """The subject's name for a file or for a variable of gnuplot."""
    return re.sub(r"\W+", "_", subject)


def totals(log):
    """What wirelark's reports add up to: of events taken from the queue, dropped, and not decoded."""
    sums = {"processed": 0, "dropped": 0, "errors": 0}
    with open(log, errors="replace") as file:
        for text in re.findall(r"Metrics: (\{.*\})", file.read()):
            report = json.loads(text)
            sums["processed"] += report["queue"]["eventsProcessed"]
            sums["dropped"] += report["queue"]["eventsDropped"]
            sums["errors"] += sum(forwarder["dnstapErrors"] for forwarder in report["forwarders"])
    return sums
