"""What isn't a cost of an event: how late a lone one is, how long a start takes, what memory is held."""

import contextlib
import json
import os
import socket
import statistics
import subprocess
import time

from harness.measure import RunningLane, say
from harness.processes import Failed, Process
from harness.rows import Row
from harness.subjects import word

IDLE = 1000  # connections


def latency(bench):
    """Per subject the percentiles 0 to 100 of the time from the write of a lone frame to the read of its event."""
    row = Row("lone", "lone event", lambda s: [s.wirelark("json", ring=1 << 20), s.relay()])
    count, taken, stuck = (200 if bench.quick else 1000), {}, 0
    with contextlib.ExitStack() as stack:
        running = [RunningLane(bench, row, lane, stack) for lane in row.lanes(bench.subjects)]
        for _ in range(bench.repeats):
            for one in running:
                figures = one.load("lone", count)
                stuck += int(figures["stuck"])
                taken.setdefault(one.subject, []).append([float(value) for value in figures["percentiles"].split(",")])
    out = {subject: [statistics.median(values) for values in zip(*rounds)] for subject, rounds in taken.items()}
    say(
        "lone event: "
        + ", ".join(f"{subject} p50 {p[50] * 1e6:.0f} µs, p99 {p[99] * 1e6:.0f} µs" for subject, p in out.items())
    )
    return out, stuck, count * bench.repeats


def try_connect(endpoint):
    kind, place = endpoint.split(":", 1)
    with socket.socket(socket.AF_UNIX if kind == "unix" else socket.AF_INET) as probe:
        with contextlib.suppress(OSError):
            probe.connect(place if kind == "unix" else ("127.0.0.1", int(place)))
            return True
    return False


def start_once(bench, lane):
    begin = time.monotonic()
    process = Process(bench.folder, "start-" + word(lane.subject), lane.argv)
    try:
        while not try_connect(lane.sink):
            process.alive()
            if time.monotonic() > begin + 10:
                raise Failed(f"{lane.subject} does not accept")
            time.sleep(0.0002)
        return time.monotonic() - begin
    finally:
        process.process.kill()  # its end is not what is measured
        process.stop()


def starts(bench):
    """Per subject the seconds from its start until it accepts a connection."""
    taken = {}
    for _ in range(5 if bench.quick else 15):
        for lane in (
            bench.subjects.wirelark("json", forwarders=0),
            bench.subjects.capture(),
            bench.subjects.go_nowhere("json"),
        ):
            if lane.argv[0]:
                taken.setdefault(lane.subject, []).append(start_once(bench, lane))
    out = {subject: statistics.median(values) for subject, values in taken.items()}
    say("start to accepting: " + ", ".join(f"{subject} {seconds * 1e3:.1f} ms" for subject, seconds in out.items()))
    return out


def idle(bench, lane):
    """Resident bytes of one program as it gets connections, and its processor time a second with them."""
    row, figures = Row("idle", "idle connections", None, connections=IDLE), {}
    with contextlib.ExitStack() as stack:
        one = RunningLane(bench, row, lane, stack, warm=False)
        figures["start"] = one.process.memory()
        one.load("connect", lane.sink, IDLE)
        one.process.settle()
        figures["connected"] = one.process.memory()
        one.load("run", IDLE * 400)  # a full write over each connection
        one.process.settle()
        figures["used"] = one.process.memory()
        seconds, before = (8 if bench.quick else 10), one.process.cpu()
        time.sleep(seconds)
        figures["cpu"] = (one.process.cpu() - before) / seconds
        figures["later"] = one.process.memory()
    return figures


def memory(bench):
    """wirelark's ring is one of 1 MiB here, so that what the connections hold is seen beside it."""
    s = bench.subjects
    lanes = [s.wirelark("json", forwarders=0, ring=1 << 20), s.capture(), s.go_nowhere("json")]
    out = {lane.subject: idle(bench, lane) for lane in lanes if lane.argv[0]}
    for subject, figures in out.items():
        say(
            f"memory, {subject}: "
            + ", ".join(f"{name} {value / 2**20:.1f} MiB" for name, value in figures.items() if name != "cpu")
            + f"; {IDLE} idle connections take {figures['cpu'] * 1e3:.2f} ms/s"
        )
    return out


def steps(bench):
    """Nanoseconds of processor time of each step of an event's road, from the micro-benchmarks, or None."""
    program = f"{bench.tools}/micro"
    if not os.path.exists(program):
        return None
    argv = [
        program,
        "--benchmark_format=json",
        "--benchmark_min_time=0.2",
        f"--benchmark_repetitions={bench.repeats}",
        "--benchmark_report_aggregates_only=true",
    ]
    found = json.loads(subprocess.run(argv, check=True, capture_output=True, text=True).stdout)["benchmarks"]
    out = {one["run_name"]: 1e9 / one["items_per_second"] for one in found if one["aggregate_name"] == "median"}
    say("steps, ns: " + ", ".join(f"{name} {value:.0f}" for name, value in out.items()))
    return out
