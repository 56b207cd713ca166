"""Runs the daemon under test and reads its log."""

import grp
import os
import pty
import re
import signal
import subprocess
import tempfile
import threading
import time
import tty

import pytest

BINARY = os.environ["WIRELARK"]
GROUP = grp.getgrgid(os.getgid()).gr_name
UNIX = f"listener unix dnstap.sock group={GROUP}"
# The table of all keys of the configuration, in the order of reading.
with open(os.path.join(os.path.dirname(__file__), "../../src/app/config/keys.h"), encoding="ascii") as table:
    KEYS = re.findall(r'\.name = "([a-z-]+)"', table.read())
# Sanitized builds: a failed allocation is one of the cases.
for sanitizer in ("ASAN", "TSAN"):
    os.environ[sanitizer + "_OPTIONS"] = os.environ.get(sanitizer + "_OPTIONS", "") + " allocator_may_return_null=1"
STARTED = "BackgroundLogger: Starting process loop"  # a signal that comes before this line is lost


def new_home(files=()):
    """A directory to run in, holding `files` (name to bytes). A Unix listener's path is lower-cased, so is this one."""
    home = tempfile.TemporaryDirectory(prefix="wirelark.")
    for name, content in dict(files).items():
        with open(f"{home.name}/{name}", "wb") as file:
            file.write(content)
    return home


class Daemon:
    """One run in a directory of its own. A context ends with asking it to stop; `ends_cleanly` sees it through."""

    ending = []

    def __init__(self, *config, verb="run", home=None, started=True, terminal=False, before=(), **popen):
        self.home = home or new_home()
        self.path = self.home.name
        self.config = self.path + "/wirelark.conf"
        text = "\n".join(config)
        # An interval that no run reaches the end of, so that the report at the stop is the only one.
        if "metrics-interval" not in text:
            text += "\nmetrics-interval 4000000000"
        with open(self.config, "w", encoding="latin-1") as file:
            file.write(text + "\n")
        # A terminal makes events on standard output show at once.
        ours, theirs = pty.openpty() if terminal else os.pipe()
        if terminal:
            tty.setraw(theirs)
        self.process = subprocess.Popen([*before, BINARY, verb, self.config], stdout=theirs, stderr=theirs, **popen)
        os.close(theirs)
        self.pid = self.process.pid
        self.lines = []
        self.news = threading.Condition()
        self.reading = threading.Event()  # cleared, nobody reads the log
        self.reading.set()
        self.reader = threading.Thread(target=self.read, args=(os.fdopen(ours, "rb"),), daemon=True)
        self.reader.start()
        if started:
            self.wait(STARTED)

    def read(self, stream):
        """Both streams come through one pipe, so `lines` has them in the order of time."""
        try:
            for line in stream:
                self.reading.wait()
                with self.news:
                    self.lines.append(line.decode("latin-1").rstrip("\n"))
                    self.news.notify_all()
        except OSError:
            pass  # a terminal ends with EIO
        with self.news:
            self.lines.append("")
            self.news.notify_all()

    def find(self, text):
        return [line for line in self.lines if text in line]

    def wait(self, text, count=1, deadline=15):
        """Waits for `count` lines that hold `text`, and returns all such lines."""
        with self.news:
            seen = self.news.wait_for(lambda: len(self.find(text)) >= count or "" in self.lines, deadline)
            assert seen and len(self.find(text)) >= count, f"no {text!r} in:\n" + "\n".join(self.lines)
            return self.find(text)

    def address(self, name="dnstap.sock"):
        return f"{self.path}/{name}"

    def terminate(self, number=signal.SIGTERM):
        self.process.send_signal(number)

    def ended(self, deadline=20):
        """Waits for the end, which must be an orderly one, and returns the log."""
        end = time.monotonic() + deadline
        while self.process.poll() is None and time.monotonic() < end:
            try:
                self.process.wait(1)
            except subprocess.TimeoutExpired:
                self.terminate()  # the first may have come in the instant before the main thread waits
        if self.process.poll() is None:
            self.process.kill()
            pytest.fail("still running:\n" + "\n".join(self.lines))
        self.reader.join(5)
        assert self.process.returncode == 0, "\n".join(self.lines)
        return [line for line in self.lines if line]

    def stop(self, number=signal.SIGTERM):
        self.terminate(number)
        return self.ended()

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        if self.process.poll() is None and kind is None:
            self.terminate()
            Daemon.ending.append(self)
        elif self.process.poll() is None:
            self.process.kill()

    def reports(self):
        """The metrics reports so far, each a dictionary of group to list of dictionaries."""
        reports = []
        for line in self.find("[INFO] Metrics: "):
            reports.append({})
            for group, items in re.findall(r"(\w+)\[([^]]*)\]", line):
                values = dict(item.split("=", 1) for item in items.split())
                reports[-1].setdefault(group, []).append({k: int(v) if v.isdigit() else v for k, v in values.items()})
        return reports

    def next_report(self):
        """Waits for a report that begins after this call: all that was done before stands in it or before it."""
        self.wait("[INFO] Metrics: ", count=len(self.find("[INFO] Metrics: ")) + 1)
        return self.reports()[-1]

    def total(self, group, *keys):
        """What the first worker of a group has counted in all reports."""
        return [sum(report[group][0][key] for report in self.reports() if group in report) for key in keys]


@pytest.fixture(scope="module", autouse=True)
def ends_cleanly():
    """Every daemon that a test left stopping must get there, with exit status 0 and nothing that a sanitizer tells."""
    yield
    while Daemon.ending:
        assert Daemon.ending.pop().ended()[-1] == "[INFO] Stopped"
