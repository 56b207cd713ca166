"""Runs the lanes of a row in turns and takes medians."""

import contextlib
import os
import statistics
import subprocess
import sys
import time

from harness import inputs, subjects
from harness.processes import Failed, Load, Process

MB = 1e6


def say(*words):
    print("==", *words, file=sys.stderr, flush=True)


def micro(seconds):
    return f"{seconds * 1e6:.3g} µs"


class Bench:
    """What all rows share. A run of one lane takes about `seconds`, and each lane has `repeats` of them."""

    def __init__(self, build, folder, sets, quick, make):
        self.tools, self.inputs, self.folder, self.sets, self.subjects = (
            f"{build}/bench",
            f"{build}/bench-input",
            folder,
            sets,
            make,
        )
        self.seconds, self.repeats = (0.4, 3) if quick else (1.5, 5)
        self.quick = quick

    def frames(self, name):
        return inputs.path(self.inputs, name)

    def frame_size(self, name):
        return self.sets[name][2] + 4


class RunningLane:
    """A lane's program and its load generator, connected."""

    def __init__(self, bench, row, lane, stack, warm=True):
        self.bench, self.row, self.lane, self.subject = bench, row, lane, lane.subject
        certificate = bench.subjects.certificate
        self.load = Load(
            f"{bench.tools}/load",
            frames=bench.frames(row.frames),
            collect=lane.collect,
            count=lane.count,
            slack=lane.slack,
            handshake="bi" if lane.bidirectional else "uni",
            write=str(row.write),
            cert=certificate[0],
            key=certificate[1],
            **{"await": "yes" if lane.awaited else "no"},
        )
        stack.callback(self.load.stop)
        self.process = Process(bench.folder, f"{row.key}-{subjects.word(lane.subject)}", lane.argv)
        stack.callback(self.process.stop)
        self.process.wait_listening(lane.sink)
        self.sent = 0
        if warm:
            self.load("connect", lane.sink, row.connections)
            self.rate = self.warm_up()

    def warm_up(self):
        """As many bytes as the program needs to get into its stride; returns its events a second."""
        events = int(self.lane.warmup / self.bench.frame_size(self.row.frames) / 2)
        self.run(events)
        speed = float(self.run(events)["rate"])
        return min(self.row.rate or speed, speed)

    def run(self, events):
        self.sent += events
        return self.load("run", events, self.row.rate)

    def measure(self):
        self.process.settle()
        events = max(1000, int(self.rate * self.bench.seconds))
        before = self.process.cpu()
        figures = self.run(events)
        self.process.settle()
        used = self.process.cpu() - before
        self.process.alive()
        rate = float(figures["rate"])
        return {
            "cpu": used / events,
            "rate": rate,
            "mb": rate * int(figures["bytes"]) / events / MB,
            "load": float(figures["cpu"]) / events,
        }

    def finish(self):
        """Ends the program. wirelark's own counts must say that what was measured is what the row is about."""
        self.load("stop")
        self.process.stop()
        if self.subject != "wirelark":
            return
        sums = subjects.totals(self.process.log)
        if self.lane.collect and (sums["dropped"] or sums["processed"] < self.sent * 0.99 - self.lane.slack):
            raise Failed(
                f"{self.row.title}: of {self.sent} events wirelark took {sums['processed']} "
                f"and dropped {sums['dropped']}"
            )
        if sums["errors"] < self.sent * 0.99 if self.row.all_fail else sums["errors"]:
            raise Failed(f"{self.row.title}: of {self.sent} records {sums['errors']} did not decode")


class RunningFile:
    """A program that reads a file and ends: its start is measured by itself and taken off."""

    def __init__(self, bench, lane):
        self.bench, self.subject, self.argv = bench, lane.subject, lane.argv

    def once(self, file):
        start = time.monotonic()
        process = subprocess.Popen([*self.argv, file], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        _, process.returncode, usage = os.wait4(process.pid, 0)
        if process.returncode:
            raise Failed(f"{self.subject} ended with {process.returncode}")
        return usage.ru_utime + usage.ru_stime, time.monotonic() - start

    def measure(self):
        empty, full = self.once(self.bench.frames("none")), self.once(self.bench.frames("long"))
        cpu, wall = ((full[i] - empty[i]) / inputs.LONG for i in (0, 1))
        return {"cpu": cpu, "rate": 1 / wall, "mb": self.bench.frame_size("mix") / wall / MB, "load": 0}

    def finish(self):
        pass


def summary(samples):
    out = {name: statistics.median(sample[name] for sample in samples) for name in samples[0]}
    costs = [sample["cpu"] for sample in samples]
    out["spread"] = (max(costs) - min(costs)) / out["cpu"]
    return out


def measure_row(bench, row):
    """The figures of each subject, by its name."""
    with contextlib.ExitStack() as stack:
        running = [
            RunningLane(bench, row, lane, stack) if lane.sink else RunningFile(bench, lane)
            for lane in row.lanes(bench.subjects)
            if lane.argv[0]
        ]
        rounds = [[one.measure() for one in running] for _ in range(bench.repeats)]
        for one in running:
            one.finish()
    out = {one.subject: summary(samples) for one, samples in zip(running, zip(*rounds))}
    say(f"{row.title}: " + ", ".join(f"{subject} {micro(figures['cpu'])}" for subject, figures in out.items()))
    return out
