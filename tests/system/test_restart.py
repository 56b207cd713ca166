"""What outlives a run: the queue file, in all states that one can be found in, and the figures told at the end."""

import json
import os
import pathlib
import socket
import time

import pytest

from support import wire
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.peers import Collector, Sender, free_port, same

KEPT = [wire.Record(b"%05d" % n + b"\xff\0" * (n % 50)) for n in range(300)]


def content(daemon, name="message.queue"):
    return pathlib.Path(daemon.address(name)).read_bytes()


def forwarded(collector):
    return f"forwarder ipv4 127.0.0.1 {collector.port} fstrm-mode=unidirectional"


def queued(daemon, records):
    """Sends all, and returns when the daemon has them on its ring."""
    sender = Sender(daemon.address())
    sender.send(*records)
    sender.stop()


@pytest.mark.parametrize("size, name", [(104857600, "message.queue"), (3000, "kept here")])
def test_the_queue_is_kept_to_the_byte(size, name):
    """The newest events survive, as many as the ring takes with a length of three bytes before each."""
    with Daemon(UNIX, f"message-queue-size {size}", f"message-queue-filename {name}") as daemon:
        queued(daemon, KEPT)
        daemon.stop()
    held = KEPT
    while sum(len(r) + 3 for r in held) > size:
        held = held[1:]
    same(content(daemon, name), wire.queue_file(held))
    assert sorted(os.listdir(daemon.path)) == sorted({"wirelark.conf", "dnstap.sock", name})
    assert daemon.reports()[0]["queue"] == [{"type": "message", "eventsProcessed": 0, "eventsQueued": len(held),
                                             "eventsDropped": len(KEPT) - len(held)}]


@pytest.mark.parametrize("count, size, held", [(100000, 104857600, 100000), (300, 5000, 5000 // 103)])
def test_a_restart_goes_on_where_the_last_run_ended(count, size, held):
    """In order, with the file gone; a smaller ring takes the newest and counts the others as dropped."""
    records, collector = [wire.Record(b"%010d" % n * 10) for n in range(count)], Collector()
    with Daemon(UNIX, "message-format dnstap") as daemon:
        queued(daemon, records)
        daemon.stop()
    with Daemon(forwarded(collector), f"message-queue-size {size}", "message-format dnstap",
                home=daemon.home) as daemon:
        assert not os.path.exists(daemon.address("message.queue"))
        stream = collector.accept("unidirectional")
        expected = b"".join(map(wire.frame, records[count - held:]))
        stream.until(lambda: len(stream.data) >= len(expected), deadline=30)
        same(bytes(stream.data), expected)
        log = daemon.stop()
        assert content(daemon) == b"sslz"
        assert f"queue[type=message eventsProcessed={held} eventsQueued=0 eventsDropped={count - held}]" in "".join(log)


WHOLE = wire.queue_file([b"abc", b"defg"])
ASK = "message.queue failed: "
# The file found at the start, the text that the start ends with, None if it is taken, and then the events taken.
FILES = {
    "none": (None, None, []),
    "empty": (b"", "Read magic header from " + ASK, None),
    "another magic": (b"SSLZ" + WHOLE[4:], f"Read magic header from {ASK}Expected 'sslz' but got SSLZ", None),
    "four bytes behind": (WHOLE + wire.word(9), None, [b"abc", b"defg"]),
    "one byte short": (WHOLE[:-1], "Read next event of 4 bytes from " + ASK, None),
    "a changed byte": (WHOLE.replace(b"e", b"f"),
                       f"Read next event of 4 bytes from {ASK}Expected checksum 151 but got 150", None),
    "too much for the ring": (wire.queue_file([b"abc", b"x" * 998]),
                              "value length 998 is larger than the size of the queue 1000", None),
}


@pytest.mark.parametrize("case", FILES)
def test_a_queue_file_found_at_the_start(case):
    found, failure, events = FILES[case]
    home = new_home({"message.queue": found} if found is not None else {})
    with Daemon("message-queue-size 1000", home=home, started=failure is None) as daemon:
        log = daemon.stop() if failure is None else daemon.ended()
        left = content(daemon)
    if failure is None:
        assert (log[-1], left) == ("[INFO] Stopped", wire.queue_file(events))
        return
    # A text that ends in the system's reason may have any there: nothing fails at the end of a file.
    told = f"[ERROR] Run failed: {failure}"
    assert log[-1] == told or failure.endswith(": ") and log[-1].startswith(told)
    assert (len(log), left) == (4, found)


def test_with_recovery_off_the_file_is_nobodys():
    with Daemon(UNIX, "message-queue-recovery off",
                home=new_home({"message.queue": b"mine", "message.queue.tmp": b"too"})) as daemon:
        queued(daemon, KEPT)
        daemon.stop()
        assert (content(daemon), content(daemon, "message.queue.tmp")) == (b"mine", b"too")


def test_a_file_that_cannot_be_read_or_written():
    for name, when, text in (("nodir/q", "stop", "Open nodir/q.tmp failed: No such file or directory"),
                             ("", "stop", "Rename .tmp to  failed: No such file or directory"),
                             ("dir", "start", "Read magic header from dir failed: Is a directory"),
                             ("wirelark.conf/q", "start", "stat64(wirelark.conf/q) failed: Not a directory")):
        home = new_home()
        os.mkdir(home.name + "/dir")
        with Daemon(f"message-queue-filename {name}", home=home, started=when == "stop") as daemon:
            log = daemon.stop() if when == "stop" else daemon.ended()
        assert (log[-1], "[INFO] Stopped" in log) == (f"[ERROR] Run failed: {text}", False)
    assert len(log) == 4


@pytest.mark.parametrize("form", ["kv", "json"])
def test_the_figures_at_the_stop(form):
    """The whole text, with a target that nobody serves and one of the wrong family."""
    port, tcp4, target = free_port(), free_port(), free_port()
    with Daemon(UNIX.replace("dnstap", "./dnstap") + " read-timeout=1", f"listener ipv6 ::1 {port} read-timeout=1",
                f"listener ipv4 127.0.0.1 {tcp4}", f"forwarder ipv4 127.0.0.1 {target}", "forwarder ipv6 127.0.0.1 9",
                f"metrics-format {form}") as daemon:
        daemon.wait("Connection refused")
        daemon.wait("Forwarder[1]: Connection error")
        queued(daemon, KEPT)
        _, tcp = Sender(daemon.address()), Sender(("::1", port))
        [metrics] = [line for line in daemon.stop() if "Metrics" in line]
    nothing, sent = dict(bytesReceived=0, eventsReceived=0), dict(bytesSent=0, eventsSent=0, dnstapErrors=0)
    groups = [("listener", dict(id=0, type="unix", path="./dnstap.sock", accepts=2, activeReceivers=1,
                                peakReceivers=1)),
              ("listener", dict(id=1, type="ipv6", host="::1", port=port, accepts=1, activeReceivers=1,
                                peakReceivers=1)),
              ("listener", dict(id=2, type="ipv4", host="127.0.0.1", port=tcp4, accepts=0, activeReceivers=0,
                                peakReceivers=0)),
              ("receiver", dict(id=1, listener=0, type="unix", uid=os.getuid(), gid=os.getgid(), pid=os.getpid(),
                                **nothing)),
              ("receiver", dict(id=0, listener=1, type="ipv6", host="::1", port=socket.htons(tcp.port), **nothing)),
              ("queue", dict(type="message", eventsProcessed=0, eventsQueued=len(KEPT), eventsDropped=0)),
              ("forwarder", dict(id=0, type="ipv4", host="127.0.0.1", port=target, state="not-connected", connects=1,
                                 **sent)),
              ("forwarder", dict(id=1, type="ipv6", host="127.0.0.1", port=9, state="not-connected", connects=1,
                                 **sent))]
    if form == "kv":
        expected = " ".join(f"{group}[{' '.join(f'{k}={v}' for k, v in items.items())}]" for group, items in groups)
    else:
        report = {name + "s": [items for group, items in groups if group == name]
                  for name in ("listener", "receiver", "queue", "forwarder")}
        report["queue"] = {key: value for key, value in report.pop("queues")[0].items() if key != "type"}
        report["forwarders"] = report.pop("forwarders")  # last
        expected = json.dumps(report, separators=(",", ":")).replace("/", "\\/")
    assert metrics == "[INFO] Metrics: " + expected


def test_reports_come_each_second_and_tell_what_changed():
    collector = Collector()
    with Daemon(UNIX, forwarded(collector), "message-format dnstap", "metrics-interval 1") as daemon:
        stream = collector.accept("unidirectional")
        sender = Sender(daemon.address())
        sender.send(*KEPT)
        stream.until(lambda: len(stream.data) >= sum(len(r) + 4 for r in sender.sent), sender.nudge)
        begun = time.monotonic()
        after = [daemon.next_report(), daemon.next_report()][1:] + [daemon.next_report()]
        assert 1.9 < time.monotonic() - begun < 5
        sent, total = len(sender.sent), sum(len(r) + 4 for r in sender.sent)
        for group, figures in (("forwarder", {"eventsSent": sent, "bytesSent": total, "connects": 1,
                                              "dnstapErrors": 0}),
                               ("queue", {"eventsProcessed": sent, "eventsDropped": 0}),
                               ("receiver", {"eventsReceived": sent, "bytesReceived": total}),
                               ("listener", {"accepts": 1})):
            assert daemon.total(group, *figures) == list(figures.values())
            assert all(report[group][0][key] == 0 for report in after for key in figures)
        assert {report["forwarder"][0]["state"] for report in after} == {"connected"}
