"""The figures as tables of Markdown."""

import datetime
import os
import platform
import re
import subprocess

from harness.extras import IDLE
from harness.rows import ROWS, TARGETS

BEGIN, END = "<!-- bench/run writes from here -->", "<!-- bench/run writes to here -->"
IDLE_LIMIT, LATENCY_LIMIT = 40, 1.3  # MiB; times the relay's p50


def micro(seconds):
    return f"{seconds * 1e6:.2f}" if seconds < 1e-5 else f"{seconds * 1e6:.1f}"


def thousands(number):
    return f"{number / 1000:,.0f} k"


def table(head, lines):
    return "\n".join("| " + " | ".join(line) + " |" for line in (head, ["---"] * len(head), *lines))


def best_peer(subjects):
    peers = {name: figures["cpu"] for name, figures in subjects.items() if name not in ("wirelark", "pump")}
    return min(peers.items(), key=lambda peer: peer[1]) if peers else None


def main_line(row, subjects):
    ours, pump, peer = subjects["wirelark"], subjects.get("pump"), best_peer(subjects)
    speed = ["paced", ""] if row.rate else [thousands(ours["rate"]), f"{ours['mb']:.0f}"]
    return [
        row.title,
        micro(ours["cpu"]),
        f"{ours['spread'] * 100:.0f} %",
        *speed,
        f"{micro(peer[1])} ({peer[0]})" if peer else "",
        f"{ours['cpu'] / peer[1]:.3f}" if peer else "",
        micro(pump["cpu"]) if pump else "",
        f"{ours['cpu'] / pump['cpu']:.2f}" if pump else "",
        micro(ours["load"]),
    ]


def costs(results):
    head = [
        "row",
        "CPU µs an event",
        "spread",
        "events/s",
        "MB/s",
        "best peer",
        "ratio to it",
        "pump",
        "ratio to it",
        "load generator",
    ]
    return table(head, [main_line(row, results["rows"][row.key]) for row in ROWS if row.key in results["rows"]])


def cost_and_speed(figures):
    return f"{micro(figures['cpu'])} / {thousands(figures['rate'])}" if figures else ""


def peers(results):
    names = ("go dnstap", "go dnstap, /dev/null", "dnstap-ldns", "fstrm_capture", "pump")
    shown = [row for row in ROWS if set(names) & set(results["rows"].get(row.key, ()))]
    lines = [[row.title, *(cost_and_speed(results["rows"][row.key].get(name)) for name in names)] for row in shown]
    return table(["row", *names], lines)


def verdict(title, ours, limit, words, unit="µs"):
    return [
        title,
        words,
        f"{limit:.3g} {unit}",
        f"{ours:.3g} {unit}",
        "met" if ours <= limit else f"**not met**, {ours / limit:.2f} times that",
    ]


def targets(results):
    rows, lines = results["rows"], []
    for target in TARGETS:
        base = rows.get(target.other or target.key, {}).get(target.subject)
        if base and target.key in rows:
            title = next(row.title for row in ROWS if row.key == target.key)
            lines.append(
                verdict(
                    title, rows[target.key]["wirelark"]["cpu"] * 1e6, base["cpu"] * target.factor * 1e6, target.words
                )
            )
    if "latency" in results:
        p50 = {subject: values[50] * 1e6 for subject, values in results["latency"]["percentiles"].items()}
        lines.append(
            verdict(
                "lone event, JSON, p50", p50["wirelark"], p50["relay"] * LATENCY_LIMIT, f"{LATENCY_LIMIT} x the relay"
            )
        )
    for key, words in (
        (("connected", "nothing sent"), ("later", "idle again after 64 KiB over each")) if "memory" in results else ()
    ):
        lines.append(
            verdict(
                f"resident memory, {IDLE} connections, {words}",
                results["memory"]["wirelark"][key] / 2**20,
                IDLE_LIMIT,
                f"{IDLE_LIMIT} MiB",
                "MiB",
            )
        )
    return table(["row", "at most", "that is", "measured", ""], lines)


def tls(results):
    rows, lines = results["rows"], []
    for key, plain, words in (("tlsin", "tcp", "TLS in"), ("tlsout", "mix", "TLS out")):
        if key in rows and plain in rows:
            ours, bare = ([rows[row][subject]["cpu"] for row in (key, plain)] for subject in ("wirelark", "pump"))
            lines.append(
                [
                    words,
                    *map(micro, (ours[1], ours[0], ours[0] - ours[1], bare[0] - bare[1])),
                    f"{ours[0] / ours[1]:.2f}",
                ]
            )
    return table(["row", "plain", "with TLS", "difference", "the pump's difference", "ratio to plain"], lines)


def latency(results):
    found = results["latency"]
    lines = [
        [subject, *(f"{values[p] * 1e6:.0f}" for p in (0, 50, 90, 99, 100))]
        for subject, values in found["percentiles"].items()
    ]
    stuck = f"\n\nOf {found['count']} lone events for each program {found['stuck']} lay until the next one came."
    return table(["µs", "least", "p50", "p90", "p99", "most"], lines) + stuck


def starts(results):
    return table(
        ["ms from start to accepting"] + list(results["starts"]),
        [["median", *(f"{seconds * 1e3:.1f}" for seconds in results["starts"].values())]],
    )


def memory(results):
    lines = [
        [
            subject,
            *(f"{figures[name] / 2**20:.1f}" for name in ("start", "connected", "used", "later")),
            f"{figures['cpu'] * 1e3:.2f}",
        ]
        for subject, figures in results["memory"].items()
    ]
    return table(
        [
            "resident MiB",
            "started",
            f"{IDLE} connections, nothing sent",
            "64 KiB sent over each",
            "some seconds later",
            "CPU ms a second meanwhile",
        ],
        lines,
    )


STEPS = {
    "frameOffReadAhead": "a frame off the read-ahead, the read included",
    "ringAppendOne": "one into a full ring",
    "ringAppendAndExtractOne": "one into the ring and out",
    "ringAppendAndExtract100": "the same, a hundred at a time",
    "dnstapDecode": "the dnstap record",
    "eventExtract": "what of it makes an event",
    "nameDecode": "the question's name",
    "suffixLookUp": "its suffix",
    "messageDecode": "the whole DNS message",
    "header": "the header",
    "headerFromNothing": "the header, its second rendered anew",
    "body/json": "the JSON body",
    "body/querylog": "the query log's body",
    "body/querylogExtended": "the extended query log's body",
    "wholeEvent/json": "message, header and JSON body",
    "wholeEvent/querylog": "message, header and query log body",
}


def steps(results):
    return table(
        ["step", "ns an event"], [[STEPS.get(name, name), f"{value:.0f}"] for name, value in results["steps"].items()]
    )


def machine(root):
    with open("/proc/cpuinfo") as file:
        cpu = re.search(r"model name\s*: (.*)", file.read())
    commit = subprocess.run(
        ["git", "-C", root, "describe", "--always", "--dirty"], capture_output=True, text=True
    ).stdout.strip()
    return (
        f"{datetime.date.today()}, commit {commit or 'unknown'}, {os.cpu_count()} cores of "
        f"{cpu.group(1) if cpu else platform.machine()}, "
        f"Linux {platform.release()}"
    )


def sets(results):
    lines = [[name, f"{count}", f"{differ}", f"{mean:.0f}"] for name, (count, differ, mean) in results["sets"].items()]
    return table(["frames", "number", "of them different", "mean bytes"], lines)


def text(results):
    parts = [
        f"Measured: {results['machine']}.\nCommand: `{results['command']}`",
        "### Targets",
        targets(results),
        "### Cost of an event",
        costs(results),
        "![CPU time an event](performance/cpu.svg)",
        "### The others in the same run: CPU µs an event / events a second",
        peers(results),
        "![CPU time an event by the number of connections](performance/connections.svg)",
        "### TLS, CPU µs an event",
        tls(results),
    ]
    for name, title, what in (
        ("latency", "Latency of a lone event", latency),
        ("starts", "Start", starts),
        ("memory", "Memory", memory),
        ("steps", "The steps of an event's road, each by itself over a small sample", steps),
    ):
        if results.get(name):
            parts += [f"### {title}", what(results)]
            parts += ["![Latency of a lone event](performance/latency.svg)"] if name == "latency" else []
    return "\n\n".join([*parts, "### Frames", sets(results)])


def write(path, results, otherwise):
    """Puts the figures between the marks of the file, and leaves what people wrote around them."""
    page = otherwise
    if os.path.exists(path):
        with open(path) as file:
            page = file.read()
    head, _, rest = page.partition(BEGIN)
    with open(path, "w") as file:
        file.write(f"{head}{BEGIN}\n\n{text(results)}\n\n{END}{rest.partition(END)[2]}")
