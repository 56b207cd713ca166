"""The reference against the program: its schemas hold for real output, and it leaves out no key, option or line."""

import concurrent.futures
import json
import pathlib
import re
import subprocess
import urllib.request

import dns.edns
import dns.message
import dns.rrset
import pytest

from support import wire
from support.daemon import KEYS, UNIX, Daemon, ends_cleanly  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender, deliver, free_port
from support.traffic import Traffic

jsonschema = pytest.importorskip("jsonschema")
TREE = pathlib.Path(__file__).parents[2]
REFERENCE = TREE / "docs/reference"
NO_TEXT = r'//.*|#include.*|queries: |R"\(.*?\)"'  # raw strings are JSON


def validator(name):
    schema = json.loads((REFERENCE / name).read_text())
    kind = jsonschema.validators.validator_for(schema)
    kind.check_schema(schema)
    return kind(schema, format_checker=jsonschema.FormatChecker())


def test_schemas():
    """All kinds of records, a DNS message that can't be decoded; connections of each kind, and none."""
    events, records = [], Traffic("schema").records(300)
    empty = wire.record(type=5, query_time_sec=1, query_message=b"?")
    text = {empty: "Read DNS message failed: Read uint16_t failed: Offset 0 + 2 is out of bounds for data of 1 bytes"}
    for mode, count in (("off", 50), ("all", 300)):
        collector, port, model = Collector(), free_port(), Model(mode=mode)
        with Daemon(UNIX, f"listener ipv4 127.0.0.1 {port}", f"forwarder ipv4 127.0.0.1 {collector.port}",
                    f"forwarder ipv4 127.0.0.1 {free_port()}", "metrics-format json", "metrics-interval 1",
                    f"domain-suffix-mode {mode}") as daemon:
            there = collector.accept()
            sender, idle = Sender(daemon.address()), Sender(("127.0.0.1", port))
            sender.send(*records[:count], empty)
            deliver(sender, there, lambda records: "".join(model.event(r, text.get(r)) for r in records).encode())
            events += [json.loads(line) for line in there.data.splitlines()]
            assert {e["type"].split("-")[-1] for e in events} == {"query", "response", "error"}
            if mode == "off":
                continue  # it stops while the other one runs
            daemon.wait("eventsReceived", count=2)
            idle.stop()
            sender.stop()
            daemon.wait("Receiver[0]: Finished", count=2)
            while "receivers" in daemon.find("Metrics: ")[-1]:  # the stop need not make a report: one may be under way
                daemon.next_report()
            reports = [json.loads(line.split("Metrics: ")[1]) for line in daemon.find("Metrics: ")]
    assert any("receivers" in r for r in reports) and not all("receivers" in r for r in reports)
    for name, lines in (("event.schema.json", events), ("metrics.schema.json", reports)):
        schema = validator(name)
        assert [(line, error.message) for line in lines for error in schema.iter_errors(line)] == []
        for line in {(line.get("type"), len(line)): line for line in lines}.values():  # one of each kind
            assert not schema.is_valid({**line, "more": 1}) and not schema.is_valid(dict(list(line.items())[1:]))


def test_schema_of_edition_2():
    """Whole records and bare ones, without a question, that can't be decoded, and lines that are too long."""
    answer = dns.message.make_response(dns.message.make_query("a.example", "TXT", use_edns=0, payload=1232))
    answer.use_edns(0, options=[dns.edns.ECSOption("192.0.2.0", 24)])
    answer.answer = [dns.rrset.from_text("a.example.", 1, "IN", "TXT", *["x" * 200 + str(i) for i in range(9)])]
    times = {f"{side}_time_{unit}": 5 for side in ("query", "response") for unit in ("sec", "nsec")}
    whole = wire.record(type=2, identity=b"ns\1", version=b"1", query_address=b"\1" * 4, response_port=53, **times,
                        query_zone=b"\7example\0", response_message=answer.to_wire(max_size=65535))
    policy = b"\x7a\7\x12\3rpz\x18\1\x80\1\2"  # fields 15 and 16
    whole += b"\x72" + bytes([len(policy)]) + policy  # of a message that goes on
    records = [whole, *(wire.record(type=kind, **times, query_message=text, response_message=text)
                        for kind in (13, 14) for text in (bytes(2) + b"\x28" + bytes(9), b"?" * 900))]
    records += Traffic("schema 2").records(100)
    schema = validator("event.schema.json")
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}", "edition 2", "message-line-limit 1500",
                "metrics-format json", "metrics-interval 1") as daemon:
        there, sender = collector.accept(), Sender(daemon.address())
        sender.send(*records)
        there.until(lambda: there.data.count(b"\n") > 80, sender.nudge)
        sender.stop()
        daemon.wait("eventsSkipped")
        lines = [json.loads(line) for line in there.data[:there.data.rindex(b"\n")].splitlines()]
        reports = [json.loads(line.split("Metrics: ")[1]) for line in daemon.find("Metrics: ")]
    data = lines[0]["data"]
    assert {"serverport", "zone", "policy", "http", "latency", "leftout"} <= set(data) and "subnet" in data["edns"]
    assert [line["type"] for line in lines[1:5]] == ["update-query", "error", "update-response", "error"]
    assert "qname" not in lines[1]["data"] and "packet" not in lines[2]["data"]
    assert [(line, e.message) for line in lines for e in schema.iter_errors(line)] == []
    assert [e.message for report in reports for e in validator("metrics.schema.json").iter_errors(report)] == []
    for line in lines:
        assert not any(schema.is_valid(wrong) for wrong in (
            {**line, "more": 1}, {**line, "schema": 1}, {**line, "data": {**line["data"], "more": 1}},
            dict(list(line.items())[1:])))


def test_nothing_is_left_out():
    read = lambda name: (TREE / name).read_text()
    manual = read("docs/man/wirelark.conf.5").replace("\\-", "-")
    configuration = read("docs/reference/configuration.md")
    keys = [name for name in KEYS if name not in ("listener", "forwarder")]  # which have sections of their own
    options = [o for name in ("options/connectionOptions", "listener/parseListener", "forwarder/parseForwarder")
               for o in re.findall(r'\{"([a-z-]+)", ', read(f"src/worker/{name}.cpp"))]
    assert len(keys) == 15 and len(set(options)) > 25
    assert [name for name in keys if f"\n| `{name}`" not in configuration
            or f' {name} ' not in manual.replace('"', " ")] == []
    assert [name for name in options if f"\n| `{name}` |" not in configuration
            or not re.search(rf"[ I]{name}[=\n ,]", manual)] == []
    pages, texts = "".join(page.read_text() for page in REFERENCE.glob("*.md")), 0
    for source in (TREE / "src").rglob("*.[ch]*"):
        # The manual has the tools; what a record lacks is counted, not told.
        if {"tools", "encoding"} & set(source.parts) or source.match("dns/event/contract.cpp"):
            continue
        for text in re.findall(r'"((?:[^"\\\n]|\\.)*)"', re.sub(NO_TEXT, "", source.read_text())):
            words = text.replace("\\\\", "\\").replace("\\n", "").strip("[]:. ").split("%")[0].strip()
            texts += " " in text
            assert not re.search("\\w\\w.* | .*\\w\\w", text) or words in pages, (source, text)
    assert texts > 150


def logged(form):
    """A daemon that is about to stop after a run of several reports, the records and the number of bytes it sent on."""
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port}", f"metrics-format {form}",
                "metrics-interval 1") as daemon:
        there, sender = collector.accept(), Sender(daemon.address())
        for reports in (1, 2):  # of two the second began behind the last record
            sender.send(*Traffic("exporter").records(70), b"rubbish")
            deliver(sender, there, lambda records: Model()([r for r in records if r != b"rubbish"]))
            daemon.wait("eventsReceived", count=len(daemon.find("eventsReceived")) + reports)
        sender.stop()
    return daemon, collector.port, len(sender.sent), len(there.data)


def test_the_exporter():
    """The log of a real run: the sums of all reports, and the levels of the last."""
    with concurrent.futures.ThreadPoolExecutor() as pool:
        runs = list(pool.map(logged, ("kv", "json")))
    for daemon, target, records, size in runs:
        exported(daemon.ended(), f'{{forwarder="0",host="127.0.0.1",port="{target}"}}', records, size)


def exported(log, target, records, size):
    exporter = [TREE / "examples/metrics/wirelark-exporter", "--listen", f"127.0.0.1:{free_port()}"]
    with subprocess.Popen(exporter, stdin=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        assert process.stderr.readline() == f"serving on {exporter[2]}\n"
        process.stdin.write("\n".join([*log, "[ERROR] Forwarder[0]: Connection error: x",
                                       "[ERROR] Listener7: Listen error: x",
                                       "[ERROR] Run failed: x", "[INFO] Metrics: {",
                                       "[INFO] Metrics: queue[type=message]", ""]))
        process.stdin.flush()
        assert [process.stderr.readline()[:14] for _ in range(2)] == ["not understood"] * 2  # so all lines are read
        text = urllib.request.urlopen(f"http://{exporter[2]}/metrics").read().decode()
        process.stdin.close()
    values = dict(line.rsplit(" ", 1) for line in text.splitlines() if line[0] != "#")
    expected = {'listener_received_events_total{listener="0"}': records, "queue_processed_events_total": records,
                f"forwarder_dnstap_errors_total{target}": 2, f"forwarder_sent_bytes_total{target}": size,
                f"forwarder_connects_total{target}": 1, 'runs_total{result="stopped"}': 1,
                'runs_total{result="failed"}': 1, 'log_errors_total{worker="Listener"}': 1, "queue_events": 0}
    assert {name: int(values["wirelark_" + name]) for name in expected} == expected
    used = "".join((TREE / "examples/metrics" / name).read_text() for name in ("alerts.yml", "grafana-dashboard.json"))
    assert set(re.findall(r"\bwirelark_\w+", used)) <= set(re.findall(r"# TYPE (\w+)", text))
